// VantrelBackvault.dll against real files and keys of the test prefix, loaded
// by path through GetInstance like a host.
#include <gtest/gtest.h>

#include "platform/Handles.h"
#include "runtime/ComBoundary.h"
#include "runtime/Utf.h"
#include "services/TempFolder.h"
#include "tools/CompanionSupport_win.h"

namespace vt::test {
namespace {

using platform::unique_handle;
using platform::unique_hfile;

constexpr DWORD kVisibleAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                     FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_DIRECTORY;

std::wstring Take(BSTR text) { return FromBstrOwned(text); }

class BackvaultTest : public ::testing::Test {
protected:
    void SetUp() override {
        service_ = LoadCompanion<IBackvault>(L"VantrelBackvault.dll");
        ASSERT_TRUE(service_);
        ::CreateDirectoryW(work_.Root().c_str(), nullptr);
        ASSERT_EQ(service_->SetDataFolder(data_.Root().c_str()), S_OK);
        ASSERT_EQ(service_->GetFiles(files_.Put()), S_OK);
        ASSERT_EQ(service_->GetRegistry(registry_.Put()), S_OK);
    }
    void TearDown() override {
        // Leaves no read-only file behind for the folder's removal.
        for (const std::wstring& path : {work_.Root(), data_.Root()}) ClearAttributes(path);
    }
    static void ClearAttributes(const std::wstring& folder) {
        WIN32_FIND_DATAW found;
        HANDLE find = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
        if (find == INVALID_HANDLE_VALUE) return;
        do {
            const std::wstring name = found.cFileName;
            if (name == L"." || name == L"..") continue;
            ::SetFileAttributesW((folder + L"\\" + name).c_str(), FILE_ATTRIBUTE_NORMAL);
            if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) ClearAttributes(folder + L"\\" + name);
        } while (::FindNextFileW(find, &found));
        ::FindClose(find);
    }

    std::wstring Begin(const wchar_t* description) {
        BSTR id = nullptr;
        EXPECT_EQ(service_->BeginSession(description, &id), S_OK);
        return Take(id);
    }
    std::pair<int, int> Restore(const std::wstring& id) {
        std::int32_t restored = -1, failed = -1;
        EXPECT_EQ(service_->RestoreSession(id.c_str(), &restored, &failed), S_OK) << ToUtf8(LastErrorMessage());
        return {restored, failed};
    }
    std::wstring Report() {
        BSTR text = nullptr;
        EXPECT_EQ(service_->GetRestoreReport(&text), S_OK);
        return Take(text);
    }

    TempFolder work_, data_;
    Com<IBackvault> service_;
    Com<IBackvaultFiles> files_;
    Com<IBackvaultRegistry> registry_;
};

TEST_F(BackvaultTest, FilesAndFoldersComeBackBitForBitWithTimesAndAttributes) {
    struct Case {
        const wchar_t* name;
        std::size_t size;
        DWORD attributes;
    } cases[] = {
        {L"index.dat", 32768, FILE_ATTRIBUTE_ARCHIVE},
        {L"desktop.ini", 282, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE},
        {L"\u041E\u0442\u0447\u0451\u0442 \u65E5\u672C\u8A9E.docx.lnk", 1537, FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE},
        {L"empty.tmp", 0, FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN},
    };
    const std::wstring folder = work_.Path(L"Recent \u00E9t\u00E9");
    ASSERT_TRUE(::CreateDirectoryW(folder.c_str(), nullptr));
    std::vector<std::wstring> paths;
    std::vector<Stamp> stamps;
    std::int64_t bytes = 0;
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const std::wstring path = folder + L"\\" + cases[i].name;
        WriteBytes(path, Content(cases[i].size, static_cast<unsigned>(i)));
        // Accessed after written, so reading the file does not move its access time.
        SetTimes(path, 131000000000000000ULL + i, 133500000000000000ULL + i, 133000000000000000ULL + i);
        ASSERT_TRUE(::SetFileAttributesW(path.c_str(), cases[i].attributes));
        paths.push_back(path);
        stamps.push_back(StampOf(path));
        bytes += static_cast<std::int64_t>(cases[i].size);
    }

