#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/Handles.h"
#include "platform/SysCalls.h"
#include "platform/Win32.h"
#include "runtime/DebugLog.h"
#include "runtime/Exception.h"
#include "runtime/FileSystem.h"
#include "services/BVWrapper.h"
#include "support/SiblingDoubles_win.h"
#include "TempFolder.h"

namespace vt {
namespace {

using Calls = std::vector<std::wstring>;
using Bytes = std::vector<std::uint8_t>;

// Replaces "$f" in each expected call by the path of the case.
Calls With(Calls calls, const std::wstring& path) {
    for (auto& call : calls)
        if (const auto at = call.find(L"$f"); at != std::wstring::npos) call.replace(at, 2, path);
    return calls;
}

// Each test works below HKCU\Software\VantrelTests\BVWrapper.<test> (recorded
// as "scratch") and in a temporary folder of its own.
class BVWrapperTest : public ::testing::Test {
protected:
    void SetUp() override {
        const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        path_ = L"Software\\VantrelTests\\BVWrapper." + std::wstring(name.begin(), name.end());
        ::RegDeleteTreeW(HKEY_CURRENT_USER, path_.c_str());
        ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, path_.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                    key_.Put(), nullptr),
                  ERROR_SUCCESS);
        log_->NameKey(key_.Get(), L"scratch");
        ASSERT_TRUE(ForceDirectories(folder_.Root()));
    }
    void TearDown() override {
        // Every interface fetched was released, every key opened through the service closed.
        EXPECT_EQ(log_->LiveInterfaces(), 0);
        EXPECT_EQ(log_->OpenKeys(), 0);
        key_.Reset();
        ::RegDeleteTreeW(HKEY_CURRENT_USER, path_.c_str());
    }

    void Attach() { wrapper_.SetBackvault(service_.Get()); }

    // Creates scratch\sub with REG_SZ values named as listed.
    void MakeKey(const std::wstring& sub, std::initializer_list<const wchar_t*> values = {}) {
        platform::unique_hkey key;
        ASSERT_EQ(::RegCreateKeyExW(key_.Get(), sub.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Put(),
                                    nullptr),
                  ERROR_SUCCESS);
        for (const wchar_t* value : values)
            ASSERT_EQ(::RegSetValueExW(key.Get(), value, 0, REG_SZ, reinterpret_cast<const BYTE*>(L"x"), 4),
                      ERROR_SUCCESS);
    }
    bool KeyExists(const std::wstring& sub) {
        platform::unique_hkey key;
        return ::RegOpenKeyExW(key_.Get(), sub.c_str(), 0, KEY_READ, key.Put()) == ERROR_SUCCESS;
    }
    // Names of the sub-keys (keys = true) or values of scratch\sub, as the registry lists them.
    Calls Names(const std::wstring& sub, bool keys) {
        platform::unique_hkey key;
        Calls names;
        if (::RegOpenKeyExW(key_.Get(), sub.c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS) return {L"<none>"};
        wchar_t name[256];
        for (DWORD i = 0;; ++i) {
            DWORD length = 256;
            const LONG status = keys ? ::RegEnumKeyExW(key.Get(), i, name, &length, nullptr, nullptr, nullptr, nullptr)
                                     : ::RegEnumValueW(key.Get(), i, name, &length, nullptr, nullptr, nullptr, nullptr);
            if (status != ERROR_SUCCESS) return names;
            names.emplace_back(name, length);
        }
    }
    // The type and bytes of a value of scratch\sub; type 0 when missing.
    std::pair<DWORD, Bytes> Value(const std::wstring& sub, const std::wstring& name) {
        DWORD type = 0, size = 64;
        Bytes data(size);
        if (::RegGetValueW(key_.Get(), sub.c_str(), name.c_str(), RRF_RT_ANY | RRF_NOEXPAND, &type, data.data(),
                           &size) != ERROR_SUCCESS)
            return {0, {}};
        data.resize(size);
        return {type, data};
    }
    std::wstring MakeFile(const std::wstring& name, std::size_t size, DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
        const std::wstring path = folder_.Path(name);
        Bytes bytes(size);
        for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + 1);
        EXPECT_TRUE(WriteWholeFile(path, bytes));
        EXPECT_TRUE(::SetFileAttributesW(path.c_str(), attributes));
        return path;
    }

