// A host driving the engine through ICleaner: runs, guards, scan results and
// the report, the way the command-line host and the demo use them. Nothing
// here depends on which categories the catalogue holds.
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "HostSupport.h"

namespace hosttest {
namespace {

using vantrel::client::Check;
using vantrel::client::Error;

TCleanerState StateOf(ICleaner* cleaner) {
    TCleanerState state = csReady;
    Check(cleaner->GetState(&state));
    return state;
}

// Polls the state the way a console host does (no message loop) until it is
// `wanted`; fails the test after ten seconds.
void WaitForState(ICleaner* cleaner, TCleanerState wanted) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (StateOf(cleaner) != wanted) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "state stuck at " << StateOf(cleaner);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

Ptr<IStream> NewStream() {
    Ptr<IStream> stream;
    Check(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()));
    return stream;
}

std::vector<unsigned char> BytesOf(IStream* stream) {
    STATSTG stat{};
    Check(stream->Stat(&stat, STATFLAG_NONAME));
    std::vector<unsigned char> bytes(static_cast<std::size_t>(stat.cbSize.QuadPart));
    LARGE_INTEGER zero{};
    Check(stream->Seek(zero, STREAM_SEEK_SET, nullptr));
    ULONG read = 0;
    if (!bytes.empty()) Check(stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &read));
    EXPECT_EQ(read, bytes.size());
    return bytes;
}

Ptr<IStream> StreamWith(const std::vector<unsigned char>& bytes) {
    Ptr<IStream> stream = NewStream();
    ULONG written = 0;
    if (!bytes.empty()) Check(stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written));
    return stream;
}

Ptr<ICleaner> ScannedEngine() {
    Ptr<ICleaner> cleaner = Dll().CreateCleaner();
    Check(cleaner->StartScanning(false));
    WaitForState(cleaner.Get(), csScanned);
    return cleaner;
}

TEST(Engine, ScanThenCleanCompleteAndReachFullProgress) {
    Ptr<ICleaner> cleaner = ScannedEngine();
    Ptr<ICleanerStatistics> statistics;
    Check(cleaner->GetStatistics(statistics.Put()));
    double progress = 0;
    Check(statistics->GetProgress(&progress));
    EXPECT_EQ(progress, 100.0);

    Check(cleaner->StartCleaning(true));
    WaitForState(cleaner.Get(), csCleaned);
    Check(statistics->GetProgress(&progress));
    EXPECT_EQ(progress, 100.0);

    // A cleaned engine may scan again; Reset returns it to csReady with zeroed totals.
    Check(cleaner->StartScanning(false));
    WaitForState(cleaner.Get(), csScanned);
    Check(cleaner->Reset());
    EXPECT_EQ(StateOf(cleaner.Get()), csReady);
    Check(statistics->GetProgress(&progress));
    EXPECT_EQ(progress, 0.0);
}

// Guard violations reach the host as E_FAIL with the engine's own message
// through error info, and leave the state as it was (the other guards' texts
// are pinned by the slot test of the entry).
TEST(Engine, GuardsReportTheirMessageAndKeepTheState) {
    Ptr<ICleaner> ready = Dll().CreateCleaner();
    Ptr<ICleaner> scanned = ScannedEngine();
    Ptr<IStream> stream = NewStream();
    struct Case {
        ICleaner* engine;
        HRESULT (*call)(ICleaner*, IStream*);
        const wchar_t* message;
    };
    const Case cases[] = {
        {ready.Get(), [](ICleaner* c, IStream*) { return c->StartCleaning(false); },
         L"StartRemoving: State not csScanned or csCleaned"},
        {scanned.Get(), [](ICleaner* c, IStream* s) { return c->LoadScanResults(s); },
         L"Cleaner not in Ready state for loading scan results"},
    };
    for (const Case& c : cases) {
        const TCleanerState before = StateOf(c.engine);
        EXPECT_EQ(c.call(c.engine, stream.Get()), E_FAIL) << c.message;
        EXPECT_EQ(ErrorMessage(), c.message);
        EXPECT_EQ(StateOf(c.engine), before) << c.message;
    }
}