    const std::wstring id = Begin(L"Clean of recent items");
    for (const std::wstring& path : paths) {
        EXPECT_EQ(files_->DeleteFile(path.c_str()), S_OK) << ToUtf8(LastErrorMessage());
        EXPECT_FALSE(PathExists(path));
    }
    // A folder comes back with the times it had when it was removed, that is
    // after its files had gone.
    const Stamp folderStamp = StampOf(folder);
    EXPECT_EQ(files_->RemoveDir(folder.c_str()), S_OK) << ToUtf8(LastErrorMessage());
    EXPECT_FALSE(PathExists(folder));
    EXPECT_EQ(service_->EndSession(), S_OK);
    EXPECT_EQ(service_->EndSession(), S_FALSE);

    std::int32_t count = 0, fileCount = 0, registryCount = 0;
    std::int64_t held = 0;
    TBackvaultSessionState state = bssOpen;
    BSTR listed = nullptr, description = nullptr;
    ASSERT_EQ(service_->GetSessionCount(&count), S_OK);
    ASSERT_EQ(count, 1);
    ASSERT_EQ(service_->GetSessionId(0, &listed), S_OK);
    EXPECT_EQ(Take(listed), id);
    EXPECT_EQ(service_->GetSessionId(1, &listed), E_BOUNDS);
    ASSERT_EQ(service_->GetSessionDescription(id.c_str(), &description), S_OK);
    EXPECT_EQ(Take(description), L"Clean of recent items");
    ASSERT_EQ(service_->GetSessionFileCount(id.c_str(), &fileCount), S_OK);
    ASSERT_EQ(service_->GetSessionRegistryCount(id.c_str(), &registryCount), S_OK);
    ASSERT_EQ(service_->GetSessionBytes(id.c_str(), &held), S_OK);
    ASSERT_EQ(service_->GetSessionState(id.c_str(), &state), S_OK);
    EXPECT_EQ(fileCount, static_cast<int>(std::size(cases)) + 1);
    EXPECT_EQ(registryCount, 0);
    EXPECT_EQ(held, bytes);
    EXPECT_EQ(state, bssClosed);

    // Restoring twice gives the same files; the second time finds them in place.
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        EXPECT_EQ(Restore(id), std::make_pair(static_cast<int>(std::size(cases)) + 1, 0)) << ToUtf8(Report());
        for (std::size_t i = 0; i < paths.size(); ++i) {
            SCOPED_TRACE(ToUtf8(paths[i]));
            const Stamp now = StampOf(paths[i]);  // before the content is read
            EXPECT_EQ(now.attributes & kVisibleAttributes, stamps[i].attributes & kVisibleAttributes);
            EXPECT_TRUE(SameTimes(now, stamps[i]));
            EXPECT_EQ(ReadBytes(paths[i]), Content(cases[i].size, static_cast<unsigned>(i)));
        }
        const Stamp folderNow = StampOf(folder);
        EXPECT_TRUE(SameTimes(folderNow, folderStamp));
    }
    EXPECT_NE(Report().find(L"Already in place"), std::wstring::npos);
    ASSERT_EQ(service_->GetSessionState(id.c_str(), &state), S_OK);
    EXPECT_EQ(state, bssRestored);
    EXPECT_EQ(service_->DeleteSession(id.c_str()), S_OK) << ToUtf8(LastErrorMessage());
    ASSERT_EQ(service_->GetSessionCount(&count), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(service_->GetSessionState(id.c_str(), &state), E_INVALIDARG);
}

TEST_F(BackvaultTest, AFileThatReappearedIsKeptBesideTheRestoredOne) {
    const std::wstring path = work_.Path(L"cookies.sqlite");
    WriteBytes(path, Content(4096, 1));
    const std::wstring id = Begin(L"");
    ASSERT_EQ(files_->DeleteFile(path.c_str()), S_OK);
    ASSERT_EQ(service_->EndSession(), S_OK);
    WriteBytes(path, Content(1024, 2));  // the browser wrote a new one since

    EXPECT_EQ(Restore(id), std::make_pair(1, 0));
    EXPECT_EQ(ReadBytes(path), Content(4096, 1));
    WIN32_FIND_DATAW found;
    HANDLE find = ::FindFirstFileW(work_.Path(L"cookies (kept *).sqlite").c_str(), &found);
    ASSERT_NE(find, INVALID_HANDLE_VALUE) << ToUtf8(Report());
    ::FindClose(find);
    EXPECT_EQ(ReadBytes(work_.Path(found.cFileName)), Content(1024, 2));
    EXPECT_NE(Report().find(L"reappeared"), std::wstring::npos);
}

