#include "model/VTCategory.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "model/StreamWrapper.h"
#include "model/VTStringList.h"
#include "model/VantrelShare.h"
#include "runtime/ComBoundary.h"
#include "runtime/DebugLog.h"
#include "runtime/FileSystem.h"
#include "runtime/Strings.h"
#include "services/BVWrapper.h"
#include "services/IgnoreListAdapter.h"

namespace vt {

namespace {

// The handler a detected item calls through IEnabledChange: a plain function
// with the category as its context, like a method pointer.
void VANTREL_STDCALL ItemChangedThunk(void* data, IDetectedItem*) {
    static_cast<TVTCategory*>(data)->OnItemCheckMarkChanged();
}

// The ignore-list matching rule: does Entry cover Key?
bool EntryMatches(const std::wstring& Key, const std::wstring& Entry, bool KeyIsFile) {
    if (SameText(Key, Entry)) return true;
    const bool EntryIsFile = IsDrivePath(Entry);
    if (KeyIsFile && EntryIsFile) {
        // A folder entry covers what lies below it only when it ends in "\*".
        if (!EndsStr(L"\\*", Entry)) return false;
        const std::wstring prefix = Entry.substr(0, Entry.size() - 1);
        return !prefix.empty() && StartsText(prefix, Key);
    }
    if (KeyIsFile || EntryIsFile) return false;
    // Registry entries: one holding a key/value joint matches only exactly.
    if (Entry.find(L"\\\\") != std::wstring::npos) return false;
    std::wstring prefix = Entry;
    if (EndsStr(L"\\*", prefix)) prefix.pop_back();
    else if (prefix.empty() || prefix.back() != L'\\') prefix.push_back(L'\\');
    return !prefix.empty() && StartsText(prefix, Key);
}

}  // namespace

TVTCategory::TVTCategory(TVantrelShare& AVantrel, const TCategoryDescriptor& ADescriptor)
    : fName(ADescriptor.Name),
      fNameLz(ADescriptor.NameLz),
      FIsOneDetectedItemCategory(ADescriptor.OneDetectedItem),
      FDenyDuplicateLocations(ADescriptor.DenyDuplicateLocations),
      FCanNOTBackUp(ADescriptor.CanNotBackUp),
      FSeverityLevel(ADescriptor.Severity),
      FId(ADescriptor.Id),
      FFireOnItem(ADescriptor.FireOnItem),
      FDetectedItems(MakeCom<TDetectedItems>(static_cast<ICategory*>(this))),
      FVantrel(AVantrel),
      FDescription(ADescriptor.DescriptionLz),
      FDisabledByDefault(ADescriptor.DisabledByDefault),
      FClassName(ADescriptor.ClassName ? ADescriptor.ClassName : L"TVTCategory") {
    FOnDetectedItemChange = {&ItemChangedThunk, this};
    if (ADescriptor.ItemShortDescriptionLz != S_EMPTY)
        FDetectedItems->SetShortDescription(ADescriptor.ItemShortDescriptionLz, S_EMPTY);
}

TVTCategory::~TVTCategory() {
    // The host may still hold the list; it must not reach back into this category.
    FDetectedItems->DetachCategory();
    FDetectedItems->ClearItems();
}

void TVTCategory::AfterConstruction() {
    // A concrete constructor may already have set the task name while the
    // mark was still off; the first mark must count it like any later one.
    SetMarkKeepingTaskCount(!DisabledByDefault());
}

void TVTCategory::SetMarkKeepingTaskCount(bool Value) {
    if (Value == fEnabled) return;
    fEnabled = Value;
    UpdateTaskCount(Value);
}

TCategoryType TVTCategory::CategoryType() { return static_cast<TCategoryType>(static_cast<std::uint8_t>(FId)); }

std::int32_t TVTCategory::Id() { return FId; }

std::wstring TVTCategory::Description() { return LocalizedString(FDescription); }

bool TVTCategory::DisabledByDefault() { return FDisabledByDefault; }

bool TVTCategory::BeforeRemove() { return true; }

std::int32_t TVTCategory::AfterRemove() { return 0; }

bool TVTCategory::CheckIfInstalled() { return true; }

std::int32_t TVTCategory::GetPendingCount() { return 0; }

std::wstring TVTCategory::Name() { return fNameLz != S_EMPTY ? LocalizedString(fNameLz) : fName; }

bool TVTCategory::IsIgnored(const std::wstring& Location, const std::wstring& Mask) {
    if (FIsOneDetectedItemCategory && Location.empty()) return false;
    if (FIgnoreListAdapter == nullptr) return false;
    const StringList* list = FIgnoreListAdapter->List();
    if (list == nullptr) return false;
    const std::wstring Key = TIgnoreListAdapter::StoredStr(Location, Mask);
    const bool KeyIsFile = IsDrivePath(Key);
    for (const auto& entry : list->Entries()) {
        if (EntryMatches(Key, entry.text, KeyIsFile)) {
            TDebugLog::Log(llInfo, ClassName(), L"Ignored Location and mask: \"%s\", \"%s\" by \"%s\"",
                           {Location, Mask, entry.text});
            return true;
        }
    }
    return false;
}

bool TVTCategory::IsInstalled() {
    if (FIsInstalled == -1) {
        FIsInstalled = CheckIfInstalled() ? 1 : 0;
        if (TDebugLog::Enabled(llInfo))
            TDebugLog::Log(llInfo, ClassName(), L"Category.%s(%s).IsInstalled = %s",
                           {ClassName(), Name(), BoolToStr(FIsInstalled != 0)});
    }
    const bool installed = FIsInstalled != 0;
    if (!installed) SetEnabledValue(false);
    return installed;
}

void TVTCategory::SearchIfInstalled() {
    FDetectedItems->FAllowDuplicates = !FDenyDuplicateLocations;
    if (IsInstalled()) Search();
    FIsScanned = true;
}

void TVTCategory::RemoveIfDetected() {
    RemoveDetected();
    FIsCleaned = true;
}

std::int32_t TVTCategory::RemoveDetected() {
    const bool Ok = BeforeRemove();
    TBVWrapper& wrapper = FVantrel.GetBVWrapper();
    // From the last item to the first: items a removal drops from the list do
    // not disturb the indices still to visit.
    for (std::int32_t i = FDetectedItems->Count() - 1; i >= 0; --i) {
        Com<TDetectedItem> item = FDetectedItems->Get(i);
        if (!item || !item->Checked() || item->RemovingWasPerformed()) continue;

        item->SetRemovingWasPerformed(true);
        if (Ok) {
            item->SetItemFailedToRemove(!RemoveItem(*item));
            item->SetWipeSize(static_cast<std::int64_t>(wrapper.LastWipeSize()));
        } else {
            item->SetRemovingWasPerformed(false);
            item->SetItemFailedToRemove(true);
        }
        // The host reads the remaining count while this runs.
        std::int32_t remain = FDetectedItems->FRemainCount.load();
        while (remain > 0 && !FDetectedItems->FRemainCount.compare_exchange_weak(remain, remain - 1)) {
        }

        FVantrel.SetCurrentItem(item.Get(), 0, 0);
        if (item->ItemFailedToRemove()) FVantrel.OnItemFailed(item.Get());
        else FVantrel.OnItemRemoved(item.Get());

        if (FVantrel.IsAborted()) {
            // The item in hand counts as failed although its removal may have
            // happened: the statistics rely on this.
            item->SetRemovingWasPerformed(false);
            item->SetItemFailedToRemove(true);
            break;
        }
    }
    return Ok ? AfterRemove() : 0;
}

void TVTCategory::Reset() {
    FDetectedItems->ClearItems();
    fFireCounter = 0;
    fLastDetectedCount = 0;
    fScanCounter = 0;
    FIsScanned = false;
    FIsCleaned = false;
}

void TVTCategory::SaveToStream(TStreamWrapper& W) {
    W.Write(fEnabled.load());
    FDetectedItems->SaveToStream(W);
}

void TVTCategory::LoadFromStream(TStreamWrapper& W) {
    // The list is read only for a checked category although it is always
    // written: results saved after the user unchecked a category with items
    // do not load back. The format is kept as it stands.
    // The task list counts enabled categories, so the restored mark moves it too.
    SetMarkKeepingTaskCount(W.ReadBoolean());
    if (fEnabled) FDetectedItems->LoadFromStream(W);
    FIsScanned = true;
    FIsCleaned = false;
}

void TVTCategory::ReportProgress(std::int32_t Total, bool Force, bool UseCount) {
    ++fScanCounter;
    const std::int32_t Count = FDetectedItems->Count();
    fFireCounter += Count - fLastDetectedCount;
    fLastDetectedCount = Count;
    if (fFireCounter < FFireOnItem && Total > fLastDetectedCount && !Force) return;

    double Percent;
    const std::int32_t pending = UseCount ? GetPendingCount() : 0;
    if (UseCount && pending > 0) Percent = Total * 100.0 / (static_cast<double>(pending) + Total);
    else if (Total <= 0) Percent = 100.0;
    else Percent = std::min(fLastDetectedCount * 100.0 / Total, 100.0);

    FVantrel.SetProgress(Percent);
    Com<TDetectedItem> last = Count > 0 ? FDetectedItems->Get(Count - 1) : Com<TDetectedItem>();
    FVantrel.SetCurrentItem(last.Get(), fFireCounter, fScanCounter);
    fFireCounter = 0;
    fScanCounter = 0;

    // Long searches yield now and then so the host's interface keeps up.
    const std::uint32_t now = YieldTickCount();
    if (static_cast<std::uint32_t>(now - FDelayTick) > 150) {
        FDelayTick = now;
        YieldPause();
    }
}

std::uint32_t TVTCategory::YieldTickCount() {
    // Wraps like the system's 32-bit tick count.
    using namespace std::chrono;
    return static_cast<std::uint32_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

void TVTCategory::YieldPause() { std::this_thread::sleep_for(std::chrono::milliseconds(5)); }

Com<TDetectedItem> TVTCategory::HandleFoundItem(const TFoundItem& AFound, std::int32_t ATotal, bool& AStop) {
    Com<TDetectedItem> added = AddFoundItem(AFound);
    EndFoundStep(ATotal, AStop);
    return added;
}

Com<TDetectedItem> TVTCategory::AddFoundItem(const TFoundItem& AFound) {
    if (IsIgnored(AFound.Location, AFound.Mask)) return {};
    Com<TDetectedItem> item = MakeCom<TDetectedItem>(AFound.Grouped);
    if (AFound.NameLz != S_EMPTY) item->SetItemName(AFound.NameLz, AFound.NameFmtValue);
    else item->SetItemName(AFound.Name);
    item->SetLocation(AFound.Location);
    item->FItemIconType = AFound.Icon;
    item->FItemFileSize = AFound.Size;
    item->FItemSourceIndex = AFound.SourceIndex;
    item->FItemText = AFound.Text;
    if (!FDetectedItems->AddItem(item, true)) return {};
    return item;
}

void TVTCategory::EndFoundStep(std::int32_t ATotal, bool& AStop) {
    AStop = FVantrel.IsAborted();
    ReportProgress(ATotal);
}

void TVTCategory::OnItemCheckMarkChanged() {
    bool NewEnabled = false;
    const std::int32_t count = FDetectedItems->Count();
    for (std::int32_t i = 0; i < count && !NewEnabled; ++i) {
        Com<TDetectedItem> item = FDetectedItems->Get(i);
        NewEnabled = item && item->Checked();
    }
    SetMarkKeepingTaskCount(NewEnabled);
}

void TVTCategory::SetEnabledValue(bool Value) {
    const bool Changed = Value != fEnabled;
    fEnabled = Value;
    // Detached while the marks change so the bulk change does not recompute
    // the category's mark item by item.
    FOnDetectedItemChange = {};
    const std::int32_t count = FDetectedItems->Count();
    for (std::int32_t i = 0; i < count; ++i)
        if (Com<TDetectedItem> item = FDetectedItems->Get(i)) item->SetChecked(Value);
    FOnDetectedItemChange = {&ItemChangedThunk, this};
    if (Changed) UpdateTaskCount(Value);
}

void TVTCategory::UpdateTaskCount(bool AEnabled) {
    if (FTaskName.empty()) return;
    StringList& list = FVantrel.GetBVWrapper().WarningProcesses();
    const int Index = list.IndexOf(FTaskName);
    const std::intptr_t Count = Index >= 0 ? list.Objects(Index) : 0;
    if (AEnabled) {
        if (Count + 1 != 1) list.SetObject(Index, Count + 1);
        else list.AddObject(FTaskName, 1);
    } else {
        if (Count >= 2) list.SetObject(Index, Count - 1);
        else if (Count == 1) list.Delete(Index);
    }
}

void TVTCategory::SetTaskName(const std::wstring& Value) {
    if (!FTaskName.empty()) ThrowGeneral(L"TaskName can be assigned only once");
    FTaskName = Value;
    if (fEnabled) UpdateTaskCount(true);
}

StringList& TVTCategory::GetWarningProcesses() {
    if (!FTaskName.empty() && FWarningProcesses.Empty()) FWarningProcesses.Add(FTaskName);
    return FWarningProcesses;
}

bool TVTCategory::CanOpenForDelete(const std::wstring& FileName) {
    if (vt::CanOpenForDelete(FileName)) return true;
    TDebugLog::Log(llInfo, ClassName(), L"Locked file: %0:s", {FileName});
    return false;
}

// --- ICategory ---

HRESULT TVTCategory::GetCategoryType(TCategoryType* type) {
    return Guarded([&] { *Out(type) = CategoryType(); });
}

HRESULT TVTCategory::GetId(std::int32_t* id) {
    return Guarded([&] { *Out(id) = Id(); });
}

HRESULT TVTCategory::GetName(BSTR* name) {
    return Guarded([&] { AssignBstr(name, Name()); });
}

HRESULT TVTCategory::GetDescription(BSTR* description) {
    return Guarded([&] { AssignBstr(description, Description()); });
}

HRESULT TVTCategory::IsDisabledByDefault(bool* disabled) {
    return Guarded([&] { *Out(disabled) = DisabledByDefault(); });
}

HRESULT TVTCategory::GetSeverityLevel(TCategorySeverityLevel* level) {
    return Guarded([&] { *Out(level) = FSeverityLevel; });
}

HRESULT TVTCategory::GetWarningProcesses(IVTStringList** processes) {
    return Guarded([&] {
        Out(processes);
        StringList& list = GetWarningProcesses();
        if (!FWarningProcessesView) FWarningProcessesView = MakeCom<TVTStringList>(list);
        AssignInterface(processes, static_cast<IVTStringList*>(FWarningProcessesView.Get()));
    });
}

HRESULT TVTCategory::GetIsScanned(bool* scanned) {
    return Guarded([&] { *Out(scanned) = FIsScanned.load(); });
}

HRESULT TVTCategory::GetIsCleaned(bool* cleaned) {
    return Guarded([&] { *Out(cleaned) = FIsCleaned.load(); });
}

HRESULT TVTCategory::GetIgnoreList(IIgnoreList** ignoreList) {
    return Guarded([&] { AssignInterface(ignoreList, static_cast<IIgnoreList*>(FIgnoreListAdapter)); });
}

HRESULT TVTCategory::GetDetectedItems(IDetectedItems** items) {
    return Guarded([&] { AssignInterface(items, static_cast<IDetectedItems*>(FDetectedItems.Get())); });
}

HRESULT TVTCategory::GetEnabled(bool* enabled) {
    return Guarded([&] { *Out(enabled) = fEnabled.load(); });
}

HRESULT TVTCategory::SetEnabled(bool enabled) {
    return Guarded([&] { SetEnabledValue(enabled); });
}

HRESULT TVTCategory::GetOnDetectedItemChange(TDetectedItemChange* handler) {
    return Guarded([&] { *Out(handler) = FOnDetectedItemChange; });
}

}  // namespace vt