    std::wstring path_;
    platform::unique_hkey key_;
    test::TempFolder folder_;
    std::shared_ptr<test::SiblingCallLog> log_ = std::make_shared<test::SiblingCallLog>();
    Com<IBackvault> service_ = test::MakeBackupService(log_);
    Com<IDiskWipeHelper> wiper_ = test::MakeWipeHelper(log_);
    TBVWrapper wrapper_;
};

TEST_F(BVWrapperTest, AssigningTheServiceSwitchesBackingUpWhileBVEnabledOnlyPausesIt) {
    EXPECT_FALSE(wrapper_.BVEnabled());
    Attach();
    EXPECT_TRUE(wrapper_.BVEnabled());
    wrapper_.SetBVEnabled(false);
    EXPECT_EQ(wrapper_.Backvault(), service_);
    EXPECT_TRUE(wrapper_.RegKeySetDword(key_.Get(), L"paused", 1));
    EXPECT_TRUE(log_->Calls().empty()) << "switched off: straight to the registry";
    EXPECT_EQ(Value(L"", L"paused").first, DWORD{REG_DWORD});

    Attach();
    EXPECT_TRUE(wrapper_.BVEnabled()) << "assigning switches it on again";
    EXPECT_TRUE(wrapper_.RegKeySetDword(key_.Get(), L"backed", 1));
    EXPECT_EQ(log_->Operations(), Calls{L"SetValue(scratch, backed, 0, 4, 01 00 00 00, 4)"});

    log_->Clear();
    wrapper_.SetBackvault(nullptr);
    EXPECT_FALSE(wrapper_.BVEnabled());
    wrapper_.SetBVEnabled(true);
    EXPECT_TRUE(wrapper_.RegKeySetDword(key_.Get(), L"alone", 1)) << "enabled without a service: direct";
    EXPECT_TRUE(log_->Calls().empty());
}

TEST_F(BVWrapperTest, DeleteFileWithoutBackupResetsAttributesAndNeverTouchesTheService) {
    const struct {
        const char* name;
        bool attach, enabled, disableBV;
        DWORD attributes;
    } cases[] = {
        {"no service", false, false, false, FILE_ATTRIBUTE_READONLY},
        {"backing-up switched off", true, false, false, FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN},
        {"ADisableBV while active", true, true, true, FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_SYSTEM},
    };
    for (const auto& c : cases) {
        wrapper_.SetBackvault(c.attach ? service_.Get() : nullptr);
        wrapper_.SetBVEnabled(c.enabled);
        const std::wstring path = MakeFile(L"f.txt", 10, c.attributes);
        EXPECT_TRUE(wrapper_.DeleteFile(path, c.disableBV)) << c.name;
        EXPECT_FALSE(FileExists(path)) << c.name;
        EXPECT_FALSE(wrapper_.DeleteFile(path, c.disableBV)) << c.name << ": a missing file";
        EXPECT_TRUE(log_->Calls().empty()) << c.name;
    }
}

