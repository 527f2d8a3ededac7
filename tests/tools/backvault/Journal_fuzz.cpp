// Journals come from disk, where a crash, a full disk or a user may have left
// anything: the parser must take every byte sequence without crashing.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Journal.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const vt::backvault::Journal journal =
        vt::backvault::ParseJournal(std::string_view(reinterpret_cast<const char*>(data), size));
    (void)journal.Bytes();
    for (const auto& entry : journal.entries) (void)entry.Location();
    return 0;
}
