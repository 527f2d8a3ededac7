// The objects "KxBrowsers.dll" hands out: the factory, one helper per
// browser, one element list per data kind, items, value lists and removal
// sessions, each over the portable core.
#include <array>
#include <memory>

#include "ComBase.h"
#include "System.h"
#include "Text.h"

namespace kxb::com {

namespace {

// ---------------------------------------------------------------------------
// Items: a copy of one element, its texts in the interface's slot order.

class Values final : public Object<IBrowserValues> {
public:
    explicit Values(std::vector<Value> values) : values_(std::move(values)) {}
    HRESULT STDMETHODCALLTYPE GetValue(std::int32_t index, BSTR* value) override {
        return InRange(index) ? Out(values_[index].value, value) : OutOfRange(index);
    }
    HRESULT STDMETHODCALLTYPE GetValueName(std::int32_t index, BSTR* name) override {
        return InRange(index) ? Out(values_[index].name, name) : OutOfRange(index);
    }
    HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) override {
        if (!count) return E_POINTER;
        *count = static_cast<std::int32_t>(values_.size());
        return S_OK;
    }

private:
    bool InRange(std::int32_t index) const { return index >= 0 && static_cast<std::size_t>(index) < values_.size(); }
    static HRESULT OutOfRange(std::int32_t index) {
        return Fail(E_BOUNDS, "List index out of bounds (" + std::to_string(index) + ")");
    }
    std::vector<Value> values_;
};

template <class I>
class Item : public Object<I> {
public:
    explicit Item(const Element& element) : element_(element) {}

protected:
    HRESULT Text(int slot, BSTR* out) { return Out(element_.texts[slot], out); }
    HRESULT ValueList(IBrowserValues** out) {
        if (!out) return E_POINTER;
        return Guard([&] {
            Make<Values>(element_.values).CopyTo(out);
            return S_OK;
        });
    }
    Element element_;
};

#define KXB_TEXT(Name, slot) \
    HRESULT STDMETHODCALLTYPE Name(BSTR* out) override { return Text(slot, out); }

class HistoryItem final : public Item<IBrowserHistoryItem> {
public:
    using Item::Item;
    KXB_TEXT(GetLastVisited, 0)
    KXB_TEXT(GetTitle, 1)
    KXB_TEXT(GetUrl, 2)
    KXB_TEXT(GetVisitCount, 3)
};

class CookieItem final : public Item<IBrowserCookieItem> {
public:
    using Item::Item;
    KXB_TEXT(GetExpires, 0)
    KXB_TEXT(GetHost, 1)
    KXB_TEXT(GetPath, 2)
    KXB_TEXT(GetName, 3)
};

class TypedItem final : public Item<IBrowserTypedItem> {
public:
    using Item::Item;
    KXB_TEXT(GetLastTyped, 0)
    KXB_TEXT(GetAddress, 1)
    KXB_TEXT(GetTitle, 2)
    KXB_TEXT(GetTypedCount, 3)
};

class FormItem final : public Item<IBrowserFormItem> {
public:
    using Item::Item;
    KXB_TEXT(GetLastUsed, 0)
    KXB_TEXT(GetFieldName, 1)
    HRESULT STDMETHODCALLTYPE GetValues(IBrowserValues** values) override { return ValueList(values); }
    KXB_TEXT(GetUseCount, 3)
};

class PasswordItem final : public Item<IBrowserPasswordItem> {
public:
    using Item::Item;
    KXB_TEXT(GetCreated, 0)
    KXB_TEXT(GetSite, 1)
    HRESULT STDMETHODCALLTYPE GetValues(IBrowserValues** values) override { return ValueList(values); }
    KXB_TEXT(GetFormAction, 3)
};

class SearchItem final : public Item<IBrowserSearchItem> {
public:
    using Item::Item;
    KXB_TEXT(GetLastUsed, 0)
    KXB_TEXT(GetSearchText, 1)
    KXB_TEXT(GetUrl, 2)
    KXB_TEXT(GetUseCount, 3)
};

class SessionItem final : public Item<IBrowserSessionItem> {
public:
    using Item::Item;
    KXB_TEXT(GetLastWritten, 0)
    KXB_TEXT(GetSessionText, 1)
    KXB_TEXT(GetTitle, 2)
    KXB_TEXT(GetFile, 3)
};

class DownloadItem final : public Item<IBrowserDownloadItem> {
public:
    using Item::Item;
    KXB_TEXT(GetFile, 0)
    KXB_TEXT(GetSource, 1)
    KXB_TEXT(GetEndTime, 2)
    KXB_TEXT(GetReferrer, 3)
};

#undef KXB_TEXT

// ---------------------------------------------------------------------------
// Removal session and element lists.

class Session final : public Object<IBrowserRemovalSession> {
public:
    explicit Session(std::shared_ptr<ElementList> list) : list_(std::move(list)) {}
    HRESULT STDMETHODCALLTYPE BeginRemove(std::int32_t* go) override {
        if (!go) return E_POINTER;
        return Guard([&] {
            *go = list_->BeginRemove() ? 1 : 0;
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE EndRemove() override {
        return Guard([&] { return list_->EndRemove() ? S_OK : Fail(E_FAIL, list_->LastError()); });
    }

private:
    std::shared_ptr<ElementList> list_;
};

template <class IList, class ItemClass, class IItem>
class List final : public Object<IList> {
public:
    explicit List(std::unique_ptr<ElementList> list) : list_(std::move(list)) {}

    HRESULT STDMETHODCALLTYPE Enumerate(TBrowserEnumCallback callback) override {
        return Guard([&] {
            list_->Enumerate([&](EnumStatus status, int loaded, int store, int stores) {
                bool stop = false;
                if (callback.Code)
                    callback.Code(callback.Data, static_cast<std::uint8_t>(status), loaded, store, stores, &stop);
                return stop;
            });
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE Clear() override {
        list_->Clear();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) override {
        if (!count) return E_POINTER;
        *count = list_->Count();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetElementStore(std::int32_t index, BSTR* file) override {
        const auto store = list_->StoreFile(index);
        if (!store) return Fail(E_BOUNDS, "List index out of bounds (" + std::to_string(index) + ")");
        return Out(store->wstring(), file);
    }
    HRESULT STDMETHODCALLTYPE DeleteElement(std::int32_t index, bool* deleted) override {
        if (!deleted) return E_POINTER;
        return Guard([&] {
            *deleted = list_->DeleteElement(index);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE DeleteAll(bool* deleted) override {
        if (!deleted) return E_POINTER;
        return Guard([&] {
            *deleted = list_->DeleteAll();
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE GetRemovalMode(std::uint8_t* mode) override {
        if (!mode) return E_POINTER;
        *mode = static_cast<std::uint8_t>(list_->Mode());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetLastError(BSTR* message) override {
        return Out(WideFromUtf8(list_->LastError()), message);
    }
    HRESULT STDMETHODCALLTYPE GetSession(IBrowserRemovalSession** session) override {
        if (!session) return E_POINTER;
        return Guard([&] {
            Make<Session>(list_).CopyTo(session);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, IItem** item) override {
        if (!item) return E_POINTER;
        *item = nullptr;
        const Element* element = list_->At(index);
        if (!element) return Fail(E_BOUNDS, "List index out of bounds (" + std::to_string(index) + ")");
        return Guard([&] {
            Make<ItemClass>(*element).CopyTo(item);
            return S_OK;
        });
    }

protected:
    void* Find(REFIID riid) override {
        return riid == vantrel::IidOf<IBrowserElements>() ? static_cast<IBrowserElements*>(this) : nullptr;
    }

private:
    std::shared_ptr<ElementList> list_;
};

// ---------------------------------------------------------------------------
// One browser.

class Helper final : public Object<IBrowserHelper> {
public:
    Helper(std::unique_ptr<Browser> browser, std::shared_ptr<win::BackvaultSink> sink)
        : browser_(std::move(browser)), sink_(std::move(sink)) {}

    HRESULT STDMETHODCALLTYPE GetCookies(IBrowserCookies** out) override {
        return Elements<CookieItem, IBrowserCookieItem>(Kind::Cookies, cookies_, out);
    }
    HRESULT STDMETHODCALLTYPE GetTypedHistory(IBrowserTypedHistory** out) override {
        return Elements<TypedItem, IBrowserTypedItem>(Kind::TypedHistory, typed_, out);
    }
    HRESULT STDMETHODCALLTYPE GetVisitedHistory(IBrowserVisitedHistory** out) override {
        return Elements<HistoryItem, IBrowserHistoryItem>(Kind::VisitedHistory, history_, out);
    }
    HRESULT STDMETHODCALLTYPE Reserved4() override { return Unused(4); }
    HRESULT STDMETHODCALLTYPE Reserved5() override { return Unused(5); }
    HRESULT STDMETHODCALLTYPE Reserved6() override { return Unused(6); }
    HRESULT STDMETHODCALLTYPE GetForms(IBrowserForms** out) override {
        return Elements<FormItem, IBrowserFormItem>(Kind::Forms, forms_, out);
    }
    HRESULT STDMETHODCALLTYPE GetPasswords(IBrowserPasswords** out) override {
        return Elements<PasswordItem, IBrowserPasswordItem>(Kind::Passwords, passwords_, out);
    }
    HRESULT STDMETHODCALLTYPE GetSearches(IBrowserSearches** out) override {
        return Elements<SearchItem, IBrowserSearchItem>(Kind::Searches, searches_, out);
    }
    HRESULT STDMETHODCALLTYPE GetSessions(IBrowserSessions** out) override {
        return Elements<SessionItem, IBrowserSessionItem>(Kind::Sessions, sessions_, out);
    }
    HRESULT STDMETHODCALLTYPE GetDownloads(IBrowserDownloads** out) override {
        return Elements<DownloadItem, IBrowserDownloadItem>(Kind::Downloads, downloads_, out);
    }
    HRESULT STDMETHODCALLTYPE GetDisplayName(BSTR* name) override {
        return Guard([&] { return Out(browser_->DisplayName(), name); });
    }
    HRESULT STDMETHODCALLTYPE GetVersion(BSTR* version) override {
        return Guard([&] { return Out(browser_->Version(), version); });
    }
    HRESULT STDMETHODCALLTYPE IsInstalled(bool* installed) override {
        if (!installed) return E_POINTER;
        return Guard([&] {
            *installed = browser_->IsInstalled();
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE IsDataLocked(bool* locked) override {
        if (!locked) return E_POINTER;
        return Guard([&] {
            *locked = browser_->IsDataLocked();
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE GetExePath(BSTR* path) override {
        return Guard([&] { return Out(browser_->ExePath(), path); });
    }
    HRESULT STDMETHODCALLTYPE GetCookiesRoot(BSTR* root) override { return Root(Kind::Cookies, root); }
    HRESULT STDMETHODCALLTYPE GetVisitedHistoryRoot(BSTR* root) override { return Root(Kind::VisitedHistory, root); }
    HRESULT STDMETHODCALLTYPE Reserved19() override { return Unused(19); }
    HRESULT STDMETHODCALLTYPE Reserved20() override { return Unused(20); }
    HRESULT STDMETHODCALLTYPE GetFormsRoot(BSTR* root) override { return Root(Kind::Forms, root); }
    HRESULT STDMETHODCALLTYPE GetPasswordsRoot(BSTR* root) override { return Root(Kind::Passwords, root); }
    HRESULT STDMETHODCALLTYPE GetSearchesRoot(BSTR* root) override { return Root(Kind::Searches, root); }
    HRESULT STDMETHODCALLTYPE GetSessionsRoot(BSTR* root) override { return Root(Kind::Sessions, root); }
    HRESULT STDMETHODCALLTYPE GetDownloadsRoot(BSTR* root) override { return Root(Kind::Downloads, root); }
    HRESULT STDMETHODCALLTYPE GetTypedHistoryRoot(BSTR* root) override { return Root(Kind::TypedHistory, root); }

protected:
    void* Find(REFIID riid) override {
        return riid == vantrel::IidOf<IBrowserHelper>() ? static_cast<IBrowserHelper*>(this) : nullptr;
    }

private:
    static HRESULT Unused(int slot) {
        return Fail(E_NOTIMPL, "IBrowserHelper operation " + std::to_string(slot) + " is not used");
    }

    HRESULT Root(Kind kind, BSTR* root) {
        return Guard([&] { return Out(browser_->Root(kind), root); });
    }

    // The kind's list, made on first request and the same object afterwards
    // (null, S_OK, when the browser does not keep the kind).
    template <class ItemClass, class IItem, class IList>
    HRESULT Elements(Kind kind, Ref<IList>& cache, IList** out) {
        if (!out) return E_POINTER;
        *out = nullptr;
        return Guard([&] {
            if (!cache) {
                std::shared_ptr<win::BackvaultSink> sink = sink_;
                auto list = browser_->MakeList(kind, [sink]() -> BackupSink& { return *sink; });
                if (!list) return S_OK;
                cache = Ref<IList>(Make<List<IList, ItemClass, IItem>>(std::move(list)).Get());
            }
            cache.CopyTo(out);
            return S_OK;
        });
    }

    std::unique_ptr<Browser> browser_;
    std::shared_ptr<win::BackvaultSink> sink_;
    Ref<IBrowserCookies> cookies_;
    Ref<IBrowserTypedHistory> typed_;
    Ref<IBrowserVisitedHistory> history_;
    Ref<IBrowserForms> forms_;
    Ref<IBrowserPasswords> passwords_;
    Ref<IBrowserSearches> searches_;
    Ref<IBrowserSessions> sessions_;
    Ref<IBrowserDownloads> downloads_;
};

// ---------------------------------------------------------------------------
// The factory: one helper per browser, made on first request.

class Factory final : public Object<IBrowserHelperFactory> {
public:
    HRESULT STDMETHODCALLTYPE GetInternetExplorerHelper(IBrowserHelper** helper) override {
        return Get(0, helper, [] { return MakeAbsent(L"Internet Explorer"); });
    }
    HRESULT STDMETHODCALLTYPE GetFirefoxHelper(IBrowserHelper** helper) override {
        return Get(1, helper, [] { return win::MakeUserFirefox(); });
    }
    HRESULT STDMETHODCALLTYPE GetOperaHelper(IBrowserHelper** helper) override {
        return Get(2, helper, [] { return MakeAbsent(L"Opera"); });
    }
    HRESULT STDMETHODCALLTYPE GetSafariHelper(IBrowserHelper** helper) override {
        return Get(3, helper, [] { return MakeAbsent(L"Apple Safari"); });
    }
    HRESULT STDMETHODCALLTYPE GetChromeHelper(IBrowserHelper** helper) override {
        return Get(4, helper, [] { return win::MakeUserChrome(); });
    }
    HRESULT STDMETHODCALLTYPE Reserved6() override {
        return Fail(E_NOTIMPL, "IBrowserHelperFactory operation 6 is not used");
    }
    HRESULT STDMETHODCALLTYPE Reserved7() override {
        return Fail(E_NOTIMPL, "IBrowserHelperFactory operation 7 is not used");
    }
    HRESULT STDMETHODCALLTYPE SetBackvault(IBackvault* service) override {
        sink_->Set(service);
        return S_OK;
    }

protected:
    void* Find(REFIID riid) override {
        return riid == vantrel::IidOf<IBrowserHelperFactory>() ? static_cast<IBrowserHelperFactory*>(this) : nullptr;
    }

private:
    template <class MakeBrowser>
    HRESULT Get(int which, IBrowserHelper** out, MakeBrowser make) {
        if (!out) return E_POINTER;
        *out = nullptr;
        return Guard([&] {
            if (!helpers_[which]) helpers_[which] = Ref<IBrowserHelper>(Make<Helper>(make(), sink_).Get());
            helpers_[which].CopyTo(out);
            return S_OK;
        });
    }

    std::shared_ptr<win::BackvaultSink> sink_ = std::make_shared<win::BackvaultSink>();
    std::array<Ref<IBrowserHelper>, 5> helpers_;
};

}  // namespace

}  // namespace kxb::com

// The one export: a new factory for IBrowserHelperFactory, E_NOINTERFACE for
// any other identifier.
extern "C" HRESULT VANTREL_STDCALL GetInstance(const GUID& riid, void** obj) {
    if (!obj) return E_POINTER;
    *obj = nullptr;
    if (riid != vantrel::IidOf<IBrowserHelperFactory>()) return E_NOINTERFACE;
    return kxb::com::Guard([&] {
        IBrowserHelperFactory* factory = nullptr;
        kxb::com::Make<kxb::com::Factory>().CopyTo(&factory);
        *obj = factory;
        return S_OK;
    });
}
