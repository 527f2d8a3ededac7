#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <memory>
#include <string>
#include <vector>

#include "platform/Handles.h"
#include "platform/SysCalls.h"
#include "platform/Win32.h"

#include <sddl.h>

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
using TypedValue = std::pair<DWORD, Bytes>;

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
        ASSERT_EQ(::RegCreateKeyW(HKEY_CURRENT_USER, path_.c_str(), key_.Put()), ERROR_SUCCESS);
        log_->NameKey(key_.Get(), L"scratch");
        ASSERT_TRUE(ForceDirectories(folder_.Root()));
    }
    void TearDown() override {
        // Every interface fetched was released, every key opened through the service closed.
        EXPECT_EQ(log_->liveInterfaces, 0);
        EXPECT_EQ(log_->openKeys, 0);
        key_.Reset();
        ::RegDeleteTreeW(HKEY_CURRENT_USER, path_.c_str());
    }

    void Attach() { wrapper_.SetBackvault(service_.Get()); }
    void Fault(const wchar_t* operation, HRESULT hr = HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED)) {
        log_->Clear();
        log_->Heal();
        if (operation) log_->Fail(operation, hr);
    }

    // Creates scratch\sub with REG_SZ values named as listed.
    void MakeKey(const std::wstring& sub, std::initializer_list<const wchar_t*> values = {}) {
        platform::unique_hkey key;
        ASSERT_EQ(::RegCreateKeyW(key_.Get(), sub.c_str(), key.Put()), ERROR_SUCCESS);
        for (const wchar_t* value : values)
            ASSERT_EQ(::RegSetValueExW(key.Get(), value, 0, REG_SZ, reinterpret_cast<const BYTE*>(L"x"), 4), 0);
    }
    // Names of the sub-keys (keys = true) or values of scratch\sub, as the
    // registry lists them; "<none>" when the key is missing.
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
    TypedValue Value(const std::wstring& sub, const std::wstring& name) {
        DWORD type = 0, size = 64;
        Bytes data(size);
        if (::RegGetValueW(key_.Get(), sub.c_str(), name.c_str(), RRF_RT_ANY | RRF_NOEXPAND, &type, data.data(),
                           &size) != ERROR_SUCCESS)
            return {0, {}};
        data.resize(size);
        return {type, data};
    }
    // A read-only file of size bytes.
    std::wstring MakeFile(const std::wstring& name, std::size_t size) {
        const std::wstring path = folder_.Path(name);
        EXPECT_TRUE(WriteWholeFile(path, Bytes(size, 0x5A)));
        EXPECT_TRUE(::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
        return path;
    }

    std::wstring path_;
    platform::unique_hkey key_;
    test::TempFolder folder_;
    std::shared_ptr<test::SiblingCallLog> log_ = std::make_shared<test::SiblingCallLog>();
    Com<IBackvault> service_ = test::MakeBackupService(log_);
    TBVWrapper wrapper_;
};

TEST_F(BVWrapperTest, ValuesGoThroughTheServiceOnlyWhileOneIsAttachedAndEnabled) {
    const std::uint8_t binary[] = {0xDE, 0xAD, 0x00, 0x01};
    const Calls recorded = {L"SetValue(scratch, d, 0, 4, 78 56 34 12, 4)", L"SetValue(scratch, b, 0, 3, de ad 00 01, 4)",
                            L"DeleteValue(scratch, d)", L"DeleteValue(scratch, d)"};
    const auto writeAndDelete = [&](const char* road, bool backedUp) {
        SCOPED_TRACE(road);
        log_->Clear();
        EXPECT_TRUE(wrapper_.RegKeySetDword(key_.Get(), L"d", 0x12345678u));
        EXPECT_TRUE(wrapper_.RegKeySetBinary(key_.Get(), L"b", binary, sizeof binary));
        EXPECT_EQ(Value(L"", L"d"), (TypedValue{REG_DWORD, {0x78, 0x56, 0x34, 0x12}}));
        EXPECT_EQ(Value(L"", L"b"), (TypedValue{REG_BINARY, {0xDE, 0xAD, 0x00, 0x01}}));
        EXPECT_TRUE(wrapper_.RegKeyDeleteValue(key_.Get(), L"d"));
        EXPECT_EQ(Names(L"", false), Calls{L"b"});
        EXPECT_FALSE(wrapper_.RegKeyDeleteValue(key_.Get(), L"d")) << "already gone";
        EXPECT_EQ(log_->Operations(), backedUp ? recorded : Calls{});
    };
    EXPECT_FALSE(wrapper_.BVEnabled());
    writeAndDelete("no service", false);
    Attach();
    writeAndDelete("service attached", true);
    wrapper_.SetBVEnabled(false);
    EXPECT_EQ(wrapper_.Backvault(), service_);
    writeAndDelete("backing-up paused", false);
    Attach();
    EXPECT_TRUE(wrapper_.BVEnabled()) << "assigning switches it on again";
    wrapper_.SetBackvault(nullptr);
    EXPECT_FALSE(wrapper_.BVEnabled());
    wrapper_.SetBVEnabled(true);
    writeAndDelete("enabled without a service", false);
}

