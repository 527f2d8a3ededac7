// Interfaces of the browser-data library "KxBrowsers.dll", shared by the
// engine (its only client) and the library itself.
//
// The library exports GetInstance (same shape as VantrelHelper.dll's) and
// serves IBrowserHelperFactory. The factory hands out one IBrowserHelper per
// browser; a helper hands out one element list per data kind; a list loads the
// kind's elements (Enumerate), hands out each as an item object (GetItem) and
// deletes them one by one or as a whole store, inside a removal session.
//
// Every operation returns an HRESULT and yields its value through the last
// pointer argument; strings coming out are BSTRs the caller frees. A failure
// carries its message through GetErrorInfo. Slots the engine never calls are
// still real slots: they are declared below with the meaning this library
// gives them (or as Reserved<N>, answering E_NOTIMPL).
#pragma once

#include "vantrel/ComTypes.h"
#include "vantrel/Siblings.h"

struct IBrowserHelper;
struct IBrowserElements;

// ---------------------------------------------------------------------------
// Enumeration callback: a plain struct of a function pointer and its context
// (a method pointer). The library calls
//   Code(Data, status, loaded, storeIndex, storeCount, &stop)
// on the thread that called Enumerate, while it loads:
//   status 0: loading goes on, more elements may follow;
//   status 1: loading is complete;
//   status 2 or more: nothing is to be taken from this call (a store could not
//   be read; loading goes on with the next one).
// The three values after the status are informative only: the number of
// elements loaded so far, the 0-based store just read and the number of
// stores (a store is one profile's file of the data kind; at status 1 the
// index equals the count). Setting *stop to true ends the enumeration at once.
struct TBrowserEnumCallback {
    void(VANTREL_STDCALL* Code)(void* Data, std::uint8_t status, std::int32_t loaded,
                                std::int32_t storeIndex, std::int32_t storeCount, bool* stop);
    void* Data;
};

// Enumeration statuses.
constexpr std::uint8_t kBrowserEnumContinue = 0;
constexpr std::uint8_t kBrowserEnumComplete = 1;
constexpr std::uint8_t kBrowserEnumNothing = 2;

// Removal modes of an element list.
constexpr std::uint8_t kBrowserRemoveNothing = 0;
constexpr std::uint8_t kBrowserRemoveWholeStore = 1;
constexpr std::uint8_t kBrowserRemoveByElement = 2;

#define VANTREL_RESERVED_SLOT(n) virtual HRESULT STDMETHODCALLTYPE Reserved##n() = 0

// ---------------------------------------------------------------------------
// Root object of the library.
struct IBrowserHelperFactory : IUnknown {
    // 1-5: the helper of one browser. Always a helper (S_OK and non-null);
    // a browser that is absent answers IsInstalled False.
    virtual HRESULT STDMETHODCALLTYPE GetInternetExplorerHelper(IBrowserHelper** helper) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFirefoxHelper(IBrowserHelper** helper) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOperaHelper(IBrowserHelper** helper) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSafariHelper(IBrowserHelper** helper) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetChromeHelper(IBrowserHelper** helper) = 0;
    // 6, 7: not used.
    VANTREL_RESERVED_SLOT(6);
    VANTREL_RESERVED_SLOT(7);
    // 8: the backup service every deletion goes through (null: delete directly).
    // May be called many times with the same service.
    virtual HRESULT STDMETHODCALLTYPE SetBackvault(IBackvault* service) = 0;
};

// ---------------------------------------------------------------------------
// Removal session: brackets one removal run over one element list. Writes
// made between the two calls share one transaction per database, and each
// file is handed to the backup service once per session.
struct IBrowserRemovalSession : IUnknown {
    // Non-zero: removal may go ahead. Zero when the data is locked.
    virtual HRESULT STDMETHODCALLTYPE BeginRemove(std::int32_t* go) = 0;
    // Commits what the session wrote and ends it.
    virtual HRESULT STDMETHODCALLTYPE EndRemove() = 0;
};

// The list of values of a form entry or a password entry.
struct IBrowserValues : IUnknown {
    // 1: value at index (0-based); out of range: E_BOUNDS.
    virtual HRESULT STDMETHODCALLTYPE GetValue(std::int32_t index, BSTR* value) = 0;
    // 2: the name of the value at index (the form field it belongs to).
    virtual HRESULT STDMETHODCALLTYPE GetValueName(std::int32_t index, BSTR* name) = 0;
    // 3: number of values.
    virtual HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) = 0;
};

