#include "platform/Win32.h"
#include "runtime/FileUtils.h"

namespace vt::FileUtils {

std::wstring SystemWindowsDirectory() {
    // The shared Windows folder, not the per-user one GetWindowsDirectoryW
    // gives under Terminal Services. The answer is the length without the
    // terminator on success, the size needed including it when the buffer is
    // too small, and 0 on failure.
    std::wstring folder(MAX_PATH, L'\0');
    for (int attempt = 0; attempt < 3; ++attempt) {
        const UINT n = ::GetSystemWindowsDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
        if (n == 0) return {};
        if (n < folder.size()) {
            folder.resize(n);
            return folder;
        }
        folder.resize(n);
    }
    return {};
}

std::wstring ExpandEnvironment(std::wstring_view text) {
    const std::wstring source(text);
    std::wstring expanded(source.size() + 64, L'\0');
    for (int attempt = 0; attempt < 4; ++attempt) {
        // The answer counts characters including the terminator, both when it
        // fits and when it asks for a larger buffer; 0 is a failure.
        const DWORD n = ::ExpandEnvironmentStringsW(source.c_str(), expanded.data(), static_cast<DWORD>(expanded.size()));
        if (n == 0) return source;
        if (n <= expanded.size()) {
            expanded.resize(n - 1);
            return expanded;
        }
        expanded.resize(n);
    }
    return source;
}

}  // namespace vt::FileUtils
