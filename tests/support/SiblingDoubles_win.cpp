#include "support/SiblingDoubles_win.h"

#include <cwchar>

#include "platform/Win32.h"
#include "runtime/FileSystem.h"

namespace vt::test {

namespace {

std::wstring Text(const wchar_t* text) { return text ? std::wstring(text) : L"null"; }
std::wstring Hex(DWORD value) {
    wchar_t buffer[16];
    std::swprintf(buffer, 16, L"0x%lX", static_cast<unsigned long>(value));
    return buffer;
}
std::wstring Bytes(const BYTE* data, DWORD size) {
    if (!data) return L"null";
    std::wstring out;
    for (DWORD i = 0; i < size; ++i) {
        wchar_t byte[4];
        std::swprintf(byte, 4, L"%02x", data[i]);
        if (i) out += L' ';
        out += byte;
    }
    return out;
}
HRESULT FromStatus(LONG status) { return HRESULT_FROM_WIN32(static_cast<unsigned long>(status)); }
HRESULT LastError() { return HRESULT_FROM_WIN32(::GetLastError()); }

// Records a call to a slot no caller of ours should reach.
#define VT_UNUSED_SLOT(n) \
    HRESULT STDMETHODCALLTYPE Reserved##n() override { return Unused(L"Reserved" #n); }

template <class Interface>
class Double : public ComObject<Interface> {
public:
    explicit Double(std::shared_ptr<SiblingCallLog> log) : log_(std::move(log)) {}

protected:
    HRESULT Unused(const wchar_t* slot) {
        HRESULT hr = E_NOTIMPL;
        log_->Record(slot, {}, hr);
        return E_NOTIMPL;
    }
    std::shared_ptr<SiblingCallLog> log_;
};

class RegistryDouble final : public Double<IBackvaultRegistry> {
public:
    explicit RegistryDouble(std::shared_ptr<SiblingCallLog> log) : Double(std::move(log)) { log_->InterfaceMade(); }

    HRESULT STDMETHODCALLTYPE CreateKey(HKEY root, const wchar_t* subKey, DWORD reserved, wchar_t* keyClass,
                                        DWORD options, REGSAM access, SECURITY_ATTRIBUTES* security, HKEY* key,
                                        DWORD* disposition) override {
        HRESULT hr = S_OK;
        *key = nullptr;
        if (!log_->Record(L"CreateKey",
                          {log_->KeyName(root), Text(subKey), std::to_wstring(reserved), Text(keyClass),
                           std::to_wstring(options), Hex(access), security ? L"security" : L"null"},
                          hr))
            return hr;
        const LONG status =
            ::RegCreateKeyExW(root, subKey, reserved, keyClass, options, access, security, key, disposition);
        if (status == ERROR_SUCCESS) log_->KeyOpened(*key, log_->KeyName(root) + L"\\" + Text(subKey));
        return FromStatus(status);
    }

    HRESULT STDMETHODCALLTYPE OpenKey(HKEY root, const wchar_t* subKey, DWORD options, REGSAM access,
                                      HKEY* key) override {
        HRESULT hr = S_OK;
        *key = nullptr;
        if (!log_->Record(L"OpenKey", {log_->KeyName(root), Text(subKey), std::to_wstring(options), Hex(access)}, hr))
            return hr;
        const LONG status = ::RegOpenKeyExW(root, subKey, options, access, key);
        if (status == ERROR_SUCCESS) log_->KeyOpened(*key, log_->KeyName(root) + L"\\" + Text(subKey));
        return FromStatus(status);
    }

    HRESULT STDMETHODCALLTYPE DeleteKey(HKEY root, const wchar_t* subKey) override {
        HRESULT hr = S_OK;
        if (!log_->Record(L"DeleteKey", {log_->KeyName(root), Text(subKey)}, hr)) return hr;
        return FromStatus(::RegDeleteKeyW(root, subKey));
    }

    HRESULT STDMETHODCALLTYPE SetValue(HKEY key, const wchar_t* name, DWORD reserved, DWORD type, const BYTE* data,
                                       DWORD size) override {
        HRESULT hr = S_OK;
        if (!log_->Record(L"SetValue",
                          {log_->KeyName(key), Text(name), std::to_wstring(reserved), std::to_wstring(type),
                           Bytes(data, size), std::to_wstring(size)},
                          hr))
            return hr;
        return FromStatus(::RegSetValueExW(key, name, reserved, type, data, size));
    }