// ---------------------------------------------------------------------------
// Element items, one interface per data kind. Texts are empty when the store
// keeps nothing for them; times are "yyyy-mm-dd hh:nn:ss" texts in UTC.

struct IBrowserHistoryItem : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetLastVisited(BSTR* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTitle(BSTR* title) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetUrl(BSTR* url) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVisitCount(BSTR* count) = 0;
};

struct IBrowserCookieItem : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetExpires(BSTR* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHost(BSTR* host) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPath(BSTR* path) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetName(BSTR* name) = 0;
};

struct IBrowserTypedItem : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetLastTyped(BSTR* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAddress(BSTR* address) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTitle(BSTR* title) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypedCount(BSTR* count) = 0;
};

struct IBrowserFormItem : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetLastUsed(BSTR* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFieldName(BSTR* name) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetValues(IBrowserValues** values) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetUseCount(BSTR* count) = 0;
};

// The stored password itself is never read out: the values are user names
// with the form field each belongs to as the value's name. A browser that
// keeps user names encrypted (Firefox) gives the field's name and an empty value.
struct IBrowserPasswordItem : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCreated(BSTR* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSite(BSTR* site) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetValues(IBrowserValues** values) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFormAction(BSTR* action) = 0;
};

struct IBrowserSearchItem : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetLastUsed(BSTR* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSearchText(BSTR* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetUrl(BSTR* url) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetUseCount(BSTR* count) = 0;
};

struct IBrowserSessionItem : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetLastWritten(BSTR* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSessionText(BSTR* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTitle(BSTR* title) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFile(BSTR* file) = 0;
};

struct IBrowserDownloadItem : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetFile(BSTR* file) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSource(BSTR* url) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetEndTime(BSTR* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetReferrer(BSTR* url) = 0;
};

// ---------------------------------------------------------------------------
// The elements of one data kind of one browser. Indexes are 0-based positions
// in the loaded list; deleting an element moves the later ones down by one.
struct IBrowserElements : IUnknown {
    // 1: loads the elements of every profile, calling back while it does so.
    // Elements already loaded are dropped first. Fails (with the message) only
    // on misuse; an unreadable store is reported through status 2.
    virtual HRESULT STDMETHODCALLTYPE Enumerate(TBrowserEnumCallback callback) = 0;
    // 2: forgets the loaded elements.
    virtual HRESULT STDMETHODCALLTYPE Clear() = 0;
    // 3: number of elements loaded.
    virtual HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) = 0;
    // 4: the file that holds the element at index.
    virtual HRESULT STDMETHODCALLTYPE GetElementStore(std::int32_t index, BSTR* file) = 0;
    // 5: deletes the element at index; *deleted false when it could not be
    // (the store then is unchanged). Out of range: false.
    virtual HRESULT STDMETHODCALLTYPE DeleteElement(std::int32_t index, bool* deleted) = 0;
    // 6: deletes the kind's whole store in every profile.
    virtual HRESULT STDMETHODCALLTYPE DeleteAll(bool* deleted) = 0;
    // 7: kBrowserRemoveWholeStore, kBrowserRemoveByElement or
    // kBrowserRemoveNothing.
    virtual HRESULT STDMETHODCALLTYPE GetRemovalMode(std::uint8_t* mode) = 0;
    // 8: the message of the last failure of this list (empty when none).
    virtual HRESULT STDMETHODCALLTYPE GetLastError(BSTR* message) = 0;
    // 9: the session that brackets a removal run over this list.
    virtual HRESULT STDMETHODCALLTYPE GetSession(IBrowserRemovalSession** session) = 0;
};

// 10: each data kind's list adds GetItem (out of range: E_BOUNDS).
struct IBrowserVisitedHistory : IBrowserElements {
    virtual HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, IBrowserHistoryItem** item) = 0;
};
struct IBrowserCookies : IBrowserElements {
    virtual HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, IBrowserCookieItem** item) = 0;
};
struct IBrowserTypedHistory : IBrowserElements {
    virtual HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, IBrowserTypedItem** item) = 0;
};
struct IBrowserForms : IBrowserElements {
    virtual HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, IBrowserFormItem** item) = 0;
};
struct IBrowserPasswords : IBrowserElements {
    virtual HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, IBrowserPasswordItem** item) = 0;
};
struct IBrowserSearches : IBrowserElements {
    virtual HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, IBrowserSearchItem** item) = 0;
};
struct IBrowserSessions : IBrowserElements {
    virtual HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, IBrowserSessionItem** item) = 0;
};
struct IBrowserDownloads : IBrowserElements {
    virtual HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, IBrowserDownloadItem** item) = 0;
};

