#include <gtest/gtest.h>

#include <map>

#include "runtime/Strings.h"
#include "services/EnvHelper.h"

namespace vt {
namespace {

// A Windows 10 machine's answers for user "anna"; its environment knows WINDIR
// (as a different spelling than the shell folder, to tell the two apart) and
// ALLUSERSPROFILE, but none of the table-only names.
TEnvSystem AnnasMachine(bool documentsFail = false) {
    TEnvSystem s;
    s.FolderPath = [documentsFail](TEnvFolder f) -> std::wstring {
        static const std::map<TEnvFolder, std::wstring> folders = {
            {efPersonal, L"C:\\Users\\anna\\Documents"},
            {efAppData, L"C:\\Users\\anna\\AppData\\Roaming"},
            {efLocalAppData, L"C:\\Users\\anna\\AppData\\Local"},
            {efCommonAppData, L"C:\\ProgramData"},
            {efWindows, L"D:\\WINNT"},
            {efProgramFiles, L"C:\\Program Files"},
            {efProfile, L"C:\\Users\\anna"},
        };
        if (documentsFail && f == efPersonal) return {};
        return folders.at(f);
    };
    s.ExpandEnvironment = [](std::wstring_view text) {
        std::wstring out(text);
        out = ReplaceAll(out, L"%windir%", L"D:\\Windows-from-environment", true);
        out = ReplaceAll(out, L"%ALLUSERSPROFILE%", L"C:\\ProgramData", true);
        return out;
    };
    return s;
}

class EnvHelperTest : public ::testing::Test {
protected:
    void TearDown() override { TEnvHelper::SetSystemForTesting(std::nullopt); }
};

TEST_F(EnvHelperTest, ExpandsOnlyTheLeadingPlaceholderAfterTheSystemsExpansion) {
    TEnvHelper::SetSystemForTesting(AnnasMachine());
    const struct {
        const wchar_t* path;
        const wchar_t* expanded;
    } cases[] = {
        {L"%MYDOCUMENTS%\\My Notes", L"C:\\Users\\anna\\Documents\\My Notes"},
        {L"%mydocuments%\\x.txt", L"C:\\Users\\anna\\Documents\\x.txt"},
        // The environment knows the Windows folder: the table is not consulted.
        {L"%windir%\\Prefetch\\*.pf", L"D:\\Windows-from-environment\\Prefetch\\*.pf"},
        {L"%LOCALLOWAPPDATA%\\Sun\\Java", L"C:\\Users\\anna\\AppData\\LocalLow\\Sun\\Java"},
        {L"%SYSTEMDRIVE%\\hiberfil.sys", L"D:\\hiberfil.sys"},
        {L"%COMMONAPPDATA%\\Vendor", L"C:\\ProgramData\\Vendor"},
        {L"%PROGRAMDATA%\\Vendor", L"C:\\ProgramData\\Vendor"},
        {L"%PROGRAMFILES%\\VideoLAN", L"C:\\Program Files\\VideoLAN"},
        {L"%LOCALAPPDATA%\\Temp\\*.tmp", L"C:\\Users\\anna\\AppData\\Local\\Temp\\*.tmp"},
        // Only the leading token, and only its first occurrence.
        {L"%APPDATA%\\%MYDOCUMENTS%", L"C:\\Users\\anna\\AppData\\Roaming\\%MYDOCUMENTS%"},
        {L"C:\\%MYDOCUMENTS%\\x", L"C:\\%MYDOCUMENTS%\\x"},
        {L"detect=%MYDOCUMENTS%\\x", L"detect=%MYDOCUMENTS%\\x"},
        {L"%NOTATABLEENTRY%\\x", L"%NOTATABLEENTRY%\\x"},
        {L"%MYDOCUMENTS", L"%MYDOCUMENTS"},
        {L"", L""},
    };
    for (const auto& c : cases) EXPECT_EQ(TEnvHelper::Expand(c.path), c.expanded) << c.path;
}

TEST_F(EnvHelperTest, TableRowsDerivedFromTheShellFolders) {
    const TEnvPlaceholderTable table = TEnvHelper::BuildTable(AnnasMachine());
    std::map<std::wstring, std::wstring> rows;
    for (const auto& r : table) rows[r.Name] = r.Value;
    EXPECT_EQ(rows.size(), 11u);
    EXPECT_EQ(rows[L"%ALLUSERSPROFILE%"], L"C:\\ProgramData");                    // the environment's answer
    EXPECT_EQ(rows[L"%SYSTEMDRIVE%"], L"D:");                                      // drive of the Windows folder
    EXPECT_EQ(rows[L"%LOCALLOWAPPDATA%"], L"C:\\Users\\anna\\AppData\\LocalLow");  // whether or not it exists
    EXPECT_EQ(rows[L"%WINDIR%"], L"D:\\WINNT");

    // An environment without ALLUSERSPROFILE answers the reference itself: no value.
    TEnvSystem bare = AnnasMachine();
    bare.ExpandEnvironment = [](std::wstring_view t) { return std::wstring(t); };
    for (const auto& r : TEnvHelper::BuildTable(bare)) {
        if (r.Name == L"%ALLUSERSPROFILE%") {
            EXPECT_EQ(r.Value, L"");
        }
    }
}

TEST_F(EnvHelperTest, FailedFolderLookupLeavesThePlaceholder) {
    TEnvHelper::SetSystemForTesting(AnnasMachine(/*documentsFail=*/true));
    // Not "\Notes", which would be a rooted path on the current drive.
    EXPECT_EQ(TEnvHelper::Expand(L"%MYDOCUMENTS%\\Notes"), L"%MYDOCUMENTS%\\Notes");
}

}  // namespace
}  // namespace vt
