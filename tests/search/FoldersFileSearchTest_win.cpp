// The folder search through scripted find calls: a junction listed the way
// Windows lists one is not entered, every listing is closed through the
// table, and each folder is listed once per Count + Enumerate.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "platform/SysCalls.h"
#include "platform/Win32.h"
#include "search/FoldersFileSearch.h"

namespace vt::testing {
namespace {

using platform::ScopedSysCall;
using platform::SysCallTable;

struct Listing {
    std::vector<std::pair<std::wstring, DWORD>> entries;
    std::size_t next = 0;
};

std::map<std::wstring, std::vector<std::pair<std::wstring, DWORD>>> gTree;
std::map<HANDLE, Listing> gOpen;
int gFirstCalls = 0;
int gCloses = 0;
std::intptr_t gNextHandle = 0x1000;

void Fill(const std::pair<std::wstring, DWORD>& entry, WIN32_FIND_DATAW* data) {
    *data = WIN32_FIND_DATAW{};
    data->dwFileAttributes = entry.second;
    wcsncpy(data->cFileName, entry.first.c_str(), MAX_PATH - 1);
}

HANDLE WINAPI ScriptedFirst(LPCWSTR pattern, LPWIN32_FIND_DATAW data) {
    ++gFirstCalls;
    const auto it = gTree.find(pattern);
    if (it == gTree.end() || it->second.empty()) return INVALID_HANDLE_VALUE;
    const HANDLE h = reinterpret_cast<HANDLE>(gNextHandle++);
    gOpen[h] = Listing{it->second, 1};
    Fill(it->second[0], data);
    return h;
}

BOOL WINAPI ScriptedNext(HANDLE h, LPWIN32_FIND_DATAW data) {
    Listing& l = gOpen.at(h);
    if (l.next >= l.entries.size()) return FALSE;
    Fill(l.entries[l.next++], data);
    return TRUE;
}

BOOL WINAPI ScriptedClose(HANDLE h) {
    ++gCloses;
    return gOpen.erase(h) == 1;
}

TEST(FoldersFileSearchWinTest, JunctionsAreNotEnteredAndEachFolderIsListedOnce) {
    constexpr DWORD kDir = FILE_ATTRIBUTE_DIRECTORY, kFile = FILE_ATTRIBUTE_ARCHIVE;
    gTree = {
        {L"C:\\Users\\alice\\AppData\\Local\\Temp\\*.*",
         {{L".", kDir}, {L"..", kDir}, {L"MEMORY.DMP", kFile}, {L"WER", kDir},
          // "Application Data"-style junction back to the parent folder.
          {L"Loop", kDir | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM}}},
        {L"C:\\Users\\alice\\AppData\\Local\\Temp\\WER\\*.*", {{L".", kDir}, {L"..", kDir}, {L"crash.dmp", kFile}}},
        {L"C:\\Users\\alice\\AppData\\Local\\Temp\\Loop\\*.*", {{L"escaped.dmp", kFile}}},
    };
    gOpen.clear();
    gFirstCalls = gCloses = 0;
    ScopedSysCall first(&SysCallTable::FindFirstFileW, &ScriptedFirst);
    ScopedSysCall next(&SysCallTable::FindNextFileW, &ScriptedNext);
    ScopedSysCall close(&SysCallTable::FindClose, &ScriptedClose);

    TFoldersFileSearch search;
    search.SearchMasks().Add(L"C:\\Users\\alice\\AppData\\Local\\Temp\\*.dmp");
    std::vector<std::wstring> found;
    search.SetOnFile([&](const std::wstring& p, bool&) { found.push_back(p); });
    ASSERT_EQ(search.Count(), 2);
    ASSERT_EQ(search.Enumerate(), 2);
    EXPECT_EQ(found, (std::vector<std::wstring>{L"C:\\Users\\alice\\AppData\\Local\\Temp\\MEMORY.DMP",
                                                L"C:\\Users\\alice\\AppData\\Local\\Temp\\WER\\crash.dmp"}));
    EXPECT_EQ(gFirstCalls, 2);  // Temp and WER, by the counting pass only
    EXPECT_EQ(gCloses, 2);
    EXPECT_TRUE(gOpen.empty());
}

}  // namespace
}  // namespace vt::testing
