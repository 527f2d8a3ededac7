#include "engine/Vantrel.h"

#include "runtime/ComBoundary.h"

namespace vt {

TVantrel::TVantrel() : FCleanerOptions(MakeCom<TCleanerOptions>()) {}

HRESULT TVantrel::GetState(TCleanerState* state) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(fLock);
        *Out(state) = fCurrentState;
    });
}

HRESULT TVantrel::GetStatistics(ICleanerStatistics** statistics) {
    return Guarded([&] { AssignInterface(statistics, static_cast<ICleanerStatistics*>(this)); });
}

HRESULT TVantrel::GetOptions(ICleanerOptions** options) {
    return Guarded([&] { AssignInterface(options, static_cast<ICleanerOptions*>(FCleanerOptions.Get())); });
}

// Operations the engine does not serve yet fail honestly with E_NOTIMPL.
#define VT_NOT_BUILT(call, name) \
    HRESULT TVantrel::call {     \
        return Guarded([&] { ThrowNotImplemented(L"ICleaner." name); }); \
    }
VT_NOT_BUILT(GetTaskList(IVTStringList**), L"GetTaskList")
VT_NOT_BUILT(GetCategories(ICategories**), L"GetCategories")
VT_NOT_BUILT(GetWipeDLL(IDiskWipeHelper**), L"GetWipeDLL")
VT_NOT_BUILT(SetWipeDLL(IDiskWipeHelper*), L"SetWipeDLL")
VT_NOT_BUILT(GetBackvault(IBackvault**), L"GetBackvault")
VT_NOT_BUILT(SetBackvault(IBackvault*), L"SetBackvault")
VT_NOT_BUILT(GetIgnoreList(IIgnoreList**), L"GetIgnoreList")
VT_NOT_BUILT(StartScanning(bool), L"StartScanning")
VT_NOT_BUILT(StartCleaning(bool), L"StartCleaning")
VT_NOT_BUILT(Pause(), L"Pause")
VT_NOT_BUILT(Resume(), L"Resume")
VT_NOT_BUILT(Abort(), L"Abort")
VT_NOT_BUILT(Reset(), L"Reset")
VT_NOT_BUILT(Localize(IVTStringList*), L"Localize")
VT_NOT_BUILT(SaveScanResults(IStream*), L"SaveScanResults")
VT_NOT_BUILT(LoadScanResults(IStream*), L"LoadScanResults")
VT_NOT_BUILT(SaveIgnoreLists(), L"SaveIgnoreLists")
VT_NOT_BUILT(LoadIgnoreLists(), L"LoadIgnoreLists")
VT_NOT_BUILT(GetCurrentCategory(ICategory**), L"GetCurrentCategory")
#undef VT_NOT_BUILT

HRESULT TVantrel::GetTotalScannedItems(std::int32_t* value) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(fLock);
        *Out(value) = fTotalScannedItems;
    });
}

HRESULT TVantrel::GetTotalDetectedItems(std::int32_t* value) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(fLock);
        *Out(value) = fTotalDetectedItems;
    });
}

HRESULT TVantrel::GetTotalRemovedItems(std::int32_t* value) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(fLock);
        *Out(value) = fTotalRemovedItems;
    });
}

HRESULT TVantrel::GetTotalFailedItems(std::int32_t* value) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(fLock);
        *Out(value) = fTotalFailedItems;
    });
}

HRESULT TVantrel::GetCurrentItem(BSTR* name) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(fLock);
        AssignBstr(name, fCurrentItem);
    });
}

HRESULT TVantrel::GetCategoryProgress(double* percent) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(fLock);
        *Out(percent) = fCategoryProgress;
    });
}

HRESULT TVantrel::GetProgress(double* percent) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(fLock);
        *Out(percent) = fProgress;
    });
}

}  // namespace vt
