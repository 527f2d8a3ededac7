// The report's counting rules and durations.
#include <cmath>

#include "EngineTestSupport.h"
#include "engine/Report.h"

namespace vt::testing {
namespace {

double Seconds(int h, int m, int s) { return ((h * 60.0 + m) * 60.0 + s) / 86400.0; }

TEST(Report, DurationsAreWholeSecondsAndCrossMidnight) {
    // 5 s of day fractions must not lose a second to rounding error; 5.9 s is cut to 5 s.
    for (const double extra : {0.0, 0.9}) {
        const double span = TVTReport::WholeSecondsBetween(Seconds(10, 0, 0), Seconds(10, 0, 5) + extra / 86400);
        EXPECT_EQ(std::llround(span * 86400), 5) << extra;
    }
    Com<TVantrel> engine = MakeEngine({});
    TVTReport& report = engine->Report();
    report.SetScanStarted(Seconds(10, 0, 0));
    report.SetScanComplete(Seconds(10, 0, 5));
    report.SetCleanStarted(Seconds(23, 59, 50));
    report.SetCleanComplete(Seconds(0, 0, 10));
    EXPECT_EQ(std::llround(Read<double>(report, &TVTReport::GetScanTime) * 86400), 5);
    EXPECT_EQ(std::llround(Read<double>(report, &TVTReport::GetCleanTime) * 86400), 20);
    const double now = TVTReport::TimeOfDayNow();
    EXPECT_TRUE(now >= 0 && now < 1) << now;
}

TEST(Report, CountsAfreshAfterACleanKeepsTheCountAndForgetsItWithTheEngine) {
    Com<TVantrel> engine = MakeEngine({{0, 4}, {1, 2}});
    TDetectedItems& items = Cat(*engine, 0).DetectedItems();
    Cat(*engine, 0).failLocation = FakeCategory::LocationOf(0, 3);
    ASSERT_TRUE(ScanToEnd(*engine));
    Com<IVantrelReport> report;
    ASSERT_EQ(engine->QueryInterface(IidOf<IVantrelReport>(), reinterpret_cast<void**>(report.Put())), S_OK);
    // The host reads the report after the scan: the clean must count afresh all the same.
    EXPECT_EQ(Read(*report, &IVantrelReport::GetRemovedItems), 0);
    ASSERT_EQ(items.Get(1)->SetEnabled(false), S_OK);
    ASSERT_EQ(engine->StartCleaning(false), S_OK);
    ASSERT_TRUE(ReachesState(*engine, csCleaned));
    std::vector<std::int32_t> counts;  // found, selected, ignored (found but unchecked), removed, failed
    for (auto getter : {&IVantrelReport::GetFoundItems, &IVantrelReport::GetSelectedItems,
                        &IVantrelReport::GetIgnoredItems, &IVantrelReport::GetRemovedItems,
                        &IVantrelReport::GetFailedToRemove})
        counts.push_back(Read(*report, getter));
    EXPECT_EQ(counts, (std::vector<std::int32_t>{6, 5, 1, 4, 1}));
    EXPECT_EQ(Read<std::int64_t>(*report, &IVantrelReport::GetWipeSize), 0);

    // Counted once: a change is not seen until a recount is asked for.
    ASSERT_EQ(Cat(*engine, 1).DetectedItems().Get(0)->SetEnabled(false), S_OK);
    EXPECT_EQ(engine->Report().GetTotalFilesSize(true), 0);  // keeps the count
    EXPECT_EQ(Read(*report, &IVantrelReport::GetIgnoredItems), 1);
    // Only removed items add their wipe size; the failed one (item 3) does not.
    items.Get(0)->SetWipeSize(100);
    items.Get(3)->SetWipeSize(1000);
    EXPECT_EQ(engine->Report().GetTotalFilesSize(false), 0);  // the next getter counts again
    EXPECT_EQ(Read(*report, &IVantrelReport::GetIgnoredItems), 2);
    EXPECT_EQ(Read<std::int64_t>(*report, &IVantrelReport::GetWipeSize), 100);

    // A new scan resets the report with the categories.
    ASSERT_TRUE(ScanToEnd(*engine));
    EXPECT_EQ(Read(*report, &IVantrelReport::GetRemovedItems), 0);
    EXPECT_EQ(Read(*report, &IVantrelReport::GetFoundItems), 6);
    // A report held after the engine is gone counts nothing.
    engine = nullptr;
    EXPECT_EQ(Read(*report, &IVantrelReport::GetFoundItems), 0);
}

}  // namespace
}  // namespace vt::testing
