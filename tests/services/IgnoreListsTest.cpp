#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

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

TEST(IgnoreListsManager, ListsRoundTripPerCategoryAndAppendsMerge) {
    EXPECT_EQ(TIgnoreListsManager::UserFilePath(L"C:\\Users\\ann\\AppData\\Local\\Vantrel\\"),
              L"C:\\Users\\ann\\AppData\\Local\\Vantrel\\IgnoredLists\\VTL_User.igl");
    test::TempFolder folder;
    TIgnoreListsManager manager(folder.Path(L"VTL_User.igl"));
    EXPECT_FALSE(manager.UseBlockChecksum());
    Localizer::Localize(ListOf({L"S_ONE_ELEMENT_CATEGORY_IGNORED=1 ignored"}));
    manager.AddIgnoreList(kUserIgnoreListId, ListOf({L"C:\\b\\\\*.log", L"C:\\a", L"c:\\A"}));
    manager.AddIgnoreList(7, ListOf({L"HKEY_CURRENT_USER\\Software\\X", L"<S_ONE_ELEMENT_CATEGORY_IGNORED>"}));
    manager.AddIgnoreList(8, StringList());  // nothing to add: no record
    manager.AddIgnoreList(kUserIgnoreListId, ListOf({L"C:\\0"}));

    // The merged record, still first in the file, counts the lines of both lists.
    std::uint8_t header[kCryptedRecordHeaderSize] = {};
    const std::vector<std::uint8_t> bytes = ReadWholeFile(manager.FilePath());
    std::copy_n(bytes.begin(), std::min(bytes.size(), sizeof header), header);
    EXPECT_EQ(TCryptedFile::DecodeHeader(header).Id, kUserIgnoreListId);
    EXPECT_EQ(TCryptedFile::DecodeHeader(header).Count, 4);

    EXPECT_TRUE(manager.IgnoreListExists(7));
    EXPECT_FALSE(manager.IgnoreListExists(8));
    std::unique_ptr<StringList> created;
    EXPECT_TRUE(manager.LoadIgnoreList(kUserIgnoreListId, created));
    ASSERT_TRUE(created);
    EXPECT_TRUE(created->CaseSensitive()) << "paths differing in case are distinct lines";
    EXPECT_EQ(LinesOf(*created), (Lines{L"C:\\0", L"C:\\a", L"C:\\b\\\\*.log", L"c:\\A"}));
    EXPECT_EQ(Loaded(manager, 7), (Lines{L"1 ignored", L"HKEY_CURRENT_USER\\Software\\X"}));
    StringList untouched = ListOf({L"kept"});
    EXPECT_FALSE(manager.LoadIgnoreList(8, untouched));
    EXPECT_EQ(LinesOf(untouched), Lines{L"kept"});
}

TEST(IgnoreListsManager, DeleteAndReplaceLeaveTheOtherRecordsByteForByte) {
    test::TempFolder folder;
    TIgnoreListsManager manager(folder.Path(L"u.igl")), expected(folder.Path(L"expected.igl"));
    manager.AddIgnoreList(1, ListOf({L"one"}));
    for (auto* file : {&manager, &expected}) {
        file->AddIgnoreList(2, ListOf({L"two", L"zwei"}));
        file->AddIgnoreList(3, ListOf({L"three"}));
    }
    EXPECT_TRUE(manager.DeleteCategory(1));
    EXPECT_FALSE(manager.DeleteCategory(1));
    EXPECT_EQ(ReadWholeFile(manager.FilePath()), ReadWholeFile(expected.FilePath()));
    EXPECT_EQ(Loaded(manager, 2), (Lines{L"two", L"zwei"}));

    // Replacing moves the record to the end; an empty list removes it (the user cleared it).
    manager.ReplaceIgnoreList(2, ListOf({L"deux"}));
    expected.DeleteCategory(2);
    expected.AddIgnoreList(2, ListOf({L"deux"}));
    EXPECT_EQ(ReadWholeFile(manager.FilePath()), ReadWholeFile(expected.FilePath()));
    manager.ReplaceIgnoreList(2, StringList());
    EXPECT_FALSE(manager.IgnoreListExists(2));
    EXPECT_EQ(Loaded(manager, 3), Lines{L"three"});
}

// A line of the adapter as the host reads it: the line, its location, its mask and its type.
using HostLine = std::tuple<std::wstring, std::wstring, std::wstring, TLocationType>;
HostLine Read(IIgnoreList& adapter, std::int32_t index) {
    BSTR line = nullptr, location = nullptr, mask = nullptr;
    TLocationType type = ltFile;
    EXPECT_EQ(adapter.GetItem(index, &line) | adapter.GetItemLocation(index, &location) |
                  adapter.GetItemMask(index, &mask) | adapter.GetLocationType(index, &type),
              S_OK);
    return {FromBstrOwned(line), FromBstrOwned(location), FromBstrOwned(mask), type};
}

