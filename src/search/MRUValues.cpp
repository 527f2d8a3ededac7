#include "search/MRUValues.h"

#include <algorithm>

namespace vt {

std::vector<std::uint32_t> ReadMRUListEx(ByteSpan value) {
    std::vector<std::uint32_t> numbers;
    const std::size_t count = value.size() / 4;
    if (count <= 1) return numbers;
    numbers.reserve(count - 1);
    for (std::size_t i = 0; i + 1 < count; ++i) numbers.push_back(ReadU32(value, i * 4));
    return numbers;
}

int MRUListExEntryCount(ByteSpan value) {
    if (value.empty()) return 0;
    return static_cast<int>(value.size() / 4) - 1;
}

std::vector<std::uint8_t> RemoveFromMRUListEx(ByteSpan value, std::uint32_t number) {
    const std::size_t count = value.size() / 4;
    if (count < 2) return {value.begin(), value.end()};
    std::vector<std::uint8_t> kept;
    kept.reserve(count * 4);
    for (std::size_t i = 0; i < count; ++i) {
        if (ReadU32(value, i * 4) == number) continue;
        kept.insert(kept.end(), value.begin() + static_cast<std::ptrdiff_t>(i * 4),
                    value.begin() + static_cast<std::ptrdiff_t>(i * 4 + 4));
    }
    return kept;
}

std::wstring RemoveFromMRUList(std::wstring_view order, wchar_t letter) {
    std::wstring rest;
    for (wchar_t c : order) {
        if (c != letter) rest.push_back(c);
    }
    return rest;
}

std::wstring MRUValueText(ByteSpan value) { return ReadUtf16Z(value, 0, value.size()); }

std::wstring RecentDocsShortcutName(ByteSpan value) {
    if (value.size() < 6) return {};
    const std::size_t last = value.size() - 6;
    for (std::size_t i = 0; i <= last; ++i) {
        if (value[i] == 0x14) return ReadUtf16Z(value, i + 4, value.size());
    }
    for (std::size_t p = last; p >= 2; --p) {
        if (value[p - 2] == 0 && value[p - 1] == 0) return ReadUtf16Z(value, p, value.size());
    }
    return {};
}

RecentDocsEntry ParseRecentDocsEntry(ByteSpan value) {
    RecentDocsEntry entry;
    std::size_t next = 0;
    entry.Text = ReadUtf16Z(value, 0, value.size(), &next);
    entry.ShortcutName = RecentDocsShortcutName(value);
    entry.ShellData = DecodeShellItemList(value.subspan(std::min(next, value.size())));
    return entry;
}

}  // namespace vt
