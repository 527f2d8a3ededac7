// The engine's state machine, its guards, the worker's walk over the
// categories, and progress.
#include <algorithm>
#include <cmath>
#include <mutex>

#include "EngineTestSupport.h"
#include "runtime/DebugLog.h"
#include "runtime/VTStringList.h"
#include "services/DLLStrings.h"

namespace vt::testing {
namespace {

using namespace std::chrono_literals;

// Drives an engine with one gated category (id 0, 3 items) into a state.
enum class Phase { Ready, Scanning, ScanPause, Scanned, Cleaning, CleanPause, Cleaned };

TCleanerState Drive(TVantrel& engine, Phase setup) {
    TestCategory& cat = Cat(engine, 0);
    const auto scan = [&](bool gated) {
        cat.gateClosed = gated;
        EXPECT_EQ(engine.StartScanning(false), S_OK);
        if (gated) {
            EXPECT_TRUE(WaitUntil([&] { return cat.gateArrivals.load() > 0; }));
        } else {
            EXPECT_TRUE(ReachesState(engine, csScanned));
        }
    };
    const auto clean = [&](bool gated) {
        scan(false);
        cat.gateInRemove = true;
        cat.gateClosed = gated;
        const int before = cat.gateArrivals.load();
        EXPECT_EQ(engine.StartCleaning(false), S_OK);
        if (gated) {
            EXPECT_TRUE(WaitUntil([&] { return cat.gateArrivals.load() > before; }));
        } else {
            EXPECT_TRUE(ReachesState(engine, csCleaned));
        }
    };
    switch (setup) {
        case Phase::Ready: break;
        case Phase::Scanning: scan(true); break;
        case Phase::ScanPause: scan(true); engine.Pause(); break;
        case Phase::Scanned: scan(false); break;
        case Phase::Cleaning: clean(true); break;
        case Phase::CleanPause: clean(true); engine.Pause(); break;
        case Phase::Cleaned: clean(false); break;
    }
    return StateOf(engine);
}

TEST(Vantrel, GuardsRefuseOperationsOutsideTheirStatesAndChangeNothing) {
    const std::wstring badScan = L"Error while starting searching (bad cleaner State))";
    const std::wstring badClean = L"StartRemoving: State not csScanned or csCleaned";
    const std::wstring badSave = L"VT not in Scanned state for save scan results";
    const std::wstring badLoad = L"Cleaner not in Ready state for loading scan results";
    enum Op { Scan, Clean, Save, Load };
    struct Case {
        Phase setup;
        TCleanerState state;
        Op op;
        std::wstring message;
    };
    const Case cases[] = {
        {Phase::Ready, csReady, Clean, badClean},           {Phase::Ready, csReady, Save, badSave},
        {Phase::Scanning, csScanning, Scan, badScan},       {Phase::Scanning, csScanning, Clean, badClean},
        {Phase::Scanning, csScanning, Save, badSave},       {Phase::Scanning, csScanning, Load, badLoad},
        {Phase::ScanPause, csScanPause, Scan, badScan},     {Phase::ScanPause, csScanPause, Clean, badClean},
        {Phase::Scanned, csScanned, Load, badLoad},         {Phase::Cleaning, csCleaning, Scan, badScan},
        {Phase::Cleaning, csCleaning, Clean, badClean},     {Phase::CleanPause, csCleanPause, Save, badSave},
        {Phase::Cleaned, csCleaned, Save, badSave},         {Phase::Cleaned, csCleaned, Load, badLoad},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "setup " << static_cast<int>(c.setup) << " op " << c.op);
        Com<TVantrel> engine = MakeEngine({{0, 3}});
        ASSERT_EQ(Drive(*engine, c.setup), c.state);
        Com<TMemoryIStream> stream = MakeCom<TMemoryIStream>();
        HRESULT hr = S_OK;
        switch (c.op) {
            case Scan: hr = engine->StartScanning(false); break;
            case Clean: hr = engine->StartCleaning(false); break;
            case Save: hr = engine->SaveScanResults(stream.Get()); break;
            case Load: hr = engine->LoadScanResults(stream.Get()); break;
        }
        EXPECT_EQ(hr, E_FAIL);
        EXPECT_EQ(TakeErrorInfoMessage(), c.message);
        EXPECT_EQ(StateOf(*engine), c.state);
        Cat(*engine, 0).gateClosed = false;  // lets a held worker finish
    }
}

TEST(Vantrel, StateTableOfPauseResumeAbortAndReset) {
    struct Step {
        Phase setup;
        HRESULT (TVantrel::*op)();
        TCleanerState expected;
    };
    const Step steps[] = {
        {Phase::Ready, &TVantrel::Pause, csReady},          {Phase::Scanned, &TVantrel::Pause, csScanned},
        {Phase::Scanning, &TVantrel::Pause, csScanPause},   {Phase::ScanPause, &TVantrel::Resume, csScanning},
        {Phase::Cleaning, &TVantrel::Pause, csCleanPause},  {Phase::CleanPause, &TVantrel::Resume, csCleaning},
        {Phase::Scanned, &TVantrel::Resume, csScanned},     {Phase::Cleaned, &TVantrel::Reset, csReady},
        {Phase::ScanPause, &TVantrel::Reset, csReady},      {Phase::Cleaning, &TVantrel::Reset, csReady},
    };
    for (const Step& s : steps) {
        SCOPED_TRACE(static_cast<int>(s.setup));
        Com<TVantrel> engine = MakeEngine({{0, 3}});
        Drive(*engine, s.setup);
        EXPECT_EQ(((*engine).*s.op)(), S_OK);
        EXPECT_EQ(StateOf(*engine), s.expected);
        Cat(*engine, 0).gateClosed = false;
    }

    // Abort while gated: the run ends and the completion handler sets the final state.
    for (Phase setup : {Phase::Scanning, Phase::ScanPause, Phase::Cleaning, Phase::CleanPause}) {
        Com<TVantrel> engine = MakeEngine({{0, 3}, {1, 3}});
        Drive(*engine, setup);
        EXPECT_EQ(engine->Abort(), S_OK);
        const bool clean = setup == Phase::Cleaning || setup == Phase::CleanPause;
        EXPECT_TRUE(ReachesState(*engine, clean ? csCleaned : csScanned)) << static_cast<int>(setup);
        EXPECT_EQ(ProgressOf(*engine), 100.0);
        if (!clean) {
            EXPECT_EQ(Cat(*engine, 1).searches.load(), 0) << "no category starts after an abort";
        }
    }
}

TEST(Vantrel, ScanCleanAndResetKeepTheStatistics) {
    Com<TVantrel> engine = MakeEngine({{0, 3}, {1, 2}});
    Cat(*engine, 1).failLocations = {TestCategory::LocationOf(1, 0)};
    ASSERT_TRUE(ScanToEnd(*engine));
    EXPECT_EQ(Totals(*engine, &TVantrel::GetTotalDetectedItems), 5);
    EXPECT_EQ(Totals(*engine, &TVantrel::GetTotalScannedItems), 5);
    Com<ICategory> current;
    ASSERT_EQ(engine->GetCurrentCategory(current.Put()), S_OK);
    EXPECT_EQ(current.Get(), static_cast<ICategory*>(&Cat(*engine, 1)));
    BSTR name = nullptr;
    ASSERT_EQ(engine->GetCurrentItem(&name), S_OK);
    EXPECT_EQ(FromBstrOwned(name), L"item1");

    ASSERT_EQ(engine->StartCleaning(false), S_OK);
    ASSERT_TRUE(ReachesState(*engine, csCleaned));
    EXPECT_EQ(Totals(*engine, &TVantrel::GetTotalRemovedItems), 4);
    EXPECT_EQ(Totals(*engine, &TVantrel::GetTotalFailedItems), 1);
    EXPECT_TRUE(Cat(*engine, 0).IsCleaned());

    ASSERT_EQ(engine->Reset(), S_OK);
    EXPECT_EQ(StateOf(*engine), csReady);
    EXPECT_EQ(Totals(*engine, &TVantrel::GetTotalDetectedItems), 0);
    EXPECT_EQ(Totals(*engine, &TVantrel::GetTotalRemovedItems), 0);
    EXPECT_EQ(ProgressOf(*engine), 0.0);
    EXPECT_EQ(Cat(*engine, 0).DetectedItems().Count(), 0);
    // A second scan after a clean starts afresh.
    ASSERT_TRUE(ScanToEnd(*engine));
    EXPECT_EQ(Totals(*engine, &TVantrel::GetTotalDetectedItems), 5);
}

// Captures the debug log's lines for one test; the worker logs too.
class LogCapture {
public:
    LogCapture() {
        TDebugLog::SetSink([this](const std::wstring& line) {
            std::lock_guard<std::mutex> guard(lock_);
            lines_.push_back(line);
        });
        TDebugLog::SetLevel(llInfo);
    }
    ~LogCapture() {
        TDebugLog::SetLevel(llNone);
        TDebugLog::SetSink({});
    }
    int Count(const std::wstring& text) {
        std::lock_guard<std::mutex> guard(lock_);
        return static_cast<int>(std::ranges::count_if(lines_, [&](const auto& l) { return l.find(text) != l.npos; }));
    }

private:
    std::mutex lock_;
    std::vector<std::wstring> lines_;
};

TEST(Vantrel, WorkerSkipsUncheckedAndEmptyCategoriesAndStopsOnAnException) {
    LogCapture log;
    Com<TVantrel> engine = MakeEngine({{0, 2}, {1, 2}, {2, 0}, {3, 2}, {4, 2}});
    Cat(*engine, 1).SetEnabledValue(false);
    Cat(*engine, 4).throwInSearch = true;
    ASSERT_TRUE(ScanToEnd(*engine));
    EXPECT_EQ(Cat(*engine, 1).searches.load(), 0);
    EXPECT_EQ(log.Count(L"Start scanning category TTestCategory (Test 1)"), 0);
    EXPECT_EQ(log.Count(L"Start scanning category TTestCategory (Test 0)"), 1);
    EXPECT_EQ(log.Count(L"TVTProcessThread - Execute - Search failed on purpose"), 1);
    EXPECT_EQ(StateOf(*engine), csScanned);
    EXPECT_EQ(ProgressOf(*engine), 100.0);

    // Remove mode skips the checked category without items (2).
    ASSERT_EQ(engine->StartCleaning(false), S_OK);
    ASSERT_TRUE(ReachesState(*engine, csCleaned));
    EXPECT_TRUE(Cat(*engine, 0).IsCleaned());
    EXPECT_FALSE(Cat(*engine, 2).IsCleaned());
    EXPECT_TRUE(Cat(*engine, 3).IsCleaned());
}

TEST(Vantrel, CategoryProgressIsCappedAndNothingDividesByZero) {
    Com<TVantrel> engine = MakeEngine({{0, 1}});
    TestCategory& cat = Cat(*engine, 0);
    cat.gateClosed = true;
    cat.atGate = [](TestCategory& c) { c.Engine().SetProgress(150); };
    ASSERT_EQ(engine->StartScanning(false), S_OK);
    ASSERT_TRUE(WaitUntil([&] { return cat.gateArrivals.load() > 0; }));
    double category = -1;
    ASSERT_EQ(engine->GetCategoryProgress(&category), S_OK);
    EXPECT_EQ(category, 100.0);
    EXPECT_EQ(ProgressOf(*engine), 50.0);  // (0 * 100 + 100) / 1 averaged with 0 scanned
    cat.gateClosed = false;
    ASSERT_TRUE(ReachesState(*engine, csScanned));

    // No enabled category counted: the category's progress stands for the run's.
    Com<TVantrel> empty = MakeEngine({{0, 1}});
    Cat(*empty, 0).SetEnabledValue(false);
    ASSERT_TRUE(ScanToEnd(*empty));
    empty->SetProgress(40);
    EXPECT_EQ(ProgressOf(*empty), 20.0);
}

TEST(Vantrel, ScanProgressMixesCategoriesDoneWithItemsScanned) {
    // Three enabled categories; the reports come from the second (one done).
    Com<TVantrel> engine = MakeEngine({{0, 0}, {1, 0}, {2, 0}});
    struct Report {
        double categoryProgress;
        std::int32_t scannedAdded;
        double expected;
    };
    const Report reports[] = {
        {50, 0, 25.0},                                      // ((100 + 50) / 3 + 0) / 2
        {50, 1000, 50.0},                                   // ((100 + 50) / 3 + 1000 * 100 / 2000) / 2
        {150, 2000, ((200.0 / 3) + 75.0) / 2},              // capped at 100; 3000 scanned
        {0, 0, ((100.0 / 3) + 75.0) / 2},                   // lower than before: taken as is
    };
    std::vector<double> seen;
    Cat(*engine, 1).atGate = [&](TestCategory& c) {
        for (const Report& r : reports) {
            c.Engine().SetCurrentItem(nullptr, 0, r.scannedAdded);
            c.Engine().SetProgress(r.categoryProgress);
            seen.push_back(ProgressOf(*engine));
        }
    };
    ASSERT_TRUE(ScanToEnd(*engine));
    ASSERT_EQ(seen.size(), std::size(reports));
    for (std::size_t i = 0; i < seen.size(); ++i) EXPECT_DOUBLE_EQ(seen[i], reports[i].expected) << i;
}

TEST(Vantrel, CleanProgressCountsItemsProcessedOverCheckedItems) {
    Com<TVantrel> engine = MakeEngine({{0, 4}});
    TestCategory& cat = Cat(*engine, 0);
    ASSERT_TRUE(ScanToEnd(*engine));
    std::vector<double> seen;
    cat.onRemove = [&](TestCategory& c) {
        TVantrelShare& share = c.Engine();
        Com<TDetectedItem> items[4];
        for (int i = 0; i < 4; ++i) items[i] = c.DetectedItems().Get(i);
        share.OnItemRemoved(items[0].Get());  // not removed: neither counted nor progressed
        seen.push_back(ProgressOf(*engine));
        for (int i = 0; i < 4; ++i) {
            items[i]->SetRemovingWasPerformed(true);
            if (i == 1) {
                items[i]->SetItemFailedToRemove(true);
                share.OnItemFailed(items[i].Get());
            } else {
                share.OnItemRemoved(items[i].Get());
            }
            seen.push_back(ProgressOf(*engine));
        }
    };
    ASSERT_EQ(engine->StartCleaning(false), S_OK);
    ASSERT_TRUE(ReachesState(*engine, csCleaned));
    EXPECT_EQ(seen, (std::vector<double>{0, 25, 50, 75, 100}));
    EXPECT_EQ(Totals(*engine, &TVantrel::GetTotalRemovedItems), 3);
    EXPECT_EQ(Totals(*engine, &TVantrel::GetTotalFailedItems), 1);
}

TEST(Vantrel, SmoothProgressClimbsInStepsOfOneWithTheLockReleased) {
    Com<TVantrel> engine = MakeEngine({{0, 0}});
    TestCategory& cat = Cat(*engine, 0);
    std::atomic<long long> elapsedMs{-1};
    cat.gateClosed = true;  // holds the run after the climb, so 100 is not seen yet
    cat.atGate = [&](TestCategory& c) {
        const auto start = std::chrono::steady_clock::now();
        c.Engine().SetProgress(20);  // target (0 + 20) / 1 averaged with 0 scanned: 10
        elapsedMs = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
    };
    ASSERT_EQ(engine->StartScanning(true), S_OK);
    std::vector<double> seen;
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (elapsedMs.load() < 0 && std::chrono::steady_clock::now() < deadline) {
        const double p = ProgressOf(*engine);
        if (seen.empty() || seen.back() != p) seen.push_back(p);
    }
    seen.push_back(ProgressOf(*engine));
    cat.gateClosed = false;
    ASSERT_TRUE(ReachesState(*engine, csScanned));
    EXPECT_GE(elapsedMs.load(), 9 * 20);  // ten steps of 1, 20 ms after each
    // The host read values between start and target while the worker climbed:
    // the lock is not held across the sleeps.
    EXPECT_GE(seen.size(), 4u);
    EXPECT_EQ(seen.back(), 10.0);
    for (std::size_t i = 1; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i], std::floor(seen[i])) << i;
        EXPECT_GE(seen[i], seen[i - 1]) << i;
    }
}

