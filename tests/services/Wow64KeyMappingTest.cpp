#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "runtime/DebugLog.h"
#include "services/Wow64KeyMapping.h"

namespace vt {
namespace {

constexpr int kVista = 12;
constexpr int kWin7 = 15;
const std::wstring kNt = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\";

TEST(Wow64KeyMapping, TableHoldsEveryEntryWithItsModePair) {
    std::map<std::pair<TMappingMode, TMappingMode>, int> groups;
    bool doubled = false;
    for (const auto& e : kKeyMappingTable) {
        ++groups[{e.ModeBeforeWin7, e.ModeFromWin7}];
        doubled |= std::wstring(e.Key) == L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\SOFTWARE\\Microsoft\\Shared Tools\\MSInfo";
    }
    EXPECT_EQ(kKeyMappingTable.size(), 76u);
    const std::map<std::pair<TMappingMode, TMappingMode>, int> expected = {
        {{mmShared, mmShared}, 38}, {{mmRedirected, mmRedirected}, 1}, {{mmReflected, mmShared}, 10},
        {{mmReflected, mmRedirected}, 15}, {{mmRedirected, mmShared}, 12}};
    EXPECT_EQ(groups, expected);
    EXPECT_TRUE(doubled);
    EXPECT_EQ(MappingModeName(mmUnspec), L"Unspec");
    EXPECT_EQ(MappingModeName(mmReflected), L"Reflected");
}

TEST(Wow64KeyMapping, ModeIsThatOfTheDeepestListedKey) {
    const TKeyMappingChecker vista(true, kVista), win7(true, kWin7);
    struct Case {
        std::wstring key;
        TMappingMode beforeWin7, fromWin7;
    };
    const Case cases[] = {
        {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor\\App", mmRedirected, mmRedirected},
        {L"hkey_local_machine\\software\\vendor\\", mmRedirected, mmRedirected},
        {L"HKEY_LOCAL_MACHINE\\SOFTWARE", mmRedirected, mmRedirected},
        {L"HKEY_LOCAL_MACHINE", mmShared, mmShared},
        {L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet", mmShared, mmShared},
        {kNt + L"Fonts", mmShared, mmShared},
        {kNt + L"Fonts\\Sub", mmShared, mmShared},
        {kNt + L"Console\\Sub", mmRedirected, mmShared},
        {kNt + L"Winlogon", mmRedirected, mmRedirected},  // unlisted node: its ancestor's mode
        {L"HKEY_CLASSES_ROOT\\CLSID\\{1}", mmReflected, mmRedirected},
        {L"HKEY_CLASSES_ROOT\\.txt", mmReflected, mmShared},
        {L"HKEY_CURRENT_USER\\Software\\Vendor", mmShared, mmShared},
        {L"HKEY_USERS\\S-1-5-21-1\\Software\\Vendor", mmShared, mmShared},
        {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\SOFTWARE\\Microsoft\\Shared Tools\\MSInfo", mmShared, mmShared},
        {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Shared Tools\\MSInfo", mmRedirected, mmRedirected},
        {L"", mmShared, mmShared},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(vista.MappingMode(c.key), c.beforeWin7) << "before 15: " << testing::PrintToString(c.key);
        EXPECT_EQ(win7.MappingMode(c.key), c.fromWin7) << "from 15: " << testing::PrintToString(c.key);
    }
}

TEST(Wow64KeyMapping, NativeKeyInsertsWow6432NodeAfterTheFirstMatchingRoot) {
    const TKeyMappingChecker vista(true, kVista), win7(true, kWin7), native(false, kWin7);
    struct Case {
        const TKeyMappingChecker& checker;
        std::int32_t flag;
        std::wstring key, expected;
    };
    const Case cases[] = {
        {win7, 0x200, L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor\\App", L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Wow6432Node\\Vendor\\App"},
        {win7, 0x200, L"hkey_local_machine\\software\\Vendor", L"hkey_local_machine\\software\\Wow6432Node\\Vendor"},
        {win7, 0x200, L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\{1}",
         L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Wow6432Node\\CLSID\\{1}"},
        {win7, 0x200, L"HKEY_CURRENT_USER\\SOFTWARE\\Classes\\Interface\\{2}",
         L"HKEY_CURRENT_USER\\SOFTWARE\\Classes\\Wow6432Node\\Interface\\{2}"},
        {win7, 0x200, L"HKEY_CLASSES_ROOT\\CLSID\\{1}", L"HKEY_CLASSES_ROOT\\Wow6432Node\\CLSID\\{1}"},
        {vista, 0x200, kNt + L"Console\\Sub",
         L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Wow6432Node\\Microsoft\\Windows NT\\CurrentVersion\\Console\\Sub"},
        // Unchanged: shared or reflected keys, other flags, a process that is not WOW64.
        {win7, 0x200, kNt + L"Console\\Sub", kNt + L"Console\\Sub"},
        {win7, 0x200, kNt + L"Fonts", kNt + L"Fonts"},
        {vista, 0x200, L"HKEY_CLASSES_ROOT\\CLSID\\{1}", L"HKEY_CLASSES_ROOT\\CLSID\\{1}"},
        {win7, 0x100, L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor", L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor"},
        {win7, 0, L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor", L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor"},
        {win7, 0x200, L"HKEY_USERS\\S-1-5-21-1\\Software", L"HKEY_USERS\\S-1-5-21-1\\Software"},
        {native, 0x200, L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor", L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.checker.GetNativeKey(c.flag, c.key), c.expected) << testing::PrintToString(c.key);

    EXPECT_TRUE(native.Root().Children.empty());
    for (const auto* key : {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor", L"HKEY_CLASSES_ROOT\\CLSID"})
        EXPECT_EQ(native.MappingMode(key), mmShared);
}

TEST(Wow64KeyMapping, ScopedInstanceStandsInForTheProcessWideChecker) {
    const TKeyMappingChecker& own = TKeyMappingChecker::Instance();
    const TKeyMappingChecker vista(true, kVista), win7(true, kWin7);
    {
        const TKeyMappingChecker::ScopedInstance outer(vista);
        EXPECT_EQ(&TKeyMappingChecker::Instance(), &vista);
        {
            const TKeyMappingChecker::ScopedInstance inner(win7);
            EXPECT_EQ(TKeyMappingChecker::Instance().MappingMode(kNt + L"Console"), mmShared);
        }
        EXPECT_EQ(TKeyMappingChecker::Instance().MappingMode(kNt + L"Console"), mmRedirected);
    }
    EXPECT_EQ(&TKeyMappingChecker::Instance(), &own);
}

TEST(Wow64KeyMapping, TreeIsLoggedOneLevelDeeperPerComponent) {
    std::vector<std::wstring> lines;
    const TLogLevel saved = TDebugLog::Level();
    TDebugLog::SetSink([&](const std::wstring& line) { lines.push_back(line); });
    TDebugLog::SetLevel(llInfo);
    const TKeyMappingChecker checker(true, kWin7);
    TDebugLog::SetSink({});
    TDebugLog::SetLevel(saved);

    // Everything after the level, nesting spaces included.
    auto body = [&](std::size_t i) {
        const std::wstring& l = lines.at(i);
        return l.substr(l.find(L"INFO  ") + 6);
    };
    ASSERT_GE(lines.size(), 8u);
    EXPECT_EQ(body(0), L"TKeyMappingChecker: Begin DumpKeysTree");
    EXPECT_EQ(body(1), L"  TKeyMappingChecker: HKEY_LOCAL_MACHINE (Shared)");
    EXPECT_EQ(body(2), L"  TKeyMappingChecker: Begin HKEY_LOCAL_MACHINE");
    EXPECT_EQ(body(3), L"    TKeyMappingChecker: SOFTWARE (Redirected)");
    EXPECT_EQ(body(5), L"      TKeyMappingChecker: Classes (Shared)");
    EXPECT_EQ(body(7), L"        TKeyMappingChecker: HCP (Shared)");
    EXPECT_EQ(body(lines.size() - 1), L"TKeyMappingChecker: End DumpKeysTree");
}

}  // namespace
}  // namespace vt
