// "KxBrowsers.dll" as the engine meets it: loaded by full path, reached only
// through GetInstance and the interfaces, over a Chrome profile made in the
// test prefix's own local application-data folder.
#include <gtest/gtest.h>

#include <shlobj.h>

#include "Layouts.h"
#include "TestSupport.h"
#include "vantrel/BrowserHelper.h"
#include "support/SessionlessBackvault_win.h"

namespace kxb::test {
namespace {

#define KXB_RESERVED(n) \
    HRESULT STDMETHODCALLTYPE Reserved##n() override { return E_NOTIMPL; }

// A backup service that records which files it was handed, and deletes
// what it is asked to delete.
class RecordingBackvault final : public SessionlessBackvault<IBackvault>, public IBackvaultFiles {
public:
    std::vector<std::wstring> backedUp, deleted;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        *ppv = riid == vantrel::IidOf<IBackvaultFiles>() ? static_cast<IBackvaultFiles*>(this)
                                                          : static_cast<void*>(static_cast<IBackvault*>(this));
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }  // lives on the test's stack
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetRegistry(IBackvaultRegistry** r) override {
        *r = nullptr;
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetFiles(IBackvaultFiles** f) override {
        *f = this;
        return S_OK;
    }
    KXB_RESERVED(1) KXB_RESERVED(3) KXB_RESERVED(4) KXB_RESERVED(5) KXB_RESERVED(6) KXB_RESERVED(7)
    HRESULT STDMETHODCALLTYPE DeleteFile(const wchar_t* file) override {
        deleted.push_back(file);
        return ::DeleteFileW(file) ? S_OK : E_FAIL;
    }
    HRESULT STDMETHODCALLTYPE RemoveDir(const wchar_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE BackupFile(const wchar_t* file) override {
        backedUp.push_back(file);
        return S_OK;
    }
};

std::wstring Take(BSTR text) {
    std::wstring s = text ? std::wstring(text, SysStringLen(text)) : std::wstring();
    SysFreeString(text);
    return s;
}

template <class I>
struct Owned {
    I* p = nullptr;
    ~Owned() {
        if (p) p->Release();
    }
    I* operator->() const { return p; }
};

class LibraryTest : public ::testing::Test {
protected:
    void SetUp() override {
        wchar_t exe[MAX_PATH];
        GetModuleFileNameW(nullptr, exe, MAX_PATH);
        module = LoadLibraryExW((fs::path(exe).parent_path() / L"KxBrowsers.dll").c_str(), nullptr,
                                LOAD_WITH_ALTERED_SEARCH_PATH);
        ASSERT_NE(module, nullptr);
        getInstance = reinterpret_cast<KxBrowsersGetInstanceFn>(reinterpret_cast<void*>(GetProcAddress(module, "GetInstance")));
        ASSERT_NE(getInstance, nullptr);
        wchar_t local[MAX_PATH];
        ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, local), S_OK);
        userData = fs::path(local) / L"Google" / L"Chrome" / L"User Data";
        fs::remove_all(fs::path(local) / L"Google");
        wchar_t roaming[MAX_PATH];
        ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, 0, roaming), S_OK);
        firefox = fs::path(roaming) / L"Mozilla" / L"Firefox";
        fs::remove_all(firefox.parent_path());
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(userData.parent_path().parent_path(), ec);
        fs::remove_all(firefox.parent_path(), ec);
        if (module) FreeLibrary(module);
    }

    Owned<IBrowserHelperFactory> Factory() {
        Owned<IBrowserHelperFactory> f;
        EXPECT_EQ(getInstance(vantrel::IidOf<IBrowserHelperFactory>(), reinterpret_cast<void**>(&f.p)), S_OK);
        return f;
    }

    HMODULE module = nullptr;
    KxBrowsersGetInstanceFn getInstance = nullptr;
    fs::path userData, firefox;
};

