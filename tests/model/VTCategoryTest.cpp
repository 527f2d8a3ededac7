// The category base and the registry, over the tests' fake engine context
// (it records what categories report) and fake category.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/StreamWrapper.h"
#include "model/VTSections.h"
#include "runtime/ComBoundary.h"
#include "runtime/DebugLog.h"
#include "runtime/FileSystem.h"
#include "runtime/Stream.h"
#include "services/BVWrapper.h"
#include "services/IgnoreListAdapter.h"
#include "services/TempFolder.h"
#include "support/FakeCategory.h"
#include "support/FakeEngineContext.h"

namespace vt::testing {
namespace {

// The ignore-lists file of the registries built here.
std::wstring IgnoreFile() {
    static test::TempFolder folder;
    return folder.Path(L"VTL_User.igl");
}

Com<FakeCategory> MakeCategory(FakeEngineContext& v, std::int32_t id, bool installed = true) {
    return TVTCategory::Create<FakeCategory>(v, FakeCategorySetup{.id = id, .installed = installed});
}

std::vector<std::uint8_t> Saved(TVTCategory& category) {
    MemoryStream bytes;
    TStreamWrapper w(bytes);
    category.SaveToStream(w);
    return bytes.Bytes();
}

// Loads the bytes into the category; the number of bytes it read.
std::int64_t Load(TVTCategory& category, const std::vector<std::uint8_t>& bytes) {
    MemoryStream stream(bytes);
    TStreamWrapper r(stream);
    category.LoadFromStream(r);
    return stream.Position();
}

TEST(CategoryIgnoreRule, EntriesCoverWhatTheyShouldAndNothingElse) {
    struct Case { const wchar_t *entry, *location; bool ignored, oneItemCategory = false; };
    const Case cases[] = {
        {L"c:\\temp\\a.txt", L"C:\\Temp\\A.TXT", true},          // equal ignoring case
        {L"C:\\Temp", L"C:\\Temp\\a.txt", false},                // a folder without "\*" covers nothing below
        {L"C:\\Temp\\*", L"C:\\Temp\\a.txt", true},
        {L"C:\\Temp\\*", L"C:\\Tempest\\a.txt", false},
        {L"HKEY_CURRENT_USER\\Software\\Foo", L"HKEY_CURRENT_USER\\Software\\Foo\\Bar\\\\Value", true},
        {L"HKEY_CURRENT_USER\\Software\\Foo", L"HKEY_CURRENT_USER\\Software\\FooBar", false},  // sibling
        {L"HKEY_CURRENT_USER\\Software\\Foo\\*", L"HKEY_CURRENT_USER\\Software\\Foo\\X", true},
        {L"HKEY_CURRENT_USER\\Software\\Foo\\\\Val", L"HKEY_CURRENT_USER\\Software\\Foo\\\\Val", true},
        {L"HKEY_CURRENT_USER\\Software\\Foo\\\\Val", L"HKEY_CURRENT_USER\\Software\\Foo\\\\Value2", false},
        {L"C:\\Temp\\*", L"HKEY_CURRENT_USER\\C:\\Temp\\x", false},  // a file entry never covers a key
        {L"(x64)HKEY_CURRENT_USER\\Software\\Foo", L"(x64)HKEY_CURRENT_USER\\Software\\Foo\\Bar", true},
        {L"", L"", true},
        {L"", L"", false, true},  // a one-item category never ignores an empty location
    };
    FakeEngineContext v;
    StringList entries;
    auto adapter = MakeCom<TIgnoreListAdapter>(&entries);
    auto category = MakeCategory(v, 0);
    category->SetLinks(adapter.Get());
    for (const auto& c : cases) {
        entries.Clear();
        std::int32_t index = -1;
        ASSERT_EQ(adapter->Add(c.entry, L"", &index), S_OK);
        category->SetOneDetectedItemCategory(c.oneItemCategory);
        EXPECT_EQ(category->IsIgnored(c.location, L""), c.ignored) << entries.Get(0) << L" / " << c.location;
    }
}

TEST(CategoryBase, AbsentProgramIsNeverSearchedButCountsAsScanned) {
    FakeEngineContext v;
    auto absent = MakeCategory(v, 1, false);
    EXPECT_TRUE(absent->Enabled());
    absent->SearchIfInstalled();
    absent->Reset();
    absent->SearchIfInstalled();
    EXPECT_EQ(absent->searches, 0);
    EXPECT_EQ(absent->installChecks, 1);  // asked once; Reset keeps the answer
    EXPECT_FALSE(absent->Enabled());
    EXPECT_TRUE(absent->IsScanned());
}

TEST(CategoryBase, RemovalGoesLastToFirstAndAnAbortCountsTheItemInHandAsFailed) {
    FakeEngineContext v;
    auto category = MakeCategory(v, 2);
    for (const wchar_t* name : {L"C:\\a", L"C:\\b", L"C:\\c"}) category->AddFound(name);
    TDetectedItems& items = category->DetectedItems();
    items.FRemainCount = 3;
    v.abortAfter = 1;  // the second IsAborted answers true
    category->RemoveIfDetected();
    EXPECT_EQ(category->removedLocations, (std::vector<std::wstring>{L"C:\\c", L"C:\\b"}));
    EXPECT_EQ(v.removed, 2);
    EXPECT_EQ(v.failed, 0);
    EXPECT_FALSE(items.Get(1)->RemovingWasPerformed());
    EXPECT_TRUE(items.Get(1)->ItemFailedToRemove());
    EXPECT_TRUE(items.Get(2)->RemovingWasPerformed());
    EXPECT_EQ(items.FRemainCount.load(), 1);
    EXPECT_EQ(items.FCountRemovingWasPerformed.load(), 1);
    EXPECT_TRUE(category->IsCleaned());

    // BeforeRemove refusing: every checked item fails untouched; an unchecked one is not visited.
    FakeEngineContext refusing;
    auto refused = MakeCategory(refusing, 2);
    for (const wchar_t* name : {L"C:\\a", L"C:\\b"}) refused->AddFound(name);
    refused->DetectedItems().Get(0)->SetChecked(false);
    refused->beforeRemove = false;
    refused->RemoveDetected();
    EXPECT_TRUE(refused->removedLocations.empty());
    EXPECT_EQ(refusing.failed, 1);
    EXPECT_EQ(refused->DetectedItems().FCountRemovingWasPerformed.load(), 0);
}

TEST(CategoryBase, TaskCountFollowsEveryChangeOfTheCategoryMark) {
    FakeEngineContext v;
    StringList& tasks = v.wrapper.WarningProcesses();
    const auto count = [&] {
        const int index = tasks.IndexOf(L"app.exe");
        return index < 0 ? std::intptr_t{0} : tasks.Objects(index);
    };
    // Each names its task in its constructor, before its first check mark is set.
    const TCategoryCatalogue catalogue = {
        FakeCategory::Row({.id = 1, .taskName = L"app.exe"}),
        FakeCategory::Row({.id = 2, .installed = false, .taskName = L"app.exe"}),  // absent: dropped
        FakeCategory::Row({.id = 3, .disabledByDefault = true, .taskName = L"app.exe"}),
    };
    auto registry = MakeCom<TVTCategories>(v, catalogue, IgnoreFile());
    ASSERT_EQ(registry->Count(), 2);
    auto& first = dynamic_cast<FakeCategory&>(registry->GetItemObj(0));
    EXPECT_EQ(count(), 1);
    EXPECT_THROW(first.SetTaskName(L"app.exe"), Exception);
    registry->GetItemObj(1).SetEnabledValue(true);
    EXPECT_EQ(count(), 2);

    // A mark read back from scan results counts like one the host sets.
    const std::vector<std::uint8_t> bytes = Saved(first);
    first.SetEnabledValue(false);
    EXPECT_EQ(count(), 1);
    Load(first, bytes);
    EXPECT_TRUE(first.Enabled());
    EXPECT_EQ(count(), 2);

    // An item's mark moves the category's, and with it the count.
    first.AddFound(L"C:\\x");
    first.DetectedItems().Get(0)->SetChecked(false);
    EXPECT_FALSE(first.Enabled());
    EXPECT_EQ(count(), 1);
    first.DetectedItems().Get(0)->SetChecked(true);
    EXPECT_TRUE(first.Enabled());
    EXPECT_EQ(count(), 2);
}

TEST(CategoryBase, ProgressIsReportedInBatchesAndYieldsAtMostEvery150Ms) {
    FakeEngineContext v;
    auto category = TVTCategory::Create<FakeCategory>(v, FakeCategorySetup{.id = 5, .fireOnItem = 10});
    for (int i = 0; i < 3; ++i) category->AddFound(L"C:\\f" + std::to_wstring(i));
    category->ReportProgress(100);
    EXPECT_TRUE(v.progress.empty());
    category->ReportProgress(100, true);
    ASSERT_EQ(v.progress.size(), 1u);
    EXPECT_DOUBLE_EQ(v.progress[0], 3.0);
    EXPECT_EQ(v.detected, 3);
    EXPECT_EQ(v.scanned, 2);
    category->ReportProgress(0, true);
    EXPECT_DOUBLE_EQ(v.progress.back(), 100.0);
    // With UseCount the units still pending shape the percentage; without it they are not asked.
    category->pending = 300;
    category->ReportProgress(100, true, true);
    EXPECT_DOUBLE_EQ(v.progress.back(), 25.0);
    category->ReportProgress(100, true, false);
    EXPECT_DOUBLE_EQ(v.progress.back(), 3.0);
    EXPECT_EQ(category->yields, 0);  // the tick has not moved since construction

    // A report yields when more than 150 ms passed since the last yield, on a
    // tick that wraps at 2^32; the reports above did not yield.
    struct Step { std::uint32_t tick; int yields; };
    const Step steps[] = {{150, 0}, {151, 1}, {301, 1}, {302, 2}, {0xFFFFFFF0u, 3}, {0x80, 3}, {0x87, 4}};
    for (const Step& step : steps) {
        category->clock = step.tick;
        category->ReportProgress(0, true);
        EXPECT_EQ(category->yields, step.yields) << "at tick " << step.tick;
    }
}

TEST(CategoryBase, FoundItemStepAddsWhatIsNotIgnoredAndStopsOnAbort) {
    FakeEngineContext v;
    StringList entries;
    entries.Add(L"HKEY_CURRENT_USER\\Software\\Foo\\\\Skipped");
    auto adapter = MakeCom<TIgnoreListAdapter>(&entries);
    auto category = TVTCategory::Create<FakeCategory>(v, FakeCategorySetup{.id = 7, .fireOnItem = 2});
    category->SetLinks(adapter.Get());
    v.abortAfter = 2;
    struct Case { TFoundItem found; bool added, stop; };
    const Case cases[] = {
        {{.Name = L"a.log", .Location = L"C:\\Logs\\a.log", .Icon = itLogs, .Size = 4096, .SourceIndex = 3}, true, false},
        {{.Name = L"Skipped", .Location = L"HKEY_CURRENT_USER\\Software\\Foo", .Mask = L"Skipped"}, false, false},
        {{.Location = L"C:\\x", .NameLz = S_TOTAL_ELEMENTS, .NameFmtValue = 4}, true, true},  // the third IsAborted: true
    };
    for (const Case& c : cases) {
        bool stop = false;
        Com<TDetectedItem> item = category->HandleFound(c.found, 10, stop);
        EXPECT_EQ(item != nullptr, c.added) << c.found.Location;
        EXPECT_EQ(stop, c.stop) << c.found.Location;
    }
    TDetectedItems& items = category->DetectedItems();
    ASSERT_EQ(items.Count(), 2);
    Com<TDetectedItem> first = items.Get(0), second = items.Get(1);
    EXPECT_TRUE(first->Checked() && second->Checked());
    EXPECT_EQ(first->ItemName(), L"a.log");
    EXPECT_EQ(first->LocationType(), ltFile);
    EXPECT_EQ(first->FItemIconType, itLogs);
    EXPECT_EQ(first->FItemFileSize, 4096);
    EXPECT_EQ(first->FItemSourceIndex, 3);
    EXPECT_EQ(second->ItemNameLz(), S_TOTAL_ELEMENTS);
    EXPECT_EQ(second->ItemNameFmtValue(), 4);
    EXPECT_EQ(v.scanned, 3);           // every step is a unit of progress, an ignored one too
    EXPECT_EQ(v.progress.size(), 1u);  // reported once two new items were found

    // A grouped item whose display name is listed folds into that head.
    bool stop = false;
    category->HandleFound({.Name = L"b.log", .Location = L"C:\\One\\b.log", .Grouped = true}, 10, stop);
    category->HandleFound({.Name = L"b.log", .Location = L"C:\\Two\\b.log", .Grouped = true}, 10, stop);
    EXPECT_EQ(items.Count(), 3);
    EXPECT_EQ(items.Get(2)->GroupedCount(), 1);
}

TEST(CategoryBase, CanOpenForDeleteLogsAFileItCannotOpen) {
    std::vector<std::wstring> lines;
    TDebugLog::SetSink([&](const std::wstring& line) { lines.push_back(line); });
    TDebugLog::SetLevel(llInfo);
    FakeEngineContext v;
    auto category = MakeCategory(v, 2);
    test::TempFolder folder;
    const std::wstring present = folder.Path(L"present.txt"), missing = folder.Path(L"missing.txt");
    EXPECT_TRUE(ForceDirectories(folder.Root()) && WriteWholeFile(present, {1, 2, 3}));
    EXPECT_TRUE(category->CanOpenForDelete(present));
    EXPECT_FALSE(category->CanOpenForDelete(missing));
    TDebugLog::SetLevel(llNone);
    TDebugLog::SetSink({});
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].ends_with(L"TFakeCategory: Locked file: " + missing)) << lines[0];
}

