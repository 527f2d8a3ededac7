// The wrapper's direct road in the native build: files through the portable
// file layer, and no registry at all (every registry call fails, so the direct
// registry operations report false or handle 0 and a key walk finds nothing).
#include <sys/stat.h>

#include <cerrno>

#include "runtime/FileSystem.h"
#include "runtime/Utf.h"
#include "services/BVWrapperDirect.h"

namespace vt::bvdirect {

PathState QueryPath(const std::wstring& path, DWORD& attributes) noexcept {
    attributes = 0;
    struct stat info {};
    try {
        if (::lstat(ToUtf8(NativePath(path)).c_str(), &info) != 0)
            return errno == ENOENT || errno == ENOTDIR ? PathState::kMissing : PathState::kUnknown;
    } catch (...) {
        return PathState::kUnknown;
    }
    // A symbolic link stands for a reparse point; there are no attribute bits to clear.
    if (S_ISLNK(info.st_mode)) attributes = kAttributeReparsePoint;
    else if (S_ISDIR(info.st_mode)) attributes = kAttributeDirectory;
    else attributes = kAttributeNormal;
    return PathState::kPresent;
}

// Unlinking needs no attribute change on POSIX systems.
bool SetAttributes(const std::wstring&, DWORD) noexcept { return true; }

bool EraseFile(const std::wstring& path) noexcept {
    try {
        return RemoveFile(path);
    } catch (...) {
        return false;
    }
}

bool EraseEmptyFolder(const std::wstring& path) noexcept {
    try {
        return RemoveEmptyDirectory(path);
    } catch (...) {
        return false;
    }
}

long CreateKey(HKEY, const std::wstring&, HKEY* key) noexcept {
    *key = nullptr;
    return kNotSupported;
}

long OpenKey(HKEY, const std::wstring&, HKEY* key) noexcept {
    *key = nullptr;
    return kNotSupported;
}

long SetValue(HKEY, const std::wstring&, DWORD, const void*, DWORD) noexcept { return kNotSupported; }
long DeleteValue(HKEY, const std::wstring&) noexcept { return kNotSupported; }
long DeleteKey(HKEY, const std::wstring&) noexcept { return kNotSupported; }
long CloseKey(HKEY) noexcept { return kNotSupported; }

long QueryKeyInfo(HKEY, KeyInfo& info) noexcept {
    info = {};
    return kNotSupported;
}

long EnumSubKey(HKEY, DWORD, std::vector<wchar_t>&, std::wstring&) noexcept { return kNotSupported; }
long EnumValueName(HKEY, DWORD, std::vector<wchar_t>&, std::wstring&) noexcept { return kNotSupported; }

long QueryValueSize(HKEY, const std::wstring&, DWORD& size) noexcept {
    size = 0;
    return kNotSupported;
}

long QueryValueData(HKEY, const std::wstring&, void*, DWORD& size) noexcept {
    size = 0;
    return kNotSupported;
}

}  // namespace vt::bvdirect
