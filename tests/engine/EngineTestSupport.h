// Engines over categories written for the tests: a category whose Search adds
// N items and polls IsAborted between them, and that can be held at a gate
// until the test opens it.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "engine/Vantrel.h"
#include "model/VTSections.h"
#include "runtime/ComBoundary.h"
#include "runtime/ComStream.h"

namespace vt::testing {

// Polls pred until it holds or the time limit passes; returns pred().
template <class Pred>
bool WaitUntil(Pred pred, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!pred() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    return pred();
}

class TestCategory final : public TVTCategory {
public:
    TestCategory(TVantrelShare& v, std::int32_t id, std::int32_t items) : TVTCategory(v), items_(items) { FId = id; }

    // Search (and, with gateInRemove, the clean) waits here while the gate is
    // closed, polling IsAborted as a real category does between units.
    std::atomic<bool> gateClosed{false};
    bool gateInRemove = false;
    // Runs on the worker when the gate is reached, before the arrival is counted.
    std::function<void(TestCategory&)> atGate;
    std::atomic<int> gateArrivals{0};
    std::wstring failLocation;  // the removal of this location fails
    // Replaces the base removal walk when set.
    std::function<void(TestCategory&)> onRemove;

    static std::wstring LocationOf(std::int32_t id, std::int32_t i) {
        return L"C:\\cat" + std::to_wstring(id) + L"\\item" + std::to_wstring(i);
    }
    TVantrelShare& Engine() { return FVantrel; }

    bool RemoveItem(TDetectedItem& item) override { return item.Location() != failLocation; }

    void Search() override {
        WaitAtGate();
        for (std::int32_t i = 0; i < items_ && !FVantrel.IsAborted(); ++i) {
            Com<TDetectedItem> item = MakeCom<TDetectedItem>();
            item->SetItemName(L"item" + std::to_wstring(i));
            item->SetLocation(LocationOf(FId, i));
            FDetectedItems->AddItem(item, true);
            FVantrel.SetCurrentItem(item.Get(), 1, 1);
        }
    }

    std::int32_t RemoveDetected() override {
        if (gateInRemove) WaitAtGate();
        if (!onRemove) return TVTCategory::RemoveDetected();
        onRemove(*this);
        return 0;
    }

    void WaitAtGate() {
        if (atGate) atGate(*this);
        ++gateArrivals;
        while (gateClosed.load() && !FVantrel.IsAborted()) std::this_thread::sleep_for(std::chrono::microseconds(200));
    }

    const std::int32_t items_;
};

struct CategoryShape {
    std::int32_t id, items;
};

inline Com<TVantrel> MakeEngine(const std::vector<CategoryShape>& shapes) {
    TCategoryCatalogue catalogue;
    for (const CategoryShape& shape : shapes) catalogue.push_back(CategoryRow<TestCategory>(shape.id, shape.items));
    return MakeCom<TVantrel>(catalogue);
}

inline TestCategory& Cat(TVantrel& engine, std::int32_t index) {
    return dynamic_cast<TestCategory&>(engine.Categories().GetItemObj(index));
}

// What a getter of the engine or the report answers; the getter must succeed.
template <class T = std::int32_t, class Object, class Getter>
T Read(Object& object, Getter getter) {
    T value = static_cast<T>(-1);
    EXPECT_EQ((object.*getter)(&value), S_OK);
    return value;
}

inline TCleanerState StateOf(TVantrel& engine) { return Read<TCleanerState>(engine, &TVantrel::GetState); }
inline double ProgressOf(TVantrel& engine) { return Read<double>(engine, &TVantrel::GetProgress); }

inline bool ReachesState(TVantrel& engine, TCleanerState wanted) {
    return WaitUntil([&] { return StateOf(engine) == wanted; });
}

inline bool ScanToEnd(TVantrel& engine) {
    return engine.StartScanning(false) == S_OK && ReachesState(engine, csScanned);
}

}  // namespace vt::testing
