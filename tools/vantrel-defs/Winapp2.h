// Import of the community's winapp2.ini definitions. Each entry ([Name *]) is
// mapped key by key; what our rules cannot say exactly is skipped with its
// reason, never widened:
//
//   Detect[N]=key              -> detect (the first usable one)
//   DetectFile[N]=path         -> detect (a folder gets a trailing "\")
//   FileKeyN=folder|masks|RECURSE   -> one file rule per mask (ours always recurse)
//   FileKeyN=folder|name       -> a file rule for that one file (no wildcard)
//   RegKeyN=key|value          -> registry rule for that value (no wildcard)
//   RegKeyN=key                -> registry rule over the key's values (narrower:
//                                 keys themselves are never deleted)
//   ExcludeKeyN=FILE|folder|name, REG|key|value -> exclusions
//
// Skipped keys: a FileKey without RECURSE over a mask (the folder may have
// sub-folders), REMOVESELF or any other flag, wildcards in folder names, an
// environment name we do not map, a value-name wildcard. Skipped entries:
// SpecialDetect, DetectOS, an exclusion we cannot express (dropping it would
// widen what is deleted), nothing left to clean.
#pragma once

#include <string>
#include <vector>

#include "Definitions.h"

namespace vantrel_defs {

struct ImportNote {
    int Line = 0;
    std::wstring Entry;
    std::wstring Reason;
    bool EntrySkipped = false;  // the whole entry, not one key
};

struct ImportResult {
    std::vector<Definition> Imported;
    std::vector<ImportNote> Skipped;
    int Entries = 0;       // entries met
    int KeysImported = 0;  // FileKey/RegKey/Exclude keys turned into lines
    int KeysSkipped = 0;
};

ImportResult ImportWinapp2(const std::string& AText);

// A winapp2 path with its environment name mapped to ours; empty (with
// AReason set) when the name is not one we map.
std::wstring MapWinapp2Path(const std::wstring& APath, std::wstring& AReason);

}  // namespace vantrel_defs
