// TBVWrapper: the one road for every removal or rewrite of files, folders,
// registry keys and values. Each operation goes through the backup service
// (IBackvault) when it is attached and backing-up is on, so the user can undo
// the cleaning, and straight to Windows otherwise; file deletion goes through
// the wipe helper when one is attached.
//
// Keys the wrapper opens come back as BVKey owners that remember the road
// they were opened on and close the key on it. Raw HKEYs remain only where
// the backup service's binary interface takes them (parent keys handed in,
// RegKeyCloseKey for a handle released from its owner).
//
// Links: a file or folder that is a reparse point (symbolic link, junction)
// is deleted as itself, directly; it is never handed to the wipe helper or
// the backup service, which would open its target. The backed-up key walk
// opens keys with REG_OPTION_OPEN_LINK, so it never follows a registry link.
//
// Attributes: on the backed-up road the backup service and the wipe helper
// get the file as it is and must record and clear its attributes themselves
// (so an undone file gets its read-only, hidden and system flags back). The
// direct road clears them first and puts them back when the file stays.
//
// No operation but SaveWipeFile lets an exception out: failures are results,
// and what was swallowed is logged. The wrapper holds no lock; the engine
// serialises its users and refuses to swap the service or the wipe helper
// while a clean runs.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "runtime/ComObject.h"
#include "runtime/StringList.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

class TBVWrapper;

// A key handle from the wrapper, closed on scope exit on the road it was
// opened on: through the backup service that opened it, or by RegCloseKey.
class BVKey {
public:
    BVKey() noexcept = default;
    // AService: the service that opened AKey, null for a key opened directly.
    BVKey(Com<IBackvault> AService, HKEY AKey) noexcept : service_(std::move(AService)), key_(AKey) {}
    BVKey(BVKey&& other) noexcept : service_(std::move(other.service_)), key_(std::exchange(other.key_, nullptr)) {}
    BVKey& operator=(BVKey&& other) noexcept {
        if (this != &other) {
            Reset();
            service_ = std::move(other.service_);
            key_ = std::exchange(other.key_, nullptr);
        }
        return *this;
    }
    BVKey(const BVKey&) = delete;
    BVKey& operator=(const BVKey&) = delete;
    ~BVKey() { Reset(); }

    HKEY Get() const noexcept { return key_; }
    explicit operator bool() const noexcept { return key_ != nullptr; }
    bool BackedUp() const noexcept { return static_cast<bool>(service_); }
    // Closes the key on its road; false when the close failed (logged).
    bool Reset() noexcept;
    // Gives the raw handle up; the caller closes it with RegKeyCloseKey on the same road.
    HKEY Release() noexcept {
        service_.Reset();
        return std::exchange(key_, nullptr);
    }

private:
    Com<IBackvault> service_;
    HKEY key_ = nullptr;
};

class TBVWrapper {
public:
    TBVWrapper();
    ~TBVWrapper();
    TBVWrapper(const TBVWrapper&) = delete;
    TBVWrapper& operator=(const TBVWrapper&) = delete;

    // The backup service; assigning it sets BVEnabled to whether it is non-null.
    Com<IBackvault> Backvault() const { return fBackvault; }
    void SetBackvault(IBackvault* AValue);
    bool BVEnabled() const noexcept { return fBVEnabled; }
    void SetBVEnabled(bool AValue) noexcept { fBVEnabled = AValue; }
    // Backing up happens only when enabled and a service is attached; asked
    // afresh by every operation.
    bool Active() const noexcept { return fBVEnabled && fBackvault; }

    Com<IDiskWipeHelper> GetWipeDLL() const { return gWipeDLL; }
    void SetWipeDLL(IDiskWipeHelper* AWipeDLL) { gWipeDLL = AWipeDLL; }

    // Names of programs to close before cleaning, each with its count of
    // enabled categories that need it in the object slot.
    StringList& WarningProcesses() noexcept { return fWarningProcesses; }

    // True when the file no longer exists afterwards (only "not found" counts
    // as gone, not attributes that cannot be read). ADisableBV: no backup. A
    // link is deleted as itself, never wiped or backed up.
    bool DeleteFile(const std::wstring& AFileName, bool ADisableBV);
    // Removes an empty folder; true on success. A folder link (junction,
    // symbolic link) is removed as itself, directly.
    bool RemoveDir(const std::wstring& APath);
    // Backs the file up through the service; raises the invalid-operation
    // error (empty message) when no service is assigned or the file is
    // missing, and with a message when the path is a link.
    void SaveWipeFile(const std::wstring& AFileName);
    // Bytes wiped since the last call; resets the counter.
    std::uint64_t LastWipeSize() noexcept;

    // The key (created if missing); empty on failure.
    [[nodiscard]] BVKey RegOpenCreateKey(HKEY AKey, const std::wstring& ASubKey);
    // The key opened for full access; empty on failure.
    [[nodiscard]] BVKey RegKeyOpenWrite(HKEY AKey, const std::wstring& ASubKey);
    bool RegKeySetDword(HKEY AKey, const std::wstring& AValueName, std::uint32_t AValue);
    bool RegKeySetBinary(HKEY AKey, const std::wstring& AValueName, const void* ABuffer, std::uint32_t ACount);
    // Records a value's current bytes in the backup (only when active; false otherwise).
    bool RegKeyStoreBinary(HKEY AKey, const std::wstring& ASubKey, const std::wstring& AValueName);
    bool RegKeyDeleteValue(HKEY AKey, const std::wstring& AValue);
    // Deletes a key with everything below it (directly: only a key without sub-keys).
    bool RegKeyDeleteKey(HKEY AKey, const std::wstring& ASubKeyOfOpenedKey);
    // Deletes every sub-key of the open key; the key and its values stay.
    bool RegKeyDeleteKeyDescendant(HKEY AParentKey);
    // Closes a raw handle released from a BVKey, on the road active now.
    bool RegKeyCloseKey(HKEY AKey);

    // One leading and then one trailing backslash removed, for texts of two
    // characters or more.
    static std::wstring NormalizeSubKey(const std::wstring& ASubKey);

private:
    // Opens a key of the backed-up walk: full access, never through a registry link.
    BVKey OpenKeyForWalk(HKEY AKey, const std::wstring& ASubKey);
    // The direct deletion of a file or, for a folder link, of the folder
    // entry: attributes cleared first and put back when the entry stays.
    bool DeleteUnrecorded(const std::wstring& APath, bool AExists, DWORD AAttributes,
                          const Com<IDiskWipeHelper>& AWiper);

    Com<IBackvault> fBackvault;
    bool fBVEnabled = false;
    std::uint64_t fLastWipeSize = 0;
    Com<IDiskWipeHelper> gWipeDLL;
    StringList fWarningProcesses;
};

}  // namespace vt
