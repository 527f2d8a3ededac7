// Host calls racing the worker: run these under the native-tsan preset.
#include <random>

#include "EngineTestSupport.h"

namespace vt::testing {
namespace {

using namespace std::chrono_literals;

bool Settled(TCleanerState s) { return s == csReady || s == csScanned || s == csCleaned; }

// Pause, resume, abort and polls from two host threads against running scans
// and cleans; every run must still end in a settled state.
TEST(EngineConcurrency, PauseResumeAbortRaceRunningScansAndCleans) {
    Com<TVantrel> engine = MakeEngine({{0, 300}, {1, 300}, {2, 300}});
    for (int round = 0; round < 12; ++round) {
        const bool clean = round % 2 == 1;
        if (clean) {
            ASSERT_TRUE(ScanToEnd(*engine));
            ASSERT_EQ(engine->StartCleaning(round % 4 == 1), S_OK);
        } else {
            ASSERT_EQ(engine->StartScanning(round % 4 == 0), S_OK);
        }
        std::atomic<bool> stop{false};
        std::thread poller([&] {
            while (!stop.load()) {
                double p;
                std::int32_t n;
                BSTR item = nullptr;
                Com<ICategory> current;
                engine->GetProgress(&p);
                engine->GetTotalDetectedItems(&n);
                if (engine->GetCurrentItem(&item) == S_OK) FromBstrOwned(item);
                engine->GetCurrentCategory(current.Put());
            }
        });
        std::mt19937 random(static_cast<unsigned>(round));
        for (int i = 0; i < 200 && !Settled(StateOf(*engine)); ++i) {
            switch (random() % 3) {
                case 0: engine->Pause(); break;
                case 1: engine->Resume(); break;
                case 2: std::this_thread::yield(); break;
            }
        }
        if (round % 3 == 0) engine->Abort();
        engine->Resume();
        const bool settled = WaitUntil([&] {
            engine->Resume();
            return Settled(StateOf(*engine));
        });
        stop = true;
        poller.join();
        ASSERT_TRUE(settled) << "round " << round;
        EXPECT_EQ(StateOf(*engine), clean ? csCleaned : csScanned);
    }
}

TEST(EngineConcurrency, ResetRacesARunningScanAndClean) {
    Com<TVantrel> engine = MakeEngine({{0, 500}, {1, 500}});
    for (int round = 0; round < 8; ++round) {
        if (round % 2 == 1) {
            ASSERT_TRUE(ScanToEnd(*engine));
            ASSERT_EQ(engine->StartCleaning(false), S_OK);
        } else {
            ASSERT_EQ(engine->StartScanning(round % 4 == 0), S_OK);
        }
        if (round % 4 == 2) engine->Pause();
        std::thread other([&] { engine->Pause(); engine->Abort(); });
        ASSERT_EQ(engine->Reset(), S_OK);
        other.join();
        EXPECT_EQ(StateOf(*engine), csReady);
        EXPECT_EQ(Totals(*engine, &TVantrel::GetTotalDetectedItems), 0);
        EXPECT_EQ(Cat(*engine, 0).DetectedItems().Count(), 0);
    }
}

// Destroying the engine while its worker runs (busy, held at a gate, paused,
// or climbing smooth progress) aborts, wakes and joins it before freeing.
TEST(EngineConcurrency, DestroyingTheEngineWhileItsWorkerRunsIsSafe) {
    enum class Held { Busy, AtGate, Paused, Smooth, Cleaning };
    for (Held held : {Held::Busy, Held::AtGate, Held::Paused, Held::Smooth, Held::Cleaning}) {
        SCOPED_TRACE(static_cast<int>(held));
        Com<TVantrel> engine = MakeEngine({{0, 2000}, {1, 2000}});
        TestCategory& first = Cat(*engine, 0);
        if (held == Held::Cleaning) {
            ASSERT_TRUE(ScanToEnd(*engine));
            first.gateInRemove = true;
        }
        first.gateClosed = held != Held::Busy;
        if (held == Held::Smooth) first.atGate = [](TestCategory& c) { c.Engine().SetProgress(100); };
        const int before = first.gateArrivals.load();
        ASSERT_EQ(held == Held::Cleaning ? engine->StartCleaning(false) : engine->StartScanning(held == Held::Smooth),
                  S_OK);
        if (held != Held::Busy) {
            ASSERT_TRUE(WaitUntil([&] { return first.gateArrivals.load() > before; }));
        }
        if (held == Held::Paused) engine->Pause();
        engine = nullptr;  // the last reference: the destructor joins the worker
    }
}

}  // namespace
}  // namespace vt::testing
