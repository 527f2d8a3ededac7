#include "runtime/StringList.h"

#include <algorithm>
#include <numeric>

#include "runtime/Exception.h"
#include "runtime/Strings.h"

namespace vt {

namespace {

constexpr wchar_t kNameValueSeparator = L'=';

[[noreturn]] void ThrowSortedListError() { ThrowGeneral(L"Operation not allowed on sorted list"); }
[[noreturn]] void ThrowDuplicateError() { ThrowGeneral(L"String list does not allow duplicates"); }

// The lines of text as Delphi's TStrings.SetTextStr splits them.
std::vector<std::wstring> SplitLines(std::wstring_view text) {
    std::vector<std::wstring> lines;
    std::size_t p = 0;
    const std::size_t n = text.size();
    while (p < n && text[p] != L'\0') {
        const std::size_t start = p;
        while (p < n && text[p] != L'\0' && text[p] != L'\r' && text[p] != L'\n') ++p;
        lines.emplace_back(text.substr(start, p - start));
        if (p < n && text[p] == L'\r') ++p;
        if (p < n && text[p] == L'\n') ++p;
    }
    return lines;
}

}  // namespace

StringList::StringList(bool sorted, TDuplicates duplicates, bool caseSensitive)
    : sorted_(sorted), duplicates_(duplicates), caseSensitive_(caseSensitive) {}

int StringList::CompareStrings(std::wstring_view a, std::wstring_view b) const noexcept {
    return caseSensitive_ ? CompareStr(a, b) : CompareText(a, b);
}

void StringList::CheckIndex(int index) const {
    if (index < 0 || index >= Count()) ThrowListIndex(index);
}

void StringList::CheckNotSorted() const {
    if (sorted_) ThrowSortedListError();
}

const std::wstring& StringList::Get(int index) const {
    CheckIndex(index);
    return entries_[static_cast<std::size_t>(index)].text;
}

void StringList::Set(int index, std::wstring value) {
    CheckNotSorted();
    CheckIndex(index);
    entries_[static_cast<std::size_t>(index)].text = std::move(value);
}

std::intptr_t StringList::Objects(int index) const {
    CheckIndex(index);
    return entries_[static_cast<std::size_t>(index)].object;
}

void StringList::SetObject(int index, std::intptr_t object) {
    CheckIndex(index);
    entries_[static_cast<std::size_t>(index)].object = object;
}

int StringList::Add(std::wstring value) { return AddObject(std::move(value), 0); }

int StringList::AddObject(std::wstring value, std::intptr_t object) {
    int index = Count();
    if (sorted_ && Find(value, index)) {
        // As Delphi: an ignored duplicate answers the index of the entry already there.
        if (duplicates_ == dupIgnore) return index;
        if (duplicates_ == dupError) ThrowDuplicateError();
    }
    entries_.insert(entries_.begin() + index, Entry{std::move(value), object});
    return index;
}

void StringList::Insert(int index, std::wstring value) { InsertObject(index, std::move(value), 0); }

void StringList::InsertObject(int index, std::wstring value, std::intptr_t object) {
    CheckNotSorted();
    if (index < 0 || index > Count()) ThrowListIndex(index);
    entries_.insert(entries_.begin() + index, Entry{std::move(value), object});
}

void StringList::Delete(int index) {
    CheckIndex(index);
    entries_.erase(entries_.begin() + index);
}

void StringList::Exchange(int index1, int index2) {
    CheckIndex(index1);
    CheckIndex(index2);
    std::swap(entries_[static_cast<std::size_t>(index1)], entries_[static_cast<std::size_t>(index2)]);
}

bool StringList::Find(std::wstring_view value, int& index) const {
    // Lower bound: with duplicates accepted this is the first of the equal
    // entries, which is also where Delphi inserts a new equal one.
    const auto at = std::lower_bound(entries_.begin(), entries_.end(), value,
                                     [this](const Entry& e, std::wstring_view v) { return CompareStrings(e.text, v) < 0; });
    index = static_cast<int>(at - entries_.begin());
    return at != entries_.end() && CompareStrings(at->text, value) == 0;
}

int StringList::IndexOf(std::wstring_view value) const {
    if (sorted_) {
        int index;
        return Find(value, index) ? index : -1;
    }
    for (std::size_t i = 0; i < entries_.size(); ++i)
        if (CompareStrings(entries_[i].text, value) == 0) return static_cast<int>(i);
    return -1;
}

int StringList::IndexOfObject(std::intptr_t object) const noexcept {
    for (std::size_t i = 0; i < entries_.size(); ++i)
        if (entries_[i].object == object) return static_cast<int>(i);
    return -1;
}

int StringList::IndexOfName(std::wstring_view name) const {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const std::wstring_view line = entries_[i].text;
        const std::size_t at = line.find(kNameValueSeparator);
        if (at != std::wstring_view::npos && CompareStrings(line.substr(0, at), name) == 0) return static_cast<int>(i);
    }
    return -1;
}

std::wstring StringList::Names(int index) const {
    const std::wstring& line = Get(index);
    const std::size_t at = line.find(kNameValueSeparator);
    return at == std::wstring::npos ? std::wstring() : line.substr(0, at);
}

