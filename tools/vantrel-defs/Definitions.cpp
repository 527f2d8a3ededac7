#include "Definitions.h"

#include <algorithm>
#include <array>
#include <map>
#include <sstream>

#include "categories/applications/AppDefinition.h"
#include "categories/applications/PluginsFile.h"
#include "runtime/FileSystem.h"
#include "runtime/RegistryPath.h"
#include "runtime/StringList.h"
#include "runtime/Strings.h"
#include "runtime/Utf.h"
#include "services/EnvHelper.h"

namespace vantrel_defs {

namespace {

using vt::UpperCase;

std::string Narrow(std::wstring_view s) { return vt::ToUtf8(s); }

// Windows environment variables a rule may use besides the engine's table.
constexpr std::array<std::wstring_view, 16> kEnvironmentNames = {
    L"%TEMP%",        L"%TMP%",          L"%SYSTEMROOT%",  L"%HOMEDRIVE%",
    L"%HOMEPATH%",    L"%PUBLIC%",       L"%COMMONPROGRAMFILES%", L"%COMMONPROGRAMFILES(X86)%",
    L"%COMMONPROGRAMW6432%", L"%PROGRAMFILES(X86)%", L"%PROGRAMW6432%", L"%USERNAME%",
    L"%COMPUTERNAME%", L"%USERDOMAIN%",  L"%SYSTEMDRIVE%", L"%ALLUSERSPROFILE%",
};
// Table placeholders no environment knows: the engine expands them only at the
// very start of a line, so never after "detect=" or "exclude=".
constexpr std::array<std::wstring_view, 3> kTableOnlyNames = {L"%COMMONAPPDATA%", L"%MYDOCUMENTS%",
                                                             L"%LOCALLOWAPPDATA%"};

bool IsTableName(const std::wstring& upper) {
    return std::find(vt::kEnvPlaceholderNames.begin(), vt::kEnvPlaceholderNames.end(), upper) !=
           vt::kEnvPlaceholderNames.end();
}
bool IsTableOnly(const std::wstring& upper) {
    return std::find(kTableOnlyNames.begin(), kTableOnlyNames.end(), upper) != kTableOnlyNames.end();
}
bool IsEnvironmentName(const std::wstring& upper) {
    return std::find(kEnvironmentNames.begin(), kEnvironmentNames.end(), upper) != kEnvironmentNames.end() ||
           (IsTableName(upper) && !IsTableOnly(upper));
}

// Every %NAME% token of the text with its position.
std::vector<std::pair<std::size_t, std::wstring>> Placeholders(const std::wstring& text) {
    std::vector<std::pair<std::size_t, std::wstring>> found;
    std::size_t pos = 0;
    for (;;) {
        const std::size_t open = text.find(L'%', pos);
        if (open == std::wstring::npos) break;
        const std::size_t close = text.find(L'%', open + 1);
        if (close == std::wstring::npos) break;
        found.emplace_back(open, text.substr(open, close - open + 1));
        pos = close + 1;
    }
    return found;
}

// The problem with the placeholders of a line, or empty. AAtStart: the line's
// first character is the first character the engine expands from.
std::wstring PlaceholderProblem(const std::wstring& text, bool AAtStart) {
    for (const auto& [pos, token] : Placeholders(text)) {
        const std::wstring upper = UpperCase(token);
        if (IsEnvironmentName(upper)) continue;
        if (IsTableName(upper)) {
            if (AAtStart && pos == 0) continue;
            return L"placeholder " + token + L" is expanded only at the start of a file rule";
        }
        return L"unknown placeholder " + token;
    }
    return {};
}

// A folder written with placeholders in one canonical upper-case spelling, so
// that aliases compare equal.
std::wstring CanonicalFolder(const std::wstring& folder) {
    std::wstring f = UpperCase(vt::ExcludeTrailingPathDelimiter(folder));
    static const std::pair<std::wstring_view, std::wstring_view> kAliases[] = {
        {L"%SYSTEMROOT%", L"%WINDIR%"},
        {L"%PROGRAMDATA%", L"%COMMONAPPDATA%"},
        {L"%ALLUSERSPROFILE%", L"%COMMONAPPDATA%"},
        {L"%MYDOCUMENTS%", L"%USERPROFILE%\\DOCUMENTS"},
        {L"%APPDATA%", L"%USERPROFILE%\\APPDATA\\ROAMING"},
        {L"%LOCALAPPDATA%", L"%USERPROFILE%\\APPDATA\\LOCAL"},
        {L"%LOCALLOWAPPDATA%", L"%USERPROFILE%\\APPDATA\\LOCALLOW"},
        {L"%PROGRAMFILES(X86)%", L"%PROGRAMFILES%"},
        {L"%PROGRAMW6432%", L"%PROGRAMFILES%"},
        {L"%COMMONPROGRAMFILES(X86)%", L"%PROGRAMFILES%\\COMMON FILES"},
        {L"%COMMONPROGRAMW6432%", L"%PROGRAMFILES%\\COMMON FILES"},
        {L"%COMMONPROGRAMFILES%", L"%PROGRAMFILES%\\COMMON FILES"},
        {L"%HOMEDRIVE%%HOMEPATH%", L"%USERPROFILE%"},
        {L"%SYSTEMDRIVE%\\USERS", L"%PROFILES%"},
        {L"%SYSTEMDRIVE%", L"C:"},
        {L"C:\\WINDOWS", L"%WINDIR%"},
        {L"C:\\USERS", L"%PROFILES%"},
        {L"C:\\PROGRAM FILES (X86)", L"%PROGRAMFILES%"},
        {L"C:\\PROGRAM FILES", L"%PROGRAMFILES%"},
        {L"C:\\PROGRAMDATA", L"%COMMONAPPDATA%"},
        {L"%PUBLIC%", L"%PROFILES%\\PUBLIC"},
    };
    // Each alias is applied at the start only, once, in table order: later
    // rows see the result of earlier ones ("%SYSTEMDRIVE%\USERS" before "C:").
    for (const auto& [from, to] : kAliases) {
        const std::wstring upperFrom(from);
        if (f.compare(0, upperFrom.size(), upperFrom) == 0 &&
            (f.size() == upperFrom.size() || f[upperFrom.size()] == L'\\'))
            f = std::wstring(to) + f.substr(upperFrom.size());
    }
    return f;
}

// The folders the engine never cleans, in the canonical spelling above: the
// profile, document, desktop, media, start-menu, template and application-data
// folders, the program folders and the profiles folder.
constexpr std::array<std::wstring_view, 31> kCriticalFolders = {
    L"%PROFILES%",
    L"%PROFILES%\\PUBLIC",
    L"%PROFILES%\\PUBLIC\\DOCUMENTS",
    L"%PROFILES%\\PUBLIC\\DESKTOP",
    L"%PROFILES%\\PUBLIC\\MUSIC",
    L"%PROFILES%\\PUBLIC\\PICTURES",
    L"%PROFILES%\\PUBLIC\\VIDEOS",
    L"%USERPROFILE%",
    L"%USERPROFILE%\\DOCUMENTS",
    L"%USERPROFILE%\\DESKTOP",
    L"%USERPROFILE%\\FAVORITES",
    L"%USERPROFILE%\\MUSIC",
    L"%USERPROFILE%\\PICTURES",
    L"%USERPROFILE%\\VIDEOS",
    L"%USERPROFILE%\\APPDATA\\ROAMING",
    L"%USERPROFILE%\\APPDATA\\LOCAL",
    L"%USERPROFILE%\\APPDATA\\LOCALLOW",
    L"%USERPROFILE%\\APPDATA\\ROAMING\\MICROSOFT\\WINDOWS\\START MENU",
    L"%USERPROFILE%\\APPDATA\\ROAMING\\MICROSOFT\\WINDOWS\\START MENU\\PROGRAMS",
    L"%USERPROFILE%\\APPDATA\\ROAMING\\MICROSOFT\\WINDOWS\\START MENU\\PROGRAMS\\STARTUP",
    L"%USERPROFILE%\\APPDATA\\ROAMING\\MICROSOFT\\WINDOWS\\TEMPLATES",
    L"%USERPROFILE%\\APPDATA\\ROAMING\\MICROSOFT\\WINDOWS\\LIBRARIES",
    L"%USERPROFILE%\\APPDATA\\ROAMING\\MICROSOFT\\WINDOWS\\NETWORK SHORTCUTS",
    L"%COMMONAPPDATA%",
    L"%COMMONAPPDATA%\\MICROSOFT\\WINDOWS\\START MENU",
    L"%COMMONAPPDATA%\\MICROSOFT\\WINDOWS\\START MENU\\PROGRAMS",
    L"%COMMONAPPDATA%\\MICROSOFT\\WINDOWS\\START MENU\\PROGRAMS\\STARTUP",
    L"%COMMONAPPDATA%\\MICROSOFT\\WINDOWS\\TEMPLATES",
    L"%PROGRAMFILES%",
    L"%PROGRAMFILES%\\COMMON FILES",
    L"%WINDIR%",
};
// Folders everything below which is critical (the Windows folder, the default
// and other users' profiles), and the exceptions inside them.
constexpr std::array<std::wstring_view, 2> kCriticalTrees = {L"%WINDIR%", L"%PROFILES%"};
constexpr std::array<std::wstring_view, 17> kAllowedTrees = {
    L"%TEMP%", L"%TMP%", L"%USERPROFILE%\\APPDATA\\LOCAL\\TEMP", L"%USERPROFILE%\\RECENT",
    L"%USERPROFILE%\\APPDATA\\ROAMING\\MICROSOFT\\WINDOWS\\RECENT",
    L"%WINDIR%\\DEBUG", L"%WINDIR%\\DOWNLOADED PROGRAM FILES", L"%WINDIR%\\MINIDUMP", L"%WINDIR%\\PREFETCH",
    L"%WINDIR%\\LOGS", L"%WINDIR%\\SECURITY\\LOGS", L"%WINDIR%\\SOFTWAREDISTRIBUTION\\DOWNLOAD", L"%WINDIR%\\TEMP",
    L"%WINDIR%\\INTERNET LOGS", L"%WINDIR%\\SYSTEM32\\LOGFILES", L"%WINDIR%\\SYSTEM32\\WBEM\\LOGS",
    L"%WINDIR%\\SYSTEM32\\SPOOL\\PRINTERS",
};

bool IsAtOrBelow(const std::wstring& folder, std::wstring_view root) {
    return folder.size() >= root.size() && folder.compare(0, root.size(), root) == 0 &&
           (folder.size() == root.size() || folder[root.size()] == L'\\');
}

std::wstring Trimmed(std::wstring_view s) { return vt::Trim(s); }

bool HasWildcard(std::wstring_view s) { return s.find_first_of(L"*?") != std::wstring_view::npos; }

}  // namespace

std::wstring CriticalFolderReason(const std::wstring& AFolder) {
    const std::wstring f = CanonicalFolder(AFolder);
    if (f.size() == 2 && f[1] == L':') return L"the folder is a drive root";
    for (std::wstring_view allowed : kAllowedTrees)
        if (IsAtOrBelow(f, allowed)) return {};
    for (std::wstring_view critical : kCriticalFolders) {
        if (f == critical) return L"the folder is the critical folder " + std::wstring(critical);
        // Sub-folders are searched too, so a folder above a critical one sweeps it.
        if (IsAtOrBelow(std::wstring(critical), f))
            return L"the folder holds the critical folder " + std::wstring(critical);
    }
    for (std::wstring_view tree : kCriticalTrees)
        if (IsAtOrBelow(f, tree)) return L"the folder lies inside the critical folder " + std::wstring(tree);
    return {};
}

std::wstring FileRuleProblem(const std::wstring& ARule) {
    if (ARule.size() < 4) return L"a rule shorter than 4 characters is dropped by the engine";
    if (ARule.find(L'|') != std::wstring::npos) return L"a file rule cannot hold \"|\"";
    const bool drive = vt::IsFullPathRule(ARule);
    if (!drive && ARule[0] != L'%') return L"a file rule must begin with a drive (C:\\) or a placeholder";
    if (std::wstring p = PlaceholderProblem(ARule, true); !p.empty()) return p;
    const std::size_t slash = ARule.rfind(L'\\');
    if (slash == std::wstring::npos) return L"a file rule needs a folder and a file name or mask";
    const std::wstring folder = ARule.substr(0, slash);
    if (ARule.size() == slash + 1) return L"a file rule needs a file name or mask after its folder";
    if (folder.find_first_of(L"*?") != std::wstring::npos) return L"wildcards are allowed only in the file name";
    if ((L"\\" + folder + L"\\").find(L"\\..\\") != std::wstring::npos) return L"a file rule cannot hold \"..\"";
    // One named file is looked up where it is; only a mask searches the
    // folder and everything below it.
    if (HasWildcard(ARule.substr(slash + 1)))
        if (std::wstring c = CriticalFolderReason(folder); !c.empty()) return c;
    return {};
}

std::wstring RegistryRuleProblem(const std::wstring& ARule) {
    if (ARule.size() < 4) return L"a rule shorter than 4 characters is dropped by the engine";
    // The engine reads the first "|" as the joint between key and value.
    const std::wstring joined = vt::ReplaceFirst(ARule, L"|", L"\\\\");
    const auto params = vt::ExtractKeyParams(joined);
    if (!params) return L"the registry rule does not begin with a registry root (HKEY_CURRENT_USER, HKCU, ...)";
    if (params->keyPath.empty()) return L"the registry rule names no key below its root";
    return {};
}

std::vector<Definition> ParseDefinitions(const std::string& AText, std::vector<Diagnostic>& AErrors) {
    std::vector<Definition> result;
    std::istringstream in(AText);
    std::string raw;
    int lineNo = 0;
    Definition* current = nullptr;
    bool skipping = false;  // inside a section whose header did not parse
    const auto error = [&](const std::wstring& msg) { AErrors.push_back({lineNo, Narrow(msg)}); };
    while (std::getline(in, raw)) {
        ++lineNo;
        if (!raw.empty() && raw.back() == '\r') raw.pop_back();
        if (lineNo == 1 && raw.rfind("\xEF\xBB\xBF", 0) == 0) raw.erase(0, 3);
        const std::wstring line = Trimmed(vt::FromUtf8(raw));
        if (line.empty() || line[0] == L'#' || line[0] == L';') continue;
        // A record's lines are split at every line break and end at a NUL, so
        // a stray control character would cut one short.
        if (std::any_of(line.begin(), line.end(), [](wchar_t c) { return c < 0x20 && c != L'\t'; })) {
            error(L"a control character inside a line");
            continue;
        }
        if (line[0] == L'[') {
            if (line.back() != L']' || Trimmed(line.substr(1, line.size() - 2)).empty()) {
                error(L"a section header is \"[application name]\"");
                current = nullptr;
                skipping = true;
                continue;
            }
            result.push_back(Definition{});
            current = &result.back();
            current->Name = Trimmed(line.substr(1, line.size() - 2));
            current->Line = lineNo;
            skipping = false;
            continue;
        }
        if (!current) {
            if (!skipping) error(L"a line outside any [application] section");
            continue;
        }
        const std::size_t eq = line.find(L'=');
        if (eq == std::wstring::npos) {
            error(L"expected \"key = value\"");
            continue;
        }
        const std::wstring key = vt::LowerCase(Trimmed(line.substr(0, eq)));
        const std::wstring value = Trimmed(line.substr(eq + 1));
        if (value.empty()) {
            error(L"\"" + key + L"\" has no value");
            continue;
        }
        if (key == L"group") {
            if (!current->Group.empty()) error(L"a second group");
            current->Group = value;
        } else if (key == L"detect") {
            if (!current->Detect.empty()) error(L"a second detect rule (only the first counts)");
            else {
                current->Detect = value;
                current->DetectLine = lineNo;
            }
        } else if (key == L"exclude") {
            current->Exclusions.push_back(value);
            current->ExclusionLines.push_back(lineNo);
        } else if (key == L"file") {
            current->FileRules.push_back(value);
            current->FileRuleLines.push_back(lineNo);
        } else if (key == L"registry") {
            current->RegistryRules.push_back(value);
            current->RegistryRuleLines.push_back(lineNo);
        } else {
            error(L"unknown key \"" + key + L"\" (group, detect, exclude, file, registry)");
        }
    }
    return result;
}

void CheckDefinitions(const std::vector<Definition>& ADefinitions, std::vector<Diagnostic>& AErrors) {
    std::map<std::wstring, int> names;
    const auto error = [&](int line, const std::wstring& msg) { AErrors.push_back({line, Narrow(msg)}); };
    const auto lineAt = [](const std::vector<int>& lines, std::size_t i, int fallback) {
        return i < lines.size() ? lines[i] : fallback;
    };
    for (const Definition& d : ADefinitions) {
        const std::wstring key = UpperCase(d.Name);
        if (auto [it, added] = names.emplace(key, d.Line); !added)
            error(d.Line, L"duplicate name \"" + d.Name + L"\" (first at line " + std::to_wstring(it->second) + L")");
        if (d.Name.find_first_of(L"\r\n") != std::wstring::npos || d.Group.find_first_of(L"\r\n") != std::wstring::npos)
            error(d.Line, L"a name or group cannot hold a line break");
        if (d.FileRules.empty() && d.RegistryRules.empty())
            error(d.Line, L"\"" + d.Name + L"\" has no file or registry rule");
        if (!d.Detect.empty()) {
            std::wstring p = PlaceholderProblem(d.Detect, false);
            if (p.empty())
                p = vt::IsFullPathRule(d.Detect) || d.Detect[0] == L'%' ? std::wstring() : RegistryRuleProblem(d.Detect);
            if (!p.empty()) error(d.DetectLine ? d.DetectLine : d.Line, L"detect: " + p);
        }
        for (std::size_t i = 0; i < d.Exclusions.size(); ++i)
            if (std::wstring p = PlaceholderProblem(d.Exclusions[i], false); !p.empty())
                error(lineAt(d.ExclusionLines, i, d.Line), L"exclude: " + p);
        for (std::size_t i = 0; i < d.FileRules.size(); ++i)
            if (std::wstring p = FileRuleProblem(d.FileRules[i]); !p.empty())
                error(lineAt(d.FileRuleLines, i, d.Line), L"file: " + p);
        for (std::size_t i = 0; i < d.RegistryRules.size(); ++i) {
            const std::wstring& r = d.RegistryRules[i];
            std::wstring p = vt::IsFullPathRule(r) || (!r.empty() && r[0] == L'%')
                                 ? L"a file rule given as a registry rule"
                                 : RegistryRuleProblem(r);
            if (!p.empty()) error(lineAt(d.RegistryRuleLines, i, d.Line), L"registry: " + p);
        }
    }
}

std::vector<std::wstring> RecordLines(const Definition& ADefinition) {
    std::vector<std::wstring> lines;
    if (!ADefinition.Detect.empty()) lines.push_back(vt::kDetectPrefix + ADefinition.Detect);
    for (const auto& e : ADefinition.Exclusions) lines.push_back(vt::kExcludePrefix + e);
    lines.insert(lines.end(), ADefinition.FileRules.begin(), ADefinition.FileRules.end());
    lines.insert(lines.end(), ADefinition.RegistryRules.begin(), ADefinition.RegistryRules.end());
    return lines;
}

Definition FromRecordLines(const std::wstring& AName, const std::wstring& AGroup,
                           const std::vector<std::wstring>& ALines) {
    Definition d;
    d.Name = AName;
    d.Group = AGroup;
    const std::wstring_view detect = vt::kDetectPrefix, exclude = vt::kExcludePrefix;
    for (const std::wstring& l : ALines) {
        // The first "detect=" line is the one the engine takes.
        if (vt::StartsText(detect, l)) {
            if (d.Detect.empty()) d.Detect = l.substr(detect.size());
        } else if (vt::StartsText(exclude, l)) {
            // Shown as stored: the engine reads "|" as "", the text keeps it.
            d.Exclusions.push_back(l.substr(exclude.size()));
        } else if (vt::IsFullPathRule(l) || (!l.empty() && l[0] == L'%')) {
            // Stored lines are not expanded yet: a rule that begins with a
            // placeholder becomes a drive path only when the engine reads it.
            d.FileRules.push_back(l);
        } else {
            d.RegistryRules.push_back(l);
        }
    }
    return d;
}

std::string WriteDefinitions(const std::vector<Definition>& ADefinitions) {
    std::string out;
    for (const Definition& d : ADefinitions) {
        if (!out.empty()) out += "\n";
        out += "[" + Narrow(d.Name) + "]\n";
        if (!d.Group.empty()) out += "group    = " + Narrow(d.Group) + "\n";
        if (!d.Detect.empty()) out += "detect   = " + Narrow(d.Detect) + "\n";
        for (const auto& e : d.Exclusions) out += "exclude  = " + Narrow(e) + "\n";
        for (const auto& f : d.FileRules) out += "file     = " + Narrow(f) + "\n";
        for (const auto& r : d.RegistryRules) out += "registry = " + Narrow(r) + "\n";
    }
    return out;
}

void CompileToFile(const std::vector<Definition>& ADefinitions, const std::wstring& APath) {
    if (vt::FileExists(APath)) vt::RemoveFile(APath);
    vt::TPluginsFile file(APath, /*AOnlyRead=*/false);
    std::uint32_t number = 0;
    for (const Definition& d : ADefinitions) {
        vt::StringList lines;
        for (const auto& l : RecordLines(d)) lines.Add(l);
        vt::TPluginHeader header;
        header.RecordNumber = number++;
        file.AddToFile({d.Name, d.Group}, header, lines);
    }
}

std::vector<Definition> ReadFile(const std::wstring& APath) {
    std::vector<Definition> result;
    if (!vt::FileExists(APath)) return result;
    vt::TPluginsFile file(APath);
    vt::TPluginRecord record;
    vt::StringList lines;
    for (bool first = true; file.GetNextRaw(record, lines, first); first = false) {
        std::vector<std::wstring> raw;
        for (int i = 0; i < lines.Count(); ++i) raw.push_back(lines.Get(i));
        result.push_back(FromRecordLines(record.Name, record.Group, raw));
        record = {};
    }
    return result;
}

}  // namespace vantrel_defs
