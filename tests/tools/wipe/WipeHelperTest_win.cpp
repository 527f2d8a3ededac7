// VantrelWipe.dll against real files of the test prefix, loaded by path
// through GetInstance like a host.
#include <gtest/gtest.h>

#include "platform/Handles.h"
#include "runtime/Utf.h"
#include "services/TempFolder.h"
#include "tools/CompanionSupport_win.h"

namespace vt::test {
namespace {

using platform::unique_hfile;

class WipeHelperTest : public ::testing::Test {
protected:
    void SetUp() override {
        helper_ = LoadCompanion<IDiskWipeHelper>(L"VantrelWipe.dll");
        ASSERT_TRUE(helper_);
        ASSERT_TRUE(::CreateDirectoryW(folder_.Root().c_str(), nullptr));
    }
    // Names in the folder, so a wipe that leaves a renamed file behind is seen.
    std::vector<std::wstring> Listing() const {
        std::vector<std::wstring> names;
        WIN32_FIND_DATAW found;
        HANDLE find = ::FindFirstFileW(folder_.Path(L"*").c_str(), &found);
        if (find == INVALID_HANDLE_VALUE) return names;
        do {
            const std::wstring name = found.cFileName;
            if (name != L"." && name != L"..") names.push_back(name);
        } while (::FindNextFileW(find, &found));
        ::FindClose(find);
        return names;
    }

    TempFolder folder_;
    Com<IDiskWipeHelper> helper_;
};

TEST_F(WipeHelperTest, WipesEveryPassAndLeavesNothingBehind) {
    struct Case {
        const wchar_t* name;
        std::size_t size;
        DWORD attributes;
        std::int32_t passes;
    } cases[] = {
        {L"Cookies.binarycookies", 70000, FILE_ATTRIBUTE_NORMAL, 1},
        {L"thumbcache_256.db", 3 << 20, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM, 1},
        {L"\u0418\u0441\u0442\u043E\u0440\u0438\u044F \u5C65\u6B74.log", 4096, FILE_ATTRIBUTE_READONLY, 3},
        {L"empty.tmp", 0, FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(ToUtf8(c.name));
        const std::wstring path = folder_.Path(c.name);
        WriteBytes(path, Content(c.size, 9));
        ASSERT_TRUE(::SetFileAttributesW(path.c_str(), c.attributes));
        ASSERT_EQ(helper_->SetPassCount(c.passes), S_OK);
        std::uint64_t wiped = 0;
        bool done = false;
        EXPECT_EQ(helper_->WipeFile(path.c_str(), &wiped, &done), S_OK) << ToUtf8(LastErrorMessage());
        EXPECT_TRUE(done);
        EXPECT_EQ(wiped, c.size * static_cast<std::uint64_t>(c.passes));
        EXPECT_FALSE(PathExists(path));
        EXPECT_TRUE(Listing().empty());
    }
    std::int32_t passes = 0;
    ASSERT_EQ(helper_->GetPassCount(&passes), S_OK);
    EXPECT_EQ(passes, 2);
}

TEST_F(WipeHelperTest, AFileThatCannotBeOpenedForWritingFailsClearlyAndStaysWhole) {
    const std::wstring path = folder_.Path(L"History");
    WriteBytes(path, Content(5000, 10));
    unique_hfile holder(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(holder);
    std::uint64_t wiped = 99;
    bool done = true;
    EXPECT_EQ(helper_->WipeFile(path.c_str(), &wiped, &done), HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION));
    const std::wstring message = LastErrorMessage();
    EXPECT_NE(message.find(L"for writing"), std::wstring::npos) << ToUtf8(message);
    EXPECT_NE(message.find(path), std::wstring::npos);
    EXPECT_FALSE(done);
    EXPECT_EQ(wiped, 0u);
    holder.Reset();
    EXPECT_EQ(ReadBytes(path), Content(5000, 10));

    EXPECT_TRUE(FAILED(helper_->WipeFile(folder_.Path(L"gone.dat").c_str(), &wiped, &done)));
    EXPECT_NE(LastErrorMessage().find(L"gone.dat"), std::wstring::npos);
}

TEST_F(WipeHelperTest, ALinkIsRefusedAndItsTargetUntouched) {
    const std::wstring links = ProgramFolder() + L"..\\tools_links\\";
    ASSERT_TRUE(PathExists(links + L"target\\secret.txt")) << "the tools_links fixture did not run";
    std::uint64_t wiped = 0;
    bool done = true;
    EXPECT_TRUE(FAILED(helper_->WipeFile((links + L"link_dir").c_str(), &wiped, &done)));
    EXPECT_NE(LastErrorMessage().find(L"reparse point"), std::wstring::npos);
    EXPECT_FALSE(done);
    EXPECT_EQ(wiped, 0u);
    EXPECT_TRUE(PathExists(links + L"link_dir"));
    EXPECT_EQ(ReadBytes(links + L"target\\secret.txt"), (std::vector<std::uint8_t>{'s', 'e', 'c', 'r', 'e', 't'}));
}

TEST_F(WipeHelperTest, PassCountIsBoundedAndReservedSlotsSaySo) {
    for (std::int32_t bad : {0, -1, 36}) EXPECT_EQ(helper_->SetPassCount(bad), E_INVALIDARG) << bad;
    EXPECT_NE(LastErrorMessage().find(L"between 1 and 35"), std::wstring::npos);
    std::int32_t passes = 0;
    ASSERT_EQ(helper_->GetPassCount(&passes), S_OK);
    EXPECT_EQ(passes, 1);
    EXPECT_EQ(helper_->Reserved3(), E_NOTIMPL);
    EXPECT_EQ(helper_->Reserved32(), E_NOTIMPL);
    EXPECT_NE(LastErrorMessage().find(L"reserved"), std::wstring::npos);
}

}  // namespace
}  // namespace vt::test
