#include "System.h"

#include <tlhelp32.h>
#include <shlobj.h>

#include "platform/Handles.h"

namespace kxb::win {

namespace {

fs::path ShellFolder(int csidl) {
    wchar_t buffer[MAX_PATH] = {};
    if (FAILED(SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, buffer))) return {};
    return fs::path(buffer);
}

bool IsProcessRunning(const wchar_t* exeName) {
    vt::platform::unique_hfile snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) return false;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more; more = Process32NextW(snapshot.Get(), &entry))
        if (_wcsicmp(entry.szExeFile, exeName) == 0) return true;
    return false;
}

// The browser's registered path ("App Paths", per user first), else where
// its installer puts it by default.
std::wstring ExePath(const wchar_t* exeName, const fs::path& usual) {
    const std::wstring key = std::wstring(L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\") + exeName;
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        wchar_t buffer[MAX_PATH] = {};
        DWORD size = sizeof buffer;
        if (RegGetValueW(root, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, buffer, &size) == ERROR_SUCCESS &&
            buffer[0])
            return buffer;
    }
    return usual.wstring();
}

}  // namespace

std::unique_ptr<Browser> MakeUserChrome() {
    return MakeChrome({ShellFolder(CSIDL_LOCAL_APPDATA) / L"Google" / L"Chrome" / L"User Data",
                       ExePath(L"chrome.exe", ShellFolder(CSIDL_PROGRAM_FILES) / L"Google" / L"Chrome" /
                                                  L"Application" / L"chrome.exe"),
                       [] { return IsProcessRunning(L"chrome.exe"); }});
}

std::unique_ptr<Browser> MakeUserFirefox() {
    return MakeFirefox({ShellFolder(CSIDL_APPDATA) / L"Mozilla" / L"Firefox",
                        ExePath(L"firefox.exe", ShellFolder(CSIDL_PROGRAM_FILES) / L"Mozilla Firefox" / L"firefox.exe"),
                        [] { return IsProcessRunning(L"firefox.exe"); }});
}

void BackvaultSink::Set(IBackvault* service) {
    std::lock_guard<std::mutex> guard(lock_);
    service_ = com::Ref<IBackvault>(service);
}

com::Ref<IBackvault> BackvaultSink::Current() {
    std::lock_guard<std::mutex> guard(lock_);
    return service_;
}

bool BackvaultSink::BackupFile(const fs::path& file) {
    const auto service = Current();
    if (!service) return true;  // nothing to record with
    com::Ref<IBackvaultFiles> files;
    return SUCCEEDED(service->GetFiles(files.Put())) && files && SUCCEEDED(files->BackupFile(file.c_str()));
}

bool BackvaultSink::RemoveFile(const fs::path& file) {
    const auto service = Current();
    if (!service) return direct_.RemoveFile(file);
    com::Ref<IBackvaultFiles> files;
    return SUCCEEDED(service->GetFiles(files.Put())) && files && SUCCEEDED(files->DeleteFile(file.c_str()));
}

}  // namespace kxb::win
