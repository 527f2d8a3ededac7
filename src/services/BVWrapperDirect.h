// The direct road of TBVWrapper: the file and registry calls it makes straight
// to the system when nothing is backed up, plus the registry reads it needs on
// either road (walking a key's sub-keys and values, reading a value's bytes).
//
// BVWrapper_win.cpp answers them through the overridable call table of
// platform/SysCalls.h, so tests can put faults in; the native build has no
// registry (every registry call fails with kNotSupported) and reaches files
// through runtime/FileSystem.h.
#pragma once

#include <string>
#include <vector>

#include "vantrel/ComTypes.h"

namespace vt::bvdirect {

// Registry statuses, as the Win32 registry functions give them.
constexpr long kSuccess = 0;
constexpr long kNotSupported = 50;   // ERROR_NOT_SUPPORTED
constexpr long kNoMoreItems = 259;   // ERROR_NO_MORE_ITEMS

constexpr DWORD kKeyAllAccess = 0xF003F;  // KEY_ALL_ACCESS
constexpr DWORD kRegBinary = 3;
constexpr DWORD kRegDword = 4;

constexpr DWORD kAttributeDirectory = 0x10;     // FILE_ATTRIBUTE_DIRECTORY
constexpr DWORD kAttributeNormal = 0x80;        // FILE_ATTRIBUTE_NORMAL
constexpr DWORD kAttributeReparsePoint = 0x400;  // FILE_ATTRIBUTE_REPARSE_POINT

// What the system says about a path, without following a link at its end.
enum class PathState {
    kMissing,  // the file or its folder does not exist
    kPresent,  // attributes holds the entry's attributes
    kUnknown,  // the attributes could not be read for another reason (access, sharing, ...)
};
PathState QueryPath(const std::wstring& path, DWORD& attributes) noexcept;
// SetFileAttributesW; true on success.
bool SetAttributes(const std::wstring& path, DWORD attributes) noexcept;
// Ordinary deletion; true on success.
bool EraseFile(const std::wstring& path) noexcept;
// Removes an empty folder; true on success.
bool EraseEmptyFolder(const std::wstring& path) noexcept;

// RegCreateKeyExW(root, subKey, 0, null, 0, KEY_ALL_ACCESS, null, key, &disposition).
// *key is null unless the status is kSuccess.
long CreateKey(HKEY root, const std::wstring& subKey, HKEY* key) noexcept;
// RegOpenKeyExW(root, subKey, 0, KEY_ALL_ACCESS, key); *key is null unless kSuccess.
long OpenKey(HKEY root, const std::wstring& subKey, HKEY* key) noexcept;
long SetValue(HKEY key, const std::wstring& name, DWORD type, const void* data, DWORD size) noexcept;
long DeleteValue(HKEY key, const std::wstring& name) noexcept;
// RegDeleteKeyW: refuses a key that still has sub-keys.
long DeleteKey(HKEY root, const std::wstring& subKey) noexcept;
long CloseKey(HKEY key) noexcept;

// What RegQueryInfoKeyW tells about a key; lengths in characters without the
// terminating null. All zero when the query fails.
struct KeyInfo {
    DWORD subKeys = 0;
    DWORD maxSubKeyLength = 0;
    DWORD values = 0;
    DWORD maxValueNameLength = 0;
};
long QueryKeyInfo(HKEY key, KeyInfo& info) noexcept;
// The name of the sub-key (RegEnumKeyExW) or value (RegEnumValueW) at index,
// read into buffer (its size is the capacity, terminator included). name is
// set only on kSuccess.
long EnumSubKey(HKEY key, DWORD index, std::vector<wchar_t>& buffer, std::wstring& name) noexcept;
long EnumValueName(HKEY key, DWORD index, std::vector<wchar_t>& buffer, std::wstring& name) noexcept;
// The value's data size in bytes (RegQueryValueExW without a buffer).
long QueryValueSize(HKEY key, const std::wstring& name, DWORD& size) noexcept;
// Reads up to size bytes of the value's data; size becomes what was read.
long QueryValueData(HKEY key, const std::wstring& name, void* data, DWORD& size) noexcept;

}  // namespace vt::bvdirect
