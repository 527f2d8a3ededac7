// The report's counting rules and durations.
#include <cmath>

#include "EngineTestSupport.h"

namespace vt::testing {
namespace {

double Seconds(int h, int m, int s) { return ((h * 60.0 + m) * 60.0 + s) / 86400.0; }

TEST(Report, DurationsAreWholeSecondsAndCrossMidnight) {
    struct Case {
        double start, end;
        int seconds;
    };
    const Case cases[] = {
        {Seconds(10, 0, 0), Seconds(10, 0, 5), 5},
        {Seconds(10, 0, 0), Seconds(10, 0, 5) + 0.9 / 86400, 5},  // fractions are dropped
        {Seconds(10, 0, 0), Seconds(10, 0, 0), 0},
        {Seconds(23, 59, 50), Seconds(0, 0, 10), 20},  // across midnight
        {Seconds(0, 0, 0), Seconds(23, 59, 59), 86399},
    };
    Com<TVantrel> engine = MakeEngine({});
    TVTReport& report = engine->Report();
    for (const Case& c : cases) {
        report.SetScanStarted(c.start);
        report.SetScanComplete(c.end);
        report.SetCleanStarted(c.start);
        report.SetCleanComplete(c.end);
        double scan = -1, clean = -1;
        ASSERT_EQ(report.GetScanTime(&scan), S_OK);
        ASSERT_EQ(report.GetCleanTime(&clean), S_OK);
        EXPECT_EQ(std::llround(scan * 86400), c.seconds) << c.seconds;
        EXPECT_EQ(scan * 86400, std::floor(scan * 86400 + 1e-6)) << "whole seconds";
        EXPECT_EQ(clean, scan);
    }
    const double now = TVTReport::TimeOfDayNow();
    EXPECT_GE(now, 0.0);
    EXPECT_LT(now, 1.0);
}

TEST(Report, CountsAfterACleanAndRecountsOnlyWhenAsked) {
    Com<TVantrel> engine = MakeEngine({{0, 4}, {1, 2}});
    Cat(*engine, 0).failLocations = {TestCategory::LocationOf(0, 3)};
    ASSERT_TRUE(ScanToEnd(*engine));
    Com<IVantrelReport> report;
    ASSERT_EQ(engine->QueryInterface(IidOf<IVantrelReport>(), reinterpret_cast<void**>(report.Put())), S_OK);
    // The host reads the report after the scan: the clean must count afresh all the same.
    std::int32_t before = -1;
    ASSERT_EQ(report->GetRemovedItems(&before), S_OK);
    EXPECT_EQ(before, 0);
    Com<TDetectedItem> unchecked = Cat(*engine, 0).DetectedItems().Get(1);
    ASSERT_EQ(unchecked->SetEnabled(false), S_OK);
    ASSERT_EQ(engine->StartCleaning(false), S_OK);
    ASSERT_TRUE(ReachesState(*engine, csCleaned));

    struct Expect {
        HRESULT (STDMETHODCALLTYPE IVantrelReport::*getter)(std::int32_t*);
        std::int32_t value;
        const char* name;
    };
    const Expect expected[] = {
        {&IVantrelReport::GetFoundItems, 6, "found"},
        {&IVantrelReport::GetSelectedItems, 5, "selected"},
        {&IVantrelReport::GetIgnoredItems, 1, "ignored (found but unchecked)"},
        {&IVantrelReport::GetRemovedItems, 4, "removed"},
        {&IVantrelReport::GetFailedToRemove, 1, "failed"},
    };
    for (const Expect& e : expected) {
        std::int32_t value = -1;
        ASSERT_EQ(((*report).*e.getter)(&value), S_OK);
        EXPECT_EQ(value, e.value) << e.name;
    }
    std::int64_t wiped = -1;
    ASSERT_EQ(report->GetWipeSize(&wiped), S_OK);
    EXPECT_EQ(wiped, 0);

    // Counted once: a change is not seen until a recount is asked for.
    ASSERT_EQ(Cat(*engine, 1).DetectedItems().Get(0)->SetEnabled(false), S_OK);
    std::int32_t ignored = -1;
    ASSERT_EQ(report->GetIgnoredItems(&ignored), S_OK);
    EXPECT_EQ(ignored, 1);
    EXPECT_EQ(engine->Report().GetTotalFilesSize(true), 0);  // keeps the count
    ASSERT_EQ(report->GetIgnoredItems(&ignored), S_OK);
    EXPECT_EQ(ignored, 1);
    // Only removed items add their wipe size; the failed one (item 3) does not.
    Cat(*engine, 0).DetectedItems().Get(0)->SetWipeSize(100);
    Cat(*engine, 0).DetectedItems().Get(3)->SetWipeSize(1000);
    EXPECT_EQ(engine->Report().GetTotalFilesSize(false), 0);  // next getter counts again
    ASSERT_EQ(report->GetIgnoredItems(&ignored), S_OK);
    EXPECT_EQ(ignored, 2);
    ASSERT_EQ(report->GetWipeSize(&wiped), S_OK);
    EXPECT_EQ(wiped, 100);

    // A new scan resets the report with the categories.
    ASSERT_TRUE(ScanToEnd(*engine));
    std::int32_t removed = -1;
    ASSERT_EQ(report->GetRemovedItems(&removed), S_OK);
    EXPECT_EQ(removed, 0);
}

TEST(Report, OutlivingTheEngineCountsNothing) {
    Com<IVantrelReport> report;
    {
        Com<TVantrel> engine = MakeEngine({{0, 2}});
        ASSERT_TRUE(ScanToEnd(*engine));
        ASSERT_EQ(engine->QueryInterface(IidOf<IVantrelReport>(), reinterpret_cast<void**>(report.Put())), S_OK);
        std::int32_t counted = -1;
        ASSERT_EQ(report->GetFoundItems(&counted), S_OK);
        EXPECT_EQ(counted, 2);
    }
    std::int32_t found = -1;
    ASSERT_EQ(report->GetFoundItems(&found), S_OK);
    EXPECT_EQ(found, 0);
}

}  // namespace
}  // namespace vt::testing
