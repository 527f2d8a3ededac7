// TVantrel: the engine behind ICleaner and ICleanerStatistics, and the engine
// context (TVantrelShare) every category calls back into. It owns the
// category registry, the report, the backed-up removal wrapper, the options
// and the worker of the current run; it runs the state machine of a scan
// followed by a clean, turns the categories' reports into overall progress
// and statistics, implements pause and abort, and saves and loads scan
// results. The report is reached through QueryInterface for IVantrelReport.
//
// Threads: fLock guards the state, counters, progress and current category
// and item; the host's calls and the worker's callbacks both take it.
// fRunLock serialises the host operations that create, join or free a worker
// or rewrite the results (start, reset, save, load, destruction); a worker is
// always joined with fLock released, since its last act takes fLock.
//
// Completion: the scan and clean completion handlers run on the worker thread
// as its last act, under fLock. A host polling GetState from a console or a
// service has no message loop through which they could reach its own thread.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "model/CleanerOptions.h"
#include "model/VantrelShare.h"
#include "model/VTSections.h"
#include "runtime/ComObject.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

class TBVWrapper;
class TVTReport;
class TVTProcessThread;
class TVTStringList;

class TVantrel final : public TVantrelShare, public ComObject<ICleaner, ICleanerStatistics> {
public:
    // An engine over the product's catalogue.
    TVantrel();
    // An engine over the given catalogue (tests build engines over categories of their own).
    explicit TVantrel(const TCategoryCatalogue& ACatalogue);

    // --- TVantrelShare ---
    TBVWrapper& GetBVWrapper() override { return *fBVWrapper; }
    // Stores the category progress (capped at 100) and moves the overall
    // progress; with smooth progress it climbs in steps of 1 every 20 ms,
    // fLock released while sleeping. With no enabled category counted at the
    // start, the category's progress stands for the run's (no division by zero).
    void SetProgress(double ACategoryProgress) override;
    void SetCurrentCategory(ICategory* ACategory) override;
    void SetCurrentItem(IDetectedItem* AItem, std::int32_t AmassValue, std::int32_t AMassScan) override;
    void OnItemRemoved(IDetectedItem* AItem) override;
    void OnItemFailed(IDetectedItem* AItem) override;
    // Called on the worker in a pause state it suspends there (fLock
    // released) until Resume or Abort; answers fAborted as read before.
    bool IsAborted() override;
    TCleanerOptions& Options() override { return *FCleanerOptions; }

    // The engine's own objects, for the library's code and tests.
    TVTCategories& Categories() noexcept { return *fCategories; }
    TVTReport& Report() noexcept { return *fVTReport; }

    // ICleaner
    HRESULT STDMETHODCALLTYPE GetState(TCleanerState* state) override;
    HRESULT STDMETHODCALLTYPE GetTaskList(IVTStringList** list) override;
    HRESULT STDMETHODCALLTYPE GetStatistics(ICleanerStatistics** statistics) override;
    HRESULT STDMETHODCALLTYPE GetCategories(ICategories** categories) override;
    HRESULT STDMETHODCALLTYPE GetOptions(ICleanerOptions** options) override;
    HRESULT STDMETHODCALLTYPE GetWipeDLL(IDiskWipeHelper** wipeHelper) override;
    HRESULT STDMETHODCALLTYPE SetWipeDLL(IDiskWipeHelper* wipeHelper) override;
    HRESULT STDMETHODCALLTYPE GetBackvault(IBackvault** backvault) override;
    HRESULT STDMETHODCALLTYPE SetBackvault(IBackvault* backvault) override;
    HRESULT STDMETHODCALLTYPE GetIgnoreList(IIgnoreList** ignoreList) override;
    // From csReady, csScanned or csCleaned, else "Error while starting
    // searching (bad cleaner State))" with nothing changed.
    HRESULT STDMETHODCALLTYPE StartScanning(bool smoothProgress) override;
    // From csScanned or csCleaned, else "StartRemoving: State not csScanned or
    // csCleaned" with nothing changed.
    HRESULT STDMETHODCALLTYPE StartCleaning(bool smoothProgress) override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Resume() override;
    HRESULT STDMETHODCALLTYPE Abort() override;
    // Aborts, waits for the worker, clears every result: csReady.
    HRESULT STDMETHODCALLTYPE Reset() override;
    // A null list fails with "AStrings param not assigned".
    HRESULT STDMETHODCALLTYPE Localize(IVTStringList* strings) override;
    // Only in csScanned ("VT not in Scanned state for save scan results").
    HRESULT STDMETHODCALLTYPE SaveScanResults(IStream* stream) override;
    // Only in csReady ("Cleaner not in Ready state for loading scan results").
    // On failure the engine stays csReady with no results, every category's
    // check mark as it was before the call.
    HRESULT STDMETHODCALLTYPE LoadScanResults(IStream* stream) override;
    HRESULT STDMETHODCALLTYPE SaveIgnoreLists() override;
    HRESULT STDMETHODCALLTYPE LoadIgnoreLists() override;