TEST_F(BVWrapperTest, FileRemovalTakesItsRoadAndEndsWithAnExistenceCheck) {
    enum Kind { kFile, kWiped, kFolder };
    enum Road { kDirect, kBackedUp, kDisableBV };  // kDisableBV: service active, ADisableBV true
    const struct {
        const char* name;
        Kind kind;
        Road road;
        bool exists;
        const wchar_t* fault;
        HRESULT answer;
        bool result;
        Calls operations;
    } cases[] = {
        {"direct", kFile, kDirect, true, nullptr, S_OK, true, {}},
        {"direct, missing file", kFile, kDirect, false, nullptr, S_OK, false, {}},
        {"ADisableBV", kFile, kDisableBV, true, nullptr, S_OK, true, {}},
        {"backed up", kFile, kBackedUp, true, nullptr, S_OK, true, {L"DeleteFile($f)"}},
        {"backed up, refused", kFile, kBackedUp, true, L"DeleteFile", E_ACCESSDENIED, false, {L"DeleteFile($f)"}},
        {"backed up, claimed but left", kFile, kBackedUp, true, L"DeleteFile", S_OK, false, {L"DeleteFile($f)"}},
        {"no file interface", kFile, kBackedUp, true, L"GetFiles", E_FAIL, false, {}},
        {"wiped", kWiped, kDirect, true, nullptr, S_OK, true, {L"WipeFile($f)"}},
        {"wiped, ADisableBV", kWiped, kDisableBV, true, nullptr, S_OK, true, {L"WipeFile($f)"}},
        {"wiped, wipe fails", kWiped, kDirect, true, L"WipeFile", E_FAIL, false, {L"WipeFile($f)"}},
        {"wiped, missing file", kWiped, kDirect, false, nullptr, S_OK, false, {L"WipeFile($f)"}},
        {"wiped after backup", kWiped, kBackedUp, true, nullptr, S_OK, true, {L"BackupFile($f)", L"WipeFile($f)"}},
        {"backed-up wipe, missing file", kWiped, kBackedUp, false, nullptr, S_OK, false, {}},
        {"backup fails: no wipe", kWiped, kBackedUp, true, L"BackupFile", E_ACCESSDENIED, false, {L"BackupFile($f)"}},
        {"backed-up wipe claims success, file left", kWiped, kBackedUp, true, L"WipeFile", S_OK, false,
         {L"BackupFile($f)", L"WipeFile($f)"}},
        {"folder", kFolder, kBackedUp, true, nullptr, S_OK, true, {L"RemoveDir($f)"}},
        {"folder, refused", kFolder, kBackedUp, true, L"RemoveDir", E_FAIL, false, {L"RemoveDir($f)"}},
        {"folder, direct", kFolder, kDirect, true, nullptr, S_OK, true, {}},
    };
    const Com<IDiskWipeHelper> wiper = test::MakeWipeHelper(log_);
    Calls logged;
    const TLogLevel savedLevel = TDebugLog::Level();
    TDebugLog::SetSink([&](const std::wstring& line) { logged.push_back(line); });
    TDebugLog::SetLevel(llInfo);
    std::size_t size = 40;
    std::uint64_t wipedTotal = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        wrapper_.SetBackvault(c.road == kDirect ? nullptr : service_.Get());
        wrapper_.SetWipeDLL(c.kind == kWiped ? wiper.Get() : nullptr);
        const std::wstring path = folder_.Path(L"target");
        if (c.kind == kFolder) { EXPECT_TRUE(ForceDirectories(path)); }
        if (c.exists && c.kind != kFolder) MakeFile(L"target", ++size);  // read-only: attributes are reset first
        Fault(c.fault, c.answer);
        logged.clear();

        if (c.kind == kFolder) {
            EXPECT_EQ(wrapper_.RemoveDir(path), c.result);
            EXPECT_EQ(DirectoryExists(path), !c.result);
        } else {
            EXPECT_EQ(wrapper_.DeleteFile(path, c.road == kDisableBV), c.result);
            EXPECT_EQ(FileExists(path), c.exists && !c.result);
            const std::wstring line = std::wstring(L"TBVWrapper: Deleting result = ") + (c.result ? L"True" : L"False");
            // What a failing sibling call threw is logged before the result.
            ASSERT_FALSE(logged.empty());
            EXPECT_TRUE(logged.back().ends_with(line + L" for '" + path + L"'")) << testing::PrintToString(logged);
            for (std::size_t i = 0; i + 1 < logged.size(); ++i)
                EXPECT_NE(logged[i].find(L"ERROR TBVWrapper: DeleteFile failed"), std::wstring::npos) << logged[i];
        }
        EXPECT_EQ(log_->Operations(), With(c.operations, path));
        wipedTotal += c.kind == kWiped && c.result ? size : 0;
        ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        ::DeleteFileW(path.c_str());
        ::RemoveDirectoryW(path.c_str());
    }
    TDebugLog::SetSink({});
    TDebugLog::SetLevel(savedLevel);
    EXPECT_EQ(wrapper_.LastWipeSize(), wipedTotal) << "the wiped sizes add up until read";
    EXPECT_EQ(wrapper_.LastWipeSize(), 0u);

    // Directly, a folder that still holds a file stays.
    wrapper_.SetBackvault(nullptr);
    MakeFile(L"full", 0);
    EXPECT_FALSE(wrapper_.RemoveDir(folder_.Root()));
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
    EXPECT_EQ(raised(path), S_OK);
    EXPECT_EQ(log_->Calls(), With({L"GetFiles()", L"BackupFile($f)"}, path));
    log_->Fail(L"BackupFile", E_ACCESSDENIED);
    EXPECT_EQ(raised(path), E_ACCESSDENIED) << "the service's failure comes out as it is";
}

