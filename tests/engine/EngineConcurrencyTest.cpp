// Host calls racing the worker: run these under the native-tsan preset.
#include <random>

#include "EngineTestSupport.h"

namespace vt::testing {
namespace {

bool Settled(TCleanerState s) { return s == csReady || s == csScanned || s == csCleaned; }

// Pause, resume, abort, reset and polls from host threads against running
// scans and cleans: a run must end in its settled state, a reset in csReady.
TEST(EngineConcurrency, HostCallsRaceRunningScansAndCleans) {
    Com<TVantrel> engine = MakeEngine({{0, 300}, {1, 300}, {2, 300}});
    for (int round = 0; round < 16; ++round) {
        const bool clean = round % 2 == 1, reset = round % 4 >= 2, smooth = round % 8 < 4;
        ASSERT_TRUE(!clean || ScanToEnd(*engine));
        ASSERT_EQ(clean ? engine->StartCleaning(smooth) : engine->StartScanning(smooth), S_OK);
        std::atomic<bool> stop{false};
        std::thread poller([&] {
            while (!stop.load()) {
                Com<ICategory> current;
                BSTR item = nullptr;
                ProgressOf(*engine);
                Read(*engine, &TVantrel::GetTotalDetectedItems);
                EXPECT_EQ(engine->GetCurrentCategory(current.Put()), S_OK);
                if (engine->GetCurrentItem(&item) == S_OK) FromBstrOwned(item);
            }
        });
        if (reset) {
            if (round % 8 == 2) engine->Pause();
            std::thread other([&] {
                engine->Pause();
                engine->Abort();
            });
            EXPECT_EQ(engine->Reset(), S_OK);
            other.join();
        } else {
            std::mt19937 random(static_cast<unsigned>(round));
            for (int i = 0; i < 200 && !Settled(StateOf(*engine)); ++i) random() % 2 ? engine->Pause() : engine->Resume();
            if (round % 3 == 0) engine->Abort();
            EXPECT_TRUE(WaitUntil([&] {
                engine->Resume();
                return Settled(StateOf(*engine));
            })) << "round " << round;
        }
        stop = true;
        poller.join();
        EXPECT_EQ(StateOf(*engine), reset ? csReady : clean ? csCleaned : csScanned) << "round " << round;
        EXPECT_TRUE(!reset || Read(*engine, &TVantrel::GetTotalDetectedItems) + Cat(*engine, 0).DetectedItems().Count() == 0)
            << "round " << round;
    }
}

// Destroying the engine while its worker runs (busy, held at a gate, paused,
// climbing smooth progress, or cleaning) aborts, wakes and joins it before freeing.
TEST(EngineConcurrency, DestroyingTheEngineWhileItsWorkerRunsIsSafe) {
    enum class Held { Busy, AtGate, Paused, Smooth, Cleaning };
    for (Held held : {Held::Busy, Held::AtGate, Held::Paused, Held::Smooth, Held::Cleaning}) {
        SCOPED_TRACE(static_cast<int>(held));
        Com<TVantrel> engine = MakeEngine({{0, 2000}, {1, 2000}});
        // Kept beyond the engine, to see that the worker has left it.
        const Com<FakeCategory> kept(&Cat(*engine, 0));
        FakeCategory& first = *kept;
        const bool cleaning = held == Held::Cleaning;
        ASSERT_TRUE(!cleaning || ScanToEnd(*engine));
        first.gateInRemove = cleaning;
        first.gateClosed = held != Held::Busy;
        if (held == Held::Smooth) first.atGate = [](FakeCategory& c) { c.Engine().SetProgress(100); };
        const int before = first.gateArrivals.load();
        ASSERT_EQ(cleaning ? engine->StartCleaning(false) : engine->StartScanning(held == Held::Smooth), S_OK);
        ASSERT_TRUE(held == Held::Busy || WaitUntil([&] { return first.gateArrivals.load() > before; }));
        if (held == Held::Paused) engine->Pause();
        engine = nullptr;  // the last reference: the destructor joins the worker
        EXPECT_EQ(first.active.load(), 0) << "the worker still runs in the category";
    }
}

}  // namespace
}  // namespace vt::testing
