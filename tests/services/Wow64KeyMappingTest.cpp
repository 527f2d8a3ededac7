#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>
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
    for (const auto& e : kKeyMappingTable) ++groups[{e.ModeBeforeWin7, e.ModeFromWin7}];
    const std::map<std::pair<TMappingMode, TMappingMode>, int> expected = {
        {{mmShared, mmShared}, 38}, {{mmRedirected, mmRedirected}, 1}, {{mmReflected, mmShared}, 10},
        {{mmReflected, mmRedirected}, 15}, {{mmRedirected, mmShared}, 12}};
    EXPECT_EQ(groups, expected);
}

TEST(Wow64KeyMapping, ModeIsThatOfTheDeepestListedKey) {
    const TKeyMappingChecker vista(true, kVista), win7(true, kWin7), native(false, kWin7);
    const std::tuple<std::wstring, TMappingMode, TMappingMode> cases[] = {
        {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor\\App", mmRedirected, mmRedirected},
        {L"hkey_local_machine\\software\\vendor\\", mmRedirected, mmRedirected},
        {L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet", mmShared, mmShared},
        {kNt + L"Fonts", mmShared, mmShared},
        {kNt + L"Console\\Sub", mmRedirected, mmShared},
        {kNt + L"Winlogon", mmRedirected, mmRedirected},  // unlisted node: its ancestor's mode
        {L"HKEY_CLASSES_ROOT\\CLSID\\{1}", mmReflected, mmRedirected},
        {L"HKEY_CLASSES_ROOT\\.txt", mmReflected, mmShared},
        {L"HKEY_USERS\\S-1-5-21-1\\Software\\Vendor", mmShared, mmShared},
        // The table holds this doubled path as it stands; the plain one is not listed.
        {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\SOFTWARE\\Microsoft\\Shared Tools\\MSInfo", mmShared, mmShared},
        {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Shared Tools\\MSInfo", mmRedirected, mmRedirected},
        {L"", mmShared, mmShared},
    };
    for (const auto& [key, beforeWin7, fromWin7] : cases) {
        SCOPED_TRACE(testing::PrintToString(key));
        EXPECT_EQ(vista.MappingMode(key), beforeWin7);
        EXPECT_EQ(win7.MappingMode(key), fromWin7);
        EXPECT_EQ(native.MappingMode(key), mmShared) << "a process that is not WOW64 shares every key";
    }
}

TEST(Wow64KeyMapping, NativeKeyInsertsWow6432NodeAfterTheFirstMatchingRoot) {
    const TKeyMappingChecker vista(true, kVista), win7(true, kWin7), native(false, kWin7);
    const std::wstring vendor = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor";
    const std::tuple<const TKeyMappingChecker&, std::int32_t, std::wstring, std::wstring> cases[] = {
        {win7, 0x200, vendor + L"\\App", L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Wow6432Node\\Vendor\\App"},
        {win7, 0x200, L"hkey_local_machine\\software\\Vendor", L"hkey_local_machine\\software\\Wow6432Node\\Vendor"},
        {win7, 0x200, L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\{1}",
         L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Wow6432Node\\CLSID\\{1}"},
        {win7, 0x200, L"HKEY_CURRENT_USER\\SOFTWARE\\Classes\\Interface\\{2}",
         L"HKEY_CURRENT_USER\\SOFTWARE\\Classes\\Wow6432Node\\Interface\\{2}"},
        {win7, 0x200, L"HKEY_CLASSES_ROOT\\CLSID\\{1}", L"HKEY_CLASSES_ROOT\\Wow6432Node\\CLSID\\{1}"},
        {vista, 0x200, kNt + L"Console\\Sub",
         L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Wow6432Node\\Microsoft\\Windows NT\\CurrentVersion\\Console\\Sub"},
        // Unchanged: shared or reflected keys, another flag, a process that is not WOW64.
        {win7, 0x200, kNt + L"Console\\Sub", kNt + L"Console\\Sub"},
        {vista, 0x200, L"HKEY_CLASSES_ROOT\\CLSID\\{1}", L"HKEY_CLASSES_ROOT\\CLSID\\{1}"},
        {win7, 0x100, vendor, vendor},
        {win7, 0x200, L"HKEY_USERS\\S-1-5-21-1\\Software", L"HKEY_USERS\\S-1-5-21-1\\Software"},
        {native, 0x200, vendor, vendor},
    };
    for (const auto& [checker, flag, key, expected] : cases)
        EXPECT_EQ(checker.GetNativeKey(flag, key), expected) << testing::PrintToString(key);
}

TEST(Wow64KeyMapping, ScopedInstanceStandsInForTheProcessWideChecker) {
    const TKeyMappingChecker& own = TKeyMappingChecker::Instance();
    const TKeyMappingChecker vista(true, kVista), win7(true, kWin7);
    {
        const TKeyMappingChecker::ScopedInstance outer(vista);
        {
            const TKeyMappingChecker::ScopedInstance inner(win7);
            EXPECT_EQ(&TKeyMappingChecker::Instance(), &win7);
        }
        EXPECT_EQ(&TKeyMappingChecker::Instance(), &vista);
    }
    EXPECT_EQ(&TKeyMappingChecker::Instance(), &own);
}

TEST(Wow64KeyMapping, TreeIsLoggedOneLevelDeeperPerComponent) {
    std::vector<std::wstring> lines;  // everything after the level, nesting spaces included
    const TLogLevel saved = TDebugLog::Level();
    TDebugLog::SetSink([&](const std::wstring& line) { lines.push_back(line.substr(line.find(L"INFO  ") + 6)); });
    TDebugLog::SetLevel(llInfo);
    const TKeyMappingChecker checker(true, kWin7);
    TDebugLog::SetSink({});
    TDebugLog::SetLevel(saved);

    ASSERT_GE(lines.size(), 8u);
    EXPECT_EQ(lines[0], L"TKeyMappingChecker: Begin DumpKeysTree");
    EXPECT_EQ(lines[1], L"  TKeyMappingChecker: HKEY_LOCAL_MACHINE (Shared)");
    EXPECT_EQ(lines[2], L"  TKeyMappingChecker: Begin HKEY_LOCAL_MACHINE");
    EXPECT_EQ(lines[3], L"    TKeyMappingChecker: SOFTWARE (Redirected)");
    EXPECT_EQ(lines[5], L"      TKeyMappingChecker: Classes (Shared)");
    EXPECT_EQ(lines[7], L"        TKeyMappingChecker: HCP (Shared)");
    EXPECT_EQ(lines.back(), L"TKeyMappingChecker: End DumpKeysTree");
}

}  // namespace
}  // namespace vt
