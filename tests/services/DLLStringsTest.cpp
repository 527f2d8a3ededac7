#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

#include "services/DLLStrings.h"

namespace vt {
namespace {

StringList Lines(std::initializer_list<const wchar_t*> lines) {
    StringList list;
    for (const auto* line : lines) list.Add(line);
    return list;
}

TEST(DLLStrings, IdsKeepTheirPositionsAndHostKeys) {
    const std::pair<TLocalizerStr, const wchar_t*> cases[] = {
        {S_EMPTY, L"S_EMPTY"},
        {S_BROWSER_CHROME, L"S_BROWSER_CHROME"},
        {static_cast<TLocalizerStr>(9), L"S_ONE_ELEMENT_CATEGORY_IGNORED"},
        {static_cast<TLocalizerStr>(28), L"ITEM_HISTORY_SHORT_DESCR"},
        {static_cast<TLocalizerStr>(36), L"S_SYSTEM_SECTION_NAME"},
        {static_cast<TLocalizerStr>(73), L"S_CLIBOARD_CATEGORY_NAME"},
        {static_cast<TLocalizerStr>(74), L"S_CLIBOARD_CATEGORY_CATEGORY_DESCR"},
        {static_cast<TLocalizerStr>(78), L"S_INDEXED_FILES_CATEGORY_ELEMENT"},
        {static_cast<TLocalizerStr>(104), L"S_APP_GENERAL_CATEGORY_SHORT_DESCRIPTION"},
        {static_cast<TLocalizerStr>(105), L""},
        {static_cast<TLocalizerStr>(-1), L""},
    };
    for (const auto& [id, name] : cases) EXPECT_EQ(LocalizerStrName(id), name) << int(id);

    std::set<std::wstring_view> names;
    for (int i = 0; i < kLocalizerStrCount; ++i) {
        const auto id = static_cast<TLocalizerStr>(i);
        names.insert(LocalizerStrName(id));
        TLocalizerStr back = S_EMPTY;
        EXPECT_TRUE(LocalizerStrFromName(LocalizerStrName(id), back));
        EXPECT_EQ(back, id);
    }
    EXPECT_EQ(names.size(), 105u);
}

TEST(DLLStrings, LocalizeFillsHostTextsAndKeepsTheFixedOnes) {
    Localizer::Localize(Lines({L"S_EMPTY=not empty", L"S_BROWSER_IE=IE", L"S_COOKIES=Cookies",
                               L"S_CLIBOARD_CATEGORY_NAME=Clipboard", L"S_SIZE_KB=%s KB=kilo",
                               L"S_APP_GENERAL_CATEGORY_SHORT_DESCRIPTION=App"}));
    const std::pair<TLocalizerStr, const wchar_t*> first[] = {
        {S_EMPTY, L""}, {S_BROWSER_IE, L"Internet Explorer"}, {S_BROWSER_FIREFOX, L"Firefox"},
        {S_BROWSER_OPERA, L"Opera"}, {S_BROWSER_APPLE, L"Apple Safari"}, {S_BROWSER_CHROME, L"Google Chrome"},
        {S_COOKIES, L"Cookies"}, {S_CLIBOARD_CATEGORY_NAME, L"Clipboard"}, {S_SIZE_KB, L"%s KB=kilo"},
        {S_APP_GENERAL_CATEGORY_SHORT_DESCRIPTION, L"App"}, {S_GROUPED_PAGES, L""},
        {static_cast<TLocalizerStr>(200), L""},
    };
    for (const auto& [id, text] : first) EXPECT_EQ(LocalizedString(id), text) << int(id);

    // A second language replaces everything: ids it lacks become empty.
    Localizer::Localize(Lines({L"S_GROUPED_PAGES=Pages"}));
    EXPECT_EQ(LocalizedString(S_GROUPED_PAGES), L"Pages");
    EXPECT_EQ(LocalizedString(S_COOKIES), L"");
    EXPECT_EQ(LocalizedString(S_BROWSER_OPERA), L"Opera");
}

TEST(DLLStrings, ReplaceIglTagsSubstitutesEveryExactTag) {
    Localizer::Localize(Lines({L"S_ONE_ELEMENT_CATEGORY_IGNORED=1 ignored"}));
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"<S_ONE_ELEMENT_CATEGORY_IGNORED>", L"1 ignored"},
        {L"a <S_ONE_ELEMENT_CATEGORY_IGNORED>, b <S_ONE_ELEMENT_CATEGORY_IGNORED>", L"a 1 ignored, b 1 ignored"},
        {L"<s_one_element_category_ignored>", L"<s_one_element_category_ignored>"},
        {L"S_ONE_ELEMENT_CATEGORY_IGNORED", L"S_ONE_ELEMENT_CATEGORY_IGNORED"},
        {L"", L""},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(Localizer::ReplaceIglTags(text), expected) << text;
}

TEST(DLLStrings, ReadersSeeOneLanguageOrTheOtherWhileLocalizing) {
    const StringList english = Lines({L"S_COOKIES=Cookies", L"S_TOTAL_ELEMENTS=Total"});
    const StringList german = Lines({L"S_COOKIES=Kekse", L"S_TOTAL_ELEMENTS=Gesamt"});
    Localizer::Localize(english);
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::thread reader([&] {
        while (!stop) {
            const std::wstring text = LocalizedString(S_COOKIES);
            if (text != L"Cookies" && text != L"Kekse") ++bad;
        }
    });
    for (int i = 0; i < 200; ++i) Localizer::Localize(i % 2 ? english : german);
    stop = true;
    reader.join();
    EXPECT_EQ(bad, 0);
}

}  // namespace
}  // namespace vt
