#include "platform/Win32.h"

#include <sddl.h>

#include <memory>
#include <vector>

#include "platform/Handles.h"
#include "runtime/ProcessInfo.h"

namespace vt::ProcessInfo {

namespace {

struct LocalFreeDeleter {
    void operator()(void* p) const noexcept { ::LocalFree(p); }
};

platform::unique_handle OpenOwnToken(DWORD access) {
    platform::unique_handle token;
    if (!::OpenProcessToken(::GetCurrentProcess(), access, token.Put())) token.Reset();
    return token;
}

}  // namespace

bool QueryWow64Process() noexcept {  // declared in ProcessInfo.cpp
    // Looked up rather than linked: the export is missing before XP SP2.
    using IsWow64ProcessFn = BOOL(WINAPI*)(HANDLE, PBOOL);
    const HMODULE kernel = ::GetModuleHandleW(L"kernel32.dll");
    const auto isWow64 = reinterpret_cast<IsWow64ProcessFn>(
        reinterpret_cast<void*>(::GetProcAddress(kernel, "IsWow64Process")));
    BOOL wow64 = FALSE;
    return isWow64 != nullptr && isWow64(::GetCurrentProcess(), &wow64) && wow64;
}

bool EnablePrivilegie(const std::wstring& privilegeName) {
    const auto token = OpenOwnToken(TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY);
    if (!token) return false;
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (!::LookupPrivilegeValueW(nullptr, privilegeName.c_str(), &privileges.Privileges[0].Luid)) return false;
    // AdjustTokenPrivileges succeeds even when it changed nothing: a privilege
    // the user does not hold is only reported through ERROR_NOT_ALL_ASSIGNED.
    if (!::AdjustTokenPrivileges(token.Get(), FALSE, &privileges, 0, nullptr, nullptr)) return false;
    return ::GetLastError() == ERROR_SUCCESS;
}

std::wstring UserName() {
    std::wstring name(64, L'\0');
    for (int attempt = 0; attempt < 4; ++attempt) {
        // The size goes in and out in characters including the terminator;
        // too small a buffer fails with ERROR_INSUFFICIENT_BUFFER and the size needed.
        DWORD size = static_cast<DWORD>(name.size());
        if (::GetUserNameW(name.data(), &size)) {
            name.resize(size > 0 ? size - 1 : 0);
            return name;
        }
        if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER) return {};
        name.resize(size);
    }
    return {};
}

std::wstring UserSid() {
    const auto token = OpenOwnToken(TOKEN_QUERY);
    if (!token) return {};
    // First call sizes the buffer: it fails with ERROR_INSUFFICIENT_BUFFER and the size needed.
    DWORD size = 0;
    ::GetTokenInformation(token.Get(), TokenUser, nullptr, 0, &size);
    if (size == 0) return {};
    std::vector<std::uint8_t> buffer(size);
    if (!::GetTokenInformation(token.Get(), TokenUser, buffer.data(), size, &size)) return {};
    const auto* user = reinterpret_cast<const TOKEN_USER*>(buffer.data());
    LPWSTR text = nullptr;
    if (!::ConvertSidToStringSidW(user->User.Sid, &text)) return {};
    const std::unique_ptr<wchar_t, LocalFreeDeleter> owned(text);
    return owned.get();
}

}  // namespace vt::ProcessInfo
