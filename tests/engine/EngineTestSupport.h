// Engines over categories written for the tests: a category whose Search adds
// N items and polls IsAborted between them, that can be held at a gate until
// the test opens it, and that can be made to throw.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "engine/Report.h"
#include "engine/Vantrel.h"
#include "model/VTSections.h"
#include "runtime/ComBoundary.h"
#include "runtime/ComStream.h"
#include "runtime/Exception.h"

namespace vt::testing {

// Polls pred until it holds or the time limit passes; returns pred().
template <class Pred>
bool WaitUntil(Pred pred, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!pred()) {
        if (std::chrono::steady_clock::now() > deadline) return pred();
        std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

class TestCategory final : public TVTCategory {
public:
    TestCategory(TVantrelShare& v, std::int32_t id, std::int32_t items) : TVTCategory(v), items_(items) {
        FId = id;
        fName = L"Test " + std::to_wstring(id);
    }

    // --- behaviour, set before a run ---
    // Search (and, with gateInRemove, the clean) waits here while the gate is
    // closed, polling IsAborted as a real category does between units.
    std::atomic<bool> gateClosed{false};
    bool gateInRemove = false;
    // Runs once when the gate is reached (on the worker).
    std::function<void(TestCategory&)> atGate;
    bool throwInSearch = false;
    // Locations whose removal fails.
    std::set<std::wstring> failLocations;
    // Replaces the base removal walk when set.
    std::function<void(TestCategory&)> onRemove;

    // --- what happened ---
    std::atomic<int> searches{0};
    std::atomic<int> gateArrivals{0};
    std::atomic<int> itemsAdded{0};

    static std::wstring LocationOf(std::int32_t id, std::int32_t i) {
        return L"C:\\cat" + std::to_wstring(id) + L"\\item" + std::to_wstring(i);
    }
    TVantrelShare& Engine() { return FVantrel; }

    bool RemoveItem(TDetectedItem& item) override { return failLocations.count(item.Location()) == 0; }
    std::wstring ClassName() const override { return L"TTestCategory"; }

    void Search() override {
        ++searches;
        if (throwInSearch) ThrowGeneral(L"Search failed on purpose");
        WaitAtGate();
        for (std::int32_t i = 0; i < items_; ++i) {
            if (FVantrel.IsAborted()) return;
            Com<TDetectedItem> item = MakeCom<TDetectedItem>();
            item->SetItemName(L"item" + std::to_wstring(i));
            item->SetLocation(LocationOf(FId, i));
            FDetectedItems->AddItem(item, true);
            ++itemsAdded;
            FVantrel.SetCurrentItem(item.Get(), 1, 1);
        }
    }

    std::int32_t RemoveDetected() override {
        if (gateInRemove) WaitAtGate();
        if (onRemove) {
            onRemove(*this);
            return 0;
        }
        return TVTCategory::RemoveDetected();
    }

private:
    void WaitAtGate() {
        // Counted after the gate action, so a test that waits for an arrival sees its effect.
        if (atGate) atGate(*this);
        ++gateArrivals;
        while (gateClosed.load() && !FVantrel.IsAborted()) std::this_thread::sleep_for(std::chrono::microseconds(200));
    }

    const std::int32_t items_;
};

struct CategoryShape {
    std::int32_t id;
    std::int32_t items;
};

inline Com<TVantrel> MakeEngine(const std::vector<CategoryShape>& shapes) {
    TCategoryCatalogue catalogue;
    for (const CategoryShape& shape : shapes) catalogue.push_back(CategoryRow<TestCategory>(shape.id, shape.items));
    return MakeCom<TVantrel>(catalogue);
}

inline TestCategory& Cat(TVantrel& engine, std::int32_t index) {
    return dynamic_cast<TestCategory&>(engine.Categories().GetItemObj(index));
}

inline TCleanerState StateOf(TVantrel& engine) {
    TCleanerState state = csReady;
    EXPECT_EQ(engine.GetState(&state), S_OK);
    return state;
}

inline bool ReachesState(TVantrel& engine, TCleanerState wanted) {
    return WaitUntil([&] { return StateOf(engine) == wanted; });
}

inline double ProgressOf(TVantrel& engine) {
    double value = -1;
    EXPECT_EQ(engine.GetProgress(&value), S_OK);
    return value;
}

inline std::int32_t Totals(TVantrel& engine, HRESULT (TVantrel::*getter)(std::int32_t*)) {
    std::int32_t value = -1;
    EXPECT_EQ((engine.*getter)(&value), S_OK);
    return value;
}

inline bool ScanToEnd(TVantrel& engine) {
    return engine.StartScanning(false) == S_OK && ReachesState(engine, csScanned);
}

}  // namespace vt::testing
