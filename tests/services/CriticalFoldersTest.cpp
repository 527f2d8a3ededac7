// The critical-folder lists built from scripted system answers shaped like a
// Windows 7 machine with two users (alice, who runs the cleaner, and bob).
#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <map>
#include <string>
#include <vector>

#include "runtime/DebugLog.h"
#include "runtime/RegistryReader.h"
#include "services/CriticalFolders.h"

namespace vt::testing {
namespace {

const std::vector<std::uint8_t> kAliceSid = {1, 5, 0, 0, 0, 0, 0, 5, 21, 0, 0, 0, 0xA1, 0x2B, 0x3C, 0x4D,
                                             0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0xE9, 0x03, 0, 0};
const std::vector<std::uint8_t> kBobSid = {1, 5, 0, 0, 0, 0, 0, 5, 21, 0, 0, 0, 0xA1, 0x2B, 0x3C, 0x4D,
                                           0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0xEA, 0x03, 0, 0};

class ScriptedSystem final : public ICriticalFoldersSystem {
public:
    ScriptedSystem() {
        shell = {{0x24, L"C:\\Windows"},
                 {0x25, L"C:\\Windows\\system32"},
                 {0x28, L"C:\\Users\\alice"},
                 {0x05, L"C:\\Users\\alice\\Documents"},
                 {0x2E, L"C:\\Users\\Public\\Documents"},
                 {0x00, L"C:\\Users\\alice\\Desktop"},
                 {0x10, L"C:\\Users\\alice\\Desktop"},
                 {0x0B, L"C:\\Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu"},
                 {0x1A, L"C:\\Users\\alice\\AppData\\Roaming"},
                 {0x1C, L"C:\\Users\\alice\\AppData\\Local"},
                 {0x26, L"C:\\Program Files"},
                 {0x2B, L"C:\\Program Files\\Common Files"}};
        environment = {{L"TEMP", L"C:\\Users\\alice\\AppData\\Local\\Temp"},
                       {L"TMP", L"C:\\Users\\ALICE~1\\AppData\\Local\\Temp"},
                       {L"USERPROFILE", L"C:\\Users\\alice"},
                       {L"ProgramFiles", L"C:\\Program Files"},
                       {L"ProgramW6432", L"C:\\Program Files"}};
        nativeNames = {{L"C:\\", L"\\Device\\HarddiskVolume1"},
                       {L"E:\\", L"\\Device\\HarddiskVolume3"},
                       // A junction on E: that leads into the Windows folder.
                       {L"E:\\shortcut\\", L"\\Device\\HarddiskVolume1\\Windows\\System32"}};
        const std::wstring profiles = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";
        registry.SetValue(RegistryRoot::LocalMachine, profiles + L"\\S-1-5-21-1295788961-2284003857-1001", L"Sid",
                          {kRegBinary, kAliceSid});
        registry.SetString(RegistryRoot::LocalMachine, profiles + L"\\S-1-5-21-1295788961-2284003857-1001",
                           L"ProfileImagePath", L"C:\\Users\\alice", kRegExpandSz);
        registry.SetValue(RegistryRoot::LocalMachine, profiles + L"\\S-1-5-21-1295788961-2284003857-1002", L"Sid",
                          {kRegBinary, kBobSid});
        registry.SetString(RegistryRoot::LocalMachine, profiles + L"\\S-1-5-21-1295788961-2284003857-1002",
                           L"ProfileImagePath", L"%SystemDrive%\\Users\\bob", kRegExpandSz);
        // System profiles have no "Sid" value and are skipped.
        registry.SetString(RegistryRoot::LocalMachine, profiles + L"\\S-1-5-18", L"ProfileImagePath",
                           L"%systemroot%\\system32\\config\\systemprofile", kRegExpandSz);
        const std::wstring docs = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\DocFolderPaths";
        registry.SetString(RegistryRoot::LocalMachine, docs, L"S-1-5-21-1295788961-2284003857-1001",
                           L"C:\\Users\\alice\\Documents");
        registry.SetString(RegistryRoot::LocalMachine, docs, L"S-1-5-21-1295788961-2284003857-1002",
                           L"D:\\Shared\\bob's documents\\");
    }

    std::uint32_t LogicalDrives() override { return (1u << 2) | (1u << 3) | (1u << 4); }  // C: D: E:
    std::uint32_t DriveType(const std::wstring& root) override { return root == L"D:\\" ? 2 : 3; }
    std::wstring NativeName(const std::wstring& path) override {
        ++nativeQuestions;
        const auto it = nativeNames.find(path);
        return it == nativeNames.end() ? std::wstring() : it->second;
    }
    std::optional<std::wstring> ShellFolder(int csidl) override {
        const auto it = shell.find(csidl);
        if (it == shell.end()) return std::nullopt;
        return it->second;
    }
    std::optional<std::wstring> KnownFolderPath(KnownFolder f) override {
        return f == kfPublic ? L"C:\\Users\\Public" : L"C:\\Users\\alice\\AppData\\LocalLow";
    }
    std::optional<std::wstring> ProfilesDirectory() override { return L"C:\\Users"; }
    std::optional<std::wstring> AllUsersProfileDirectory() override { return L"C:\\ProgramData"; }
    std::optional<std::wstring> DefaultUserProfileDirectory() override { return L"C:\\Users\\Default"; }
    std::wstring Environment(const std::wstring& name) override {
        const auto it = environment.find(name);
        return it == environment.end() ? std::wstring() : it->second;
    }
    std::wstring LongPathName(const std::wstring& path) override {
        return path == L"C:\\Users\\ALICE~1\\AppData\\Local\\Temp" ? L"C:\\Users\\alice\\AppData\\Local\\Temp" : path;
    }
    std::wstring ExpandEnvironment(const std::wstring& text) override {
        std::wstring out = text;
        const std::wstring var = L"%SystemDrive%";
        if (out.rfind(var, 0) == 0) out.replace(0, var.size(), L"C:");
        return out;
    }
    std::wstring UserName() override { return L"alice"; }
    std::vector<std::uint8_t> AccountSid(const std::wstring& name) override {
        return name == L"alice" ? kAliceSid : std::vector<std::uint8_t>{};
    }
    std::wstring UserSidText() override { return L"S-1-5-21-1295788961-2284003857-1001"; }
    const IRegistryReader& Registry() override { return registry; }

