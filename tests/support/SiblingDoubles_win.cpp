#include "support/SiblingDoubles_win.h"

#include <cwchar>
#include <functional>

#include "platform/Win32.h"
#include "runtime/FileSystem.h"

namespace vt::test {

namespace {

std::wstring Text(const wchar_t* text) { return text ? std::wstring(text) : L"null"; }
std::wstring Hex(const wchar_t* format, unsigned long value) {
    wchar_t buffer[16];
    std::swprintf(buffer, 16, format, value);
    return buffer;
}
std::wstring Bytes(const BYTE* data, DWORD size) {
    std::wstring out;
    for (DWORD i = 0; data && i < size; ++i) out += Hex(i ? L" %02x" : L"%02x", data[i]);
    return out;
}
HRESULT FromStatus(LONG status) { return HRESULT_FROM_WIN32(static_cast<unsigned long>(status)); }
HRESULT FromBool(BOOL done) { return done ? S_OK : HRESULT_FROM_WIN32(::GetLastError()); }

// Records a call to a slot no caller of ours should reach.
#define VT_UNUSED_SLOT(n) \
    HRESULT STDMETHODCALLTYPE Reserved##n() override { return Call(L"Reserved" #n, {}, [] { return E_NOTIMPL; }); }

// Registry and file interfaces (Counted) count themselves live in the log.
template <class Interface, bool Counted = false>
class Double : public ComObject<Interface> {
public:
    explicit Double(std::shared_ptr<SiblingCallLog> log) : log_(std::move(log)) { log_->liveInterfaces += Counted; }

protected:
    ~Double() override { log_->liveInterfaces -= Counted; }
    // Records the call, then does the work unless a fault was injected for it.
    template <class Work>
    HRESULT Call(const wchar_t* operation, const std::vector<std::wstring>& arguments, Work work) {
        HRESULT hr = S_OK;
        return log_->Record(operation, arguments, hr) ? work() : hr;
    }
    std::shared_ptr<SiblingCallLog> log_;
};

class RegistryDouble final : public Double<IBackvaultRegistry, true> {
public:
    using Double::Double;

    HRESULT STDMETHODCALLTYPE CreateKey(HKEY root, const wchar_t* subKey, DWORD reserved, wchar_t* keyClass,
                                        DWORD options, REGSAM access, SECURITY_ATTRIBUTES* security, HKEY* key,
                                        DWORD* disposition) override {
        *key = nullptr;
        return Call(L"CreateKey",
                    {Name(root), Text(subKey), std::to_wstring(reserved), Text(keyClass), std::to_wstring(options),
                     Hex(L"0x%lX", access), security ? L"security" : L"null"},
                    [&] {
                        return Opened(root, subKey, key,
                                      ::RegCreateKeyExW(root, subKey, reserved, keyClass, options, access, security,
                                                        key, disposition));
                    });
    }
    HRESULT STDMETHODCALLTYPE OpenKey(HKEY root, const wchar_t* subKey, DWORD options, REGSAM access,
                                      HKEY* key) override {
        *key = nullptr;
        return Call(L"OpenKey", {Name(root), Text(subKey), std::to_wstring(options), Hex(L"0x%lX", access)},
                    [&] { return Opened(root, subKey, key, ::RegOpenKeyExW(root, subKey, options, access, key)); });
    }
    HRESULT STDMETHODCALLTYPE DeleteKey(HKEY root, const wchar_t* subKey) override {
        return Call(L"DeleteKey", {Name(root), Text(subKey)},
                    [&] { return FromStatus(::RegDeleteKeyW(root, subKey)); });
    }
    HRESULT STDMETHODCALLTYPE SetValue(HKEY key, const wchar_t* name, DWORD reserved, DWORD type, const BYTE* data,
                                       DWORD size) override {
        return Call(L"SetValue",
                    {Name(key), Text(name), std::to_wstring(reserved), std::to_wstring(type), Bytes(data, size),
                     std::to_wstring(size)},
                    [&] { return FromStatus(::RegSetValueExW(key, name, reserved, type, data, size)); });
    }
    HRESULT STDMETHODCALLTYPE DeleteValue(HKEY key, const wchar_t* name) override {
        return Call(L"DeleteValue", {Name(key), Text(name)}, [&] { return FromStatus(::RegDeleteValueW(key, name)); });
    }
    HRESULT STDMETHODCALLTYPE CloseKey(HKEY key) override {
        return Call(L"CloseKey", {Name(key)}, [&] {
            const LONG status = ::RegCloseKey(key);
            if (status == ERROR_SUCCESS) log_->KeyClosed(key);
            return FromStatus(status);
        });
    }
    VT_UNUSED_SLOT(4) VT_UNUSED_SLOT(7) VT_UNUSED_SLOT(8) VT_UNUSED_SLOT(9) VT_UNUSED_SLOT(10) VT_UNUSED_SLOT(11)

private:
    std::wstring Name(HKEY key) const { return log_->KeyName(key); }
    // Names a key the service opened after its parent.
    HRESULT Opened(HKEY root, const wchar_t* subKey, HKEY* key, LONG status) {
        if (status == ERROR_SUCCESS) log_->KeyOpened(*key, Name(root) + L"\\" + Text(subKey));
        return FromStatus(status);
    }
};

// What a real service and wipe helper do with a file's attributes: record
// them (for an undo), clear them so the file can go, and put them back when
// it stays.
bool WithAttributesCleared(SiblingCallLog& log, const wchar_t* fileName, const std::function<bool()>& remove) {
    const DWORD attributes = ::GetFileAttributesW(fileName);
    if (attributes != INVALID_FILE_ATTRIBUTES) {
        log.recordedAttributes[fileName] = attributes;
        ::SetFileAttributesW(fileName, FILE_ATTRIBUTE_NORMAL);
    }
    const bool removed = remove();
    if (attributes != INVALID_FILE_ATTRIBUTES && ::GetFileAttributesW(fileName) != INVALID_FILE_ATTRIBUTES)
        ::SetFileAttributesW(fileName, attributes);
    return removed;
}

class FilesDouble final : public Double<IBackvaultFiles, true> {
public:
    using Double::Double;