TEST_F(BVWrapperTest, BackedUpKeyDeletionRemovesTheTreeDeepestFirstValueByValue) {
    MakeKey(L"tree", {L"v1", L"v2"});
    MakeKey(L"tree\\a", {L"x"});
    MakeKey(L"tree\\a\\a1", {L"y"});
    MakeKey(L"tree\\b");
    Attach();

    EXPECT_TRUE(wrapper_.RegKeyDeleteKey(key_.Get(), L"\\tree\\"));
    EXPECT_EQ(log_->Operations(),
              (Calls{L"OpenKey(scratch, tree, 8, 0xF003F)",
                     L"OpenKey(scratch\\tree, b, 8, 0xF003F)", L"CloseKey(scratch\\tree\\b)", L"DeleteKey(scratch\\tree, b)",
                     L"OpenKey(scratch\\tree, a, 8, 0xF003F)",
                     L"OpenKey(scratch\\tree\\a, a1, 8, 0xF003F)", L"DeleteValue(scratch\\tree\\a\\a1, y)",
                     L"CloseKey(scratch\\tree\\a\\a1)", L"DeleteKey(scratch\\tree\\a, a1)",
                     L"DeleteValue(scratch\\tree\\a, x)", L"CloseKey(scratch\\tree\\a)", L"DeleteKey(scratch\\tree, a)",
                     L"DeleteValue(scratch\\tree, v2)", L"DeleteValue(scratch\\tree, v1)",
                     L"CloseKey(scratch\\tree)", L"DeleteKey(scratch, tree)"}));
    EXPECT_EQ(log_->Calls().size(), 2 * log_->Operations().size()) << "a fresh registry interface per operation";
    EXPECT_EQ(Names(L"tree", true), Calls{L"<none>"});
}