TEST_F(BackvaultTest, ALockedFileFailsClearlyAndLeavesNothingToUndo) {
    struct Case {
        const char* name;
        DWORD share;
    } cases[] = {{"held without sharing", 0}, {"held with read sharing only", FILE_SHARE_READ}};
    const std::wstring id = Begin(L"");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::wstring path = work_.Path(L"places.sqlite-" + std::to_wstring(c.share));
        WriteBytes(path, Content(2048, 3));
        unique_hfile holder(::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, c.share, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(holder);
        EXPECT_TRUE(FAILED(files_->DeleteFile(path.c_str())));
        EXPECT_NE(LastErrorMessage().find(path), std::wstring::npos);
        holder.Reset();
        EXPECT_EQ(ReadBytes(path), Content(2048, 3));
    }
    std::int32_t entries = -1;
    ASSERT_EQ(service_->GetSessionEntryCount(id.c_str(), &entries), S_OK);
    EXPECT_EQ(entries, 0);
}

TEST_F(BackvaultTest, AFileOnTheDataFoldersVolumeMovesIntoTheSessionInsteadOfBeingCopied) {
    const std::wstring path = work_.Path(L"pagefile-like.bin");
    WriteBytes(path, Content(8 << 20, 4));
    const std::uint64_t index = FileIndexOf(path);
    ASSERT_NE(index, 0u);
    const std::wstring id = Begin(L"");
    ASSERT_EQ(files_->DeleteFile(path.c_str()), S_OK);
    BSTR folder = nullptr, location = nullptr;
    TBackvaultEntryKind kind = bekKey;
    ASSERT_EQ(service_->GetSessionFolder(id.c_str(), &folder), S_OK);
    ASSERT_EQ(service_->GetSessionEntry(id.c_str(), 0, &kind, &location), S_OK);
    EXPECT_EQ(kind, bekFile);
    EXPECT_EQ(Take(location), path);
    // The same file, not a copy of it: no byte of it was read or written.
    EXPECT_EQ(FileIndexOf(Take(folder) + L"files\\1"), index);
    // The session still being recorded cannot be restored or deleted.
    std::int32_t restored = 0, failed = 0;
    EXPECT_EQ(service_->RestoreSession(id.c_str(), &restored, &failed), E_ILLEGAL_METHOD_CALL);
    EXPECT_EQ(service_->DeleteSession(id.c_str()), E_ILLEGAL_METHOD_CALL);
}

TEST_F(BackvaultTest, KeysAndValuesComeBackWithTheirTypesAndData) {
    ScratchKey scratch;
    const std::wstring tree = scratch.SubKey() + L"\\RecentDocs";
    const std::wstring typed = scratch.SubKey() + L"\\TypedPaths";
    SetRegistryValue(HKEY_CURRENT_USER, tree, L"", REG_SZ, Utf16Z(L"default"));
    SetRegistryValue(HKEY_CURRENT_USER, tree, L"MRUListEx", REG_BINARY, {1, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF});
    SetRegistryValue(HKEY_CURRENT_USER, tree + L"\\.docx", L"0", REG_BINARY, Utf16Z(L"\u041E\u0442\u0447\u0451\u0442.docx"));
    SetRegistryValue(HKEY_CURRENT_USER, tree + L"\\.docx", L"Home", REG_EXPAND_SZ, Utf16Z(L"%USERPROFILE%\\Documents"));
    SetRegistryValue(HKEY_CURRENT_USER, tree + L"\\.docx", L"Paths", REG_MULTI_SZ, Utf16Z(std::wstring(L"C:\\a\0C:\\b\0", 10)));
    SetRegistryValue(HKEY_CURRENT_USER, tree + L"\\.docx\\Deep", L"Count", REG_DWORD, {7, 0, 0, 0});
    SetRegistryValue(HKEY_CURRENT_USER, tree + L"\\.docx\\Deep", L"\u65E5\u4ED8", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8});
    SetRegistryValue(HKEY_CURRENT_USER, typed, L"url1", REG_SZ, Utf16Z(L"C:\\Users\\root\\Documents"));
    SetRegistryValue(HKEY_CURRENT_USER, typed, L"url2", REG_SZ, Utf16Z(L"\\\\server\\share"));
    const RegistryDump before = DumpKey(HKEY_CURRENT_USER, scratch.SubKey());
    ASSERT_EQ(before.size(), 13u);

    const std::wstring id = Begin(L"registry");
    EXPECT_EQ(registry_->DeleteKey(HKEY_CURRENT_USER, tree.c_str()), S_OK) << ToUtf8(LastErrorMessage());
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, tree));
    HKEY key = nullptr;
    ASSERT_EQ(registry_->OpenKey(HKEY_CURRENT_USER, typed.c_str(), 0, KEY_ALL_ACCESS, &key), S_OK);
    EXPECT_EQ(registry_->DeleteValue(key, L"url1"), S_OK);
    const DWORD zero = 0;
    EXPECT_EQ(registry_->SetValue(key, L"url2", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&zero), 4), S_OK);
    EXPECT_EQ(registry_->SetValue(key, L"url3", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"x"), 4), S_OK);
    EXPECT_EQ(registry_->DeleteValue(key, L"never-there"), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(registry_->CloseKey(key), S_OK);
    DWORD disposition = 0;
    const std::wstring created = scratch.SubKey() + L"\\New\\Deeper";
    ASSERT_EQ(registry_->CreateKey(HKEY_CURRENT_USER, created.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                   &disposition),
              S_OK);
    EXPECT_EQ(disposition, static_cast<DWORD>(REG_CREATED_NEW_KEY));
    EXPECT_EQ(registry_->CloseKey(key), S_OK);
    ASSERT_EQ(service_->EndSession(), S_OK);
    EXPECT_NE(DumpKey(HKEY_CURRENT_USER, scratch.SubKey()), before);

    std::int32_t count = 0;
    ASSERT_EQ(service_->GetSessionRegistryCount(id.c_str(), &count), S_OK);
    EXPECT_EQ(count, 6);  // the key, three values, two created keys
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        EXPECT_EQ(Restore(id), std::make_pair(6, 0)) << ToUtf8(Report());
        EXPECT_EQ(DumpKey(HKEY_CURRENT_USER, scratch.SubKey()), before);
    }
}

