// The backup service and the wipe helper cannot be swapped under a clean's
// worker, which uses them without the engine's lock.
#include "EngineTestSupport.h"

namespace vt::testing {
namespace {

TEST(ServiceSwap, RefusedWhileACleanRunsAllowedDuringAScanAndBetweenRuns) {
    const struct {
        const char* name;
        bool clean;
        bool pause;
        bool allowed;
    } phases[] = {
        {"scanning", false, false, true},
        {"scan paused", false, true, true},
        {"cleaning", true, false, false},
        {"clean paused", true, true, false},
    };
    for (const auto& phase : phases) {
        SCOPED_TRACE(phase.name);
        TakeErrorInfoMessage();  // what earlier failures on this thread left
        Com<TVantrel> engine = MakeEngine({{0, 2}});
        FakeCategory& cat = Cat(*engine, 0);
        if (phase.clean) {
            ASSERT_TRUE(ScanToEnd(*engine));
        }
        cat.gateInRemove = phase.clean;
        cat.gateClosed = true;
        ASSERT_EQ(phase.clean ? engine->StartCleaning(false) : engine->StartScanning(false), S_OK);
        ASSERT_TRUE(WaitUntil([&] { return cat.gateArrivals.load() > 0; }));
        if (phase.pause) {
            ASSERT_EQ(engine->Pause(), S_OK);
        }

        EXPECT_EQ(engine->SetBackvault(nullptr), phase.allowed ? S_OK : E_FAIL);
        EXPECT_EQ(TakeErrorInfoMessage(),
                  phase.allowed ? L"" : L"The backup service cannot be changed while cleaning");
        EXPECT_EQ(engine->SetWipeDLL(nullptr), phase.allowed ? S_OK : E_FAIL);
        EXPECT_EQ(TakeErrorInfoMessage(), phase.allowed ? L"" : L"The wipe helper cannot be changed while cleaning");

        if (phase.pause) {
            ASSERT_EQ(engine->Resume(), S_OK);
        }
        cat.gateClosed = false;
        ASSERT_TRUE(ReachesState(*engine, phase.clean ? csCleaned : csScanned));
        EXPECT_EQ(engine->SetBackvault(nullptr), S_OK) << "the run is over";
        EXPECT_EQ(engine->SetWipeDLL(nullptr), S_OK);
    }
}

}  // namespace
}  // namespace vt::testing
