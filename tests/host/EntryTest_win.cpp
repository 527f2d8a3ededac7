// The export and the engine's first interfaces, seen from a host.
#include <cstring>
#include <iterator>
#include <string>

#include "HostSupport.h"

namespace hosttest {
namespace {

using vantrel::client::Check;

constexpr GUID kSomeOtherGuid = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};

TEST(Entry, ServesOnlyICleanerAndNullsTheResultFirst) {
    const GUID refused[] = {vantrel::IidOf<IUnknown>(), vantrel::IidOf<ICleanerStatistics>(),
                            vantrel::IidOf<ICategories>(), vantrel::IidOf<IVantrelReport>(), kSomeOtherGuid};
    for (const GUID& iid : refused) {
        void* obj = reinterpret_cast<void*>(0x1234);
        EXPECT_EQ(Dll().Entry()(iid, &obj), E_NOINTERFACE);
        EXPECT_EQ(obj, nullptr);
    }
    EXPECT_EQ(Dll().Entry()(vantrel::IidOf<ICleaner>(), nullptr), E_POINTER);

    void* obj = reinterpret_cast<void*>(0x1234);
    ASSERT_EQ(Dll().Entry()(vantrel::IidOf<ICleaner>(), &obj), S_OK);
    ASSERT_NE(obj, nullptr);
    static_cast<ICleaner*>(obj)->Release();
}

TEST(Entry, EachCallCreatesAnIndependentEngine) {
    Ptr<ICleaner> a = Dll().CreateCleaner();
    Ptr<ICleaner> b = Dll().CreateCleaner();
    ASSERT_NE(a.Get(), b.Get());

    Ptr<ICleanerOptions> optionsA, optionsB;
    Check(a->GetOptions(optionsA.Put()));
    Check(b->GetOptions(optionsB.Put()));
    ASSERT_NE(optionsA.Get(), optionsB.Get());
    Check(optionsA->SetMultiCleanHiberFile(true));
    bool valueA = false, valueB = true;
    Check(optionsA->GetMultiCleanHiberFile(&valueA));
    Check(optionsB->GetMultiCleanHiberFile(&valueB));
    EXPECT_TRUE(valueA);
    EXPECT_FALSE(valueB);
}

TEST(Entry, EngineAnswersItsInterfacesWithOneIdentity) {
    Ptr<ICleaner> cleaner = Dll().CreateCleaner();
    Ptr<ICleanerStatistics> statistics = cleaner.As<ICleanerStatistics>();
    ASSERT_TRUE(statistics);
    Ptr<IUnknown> fromCleaner = cleaner.As<IUnknown>();
    Ptr<IUnknown> fromStatistics = statistics.As<IUnknown>();
    EXPECT_EQ(fromCleaner.Get(), fromStatistics.Get());

    Ptr<ICleanerStatistics> viaGetter;
    Check(cleaner->GetStatistics(viaGetter.Put()));
    EXPECT_EQ(viaGetter.As<IUnknown>().Get(), fromCleaner.Get());

    Ptr<ISupportErrorInfo> errorInfo = cleaner.As<ISupportErrorInfo>();
    ASSERT_TRUE(errorInfo);
    EXPECT_EQ(errorInfo->InterfaceSupportsErrorInfo(vantrel::IidOf<ICleaner>()), S_OK);
    EXPECT_FALSE(cleaner.As<ICategories>());
}

// Slots are reached by position, as a host declared against the contract
// alone would call them; each call is checked by what that slot's operation
// does, which pins every slot's position.
TEST(Entry, ICleanerSlotsFollowTheContract) {
    Ptr<ICleaner> cleaner = Dll().CreateCleaner();
    void* obj = cleaner.Get();

    TCleanerState state = csCleaned;
    ASSERT_EQ(CallSlot(obj, 3, &state), S_OK);  // GetState
    EXPECT_EQ(state, csReady);

    IUnknown* taskList = nullptr;
    ASSERT_EQ(CallSlot(obj, 4, &taskList), S_OK);  // GetTaskList
    ASSERT_NE(taskList, nullptr);
    std::int32_t count = -1;
    EXPECT_EQ(CallSlot(taskList, 3, &count), S_OK);  // IVTStringList.GetCount
    EXPECT_EQ(count, 0);
    taskList->Release();

    IUnknown* statistics = nullptr;
    ASSERT_EQ(CallSlot(obj, 5, &statistics), S_OK);  // GetStatistics
    ASSERT_NE(statistics, nullptr);
    std::int32_t total = -1;
    EXPECT_EQ(CallSlot(statistics, 3, &total), S_OK);  // GetTotalScannedItems
    EXPECT_EQ(total, 0);
    double progress = -1;
    EXPECT_EQ(CallSlot(statistics, 10, &progress), S_OK);  // GetProgress
    EXPECT_EQ(progress, 0.0);
    BSTR current = nullptr;
    EXPECT_EQ(CallSlot(statistics, 7, &current), S_OK);  // GetCurrentItem
    EXPECT_EQ(vantrel::client::TakeBstr(current), L"");
    statistics->Release();

    IUnknown* categories = nullptr;
    ASSERT_EQ(CallSlot(obj, 6, &categories), S_OK);  // GetCategories
    ASSERT_NE(categories, nullptr);
    EXPECT_EQ(CallSlot(categories, 3, &count), S_OK);  // ICategories.GetCount
    // GetItem at Count is out of bounds; GetItemByID of an identifier that no
    // category carries is nil.
    IUnknown* category = nullptr;
    EXPECT_EQ(CallSlot(categories, 4, count, &category), E_BOUNDS);
    EXPECT_EQ(ErrorMessage(), L"List index out of bounds (" + std::to_wstring(count) + L")");
    category = reinterpret_cast<IUnknown*>(0x1234);
    EXPECT_EQ(CallSlot(categories, 5, std::int32_t{200}, &category), S_OK);
    EXPECT_EQ(category, nullptr);
    categories->Release();

    IUnknown* options = nullptr;
    ASSERT_EQ(CallSlot(obj, 7, &options), S_OK);  // GetOptions
    ASSERT_NE(options, nullptr);
    EXPECT_EQ(CallSlot(options, 4, true), S_OK);  // SetMultiCleanHiberFile
    bool multi = false;
    EXPECT_EQ(CallSlot(options, 3, &multi), S_OK);  // GetMultiCleanHiberFile
    EXPECT_TRUE(multi);
    options->Release();

    // GetWipeDLL / GetBackvault: nothing attached yet, so a null interface.
    for (int slot : {8, 10}) {
        void* out = reinterpret_cast<void*>(0x1234);
        EXPECT_EQ(CallSlot(obj, slot, &out), S_OK) << slot;
        EXPECT_EQ(out, nullptr) << slot;
    }
    IUnknown* ignoreList = nullptr;
    ASSERT_EQ(CallSlot(obj, 12, &ignoreList), S_OK);  // GetIgnoreList
    ASSERT_NE(ignoreList, nullptr);
    ignoreList->Release();

    // StartCleaning and SaveScanResults refuse csReady with their own messages.
    EXPECT_EQ(CallSlot(obj, 14, false), E_FAIL);
    EXPECT_EQ(ErrorMessage(), L"StartRemoving: State not csScanned or csCleaned");
    EXPECT_EQ(CallSlot(obj, 20, static_cast<IStream*>(nullptr)), E_FAIL);
    EXPECT_EQ(ErrorMessage(), L"VT not in Scanned state for save scan results");
    EXPECT_EQ(CallSlot(obj, 19, static_cast<IVTStringList*>(nullptr)), E_FAIL);  // Localize
    EXPECT_EQ(ErrorMessage(), L"AStrings param not assigned");
    EXPECT_EQ(CallSlot(obj, 22), S_OK);  // SaveIgnoreLists
    EXPECT_EQ(CallSlot(obj, 23), S_OK);  // LoadIgnoreLists

    ASSERT_EQ(CallSlot(obj, 13, false), S_OK);  // StartScanning
    ASSERT_EQ(CallSlot(obj, 3, &state), S_OK);
    EXPECT_NE(state, csReady);
    ASSERT_EQ(CallSlot(obj, 18), S_OK);  // Reset
    ASSERT_EQ(CallSlot(obj, 3, &state), S_OK);
    EXPECT_EQ(state, csReady);
}

// The host's own list goes in; each line comes back with only its first
// " = " joined, whatever else the line holds.
TEST(Entry, LocalizeRewritesTheHostsLinesThroughItsList) {
    Ptr<ICleaner> cleaner = Dll().CreateCleaner();
    Ptr<vantrel::client::StringList> lines = vantrel::client::StringList::Create();
    lines->Entries() = {{L"HOST_ONLY_A = x = y"}, {L"HOST_ONLY_B=z = w"}, {L"no separator"}, {L" = "}};
    Check(cleaner->Localize(lines.Get()));
    const wchar_t* expected[] = {L"HOST_ONLY_A=x = y", L"HOST_ONLY_B=z=w", L"no separator", L"="};
    ASSERT_EQ(lines->Entries().size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) EXPECT_EQ(lines->Entries()[i].text, expected[i]);
}

TEST(Entry, NullOutPointersFailWithoutCrashing) {
    Ptr<ICleaner> cleaner = Dll().CreateCleaner();
    EXPECT_EQ(cleaner->GetState(nullptr), E_POINTER);
    EXPECT_EQ(cleaner->GetOptions(nullptr), E_POINTER);
    EXPECT_EQ(cleaner->QueryInterface(vantrel::IidOf<ICleaner>(), nullptr), E_POINTER);
}

}  // namespace
}  // namespace hosttest
