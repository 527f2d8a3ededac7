// The data folder comes from "ProductHelper.dll" beside the engine, and from a
// per-user folder of our own without it. The engine creates its ignore-list
// file there, which makes the choice visible to a host.
#include <cstdlib>

#include <shlobj.h>

#include "HostSupport.h"

namespace hosttest {
namespace {

std::wstring TempFolder(const std::wstring& name) {
    wchar_t temp[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, temp);
    std::wstring folder = std::wstring(temp) + name + L"\\";
    ::CreateDirectoryW(folder.c_str(), nullptr);
    return folder;
}

bool Exists(const std::wstring& path) { return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

// Copies the engine (and optionally the test product helper) into a folder
// of their own, loads that copy and creates one engine.
void CreateEngineFrom(const std::wstring& folder, bool withProductHelper) {
    ASSERT_TRUE(::CopyFileW((ProgramFolder() + L"VantrelHelper.dll").c_str(), (folder + L"VantrelHelper.dll").c_str(), FALSE));
    if (withProductHelper) {
        ASSERT_TRUE(::CopyFileW((ProgramFolder() + L"fixtures\\ProductHelper.dll").c_str(),
                                (folder + L"ProductHelper.dll").c_str(), FALSE));
    }
    vantrel::client::Library library(folder + L"VantrelHelper.dll");
    Ptr<ICleaner> cleaner = library.CreateCleaner();
    ASSERT_TRUE(cleaner);
}

TEST(ProductHelper, NamesTheDataFolderWhenItIsBesideTheEngine) {
    const std::wstring engineFolder = TempFolder(L"vt-with-helper");
    const std::wstring dataFolder = TempFolder(L"vt-helper-data");
    ::DeleteFileW((dataFolder + L"IgnoredLists\\VTL_User.igl").c_str());
    ASSERT_EQ(_wputenv_s(L"VANTREL_TEST_DATA_FOLDER", dataFolder.c_str()), 0);
    CreateEngineFrom(engineFolder, true);
    EXPECT_TRUE(Exists(dataFolder + L"IgnoredLists\\VTL_User.igl"));
}

TEST(ProductHelper, WithoutItTheDataFolderIsOurPerUserFolder) {
    wchar_t local[MAX_PATH] = {};
    ASSERT_TRUE(SUCCEEDED(::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, local)));
    const std::wstring file = std::wstring(local) + L"\\Vantrel\\IgnoredLists\\VTL_User.igl";
    ::DeleteFileW(file.c_str());
    CreateEngineFrom(TempFolder(L"vt-without-helper"), false);
    EXPECT_TRUE(Exists(file));
}

}  // namespace
}  // namespace hosttest