TEST(Engine, ScanResultsNameEveryCategoryAndLoadOnlyWhenEachFoundSomething) {
    // The record counts every category but holds entries only for those that
    // found something; loaders read as many entries as counted. Under Wine
    // the CHKDSK category never finds anything (no FAT drive), so a record
    // of this catalogue does not load back, and the engine stays ready.
    Ptr<ICleaner> source = ScannedEngine();
    Ptr<IStream> stream = NewStream();
    Check(source->SaveScanResults(stream.Get()));
    const std::vector<unsigned char> saved = BytesOf(stream.Get());
    ASSERT_GE(saved.size(), 7u + 5 * 4);  // signature, four totals, the category count
    EXPECT_EQ(std::memcmp(saved.data(), "VT_SCAN", 7), 0);
    Ptr<ICategories> categories;
    Check(source->GetCategories(categories.Put()));
    std::int32_t count = 0, counted = 0;
    Check(categories->GetCount(&count));
    std::memcpy(&counted, saved.data() + 7 + 4 * 4, 4);
    EXPECT_EQ(counted, count);

    Ptr<ICleaner> target = Dll().CreateCleaner();
    EXPECT_TRUE(FAILED(target->LoadScanResults(StreamWith(saved).Get())));
    EXPECT_EQ(StateOf(target.Get()), csReady);
}

// A foreign or cut-off stream fails cleanly: the engine stays in csReady and
// can still scan.
TEST(Engine, BadScanResultsLeaveTheEngineUsable) {
    std::vector<unsigned char> good;
    {
        Ptr<ICleaner> source = ScannedEngine();
        Ptr<IStream> stream = NewStream();
        Check(source->SaveScanResults(stream.Get()));
        good = BytesOf(stream.Get());
    }
    std::vector<unsigned char> foreign = good;
    foreign[0] = 'X';
    const std::vector<unsigned char> truncated(good.begin(), good.begin() + 7 + 6);
    const std::vector<unsigned char> empty;

    const std::vector<unsigned char>* inputs[] = {&foreign, &truncated, &empty};
    for (const std::vector<unsigned char>* bytes : inputs) {
        Ptr<ICleaner> target = Dll().CreateCleaner();
        EXPECT_TRUE(FAILED(target->LoadScanResults(StreamWith(*bytes).Get()))) << bytes->size();
        EXPECT_EQ(StateOf(target.Get()), csReady);
        Check(target->StartScanning(false));
        WaitForState(target.Get(), csScanned);
    }
}

TEST(Engine, ReportIsReachedThroughTheEngineAndFollowsTheRun) {
    Ptr<ICleaner> cleaner = Dll().CreateCleaner();
    Ptr<IVantrelReport> report = cleaner.As<IVantrelReport>();
    ASSERT_TRUE(report);
    // Nothing checked: the counts below are those of a run that found nothing,
    // whatever traces the shared prefix holds.
    Ptr<ICategories> categories;
    Check(cleaner->GetCategories(categories.Put()));
    std::int32_t count = 0;
    Check(categories->GetCount(&count));
    for (std::int32_t i = 0; i < count; ++i) {
        Ptr<ICategory> category;
        Check(categories->GetItem(i, category.Put()));
        Check(category->SetEnabled(false));
    }

    Check(cleaner->StartScanning(false));
    WaitForState(cleaner.Get(), csScanned);
    Check(cleaner->StartCleaning(false));
    WaitForState(cleaner.Get(), csCleaned);

    std::int32_t found = -1, removed = -1, failed = -1;
    Check(report->GetFoundItems(&found));
    Check(report->GetRemovedItems(&removed));
    Check(report->GetFailedToRemove(&failed));
    EXPECT_EQ(found, 0);
    EXPECT_EQ(removed, 0);
    EXPECT_EQ(failed, 0);
    double scanTime = -1, cleanTime = -1;
    Check(report->GetScanTime(&scanTime));
    Check(report->GetCleanTime(&cleanTime));
    EXPECT_GE(scanTime, 0.0);
    EXPECT_GE(cleanTime, 0.0);

    // The report outlives the engine without reaching freed categories.
    cleaner = Ptr<ICleaner>();
    EXPECT_EQ(report->GetFoundItems(&found), S_OK);
}

TEST(Engine, PauseResumeAndAbortAreHarmlessAroundAShortRun) {
    Ptr<ICleaner> cleaner = Dll().CreateCleaner();
    // Outside a run they change nothing.
    Check(cleaner->Pause());
    Check(cleaner->Resume());
    Check(cleaner->Abort());
    EXPECT_EQ(StateOf(cleaner.Get()), csReady);

    Check(cleaner->StartScanning(true));
    Check(cleaner->Pause());
    Check(cleaner->Abort());
    WaitForState(cleaner.Get(), csScanned);
    // The engine is released while nothing runs; a second one with a run in
    // flight must also go away cleanly.
    Ptr<ICleaner> busy = Dll().CreateCleaner();
    Check(busy->StartScanning(true));
}

}  // namespace
}  // namespace hosttest
