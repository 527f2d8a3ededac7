#include "model/DetectedItems.h"

#include <algorithm>
#include <utility>

#include "model/StreamWrapper.h"
#include "runtime/ComBoundary.h"
#include "runtime/DebugLog.h"
#include "runtime/Exception.h"
#include "runtime/FileSystem.h"
#include "runtime/Strings.h"
#include "services/Wow64KeyMapping.h"

namespace vt {

namespace {

constexpr std::int32_t kNoFormatValue = -2;

// Serial numbers of items: incremented before use, so the first item gets 1.
std::atomic<std::int32_t> gItemSerial{0};

// Nesting of item records being read on this thread. Saved results nest one
// level (a head and its folded items); anything deeper comes from damaged or
// crafted bytes, and reading it recursively could exhaust the stack.
thread_local int gRecordDepth = 0;
constexpr int kMaxRecordDepth = 32;

class RecordDepthGuard {
public:
    RecordDepthGuard() {
        if (gRecordDepth >= kMaxRecordDepth) ThrowStreamRead();
        ++gRecordDepth;
    }
    ~RecordDepthGuard() { --gRecordDepth; }
    RecordDepthGuard(const RecordDepthGuard&) = delete;
    RecordDepthGuard& operator=(const RecordDepthGuard&) = delete;
};

// text formatted with one argument; a text whose placeholders do not fit the
// argument is shown as it is rather than failing the caller (a host's
// translation with a wrong placeholder must not break a scan or a display).
std::wstring FormatOrKeep(const std::wstring& text, FormatArg argument) {
    try {
        return Format(text, {argument});
    } catch (const Exception&) {
        return text;
    }
}

std::wstring NameFromText(const std::wstring& text, std::int32_t fmtValue) {
    if (fmtValue == kNoFormatValue) return text;
    return FormatOrKeep(text, fmtValue);
}

}  // namespace

TLocationType LocationTypeOf(std::wstring_view location) noexcept {
    if (location.size() < 3) return ltUnknown;
    return IsDrivePath(location) ? ltFile : ltRegistry;
}

// ---------------------------------------------------------------------------
// TDetectedItem

TDetectedItem::TDetectedItem(bool AGrouped) : FSerial(++gItemSerial), FGrouped(AGrouped) {}

TDetectedItem::TDetectedItem(TStreamWrapper& AStream) {
    RecordDepthGuard depth;
    FSerial = AStream.ReadInteger();
    FIsBinary = AStream.ReadBoolean();
    FItemCanBeDeleted = AStream.ReadBoolean();
    FRemovingWasPerformed.store(AStream.ReadBoolean());
    FItemSourceIndex = AStream.ReadInteger();
    FItemIconType = static_cast<TIconType>(AStream.ReadInteger());
    FItemText = AStream.ReadString();
    FItemName = AStream.ReadString();
    FItemNameLz = static_cast<TLocalizerStr>(AStream.ReadInteger());
    FItemNameFmtValue = AStream.ReadInteger();
    FLocationType = static_cast<TLocationType>(AStream.ReadInteger());
    FLocation = AStream.ReadString();
    FGrouped = AStream.ReadBoolean();
    if (FGrouped) {
        const std::int32_t count = AStream.ReadInteger();
        for (std::int32_t i = 0; i < count; ++i) AddToGroup(MakeCom<TDetectedItem>(AStream));
    }
}

void TDetectedItem::SetItemName(const std::wstring& AName) {
    FItemName = AName;
    FItemNameLz = S_EMPTY;
    FItemNameFmtValue = kNoFormatValue;
    if (TDetectedItems* owner = Owner(); owner && FGrouped) owner->GroupNamesChanged();
}

void TDetectedItem::SetItemName(TLocalizerStr AName, std::int32_t AFmtValue) {
    FItemNameLz = AName;
    FItemNameFmtValue = AFmtValue;
    if (TDetectedItems* owner = Owner(); owner && FGrouped) owner->GroupNamesChanged();
}

void TDetectedItem::SetLocation(const std::wstring& ALocation) {
    static constexpr std::wstring_view kX64 = L"(x64)";
    static constexpr std::wstring_view kX32 = L"(x32)";
    std::wstring location;
    if (StartsText(kX64, ALocation)) {
        location = ALocation.substr(kX64.size());
    } else if (StartsText(kX32, ALocation)) {
        // "(x32)<key>\\<value>": the key is given in the 32-bit view; store its
        // native name. Without a value separator the whole rest is the key.
        const std::size_t separator = ALocation.find(L"\\\\", kX32.size());
        const std::size_t keyEnd = separator == std::wstring::npos ? ALocation.size() : separator;
        const std::wstring_view key = std::wstring_view(ALocation).substr(kX32.size(), keyEnd - kX32.size());
        location = TKeyMappingChecker::Instance().GetNativeKey(kWow64View32Flag, key);
        location.append(ALocation, keyEnd, std::wstring::npos);
    } else {
        location = ALocation;
    }
    if (TDetectedItems* owner = Owner()) {
        owner->MoveLocation(this, std::move(location));
    } else {
        FLocation = std::move(location);
        FLocationType = LocationTypeOf(FLocation);
    }
}

std::wstring TDetectedItem::DisplayName() const {
    const std::wstring text = FItemNameLz != S_EMPTY ? LocalizedString(FItemNameLz) : FItemName;
    return NameFromText(text, FItemNameFmtValue);
}

std::wstring TDetectedItem::AsString() const {
    return Format(L"DetectedItem(Name='%s', Text='%s', Location='%s'", {DisplayName(), FItemText, FLocation});
}

void TDetectedItem::BecomeFolded() {
    FItemName.clear();
    FItemNameLz = S_EMPTY;
    FItemNameFmtValue = kNoFormatValue;
    FGrouped = false;
}

void TDetectedItem::AppendFolded(Com<TDetectedItem> AItem) {
    if (!FGroupedItems) FGroupedItems = std::make_unique<std::vector<Com<TDetectedItem>>>();
    FGroupedItems->push_back(std::move(AItem));
}

void TDetectedItem::AddToGroup(Com<TDetectedItem> AItem) {
    if (!AItem) ThrowNullPointer(L"Detected item is not assigned");
    // An item still in a list would stay in that list's indexes after it stops
    // being a head, and a head folded into itself would be saved endlessly.
    if (AItem.Get() == this) ThrowInvalidOperation(L"Detected item cannot be grouped into itself");
    if (AItem->Owner() != nullptr) ThrowInvalidOperation(L"Detected item already belongs to a list");
    TDetectedItem* item = AItem.Get();
    item->BecomeFolded();
    if (TDetectedItems* owner = Owner()) {
        std::lock_guard lock(owner->FLock);
        AppendFolded(std::move(AItem));
    } else {
        AppendFolded(std::move(AItem));
    }
    if (TDebugLog::Enabled(llInfo))
        TDebugLog::Log(llInfo, L"TDetectedItem", L"Grouped item added. %s", {item->AsString()});
}

TDetectedItem* TDetectedItem::GetGroupedItems(std::int32_t AIndex) const {
    std::unique_lock<std::mutex> lock;
    if (TDetectedItems* owner = Owner()) lock = std::unique_lock(owner->FLock);
    if (!FGroupedItems || AIndex < 0 || static_cast<std::size_t>(AIndex) >= FGroupedItems->size()) return nullptr;
    return (*FGroupedItems)[static_cast<std::size_t>(AIndex)].Get();
}

std::int32_t TDetectedItem::GroupedCount() const {
    std::unique_lock<std::mutex> lock;
    if (TDetectedItems* owner = Owner()) lock = std::unique_lock(owner->FLock);
    return FGroupedItems ? static_cast<std::int32_t>(FGroupedItems->size()) : 0;
}

bool TDetectedItem::MemberOfGroup() const {
    return FGrouped || Owner() == nullptr;
}

void TDetectedItem::SaveToStream(TStreamWrapper& W) const {
    W.Write(FSerial);
    W.Write(FIsBinary);
    W.Write(FItemCanBeDeleted);
    W.Write(FRemovingWasPerformed.load());
    W.Write(FItemSourceIndex);
    W.Write(static_cast<std::int32_t>(FItemIconType));
    W.Write(FItemText);
    W.Write(FItemName);
    W.Write(static_cast<std::int32_t>(FItemNameLz));
    W.Write(FItemNameFmtValue);
    W.Write(static_cast<std::int32_t>(FLocationType));
    W.Write(FLocation);
    W.Write(FGrouped);
    if (FGrouped) {
        const std::int32_t count = FGroupedItems ? static_cast<std::int32_t>(FGroupedItems->size()) : 0;
        W.Write(count);
        for (std::int32_t i = 0; i < count; ++i) (*FGroupedItems)[static_cast<std::size_t>(i)]->SaveToStream(W);
    }
}

void TDetectedItem::SetChecked(bool Value) {
    if (FIgnoredAfterScan.load()) return;
    bool expected = !Value;
    if (!FEnabled.compare_exchange_strong(expected, Value)) return;  // unchanged
    TDetectedItems* owner = Owner();
    if (!owner) return;
    owner->FCountCanBeDeleted += Value ? 1 : -1;
    ICategory* category = owner->Category();
    if (!category) return;
    Com<IEnabledChange> notify;
    if (FAILED(category->QueryInterface(IidOf<IEnabledChange>(), reinterpret_cast<void**>(notify.Put()))) || !notify)
        return;
    TDetectedItemChange handler{};
    if (SUCCEEDED(notify->GetOnDetectedItemChange(&handler)) && handler.Code)
        handler.Code(handler.Data, static_cast<IDetectedItem*>(this));
}

void TDetectedItem::SetRemovingWasPerformed(bool Value) {
    if (FRemovingWasPerformed.exchange(Value) == Value) return;
    if (TDetectedItems* owner = Owner()) owner->FCountRemovingWasPerformed += Value ? 1 : -1;
}

HRESULT STDMETHODCALLTYPE TDetectedItem::GetItemName(BSTR* name) {
    return Guarded([&] { AssignBstr(name, DisplayName()); });
}

HRESULT STDMETHODCALLTYPE TDetectedItem::GetShortDescription(BSTR* description) {
    return Guarded([&] {
        TDetectedItems* owner = Owner();
        AssignBstr(description, owner ? owner->ShortDescription() : std::wstring());
    });
}

HRESULT STDMETHODCALLTYPE TDetectedItem::GetLocationType(TLocationType* type) {
    return Guarded([&] { *Out(type) = FLocationType; });
}

HRESULT STDMETHODCALLTYPE TDetectedItem::GetLocation(BSTR* location) {
    return Guarded([&] { AssignBstr(location, FLocation); });
}

HRESULT STDMETHODCALLTYPE TDetectedItem::GetItemFileSize(std::int64_t* size) {
    return Guarded([&] { *Out(size) = FItemFileSize; });
}

HRESULT STDMETHODCALLTYPE TDetectedItem::GetRemoved(bool* removed) {
    return Guarded([&] { *Out(removed) = FRemovingWasPerformed.load() && !FItemFailedToRemove.load(); });
}

HRESULT STDMETHODCALLTYPE TDetectedItem::GetWipeSize(std::int64_t* size) {
    return Guarded([&] { *Out(size) = FWipeSize.load(); });
}

HRESULT STDMETHODCALLTYPE TDetectedItem::GetEnabled(bool* enabled) {
    return Guarded([&] { *Out(enabled) = FEnabled.load(); });
}

HRESULT STDMETHODCALLTYPE TDetectedItem::SetEnabled(bool enabled) {
    return Guarded([&] { SetChecked(enabled); });
}

HRESULT STDMETHODCALLTYPE TDetectedItem::IgnoreItem() {
    return Guarded([&] {
        // The check mark goes off directly, without the category notification.
        // FCountCanBeDeleted counts checked items, so it moves exactly when the
        // item was checked, whether or not the item leaves the list below.
        const bool wasChecked = FEnabled.exchange(false);
        const bool firstIgnore = !FIgnoredAfterScan.exchange(true);
        TDetectedItems* owner = Owner();
        if (!owner) return;
        if (wasChecked) --owner->FCountCanBeDeleted;
        if (firstIgnore) ++owner->FCountIgnored;
        ICategory* category = owner->Category();
        if (!category || FLocation.empty()) return;
        Com<IIgnoreList> ignoreList;
        if (FAILED(category->GetIgnoreList(ignoreList.Put())) || !ignoreList) return;
        std::int32_t index = -1;
        const HRESULT added = ignoreList->Add(FLocation.c_str(), L"", &index);
        if (FAILED(added)) throw Exception(added, TakeErrorInfoMessage());
        // Keep this object alive while the list lets go of it.
        const Com<TDetectedItem> self(this);
        owner->Detach(this);
    });
}

// ---------------------------------------------------------------------------
// TDetectedItems

TDetectedItems::TDetectedItems(ICategory* ACategory) : FCategory(ACategory) {}

TDetectedItems::~TDetectedItems() {
    // Items the host still holds outlive the list: they become detached.
    for (const auto& item : FItems) item->FDetectedItems.store(nullptr);
}

bool TDetectedItems::AddItem(Com<TDetectedItem>& AItem, bool AEnable) {
    if (!AItem) ThrowNullPointer(L"Detected item is not assigned");
    if (AItem->Owner() != nullptr) ThrowInvalidOperation(L"Detected item already belongs to a list");
    TDetectedItem* item = AItem.Get();
    std::wstring groupKey;
    {
        std::unique_lock lock(FLock);
        if (item->FGrouped) {
            groupKey = item->DisplayName();
            if (TDetectedItem* head = FindGroupHeadLocked(groupKey)) {
                item->BecomeFolded();
                head->AppendFolded(AItem);
                lock.unlock();
                if (TDebugLog::Enabled(llInfo))
                    TDebugLog::Log(llInfo, L"TDetectedItem", L"Grouped item added. %s", {item->AsString()});
                return true;
            }
        }
        if (!FAllowDuplicates.load() && FLocationIndex.find(item->FLocation) != FLocationIndex.end()) {
            lock.unlock();
            if (TDebugLog::Enabled(llWarning))
                TDebugLog::Log(llWarning, L"TDetectedItems", L"Can't add existing detected item. %s",
                               {item->AsString()});
            AItem.Reset();
            return false;
        }
        item->FDetectedItems.store(this);
        IndexAppendLocked(AItem, groupKey);
    }
    if (TDebugLog::Enabled(llWarning))
        TDebugLog::Log(llWarning, L"TDetectedItems", L"Detected item added. %s", {item->AsString()});
    if (AEnable) item->SetChecked(true);
    return true;
}

void TDetectedItems::IndexAppendLocked(const Com<TDetectedItem>& AItem, const std::wstring& AGroupKey) {
    TDetectedItem* item = AItem.Get();
    FItems.push_back(AItem);
    ++FLocationIndex[item->FLocation];
    if (!item->FGrouped) return;
    // FindGroupHeadLocked ran just before with a current index, so the key is
    // new unless two heads already share a name.
    if (!FGroupHeads.emplace(AGroupKey, item).second) FGroupHeadsShared = true;
    if (item->FItemNameLz != S_EMPTY) {
        const bool known = std::any_of(FGroupHeadTexts.begin(), FGroupHeadTexts.end(),
                                       [&](const auto& entry) { return entry.first == item->FItemNameLz; });
        if (!known) FGroupHeadTexts.emplace_back(item->FItemNameLz, LocalizedString(item->FItemNameLz));
    }
}

void TDetectedItems::IndexRemoveLocked(TDetectedItem* Item) {
    if (auto found = FLocationIndex.find(Item->FLocation); found != FLocationIndex.end()) {
        if (--found->second <= 0) FLocationIndex.erase(found);
    }
    if (!Item->FGrouped || FGroupHeadsDirty) return;
    if (FGroupHeadsShared) {
        // Another head may carry the same name and must take over the key.
        FGroupHeadsDirty = true;
        return;
    }
    // When the localized texts changed, the key cannot be recomputed; the
    // next lookup rebuilds the index anyway.
    for (const auto& [id, text] : FGroupHeadTexts) {
        if (LocalizedString(id) != text) {
            FGroupHeadsDirty = true;
            return;
        }
    }
    if (auto found = FGroupHeads.find(Item->DisplayName()); found != FGroupHeads.end() && found->second == Item)
        FGroupHeads.erase(found);
}

TDetectedItem* TDetectedItems::FindGroupHeadLocked(const std::wstring& AName) {
    bool stale = FGroupHeadsDirty;
    for (std::size_t i = 0; !stale && i < FGroupHeadTexts.size(); ++i)
        stale = LocalizedString(FGroupHeadTexts[i].first) != FGroupHeadTexts[i].second;
    if (stale) RebuildGroupHeadsLocked();
    const auto found = FGroupHeads.find(AName);
    return found == FGroupHeads.end() ? nullptr : found->second;
}

void TDetectedItems::RebuildGroupHeadsLocked() {
    FGroupHeads.clear();
    FGroupHeadTexts.clear();
    FGroupHeadsDirty = false;
    FGroupHeadsShared = false;
    for (const auto& item : FItems) {
        if (!item->FGrouped) continue;
        std::wstring text = item->FItemName;
        if (item->FItemNameLz != S_EMPTY) {
            text = LocalizedString(item->FItemNameLz);
            const auto known = std::find_if(FGroupHeadTexts.begin(), FGroupHeadTexts.end(),
                                            [&](const auto& entry) { return entry.first == item->FItemNameLz; });
            if (known == FGroupHeadTexts.end())
                FGroupHeadTexts.emplace_back(item->FItemNameLz, text);
            else if (known->second != text)
                FGroupHeadsDirty = true;  // the table changed while we read it
        }
        // The first head in list order keeps a shared name, as a scan would find it.
        if (!FGroupHeads.emplace(NameFromText(text, item->FItemNameFmtValue), item.Get()).second)
            FGroupHeadsShared = true;
    }
}

void TDetectedItems::GroupNamesChanged() {
    std::lock_guard lock(FLock);
    FGroupHeadsDirty = true;
}

void TDetectedItems::MoveLocation(TDetectedItem* Item, std::wstring ALocation) {
    std::lock_guard lock(FLock);
    if (Item->Owner() == this) {
        if (auto found = FLocationIndex.find(Item->FLocation); found != FLocationIndex.end()) {
            if (--found->second <= 0) FLocationIndex.erase(found);
        }
        ++FLocationIndex[ALocation];
    }
    Item->FLocation = std::move(ALocation);
    Item->FLocationType = LocationTypeOf(Item->FLocation);
}

Com<TDetectedItem> TDetectedItems::Get(std::int32_t Index) const {
    std::lock_guard lock(FLock);
    if (Index < 0 || static_cast<std::size_t>(Index) >= FItems.size()) return nullptr;
    return FItems[static_cast<std::size_t>(Index)];
}

Com<TDetectedItem> TDetectedItems::GetById(std::int32_t Id) const {
    std::lock_guard lock(FLock);
    for (const auto& item : FItems) {
        if (item->FSerial == Id) return item;
        if (!item->FGroupedItems) continue;
        for (const auto& folded : *item->FGroupedItems)
            if (folded->FSerial == Id) return folded;
    }
    return nullptr;
}

bool TDetectedItems::Detach(TDetectedItem* Item) {
    Com<TDetectedItem> keep;  // released after the lock, whatever its destructor does
    {
        std::lock_guard lock(FLock);
        // Removal runs from the last item to the first, so search from the back.
        const auto found = std::find_if(FItems.rbegin(), FItems.rend(),
                                        [&](const Com<TDetectedItem>& item) { return item.Get() == Item; });
        if (found == FItems.rend()) return false;
        keep = std::move(*found);
        FItems.erase(std::next(found).base());
        IndexRemoveLocked(Item);
        Item->FDetectedItems.store(nullptr);
    }
    return true;
}

void TDetectedItems::Remove(TDetectedItem* Item) {
    if (Item && Detach(Item)) --FCountCanBeDeleted;
}

void TDetectedItems::ClearItems() {
    std::vector<Com<TDetectedItem>> dropped;
    {
        std::lock_guard lock(FLock);
        dropped.swap(FItems);
        FLocationIndex.clear();
        FGroupHeads.clear();
        FGroupHeadTexts.clear();
        FGroupHeadsDirty = false;
        FGroupHeadsShared = false;
        for (const auto& item : dropped) item->FDetectedItems.store(nullptr);
        FCountRemovingWasPerformed = 0;
        FCountIgnored = 0;
        FCountCanBeDeleted = 0;
    }
    // The items are released here, outside the lock.
}

std::int32_t TDetectedItems::Count() const {
    std::lock_guard lock(FLock);
    return static_cast<std::int32_t>(FItems.size());
}

void TDetectedItems::SetShortDescription(const std::wstring& AText) {
    std::lock_guard lock(FLock);
    FShortDescription = AText;
    FShortDescriptionLz = S_EMPTY;
    FShortDescriptionFmtValue = S_EMPTY;
}

void TDetectedItems::SetShortDescription(TLocalizerStr ALz, TLocalizerStr AFmtValue) {
    std::lock_guard lock(FLock);
    FShortDescriptionLz = ALz;
    FShortDescriptionFmtValue = AFmtValue;
}

std::wstring TDetectedItems::ShortDescription() const {
    std::wstring text;
    TLocalizerStr lz, fmtValue;
    {
        std::lock_guard lock(FLock);
        text = FShortDescription;
        lz = FShortDescriptionLz;
        fmtValue = FShortDescriptionFmtValue;
    }
    if (lz != S_EMPTY) text = LocalizedString(lz);
    if (fmtValue != S_EMPTY) text = FormatOrKeep(text, LocalizedString(fmtValue));
    return text;
}

void TDetectedItems::SaveToStream(TStreamWrapper& W) const {
    std::lock_guard lock(FLock);
    W.Write(static_cast<std::int32_t>(FItems.size()));
    for (const auto& item : FItems) item->SaveToStream(W);
}

void TDetectedItems::LoadFromStream(TStreamWrapper& W) {
    ClearItems();
    const std::int32_t count = W.ReadInteger();
    for (std::int32_t i = 0; i < count; ++i) {
        Com<TDetectedItem> item = MakeCom<TDetectedItem>(W);
        AddItem(item, false);
    }
}

HRESULT STDMETHODCALLTYPE TDetectedItems::GetTotalSize(std::int64_t* size) {
    return Guarded([&] {
        std::int64_t* out = Out(size);
        *out = 0;
        if (!FHasSize) return;
        std::vector<Com<TDetectedItem>> items;
        {
            std::lock_guard lock(FLock);
            items = FItems;
        }
        // File queries run outside the lock: the worker keeps adding meanwhile.
        std::int64_t total = 0;
        for (const auto& item : items) total += std::max<std::int64_t>(FileSizeOf(item->DisplayName()), 0);
        *out = total;
    });
}

HRESULT STDMETHODCALLTYPE TDetectedItems::GetCount(std::int32_t* count) {
    return Guarded([&] { *Out(count) = Count(); });
}

HRESULT STDMETHODCALLTYPE TDetectedItems::GetItem(std::int32_t index, IDetectedItem** item) {
    return Guarded([&] {
        IDetectedItem** out = Out(item);
        *out = nullptr;
        const Com<TDetectedItem> found = Get(index);
        AssignInterface(out, found.Get());
    });
}

HRESULT STDMETHODCALLTYPE TDetectedItems::Clear() {
    return Guarded([&] { ClearItems(); });
}

}  // namespace vt
