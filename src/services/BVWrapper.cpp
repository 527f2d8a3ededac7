#include "services/BVWrapper.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "runtime/ComBoundary.h"
#include "runtime/DebugLog.h"
#include "runtime/Exception.h"
#include "runtime/Strings.h"
#include "services/BVWrapperDirect.h"

namespace vt {

namespace {

constexpr wchar_t kSender[] = L"TBVWrapper";

constexpr DWORD kRegOptionOpenLink = 0x8;  // REG_OPTION_OPEN_LINK

// A failed HRESULT from a sibling stands for an exception raised by it.
void Check(HRESULT hr) {
    if (FAILED(hr)) throw Exception(hr, TakeErrorInfoMessage());
}

// Logs the exception in flight that an operation turns into a failure
// result. Called only inside a catch block; never throws.
void LogSwallowed(const wchar_t* operation) noexcept {
    try {
        try {
            throw;
        } catch (const Exception& e) {
            TDebugLog::Log(llError, kSender, L"%s failed (0x%x): %s",
                           {operation, static_cast<unsigned>(e.Code()), e.Message()});
        } catch (const std::exception& e) {
            TDebugLog::Log(llError, kSender, L"%s failed: %s", {operation, WidenMessage(e.what())});
        } catch (...) {
            TDebugLog::Log(llError, kSender, L"%s failed with an unknown exception", {operation});
        }
    } catch (...) {
        // The log itself failed (out of memory): the result still reports the failure.
    }
}

bool IsLink(bvdirect::PathState state, DWORD attributes) noexcept {
    return state == bvdirect::PathState::kPresent && (attributes & bvdirect::kAttributeReparsePoint) != 0;
}

// The service's registry and file interfaces, fetched afresh for every
// operation and released at its end.
Com<IBackvaultRegistry> RegistryOf(const Com<IBackvault>& service) {
    Com<IBackvaultRegistry> registry;
    Check(service->GetRegistry(registry.Put()));
    if (!registry) ThrowGeneral(L"The backup service handed out no registry interface");
    return registry;
}

Com<IBackvaultFiles> FilesOf(const Com<IBackvault>& service) {
    Com<IBackvaultFiles> files;
    Check(service->GetFiles(files.Put()));
    if (!files) ThrowGeneral(L"The backup service handed out no file interface");
    return files;
}

// Deletes every sub-key of an open key through the wrapper. The walk goes from
// the highest index down so the indices still to come stay valid while keys
// disappear. A key with no named sub-key needs nothing. Enumeration ending
// early (no more items) is success; any other enumeration failure is not,
// since going on with a name that was not read could delete the wrong key.
bool DeleteSubKeys(TBVWrapper& wrapper, HKEY key) {
    bvdirect::KeyInfo info;
    bvdirect::QueryKeyInfo(key, info);
    if (info.maxSubKeyLength == 0) return true;
    std::vector<wchar_t> buffer(std::size_t{info.maxSubKeyLength} + 1);
    std::wstring name;
    for (DWORD index = info.subKeys; index-- > 0;) {
        const long status = bvdirect::EnumSubKey(key, index, buffer, name);
        if (status == bvdirect::kNoMoreItems) break;
        if (status != bvdirect::kSuccess) return false;
        if (!wrapper.RegKeyDeleteKey(key, name)) return false;
    }
    return true;
}

// Deletes the values of an open key one by one, so the backup service records
// each of them before the key itself goes.
bool DeleteValues(TBVWrapper& wrapper, HKEY key) {
    bvdirect::KeyInfo info;
    bvdirect::QueryKeyInfo(key, info);
    if (info.maxValueNameLength == 0) return true;
    std::vector<wchar_t> buffer(std::size_t{info.maxValueNameLength} + 1);
    std::wstring name;
    for (DWORD index = info.values; index-- > 0;) {
        const long status = bvdirect::EnumValueName(key, index, buffer, name);
        if (status == bvdirect::kNoMoreItems) break;
        if (status != bvdirect::kSuccess) return false;
        if (!wrapper.RegKeyDeleteValue(key, name)) return false;
    }
    return true;
}

}  // namespace

TBVWrapper::TBVWrapper() = default;
TBVWrapper::~TBVWrapper() = default;

void TBVWrapper::SetBackvault(IBackvault* AValue) {
    fBackvault = AValue;
    fBVEnabled = AValue != nullptr;
}

std::wstring TBVWrapper::NormalizeSubKey(const std::wstring& ASubKey) {
    std::wstring result = ASubKey;
    if (result.size() < 2) return result;
    if (result.front() == L'\\') result.erase(0, 1);
    if (!result.empty() && result.back() == L'\\') result.pop_back();
    return result;
}

bool BVKey::Reset() noexcept {
    const HKEY key = std::exchange(key_, nullptr);
    const Com<IBackvault> service = std::move(service_);
    if (key == nullptr) return true;
    if (!service) return bvdirect::CloseKey(key) == bvdirect::kSuccess;
    try {
        Check(RegistryOf(service)->CloseKey(key));
        return true;
    } catch (...) {
        LogSwallowed(L"CloseKey");
        return false;
    }
}

bool TBVWrapper::DeleteUnrecorded(const std::wstring& APath, bool AExists, DWORD AAttributes,
                                  const Com<IDiskWipeHelper>& AWiper) {
    // Read-only, hidden and system files cannot go with their attributes on.
    // Only attributes that were read can be put back, so only those are cleared.
    const bool cleared = AExists && AAttributes != bvdirect::kAttributeNormal &&
                         bvdirect::SetAttributes(APath, bvdirect::kAttributeNormal);
    bool result = false;
    if (AWiper) {
        std::uint64_t wiped = 0;
        bool done = false;
        if (SUCCEEDED(AWiper->WipeFile(APath.c_str(), &wiped, &done))) {
            fLastWipeSize += wiped;
            result = done;
        }
    } else if (AAttributes & bvdirect::kAttributeReparsePoint) {
        // A link goes as the entry it is: a folder link as a folder entry, a
        // file link as a file. Its target stays untouched.
        result = (AAttributes & bvdirect::kAttributeDirectory)
                     ? bvdirect::EraseEmptyFolder(APath) || bvdirect::EraseFile(APath)
                     : bvdirect::EraseFile(APath) || bvdirect::EraseEmptyFolder(APath);
    } else {
        result = bvdirect::EraseFile(APath);
    }
    DWORD now = 0;
    if (cleared && bvdirect::QueryPath(APath, now) == bvdirect::PathState::kPresent) {
        // The file stays: it keeps the attributes it had.
        bvdirect::SetAttributes(APath, AAttributes);
    }
    return result;
}

bool TBVWrapper::DeleteFile(const std::wstring& AFileName, bool ADisableBV) {
    const Com<IDiskWipeHelper> wiper = gWipeDLL;
    DWORD attributes = 0;
    const bvdirect::PathState state = bvdirect::QueryPath(AFileName, attributes);
    const bool exists = state == bvdirect::PathState::kPresent;
    bool result = false;
    if (IsLink(state, attributes)) {
        // A wiper or a backup would open the link's target and overwrite or
        // copy that; the link itself is what the category found.
        TDebugLog::Log(llInfo, kSender, L"Link deleted as itself, not wiped or backed up: '%s'", {AFileName});
        result = DeleteUnrecorded(AFileName, exists, attributes, nullptr);
    } else if (!Active() || ADisableBV) {
        result = DeleteUnrecorded(AFileName, exists, attributes, wiper);
    } else {
        // The service and the wipe helper get the file as it is: they record
        // its attributes (so an undo restores them) and clear them themselves.
        try {
            if (wiper) {
                // The copy is backed up first; a file that cannot be backed up
                // is not wiped. Whether the wipe itself reported success is left
                // to the existence check below.
                SaveWipeFile(AFileName);
                std::uint64_t wiped = 0;
                bool done = false;
                Check(wiper->WipeFile(AFileName.c_str(), &wiped, &done));
                fLastWipeSize += wiped;
            } else {
                Check(FilesOf(fBackvault)->DeleteFile(AFileName.c_str()));
            }
            result = true;
        } catch (...) {
            LogSwallowed(L"DeleteFile");
            result = false;
        }
    }
    // A removal that reported success but left the file behind is a failure;
    // so is one after which the file cannot be looked at: only "not found" is gone.
    if (result) result = bvdirect::QueryPath(AFileName, attributes) == bvdirect::PathState::kMissing;
    TDebugLog::Log(llInfo, kSender, L"Deleting result = %s for '%s'", {BoolToStr(result), AFileName});
    return result;
}

bool TBVWrapper::RemoveDir(const std::wstring& APath) {
    DWORD attributes = 0;
    const bvdirect::PathState state = bvdirect::QueryPath(APath, attributes);
    if (IsLink(state, attributes)) {
        TDebugLog::Log(llInfo, kSender, L"Link removed as itself, not backed up: '%s'", {APath});
        return bvdirect::EraseEmptyFolder(APath) || bvdirect::EraseFile(APath);
    }
    if (!Active()) return bvdirect::EraseEmptyFolder(APath);
    try {
        Check(FilesOf(fBackvault)->RemoveDir(APath.c_str()));
        return true;
    } catch (...) {
        LogSwallowed(L"RemoveDir");
        return false;
    }
}

void TBVWrapper::SaveWipeFile(const std::wstring& AFileName) {
    DWORD attributes = 0;
    const bvdirect::PathState state = bvdirect::QueryPath(AFileName, attributes);
    if (!fBackvault || state != bvdirect::PathState::kPresent || (attributes & bvdirect::kAttributeDirectory) != 0)
        ThrowInvalidOperation();
    if (attributes & bvdirect::kAttributeReparsePoint)
        ThrowInvalidOperation(L"A link is not backed up through its target: " + AFileName);
    Check(FilesOf(fBackvault)->BackupFile(AFileName.c_str()));
}

std::uint64_t TBVWrapper::LastWipeSize() noexcept { return std::exchange(fLastWipeSize, 0); }

BVKey TBVWrapper::RegOpenCreateKey(HKEY AKey, const std::wstring& ASubKey) {
    const std::wstring subKey = NormalizeSubKey(ASubKey);
    if (!Active()) {
        HKEY key = nullptr;
        if (bvdirect::CreateKey(AKey, subKey, &key) != bvdirect::kSuccess) return {};
        return BVKey(nullptr, key);
    }
    try {
        const Com<IBackvault> service = fBackvault;
        HKEY key = nullptr;
        DWORD disposition = 0;
        Check(RegistryOf(service)->CreateKey(AKey, subKey.c_str(), 0, nullptr, 0, bvdirect::kKeyAllAccess, nullptr,
                                             &key, &disposition));
        return BVKey(service, key);
    } catch (...) {
        LogSwallowed(L"RegOpenCreateKey");
        return {};
    }
}

BVKey TBVWrapper::RegKeyOpenWrite(HKEY AKey, const std::wstring& ASubKey) {
    const std::wstring subKey = NormalizeSubKey(ASubKey);
    if (!Active()) {
        HKEY key = nullptr;
        if (bvdirect::OpenKey(AKey, subKey, &key) != bvdirect::kSuccess) return {};
        return BVKey(nullptr, key);
    }
    try {
        const Com<IBackvault> service = fBackvault;
        HKEY key = nullptr;
        Check(RegistryOf(service)->OpenKey(AKey, subKey.c_str(), 0, bvdirect::kKeyAllAccess, &key));
        return BVKey(service, key);
    } catch (...) {
        LogSwallowed(L"RegKeyOpenWrite");
        return {};
    }
}

BVKey TBVWrapper::OpenKeyForWalk(HKEY AKey, const std::wstring& ASubKey) {
    // Only the backed-up road walks; REG_OPTION_OPEN_LINK opens a link key
    // itself, so the walk never reaches (and deletes) what a link points at.
    const Com<IBackvault> service = fBackvault;
    HKEY key = nullptr;
    try {
        Check(RegistryOf(service)->OpenKey(AKey, NormalizeSubKey(ASubKey).c_str(), kRegOptionOpenLink,
                                           bvdirect::kKeyAllAccess, &key));
    } catch (...) {
        LogSwallowed(L"OpenKey");
        return {};
    }
    return BVKey(service, key);
}

bool TBVWrapper::RegKeySetDword(HKEY AKey, const std::wstring& AValueName, std::uint32_t AValue) {
    // REG_DWORD is little-endian, as is every Windows target.
    const BYTE data[4] = {BYTE(AValue), BYTE(AValue >> 8), BYTE(AValue >> 16), BYTE(AValue >> 24)};
    if (!Active()) return bvdirect::SetValue(AKey, AValueName, bvdirect::kRegDword, data, 4) == bvdirect::kSuccess;
    try {
        Check(RegistryOf(fBackvault)->SetValue(AKey, AValueName.c_str(), 0, bvdirect::kRegDword, data, 4));
        return true;
    } catch (...) {
        LogSwallowed(L"RegKeySetDword");
        return false;
    }
}

bool TBVWrapper::RegKeySetBinary(HKEY AKey, const std::wstring& AValueName, const void* ABuffer,
                                 std::uint32_t ACount) {
    if (!Active())
        return bvdirect::SetValue(AKey, AValueName, bvdirect::kRegBinary, ABuffer, ACount) == bvdirect::kSuccess;
    try {
        Check(RegistryOf(fBackvault)->SetValue(AKey, AValueName.c_str(), 0, bvdirect::kRegBinary,
                                               static_cast<const BYTE*>(ABuffer), ACount));
        return true;
    } catch (...) {
        LogSwallowed(L"RegKeySetBinary");
        return false;
    }
}

bool TBVWrapper::RegKeyStoreBinary(HKEY AKey, const std::wstring& ASubKey, const std::wstring& AValueName) {
    if (!Active()) return false;
    try {
        const BVKey key = RegOpenCreateKey(AKey, ASubKey);
        // Without a key there is nothing to record; writing through a null
        // handle would only put an empty value somewhere unintended.
        if (!key) return false;
        DWORD size = 0;
        bvdirect::QueryValueSize(key.Get(), AValueName, size);
        std::vector<BYTE> buffer(size);
        if (size != 0 && bvdirect::QueryValueData(key.Get(), AValueName, buffer.data(), size) != bvdirect::kSuccess)
            std::fill(buffer.begin(), buffer.end(), BYTE{0});
        // Written back as REG_BINARY whatever its type was: this is meant for
        // binary lists an application is about to rewrite.
        return RegKeySetBinary(key.Get(), AValueName, buffer.data(), static_cast<std::uint32_t>(buffer.size()));
    } catch (...) {
        LogSwallowed(L"RegKeyStoreBinary");
        return false;
    }
}

bool TBVWrapper::RegKeyDeleteValue(HKEY AKey, const std::wstring& AValue) {
    if (!Active()) return bvdirect::DeleteValue(AKey, AValue) == bvdirect::kSuccess;
    try {
        Check(RegistryOf(fBackvault)->DeleteValue(AKey, AValue.c_str()));
        return true;
    } catch (...) {
        LogSwallowed(L"RegKeyDeleteValue");
        return false;
    }
}

bool TBVWrapper::RegKeyDeleteKey(HKEY AKey, const std::wstring& ASubKeyOfOpenedKey) {
    const std::wstring subKey = NormalizeSubKey(ASubKeyOfOpenedKey);
    // The system refuses a key that still has sub-keys; the direct road keeps
    // that, only the backed-up road deletes whole trees.
    if (!Active()) return bvdirect::DeleteKey(AKey, subKey) == bvdirect::kSuccess;
    try {
        {
            const BVKey child = OpenKeyForWalk(AKey, ASubKeyOfOpenedKey);
            if (child && (!DeleteSubKeys(*this, child.Get()) || !DeleteValues(*this, child.Get()))) return false;
        }
        // Also when the key could not be opened: the service records and
        // deletes whatever it finds.
        Check(RegistryOf(fBackvault)->DeleteKey(AKey, subKey.c_str()));
        return true;
    } catch (...) {
        LogSwallowed(L"RegKeyDeleteKey");
        return false;
    }
}

bool TBVWrapper::RegKeyDeleteKeyDescendant(HKEY AParentKey) {
    try {
        return DeleteSubKeys(*this, AParentKey);
    } catch (...) {
        LogSwallowed(L"RegKeyDeleteKeyDescendant");
        return false;
    }
}

bool TBVWrapper::RegKeyCloseKey(HKEY AKey) {
    if (!Active()) return bvdirect::CloseKey(AKey) == bvdirect::kSuccess;
    try {
        Check(RegistryOf(fBackvault)->CloseKey(AKey));
        return true;
    } catch (...) {
        LogSwallowed(L"RegKeyCloseKey");
        return false;
    }
}

}  // namespace vt
