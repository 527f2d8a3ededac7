// A host scanning and cleaning the system categories under Wine, through
// GetInstance and the public headers only. Each case seeds the prefix with
// the traces Windows leaves (file names and registry shapes of its own, as
// other test programs share the prefix), scans with just these categories
// checked, and checks what was found, what went, what stayed and what went
// through the backup service.
#include <shlobj.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "HostSupport.h"
#include "support/SessionlessBackvault_win.h"

namespace hosttest {
namespace {

using vantrel::client::Check;
using vantrel::client::GetString;

// --- a backup service that records what it is asked and then does it ---

template <class I>
class Unknown : public I {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_IUnknown || iid == vantrel::IidOf<I>()) {
            *out = static_cast<I*>(this);
            this->AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --refs_;
        if (left == 0) delete this;
        return left;
    }
    virtual ~Unknown() = default;

private:
    ULONG refs_ = 1;
};

using Log = std::vector<std::wstring>;

HRESULT FromStatus(LONG status) { return status == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(status); }

class Files final : public Unknown<IBackvaultFiles> {
public:
    explicit Files(Log& log) : log_(log) {}
    HRESULT STDMETHODCALLTYPE Reserved1() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeleteFile(const wchar_t* name) override {
        log_.push_back(L"DeleteFile " + std::wstring(name));
        return ::DeleteFileW(name) ? S_OK : HRESULT_FROM_WIN32(GetLastError());  // the member is DeleteFileW too
    }
    HRESULT STDMETHODCALLTYPE Reserved3() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved4() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved5() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RemoveDir(const wchar_t* path) override {
        log_.push_back(L"RemoveDir " + std::wstring(path));
        return RemoveDirectoryW(path) ? S_OK : HRESULT_FROM_WIN32(GetLastError());
    }
    HRESULT STDMETHODCALLTYPE BackupFile(const wchar_t* name) override {
        log_.push_back(L"BackupFile " + std::wstring(name));
        return GetFileAttributesW(name) != INVALID_FILE_ATTRIBUTES ? S_OK : HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    }

private:
    Log& log_;
};

class Registry final : public Unknown<IBackvaultRegistry> {
public:
    explicit Registry(Log& log) : log_(log) {}
    HRESULT STDMETHODCALLTYPE CreateKey(HKEY root, const wchar_t* subKey, DWORD reserved, wchar_t* keyClass,
                                        DWORD options, REGSAM access, SECURITY_ATTRIBUTES* security, HKEY* key,
                                        DWORD* disposition) override {
        return FromStatus(
            RegCreateKeyExW(root, subKey, reserved, keyClass, options, access, security, key, disposition));
    }
    HRESULT STDMETHODCALLTYPE OpenKey(HKEY root, const wchar_t* subKey, DWORD options, REGSAM access,
                                      HKEY* key) override {
        return FromStatus(RegOpenKeyExW(root, subKey, options, access, key));
    }
    HRESULT STDMETHODCALLTYPE DeleteKey(HKEY root, const wchar_t* subKey) override {
        log_.push_back(L"DeleteKey " + std::wstring(subKey));
        return FromStatus(RegDeleteKeyW(root, subKey));
    }
    HRESULT STDMETHODCALLTYPE Reserved4() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetValue(HKEY key, const wchar_t* name, DWORD reserved, DWORD type, const BYTE* data,
                                       DWORD size) override {
        return FromStatus(RegSetValueExW(key, name, reserved, type, data, size));
    }
    HRESULT STDMETHODCALLTYPE DeleteValue(HKEY key, const wchar_t* name) override {
        log_.push_back(L"DeleteValue " + std::wstring(name));
        return FromStatus(RegDeleteValueW(key, name));
    }
    HRESULT STDMETHODCALLTYPE Reserved7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved10() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved11() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CloseKey(HKEY key) override { return FromStatus(RegCloseKey(key)); }

private:
    Log& log_;
};

class Backvault final : public SessionlessBackvault<Unknown<IBackvault>> {
public:
    HRESULT STDMETHODCALLTYPE GetRegistry(IBackvaultRegistry** out) override {
        *out = new Registry(log);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetFiles(IBackvaultFiles** out) override {
        *out = new Files(log);
        return S_OK;
    }
    Log log;
};

// --- the prefix ---

const wchar_t kUnreadMail[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\UnreadMail\\";
const wchar_t kStagingInfo[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\CD Burning\\StagingInfo\\";

std::wstring ShellFolder(int csidl) {
    wchar_t path[MAX_PATH] = {};
    EXPECT_EQ(SHGetFolderPathW(nullptr, csidl | CSIDL_FLAG_CREATE, nullptr, 0, path), S_OK);
    return std::wstring(path) + L"\\";
}
std::wstring WindowsFolder() {
    wchar_t path[MAX_PATH] = {};
    GetWindowsDirectoryW(path, MAX_PATH);
    return std::wstring(path) + L"\\";
}
std::wstring TempFolder() {
    wchar_t path[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, path);
    return path;
}
bool Exists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

void WriteFile(const std::wstring& path, DWORD size) {
    SHCreateDirectoryExW(nullptr, path.substr(0, path.rfind(L'\\')).c_str(), nullptr);
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE) << path;
    // Minidumps start with "MDMP"; the rest is filler of the stated size.
    std::string bytes(size, '\0');
    bytes.replace(0, std::min<size_t>(4, size), "MDMP", std::min<size_t>(4, size));
    DWORD written = 0;
    ::WriteFile(file, bytes.data(), size, &written, nullptr);
    CloseHandle(file);
}

void PutClipboardText(const std::wstring& text) {
    ASSERT_TRUE(OpenClipboard(nullptr));
    EmptyClipboard();
    HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, (text.size() + 1) * sizeof(wchar_t));
    std::copy_n(text.c_str(), text.size() + 1, static_cast<wchar_t*>(GlobalLock(memory)));
    GlobalUnlock(memory);
    SetClipboardData(CF_UNICODETEXT, memory);
    CloseClipboard();
}
int ClipboardFormats() {
    if (!OpenClipboard(nullptr)) return -1;
    const int count = CountClipboardFormats();
    CloseClipboard();
    return count;
}

bool KeyExists(const std::wstring& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
}

// One file trace: the category that must find it and whether its removal
// goes through the backup service when one is attached.
struct Trace {
    TCategoryType category;
    std::wstring path;
    DWORD size;
    bool backedUp;
};

// Every trace of one case, under names of its own.
struct Seeded {
    Seeded() {
        const std::wstring tag = L"vt" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(++serial);
        const std::wstring windows = WindowsFolder(), recent = ShellFolder(CSIDL_RECENT);
        const std::wstring spool = windows + L"system32\\spool\\PRINTERS\\";
        staging = L"C:\\" + tag + L"_staging\\";
        spoolJob = spool + tag + L"\\";
        traces = {
            {ID_DUMP_FILES, windows + tag + L".dmp", 4096, false},
            {ID_DUMP_FILES, windows + L"Minidump\\" + tag + L"-01.dmp", 2000, false},
            {ID_DUMP_FILES, TempFolder() + tag + L".dmp", 700, false},
            {ID_PRINTER_RECENT_FILES, spool + tag + L".SPL", 3000, true},
            {ID_PRINTER_RECENT_FILES, spoolJob + L"00007.SHD", 600, true},
            {ID_CD_BURNING_FOLDER, ShellFolder(CSIDL_CDBURN_AREA) + tag + L".jpg", 1500, true},
            {ID_CD_BURNING_FOLDER, staging + L"track01.wav", 900, true},
            {ID_JUMP_LISTS_RECENT, recent + L"AutomaticDestinations\\" + tag + L".automaticDestinations-ms", 5120, true},
            {ID_JUMP_LISTS_FREQUENT, recent + L"CustomDestinations\\" + tag + L".customDestinations-ms", 800, true},
            {ID_WIN_DEBUG_HISTORY, windows + L"Debug\\" + tag + L"setup.log", 300, true},
        };
        for (const Trace& t : traces) WriteFile(t.path, t.size);
        // Never offered: the burning area's desktop.ini and the account logs.
        kept = {ShellFolder(CSIDL_CDBURN_AREA) + L"desktop.ini", windows + L"Debug\\PASSWD.LOG",
                windows + L"Debug\\SAM.LOG", windows + L"notepad.exe"};
        for (const auto& path : kept)
            if (!Exists(path)) WriteFile(path, 64);
        HKEY key = nullptr;
        RegCreateKeyExW(HKEY_CURRENT_USER, (kStagingInfo + tag).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key,
                        nullptr);
        RegSetValueExW(key, L"StagingPath", 0, REG_SZ, reinterpret_cast<const BYTE*>(staging.c_str()),
                       static_cast<DWORD>((staging.size() + 1) * sizeof(wchar_t)));
        RegCloseKey(key);
        // Mail accounts: one with a counter, one without.
        withCount = tag + L"a@example.com";
        withoutCount = tag + L"b@example.com";
        const DWORD count = 4;
        RegCreateKeyExW(HKEY_CURRENT_USER, (kUnreadMail + withCount).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                        &key, nullptr);
        RegSetValueExW(key, L"MessageCount", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&count), sizeof count);
        RegSetValueExW(key, L"Application", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"WinMail"), 16);
        RegCloseKey(key);
        RegCreateKeyExW(HKEY_CURRENT_USER, (kUnreadMail + withoutCount).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                        &key, nullptr);
        RegSetValueExW(key, L"Application", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"WinMail"), 16);
        RegCloseKey(key);
        PutClipboardText(L"account number 12-3456-789");
        stagingKey = kStagingInfo + tag;
    }
    ~Seeded() {
        RegDeleteKeyW(HKEY_CURRENT_USER, stagingKey.c_str());
        RegDeleteKeyW(HKEY_CURRENT_USER, (kUnreadMail + withCount).c_str());
        RegDeleteKeyW(HKEY_CURRENT_USER, (kUnreadMail + withoutCount).c_str());
        for (const Trace& t : traces) DeleteFileW(t.path.c_str());
        RemoveDirectoryW(spoolJob.c_str());
        RemoveDirectoryW(staging.c_str());
    }
    std::wstring MailLocation() const {
        return L"HKEY_CURRENT_USER\\" + std::wstring(kUnreadMail) + withCount + L"\\\\MessageCount";
    }

    static inline int serial = 0;
    std::vector<Trace> traces;
    std::vector<std::wstring> kept;
    std::wstring staging, spoolJob, stagingKey, withCount, withoutCount;
};

