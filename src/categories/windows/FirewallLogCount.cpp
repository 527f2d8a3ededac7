#include "categories/windows/FirewallLogCount.h"

#include "runtime/Utf.h"

namespace vt {

namespace {

constexpr int kMinHeaderLines = 3;

std::wstring Utf16Text(ByteSpan bytes, bool bigEndian) {
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        units.push_back(bigEndian ? static_cast<char16_t>((bytes[i] << 8) | bytes[i + 1])
                                  : static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8)));
    }
    return FromUtf16(units);
}

}  // namespace

std::wstring DecodeLogFileText(ByteSpan bytes) {
    std::wstring text;
    if (bytes.size() >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) {
        const ByteSpan rest = bytes.subspan(3);
        text = FromUtf8(std::string_view(reinterpret_cast<const char*>(rest.data()), rest.size()));
    } else if (bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) {
        text = Utf16Text(bytes.subspan(2), false);
    } else if (bytes.size() >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF) {
        text = Utf16Text(bytes.subspan(2), true);
    } else {
        text.assign(bytes.begin(), bytes.end());
    }
    const std::size_t nul = text.find(L'\0');
    if (nul != std::wstring::npos) text.resize(nul);
    return text;
}

std::vector<std::wstring> SplitLogLines(const std::wstring& text) {
    std::vector<std::wstring> lines;
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t start = pos;
        while (pos < text.size() && text[pos] != L'\r' && text[pos] != L'\n') ++pos;
        lines.emplace_back(text, start, pos - start);
        if (pos < text.size() && text[pos] == L'\r') ++pos;
        if (pos < text.size() && text[pos] == L'\n') ++pos;
    }
    return lines;
}

int CountFirewallLogEntries(ByteSpan bytes) {
    if (bytes.empty()) return 0;
    int headerLines = 0;
    int entries = 0;
    bool inHeader = true;
    for (const std::wstring& line : SplitLogLines(DecodeLogFileText(bytes))) {
        if (line.empty()) continue;
        const bool comment = line[0] == L'#';
        if (inHeader) {
            if (comment) {
                ++headerLines;
                continue;
            }
            if (headerLines < kMinHeaderLines) return 0;
            inHeader = false;
        }
        if (!comment) ++entries;
    }
    return entries;
}

}  // namespace vt
