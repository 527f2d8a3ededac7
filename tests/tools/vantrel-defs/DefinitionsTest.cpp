#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Definitions.h"
#include "categories/applications/AppDefinition.h"
#include "categories/applications/PluginsFile.h"
#include "runtime/FileSystem.h"
#include "runtime/OSInfo.h"
#include "runtime/Utf.h"
#include "services/EnvHelper.h"
#include "services/TempFolder.h"

namespace vantrel_defs {
namespace {

std::vector<std::pair<int, std::string>> Errors(const std::string& text) {
    std::vector<Diagnostic> errors;
    const auto defs = ParseDefinitions(text, errors);
    CheckDefinitions(defs, errors);
    std::vector<std::pair<int, std::string>> out;
    for (const auto& e : errors) out.emplace_back(e.Line, e.Message);
    return out;
}

TEST(DefinitionsTest, ErrorsNameTheLineAndTheProblem) {
    const struct {
        const char* text;
        int line;
        const char* messageStart;  // empty: the text has no error
    } cases[] = {
        {"[VLC]\ngroup = Media\ndetect = HKCU\\Software\\VideoLAN\\VLC\nfile = %APPDATA%\\vlc\\ml.xspf\n", 0, ""},
        {"; comment\n# comment\n\n[A]\nregistry = HKCU\\Software\\A|Recent\n", 0, ""},
        {"file = C:\\x\\*.log\n", 1, "a line outside any [application] section"},
        {"[A]\nfile C:\\x\\y.log\n", 2, "expected \"key = value\""},
        {"[A]\nfile = \n", 2, "\"file\" has no value"},
        {"[A]\npath = C:\\x\\*.log\n", 2, "unknown key \"path\""},
        {"[]\n", 1, "a section header is"},
        {"[A]\nregistry = HKCU\\Software\\A\n\n[a]\nregistry = HKCU\\Software\\B\n", 4, "duplicate name \"a\" (first at line 1)"},
        {"[A]\ndetect = HKCU\\Software\\A\n", 1, "\"A\" has no file or registry rule"},
        {"[A]\nregistry = HKXX\\Software\\A|V\n", 2, "registry: the registry rule does not begin with a registry root"},
        {"[A]\nregistry = HKEY_CURRENT_USER|V\n", 2, "registry: the registry rule names no key"},
        {"[A]\nregistry = %APPDATA%\\A\\a.log\n", 2, "registry: a file rule given as a registry rule"},
        {"[A]\nfile = %APPDTA%\\A\\a.log\n", 2, "file: unknown placeholder %APPDTA%"},
        {"[A]\nfile = Software\\A\\a.log\n", 2, "file: a file rule must begin with a drive"},
        {"[A]\nfile = %APPDATA%\\A\\\n", 2, "file: a file rule needs a file name or mask"},
        {"[A]\nfile = %APPDATA%\\A*\\a.log\n", 2, "file: wildcards are allowed only in the file name"},
        {"[A]\nfile = %APPDATA%\\A\\..\\..\\*.*\n", 2, "file: a file rule cannot hold \"..\""},
        {"[A]\nfile = C:\\Data\\%MYDOCUMENTS%\\a.txt\n", 2, "file: placeholder %MYDOCUMENTS% is expanded only at the start"},
        {"[A]\ndetect = %LOCALLOWAPPDATA%\\A\\\nfile = %APPDATA%\\A\\a.log\n", 2, "detect: placeholder %LOCALLOWAPPDATA% is expanded only"},
        {"[A]\nexclude = %MYDOCUMENTS%\\keep.txt\nfile = %APPDATA%\\A\\a.log\n", 2, "exclude: placeholder %MYDOCUMENTS%"},
        {"[A]\ndetect = HKCU\\A\ndetect = HKCU\\B\nregistry = HKCU\\A|x\n", 3, "a second detect rule"},
    };
    for (const auto& c : cases) {
        const auto errors = Errors(c.text);
        if (*c.messageStart == 0) {
            EXPECT_TRUE(errors.empty()) << c.text << " -> " << (errors.empty() ? "" : errors[0].second);
            continue;
        }
        ASSERT_FALSE(errors.empty()) << c.text;  // the first error is the one the line causes
        EXPECT_EQ(errors[0].first, c.line) << c.text;
        EXPECT_EQ(errors[0].second.rfind(c.messageStart, 0), 0u) << c.text << " -> " << errors[0].second;
    }
}

TEST(DefinitionsTest, MaskedFileRulesOverCriticalFoldersAreRefused) {
    const struct {
        const wchar_t* rule;
        bool refused;
    } cases[] = {
        {L"%APPDATA%\\*.log", true},
        {L"%APPDATA%\\vlc\\*.log", false},
        {L"%USERPROFILE%\\*.*", true},
        {L"%USERPROFILE%\\AppData\\*.tmp", true},  // holds Roaming, Local, LocalLow
        {L"%MYDOCUMENTS%\\*.*", true},
        {L"%USERPROFILE%\\Documents\\*.*", true},
        {L"%LOCALAPPDATA%\\*.*", true},
        {L"%LOCALAPPDATA%\\Temp\\*.*", false},
        {L"%TEMP%\\*.tmp", false},
        {L"%WINDIR%\\*.log", true},
        {L"%SystemRoot%\\System32\\*.dll", true},
        {L"%WINDIR%\\Prefetch\\*.pf", false},
        {L"%WINDIR%\\System32\\LogFiles\\*.*", false},
        {L"%SYSTEMDRIVE%\\*.tmp", true},
        {L"C:\\*.tmp", true},
        {L"C:\\Users\\bob\\AppData\\x\\*.*", true},  // another user's profile
        {L"%PROGRAMFILES%\\*.log", true},
        {L"%PROGRAMFILES%\\Vendor\\*.log", false},
        {L"%PROGRAMDATA%\\*.*", true},
        {L"%COMMONAPPDATA%\\Vendor\\*.log", false},
        {L"%APPDATA%\\Microsoft\\Windows\\Start Menu\\*.lnk", true},
        {L"%USERPROFILE%\\putty.log", false},  // one named file: no folder is searched
        {L"%APPDATA%\\Microsoft\\Windows\\Recent\\*.lnk", false},
    };
    for (const auto& c : cases) EXPECT_EQ(!FileRuleProblem(c.rule).empty(), c.refused) << vt::ToUtf8(c.rule);
}

// The tool writes the file, the engine's reader reads it back expanded.
TEST(DefinitionsTest, CompiledDefinitionsReadBackThroughTheEngineReader) {
    vt::test::TempFolder folder;
    vt::ForceDirectories(folder.Root());
    vt::TEnvSystem system;
    system.FolderPath = [](vt::TEnvFolder f) -> std::wstring {
        return f == vt::efAppData ? L"C:\\Users\\anna\\AppData\\Roaming" : L"C:\\Users\\anna";
    };
    system.ExpandEnvironment = [](std::wstring_view t) { return std::wstring(t); };
    vt::TEnvHelper::SetSystemForTesting(system);
    vt::OSInfo::SetWindowsVersionForTesting(vt::OSInfo::wvWin10);

    const std::string text =
        "[Zeta Player]\ngroup = Media\ndetect = HKCU\\Software\\Zeta\nexclude = %APPDATA%\\Zeta\\keep.m3u\n"
        "file = %APPDATA%\\Zeta\\*.m3u\nregistry = HKCU\\Software\\Zeta|Recent*\n\n"
        "[Alpha Chat]\nfile = C:\\Alpha\\logs\\*.txt\n";
    std::vector<Diagnostic> errors;
    const auto defs = ParseDefinitions(text, errors);
    ASSERT_TRUE(errors.empty());
    const std::wstring path = folder.Path(L"Applications.dat");
    CompileToFile(defs, path);

    vt::TPluginsFile file(path);
    EXPECT_EQ(file.GetCount(), 2);
    vt::TPluginRecord record;
    vt::StringList lines;
    ASSERT_TRUE(file.GetNext(record, lines, true));
    const vt::TAppDefinition zeta = vt::TAppDefinition::FromRecord(record, lines);
    EXPECT_EQ(zeta.Name, L"Zeta Player");
    EXPECT_EQ(zeta.Group, L"Media");
    EXPECT_EQ(zeta.DetectEntry, L"HKCU\\Software\\Zeta");
    // "exclude=" comes first on its line, so only the environment expands it.
    EXPECT_EQ(zeta.Exclusions, std::vector<std::wstring>{L"%APPDATA%\\Zeta\\keep.m3u"});
    EXPECT_EQ(zeta.FileRules, std::vector<std::wstring>{L"C:\\Users\\anna\\AppData\\Roaming\\Zeta\\*.m3u"});
    EXPECT_EQ(zeta.RegistryRules, std::vector<std::wstring>{L"HKCU\\Software\\Zeta|Recent*"});
    ASSERT_TRUE(file.GetNext(record, lines, false));
    EXPECT_EQ(record.Name, L"Alpha Chat");
    EXPECT_EQ(record.Group, L"");
    EXPECT_FALSE(file.GetNext(record, lines, false));

    // Decompiling gives the text that compiles to the same bytes.
    EXPECT_EQ(WriteDefinitions(ReadFile(path)), WriteDefinitions(defs));
    vt::TEnvHelper::SetSystemForTesting(std::nullopt);
    vt::OSInfo::SetWindowsVersionForTesting(std::nullopt);
}

}  // namespace
}  // namespace vantrel_defs
