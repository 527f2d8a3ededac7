// Detected items: one found trace (TDetectedItem) and the list of one category
// (TDetectedItems), with grouping, the duplicate rule, check marks and their
// counters, and the scan-results stream record.
//
// Ownership: a list holds a counted reference to each of its items, a group
// head to each folded item; the host may keep an item after the list dropped
// it (it is then detached: no owning list). The list refers to its category
// without a count: the category owns the list, and a counted reference back
// would keep both alive forever.
//
// Threads: the worker adds and removes items while the host reads the list
// through IDetectedItems, so the list's structure and its indexes are guarded
// by the list's lock; the flags both sides touch are atomics.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "runtime/ComObject.h"
#include "services/DLLStrings.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

class TStreamWrapper;
class TDetectedItems;

// Icon kind shown by the host for an item.
enum TIconType : std::uint8_t {
    itFileDefault,
    itRegistry,
    itMagnifier,
    itRunMenu,
    itOneElementCategory,
    itLogs,
    itCustomGetFromExe
};

// Location typing used everywhere: fewer than 3 characters ltUnknown; "X:\..."
// ltFile; anything else ltRegistry.
TLocationType LocationTypeOf(std::wstring_view location) noexcept;

class TDetectedItem final : public ComObject<IDetectedItem> {
public:
    // A new item with the next process-wide serial number (the first is 1).
    explicit TDetectedItem(bool AGrouped = false);
    // Reads one item record (and its folded items) from the stream; raises
    // the stream's read error when it ends early.
    explicit TDetectedItem(TStreamWrapper& AStream);

    // Literal name: clears the localized id and the format value.
    void SetItemName(const std::wstring& AName);
    // Localized name id and its Integer format value (-2: no format); keeps FItemName.
    void SetItemName(TLocalizerStr AName, std::int32_t AFmtValue);
    // Stores the location, handling the "(x64)" and "(x32)" prefixes, and types it.
    void SetLocation(const std::wstring& ALocation);

    // The display name: localized or literal, formatted with the format value.
    // Never throws: a text whose placeholders do not fit the one Integer
    // argument is shown unformatted.
    std::wstring DisplayName() const;
    // "DetectedItem(Name='%s', Text='%s', Location='%s'" (no closing parenthesis).
    std::wstring AsString() const;

    // Folds AItem into this group head: its name is cleared, it stops being a
    // head. Raises the invalid-operation error, changing nothing, when AItem
    // is this item or still belongs to a list.
    void AddToGroup(Com<TDetectedItem> AItem);
    // The folded item at AIndex, null when out of range.
    TDetectedItem* GetGroupedItems(std::int32_t AIndex) const;
    std::int32_t GroupedCount() const;
    // True for a group head or an item inside a group (no owning list).
    bool MemberOfGroup() const;

    // Writes the item record (folded items recursively).
    void SaveToStream(TStreamWrapper& W) const;

    // Check mark with the owning list's counter and the category notification;
    // nothing happens when unchanged or when the item was ignored after the scan.
    void SetChecked(bool Value);
    bool Checked() const noexcept { return FEnabled.load(); }
    // Sets the check mark directly, without counter or notification.
    void SetCheckedSilently(bool Value) noexcept { FEnabled.store(Value); }

    // Removal marking: a change moves the owning list's FCountRemovingWasPerformed.
    void SetRemovingWasPerformed(bool Value);
    bool RemovingWasPerformed() const noexcept { return FRemovingWasPerformed.load(); }
    void SetItemFailedToRemove(bool Value) noexcept { FItemFailedToRemove.store(Value); }
    bool ItemFailedToRemove() const noexcept { return FItemFailedToRemove.load(); }
    void SetWipeSize(std::int64_t Value) noexcept { FWipeSize.store(Value); }
    std::int64_t WipeSize() const noexcept { return FWipeSize.load(); }
    bool IgnoredAfterScan() const noexcept { return FIgnoredAfterScan.load(); }

    std::int32_t Serial() const noexcept { return FSerial; }
    const std::wstring& ItemName() const noexcept { return FItemName; }
    TLocalizerStr ItemNameLz() const noexcept { return FItemNameLz; }
    std::int32_t ItemNameFmtValue() const noexcept { return FItemNameFmtValue; }
    const std::wstring& Location() const noexcept { return FLocation; }
    TLocationType LocationType() const noexcept { return FLocationType; }
    bool Grouped() const noexcept { return FGrouped; }
    TDetectedItems* Owner() const noexcept { return FDetectedItems.load(); }

    // Category-specific data, set by categories while they search.
    std::wstring FItemText;
    bool FItemCanBeDeleted = false;
    std::int64_t FItemFileSize = 0;
    std::int32_t FItemSourceIndex = -1;
    TIconType FItemIconType = itFileDefault;
    bool FIsBinary = false;

