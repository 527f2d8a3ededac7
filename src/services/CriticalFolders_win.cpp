// The running Windows' answers for the critical-folder lists.
#include <userenv.h>

#include "platform/Handles.h"
#include "platform/SysCalls.h"
#include "platform/Win32.h"
#include "runtime/DebugLog.h"
#include "runtime/FileUtils.h"
#include "runtime/ProcessInfo.h"
#include "runtime/RegistryReader.h"
#include "services/CriticalFolders.h"

namespace vt {

namespace {

constexpr std::wstring_view kSender = L"TCriticalFolders";

// ZwQueryObject is not in the import libraries: found in ntdll at run time.
using ZwQueryObjectFn = LONG(WINAPI*)(HANDLE, int, void*, ULONG, ULONG*);
constexpr int kObjectNameInformation = 1;
constexpr LONG kStatusInfoLengthMismatch = static_cast<LONG>(0xC0000004);
constexpr LONG kStatusBufferOverflow = static_cast<LONG>(0x80000005);
constexpr LONG kStatusBufferTooSmall = static_cast<LONG>(0xC0000023);

struct ObjectName {
    USHORT Length;
    USHORT MaximumLength;
    PWSTR Buffer;
};

void CloseFile(HANDLE h) noexcept { ::CloseHandle(h); }

using KnownFolderFn = HRESULT(WINAPI*)(REFGUID, DWORD, HANDLE, PWSTR*);
// FOLDERID_LocalAppDataLow and FOLDERID_Public.
constexpr GUID kFolderLocalAppDataLow = {0xA520A1A4, 0x1780, 0x4FF6, {0xBD, 0x18, 0x16, 0x73, 0x43, 0xC5, 0xAF, 0x16}};
constexpr GUID kFolderPublic = {0xDFDF76A2, 0xC82A, 0x4D63, {0x90, 0x6A, 0x56, 0x44, 0xAC, 0x45, 0x73, 0x85}};

template <class Fn>
std::optional<std::wstring> ProfileFolder(Fn fn) {
    DWORD chars = 0;
    fn(nullptr, &chars);
    if (chars == 0) return std::nullopt;
    std::wstring text(chars, L'\0');
    if (!fn(text.data(), &chars)) return std::nullopt;
    text.resize(wcsnlen(text.c_str(), text.size()));
    return text;
}

class WindowsSystem final : public ICriticalFoldersSystem {
public:
    std::uint32_t LogicalDrives() override { return ::GetLogicalDrives(); }
    std::uint32_t DriveType(const std::wstring& root) override { return ::GetDriveTypeW(root.c_str()); }

    std::wstring NativeName(const std::wstring& path) override {
        ProcessInfo::EnablePrivilegie(L"SeBackupPrivilege");
        // Opened as itself: folders need backup semantics, and a junction must
        // not be followed to its target.
        HANDLE raw = platform::SysCalls().CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                      OPEN_EXISTING,
                                                      FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
        if (raw == INVALID_HANDLE_VALUE) {
            TDebugLog::Log(llError, kSender, L"FileName = %s (error %d)",
                           {path.c_str(), static_cast<unsigned long>(::GetLastError())});
            return {};
        }
        platform::UniqueHandle<HANDLE, CloseFile, -1> file(raw);
        static const auto query = reinterpret_cast<ZwQueryObjectFn>(
            reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "ZwQueryObject")));
        if (query == nullptr) return {};
        ULONG size = 0;
        query(file.Get(), kObjectNameInformation, nullptr, 0, &size);
        if (size == 0) size = 260;
        for (;;) {
            std::vector<std::uint8_t> buffer(size + sizeof(ObjectName));
            ULONG needed = 0;
            const LONG status = query(file.Get(), kObjectNameInformation, buffer.data(), size, &needed);
            if (status == kStatusInfoLengthMismatch || status == kStatusBufferOverflow ||
                status == kStatusBufferTooSmall) {
                if (size > (1u << 20)) return {};
                size *= 2;
                continue;
            }
            if (status == 2 || status == 3) return {};
            if (status != 0) {
                TDebugLog::Log(llError, kSender, L"ZwQueryObject status: 0x%.8x", {static_cast<unsigned long>(status)});
                return {};
            }
            const auto* name = reinterpret_cast<const ObjectName*>(buffer.data());
            if (name->Buffer == nullptr) return {};
            return std::wstring(name->Buffer, name->Length / sizeof(wchar_t));
        }
    }

