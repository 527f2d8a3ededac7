// The Win32 registry and file functions the removal and search code calls,
// and the closers of every handle owner (platform/Handles.h), reached through
// one table of function pointers (SQLite's os_win shape).
// Each entry is the real function unless a test has put a fault in its place:
//
//     platform::ScopedSysCall deny(&platform::SysCallTable::RegOpenKeyExW, &DenyOpen);
//
// Overrides are for tests only: the table is not synchronised, so swap entries
// while no other thread calls through them.
#pragma once

#include "platform/Win32.h"

namespace vt::platform {

struct SysCallTable {
    decltype(&::RegOpenKeyExW) RegOpenKeyExW = &::RegOpenKeyExW;
    decltype(&::RegCreateKeyExW) RegCreateKeyExW = &::RegCreateKeyExW;
    decltype(&::RegQueryInfoKeyW) RegQueryInfoKeyW = &::RegQueryInfoKeyW;
    decltype(&::RegEnumKeyExW) RegEnumKeyExW = &::RegEnumKeyExW;
    decltype(&::RegEnumValueW) RegEnumValueW = &::RegEnumValueW;
    decltype(&::RegQueryValueExW) RegQueryValueExW = &::RegQueryValueExW;
    decltype(&::RegSetValueExW) RegSetValueExW = &::RegSetValueExW;
    decltype(&::RegDeleteValueW) RegDeleteValueW = &::RegDeleteValueW;
    decltype(&::RegDeleteKeyW) RegDeleteKeyW = &::RegDeleteKeyW;
    decltype(&::RegCloseKey) RegCloseKey = &::RegCloseKey;
    decltype(&::CreateFileW) CreateFileW = &::CreateFileW;
    decltype(&::SetFileAttributesW) SetFileAttributesW = &::SetFileAttributesW;
    decltype(&::DeleteFileW) DeleteFileW = &::DeleteFileW;
    decltype(&::RemoveDirectoryW) RemoveDirectoryW = &::RemoveDirectoryW;
    decltype(&::GetFileAttributesW) GetFileAttributesW = &::GetFileAttributesW;
    decltype(&::FindFirstFileW) FindFirstFileW = &::FindFirstFileW;
    decltype(&::FindNextFileW) FindNextFileW = &::FindNextFileW;
    decltype(&::FindClose) FindClose = &::FindClose;
    // Closers of the owners of platform/Handles.h (FindClose and RegCloseKey above too).
    decltype(&::CloseHandle) CloseHandle = &::CloseHandle;
    decltype(&::FreeLibrary) FreeLibrary = &::FreeLibrary;
    decltype(&::CloseServiceHandle) CloseServiceHandle = &::CloseServiceHandle;
    decltype(&::CloseEventLog) CloseEventLog = &::CloseEventLog;
    decltype(&::LocalFree) LocalFree = &::LocalFree;
    // The service manager, for service control.
    decltype(&::OpenSCManagerW) OpenSCManagerW = &::OpenSCManagerW;
    decltype(&::OpenServiceW) OpenServiceW = &::OpenServiceW;
    decltype(&::QueryServiceStatus) QueryServiceStatus = &::QueryServiceStatus;
    decltype(&::ControlService) ControlService = &::ControlService;
    decltype(&::StartServiceW) StartServiceW = &::StartServiceW;
};

// The process-wide table; never null, entries never null.
SysCallTable& SysCalls() noexcept;

// Puts a replacement into one entry of the table and restores the entry it
// found when it goes out of scope (tests).
template <class Fn>
class ScopedSysCall {
public:
    ScopedSysCall(Fn SysCallTable::*entry, Fn replacement) noexcept
        : slot_(&(SysCalls().*entry)), saved_(*slot_) {
        *slot_ = replacement;
    }
    ~ScopedSysCall() { *slot_ = saved_; }
    ScopedSysCall(const ScopedSysCall&) = delete;
    ScopedSysCall& operator=(const ScopedSysCall&) = delete;

private:
    Fn* slot_;
    Fn saved_;
};

}  // namespace vt::platform