TEST_F(BVWrapperTest, WipeHelperDeletesAndIsPrecededByABackupWhenActive) {
    const struct {
        const char* name;
        bool active, disableBV, exists;
        const wchar_t* fault;
        HRESULT answer;
        bool result, fileLeft, wiped;
        Calls calls;
    } cases[] = {
        {"direct", false, false, true, nullptr, S_OK, true, false, true, {L"WipeFile($f)"}},
        {"ADisableBV", true, true, true, nullptr, S_OK, true, false, true, {L"WipeFile($f)"}},
        {"direct, wipe fails", false, false, true, L"WipeFile", E_FAIL, false, true, false, {L"WipeFile($f)"}},
        {"direct, missing file", false, false, false, nullptr, S_OK, false, false, false, {L"WipeFile($f)"}},
        {"backed up", true, false, true, nullptr, S_OK, true, false, true,
         {L"GetFiles()", L"BackupFile($f)", L"WipeFile($f)"}},
        {"backed up, missing file", true, false, false, nullptr, S_OK, false, false, false, {}},
        {"backed up, backup fails", true, false, true, L"BackupFile", E_ACCESSDENIED, false, true, false,
         {L"GetFiles()", L"BackupFile($f)"}},
        {"backed up, wipe claims success and leaves the file", true, false, true, L"WipeFile", S_OK, false, true,
         false, {L"GetFiles()", L"BackupFile($f)", L"WipeFile($f)"}},
    };
    wrapper_.SetWipeDLL(wiper_.Get());
    std::size_t size = 40;
    for (const auto& c : cases) {
        wrapper_.SetBackvault(c.active ? service_.Get() : nullptr);
        const std::wstring path = folder_.Path(L"w.bin");
        if (c.exists) MakeFile(L"w.bin", ++size, FILE_ATTRIBUTE_READONLY);
        const Bytes original = ReadWholeFile(path);
        log_->Clear();
        log_->backups.clear();
        log_->Heal();
        if (c.fault) log_->Fail(c.fault, c.answer);

        EXPECT_EQ(wrapper_.DeleteFile(path, c.disableBV), c.result) << c.name;
        EXPECT_EQ(log_->Calls(), With(c.calls, path)) << c.name;
        EXPECT_EQ(FileExists(path), c.fileLeft) << c.name;
        EXPECT_EQ(wrapper_.LastWipeSize(), c.wiped ? size : 0u) << c.name;
        if (c.calls.size() > 1 && !c.fault) { EXPECT_EQ(log_->backups[path], original) << c.name; }
        ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        ::DeleteFileW(path.c_str());
    }
}

TEST_F(BVWrapperTest, LastWipeSizeAddsUpUntilRead) {
    wrapper_.SetWipeDLL(wiper_.Get());
    EXPECT_TRUE(wrapper_.DeleteFile(MakeFile(L"a", 100), false));
    Attach();
    EXPECT_TRUE(wrapper_.DeleteFile(MakeFile(L"b", 23), false));
    EXPECT_FALSE(wrapper_.DeleteFile(folder_.Path(L"missing"), false));
    EXPECT_EQ(wrapper_.LastWipeSize(), 123u);
    EXPECT_EQ(wrapper_.LastWipeSize(), 0u);
}

TEST_F(BVWrapperTest, SaveWipeFileNeedsAServiceAndAFileButNotBVEnabled) {
    const std::wstring path = MakeFile(L"s.bin", 6);
    const auto raised = [&](const std::wstring& file) -> HRESULT {
        try {
            wrapper_.SaveWipeFile(file);
            return S_OK;
        } catch (const Exception& e) {
            EXPECT_TRUE(e.Code() != E_ILLEGAL_METHOD_CALL || e.Message().empty());
            return e.Code();
        }
    };
    EXPECT_EQ(raised(path), E_ILLEGAL_METHOD_CALL) << "no service";
    Attach();
    wrapper_.SetBVEnabled(false);
    EXPECT_EQ(raised(folder_.Path(L"missing")), E_ILLEGAL_METHOD_CALL);
    EXPECT_TRUE(log_->Calls().empty());
    EXPECT_EQ(raised(path), S_OK);
    EXPECT_EQ(log_->Calls(), With({L"GetFiles()", L"BackupFile($f)"}, path));
    EXPECT_TRUE(FileExists(path));
    log_->Fail(L"BackupFile", E_ACCESSDENIED);
    EXPECT_EQ(raised(path), E_ACCESSDENIED) << "the service's failure comes out as it is";
}

