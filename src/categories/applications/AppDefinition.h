// TAppDefinition: one application's definition as a category takes it from a
// record of the definitions file. The record's lines (after TPluginsFile's
// line rules) are sorted into their kinds here, so the application category
// and the definitions tool read a record the same way:
//
//   "detect=<rule>"    the detection entry; the one nearest the record's start wins
//   "exclude=<text>"   an exclusion, every "|" read as "\"
//   a drive path       a file rule (a file, or a folder and a file mask, searched
//                      with its sub-folders)
//   anything else      a registry rule: a root-qualified key, then optionally
//                      "|" and a value name (or a value-name mask)
#pragma once

#include <string>
#include <vector>

#include "runtime/StringList.h"

namespace vt {

// The record GetNext hands over besides the lines: the last line of the
// record's text is its Name, the one before it its Group.
struct TPluginRecord {
    std::wstring Name;
    std::wstring Group;
};

struct TAppDefinition {
    std::wstring Name;
    std::wstring Group;
    std::wstring DetectEntry;                 // empty when the record has no "detect=" line
    std::vector<std::wstring> Exclusions;     // in record order, "|" already read as "\"
    std::vector<std::wstring> FileRules;      // in record order
    std::vector<std::wstring> RegistryRules;  // in record order

    // Sorts ALines into the kinds above. The walk runs from the last line to
    // the first, as the category's does, so the first "detect=" line wins and
    // exclusions are collected last to first (returned in record order here).
    static TAppDefinition FromRecord(const TPluginRecord& ARecord, const StringList& ALines);
};

// True for a full path: at least three characters, ":" second, "\" third.
bool IsFullPathRule(const std::wstring& ALine) noexcept;

// Prefixes of the special lines (compared without regard to case).
inline constexpr wchar_t kDetectPrefix[] = L"detect=";
inline constexpr wchar_t kExcludePrefix[] = L"exclude=";

}  // namespace vt
