// The public headers held against the binary contract: every interface's
// identifier, the position and exact signature of each operation (reserved
// slots included), the number of slots of each table, and the enumerations.
// A host in another language declares these from the contract alone; any
// drift here breaks it without breaking a C++ host built from our headers.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>

#include "HostSupport.h"

namespace hosttest {
namespace {

using vantrel::IidOf;

// The vtable slot of a virtual member function. GCC, MinGW included, follows
// the Itanium C++ ABI: a pointer to a virtual member holds one plus the byte
// offset of its slot.
template <class Member>
int SlotOf(Member member) {
    struct Representation {
        std::uintptr_t pointer;
        std::ptrdiff_t adjustment;
    };
    static_assert(sizeof(Member) == sizeof(Representation));
    Representation r;
    std::memcpy(&r, &member, sizeof r);
    EXPECT_EQ(r.pointer % sizeof(void*), 1u) << "not a virtual member";
    return static_cast<int>(r.pointer / sizeof(void*));
}

// The number of slots after IUnknown's three: where a virtual function added
// by a derived interface would land.
template <class I>
struct Extended : I {
    virtual void NextSlot() = 0;
};
template <class I>
int OperationCount() {
    return SlotOf(&Extended<I>::NextSlot) - 3;
}

// The slot of I::Name; does not compile unless I::Name has exactly the
// arguments Args.
#define OP(I, Name, Args) SlotOf(static_cast<HRESULT (STDMETHODCALLTYPE I::*) Args>(&I::Name))
#define RESERVED(I, n) OP(I, Reserved##n, ())

// The operations, given in contract order, sit in slots 3, 4, 5... and fill
// the table.
template <class I>
void ExpectTable(const char* name, std::initializer_list<int> slots) {
    int expected = 3;
    for (int slot : slots) {
        EXPECT_EQ(slot, expected) << name << " operation " << expected - 2;
        ++expected;
    }
    EXPECT_EQ(OperationCount<I>(), static_cast<int>(slots.size())) << name;
}

TEST(Contract, EngineInterfacesHaveTheirOperationsInContractOrder) {
    using std::int32_t;
    using std::int64_t;
    ExpectTable<IVTStringList>(
        "IVTStringList",
        {OP(IVTStringList, GetCount, (int32_t*)), OP(IVTStringList, GetString, (int32_t, BSTR*)),
         OP(IVTStringList, SetString, (int32_t, const wchar_t*)), OP(IVTStringList, GetValue, (int32_t, int32_t*)),
         OP(IVTStringList, SetValue, (int32_t, int32_t)), OP(IVTStringList, Add, (const wchar_t*, int32_t*)),
         OP(IVTStringList, Delete, (int32_t)), OP(IVTStringList, Clear, ()),
         OP(IVTStringList, IndexOf, (const wchar_t*, int32_t*))});
    ExpectTable<ICleaner>(
        "ICleaner",
        {OP(ICleaner, GetState, (TCleanerState*)), OP(ICleaner, GetTaskList, (IVTStringList**)),
         OP(ICleaner, GetStatistics, (ICleanerStatistics**)), OP(ICleaner, GetCategories, (ICategories**)),
         OP(ICleaner, GetOptions, (ICleanerOptions**)), OP(ICleaner, GetWipeDLL, (IDiskWipeHelper**)),
         OP(ICleaner, SetWipeDLL, (IDiskWipeHelper*)), OP(ICleaner, GetBackvault, (IBackvault**)),
         OP(ICleaner, SetBackvault, (IBackvault*)), OP(ICleaner, GetIgnoreList, (IIgnoreList**)),
         OP(ICleaner, StartScanning, (bool)), OP(ICleaner, StartCleaning, (bool)), OP(ICleaner, Pause, ()),
         OP(ICleaner, Resume, ()), OP(ICleaner, Abort, ()), OP(ICleaner, Reset, ()),
         OP(ICleaner, Localize, (IVTStringList*)), OP(ICleaner, SaveScanResults, (IStream*)),
         OP(ICleaner, LoadScanResults, (IStream*)), OP(ICleaner, SaveIgnoreLists, ()),
         OP(ICleaner, LoadIgnoreLists, ())});
    ExpectTable<ICleanerStatistics>(
        "ICleanerStatistics",
        {OP(ICleanerStatistics, GetTotalScannedItems, (int32_t*)),
         OP(ICleanerStatistics, GetTotalDetectedItems, (int32_t*)),
         OP(ICleanerStatistics, GetTotalRemovedItems, (int32_t*)),
         OP(ICleanerStatistics, GetTotalFailedItems, (int32_t*)), OP(ICleanerStatistics, GetCurrentItem, (BSTR*)),
         OP(ICleanerStatistics, GetCurrentCategory, (ICategory**)),
         OP(ICleanerStatistics, GetCategoryProgress, (double*)), OP(ICleanerStatistics, GetProgress, (double*))});
    ExpectTable<ICategories>("ICategories", {OP(ICategories, GetCount, (int32_t*)),
                                             OP(ICategories, GetItem, (int32_t, ICategory**)),
                                             OP(ICategories, GetItemByID, (int32_t, ICategory**))});
    ExpectTable<ICategory>(
        "ICategory",
        {OP(ICategory, GetCategoryType, (TCategoryType*)), OP(ICategory, GetId, (int32_t*)),
         OP(ICategory, GetName, (BSTR*)), OP(ICategory, GetDescription, (BSTR*)),
         OP(ICategory, IsDisabledByDefault, (bool*)), OP(ICategory, GetSeverityLevel, (TCategorySeverityLevel*)),
         OP(ICategory, GetWarningProcesses, (IVTStringList**)), OP(ICategory, GetIsScanned, (bool*)),
         OP(ICategory, GetIsCleaned, (bool*)), OP(ICategory, GetIgnoreList, (IIgnoreList**)),
         OP(ICategory, GetDetectedItems, (IDetectedItems**)), OP(ICategory, GetEnabled, (bool*)),
         OP(ICategory, SetEnabled, (bool))});
    ExpectTable<IDetectedItems>("IDetectedItems", {OP(IDetectedItems, GetTotalSize, (int64_t*)),
                                                   OP(IDetectedItems, GetCount, (int32_t*)),
                                                   OP(IDetectedItems, GetItem, (int32_t, IDetectedItem**)),
                                                   OP(IDetectedItems, Clear, ())});
    ExpectTable<IDetectedItem>(
        "IDetectedItem",
        {OP(IDetectedItem, GetItemName, (BSTR*)), OP(IDetectedItem, GetShortDescription, (BSTR*)),
         OP(IDetectedItem, GetLocationType, (TLocationType*)), OP(IDetectedItem, GetLocation, (BSTR*)),
         OP(IDetectedItem, GetItemFileSize, (int64_t*)), OP(IDetectedItem, GetRemoved, (bool*)),
         OP(IDetectedItem, GetWipeSize, (int64_t*)), OP(IDetectedItem, GetEnabled, (bool*)),
         OP(IDetectedItem, SetEnabled, (bool)), OP(IDetectedItem, IgnoreItem, ())});
    ExpectTable<ICleanerOptions>("ICleanerOptions", {OP(ICleanerOptions, GetMultiCleanHiberFile, (bool*)),
                                                     OP(ICleanerOptions, SetMultiCleanHiberFile, (bool))});
    ExpectTable<IIgnoreList>(
        "IIgnoreList",
        {OP(IIgnoreList, GetCount, (int32_t*)), OP(IIgnoreList, GetItem, (int32_t, BSTR*)),
         OP(IIgnoreList, GetItemLocation, (int32_t, BSTR*)), OP(IIgnoreList, SetItemLocation, (int32_t, const wchar_t*)),
         OP(IIgnoreList, GetItemMask, (int32_t, BSTR*)), OP(IIgnoreList, SetItemMask, (int32_t, const wchar_t*)),
         OP(IIgnoreList, GetLocationType, (int32_t, TLocationType*)), OP(IIgnoreList, Clear, ()),
         OP(IIgnoreList, Add, (const wchar_t*, const wchar_t*, int32_t*)), OP(IIgnoreList, Delete, (int32_t))});
    ExpectTable<IEnabledChange>("IEnabledChange",
                                {OP(IEnabledChange, GetOnDetectedItemChange, (TDetectedItemChange*))});
    ExpectTable<IVantrelReport>(
        "IVantrelReport",
        {OP(IVantrelReport, GetScanTime, (double*)), OP(IVantrelReport, GetCleanTime, (double*)),
         OP(IVantrelReport, GetFoundItems, (int32_t*)), OP(IVantrelReport, GetSelectedItems, (int32_t*)),
         OP(IVantrelReport, GetRemovedItems, (int32_t*)), OP(IVantrelReport, GetFailedToRemove, (int32_t*)),
         OP(IVantrelReport, GetIgnoredItems, (int32_t*)), OP(IVantrelReport, GetWipeSize, (int64_t*)),
         OP(IVantrelReport, Reset, ())});

    // A method pointer as a Delphi host lays it out: code, then its object.
    static_assert(sizeof(TDetectedItemChange) == 2 * sizeof(void*));
    static_assert(offsetof(TDetectedItemChange, Code) == 0 && offsetof(TDetectedItemChange, Data) == sizeof(void*));
}

TEST(Contract, SiblingInterfacesKeepTheirReservedSlots) {
    ExpectTable<IBackvault>(
        "IBackvault",
        {OP(IBackvault, GetRegistry, (IBackvaultRegistry**)), OP(IBackvault, GetFiles, (IBackvaultFiles**)),
         OP(IBackvault, BeginSession, (const wchar_t*, BSTR*)), OP(IBackvault, EndSession, ()),
         OP(IBackvault, GetCurrentSession, (BSTR*)), OP(IBackvault, GetDataFolder, (BSTR*)),
         OP(IBackvault, SetDataFolder, (const wchar_t*)), OP(IBackvault, GetSessionCount, (std::int32_t*)),
         OP(IBackvault, GetSessionId, (std::int32_t, BSTR*)),
         OP(IBackvault, GetSessionDescription, (const wchar_t*, BSTR*)),
         OP(IBackvault, GetSessionStartTime, (const wchar_t*, double*)),
         OP(IBackvault, GetSessionEndTime, (const wchar_t*, double*)),
         OP(IBackvault, GetSessionState, (const wchar_t*, TBackvaultSessionState*)),
         OP(IBackvault, GetSessionFileCount, (const wchar_t*, std::int32_t*)),
         OP(IBackvault, GetSessionRegistryCount, (const wchar_t*, std::int32_t*)),
         OP(IBackvault, GetSessionBytes, (const wchar_t*, std::int64_t*)),
         OP(IBackvault, GetSessionEntryCount, (const wchar_t*, std::int32_t*)),
         OP(IBackvault, GetSessionEntry, (const wchar_t*, std::int32_t, TBackvaultEntryKind*, BSTR*)),
         OP(IBackvault, RestoreSession, (const wchar_t*, std::int32_t*, std::int32_t*)),
         OP(IBackvault, GetRestoreReport, (BSTR*)), OP(IBackvault, DeleteSession, (const wchar_t*)),
         OP(IBackvault, GetSessionFolder, (const wchar_t*, BSTR*)),
         OP(IBackvault, DeleteSessionsBefore, (double, std::int32_t*)), RESERVED(IBackvault, 24),
         RESERVED(IBackvault, 25)});
    static_assert(sizeof(TBackvaultSessionState) == 1 && sizeof(TBackvaultEntryKind) == 1);
    ExpectTable<IBackvaultRegistry>(
        "IBackvaultRegistry",
        {OP(IBackvaultRegistry, CreateKey,
            (HKEY, const wchar_t*, DWORD, wchar_t*, DWORD, REGSAM, SECURITY_ATTRIBUTES*, HKEY*, DWORD*)),
         OP(IBackvaultRegistry, OpenKey, (HKEY, const wchar_t*, DWORD, REGSAM, HKEY*)),
         OP(IBackvaultRegistry, DeleteKey, (HKEY, const wchar_t*)), RESERVED(IBackvaultRegistry, 4),
         OP(IBackvaultRegistry, SetValue, (HKEY, const wchar_t*, DWORD, DWORD, const BYTE*, DWORD)),
         OP(IBackvaultRegistry, DeleteValue, (HKEY, const wchar_t*)), RESERVED(IBackvaultRegistry, 7),
         RESERVED(IBackvaultRegistry, 8), RESERVED(IBackvaultRegistry, 9), RESERVED(IBackvaultRegistry, 10),
         RESERVED(IBackvaultRegistry, 11), OP(IBackvaultRegistry, CloseKey, (HKEY))});
    // <windows.h> renames DeleteFile here exactly as in the header.
    ExpectTable<IBackvaultFiles>(
        "IBackvaultFiles",
        {RESERVED(IBackvaultFiles, 1), OP(IBackvaultFiles, DeleteFile, (const wchar_t*)),
         RESERVED(IBackvaultFiles, 3), RESERVED(IBackvaultFiles, 4), RESERVED(IBackvaultFiles, 5),
         RESERVED(IBackvaultFiles, 6), RESERVED(IBackvaultFiles, 7), OP(IBackvaultFiles, RemoveDir, (const wchar_t*)),
         OP(IBackvaultFiles, BackupFile, (const wchar_t*))});
    ExpectTable<IDiskWipeHelper>(
        "IDiskWipeHelper",
        {OP(IDiskWipeHelper, SetPassCount, (std::int32_t)), OP(IDiskWipeHelper, GetPassCount, (std::int32_t*)),
         RESERVED(IDiskWipeHelper, 3),
         RESERVED(IDiskWipeHelper, 4),  RESERVED(IDiskWipeHelper, 5),  RESERVED(IDiskWipeHelper, 6),
         RESERVED(IDiskWipeHelper, 7),  RESERVED(IDiskWipeHelper, 8),  RESERVED(IDiskWipeHelper, 9),
         RESERVED(IDiskWipeHelper, 10), RESERVED(IDiskWipeHelper, 11), RESERVED(IDiskWipeHelper, 12),
         RESERVED(IDiskWipeHelper, 13), RESERVED(IDiskWipeHelper, 14), RESERVED(IDiskWipeHelper, 15),
         RESERVED(IDiskWipeHelper, 16), RESERVED(IDiskWipeHelper, 17), RESERVED(IDiskWipeHelper, 18),
         RESERVED(IDiskWipeHelper, 19), RESERVED(IDiskWipeHelper, 20), RESERVED(IDiskWipeHelper, 21),
         RESERVED(IDiskWipeHelper, 22), RESERVED(IDiskWipeHelper, 23), RESERVED(IDiskWipeHelper, 24),
         RESERVED(IDiskWipeHelper, 25), RESERVED(IDiskWipeHelper, 26), RESERVED(IDiskWipeHelper, 27),
         RESERVED(IDiskWipeHelper, 28), RESERVED(IDiskWipeHelper, 29), RESERVED(IDiskWipeHelper, 30),
         OP(IDiskWipeHelper, WipeFile, (const wchar_t*, std::uint64_t*, bool*)), RESERVED(IDiskWipeHelper, 32)});
    ExpectTable<IProductHelper>("IProductHelper", {OP(IProductHelper, GetDataFolder, (BSTR*))});
}

std::wstring Text(const GUID& guid) {
    wchar_t text[40] = {};
    ::StringFromGUID2(guid, text, 40);
    return text;
}

TEST(Contract, InterfaceIdentifiersAreTheContractsOwn) {
    const std::pair<GUID, const wchar_t*> ids[] = {
        {IidOf<IVTStringList>(), L"{786B8E1A-BD20-4275-8FC9-74AAEDC1F074}"},
        {IidOf<ICleaner>(), L"{D8AEA42F-9F3B-45B7-A90A-F5BA82A87F58}"},
        {IidOf<ICleanerStatistics>(), L"{C879C551-BCD0-4372-A42D-A328205AAE4F}"},
        {IidOf<ICategories>(), L"{971FBD44-1A30-4370-BCFA-B86ADE62940E}"},
        {IidOf<ICategory>(), L"{1CD8EA46-82BE-4A34-8D21-0911E90C6441}"},
        {IidOf<IDetectedItems>(), L"{BC754B5E-904C-4840-99EC-AF9ED07F6AD0}"},
        {IidOf<IDetectedItem>(), L"{F82FF095-71DD-4BD1-902D-75CEB59F55EA}"},
        {IidOf<ICleanerOptions>(), L"{E6FB9EF3-CCB1-4891-BB6D-65B89EC24EC5}"},
        {IidOf<IIgnoreList>(), L"{FA5D5DA1-5E0C-4DAF-93D7-2FAF30A137B2}"},
        {IidOf<IEnabledChange>(), L"{C1459B92-0BDB-419C-AEB7-157FC43E17E9}"},
        {IidOf<IVantrelReport>(), L"{846DDF9C-FDF2-48F0-9869-0B9321FBE5A7}"},
        {IidOf<IBackvault>(), L"{5C2990D5-37CD-4FE8-8EC4-A23723A7D4F1}"},
        {IidOf<IBackvaultRegistry>(), L"{85C2AA9B-C0BD-4923-84E4-6C6B6179712A}"},
        {IidOf<IBackvaultFiles>(), L"{A781DD14-7EE7-4081-857A-747080E4F28A}"},
        {IidOf<IDiskWipeHelper>(), L"{3FE0B8D8-C078-439F-AFB3-7506D293BDDA}"},
        {IidOf<IProductHelper>(), L"{4E9950B8-46CD-45C4-B69A-EAA3B8A41201}"},
    };
    for (const auto& [iid, text] : ids) EXPECT_EQ(Text(iid), text);
    // __uuidof, which MinGW hosts may use instead, names the same identifiers.
    EXPECT_EQ(Text(__uuidof(ICleaner)), Text(IidOf<ICleaner>()));
    EXPECT_EQ(Text(__uuidof(IDiskWipeHelper)), Text(IidOf<IDiskWipeHelper>()));
}

TEST(Contract, EnumerationsKeepTheirOrdinals) {
    const TCategoryType categories[] = {
        ID_RECENT_DOCS,           ID_RUN_MRU,                ID_OTHER_MRU,           ID_NETWORK_DRIVES_MRU,
        ID_FIND_COMPUTER_HISTORY, ID_JUMP_LISTS_RECENT,      ID_JUMP_LISTS_FREQUENT, ID_DUMP_FILES,
        ID_CHKDKS_FILES,          ID_INDEXED_FILES,          ID_PRINTER_RECENT_FILES, ID_CD_BURNING_FOLDER,
        ID_HIBERNATE_FILE,        ID_STORED_APP_DESCRIPTION, ID_WINDOWS_EVENTS_LOGS, ID_WINDOWS_FIREWALL_LOGS,
        ID_WIN_DEBUG_HISTORY,     ID_START_MENU_CLICKS,      ID_MFU_PROGRAMS,        ID_CLIPBOARD,
        ID_UNREAD_MAIL_COUNT,     ID_IE_VISITED_HISTORY,     ID_IE_COOKIES,          ID_IE_TYPED_HISTORY,
        ID_IE_FORMS,              ID_IE_SESSIONS,            ID_IE_DOWNLOADS,        ID_IE_PASSWORDS,
        ID_FIREFOX_VISITED_HISTORY, ID_FIREFOX_COOKIES,      ID_FIREFOX_TYPED_HISTORY, ID_FIREFOX_FORMS,
        ID_FIREFOX_SEARCHES,      ID_FIREFOX_SESSIONS,       ID_FIREFOX_DOWNLOADS,   ID_FIREFOX_PASSWORDS,
        ID_CHROME_VISITED_HISTORY, ID_CHROME_COOKIES,        ID_CHROME_FORMS,        ID_CHROME_SEARCHES,
        ID_CHROME_SESSIONS,       ID_CHROME_DONWLOADS,       ID_CHROME_PASSWORDS,    ID_SAFARI_VISITED_HISTORY,
        ID_SAFARI_COOKIES,        ID_SAFARI_FORMS,           ID_SAFARI_TYPED_HISTORY, ID_SAFARI_SEARCHES,
        ID_SAFARI_SESSIONS,       ID_SAFARI_DOWNLOADS,       ID_SAFARI_PASSWORDS,    ID_OPERA_VISITED_HISTORY,
        ID_OPERA_COOKIES,         ID_OPERA_TYPED_HISTORY,    ID_OPERA_FORMS,         ID_OPERA_SEARCHES,
        ID_OPERA_SESSIONS,        ID_OPERA_DOWNLOADS,        ID_OPERA_PASSWORDS,     ID_APPLICATION,
    };
    static_assert(std::size(categories) == 60);
    for (std::size_t i = 0; i < std::size(categories); ++i) EXPECT_EQ(categories[i], i) << "identifier " << i;

    const TCleanerState states[] = {csReady, csScanning, csScanPause, csScanned, csCleaning, csCleanPause, csCleaned};
    for (std::size_t i = 0; i < std::size(states); ++i) EXPECT_EQ(states[i], i) << "state " << i;
    const int others[][2] = {{cslLow, 0}, {cslMedium, 1}, {cslHigh, 2}, {ltUnknown, 0}, {ltFile, 1}, {ltRegistry, 2}};
    for (const auto& [value, ordinal] : others) EXPECT_EQ(value, ordinal);
}

}  // namespace
}  // namespace hosttest
