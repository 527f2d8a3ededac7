// What the file-based system categories ask of Windows, behind one interface
// so their rules (which folders and drives they search, which files they keep
// out, how the hibernation file is released) run natively against scripted
// answers: CHKDSK fragments need FAT drives, the hibernation file needs the
// power calls, neither of which Wine provides. The Windows answers are in
// FileCategorySystem_win.cpp. Portable: no <windows.h>.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vt {

class IRegistryReader;

class IFileCategorySystem {
public:
    virtual ~IFileCategorySystem() = default;
    // The Windows folder with a trailing backslash; empty when unknown.
    virtual std::wstring WindowsDirectory() = 0;
    // The user's temporary folder with a trailing backslash; empty when unknown.
    virtual std::wstring TempPath() = 0;
    // SHGetFolderPathW(csidl) without trailing backslash; nullopt on failure.
    virtual std::optional<std::wstring> ShellFolder(int csidl) = 0;
    // The roots of GetLogicalDriveStringsW ("C:\", "D:\"), in order.
    virtual std::vector<std::wstring> LogicalDriveRoots() = 0;
    // GetDriveTypeW of a root (3: fixed).
    virtual std::uint32_t DriveType(const std::wstring& root) = 0;
    // The file-system name GetVolumeInformationW gives for a root ("NTFS", "FAT32"); empty on failure.
    virtual std::wstring FileSystemName(const std::wstring& root) = 0;
    // The running Windows' number in the runtime's version table (OSInfo).
    virtual int WindowsVersion() = 0;
    // Environment references expanded.
    virtual std::wstring ExpandEnvironment(const std::wstring& text) = 0;
    virtual const IRegistryReader& Registry() = 0;

    // Power: the system can hibernate (S4) and keeps a hibernation file.
    virtual bool HibernationFilePresent() = 0;
    // CallNtPowerInformation(SystemReserveHiberFile) with one byte: false
    // releases the file, true reserves it again. The NTSTATUS (0 success).
    virtual std::uint32_t ReserveHibernationFile(bool reserve) = 0;
    virtual bool FileExists(const std::wstring& path) = 0;
    virtual void Sleep(std::uint32_t milliseconds) = 0;
};

// The running system's answers (natively: the runtime's file helpers, the
// native registry, no drives and no hibernation).
std::unique_ptr<IFileCategorySystem> MakeFileCategorySystem();

// The masked paths each file category searches, in the order they are added.
namespace FileCategoryMasks {
// "*.dmp" in the Windows folder, its "Minidump" folder, the crash-control
// "MinidumpDir" (expanded) and the temporary folder; each only when a drive path.
std::vector<std::wstring> MemoryDumps(IFileCategorySystem& system);
// "*.chk" at the root of every fixed drive whose file system is FAT or FAT32.
std::vector<std::wstring> ChkdskFragments(IFileCategorySystem& system);
// Every file of the spooler's queue folder.
std::vector<std::wstring> PrinterSpool(IFileCategorySystem& system);
// Every file of the CD-burning area and, from Windows version 12 on, of every
// "StagingPath" under the current user's "StagingInfo" key (not admitted first).
std::vector<std::wstring> CDBurningStaging(IFileCategorySystem& system);
// Every file of "AutomaticDestinations" or "CustomDestinations" in Recent.
std::vector<std::wstring> JumpLists(IFileCategorySystem& system, bool automatic);
// Every file of the Windows "Debug" folder (always added).
std::vector<std::wstring> WindowsDebug(IFileCategorySystem& system);
}  // namespace FileCategoryMasks

// "desktop.ini", in any letter case, is never offered from the burning area.
bool IsBurningAreaFileExcluded(const std::wstring& path);
// "PASSWD.LOG" and "SAM.LOG", in any letter case, are never offered from the debug folder.
bool IsProtectedDebugLog(const std::wstring& path);

// The hibernation file of the system drive ("C:\hiberfil.sys"); empty without a Windows folder.
std::wstring HibernationFilePath(IFileCategorySystem& system);
// Releases the hibernation file and reserves it again, waiting up to 15 s
// (500 ms steps) for it to go. True when it is gone; false when it was
// missing, when either power call failed (logged with its status), or when
// it is still there.
bool ReleaseHibernationFile(IFileCategorySystem& system, const std::wstring& path);

}  // namespace vt