TEST_F(BVWrapperTest, BackedUpKeyDeletionStopsAtTheFirstFailureButNotAtAKeyItCannotOpen) {
    Attach();
    // The service is still asked to delete (and record) a key the wrapper could not open.
    MakeKey(L"tree");
    Fault(L"OpenKey");
    EXPECT_TRUE(wrapper_.RegKeyDeleteKey(key_.Get(), L"tree"));
    EXPECT_EQ(log_->Operations(), (Calls{L"OpenKey(scratch, tree, 8, 0xF003F)", L"DeleteKey(scratch, tree)"}));
    EXPECT_EQ(Names(L"tree", true), Calls{L"<none>"});

    // A sub-key that cannot go stops the walk: nothing else below the key is touched.
    MakeKey(L"tree", {L"v"});
    MakeKey(L"tree\\a");
    MakeKey(L"tree\\b");
    Fault(L"DeleteKey");
    EXPECT_FALSE(wrapper_.RegKeyDeleteKey(key_.Get(), L"tree"));
    EXPECT_EQ(log_->Operations(), (Calls{L"OpenKey(scratch, tree, 8, 0xF003F)", L"OpenKey(scratch\\tree, b, 8, 0xF003F)",
                                         L"CloseKey(scratch\\tree\\b)", L"DeleteKey(scratch\\tree, b)",
                                         L"CloseKey(scratch\\tree)"}));
    EXPECT_EQ(Names(L"tree", true), (Calls{L"a", L"b"}));
    EXPECT_EQ(Names(L"tree", false), Calls{L"v"});
}

TEST_F(BVWrapperTest, DescendantDeletionKeepsTheKeyAndItsValues) {
    // Directly, b (a leaf) goes first and a, which has a sub-key, is refused.
    for (const auto& [active, result, left] : {std::tuple{true, true, Calls{}}, std::tuple{false, false, Calls{L"a"}}}) {
        MakeKey(L"p", {L"pv1", L"pv2"});
        MakeKey(L"p\\a\\a1", {L"x"});
        MakeKey(L"p\\b");
        platform::unique_hkey parent;
        ASSERT_EQ(::RegOpenKeyExW(key_.Get(), L"p", 0, KEY_ALL_ACCESS, parent.Put()), ERROR_SUCCESS);
        log_->NameKey(parent.Get(), L"p");
        wrapper_.SetBackvault(active ? service_.Get() : nullptr);
        log_->Clear();
        EXPECT_EQ(wrapper_.RegKeyDeleteKeyDescendant(parent.Get()), result);
        EXPECT_EQ(Names(L"p", true), left);
        EXPECT_EQ(Names(L"p", false), (Calls{L"pv1", L"pv2"}));
        EXPECT_EQ(log_->Operations().size(), active ? 10u : 0u);
        ::RegDeleteTreeW(key_.Get(), L"p");
    }
}

// What the direct road hands to the system as sub-key text; every call is refused.
Calls gSystemSubKeys;
LONG WINAPI RecordOpen(HKEY, LPCWSTR subKey, DWORD, REGSAM, PHKEY key) {
    gSystemSubKeys.emplace_back(subKey);
    *key = nullptr;
    return ERROR_ACCESS_DENIED;
}
LONG WINAPI RecordCreate(HKEY root, LPCWSTR subKey, DWORD, LPWSTR, DWORD, REGSAM access, LPSECURITY_ATTRIBUTES,
                         PHKEY key, LPDWORD) {
    return RecordOpen(root, subKey, 0, access, key);
}
LONG WINAPI RecordDelete(HKEY root, LPCWSTR subKey) {
    HKEY ignored;
    return RecordOpen(root, subKey, 0, 0, &ignored);
}

TEST_F(BVWrapperTest, SubKeysLoseOneLeadingAndOneTrailingBackslashOnBothRoads) {
    const std::pair<const wchar_t*, std::wstring> cases[] = {
        {L"\\a\\", L"a"}, {L"\\", L"\\"},     {L"\\\\a", L"\\a"}, {L"a\\\\", L"a\\"},
        {L"\\\\", L""},   {L"\\a\\b", L"a\\b"}, {L"a", L"a"},       {L"", L""},
    };
    platform::ScopedSysCall open(&platform::SysCallTable::RegOpenKeyExW, &RecordOpen);
    platform::ScopedSysCall create(&platform::SysCallTable::RegCreateKeyExW, &RecordCreate);
    platform::ScopedSysCall erase(&platform::SysCallTable::RegDeleteKeyW, &RecordDelete);
    for (const wchar_t* fault : {L"CreateKey", L"OpenKey", L"DeleteKey"}) log_->Fail(fault, E_ACCESSDENIED);

    for (const auto& [given, used] : cases) {
        for (bool active : {false, true}) {
            wrapper_.SetBackvault(active ? service_.Get() : nullptr);
            gSystemSubKeys.clear();
            log_->Clear();
            EXPECT_FALSE(wrapper_.RegOpenCreateKey(key_.Get(), given));
            EXPECT_FALSE(wrapper_.RegKeyOpenWrite(key_.Get(), given));
            EXPECT_FALSE(wrapper_.RegKeyDeleteKey(key_.Get(), given));
            const Calls expected = active ? Calls{L"CreateKey(scratch, " + used + L", 0, null, 0, 0xF003F, null)",
                                                  L"OpenKey(scratch, " + used + L", 0, 0xF003F)",
                                                  L"OpenKey(scratch, " + used + L", 8, 0xF003F)",
                                                  L"DeleteKey(scratch, " + used + L")"}
                                          : Calls{used, used, used};
            EXPECT_EQ(active ? log_->Operations() : gSystemSubKeys, expected)
                << (active ? "backed up: " : "direct: ") << testing::PrintToString(used);
        }
    }
}

