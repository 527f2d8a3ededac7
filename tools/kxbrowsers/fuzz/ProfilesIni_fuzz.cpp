// Fuzz target: the INI reader behind "profiles.ini" and "compatibility.ini".
// Every profile it yields must have a folder.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Ini.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    for (const auto& profile : kxb::ReadProfilesIni(input, "Firefox"))
        if (profile.folder.empty()) std::abort();
    return 0;
}
