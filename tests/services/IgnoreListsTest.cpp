#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/Globals.h"
#include "runtime/ComBoundary.h"
#include "runtime/FileSystem.h"
#include "services/DLLStrings.h"
#include "services/IgnoreListAdapter.h"
#include "services/IgnoreLists.h"
#include "TempFolder.h"

namespace vt {
namespace {

using Lines = std::vector<std::wstring>;

StringList ListOf(const Lines& lines) {
    StringList list;
    for (const auto& line : lines) list.Add(line);
    return list;
}

Lines LinesOf(const StringList& list) {
    Lines lines;
    for (const auto& entry : list.Entries()) lines.push_back(entry.text);
    return lines;
}

Lines Loaded(TIgnoreListsManager& manager, int id) {
    StringList list;
    manager.LoadIgnoreList(id, list);
    return LinesOf(list);
}

std::wstring Take(BSTR text) { return FromBstrOwned(text); }

TEST(IgnoreListsManager, LivesInTheDataFolderAndStartsEmpty) {
    // The data folder is shared with the other test programs of the run, so its content is not ours
    // to assume; a new file is tested in a folder of this test's own.
    TIgnoreListsManager manager;
    EXPECT_EQ(manager.FilePath(), DataFolder() + L"IgnoredLists\\VTL_User.igl");
    EXPECT_FALSE(manager.UseBlockChecksum());

    test::TempFolder folder;
    TIgnoreListsManager fresh(folder.Path(L"IgnoredLists\\VTL_User.igl"));
    EXPECT_FALSE(fresh.IgnoreListExists(kUserIgnoreListId));
    EXPECT_TRUE(FileExists(fresh.FilePath())) << "even a reader leaves an empty file and its folder";
}

TEST(IgnoreListsManager, ListsRoundTripPerCategoryAndAppendsMerge) {
    test::TempFolder folder;
    TIgnoreListsManager manager(folder.Path(L"IgnoredLists\\VTL_User.igl"));
    manager.AddIgnoreList(kUserIgnoreListId, ListOf({L"C:\\b\\\\*.log", L"C:\\a", L"c:\\A"}));
    manager.AddIgnoreList(7, ListOf({L"HKEY_CURRENT_USER\\Software\\X"}));
    manager.AddIgnoreList(8, StringList());  // nothing to add: no record
    manager.AddIgnoreList(kUserIgnoreListId, ListOf({L"C:\\0"}));

    // The merged record, still first in the file, counts the lines of both lists.
    const std::vector<std::uint8_t> bytes = ReadWholeFile(manager.FilePath());
    std::uint8_t raw[kCryptedRecordHeaderSize];
    ASSERT_GE(bytes.size(), sizeof raw);
    std::copy_n(bytes.begin(), sizeof raw, raw);
    EXPECT_EQ(TCryptedFile::DecodeHeader(raw).Id, kUserIgnoreListId);
    EXPECT_EQ(TCryptedFile::DecodeHeader(raw).Count, 4);

    EXPECT_TRUE(manager.IgnoreListExists(kUserIgnoreListId));
    EXPECT_TRUE(manager.IgnoreListExists(7));
    EXPECT_FALSE(manager.IgnoreListExists(8));
    std::unique_ptr<StringList> created;
    EXPECT_TRUE(manager.LoadIgnoreList(kUserIgnoreListId, created));
    ASSERT_TRUE(created);
    EXPECT_TRUE(created->CaseSensitive()) << "paths differing in case are distinct lines";
    EXPECT_EQ(LinesOf(*created), (Lines{L"C:\\0", L"C:\\a", L"C:\\b\\\\*.log", L"c:\\A"}));
    EXPECT_EQ(Loaded(manager, 7), Lines{L"HKEY_CURRENT_USER\\Software\\X"});

    StringList untouched = ListOf({L"kept"});
    EXPECT_FALSE(manager.LoadIgnoreList(8, untouched));
    EXPECT_EQ(LinesOf(untouched), Lines{L"kept"});
}

TEST(IgnoreListsManager, LoadingPutsTheLocalizedTextForTheTag) {
    test::TempFolder folder;
    TIgnoreListsManager manager(folder.Path(L"u.igl"));
    manager.AddIgnoreList(3, ListOf({L"<S_ONE_ELEMENT_CATEGORY_IGNORED>"}));
    const Lines lines = Loaded(manager, 3);
    EXPECT_EQ(lines, Lines{LocalizedString(S_ONE_ELEMENT_CATEGORY_IGNORED)});
    EXPECT_NE(lines.at(0), L"<S_ONE_ELEMENT_CATEGORY_IGNORED>");
}

TEST(IgnoreListsManager, DeleteAndReplaceLeaveTheOtherRecordsByteForByte) {
    test::TempFolder folder;
    TIgnoreListsManager manager(folder.Path(L"u.igl")), expected(folder.Path(L"expected.igl"));
    manager.AddIgnoreList(1, ListOf({L"one"}));
    manager.AddIgnoreList(2, ListOf({L"two", L"zwei"}));
    manager.AddIgnoreList(3, ListOf({L"three"}));
    expected.AddIgnoreList(2, ListOf({L"two", L"zwei"}));
    expected.AddIgnoreList(3, ListOf({L"three"}));

    EXPECT_TRUE(manager.DeleteCategory(1));
    EXPECT_FALSE(manager.DeleteCategory(1));
    EXPECT_EQ(ReadWholeFile(manager.FilePath()), ReadWholeFile(expected.FilePath()));
    EXPECT_EQ(Loaded(manager, 2), (Lines{L"two", L"zwei"}));
    EXPECT_EQ(Loaded(manager, 3), Lines{L"three"});

    // Replacing moves the record to the end; an empty list removes it (the user cleared it).
    manager.ReplaceIgnoreList(2, ListOf({L"deux"}));
    expected.DeleteCategory(2);
    expected.AddIgnoreList(2, ListOf({L"deux"}));
    EXPECT_EQ(ReadWholeFile(manager.FilePath()), ReadWholeFile(expected.FilePath()));
    manager.ReplaceIgnoreList(2, StringList());
    EXPECT_FALSE(manager.IgnoreListExists(2));
    EXPECT_EQ(Loaded(manager, 3), Lines{L"three"});
}

TEST(IgnoreListAdapter, LinesJoinLocationAndMaskAndReadBack) {
    const struct {
        const wchar_t* location;
        const wchar_t* mask;
        const wchar_t* stored;
        const wchar_t* locationBack;
        TLocationType type;
    } cases[] = {
        {L"C:\\Temp\\", L"*.log", L"C:\\Temp\\\\*.log", L"C:\\Temp", ltFile},
        {L"C:\\Temp\\a.txt", L"", L"C:\\Temp\\a.txt", L"C:\\Temp\\a.txt", ltFile},
        {L"(x64)HKEY_CURRENT_USER\\Software\\Foo\\", L"Val", L"HKEY_CURRENT_USER\\Software\\Foo\\\\Val",
         L"HKEY_CURRENT_USER\\Software\\Foo", ltRegistry},
        {L"(x64)", nullptr, L"", L"", ltUnknown},
        {L"(abcd)X", L"", L"(abcd)X", L"(abcd)X", ltRegistry},  // fifth character not ')': no prefix
        {L"C:\\", L"", L"C:", L"C:", ltUnknown},
        {L"D:x", L"", L"D:x", L"D:x", ltRegistry},
        {L"HKEY_USERS\\S", L"a\\\\b", L"HKEY_USERS\\S\\\\a\\\\b", L"HKEY_USERS\\S", ltRegistry},
    };
    StringList list;
    auto adapter = MakeCom<TIgnoreListAdapter>(&list);
    for (const auto& c : cases) {
        std::int32_t index = -1;
        ASSERT_EQ(adapter->Add(c.location, c.mask, &index), S_OK);
        ASSERT_EQ(index, list.Count() - 1);
        BSTR line = nullptr, location = nullptr, mask = nullptr;
        TLocationType type = ltFile;
        ASSERT_EQ(adapter->GetItem(index, &line), S_OK);
        ASSERT_EQ(adapter->GetItemLocation(index, &location), S_OK);
        ASSERT_EQ(adapter->GetItemMask(index, &mask), S_OK);
        ASSERT_EQ(adapter->GetLocationType(index, &type), S_OK);
        EXPECT_EQ(Take(line), c.stored);
        EXPECT_EQ(Take(location), c.locationBack);
        EXPECT_EQ(Take(mask), c.mask ? c.mask : L"");
        EXPECT_EQ(type, c.type) << c.stored;
    }
    std::int32_t count = 0;
    EXPECT_EQ(adapter->GetCount(&count), S_OK);
    EXPECT_EQ(count, static_cast<std::int32_t>(std::size(cases)));
}

TEST(IgnoreListAdapter, EditsRewriteOneHalfAndIndexErrorsReachTheHost) {
    StringList list = ListOf({L"C:\\Temp\\\\*.log", L"HKEY_CURRENT_USER\\A"});
    auto adapter = MakeCom<TIgnoreListAdapter>(&list);
    EXPECT_EQ(adapter->SetItemLocation(0, L"(x64)D:\\Logs\\"), S_OK);
    EXPECT_EQ(adapter->SetItemMask(1, L"Value"), S_OK);
    EXPECT_EQ(LinesOf(list), (Lines{L"D:\\Logs\\\\*.log", L"HKEY_CURRENT_USER\\A\\\\Value"}));
    EXPECT_EQ(adapter->SetItemMask(0, L""), S_OK);
    EXPECT_EQ(list.Get(0), L"D:\\Logs");

    TLocationType type = ltFile;
    EXPECT_EQ(adapter->GetLocationType(2, &type), S_OK);
    EXPECT_EQ(type, ltUnknown);
    BSTR line = nullptr;
    EXPECT_EQ(adapter->GetItem(2, &line), E_BOUNDS);
    EXPECT_EQ(adapter->SetItemMask(-1, L"x"), E_BOUNDS);
    EXPECT_EQ(adapter->Delete(2), E_BOUNDS);
    EXPECT_EQ(adapter->GetCount(nullptr), E_POINTER);

    EXPECT_EQ(adapter->Delete(0), S_OK);
    EXPECT_EQ(LinesOf(list), Lines{L"HKEY_CURRENT_USER\\A\\\\Value"});
    EXPECT_EQ(adapter->Clear(), S_OK);
    EXPECT_EQ(list.Count(), 0);
}

TEST(IgnoreListAdapter, WithoutAListEverythingAnswersEmpty) {
    StringList list = ListOf({L"C:\\x"});
    auto adapter = MakeCom<TIgnoreListAdapter>(&list);
    adapter->Assign(nullptr);
    std::int32_t value = 5;
    BSTR text = nullptr;
    TLocationType type = ltFile;
    EXPECT_EQ(adapter->GetCount(&value), S_OK);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(adapter->Add(L"C:\\y", L"", &value), S_OK);
    EXPECT_EQ(value, -1);
    EXPECT_EQ(adapter->GetItem(0, &text), S_OK);
    EXPECT_EQ(Take(text), L"");
    EXPECT_EQ(adapter->GetLocationType(0, &type), S_OK);
    EXPECT_EQ(type, ltUnknown);
    EXPECT_EQ(adapter->SetItemLocation(0, L"C:\\z"), S_OK);
    EXPECT_EQ(adapter->Delete(0), S_OK);
    EXPECT_EQ(adapter->Clear(), S_OK);
    EXPECT_EQ(LinesOf(list), Lines{L"C:\\x"}) << "the list it no longer presents is untouched";

    adapter->Assign(&list);
    EXPECT_EQ(adapter->GetCount(&value), S_OK);
    EXPECT_EQ(value, 1);
}

}  // namespace
}  // namespace vt
