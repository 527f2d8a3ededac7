#include "engine/Report.h"

#include <chrono>
#include <cmath>
#include <ctime>

#include "model/VTSections.h"
#include "runtime/ComBoundary.h"

namespace vt {

namespace {
constexpr std::int64_t kMillisecondsPerDay = 24LL * 60 * 60 * 1000;
constexpr double kSecondsPerDay = 24.0 * 60 * 60;
}  // namespace

TVTReport::TVTReport(TVTCategories& ACategories) : FCategories(&ACategories) {}

void TVTReport::Detach() {
    std::lock_guard<std::mutex> guard(FLock);
    FCategories = nullptr;
    // Counts taken while the engine lived are dropped with it.
    ResetLocked();
}

void TVTReport::ResetCounters() {
    std::lock_guard<std::mutex> guard(FLock);
    ResetLocked();
}

void TVTReport::ResetLocked() {
    fEnumerated = false;
    fFoundItems = fSelectedItems = fRemovedItems = fFailedToRemove = fIgnoredItems = 0;
    fTotalFilesSize = fWipeSize = 0;
}

void TVTReport::CountLocked() {
    ResetLocked();
    if (FCategories != nullptr) {
        for (std::int32_t c = 0; c < FCategories->Count(); ++c) {
            TDetectedItems& items = FCategories->GetItemObj(c).DetectedItems();
            std::int64_t size = 0;
            if (SUCCEEDED(items.GetTotalSize(&size))) fTotalFilesSize += size;
            // The list holds group heads and single items; folded items sit
            // inside their heads and are not counted.
            const std::int32_t count = items.Count();
            for (std::int32_t i = 0; i < count; ++i) {
                Com<TDetectedItem> item = items.Get(i);
                if (!item) continue;  // the list shrank while counting
                if (item->Checked())
                    ++fSelectedItems;
                else
                    ++fIgnoredItems;
                if (item->ItemFailedToRemove()) {
                    ++fFailedToRemove;
                } else if (item->RemovingWasPerformed()) {
                    ++fRemovedItems;
                    fWipeSize += item->WipeSize();
                }
                ++fFoundItems;
            }
        }
    }
    fEnumerated = true;
}

std::int64_t TVTReport::GetTotalFilesSize(bool ASaveEnumerate) {
    std::lock_guard<std::mutex> guard(FLock);
    EnsureCountedLocked();
    fEnumerated = ASaveEnumerate;
    return fTotalFilesSize;
}

std::int32_t TVTReport::RemovedItems() {
    std::lock_guard<std::mutex> guard(FLock);
    EnsureCountedLocked();
    return fRemovedItems;
}

void TVTReport::SetScanStarted(double ATime) {
    std::lock_guard<std::mutex> guard(FLock);
    ScanStarted = ATime;
}

void TVTReport::SetScanComplete(double ATime) {
    std::lock_guard<std::mutex> guard(FLock);
    ScanComplete = ATime;
}

void TVTReport::SetCleanStarted(double ATime) {
    std::lock_guard<std::mutex> guard(FLock);
    CleanStarted = ATime;
}

void TVTReport::SetCleanComplete(double ATime) {
    std::lock_guard<std::mutex> guard(FLock);
    CleanComplete = ATime;
}

double TVTReport::TimeOfDayNow() {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    const auto millis = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm local{};
#if defined(_WIN32)
    localtime_s(&local, &seconds);
#else
    localtime_r(&seconds, &local);
#endif
    const std::int64_t ms = ((local.tm_hour * 60LL + local.tm_min) * 60 + local.tm_sec) * 1000 + millis;
    return static_cast<double>(ms) / kMillisecondsPerDay;
}

double TVTReport::WholeSecondsBetween(double AStart, double AEnd) {
    // Rounded to milliseconds first so that the representation error of the
    // day fractions does not turn 5 s into 4.999 s.
    std::int64_t ms = std::llround((AEnd - AStart) * kMillisecondsPerDay);
    if (ms < 0) ms += kMillisecondsPerDay;
    return static_cast<double>(ms / 1000) / kSecondsPerDay;
}

HRESULT TVTReport::GetScanTime(double* time) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(FLock);
        *Out(time) = WholeSecondsBetween(ScanStarted, ScanComplete);
    });
}

HRESULT TVTReport::GetCleanTime(double* time) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(FLock);
        *Out(time) = WholeSecondsBetween(CleanStarted, CleanComplete);
    });
}

#define VT_REPORT_COUNTER(method, type, field)          \
    HRESULT TVTReport::method(type* value) {            \
        return Guarded([&] {                            \
            std::lock_guard<std::mutex> guard(FLock);   \
            type* out = Out(value);                     \
            EnsureCountedLocked();                      \
            *out = field;                               \
        });                                             \
    }
VT_REPORT_COUNTER(GetFoundItems, std::int32_t, fFoundItems)
VT_REPORT_COUNTER(GetSelectedItems, std::int32_t, fSelectedItems)
VT_REPORT_COUNTER(GetRemovedItems, std::int32_t, fRemovedItems)
VT_REPORT_COUNTER(GetFailedToRemove, std::int32_t, fFailedToRemove)
VT_REPORT_COUNTER(GetIgnoredItems, std::int32_t, fIgnoredItems)
VT_REPORT_COUNTER(GetWipeSize, std::int64_t, fWipeSize)
#undef VT_REPORT_COUNTER

HRESULT TVTReport::Reset() {
    return Guarded([&] { ResetCounters(); });
}

}  // namespace vt