TEST_F(BVWrapperTest, StoreBinaryRecordsTheCurrentBytesOnlyWhenBackedUp) {
    MakeKey(L"app", {L"List"});
    const TypedValue before = Value(L"app", L"List");
    Attach();
    wrapper_.SetBVEnabled(false);
    EXPECT_FALSE(wrapper_.RegKeyStoreBinary(key_.Get(), L"new", L"List"));
    EXPECT_EQ(Names(L"new", false), Calls{L"<none>"});
    EXPECT_TRUE(log_->Calls().empty());

    wrapper_.SetBVEnabled(true);
    EXPECT_TRUE(wrapper_.RegKeyStoreBinary(key_.Get(), L"\\app\\", L"List"));
    EXPECT_EQ(log_->Operations(), (Calls{L"CreateKey(scratch, app, 0, null, 0, 0xF003F, null)",
                                         L"SetValue(scratch\\app, List, 0, 3, 78 00 00 00, 4)",
                                         L"CloseKey(scratch\\app)"}));
    EXPECT_EQ(Value(L"app", L"List"), (TypedValue{REG_BINARY, before.second}));
    // A value that cannot be read counts as empty and is recorded so.
    EXPECT_TRUE(wrapper_.RegKeyStoreBinary(key_.Get(), L"app", L"Missing"));
    EXPECT_EQ(Value(L"app", L"Missing"), (TypedValue{REG_BINARY, {}}));
    // Without a key nothing is written.
    Fault(L"CreateKey");
    EXPECT_FALSE(wrapper_.RegKeyStoreBinary(key_.Get(), L"app", L"List"));
    EXPECT_EQ(log_->Operations(), Calls{L"CreateKey(scratch, app, 0, null, 0, 0xF003F, null)"});
}

TEST_F(BVWrapperTest, AFailingServiceCallMakesTheOperationFail) {
    MakeKey(L"tree", {L"x"});
    Attach();
    const HKEY opened = wrapper_.RegKeyOpenWrite(key_.Get(), L"tree").Release();
    const std::pair<const wchar_t*, std::function<bool()>> cases[] = {
        {L"GetRegistry", [&] { return wrapper_.RegKeySetDword(key_.Get(), L"v", 1); }},
        {L"SetValue", [&] { return wrapper_.RegKeySetBinary(key_.Get(), L"v", "ab", 2); }},
        {L"DeleteValue", [&] { return wrapper_.RegKeyDeleteValue(opened, L"x"); }},
        {L"CloseKey", [&] { return wrapper_.RegKeyCloseKey(opened); }},
        // A value that cannot go stops the deletion: the key keeps it.
        {L"DeleteValue",
         [&] { return wrapper_.RegKeyDeleteKey(key_.Get(), L"tree") || Names(L"tree", false) != Calls{L"x"}; }},
    };
    for (const auto& [fault, operation] : cases) {
        Fault(fault);
        EXPECT_FALSE(operation()) << testing::PrintToString(fault);
    }
    Fault(nullptr);
    EXPECT_TRUE(wrapper_.RegKeyCloseKey(opened));
}


// The attributes a real file gets back after being made read-only, hidden and
// system (Wine keeps what its file system can hold).
DWORD MarkFile(const std::wstring& path) {
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
    return ::GetFileAttributesW(path.c_str());
}

BOOL WINAPI RefuseDelete(LPCWSTR) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

