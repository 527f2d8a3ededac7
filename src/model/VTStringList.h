// TVTStringList: the IVTStringList the engine hands to hosts. It is either a
// live view of a vt::StringList that someone else owns (the engine's task list,
// a category's warning processes), so host edits land in that list, or it owns
// a list of its own. Each entry's object slot is exposed as an int32 value.
// Not synchronised: callers that share the viewed list across threads lock
// around it themselves.
#pragma once

#include "runtime/ComObject.h"
#include "runtime/StringList.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

class TVTStringList : public ComObject<IVTStringList> {
public:
    // A list of its own, empty, with StringList's default modes.
    TVTStringList() : list_(&owned_) {}
    // A view of list, which must outlive this object.
    explicit TVTStringList(StringList& list) : list_(&list) {}

    // The list this object shows (its own or the viewed one).
    StringList& List() noexcept { return *list_; }

    // Every method: S_OK, E_POINTER for a null out-pointer, E_BOUNDS with
    // "List index out of bounds (N)" for an index outside 0..Count-1, or the
    // list's own error (E_FAIL) such as a refused duplicate.
    HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) override;
    // *value is null on failure.
    HRESULT STDMETHODCALLTYPE GetString(std::int32_t index, BSTR* value) override;
    // Fails on a sorted list ("Operation not allowed on sorted list").
    HRESULT STDMETHODCALLTYPE SetString(std::int32_t index, const wchar_t* value) override;
    // The entry's object slot, truncated to 32 bits.
    HRESULT STDMETHODCALLTYPE GetValue(std::int32_t index, std::int32_t* value) override;
    HRESULT STDMETHODCALLTYPE SetValue(std::int32_t index, std::int32_t value) override;
    // *index is the new entry's position, -1 when a sorted list ignored a duplicate.
    HRESULT STDMETHODCALLTYPE Add(const wchar_t* value, std::int32_t* index) override;
    HRESULT STDMETHODCALLTYPE Delete(std::int32_t index) override;
    HRESULT STDMETHODCALLTYPE Clear() override;
    // *index is -1 when absent; compares under the list's case rule.
    HRESULT STDMETHODCALLTYPE IndexOf(const wchar_t* value, std::int32_t* index) override;

private:
    StringList owned_;
    StringList* list_;
};

}  // namespace vt
