#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "model/DetectedItems.h"
#include "model/StreamWrapper.h"
#include "runtime/ComBoundary.h"
#include "runtime/DebugLog.h"
#include "runtime/Exception.h"
#include "runtime/Stream.h"
#include "services/IgnoreListAdapter.h"
#include "services/Wow64KeyMapping.h"
#include "support/FakeCategory.h"
#include "support/FakeEngineContext.h"

namespace vt {
namespace {

using testing::FakeCategory;

using Bytes = std::vector<std::uint8_t>;

Com<TDetectedItem> NewItem(const std::wstring& location, bool grouped = false, const std::wstring& name = {}) {
    Com<TDetectedItem> item = MakeCom<TDetectedItem>(grouped);
    if (!name.empty()) item->SetItemName(name);
    item->SetLocation(location);
    return item;
}

// Adds a new item to list; returns it, or null when the list refused it.
Com<TDetectedItem> Add(TDetectedItems& list, const std::wstring& location, bool enable = false, bool grouped = false,
                       const std::wstring& name = {}) {
    Com<TDetectedItem> item = NewItem(location, grouped, name);
    list.AddItem(item, enable);
    return item;
}

std::wstring Text(HRESULT (IDetectedItem::*getter)(BSTR*), IDetectedItem& item) {
    BSTR text = nullptr;
    EXPECT_EQ((item.*getter)(&text), S_OK);
    return FromBstrOwned(text);
}

void Localize(const wchar_t* lines) {
    StringList table;
    table.SetText(lines);
    Localizer::Localize(table);
}

Bytes Saved(const TDetectedItems& list) {
    MemoryStream stream;
    TStreamWrapper w(stream);
    list.SaveToStream(w);
    return stream.Bytes();
}

void Load(TDetectedItems& list, Bytes bytes) {
    MemoryStream stream(std::move(bytes));
    TStreamWrapper r(stream);
    list.LoadFromStream(r);
}

// Every test starts and ends with an empty localized-strings table and the
// log captured at llInfo.
class DetectedItemsTest : public ::testing::Test {
protected:
    testing::FakeEngineContext context;
    void SetUp() override {
        Localizer::Localize(StringList());
        savedLevel_ = TDebugLog::Level();
        TDebugLog::SetLevel(llInfo);
        TDebugLog::SetSink([this](const std::wstring& line) { log.push_back(line); });
    }
    void TearDown() override {
        TDebugLog::SetSink({});
        TDebugLog::SetLevel(savedLevel_);
        Localizer::Localize(StringList());
    }
    // Log lines of this level and sender that end with text (the prefix holds the time).
    int LogLinesEndingWith(const std::wstring& levelAndSender, const std::wstring& text) const {
        int n = 0;
        for (const auto& line : log) n += line.ends_with(text) && line.find(levelAndSender) != std::wstring::npos;
        return n;
    }