TEST_F(BackvaultTest, LinksAreNeverFollowed) {
    // Made from the Unix side by the tools_links fixture: a link to a folder.
    const std::wstring links = ProgramFolder() + L"..\\tools_links\\";
    ASSERT_TRUE(PathExists(links + L"target\\secret.txt")) << "the tools_links fixture did not run";
    const std::wstring link = links + L"link_dir";
    const std::wstring id = Begin(L"");
    EXPECT_TRUE(FAILED(files_->BackupFile(link.c_str())));
    EXPECT_NE(LastErrorMessage().find(L"reparse point"), std::wstring::npos);
    EXPECT_TRUE(FAILED(files_->RemoveDir(link.c_str())));
    EXPECT_NE(LastErrorMessage().find(L"reparse point"), std::wstring::npos);
    EXPECT_TRUE(FAILED(files_->DeleteFile(link.c_str())));
    EXPECT_TRUE(PathExists(link));
    EXPECT_EQ(ReadBytes(links + L"target\\secret.txt"), (std::vector<std::uint8_t>{'s', 'e', 'c', 'r', 'e', 't'}));
    std::int32_t entries = -1;
    ASSERT_EQ(service_->GetSessionEntryCount(id.c_str(), &entries), S_OK);
    EXPECT_EQ(entries, 0);
}

TEST_F(BackvaultTest, MisuseFailsWithTheContractsCodes) {
    const std::wstring id = Begin(L"first");
    BSTR other = nullptr;
    EXPECT_EQ(service_->BeginSession(L"second", &other), E_ILLEGAL_METHOD_CALL);
    EXPECT_EQ(service_->SetDataFolder(work_.Root().c_str()), E_ILLEGAL_METHOD_CALL);
    BSTR current = nullptr;
    ASSERT_EQ(service_->GetCurrentSession(&current), S_OK);
    EXPECT_EQ(Take(current), id);
    std::int32_t n = 0;
    EXPECT_EQ(service_->GetSessionFileCount(L"..\\..\\Windows", &n), E_INVALIDARG);
    EXPECT_EQ(service_->GetSessionFileCount(id.c_str(), nullptr), E_POINTER);
    EXPECT_EQ(service_->Reserved24(), E_NOTIMPL);
    EXPECT_FALSE(LastErrorMessage().empty());
    EXPECT_TRUE(FAILED(files_->DeleteFile(work_.Path(L"missing.txt").c_str())));
    EXPECT_NE(LastErrorMessage().find(L"missing.txt"), std::wstring::npos);
    ASSERT_EQ(service_->EndSession(), S_OK);
    std::int32_t deleted = 0;
    EXPECT_EQ(service_->DeleteSessionsBefore(2958465.0 /* 9999-12-31 */, &deleted), S_OK);
    EXPECT_EQ(deleted, 1);
}

