// The file categories end to end on the portable core: a scripted Windows
// (folders on a scratch drive, registry in memory) is searched through the
// folder-listing seam, found files become items, removal deletes them and
// the folders it emptied, and saved results clean the same files.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "categories/windows/FileCategories.h"
#include "categories/windows/SystemCategories.h"
#include "model/StreamWrapper.h"
#include "runtime/FileSystem.h"
#include "runtime/RegistryReader.h"
#include "runtime/Stream.h"
#include "search/SearchTestSupport.h"
#include "support/FakeEngineContext.h"

namespace vt::testing {
namespace {

using test::ScratchDrive;
using Paths = std::set<std::wstring>;

constexpr wchar_t kRecent[] = L"Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Recent";
constexpr wchar_t kBurn[] = L"Users\\alice\\AppData\\Local\\Microsoft\\Windows\\Burn\\Burn";

// A Windows 7 machine whose folders live on a scratch drive.
class DriveSystem final : public IFileCategorySystem {
public:
    explicit DriveSystem(const ScratchDrive& drive) : root(drive.Root()) {}
    std::wstring WindowsDirectory() override { return root + L"Windows\\"; }
    std::wstring TempPath() override { return root + L"Temp\\"; }
    std::optional<std::wstring> ShellFolder(int csidl) override {
        if (csidl == 0x08) return root + kRecent;
        if (csidl == 0x3B) return root + kBurn;
        return std::nullopt;
    }
    std::vector<std::wstring> LogicalDriveRoots() override { return {root}; }
    std::uint32_t DriveType(const std::wstring&) override { return 3; }
    std::wstring FileSystemName(const std::wstring&) override { return fileSystem; }
    int WindowsVersion() override { return 15; }
    std::wstring ExpandEnvironment(const std::wstring& text) override { return text; }
    const IRegistryReader& Registry() override { return registry; }
    bool HibernationFilePresent() override { return hiberfil; }
    std::uint32_t ReserveHibernationFile(bool reserve) override {
        if (!reserve) hiberfil = false;
        return 0;
    }
    bool FileExists(const std::wstring& path) override { return path.ends_with(L":\\hiberfil.sys") && hiberfil; }
    void Sleep(std::uint32_t) override {}

    std::wstring root;
    std::wstring fileSystem = L"NTFS";
    MemoryRegistry registry;
    bool hiberfil = true;
};

Paths Locations(TVTCategory& category) {
    Paths out;
    for (std::int32_t i = 0; i < category.DetectedItems().Count(); ++i)
        out.insert(category.DetectedItems().Get(i)->Location());
    return out;
}

struct Machine {
    Machine() : system(std::make_shared<DriveSystem>(drive)) {
        // Traces each category looks for, and neighbours that must stay.
        drive.File(L"Windows\\MEMORY.DMP", 4096);
        drive.File(L"Windows\\Minidump\\112326-01.dmp", 512);
        drive.File(L"Windows\\Minidump\\old\\deeper.dmp");  // below the searched level
        drive.File(L"Windows\\notepad.exe");
        drive.File(L"Temp\\WER1A2B.tmp.dmp", 300);
        drive.File(L"Windows\\system32\\spool\\PRINTERS\\00002.SPL", 2048);
        drive.File(L"Windows\\system32\\spool\\PRINTERS\\00002.SHD", 1024);
        drive.File(L"Windows\\system32\\spool\\PRINTERS\\Job7\\00007.SPL", 64);
        drive.File(std::wstring(kRecent) + L"\\AutomaticDestinations\\1b4dd67f29cb1962.automaticDestinations-ms", 777);
        drive.File(std::wstring(kRecent) + L"\\CustomDestinations\\28c8b86deab549a1.customDestinations-ms", 99);
        drive.File(std::wstring(kRecent) + L"\\report.lnk");
        drive.File(std::wstring(kBurn) + L"\\holiday.jpg", 1500);
        drive.File(std::wstring(kBurn) + L"\\Desktop.INI", 80);
        drive.File(L"Staging\\disc1\\track01.wav", 700);
        drive.File(L"Windows\\Debug\\PASSWD.LOG", 10);
        drive.File(L"Windows\\Debug\\sam.log", 10);
        drive.File(L"Windows\\Debug\\PASSWD.LOG.bak", 10);
        drive.File(L"Windows\\Debug\\netsetup.log", 10);
        drive.File(L"FILE0000.CHK", 32);
        drive.File(L"FOUND.000\\FILE0001.CHK", 32);
        drive.File(L"FOUND.000\\deeper\\FILE0002.CHK", 32);
        system->registry.SetString(RegistryRoot::CurrentUser,
                                   L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\CD Burning\\StagingInfo\\"
                                   L"Volume{4f0c5c2e-0000-0000-0000-100000000000}",
                                   L"StagingPath", drive.Path(L"Staging\\disc1"));
    }
    std::wstring P(const std::wstring& relative) const { return drive.Path(relative); }

