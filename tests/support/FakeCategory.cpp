#include "support/FakeCategory.h"

#include <chrono>
#include <thread>

#include "model/VantrelShare.h"

namespace vt::testing {

namespace {

// Counts a call of the worker into the category while it lasts.
class ActiveCall {
public:
    explicit ActiveCall(std::atomic<int>& active) : active_(active) { ++active_; }
    ~ActiveCall() { --active_; }
    ActiveCall(const ActiveCall&) = delete;
    ActiveCall& operator=(const ActiveCall&) = delete;

private:
    std::atomic<int>& active_;
};

void VANTREL_STDCALL RecordCheckMark(void* data, IDetectedItem* item) {
    auto* self = static_cast<FakeCategory*>(data);
    bool enabled = false;
    item->GetEnabled(&enabled);
    {
        std::lock_guard<std::mutex> guard(self->changesLock);
        self->changes.push_back(enabled);
    }
    self->OnItemCheckMarkChanged();
}

}  // namespace

FakeCategory::FakeCategory(TVantrelShare& AVantrel, const FakeCategorySetup& ASetup)
    : TVTCategory(AVantrel, {.Id = ASetup.id,
                             .Name = L"Fake " + std::to_wstring(ASetup.id),
                             .FireOnItem = ASetup.fireOnItem,
                             .OneDetectedItem = ASetup.oneDetectedItem,
                             .DisabledByDefault = ASetup.disabledByDefault,
                             .ClassName = L"TFakeCategory"}),
      setup(ASetup) {
    if (!ASetup.taskName.empty()) SetTaskName(ASetup.taskName);
}

std::wstring FakeCategory::LocationOf(std::int32_t id, std::int32_t i) {
    return L"C:\\cat" + std::to_wstring(id) + L"\\item" + std::to_wstring(i);
}

bool FakeCategory::RemoveItem(TDetectedItem& item) {
    removedLocations.push_back(item.Location());
    return item.Location() != failLocation;
}

void FakeCategory::Search() {
    const ActiveCall call(active);
    ++searches;
    WaitAtGate();
    bool stop = false;
    for (std::int32_t i = 0; i < setup.items && !stop; ++i)
        HandleFoundItem({.Name = L"item" + std::to_wstring(i), .Location = LocationOf(FId, i)}, setup.items, stop);
}

std::int32_t FakeCategory::RemoveDetected() {
    const ActiveCall call(active);
    if (gateInRemove) WaitAtGate();
    if (!onRemove) return TVTCategory::RemoveDetected();
    onRemove(*this);
    return 0;
}

HRESULT FakeCategory::GetOnDetectedItemChange(TDetectedItemChange* handler) {
    TDetectedItemChange base{};
    const HRESULT hr = TVTCategory::GetOnDetectedItemChange(&base);
    // The base detaches its handler during bulk changes; so does this one.
    *handler = {handlerAttached && base.Code ? &RecordCheckMark : nullptr, this};
    return hr;
}

bool FakeCategory::CheckIfInstalled() {
    ++installChecks;
    return setup.installed;
}

void FakeCategory::WaitAtGate() {
    if (atGate) atGate(*this);
    ++gateArrivals;
    while (gateClosed.load() && !FVantrel.IsAborted()) std::this_thread::sleep_for(std::chrono::microseconds(200));
}

}  // namespace vt::testing