TEST(Vantrel, CleanWithNoCheckedItemsKeepsProgressZeroUntilCompletion) {
    Com<TVantrel> engine = MakeEngine({{0, 0}});
    TestCategory& cat = Cat(*engine, 0);
    ASSERT_TRUE(ScanToEnd(*engine));
    // Two unchecked items in a checked category: nothing counts as to be removed.
    for (int i = 0; i < 2; ++i) {
        Com<TDetectedItem> item = MakeCom<TDetectedItem>();
        item->SetLocation(TestCategory::LocationOf(0, i));
        cat.DetectedItems().AddItem(item, false);
    }
    cat.onRemove = [](TestCategory& c) {
        for (int i = 0; i < c.DetectedItems().Count(); ++i) c.Engine().OnItemFailed(c.DetectedItems().Get(i).Get());
    };
    cat.gateInRemove = true;
    cat.gateClosed = true;
    cat.atGate = nullptr;
    const int before = cat.gateArrivals.load();
    ASSERT_EQ(engine->StartCleaning(false), S_OK);
    ASSERT_TRUE(WaitUntil([&] { return cat.gateArrivals.load() > before; }));
    EXPECT_EQ(ProgressOf(*engine), 0.0);
    cat.gateClosed = false;
    ASSERT_TRUE(ReachesState(*engine, csCleaned));
    EXPECT_EQ(Totals(*engine, &TVantrel::GetTotalFailedItems), 2);
    EXPECT_EQ(ProgressOf(*engine), 100.0);
}

