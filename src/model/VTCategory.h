// TVTCategory: the base of every category. It owns the category's detected
// items, implements ICategory and IEnabledChange, decides whether a location
// is ignored, drives removal item by item with the engine's progress and abort
// hooks, reports search progress in batches, keeps the task-name bookkeeping
// and persists its state in the scan-results stream.
//
// A category states what it is once, in a TCategoryDescriptor handed to this
// constructor, and overrides the few virtual operations its behaviour needs
// (Search and RemoveItem at least). Its search hands each trace it finds to
// HandleFoundItem, which does the ignore test, the item, the abort question
// and the progress report every search repeats. docs/categories.md shows a
// whole category.
//
// The virtual operations keep the design's slot order. Five of them carry a
// name here that differs from the design's (CategoryType, Id, Description,
// DisabledByDefault, Name for GetCategoryType, GetId, GetDescription,
// IsDisabledByDefault, GetName): ICategory has operations of those names,
// and an override of one name would hide the other. The build treats such
// hiding as an error (-Werror=overloaded-virtual).
//
// Construction is two-phase: C++ does not dispatch virtual calls from a base
// constructor, so the first check mark (not DisabledByDefault) is set by
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

// What a category is, in one place: handed to TVTCategory's constructor.
// Written with designated initializers, in this order:
//     {.Id = ID_DUMP_FILES, .NameLz = S_DUMP_FILES_NAME, .DescriptionLz = ...,
//      .Severity = cslMedium, .FireOnItem = 10, .ClassName = L"TDumpFilesCategory"}
struct TCategoryDescriptor {
    // The category's identifier (a TCategoryType ordinal, ID_...).
    std::int32_t Id = 0;
    // Localized display name; S_EMPTY means that Name is shown.
    TLocalizerStr NameLz = S_EMPTY;
    std::wstring Name{};
    TLocalizerStr DescriptionLz = S_EMPTY;
    // The short description every detected item of the category shows.
    TLocalizerStr ItemShortDescriptionLz = S_EMPTY;
    TCategorySeverityLevel Severity = cslLow;
    // Progress is reported after this many newly detected items (0: every unit).
    std::int32_t FireOnItem = 0;
    // The category shows its whole content as one item.
    bool OneDetectedItem = false;
    // Removal of its items cannot be backed up.
    bool CanNotBackUp = false;
    // Two items with the same location are refused during search.
    bool DenyDuplicateLocations = false;
    // Unchecked on a fresh engine (what DisabledByDefault answers unless overridden).
    bool DisabledByDefault = false;
    // The class name log lines carry ("Category.%s(%s).IsInstalled = %s").
    const wchar_t* ClassName = L"TVTCategory";
};

// One trace a search found, as HandleFoundItem and AddFoundItem take it.
struct TFoundItem {
    // Literal item name; with NameLz set, the localized name is shown instead.
    std::wstring Name{};
    std::wstring Location{};
    // The mask the ignore test is asked with (a registry value name, or empty).
    std::wstring Mask{};
    TLocalizerStr NameLz = S_EMPTY;
    // NameLz's Integer format value (-2: none).
    std::int32_t NameFmtValue = -2;
    TIconType Icon = itFileDefault;
    // The file size the host shows (FItemFileSize).
    std::int64_t Size = 0;
    // A groupable item: items of the same display name fold into one.
    bool Grouped = false;
    // Category data travelling with the item (FItemSourceIndex, FItemText).
    std::int32_t SourceIndex = -1;
    std::wstring Text{};
};

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
    // GetCategoryType: the identifier as one byte.
    virtual TCategoryType CategoryType();
    // GetId: the identifier.
    virtual std::int32_t Id();
    // GetDescription: the localized description.
    virtual std::wstring Description();
    // IsDisabledByDefault: the descriptor's answer.
    virtual bool DisabledByDefault();
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
    // GetName: the localized name, or the literal one when it has no id.
    virtual std::wstring Name();

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
    std::wstring ClassName() const { return FClassName; }

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
    TVTCategory(TVantrelShare& AVantrel, const TCategoryDescriptor& ADescriptor);
    ~TVTCategory() override;
    // Sets the first check mark from IsDisabledByDefault, counting a task name
    // the concrete constructor already set.
    virtual void AfterConstruction();
    // Moves this category's count in the engine's task list.
    void UpdateTaskCount(bool AEnabled);
    // Sets the category's own mark (items untouched), moving the task count when it changes.
    void SetMarkKeepingTaskCount(bool Value);

    // --- the found-item loop every search repeats ---
    // One step for one found trace: AddFoundItem, then EndFoundStep. The
    // added item; null when the location is ignored or the item refused.
    Com<TDetectedItem> HandleFoundItem(const TFoundItem& AFound, std::int32_t ATotal, bool& AStop);
    // Unless IsIgnored(Location, Mask): creates the item (name, location,
    // icon, size, category data) and adds it checked. The new item (folded
    // into the listed group head of its display name, if any); null when
    // ignored or refused as a duplicate location.
    Com<TDetectedItem> AddFoundItem(const TFoundItem& AFound);
    // Ends one unit of a search: AStop := the engine's abort state, then
    // ReportProgress against ATotal.
    void EndFoundStep(std::int32_t ATotal, bool& AStop);

    // The 32-bit millisecond tick and the pause of ReportProgress's yield:
    // the system's; tests replace them to count yields without a clock.
    virtual std::uint32_t YieldTickCount();
    virtual void YieldPause();

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
    bool FDisabledByDefault = false;
    const wchar_t* FClassName = L"TVTCategory";

private:
    Com<TVTStringList> FWarningProcessesView;
};

}  // namespace vt
