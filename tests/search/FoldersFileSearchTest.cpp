// The folder search over a scratch drive laid out like the folders the file
// categories search (dump files, a spool folder with a sub-folder, a CHKDSK
// "FOUND.000" folder).
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "model/StreamWrapper.h"
#include "runtime/DebugLog.h"
#include "runtime/Exception.h"
#include "runtime/FileSystem.h"
#include "runtime/Stream.h"
#include "search/FoldersFileSearch.h"
#include "search/SearchTestSupport.h"
#include "vantrel/ComTypes.h"

namespace vt::testing {
namespace {

using Paths = std::vector<std::wstring>;

class FoldersFileSearchTest : public ::testing::Test {
protected:
    void SetUp() override {
        drive.File(L"Windows\\MEMORY.DMP", 4096);
        drive.File(L"Windows\\Minidump\\Mini112326-01.dmp", 262144);
        drive.File(L"Windows\\Minidump\\A.DMP");
        drive.File(L"Windows\\Minidump\\a.DMP.txt");
        drive.File(L"Windows\\Minidump\\old\\Mini010125-01.dmp");
        drive.File(L"Windows\\Minidump\\old\\deeper\\Mini010124-01.dmp");
        drive.File(L"spool\\PRINTERS\\00002.SPL", 9000);
        drive.File(L"spool\\PRINTERS\\00002.SHD", 1200);
        drive.File(L"spool\\PRINTERS\\README");
        drive.File(L"spool\\PRINTERS\\job7\\00007.SPL");
    }

    // Runs Count then Enumerate, as every caller does; returns what was reported, sorted.
    Paths Run(TFoldersFileSearch& search, int* counted = nullptr, int* enumerated = nullptr) {
        Paths found;
        search.SetOnFile([&](const std::wstring& path, bool&) { found.push_back(path.substr(drive.Root().size())); });
        const int count = search.Count();
        EXPECT_TRUE(found.empty()) << "Count must not report files";
        const int total = count > 0 ? search.Enumerate() : 0;
        if (counted) *counted = count;
        if (enumerated) *enumerated = total;
        std::sort(found.begin(), found.end());
        return found;
    }

