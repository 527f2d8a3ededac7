// The registry walk over an in-memory registry shaped like Explorer's
// dialog histories ("OpenSaveMRU": one sub-key per extension holding letter
// values and an "MRUList") and the "RunMRU" key.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "runtime/RegistryReader.h"
#include "search/RegistrySearch.h"

namespace vt::testing {
namespace {

constexpr wchar_t kOpenSave[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ComDlg32\\OpenSaveMRU";
constexpr wchar_t kRunMru[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RunMRU";
constexpr RegistryRoot kCU = RegistryRoot::CurrentUser;

MemoryRegistry ExplorerHistories() {
    MemoryRegistry r;
    r.SetString(kCU, std::wstring(kOpenSave) + L"\\txt", L"a", L"C:\\Users\\alice\\Documents\\notes.txt");
    r.SetString(kCU, std::wstring(kOpenSave) + L"\\txt", L"MRUList", L"a");
    r.SetString(kCU, std::wstring(kOpenSave) + L"\\*", L"a", L"C:\\Users\\alice\\Documents\\notes.txt");
    r.SetString(kCU, std::wstring(kOpenSave) + L"\\*", L"b", L"C:\\Users\\alice\\Pictures\\beach.jpg");
    r.SetString(kCU, std::wstring(kOpenSave) + L"\\*", L"MRUList", L"ba");
    r.SetString(kCU, std::wstring(kOpenSave) + L"\\txt\\grandchild", L"x", L"never visited");
    r.SetString(kCU, kOpenSave, L"", L"default value");
    r.SetString(kCU, kOpenSave, L"MRUListEx", L"");
    r.SetString(kCU, kOpenSave, L"a", L"C:\\boot.ini");
    r.SetString(kCU, kRunMru, L"a", L"cmd\\1");
    r.SetString(kCU, kRunMru, L"b", L"regedit\\1");
    r.SetString(kCU, kRunMru, L"MRUList", L"ba");
    return r;
}

struct Reported {
    std::wstring key;  // below HKEY_CURRENT_USER\...\Explorer
    std::wstring value;
    bool operator==(const Reported&) const = default;
};

std::vector<Reported> Walk(TRegistrySearch& search, int stopAfter = -1) {
    std::vector<Reported> got;
    const std::wstring prefix = L"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\";
    search.SetOnRegValue([&](const std::wstring& path, const std::wstring& value, bool& stop) {
        EXPECT_EQ(path.rfind(prefix, 0), 0u) << "full key text expected";
        got.push_back({path.substr(prefix.size()), value});
        if (stopAfter >= 0 && static_cast<int>(got.size()) >= stopAfter) stop = true;
    });
    search.Enumerate();
    return got;
}

TEST(RegistrySearchTest, ReportsSubKeysFirstThenTheKeysOwnValues) {
    const MemoryRegistry registry = ExplorerHistories();
    struct Case {
        const char* what;
        const wchar_t* key;
        const wchar_t* valueName;
        int stopAfter;
        std::vector<Reported> expected;
    } cases[] = {
        {"empty value name: every value of each sub-key, then of the key, default value included",
         kOpenSave, L"", -1,
         {{L"ComDlg32\\OpenSaveMRU\\txt", L"a"}, {L"ComDlg32\\OpenSaveMRU\\txt", L"MRUList"},
          {L"ComDlg32\\OpenSaveMRU\\*", L"a"}, {L"ComDlg32\\OpenSaveMRU\\*", L"b"},
          {L"ComDlg32\\OpenSaveMRU\\*", L"MRUList"}, {L"ComDlg32\\OpenSaveMRU", L""},
          {L"ComDlg32\\OpenSaveMRU", L"MRUListEx"}, {L"ComDlg32\\OpenSaveMRU", L"a"}}},
        {"a mask filters the key's own values only", kOpenSave, L"MRU*", -1,
         {{L"ComDlg32\\OpenSaveMRU\\txt", L"a"}, {L"ComDlg32\\OpenSaveMRU\\txt", L"MRUList"},
          {L"ComDlg32\\OpenSaveMRU\\*", L"a"}, {L"ComDlg32\\OpenSaveMRU\\*", L"b"},
          {L"ComDlg32\\OpenSaveMRU\\*", L"MRUList"}, {L"ComDlg32\\OpenSaveMRU", L"MRUListEx"}}},
        {"a plain value name reports that value", kRunMru, L"MRUList", -1, {{L"RunMRU", L"MRUList"}}},
        {"a missing plain value reports nothing and visits no sub-key", kOpenSave, L"nothere", -1, {}},
        {"a missing key reports nothing", L"Software\\Nobody", L"", -1, {}},
        {"leading and trailing backslashes are dropped", L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RunMRU\\",
         L"b", -1, {{L"RunMRU", L"b"}}},
        {"a stop in the sub-key pass still lets the value pass report one value", kOpenSave, L"", 1,
         {{L"ComDlg32\\OpenSaveMRU\\txt", L"a"}, {L"ComDlg32\\OpenSaveMRU", L""}}},
    };
    for (const auto& c : cases) {
        TRegistrySearch search(registry);
        search.AddPath(kCU, c.key, c.valueName);
        search.AddPath(kCU, kRunMru, L"a");  // never reached once stopped
        auto expected = c.expected;
        if (c.stopAfter < 0) expected.push_back({L"RunMRU", L"a"});
        EXPECT_EQ(Walk(search, c.stopAfter), expected) << c.what;
    }
}

TEST(RegistrySearchTest, StopFlagIsClearedByTheNextEnumerate) {
    const MemoryRegistry registry = ExplorerHistories();
    TRegistrySearch search(registry);
    search.AddPath(kCU, kRunMru, L"*");
    EXPECT_EQ(Walk(search, 1).size(), 1u);
    EXPECT_EQ(Walk(search).size(), 3u);
}

TEST(RegistryReaderTest, StringAndDwordDataDecodeAsWindowsStoresThem) {
    struct Case {
        RegistryValue value;
        std::optional<std::wstring> text;
        std::optional<std::uint32_t> number;
    } cases[] = {
        {{kRegSz, {'C', 0, ':', 0, '\\', 0, 0, 0}}, L"C:\\", std::nullopt},
        {{kRegExpandSz, {'%', 0, 'X', 0, '%', 0, 0, 0, 'j', 0}}, L"%X%", std::nullopt},  // up to the terminator
        {{kRegSz, {'a', 0, 'b'}}, L"a", std::nullopt},                                  // odd last byte dropped
        {{kRegSz, {0x3D, 0xD8, 0x00, 0xDE, 0, 0}}, std::wstring{wchar_t(0xD83D), wchar_t(0xDE00)}, std::nullopt},
        {{kRegDword, {0x2A, 0, 0, 0x80}}, std::nullopt, 0x8000002Au},
        {{kRegDword, {1, 0}}, std::nullopt, std::nullopt},
        {{kRegBinary, {1, 0, 0, 0}}, std::nullopt, std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(RegistryString(c.value), c.text);
        EXPECT_EQ(RegistryDword(c.value), c.number);
    }
    EXPECT_EQ(RegistryStringBytes(L"ab"), (std::vector<std::uint8_t>{'a', 0, 'b', 0, 0, 0}));
}

TEST(RegistryReaderTest, MemoryRegistryKeysIgnoreCaseAndKeepOrder) {
    MemoryRegistry r;
    r.SetDword(RegistryRoot::LocalMachine, L"SYSTEM\\CurrentControlSet\\Control\\CrashControl", L"CrashDumpEnabled", 7);
    r.AddKey(RegistryRoot::LocalMachine, L"system\\currentcontrolset\\control\\CrashControl\\StorageTelemetry");
    r.SetString(RegistryRoot::LocalMachine, L"\\SYSTEM\\CurrentControlSet\\Control\\CrashControl\\", L"MinidumpDir",
                L"%SystemRoot%\\Minidump", kRegExpandSz);
    const auto key = r.OpenKey(RegistryRoot::LocalMachine, L"System\\CurrentControlSet\\Control\\crashcontrol");
    ASSERT_TRUE(key);
    EXPECT_EQ(key->ValueNames(), (std::vector<std::wstring>{L"CrashDumpEnabled", L"MinidumpDir"}));
    EXPECT_EQ(key->SubKeyNames(), (std::vector<std::wstring>{L"StorageTelemetry"}));
    EXPECT_EQ(RegistryString(*key->ReadValue(L"minidumpdir")), L"%SystemRoot%\\Minidump");
    EXPECT_FALSE(key->HasValue(L"Overwrite"));
    EXPECT_FALSE(r.OpenKey(RegistryRoot::CurrentUser, L"SYSTEM"));
}

}  // namespace
}  // namespace vt::testing
