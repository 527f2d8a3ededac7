#include "runtime/RegistryPath.h"

#include "runtime/Strings.h"

namespace vt {

namespace {

struct RootName {
    RegistryRoot root;
    const wchar_t* fullName;
    const wchar_t* shortName;  // null when the root has no short form
};

constexpr RootName kRootNames[] = {
    {RegistryRoot::ClassesRoot, L"HKEY_CLASSES_ROOT", L"HKCR"},
    {RegistryRoot::CurrentUser, L"HKEY_CURRENT_USER", L"HKCU"},
    {RegistryRoot::LocalMachine, L"HKEY_LOCAL_MACHINE", L"HKLM"},
    {RegistryRoot::Users, L"HKEY_USERS", L"HKU"},
    {RegistryRoot::PerformanceData, L"HKEY_PERFORMANCE_DATA", nullptr},
    {RegistryRoot::CurrentConfig, L"HKEY_CURRENT_CONFIG", L"HKCC"},
    {RegistryRoot::DynData, L"HKEY_DYN_DATA", nullptr},
};

constexpr std::wstring_view kJoint = L"\\\\";

std::wstring_view StripOneDelimiterEachSide(std::wstring_view path) {
    if (!path.empty() && path.front() == kPathDelim) path.remove_prefix(1);
    if (!path.empty() && path.back() == kPathDelim) path.remove_suffix(1);
    return path;
}

}  // namespace

std::wstring RegistryRootToStr(RegistryRoot root) {
    for (const auto& r : kRootNames)
        if (r.root == root) return r.fullName;
    return {};
}

std::optional<RegistryRoot> StrToRegistryRoot(std::wstring_view name) {
    for (const auto& r : kRootNames)
        if (SameText(name, r.fullName) || (r.shortName != nullptr && SameText(name, r.shortName))) return r.root;
    return std::nullopt;
}

std::wstring RegistryKeyToStr(RegistryRoot root, std::wstring_view keyPath, std::wstring_view valueName) {
    std::wstring result = RegistryRootToStr(root);
    keyPath = StripOneDelimiterEachSide(keyPath);
    if (!keyPath.empty()) {
        result += kPathDelim;
        result += keyPath;
    }
    if (!valueName.empty()) {
        result += kJoint;
        result += valueName;
    }
    return result;
}

std::optional<RegistryKeyParams> ExtractKeyParams(std::wstring_view text) {
    std::wstring_view key = text;
    std::wstring_view value;
    if (const auto joint = text.find(kJoint); joint != std::wstring_view::npos) {
        key = text.substr(0, joint);
        value = text.substr(joint + kJoint.size());
    }
    const auto firstDelim = key.find(kPathDelim);
    const std::wstring_view rootName = key.substr(0, firstDelim);
    const auto root = StrToRegistryRoot(rootName);
    if (!root) return std::nullopt;
    RegistryKeyParams params;
    params.root = *root;
    if (firstDelim != std::wstring_view::npos) params.keyPath = StripOneDelimiterEachSide(key.substr(firstDelim));
    params.valueName = value;
    return params;
}

std::wstring NormalizeRegistryKey(std::wstring_view text) {
    const auto params = ExtractKeyParams(text);
    if (!params) return std::wstring(text);
    return RegistryKeyToStr(params->root, params->keyPath, params->valueName);
}

}  // namespace vt
