// TVTCategory: the base of every category. It owns the category's detected
// items, implements ICategory and IEnabledChange, decides whether a location
// is ignored, drives removal item by item with the engine's progress and abort
// hooks, reports search progress in batches, keeps the task-name bookkeeping
// and persists its state in the scan-results stream. Concrete categories
// override a few of the virtual operations below (kept in this order).
//
// Construction is two-phase: C++ does not dispatch virtual calls from a base
// constructor, so the first check mark (not IsDisabledByDefault) is set by
// AfterConstruction, which TVTCategory::Create calls once the object is whole.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "model/DetectedItems.h"
#include "runtime/ComObject.h"
#include "runtime/StringList.h"
#include "services/DLLStrings.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

class TVantrelShare;
class TStreamWrapper;
class TIgnoreListAdapter;
class TVTStringList;

class TVTCategory : public ComObject<ICategory, IEnabledChange> {
public:
    // Builds a category and finishes its construction (first check mark).
    template <class T, class... Args>
    static Com<T> Create(Args&&... args) {
        Com<T> category = MakeCom<T>(std::forward<Args>(args)...);
        category->AfterConstruction();
        return category;
    }

    // --- virtual operations, in slot order ---
    virtual TCategoryType GetCategoryType();
    virtual std::int32_t GetId();
    virtual std::wstring GetDescription();
    virtual bool IsDisabledByDefault();
    // Removes one trace; true on success.
    virtual bool RemoveItem(TDetectedItem& Item) = 0;
    // Called once before removal; false means that nothing is removed.
    virtual bool BeforeRemove();
    // Called once after removal when BeforeRemove returned true; the result of RemoveDetected.
    virtual std::int32_t AfterRemove();
    virtual bool IsIgnored(const std::wstring& Location, const std::wstring& Mask);
    // True when the program or feature that leaves these traces exists here.
    virtual bool CheckIfInstalled();
    // Further units the category still expects to scan (percentages of ReportProgress).
    virtual std::int32_t GetPendingCount();
    // Fills FDetectedItems.
    virtual void Search() = 0;
    virtual std::int32_t RemoveDetected();
    virtual void Reset();
    virtual void SaveToStream(TStreamWrapper& W);
    virtual void LoadFromStream(TStreamWrapper& W);
    virtual std::wstring GetName();

    // --- the base flow ---
    // Asks CheckIfInstalled once (cached for the object's life); unchecks the category when absent.
    bool IsInstalled();
    void SearchIfInstalled();
    void RemoveIfDetected();
    // The ignore list consulted by IsIgnored (not counted).
    void SetLinks(TIgnoreListAdapter* AIgnoreLists) noexcept { FIgnoreListAdapter = AIgnoreLists; }
    // Raises "TaskName can be assigned only once" on a second call.
    void SetTaskName(const std::wstring& Value);
    // The check mark: sets every item's mark to Value (with the item-change
    // handler detached) and moves the task count when the mark changed. The
    // work behind ICategory::SetEnabled, which has the same signature.
    void SetEnabledValue(bool Value);
    bool Enabled() const noexcept { return fEnabled; }
    // Recomputes the check mark after one item's mark changed (the handler
    // FOnDetectedItemChange points at): checked when any item is.
    void OnItemCheckMarkChanged();
    StringList& GetWarningProcesses();
    // Reports search progress after a unit of work (see the batching rule) and yields.
    void ReportProgress(std::int32_t Total, bool Force = false, bool UseCount = false);
    // True when the file can be opened for deletion; logs "Locked file: %0:s" otherwise.
    bool CanOpenForDelete(const std::wstring& FileName);
    // Class name used in log lines ("Category.%s(%s).IsInstalled = %s").
    virtual std::wstring ClassName() const { return L"TVTCategory"; }

    TDetectedItems& DetectedItems() noexcept { return *FDetectedItems; }
    bool IsScanned() const noexcept { return FIsScanned; }
    bool IsCleaned() const noexcept { return FIsCleaned; }
    TCategorySeverityLevel SeverityLevel() const noexcept { return FSeverityLevel; }

    // ICategory
    HRESULT STDMETHODCALLTYPE GetCategoryType(TCategoryType* type) override;
    HRESULT STDMETHODCALLTYPE GetId(std::int32_t* id) override;
    HRESULT STDMETHODCALLTYPE GetName(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) override;
    HRESULT STDMETHODCALLTYPE IsDisabledByDefault(bool* disabled) override;
    HRESULT STDMETHODCALLTYPE GetSeverityLevel(TCategorySeverityLevel* level) override;
    HRESULT STDMETHODCALLTYPE GetWarningProcesses(IVTStringList** processes) override;
    HRESULT STDMETHODCALLTYPE GetIsScanned(bool* scanned) override;
    HRESULT STDMETHODCALLTYPE GetIsCleaned(bool* cleaned) override;
    HRESULT STDMETHODCALLTYPE GetIgnoreList(IIgnoreList** ignoreList) override;
    HRESULT STDMETHODCALLTYPE GetDetectedItems(IDetectedItems** items) override;
    HRESULT STDMETHODCALLTYPE GetEnabled(bool* enabled) override;
    HRESULT STDMETHODCALLTYPE SetEnabled(bool enabled) override;
    // IEnabledChange
    HRESULT STDMETHODCALLTYPE GetOnDetectedItemChange(TDetectedItemChange* handler) override;

protected:
    explicit TVTCategory(TVantrelShare& AVantrel);
    ~TVTCategory() override;
    // Sets the first check mark from IsDisabledByDefault, counting a task name
    // the concrete constructor already set.
    virtual void AfterConstruction();
    // Moves this category's count in the engine's task list.
    void UpdateTaskCount(bool AEnabled);
    // Sets the category's own mark (items untouched), moving the task count when it changes.
    void SetMarkKeepingTaskCount(bool Value);

    std::wstring fName;
    TLocalizerStr fNameLz = S_EMPTY;
    std::atomic<bool> fEnabled{false};
    TDetectedItemChange FOnDetectedItemChange{};
    std::uint32_t FDelayTick = 0;
    TIgnoreListAdapter* FIgnoreListAdapter = nullptr;
    std::int32_t FIsInstalled = -1;
    std::int32_t fFireCounter = 0;
    std::int32_t fLastDetectedCount = 0;
    std::int32_t fScanCounter = 0;
    StringList FWarningProcesses;
    std::wstring FTaskName;
    bool FIsOneDetectedItemCategory = false;
    bool FDenyDuplicateLocations = false;
    bool FCanNOTBackUp = false;
    TCategorySeverityLevel FSeverityLevel = cslLow;
    std::int32_t FId = 0;
    std::int32_t FFireOnItem = 0;
    Com<TDetectedItems> FDetectedItems;
    TVantrelShare& FVantrel;
    TLocalizerStr FDescription = S_EMPTY;
    std::wstring FProgramFullName;
    std::wstring FProgramPath;
    std::atomic<bool> FIsScanned{false};
    std::atomic<bool> FIsCleaned{false};

private:
    Com<TVTStringList> FWarningProcessesView;
};

}  // namespace vt