    std::optional<std::wstring> ShellFolder(int csidl) override {
        wchar_t path[MAX_PATH] = {};
        if (FAILED(::SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, path))) return std::nullopt;
        return std::wstring(path);
    }

    std::optional<std::wstring> KnownFolderPath(KnownFolder folder) override {
        // Present from Windows Vista on; looked up so the library still loads on older systems.
        static const auto fn = reinterpret_cast<KnownFolderFn>(
            reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"shell32.dll"), "SHGetKnownFolderPath")));
        if (fn == nullptr) return std::nullopt;
        PWSTR raw = nullptr;
        if (FAILED(fn(folder == kfPublic ? kFolderPublic : kFolderLocalAppDataLow, 0, nullptr, &raw))) {
            ::CoTaskMemFree(raw);
            return std::nullopt;
        }
        std::wstring result = raw ? raw : L"";
        ::CoTaskMemFree(raw);
        return result;
    }

    std::optional<std::wstring> ProfilesDirectory() override {
        return ProfileFolder([](wchar_t* b, DWORD* n) { return ::GetProfilesDirectoryW(b, n) != FALSE; });
    }
    std::optional<std::wstring> AllUsersProfileDirectory() override {
        return ProfileFolder([](wchar_t* b, DWORD* n) { return ::GetAllUsersProfileDirectoryW(b, n) != FALSE; });
    }
    std::optional<std::wstring> DefaultUserProfileDirectory() override {
        return ProfileFolder([](wchar_t* b, DWORD* n) { return ::GetDefaultUserProfileDirectoryW(b, n) != FALSE; });
    }

    std::wstring Environment(const std::wstring& name) override {
        const DWORD chars = ::GetEnvironmentVariableW(name.c_str(), nullptr, 0);
        if (chars == 0) return {};
        std::wstring value(chars, L'\0');
        const DWORD got = ::GetEnvironmentVariableW(name.c_str(), value.data(), chars);
        value.resize(got < chars ? got : 0);
        return value;
    }

    std::wstring LongPathName(const std::wstring& path) override {
        const DWORD chars = ::GetLongPathNameW(path.c_str(), nullptr, 0);
        if (chars == 0) return path;
        std::wstring value(chars, L'\0');
        const DWORD got = ::GetLongPathNameW(path.c_str(), value.data(), chars);
        if (got == 0 || got >= chars) return path;
        value.resize(got);
        return value;
    }

    std::wstring ExpandEnvironment(const std::wstring& text) override { return FileUtils::ExpandEnvironment(text); }
    std::wstring UserName() override { return ProcessInfo::UserName(); }

    std::vector<std::uint8_t> AccountSid(const std::wstring& accountName) override {
        DWORD sidSize = 0, domainChars = 0;
        SID_NAME_USE use{};
        ::LookupAccountNameW(nullptr, accountName.c_str(), nullptr, &sidSize, nullptr, &domainChars, &use);
        if (sidSize == 0) return {};
        std::vector<std::uint8_t> sid(sidSize);
        std::wstring domain(domainChars + 1, L'\0');
        if (!::LookupAccountNameW(nullptr, accountName.c_str(), sid.data(), &sidSize, domain.data(), &domainChars, &use))
            return {};
        sid.resize(::GetLengthSid(sid.data()));
        return sid;
    }

    std::wstring UserSidText() override { return ProcessInfo::UserSid(); }
    const IRegistryReader& Registry() override { return SystemRegistry(); }
};

}  // namespace

std::unique_ptr<ICriticalFoldersSystem> MakeSystemCriticalFoldersSystem() { return std::make_unique<WindowsSystem>(); }

}  // namespace vt
