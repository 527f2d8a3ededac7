#include <gtest/gtest.h>

#include <string>

#include "runtime/Exception.h"
#include "runtime/Masks.h"
#include "vantrel/ComTypes.h"

namespace vt {
namespace {

TEST(Masks, MatchesWholeNameIgnoringCase) {
    struct Case {
        const wchar_t* name;
        const wchar_t* mask;
        bool matches;
    };
    const Case cases[] = {
        {L"report.txt", L"*.txt", true},
        {L"REPORT.TXT", L"*.txt", true},
        {L"report.txt.bak", L"*.txt", false},
        {L"", L"*", true},
        {L"a", L"", false},
        {L"", L"?", false},
        {L"ab", L"a?", true},
        {L"abc", L"a**c", true},
        {L"MRU0", L"MRU*", true},
        {L"file1.log", L"file[0-9].log", true},
        {L"fileX.log", L"file[!0-9].log", true},
        {L"file5.log", L"file[!0-9].log", false},
        {L"B", L"[abc]", true},
        {L"b", L"[A-C]", true},
        {L"q", L"[a-]]", true},          // the character after '-' is the upper bound, even ']'
        {L"-", L"[a-]]", false},
        {L"\x0444", L"\x0424*", true},   // Cyrillic folds too
        {L"dump0001.dmp", L"*[0-9][0-9][0-9][0-9].dmp", true},
        {L"mississippi", L"*sis*sip??", true},
        {L"mississippi", L"*sis*sipp", false},
        {L"[", L"?", true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MatchesMask(c.name, c.mask), c.matches) << c.name << L" / " << c.mask;
    }
}

TEST(Masks, InvalidMasksReportThePosition) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"*.[ab", L"'*.[ab' is an invalid mask at (6)"},
        {L"[", L"'[' is an invalid mask at (2)"},
        {L"a[]b", L"'a[]b' is an invalid mask at (3)"},
        {L"[!]", L"'[!]' is an invalid mask at (3)"},
        {L"x[-a]", L"'x[-a]' is an invalid mask at (3)"},
        {L"[a-", L"'[a-' is an invalid mask at (4)"},
        {L"[a-]", L"'[a-]' is an invalid mask at (5)"},
    };
    for (const auto& [mask, message] : cases) {
        try {
            MatchesMask(L"anything", mask);
            ADD_FAILURE() << "no error for " << mask;
        } catch (const Exception& e) {
            EXPECT_EQ(e.Message(), message);
            EXPECT_EQ(e.Code(), E_FAIL);
        }
    }
}

TEST(Masks, AStarRetriesOnlyFromItsLastMatch) {
    // Names where a first, greedy choice for a star is wrong and the match
    // must resume after the star with one more character consumed.
    struct Case { std::wstring name, mask; bool matches; };
    const Case cases[] = {
        {L"aaab", L"*a*b", true},
        {L"abab", L"*ab", true},
        {L"abcabd", L"*ab?", true},
        {L"abcabd", L"a*abc", false},
        {L"xaxbxc", L"*a*b*c", true},
        {L"xaxcxb", L"*a*b*c", false},
        {std::wstring(20, L'a') + L"b", L"*a*a*a*a*a*a*a*a*a*a*a*b", true},
        {std::wstring(20, L'a'), L"*a*a*a*a*a*a*a*a*a*a*a*b", false},
    };
    for (const auto& c : cases) EXPECT_EQ(MatchesMask(c.name, c.mask), c.matches) << c.name.size() << " / " << c.mask;
}

TEST(Masks, IsMaskedText) {
    EXPECT_TRUE(IsMaskedText(L"C:\\Temp\\*.tmp"));
    EXPECT_TRUE(IsMaskedText(L"dump?.dmp"));
    EXPECT_FALSE(IsMaskedText(L"C:\\Temp\\[abc].tmp"));
    EXPECT_FALSE(IsMaskedText(L""));
}

}  // namespace
}  // namespace vt
