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

// A failed HRESULT from a sibling stands for an exception raised by it.
void Check(HRESULT hr) {
    if (FAILED(hr)) throw Exception(hr, TakeErrorInfoMessage());
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

bool TBVWrapper::DeleteFile(const std::wstring& AFileName, bool ADisableBV) {
    bvdirect::ResetFileAttributes(AFileName);
    const Com<IDiskWipeHelper> wiper = gWipeDLL;
    bool result = false;
    if (!Active() || ADisableBV) {
        if (wiper) {
            std::uint64_t wiped = 0;
            bool done = false;
            if (SUCCEEDED(wiper->WipeFile(AFileName.c_str(), &wiped, &done))) {
                fLastWipeSize += wiped;
                result = done;
            }
        } else {
            result = bvdirect::EraseFile(AFileName);
        }
    } else {
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
            result = false;
        }
    }
    // A removal that reported success but left the file behind is a failure.
    if (result) result = !bvdirect::FilePresent(AFileName);
    TDebugLog::Log(llInfo, kSender, L"Deleting result = %s for '%s'", {BoolToStr(result), AFileName});
    return result;
}

bool TBVWrapper::RemoveDir(const std::wstring& APath) {
    if (!Active()) return bvdirect::EraseEmptyFolder(APath);
    try {
        Check(FilesOf(fBackvault)->RemoveDir(APath.c_str()));
        return true;
    } catch (...) {
        return false;
    }
}

void TBVWrapper::SaveWipeFile(const std::wstring& AFileName) {
    if (!fBackvault || !bvdirect::FilePresent(AFileName)) ThrowInvalidOperation();
    Check(FilesOf(fBackvault)->BackupFile(AFileName.c_str()));
}

std::uint64_t TBVWrapper::LastWipeSize() noexcept { return std::exchange(fLastWipeSize, 0); }

HKEY TBVWrapper::RegOpenCreateKey(HKEY AKey, const std::wstring& ASubKey) {
    const std::wstring subKey = NormalizeSubKey(ASubKey);
    if (!Active()) {
        HKEY key = nullptr;
        return bvdirect::CreateKey(AKey, subKey, &key) == bvdirect::kSuccess ? key : nullptr;
    }
    try {
        HKEY key = nullptr;
        DWORD disposition = 0;
        Check(RegistryOf(fBackvault)->CreateKey(AKey, subKey.c_str(), 0, nullptr, 0, bvdirect::kKeyAllAccess,
                                                nullptr, &key, &disposition));
        return key;
    } catch (...) {
        return nullptr;
    }
}

HKEY TBVWrapper::RegKeyOpenWrite(HKEY AKey, const std::wstring& ASubKey) {
    const std::wstring subKey = NormalizeSubKey(ASubKey);
    if (!Active()) {
        HKEY key = nullptr;
        return bvdirect::OpenKey(AKey, subKey, &key) == bvdirect::kSuccess ? key : nullptr;
    }
    try {
        HKEY key = nullptr;
        Check(RegistryOf(fBackvault)->OpenKey(AKey, subKey.c_str(), 0, bvdirect::kKeyAllAccess, &key));
        return key;
    } catch (...) {
        return nullptr;
    }
}

bool TBVWrapper::RegKeySetDword(HKEY AKey, const std::wstring& AValueName, std::uint32_t AValue) {
    // REG_DWORD is little-endian, as is every Windows target.
    const BYTE data[4] = {BYTE(AValue), BYTE(AValue >> 8), BYTE(AValue >> 16), BYTE(AValue >> 24)};
    if (!Active()) return bvdirect::SetValue(AKey, AValueName, bvdirect::kRegDword, data, 4) == bvdirect::kSuccess;
    try {
        Check(RegistryOf(fBackvault)->SetValue(AKey, AValueName.c_str(), 0, bvdirect::kRegDword, data, 4));
        return true;
    } catch (...) {
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
        return false;
    }
}

bool TBVWrapper::RegKeyStoreBinary(HKEY AKey, const std::wstring& ASubKey, const std::wstring& AValueName) {
    if (!Active()) return false;
    try {
        const BVKey key(*this, RegOpenCreateKey(AKey, ASubKey));
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
        return false;
    }
}

bool TBVWrapper::RegKeyDeleteValue(HKEY AKey, const std::wstring& AValue) {
    if (!Active()) return bvdirect::DeleteValue(AKey, AValue) == bvdirect::kSuccess;
    try {
        Check(RegistryOf(fBackvault)->DeleteValue(AKey, AValue.c_str()));
        return true;
    } catch (...) {
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
            const BVKey child(*this, RegKeyOpenWrite(AKey, ASubKeyOfOpenedKey));
            if (child && (!DeleteSubKeys(*this, child.Get()) || !DeleteValues(*this, child.Get()))) return false;
        }
        // Also when the key could not be opened: the service records and
        // deletes whatever it finds.
        Check(RegistryOf(fBackvault)->DeleteKey(AKey, subKey.c_str()));
        return true;
    } catch (...) {
        return false;
    }
}

bool TBVWrapper::RegKeyDeleteKeyDescendant(HKEY AParentKey) {
    try {
        return DeleteSubKeys(*this, AParentKey);
    } catch (...) {
        return false;
    }
}

bool TBVWrapper::RegKeyCloseKey(HKEY AKey) {
    if (!Active()) return bvdirect::CloseKey(AKey) == bvdirect::kSuccess;
    try {
        Check(RegistryOf(fBackvault)->CloseKey(AKey));
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace vt
