#include "Language.h"

#include "Console.h"
#include "Host.h"

namespace vantrel::cli {

std::vector<std::wstring> ParseLanguageText(std::string_view bytes) {
    std::wstring text;
    if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
        static_cast<unsigned char>(bytes[1]) == 0xFE) {
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2)
            text.push_back(static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) |
                                                (static_cast<unsigned char>(bytes[i + 1]) << 8)));
    } else {
        if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF") bytes.remove_prefix(3);
        text = Wide(bytes);
    }
    std::vector<std::wstring> lines;
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find(L'\n', start);
        if (end == std::wstring::npos) end = text.size();
        std::wstring line = text.substr(start, end - start);
        if (!line.empty() && line.back() == L'\r') line.pop_back();
        const std::size_t first = line.find_first_not_of(L" \t");
        if (first != std::wstring::npos && line[first] != L';' && line[first] != L'#') lines.push_back(line);
        start = end + 1;
    }
    return lines;
}

void LoadLanguageFile(const std::wstring& file, std::vector<client::StringList::Entry>& entries, bool mustExist) {
    std::string bytes;
    try {
        bytes = ReadFileBytes(file);
    } catch (const Failure& f) {
        if (mustExist) throw Failure(std::string("cannot read the language file: ") + f.what(), f.Hint());
        PrintErr("warning: no language file ({}); categories are shown by identifier\n", f.what());
        return;
    }
    for (std::wstring& line : ParseLanguageText(bytes)) entries.push_back({std::move(line), 0});
}

}  // namespace vantrel::cli
