// The locations and rules of the file-based system categories against
// scripted answers of a Windows machine: FAT drives for CHKDSK fragments and
// the power calls for the hibernation file, which Wine cannot provide.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "categories/windows/FileCategorySystem.h"
#include "runtime/DebugLog.h"
#include "runtime/RegistryReader.h"

namespace vt::testing {
namespace {

using Masks = std::vector<std::wstring>;

class ScriptedSystem final : public IFileCategorySystem {
public:
    std::wstring WindowsDirectory() override { return windows; }
    std::wstring TempPath() override { return temp; }
    std::optional<std::wstring> ShellFolder(int csidl) override {
        const auto it = shell.find(csidl);
        if (it == shell.end()) return std::nullopt;
        return it->second;
    }
    std::vector<std::wstring> LogicalDriveRoots() override {
        std::vector<std::wstring> roots;
        for (const auto& d : drives) roots.push_back(d.root);
        return roots;
    }
    std::uint32_t DriveType(const std::wstring& root) override { return Find(root).type; }
    std::wstring FileSystemName(const std::wstring& root) override { return Find(root).fileSystem; }
    int WindowsVersion() override { return version; }
    std::wstring ExpandEnvironment(const std::wstring& text) override {
        std::wstring out = text;
        const std::wstring var = L"%SystemRoot%";
        if (out.rfind(var, 0) == 0) out.replace(0, var.size(), L"C:\\Windows");
        return out;
    }
    const IRegistryReader& Registry() override { return registry; }
    bool HibernationFilePresent() override { return true; }
    std::uint32_t ReserveHibernationFile(bool reserve) override {
        calls.push_back(reserve ? L"reserve" : L"release");
        const std::uint32_t status = reserve ? reserveStatus : releaseStatus;
        if (!reserve && status == 0) pollsUntilGone = gonePolls;
        return status;
    }
    bool FileExists(const std::wstring& path) override {
        if (path != L"C:\\hiberfil.sys" || !hiberfilPresent) return false;
        if (pollsUntilGone == 0) {
            hiberfilPresent = false;
            return false;
        }
        if (pollsUntilGone > 0) --pollsUntilGone;
        return true;
    }
    void Sleep(std::uint32_t ms) override { slept += ms; }

    struct Drive {
        std::wstring root;
        std::uint32_t type;
        std::wstring fileSystem;
    };
    Drive Find(const std::wstring& root) const {
        for (const auto& d : drives)
            if (d.root == root) return d;
        return {};
    }