TEST_F(BVWrapperTest, BackedUpFileAndFolderRemovalGoThroughTheServiceAndAreChecked) {
    const struct {
        const char* name;
        bool folder, active;
        const wchar_t* fault;
        HRESULT answer;
        bool result;
        Calls calls;
    } cases[] = {
        {"file", false, true, nullptr, S_OK, true, {L"GetFiles()", L"DeleteFile($f)"}},
        {"file, deletion fails", false, true, L"DeleteFile", E_ACCESSDENIED, false, {L"GetFiles()", L"DeleteFile($f)"}},
        {"file, claimed but left", false, true, L"DeleteFile", S_OK, false, {L"GetFiles()", L"DeleteFile($f)"}},
        {"file, no file interface", false, true, L"GetFiles", E_FAIL, false, {L"GetFiles()"}},
        {"folder", true, true, nullptr, S_OK, true, {L"GetFiles()", L"RemoveDir($f)"}},
        {"folder, removal fails", true, true, L"RemoveDir", E_FAIL, false, {L"GetFiles()", L"RemoveDir($f)"}},
        {"folder, direct", true, false, nullptr, S_OK, true, {}},
    };
    for (const auto& c : cases) {
        wrapper_.SetBackvault(c.active ? service_.Get() : nullptr);
        const std::wstring path = folder_.Path(L"target");
        if (c.folder) { ASSERT_TRUE(ForceDirectories(path)); }
        // Read-only: the attributes are reset before the service is asked.
        const Bytes original = c.folder ? Bytes{} : ReadWholeFile(MakeFile(L"target", 9, FILE_ATTRIBUTE_READONLY));
        log_->Clear();
        log_->Heal();
        if (c.fault) log_->Fail(c.fault, c.answer);

        EXPECT_EQ(c.folder ? wrapper_.RemoveDir(path) : wrapper_.DeleteFile(path, false), c.result) << c.name;
        EXPECT_EQ(log_->Calls(), With(c.calls, path)) << c.name;
        EXPECT_EQ(c.folder ? DirectoryExists(path) : FileExists(path), !c.result) << c.name;
        if (!c.folder && c.result) { EXPECT_EQ(log_->backups[path], original) << c.name; }
        ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        ::DeleteFileW(path.c_str());
        ::RemoveDirectoryW(path.c_str());
    }
    // Removing a folder that still holds a file fails directly.
    wrapper_.SetBackvault(nullptr);
    MakeFile(L"full", 0);
    EXPECT_FALSE(wrapper_.RemoveDir(folder_.Root()));
}

TEST_F(BVWrapperTest, DeleteFileLogsItsResult) {
    const TLogLevel saved = TDebugLog::Level();
    Calls lines;
    TDebugLog::SetSink([&](const std::wstring& line) { lines.push_back(line); });
    TDebugLog::SetLevel(llInfo);
    const std::wstring path = MakeFile(L"logged.txt", 3);
    wrapper_.DeleteFile(path, false);
    wrapper_.DeleteFile(path, false);
    TDebugLog::SetSink({});
    TDebugLog::SetLevel(saved);

    ASSERT_EQ(lines.size(), 2u);
    const std::wstring suffixes[] = {L"INFO  TBVWrapper: Deleting result = True for '" + path + L"'",
                                     L"INFO  TBVWrapper: Deleting result = False for '" + path + L"'"};
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(lines[i].ends_with(suffixes[i])) << std::string(lines[i].begin(), lines[i].end());
}

