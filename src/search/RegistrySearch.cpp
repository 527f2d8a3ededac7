#include "search/RegistrySearch.h"

#include <optional>

#include "runtime/FileUtils.h"
#include "runtime/Masks.h"
#include "runtime/RegistryReader.h"

namespace vt {

namespace {

// One leading and one trailing backslash dropped, as every sub-key text.
std::wstring TrimKey(std::wstring key) {
    if (!key.empty() && key.front() == L'\\') key.erase(0, 1);
    if (!key.empty() && key.back() == L'\\') key.pop_back();
    return key;
}

std::wstring FullKeyText(RegistryRoot root, const std::wstring& keyPath) {
    return RegistryRootToStr(root) + L"\\" + keyPath;
}

}  // namespace

TRegistrySearch::TRegistrySearch() : fRegistry(&SystemRegistry()) {}
TRegistrySearch::TRegistrySearch(const IRegistryReader& AReader) : fRegistry(&AReader) {}

void TRegistrySearch::AddPath(RegistryRoot ARootKey, const std::wstring& AKey, const std::wstring& AValueName) {
    fPaths.push_back(TRegSearchPath{ARootKey, AKey, AValueName});
}

void TRegistrySearch::Enumerate() {
    fStop = false;
    for (const auto& path : fPaths) {
        const std::wstring keyPath = TrimKey(path.Key);
        if (auto key = fRegistry->OpenKey(path.RootKey, keyPath)) {
            std::optional<std::wstring> mask;
            if (FileUtils::IsMaskedPath(path.ValueName))
                mask = path.ValueName;
            else if (path.ValueName.empty())
                mask = L"*";
            if (mask) {
                EnumSubKeyValues(path, keyPath, *key);
                // The value pass works on the location's own key again.
                if (auto own = fRegistry->OpenKey(path.RootKey, keyPath))
                    EnumKeyValues(path.RootKey, keyPath, *own, *mask);
            } else if (fOnRegValue && key->HasValue(path.ValueName)) {
                fOnRegValue(FullKeyText(path.RootKey, keyPath), path.ValueName, fStop);
            }
        }
        if (fStop) break;
    }
}

void TRegistrySearch::EnumSubKeyValues(const TRegSearchPath& APath, const std::wstring& AKeyPath,
                                       const IRegistryKey& AKey) {
    const std::vector<std::wstring> names = AKey.SubKeyNames();
    if (names.empty()) return;
    const std::wstring base = AKeyPath.empty() ? std::wstring() : AKeyPath + L"\\";
    for (const auto& name : names) {
        // Every value of a sub-key, whatever the location's own mask.
        if (auto sub = fRegistry->OpenKey(APath.RootKey, base + name)) EnumKeyValues(APath.RootKey, base + name, *sub, L"*");
        if (fStop) break;
    }
}

void TRegistrySearch::EnumKeyValues(RegistryRoot ARoot, const std::wstring& AKeyPath, const IRegistryKey& AKey,
                                    const std::wstring& AMask) {
    const std::wstring fullPath = FullKeyText(ARoot, AKeyPath);
    std::optional<Mask> mask;
    if (!AMask.empty()) mask.emplace(AMask);
    for (const auto& name : AKey.ValueNames()) {
        if ((!mask || mask->Matches(name)) && fOnRegValue) fOnRegValue(fullPath, name, fStop);
        if (fStop) break;
    }
}

}  // namespace vt
