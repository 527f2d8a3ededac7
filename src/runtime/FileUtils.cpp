#include "runtime/FileUtils.h"

#include <mutex>

#include "runtime/FileSystem.h"
#include "runtime/Strings.h"

namespace vt::FileUtils {

namespace {
std::mutex gOverrideLock;
std::optional<std::wstring>& WindowsDirectoryOverride() {
    static auto* folder = new std::optional<std::wstring>();
    return *folder;
}
}  // namespace

std::wstring SystemWindowsDirectory();  // per platform

bool IsMaskedPath(std::wstring_view path) noexcept {
    const auto nameStart = path.find_last_of(L"\\:");
    const std::wstring_view name = nameStart == std::wstring_view::npos ? path : path.substr(nameStart + 1);
    return name.find_first_of(L"*?") != std::wstring_view::npos;
}

std::wstring PreparePathName(std::wstring_view path) {
    if (path.empty()) return {};
    return IncludeTrailingPathDelimiter(ExpandEnvironment(path));
}

std::int64_t GetFileSize(const std::wstring& path) { return FileSizeOf(path); }

std::wstring WindowsDirectory() {
    std::wstring folder;
    {
        std::lock_guard<std::mutex> guard(gOverrideLock);
        if (WindowsDirectoryOverride()) folder = *WindowsDirectoryOverride();
    }
    if (folder.empty()) folder = SystemWindowsDirectory();
    return folder.empty() ? folder : IncludeTrailingPathDelimiter(folder);
}

void SetWindowsDirectoryForTesting(std::optional<std::wstring> folder) {
    std::lock_guard<std::mutex> guard(gOverrideLock);
    WindowsDirectoryOverride() = std::move(folder);
}

}  // namespace vt::FileUtils