const std::set<int> kCategories = {ID_JUMP_LISTS_RECENT, ID_JUMP_LISTS_FREQUENT, ID_DUMP_FILES,
                                   ID_CHKDKS_FILES,      ID_PRINTER_RECENT_FILES, ID_CD_BURNING_FOLDER,
                                   ID_HIBERNATE_FILE,    ID_WIN_DEBUG_HISTORY,   ID_CLIPBOARD,
                                   ID_UNREAD_MAIL_COUNT};

void WaitFor(ICleaner* cleaner, TCleanerState wanted) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    TCleanerState state = csReady;
    while (Check(cleaner->GetState(&state)), state != wanted) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "state stuck at " << state;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

Ptr<ICategory> CategoryOf(ICleaner* cleaner, int id) {
    Ptr<ICategories> categories;
    Check(cleaner->GetCategories(categories.Put()));
    Ptr<ICategory> category;
    Check(categories->GetItemByID(id, category.Put()));
    return category;
}

// Checks only the categories of this file.
void SelectOurs(ICleaner* cleaner) {
    Ptr<ICategories> categories;
    Check(cleaner->GetCategories(categories.Put()));
    std::int32_t count = 0;
    Check(categories->GetCount(&count));
    for (std::int32_t i = 0; i < count; ++i) {
        Ptr<ICategory> category;
        Check(categories->GetItem(i, category.Put()));
        std::int32_t id = 0;
        Check(category->GetId(&id));
        Check(category->SetEnabled(kCategories.count(id) > 0));
    }
}

