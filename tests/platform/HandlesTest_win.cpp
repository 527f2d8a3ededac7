// Every handle owner closes through the call table, so a test can count or
// fail a close like any other system call.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/Handles.h"
#include "platform/SysCalls.h"

namespace vt::platform {
namespace {

std::vector<std::wstring> gClosed;

BOOL WINAPI CloseHandleSpy(HANDLE h) {
    gClosed.push_back(L"CloseHandle");
    return ::CloseHandle(h);
}
LONG WINAPI RegCloseKeySpy(HKEY h) {
    gClosed.push_back(L"RegCloseKey");
    return ::RegCloseKey(h);
}
BOOL WINAPI FindCloseSpy(HANDLE h) {
    gClosed.push_back(L"FindClose");
    return ::FindClose(h);
}
BOOL WINAPI FreeLibrarySpy(HMODULE h) {
    gClosed.push_back(L"FreeLibrary");
    return ::FreeLibrary(h);
}
BOOL WINAPI CloseServiceHandleSpy(SC_HANDLE h) {
    gClosed.push_back(L"CloseServiceHandle");
    return ::CloseServiceHandle(h);
}
BOOL WINAPI CloseEventLogSpy(HANDLE h) {
    gClosed.push_back(L"CloseEventLog");
    return ::CloseEventLog(h);
}

TEST(Handles, EveryOwnerClosesThroughTheCallTable) {
    ScopedSysCall closeHandle(&SysCallTable::CloseHandle, &CloseHandleSpy);
    ScopedSysCall closeKey(&SysCallTable::RegCloseKey, &RegCloseKeySpy);
    ScopedSysCall closeFind(&SysCallTable::FindClose, &FindCloseSpy);
    ScopedSysCall freeLibrary(&SysCallTable::FreeLibrary, &FreeLibrarySpy);
    ScopedSysCall closeService(&SysCallTable::CloseServiceHandle, &CloseServiceHandleSpy);
    ScopedSysCall closeEventLog(&SysCallTable::CloseEventLog, &CloseEventLogSpy);
    const std::pair<const wchar_t*, std::function<bool()>> owners[] = {
        {L"CloseHandle", [] { return unique_handle(::CreateEventW(nullptr, TRUE, FALSE, nullptr)).IsValid(); }},
        {L"RegCloseKey",
         [] {
             unique_hkey key;
             return ::RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ, key.Put()) == ERROR_SUCCESS;
         }},
        {L"FindClose",
         [] {
             WIN32_FIND_DATAW data;
             return unique_hfind(::FindFirstFileW(L"C:\\windows\\*", &data)).IsValid();
         }},
        {L"FreeLibrary", [] { return unique_hmodule(::LoadLibraryW(L"shlwapi.dll")).IsValid(); }},
        {L"CloseServiceHandle",
         [] { return unique_schandle(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)).IsValid(); }},
        {L"CloseEventLog", [] { return unique_eventlog(::OpenEventLogW(nullptr, L"Application")).IsValid(); }},
    };
    for (const auto& [closer, open] : owners) {
        gClosed.clear();
        ASSERT_TRUE(open()) << testing::PrintToString(std::wstring(closer));
        EXPECT_EQ(gClosed, std::vector<std::wstring>{closer});
    }
}

}  // namespace
}  // namespace vt::platform
