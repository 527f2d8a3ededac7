// The one category the tests use, in the model's tests over a
// FakeEngineContext and in the engine's over a real TVantrel. It is written
// the way a product category is (a descriptor, Search through the found-item
// helper) and lets each test set what it answers, hold its worker at a gate,
// and count the yields of its progress reports on a clock the test moves.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "model/VTCategory.h"
#include "model/VTSections.h"

namespace vt::testing {

struct FakeCategorySetup {
    std::int32_t id = 0;
    // Search finds this many files, C:\cat<id>\item<i>.
    std::int32_t items = 0;
    bool installed = true;
    bool disabledByDefault = false;
    // Set by the constructor, as a product category sets its program's name.
    std::wstring taskName{};
    std::int32_t fireOnItem = 0;
    bool oneDetectedItem = false;
};

class FakeCategory final : public TVTCategory {
public:
    explicit FakeCategory(TVantrelShare& AVantrel, const FakeCategorySetup& ASetup = {});

    static std::wstring LocationOf(std::int32_t id, std::int32_t i);
    // The catalogue row of a FakeCategory.
    static TCategoryRow Row(const FakeCategorySetup& ASetup) { return CategoryRow<FakeCategory>(ASetup); }

    TVantrelShare& Engine() { return FVantrel; }
    // Adds a checked item with this location (also its name), as a search does.
    Com<TDetectedItem> AddFound(const std::wstring& location) { return AddFoundItem({.Name = location, .Location = location}); }
    Com<TDetectedItem> HandleFound(const TFoundItem& found, std::int32_t total, bool& stop) {
        return HandleFoundItem(found, total, stop);
    }
    void SetOneDetectedItemCategory(bool v) { FIsOneDetectedItemCategory = v; }

    bool RemoveItem(TDetectedItem& item) override;
    void Search() override;
    std::int32_t RemoveDetected() override;
    bool CheckIfInstalled() override;
    bool BeforeRemove() override { return beforeRemove; }
    std::int32_t GetPendingCount() override { return pending; }
    std::uint32_t YieldTickCount() override { return clock; }
    void YieldPause() override { ++yields; }

    // The item-change handler a list calls: records the item's check mark,
    // then runs the base's handler; none while handlerAttached is false.
    HRESULT STDMETHODCALLTYPE GetOnDetectedItemChange(TDetectedItemChange* handler) override;

    // Waits while the gate is closed, polling IsAborted as a search does between units.
    void WaitAtGate();

    FakeCategorySetup setup;
    // Search (and, with gateInRemove, the clean) waits at the gate while it is closed.
    std::atomic<bool> gateClosed{false};
    bool gateInRemove = false;
    // Runs on the worker when the gate is reached, before the arrival is counted.
    std::function<void(FakeCategory&)> atGate;
    std::atomic<int> gateArrivals{0};
    // Replaces the base removal walk when set.
    std::function<void(FakeCategory&)> onRemove;
    std::wstring failLocation;  // the removal of this location fails
    std::vector<std::wstring> removedLocations;
    bool beforeRemove = true;
    std::atomic<int> searches{0};
    // Search and RemoveDetected calls under way (the worker is inside this category).
    std::atomic<int> active{0};
    int installChecks = 0;
    std::int32_t pending = 0;
    std::uint32_t clock = 0;  // the tick the yield reads
    int yields = 0;
    bool handlerAttached = true;
    std::mutex changesLock;     // lists call the handler from the worker and the host
    std::vector<bool> changes;  // the check mark each handler call saw
};

}  // namespace vt::testing
