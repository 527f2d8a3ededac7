// vt::StringList: the engine's list of strings, each with an integer object
// slot, behaving as Delphi's TStringList does (sorted mode with binary search,
// duplicate handling, case-insensitive comparison by default, name=value lines,
// Text with CR LF line breaks). Indices are 0-based ints, as Delphi's Integer.
//
// Comparison uses vt::CompareStr (case-sensitive) or vt::CompareText (the
// runtime's fixed case-folding table), never the system locale, so both
// builds order lists identically.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vt {

// What Add does with a string that a sorted list already holds.
enum TDuplicates { dupIgnore, dupAccept, dupError };

class StringList {
public:
    struct Entry {
        std::wstring text;
        std::intptr_t object = 0;
    };
    // Compares the entries at index1 and index2 of list: <0, 0 or >0.
    using CompareFunction = std::function<int(const StringList& list, int index1, int index2)>;

    StringList() = default;
    // A list with the given modes; a sorted list starts empty, so nothing is sorted.
    StringList(bool sorted, TDuplicates duplicates, bool caseSensitive = false);

    // Number of entries.
    int Count() const noexcept { return static_cast<int>(entries_.size()); }
    bool Empty() const noexcept { return entries_.empty(); }

    // The string at index; ThrowListIndex when index is outside 0..Count-1.
    const std::wstring& Get(int index) const;
    // Replaces the string at index; ThrowListIndex when out of range, the
    // general error "Operation not allowed on sorted list" when Sorted.
    void Set(int index, std::wstring value);
    // The object slot at index; ThrowListIndex when out of range.
    std::intptr_t Objects(int index) const;
    // Replaces the object slot at index; ThrowListIndex when out of range.
    void SetObject(int index, std::intptr_t object);

    // Appends (or, when Sorted, inserts at the sorted position) and returns the
    // index; when Sorted with dupIgnore and the string is already present,
    // nothing is added and the index of the entry already there is returned;
    // the general error "String list does not allow duplicates" with dupError.
    int Add(std::wstring value);
    // Add with an object slot; same contract as Add.
    int AddObject(std::wstring value, std::intptr_t object);
    // Inserts before index (0..Count); ThrowListIndex when out of range, the
    // general error "Operation not allowed on sorted list" when Sorted.
    void Insert(int index, std::wstring value);
    void InsertObject(int index, std::wstring value, std::intptr_t object);
    // Removes the entry at index; ThrowListIndex when out of range.
    void Delete(int index);
    // Removes every entry; modes are kept.
    void Clear() noexcept { entries_.clear(); }
    // Swaps two entries; ThrowListIndex when either is out of range. As in
    // Delphi this is allowed on a sorted list and may break its order.
    void Exchange(int index1, int index2);

    // Index of the first entry equal to value under the list's case rule
    // (binary search when Sorted), -1 when absent.
    int IndexOf(std::wstring_view value) const;
    // Index of the first entry whose object slot is object, -1 when absent.
    int IndexOfObject(std::intptr_t object) const noexcept;
    // Binary search for value: true when found, index = its position (the first
    // of equal entries) or where it would be inserted. Meaningful only when Sorted.
    bool Find(std::wstring_view value, int& index) const;

    // Index of the first "name=value" line whose name equals name under the
    // list's case rule, -1 when none.
    int IndexOfName(std::wstring_view name) const;
    // The part before the first '=' of line index, empty when the line has none;
    // ThrowListIndex when out of range.
    std::wstring Names(int index) const;
    // The part after the first '=' of line index, empty when the line has none
    // or index is negative; ThrowListIndex when index >= Count.
    std::wstring ValueFromIndex(int index) const;
    // The value of the first line named name, empty when there is none.
    std::wstring Values(std::wstring_view name) const;
    // Sets the line named name to name=value, appending it when absent; an empty
    // value deletes the line instead. On a sorted list a non-empty value raises
    // "Operation not allowed on sorted list" (Delphi's rule) and changes nothing.
    void SetValues(std::wstring_view name, std::wstring_view value);

    // Reserved number of entries.
    int Capacity() const noexcept { return static_cast<int>(entries_.capacity()); }
    // Reserves room for capacity entries; the general error "List capacity out of
    // bounds (N)" when capacity < Count.
    void SetCapacity(int capacity);

    bool Sorted() const noexcept { return sorted_; }
    // Turning sorting on sorts the entries; turning it off keeps their order.
    void SetSorted(bool sorted);
    TDuplicates Duplicates() const noexcept { return duplicates_; }
    // Applies to later additions only; entries already present stay.
    void SetDuplicates(TDuplicates duplicates) noexcept { duplicates_ = duplicates; }
    bool CaseSensitive() const noexcept { return caseSensitive_; }
    // Changes the comparison; a sorted list is sorted again under the new rule.
    void SetCaseSensitive(bool caseSensitive);

    // Sorts by the list's comparison; does nothing when already Sorted.
    void Sort();
    // Sorts with compare (stable, each index naming the entry's position before
    // the sort); does nothing when Sorted, as Delphi's CustomSort.
    void CustomSort(const CompareFunction& compare);

    // Makes this list an exact copy of source: entries, slots and modes.
    void Assign(const StringList& source);
    // Adds every entry of source (strings and slots) through AddObject.
    void AddStrings(const StringList& source);

    // Kept for callers written against Delphi's interface; the list has no
    // change notifications, so these do nothing.
    void BeginUpdate() noexcept {}
    void EndUpdate() noexcept {}

    // Every line followed by CR LF ("" for an empty list).
    std::wstring Text() const;
    // Replaces the entries by the lines of text, split at CR LF, CR or LF; a
    // trailing break adds no empty line; text ends at an embedded NUL as in
    // Delphi. Sorted/Duplicates apply as if each line were added in turn
    // (dupError raises after keeping the lines before the first duplicate).
    void SetText(std::wstring_view text);

    // The entries themselves, for iteration.
    const std::vector<Entry>& Entries() const noexcept { return entries_; }

    // The list's comparison of two strings (CompareStr or CompareText).
    int CompareStrings(std::wstring_view a, std::wstring_view b) const noexcept;

private:
    void CheckIndex(int index) const;
    void CheckNotSorted() const;
    void SortEntries();

    std::vector<Entry> entries_;
    bool sorted_ = false;
    TDuplicates duplicates_ = dupIgnore;
    bool caseSensitive_ = false;
};

}  // namespace vt