std::wstring StringList::ValueFromIndex(int index) const {
    if (index < 0) return {};
    const std::wstring& line = Get(index);
    const std::size_t at = line.find(kNameValueSeparator);
    return at == std::wstring::npos ? std::wstring() : line.substr(at + 1);
}

std::wstring StringList::Values(std::wstring_view name) const {
    const int index = IndexOfName(name);
    return index < 0 ? std::wstring() : ValueFromIndex(index);
}

void StringList::SetValues(std::wstring_view name, std::wstring_view value) {
    const int index = IndexOfName(name);
    if (value.empty()) {
        if (index >= 0) Delete(index);
        return;
    }
    CheckNotSorted();
    std::wstring line(name);
    line.push_back(kNameValueSeparator);
    line.append(value);
    if (index < 0) entries_.push_back(Entry{std::move(line), 0});
    else entries_[static_cast<std::size_t>(index)].text = std::move(line);
}

void StringList::SetCapacity(int capacity) {
    if (capacity < Count()) ThrowGeneral(L"List capacity out of bounds (" + IntToStr(capacity) + L")");
    const auto wanted = static_cast<std::size_t>(capacity);
    if (wanted < entries_.capacity()) entries_.shrink_to_fit();
    entries_.reserve(wanted);
}

void StringList::SortEntries() {
    std::stable_sort(entries_.begin(), entries_.end(),
                     [this](const Entry& a, const Entry& b) { return CompareStrings(a.text, b.text) < 0; });
}

void StringList::SetSorted(bool sorted) {
    if (sorted == sorted_) return;
    if (sorted) SortEntries();
    sorted_ = sorted;
}

void StringList::SetCaseSensitive(bool caseSensitive) {
    if (caseSensitive == caseSensitive_) return;
    caseSensitive_ = caseSensitive;
    if (sorted_) SortEntries();
}

void StringList::Sort() {
    if (!sorted_) SortEntries();
}

void StringList::CustomSort(const CompareFunction& compare) {
    if (sorted_ || entries_.size() < 2) return;
    // Sorting a permutation keeps every index the comparison sees pointing at
    // the entry it named before the sort, and leaves the list untouched if
    // compare throws.
    std::vector<int> order(entries_.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return compare(*this, a, b) < 0; });
    std::vector<Entry> sorted;
    sorted.reserve(entries_.size());
    for (int i : order) sorted.push_back(std::move(entries_[static_cast<std::size_t>(i)]));
    entries_ = std::move(sorted);
}

void StringList::Assign(const StringList& source) {
    if (&source == this) return;
    entries_ = source.entries_;
    sorted_ = source.sorted_;
    duplicates_ = source.duplicates_;
    caseSensitive_ = source.caseSensitive_;
}

void StringList::AddStrings(const StringList& source) {
    if (&source == this) {
        const std::vector<Entry> copy = entries_;
        for (const Entry& e : copy) AddObject(e.text, e.object);
        return;
    }
    for (const Entry& e : source.entries_) AddObject(e.text, e.object);
}

std::wstring StringList::Text() const {
    std::size_t length = 0;
    for (const Entry& e : entries_) length += e.text.size() + 2;
    std::wstring text;
    text.reserve(length);
    for (const Entry& e : entries_) {
        text.append(e.text);
        text.append(L"\r\n");
    }
    return text;
}

void StringList::SetText(std::wstring_view text) {
    std::vector<std::wstring> lines = SplitLines(text);
    entries_.clear();
    if (!sorted_) {
        entries_.reserve(lines.size());
        for (auto& line : lines) entries_.push_back(Entry{std::move(line), 0});
        return;
    }
    // Adding line by line would cost a quadratic number of moves; sort once and
    // then reproduce what the additions in text order would have left.
    std::vector<std::size_t> order(lines.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return CompareStrings(lines[a], lines[b]) < 0; });
    // Runs of equal lines, each in text order thanks to the stable sort.
    std::vector<std::pair<std::size_t, std::size_t>> runs;
    for (std::size_t i = 0; i < order.size();) {
        std::size_t j = i + 1;
        while (j < order.size() && CompareStrings(lines[order[i]], lines[order[j]]) == 0) ++j;
        runs.emplace_back(i, j);
        i = j;
    }
    std::size_t firstDuplicate = lines.size();  // text position of the first line that repeats an earlier one
    for (const auto& [begin, end] : runs)
        if (end - begin > 1) firstDuplicate = std::min(firstDuplicate, order[begin + 1]);

    entries_.reserve(lines.size());
    for (const auto& [begin, end] : runs) {
        switch (duplicates_) {
            case dupIgnore:
                entries_.push_back(Entry{std::move(lines[order[begin]]), 0});
                break;
            case dupAccept:
                // Each later equal line is inserted before the earlier ones.
                for (std::size_t k = end; k > begin; --k) entries_.push_back(Entry{std::move(lines[order[k - 1]]), 0});
                break;
            case dupError:
                if (order[begin] < firstDuplicate) entries_.push_back(Entry{std::move(lines[order[begin]]), 0});
                break;
        }
    }
    if (duplicates_ == dupError && firstDuplicate < lines.size()) ThrowDuplicateError();
}

}  // namespace vt