    HRESULT STDMETHODCALLTYPE DeleteFile(const wchar_t* fileName) override {
        return Call(L"DeleteFile", {Text(fileName)}, [&] {
            return FromBool(WithAttributesCleared(*log_, fileName, [&] { return ::DeleteFileW(fileName) != FALSE; }));
        });
    }
    HRESULT STDMETHODCALLTYPE RemoveDir(const wchar_t* path) override {
        return Call(L"RemoveDir", {Text(path)}, [&] { return FromBool(::RemoveDirectoryW(path)); });
    }
    HRESULT STDMETHODCALLTYPE BackupFile(const wchar_t* fileName) override {
        return Call(L"BackupFile", {Text(fileName)}, [&] { return FileExists(fileName) ? S_OK : HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND); });
    }
    VT_UNUSED_SLOT(1) VT_UNUSED_SLOT(3) VT_UNUSED_SLOT(4) VT_UNUSED_SLOT(5) VT_UNUSED_SLOT(6) VT_UNUSED_SLOT(7)
};

class BackupServiceDouble final : public Double<IBackvault> {
public:
    using Double::Double;

    HRESULT STDMETHODCALLTYPE GetRegistry(IBackvaultRegistry** registry) override {
        *registry = nullptr;
        return Call(L"GetRegistry", {}, [&] { *registry = MakeCom<RegistryDouble>(log_).Detach(); return S_OK; });
    }
    HRESULT STDMETHODCALLTYPE GetFiles(IBackvaultFiles** files) override {
        *files = nullptr;
        return Call(L"GetFiles", {}, [&] { *files = MakeCom<FilesDouble>(log_).Detach(); return S_OK; });
    }
    // The session operations are the real service's business; the engine never calls them.
    HRESULT STDMETHODCALLTYPE BeginSession(const wchar_t*, BSTR*) override { return Unused(L"BeginSession"); }
    HRESULT STDMETHODCALLTYPE EndSession() override { return Unused(L"EndSession"); }
    HRESULT STDMETHODCALLTYPE GetCurrentSession(BSTR*) override { return Unused(L"GetCurrentSession"); }
    HRESULT STDMETHODCALLTYPE GetDataFolder(BSTR*) override { return Unused(L"GetDataFolder"); }
    HRESULT STDMETHODCALLTYPE SetDataFolder(const wchar_t*) override { return Unused(L"SetDataFolder"); }
    HRESULT STDMETHODCALLTYPE GetSessionCount(std::int32_t*) override { return Unused(L"GetSessionCount"); }
    HRESULT STDMETHODCALLTYPE GetSessionId(std::int32_t, BSTR*) override { return Unused(L"GetSessionId"); }
    HRESULT STDMETHODCALLTYPE GetSessionDescription(const wchar_t*, BSTR*) override {
        return Unused(L"GetSessionDescription");
    }
    HRESULT STDMETHODCALLTYPE GetSessionStartTime(const wchar_t*, double*) override {
        return Unused(L"GetSessionStartTime");
    }
    HRESULT STDMETHODCALLTYPE GetSessionEndTime(const wchar_t*, double*) override {
        return Unused(L"GetSessionEndTime");
    }
    HRESULT STDMETHODCALLTYPE GetSessionState(const wchar_t*, TBackvaultSessionState*) override {
        return Unused(L"GetSessionState");
    }
    HRESULT STDMETHODCALLTYPE GetSessionFileCount(const wchar_t*, std::int32_t*) override {
        return Unused(L"GetSessionFileCount");
    }
    HRESULT STDMETHODCALLTYPE GetSessionRegistryCount(const wchar_t*, std::int32_t*) override {
        return Unused(L"GetSessionRegistryCount");
    }
    HRESULT STDMETHODCALLTYPE GetSessionBytes(const wchar_t*, std::int64_t*) override {
        return Unused(L"GetSessionBytes");
    }
    HRESULT STDMETHODCALLTYPE GetSessionEntryCount(const wchar_t*, std::int32_t*) override {
        return Unused(L"GetSessionEntryCount");
    }
    HRESULT STDMETHODCALLTYPE GetSessionEntry(const wchar_t*, std::int32_t, TBackvaultEntryKind*, BSTR*) override {
        return Unused(L"GetSessionEntry");
    }
    HRESULT STDMETHODCALLTYPE RestoreSession(const wchar_t*, std::int32_t*, std::int32_t*) override {
        return Unused(L"RestoreSession");
    }
    HRESULT STDMETHODCALLTYPE GetRestoreReport(BSTR*) override { return Unused(L"GetRestoreReport"); }
    HRESULT STDMETHODCALLTYPE DeleteSession(const wchar_t*) override { return Unused(L"DeleteSession"); }
    HRESULT STDMETHODCALLTYPE GetSessionFolder(const wchar_t*, BSTR*) override { return Unused(L"GetSessionFolder"); }
    HRESULT STDMETHODCALLTYPE DeleteSessionsBefore(double, std::int32_t*) override {
        return Unused(L"DeleteSessionsBefore");
    }
    VT_UNUSED_SLOT(24) VT_UNUSED_SLOT(25)

private:
    HRESULT Unused(const wchar_t* operation) { return Call(operation, {}, [] { return E_NOTIMPL; }); }
};

class WipeHelperDouble final : public Double<IDiskWipeHelper> {
public:
    using Double::Double;