    std::vector<std::wstring> log;

private:
    TLogLevel savedLevel_ = llNone;
};

// ---------------------------------------------------------------------------
// Locations, names and descriptions

TEST_F(DetectedItemsTest, SetLocationHandlesViewPrefixesAndTypesWhatRemains) {
    // Windows 7 numbering (15); a WOW64 process and a native one.
    const TKeyMappingChecker wow64(true, 15), native(false, 15);
    const std::wstring hklm = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\", wow = hklm + L"Wow6432Node\\";
    const std::tuple<std::wstring, std::wstring, TLocationType, const TKeyMappingChecker&> cases[] = {
        {L"C:\\Temp\\a.txt", L"C:\\Temp\\a.txt", ltFile, wow64},
        {L"(x64)C:\\Temp\\a.txt", L"C:\\Temp\\a.txt", ltFile, wow64},
        {L"(X64)" + hklm + L"Key\\\\Value", hklm + L"Key\\\\Value", ltRegistry, wow64},
        {L"(x64)ab", L"ab", ltUnknown, wow64},
        {L"abc", L"abc", ltRegistry, wow64},
        {L"x(x64)C:\\a", L"x(x64)C:\\a", ltRegistry, wow64},
        {L"(x32)" + hklm + L"Vendor\\\\Value", wow + L"Vendor\\\\Value", ltRegistry, wow64},
        // Only the key before the first value separator is translated.
        {L"(X32)" + hklm + L"Vendor\\\\Val\\\\ue", wow + L"Vendor\\\\Val\\\\ue", ltRegistry, wow64},
        {L"(x32)" + hklm + L"Vendor\\Key", wow + L"Vendor\\Key", ltRegistry, wow64},
        {L"(x32)" + hklm + L"Vendor\\\\Value", hklm + L"Vendor\\\\Value", ltRegistry, native},
    };
    for (const auto& [given, stored, expectedType, checker] : cases) {
        const TKeyMappingChecker::ScopedInstance scope(checker);
        Com<TDetectedItem> item = NewItem(given);
        TLocationType type = ltUnknown;
        ASSERT_EQ(item->GetLocationType(&type), S_OK);
        EXPECT_EQ(type, expectedType) << ::testing::PrintToString(given);
        EXPECT_EQ(Text(&IDetectedItem::GetLocation, *item), stored) << ::testing::PrintToString(given);
    }
}

TEST_F(DetectedItemsTest, DisplayNameUsesLocalizedTextAndFormatValueAndShowsInAsString) {
    Localize(L"S_GROUPED_PAGES=%d pages\nS_SIZE_KB=%s KB");
    // One item: each case first sets the literal, whose setter must clear what the case before set.
    const std::tuple<const char*, const wchar_t*, TLocalizerStr, std::int32_t, const wchar_t*> cases[] = {
        {"localized with format value", L"Name", S_GROUPED_PAGES, 12, L"12 pages"},
        {"literal", L"Run %d", S_EMPTY, -2, L"Run %d"},
        {"literal with format value", L"Name %d", S_EMPTY, 5, L"Name 5"},
        {"negative format value", L"Name", S_GROUPED_PAGES, -1, L"-1 pages"},
        {"format value -2 leaves the placeholder", L"Name", S_GROUPED_PAGES, -2, L"%d pages"},
        {"placeholder not fitting an Integer: text as is", L"Name", S_SIZE_KB, 3, L"%s KB"},
    };
    Com<TDetectedItem> item = NewItem(L"(x64)HKCU\\Software\\\\Value");
    item->FItemText = L"cmd /c";
    for (const auto& [what, literal, lz, fmtValue, shown] : cases) {
        item->SetItemName(literal);
        if (lz != S_EMPTY || fmtValue != -2) item->SetItemName(lz, fmtValue);
        EXPECT_EQ(Text(&IDetectedItem::GetItemName, *item), shown) << what;
        // The log's form of an item, without a closing parenthesis.
        EXPECT_EQ(item->AsString(), L"DetectedItem(Name='" + std::wstring(shown) +
                                        L"', Text='cmd /c', Location='HKCU\\Software\\\\Value'") << what;
    }
}

TEST_F(DetectedItemsTest, ShortDescriptionUsesLocalizedTextAndStringFormatValue) {
    Localize(L"S_COOKIES=Cookies\nITEM_COOKIES_SHORT_DESCR=Cookie of %s\nS_GROUPED_PAGES=%d pages");
    // One list: each case first sets the literal, whose setter must clear what the case before set.
    const std::tuple<const char*, TLocalizerStr, TLocalizerStr, const wchar_t*> cases[] = {
        {"localized format with localized argument", ITEM_COOKIES_SHORT_DESCR, S_BROWSER_FIREFOX, L"Cookie of Firefox"},
        {"literal", S_EMPTY, S_EMPTY, L"Literal %s"},
        {"literal format with localized argument", S_EMPTY, S_COOKIES, L"Literal Cookies"},
        {"placeholder not fitting a string: text as is", S_GROUPED_PAGES, S_COOKIES, L"%d pages"},
    };
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    Com<TDetectedItem> item = Add(*list, L"C:\\a");
    for (const auto& [what, lz, fmtValue, shown] : cases) {
        list->SetShortDescription(L"Literal %s");
        if (lz != S_EMPTY || fmtValue != S_EMPTY) list->SetShortDescription(lz, fmtValue);
        EXPECT_EQ(Text(&IDetectedItem::GetShortDescription, *item), shown) << what;
    }
    EXPECT_EQ(Text(&IDetectedItem::GetShortDescription, *NewItem(L"C:\\a")), L"") << "an item outside a list";
}

// ---------------------------------------------------------------------------
// Adding: the duplicate rule and grouping

TEST_F(DetectedItemsTest, DuplicateLocationsAreRefusedWhenDeniedAndTheIndexFollowsTheList) {
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    list->FAllowDuplicates = false;
    auto add = [&](const wchar_t* location) { return Add(*list, location, true) != nullptr; };
    ASSERT_TRUE(add(L"C:\\a"));
    EXPECT_FALSE(add(L"C:\\a"));
    EXPECT_FALSE(add(L"(x64)C:\\a")) << "identical once the prefix is stripped";
    EXPECT_TRUE(add(L"C:\\A")) << "the comparison is case-sensitive";
    EXPECT_EQ(list->FCountCanBeDeleted.load(), 2) << "refused items are not counted";
    const std::wstring warn = L"WARN  TDetectedItems: ", described = NewItem(L"C:\\a")->AsString();
    EXPECT_EQ(LogLinesEndingWith(warn, L"Detected item added. " + described), 1);
    EXPECT_EQ(LogLinesEndingWith(warn, L"Can't add existing detected item. " + described), 2);

    ASSERT_TRUE(add(L"C:\\b"));
    list->Remove(list->Get(0).Get());
    EXPECT_TRUE(add(L"C:\\a")) << "a removed location can be found again";
    EXPECT_FALSE(add(L"C:\\b"));
    list->Get(0)->SetLocation(L"C:\\moved");  // a location changed after adding moves in the index
    EXPECT_TRUE(add(L"C:\\A"));
    EXPECT_FALSE(add(L"C:\\moved"));
    list->ClearItems();
    EXPECT_TRUE(add(L"C:\\a")) << "cleared";
    Load(*list, Saved(*list));
    EXPECT_FALSE(add(L"C:\\a")) << "loaded items take part in the duplicate test";
    list->FAllowDuplicates = true;
    EXPECT_TRUE(add(L"C:\\a"));
    EXPECT_EQ(list->Count(), 2);
}

TEST_F(DetectedItemsTest, GroupHeadsOfTheSameNameFoldIntoTheFirst) {
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    list->FAllowDuplicates = false;
    Com<TDetectedItem> head = Add(*list, L"C:\\one", true, true, L"example.com");
    // Folded: a head of the same name, even at the same location (no duplicate test).
    Com<TDetectedItem> two = Add(*list, L"C:\\two", true, true, L"example.com");
    Com<TDetectedItem> one = Add(*list, L"C:\\one", true, true, L"example.com");
    // Kept apart: the name in another case; an item that is not a group head.
    Com<TDetectedItem> other = Add(*list, L"C:\\three", true, true, L"Example.com");
    Com<TDetectedItem> plain = Add(*list, L"C:\\four", true, false, L"example.com");
    EXPECT_EQ(list->Count(), 3);
    EXPECT_EQ(list->FCountCanBeDeleted.load(), 3);
    ASSERT_EQ(head->GroupedCount(), 2);
    EXPECT_EQ(head->GetGroupedItems(2), nullptr);
    for (int i : {0, 1}) {
        TDetectedItem* folded = (i == 0 ? two : one).Get();
        EXPECT_EQ(head->GetGroupedItems(i), folded);
        EXPECT_EQ(list->GetById(folded->Serial()).Get(), folded);
        EXPECT_EQ(folded->DisplayName(), L"");
        EXPECT_FALSE(folded->Checked()) << "a folded item is not checked";
        EXPECT_TRUE(folded->MemberOfGroup());
        EXPECT_EQ(LogLinesEndingWith(L"INFO  TDetectedItem: ", L"Grouped item added. " + folded->AsString()), 1);
    }
    EXPECT_TRUE(other->MemberOfGroup());
    EXPECT_FALSE(plain->MemberOfGroup());
    EXPECT_EQ(list->GetById(plain->Serial() + 1000), nullptr);
    for (std::int32_t index : {-1, 3}) {
        IDetectedItem* item = reinterpret_cast<IDetectedItem*>(1);
        ASSERT_EQ(list->GetItem(index, &item), S_OK) << index;
        EXPECT_EQ(item, nullptr) << index;
    }

    // Only a loose item can be folded: not one still in a list, nor a head into itself.
    Com<TDetectedItem> loose = NewItem(L"C:\\loose", true);
    EXPECT_THROW(loose->AddToGroup(loose), Exception);
    for (const Com<TDetectedItem>& refused : {plain, head}) {
        EXPECT_THROW(head->AddToGroup(refused), Exception);
        EXPECT_EQ(refused->Owner(), list.Get());
    }
    EXPECT_EQ(head->GroupedCount(), 2);
    EXPECT_FALSE(Add(*list, L"C:\\four")) << "the refused item still holds its location";
}

TEST_F(DetectedItemsTest, GroupHeadLookupFollowsNameChanges) {
    Localize(L"S_GROUPED_PAGES=Pages %d");
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    auto addHead = [&](const wchar_t* literal) { return Add(*list, L"C:\\x", false, true, literal); };
    Com<TDetectedItem> localized = MakeCom<TDetectedItem>(true);
    localized->SetItemName(S_GROUPED_PAGES, 2);
    ASSERT_TRUE(list->AddItem(localized, false));
    addHead(L"Pages 2");
    EXPECT_EQ(localized->GroupedCount(), 1);

    // The host switches language: the head's name follows the new text.
    Localize(L"S_GROUPED_PAGES=Seiten %d");
    addHead(L"Pages 2");
    EXPECT_EQ(list->Count(), 2) << "the old name no longer folds";
    addHead(L"Seiten 2");
    EXPECT_EQ(localized->GroupedCount(), 2) << "the new name folds";

    // Back again, two heads share "Pages 2": the first in list order takes
    // the folds, and once it is removed the second one does.
    Localize(L"S_GROUPED_PAGES=Pages %d");
    addHead(L"Pages 2");
    EXPECT_EQ(localized->GroupedCount(), 3);
    Com<TDetectedItem> second = list->Get(1);
    list->Remove(localized.Get());
    addHead(L"Pages 2");
    EXPECT_EQ(second->GroupedCount(), 1);
    EXPECT_EQ(list->Count(), 1);

    // A head renamed after it was added is found under its new name only.
    second->SetItemName(L"Renamed");
    addHead(L"Pages 2");
    EXPECT_EQ(list->Count(), 2);
    addHead(L"Renamed");
    EXPECT_EQ(second->GroupedCount(), 2);

    // A removed head takes its name with it.
    list->Remove(second.Get());
    Com<TDetectedItem> fresh = addHead(L"Renamed");
    EXPECT_EQ(fresh->Owner(), list.Get());
    EXPECT_EQ(fresh->GroupedCount(), 0);
}

TEST_F(DetectedItemsTest, TotalSizeSumsTheFilesNamedByTheItems) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::temp_directory_path() /
                            ("vt-detected-size-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
    fs::create_directories(folder);
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    for (const auto& [name, size] : {std::pair{"a.bin", 1000}, {"b.bin", 234}, {"missing.bin", -1}}) {
        if (size >= 0) std::ofstream(folder / name, std::ios::binary) << std::string(size, 'x');
        Add(*list, L"C:\\x", true, false, (folder / name).wstring());
    }
    std::int64_t total = -1;
    ASSERT_EQ(list->GetTotalSize(&total), S_OK);
    EXPECT_EQ(total, 0) << "a list whose items are not files";
    list->FHasSize = true;
    ASSERT_EQ(list->GetTotalSize(&total), S_OK);
    EXPECT_EQ(total, 1234) << "a missing file counts 0";
    fs::remove_all(folder);
}

// ---------------------------------------------------------------------------
// Check marks and counters

TEST_F(DetectedItemsTest, CheckMarksMoveTheCounterAndNotifyTheCategory) {
    Com<FakeCategory> category = TVTCategory::Create<FakeCategory>(context);
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(category.Get());
    Com<TDetectedItem> a = Add(*list, L"C:\\a", true), b = Add(*list, L"C:\\b", true), c = Add(*list, L"C:\\c");
    EXPECT_EQ(category->changes, (std::vector<bool>{true, true}));
    // Each step, then FCountCanBeDeleted and the number of notifications so far.
    const std::tuple<const char*, std::function<void()>, std::int32_t, std::size_t> steps[] = {
        {"check an unchecked item", [&] { c->SetEnabled(true); }, 3, 3},
        {"check it again: nothing", [&] { c->SetEnabled(true); }, 3, 3},
        {"uncheck", [&] { a->SetEnabled(false); }, 2, 4},
        {"remove a checked item", [&] { list->Remove(b.Get()); }, 1, 4},
        {"a removed item changes without the list", [&] { b->SetEnabled(false); }, 1, 4},
        {"remove an unchecked item (callers uncheck first)", [&] { list->Remove(a.Get()); }, 0, 4},
        {"remove an item that is not in the list: nothing", [&] { list->Remove(a.Get()); }, 0, 4},
        {"handler detached: counter only", [&] { category->handlerAttached = false, c->SetChecked(false); }, -1, 4},
        {"clear", [&] { list->ClearItems(); }, 0, 4},
    };
    for (const auto& [what, action, countCanBeDeleted, notifications] : steps) {
        action();
        EXPECT_EQ(list->FCountCanBeDeleted.load(), countCanBeDeleted) << what;
        EXPECT_EQ(category->changes.size(), notifications) << what;
    }
    EXPECT_EQ(category->changes.back(), false);
    EXPECT_EQ(c->Owner(), nullptr) << "cleared items are detached";
}

TEST_F(DetectedItemsTest, RemovalMarksMoveTheirCounterAndDecideGetRemoved) {
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    Com<TDetectedItem> item = Add(*list, L"C:\\a", true);
    // Performed and failed marks set in turn: the counter, and what GetRemoved answers.
    const std::tuple<bool, bool, std::int32_t, bool> steps[] = {
        {true, false, 1, true}, {true, false, 1, true}, {true, true, 1, false}, {false, false, 0, false}};
    for (const auto& [performed, failed, counter, expected] : steps) {
        item->SetRemovingWasPerformed(performed);
        item->SetItemFailedToRemove(failed);
        EXPECT_EQ(list->FCountRemovingWasPerformed.load(), counter) << performed << failed;
        bool removed = !expected;
        ASSERT_EQ(item->GetRemoved(&removed), S_OK);
        EXPECT_EQ(removed, expected) << performed << failed;
    }
    item->SetRemovingWasPerformed(true);
    list->ClearItems();
    EXPECT_EQ(list->FCountRemovingWasPerformed.load(), 0);
}

TEST_F(DetectedItemsTest, IgnoredItemKeepsItsCheckMarkOff) {
    const std::tuple<const char*, bool, std::wstring, bool, bool> cases[] = {
        {"checked, with ignore list", true, L"C:\\a", true, true},
        {"unchecked, with ignore list", true, L"C:\\a", false, true},
        {"no ignore list", false, L"C:\\a", true, false},
        {"empty location", true, L"", true, false},
    };
    for (const auto& [what, hasIgnoreList, location, checkedBefore, leavesList] : cases) {
        Com<FakeCategory> category = TVTCategory::Create<FakeCategory>(context);
        StringList ignored;
        Com<TIgnoreListAdapter> ignoreList = MakeCom<TIgnoreListAdapter>(&ignored);
        if (hasIgnoreList) category->SetLinks(ignoreList.Get());
        Com<TDetectedItems> list = MakeCom<TDetectedItems>(category.Get());
        Add(*list, L"C:\\other", true);
        Com<TDetectedItem> item = Add(*list, location, checkedBefore);
        const std::size_t notifications = category->changes.size();

        for (int round = 0; round < 2; ++round) ASSERT_EQ(item->IgnoreItem(), S_OK) << what;  // counted once
        EXPECT_TRUE(item->IgnoredAfterScan()) << what;
        EXPECT_EQ(list->Count(), leavesList ? 1 : 2) << what;
        EXPECT_EQ(list->FCountIgnored.load(), 1) << what;
        // Added once, without a mask (a mask would follow two backslashes).
        EXPECT_EQ(ignored.Text(), leavesList ? location + L"\r\n" : L"") << what;
        ASSERT_EQ(item->SetEnabled(true), S_OK);
        EXPECT_FALSE(item->Checked()) << "the check mark stays off: " << what;
        EXPECT_EQ(list->FCountCanBeDeleted.load(), 1) << "only the other item stays checked: " << what;
        EXPECT_EQ(category->changes.size(), notifications) << "no notification: " << what;
    }
}

// ---------------------------------------------------------------------------
// Stream form

// Little-endian primitives written by hand, independent of TStreamWrapper.
struct ExpectedBytes {
    Bytes bytes;
    ExpectedBytes& I32(std::int32_t v) {
        for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(v) >> (8 * i)));
        return *this;
    }
    ExpectedBytes& B(bool v) {
        bytes.push_back(v ? 1 : 0);
        return *this;
    }
    ExpectedBytes& Str(const char* ascii) {
        I32(static_cast<std::int32_t>(std::strlen(ascii)));
        for (; *ascii; ++ascii) bytes.push_back(static_cast<std::uint8_t>(*ascii)), bytes.push_back(0);
        return *this;
    }
};