TEST_F(BVWrapperTest, BackedUpKeyDeletionRemovesTheTreeDeepestFirstValueByValue) {
    MakeKey(L"tree", {L"v1", L"v2"});
    MakeKey(L"tree\\a", {L"x"});
    MakeKey(L"tree\\a\\a1", {L"y"});
    MakeKey(L"tree\\b");
    MakeKey(L"keep", {L"k"});
    Attach();

    EXPECT_TRUE(wrapper_.RegKeyDeleteKey(key_.Get(), L"\\tree\\"));
    EXPECT_EQ(log_->Operations(), (Calls{
                                      L"OpenKey(scratch, tree, 0, 0xF003F)",
                                      L"OpenKey(scratch\\tree, b, 0, 0xF003F)",
                                      L"CloseKey(scratch\\tree\\b)",
                                      L"DeleteKey(scratch\\tree, b)",
                                      L"OpenKey(scratch\\tree, a, 0, 0xF003F)",
                                      L"OpenKey(scratch\\tree\\a, a1, 0, 0xF003F)",
                                      L"DeleteValue(scratch\\tree\\a\\a1, y)",
                                      L"CloseKey(scratch\\tree\\a\\a1)",
                                      L"DeleteKey(scratch\\tree\\a, a1)",
                                      L"DeleteValue(scratch\\tree\\a, x)",
                                      L"CloseKey(scratch\\tree\\a)",
                                      L"DeleteKey(scratch\\tree, a)",
                                      L"DeleteValue(scratch\\tree, v2)",
                                      L"DeleteValue(scratch\\tree, v1)",
                                      L"CloseKey(scratch\\tree)",
                                      L"DeleteKey(scratch, tree)",
                                  }));
    EXPECT_EQ(log_->Calls().size(), 2 * log_->Operations().size()) << "a fresh registry interface per operation";
    EXPECT_EQ(Names(L"", true), Calls{L"keep"});
    EXPECT_EQ(Names(L"keep", false), Calls{L"k"});
}

