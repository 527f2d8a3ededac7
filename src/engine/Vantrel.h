// TVantrel: the engine behind ICleaner and ICleanerStatistics.
#pragma once

#include <mutex>
#include <string>

#include "engine/CleanerOptions.h"
#include "runtime/ComObject.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

class TVantrel final : public ComObject<ICleaner, ICleanerStatistics> {
public:
    TVantrel();

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
    HRESULT STDMETHODCALLTYPE StartScanning(bool smoothProgress) override;
    HRESULT STDMETHODCALLTYPE StartCleaning(bool smoothProgress) override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Resume() override;
    HRESULT STDMETHODCALLTYPE Abort() override;
    HRESULT STDMETHODCALLTYPE Reset() override;
    HRESULT STDMETHODCALLTYPE Localize(IVTStringList* strings) override;
    HRESULT STDMETHODCALLTYPE SaveScanResults(IStream* stream) override;
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

private:
    std::mutex fLock;
    Com<TCleanerOptions> FCleanerOptions;
    TCleanerState fCurrentState = csReady;
    std::int32_t fTotalScannedItems = 0;
    std::int32_t fTotalDetectedItems = 0;
    std::int32_t fTotalRemovedItems = 0;
    std::int32_t fTotalFailedItems = 0;
    std::wstring fCurrentItem;
    double fCategoryProgress = 0;
    double fProgress = 0;
};

}  // namespace vt
