#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Winapp2.h"
#include "runtime/Utf.h"

namespace vantrel_defs {
namespace {

// Entries in the shape the community file uses (section name ending in " *",
// LangSecRef, Detect/DetectFile, numbered FileKey/RegKey/ExcludeKey).
TEST(Winapp2Test, MapsWhatOurRulesSayExactly) {
    const std::string ini =
        "; a comment\r\n"
        "[Zeta Player *]\r\n"
        "LangSecRef=3023\r\n"
        "Section=Multimedia\r\n"
        "DetectFile=%AppData%\\Zeta\r\n"
        "Default=False\r\n"
        "ExcludeKey1=FILE|%AppData%\\Zeta\\|keep.m3u\r\n"
        "ExcludeKey2=REG|HKCU\\Software\\Zeta|Pinned\r\n"
        "FileKey1=%AppData%\\Zeta\\Logs|*.log;*.txt|RECURSE\r\n"
        "FileKey2=%LocalAppData%\\Zeta|history.db\r\n"
        "FileKey3=%Documents%\\Zeta|*.m3u|RECURSE\r\n"
        "RegKey1=HKCU\\Software\\Zeta|LastFile\r\n"
        "RegKey2=HKCU\\Software\\Zeta\\Recent\r\n";
    const ImportResult r = ImportWinapp2(ini);
    ASSERT_EQ(r.Imported.size(), 1u);
    EXPECT_TRUE(r.Skipped.empty());
    const Definition& d = r.Imported[0];
    EXPECT_EQ(d.Name, L"Zeta Player");
    EXPECT_EQ(d.Group, L"Multimedia");
    EXPECT_EQ(d.Detect, L"%APPDATA%\\Zeta\\");
    EXPECT_EQ(d.Exclusions, (std::vector<std::wstring>{L"%APPDATA%\\Zeta\\keep.m3u",
                                                       L"HKEY_CURRENT_USER\\Software\\Zeta\\\\Pinned"}));
    EXPECT_EQ(d.FileRules, (std::vector<std::wstring>{L"%APPDATA%\\Zeta\\Logs\\*.log", L"%APPDATA%\\Zeta\\Logs\\*.txt",
                                                      L"%LOCALAPPDATA%\\Zeta\\history.db",
                                                      L"%MYDOCUMENTS%\\Zeta\\*.m3u"}));
    EXPECT_EQ(d.RegistryRules, (std::vector<std::wstring>{L"HKEY_CURRENT_USER\\Software\\Zeta|LastFile",
                                                          L"HKEY_CURRENT_USER\\Software\\Zeta\\Recent"}));
    EXPECT_EQ(r.KeysImported, 7);
}

TEST(Winapp2Test, SkipsWhatOurRulesCannotSayAndNeverWidens) {
    const std::string head = "[Zeta *]\nDetect=HKCU\\Software\\Zeta\nRegKey1=HKCU\\Software\\Zeta|Keep\n";
    const struct {
        const char* lines;
        bool entrySkipped;      // false: only the key is skipped, the entry stays
        const char* reasonPart;
    } cases[] = {
        {"FileKey1=%AppData%\\Zeta|*.log\n", false, "without RECURSE over a folder that may have sub-folders"},
        {"FileKey1=%AppData%\\Zeta|*.*|REMOVESELF\n", false, "REMOVESELF"},
        {"FileKey1=%AppData%\\Zeta|*.*|RECURSE|REMOVESELF\n", false, "REMOVESELF"},
        {"FileKey1=%AppData%\\Zeta|*.log|SOMEFLAG\n", false, "unknown flag"},
        {"FileKey1=%AppData%\\Zeta\\*\\Cache|*.*|RECURSE\n", false, "wildcards in folder names"},
        {"FileKey1=%AppData%\\Zeta|a.log|RECURSE\n", false, "RECURSE for the single name"},
        {"FileKey1=%Pictures%\\Zeta|*.*|RECURSE\n", false, "environment name %Pictures% has no placeholder"},
        {"FileKey1=%AppData%|*.log|RECURSE\n", false, "critical folder"},
        {"FileKey1=%WinDir%|*.log|RECURSE\n", false, "critical folder"},
        {"FileKey1=Zeta|*.log|RECURSE\n", false, "neither a drive path"},
        {"RegKey2=HKCU\\Software\\Zeta|MRU*\n", false, "value-name wildcards"},
        {"RegKey2=HKXX\\Software\\Zeta\n", false, "has no root we know"},
        {"SpecialDetect=DET_CHROME\n", true, "SpecialDetect"},
        {"DetectOS=10.0|\n", true, "DetectOS"},
        {"ExcludeKey1=PATH|%AppData%\\Zeta\\Keep\\\n", true, "without it the entry would delete more"},
        {"ExcludeKey1=FILE|%AppData%\\Zeta\\|*.keep\n", true, "without it the entry would delete more"},
        {"ExcludeKey1=REG|HKCU\\Software\\Zeta\n", true, "without it the entry would delete more"},
        {"ExcludeKey1=FILE|%Documents%\\Zeta\\|a.txt\n", true, "not expanded in an exclusion"},
        {"Frobnicate1=yes\n", true, "unknown key"},
    };
    for (const auto& c : cases) {
        const ImportResult r = ImportWinapp2(head + c.lines);
        ASSERT_FALSE(r.Skipped.empty()) << c.lines;
        const bool entrySkipped = r.Imported.empty();
        EXPECT_EQ(entrySkipped, c.entrySkipped) << c.lines;
        std::string reasons;
        for (const auto& n : r.Skipped) reasons += vt::ToUtf8(n.Reason) + "\n";
        EXPECT_NE(reasons.find(c.reasonPart), std::string::npos) << c.lines << " -> " << reasons;
        // Whatever survives is only what the entry named.
        if (!entrySkipped) {
            EXPECT_TRUE(r.Imported[0].FileRules.empty()) << c.lines;
            EXPECT_EQ(r.Imported[0].RegistryRules, std::vector<std::wstring>{L"HKEY_CURRENT_USER\\Software\\Zeta|Keep"});
        }
    }
}

TEST(Winapp2Test, EntriesWithoutAUsableDetectionOrRuleAreSkipped) {
    const struct {
        const char* ini;
        const char* reasonPart;
    } cases[] = {
        {"[A *]\nDetectFile=%ProgramFiles%\\*\\a.exe\nRegKey1=HKCU\\Software\\A|B\n", "no detection could be mapped"},
        {"[A *]\nDetect=HKCU\\Software\\A\nFileKey1=%AppData%\\A|*.log\n", "nothing left to clean"},
    };
    for (const auto& c : cases) {
        const ImportResult r = ImportWinapp2(c.ini);
        EXPECT_TRUE(r.Imported.empty()) << c.ini;
        bool found = false;
        for (const auto& n : r.Skipped) found |= n.EntrySkipped && vt::ToUtf8(n.Reason).find(c.reasonPart) != std::string::npos;
        EXPECT_TRUE(found) << c.ini;
    }
}

}  // namespace
}  // namespace vantrel_defs