    HRESULT STDMETHODCALLTYPE WipeFile(const wchar_t* fileName, std::uint64_t* wipedBytes, bool* wiped) override {
        *wipedBytes = 0;
        *wiped = false;
        return Call(L"WipeFile", {Text(fileName)}, [&] {
            *wiped = WithAttributesCleared(*log_, fileName, [&] {
                const std::int64_t size = FileExists(fileName) ? FileSizeOf(fileName) : -1;
                if (size < 0 || !WriteWholeFile(fileName, std::vector<std::uint8_t>(static_cast<std::size_t>(size))))
                    return false;
                *wipedBytes = static_cast<std::uint64_t>(size);
                return ::DeleteFileW(fileName) != FALSE;
            });
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE SetPassCount(std::int32_t) override { return Call(L"SetPassCount", {}, [] { return E_NOTIMPL; }); }
    HRESULT STDMETHODCALLTYPE GetPassCount(std::int32_t*) override { return Call(L"GetPassCount", {}, [] { return E_NOTIMPL; }); }
    VT_UNUSED_SLOT(3) VT_UNUSED_SLOT(4) VT_UNUSED_SLOT(5) VT_UNUSED_SLOT(6)
    VT_UNUSED_SLOT(7) VT_UNUSED_SLOT(8) VT_UNUSED_SLOT(9) VT_UNUSED_SLOT(10) VT_UNUSED_SLOT(11) VT_UNUSED_SLOT(12)
    VT_UNUSED_SLOT(13) VT_UNUSED_SLOT(14) VT_UNUSED_SLOT(15) VT_UNUSED_SLOT(16) VT_UNUSED_SLOT(17) VT_UNUSED_SLOT(18)
    VT_UNUSED_SLOT(19) VT_UNUSED_SLOT(20) VT_UNUSED_SLOT(21) VT_UNUSED_SLOT(22) VT_UNUSED_SLOT(23) VT_UNUSED_SLOT(24)
    VT_UNUSED_SLOT(25) VT_UNUSED_SLOT(26) VT_UNUSED_SLOT(27) VT_UNUSED_SLOT(28) VT_UNUSED_SLOT(29) VT_UNUSED_SLOT(30)
    VT_UNUSED_SLOT(32)
};

#undef VT_UNUSED_SLOT

}  // namespace

std::vector<std::wstring> SiblingCallLog::Operations() const {
    std::vector<std::wstring> result;
    for (const auto& call : calls_)
        if (call.rfind(L"GetRegistry(", 0) != 0 && call.rfind(L"GetFiles(", 0) != 0) result.push_back(call);
    return result;
}

std::wstring SiblingCallLog::KeyName(HKEY key) const {
    const auto found = keyNames_.find(key);
    return found != keyNames_.end() ? found->second : key ? L"<unnamed>" : L"null";
}

bool SiblingCallLog::Record(const std::wstring& operation, const std::vector<std::wstring>& arguments,
                            HRESULT& hr) {
    std::wstring call = operation + L"(";
    for (std::size_t i = 0; i < arguments.size(); ++i) call += (i ? L", " : L"") + arguments[i];
    calls_.push_back(call + L")");
    const auto fault = faults_.find(operation);
    if (fault != faults_.end()) hr = fault->second;
    return fault == faults_.end();
}

Com<IBackvault> MakeBackupService(std::shared_ptr<SiblingCallLog> log) {
    return MakeCom<BackupServiceDouble>(std::move(log));
}

Com<IDiskWipeHelper> MakeWipeHelper(std::shared_ptr<SiblingCallLog> log) {
    return MakeCom<WipeHelperDouble>(std::move(log));
}

}  // namespace vt::test
