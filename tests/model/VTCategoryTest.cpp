// The category base and the registry, over an engine context that records
// what categories report and a category whose behaviour each test sets.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "model/CleanerOptions.h"
#include "model/VantrelShare.h"
#include "model/StreamWrapper.h"
#include "model/VTSections.h"
#include "runtime/ComBoundary.h"
#include "runtime/DebugLog.h"
#include "runtime/FileSystem.h"
#include "runtime/Stream.h"
#include "services/BVWrapper.h"
#include "services/IgnoreListAdapter.h"
#include "services/TempFolder.h"

namespace vt::testing {
namespace {

class RecordingVantrel final : public TVantrelShare {
public:
    TBVWrapper& GetBVWrapper() override { return wrapper; }
    void SetProgress(double p) override { progress.push_back(p); }
    void SetCurrentCategory(ICategory*) override {}
    void SetCurrentItem(IDetectedItem*, std::int32_t mass, std::int32_t scan) override {
        detected += mass;
        scanned += scan;
    }
    void OnItemRemoved(IDetectedItem*) override { ++removed; }
    void OnItemFailed(IDetectedItem*) override { ++failed; }
    bool IsAborted() override { return abortAfter >= 0 && ++abortCalls > abortAfter; }
    TCleanerOptions& Options() override { return *options; }

    TBVWrapper wrapper;
    Com<TCleanerOptions> options = MakeCom<TCleanerOptions>();
    std::vector<double> progress;
    int detected = 0, scanned = 0, removed = 0, failed = 0;
    int abortAfter = -1;  // IsAborted answers true after this many calls (-1: never)
    int abortCalls = 0;
};

class ScriptedCategory final : public TVTCategory {
public:
    // A task name given here is set by the constructor, as concrete categories do.
    ScriptedCategory(TVantrelShare& v, std::int32_t id, bool installed = true, const std::wstring& taskName = {},
                     bool disabledByDefault = false)
        : TVTCategory(v), installed(installed), disabledByDefault(disabledByDefault) {
        FId = id;
        if (!taskName.empty()) SetTaskName(taskName);
    }

    bool RemoveItem(TDetectedItem& item) override {
        removedLocations.push_back(item.Location());
        return true;
    }
    void Search() override { ++searches; }
    bool CheckIfInstalled() override {
        ++installChecks;
        return installed;
    }
    bool BeforeRemove() override { return beforeRemove; }
    bool IsDisabledByDefault() override { return disabledByDefault; }
    std::int32_t GetPendingCount() override { return pending; }
    std::wstring ClassName() const override { return L"TScriptedCategory"; }

    // Adds a checked item with this location (and display name).
    void AddFound(const std::wstring& location) {
        Com<TDetectedItem> item = MakeCom<TDetectedItem>();
        item->SetItemName(location);
        item->SetLocation(location);
        FDetectedItems->AddItem(item, true);
    }
    void SetFireOnItem(std::int32_t n) { FFireOnItem = n; }
    void SetOneDetectedItemCategory(bool v) { FIsOneDetectedItemCategory = v; }

    std::vector<std::wstring> removedLocations;
    bool beforeRemove = true;
    int searches = 0, installChecks = 0;
    std::int32_t pending = 0;
    const bool installed, disabledByDefault;
};

// The ignore-lists file of the registries built here.
std::wstring IgnoreFile() {
    static test::TempFolder folder;
    return folder.Path(L"VTL_User.igl");
}

Com<ScriptedCategory> MakeCategory(RecordingVantrel& v, std::int32_t id, bool installed = true) {
    return TVTCategory::Create<ScriptedCategory>(v, id, installed);
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
    RecordingVantrel v;
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
    RecordingVantrel refusing;
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
    RecordingVantrel v;
    StringList& tasks = v.wrapper.WarningProcesses();
    const auto count = [&] {
        const int index = tasks.IndexOf(L"app.exe");
        return index < 0 ? std::intptr_t{0} : tasks.Objects(index);
    };
    // Each names its task in its constructor, before its first check mark is set.
    const TCategoryCatalogue catalogue = {
        CategoryRow<ScriptedCategory>(1, true, std::wstring(L"app.exe"), false),
        CategoryRow<ScriptedCategory>(2, false, std::wstring(L"app.exe"), false),  // absent: dropped
        CategoryRow<ScriptedCategory>(3, true, std::wstring(L"app.exe"), true),    // unchecked by default
    };
    auto registry = MakeCom<TVTCategories>(v, catalogue, IgnoreFile());
    ASSERT_EQ(registry->Count(), 2);
    auto& first = dynamic_cast<ScriptedCategory&>(registry->GetItemObj(0));
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
    using namespace std::chrono;
    RecordingVantrel v;
    auto category = MakeCategory(v, 5);
    category->SetFireOnItem(10);
    for (int i = 0; i < 3; ++i) category->AddFound(L"C:\\f" + std::to_wstring(i));
    category->ReportProgress(100);
    EXPECT_TRUE(v.progress.empty());
    auto start = steady_clock::now();
    category->ReportProgress(100, true);
    EXPECT_GE(steady_clock::now() - start, 5ms);  // the first report since construction yields
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
    start = steady_clock::now();
    for (int i = 0; i < 100; ++i) category->ReportProgress(0, true);
    // Yielding on every report would take 500 ms; the margin absorbs a loaded machine.
    EXPECT_LT(steady_clock::now() - start, 300ms);
}

TEST(CategoryBase, CanOpenForDeleteLogsAFileItCannotOpen) {
    std::vector<std::wstring> lines;
    TDebugLog::SetSink([&](const std::wstring& line) { lines.push_back(line); });
    TDebugLog::SetLevel(llInfo);
    RecordingVantrel v;
    auto category = MakeCategory(v, 2);
    test::TempFolder folder;
    const std::wstring present = folder.Path(L"present.txt"), missing = folder.Path(L"missing.txt");
    EXPECT_TRUE(ForceDirectories(folder.Root()) && WriteWholeFile(present, {1, 2, 3}));
    EXPECT_TRUE(category->CanOpenForDelete(present));
    EXPECT_FALSE(category->CanOpenForDelete(missing));
    TDebugLog::SetLevel(llNone);
    TDebugLog::SetSink({});
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].ends_with(L"TScriptedCategory: Locked file: " + missing)) << lines[0];
}

TEST(CategoryBase, UncheckedCategoryWritesItsItemsButDoesNotReadThemBack) {
    RecordingVantrel v;
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
    auto registry = MakeCom<TVTCategories>(v, catalogue, IgnoreFile());
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
