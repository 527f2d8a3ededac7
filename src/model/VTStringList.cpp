#include "model/VTStringList.h"

#include "runtime/ComBoundary.h"

namespace vt {

HRESULT TVTStringList::GetCount(std::int32_t* count) {
    return Guarded([&] { *Out(count) = list_->Count(); });
}

HRESULT TVTStringList::GetString(std::int32_t index, BSTR* value) {
    return Guarded([&] {
        *Out(value) = nullptr;
        AssignBstr(value, list_->Get(index));
    });
}

HRESULT TVTStringList::SetString(std::int32_t index, const wchar_t* value) {
    return Guarded([&] { list_->Set(index, FromBstr(value)); });
}

HRESULT TVTStringList::GetValue(std::int32_t index, std::int32_t* value) {
    return Guarded([&] {
        std::int32_t* out = Out(value);
        *out = static_cast<std::int32_t>(list_->Objects(index));
    });
}

HRESULT TVTStringList::SetValue(std::int32_t index, std::int32_t value) {
    return Guarded([&] { list_->SetObject(index, value); });
}

HRESULT TVTStringList::Add(const wchar_t* value, std::int32_t* index) {
    return Guarded([&] {
        // Checked first so that a null out-pointer leaves the list unchanged.
        std::int32_t* out = Out(index);
        *out = list_->Add(FromBstr(value));
    });
}

HRESULT TVTStringList::Delete(std::int32_t index) {
    return Guarded([&] { list_->Delete(index); });
}

HRESULT TVTStringList::Clear() {
    return Guarded([&] { list_->Clear(); });
}

HRESULT TVTStringList::IndexOf(const wchar_t* value, std::int32_t* index) {
    return Guarded([&] {
        std::int32_t* out = Out(index);
        *out = list_->IndexOf(FromBstr(value));
    });
}

}  // namespace vt
