// The wrapper's direct road in the native build: files through the portable
// file layer, and no registry at all (every registry call fails, so the direct
// registry operations report false or handle 0 and a key walk finds nothing).
#include "runtime/FileSystem.h"
#include "services/BVWrapperDirect.h"

namespace vt::bvdirect {

// Unlinking needs no attribute change on POSIX systems.
void ResetFileAttributes(const std::wstring&) noexcept {}

bool FilePresent(const std::wstring& path) noexcept {
    try {
        return FileExists(path);
    } catch (...) {
        return false;
    }
}

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
