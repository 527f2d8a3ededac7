// Fuzz target: "RecentDocs" entries and "MRUListEx" values from arbitrary
// bytes. Nothing crashes; removing a number leaves no copy of it and keeps the
// other numbers in order.
#include <cstdint>
#include <cstdlib>

#include "search/MRUValues.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const vt::ByteSpan bytes(data, size);
    (void)vt::ParseRecentDocsEntry(bytes);

    const auto entries = vt::ReadMRUListEx(bytes);
    if (size >= 8 && static_cast<int>(entries.size()) != vt::MRUListExEntryCount(bytes)) std::abort();
    const std::uint32_t number = size >= 4 ? vt::ReadU32(bytes, 0) : 0;
    const auto after = vt::RemoveFromMRUListEx(bytes, number);
    if (size >= 8) {
        if (after.size() % 4) std::abort();
        std::size_t kept = 0;
        for (std::size_t i = 0; i < size / 4; ++i) {
            const std::uint32_t n = vt::ReadU32(bytes, i * 4);
            if (n == number) continue;
            if (vt::ReadU32(after, kept * 4) != n) std::abort();
            ++kept;
        }
        if (kept * 4 != after.size()) std::abort();
    }
    return 0;
}