    test::ScratchDrive drive;
};

TEST_F(FoldersFileSearchTest, ReportsTheFilesEachMaskAndLevelSelects) {
    struct Case {
        const char* what;
        std::vector<std::wstring> masks;  // relative to the drive, or absolute when starting with "\\"
        int dirLevel;
        Paths expected;
    } cases[] = {
        {"star-dot-star takes names without a dot", {L"spool\\PRINTERS\\*.*"}, 0,
         {L"spool\\PRINTERS\\00002.SHD", L"spool\\PRINTERS\\00002.SPL", L"spool\\PRINTERS\\README"}},
        {"*.dmp takes A.DMP, not a.DMP.txt", {L"Windows\\Minidump\\*.dmp"}, 0,
         {L"Windows\\Minidump\\A.DMP", L"Windows\\Minidump\\Mini112326-01.dmp"}},
        {"level 1 adds direct sub-folders only", {L"Windows\\Minidump\\*.dmp"}, 1,
         {L"Windows\\Minidump\\A.DMP", L"Windows\\Minidump\\Mini112326-01.dmp",
          L"Windows\\Minidump\\old\\Mini010125-01.dmp"}},
        {"level -1 has no limit", {L"Windows\\Minidump\\*.dmp"}, -1,
         {L"Windows\\Minidump\\A.DMP", L"Windows\\Minidump\\Mini112326-01.dmp",
          L"Windows\\Minidump\\old\\Mini010125-01.dmp", L"Windows\\Minidump\\old\\deeper\\Mini010124-01.dmp"}},
        {"a plain file path counts when present", {L"Windows\\MEMORY.DMP", L"Windows\\gone.dmp"}, 0,
         {L"Windows\\MEMORY.DMP"}},
        {"a repeated mask is searched once", {L"spool\\PRINTERS\\*.SPL", L"spool\\PRINTERS\\*.spl"}, 0,
         {L"spool\\PRINTERS\\00002.SPL"}},
        {"a missing folder gives nothing", {L"Windows\\Nowhere\\*.dmp"}, -1, {}},
        {"a UNC path is not searched", {L"\\\\\\server\\share\\*.dmp"}, -1, {}},
        {"a relative path is not searched", {L"\\Windows\\*.dmp"}, -1, {}},
    };
    for (const auto& c : cases) {
        TFoldersFileSearch search;
        search.SetDirLevel(c.dirLevel);
        for (const auto& m : c.masks) search.SearchMasks().Add(m.rfind(L"\\", 0) == 0 ? m.substr(1) : drive.Path(m));
        int counted = -1, enumerated = -1;
        EXPECT_EQ(Run(search, &counted, &enumerated), c.expected) << c.what;
        EXPECT_EQ(counted, static_cast<int>(c.expected.size())) << c.what;
        EXPECT_EQ(enumerated, counted) << c.what;
    }
}

TEST_F(FoldersFileSearchTest, MasksRunInSortedOrder) {
    TFoldersFileSearch search;
    search.SetDirLevel(0);
    search.SearchMasks().Add(drive.Path(L"Windows\\Minidump\\*.dmp"));
    search.SearchMasks().Add(drive.Path(L"spool\\PRINTERS\\*.SPL"));
    search.SearchMasks().Add(drive.Path(L"Windows\\MEMORY.DMP"));
    Paths order;
    search.SetOnFile([&](const std::wstring& p, bool&) { order.push_back(p.substr(drive.Root().size())); });
    ASSERT_EQ(search.Enumerate(), 4);
    ASSERT_EQ(order.size(), 4u);
    EXPECT_EQ(order[0], L"spool\\PRINTERS\\00002.SPL");
    EXPECT_EQ(order[1], L"Windows\\MEMORY.DMP");  // "MEMORY.DMP" sorts before "Minidump\"
}

TEST_F(FoldersFileSearchTest, StopEndsThisAndEveryLaterPass) {
    TFoldersFileSearch search;
    search.SetDirLevel(-1);
    search.SearchMasks().Add(drive.Path(L"spool\\PRINTERS\\*.*"));
    search.SearchMasks().Add(drive.Path(L"Windows\\Minidump\\*.dmp"));
    int calls = 0;
    search.SetOnFile([&](const std::wstring&, bool& stop) { stop = ++calls == 2; });
    EXPECT_EQ(search.Enumerate(), 2);
    EXPECT_EQ(calls, 2);
    EXPECT_TRUE(search.Stopped());
    EXPECT_LE(search.Count(), 1);  // the flag is never reset: one processed entry at most
}

TEST_F(FoldersFileSearchTest, MaskWithoutFileNameIsRefused) {
    TFoldersFileSearch search;
    search.SearchMasks().Add(drive.Path(L"Windows\\"));
    try {
        search.Count();
        FAIL() << "expected the invalid-operation error";
    } catch (const Exception& e) {
        EXPECT_EQ(e.Message(), L"Must be masked path (filename).");
        EXPECT_EQ(e.Code(), E_ILLEGAL_METHOD_CALL);
    }
}

// Enumerate right after Count reports the listing Count made (each folder is
// listed once per pair): a file written in between is not reported, one
// deleted in between still is.
TEST_F(FoldersFileSearchTest, EnumerateReplaysTheCountingPassListing) {
    TFoldersFileSearch search;
    search.SetDirLevel(-1);
    search.SearchMasks().Add(drive.Path(L"spool\\PRINTERS\\*.SPL"));
    Paths found;
    search.SetOnFile([&](const std::wstring& p, bool&) { found.push_back(p.substr(drive.Root().size())); });
    ASSERT_EQ(search.Count(), 2);
    drive.File(L"spool\\PRINTERS\\00009.SPL");
    ASSERT_TRUE(RemoveFile(drive.Path(L"spool\\PRINTERS\\job7\\00007.SPL")));
    EXPECT_EQ(search.Enumerate(), 2);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (Paths{L"spool\\PRINTERS\\00002.SPL", L"spool\\PRINTERS\\job7\\00007.SPL"}));
    // A second Enumerate lists afresh.
    found.clear();
    EXPECT_EQ(search.Enumerate(), 2);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (Paths{L"spool\\PRINTERS\\00002.SPL", L"spool\\PRINTERS\\00009.SPL"}));
}