    HRESULT STDMETHODCALLTYPE DeleteValue(HKEY key, const wchar_t* name) override {
        HRESULT hr = S_OK;
        if (!log_->Record(L"DeleteValue", {log_->KeyName(key), Text(name)}, hr)) return hr;
        return FromStatus(::RegDeleteValueW(key, name));
    }

    HRESULT STDMETHODCALLTYPE CloseKey(HKEY key) override {
        HRESULT hr = S_OK;
        if (!log_->Record(L"CloseKey", {log_->KeyName(key)}, hr)) return hr;
        const LONG status = ::RegCloseKey(key);
        if (status == ERROR_SUCCESS) log_->KeyClosed(key);
        return FromStatus(status);
    }

    VT_UNUSED_SLOT(4)
    VT_UNUSED_SLOT(7)
    VT_UNUSED_SLOT(8)
    VT_UNUSED_SLOT(9)
    VT_UNUSED_SLOT(10)
    VT_UNUSED_SLOT(11)

private:
    ~RegistryDouble() override { log_->InterfaceGone(); }
};

class FilesDouble final : public Double<IBackvaultFiles> {
public:
    explicit FilesDouble(std::shared_ptr<SiblingCallLog> log) : Double(std::move(log)) { log_->InterfaceMade(); }

    HRESULT STDMETHODCALLTYPE DeleteFile(const wchar_t* fileName) override {
        HRESULT hr = S_OK;
        if (!log_->Record(L"DeleteFile", {Text(fileName)}, hr)) return hr;
        if (!Backup(fileName)) return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        return ::DeleteFileW(fileName) ? S_OK : LastError();
    }

    HRESULT STDMETHODCALLTYPE RemoveDir(const wchar_t* path) override {
        HRESULT hr = S_OK;
        if (!log_->Record(L"RemoveDir", {Text(path)}, hr)) return hr;
        return ::RemoveDirectoryW(path) ? S_OK : LastError();
    }

    HRESULT STDMETHODCALLTYPE BackupFile(const wchar_t* fileName) override {
        HRESULT hr = S_OK;
        if (!log_->Record(L"BackupFile", {Text(fileName)}, hr)) return hr;
        return Backup(fileName) ? S_OK : HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    }

    VT_UNUSED_SLOT(1)
    VT_UNUSED_SLOT(3)
    VT_UNUSED_SLOT(4)
    VT_UNUSED_SLOT(5)
    VT_UNUSED_SLOT(6)
    VT_UNUSED_SLOT(7)

private:
    ~FilesDouble() override { log_->InterfaceGone(); }

    bool Backup(const wchar_t* fileName) {
        if (!fileName || !FileExists(fileName)) return false;
        log_->backups[fileName] = ReadWholeFile(fileName);
        return true;
    }
};

class BackupServiceDouble final : public Double<IBackvault> {
public:
    using Double::Double;

    HRESULT STDMETHODCALLTYPE GetRegistry(IBackvaultRegistry** registry) override {
        *registry = nullptr;
        HRESULT hr = S_OK;
        if (!log_->Record(L"GetRegistry", {}, hr)) return hr;
        *registry = MakeCom<RegistryDouble>(log_).Detach();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetFiles(IBackvaultFiles** files) override {
        *files = nullptr;
        HRESULT hr = S_OK;
        if (!log_->Record(L"GetFiles", {}, hr)) return hr;
        *files = MakeCom<FilesDouble>(log_).Detach();
        return S_OK;
    }

    VT_UNUSED_SLOT(3)
    VT_UNUSED_SLOT(4)
    VT_UNUSED_SLOT(5)
    VT_UNUSED_SLOT(6)
    VT_UNUSED_SLOT(7)
    VT_UNUSED_SLOT(8)
    VT_UNUSED_SLOT(9)
    VT_UNUSED_SLOT(10)
    VT_UNUSED_SLOT(11)
    VT_UNUSED_SLOT(12)
    VT_UNUSED_SLOT(13)
    VT_UNUSED_SLOT(14)
    VT_UNUSED_SLOT(15)
    VT_UNUSED_SLOT(16)
    VT_UNUSED_SLOT(17)
    VT_UNUSED_SLOT(18)
    VT_UNUSED_SLOT(19)
    VT_UNUSED_SLOT(20)
    VT_UNUSED_SLOT(21)
    VT_UNUSED_SLOT(22)
    VT_UNUSED_SLOT(23)
    VT_UNUSED_SLOT(24)
    VT_UNUSED_SLOT(25)

private:
    ~BackupServiceDouble() override = default;
};

class WipeHelperDouble final : public Double<IDiskWipeHelper> {
public:
    using Double::Double;

