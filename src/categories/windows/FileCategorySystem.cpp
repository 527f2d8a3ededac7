#include "categories/windows/FileCategorySystem.h"

#include "runtime/DebugLog.h"
#include "runtime/RegistryReader.h"
#include "runtime/Strings.h"

namespace vt {

namespace {

constexpr std::wstring_view kHibernateSender = L"THibernateCategory";
constexpr int kCsidlRecent = 0x08;
constexpr int kCsidlCDBurnArea = 0x3B;
constexpr int kFirstVersionWithStagingInfo = 12;

// The drive-path test of the folder search: "X:\" and more.
bool IsDrivePathFolder(const std::wstring& folder) {
    return folder.size() >= 3 && folder[1] == L':' && folder[2] == L'\\';
}

void AddIfDrivePath(std::vector<std::wstring>& masks, const std::wstring& folder, const std::wstring& mask) {
    if (folder.empty()) return;
    const std::wstring withSlash = IncludeTrailingPathDelimiter(folder);
    if (IsDrivePathFolder(withSlash)) masks.push_back(withSlash + mask);
}

}  // namespace

namespace FileCategoryMasks {

std::vector<std::wstring> MemoryDumps(IFileCategorySystem& system) {
    std::vector<std::wstring> masks;
    const std::wstring windows = system.WindowsDirectory();
    AddIfDrivePath(masks, windows, L"*.dmp");
    if (!windows.empty()) AddIfDrivePath(masks, windows + L"Minidump\\", L"*.dmp");
    if (auto key = system.Registry().OpenKey(RegistryRoot::LocalMachine,
                                              L"\\SYSTEM\\CurrentControlSet\\Control\\CrashControl")) {
        const auto value = key->ReadValue(L"MinidumpDir");
        const std::wstring dir = value ? RegistryString(*value).value_or(L"") : std::wstring();
        AddIfDrivePath(masks, system.ExpandEnvironment(dir), L"*.dmp");
    }
    AddIfDrivePath(masks, system.TempPath(), L"*.dmp");
    return masks;
}

std::vector<std::wstring> ChkdskFragments(IFileCategorySystem& system) {
    std::vector<std::wstring> masks;
    for (const auto& root : system.LogicalDriveRoots()) {
        if (system.DriveType(root) != 3) continue;
        if (StartsText(L"FAT", system.FileSystemName(root))) masks.push_back(IncludeTrailingPathDelimiter(root) + L"*.chk");
    }
    return masks;
}

std::vector<std::wstring> PrinterSpool(IFileCategorySystem& system) {
    std::vector<std::wstring> masks;
    const std::wstring windows = system.WindowsDirectory();
    if (!windows.empty()) AddIfDrivePath(masks, windows + L"system32\\spool\\PRINTERS\\", L"*.*");
    return masks;
}

std::vector<std::wstring> CDBurningStaging(IFileCategorySystem& system) {
    std::vector<std::wstring> masks;
    if (auto area = system.ShellFolder(kCsidlCDBurnArea)) AddIfDrivePath(masks, *area, L"*.*");
    if (system.WindowsVersion() < kFirstVersionWithStagingInfo) return masks;
    const std::wstring staging =
        L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\CD Burning\\StagingInfo\\";
    const IRegistryReader& registry = system.Registry();
    const auto key = registry.OpenKey(RegistryRoot::CurrentUser, staging, RegistryView::Force64);
    if (!key) return masks;
    for (const auto& name : key->SubKeyNames()) {
        const auto sub = registry.OpenKey(RegistryRoot::CurrentUser, staging + name, RegistryView::Force64);
        const auto value = sub ? sub->ReadValue(L"StagingPath") : std::nullopt;
        const std::wstring path = value ? RegistryString(*value).value_or(L"") : std::wstring();
        if (!path.empty()) masks.push_back(IncludeTrailingPathDelimiter(path) + L"*.*");
    }
    return masks;
}

std::vector<std::wstring> JumpLists(IFileCategorySystem& system, bool automatic) {
    std::vector<std::wstring> masks;
    if (auto recent = system.ShellFolder(kCsidlRecent))
        AddIfDrivePath(masks,
                       IncludeTrailingPathDelimiter(*recent) +
                           (automatic ? L"AutomaticDestinations\\" : L"CustomDestinations\\"),
                       L"*.*");
    return masks;
}

std::vector<std::wstring> WindowsDebug(IFileCategorySystem& system) {
    // The folder test admits every drive path, even a missing or critical
    // folder, so the mask is always added.
    return {system.WindowsDirectory() + L"Debug\\*.*"};
}

}  // namespace FileCategoryMasks

bool IsBurningAreaFileExcluded(const std::wstring& path) { return SameText(ExtractFileName(path), L"desktop.ini"); }

bool IsProtectedDebugLog(const std::wstring& path) {
    const std::wstring name = UpperCase(ExtractFileName(path));
    return name == L"PASSWD.LOG" || name == L"SAM.LOG";
}

std::wstring HibernationFilePath(IFileCategorySystem& system) {
    const std::wstring windows = system.WindowsDirectory();
    if (windows.size() < 2) return {};
    return windows.substr(0, 2) + L"\\hiberfil.sys";
}

bool ReleaseHibernationFile(IFileCategorySystem& system, const std::wstring& path) {
    LogScope scope(kHibernateSender, L"DeleteDetectedItem");
    TDebugLog::Log(llInfo, kHibernateSender, L"file path = %s", {path.c_str()});
    bool result = false;
    if (system.FileExists(path)) {
        std::uint32_t status = system.ReserveHibernationFile(false);
        if (status != 0) {
            TDebugLog::Log(llError, kHibernateSender, L"status: 0x%.8x", {static_cast<unsigned>(status)});
        } else {
            std::uint32_t waited = 0;
            while (system.FileExists(path) && waited < 15000) {
                system.Sleep(500);
                waited += 500;
            }
            TDebugLog::Log(llInfo, kHibernateSender, L"timeout = %d", {static_cast<unsigned>(waited)});
            status = system.ReserveHibernationFile(true);
            if (status != 0) {
                // The file may be gone already; reported as a failure all the same.
                TDebugLog::Log(llError, kHibernateSender, L"status: 0x%.8x", {static_cast<unsigned>(status)});
            } else {
                result = !system.FileExists(path);
            }
        }
    }
    TDebugLog::Log(llInfo, kHibernateSender, L"result = %s", {BoolToStr(result)});
    return result;
}

}  // namespace vt
