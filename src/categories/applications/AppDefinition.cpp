#include "categories/applications/AppDefinition.h"

#include <algorithm>

#include "runtime/Strings.h"

namespace vt {

bool IsFullPathRule(const std::wstring& ALine) noexcept {
    return ALine.size() >= 3 && ALine[1] == L':' && ALine[2] == L'\\';
}

TAppDefinition TAppDefinition::FromRecord(const TPluginRecord& ARecord, const StringList& ALines) {
    TAppDefinition d;
    d.Name = ARecord.Name;
    d.Group = ARecord.Group;
    const std::wstring_view detect = kDetectPrefix;
    const std::wstring_view exclude = kExcludePrefix;
    std::vector<std::wstring> files, registry;
    for (int i = ALines.Count() - 1; i >= 0; --i) {
        const std::wstring& line = ALines.Get(i);
        if (StartsText(exclude, line)) {
            d.Exclusions.push_back(ReplaceAll(std::wstring_view(line).substr(exclude.size()), L"|", L"\\"));
        } else if (StartsText(detect, line)) {
            d.DetectEntry = line.substr(detect.size());
        } else if (IsFullPathRule(line)) {
            files.push_back(line);
        } else {
            registry.push_back(line);
        }
    }
    std::reverse(d.Exclusions.begin(), d.Exclusions.end());
    d.FileRules.assign(files.rbegin(), files.rend());
    d.RegistryRules.assign(registry.rbegin(), registry.rend());
    return d;
}

}  // namespace vt