TEST(Vantrel, PausedWorkerWaitsInsideIsAbortedUntilResumed) {
    Com<TVantrel> engine = MakeEngine({{0, 50}});
    TestCategory& cat = Cat(*engine, 0);
    Drive(*engine, Phase::ScanPause);
    cat.gateClosed = false;
    // The category polls IsAborted, which holds the worker while paused.
    EXPECT_FALSE(WaitUntil([&] { return cat.itemsAdded.load() > 0; }, 100ms));
    EXPECT_EQ(StateOf(*engine), csScanPause);
    ASSERT_EQ(engine->Resume(), S_OK);
    ASSERT_TRUE(ReachesState(*engine, csScanned));
    EXPECT_EQ(cat.itemsAdded.load(), 50);
}

TEST(Vantrel, LocalizeReplacesTheFirstSeparatorAndWritesLinesBack) {
    Com<TVantrel> engine = MakeEngine({});
    EXPECT_EQ(engine->Localize(nullptr), E_FAIL);
    EXPECT_EQ(TakeErrorInfoMessage(), L"AStrings param not assigned");

    Com<TVTStringList> lines = MakeCom<TVTStringList>();
    lines->List().Add(L"S_GROUPED_PAGES = Pages = %d");
    lines->List().Add(L"S_COOKIES=Cookies");
    ASSERT_EQ(engine->Localize(lines.Get()), S_OK);
    EXPECT_EQ(lines->List().Get(0), L"S_GROUPED_PAGES=Pages = %d");
    EXPECT_EQ(lines->List().Get(1), L"S_COOKIES=Cookies");
    EXPECT_EQ(LocalizedString(S_GROUPED_PAGES), L"Pages = %d");
    EXPECT_EQ(LocalizedString(S_COOKIES), L"Cookies");
    Localizer::Localize(StringList());
}