TEST(IgnoreListAdapter, LinesJoinLocationAndMaskAndReadBack) {
    const std::tuple<const wchar_t*, const wchar_t*, HostLine> cases[] = {
        {L"C:\\Temp\\", L"*.log", {L"C:\\Temp\\\\*.log", L"C:\\Temp", L"*.log", ltFile}},
        {L"C:\\Temp\\a.txt", L"", {L"C:\\Temp\\a.txt", L"C:\\Temp\\a.txt", L"", ltFile}},
        {L"(x64)HKEY_CURRENT_USER\\Software\\Foo\\", L"Val",
         {L"HKEY_CURRENT_USER\\Software\\Foo\\\\Val", L"HKEY_CURRENT_USER\\Software\\Foo", L"Val", ltRegistry}},
        {L"(x64)", nullptr, {L"", L"", L"", ltUnknown}},
        {L"(abcd)X", L"", {L"(abcd)X", L"(abcd)X", L"", ltRegistry}},  // fifth character not ')': no prefix
        {L"C:\\", L"", {L"C:", L"C:", L"", ltUnknown}},
        {L"D:x", L"", {L"D:x", L"D:x", L"", ltRegistry}},
        {L"HKEY_USERS\\S", L"a\\\\b", {L"HKEY_USERS\\S\\\\a\\\\b", L"HKEY_USERS\\S", L"a\\\\b", ltRegistry}},
    };
    StringList list;
    auto adapter = MakeCom<TIgnoreListAdapter>(&list);
    for (const auto& [location, mask, expected] : cases) {
        std::int32_t index = -1;
        ASSERT_EQ(adapter->Add(location, mask, &index), S_OK);
        EXPECT_EQ(index, list.Count() - 1);
        EXPECT_EQ(Read(*adapter, index), expected);
    }
}

TEST(IgnoreListAdapter, EditsRewriteOneHalfIndexErrorsReachTheHostAndNoListAnswersEmpty) {
    StringList list = ListOf({L"C:\\Temp\\\\*.log", L"HKEY_CURRENT_USER\\A"});
    auto adapter = MakeCom<TIgnoreListAdapter>(&list);
    EXPECT_EQ(adapter->SetItemLocation(0, L"(x64)D:\\Logs\\") | adapter->SetItemMask(1, L"Value"), S_OK);
    EXPECT_EQ(LinesOf(list), (Lines{L"D:\\Logs\\\\*.log", L"HKEY_CURRENT_USER\\A\\\\Value"}));
    EXPECT_EQ(adapter->SetItemMask(0, L""), S_OK);
    EXPECT_EQ(list.Get(0), L"D:\\Logs");
    TLocationType type = ltFile;
    EXPECT_TRUE(adapter->GetLocationType(2, &type) == S_OK && type == ltUnknown);
    BSTR line = nullptr;
    for (HRESULT hr : {adapter->GetItem(2, &line), adapter->SetItemMask(-1, L"x"), adapter->Delete(2)})
        EXPECT_EQ(hr, E_BOUNDS);
    EXPECT_EQ(adapter->GetCount(nullptr), E_POINTER);
    EXPECT_EQ(adapter->Delete(0), S_OK);
    EXPECT_EQ(LinesOf(list), Lines{L"HKEY_CURRENT_USER\\A\\\\Value"});

    // Without a list every operation succeeds and answers empty; the list it no longer presents is untouched.
    adapter->Assign(nullptr);
    std::int32_t count = 5, index = 5;
    EXPECT_EQ(adapter->GetCount(&count) | adapter->Add(L"C:\\y", L"", &index), S_OK);
    EXPECT_EQ(std::pair(count, index), std::pair(0, -1));
    EXPECT_EQ(Read(*adapter, 0), (HostLine{L"", L"", L"", ltUnknown}));
    EXPECT_EQ(adapter->SetItemLocation(0, L"C:\\z") | adapter->Delete(0) | adapter->Clear(), S_OK);
    EXPECT_EQ(LinesOf(list), Lines{L"HKEY_CURRENT_USER\\A\\\\Value"});
    adapter->Assign(&list);
    EXPECT_EQ(adapter->Clear(), S_OK);
    EXPECT_EQ(list.Count(), 0);
}

}  // namespace
}  // namespace vt