TEST_F(FoldersFileSearchTest, FolderCollectingModeListsSubFoldersOnly) {
    TFoldersFileSearch search;
    StringList folders;
    search.SetEnumFolders(true, &folders);
    search.SearchMasks().Add(drive.Path(L"Windows\\*.*"));
    EXPECT_EQ(search.Enumerate(), 0);
    Paths got;
    for (int i = 0; i < folders.Count(); ++i) got.push_back(folders.Get(i).substr(drive.Root().size()));
    std::sort(got.begin(), got.end());
    EXPECT_EQ(got, (Paths{L"Windows\\Minidump", L"Windows\\Minidump\\old", L"Windows\\Minidump\\old\\deeper"}));
}

TEST_F(FoldersFileSearchTest, StreamFormKeepsTheMasksOnly) {
    TFoldersFileSearch search;
    search.SetDirLevel(3);
    search.SetAllowRoots(true);
    search.SearchMasks().Add(L"C:\\Windows\\Minidump\\*.dmp");
    search.SearchMasks().Add(L"C:\\Windows\\*.dmp");
    MemoryStream stream;
    TStreamWrapper writer(stream);
    search.SaveToStream(writer);
    // Presence flag, count 2, then the sorted strings as UTF-16 counts and units.
    const std::wstring first = L"C:\\Windows\\*.dmp";
    EXPECT_EQ(stream.Size(), 1 + 4 + (4 + 2 * 16) + (4 + 2 * 25));
    stream.SetPosition(0);
    TStreamWrapper reader(stream);
    TFoldersFileSearch loaded(reader);
    ASSERT_EQ(loaded.SearchMasks().Count(), 2);
    EXPECT_EQ(loaded.SearchMasks().Get(0), first);
    EXPECT_EQ(loaded.DirLevel(), -1);
    EXPECT_FALSE(loaded.AllowRoots());
}

#if !defined(_WIN32)
// Natively a symbolic link is listed with the reparse-point attribute, as
// Wine lists a Unix link: neither a loop nor a link out of the searched
// folder is followed, and the skip is logged.
TEST_F(FoldersFileSearchTest, LinksAreNotFollowed) {
    test::ScratchDrive outside(L'R');
    outside.File(L"private\\taxes.dmp");
    ASSERT_TRUE(drive.Link(L"spool\\PRINTERS\\loop", drive.HostPath(L"spool")));
    ASSERT_TRUE(drive.Link(L"spool\\PRINTERS\\elsewhere", outside.HostPath(L"private")));
    std::vector<std::wstring> lines;
    TDebugLog::SetLevel(llInfo);
    TDebugLog::SetSink([&](const std::wstring& line) { lines.push_back(line); });
    TFoldersFileSearch search;
    search.SearchMasks().Add(drive.Path(L"spool\\PRINTERS\\*.*"));
    StringList folders;
    const Paths found = Run(search);
    search.SetEnumFolders(true, &folders);
    search.Enumerate();
    TDebugLog::SetSink({});
    TDebugLog::SetLevel(llNone);
    EXPECT_EQ(found, (Paths{L"spool\\PRINTERS\\00002.SHD", L"spool\\PRINTERS\\00002.SPL", L"spool\\PRINTERS\\README",
                            L"spool\\PRINTERS\\job7\\00007.SPL"}));
    EXPECT_EQ(folders.Count(), 1);  // job7 only
    const auto logged = std::count_if(lines.begin(), lines.end(), [](const std::wstring& l) {
        return l.find(L"Link not followed: ") != std::wstring::npos;
    });
    EXPECT_GE(logged, 2);
}
#endif

}  // namespace
}  // namespace vt::testing
