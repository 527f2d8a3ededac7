#include "engine/Vantrel.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "categories/Catalogue.h"
#include "engine/Globals.h"
#include "engine/Report.h"
#include "engine/SearchThread.h"
#include "model/StreamWrapper.h"
#include "model/VTStringList.h"
#include "runtime/ComBoundary.h"
#include "runtime/ComStream.h"
#include "runtime/DebugLog.h"
#include "runtime/Strings.h"
#include "services/BVWrapper.h"
#include "services/DLLStrings.h"
#include "services/IgnoreListAdapter.h"
#include "services/IgnoreLists.h"

namespace vt {

namespace {

constexpr wchar_t kClassName[] = L"TVantrel";
constexpr char kScanSignature[7] = {'V', 'T', '_', 'S', 'C', 'A', 'N'};
constexpr auto kSmoothStepDelay = std::chrono::milliseconds(20);

// A failed call on the host's string list plays the role of an exception it raised.
void CheckHostList(HRESULT hr, const wchar_t* operation) {
    if (FAILED(hr)) throw Exception(hr, Format(L"AStrings.%s failed (0x%x)", {operation, static_cast<unsigned>(hr)}));
}

}  // namespace

TVantrel::TVantrel() : TVantrel(DefaultCatalogue()) {}

TVantrel::TVantrel(const TCategoryCatalogue& ACatalogue) : fBVWrapper(std::make_unique<TBVWrapper>()) {
    // The categories ask for the removal wrapper while they are built (task
    // counts), so it exists first.
    fCategories =
        MakeCom<TVTCategories>(*this, ACatalogue, TIgnoreListsManager::UserFilePath(DataFolder()));
    fVTReport = MakeCom<TVTReport>(*fCategories);
    FCleanerOptions = MakeCom<TCleanerOptions>();
    fTaskListView = MakeCom<TVTStringList>(fBVWrapper->WarningProcesses());
}

TVantrel::~TVantrel() {
    Guard run(fRunLock);
    // The worker's last act takes fLock and stamps the report: it must be
    // over before anything it reaches is freed.
    DoAbort();
    FreeWorker();
    // Browser categories will also hand the detachment to the browser helper here.
    fBVWrapper->SetBackvault(nullptr);
    {
        Guard guard(fLock);
        fCurrentCategory.Reset();
    }
    FCleanerOptions.Reset();
    // A host that still holds the report gets empty counts, not freed categories.
    fVTReport->Detach();
    fVTReport.Reset();
    fCategories.Reset();
}

bool TVantrel::QueryExtra(REFIID riid, void** ppv) {
    if (IsEqualGUID(riid, IidOf<IVantrelReport>()) && fVTReport) {
        *ppv = static_cast<IVantrelReport*>(fVTReport.Get());
        fVTReport->AddRef();
        return true;
    }
    return false;
}

// --- the engine context ---

void TVantrel::SetProgress(double ACategoryProgress) {
    double target = 0;
    bool smooth = false;
    {
        Guard guard(fLock);
        fCategoryProgress = ACategoryProgress <= 100.0 ? ACategoryProgress : 100.0;
        // With no enabled category counted at the start (one was checked
        // later, or a report comes outside a run) the category's own
        // progress stands for the run's instead of dividing by zero.
        if (fEnabledCategoriesCount < 1)
            target = fCategoryProgress;
        else
            target = (fScanedCategoriesCount * 100.0 + fCategoryProgress) / fEnabledCategoriesCount;
        // The second term grows with the amount scanned and approaches 100
        // without reaching it; averaging it in keeps the bar moving inside
        // long categories.
        const double scanned = fTotalScannedItems;
        target = (target + scanned * 100.0 / (scanned + 1000.0)) / 2.0;
        smooth = FSmoothProgress;
    }
    if (smooth) {
        for (;;) {
            {
                Guard guard(fLock);
                if (fAborted || target - fProgress < 1.0) break;
                fProgress += 1.0;
            }
            // Sleeping without the lock: the host polls meanwhile.
            std::this_thread::sleep_for(kSmoothStepDelay);
        }
    }
    Guard guard(fLock);
    fProgress = target;
}

void TVantrel::SetCurrentCategory(ICategory* ACategory) {
    Guard guard(fLock);
    fCurrentCategory = Com<ICategory>(ACategory);
}

void TVantrel::SetCurrentItem(IDetectedItem* AItem, std::int32_t AmassValue, std::int32_t AMassScan) {
    // The name is built before taking fLock: it reads the item and the
    // localized-strings table under their own locks.
    std::wstring name;
    BSTR text = nullptr;
    const bool named = AItem != nullptr && SUCCEEDED(AItem->GetItemName(&text));
    if (named) name = FromBstrOwned(text);
    Guard guard(fLock);
    fTotalDetectedItems += AmassValue;
    fTotalScannedItems += AMassScan;
    if (named) fCurrentItem = std::move(name);
}

void TVantrel::OnItemRemoved(IDetectedItem* AItem) {
    bool removed = false;
    if (AItem == nullptr || FAILED(AItem->GetRemoved(&removed)) || !removed) return;
    Guard guard(fLock);
    ++fTotalRemovedItems;
    AdvanceCleanProgressLocked();
}

void TVantrel::OnItemFailed(IDetectedItem*) {
    Guard guard(fLock);
    ++fTotalFailedItems;
    AdvanceCleanProgressLocked();
}

void TVantrel::AdvanceCleanProgressLocked() {
    ++FRemovedItems;
    fProgress = FItemsToRemove < 1 ? 0.0 : FRemovedItems * 100.0 / FItemsToRemove;
}

bool TVantrel::IsAborted() {
    TVTProcessThread* suspended = nullptr;
    bool aborted = false;
    {
        Guard guard(fLock);
        aborted = fAborted;
        const bool paused = fCurrentState == csScanPause || fCurrentState == csCleanPause;
        // Only the worker itself is held here; a call from any other thread
        // (or after the run) just answers.
        if (paused && fProcessThread && fProcessThread->IsWorkerThread()) {
            suspended = fProcessThread.get();
            // Marked under fLock, so Resume and Abort (which take it) see the
            // worker suspended and wake it: no wake-up is lost.
            suspended->SuspendWork();
        }
    }
    // The worker is not freed while it runs this: FreeWorker joins it first.
    if (suspended) suspended->WaitWhileSuspended();
    return aborted;
}

// --- runs ---

void TVantrel::ResetCountersLocked() {
    fScanedCategoriesCount = -1;
    fTotalScannedItems = fTotalDetectedItems = fTotalRemovedItems = fTotalFailedItems = 0;
    fAborted = false;
    fProgress = fCategoryProgress = 0;
}

void TVantrel::ResetCategoriesLocked() {
    for (std::int32_t i = 0; i < fCategories->Count(); ++i) fCategories->GetItemObj(i).Reset();
    fVTReport->ResetCounters();
}

void TVantrel::FreeWorker() {
    std::unique_ptr<TVTProcessThread> worker;
    {
        Guard guard(fLock);
        worker = std::move(fProcessThread);
    }
    if (!worker) return;
    // Terminate also ends a suspension; the worker's completion handler takes
    // fLock, which is free here.
    worker->Terminate();
    worker->WaitFor();
}

void TVantrel::StartWorker(std::uint8_t AMode) {
    auto worker = std::make_unique<TVTProcessThread>(*fCategories, [this] { return IsAborted(); },
                                                     AMode == 0 ? pmSearch : pmRemove);
    worker->SetOnNextCategory([this](TVTProcessThread&, ICategory* category) { OnNextCategory(category); });
    if (AMode == 0)
        worker->SetOnTerminate([this](TThread&) { OnScanComplete(); });
    else
        worker->SetOnTerminate([this](TThread&) { OnCleanComplete(); });
    worker->Start();
    fProcessThread = std::move(worker);
}

void TVantrel::StartWorkerOrSettle(std::uint8_t AMode) {
    try {
        StartWorker(AMode);
    } catch (...) {
        // No thread: the run ends at once, as an aborted one would.
        fAborted = true;
        CompleteRunLocked();
        throw;
    }
}

void TVantrel::OnNextCategory(ICategory* ACategory) {
    Guard guard(fLock);
    ++fScanedCategoriesCount;
    fCurrentCategory = Com<ICategory>(ACategory);
}

void TVantrel::OnScanComplete() {
    Guard guard(fLock);
    CompleteRunLocked();
}

void TVantrel::OnCleanComplete() {
    Guard guard(fLock);
    try {
        // Counts the report while the results are fresh. A count the host
        // asked for after the scan would otherwise be served unchanged and
        // show nothing of this clean.
        fVTReport->ResetCounters();
        fVTReport->RemovedItems();
    } catch (const std::exception& e) {
        TDebugLog::Log(llError, kClassName, L"Report - %s", {WidenMessage(e.what())});
    }
    CompleteRunLocked();
}

void TVantrel::CompleteRunLocked() {
    fProgress = fCategoryProgress = 100.0;
    if (fProcessMode == 0) {
        fVTReport->SetScanComplete(TVTReport::TimeOfDayNow());
        fCurrentState = csScanned;
    } else {
        fVTReport->SetCleanComplete(TVTReport::TimeOfDayNow());
        fCurrentState = csCleaned;
    }
}

HRESULT TVantrel::StartScanning(bool smoothProgress) {
    return Guarded([&] {
        Guard run(fRunLock);
        TDebugLog::Log(llInfo, kClassName, L"=== Start Scanning ===");
        {
            Guard guard(fLock);
            if (fCurrentState != csReady && fCurrentState != csScanned && fCurrentState != csCleaned)
                ThrowGeneral(L"Error while starting searching (bad cleaner State))");
        }
        // The previous worker has run its completion handler (that is what
        // set the state checked above); joining it is quick.
        FreeWorker();
        Guard guard(fLock);
        ResetCategoriesLocked();
        ResetCountersLocked();
        fEnabledCategoriesCount = fCategories->GetEnabledGategoriesCount();
        fProcessMode = 0;
        fCurrentState = csScanning;
        FSmoothProgress = smoothProgress;
        fVTReport->SetScanStarted(TVTReport::TimeOfDayNow());
        StartWorkerOrSettle(0);
    });
}

HRESULT TVantrel::StartCleaning(bool smoothProgress) {
    return Guarded([&] {
        Guard run(fRunLock);
        TDebugLog::Log(llInfo, kClassName, L"=== Start Cleaning ===");
        {
            Guard guard(fLock);
            if (fCurrentState != csScanned && fCurrentState != csCleaned)
                ThrowGeneral(L"StartRemoving: State not csScanned or csCleaned");
        }
        FreeWorker();
        Guard guard(fLock);
        fProcessMode = 1;
        fCurrentState = csCleaning;
        fAborted = false;
        fProgress = fCategoryProgress = 0;
        FRemovedItems = 0;
        FSmoothProgress = smoothProgress;
        FItemsToRemove = 0;
        for (std::int32_t i = 0; i < fCategories->Count(); ++i) {
            TVTCategory& category = fCategories->GetItemObj(i);
            if (category.Enabled()) FItemsToRemove += category.DetectedItems().FCountCanBeDeleted.load();
        }
        fVTReport->SetCleanStarted(TVTReport::TimeOfDayNow());
        StartWorkerOrSettle(1);
    });
}

void TVantrel::DoPause() {
    Guard guard(fLock);
    if (fAborted) return;
    if (fCurrentState == csScanning)
        fCurrentState = csScanPause;
    else if (fCurrentState == csCleaning)
        fCurrentState = csCleanPause;
}

void TVantrel::DoResume() {
    Guard guard(fLock);
    if (fAborted || (fCurrentState != csScanPause && fCurrentState != csCleanPause)) return;
    if (fProcessThread && fProcessThread->IsSuspended()) fProcessThread->ResumeWork();
    fCurrentState = fProcessMode == 0 ? csScanning : csCleaning;
}

void TVantrel::DoAbort() {
    DoResume();
    Guard guard(fLock);
    fAborted = true;
    if (fProcessThread && fProcessThread->IsSuspended()) {
        // Reported as scanning until the worker finishes, in clean mode too.
        fCurrentState = csScanning;
        fProcessThread->ResumeWork();
    }
}

HRESULT TVantrel::Pause() {
    return Guarded([&] { DoPause(); });
}

HRESULT TVantrel::Resume() {
    return Guarded([&] { DoResume(); });
}

HRESULT TVantrel::Abort() {
    return Guarded([&] { DoAbort(); });
}

HRESULT TVantrel::Reset() {
    return Guarded([&] {
        Guard run(fRunLock);
        DoAbort();
        FreeWorker();
        Guard guard(fLock);
        ResetCategoriesLocked();
        ResetCountersLocked();
        fCurrentState = csReady;
    });
}

// --- localization, results, ignore lists ---

HRESULT TVantrel::Localize(IVTStringList* strings) {
    return Guarded([&] {
        if (strings == nullptr) ThrowGeneral(L"AStrings param not assigned");
        std::int32_t count = 0;
        CheckHostList(strings->GetCount(&count), L"GetCount");
        StringList lines;
        for (std::int32_t i = 0; i < count; ++i) {
            BSTR text = nullptr;
            CheckHostList(strings->GetString(i, &text), L"GetString");
            // Only the first separator of a line: a value may hold " = " itself.
            std::wstring line = ReplaceFirst(FromBstrOwned(text), L" = ", L"=");
            CheckHostList(strings->SetString(i, line.c_str()), L"SetString");
            lines.Add(std::move(line));
        }
        Localizer::Localize(lines);
    });
}

HRESULT TVantrel::SaveScanResults(IStream* stream) {
    return Guarded([&] {
        Guard run(fRunLock);
        std::int32_t totals[4];
        {
            Guard guard(fLock);
            if (fCurrentState != csScanned) ThrowGeneral(L"VT not in Scanned state for save scan results");
            totals[0] = fTotalScannedItems;
            totals[1] = fTotalDetectedItems;
            totals[2] = fTotalRemovedItems;
            totals[3] = fTotalFailedItems;
        }
        ComStreamAdapter adapter(stream);
        adapter.SetPosition(0);
        adapter.SetSize(0);
        TStreamWrapper W(adapter);
        W.WriteBytes(kScanSignature, sizeof kScanSignature);
        for (std::int32_t total : totals) W.Write(total);
        // Every category is counted, but only those with items write an
        // entry: loaders read exactly this many entries, so results in which
        // a category found nothing do not load back. The format is kept.
        W.Write(fCategories->Count());
        for (std::int32_t i = 0; i < fCategories->Count(); ++i) {
            TVTCategory& category = fCategories->GetItemObj(i);
            if (category.DetectedItems().Count() == 0) continue;
            W.Write(static_cast<std::int32_t>(category.CategoryType()));
            category.SaveToStream(W);
        }
        adapter.Flush();
    });
}

HRESULT TVantrel::LoadScanResults(IStream* stream) {
    return Guarded([&] {
        Guard run(fRunLock);
        {
            Guard guard(fLock);
            if (fCurrentState != csReady) ThrowGeneral(L"Cleaner not in Ready state for loading scan results");
        }
        std::vector<bool> marks;
        for (std::int32_t i = 0; i < fCategories->Count(); ++i) marks.push_back(fCategories->GetItemObj(i).Enabled());
        try {
            LoadScanResultsUnderRunLock(stream);
        } catch (...) {
            // Whatever the load put in goes; the engine stays csReady with the
            // check marks the host had set.
            {
                Guard guard(fLock);
                ResetCategoriesLocked();
                ResetCountersLocked();
            }
            for (std::int32_t i = 0; i < fCategories->Count(); ++i)
                fCategories->GetItemObj(i).SetEnabledValue(marks[static_cast<std::size_t>(i)]);
            throw;
        }
    });
}

void TVantrel::LoadScanResultsUnderRunLock(IStream* stream) {
    for (std::int32_t i = 0; i < fCategories->Count(); ++i) fCategories->GetItemObj(i).SetEnabledValue(false);
    ComStreamAdapter adapter(stream);
    adapter.SetPosition(0);
    char signature[sizeof kScanSignature] = {};
    const std::size_t got = adapter.Read(signature, sizeof signature);
    if (got != sizeof signature || std::memcmp(signature, kScanSignature, sizeof signature) != 0)
        ThrowInvalidOperation();
    TStreamWrapper W(adapter);
    // Read before taking fLock: the host's stream is not called under it.
    std::int32_t totals[4];
    for (std::int32_t& total : totals) total = W.ReadInteger();
    {
        Guard guard(fLock);
        fTotalScannedItems = totals[0];
        fTotalDetectedItems = totals[1];
        fTotalRemovedItems = totals[2];
        fTotalFailedItems = totals[3];
    }
    const std::int32_t count = W.ReadInteger();
    for (std::int32_t i = 0; i < count; ++i) {
        TVTCategory* category = fCategories->GetItemObjByID(W.ReadInteger());
        if (category == nullptr) ThrowGeneral(L"Category not found!");
        category->LoadFromStream(W);
    }
    Guard guard(fLock);
    fCurrentState = csScanned;
}

HRESULT TVantrel::SaveIgnoreLists() {
    return Guarded([&] { fCategories->SaveIgnoreLists(); });
}

HRESULT TVantrel::LoadIgnoreLists() {
    return Guarded([&] { fCategories->LoadIgnoreLists(); });
}

// --- accessors ---

HRESULT TVantrel::GetState(TCleanerState* state) {
    return Guarded([&] {
        Guard guard(fLock);
        *Out(state) = fCurrentState;
    });
}

HRESULT TVantrel::GetTaskList(IVTStringList** list) {
    return Guarded([&] { AssignInterface(list, static_cast<IVTStringList*>(fTaskListView.Get())); });
}

HRESULT TVantrel::GetStatistics(ICleanerStatistics** statistics) {
    return Guarded([&] { AssignInterface(statistics, static_cast<ICleanerStatistics*>(this)); });
}

HRESULT TVantrel::GetCategories(ICategories** categories) {
    return Guarded([&] { AssignInterface(categories, static_cast<ICategories*>(fCategories.Get())); });
}

HRESULT TVantrel::GetOptions(ICleanerOptions** options) {
    return Guarded([&] { AssignInterface(options, static_cast<ICleanerOptions*>(FCleanerOptions.Get())); });
}

HRESULT TVantrel::GetWipeDLL(IDiskWipeHelper** wipeHelper) {
    return Guarded([&] {
        Out(wipeHelper);
        Guard guard(fLock);
        fBVWrapper->GetWipeDLL().CopyTo(wipeHelper);
    });
}

HRESULT TVantrel::SetWipeDLL(IDiskWipeHelper* wipeHelper) {
    return Guarded([&] {
        Guard guard(fLock);
        fBVWrapper->SetWipeDLL(wipeHelper);
    });
}

HRESULT TVantrel::GetBackvault(IBackvault** backvault) {
    return Guarded([&] {
        Out(backvault);
        Guard guard(fLock);
        fBVWrapper->Backvault().CopyTo(backvault);
    });
}

HRESULT TVantrel::SetBackvault(IBackvault* backvault) {
    return Guarded([&] {
        Guard guard(fLock);
        fBVWrapper->SetBackvault(backvault);
        // Browser categories will pass the same service to the browser
        // helper here, once they exist.
    });
}

HRESULT TVantrel::GetIgnoreList(IIgnoreList** ignoreList) {
    return Guarded([&] {
        AssignInterface(ignoreList, static_cast<IIgnoreList*>(&fCategories->IgnoreListAdapter()));
    });
}

HRESULT TVantrel::GetTotalScannedItems(std::int32_t* value) {
    return Guarded([&] {
        Guard guard(fLock);
        *Out(value) = fTotalScannedItems;
    });
}

HRESULT TVantrel::GetTotalDetectedItems(std::int32_t* value) {
    return Guarded([&] {
        Guard guard(fLock);
        *Out(value) = fTotalDetectedItems;
    });
}

HRESULT TVantrel::GetTotalRemovedItems(std::int32_t* value) {
    return Guarded([&] {
        Guard guard(fLock);
        *Out(value) = fTotalRemovedItems;
    });
}

HRESULT TVantrel::GetTotalFailedItems(std::int32_t* value) {
    return Guarded([&] {
        Guard guard(fLock);
        *Out(value) = fTotalFailedItems;
    });
}

HRESULT TVantrel::GetCurrentItem(BSTR* name) {
    return Guarded([&] {
        Guard guard(fLock);
        AssignBstr(name, fCurrentItem);
    });
}

HRESULT TVantrel::GetCurrentCategory(ICategory** category) {
    return Guarded([&] {
        Guard guard(fLock);
        AssignInterface(category, fCurrentCategory.Get());
    });
}

HRESULT TVantrel::GetCategoryProgress(double* percent) {
    return Guarded([&] {
        Guard guard(fLock);
        *Out(percent) = fCategoryProgress;
    });
}

HRESULT TVantrel::GetProgress(double* percent) {
    return Guarded([&] {
        Guard guard(fLock);
        *Out(percent) = fProgress;
    });
}

}  // namespace vt