    // IDetectedItem
    HRESULT STDMETHODCALLTYPE GetItemName(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE GetShortDescription(BSTR* description) override;
    HRESULT STDMETHODCALLTYPE GetLocationType(TLocationType* type) override;
    HRESULT STDMETHODCALLTYPE GetLocation(BSTR* location) override;
    HRESULT STDMETHODCALLTYPE GetItemFileSize(std::int64_t* size) override;
    HRESULT STDMETHODCALLTYPE GetRemoved(bool* removed) override;
    HRESULT STDMETHODCALLTYPE GetWipeSize(std::int64_t* size) override;
    HRESULT STDMETHODCALLTYPE GetEnabled(bool* enabled) override;
    HRESULT STDMETHODCALLTYPE SetEnabled(bool enabled) override;
    HRESULT STDMETHODCALLTYPE IgnoreItem() override;

private:
    friend class TDetectedItems;

    // Turns the item into a folded one: empty literal name, no longer a head.
    void BecomeFolded();
    // Appends a folded item without taking any lock.
    void AppendFolded(Com<TDetectedItem> AItem);

    std::int32_t FSerial = 0;
    std::wstring FItemName;
    TLocalizerStr FItemNameLz = S_EMPTY;
    std::int32_t FItemNameFmtValue = -2;
    TLocationType FLocationType = ltUnknown;
    std::wstring FLocation;
    std::atomic<bool> FEnabled{false};
    // Owning list; null inside a group or once removed. Atomic because the
    // worker detaches items while the host may be changing their check mark.
    std::atomic<TDetectedItems*> FDetectedItems{nullptr};
    bool FGrouped = false;
    std::unique_ptr<std::vector<Com<TDetectedItem>>> FGroupedItems;  // created on first use
    std::atomic<bool> FIgnoredAfterScan{false};
    std::atomic<bool> FRemovingWasPerformed{false};
    std::atomic<std::int64_t> FWipeSize{0};
    std::atomic<bool> FItemFailedToRemove{false};
};

class TDetectedItems final : public ComObject<IDetectedItems> {
public:
    // ACategory is the owning category (not counted; may be null in tests).
    explicit TDetectedItems(ICategory* ACategory);
    ~TDetectedItems() override;

    // Adds AItem (see the duplicate and grouping rules). Returns false, and
    // sets AItem to null, when a duplicate location is refused. A group head
    // whose display name matches an existing head is folded into it (true).
    bool AddItem(Com<TDetectedItem>& AItem, bool AEnable);
    // The item at Index, null when out of range.
    Com<TDetectedItem> Get(std::int32_t Index) const;
    // The item (or folded item) with serial Id, null when none.
    Com<TDetectedItem> GetById(std::int32_t Id) const;
    // Removes the item and decreases FCountCanBeDeleted by one unconditionally.
    void Remove(TDetectedItem* Item);
    // Drops every item; the three counters become 0.
    void ClearItems();
    std::int32_t Count() const;

    void SetShortDescription(const std::wstring& AText);
    void SetShortDescription(TLocalizerStr ALz, TLocalizerStr AFmtValue);
    std::wstring ShortDescription() const;

    // The list's stream form: Integer count, then each item's record.
    void SaveToStream(TStreamWrapper& W) const;
    // Clears, then reads the count and the records; items are added unchecked.
    void LoadFromStream(TStreamWrapper& W);

    ICategory* Category() const noexcept { return FCategory; }
    void DetachCategory() noexcept { FCategory = nullptr; }

    // True: no duplicate test on AddItem (set before each search).
    std::atomic<bool> FAllowDuplicates{true};
    // The items name files: GetTotalSize sums their sizes.
    bool FHasSize = false;
    std::atomic<std::int32_t> FRemainCount{-1};
    std::atomic<std::int32_t> FCountRemovingWasPerformed{0};
    std::atomic<std::int32_t> FCountIgnored{0};
    std::atomic<std::int32_t> FCountCanBeDeleted{0};

    // IDetectedItems
    HRESULT STDMETHODCALLTYPE GetTotalSize(std::int64_t* size) override;
    HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) override;
    HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, IDetectedItem** item) override;
    HRESULT STDMETHODCALLTYPE Clear() override;

private:
    friend class TDetectedItem;

    // Detaches Item from the list without touching the counters; false when
    // it is not in the list.
    bool Detach(TDetectedItem* Item);
    // Appends to FItems and the indexes (FLock held).
    void IndexAppendLocked(const Com<TDetectedItem>& AItem, const std::wstring& AGroupKey);
    // Drops an item's entries from the indexes (FLock held).
    void IndexRemoveLocked(TDetectedItem* Item);
    // The group head whose display name is AName, null when none; rebuilds the
    // head index first when names may have changed since it was built (FLock held).
    TDetectedItem* FindGroupHeadLocked(const std::wstring& AName);
    void RebuildGroupHeadsLocked();
    // Replaces Item's location, keeping FLocationIndex in step.
    void MoveLocation(TDetectedItem* Item, std::wstring ALocation);
    // Names of the list's group heads changed outside the list (SetItemName).
    void GroupNamesChanged();

    mutable std::mutex FLock;
    std::vector<Com<TDetectedItem>> FItems;
    // Indexes kept in step with FItems so that the duplicate test and the
    // group-head lookup cost O(1): location -> number of items with it, and
    // display name -> group head.
    std::unordered_map<std::wstring, std::int32_t> FLocationIndex;
    std::unordered_map<std::wstring, TDetectedItem*> FGroupHeads;
    // A display name depends on the localized-strings table, which the host
    // may change at any time. The texts of the localized ids the FGroupHeads
    // keys were computed from are kept here: when one of them differs from the
    // table's current text, the keys are stale and the index is rebuilt.
    std::vector<std::pair<TLocalizerStr, std::wstring>> FGroupHeadTexts;
    // The head index must be rebuilt before its next use: a head's name was
    // set after it was added, or two heads share a name and one was removed.
    bool FGroupHeadsDirty = false;
    // Two heads of the list had the same display name when the index was built.
    bool FGroupHeadsShared = false;
    std::wstring FShortDescription;
    TLocalizerStr FShortDescriptionLz = S_EMPTY;
    TLocalizerStr FShortDescriptionFmtValue = S_EMPTY;
    ICategory* FCategory = nullptr;
};

}  // namespace vt
