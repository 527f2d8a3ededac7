// The English language file that ships with the vantrel host: it must give
// every string id a text, and put format placeholders exactly where the engine
// formats the text, or the user would see "%d" or lose the number.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "runtime/Strings.h"
#include "runtime/Utf.h"
#include "services/DLLStrings.h"

namespace vt {
namespace {

std::map<std::wstring, std::wstring> ReadEnglishFile() {
    std::ifstream in(VANTREL_SOURCE_DIR "/lang/English.lng", std::ios::binary);
    EXPECT_TRUE(in.good()) << "lang/English.lng is missing";
    std::stringstream bytes;
    bytes << in.rdbuf();
    std::map<std::wstring, std::wstring> texts;
    std::wistringstream lines(FromUtf8(bytes.str()));
    std::wstring line;
    while (std::getline(lines, line)) {
        if (!line.empty() && line.back() == L'\r') line.pop_back();
        if (line.empty() || line[0] == L';' || line[0] == L'#') continue;
        const std::size_t equals = line.find(L'=');
        EXPECT_NE(equals, std::wstring::npos) << ToUtf8(line);
        const std::wstring name = line.substr(0, equals);
        EXPECT_TRUE(texts.emplace(name, line.substr(equals + 1)).second) << "twice: " << ToUtf8(name);
    }
    return texts;
}

TEST(EnglishLanguageFile, NamesEveryIdOnceWithPlaceholdersWhereTheEngineFormats) {
    const auto texts = ReadEnglishFile();
    EXPECT_EQ(texts.size(), static_cast<std::size_t>(kLocalizerStrCount));
    for (const auto& [name, text] : texts) {
        TLocalizerStr id = S_EMPTY;
        EXPECT_TRUE(LocalizerStrFromName(name, id)) << "unknown id " << ToUtf8(name);
    }

    // Texts the engine formats with a number, and those it formats with the
    // browser's name (the browser categories' descriptions).
    const std::set<TLocalizerStr> numbers = {S_GROUPED_PAGES, S_GROUPED_ENTRIES, S_SIZE_KB, S_TOTAL_ELEMENTS,
                                             S_INDEXED_FILES_CATEGORY_ELEMENT};
    const std::set<TLocalizerStr> browserNames = {
        S_VISITED_HISTORY_CATEGORY_DESCR, S_COOKIES_CATEGORY_DESCR,          S_TYPED_HISTORY_CATEGORY_DESCR,
        S_AUTOCOMPLETE_FORMS_CATEGORY_DESCR, S_BROWSER_PASSWORDS_CATEGORY_DESCR, S_BROWSER_SEARCHES_CATEGORY_DESCR,
        S_BROWSER_SESSIONS_CATEGORY_DESCR, S_DOWNLOADS_HISTORY_CATEGORY_DESCR};

    StringList list;
    for (const auto& [name, text] : texts) list.Add(name + L"=" + text);
    Localizer::Localize(list);
    for (int i = 0; i < kLocalizerStrCount; ++i) {
        const auto id = static_cast<TLocalizerStr>(i);
        const std::string name = ToUtf8(LocalizerStrName(id));
        const auto found = texts.find(std::wstring(LocalizerStrName(id)));
        ASSERT_NE(found, texts.end()) << "no text for " << name;
        if (id < kFirstLocalizedStr) {
            // The built-in texts are listed as the engine has them.
            EXPECT_EQ(found->second, LocalizedString(id)) << name;
            continue;
        }
        const std::wstring text = LocalizedString(id);
        EXPECT_FALSE(text.empty()) << name;
        if (numbers.count(id)) {
            EXPECT_NE(Format(text, {FormatArg(4096)}).find(L"4096"), std::wstring::npos) << name;
        } else if (browserNames.count(id)) {
            EXPECT_NE(Format(text, {FormatArg(std::wstring(L"Firefox"))}).find(L"Firefox"), std::wstring::npos)
                << name;
        } else {
            EXPECT_EQ(text.find(L'%'), std::wstring::npos) << name << " is shown as it stands";
        }
    }
}

}  // namespace
}  // namespace vt
