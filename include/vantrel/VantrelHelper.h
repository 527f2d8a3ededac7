// Public interface of VantrelHelper.dll: the export, the enumerations that
// cross the boundary and every interface the engine implements, with its GUID
// and its operations in slot order.
//
// Every operation returns an HRESULT; a value comes back through the last
// pointer argument. On failure the message is available through
// GetErrorInfo. Strings coming out are BSTRs the caller frees with
// SysFreeString; strings going in are const wchar_t* (null is the empty
// string). Interfaces coming out carry one reference for the caller and stay
// usable only while the engine that handed them out lives.
#pragma once

#include "vantrel/ComTypes.h"

// ---------------------------------------------------------------------------
// Enumerations (one byte each, ordinals from 0)

enum TCleanerState : std::uint8_t {
    csReady,
    csScanning,
    csScanPause,
    csScanned,
    csCleaning,
    csCleanPause,
    csCleaned
};

enum TCategorySeverityLevel : std::uint8_t { cslLow, cslMedium, cslHigh };

enum TLocationType : std::uint8_t { ltUnknown, ltFile, ltRegistry };

// The category identifiers. ID_CHKDKS_FILES and ID_CHROME_DONWLOADS are
// spelled so on purpose: hosts compile against these names.
enum TCategoryType : std::uint8_t {
    ID_RECENT_DOCS,
    ID_RUN_MRU,
    ID_OTHER_MRU,
    ID_NETWORK_DRIVES_MRU,
    ID_FIND_COMPUTER_HISTORY,
    ID_JUMP_LISTS_RECENT,
    ID_JUMP_LISTS_FREQUENT,
    ID_DUMP_FILES,
    ID_CHKDKS_FILES,
    ID_INDEXED_FILES,
    ID_PRINTER_RECENT_FILES,
    ID_CD_BURNING_FOLDER,
    ID_HIBERNATE_FILE,
    ID_STORED_APP_DESCRIPTION,
    ID_WINDOWS_EVENTS_LOGS,
    ID_WINDOWS_FIREWALL_LOGS,
    ID_WIN_DEBUG_HISTORY,
    ID_START_MENU_CLICKS,
    ID_MFU_PROGRAMS,
    ID_CLIPBOARD,
    ID_UNREAD_MAIL_COUNT,
    ID_IE_VISITED_HISTORY,
    ID_IE_COOKIES,
    ID_IE_TYPED_HISTORY,
    ID_IE_FORMS,
    ID_IE_SESSIONS,
    ID_IE_DOWNLOADS,
    ID_IE_PASSWORDS,
    ID_FIREFOX_VISITED_HISTORY,
    ID_FIREFOX_COOKIES,
    ID_FIREFOX_TYPED_HISTORY,
    ID_FIREFOX_FORMS,
    ID_FIREFOX_SEARCHES,
    ID_FIREFOX_SESSIONS,
    ID_FIREFOX_DOWNLOADS,
    ID_FIREFOX_PASSWORDS,
    ID_CHROME_VISITED_HISTORY,
    ID_CHROME_COOKIES,
    ID_CHROME_FORMS,
    ID_CHROME_SEARCHES,
    ID_CHROME_SESSIONS,
    ID_CHROME_DONWLOADS,
    ID_CHROME_PASSWORDS,
    ID_SAFARI_VISITED_HISTORY,
    ID_SAFARI_COOKIES,
    ID_SAFARI_FORMS,
    ID_SAFARI_TYPED_HISTORY,
    ID_SAFARI_SEARCHES,
    ID_SAFARI_SESSIONS,
    ID_SAFARI_DOWNLOADS,
    ID_SAFARI_PASSWORDS,
    ID_OPERA_VISITED_HISTORY,
    ID_OPERA_COOKIES,
    ID_OPERA_TYPED_HISTORY,
    ID_OPERA_FORMS,
    ID_OPERA_SEARCHES,
    ID_OPERA_SESSIONS,
    ID_OPERA_DOWNLOADS,
    ID_OPERA_PASSWORDS,
    ID_APPLICATION
};

// The contract passes booleans and enumerations as one byte each; a compiler
// that disagrees must not build a host or the engine.
static_assert(sizeof(bool) == 1, "booleans cross the boundary as one byte");
static_assert(sizeof(TCleanerState) == 1 && sizeof(TCategorySeverityLevel) == 1 && sizeof(TLocationType) == 1 &&
                  sizeof(TCategoryType) == 1,
              "enumerations cross the boundary as one byte");
static_assert(ID_APPLICATION == 59, "60 category identifiers, ID_RECENT_DOCS = 0");

