#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "model/DetectedItems.h"
#include "model/StreamWrapper.h"
#include "runtime/ComBoundary.h"
#include "runtime/DebugLog.h"
#include "runtime/Exception.h"
#include "runtime/Stream.h"
#include "services/Wow64KeyMapping.h"

namespace vt {
namespace {

using Bytes = std::vector<std::uint8_t>;

// An ignore list that records what is added to it.
class RecordingIgnoreList final : public ComObject<IIgnoreList> {
public:
    HRESULT STDMETHODCALLTYPE GetCount(std::int32_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetItem(std::int32_t, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetItemLocation(std::int32_t, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetItemLocation(std::int32_t, const wchar_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetItemMask(std::int32_t, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetItemMask(std::int32_t, const wchar_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetLocationType(std::int32_t, TLocationType*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clear() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Delete(std::int32_t) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Add(const wchar_t* location, const wchar_t* mask, std::int32_t* index) override {
        added.push_back(FromBstr(location) + L"|" + FromBstr(mask));
        *index = static_cast<std::int32_t>(added.size()) - 1;
        return S_OK;
    }
    std::vector<std::wstring> added;  // "location|mask"
};

// A category that answers only what a detected-items list asks of it: its
// ignore list and the item-change handler, which records each call.
class ListeningCategory final : public ComObject<ICategory, IEnabledChange> {
public:
    HRESULT STDMETHODCALLTYPE GetCategoryType(TCategoryType*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetId(std::int32_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetName(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsDisabledByDefault(bool*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSeverityLevel(TCategorySeverityLevel*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetWarningProcesses(IVTStringList**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIsScanned(bool*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIsCleaned(bool*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDetectedItems(IDetectedItems**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetEnabled(bool*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetEnabled(bool) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIgnoreList(IIgnoreList** list) override {
        ignoreList.CopyTo(reinterpret_cast<RecordingIgnoreList**>(list));
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetOnDetectedItemChange(TDetectedItemChange* handler) override {
        *handler = {handlerAttached ? &Changed : nullptr, this};
        return S_OK;
    }
    static void VANTREL_STDCALL Changed(void* data, IDetectedItem* item) {
        auto* self = static_cast<ListeningCategory*>(data);
        bool enabled = false;
        item->GetEnabled(&enabled);
        std::lock_guard<std::mutex> guard(self->changesLock);  // worker and host both change marks
        self->changes.push_back(enabled);
    }

    Com<RecordingIgnoreList> ignoreList;  // null: the category has no ignore list
    bool handlerAttached = true;
    std::mutex changesLock;
    std::vector<bool> changes;  // the check mark seen by each handler call
};

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

StringList Lines(std::initializer_list<const wchar_t*> lines) {
    StringList list;
    for (const auto* line : lines) list.Add(line);
    return list;
}

std::wstring Text(HRESULT (IDetectedItem::*getter)(BSTR*), IDetectedItem& item) {
    BSTR text = nullptr;
    EXPECT_EQ((item.*getter)(&text), S_OK);
    return FromBstrOwned(text);
}

// Every test starts and ends with an empty localized-strings table and the
// log captured at llInfo.
class DetectedItemsTest : public ::testing::Test {
protected:
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
        for (const auto& line : log)
            n += line.ends_with(text) && line.find(levelAndSender) != std::wstring::npos;
        return n;
    }

    std::vector<std::wstring> log;

private:
    TLogLevel savedLevel_ = llNone;
};

// ---------------------------------------------------------------------------
// Locations, names and descriptions

TEST_F(DetectedItemsTest, SetLocationStripsTheX64PrefixAndTypesWhatRemains) {
    struct Case {
        const wchar_t* given;
        const wchar_t* stored;
        TLocationType type;
    };
    const Case cases[] = {
        {L"C:\\Temp\\a.txt", L"C:\\Temp\\a.txt", ltFile},  {L"c:\\", L"c:\\", ltFile},
        {L"(x64)C:\\Temp\\a.txt", L"C:\\Temp\\a.txt", ltFile},
        {L"(X64)HKEY_LOCAL_MACHINE\\Software\\Key\\\\Value", L"HKEY_LOCAL_MACHINE\\Software\\Key\\\\Value", ltRegistry},
        {L"(x64)ab", L"ab", ltUnknown},  {L"(x64)", L"", ltUnknown},  {L"ab", L"ab", ltUnknown},
        {L"abc", L"abc", ltRegistry},    {L"C:/Temp", L"C:/Temp", ltRegistry},
        {L"(x6)C:\\a", L"(x6)C:\\a", ltRegistry},  {L"x(x64)C:\\a", L"x(x64)C:\\a", ltRegistry},
    };
    for (const auto& c : cases) {
        Com<TDetectedItem> item = NewItem(c.given);
        TLocationType type = ltUnknown;
        ASSERT_EQ(item->GetLocationType(&type), S_OK);
        EXPECT_EQ(type, c.type) << c.given;
        EXPECT_EQ(Text(&IDetectedItem::GetLocation, *item), c.stored) << c.given;
    }
}

TEST_F(DetectedItemsTest, SetLocationGivesX32KeysTheirNativeName) {
    // Windows 7 numbering (15); a WOW64 process and a native one.
    const TKeyMappingChecker wow64(true, 15), native(false, 15);
    const std::wstring hklm = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\";
    struct Case {
        const TKeyMappingChecker& checker;
        std::wstring given, stored;
    };
    const Case cases[] = {
        {wow64, L"(x32)" + hklm + L"Vendor\\\\Value", hklm + L"Wow6432Node\\Vendor\\\\Value"},
        // Only the key before the first value separator is translated.
        {wow64, L"(X32)" + hklm + L"Vendor\\\\Val\\\\ue", hklm + L"Wow6432Node\\Vendor\\\\Val\\\\ue"},
        {wow64, L"(x32)" + hklm + L"Vendor\\Key", hklm + L"Wow6432Node\\Vendor\\Key"},
        {wow64, L"(x32)" + hklm + L"Microsoft\\Windows NT\\CurrentVersion\\Fonts\\\\Arial",
         hklm + L"Microsoft\\Windows NT\\CurrentVersion\\Fonts\\\\Arial"},
        {wow64, L"(x32)HKEY_CURRENT_USER\\Software\\Vendor\\\\V", L"HKEY_CURRENT_USER\\Software\\Vendor\\\\V"},
        {native, L"(x32)" + hklm + L"Vendor\\\\Value", hklm + L"Vendor\\\\Value"},
        {wow64, L"(x64)" + hklm + L"Vendor\\\\Value", hklm + L"Vendor\\\\Value"},
    };
    for (const auto& c : cases) {
        const TKeyMappingChecker::ScopedInstance scope(c.checker);
        Com<TDetectedItem> item = NewItem(c.given);
        EXPECT_EQ(item->Location(), c.stored) << testing::PrintToString(c.given);
        EXPECT_EQ(item->LocationType(), ltRegistry) << testing::PrintToString(c.given);
    }
}

TEST_F(DetectedItemsTest, DisplayNameUsesLocalizedTextAndFormatValue) {
    Localizer::Localize(Lines({L"S_GROUPED_PAGES=%d pages", L"S_GROUPED_ENTRIES=Entries", L"S_SIZE_KB=%s KB"}));
    struct Case {
        const char* what;
        const wchar_t* literal;
        TLocalizerStr lz;
        std::int32_t fmtValue;
        const wchar_t* shown;
    };
    const Case cases[] = {
        {"literal", L"Name %d", S_EMPTY, -2, L"Name %d"},
        {"literal with format value", L"Name %d", S_EMPTY, 5, L"Name 5"},
        {"localized replaces literal", L"Name", S_GROUPED_ENTRIES, -2, L"Entries"},
        {"localized with format value", L"Name", S_GROUPED_PAGES, 12, L"12 pages"},
        {"negative format value", L"Name", S_GROUPED_PAGES, -1, L"-1 pages"},
        {"format value -2 leaves placeholder", L"Name", S_GROUPED_PAGES, -2, L"%d pages"},
        {"placeholder not fitting an Integer: text as is", L"Name", S_SIZE_KB, 3, L"%s KB"},
        {"id outside the table: empty", L"Name", static_cast<TLocalizerStr>(500), -2, L""},
    };
    for (const auto& c : cases) {
        Com<TDetectedItem> item = MakeCom<TDetectedItem>();
        item->SetItemName(c.literal);
        if (c.lz != S_EMPTY || c.fmtValue != -2) item->SetItemName(c.lz, c.fmtValue);
        EXPECT_EQ(item->ItemName(), c.literal) << c.what;
        EXPECT_EQ(Text(&IDetectedItem::GetItemName, *item), c.shown) << c.what;
    }
    // A literal name set afterwards drops the id and the format value.
    Com<TDetectedItem> item = MakeCom<TDetectedItem>();
    item->SetItemName(S_GROUPED_PAGES, 4);
    item->SetItemName(L"plain %d");
    EXPECT_EQ(item->DisplayName(), L"plain %d");
}

TEST_F(DetectedItemsTest, ShortDescriptionUsesLocalizedTextAndStringFormatValue) {
    Localizer::Localize(Lines({L"S_COOKIES=Cookies", L"ITEM_COOKIES_SHORT_DESCR=Cookie of %s",
                               L"S_GROUPED_PAGES=%d pages"}));
    struct Case {
        const char* what;
        TLocalizerStr lz, fmtValue;
        const wchar_t* shown;
    };
    // One list: each case first sets the literal, whose setter must clear what the case before set.
    const Case cases[] = {
        {"localized format with localized argument", ITEM_COOKIES_SHORT_DESCR, S_BROWSER_FIREFOX, L"Cookie of Firefox"},
        {"literal", S_EMPTY, S_EMPTY, L"Literal %s"},
        {"localized", S_COOKIES, S_EMPTY, L"Cookies"},
        {"literal format with localized argument", S_EMPTY, S_COOKIES, L"Literal Cookies"},
        {"placeholder not fitting a string: text as is", S_GROUPED_PAGES, S_COOKIES, L"%d pages"},
    };
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    Com<TDetectedItem> item = Add(*list, L"C:\\a");
    for (const auto& c : cases) {
        list->SetShortDescription(L"Literal %s");
        if (c.lz != S_EMPTY || c.fmtValue != S_EMPTY) list->SetShortDescription(c.lz, c.fmtValue);
        EXPECT_EQ(Text(&IDetectedItem::GetShortDescription, *item), c.shown) << c.what;
    }
    EXPECT_EQ(Text(&IDetectedItem::GetShortDescription, *NewItem(L"C:\\a")), L"") << "an item outside a list";
}

TEST_F(DetectedItemsTest, AsStringHasNoClosingParenthesis) {
    Com<TDetectedItem> item = NewItem(L"(x64)HKCU\\Software\\\\Value", false, L"Run 50%");
    item->FItemText = L"cmd /c";
    EXPECT_EQ(item->AsString(), L"DetectedItem(Name='Run 50%', Text='cmd /c', Location='HKCU\\Software\\\\Value'");
}

// ---------------------------------------------------------------------------
// Adding: the duplicate rule and grouping

TEST_F(DetectedItemsTest, DuplicateLocationsAreRefusedOnlyWhenDenied) {
    struct Case {
        const char* what;
        bool allowDuplicates;
        const wchar_t* second;
        bool added;
    };
    const Case cases[] = {
        {"identical location, denied", false, L"C:\\Temp\\a.txt", false},
        {"different case, denied", false, L"C:\\TEMP\\a.txt", true},
        {"other location, denied", false, L"C:\\Temp\\b.txt", true},
        {"identical after prefix stripping, denied", false, L"(x64)C:\\Temp\\a.txt", false},
        {"identical location, allowed", true, L"C:\\Temp\\a.txt", true},
    };
    for (const auto& c : cases) {
        log.clear();
        Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
        list->FAllowDuplicates = c.allowDuplicates;
        ASSERT_TRUE(Add(*list, L"C:\\Temp\\a.txt", true, false, L"first")) << c.what;
        Com<TDetectedItem> second = NewItem(c.second);
        const std::wstring described = second->AsString();
        EXPECT_EQ(list->AddItem(second, true), c.added) << c.what;
        EXPECT_EQ(second == nullptr, !c.added) << c.what;
        EXPECT_EQ(list->Count(), c.added ? 2 : 1) << c.what;
        EXPECT_EQ(list->FCountCanBeDeleted.load(), c.added ? 2 : 1) << c.what;
        const std::wstring warn = L"WARN  TDetectedItems: ";
        EXPECT_EQ(LogLinesEndingWith(warn, L"Can't add existing detected item. " + described), c.added ? 0 : 1) << c.what;
        EXPECT_EQ(LogLinesEndingWith(warn, L"Detected item added. " + described), c.added ? 1 : 0) << c.what;
    }
}

TEST_F(DetectedItemsTest, DuplicateIndexFollowsRemoveMoveClearAndLoad) {
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    list->FAllowDuplicates = false;
    auto add = [&](const wchar_t* location) { return Add(*list, location) != nullptr; };
    ASSERT_TRUE(add(L"C:\\a"));
    ASSERT_TRUE(add(L"C:\\b"));
    EXPECT_FALSE(add(L"C:\\a"));

    list->Remove(list->Get(0).Get());
    EXPECT_TRUE(add(L"C:\\a")) << "a removed location can be found again";
    EXPECT_FALSE(add(L"C:\\b"));

    list->Get(0)->SetLocation(L"C:\\moved");  // a location changed after adding moves in the index
    EXPECT_TRUE(add(L"C:\\b"));
    EXPECT_FALSE(add(L"C:\\moved"));

    list->ClearItems();
    EXPECT_TRUE(add(L"C:\\a")) << "cleared";

    MemoryStream stream;  // loaded items take part in the duplicate test
    TStreamWrapper w(stream);
    list->SaveToStream(w);
    stream.SetPosition(0);
    list->LoadFromStream(w);
    EXPECT_EQ(list->Count(), 1);
    EXPECT_FALSE(add(L"C:\\a"));
    EXPECT_TRUE(add(L"C:\\c"));
}

TEST_F(DetectedItemsTest, GroupHeadsOfTheSameNameFoldIntoTheFirst) {
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    list->FAllowDuplicates = false;
    Com<TDetectedItem> head = Add(*list, L"C:\\one", true, true, L"example.com");
    struct Case {
        const char* what;
        bool grouped;
        const wchar_t* name;
        const wchar_t* location;
        bool folds;
    };
    const Case cases[] = {
        {"same name", true, L"example.com", L"C:\\two", true},
        {"same name and same location (no duplicate test)", true, L"example.com", L"C:\\one", true},
        {"different case of the name", true, L"Example.com", L"C:\\three", false},
        {"not a group head", false, L"example.com", L"C:\\four", false},
    };
    std::int32_t folded = 0, count = 1;
    for (const auto& c : cases) {
        log.clear();
        Com<TDetectedItem> item = NewItem(c.location, c.grouped, c.name);
        EXPECT_TRUE(list->AddItem(item, true)) << c.what;
        ASSERT_TRUE(item) << c.what;
        folded += c.folds ? 1 : 0;
        count += c.folds ? 0 : 1;
        EXPECT_EQ(list->Count(), count) << c.what;
        EXPECT_EQ(head->GroupedCount(), folded) << c.what;
        if (!c.folds) continue;
        EXPECT_EQ(head->GetGroupedItems(folded - 1), item.Get()) << c.what;
        EXPECT_EQ(item->DisplayName(), L"") << c.what;
        EXPECT_TRUE(item->MemberOfGroup()) << c.what;
        EXPECT_FALSE(item->Checked()) << "a folded item is not checked: " << c.what;
        EXPECT_EQ(LogLinesEndingWith(L"INFO  TDetectedItem: ", L"Grouped item added. " + item->AsString()), 1) << c.what;
    }
    EXPECT_EQ(head->GetGroupedItems(-1), nullptr);
    EXPECT_EQ(head->GetGroupedItems(folded), nullptr);
    EXPECT_EQ(list->FCountCanBeDeleted.load(), count);
    EXPECT_TRUE(head->MemberOfGroup());
    EXPECT_FALSE(list->Get(count - 1)->MemberOfGroup());

    // Only a loose item can be folded: not one still in a list, nor the head itself.
    for (const Com<TDetectedItem>& refused : {list->Get(count - 1), head}) {
        EXPECT_THROW(head->AddToGroup(refused), Exception);
        EXPECT_EQ(refused->Owner(), list.Get());
    }
    EXPECT_EQ(head->GroupedCount(), folded);
    EXPECT_FALSE(Add(*list, L"C:\\four")) << "the refused item still holds its location";
}

TEST_F(DetectedItemsTest, GroupHeadLookupFollowsNameChanges) {
    Localizer::Localize(Lines({L"S_GROUPED_PAGES=Pages %d"}));
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    auto addHead = [&](const wchar_t* literal) { return Add(*list, L"C:\\x", false, true, literal); };
    Com<TDetectedItem> localized = MakeCom<TDetectedItem>(true);
    localized->SetItemName(S_GROUPED_PAGES, 2);
    ASSERT_TRUE(list->AddItem(localized, false));
    addHead(L"Pages 2");
    EXPECT_EQ(localized->GroupedCount(), 1);

    // The host switches language: the head's name follows the new text.
    Localizer::Localize(Lines({L"S_GROUPED_PAGES=Seiten %d"}));
    addHead(L"Pages 2");
    EXPECT_EQ(list->Count(), 2) << "the old name no longer folds";
    addHead(L"Seiten 2");
    EXPECT_EQ(localized->GroupedCount(), 2) << "the new name folds";

    // Now two heads share the name "Pages 2" once the language switches back;
    // the first in list order takes the folds, and after it is removed the
    // second one does.
    Localizer::Localize(Lines({L"S_GROUPED_PAGES=Pages %d"}));
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

// ---------------------------------------------------------------------------
// Reading the list

TEST_F(DetectedItemsTest, GetItemAnswersNullOutOfRangeAndGetByIdFindsFoldedItems) {
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    const std::vector<Com<TDetectedItem>> items = {Add(*list, L"C:\\a", false, false, L"group"),
                                                   Add(*list, L"C:\\b", false, true, L"group"),
                                                   Add(*list, L"C:\\c", false, true, L"group")};
    ASSERT_EQ(list->Count(), 2);  // C:\c folded into C:\b
    std::int32_t count = 0;
    ASSERT_EQ(list->GetCount(&count), S_OK);
    EXPECT_EQ(count, 2);
    for (std::int32_t index : {-1, 0, 1, 2, 1 << 30}) {
        IDetectedItem* item = reinterpret_cast<IDetectedItem*>(1);
        ASSERT_EQ(list->GetItem(index, &item), S_OK) << index;
        Com<IDetectedItem> owned = Com<IDetectedItem>::Attach(item);
        const bool inRange = index == 0 || index == 1;
        EXPECT_EQ(item, inRange ? static_cast<IDetectedItem*>(items[index].Get()) : nullptr) << index;
        EXPECT_EQ(list->Get(index).Get(), inRange ? items[index].Get() : nullptr) << index;
    }
    for (const auto& item : items) EXPECT_EQ(list->GetById(item->Serial()).Get(), item.Get()) << item->Location();
    EXPECT_EQ(list->GetById(0), nullptr);
    EXPECT_EQ(list->GetById(items.back()->Serial() + 1000), nullptr);
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
    Com<ListeningCategory> category = MakeCom<ListeningCategory>();
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(category.Get());
    Com<TDetectedItem> a = Add(*list, L"C:\\a", true), b = Add(*list, L"C:\\b", true), c = Add(*list, L"C:\\c");
    EXPECT_EQ(category->changes, (std::vector<bool>{true, true}));
    struct Step {
        const char* what;
        std::function<void()> action;
        std::int32_t countCanBeDeleted;
        std::size_t notifications;
    };
    const Step steps[] = {
        {"check an unchecked item", [&] { c->SetEnabled(true); }, 3, 3},
        {"check it again: nothing", [&] { c->SetEnabled(true); }, 3, 3},
        {"uncheck", [&] { a->SetEnabled(false); }, 2, 4},
        {"uncheck again: nothing", [&] { a->SetEnabled(false); }, 2, 4},
        {"remove a checked item", [&] { list->Remove(b.Get()); }, 1, 4},
        {"a removed item changes without the list", [&] { b->SetEnabled(false); }, 1, 4},
        {"remove an unchecked item (callers uncheck first)", [&] { list->Remove(a.Get()); }, 0, 4},
        {"remove an item that is not in the list: nothing", [&] { list->Remove(a.Get()); }, 0, 4},
        {"handler detached: counter only", [&] { category->handlerAttached = false, c->SetChecked(false); }, -1, 4},
        {"clear", [&] { list->ClearItems(); }, 0, 4},
    };
    for (const auto& step : steps) {
        step.action();
        EXPECT_EQ(list->FCountCanBeDeleted.load(), step.countCanBeDeleted) << step.what;
        EXPECT_EQ(category->changes.size(), step.notifications) << step.what;
    }
    EXPECT_EQ(category->changes.back(), false);
    EXPECT_EQ(c->Owner(), nullptr) << "cleared items are detached";
}

TEST_F(DetectedItemsTest, RemovalMarksMoveTheirCounterAndDecideGetRemoved) {
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    Com<TDetectedItem> item = Add(*list, L"C:\\a", true);
    struct Step {
        bool performed, failed;
        std::int32_t counter;
        bool removed;
    };
    const Step steps[] = {{true, false, 1, true}, {true, false, 1, true}, {true, true, 1, false},
                          {false, true, 0, false}, {false, false, 0, false}};
    for (const auto& s : steps) {
        item->SetRemovingWasPerformed(s.performed);
        item->SetItemFailedToRemove(s.failed);
        EXPECT_EQ(list->FCountRemovingWasPerformed.load(), s.counter);
        bool removed = !s.removed;
        ASSERT_EQ(item->GetRemoved(&removed), S_OK);
        EXPECT_EQ(removed, s.removed) << s.performed << s.failed;
    }
    item->SetRemovingWasPerformed(true);
    list->ClearItems();
    EXPECT_EQ(list->FCountRemovingWasPerformed.load(), 0);
}

TEST_F(DetectedItemsTest, IgnoredItemKeepsItsCheckMarkOff) {
    struct Case {
        const char* what;
        bool hasIgnoreList;
        const wchar_t* location;
        bool checkedBefore;
        bool leavesList;
    };
    const Case cases[] = {
        {"checked, with ignore list", true, L"C:\\a", true, true},
        {"unchecked, with ignore list", true, L"C:\\a", false, true},
        {"no ignore list", false, L"C:\\a", true, false},
        {"empty location", true, L"", true, false},
    };
    for (const auto& c : cases) {
        Com<ListeningCategory> category = MakeCom<ListeningCategory>();
        if (c.hasIgnoreList) category->ignoreList = MakeCom<RecordingIgnoreList>();
        Com<TDetectedItems> list = MakeCom<TDetectedItems>(category.Get());
        Add(*list, L"C:\\other", true);
        Com<TDetectedItem> item = Add(*list, c.location, c.checkedBefore);
        const std::size_t notifications = category->changes.size();

        for (int round = 0; round < 2; ++round) ASSERT_EQ(item->IgnoreItem(), S_OK) << c.what;  // counted once
        EXPECT_TRUE(item->IgnoredAfterScan()) << c.what;
        EXPECT_EQ(list->Count(), c.leavesList ? 1 : 2) << c.what;
        EXPECT_EQ(list->FCountIgnored.load(), 1) << c.what;
        if (c.hasIgnoreList) {
            const std::vector<std::wstring> expected = {c.location + std::wstring(L"|")};
            EXPECT_EQ(category->ignoreList->added, c.leavesList ? expected : std::vector<std::wstring>{}) << c.what;
        }
        // Whatever is asked afterwards, the check mark stays off.
        for (bool value : {true, false, true}) {
            ASSERT_EQ(item->SetEnabled(value), S_OK);
            EXPECT_FALSE(item->Checked()) << c.what;
        }
        EXPECT_EQ(list->FCountCanBeDeleted.load(), 1) << "only the other item stays checked: " << c.what;
        EXPECT_EQ(category->changes.size(), notifications) << "no notification: " << c.what;
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
        const std::string s(ascii);
        I32(static_cast<std::int32_t>(s.size()));
        for (char ch : s) bytes.push_back(static_cast<std::uint8_t>(ch)), bytes.push_back(0);
        return *this;
    }
};

TEST_F(DetectedItemsTest, ListRecordIsByteExactLoadsBackUncheckedAndRefusesShortOrDeepInput) {
    Localizer::Localize(Lines({L"S_GROUPED_PAGES=Pages %d"}));
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
    Com<TDetectedItem> first = Add(*list, L"ab", false, true, L"Pages 3");
    first->FItemCanBeDeleted = true;
    Com<TDetectedItem> second = Add(*list, L"HK\\\\v", false, true, L"Pages 3");
    second->FItemIconType = itRegistry;
    second->FItemSourceIndex = -7;
    Com<TDetectedItem> lone = Add(*list, L"", false, true, L"lone");  // a head whose group list was never created
    ASSERT_EQ(list->Count(), 2);

    ExpectedBytes e;
    e.I32(2);  // item count
    e.I32(head->Serial()).B(true).B(false).B(true).I32(0x01020304).I32(5).Str("t").Str("Nm").I32(6).I32(3).I32(1)
        .Str("C:\\x").B(true).I32(2);
    e.I32(first->Serial()).B(false).B(true).B(false).I32(-1).I32(0).Str("").Str("").I32(0).I32(-2).I32(0).Str("ab")
        .B(false);
    e.I32(second->Serial()).B(false).B(false).B(false).I32(-7).I32(1).Str("").Str("").I32(0).I32(-2).I32(2)
        .Str("HK\\\\v").B(false);
    e.I32(lone->Serial()).B(false).B(false).B(false).I32(-1).I32(0).Str("").Str("lone").I32(0).I32(-2).I32(0).Str("")
        .B(true).I32(0);
    MemoryStream stream;
    TStreamWrapper w(stream);
    list->SaveToStream(w);
    ASSERT_EQ(stream.Bytes(), e.bytes);

    // Loading clears the list first and adds every item unchecked; saving again gives the same bytes.
    Com<ListeningCategory> category = MakeCom<ListeningCategory>();
    Com<TDetectedItems> loaded = MakeCom<TDetectedItems>(category.Get());
    Com<TDetectedItem> stale = Add(*loaded, L"C:\\stale", true);
    log.clear();
    MemoryStream in(e.bytes);
    TStreamWrapper r(in);
    loaded->LoadFromStream(r);
    EXPECT_EQ(stale->Owner(), nullptr);
    ASSERT_EQ(loaded->Count(), 2);
    EXPECT_FALSE(loaded->Get(0)->Checked());
    EXPECT_EQ(loaded->FCountCanBeDeleted.load(), 0);
    EXPECT_EQ(category->changes.size(), 1u) << "only the stale item's check";
    EXPECT_EQ(loaded->GetById(second->Serial())->Location(), L"HK\\\\v");
    EXPECT_EQ(LogLinesEndingWith(L"INFO  TDetectedItem: ", L"Grouped item added. " +
                                                                loaded->GetById(first->Serial())->AsString()),
              1);
    MemoryStream again;
    TStreamWrapper w2(again);
    loaded->SaveToStream(w2);
    EXPECT_EQ(again.Bytes(), e.bytes);

    for (std::size_t cut : {std::size_t{0}, std::size_t{3}, std::size_t{4}, std::size_t{20}, e.bytes.size() - 1}) {
        MemoryStream shortStream(e.bytes.data(), cut);
        TStreamWrapper s(shortStream);
        try {
            loaded->LoadFromStream(s);
            ADD_FAILURE() << "no error for " << cut << " bytes";
        } catch (const Exception& error) {
            EXPECT_EQ(error.Message(), L"Stream read error") << cut;
        }
    }
    // Records nested far deeper than saved results ever are.
    ExpectedBytes nested;
    nested.I32(1);
    for (int i = 0; i < 10000; ++i)
        nested.I32(i).B(false).B(false).B(false).I32(-1).I32(0).Str("").Str("").I32(0).I32(-2).I32(0).Str("").B(true)
            .I32(1);
    MemoryStream deep(nested.bytes);
    TStreamWrapper d(deep);
    EXPECT_THROW(loaded->LoadFromStream(d), Exception);
    EXPECT_EQ(loaded->Count(), 0);
}

// ---------------------------------------------------------------------------
// Threads: the worker adds and removes while the host reads

TEST_F(DetectedItemsTest, HostReadsWhileWorkerAddsAndRemoves) {
    TDebugLog::SetSink({});
    TDebugLog::SetLevel(llNone);
    Com<ListeningCategory> category = MakeCom<ListeningCategory>();
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
