// TBVWrapper: the one road for every removal or rewrite of files, folders,
// registry keys and values. Each operation goes through the backup service
// (IBackvault) when it is attached and backing-up is on, so the user can undo
// the cleaning, and straight to Windows otherwise; file deletion goes through
// the wipe helper when one is attached.
//
// Key handles are raw HKEYs on purpose: a handle opened through the backup
// service must be closed through it, so the wrapper hands handles out and
// takes them back in RegKeyCloseKey (BVKey does that on scope exit). Callers
// must not switch BVEnabled between opening a key and closing it.
//
// No operation but SaveWipeFile lets an exception out: failures are results.
// The wrapper holds no lock; the engine serialises its users.
#pragma once

#include <cstdint>
#include <string>

#include "runtime/ComObject.h"
#include "runtime/StringList.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

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

    // True when the file no longer exists afterwards. ADisableBV: no backup.
    bool DeleteFile(const std::wstring& AFileName, bool ADisableBV);
    // Removes an empty folder; true on success.
    bool RemoveDir(const std::wstring& APath);
    // Backs the file up through the service; raises the invalid-operation
    // error (empty message) when no service is assigned or the file is missing.
    void SaveWipeFile(const std::wstring& AFileName);
    // Bytes wiped since the last call; resets the counter.
    std::uint64_t LastWipeSize() noexcept;

    // Key handle (created if missing), 0 on failure.
    HKEY RegOpenCreateKey(HKEY AKey, const std::wstring& ASubKey);
    // Key handle opened for full access, 0 on failure.
    HKEY RegKeyOpenWrite(HKEY AKey, const std::wstring& ASubKey);
    bool RegKeySetDword(HKEY AKey, const std::wstring& AValueName, std::uint32_t AValue);
    bool RegKeySetBinary(HKEY AKey, const std::wstring& AValueName, const void* ABuffer, std::uint32_t ACount);
    // Records a value's current bytes in the backup (only when active; false otherwise).
    bool RegKeyStoreBinary(HKEY AKey, const std::wstring& ASubKey, const std::wstring& AValueName);
    bool RegKeyDeleteValue(HKEY AKey, const std::wstring& AValue);
    // Deletes a key with everything below it (directly: only a key without sub-keys).
    bool RegKeyDeleteKey(HKEY AKey, const std::wstring& ASubKeyOfOpenedKey);
    // Deletes every sub-key of the open key; the key and its values stay.
    bool RegKeyDeleteKeyDescendant(HKEY AParentKey);
    bool RegKeyCloseKey(HKEY AKey);

    // One leading and then one trailing backslash removed, for texts of two
    // characters or more.
    static std::wstring NormalizeSubKey(const std::wstring& ASubKey);

private:
    Com<IBackvault> fBackvault;
    bool fBVEnabled = false;
    std::uint64_t fLastWipeSize = 0;
    Com<IDiskWipeHelper> gWipeDLL;
    StringList fWarningProcesses;
};

// A key handle from the wrapper, closed through it on scope exit.
class BVKey {
public:
    BVKey(TBVWrapper& AWrapper, HKEY AKey) noexcept : wrapper_(&AWrapper), key_(AKey) {}
    BVKey(BVKey&& other) noexcept : wrapper_(other.wrapper_), key_(other.key_) { other.key_ = nullptr; }
    BVKey(const BVKey&) = delete;
    BVKey& operator=(const BVKey&) = delete;
    BVKey& operator=(BVKey&&) = delete;
    ~BVKey() {
        if (key_) wrapper_->RegKeyCloseKey(key_);
    }
    HKEY Get() const noexcept { return key_; }
    explicit operator bool() const noexcept { return key_ != nullptr; }

private:
    TBVWrapper* wrapper_;
    HKEY key_;
};

}  // namespace vt