    ScratchDrive drive{L'W'};
    std::shared_ptr<DriveSystem> system;
    FakeEngineContext context;
};

template <class T>
Com<TVTCategory> Make(Machine& m) {
    return TVTCategory::Create<T>(m.context, m.system);
}

TEST(FileCategoriesTest, EachCategoryFindsItsTracesAndNothingElse) {
    Machine m;
    m.system->fileSystem = L"FAT32";
    const std::wstring spool = L"Windows\\system32\\spool\\PRINTERS\\";
    struct Row {
        Com<TVTCategory> (*make)(Machine&);
        std::vector<std::wstring> expected;
    };
    const Row rows[] = {
        {Make<TDumpFilesCategory>, {L"Windows\\MEMORY.DMP", L"Windows\\Minidump\\112326-01.dmp", L"Temp\\WER1A2B.tmp.dmp"}},
        {Make<TChkFiles>, {L"FILE0000.CHK", L"FOUND.000\\FILE0001.CHK"}},
        {Make<TPrinterRecentFiles>, {spool + L"00002.SPL", spool + L"00002.SHD", spool + L"Job7\\00007.SPL"}},
        {Make<TCDBurningFolder>, {std::wstring(kBurn) + L"\\holiday.jpg", L"Staging\\disc1\\track01.wav"}},
        {Make<TJumpListsRecent>,
         {std::wstring(kRecent) + L"\\AutomaticDestinations\\1b4dd67f29cb1962.automaticDestinations-ms"}},
        {Make<TJumpListsFrequent>,
         {std::wstring(kRecent) + L"\\CustomDestinations\\28c8b86deab549a1.customDestinations-ms"}},
        {Make<TWinDebugHistory>, {L"Windows\\Debug\\PASSWD.LOG.bak", L"Windows\\Debug\\netsetup.log"}},
    };
    for (const Row& row : rows) {
        Com<TVTCategory> category = row.make(m);
        category->SearchIfInstalled();
        Paths expected;
        for (const auto& r : row.expected) expected.insert(m.P(r));
        EXPECT_EQ(Locations(*category), expected) << category->ClassName();
        for (std::int32_t i = 0; i < category->DetectedItems().Count(); ++i) {
            auto item = category->DetectedItems().Get(i);
            EXPECT_EQ(item->FItemFileSize, FileSizeOf(item->Location()));
            EXPECT_TRUE(item->Checked());
        }
    }
}

TEST(FileCategoriesTest, RemovalDeletesFilesAndEmptiedSubFoldersButNeverASearchedFolder) {
    Machine m;
    Com<TVTCategory> dumps = Make<TDumpFilesCategory>(m);
    dumps->SearchIfInstalled();
    dumps->RemoveIfDetected();
    EXPECT_EQ(m.context.removed, 3);
    EXPECT_FALSE(FileExists(m.P(L"Windows\\MEMORY.DMP")));
    EXPECT_TRUE(DirectoryExists(m.P(L"Windows\\Minidump")));  // a searched folder stays
    EXPECT_TRUE(FileExists(m.P(L"Windows\\Minidump\\old\\deeper.dmp")));
    EXPECT_TRUE(FileExists(m.P(L"Windows\\notepad.exe")));
    EXPECT_TRUE(DirectoryExists(m.P(L"Temp")));
}

// A service manager with one service, "Spooler", running.
class SpoolerManager final : public IServiceManager {
public:
    explicit SpoolerManager(std::vector<std::wstring>& log, bool refuseStop) : log_(log), refuse_(refuseStop) {}
    bool IsOpen() const override { return true; }
    Service Open(const std::wstring& name) override { return name == L"Spooler" ? 1 : 0; }
    std::optional<std::uint32_t> QueryState(Service) override { return state_; }
    bool Control(Service, std::uint32_t code) override {
        log_.push_back(L"control " + std::to_wstring(code));
        if (refuse_) return false;
        state_ = ssStopped;
        return true;
    }
    bool Start(Service) override {
        log_.push_back(L"start");
        state_ = ssRunning;
        return true;
    }
    void Close(Service) override {}

private:
    std::vector<std::wstring>& log_;
    bool refuse_;
    std::uint32_t state_ = ssRunning;
};

TEST(FileCategoriesTest, SpoolFilesGoOnlyWhileTheSpoolerIsStopped) {
    const std::wstring spool = L"Windows\\system32\\spool\\PRINTERS\\";
    for (const bool refuse : {false, true}) {
        Machine m;
        std::vector<std::wstring> log;
        Com<TVTCategory> printer = TVTCategory::Create<TPrinterRecentFiles>(m.context, m.system, [&] {
            return std::make_unique<TServiceControl>(std::make_unique<SpoolerManager>(log, refuse),
                                                     [](std::uint32_t) {});
        });
        printer->SearchIfInstalled();
        ASSERT_EQ(printer->DetectedItems().Count(), 3);
        printer->RemoveIfDetected();
        if (refuse) {
            EXPECT_EQ(log, std::vector<std::wstring>{L"control 1"});
            EXPECT_EQ(m.context.failed, 3);
            EXPECT_TRUE(FileExists(m.P(spool + L"Job7\\00007.SPL")));
        } else {
            EXPECT_EQ(log, (std::vector<std::wstring>{L"control 1", L"start"}));
            EXPECT_EQ(m.context.removed, 3);
            EXPECT_FALSE(DirectoryExists(m.P(spool + L"Job7")));  // emptied by the cleaning
            EXPECT_TRUE(DirectoryExists(m.P(spool)));
        }
    }
}

#if !defined(_WIN32)
// Natively there is no service manager; under Wine "Spooler" exists (and is stopped).
TEST(FileCategoriesTest, WithoutAServiceManagerNoSpoolFileIsRemoved) {
    Machine m;
    Com<TVTCategory> printer = Make<TPrinterRecentFiles>(m);  // the native build has no service manager
    printer->SearchIfInstalled();
    printer->RemoveIfDetected();
    EXPECT_EQ(m.context.failed, 3);
    EXPECT_TRUE(FileExists(m.P(L"Windows\\system32\\spool\\PRINTERS\\00002.SPL")));
}
#endif

TEST(FileCategoriesTest, SavedResultsCleanTheSameFilesInAFreshCategory) {
    Machine m;
    MemoryStream stream;
    {
        Com<TVTCategory> burn = Make<TCDBurningFolder>(m);
        burn->SearchIfInstalled();
        TStreamWrapper w(stream);
        burn->SaveToStream(w);
    }
    m.drive.File(std::wstring(kBurn) + L"\\later.jpg");  // written after the scan: not in the results
    stream.Seek(0, SeekOrigin::Begin);
    Com<TVTCategory> loaded = Make<TCDBurningFolder>(m);
    TStreamWrapper r(stream);
    loaded->LoadFromStream(r);
    EXPECT_EQ(Locations(*loaded), (Paths{m.P(std::wstring(kBurn) + L"\\holiday.jpg"), m.P(L"Staging\\disc1\\track01.wav")}));
    // Loaded items come unchecked; the host checks them again.
    EXPECT_FALSE(loaded->DetectedItems().Get(0)->Checked());
    loaded->SetEnabledValue(true);
    loaded->RemoveIfDetected();
    EXPECT_EQ(m.context.removed, 2);
    EXPECT_FALSE(FileExists(m.P(std::wstring(kBurn) + L"\\holiday.jpg")));
    EXPECT_FALSE(FileExists(m.P(L"Staging\\disc1\\track01.wav")));
    EXPECT_TRUE(DirectoryExists(m.P(L"Staging\\disc1")));  // a searched folder
    EXPECT_TRUE(FileExists(m.P(std::wstring(kBurn) + L"\\later.jpg")));
    EXPECT_TRUE(FileExists(m.P(std::wstring(kBurn) + L"\\Desktop.INI")));
}

#if !defined(_WIN32)
// Wine cannot make links from inside; the host tests use links made with ln -s.
TEST(FileCategoriesTest, LinksInsideTheSpoolFolderAreNeitherReportedNorCleanedThrough) {
    Machine m;
    ScratchDrive outside(L'X');
    outside.File(L"keep\\precious.doc", 10);
    const std::wstring spool = L"Windows\\system32\\spool\\PRINTERS\\";
    ASSERT_TRUE(m.drive.Link(spool + L"loop", m.drive.HostPath(spool)));
    ASSERT_TRUE(m.drive.Link(spool + L"elsewhere", outside.HostPath(L"keep")));
    std::vector<std::wstring> log;
    Com<TVTCategory> printer = TVTCategory::Create<TPrinterRecentFiles>(m.context, m.system, [&] {
        return std::make_unique<TServiceControl>(std::make_unique<SpoolerManager>(log, false), [](std::uint32_t) {});
    });
    printer->SearchIfInstalled();
    EXPECT_EQ(Locations(*printer),
              (Paths{m.P(spool + L"00002.SPL"), m.P(spool + L"00002.SHD"), m.P(spool + L"Job7\\00007.SPL")}));
    printer->RemoveIfDetected();
    EXPECT_TRUE(FileExists(outside.Path(L"keep\\precious.doc")));
}
#endif

TEST(FileCategoriesTest, HibernationFileIsOfferedAgainOnlyWhenTheOptionsAskForIt) {
    Machine m;
    Com<THibernateCategory> hibernate = TVTCategory::Create<THibernateCategory>(m.context, m.system);
    hibernate->SearchIfInstalled();
    ASSERT_EQ(Locations(*hibernate), Paths{HibernationFilePath(*m.system)});
    hibernate->RemoveIfDetected();
    EXPECT_EQ(m.context.removed, 1);
    m.system->hiberfil = true;  // Windows made it again
    for (const bool multi : {false, true}) {
        m.context.options->SetMultiCleanHiberFile(multi);
        hibernate->Reset();
        hibernate->SearchIfInstalled();
        EXPECT_EQ(hibernate->DetectedItems().Count(), multi ? 1 : 0);
    }
}

#if !defined(_WIN32)
// The native registry is filled by hand; the host tests write the real one under Wine.
TEST(FileCategoriesTest, UnreadMailCountersOfAccountsThatHaveThem) {
    MemoryRegistry& registry = NativeRegistry();
    const std::wstring key = L"Software\\Microsoft\\Windows\\CurrentVersion\\UnreadMail\\";
    registry.SetDword(RegistryRoot::CurrentUser, key + L"alice@example.com", L"MessageCount", 3);
    registry.SetString(RegistryRoot::CurrentUser, key + L"alice@example.com", L"Application", L"WinMail");
    registry.SetString(RegistryRoot::CurrentUser, key + L"bob@example.org", L"Application", L"WinMail");
    registry.SetDword(RegistryRoot::CurrentUser, key + L"carol@example.net", L"MessageCount", 0);
    FakeEngineContext context;
    Com<TVTCategory> mail = TVTCategory::Create<TUnreadMailCount>(context);
    mail->SearchIfInstalled();
    registry.Clear();
    ASSERT_EQ(mail->DetectedItems().Count(), 2);
    const auto first = mail->DetectedItems().Get(0);
    EXPECT_EQ(first->ItemName(), L"alice@example.com");
    EXPECT_EQ(first->Location(), L"HKEY_CURRENT_USER\\" + key + L"alice@example.com\\\\MessageCount");
    EXPECT_EQ(mail->DetectedItems().Get(1)->FItemSourceIndex, 2);
}
#endif

}  // namespace
}  // namespace vt::testing