// ---------------------------------------------------------------------------
// Interfaces the engine implements

struct ICategory;
struct ICleanerStatistics;
struct ICategories;
struct ICleanerOptions;
struct IIgnoreList;
struct IDetectedItems;
struct IDetectedItem;
struct IBackvault;
struct IDiskWipeHelper;

// A string list: each entry is a string and an integer (its object slot).
// The task list and warning-process lists are live views of the engine's own
// lists; hosts implement it themselves to pass name=value lines to Localize.
struct IVTStringList : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetString(std::int32_t index, BSTR* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetString(std::int32_t index, const wchar_t* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetValue(std::int32_t index, std::int32_t* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetValue(std::int32_t index, std::int32_t value) = 0;
    virtual HRESULT STDMETHODCALLTYPE Add(const wchar_t* value, std::int32_t* index) = 0;
    virtual HRESULT STDMETHODCALLTYPE Delete(std::int32_t index) = 0;
    virtual HRESULT STDMETHODCALLTYPE Clear() = 0;
    // -1 when absent.
    virtual HRESULT STDMETHODCALLTYPE IndexOf(const wchar_t* value, std::int32_t* index) = 0;
};

struct ICleaner : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetState(TCleanerState* state) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTaskList(IVTStringList** list) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStatistics(ICleanerStatistics** statistics) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCategories(ICategories** categories) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOptions(ICleanerOptions** options) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetWipeDLL(IDiskWipeHelper** wipeHelper) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetWipeDLL(IDiskWipeHelper* wipeHelper) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBackvault(IBackvault** backvault) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetBackvault(IBackvault* backvault) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIgnoreList(IIgnoreList** ignoreList) = 0;
    virtual HRESULT STDMETHODCALLTYPE StartScanning(bool smoothProgress) = 0;
    virtual HRESULT STDMETHODCALLTYPE StartCleaning(bool smoothProgress) = 0;
    virtual HRESULT STDMETHODCALLTYPE Pause() = 0;
    virtual HRESULT STDMETHODCALLTYPE Resume() = 0;
    virtual HRESULT STDMETHODCALLTYPE Abort() = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Localize(IVTStringList* strings) = 0;
    virtual HRESULT STDMETHODCALLTYPE SaveScanResults(IStream* stream) = 0;
    virtual HRESULT STDMETHODCALLTYPE LoadScanResults(IStream* stream) = 0;
    virtual HRESULT STDMETHODCALLTYPE SaveIgnoreLists() = 0;
    virtual HRESULT STDMETHODCALLTYPE LoadIgnoreLists() = 0;
};

struct ICleanerStatistics : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTotalScannedItems(std::int32_t* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTotalDetectedItems(std::int32_t* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTotalRemovedItems(std::int32_t* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTotalFailedItems(std::int32_t* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentItem(BSTR* name) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentCategory(ICategory** category) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCategoryProgress(double* percent) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetProgress(double* percent) = 0;
};

struct ICategories : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) = 0;
    // Outside 0..Count-1: E_BOUNDS, "List index out of bounds (N)".
    virtual HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, ICategory** category) = 0;
    // S_OK with null when no category has that identifier.
    virtual HRESULT STDMETHODCALLTYPE GetItemByID(std::int32_t id, ICategory** category) = 0;
};

struct ICategory : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCategoryType(TCategoryType* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetId(std::int32_t* id) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetName(BSTR* name) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsDisabledByDefault(bool* disabled) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSeverityLevel(TCategorySeverityLevel* level) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetWarningProcesses(IVTStringList** processes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIsScanned(bool* scanned) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIsCleaned(bool* cleaned) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIgnoreList(IIgnoreList** ignoreList) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDetectedItems(IDetectedItems** items) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetEnabled(bool* enabled) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetEnabled(bool enabled) = 0;
};

struct IDetectedItems : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTotalSize(std::int64_t* size) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) = 0;
    // Out of range: S_OK with null (unlike ICategories::GetItem, on purpose).
    virtual HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, IDetectedItem** item) = 0;
    virtual HRESULT STDMETHODCALLTYPE Clear() = 0;
};

struct IDetectedItem : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetItemName(BSTR* name) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetShortDescription(BSTR* description) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLocationType(TLocationType* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLocation(BSTR* location) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemFileSize(std::int64_t* size) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRemoved(bool* removed) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetWipeSize(std::int64_t* size) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetEnabled(bool* enabled) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetEnabled(bool enabled) = 0;
    virtual HRESULT STDMETHODCALLTYPE IgnoreItem() = 0;
};

struct ICleanerOptions : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetMultiCleanHiberFile(bool* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetMultiCleanHiberFile(bool value) = 0;
};

