#include "services/IgnoreListAdapter.h"

#include "runtime/ComBoundary.h"
#include "runtime/Strings.h"

namespace vt {

namespace {
constexpr std::wstring_view kSeparator = L"\\\\";
}  // namespace

std::wstring TIgnoreListAdapter::StoredStr(const std::wstring& ALocation, const std::wstring& AMask) {
    std::wstring location = ALocation;
    // A five-character tag in parentheses in front of a location is display
    // decoration, not part of the path.
    if (location.size() >= 5 && location[0] == L'(' && location[4] == L')') location.erase(0, 5);
    if (!location.empty() && location.back() == L'\\') location.pop_back();
    if (AMask.empty()) return location;
    return location + std::wstring(kSeparator) + AMask;
}

std::wstring TIgnoreListAdapter::LocationOf(std::wstring_view ALine) {
    const std::size_t at = ALine.find(kSeparator);
    return std::wstring(at == std::wstring_view::npos ? ALine : ALine.substr(0, at));
}

std::wstring TIgnoreListAdapter::MaskOf(std::wstring_view ALine) {
    const std::size_t at = ALine.find(kSeparator);
    return at == std::wstring_view::npos ? std::wstring() : std::wstring(ALine.substr(at + kSeparator.size()));
}

TLocationType TIgnoreListAdapter::LocationTypeOf(std::wstring_view ALine) noexcept {
    if (ALine.size() < 3) return ltUnknown;
    return IsDrivePath(ALine) ? ltFile : ltRegistry;
}

HRESULT TIgnoreListAdapter::GetCount(std::int32_t* count) {
    return Guarded([&] { *Out(count) = FList ? FList->Count() : 0; });
}

HRESULT TIgnoreListAdapter::GetItem(std::int32_t index, BSTR* line) {
    return Guarded([&] { AssignBstr(line, FList ? FList->Get(index) : std::wstring()); });
}

HRESULT TIgnoreListAdapter::GetItemLocation(std::int32_t index, BSTR* location) {
    return Guarded([&] { AssignBstr(location, FList ? LocationOf(FList->Get(index)) : std::wstring()); });
}

HRESULT TIgnoreListAdapter::SetItemLocation(std::int32_t index, const wchar_t* location) {
    return Guarded([&] {
        if (!FList) return;
        FList->Set(index, StoredStr(FromBstr(location), MaskOf(FList->Get(index))));
    });
}

HRESULT TIgnoreListAdapter::GetItemMask(std::int32_t index, BSTR* mask) {
    return Guarded([&] { AssignBstr(mask, FList ? MaskOf(FList->Get(index)) : std::wstring()); });
}

HRESULT TIgnoreListAdapter::SetItemMask(std::int32_t index, const wchar_t* mask) {
    return Guarded([&] {
        if (!FList) return;
        FList->Set(index, StoredStr(LocationOf(FList->Get(index)), FromBstr(mask)));
    });
}

HRESULT TIgnoreListAdapter::GetLocationType(std::int32_t index, TLocationType* type) {
    return Guarded([&] {
        TLocationType& result = *Out(type);
        result = ltUnknown;
        if (FList && index >= 0 && index < FList->Count()) result = LocationTypeOf(FList->Get(index));
    });
}

HRESULT TIgnoreListAdapter::Clear() {
    return Guarded([&] {
        if (FList) FList->Clear();
    });
}

HRESULT TIgnoreListAdapter::Add(const wchar_t* location, const wchar_t* mask, std::int32_t* index) {
    return Guarded([&] {
        std::int32_t& result = *Out(index);
        result = -1;
        if (FList) result = FList->Add(StoredStr(FromBstr(location), FromBstr(mask)));
    });
}

HRESULT TIgnoreListAdapter::Delete(std::int32_t index) {
    return Guarded([&] {
        if (FList) FList->Delete(index);
    });
}

}  // namespace vt