    HRESULT STDMETHODCALLTYPE WipeFile(const wchar_t* fileName, std::uint64_t* wipedBytes, bool* wiped) override {
        *wipedBytes = 0;
        *wiped = false;
        HRESULT hr = S_OK;
        if (!log_->Record(L"WipeFile", {Text(fileName)}, hr)) return hr;
        if (!fileName || !FileExists(fileName)) return S_OK;
        const std::int64_t size = FileSizeOf(fileName);
        if (size < 0 || !WriteWholeFile(fileName, std::vector<std::uint8_t>(static_cast<std::size_t>(size), 0)))
            return S_OK;
        *wipedBytes = static_cast<std::uint64_t>(size);
        *wiped = ::DeleteFileW(fileName) != FALSE;
        return S_OK;
    }

    VT_UNUSED_SLOT(1)
    VT_UNUSED_SLOT(2)
    VT_UNUSED_SLOT(3)
    VT_UNUSED_SLOT(4)
    VT_UNUSED_SLOT(5)
    VT_UNUSED_SLOT(6)
    VT_UNUSED_SLOT(7)
    VT_UNUSED_SLOT(8)
    VT_UNUSED_SLOT(9)
    VT_UNUSED_SLOT(10)
    VT_UNUSED_SLOT(11)
    VT_UNUSED_SLOT(12)
    VT_UNUSED_SLOT(13)
    VT_UNUSED_SLOT(14)
    VT_UNUSED_SLOT(15)
    VT_UNUSED_SLOT(16)
    VT_UNUSED_SLOT(17)
    VT_UNUSED_SLOT(18)
    VT_UNUSED_SLOT(19)
    VT_UNUSED_SLOT(20)
    VT_UNUSED_SLOT(21)
    VT_UNUSED_SLOT(22)
    VT_UNUSED_SLOT(23)
    VT_UNUSED_SLOT(24)
    VT_UNUSED_SLOT(25)
    VT_UNUSED_SLOT(26)
    VT_UNUSED_SLOT(27)
    VT_UNUSED_SLOT(28)
    VT_UNUSED_SLOT(29)
    VT_UNUSED_SLOT(30)
    VT_UNUSED_SLOT(32)

private:
    ~WipeHelperDouble() override = default;
};

#undef VT_UNUSED_SLOT

}  // namespace

SiblingCallLog::SiblingCallLog() {
    keyNames_[HKEY_CURRENT_USER] = L"HKCU";
    keyNames_[HKEY_LOCAL_MACHINE] = L"HKLM";
}

std::vector<std::wstring> SiblingCallLog::Operations() const {
    std::vector<std::wstring> result;
    for (const auto& call : calls_)
        if (call.rfind(L"GetRegistry(", 0) != 0 && call.rfind(L"GetFiles(", 0) != 0) result.push_back(call);
    return result;
}

std::wstring SiblingCallLog::KeyName(HKEY key) const {
    if (const auto found = keyNames_.find(key); found != keyNames_.end()) return found->second;
    if (!key) return L"null";
    wchar_t buffer[32];
    std::swprintf(buffer, 32, L"0x%llX", static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(key)));
    return buffer;
}

bool SiblingCallLog::Record(const std::wstring& operation, const std::vector<std::wstring>& arguments,
                            HRESULT& hr) {
    std::wstring call = operation + L"(";
    for (std::size_t i = 0; i < arguments.size(); ++i) call += (i ? L", " : L"") + arguments[i];
    calls_.push_back(call + L")");
    const auto fault = faults_.find(operation);
    if (fault == faults_.end()) return true;
    hr = fault->second;
    return false;
}

void SiblingCallLog::KeyOpened(HKEY key, std::wstring name) {
    keyNames_[key] = std::move(name);
    ++openKeys_;
}

void SiblingCallLog::KeyClosed(HKEY key) {
    keyNames_.erase(key);
    --openKeys_;
}

Com<IBackvault> MakeBackupService(std::shared_ptr<SiblingCallLog> log) {
    return MakeCom<BackupServiceDouble>(std::move(log));
}

Com<IDiskWipeHelper> MakeWipeHelper(std::shared_ptr<SiblingCallLog> log) {
    return MakeCom<WipeHelperDouble>(std::move(log));
}

}  // namespace vt::test