TEST_F(DetectedItemsTest, ListRecordIsByteExactLoadsBackUncheckedAndRefusesShortOrDeepInput) {
    Localize(L"S_GROUPED_PAGES=Pages %d");
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    Com<TDetectedItem> head = MakeCom<TDetectedItem>(true);
    head->SetItemName(L"Nm");
    head->SetItemName(S_GROUPED_PAGES, 3);
    head->SetLocation(L"C:\\x");
    head->FIsBinary = true;
    head->FItemSourceIndex = 0x01020304;
    head->FItemIconType = itLogs;
    head->FItemText = L"t";
    head->FItemFileSize = 99;  // not stored
    head->SetWipeSize(77);     // not stored
    ASSERT_TRUE(list->AddItem(head, true));
    head->SetRemovingWasPerformed(true);
    Com<TDetectedItem> first = Add(*list, L"HK\\\\v", false, true, L"Pages 3");
    first->FItemCanBeDeleted = true;
    first->FItemIconType = itRegistry;
    first->FItemSourceIndex = -7;
    Com<TDetectedItem> second = Add(*list, L"ab", false, true, L"Pages 3");
    Com<TDetectedItem> lone = Add(*list, L"", false, true, L"lone");  // a head whose group list was never created
    ASSERT_EQ(list->Count(), 2);

    ExpectedBytes e;
    e.I32(2);  // item count
    e.I32(head->Serial()).B(true).B(false).B(true).I32(0x01020304).I32(5).Str("t").Str("Nm").I32(6).I32(3).I32(1)
        .Str("C:\\x").B(true).I32(2);
    e.I32(first->Serial()).B(false).B(true).B(false).I32(-7).I32(1).Str("").Str("").I32(0).I32(-2).I32(2)
        .Str("HK\\\\v").B(false);
    e.I32(second->Serial()).B(false).B(false).B(false).I32(-1).I32(0).Str("").Str("").I32(0).I32(-2).I32(0).Str("ab").B(false);
    e.I32(lone->Serial()).B(false).B(false).B(false).I32(-1).I32(0).Str("").Str("lone").I32(0).I32(-2).I32(0).Str("")
        .B(true).I32(0);
    ASSERT_EQ(Saved(*list), e.bytes);

    // Loading clears the list first and adds every item unchecked; saving again gives the same bytes.
    Com<FakeCategory> category = TVTCategory::Create<FakeCategory>(context);
    Com<TDetectedItems> loaded = MakeCom<TDetectedItems>(category.Get());
    Com<TDetectedItem> stale = Add(*loaded, L"C:\\stale", true);
    log.clear();
    Load(*loaded, e.bytes);
    EXPECT_EQ(stale->Owner(), nullptr);
    ASSERT_EQ(loaded->Count(), 2);
    EXPECT_FALSE(loaded->Get(0)->Checked());
    EXPECT_EQ(loaded->FCountCanBeDeleted.load(), 0);
    EXPECT_EQ(category->changes.size(), 1u) << "only the stale item's check";
    EXPECT_EQ(LogLinesEndingWith(L"INFO  TDetectedItem: ",
                                 L"Grouped item added. " + loaded->GetById(first->Serial())->AsString()),
              1);
    EXPECT_EQ(Saved(*loaded), e.bytes);

    // Records nested far deeper than saved results ever are.
    ExpectedBytes nested;
    nested.I32(1);
    for (int i = 0; i < 10000; ++i)
        nested.I32(i).B(false).B(false).B(false).I32(-1).I32(0).Str("").Str("").I32(0).I32(-2).I32(0).Str("").B(true)
            .I32(1);
    for (const Bytes& bad : {Bytes(e.bytes.begin(), e.bytes.begin() + 3), Bytes(e.bytes.begin(), e.bytes.begin() + 20),
                             Bytes(e.bytes.begin(), e.bytes.end() - 1), nested.bytes}) {
        try {
            Load(*loaded, bad);
            ADD_FAILURE() << "no error for " << bad.size() << " bytes";
        } catch (const Exception& error) {
            EXPECT_EQ(error.Message(), L"Stream read error") << bad.size();
        }
    }
}