    // ICleanerStatistics
    HRESULT STDMETHODCALLTYPE GetTotalScannedItems(std::int32_t* value) override;
    HRESULT STDMETHODCALLTYPE GetTotalDetectedItems(std::int32_t* value) override;
    HRESULT STDMETHODCALLTYPE GetTotalRemovedItems(std::int32_t* value) override;
    HRESULT STDMETHODCALLTYPE GetTotalFailedItems(std::int32_t* value) override;
    HRESULT STDMETHODCALLTYPE GetCurrentItem(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE GetCurrentCategory(ICategory** category) override;
    HRESULT STDMETHODCALLTYPE GetCategoryProgress(double* percent) override;
    HRESULT STDMETHODCALLTYPE GetProgress(double* percent) override;

protected:
    // Aborts, wakes and joins the worker before anything it uses is freed.
    ~TVantrel() override;
    // IVantrelReport: the engine's report.
    bool QueryExtra(REFIID riid, void** ppv) override;

private:
    using Guard = std::lock_guard<std::mutex>;

    void DoPause();
    void DoResume();
    void DoAbort();
    // Takes the worker out (under fLock), then terminates, wakes and joins it
    // with fLock released.
    void FreeWorker();
    // fLock held.
    void ResetCountersLocked();
    void ResetCategoriesLocked();
    void AdvanceCleanProgressLocked();
    // Creates and starts the worker of a run (fLock held).
    void StartWorker(std::uint8_t AMode);
    // StartWorker; when no thread can be started the run completes at once
    // and the error propagates (fLock held).
    void StartWorkerOrSettle(std::uint8_t AMode);
    // The end of a run: progress 100, the report stamped, csScanned or
    // csCleaned by the mode (fLock held).
    void CompleteRunLocked();
    // Worker callbacks.
    void OnNextCategory(ICategory* ACategory);
    void OnScanComplete();
    void OnCleanComplete();
    void LoadScanResultsUnderRunLock(IStream* stream);

    std::mutex fRunLock;
    std::unique_ptr<TBVWrapper> fBVWrapper;
    Com<TVTReport> fVTReport;
    std::unique_ptr<TVTProcessThread> fProcessThread;
    Com<TVTCategories> fCategories;
    std::int32_t fEnabledCategoriesCount = 0;
    bool FSmoothProgress = false;
    double fProgress = 0;
    double fCategoryProgress = 0;
    std::int32_t fTotalScannedItems = 0;
    std::int32_t fTotalDetectedItems = 0;
    std::int32_t fTotalRemovedItems = 0;
    std::int32_t fTotalFailedItems = 0;
    std::int32_t FItemsToRemove = 0;
    std::int32_t FRemovedItems = 0;
    Com<ICategory> fCurrentCategory;
    std::wstring fCurrentItem;
    std::int32_t fScanedCategoriesCount = -1;
    bool fAborted = false;
    std::uint8_t fProcessMode = 0;
    TCleanerState fCurrentState = csReady;
    Com<TCleanerOptions> FCleanerOptions;
    Com<TVTStringList> fTaskListView;
};

}  // namespace vt