struct IIgnoreList : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, BSTR* line) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemLocation(std::int32_t index, BSTR* location) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetItemLocation(std::int32_t index, const wchar_t* location) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemMask(std::int32_t index, BSTR* mask) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetItemMask(std::int32_t index, const wchar_t* mask) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLocationType(std::int32_t index, TLocationType* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE Clear() = 0;
    virtual HRESULT STDMETHODCALLTYPE Add(const wchar_t* location, const wchar_t* mask,
                                          std::int32_t* index) = 0;
    virtual HRESULT STDMETHODCALLTYPE Delete(std::int32_t index) = 0;
};

// A method pointer: the handler a detected item calls on its category when its
// check mark changes. Code is null when no handler is attached.
struct TDetectedItemChange {
    void(VANTREL_STDCALL* Code)(void* Data, IDetectedItem* item);
    void* Data;
};

struct IEnabledChange : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetOnDetectedItemChange(TDetectedItemChange* handler) = 0;
};

struct IVantrelReport : IUnknown {
    // OLE dates: whole seconds as a fraction of a day.
    virtual HRESULT STDMETHODCALLTYPE GetScanTime(double* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCleanTime(double* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFoundItems(std::int32_t* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSelectedItems(std::int32_t* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRemovedItems(std::int32_t* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFailedToRemove(std::int32_t* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIgnoredItems(std::int32_t* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetWipeSize(std::int64_t* size) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
};

VANTREL_INTERFACE_ID(IVTStringList, 0x786B8E1A, 0xBD20, 0x4275, 0x8F, 0xC9, 0x74, 0xAA, 0xED, 0xC1, 0xF0, 0x74)
VANTREL_INTERFACE_ID(ICleaner, 0xD8AEA42F, 0x9F3B, 0x45B7, 0xA9, 0x0A, 0xF5, 0xBA, 0x82, 0xA8, 0x7F, 0x58)
VANTREL_INTERFACE_ID(ICleanerStatistics, 0xC879C551, 0xBCD0, 0x4372, 0xA4, 0x2D, 0xA3, 0x28, 0x20, 0x5A, 0xAE, 0x4F)
VANTREL_INTERFACE_ID(ICategories, 0x971FBD44, 0x1A30, 0x4370, 0xBC, 0xFA, 0xB8, 0x6A, 0xDE, 0x62, 0x94, 0x0E)
VANTREL_INTERFACE_ID(ICategory, 0x1CD8EA46, 0x82BE, 0x4A34, 0x8D, 0x21, 0x09, 0x11, 0xE9, 0x0C, 0x64, 0x41)
VANTREL_INTERFACE_ID(IDetectedItems, 0xBC754B5E, 0x904C, 0x4840, 0x99, 0xEC, 0xAF, 0x9E, 0xD0, 0x7F, 0x6A, 0xD0)
VANTREL_INTERFACE_ID(IDetectedItem, 0xF82FF095, 0x71DD, 0x4BD1, 0x90, 0x2D, 0x75, 0xCE, 0xB5, 0x9F, 0x55, 0xEA)
VANTREL_INTERFACE_ID(ICleanerOptions, 0xE6FB9EF3, 0xCCB1, 0x4891, 0xBB, 0x6D, 0x65, 0xB8, 0x9E, 0xC2, 0x4E, 0xC5)
VANTREL_INTERFACE_ID(IIgnoreList, 0xFA5D5DA1, 0x5E0C, 0x4DAF, 0x93, 0xD7, 0x2F, 0xAF, 0x30, 0xA1, 0x37, 0xB2)
VANTREL_INTERFACE_ID(IEnabledChange, 0xC1459B92, 0x0BDB, 0x419C, 0xAE, 0xB7, 0x15, 0x7F, 0xC4, 0x3E, 0x17, 0xE9)
VANTREL_INTERFACE_ID(IVantrelReport, 0x846DDF9C, 0xFDF2, 0x48F0, 0x98, 0x69, 0x0B, 0x93, 0x21, 0xFB, 0xE5, 0xA7)

// ---------------------------------------------------------------------------
// The export: only ICleaner is served; each call creates a new engine.
// *obj is null first. S_OK; E_NOINTERFACE for any other identifier; E_POINTER
// when no engine could be created; E_NOTIMPL when it does not yield riid.

extern "C" {
HRESULT VANTREL_STDCALL GetInstance(const GUID& riid, void** obj);

using VantrelGetInstanceFn = HRESULT(VANTREL_STDCALL*)(const GUID& riid, void** obj);
}

#include "vantrel/Siblings.h"