TEST(CategoryBase, UncheckedCategoryWritesItsItemsButDoesNotReadThemBack) {
    FakeEngineContext v;
    auto saved = MakeCategory(v, 6);
    for (const wchar_t* name : {L"C:\\one", L"C:\\two"}) saved->AddFound(name);
    const std::vector<std::uint8_t> checked = Saved(*saved);
    saved->SetEnabledValue(false);
    const std::vector<std::uint8_t> unchecked = Saved(*saved);
    EXPECT_EQ(checked.size(), unchecked.size());

    auto loaded = MakeCategory(v, 6);
    EXPECT_EQ(Load(*loaded, checked), static_cast<std::int64_t>(checked.size()));
    EXPECT_EQ(loaded->DetectedItems().Count(), 2);
    EXPECT_FALSE(loaded->DetectedItems().Get(0)->Checked());
    EXPECT_TRUE(loaded->IsScanned());
    auto skipped = MakeCategory(v, 6);
    EXPECT_EQ(Load(*skipped, unchecked), 1);  // the mark only: the list is left for the next reader
    EXPECT_EQ(skipped->DetectedItems().Count(), 0);
}

TEST(CategoryRegistry, KeepsInstalledCategoriesInOrderAndFindsThemById) {
    FakeEngineContext v;
    const TCategoryCatalogue catalogue = {
        FakeCategory::Row({.id = 0}),
        FakeCategory::Row({.id = 5, .installed = false}),
        [](TVantrelShare&) -> Com<TVTCategory> { return nullptr; },  // a row that does not apply here
        FakeCategory::Row({.id = 3}),
        // One row, several categories (application definitions share one identifier).
        [](TVantrelShare& s, const TCategorySink& add) {
            for (bool installed : {true, false, true}) add(TVTCategory::Create<FakeCategory>(s, FakeCategorySetup{.id = 59, .installed = installed}));
        },
    };
    auto registry = MakeCom<TVTCategories>(v, catalogue, IgnoreFile());
    ASSERT_EQ(registry->Count(), 4);
    EXPECT_EQ(registry->GetItemObjByID(0), &registry->GetItemObj(0));
    EXPECT_EQ(registry->GetItemObjByID(3), &registry->GetItemObj(1));
    EXPECT_EQ(registry->GetItemObjByID(59), &registry->GetItemObj(2));  // the first application
    EXPECT_EQ(registry->GetItemObj(3).CategoryType(), 59);
    EXPECT_EQ(registry->GetItemObjByID(5), nullptr);
    ICategory* category = reinterpret_cast<ICategory*>(0x1);
    EXPECT_EQ(registry->GetItem(4, &category), E_BOUNDS);
    EXPECT_EQ(TakeErrorInfoMessage(), L"List index out of bounds (4)");
    EXPECT_EQ(registry->GetItemByID(42, &category), S_OK);
    EXPECT_EQ(category, nullptr);
    registry->GetItemObj(1).SetEnabledValue(false);
    EXPECT_EQ(registry->GetEnabledGategoriesCount(), 3);
}

TEST(CategoryRegistry, UserIgnoreListSurvivesASaveAndALoad) {
    FakeEngineContext v;
    std::int32_t index = -1, count = -1;
    {
        auto registry = MakeCom<TVTCategories>(v, TCategoryCatalogue{}, IgnoreFile());
        ASSERT_EQ(registry->IgnoreListAdapter().Add(L"C:\\Temp\\", L"*.log", &index), S_OK);
        registry->SaveIgnoreLists();
    }
    auto reloaded = MakeCom<TVTCategories>(v, TCategoryCatalogue{}, IgnoreFile());
    reloaded->IgnoreListAdapter().GetCount(&count);
    EXPECT_EQ(count, 0);  // nothing is read until the host asks
    reloaded->LoadIgnoreLists();
    reloaded->IgnoreListAdapter().GetCount(&count);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(reloaded->IgnoreListAdapter().List()->Get(0), L"C:\\Temp\\\\*.log");
}

}  // namespace
}  // namespace vt::testing
