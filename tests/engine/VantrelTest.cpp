// The engine's state machine, its guards, the worker's walk over the
// categories, and progress.
#include <algorithm>
#include <cmath>

#include "EngineTestSupport.h"
#include "runtime/Exception.h"

namespace vt::testing {
namespace {

using namespace std::chrono;

// Drives an engine whose first category is gated into a state; in a running
// or paused state the worker is held at the gate.
void Drive(TVantrel& engine, TCleanerState state) {
    if (state == csReady) return;
    FakeCategory& cat = Cat(engine, 0);
    const bool clean = state >= csCleaning;
    const bool held = state != csScanned && state != csCleaned;
    ASSERT_TRUE(!clean || ScanToEnd(engine));
    cat.gateInRemove = clean;
    cat.gateClosed = held;
    const int before = cat.gateArrivals.load();
    ASSERT_EQ(clean ? engine.StartCleaning(false) : engine.StartScanning(false), S_OK);
    ASSERT_TRUE(held ? WaitUntil([&] { return cat.gateArrivals.load() > before; })
                     : ReachesState(engine, clean ? csCleaned : csScanned));
    if (state == csScanPause || state == csCleanPause) engine.Pause();
}

using Op = HRESULT (*)(TVantrel&);
const Op Scan = [](TVantrel& e) { return e.StartScanning(false); };
const Op Clean = [](TVantrel& e) { return e.StartCleaning(false); };
const Op Save = [](TVantrel& e) { return e.SaveScanResults(MakeCom<TMemoryIStream>().Get()); };
const Op Load = [](TVantrel& e) { return e.LoadScanResults(MakeCom<TMemoryIStream>().Get()); };
const Op Pause = [](TVantrel& e) { return e.Pause(); };
const Op Resume = [](TVantrel& e) { return e.Resume(); };
const Op Reset = [](TVantrel& e) { return e.Reset(); };

TEST(Vantrel, StateTableAndGuardMessagesReachTheCaller) {
    const wchar_t* badScan = L"Error while starting searching (bad cleaner State))";
    const wchar_t* badClean = L"StartRemoving: State not csScanned or csCleaned";
    const wchar_t* badSave = L"VT not in Scanned state for save scan results";
    const wchar_t* badLoad = L"Cleaner not in Ready state for loading scan results";
    struct Case { TCleanerState from; Op op; TCleanerState to; const wchar_t* refusal; };  // "": succeeds
    const Case cases[] = {
        {csReady, Clean, csReady, badClean},          {csReady, Save, csReady, badSave},
        {csScanning, Scan, csScanning, badScan},      {csScanning, Clean, csScanning, badClean},
        {csScanning, Save, csScanning, badSave},      {csScanning, Load, csScanning, badLoad},
        {csScanPause, Scan, csScanPause, badScan},    {csScanPause, Clean, csScanPause, badClean},
        {csScanned, Load, csScanned, badLoad},        {csCleaning, Scan, csCleaning, badScan},
        {csCleaning, Clean, csCleaning, badClean},    {csCleanPause, Save, csCleanPause, badSave},
        {csCleaned, Save, csCleaned, badSave},        {csCleaned, Load, csCleaned, badLoad},
        {csReady, Pause, csReady, L""},           {csScanned, Pause, csScanned, L""},
        {csScanning, Pause, csScanPause, L""},    {csScanPause, Resume, csScanning, L""},
        {csCleaning, Pause, csCleanPause, L""},   {csCleanPause, Resume, csCleaning, L""},
        {csScanned, Resume, csScanned, L""},      {csCleaned, Reset, csReady, L""},
        {csScanPause, Reset, csReady, L""},       {csCleaning, Reset, csReady, L""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        Com<TVantrel> engine = MakeEngine({{0, 3}});
        Drive(*engine, c.from);
        ASSERT_EQ(StateOf(*engine), c.from);
        EXPECT_EQ(c.op(*engine), *c.refusal ? E_FAIL : S_OK);
        EXPECT_EQ(*c.refusal ? TakeErrorInfoMessage() : L"", c.refusal);
        EXPECT_EQ(StateOf(*engine), c.to);
        Cat(*engine, 0).gateClosed = false;  // lets a held worker finish
    }

    // Abort of a held worker: the run ends and the completion handler sets the final state.
    for (TCleanerState from : {csScanning, csScanPause, csCleaning, csCleanPause}) {
        SCOPED_TRACE(static_cast<int>(from));
        Com<TVantrel> engine = MakeEngine({{0, 3}, {1, 3}});
        Drive(*engine, from);
        EXPECT_EQ(engine->Abort(), S_OK);
        EXPECT_TRUE(ReachesState(*engine, from >= csCleaning ? csCleaned : csScanned));
        EXPECT_EQ(ProgressOf(*engine), 100.0);
        EXPECT_TRUE(from >= csCleaning || !Cat(*engine, 1).IsScanned()) << "no category starts after an abort";
    }
}

TEST(Vantrel, RunsVisitCheckedCategoriesAndResetClearsTheStatistics) {
    Com<TVantrel> engine = MakeEngine({{0, 3}, {1, 2}, {2, 0}, {3, 2}});
    Cat(*engine, 1).SetEnabledValue(false);
    Cat(*engine, 3).failLocation = FakeCategory::LocationOf(3, 0);
    ASSERT_TRUE(ScanToEnd(*engine));
    EXPECT_FALSE(Cat(*engine, 1).IsScanned());
    EXPECT_EQ(Read(*engine, &TVantrel::GetTotalDetectedItems), 5);
    EXPECT_EQ(Read(*engine, &TVantrel::GetTotalScannedItems), 5);
    Com<ICategory> current;
    ASSERT_EQ(engine->GetCurrentCategory(current.Put()), S_OK);
    EXPECT_EQ(current.Get(), static_cast<ICategory*>(&Cat(*engine, 3)));
    BSTR name = nullptr;
    ASSERT_EQ(engine->GetCurrentItem(&name), S_OK);
    EXPECT_EQ(FromBstrOwned(name), L"item1");

    ASSERT_EQ(engine->StartCleaning(false), S_OK);
    ASSERT_TRUE(ReachesState(*engine, csCleaned));
    EXPECT_EQ(Read(*engine, &TVantrel::GetTotalRemovedItems), 4);
    EXPECT_EQ(Read(*engine, &TVantrel::GetTotalFailedItems), 1);
    EXPECT_TRUE(Cat(*engine, 0).IsCleaned());
    EXPECT_FALSE(Cat(*engine, 2).IsCleaned());  // checked, but a clean skips a category without items

    ASSERT_EQ(engine->Reset(), S_OK);
    EXPECT_EQ(Read(*engine, &TVantrel::GetTotalDetectedItems), 0);
    EXPECT_EQ(Read(*engine, &TVantrel::GetTotalRemovedItems), 0);
    EXPECT_EQ(ProgressOf(*engine), 0.0);
    EXPECT_EQ(Cat(*engine, 0).DetectedItems().Count(), 0);

    // A second scan starts afresh; an exception in a category ends it there.
    Cat(*engine, 2).atGate = [](FakeCategory&) { ThrowGeneral(L"Search failed on purpose"); };
    ASSERT_TRUE(ScanToEnd(*engine));
    EXPECT_EQ(Read(*engine, &TVantrel::GetTotalDetectedItems), 3);
    EXPECT_FALSE(Cat(*engine, 3).IsScanned());
}

TEST(Vantrel, ScanProgressMixesCategoriesDoneWithItemsScannedAndCapsAt100) {
    // Three enabled categories; the reports come from the second (one done).
    Com<TVantrel> engine = MakeEngine({{0, 0}, {1, 0}, {2, 0}});
    struct Report { double reported; std::int32_t scannedAdded; double category, overall; };
    const Report reports[] = {
        {50, 0, 50, 25.0},                            // ((100 + 50) / 3 + 0) / 2
        {50, 1000, 50, 50.0},                         // ((100 + 50) / 3 + 1000 * 100 / 2000) / 2
        {150, 2000, 100, ((200.0 / 3) + 75.0) / 2},   // capped at 100; 3000 scanned
        {0, 0, 0, ((100.0 / 3) + 75.0) / 2},          // lower than before: taken as is
    };
    int checked = 0;
    Cat(*engine, 1).atGate = [&](FakeCategory& c) {
        for (const Report& r : reports) {
            SCOPED_TRACE(++checked);
            c.Engine().SetCurrentItem(nullptr, 0, r.scannedAdded);
            c.Engine().SetProgress(r.reported);
            EXPECT_EQ(Read<double>(*engine, &TVantrel::GetCategoryProgress), r.category);
            EXPECT_DOUBLE_EQ(ProgressOf(*engine), r.overall);
        }
    };
    ASSERT_TRUE(ScanToEnd(*engine));
    EXPECT_EQ(checked, 4);

    // No enabled category counted: the category's progress stands for the run's.
    Com<TVantrel> none = MakeEngine({{0, 1}});
    Cat(*none, 0).SetEnabledValue(false);
    ASSERT_TRUE(ScanToEnd(*none));
    none->SetProgress(40);
    EXPECT_EQ(ProgressOf(*none), 20.0);
}

TEST(Vantrel, CleanProgressIsItemsProcessedOverCheckedItems) {
    // Four checked items, the second failing; then only two unchecked items,
    // where nothing is to be removed and progress must not divide by zero.
    for (const bool checked : {true, false}) {
        Com<TVantrel> engine = MakeEngine({{0, checked ? 4 : 0}});
        FakeCategory& cat = Cat(*engine, 0);
        ASSERT_TRUE(ScanToEnd(*engine));
        for (int i = 0; !checked && i < 2; ++i) {
            Com<TDetectedItem> item = MakeCom<TDetectedItem>();
            item->SetLocation(FakeCategory::LocationOf(0, i));
            cat.DetectedItems().AddItem(item, false);
        }
        std::vector<double> seen;
        cat.onRemove = [&](FakeCategory& c) {
            TDetectedItems& items = c.DetectedItems();
            c.Engine().OnItemRemoved(items.Get(0).Get());  // not removed yet: not counted
            seen.push_back(ProgressOf(*engine));
            for (int i = 0; i < items.Count(); ++i) {
                Com<TDetectedItem> item = items.Get(i);
                item->SetRemovingWasPerformed(true);
                item->SetItemFailedToRemove(i == 1);
                i == 1 ? c.Engine().OnItemFailed(item.Get()) : c.Engine().OnItemRemoved(item.Get());
                seen.push_back(ProgressOf(*engine));
            }
        };
        ASSERT_EQ(engine->StartCleaning(false), S_OK);
        ASSERT_TRUE(ReachesState(*engine, csCleaned));
        EXPECT_EQ(seen, (checked ? std::vector<double>{0, 25, 50, 75, 100} : std::vector<double>{0, 0, 0}));
        EXPECT_EQ(Read(*engine, &TVantrel::GetTotalRemovedItems), checked ? 3 : 1);
        EXPECT_EQ(Read(*engine, &TVantrel::GetTotalFailedItems), 1);
        EXPECT_EQ(ProgressOf(*engine), 100.0);
    }
}

TEST(Vantrel, SmoothProgressClimbsInStepsOfOneWithTheLockReleased) {
    Com<TVantrel> engine = MakeEngine({{0, 0}});
    FakeCategory& cat = Cat(*engine, 0);
    std::atomic<bool> climbed{false};
    cat.gateClosed = true;  // holds the run after the climb, so 100 is not seen yet
    cat.atGate = [&](FakeCategory& c) {
        c.Engine().SetProgress(20);  // target (0 + 20) / 1 averaged with 0 scanned: 10
        climbed = true;
    };
    ASSERT_EQ(engine->StartScanning(true), S_OK);
    std::vector<double> seen{0};
    ASSERT_TRUE(WaitUntil([&] {
        const bool done = climbed.load();
        if (const double p = ProgressOf(*engine); p != seen.back()) seen.push_back(p);
        return done;
    }));
    cat.gateClosed = false;
    // The host saw values between start and target: the lock is not held across the sleeps.
    EXPECT_GE(seen.size(), 4u);
    EXPECT_EQ(seen.back(), 10.0);
    EXPECT_TRUE(std::ranges::is_sorted(seen) && std::ranges::all_of(seen, [](double p) { return p == std::floor(p); }));
}

TEST(Vantrel, PausedWorkerWaitsInsideIsAbortedUntilResumed) {
    Com<TVantrel> engine = MakeEngine({{0, 50}});
    Drive(*engine, csScanPause);
    Cat(*engine, 0).gateClosed = false;
    const auto found = [&] { return Read(*engine, &TVantrel::GetTotalDetectedItems); };
    EXPECT_FALSE(WaitUntil([&] { return found() > 0; }, 100ms));
    EXPECT_EQ(StateOf(*engine), csScanPause);
    ASSERT_EQ(engine->Resume(), S_OK);
    ASSERT_TRUE(ReachesState(*engine, csScanned));
    EXPECT_EQ(found(), 50);
}

}  // namespace
}  // namespace vt::testing