TEST_F(BVWrapperTest, AttributesAreLeftToTheServiceWhenBackedUpAndPutBackWhenADirectDeletionFails) {
    // recorded: the attributes the service or wipe helper found on the file
    // (0 when neither was reached); kept: whether the file stays with its marks.
    enum Road { kDirect, kBackedUp };
    const struct {
        const char* name;
        Road road;
        bool wipe;
        const wchar_t* fault;
        bool refuseDirect;
        bool recordedMarked;  // the sibling saw the marks (true) or normal attributes
        bool reached;
        bool result;
    } cases[] = {
        {"direct", kDirect, false, nullptr, false, false, false, true},
        {"direct, refused: marks put back", kDirect, false, nullptr, true, false, false, false},
        {"direct wipe sees cleared attributes", kDirect, true, nullptr, false, false, true, true},
        {"direct wipe fails: marks put back", kDirect, true, L"WipeFile", false, false, false, false},
        {"backed up: the service records the marks", kBackedUp, false, nullptr, false, true, true, true},
        {"backed-up wipe: the wipe helper records them", kBackedUp, true, nullptr, false, true, true, true},
        {"backed up, refused: marks untouched", kBackedUp, false, L"DeleteFile", false, false, false, false},
    };
    const Com<IDiskWipeHelper> wiper = test::MakeWipeHelper(log_);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::wstring path = MakeFile(L"marked.dat", 16);
        const DWORD marked = MarkFile(path);
        ASSERT_NE(marked & FILE_ATTRIBUTE_READONLY, 0u);
        wrapper_.SetBackvault(c.road == kBackedUp ? service_.Get() : nullptr);
        wrapper_.SetWipeDLL(c.wipe ? wiper.Get() : nullptr);
        Fault(c.fault, E_ACCESSDENIED);
        log_->recordedAttributes.clear();
        {
            std::optional<platform::ScopedSysCall<decltype(&::DeleteFileW)>> refuse;
            if (c.refuseDirect) refuse.emplace(&platform::SysCallTable::DeleteFileW, &RefuseDelete);
            EXPECT_EQ(wrapper_.DeleteFile(path, false), c.result);
        }
        EXPECT_EQ(log_->recordedAttributes.count(path), c.reached ? 1u : 0u);
        if (c.reached) {
            const DWORD seen = log_->recordedAttributes[path];
            EXPECT_EQ(seen == marked, c.recordedMarked);
            if (!c.recordedMarked) {
                EXPECT_EQ(seen & FILE_ATTRIBUTE_READONLY, 0u);
            }
        }
        EXPECT_EQ(::GetFileAttributesW(path.c_str()), c.result ? INVALID_FILE_ATTRIBUTES : marked);
        ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        ::DeleteFileW(path.c_str());
    }
}

// The error GetFileAttributesW gives for every path while a case runs.
DWORD gAttributesError = 0;
DWORD WINAPI UnreadableAttributes(LPCWSTR) {
    ::SetLastError(gAttributesError);
    return INVALID_FILE_ATTRIBUTES;
}

TEST_F(BVWrapperTest, OnlyFileNotFoundCountsAsRemoved) {
    const std::pair<DWORD, bool> cases[] = {
        {ERROR_FILE_NOT_FOUND, true},
        {ERROR_PATH_NOT_FOUND, true},
        {ERROR_ACCESS_DENIED, false},
        {ERROR_SHARING_VIOLATION, false},
    };
    for (const auto& [error, removed] : cases) {
        const std::wstring path = folder_.Path(L"plain.dat");
        ASSERT_TRUE(WriteWholeFile(path, Bytes(8, 1)));
        gAttributesError = error;
        platform::ScopedSysCall unreadable(&platform::SysCallTable::GetFileAttributesW, &UnreadableAttributes);
        EXPECT_EQ(wrapper_.DeleteFile(path, false), removed) << error;
    }
}

// Every path named here looks like a symbolic link (or a folder junction) to
// the wrapper; the system does the rest.
std::wstring gLinkPath;
DWORD gLinkAttributes = 0;
DWORD WINAPI LinkAttributes(LPCWSTR path) {
    const DWORD real = ::GetFileAttributesW(path);
    return path == gLinkPath && real != INVALID_FILE_ATTRIBUTES ? gLinkAttributes : real;
}