// ---------------------------------------------------------------------------
// One browser. A data kind the browser does not keep answers S_OK with a null
// list and an empty store root.
struct IBrowserHelper : IUnknown {
    // 1-3: element lists.
    virtual HRESULT STDMETHODCALLTYPE GetCookies(IBrowserCookies** elements) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypedHistory(IBrowserTypedHistory** elements) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVisitedHistory(IBrowserVisitedHistory** elements) = 0;
    // 4-6: not used.
    VANTREL_RESERVED_SLOT(4);
    VANTREL_RESERVED_SLOT(5);
    VANTREL_RESERVED_SLOT(6);
    // 7-11: element lists.
    virtual HRESULT STDMETHODCALLTYPE GetForms(IBrowserForms** elements) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPasswords(IBrowserPasswords** elements) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSearches(IBrowserSearches** elements) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSessions(IBrowserSessions** elements) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDownloads(IBrowserDownloads** elements) = 0;
    // 12-16: installation facts.
    virtual HRESULT STDMETHODCALLTYPE GetDisplayName(BSTR* name) = 0;
    // "major.minor", possibly followed by a blank and more text; empty when unknown.
    virtual HRESULT STDMETHODCALLTYPE GetVersion(BSTR* version) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsInstalled(bool* installed) = 0;
    // True while the browser runs or one of its databases is locked; the
    // lists then read and write nothing.
    virtual HRESULT STDMETHODCALLTYPE IsDataLocked(bool* locked) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetExePath(BSTR* path) = 0;
    // 17, 18: store roots (a folder, a full file path, or "REGISTRY:\" and a key).
    virtual HRESULT STDMETHODCALLTYPE GetCookiesRoot(BSTR* root) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVisitedHistoryRoot(BSTR* root) = 0;
    // 19, 20: not used.
    VANTREL_RESERVED_SLOT(19);
    VANTREL_RESERVED_SLOT(20);
    // 21-26: store roots.
    virtual HRESULT STDMETHODCALLTYPE GetFormsRoot(BSTR* root) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPasswordsRoot(BSTR* root) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSearchesRoot(BSTR* root) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSessionsRoot(BSTR* root) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDownloadsRoot(BSTR* root) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypedHistoryRoot(BSTR* root) = 0;
};

#undef VANTREL_RESERVED_SLOT

// The library's identifier for its factory, and the browsers' identifiers
// that select a helper.
VANTREL_INTERFACE_ID(IBrowserHelperFactory, 0x02D87E64, 0xD542, 0x4599, 0xBB, 0xC5, 0x28, 0x93, 0x67, 0xEA, 0xAF, 0x7B)
VANTREL_INTERFACE_ID(IBrowserHelper, 0x44FE6947, 0xACA0, 0x4B92, 0x91, 0xC4, 0xCC, 0xA7, 0x0F, 0xEA, 0x30, 0xCF)
VANTREL_INTERFACE_ID(IBrowserElements, 0x8D5A2B16, 0x2E10, 0x463E, 0x8F, 0x0F, 0x10, 0xC0, 0xAB, 0x55, 0xB7, 0xD0)

namespace vantrel {
constexpr GUID kInternetExplorerGuid = {0x71391A02, 0x062A, 0x4ADA, {0xBE, 0x47, 0x30, 0xD7, 0xB1, 0x28, 0xC1, 0xF9}};
constexpr GUID kFirefoxGuid = {0x43FF3D1F, 0xDF35, 0x4573, {0xA9, 0xEC, 0x70, 0x53, 0x1E, 0x7B, 0xB9, 0x97}};
constexpr GUID kOperaGuid = {0x1C0AFFD0, 0x073B, 0x46D1, {0xB1, 0xB9, 0x7F, 0xE8, 0x7B, 0xBC, 0xAC, 0x88}};
constexpr GUID kSafariGuid = {0xD468D4E1, 0x0763, 0x4118, {0x8B, 0x11, 0xBB, 0xB6, 0x51, 0x81, 0x1B, 0xB8}};
constexpr GUID kChromeGuid = {0x424FFC13, 0x415A, 0x40C3, {0x9E, 0xD4, 0xD9, 0x35, 0x09, 0xFE, 0x63, 0xE4}};
}  // namespace vantrel

// The export of "KxBrowsers.dll": only IBrowserHelperFactory is served; *obj
// is null first; any other identifier answers E_NOINTERFACE.
extern "C" {
using KxBrowsersGetInstanceFn = HRESULT(VANTREL_STDCALL*)(const GUID& riid, void** obj);
}
