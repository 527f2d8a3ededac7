// TRegistrySearch: walks a list of registry locations and reports every value
// found through OnRegValue. A location with a value mask (or an empty value
// name) reports every value of each direct sub-key first, then the key's own
// values that match; a plain value name reports that value only, if present.
// Reads go through an IRegistryReader (the system's by default), so the walk
// runs natively against an in-memory registry. Not thread-safe.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "runtime/RegistryPath.h"

namespace vt {

class IRegistryKey;
class IRegistryReader;

// ARegPath is the key's full text ("HKEY_CURRENT_USER\Software\..."); set
// AStop to end the search.
using TOnRegValue = std::function<void(const std::wstring& ARegPath, const std::wstring& ARegValue, bool& AStop)>;

struct TRegSearchPath {
    RegistryRoot RootKey = RegistryRoot::CurrentUser;
    std::wstring Key;        // below the root
    std::wstring ValueName;  // an exact name, a mask, or empty (every value)
};

class TRegistrySearch {
public:
    TRegistrySearch();
    // A search over the given reader, which must outlive it (tests).
    explicit TRegistrySearch(const IRegistryReader& AReader);

    void SetOnRegValue(TOnRegValue AOnRegValue) { fOnRegValue = std::move(AOnRegValue); }
    // Appends one location; locations are walked in the order added.
    void AddPath(RegistryRoot ARootKey, const std::wstring& AKey, const std::wstring& AValueName);
    const std::vector<TRegSearchPath>& Paths() const noexcept { return fPaths; }

    // Clears the stop flag and walks every location; keys that cannot be
    // opened are skipped silently. Throws only what the handler throws.
    void Enumerate();

private:
    void EnumSubKeyValues(const TRegSearchPath& APath, const std::wstring& AKeyPath, const IRegistryKey& AKey);
    void EnumKeyValues(RegistryRoot ARoot, const std::wstring& AKeyPath, const IRegistryKey& AKey,
                       const std::wstring& AMask);

    const IRegistryReader* fRegistry;
    TOnRegValue fOnRegValue;
    std::vector<TRegSearchPath> fPaths;
    bool fStop = false;
};

}  // namespace vt