// ---------------------------------------------------------------------------
// Threads: the worker adds and removes while the host reads

TEST_F(DetectedItemsTest, HostReadsWhileWorkerAddsAndRemoves) {
    TDebugLog::SetSink({});
    TDebugLog::SetLevel(llNone);
    Com<FakeCategory> category = TVTCategory::Create<FakeCategory>(context);
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(category.Get());
    list->FAllowDuplicates = false;
    std::atomic<bool> done{false};
    std::atomic<std::int64_t> reads{0};
    // The worker's script is deterministic; the host only reads and changes
    // check marks, so the final list equals that of the script run alone.
    // Halfway through, the worker waits until the host has read an item, so
    // that reading and writing overlap however the threads are scheduled.
    auto script = [](TDetectedItems& target, const std::function<void()>& halfway) {
        for (int i = 0; i < 3000; ++i) {
            if (i == 1500) halfway();
            Add(target, L"C:\\f" + std::to_wstring(i % 2000), i % 2 == 0, i % 7 == 0, L"name" + std::to_wstring(i % 50));
            if (i % 5 == 4) target.Remove(target.Get(target.Count() / 2).Get());
        }
    };
    std::thread worker([&] {
        script(*list, [&] {
            while (reads.load() == 0) std::this_thread::yield();
        });
        done = true;
    });
    while (!done) {
        std::int32_t count = 0;
        list->GetCount(&count);
        for (std::int32_t i = count - 1; i >= 0 && i >= count - 20; --i) {
            Com<IDetectedItem> item;
            EXPECT_EQ(list->GetItem(i, item.Put()), S_OK);
            if (!item) continue;
            Text(&IDetectedItem::GetItemName, *item);
            item->SetEnabled(i % 3 != 0);
            ++reads;
        }
    }
    worker.join();

    Com<TDetectedItems> alone = MakeCom<TDetectedItems>(nullptr);
    alone->FAllowDuplicates = false;
    script(*alone, [] {});
    ASSERT_EQ(list->Count(), alone->Count());
    for (std::int32_t i = 0; i < list->Count(); ++i) {
        EXPECT_EQ(list->Get(i)->Location(), alone->Get(i)->Location()) << i;
        EXPECT_EQ(list->Get(i)->GroupedCount(), alone->Get(i)->GroupedCount()) << i;
    }
}

}  // namespace
}  // namespace vt
