// The wrapper's direct road on Windows: every call goes through the
// overridable table, so tests under Wine can make one of them fail.
#include "platform/SysCalls.h"
#include "services/BVWrapperDirect.h"

namespace vt::bvdirect {

using platform::SysCalls;

PathState QueryPath(const std::wstring& path, DWORD& attributes) noexcept {
    // GetFileAttributesW reports a link's own attributes, reparse-point flag
    // included. (Wine 8 shows that flag only for links to folders: a Unix
    // symbolic link to a file looks like the file.)
    attributes = SysCalls().GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) return PathState::kPresent;
    const DWORD error = ::GetLastError();
    attributes = 0;
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? PathState::kMissing : PathState::kUnknown;
}

bool SetAttributes(const std::wstring& path, DWORD attributes) noexcept {
    return SysCalls().SetFileAttributesW(path.c_str(), attributes) != FALSE;
}

bool EraseFile(const std::wstring& path) noexcept { return SysCalls().DeleteFileW(path.c_str()) != FALSE; }

bool EraseEmptyFolder(const std::wstring& path) noexcept {
    return SysCalls().RemoveDirectoryW(path.c_str()) != FALSE;
}

long CreateKey(HKEY root, const std::wstring& subKey, HKEY* key) noexcept {
    *key = nullptr;
    DWORD disposition = 0;
    const LONG status = SysCalls().RegCreateKeyExW(root, subKey.c_str(), 0, nullptr, 0, kKeyAllAccess, nullptr,
                                                   key, &disposition);
    if (status != ERROR_SUCCESS) *key = nullptr;
    return status;
}

long OpenKey(HKEY root, const std::wstring& subKey, HKEY* key) noexcept {
    *key = nullptr;
    const LONG status = SysCalls().RegOpenKeyExW(root, subKey.c_str(), 0, kKeyAllAccess, key);
    if (status != ERROR_SUCCESS) *key = nullptr;
    return status;
}

long SetValue(HKEY key, const std::wstring& name, DWORD type, const void* data, DWORD size) noexcept {
    return SysCalls().RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(data), size);
}

long DeleteValue(HKEY key, const std::wstring& name) noexcept {
    return SysCalls().RegDeleteValueW(key, name.c_str());
}

long DeleteKey(HKEY root, const std::wstring& subKey) noexcept {
    return SysCalls().RegDeleteKeyW(root, subKey.c_str());
}

long CloseKey(HKEY key) noexcept { return SysCalls().RegCloseKey(key); }

long QueryKeyInfo(HKEY key, KeyInfo& info) noexcept {
    info = {};
    const LONG status =
        SysCalls().RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &info.subKeys, &info.maxSubKeyLength, nullptr,
                                    &info.values, &info.maxValueNameLength, nullptr, nullptr, nullptr);
    if (status != ERROR_SUCCESS) info = {};
    return status;
}

long EnumSubKey(HKEY key, DWORD index, std::vector<wchar_t>& buffer, std::wstring& name) noexcept {
    DWORD length = static_cast<DWORD>(buffer.size());
    const LONG status =
        SysCalls().RegEnumKeyExW(key, index, buffer.data(), &length, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_SUCCESS) name.assign(buffer.data(), length);
    return status;
}

long EnumValueName(HKEY key, DWORD index, std::vector<wchar_t>& buffer, std::wstring& name) noexcept {
    DWORD length = static_cast<DWORD>(buffer.size());
    const LONG status =
        SysCalls().RegEnumValueW(key, index, buffer.data(), &length, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_SUCCESS) name.assign(buffer.data(), length);
    return status;
}

long QueryValueSize(HKEY key, const std::wstring& name, DWORD& size) noexcept {
    size = 0;
    const LONG status = SysCalls().RegQueryValueExW(key, name.c_str(), nullptr, nullptr, nullptr, &size);
    if (status != ERROR_SUCCESS) size = 0;
    return status;
}

long QueryValueData(HKEY key, const std::wstring& name, void* data, DWORD& size) noexcept {
    return SysCalls().RegQueryValueExW(key, name.c_str(), nullptr, nullptr, static_cast<BYTE*>(data), &size);
}

}  // namespace vt::bvdirect
