// Engines over the tests' FakeCategory: its Search finds N items and asks
// IsAborted after each, and it can be held at a gate until the test opens it.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "engine/Vantrel.h"
#include "model/VTSections.h"
#include "runtime/ComBoundary.h"
#include "runtime/ComStream.h"
#include "support/FakeCategory.h"

namespace vt::testing {

// Polls pred until it holds or the time limit passes; returns pred().
template <class Pred>
bool WaitUntil(Pred pred, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!pred() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    return pred();
}

struct CategoryShape {
    std::int32_t id, items;
};

inline Com<TVantrel> MakeEngine(const std::vector<CategoryShape>& shapes) {
    TCategoryCatalogue catalogue;
    for (const CategoryShape& shape : shapes) catalogue.push_back(FakeCategory::Row({.id = shape.id, .items = shape.items}));
    return MakeCom<TVantrel>(catalogue);
}

inline FakeCategory& Cat(TVantrel& engine, std::int32_t index) {
    return dynamic_cast<FakeCategory&>(engine.Categories().GetItemObj(index));
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