TEST(Vantrel, HandsOutTheTaskListLiveAndTheReportThroughQueryInterface) {
    Com<TVantrel> engine = MakeEngine({{0, 1}});
    Cat(*engine, 0).SetTaskName(L"browser.exe");
    Com<IVTStringList> tasks;
    ASSERT_EQ(engine->GetTaskList(tasks.Put()), S_OK);
    std::int32_t count = -1, value = -1;
    ASSERT_EQ(tasks->GetCount(&count), S_OK);
    ASSERT_EQ(count, 1);
    ASSERT_EQ(tasks->GetValue(0, &value), S_OK);
    EXPECT_EQ(value, 1);
    Cat(*engine, 0).SetEnabledValue(false);
    ASSERT_EQ(tasks->GetCount(&count), S_OK);
    EXPECT_EQ(count, 0);

    Com<IVantrelReport> report;
    ASSERT_EQ(engine->QueryInterface(IidOf<IVantrelReport>(), reinterpret_cast<void**>(report.Put())), S_OK);
    EXPECT_EQ(report.Get(), static_cast<IVantrelReport*>(&engine->Report()));
    Com<IIgnoreList> ignore;
    ASSERT_EQ(engine->GetIgnoreList(ignore.Put()), S_OK);
    EXPECT_NE(ignore.Get(), nullptr);
}

}  // namespace
}  // namespace vt::testing