    std::wstring windows = L"C:\\Windows\\";
    std::wstring temp = L"C:\\Users\\alice\\AppData\\Local\\Temp\\";
    std::map<int, std::wstring> shell = {
        {0x08, L"C:\\Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Recent"},
        {0x3B, L"C:\\Users\\alice\\AppData\\Local\\Microsoft\\Windows\\Burn\\Burn"}};
    std::vector<Drive> drives;
    int version = 15;
    MemoryRegistry registry;
    // Hibernation script.
    bool hiberfilPresent = true;
    std::uint32_t releaseStatus = 0, reserveStatus = 0;
    int gonePolls = 2;  // polls that still see the file after the release
    int pollsUntilGone = -1;
    std::uint32_t slept = 0;
    std::vector<std::wstring> calls;
};

TEST(FileCategoryMasksTest, MemoryDumpFoldersInOrder) {
    ScriptedSystem s;
    const Masks base = {L"C:\\Windows\\*.dmp", L"C:\\Windows\\Minidump\\*.dmp",
                        L"C:\\Users\\alice\\AppData\\Local\\Temp\\*.dmp"};
    EXPECT_EQ(FileCategoryMasks::MemoryDumps(s), base);  // no CrashControl key
    const std::wstring crash = L"SYSTEM\\CurrentControlSet\\Control\\CrashControl";
    s.registry.SetString(RegistryRoot::LocalMachine, crash, L"MinidumpDir", L"%SystemRoot%\\Minidump", kRegExpandSz);
    EXPECT_EQ(FileCategoryMasks::MemoryDumps(s),
              (Masks{base[0], base[1], L"C:\\Windows\\Minidump\\*.dmp", base[2]}));  // repeats are dropped by the search
    s.registry.SetString(RegistryRoot::LocalMachine, crash, L"MinidumpDir", L"\\\\dumpsrv\\dumps", kRegExpandSz);
    s.temp.clear();
    EXPECT_EQ(FileCategoryMasks::MemoryDumps(s), (Masks{base[0], base[1]}));  // UNC and missing folders add nothing
}

TEST(FileCategoryMasksTest, ChkdskFragmentsOnFixedFatDrivesOnly) {
    ScriptedSystem s;
    EXPECT_TRUE(FileCategoryMasks::ChkdskFragments(s).empty());
    s.drives = {{L"C:\\", 3, L"NTFS"}, {L"D:\\", 3, L"FAT32"}, {L"E:\\", 2, L"FAT"},
                {L"F:\\", 3, L"fat"},  {L"G:\\", 5, L"CDFS"},  {L"H:\\", 3, L"exFAT"}};
    EXPECT_EQ(FileCategoryMasks::ChkdskFragments(s), (Masks{L"D:\\*.chk", L"F:\\*.chk"}));
    s.drives = {{L"C:\\", 3, L"NTFS"}, {L"Z:\\", 3, L"NTFS"}};  // what Wine reports
    EXPECT_TRUE(FileCategoryMasks::ChkdskFragments(s).empty());
}

TEST(FileCategoryMasksTest, SpoolBurningJumpListAndDebugFolders) {
    ScriptedSystem s;
    const std::wstring staging = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\CD Burning\\StagingInfo";
    s.registry.SetString(RegistryRoot::CurrentUser, staging + L"\\Volume{6f2a1c52-0000-0000-0000-100000000000}",
                         L"StagingPath", L"D:\\Burn staging");
    s.registry.SetString(RegistryRoot::CurrentUser, staging + L"\\Volume{6f2a1c52-0000-0000-0000-200000000000}",
                         L"StagingPath", L"");
    const std::wstring area = L"C:\\Users\\alice\\AppData\\Local\\Microsoft\\Windows\\Burn\\Burn\\*.*";
    EXPECT_EQ(FileCategoryMasks::CDBurningStaging(s), (Masks{area, L"D:\\Burn staging\\*.*"}));
    s.version = 11;
    EXPECT_EQ(FileCategoryMasks::CDBurningStaging(s), (Masks{area}));
    s.shell.erase(0x3B);  // the burning area does not exist yet
    EXPECT_TRUE(FileCategoryMasks::CDBurningStaging(s).empty());

    const std::wstring recent = L"C:\\Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Recent\\";
    EXPECT_EQ(FileCategoryMasks::JumpLists(s, true), (Masks{recent + L"AutomaticDestinations\\*.*"}));
    EXPECT_EQ(FileCategoryMasks::JumpLists(s, false), (Masks{recent + L"CustomDestinations\\*.*"}));
    EXPECT_EQ(FileCategoryMasks::PrinterSpool(s), (Masks{L"C:\\Windows\\system32\\spool\\PRINTERS\\*.*"}));
    EXPECT_EQ(FileCategoryMasks::WindowsDebug(s), (Masks{L"C:\\Windows\\Debug\\*.*"}));
}

TEST(FileCategoryRulesTest, FilesKeptOutOfTheBurningAreaAndTheDebugFolder) {
    struct Case {
        const wchar_t* path;
        bool burningExcluded;
        bool protectedLog;
    } cases[] = {
        {L"D:\\Burn staging\\desktop.ini", true, false},
        {L"D:\\Burn staging\\Desktop.INI", true, false},
        {L"D:\\Burn staging\\desktop.ini.bak", false, false},
        {L"C:\\Windows\\Debug\\PASSWD.LOG", false, true},
        {L"C:\\Windows\\Debug\\passwd.log", false, true},
        {L"C:\\Windows\\Debug\\sam.Log", false, true},
        {L"C:\\Windows\\Debug\\PASSWD.LOG.old", false, false},
        {L"C:\\Windows\\Debug\\netsetup.log", false, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(IsBurningAreaFileExcluded(c.path), c.burningExcluded);
        EXPECT_EQ(IsProtectedDebugLog(c.path), c.protectedLog);
    }
}

TEST(HibernationTest, ReleaseAndReserveAgain) {
    struct Case {
        const char* what;
        bool present;
        std::uint32_t releaseStatus, reserveStatus;
        int gonePolls;
        bool result;
        std::vector<std::wstring> calls;
        std::uint32_t slept;
        const wchar_t* logged;
    } cases[] = {
        {"gone after two polls", true, 0, 0, 2, true, {L"release", L"reserve"}, 1000, L"timeout = 1000"},
        {"missing file: no power call", false, 0, 0, 0, false, {}, 0, L"result = False"},
        {"release refused", true, 0xC0000022u, 0, 0, false, {L"release"}, 0, L"status: 0xC0000022"},
        {"still there after 15 s", true, 0, 0, 1000, false, {L"release", L"reserve"}, 15000, L"timeout = 15000"},
        {"reserving again fails", true, 0, 0xC000009Au, 0, false, {L"release", L"reserve"}, 0, L"status: 0xC000009A"},
    };
    for (const auto& c : cases) {
        ScriptedSystem s;
        s.hiberfilPresent = c.present;
        s.releaseStatus = c.releaseStatus;
        s.reserveStatus = c.reserveStatus;
        s.gonePolls = c.gonePolls;
        std::vector<std::wstring> lines;
        TDebugLog::SetLevel(llInfo);
        TDebugLog::SetSink([&](const std::wstring& line) { lines.push_back(line); });
        ASSERT_EQ(HibernationFilePath(s), L"C:\\hiberfil.sys");
        EXPECT_EQ(ReleaseHibernationFile(s, HibernationFilePath(s)), c.result) << c.what;
        TDebugLog::SetSink({});
        TDebugLog::SetLevel(llNone);
        EXPECT_EQ(s.calls, c.calls) << c.what;
        EXPECT_EQ(s.slept, c.slept) << c.what;
        bool found = false;
        for (const auto& l : lines) found = found || l.find(c.logged) != std::wstring::npos;
        EXPECT_TRUE(found) << c.what;
    }
}

}  // namespace
}  // namespace vt::testing