    std::map<int, std::wstring> shell;
    std::map<std::wstring, std::wstring> environment;
    std::map<std::wstring, std::wstring> nativeNames;
    MemoryRegistry registry;
    int nativeQuestions = 0;
};

TEST(CriticalFoldersTest, AnswersForTheFoldersOfAWindowsMachine) {
    TCriticalFolders folders(std::make_unique<ScriptedSystem>());
    struct Case {
        const wchar_t* folder;
        bool rootsAllow;
        bool critical;
    } cases[] = {
        {L"C:\\", false, true},  // a fixed drive's root
        {L"C:\\", true, false},
        {L"D:\\", false, false},  // removable: neither mapped nor restricted
        {L"", false, true},
        {L"\\", false, true},
        {L"C:\\Windows\\", false, true},
        {L"C:\\Windows\\Prefetch\\", false, false},  // "prefetch\*" exception
        {L"C:\\Windows\\System32\\", false, true},
        {L"C:\\Windows\\System32\\spool\\PRINTERS\\", false, false},
        {L"C:\\Windows\\Minidump\\", false, false},
        {L"C:\\Users\\", false, true},
        {L"C:\\Users\\alice\\", false, true},
        {L"C:\\Users\\alice\\AppData\\Local\\Temp\\", false, false},  // TEMP and TMP (long form)
        {L"C:\\Users\\alice\\Projects\\", false, false},  // below the own profile: not covered
        {L"C:\\Users\\alice\\Desktop\\", false, true},
        {L"C:\\Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Recent\\AutomaticDestinations\\", false,
         false},
        {L"C:\\Users\\bob\\", false, true},  // another user's profile and everything below it
        {L"C:\\Users\\bob\\AppData\\Local\\Temp\\", false, true},
        {L"C:\\Users\\Default\\NTUSER.DAT\\", false, true},
        {L"C:\\Users\\Public\\", false, false},  // known folders carry no backslash and never match
        {L"D:\\Shared\\bob's documents\\", false, true},  // another user's document folder
        {L"C:\\Users\\alice\\Documents\\", false, true},
        {L"C:\\Program Files\\Common Files\\", false, true},
        {L"C:\\Program Files\\Vantrel\\", false, false},
        {L"E:\\shortcut\\", false, true},  // resolved to C:\Windows\System32 through its native name
        {L"E:\\", true, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(folders.IsFolderCritical(c.folder, c.rootsAllow), c.critical) << std::string(c.folder, c.folder + wcslen(c.folder));
}

TEST(CriticalFoldersTest, ListsAreBuiltOnceAndLowerCased) {
    auto system = std::make_unique<ScriptedSystem>();
    ScriptedSystem& script = *system;
    TCriticalFolders folders(std::move(system));
    EXPECT_EQ(folders.RestrictedFolders().Count(), 0);
    folders.IsFolderCritical(L"C:\\Temp\\", false);
    const StringList& restricted = folders.RestrictedFolders();
    for (const wchar_t* entry : {L"c:\\", L"e:\\", L"c:\\windows\\*", L"c:\\users\\bob\\*", L"c:\\users\\default\\*",
                                 L"c:\\users\\public", L"d:\\shared\\bob's documents\\"})
        EXPECT_GE(restricted.IndexOf(entry), 0) << "missing restricted entry";
    EXPECT_LT(restricted.IndexOf(L"c:\\users\\alice\\*"), 0);  // the own profile is protected by itself only
    EXPECT_LT(restricted.IndexOf(L"d:\\"), 0);
    EXPECT_GE(folders.AllowedFolders().IndexOf(L"c:\\users\\alice\\recent\\*"), 0);
    const int asked = script.nativeQuestions;
    script.shell.clear();  // later changes are not seen
    folders.IsFolderCritical(L"C:\\Windows\\", false);
    EXPECT_TRUE(folders.IsFolderCritical(L"C:\\Windows\\", false));
    EXPECT_EQ(script.nativeQuestions, asked + 2);  // one resolution per question, no second build
}

TEST(CriticalFoldersTest, GateAdmitsEveryWellFormedDrivePath) {
    ResetCriticalFoldersForTesting(std::make_unique<ScriptedSystem>());
    struct Case {
        std::wstring path;
        bool checkExists;
        bool allowed;
    } cases[] = {
        {L"Windows\\Temp\\", true, false},
        {L"\\\\server\\share\\", false, false},
        {L"C:", false, false},
        {L"C:\\Windows\\", false, true},  // critical, and still admitted
        {L"Q:\\missing\\folder\\", true, true},
    };
    std::vector<std::wstring> lines;
    TDebugLog::SetLevel(llInfo);
    TDebugLog::SetSink([&](const std::wstring& line) { lines.push_back(line); });
    for (const auto& c : cases) EXPECT_EQ(IsAllowedFolder(c.path, c.checkExists, false), c.allowed);
    TDebugLog::SetSink({});
    TDebugLog::SetLevel(llNone);
    ResetCriticalFoldersForTesting(nullptr);
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::wstring& l) { return l.find(L"Is Critical Folder: c:\\windows\\") != std::wstring::npos; }),
              1);
}

}  // namespace
}  // namespace vt::testing
