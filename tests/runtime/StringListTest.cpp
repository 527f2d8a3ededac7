#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "runtime/Exception.h"
#include "runtime/ComBoundary.h"
#include "runtime/StringList.h"
#include "runtime/Strings.h"
#include "model/VTStringList.h"

namespace vt {
namespace {

std::vector<std::wstring> Lines(const StringList& list) {
    std::vector<std::wstring> r;
    for (const auto& e : list.Entries()) r.push_back(e.text);
    return r;
}

// Runs body and returns the message of the vt::Exception it raised, or "" if none.
std::wstring ErrorOf(const std::function<void()>& body) {
    try {
        body();
    } catch (const Exception& e) {
        return e.Message();
    }
    return L"";
}

TEST(StringList, SortedAddFollowsDuplicatesAndCaseRules) {
    struct Case {
        TDuplicates duplicates;
        bool caseSensitive;
        std::vector<int> results;  // Add's result for each of b, A, a, c, B
        std::vector<std::wstring> lines;
    };
    const Case cases[] = {
        {dupIgnore, false, {0, 0, 0, 2, 1}, {L"A", L"b", L"c"}},  // a duplicate answers the entry it matched
        {dupAccept, false, {0, 0, 0, 3, 2}, {L"a", L"A", L"B", L"b", L"c"}},
        {dupIgnore, true, {0, 0, 1, 3, 1}, {L"A", L"B", L"a", L"b", L"c"}},
    };
    for (const auto& c : cases) {
        StringList list(true, c.duplicates, c.caseSensitive);
        std::vector<int> results;
        for (const wchar_t* s : {L"b", L"A", L"a", L"c", L"B"}) results.push_back(list.Add(s));
        EXPECT_EQ(results, c.results);
        EXPECT_EQ(Lines(list), c.lines);
    }
    StringList strict(true, dupError);
    strict.Add(L"x");
    EXPECT_EQ(ErrorOf([&] { strict.Add(L"X"); }), L"String list does not allow duplicates");
    EXPECT_EQ(strict.Count(), 1);
    // Duplicate rules apply only to sorted lists.
    StringList unsorted(false, dupError);
    EXPECT_EQ(unsorted.Add(L"x"), 0);
    EXPECT_EQ(unsorted.Add(L"x"), 1);
}

TEST(StringList, OutOfRangeAndSortedOnlyOperationsRaise) {
    StringList list;
    list.Add(L"a");
    list.Add(L"b");
    const std::pair<std::function<void()>, std::wstring> cases[] = {
        {[&] { list.Get(-1); }, L"List index out of bounds (-1)"},
        {[&] { list.Get(2); }, L"List index out of bounds (2)"},
        {[&] { list.Set(2, L"x"); }, L"List index out of bounds (2)"},
        {[&] { list.Objects(2); }, L"List index out of bounds (2)"},
        {[&] { list.SetObject(-3, 1); }, L"List index out of bounds (-3)"},
        {[&] { list.Insert(3, L"x"); }, L"List index out of bounds (3)"},
        {[&] { list.Delete(2); }, L"List index out of bounds (2)"},
        {[&] { list.Exchange(0, 2); }, L"List index out of bounds (2)"},
        {[&] { list.Names(2); }, L"List index out of bounds (2)"},
        {[&] { list.SetCapacity(1); }, L"List capacity out of bounds (1)"},
    };
    for (const auto& [body, message] : cases) EXPECT_EQ(ErrorOf(body), message);
    EXPECT_EQ(Lines(list), (std::vector<std::wstring>{L"a", L"b"}));

    list.Insert(2, L"c");  // Count itself is a valid insert position
    list.Exchange(0, 2);
    list.Delete(1);
    EXPECT_EQ(Lines(list), (std::vector<std::wstring>{L"c", L"a"}));

    list.SetSorted(true);
    EXPECT_EQ(Lines(list), (std::vector<std::wstring>{L"a", L"c"}));
    EXPECT_EQ(ErrorOf([&] { list.Insert(0, L"z"); }), L"Operation not allowed on sorted list");
    EXPECT_EQ(ErrorOf([&] { list.Set(0, L"z"); }), L"Operation not allowed on sorted list");
}

TEST(StringList, IndexOfFindAndSortingFollowTheCaseRule) {
    for (bool sorted : {false, true}) {
        StringList list(sorted, dupAccept);
        for (const wchar_t* s : {L"delta", L"Alpha", L"charlie", L"alpha"}) list.Add(s);
        EXPECT_EQ(list.IndexOf(L"ALPHA"), sorted ? 0 : 1) << sorted;
        EXPECT_EQ(list.IndexOf(L"bravo"), -1);
        list.SetCaseSensitive(true);
        EXPECT_EQ(list.Get(list.IndexOf(L"alpha")), L"alpha");
        EXPECT_EQ(list.IndexOf(L"ALPHA"), -1);
    }
    StringList sorted(true, dupAccept);
    for (const wchar_t* s : {L"b", L"d", L"d", L"f"}) sorted.Add(s);
    int index = -1;
    EXPECT_TRUE(sorted.Find(L"D", index));
    EXPECT_EQ(index, 1);  // the first of the equal entries
    EXPECT_FALSE(sorted.Find(L"e", index));
    EXPECT_EQ(index, 3);  // where it would be inserted

    // Switching the rule sorts a sorted list again, stably.
    StringList mixed(true, dupAccept);
    for (const wchar_t* s : {L"b", L"a", L"B", L"A"}) mixed.Add(s);
    mixed.SetCaseSensitive(true);
    EXPECT_EQ(Lines(mixed), (std::vector<std::wstring>{L"A", L"B", L"a", L"b"}));
    mixed.SetCaseSensitive(false);
    EXPECT_EQ(Lines(mixed), (std::vector<std::wstring>{L"A", L"a", L"B", L"b"}));
}

TEST(StringList, TextRoundTripsLines) {
    struct Case {
        std::wstring text;
        std::vector<std::wstring> lines;
        std::wstring back;
    };
    const Case cases[] = {
        {L"", {}, L""},
        {L"a", {L"a"}, L"a\r\n"},
        {L"a\r\n", {L"a"}, L"a\r\n"},
        {L"\r\n", {L""}, L"\r\n"},
        {L"a\rb\nc\r\nd", {L"a", L"b", L"c", L"d"}, L"a\r\nb\r\nc\r\nd\r\n"},
        {L"a\n\n\rb", {L"a", L"", L"", L"b"}, L"a\r\n\r\n\r\nb\r\n"},
        {L"x=1\n\ry", {L"x=1", L"", L"y"}, L"x=1\r\n\r\ny\r\n"},
        {std::wstring(L"a\nb\0c", 5), {L"a", L"b"}, L"a\r\nb\r\n"},
    };
    for (const auto& c : cases) {
        StringList list;
        list.Add(L"old");
        list.SetText(c.text);
        EXPECT_EQ(Lines(list), c.lines);
        EXPECT_EQ(list.Text(), c.back);
    }
}

TEST(StringList, SortedTextMatchesAddingLineByLine) {
    std::mt19937 random(7);
    const wchar_t* words[] = {L"a", L"A", L"b", L"B", L"ab", L"aB", L"", L"z"};
    for (TDuplicates duplicates : {dupIgnore, dupAccept, dupError}) {
        for (bool caseSensitive : {false, true}) {
            for (int round = 0; round < 40; ++round) {
                std::wstring text;
                const int count = static_cast<int>(random() % 8);
                for (int i = 0; i < count; ++i) text += std::wstring(words[random() % 8]) + L"\n";
                StringList plain, bulk(true, duplicates, caseSensitive), single(true, duplicates, caseSensitive);
                plain.SetText(text);
                const std::wstring bulkError = ErrorOf([&] { bulk.SetText(text); });
                const std::wstring singleError = ErrorOf([&] {
                    for (const auto& line : Lines(plain)) single.Add(line);
                });
                EXPECT_EQ(bulkError, singleError) << text.size();
                EXPECT_EQ(Lines(bulk), Lines(single)) << duplicates << caseSensitive;
            }
        }
    }
}

TEST(StringList, NameValueLines) {
    StringList list;
    list.SetText(L"Key=one\nplain\nkey=two\nEmpty=\nx=a=b");
    struct Case {
        const wchar_t* name;
        int index;
        const wchar_t* value;
    };
    const Case cases[] = {{L"KEY", 0, L"one"}, {L"empty", 3, L""}, {L"x", 4, L"a=b"}, {L"plain", -1, L""}, {L"", -1, L""}};
    for (const auto& c : cases) {
        EXPECT_EQ(list.IndexOfName(c.name), c.index) << c.name;
        EXPECT_EQ(list.Values(c.name), c.value) << c.name;
    }
    EXPECT_EQ(list.Names(1), L"");
    EXPECT_EQ(list.ValueFromIndex(1), L"");
    EXPECT_EQ(list.ValueFromIndex(-1), L"");
    EXPECT_EQ(list.Names(4), L"x");

    list.SetValues(L"key", L"three");  // replaces the first line named key, keeping the given spelling
    list.SetValues(L"new", L"v");
    list.SetValues(L"x", L"");  // an empty value deletes the line
    list.SetValues(L"absent", L"");
    EXPECT_EQ(list.Text(), L"key=three\r\nplain\r\nkey=two\r\nEmpty=\r\nnew=v\r\n");

    list.SetSorted(true);
    const std::wstring before = list.Text();
    EXPECT_EQ(ErrorOf([&] { list.SetValues(L"zz", L"1"); }), L"Operation not allowed on sorted list");
    EXPECT_EQ(list.Text(), before);
}

TEST(StringList, SortCustomSortAssignAndAddStrings) {
    StringList list;
    const wchar_t* names[] = {L"c", L"a", L"d", L"b"};
    for (int i = 0; i < 4; ++i) list.AddObject(names[i], 10 * (i + 1));
    // Descending by slot: indices passed to compare name entries as they were before the sort.
    list.CustomSort([](const StringList& l, int a, int b) {
        return static_cast<int>(l.Objects(b) - l.Objects(a));
    });
    EXPECT_EQ(Lines(list), (std::vector<std::wstring>{L"b", L"d", L"a", L"c"}));
    list.Sort();
    EXPECT_EQ(Lines(list), (std::vector<std::wstring>{L"a", L"b", L"c", L"d"}));
    EXPECT_EQ(list.Objects(0), 20);

    StringList copy(true, dupError, true);
    copy.Add(L"gone");
    copy.Assign(list);
    EXPECT_FALSE(copy.Sorted());
    EXPECT_FALSE(copy.CaseSensitive());
    EXPECT_EQ(copy.Duplicates(), dupIgnore);
    EXPECT_EQ(copy.Text(), list.Text());
    EXPECT_EQ(copy.Objects(3), 30);

    copy.SetSorted(true);
    copy.AddStrings(copy);  // all ignored as duplicates
    EXPECT_EQ(copy.Count(), 4);
    list.AddStrings(list);
    EXPECT_EQ(list.Count(), 8);
    EXPECT_EQ(list.Objects(7), 30);
}

TEST(TVTStringList, ViewEditsTheUnderlyingListAndMapsErrors) {
    StringList engineList(true, dupIgnore);
    engineList.AddObject(L"beta", 2);
    auto view = MakeCom<TVTStringList>(engineList);

    std::int32_t index = 99, count = 0, value = 0;
    EXPECT_EQ(view->Add(L"alpha", &index), S_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(view->Add(L"BETA", &index), S_OK);
    EXPECT_EQ(index, 1);  // sorted list ignored the duplicate and named the entry it kept
    EXPECT_EQ(view->SetValue(0, -7), S_OK);
    EXPECT_EQ(engineList.Objects(0), -7);
    EXPECT_EQ(view->GetValue(1, &value), S_OK);
    EXPECT_EQ(value, 2);
    EXPECT_EQ(view->IndexOf(L"Beta", &index), S_OK);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(view->IndexOf(L"gamma", &index), S_OK);
    EXPECT_EQ(index, -1);

    BSTR text = nullptr;
    EXPECT_EQ(view->GetString(1, &text), S_OK);
    EXPECT_EQ(FromBstrOwned(text), L"beta");
    EXPECT_EQ(view->GetString(2, &text), E_BOUNDS);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(TakeErrorInfoMessage(), L"List index out of bounds (2)");
    EXPECT_EQ(view->SetString(0, L"x"), E_FAIL);  // sorted list
    EXPECT_EQ(view->Delete(-1), E_BOUNDS);
    EXPECT_EQ(view->GetCount(nullptr), E_POINTER);
    EXPECT_EQ(view->Add(L"gamma", nullptr), E_POINTER);
    EXPECT_EQ(engineList.Count(), 2);

    EXPECT_EQ(view->Delete(0), S_OK);
    EXPECT_EQ(view->GetCount(&count), S_OK);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(view->Clear(), S_OK);
    EXPECT_EQ(engineList.Count(), 0);

    auto owning = MakeCom<TVTStringList>();
    EXPECT_EQ(owning->Add(L"own", &index), S_OK);
    EXPECT_EQ(owning->List().Get(0), L"own");
    EXPECT_EQ(engineList.Count(), 0);
}

}  // namespace
}  // namespace vt