struct Found {
    std::int64_t size;
    bool checked;
    std::wstring name;
};

// Location -> what the category shows for it.
std::map<std::wstring, Found> ItemsOf(ICleaner* cleaner, int id) {
    std::map<std::wstring, Found> out;
    Ptr<ICategory> category = CategoryOf(cleaner, id);
    Ptr<IDetectedItems> items;
    Check(category->GetDetectedItems(items.Put()));
    std::int32_t count = 0;
    Check(items->GetCount(&count));
    for (std::int32_t i = 0; i < count; ++i) {
        Ptr<IDetectedItem> item;
        Check(items->GetItem(i, item.Put()));
        Found f{};
        Check(item->GetItemFileSize(&f.size));
        Check(item->GetEnabled(&f.checked));
        f.name = GetString(item.Get(), &IDetectedItem::GetItemName);
        out[GetString(item.Get(), &IDetectedItem::GetLocation)] = f;
    }
    return out;
}

std::wstring Lower(std::wstring s) {
    for (auto& c : s) c = towlower(c);
    return s;
}

Ptr<ICleaner> Scanned() {
    Ptr<ICleaner> cleaner = Dll().CreateCleaner();
    SelectOurs(cleaner.Get());
    Check(cleaner->StartScanning(false));
    WaitFor(cleaner.Get(), csScanned);
    // Wine claims a hibernation file it does not have; its removal cannot
    // succeed here, so it stays out of the cleaning.
    Check(CategoryOf(cleaner.Get(), ID_HIBERNATE_FILE)->SetEnabled(false));
    return cleaner;
}