// A clean killed mid-session (TerminateProcess, no chance to end its
// journal) can still be undone for everything it removed.
TEST_F(BackvaultTest, ACleanKilledMidSessionCanBeUndone) {
    ScratchKey scratch;
    const std::wstring victims = work_.Path(L"Cache");
    ASSERT_TRUE(::CreateDirectoryW(victims.c_str(), nullptr));
    std::map<std::wstring, std::vector<std::uint8_t>> files;
    for (int i = 0; i < 60; ++i) {
        const std::wstring path = victims + L"\\f_" + std::to_wstring(i) + (i % 3 ? L".cache" : L" \u0444\u0430\u0439\u043B.tmp");
        files[path] = Content(1000 + i * 37, static_cast<unsigned>(100 + i));
        WriteBytes(path, files[path]);
    }
    for (int i = 0; i < 40; ++i)
        SetRegistryValue(HKEY_CURRENT_USER, scratch.SubKey(), L"url" + std::to_wstring(i), i % 2 ? REG_SZ : REG_BINARY,
                         Utf16Z(L"https://example.org/" + std::to_wstring(i)));
    const RegistryDump values = DumpKey(HKEY_CURRENT_USER, scratch.SubKey());

    const std::wstring eventName = L"VantrelBackvaultChild_" + std::to_wstring(::GetCurrentProcessId());
    unique_handle halfway(::CreateEventW(nullptr, TRUE, FALSE, eventName.c_str()));
    std::wstring command = L"\"" + ProgramFolder() + L"BackvaultChild.exe\" \"" + data_.Root() + L"\" \"" + victims +
                           L"\" \"" + scratch.SubKey() + L"\" " + eventName;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    ASSERT_TRUE(::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process));
    unique_handle child(process.hProcess), thread(process.hThread);
    HANDLE waits[] = {halfway.Get(), child.Get()};
    const DWORD woke = ::WaitForMultipleObjects(2, waits, FALSE, 60000);
    ASSERT_EQ(woke, WAIT_OBJECT_0) << "the child ended or never got halfway";
    std::int32_t running = 0;
    BSTR runningId = nullptr;
    TBackvaultSessionState runningState = bssClosed;
    ASSERT_EQ(service_->GetSessionCount(&running), S_OK);
    ASSERT_EQ(running, 1);
    ASSERT_EQ(service_->GetSessionId(0, &runningId), S_OK);
    const std::wstring childSession = Take(runningId);
    EXPECT_EQ(service_->GetSessionState(childSession.c_str(), &runningState), S_OK);
    std::int32_t restoredEarly = 0, failedEarly = 0;
    const HRESULT early = service_->RestoreSession(childSession.c_str(), &restoredEarly, &failedEarly);
    ASSERT_TRUE(::TerminateProcess(child.Get(), 9));
    EXPECT_EQ(runningState, bssOpen);
    EXPECT_EQ(early, E_ILLEGAL_METHOD_CALL);  // another program still records into it
    ASSERT_EQ(::WaitForSingleObject(child.Get(), 30000), WAIT_OBJECT_0);

    int missing = 0;
    for (const auto& [path, bytes] : files) missing += !PathExists(path);
    EXPECT_GT(missing, 0);
    std::int32_t count = 0;
    ASSERT_EQ(service_->GetSessionCount(&count), S_OK);
    ASSERT_EQ(count, 1);
    BSTR listed = nullptr;
    ASSERT_EQ(service_->GetSessionId(0, &listed), S_OK);
    const std::wstring id = Take(listed);
    TBackvaultSessionState state = bssOpen;
    ASSERT_EQ(service_->GetSessionState(id.c_str(), &state), S_OK);
    EXPECT_EQ(state, bssInterrupted);

    const auto [restored, failed] = Restore(id);
    EXPECT_EQ(failed, 0) << ToUtf8(Report());
    EXPECT_GE(restored, missing);
    for (const auto& [path, bytes] : files) EXPECT_EQ(ReadBytes(path), bytes) << ToUtf8(path);
    EXPECT_EQ(DumpKey(HKEY_CURRENT_USER, scratch.SubKey()), values);
}

}  // namespace
}  // namespace vt::test
