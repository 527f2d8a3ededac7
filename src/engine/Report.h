// TVTReport: the summary of the last scan and clean for the host
// (IVantrelReport): items found, selected, removed, failed and left
// unselected, bytes of the found files, bytes wiped, and how long the scan
// and the clean took. The engine stamps the four times, resets the report
// with the categories and makes it count at the end of a clean.
//
// Counting walks the registry once and is then served unchanged until Reset
// or GetTotalFilesSize(false), even when items change meanwhile.
//
// Times are OLE time values (fraction of a day) of the local time of day.
// A run whose end stamp lies before its start stamp crossed midnight: its
// duration gets one day added (runs longer than a day cannot be told apart).
//
// Thread-safe: the host reads it while the engine's worker stamps it.
#pragma once

#include <cstdint>
#include <mutex>

#include "runtime/ComObject.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

class TVTCategories;

class TVTReport final : public ComObject<IVantrelReport> {
public:
    // Counts over ACategories, which must outlive the report or be detached first.
    explicit TVTReport(TVTCategories& ACategories);

    // Forgets the registry and the counts (the engine is going); later counts find nothing.
    void Detach();

    // Counters, sizes and the counted mark to zero; the four stamps are kept.
    void ResetCounters();
    // Counts when not current, then keeps the count only when ASaveEnumerate
    // (false makes the next getter count again); the sum of the lists' file sizes.
    std::int64_t GetTotalFilesSize(bool ASaveEnumerate);
    // The removed-items count (counting first when not current).
    std::int32_t RemovedItems();

    void SetScanStarted(double ATime);
    void SetScanComplete(double ATime);
    void SetCleanStarted(double ATime);
    void SetCleanComplete(double ATime);

    // The local time of day now, as a fraction of a day.
    static double TimeOfDayNow();
    // Whole seconds from AStart to AEnd (times of day), as a time value;
    // AEnd before AStart counts as crossing midnight.
    static double WholeSecondsBetween(double AStart, double AEnd);

    // IVantrelReport
    HRESULT STDMETHODCALLTYPE GetScanTime(double* time) override;
    HRESULT STDMETHODCALLTYPE GetCleanTime(double* time) override;
    HRESULT STDMETHODCALLTYPE GetFoundItems(std::int32_t* count) override;
    HRESULT STDMETHODCALLTYPE GetSelectedItems(std::int32_t* count) override;
    HRESULT STDMETHODCALLTYPE GetRemovedItems(std::int32_t* count) override;
    HRESULT STDMETHODCALLTYPE GetFailedToRemove(std::int32_t* count) override;
    HRESULT STDMETHODCALLTYPE GetIgnoredItems(std::int32_t* count) override;
    HRESULT STDMETHODCALLTYPE GetWipeSize(std::int64_t* size) override;
    HRESULT STDMETHODCALLTYPE Reset() override;

private:
    void ResetLocked();
    void CountLocked();
    void EnsureCountedLocked() {
        if (!fEnumerated) CountLocked();
    }

    std::mutex FLock;
    TVTCategories* FCategories;
    bool fEnumerated = false;
    std::int32_t fFoundItems = 0;
    std::int32_t fSelectedItems = 0;
    std::int32_t fRemovedItems = 0;
    std::int32_t fFailedToRemove = 0;
    std::int32_t fIgnoredItems = 0;
    std::int64_t fTotalFilesSize = 0;
    std::int64_t fWipeSize = 0;
    double ScanStarted = 0;
    double ScanComplete = 0;
    double CleanStarted = 0;
    double CleanComplete = 0;
};

}  // namespace vt
