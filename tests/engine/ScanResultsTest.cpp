// Saving scan results into a host stream and loading them into a fresh engine.
#include <cstring>

#include "EngineTestSupport.h"

namespace vt::testing {
namespace {

std::vector<std::uint8_t> SavedScan(const std::vector<CategoryShape>& shapes) {
    Com<TVantrel> engine = MakeEngine(shapes);
    EXPECT_TRUE(ScanToEnd(*engine));
    // Longer than the results: saving must cut the stream to what it wrote.
    Com<TMemoryIStream> stream = MakeCom<TMemoryIStream>(std::vector<std::uint8_t>(100, 0xEE));
    EXPECT_EQ(engine->SaveScanResults(stream.Get()), S_OK);
    return stream->Bytes();
}

HRESULT Load(TVantrel& engine, std::vector<std::uint8_t> bytes) {
    Com<TMemoryIStream> stream = MakeCom<TMemoryIStream>(std::move(bytes));
    return engine.LoadScanResults(stream.Get());
}

TEST(ScanResults, SaveThenLoadRoundTripsTotalsItemsAndMarks) {
    const std::vector<std::uint8_t> bytes = SavedScan({{0, 3}, {1, 2}});
    EXPECT_EQ(std::memcmp(bytes.data(), "VT_SCAN", 7), 0);
    // The loader has one more category, absent from the results: it ends unchecked.
    Com<TVantrel> loaded = MakeEngine({{0, 3}, {1, 2}, {2, 1}});
    ASSERT_EQ(Load(*loaded, bytes), S_OK);
    EXPECT_EQ(StateOf(*loaded), csScanned);
    EXPECT_FALSE(Cat(*loaded, 2).Enabled());
    EXPECT_EQ(Read(*loaded, &TVantrel::GetTotalDetectedItems), 5);
    EXPECT_EQ(Read(*loaded, &TVantrel::GetTotalScannedItems), 5);
    for (std::int32_t c = 0; c < 2; ++c) {
        TDetectedItems& items = Cat(*loaded, c).DetectedItems();
        ASSERT_EQ(items.Count(), 3 - c) << c;
        for (std::int32_t i = 0; i < items.Count(); ++i)
            EXPECT_EQ(items.Get(i)->Location(), FakeCategory::LocationOf(c, i));
        EXPECT_TRUE(Cat(*loaded, c).Enabled());
    }
    ASSERT_EQ(loaded->StartCleaning(false), S_OK);  // loaded results can be cleaned
    EXPECT_TRUE(ReachesState(*loaded, csCleaned));
}

// A failed load leaves the engine csReady, without results, with the host's
// check marks, and able to scan.
TEST(ScanResults, FailedLoadsLeaveTheEngineUsable) {
    const std::vector<CategoryShape> shapes = {{0, 3}, {1, 2}};
    const std::vector<std::uint8_t> good = SavedScan(shapes);
    auto truncated = good;
    truncated.resize(good.size() - 5);
    auto badSignature = good;
    badSignature[3] = 'X';
    auto unknownCategory = good;
    const std::int32_t bogusId = 42;
    std::memcpy(unknownCategory.data() + 27, &bogusId, 4);  // the first entry's identifier
    struct Case {
        const char* name;
        std::vector<std::uint8_t> bytes;
        std::vector<CategoryShape> loader;
        HRESULT hr;
        const wchar_t* message;
    };
    const Case cases[] = {
        {"truncated", truncated, shapes, E_FAIL, L"Stream read error"},
        {"bad signature", badSignature, shapes, E_ILLEGAL_METHOD_CALL, L""},
        {"shorter than the signature", {'V', 'T'}, shapes, E_ILLEGAL_METHOD_CALL, L""},
        {"unknown category", unknownCategory, shapes, E_FAIL, L"Category not found!"},
        // The count includes categories without items, which write no entry.
        {"category without items", SavedScan({{0, 3}, {1, 0}}), {{0, 3}, {1, 0}}, E_FAIL, L"Stream read error"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Com<TVantrel> engine = MakeEngine(c.loader);
        Cat(*engine, 1).SetEnabledValue(false);
        EXPECT_EQ(Load(*engine, c.bytes), c.hr);
        EXPECT_EQ(TakeErrorInfoMessage(), c.message);
        EXPECT_EQ(StateOf(*engine), csReady);
        EXPECT_EQ(Read(*engine, &TVantrel::GetTotalDetectedItems), 0);
        EXPECT_EQ(Cat(*engine, 0).DetectedItems().Count(), 0);
        EXPECT_TRUE(Cat(*engine, 0).Enabled());
        EXPECT_FALSE(Cat(*engine, 1).Enabled());
        ASSERT_TRUE(ScanToEnd(*engine));
        EXPECT_EQ(Cat(*engine, 0).DetectedItems().Count(), 3);
    }

    Com<TVantrel> engine = MakeEngine(shapes);
    EXPECT_EQ(engine->LoadScanResults(nullptr), E_POINTER);
    ASSERT_TRUE(ScanToEnd(*engine));
    EXPECT_EQ(engine->SaveScanResults(nullptr), E_POINTER);
}

}  // namespace
}  // namespace vt::testing
