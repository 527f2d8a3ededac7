#include <gtest/gtest.h>

#include "runtime/OSInfo.h"

namespace vt::OSInfo {
namespace {

TEST(OSInfo, VersionFactsMapToTheReleaseNumbering) {
    struct Case {
        VersionFacts facts;  // major, minor, build, isServer, isR2, is64bitXP
        int expected;
    };
    const Case cases[] = {
        {{5, 0, 2195, false, false, false}, wvUnknown},
        {{5, 1, 2600, false, false, false}, wvWinXP},
        {{5, 2, 3790, false, false, true}, wvWinXP64},
        {{5, 2, 3790, true, false, false}, wvWin2003},
        {{5, 2, 3790, true, true, false}, wvWin2003R2},
        {{6, 0, 6002, false, false, false}, wvVista},
        {{6, 0, 6002, true, false, false}, wvWin2008},
        {{6, 1, 7601, true, true, false}, wvWin2008R2},
        {{6, 1, 7601, false, false, false}, wvWin7},
        {{6, 2, 9200, false, false, false}, wvWin8},
        {{6, 2, 9200, true, false, false}, wvWin2012},
        {{6, 3, 9600, false, false, false}, wvWin81},
        {{6, 3, 9600, true, false, false}, wvWin2012R2},
        {{10, 0, 19045, false, false, false}, wvWin10},
        {{10, 0, 21999, false, false, false}, wvWin10},
        {{10, 0, 22000, false, false, false}, wvWin11},
        {{10, 0, 14393, true, false, false}, wvWin2016},
        {{10, 0, 26100, true, false, false}, wvWin2016},
        {{11, 0, 30000, false, false, false}, wvWin11},
        {{4, 0, 1381, false, false, false}, wvUnknown},
    };
    for (const auto& c : cases)
        EXPECT_EQ(VersionNumberOf(c.facts), c.expected)
            << c.facts.major << "." << c.facts.minor << "." << c.facts.build << (c.facts.isServer ? " server" : "");
}

TEST(OSInfo, IsWindowsIncludesBothEndsOfTheRange) {
    SetWindowsVersionForTesting(wvVista);
    const struct {
        int from, to;
        bool expected;
    } cases[] = {{12, 22, true}, {8, 12, true}, {13, 22, false}, {8, 11, false}, {12, 12, true}};
    for (const auto& c : cases) EXPECT_EQ(IsWindows(c.from, c.to), c.expected) << c.from << ".." << c.to;
    SetWindowsVersionForTesting(std::nullopt);
#if !defined(_WIN32)
    EXPECT_EQ(WindowsVersion(), wvWin10);
#endif
}

}  // namespace
}  // namespace vt::OSInfo
