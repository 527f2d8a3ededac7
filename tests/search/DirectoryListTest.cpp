// The folder listing seam on the running platform: what an entry carries.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/DirectoryList.h"
#include "search/SearchTestSupport.h"

namespace vt::testing {
namespace {

using platform::DirEntry;

TEST(DirectoryListTest, EntriesCarryKindSizeAndTimes) {
    test::ScratchDrive drive;
    drive.File(L"Minidump\\Mini112326-01.dmp", 262144);
    drive.Folder(L"Minidump\\old");
    std::vector<DirEntry> entries;
    ASSERT_TRUE(platform::ListDirectory(drive.Path(L"Minidump"), entries));
    std::vector<std::wstring> names;
    for (const auto& e : entries) names.push_back(e.name);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::wstring>{L".", L"..", L"Mini112326-01.dmp", L"old"}));
    for (const auto& e : entries) {
        if (e.name == L"Mini112326-01.dmp") {
            EXPECT_FALSE(e.IsDirectory());
            EXPECT_EQ(e.size, 262144u);
            EXPECT_GT(e.lastWriteTime, 116444736000000000ull);  // after 1970
        } else {
            EXPECT_TRUE(e.IsDirectory()) << std::string(e.name.begin(), e.name.end());
            EXPECT_FALSE(e.IsReparsePoint());
        }
    }
    EXPECT_FALSE(platform::ListDirectory(drive.Path(L"Missing"), entries));
    EXPECT_TRUE(entries.empty());
}

#if !defined(_WIN32)
TEST(DirectoryListTest, SymbolicLinksAreReparsePoints) {
    test::ScratchDrive drive;
    drive.Folder(L"target");
    drive.File(L"target\\file.txt");
    ASSERT_TRUE(drive.Link(L"dirlink", drive.HostPath(L"target")));
    ASSERT_TRUE(drive.Link(L"dangling", drive.HostPath(L"nowhere")));
    std::vector<DirEntry> entries;
    ASSERT_TRUE(platform::ListDirectory(drive.Root(), entries));
    for (const auto& e : entries) {
        if (e.name == L"dirlink") EXPECT_EQ(e.attributes, platform::kAttrReparsePoint | platform::kAttrDirectory);
        if (e.name == L"dangling") EXPECT_EQ(e.attributes, platform::kAttrReparsePoint);
        if (e.name == L"target") EXPECT_EQ(e.attributes, platform::kAttrDirectory);
    }
}
#endif

}  // namespace
}  // namespace vt::testing