void Clean(ICleaner* cleaner) {
    Check(cleaner->StartCleaning(false));
    WaitFor(cleaner, csCleaned);
}

TEST(SystemCategories, CatalogueShowsThemWithIdentifiersAndSeverities) {
    Ptr<ICleaner> cleaner = Dll().CreateCleaner();
    const std::map<int, TCategorySeverityLevel> rows = {
        {ID_JUMP_LISTS_RECENT, cslHigh},      {ID_JUMP_LISTS_FREQUENT, cslHigh}, {ID_DUMP_FILES, cslMedium},
        {ID_CHKDKS_FILES, cslMedium},         {ID_PRINTER_RECENT_FILES, cslHigh}, {ID_CD_BURNING_FOLDER, cslHigh},
        {ID_HIBERNATE_FILE, cslMedium},       {ID_WIN_DEBUG_HISTORY, cslMedium}, {ID_CLIPBOARD, cslHigh},
        {ID_UNREAD_MAIL_COUNT, cslMedium}};
    // In catalogue order: positions ascend with the identifiers here.
    Ptr<ICategories> categories;
    Check(cleaner->GetCategories(categories.Put()));
    std::int32_t count = 0;
    Check(categories->GetCount(&count));
    std::vector<int> order;
    for (std::int32_t i = 0; i < count; ++i) {
        Ptr<ICategory> category;
        Check(categories->GetItem(i, category.Put()));
        std::int32_t id = 0;
        Check(category->GetId(&id));
        if (!rows.count(id)) continue;
        order.push_back(id);
        TCategorySeverityLevel severity{};
        Check(category->GetSeverityLevel(&severity));
        EXPECT_EQ(severity, rows.at(id)) << id;
        bool enabled = false;
        Check(category->GetEnabled(&enabled));
        EXPECT_TRUE(enabled) << id;
    }
    EXPECT_EQ(order, (std::vector<int>{ID_JUMP_LISTS_RECENT, ID_JUMP_LISTS_FREQUENT, ID_DUMP_FILES, ID_CHKDKS_FILES,
                                       ID_PRINTER_RECENT_FILES, ID_CD_BURNING_FOLDER, ID_HIBERNATE_FILE,
                                       ID_WIN_DEBUG_HISTORY, ID_CLIPBOARD, ID_UNREAD_MAIL_COUNT}));
}

TEST(SystemCategories, ScanFindsEveryTraceWithItsSizeAndNothingProtected) {
    Seeded seeded;
    Ptr<ICleaner> cleaner = Scanned();
    for (const Trace& t : seeded.traces) {
        const auto items = ItemsOf(cleaner.Get(), t.category);
        const auto it = items.find(t.path);
        ASSERT_NE(it, items.end()) << t.path;
        EXPECT_EQ(it->second.size, t.size) << t.path;
        EXPECT_TRUE(it->second.checked) << t.path;
    }
    for (const int id : {ID_CD_BURNING_FOLDER, ID_WIN_DEBUG_HISTORY})
        for (const auto& [location, found] : ItemsOf(cleaner.Get(), id)) {
            const std::wstring name = Lower(location.substr(location.rfind(L'\\') + 1));
            EXPECT_NE(name, L"desktop.ini");
            EXPECT_NE(name, L"passwd.log");
            EXPECT_NE(name, L"sam.log");
        }
    const auto mail = ItemsOf(cleaner.Get(), ID_UNREAD_MAIL_COUNT);
    ASSERT_TRUE(mail.count(seeded.MailLocation()));
    EXPECT_EQ(mail.at(seeded.MailLocation()).name, seeded.withCount);
    for (const auto& [location, found] : mail) EXPECT_EQ(location.find(seeded.withoutCount), std::wstring::npos);
    EXPECT_EQ(ItemsOf(cleaner.Get(), ID_CLIPBOARD).size(), 1u);
    EXPECT_TRUE(ItemsOf(cleaner.Get(), ID_CHKDKS_FILES).empty());  // Wine's drives are NTFS
}

