// Fuzz target: shell item ID lists and "LastVisitedPidlMRU" values from
// arbitrary bytes. Decoding never crashes, and a path called complete is an
// absolute path built from a whole list.
#include <cstdint>
#include <cstdlib>

#include "search/ShellItemList.h"

namespace {

void Check(const vt::ShellItemPath& result, std::size_t size) {
    if (result.Complete) {
        if (result.Truncated || result.Path.size() < 3) std::abort();
        const bool drive = result.Path[1] == L':' && result.Path[2] == L'\\';
        const bool unc = result.Path[0] == L'\\' && result.Path[1] == L'\\';
        if (!drive && !unc) std::abort();
    }
    for (const auto& item : result.Items) {
        if (item.Size < 2 || item.Offset + item.Size > size) std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const vt::ByteSpan bytes(data, size);
    Check(vt::DecodeShellItemList(bytes), size);
    const vt::LastVisitedEntry entry = vt::DecodeLastVisitedPidl(bytes);
    (void)entry.DisplayText();
    return 0;
}