TEST_F(BVWrapperTest, ALinkIsDeletedAsItselfNeverWipedOrBackedUp) {
    const Com<IDiskWipeHelper> wiper = test::MakeWipeHelper(log_);
    const struct {
        const char* name;
        bool service;
        bool wipe;
    } roads[] = {{"direct", false, false}, {"direct wipe", false, true}, {"backed up", true, false},
                 {"backed-up wipe", true, true}};
    platform::ScopedSysCall links(&platform::SysCallTable::GetFileAttributesW, &LinkAttributes);
    for (const auto& road : roads) {
        SCOPED_TRACE(road.name);
        wrapper_.SetBackvault(road.service ? service_.Get() : nullptr);
        wrapper_.SetWipeDLL(road.wipe ? wiper.Get() : nullptr);
        log_->Clear();
        // A file link: deleted by DeleteFileW, nothing reaches a sibling.
        gLinkPath = folder_.Path(L"file-link");
        gLinkAttributes = FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_REPARSE_POINT;
        ASSERT_TRUE(WriteWholeFile(gLinkPath, Bytes(4, 7)));
        EXPECT_TRUE(wrapper_.DeleteFile(gLinkPath, false));
        EXPECT_FALSE(FileExists(gLinkPath));
        EXPECT_THROW(wrapper_.SaveWipeFile(folder_.Path(L"file-link")), Exception) << "not backed up through a link";
        // A folder link (junction): removed as a folder entry, by either operation.
        gLinkPath = folder_.Path(L"folder-link");
        gLinkAttributes = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
        for (const bool asFile : {true, false}) {
            ASSERT_TRUE(ForceDirectories(gLinkPath));
            EXPECT_TRUE(asFile ? wrapper_.DeleteFile(gLinkPath, false) : wrapper_.RemoveDir(gLinkPath));
            EXPECT_FALSE(DirectoryExists(gLinkPath));
        }
        EXPECT_TRUE(log_->Operations().empty()) << testing::PrintToString(log_->Operations());
    }
}

// Unix symbolic links to a folder made in the prefix by cmake/wine-prefix.sh:
// Wine shows them as reparse points. Wine 8 cannot remove such a link by any
// Win32 call (RemoveDirectoryW and delete-on-close both leave it), so here
// the link may stay; what matters is that no sibling ever sees it and that
// its target and the file inside are untouched. Windows removes the link.
TEST_F(BVWrapperTest, RealFolderLinksNeverReachASiblingAndTheirTargetsStay) {
    const std::wstring links = L"C:\\vantrel-links\\";
    ASSERT_TRUE(DirectoryExists(links + L"folder")) << "made by cmake/wine-prefix.sh (the wine_prefix test)";
    const Com<IDiskWipeHelper> wiper = test::MakeWipeHelper(log_);
    const struct {
        const char* name;
        bool service;
        bool wipe;
        bool asFile;  // DeleteFile rather than RemoveDir
    } roads[] = {{"direct", false, false, false}, {"direct wipe", false, true, true},
                 {"backed up", true, false, true}, {"backed-up wipe", true, true, false}};
    int n = 0;
    for (const auto& road : roads) {
        SCOPED_TRACE(road.name);
        const std::wstring link = links + L"folder-link" + std::to_wstring(++n);
        ASSERT_EQ(::GetFileAttributesW(link.c_str()), DWORD{FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT});
        wrapper_.SetBackvault(road.service ? service_.Get() : nullptr);
        wrapper_.SetWipeDLL(road.wipe ? wiper.Get() : nullptr);
        log_->Clear();
        const bool result = road.asFile ? wrapper_.DeleteFile(link, false) : wrapper_.RemoveDir(link);
        EXPECT_EQ(result, ::GetFileAttributesW(link.c_str()) == INVALID_FILE_ATTRIBUTES) << "true exactly when gone";
        EXPECT_TRUE(log_->Operations().empty()) << testing::PrintToString(log_->Operations());
        EXPECT_EQ(ReadWholeFile(links + L"folder\\inside.txt"), (Bytes{'i', 'n', 's', 'i', 'd', 'e'}));
    }
}

// The NT name of a key below HKEY_CURRENT_USER ("\Registry\User\<SID>\..."),
// as a registry link's target must be written.
std::wstring UserKeyNtName(const std::wstring& subKey) {
    platform::unique_handle token;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.Put())) return {};
    alignas(TOKEN_USER) BYTE buffer[256];
    DWORD size = 0;
    if (!::GetTokenInformation(token.Get(), TokenUser, buffer, sizeof buffer, &size)) return {};
    wchar_t* sid = nullptr;
    if (!::ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid, &sid)) return {};
    const std::wstring name = L"\\Registry\\User\\" + std::wstring(sid) + L"\\" + subKey;
    ::LocalFree(sid);
    return name;
}