TEST(SystemCategories, CleaningRemovesTracesThroughTheBackupServiceExceptMemoryDumps) {
    for (const bool withBackup : {true, false}) {
        SCOPED_TRACE(withBackup ? "with a backup service" : "without a backup service");
        Seeded seeded;
        Ptr<ICleaner> cleaner = Scanned();
        Backvault* backup = new Backvault();
        Ptr<IBackvault> held;
        *held.Put() = backup;
        if (withBackup) Check(cleaner->SetBackvault(backup));
        Clean(cleaner.Get());
        const Log& log = backup->log;
        for (const Trace& t : seeded.traces) {
            EXPECT_FALSE(Exists(t.path)) << t.path;
            const bool logged = std::count(log.begin(), log.end(), L"DeleteFile " + t.path) == 1;
            EXPECT_EQ(logged, withBackup && t.backedUp) << t.path;
        }
        for (const auto& path : seeded.kept) EXPECT_TRUE(Exists(path)) << path;
        EXPECT_TRUE(Exists(WindowsFolder() + L"Minidump"));  // a searched folder stays
        EXPECT_FALSE(Exists(seeded.spoolJob));               // emptied by the cleaning
        EXPECT_TRUE(Exists(seeded.staging));                 // a searched folder stays
        EXPECT_EQ(ClipboardFormats(), 0);
        EXPECT_FALSE(KeyExists(kUnreadMail + seeded.withCount));
        EXPECT_TRUE(KeyExists(kUnreadMail + seeded.withoutCount));
        if (withBackup) {
            EXPECT_EQ(std::count(log.begin(), log.end(), L"DeleteKey " + seeded.withCount), 1);
            EXPECT_EQ(std::count(log.begin(), log.end(), L"RemoveDir " + seeded.spoolJob.substr(0, seeded.spoolJob.size() - 1)), 1);
        } else {
            EXPECT_TRUE(log.empty());
        }
    }
}

std::vector<unsigned char> Saved(ICleaner* cleaner) {
    Ptr<IStream> stream;
    Check(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()));
    Check(cleaner->SaveScanResults(stream.Get()));
    HGLOBAL memory = nullptr;
    GetHGlobalFromStream(stream.Get(), &memory);
    STATSTG stat{};
    stream->Stat(&stat, STATFLAG_NONAME);
    const auto* bytes = static_cast<const unsigned char*>(GlobalLock(memory));
    std::vector<unsigned char> out(bytes, bytes + stat.cbSize.QuadPart);
    GlobalUnlock(memory);
    return out;
}

// Saved results name every category in their count but hold entries only for
// those that found something, so they load back only when every category
// found something. Under Wine the CHKDSK category never does (no FAT drive):
// the load fails and the fresh engine stays ready. Loading and cleaning the
// same files is covered per category in tests/categories.
TEST(SystemCategories, SavedResultsWithACategoryThatFoundNothingDoNotLoad) {
    Seeded seeded;
    Ptr<ICleaner> scanned = Scanned();
    Check(CategoryOf(scanned.Get(), ID_HIBERNATE_FILE)->SetEnabled(true));
    EXPECT_TRUE(ItemsOf(scanned.Get(), ID_CHKDKS_FILES).empty());
    const std::vector<unsigned char> bytes = Saved(scanned.Get());
    Ptr<ICleaner> fresh = Dll().CreateCleaner();
    Ptr<IStream> stream;
    Check(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()));
    ULONG written = 0;
    Check(stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written));
    LARGE_INTEGER zero{};
    Check(stream->Seek(zero, STREAM_SEEK_SET, nullptr));
    EXPECT_TRUE(FAILED(fresh->LoadScanResults(stream.Get())));
    TCleanerState state{};
    Check(fresh->GetState(&state));
    EXPECT_EQ(state, csReady);
}

// The links are made from the Unix side before the tests run (make-links.sh).
TEST(SystemCategories, LinksInTheSpoolFolderAreNotFollowedByScanOrCleaning) {
    const std::wstring links = WindowsFolder() + L"system32\\spool\\PRINTERS\\vt_links\\";
    const std::wstring outside = L"C:\\vt_links_outside\\precious.doc";
    ASSERT_TRUE(Exists(links + L"loop")) << "make-links.sh has not run";
    ASSERT_TRUE(Exists(outside));
    const std::wstring job = links + L"job" + std::to_wstring(GetCurrentProcessId()) + L".SPL";
    WriteFile(job, 128);
    Ptr<ICleaner> cleaner = Scanned();
    const auto items = ItemsOf(cleaner.Get(), ID_PRINTER_RECENT_FILES);
    EXPECT_TRUE(items.count(job));
    for (const auto& [location, found] : items) {
        EXPECT_NE(location.find(links + L"loop\\"), 0u) << location;
        EXPECT_NE(location.find(links + L"outside\\"), 0u) << location;
    }
    Clean(cleaner.Get());
    EXPECT_FALSE(Exists(job));
    EXPECT_TRUE(Exists(outside));
    EXPECT_TRUE(Exists(links + L"loop"));
}

}  // namespace
}  // namespace hosttest
