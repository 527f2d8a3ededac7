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
    const std::pair<int, const wchar_t*> cases[] = {
        {0, L"S_EMPTY"},
        {5, L"S_BROWSER_CHROME"},
        {9, L"S_ONE_ELEMENT_CATEGORY_IGNORED"},
        {28, L"ITEM_HISTORY_SHORT_DESCR"},
        {36, L"S_SYSTEM_SECTION_NAME"},
        {73, L"S_CLIBOARD_CATEGORY_NAME"},
        {74, L"S_CLIBOARD_CATEGORY_CATEGORY_DESCR"},
        {78, L"S_INDEXED_FILES_CATEGORY_ELEMENT"},
        {104, L"S_APP_GENERAL_CATEGORY_SHORT_DESCRIPTION"},
        {105, L""},
        {-1, L""},
    };
    for (const auto& [id, name] : cases) EXPECT_EQ(LocalizerStrName(static_cast<TLocalizerStr>(id)), name) << id;

    // Every id has a name of its own that leads back to it.
    std::set<std::wstring_view> names;
    for (int i = 0; i < kLocalizerStrCount; ++i) {
        const auto id = static_cast<TLocalizerStr>(i);
        TLocalizerStr back = S_EMPTY;
        EXPECT_TRUE(names.insert(LocalizerStrName(id)).second && LocalizerStrFromName(LocalizerStrName(id), back));
        EXPECT_EQ(back, id);
    }
}

TEST(DLLStrings, LocalizeFillsHostTextsKeepsTheFixedOnesAndReplacesIglTags) {
    Localizer::Localize(Lines({L"S_EMPTY=not empty", L"S_BROWSER_IE=IE", L"S_COOKIES=Cookies",
                               L"S_ONE_ELEMENT_CATEGORY_IGNORED=1 ignored", L"S_SIZE_KB=%s KB=kilo",
                               L"S_APP_GENERAL_CATEGORY_SHORT_DESCRIPTION=App"}));
    const std::pair<TLocalizerStr, const wchar_t*> texts[] = {
        {S_EMPTY, L""}, {S_BROWSER_IE, L"Internet Explorer"}, {S_BROWSER_FIREFOX, L"Firefox"},
        {S_BROWSER_OPERA, L"Opera"}, {S_BROWSER_APPLE, L"Apple Safari"}, {S_BROWSER_CHROME, L"Google Chrome"},
        {S_COOKIES, L"Cookies"}, {S_SIZE_KB, L"%s KB=kilo"}, {S_APP_GENERAL_CATEGORY_SHORT_DESCRIPTION, L"App"},
        {S_GROUPED_PAGES, L""}, {static_cast<TLocalizerStr>(200), L""},
    };
    for (const auto& [id, text] : texts) EXPECT_EQ(LocalizedString(id), text) << int(id);

    const std::pair<const wchar_t*, const wchar_t*> tagged[] = {
        {L"a <S_ONE_ELEMENT_CATEGORY_IGNORED>, b <S_ONE_ELEMENT_CATEGORY_IGNORED>", L"a 1 ignored, b 1 ignored"},
        {L"<s_one_element_category_ignored>", L"<s_one_element_category_ignored>"},
        {L"S_ONE_ELEMENT_CATEGORY_IGNORED", L"S_ONE_ELEMENT_CATEGORY_IGNORED"},
    };
    for (const auto& [text, expected] : tagged) EXPECT_EQ(Localizer::ReplaceIglTags(text), expected) << text;

    // A second language replaces everything: ids it lacks become empty.
    Localizer::Localize(Lines({L"S_GROUPED_PAGES=Pages"}));
    EXPECT_EQ(LocalizedString(S_GROUPED_PAGES), L"Pages");
    EXPECT_EQ(LocalizedString(S_COOKIES), L"");
    EXPECT_EQ(LocalizedString(S_BROWSER_OPERA), L"Opera");
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
