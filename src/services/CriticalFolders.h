// Folders the cleaner must never touch (drive roots, the Windows folder, the
// profile, document, desktop and start-menu folders, the program folders and
// other users' profiles) with their exceptions (temporary folders, logs, the
// spool folder, Recent), built once from the running system, and the gate
// that categories call before they search a folder.
//
// Every question the lists are built from goes through ICriticalFoldersSystem,
// so the algorithm runs natively against scripted answers; the Windows answers
// live in CriticalFolders_win.cpp. Portable: no <windows.h>.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "runtime/StringList.h"

namespace vt {

class IRegistryReader;

// The system facts the critical-folder lists are built from.
class ICriticalFoldersSystem {
public:
    // Well-known folders, asked by their shell folder numbers (CSIDL values).
    enum KnownFolder { kfLocalAppDataLow, kfPublic };

    virtual ~ICriticalFoldersSystem() = default;
    // Bit n set: drive letter 'A' + n is present (GetLogicalDrives).
    virtual std::uint32_t LogicalDrives() = 0;
    // GetDriveTypeW of a root ("C:\"); 3 is a fixed drive.
    virtual std::uint32_t DriveType(const std::wstring& root) = 0;
    // The object-manager name of the path opened as itself
    // ("\Device\HarddiskVolume1\Windows"); empty when it cannot be resolved
    // (the reason is logged by the implementation).
    virtual std::wstring NativeName(const std::wstring& path) = 0;
    // SHGetFolderPathW(csidl) current value, without trailing backslash; nullopt on failure.
    virtual std::optional<std::wstring> ShellFolder(int csidl) = 0;
    // SHGetKnownFolderPath on Windows Vista and later; nullopt before or on failure.
    virtual std::optional<std::wstring> KnownFolderPath(KnownFolder folder) = 0;
    // The profiles, all-users and default-user profile directories; nullopt on failure.
    virtual std::optional<std::wstring> ProfilesDirectory() = 0;
    virtual std::optional<std::wstring> AllUsersProfileDirectory() = 0;
    virtual std::optional<std::wstring> DefaultUserProfileDirectory() = 0;
    // An environment variable; empty when unset.
    virtual std::wstring Environment(const std::wstring& name) = 0;
    // GetLongPathNameW of path; path itself when that fails.
    virtual std::wstring LongPathName(const std::wstring& path) = 0;
    // ExpandEnvironmentStrings of text.
    virtual std::wstring ExpandEnvironment(const std::wstring& text) = 0;
    // The current user's account name; empty when unknown.
    virtual std::wstring UserName() = 0;
    // The security identifier of an account on the local system (LookupAccountNameW), as bytes; empty on failure.
    virtual std::vector<std::uint8_t> AccountSid(const std::wstring& accountName) = 0;
    // The current user's identifier as text ("S-1-5-21-..."); empty when unknown.
    virtual std::wstring UserSidText() = 0;
    // The registry the profile and document-folder lists are read from.
    virtual const IRegistryReader& Registry() = 0;
};

// The running system's answers (natively: no drives, no shell folders; the
// environment and the native registry of the process).
std::unique_ptr<ICriticalFoldersSystem> MakeSystemCriticalFoldersSystem();

class TCriticalFolders {
public:
    explicit TCriticalFolders(std::unique_ptr<ICriticalFoldersSystem> system);
    ~TCriticalFolders();
    TCriticalFolders(const TCriticalFolders&) = delete;
    TCriticalFolders& operator=(const TCriticalFolders&) = delete;

    // True when AFolder must not be touched; builds the lists on the first
    // question. An empty folder is critical; any failure inside answers false.
    bool IsFolderCritical(const std::wstring& AFolder, bool ARootsAllow);

    // The lists as built (for logging and tests); empty until the first question.
    const StringList& RestrictedFolders() const noexcept { return FRestrictedFolders; }
    const StringList& AllowedFolders() const noexcept { return FAllowedFolders; }

private:
    void Populate();
    void AddEntry(StringList& list, const std::wstring& text);
    void AddShellFolder(StringList& list, int csidl, const std::wstring& suffix);
    void AddEnvironmentFolder(StringList& list, const std::wstring& name, const std::wstring& suffix);
    void AddUserProfilePaths();
    void AddDocFolderPaths();
    std::wstring NativeToDrivePath(const std::wstring& native) const;

    std::unique_ptr<ICriticalFoldersSystem> system_;
    std::mutex populateLock_;  // two engines may ask first at the same time
    bool FPopulated = false;
    StringList FRestrictedFolders;
    StringList FAllowedFolders;
    std::vector<std::pair<std::wstring, std::wstring>> FDosDevices;  // root -> native name, in drive order
};

// The process's single instance, created on first use and kept until the
// process ends (the library's load and unload).
TCriticalFolders& CriticalFolders();
// Replaces the single instance's system answers with a fresh instance over
// system (tests); nullptr restores the running system's.
void ResetCriticalFoldersForTesting(std::unique_ptr<ICriticalFoldersSystem> system);

// The folder gate: false for a path that is not a drive path ("X:\..."); true
// when ACheckExists and the folder is missing; otherwise asks IsFolderCritical
// (which logs a critical folder) and admits the path whatever it answers.
bool IsAllowedFolder(const std::wstring& APath, bool ACheckExists, bool ARootsAllow);

}  // namespace vt
