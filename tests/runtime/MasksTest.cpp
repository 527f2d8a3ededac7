#include <gtest/gtest.h>

#include <chrono>

#include "runtime/Exception.h"
#include "runtime/Masks.h"

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

TEST(Masks, ManyStarsDoNotBacktrackExponentially) {
    const std::wstring name(5000, L'a');
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(MatchesMask(name, L"*a*a*a*a*a*a*a*a*a*a*a*b"));
    EXPECT_TRUE(MatchesMask(name + L"b", L"*a*a*a*a*a*a*a*a*a*a*a*b"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(Masks, IsMaskedText) {
    EXPECT_TRUE(IsMaskedText(L"C:\\Temp\\*.tmp"));
    EXPECT_TRUE(IsMaskedText(L"dump?.dmp"));
    EXPECT_FALSE(IsMaskedText(L"C:\\Temp\\[abc].tmp"));
    EXPECT_FALSE(IsMaskedText(L""));
}

}  // namespace
}  // namespace vt
