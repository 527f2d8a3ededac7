// TIgnoreListAdapter: presents one category's ignore list (a vt::StringList it
// does not own; may be null) to the host as IIgnoreList.
//
// Each line holds a location and an optional mask: the location, then two
// backslashes, then the mask; a line without a mask is the location alone.
// Before storing, the location loses a five-character "(xxx)" prefix and one
// trailing backslash, so "C:\Temp\" with "*.log" is stored as "C:\Temp\\*.log".
//
// Without a list every operation does nothing and answers empty, 0, ltUnknown
// or -1. Index errors surface as E_BOUNDS through the boundary.
#pragma once

#include <string>
#include <string_view>

#include "runtime/ComObject.h"
#include "runtime/StringList.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

class TIgnoreListAdapter final : public ComObject<IIgnoreList> {
public:
    explicit TIgnoreListAdapter(StringList* AList = nullptr) noexcept : FList(AList) {}

    // Presents AList from now on (null: none); the caller keeps ownership.
    void Assign(StringList* AList) noexcept { FList = AList; }
    // The presented list, null when none.
    StringList* List() const noexcept { return FList; }

    // The line that stores ALocation with AMask.
    static std::wstring StoredStr(const std::wstring& ALocation, const std::wstring& AMask);
    // The location of a line: the text before the first two backslashes, or the whole line.
    static std::wstring LocationOf(std::wstring_view ALine);
    // The mask of a line: the text after the first two backslashes, or empty.
    static std::wstring MaskOf(std::wstring_view ALine);
    // ltUnknown under 3 characters, ltFile for "X:\...", otherwise ltRegistry.
    static TLocationType LocationTypeOf(std::wstring_view ALine) noexcept;

    // IIgnoreList
    HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) override;
    HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, BSTR* line) override;
    HRESULT STDMETHODCALLTYPE GetItemLocation(std::int32_t index, BSTR* location) override;
    HRESULT STDMETHODCALLTYPE SetItemLocation(std::int32_t index, const wchar_t* location) override;
    HRESULT STDMETHODCALLTYPE GetItemMask(std::int32_t index, BSTR* mask) override;
    HRESULT STDMETHODCALLTYPE SetItemMask(std::int32_t index, const wchar_t* mask) override;
    HRESULT STDMETHODCALLTYPE GetLocationType(std::int32_t index, TLocationType* type) override;
    HRESULT STDMETHODCALLTYPE Clear() override;
    HRESULT STDMETHODCALLTYPE Add(const wchar_t* location, const wchar_t* mask, std::int32_t* index) override;
    HRESULT STDMETHODCALLTYPE Delete(std::int32_t index) override;

private:
    ~TIgnoreListAdapter() override = default;

    StringList* FList;
};

}  // namespace vt