TEST_F(LibraryTest, ServesTheFactoryAloneAndBrowsersItDoesNotReadAreAbsent) {
    void* obj = reinterpret_cast<void*>(1);
    EXPECT_EQ(getInstance(vantrel::IidOf<IBrowserHelper>(), &obj), E_NOINTERFACE);
    EXPECT_EQ(obj, nullptr);
    auto factory = Factory();
    ASSERT_TRUE(factory.p);
    using Getter = HRESULT (STDMETHODCALLTYPE IBrowserHelperFactory::*)(IBrowserHelper**);
    const std::pair<Getter, const wchar_t*> absent[] = {
        {&IBrowserHelperFactory::GetInternetExplorerHelper, L"Internet Explorer"},
        {&IBrowserHelperFactory::GetOperaHelper, L"Opera"},
        {&IBrowserHelperFactory::GetSafariHelper, L"Apple Safari"},
        {&IBrowserHelperFactory::GetChromeHelper, L"Google Chrome"},  // no profile made yet
    };
    for (const auto& [get, name] : absent) {
        Owned<IBrowserHelper> helper;
        ASSERT_EQ((factory.p->*get)(&helper.p), S_OK);
        bool installed = true;
        ASSERT_EQ(helper->IsInstalled(&installed), S_OK);
        EXPECT_FALSE(installed) << name;
        BSTR text = nullptr;
        helper->GetDisplayName(&text);
        EXPECT_EQ(Take(text), name);
    }
    Owned<IBrowserHelper> ie;
    factory->GetInternetExplorerHelper(&ie.p);
    Owned<IBrowserCookies> cookies;
    EXPECT_EQ(ie->GetCookies(&cookies.p), S_OK);
    EXPECT_EQ(cookies.p, nullptr);
    EXPECT_EQ(ie->Reserved4(), E_NOTIMPL);
}

void STDMETHODCALLTYPE Record(void* data, std::uint8_t status, std::int32_t, std::int32_t, std::int32_t, bool*) {
    static_cast<std::vector<int>*>(data)->push_back(status);
}

TEST_F(LibraryTest, ChromeHistoryIsListedAndDeletedThroughTheBackupService) {
    const fs::path history = userData / L"Default" / L"History";
    RunSql(history, std::string(kChromeHistory) + R"(
INSERT INTO urls VALUES(1,'http://example.com/a','Example A',1,0,13344473600000000,0);
INSERT INTO urls VALUES(2,'https://example.org/','Пример',1,0,13344473600000000,0);
INSERT INTO visits(id,url,visit_time,from_visit,transition) VALUES(1,1,13344473600000000,0,805306368);
INSERT INTO visits(id,url,visit_time,from_visit,transition) VALUES(2,2,13344473600000000,0,805306368);
)");
    RecordingBackvault backvault;
    auto factory = Factory();
    ASSERT_EQ(factory->SetBackvault(&backvault), S_OK);
    Owned<IBrowserHelper> chrome;
    ASSERT_EQ(factory->GetChromeHelper(&chrome.p), S_OK);
    bool flag = false;
    chrome->IsInstalled(&flag);
    EXPECT_TRUE(flag);
    chrome->IsDataLocked(&flag);
    EXPECT_FALSE(flag);
    BSTR root = nullptr;
    chrome->GetVisitedHistoryRoot(&root);
    EXPECT_EQ(Take(root), userData.wstring());

    Owned<IBrowserVisitedHistory> list;
    ASSERT_EQ(chrome->GetVisitedHistory(&list.p), S_OK);
    ASSERT_TRUE(list.p);
    std::vector<int> statuses;
    ASSERT_EQ(list->Enumerate({&Record, &statuses}), S_OK);
    EXPECT_EQ(statuses, (std::vector<int>{0, 1}));
    std::int32_t count = 0;
    list->GetCount(&count);
    ASSERT_EQ(count, 2);
    Owned<IBrowserHistoryItem> item;
    ASSERT_EQ(list->GetItem(1, &item.p), S_OK);
    BSTR text = nullptr;
    item->GetTitle(&text);
    EXPECT_EQ(Take(text), L"Пример");
    Owned<IBrowserHistoryItem> none;
    EXPECT_EQ(list->GetItem(2, &none.p), E_BOUNDS);
    std::uint8_t mode = 0;
    list->GetRemovalMode(&mode);
    EXPECT_EQ(mode, kBrowserRemoveByElement);

    Owned<IBrowserRemovalSession> session;
    ASSERT_EQ(list->GetSession(&session.p), S_OK);
    std::int32_t go = 0;
    ASSERT_EQ(session->BeginRemove(&go), S_OK);
    ASSERT_NE(go, 0);
    bool deleted = false;
    ASSERT_EQ(list->DeleteElement(0, &deleted), S_OK);
    EXPECT_TRUE(deleted);
    ASSERT_EQ(session->EndRemove(), S_OK);
    EXPECT_EQ(backvault.backedUp, std::vector<std::wstring>{history.wstring()});
    EXPECT_EQ(QueryInt(history, "SELECT group_concat(id) FROM urls"), 2);
    EXPECT_EQ(QueryInt(history, "SELECT count(*) FROM visits"), 1);

    Owned<IBrowserSessions> sessions;
    ASSERT_EQ(chrome->GetSessions(&sessions.p), S_OK);
    sessions->GetRemovalMode(&mode);
    EXPECT_EQ(mode, kBrowserRemoveWholeStore);
}

