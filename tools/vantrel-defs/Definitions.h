// The readable form of application definitions, and what the definitions tool
// does with it. One section per application:
//
//   # a comment (also "; ..."), on a line of its own
//   [VLC media player]                       the application's name
//   group    = Media players                 optional, once
//   detect   = %APPDATA%\vlc\                optional, once: a file rule or a registry rule
//   exclude  = %APPDATA%\vlc\keep.txt        any number: a location kept out
//   file     = %APPDATA%\vlc\*.log           any number: a folder and a file mask, or one file;
//                                            sub-folders are always searched
//   registry = HKEY_CURRENT_USER\Software\VideoLAN\VLC|RecentFile   any number: key, "|", value
//
// Text is UTF-8. A record of the .dat holds the section's lines in this order:
// "detect=", "exclude=" lines, file rules, registry rules, then group and name.
#pragma once

#include <string>
#include <vector>

namespace vantrel_defs {

struct Definition {
    std::wstring Name;
    std::wstring Group;
    std::wstring Detect;
    std::vector<std::wstring> Exclusions;
    std::vector<std::wstring> FileRules;
    std::vector<std::wstring> RegistryRules;
    int Line = 0;  // the section header's line (0 when not read from text)
    std::vector<int> FileRuleLines, RegistryRuleLines, ExclusionLines;
    int DetectLine = 0;
};

struct Diagnostic {
    int Line = 0;
    std::string Message;
};

// Parses the text; what does not parse is reported and left out.
std::vector<Definition> ParseDefinitions(const std::string& AText, std::vector<Diagnostic>& AErrors);

// The text form of the definitions (parses back to the same definitions).
std::string WriteDefinitions(const std::vector<Definition>& ADefinitions);

// Checks parsed definitions: rules that do not parse, unknown placeholders,
// placeholders the engine does not expand where they stand, file rules over a
// critical folder (or a folder that holds one), duplicate names.
void CheckDefinitions(const std::vector<Definition>& ADefinitions, std::vector<Diagnostic>& AErrors);

// Why a folder (written with placeholders, no trailing backslash) must not be
// searched with its sub-folders; empty when it may be.
std::wstring CriticalFolderReason(const std::wstring& AFolder);

// The problem with a file rule, or empty; with a registry rule, or empty.
std::wstring FileRuleProblem(const std::wstring& ARule);
std::wstring RegistryRuleProblem(const std::wstring& ARule);

// The record lines of a definition (without group and name), and back from a
// record's raw lines.
std::vector<std::wstring> RecordLines(const Definition& ADefinition);
Definition FromRecordLines(const std::wstring& AName, const std::wstring& AGroup,
                           const std::vector<std::wstring>& ALines);

// Writes the definitions as a new definitions file (replacing any file there),
// records numbered from 0. File errors propagate as vt::Exception.
void CompileToFile(const std::vector<Definition>& ADefinitions, const std::wstring& APath);
// Reads every record of a definitions file as stored (no expansion).
std::vector<Definition> ReadFile(const std::wstring& APath);

}  // namespace vantrel_defs
