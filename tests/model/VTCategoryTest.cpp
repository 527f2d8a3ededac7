#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "CategoryTestSupport.h"
#include "model/StreamWrapper.h"
#include "model/VTSections.h"
#include "runtime/ComBoundary.h"
#include "runtime/DebugLog.h"
#include "runtime/FileSystem.h"
#include "runtime/Stream.h"
#include "services/IgnoreListAdapter.h"
#include "services/TempFolder.h"

namespace vt::testing {
namespace {

Com<ScriptedCategory> MakeCategory(RecordingVantrel& v, std::int32_t id, bool installed = true) {
    return TVTCategory::Create<ScriptedCategory>(v, id, installed);
}

TEST(CategoryIgnoreRule, EntriesCoverWhatTheyShouldAndNothingElse) {
    struct Case {
        const wchar_t* entry;
        const wchar_t* location;
        bool ignored;
    };
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
    };
    RecordingVantrel v;
    for (const auto& c : cases) {
        StringList entries;
        auto adapter = MakeCom<TIgnoreListAdapter>(&entries);
        std::int32_t index = -1;
        ASSERT_EQ(adapter->Add(c.entry, L"", &index), S_OK);
        auto category = MakeCategory(v, 0);
        category->SetLinks(adapter.Get());
        EXPECT_EQ(category->IsIgnored(c.location, L""), c.ignored) << entries.Get(0) << L" / " << c.location;
    }
}

TEST(CategoryIgnoreRule, OneItemCategoryNeverIgnoresAnEmptyLocation) {
    RecordingVantrel v;
    StringList entries;
    entries.Add(L"");
    auto adapter = MakeCom<TIgnoreListAdapter>(&entries);
    auto category = MakeCategory(v, 0);
    category->SetLinks(adapter.Get());
    EXPECT_TRUE(category->IsIgnored(L"", L""));
    category->SetOneDetectedItemCategory(true);
    EXPECT_FALSE(category->IsIgnored(L"", L""));
}

TEST(CategoryBase, AbsentProgramIsNeverSearchedButCountsAsScanned) {
    RecordingVantrel v;
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
    RecordingVantrel v;
    auto category = MakeCategory(v, 2);
    for (const wchar_t* name : {L"C:\\a", L"C:\\b", L"C:\\c"}) category->AddFound(name);
    category->DetectedItems().FRemainCount = 3;
    v.abortAfter = 1;  // the second IsAborted answers true
    category->RemoveIfDetected();

    EXPECT_EQ(category->removedLocations, (std::vector<std::wstring>{L"C:\\c", L"C:\\b"}));
    EXPECT_EQ(v.removed, 2);
    EXPECT_EQ(v.failed, 0);
    auto b = category->DetectedItems().Get(1);
    EXPECT_FALSE(b->RemovingWasPerformed());
    EXPECT_TRUE(b->ItemFailedToRemove());
    EXPECT_TRUE(category->DetectedItems().Get(2)->RemovingWasPerformed());
    EXPECT_FALSE(category->DetectedItems().Get(0)->RemovingWasPerformed());
    EXPECT_EQ(category->DetectedItems().FRemainCount.load(), 1);
    EXPECT_EQ(category->DetectedItems().FCountRemovingWasPerformed.load(), 1);
    EXPECT_TRUE(category->IsCleaned());
}

TEST(CategoryBase, RefusedRemovalFailsEveryCheckedItemWithoutTouchingIt) {
    RecordingVantrel v;
    auto category = MakeCategory(v, 2);
    category->AddFound(L"C:\\a");
    category->AddFound(L"C:\\b");
    category->DetectedItems().Get(0)->SetChecked(false);
    category->beforeRemove = false;
    EXPECT_EQ(category->RemoveDetected(), 0);
    EXPECT_TRUE(category->removedLocations.empty());
    EXPECT_EQ(v.failed, 1);  // the unchecked item is not visited
    EXPECT_EQ(category->DetectedItems().FCountRemovingWasPerformed.load(), 0);
}

TEST(CategoryBase, ItemMarksDriveTheCategoryMarkAndTheTaskCount) {
    RecordingVantrel v;
    StringList& tasks = v.wrapper.WarningProcesses();
    auto first = MakeCategory(v, 3);
    auto second = MakeCategory(v, 4);
    first->SetTaskName(L"firefox.exe");
    second->SetTaskName(L"firefox.exe");
    ASSERT_EQ(tasks.IndexOf(L"firefox.exe"), 0);
    EXPECT_EQ(tasks.Objects(0), 2);
    EXPECT_THROW(first->SetTaskName(L"firefox.exe"), Exception);

    first->AddFound(L"C:\\x");
    first->AddFound(L"C:\\y");
    first->DetectedItems().Get(0)->SetChecked(false);
    EXPECT_TRUE(first->Enabled());  // one item is still checked
    first->DetectedItems().Get(1)->SetChecked(false);
    EXPECT_FALSE(first->Enabled());
    EXPECT_EQ(tasks.Objects(0), 1);
    second->SetEnabledValue(false);
    EXPECT_EQ(tasks.IndexOf(L"firefox.exe"), -1);
    first->DetectedItems().Get(0)->SetChecked(true);
    EXPECT_TRUE(first->Enabled());
    EXPECT_EQ(tasks.Objects(tasks.IndexOf(L"firefox.exe")), 1);

    // Checking the category checks every item with the handler detached.
    first->SetEnabledValue(true);
    EXPECT_TRUE(first->DetectedItems().Get(1)->Checked());
    EXPECT_EQ(first->DetectedItems().FCountCanBeDeleted.load(), 2);
    EXPECT_EQ(first->GetWarningProcesses().Get(0), L"firefox.exe");
}

TEST(CategoryBase, ProgressIsReportedInBatches) {
    RecordingVantrel v;
    auto category = MakeCategory(v, 5);
    category->SetFireOnItem(10);
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
}

TEST(CategoryBase, ProgressReportsYieldFiveMillisecondsAtMostEvery150) {
    using namespace std::chrono;
    RecordingVantrel v;
    auto category = MakeCategory(v, 5);
    auto start = steady_clock::now();
    category->ReportProgress(0, true);  // the first report since construction yields
    EXPECT_GE(steady_clock::now() - start, 5ms);
    start = steady_clock::now();
    for (int i = 0; i < 40; ++i) category->ReportProgress(0, true);
    // Yielding on every report would take at least 200 ms.
    EXPECT_LT(steady_clock::now() - start, 120ms);
    EXPECT_EQ(v.progress.size(), 41u);
}

TEST(CategoryBase, TaskCountFollowsTheFirstMarkTheInstalledCheckAndARestoredMark) {
    RecordingVantrel v;
    StringList& tasks = v.wrapper.WarningProcesses();
    const auto countOf = [&](const wchar_t* name) {
        const int index = tasks.IndexOf(name);
        return index < 0 ? std::intptr_t{0} : tasks.Objects(index);
    };
    // Each names its task in its constructor, before its first check mark is set.
    const TCategoryCatalogue catalogue = {
        CategoryRow<ScriptedCategory>(1, true, std::wstring(L"app.exe"), false),
        CategoryRow<ScriptedCategory>(2, false, std::wstring(L"app.exe"), false),   // absent: dropped
        CategoryRow<ScriptedCategory>(3, true, std::wstring(L"other.exe"), true),  // unchecked by default
    };
    auto registry = MakeCom<TVTCategories>(v, catalogue);
    ASSERT_EQ(registry->Count(), 2);
    EXPECT_EQ(countOf(L"app.exe"), 1);
    EXPECT_EQ(countOf(L"other.exe"), 0);
    EXPECT_EQ(registry->GetEnabledGategoriesCount(), 1);
    registry->GetItemObj(1).SetEnabledValue(true);
    EXPECT_EQ(countOf(L"other.exe"), 1);
    EXPECT_EQ(registry->GetEnabledGategoriesCount(), 2);

    // A mark read back from scan results counts like one the host sets.
    TVTCategory& app = registry->GetItemObj(0);
    MemoryStream bytes;
    {
        TStreamWrapper w(bytes);
        app.SaveToStream(w);
    }
    app.SetEnabledValue(false);
    EXPECT_EQ(countOf(L"app.exe"), 0);
    bytes.Seek(0);
    TStreamWrapper r(bytes);
    app.LoadFromStream(r);
    EXPECT_TRUE(app.Enabled());
    EXPECT_EQ(countOf(L"app.exe"), 1);
}

TEST(CategoryBase, LogsTheInstalledAnswerIgnoredLocationsAndLockedFiles) {
    std::vector<std::wstring> lines;
    TDebugLog::SetSink([&](const std::wstring& line) { lines.push_back(line); });
    TDebugLog::SetLevel(llInfo);
    const auto logged = [&](const std::wstring& text) {
        return std::ranges::count_if(lines, [&](const std::wstring& l) { return l.find(text) != l.npos; });
    };
    RecordingVantrel v;
    auto absent = MakeCategory(v, 1, false);
    EXPECT_FALSE(absent->IsInstalled());
    EXPECT_FALSE(absent->IsInstalled());

    StringList entries;
    auto adapter = MakeCom<TIgnoreListAdapter>(&entries);
    std::int32_t index = -1;
    ASSERT_EQ(adapter->Add(L"C:\\Temp\\*", L"", &index), S_OK);
    auto category = MakeCategory(v, 2);
    category->SetLinks(adapter.Get());
    EXPECT_TRUE(category->IsIgnored(L"C:\\Temp\\a.log", L"*.log"));

    test::TempFolder folder;
    ASSERT_TRUE(ForceDirectories(folder.Root()));
    const std::wstring present = folder.Path(L"present.txt");
    const std::wstring missing = folder.Path(L"missing.txt");
    ASSERT_TRUE(WriteWholeFile(present, {1, 2, 3}));
    EXPECT_TRUE(category->CanOpenForDelete(present));
    EXPECT_FALSE(category->CanOpenForDelete(missing));
    TDebugLog::SetLevel(llNone);
    TDebugLog::SetSink({});

    EXPECT_EQ(logged(L"Category.TScriptedCategory(Scripted 1).IsInstalled = False"), 1);  // asked once
    EXPECT_EQ(logged(L"Ignored Location and mask: \"C:\\Temp\\a.log\", \"*.log\" by \"C:\\Temp\\*\""), 1);
    EXPECT_EQ(logged(L"Locked file: " + missing), 1);
    EXPECT_EQ(logged(L"Locked file: " + present), 0);
}

TEST(CategoryBase, UncheckedCategoryWritesItsItemsButDoesNotReadThemBack) {
    RecordingVantrel v;
    auto saved = MakeCategory(v, 6);
    saved->AddFound(L"C:\\one");
    saved->AddFound(L"C:\\two");
    MemoryStream checkedBytes;
    {
        TStreamWrapper w(checkedBytes);
        saved->SaveToStream(w);
    }
    saved->SetEnabledValue(false);
    MemoryStream uncheckedBytes;
    {
        TStreamWrapper w(uncheckedBytes);
        saved->SaveToStream(w);
    }
    EXPECT_EQ(checkedBytes.Size(), uncheckedBytes.Size());

    auto loaded = MakeCategory(v, 6);
    checkedBytes.Seek(0);
    TStreamWrapper r1(checkedBytes);
    loaded->LoadFromStream(r1);
    EXPECT_EQ(loaded->DetectedItems().Count(), 2);
    EXPECT_FALSE(loaded->DetectedItems().Get(0)->Checked());
    EXPECT_TRUE(loaded->IsScanned());
    EXPECT_EQ(checkedBytes.Position(), checkedBytes.Size());

    auto skipped = MakeCategory(v, 6);
    uncheckedBytes.Seek(0);
    TStreamWrapper r2(uncheckedBytes);
    skipped->LoadFromStream(r2);
    EXPECT_EQ(skipped->DetectedItems().Count(), 0);
    EXPECT_EQ(uncheckedBytes.Position(), 1);  // the list is left for the next reader
}

TEST(CategoryRegistry, KeepsInstalledCategoriesInOrderAndFindsThemById) {
    RecordingVantrel v;
    const TCategoryCatalogue catalogue = {
        CategoryRow<ScriptedCategory>(0),
        CategoryRow<ScriptedCategory>(5, false),
        [](TVantrelShare&) -> Com<TVTCategory> { return nullptr; },  // a row that does not apply here
        CategoryRow<ScriptedCategory>(3),
        // One row, several categories (application definitions share one identifier).
        [](TVantrelShare& s, const TCategorySink& add) {
            for (bool installed : {true, false, true}) add(TVTCategory::Create<ScriptedCategory>(s, 59, installed));
        },
    };
    auto registry = MakeCom<TVTCategories>(v, catalogue);
    ASSERT_EQ(registry->Count(), 4);
    EXPECT_EQ(registry->GetItemObjByID(0), &registry->GetItemObj(0));
    EXPECT_EQ(registry->GetItemObjByID(3), &registry->GetItemObj(1));
    EXPECT_EQ(registry->GetItemObjByID(59), &registry->GetItemObj(2));  // the first application
    EXPECT_EQ(registry->GetItemObj(3).GetCategoryType(), 59);
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
    RecordingVantrel v;
    {
        auto registry = MakeCom<TVTCategories>(v, TCategoryCatalogue{});
        std::int32_t index = -1;
        ASSERT_EQ(registry->IgnoreListAdapter().Add(L"C:\\Temp\\", L"*.log", &index), S_OK);
        registry->SaveIgnoreLists();
    }
    auto reloaded = MakeCom<TVTCategories>(v, TCategoryCatalogue{});
    std::int32_t count = -1;
    reloaded->IgnoreListAdapter().GetCount(&count);
    EXPECT_EQ(count, 0);  // nothing is read until the host asks
    reloaded->LoadIgnoreLists();
    reloaded->IgnoreListAdapter().GetCount(&count);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(reloaded->IgnoreListAdapter().List()->Get(0), L"C:\\Temp\\\\*.log");
}

}  // namespace
}  // namespace vt::testing