TEST_F(BVWrapperTest, BackedUpKeyDeletionStopsAtTheFirstFailureButNotAtAKeyItCannotOpen) {
    const struct {
        const char* name;
        const wchar_t* fault;
        bool result;
        Calls calls, subKeysLeft, valuesLeft;
    } cases[] = {
        // The service is still asked to delete (and record) a key the wrapper could not open.
        {"key cannot be opened", L"OpenKey", true,
         {L"OpenKey(scratch, tree, 0, 0xF003F)", L"DeleteKey(scratch, tree)"}, {L"<none>"}, {L"<none>"}},
        // A sub-key that cannot go stops the walk: nothing else below the key is touched.
        {"a sub-key cannot be deleted", L"DeleteKey", false,
         {L"OpenKey(scratch, tree, 0, 0xF003F)", L"OpenKey(scratch\\tree, b, 0, 0xF003F)",
          L"CloseKey(scratch\\tree\\b)", L"DeleteKey(scratch\\tree, b)", L"CloseKey(scratch\\tree)"},
         {L"a", L"b"}, {L"v"}},
    };
    Attach();
    for (const auto& c : cases) {
        const bool leaf = c.result;  // the first case deletes for real, so its key must be a leaf
        if (leaf) {
            MakeKey(L"tree");
        } else {
            MakeKey(L"tree", {L"v"});
            MakeKey(L"tree\\a");
            MakeKey(L"tree\\b");
        }
        log_->Clear();
        log_->Heal();
        log_->Fail(c.fault, HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
        EXPECT_EQ(wrapper_.RegKeyDeleteKey(key_.Get(), L"\\tree\\"), c.result) << c.name;
        EXPECT_EQ(log_->Operations(), c.calls) << c.name;
        EXPECT_EQ(Names(L"tree", true), c.subKeysLeft) << c.name;
        EXPECT_EQ(Names(L"tree", false), c.valuesLeft) << c.name;
        ::RegDeleteTreeW(key_.Get(), L"tree");
    }
}

TEST_F(BVWrapperTest, DirectKeyDeletionRefusesATreeAndDeletesALeaf) {
    MakeKey(L"tree", {L"v1"});
    MakeKey(L"tree\\a\\a1", {L"y"});
    MakeKey(L"tree\\b");

    EXPECT_FALSE(wrapper_.RegKeyDeleteKey(key_.Get(), L"tree"));
    EXPECT_EQ(Names(L"tree", true), (Calls{L"a", L"b"}));
    EXPECT_EQ(Names(L"tree", false), Calls{L"v1"});
    EXPECT_EQ(Names(L"tree\\a\\a1", false), Calls{L"y"});

    EXPECT_TRUE(wrapper_.RegKeyDeleteKey(key_.Get(), L"tree\\b\\"));
    EXPECT_EQ(Names(L"tree", true), Calls{L"a"});
}

TEST_F(BVWrapperTest, DescendantDeletionKeepsTheKeyAndItsValues) {
    const struct {
        const char* name;
        bool active, nested, result;
        Calls subKeysLeft;
    } cases[] = {
        {"backed up", true, true, true, {}},
        {"direct, one level", false, false, true, {}},
        {"direct, refused below one level", false, true, false, {L"a"}},
    };
    for (const auto& c : cases) {
        MakeKey(L"p", {L"pv1", L"pv2"});
        MakeKey(L"p\\a", {L"x"});
        if (c.nested) MakeKey(L"p\\a\\a1");
        MakeKey(L"p\\b");
        platform::unique_hkey parent;
        ASSERT_EQ(::RegOpenKeyExW(key_.Get(), L"p", 0, KEY_ALL_ACCESS, parent.Put()), ERROR_SUCCESS);
        log_->NameKey(parent.Get(), L"p");
        wrapper_.SetBackvault(c.active ? service_.Get() : nullptr);
        log_->Clear();

        EXPECT_EQ(wrapper_.RegKeyDeleteKeyDescendant(parent.Get()), c.result) << c.name;
        EXPECT_EQ(Names(L"p", true), c.subKeysLeft) << c.name;
        EXPECT_EQ(Names(L"p", false), (Calls{L"pv1", L"pv2"})) << c.name;
        if (c.active) { EXPECT_EQ(log_->Operations().back(), L"DeleteKey(p, a)") << c.name; }
        ::RegDeleteTreeW(key_.Get(), L"p");
    }
}

// What the direct road hands to the system as sub-key text.
Calls gSystemSubKeys;
LONG WINAPI RecordOpen(HKEY, LPCWSTR subKey, DWORD, REGSAM, PHKEY key) {
    gSystemSubKeys.emplace_back(subKey);
    *key = nullptr;
    return ERROR_ACCESS_DENIED;
}
LONG WINAPI RecordCreate(HKEY, LPCWSTR subKey, DWORD, LPWSTR, DWORD, REGSAM, LPSECURITY_ATTRIBUTES, PHKEY key,
                         LPDWORD) {
    gSystemSubKeys.emplace_back(subKey);
    *key = nullptr;
    return ERROR_ACCESS_DENIED;
}
LONG WINAPI RecordDelete(HKEY, LPCWSTR subKey) {
    gSystemSubKeys.emplace_back(subKey);
    return ERROR_ACCESS_DENIED;
}

TEST_F(BVWrapperTest, SubKeysLoseOneLeadingAndOneTrailingBackslashOnBothRoads) {
    const struct {
        const wchar_t* given;
        const wchar_t* used;
    } cases[] = {
        {L"\\a\\", L"a"}, {L"\\", L"\\"},     {L"\\\\a", L"\\a"}, {L"a\\\\", L"a\\"},
        {L"\\\\", L""},   {L"\\a\\b", L"a\\b"}, {L"a", L"a"},       {L"", L""},
    };
    // Open, create and delete are refused, so each leaves one record and changes nothing.
    platform::ScopedSysCall open(&platform::SysCallTable::RegOpenKeyExW, &RecordOpen);
    platform::ScopedSysCall create(&platform::SysCallTable::RegCreateKeyExW, &RecordCreate);
    platform::ScopedSysCall erase(&platform::SysCallTable::RegDeleteKeyW, &RecordDelete);
    for (const wchar_t* fault : {L"CreateKey", L"OpenKey", L"DeleteKey"}) log_->Fail(fault, E_ACCESSDENIED);

    for (const auto& c : cases) {
        const std::wstring used = c.used;
        for (bool active : {false, true}) {
            wrapper_.SetBackvault(active ? service_.Get() : nullptr);
            gSystemSubKeys.clear();
            log_->Clear();
            EXPECT_EQ(wrapper_.RegOpenCreateKey(key_.Get(), c.given), nullptr);
            EXPECT_EQ(wrapper_.RegKeyOpenWrite(key_.Get(), c.given), nullptr);
            EXPECT_FALSE(wrapper_.RegKeyDeleteKey(key_.Get(), c.given));
            const Calls expected = active ? Calls{L"CreateKey(scratch, " + used + L", 0, null, 0, 0xF003F, null)",
                                                  L"OpenKey(scratch, " + used + L", 0, 0xF003F)",
                                                  L"OpenKey(scratch, " + used + L", 0, 0xF003F)",
                                                  L"DeleteKey(scratch, " + used + L")"}
                                          : Calls{used, used, used};
            EXPECT_EQ(active ? log_->Operations() : gSystemSubKeys, expected)
                << (active ? "backed up: " : "direct: ") << std::string(used.begin(), used.end());
        }
    }
}

TEST_F(BVWrapperTest, StoreBinaryRecordsTheCurrentBytesOnlyWhenBackedUp) {
    MakeKey(L"app", {L"List"});
    const auto before = Value(L"app", L"List");
    ASSERT_EQ(before, (std::pair<DWORD, Bytes>{REG_SZ, {'x', 0, 0, 0}}));

    EXPECT_FALSE(wrapper_.RegKeyStoreBinary(key_.Get(), L"app", L"List"));
    Attach();
    wrapper_.SetBVEnabled(false);
    EXPECT_FALSE(wrapper_.RegKeyStoreBinary(key_.Get(), L"new", L"List"));
    EXPECT_FALSE(KeyExists(L"new"));
    EXPECT_EQ(Value(L"app", L"List"), before);
    EXPECT_TRUE(log_->Calls().empty());

    wrapper_.SetBVEnabled(true);
    EXPECT_TRUE(wrapper_.RegKeyStoreBinary(key_.Get(), L"\\app\\", L"List"));
    EXPECT_EQ(log_->Operations(), (Calls{L"CreateKey(scratch, app, 0, null, 0, 0xF003F, null)",
                                         L"SetValue(scratch\\app, List, 0, 3, 78 00 00 00, 4)",
                                         L"CloseKey(scratch\\app)"}));
    EXPECT_EQ(Value(L"app", L"List"), (std::pair<DWORD, Bytes>{REG_BINARY, before.second}));

    // A value that cannot be read counts as empty and is recorded so.
    EXPECT_TRUE(wrapper_.RegKeyStoreBinary(key_.Get(), L"app", L"Missing"));
    EXPECT_EQ(Value(L"app", L"Missing"), (std::pair<DWORD, Bytes>{REG_BINARY, {}}));
}

TEST_F(BVWrapperTest, ValuesAreWrittenAndDeletedAlikeOnBothRoads) {
    const std::uint8_t binary[] = {0xDE, 0xAD, 0x00, 0x01};
    for (bool active : {false, true}) {
        wrapper_.SetBackvault(active ? service_.Get() : nullptr);
        log_->Clear();
        EXPECT_TRUE(wrapper_.RegKeySetDword(key_.Get(), L"d", 0x12345678u));
        EXPECT_TRUE(wrapper_.RegKeySetBinary(key_.Get(), L"b", binary, sizeof binary));
        EXPECT_EQ(Value(L"", L"d"), (std::pair<DWORD, Bytes>{REG_DWORD, {0x78, 0x56, 0x34, 0x12}}));
        EXPECT_EQ(Value(L"", L"b"), (std::pair<DWORD, Bytes>{REG_BINARY, {0xDE, 0xAD, 0x00, 0x01}}));
        EXPECT_TRUE(wrapper_.RegKeyDeleteValue(key_.Get(), L"d"));
        EXPECT_EQ(Names(L"", false), Calls{L"b"});
        EXPECT_FALSE(wrapper_.RegKeyDeleteValue(key_.Get(), L"d")) << "already gone";
        const Calls expected = active ? Calls{L"SetValue(scratch, d, 0, 4, 78 56 34 12, 4)",
                                              L"SetValue(scratch, b, 0, 3, de ad 00 01, 4)",
                                              L"DeleteValue(scratch, d)", L"DeleteValue(scratch, d)"}
                                      : Calls{};
        EXPECT_EQ(log_->Operations(), expected);
    }
}

TEST_F(BVWrapperTest, AFailingServiceCallMakesTheOperationFailWithoutThrowing) {
    const std::wstring file = folder_.Path(L"f"), dir = folder_.Path(L"d");
    const auto openAndClose = [&] {
        const HKEY key = wrapper_.RegKeyOpenWrite(key_.Get(), L"sub");
        const bool closed = wrapper_.RegKeyCloseKey(key);
        if (!closed) {
            log_->Heal();
            wrapper_.RegKeyCloseKey(key);
        }
        return key && closed;
    };
    const struct {
        const wchar_t* fault;
        std::function<bool()> operation;
        const wchar_t* keyKept;
    } cases[] = {
        {L"GetRegistry", [&] { return wrapper_.RegKeySetDword(key_.Get(), L"v", 1); }, nullptr},
        {L"SetValue", [&] { return wrapper_.RegKeySetBinary(key_.Get(), L"v", "ab", 2); }, nullptr},
        {L"DeleteValue", [&] { return wrapper_.RegKeyDeleteValue(key_.Get(), L"v"); }, nullptr},
        {L"CreateKey", [&] { return bool(BVKey(wrapper_, wrapper_.RegOpenCreateKey(key_.Get(), L"sub"))); }, nullptr},
        {L"OpenKey", [&] { return bool(BVKey(wrapper_, wrapper_.RegKeyOpenWrite(key_.Get(), L"sub"))); }, nullptr},
        {L"CloseKey", openAndClose, nullptr},
        {L"DeleteKey", [&] { return wrapper_.RegKeyDeleteKey(key_.Get(), L"sub"); }, L"sub"},
        {L"DeleteValue", [&] { return wrapper_.RegKeyDeleteKey(key_.Get(), L"tree"); }, L"tree\\a"},
        {L"GetFiles", [&] { return wrapper_.DeleteFile(file, false); }, nullptr},
        {L"DeleteFile", [&] { return wrapper_.DeleteFile(file, false); }, nullptr},
        {L"RemoveDir", [&] { return wrapper_.RemoveDir(dir); }, nullptr},
    };
    Attach();
    for (const auto& c : cases) {
        for (bool failing : {true, false}) {
            MakeKey(L"", {L"v"});
            MakeKey(L"sub");
            MakeKey(L"tree\\a", {L"x"});
            MakeFile(L"f", 5);
            ASSERT_TRUE(ForceDirectories(dir));
            log_->Heal();
            if (failing) log_->Fail(c.fault, HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
            bool result = !failing;
            EXPECT_NO_THROW(result = c.operation()) << c.fault;
            EXPECT_EQ(result, !failing) << c.fault;
            if (failing && c.keyKept) { EXPECT_TRUE(KeyExists(c.keyKept)) << c.fault; }
        }
    }
}

}  // namespace
}  // namespace vt