TEST_F(BVWrapperTest, BackedUpKeyDeletionNeverFollowsARegistryLink) {
    // scratch\tree\link is a registry link to scratch\target, which holds a
    // value and a sub-key of its own. Followed, the walk would delete them.
    MakeKey(L"target", {L"keep"});
    MakeKey(L"target\\child", {L"also"});
    MakeKey(L"tree", {L"v"});
    const std::wstring target = UserKeyNtName(path_ + L"\\target");
    ASSERT_FALSE(target.empty());
    {
        platform::unique_hkey link;
        ASSERT_EQ(::RegCreateKeyExW(key_.Get(), L"tree\\link", 0, nullptr, REG_OPTION_CREATE_LINK | REG_OPTION_VOLATILE,
                                    KEY_ALL_ACCESS | KEY_CREATE_LINK, nullptr, link.Put(), nullptr),
                  ERROR_SUCCESS);
        ASSERT_EQ(::RegSetValueExW(link.Get(), L"SymbolicLinkValue", 0, REG_LINK,
                                   reinterpret_cast<const BYTE*>(target.c_str()),
                                   static_cast<DWORD>(target.size() * sizeof(wchar_t))),
                  ERROR_SUCCESS);
    }
    ASSERT_EQ(Names(L"tree\\link", false), Calls{L"keep"}) << "the link leads to the target";
    Attach();
    wrapper_.RegKeyDeleteKey(key_.Get(), L"tree");  // whether the service can delete a link is its own business
    for (const std::wstring& call : log_->Operations())
        EXPECT_EQ(call.find(L"keep"), std::wstring::npos) << "reached the target: " << testing::PrintToString(call);
    EXPECT_EQ(Names(L"target", false), Calls{L"keep"});
    EXPECT_EQ(Names(L"target", true), Calls{L"child"});
    EXPECT_EQ(Names(L"target\\child", false), Calls{L"also"});
}

LONG WINAPI RefuseClose(HKEY) { return ERROR_INVALID_HANDLE; }

TEST_F(BVWrapperTest, KeysCloseOnTheRoadTheyWereOpenedOnAndSwallowedFailuresAreLogged) {
    MakeKey(L"k");
    Attach();
    BVKey backedUp = wrapper_.RegKeyOpenWrite(key_.Get(), L"k");
    ASSERT_TRUE(backedUp && backedUp.BackedUp());
    wrapper_.SetBVEnabled(false);
    BVKey direct = wrapper_.RegKeyOpenWrite(key_.Get(), L"k");
    ASSERT_TRUE(direct && !direct.BackedUp());
    // Switching the road in between no longer sends a key to the wrong closer.
    log_->Clear();
    EXPECT_TRUE(backedUp.Reset());
    EXPECT_EQ(log_->Operations(), Calls{L"CloseKey(scratch\\k)"});
    log_->Clear();
    EXPECT_TRUE(direct.Reset());
    EXPECT_TRUE(log_->Calls().empty());
    // A direct close goes through the call table: a failing close is reported.
    {
        BVKey again = wrapper_.RegKeyOpenWrite(key_.Get(), L"k");
        const HKEY raw = again.Get();
        platform::ScopedSysCall refuse(&platform::SysCallTable::RegCloseKey, &RefuseClose);
        EXPECT_FALSE(again.Reset());
        ::RegCloseKey(raw);
    }

    Calls logged;
    const TLogLevel savedLevel = TDebugLog::Level();
    TDebugLog::SetSink([&](const std::wstring& line) { logged.push_back(line); });
    TDebugLog::SetLevel(llError);
    wrapper_.SetBVEnabled(true);
    Fault(L"SetValue", HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
    EXPECT_FALSE(wrapper_.RegKeySetDword(key_.Get(), L"v", 1));
    TDebugLog::SetSink({});
    TDebugLog::SetLevel(savedLevel);
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_NE(logged[0].find(L"TBVWrapper: RegKeySetDword failed (0x80070005)"), std::wstring::npos) << logged[0];
}

}  // namespace
}  // namespace vt
