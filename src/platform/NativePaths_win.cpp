#include "platform/NativePaths.h"
#include "platform/Win32.h"

namespace vt::platform {

void SetDriveRoot(wchar_t, std::optional<std::wstring>) {}

std::wstring HostPath(std::wstring_view path) { return std::wstring(path); }

std::string HostBytes(std::wstring_view text) {
    if (text.empty()) return {};
    const int n = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(n > 0 ? n : 0), '\0');
    if (n > 0) ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), n, nullptr, nullptr);
    return out;
}

std::wstring FromHostBytes(std::string_view bytes) {
    if (bytes.empty()) return {};
    const int n = ::MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
    std::wstring out(static_cast<std::size_t>(n > 0 ? n : 0), L'\0');
    if (n > 0) ::MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), out.data(), n);
    return out;
}

}  // namespace vt::platform
