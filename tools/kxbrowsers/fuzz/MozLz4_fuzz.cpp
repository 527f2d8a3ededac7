// Fuzz target: Firefox session files (the "mozLz40" header, the LZ4 block
// decoder and the walk over the session's windows and tabs). Besides not
// crashing, a decoded block must have exactly the announced size.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "FirefoxStores.h"
#include "MozLz4.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    if (const auto decoded = kxb::DecodeMozLz4(input)) {
        const std::uint32_t announced = data[8] | (data[9] << 8) | (data[10] << 16) |
                                        (static_cast<std::uint32_t>(data[11]) << 24);
        if (decoded->size() != announced) std::abort();
    }
    std::vector<std::pair<std::string, std::string>> tabs;
    kxb::ReadSessionTabs(input, tabs);
    return 0;
}
