#include "Winapp2.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "runtime/RegistryPath.h"
#include "runtime/Strings.h"
#include "runtime/Utf.h"

namespace vantrel_defs {

namespace {

bool HasWildcard(std::wstring_view s) { return s.find_first_of(L"*?") != std::wstring_view::npos; }

bool HasControl(std::wstring_view s) {
    return std::any_of(s.begin(), s.end(), [](wchar_t c) { return c < 0x20 && c != L'\t'; });
}

std::vector<std::wstring> Split(const std::wstring& s, wchar_t sep) {
    std::vector<std::wstring> parts;
    std::size_t start = 0;
    for (;;) {
        const std::size_t at = s.find(sep, start);
        parts.push_back(vt::Trim(std::wstring_view(s).substr(start, at == std::wstring::npos ? at : at - start)));
        if (at == std::wstring::npos) return parts;
        start = at + 1;
    }
}

// A registry key written with a short or long root, in our canonical form.
std::wstring MapKey(const std::wstring& AKey, std::wstring& AReason) {
    const auto params = vt::ExtractKeyParams(AKey);
    if (!params || params->keyPath.empty()) {
        AReason = L"registry key \"" + AKey + L"\" has no root we know or no key below it";
        return {};
    }
    if (HasWildcard(params->keyPath)) {
        AReason = L"wildcards in registry key names";
        return {};
    }
    return vt::RegistryKeyToStr(params->root, params->keyPath);
}

struct Entry {
    std::wstring Name;
    int Line = 0;
    std::vector<std::pair<std::wstring, std::pair<std::wstring, int>>> Keys;  // name, value, line
};

// Key name without its trailing number ("FileKey12" -> "FILEKEY").
std::wstring KeyKind(const std::wstring& key) {
    std::size_t end = key.size();
    while (end > 0 && iswdigit(key[end - 1])) --end;
    return vt::UpperCase(std::wstring_view(key).substr(0, end));
}

}  // namespace

std::wstring MapWinapp2Path(const std::wstring& APath, std::wstring& AReason) {
    static const std::map<std::wstring, std::wstring> kNames = {
        {L"%APPDATA%", L"%APPDATA%"},
        {L"%LOCALAPPDATA%", L"%LOCALAPPDATA%"},
        {L"%LOCALLOWAPPDATA%", L"%LOCALLOWAPPDATA%"},
        {L"%PROGRAMFILES%", L"%PROGRAMFILES%"},
        {L"%COMMONAPPDATA%", L"%COMMONAPPDATA%"},
        {L"%PROGRAMDATA%", L"%PROGRAMDATA%"},
        {L"%ALLUSERSPROFILE%", L"%ALLUSERSPROFILE%"},
        {L"%USERPROFILE%", L"%USERPROFILE%"},
        {L"%WINDIR%", L"%WINDIR%"},
        {L"%SYSTEMROOT%", L"%WINDIR%"},
        {L"%SYSTEMDRIVE%", L"%SYSTEMDRIVE%"},
        {L"%DOCUMENTS%", L"%MYDOCUMENTS%"},
        {L"%TEMP%", L"%TEMP%"},
        {L"%TMP%", L"%TMP%"},
        {L"%PUBLIC%", L"%PUBLIC%"},
        {L"%COMMONPROGRAMFILES%", L"%COMMONPROGRAMFILES%"},
    };
    if (APath.empty() || APath[0] != L'%') {
        if (APath.size() >= 3 && APath[1] == L':' && APath[2] == L'\\') return APath;
        AReason = L"path \"" + APath + L"\" is neither a drive path nor begins with an environment name";
        return {};
    }
    const std::size_t close = APath.find(L'%', 1);
    if (close == std::wstring::npos) {
        AReason = L"path \"" + APath + L"\" has an unclosed environment name";
        return {};
    }
    const auto it = kNames.find(vt::UpperCase(std::wstring_view(APath).substr(0, close + 1)));
    if (it == kNames.end()) {
        AReason = L"environment name " + APath.substr(0, close + 1) + L" has no placeholder of ours";
        return {};
    }
    std::wstring rest = APath.substr(close + 1);
    if (rest.find(L'%') != std::wstring::npos) {
        AReason = L"path \"" + APath + L"\" holds a second environment name";
        return {};
    }
    return it->second + rest;
}

ImportResult ImportWinapp2(const std::string& AText) {
    ImportResult result;
    std::vector<Entry> entries;
    std::istringstream in(AText);
    std::string raw;
    int lineNo = 0;
    while (std::getline(in, raw)) {
        ++lineNo;
        if (!raw.empty() && raw.back() == '\r') raw.pop_back();
        if (lineNo == 1 && raw.rfind("\xEF\xBB\xBF", 0) == 0) raw.erase(0, 3);
        const std::wstring line = vt::Trim(vt::FromUtf8(raw));
        if (line.empty() || line[0] == L';') continue;
        if (line[0] == L'[' && line.back() == L']') {
            std::wstring name = vt::Trim(std::wstring_view(line).substr(1, line.size() - 2));
            if (name.size() > 2 && name.compare(name.size() - 2, 2, L" *") == 0) name.resize(name.size() - 2);
            entries.push_back({name, lineNo, {}});
            continue;
        }
        const std::size_t eq = line.find(L'=');
        if (entries.empty() || eq == std::wstring::npos) continue;
        entries.back().Keys.push_back({vt::Trim(std::wstring_view(line).substr(0, eq)),
                                       {vt::Trim(std::wstring_view(line).substr(eq + 1)), lineNo}});
    }

    for (const Entry& e : entries) {
        ++result.Entries;
        Definition d;
        d.Name = e.Name;
        d.Line = e.Line;
        std::wstring entrySkip;
        int entrySkipLine = e.Line;
        std::vector<ImportNote> keyNotes;
        int keysImported = 0;
        const auto skipKey = [&](int line, const std::wstring& why) { keyNotes.push_back({line, e.Name, why, false}); };
        const auto skipEntry = [&](int line, const std::wstring& why) {
            if (entrySkip.empty()) {
                entrySkip = why;
                entrySkipLine = line;
            }
        };
        bool sawDetect = false;
        if (e.Name.empty()) skipEntry(e.Line, L"the entry has no name");
        // A record's lines are split at every line break and end at a NUL, so
        // a stray control character would cut one short.
        if (HasControl(e.Name)) skipEntry(e.Line, L"a control character inside the entry's name");
        for (const auto& [key, valueLine] : e.Keys)
            if (HasControl(key + valueLine.first)) skipEntry(valueLine.second, L"a control character inside a line");
        for (const auto& [key, valueLine] : e.Keys) {
            const auto& [value, line] = valueLine;
            const std::wstring kind = KeyKind(key);
            std::wstring reason;
            if (kind == L"LANGSECREF" || kind == L"SECTION" || kind == L"DEFAULT" || kind == L"WARNING") {
                if (kind == L"SECTION" && d.Group.empty()) d.Group = value;
                continue;
            }
            if (kind == L"SPECIALDETECT") {
                skipEntry(line, L"SpecialDetect names a detection we do not have");
            } else if (kind == L"DETECTOS") {
                skipEntry(line, L"DetectOS limits the entry to Windows versions, which our rules cannot");
            } else if (kind == L"DETECT") {
                sawDetect = true;
                const std::wstring key2 = MapKey(value, reason);
                if (key2.empty()) skipKey(line, L"Detect: " + reason);
                else if (d.Detect.empty()) d.Detect = key2;
            } else if (kind == L"DETECTFILE") {
                sawDetect = true;
                std::wstring path = MapWinapp2Path(value, reason);
                if (!path.empty() && HasWildcard(path)) reason = L"wildcards in a detection path", path.clear();
                // After "detect=" the engine expands only environment names.
                if (!path.empty() && (vt::StartsText(L"%COMMONAPPDATA%", path) || vt::StartsText(L"%MYDOCUMENTS%", path) ||
                                      vt::StartsText(L"%LOCALLOWAPPDATA%", path)))
                    reason = L"the placeholder is not expanded in a detection", path.clear();
                if (path.empty()) {
                    skipKey(line, L"DetectFile: " + reason);
                } else if (d.Detect.empty()) {
                    // A path whose last part has no extension is taken for a folder:
                    // the engine detects a folder by a rule ending in "\".
                    const std::wstring last = vt::ExtractFileName(path);
                    if (!path.empty() && path.back() != L'\\' && last.find(L'.') == std::wstring::npos) path += L'\\';
                    d.Detect = path;
                }
            } else if (kind == L"FILEKEY") {
                const std::vector<std::wstring> parts = Split(value, L'|');
                std::wstring folder = parts.size() >= 2 ? MapWinapp2Path(parts[0], reason) : std::wstring();
                if (parts.size() < 2) reason = L"expected folder|masks";
                bool recurse = false;
                for (std::size_t i = 2; i < parts.size() && reason.empty(); ++i) {
                    if (vt::SameText(parts[i], L"RECURSE")) recurse = true;
                    else if (vt::SameText(parts[i], L"REMOVESELF")) reason = L"REMOVESELF deletes the folder itself";
                    else reason = L"unknown flag \"" + parts[i] + L"\"";
                }
                if (reason.empty() && HasWildcard(folder)) reason = L"wildcards in folder names";
                std::vector<std::wstring> rules;
                if (reason.empty()) {
                    folder = vt::ExcludeTrailingPathDelimiter(folder);
                    for (const std::wstring& mask : Split(parts[1], L';')) {
                        if (mask.empty() || mask.find(L'\\') != std::wstring::npos) {
                            reason = L"mask \"" + mask + L"\" is not a file name";
                            break;
                        }
                        // Ours always search sub-folders: a mask without RECURSE
                        // would reach files the entry leaves alone.
                        if (!recurse && HasWildcard(mask)) {
                            reason = L"mask \"" + mask + L"\" without RECURSE over a folder that may have sub-folders";
                            break;
                        }
                        // A single file name is looked up only where it is named,
                        // so with RECURSE it would miss the sub-folders' copies.
                        if (recurse && !HasWildcard(mask)) {
                            reason = L"RECURSE for the single name \"" + mask + L"\", which our file rules look up in one folder only";
                            break;
                        }
                        rules.push_back(folder + L"\\" + mask);
                    }
                }
                if (reason.empty())
                    for (const std::wstring& r : rules)
                        if (std::wstring p = FileRuleProblem(r); !p.empty()) {
                            reason = p;
                            break;
                        }
                if (!reason.empty()) {
                    skipKey(line, key + L": " + reason);
                } else {
                    for (const std::wstring& r : rules) {
                        d.FileRules.push_back(r);
                        d.FileRuleLines.push_back(line);
                    }
                    ++keysImported;
                }
            } else if (kind == L"REGKEY") {
                const std::vector<std::wstring> parts = Split(value, L'|');
                std::wstring keyText = MapKey(parts[0], reason);
                if (reason.empty() && parts.size() > 2) reason = L"more than key|value";
                if (reason.empty() && parts.size() == 2 && (parts[1].empty() || HasWildcard(parts[1])))
                    reason = L"value-name wildcards: ours would also take every value of the sub-keys";
                if (!reason.empty()) {
                    skipKey(line, key + L": " + reason);
                } else {
                    d.RegistryRules.push_back(parts.size() == 2 ? keyText + L"|" + parts[1] : keyText);
                    d.RegistryRuleLines.push_back(line);
                    ++keysImported;
                }
            } else if (kind == L"EXCLUDEKEY") {
                const std::vector<std::wstring> parts = Split(value, L'|');
                const std::wstring type = parts.empty() ? std::wstring() : vt::UpperCase(parts[0]);
                std::wstring exclusion;
                if (type == L"FILE" && parts.size() == 3 && !HasWildcard(parts[2]) && !parts[2].empty()) {
                    std::wstring folder = MapWinapp2Path(parts[1], reason);
                    if (reason.empty() && HasWildcard(folder)) reason = L"wildcards in folder names";
                    // The engine expands only environment names after "exclude=".
                    if (reason.empty() && (vt::StartsText(L"%COMMONAPPDATA%", folder) ||
                                           vt::StartsText(L"%MYDOCUMENTS%", folder) ||
                                           vt::StartsText(L"%LOCALLOWAPPDATA%", folder)))
                        reason = L"the folder's placeholder is not expanded in an exclusion";
                    if (reason.empty()) exclusion = vt::IncludeTrailingPathDelimiter(folder) + parts[2];
                } else if (type == L"REG" && parts.size() == 3 && !HasWildcard(parts[2]) && !parts[2].empty()) {
                    const std::wstring keyText = MapKey(parts[1], reason);
                    // Registry items are located by key, "\\", value.
                    if (reason.empty()) exclusion = keyText + L"\\\\" + parts[2];
                } else {
                    reason = L"only one named file (FILE|folder|name) or value (REG|key|value) can be excluded";
                }
                if (!reason.empty()) {
                    skipEntry(line, key + L": " + reason + L"; without it the entry would delete more");
                } else {
                    d.Exclusions.push_back(exclusion);
                    d.ExclusionLines.push_back(line);
                    ++keysImported;
                }
            } else {
                skipEntry(line, L"unknown key \"" + key + L"\"");
            }
        }
        if (entrySkip.empty() && sawDetect && d.Detect.empty())
            skipEntry(e.Line, L"no detection could be mapped");
        if (entrySkip.empty() && d.FileRules.empty() && d.RegistryRules.empty())
            skipEntry(e.Line, L"nothing left to clean");
        if (!entrySkip.empty()) {
            result.Skipped.push_back({entrySkipLine, e.Name, entrySkip, true});
            result.KeysSkipped += static_cast<int>(keyNotes.size());
            for (auto& n : keyNotes) result.Skipped.push_back(n);
            continue;
        }
        if (d.Group.empty()) d.Group = L"Imported";
        result.KeysImported += keysImported;
        result.KeysSkipped += static_cast<int>(keyNotes.size());
        for (auto& n : keyNotes) result.Skipped.push_back(n);
        result.Imported.push_back(std::move(d));
    }
    return result;
}

}  // namespace vantrel_defs