std::wstring ErrorMessage() {
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || !info) return {};
    BSTR text = nullptr;
    info->GetDescription(&text);
    info->Release();
    return Take(text);
}

TEST_F(LibraryTest, FirefoxLoginsComeWithTheirValueList) {
    WriteBytes(firefox / L"profiles.ini",
               "[Profile0]\r\nName=default-release\r\nIsRelative=1\r\nPath=Profiles/abcd1234.default-release\r\n");
    WriteBytes(firefox / L"Profiles" / L"abcd1234.default-release" / L"logins.json",
               R"({"nextId":2,"logins":[{"id":1,"hostname":"https://accounts.example.com","httpRealm":null,)"
               R"("formSubmitURL":"https://accounts.example.com/session","usernameField":"login","passwordField":"pass",)"
               R"("encryptedUsername":"MDIEEPgAAAAAAAAAAAAAAAAAAAEwFAYIKoZIhvcNAwcECBhS0mO6vX5NBAhIbVqmQ0E5yw==",)"
               R"("encryptedPassword":"MDoEEPgAAAAAAAAAAAAAAAAAAAEwFAYIKoZIhvcNAwcECGJvH8qVbBkpBBCiAXl1F9UoYw7NcvLQ4r7M",)"
               R"("guid":"{5ec0d2c5-4f0a-4b1e-9a4b-2a7b6b3c9d10}","encType":1,"timeCreated":1700000000000,)"
               R"("timeLastUsed":1700000000000,"timePasswordChanged":1700000000000,"timesUsed":1}],"version":3})");
    auto factory = Factory();
    Owned<IBrowserHelper> helper;
    ASSERT_EQ(factory->GetFirefoxHelper(&helper.p), S_OK);
    bool installed = false;
    helper->IsInstalled(&installed);
    EXPECT_TRUE(installed);
    Owned<IBrowserPasswords> list;
    ASSERT_EQ(helper->GetPasswords(&list.p), S_OK);
    ASSERT_EQ(list->Enumerate({nullptr, nullptr}), S_OK);
    Owned<IBrowserPasswordItem> item;
    ASSERT_EQ(list->GetItem(0, &item.p), S_OK);
    BSTR text = nullptr;
    item->GetSite(&text);
    EXPECT_EQ(Take(text), L"https://accounts.example.com");
    Owned<IBrowserValues> values;
    ASSERT_EQ(item->GetValues(&values.p), S_OK);
    std::int32_t count = 0;
    values->GetCount(&count);
    ASSERT_EQ(count, 1);
    values->GetValueName(0, &text);
    EXPECT_EQ(Take(text), L"login");
    values->GetValue(0, &text);
    EXPECT_EQ(Take(text), L"");
    EXPECT_EQ(values->GetValue(1, &text), E_BOUNDS);
    EXPECT_EQ(ErrorMessage(), L"List index out of bounds (1)");
}

}  // namespace
}  // namespace kxb::test
