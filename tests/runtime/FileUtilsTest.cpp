#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "runtime/FileSystem.h"
#include "runtime/FileUtils.h"

namespace vt::FileUtils {
namespace {

void SetEnv(const wchar_t* name, const wchar_t* value) {
#if defined(_WIN32)
    // The CRT passes this on to the process environment that Windows expands from.
    _wputenv_s(name, value);
#else
    setenv(std::filesystem::path(name).string().c_str(), std::filesystem::path(value).string().c_str(), 1);
#endif
}

TEST(FileUtils, MaskedPathMeansAWildcardInTheFileNamePart) {
    const std::pair<const wchar_t*, bool> cases[] = {
        {L"C:\\Logs\\*.txt", true},     {L"C:\\Logs\\file?.log", true}, {L"C:*.*", true},
        {L"*", true},                   {L"C:\\Lo*gs\\file.txt", false}, {L"C:\\a?b\\", false},
        {L"C:\\Logs\\file.txt", false}, {L"", false},
    };
    for (const auto& [path, masked] : cases) EXPECT_EQ(IsMaskedPath(path), masked) << path;
}

TEST(FileUtils, PreparePathNameExpandsReferencesAndEndsInABackslash) {
    SetEnv(L"VT_PREPARE_TEST", L"C:\\Data");
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"", L""},
        {L"C:\\Index", L"C:\\Index\\"},
        {L"C:\\Index\\", L"C:\\Index\\"},
        {L"%VT_PREPARE_TEST%\\Search", L"C:\\Data\\Search\\"},
        {L"%VT_PREPARE_TEST%", L"C:\\Data\\"},
        {L"%VT_UNDEFINED_FOR_TEST%\\a", L"%VT_UNDEFINED_FOR_TEST%\\a\\"},
        {L"50%\\%VT_PREPARE_TEST%", L"50%\\%VT_PREPARE_TEST%\\"},  // the first "%" pairs with the second
    };
    for (const auto& [path, expected] : cases) EXPECT_EQ(PreparePathName(path), expected) << path;
}

TEST(FileUtils, GetFileSizeIsMinusOneForMissingFilesAndFolders) {
    // A folder of its own: the sanitizer builds may run this test at the same time.
    const auto dir = std::filesystem::temp_directory_path() / ("vt_fileutils_" + std::to_string(std::random_device{}()));
    std::filesystem::create_directories(dir);
    const std::wstring file = (dir / "five_bytes.bin").wstring();
    ASSERT_TRUE(WriteWholeFile(file, {1, 2, 3, 4, 5}));
    EXPECT_EQ(GetFileSize(file), 5);
    EXPECT_EQ(GetFileSize((dir / "missing.bin").wstring()), -1);
    EXPECT_EQ(GetFileSize(dir.wstring()), -1);
    std::filesystem::remove_all(dir);
}

TEST(FileUtils, WindowsDirectoryEndsInABackslashAndCanBeOverridden) {
    const std::wstring real = WindowsDirectory();
    ASSERT_FALSE(real.empty());
    EXPECT_EQ(real.back(), L'\\');
#if !defined(_WIN32)
    EXPECT_EQ(real, L"C:\\Windows\\");
#endif
    SetWindowsDirectoryForTesting(L"D:\\WinNT");
    EXPECT_EQ(WindowsDirectory(), L"D:\\WinNT\\");
    SetWindowsDirectoryForTesting(std::nullopt);
    EXPECT_EQ(WindowsDirectory(), real);
}

}  // namespace
}  // namespace vt::FileUtils
