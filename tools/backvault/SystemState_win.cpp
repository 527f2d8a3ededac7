#include "SystemState_win.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <vector>

#include "../common/Links_win.h"
#include "../common/SystemError_win.h"
#include "platform/Handles.h"
#include "runtime/Exception.h"
#include "runtime/Strings.h"

namespace vt::backvault {

using platform::unique_hfile;
using platform::unique_hfind;
using platform::unique_hkey;
using siblings::ThrowLastError;
using siblings::ThrowSystemError;

namespace {

constexpr FileTime kTicksPerDay = 864000000000LL;
constexpr double kOleEpochDays = 109205.0;  // 1601-01-01 to 1899-12-30

FileTime Join(const FILETIME& t) {
    return static_cast<FileTime>((static_cast<std::uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime);
}
FILETIME Split(FileTime t) {
    const auto u = static_cast<std::uint64_t>(t);
    return FILETIME{static_cast<DWORD>(u & 0xFFFFFFFFu), static_cast<DWORD>(u >> 32)};
}

std::wstring Quoted(const std::wstring& path) { return L"\"" + path + L"\""; }

}  // namespace

FileTime NowFileTime() {
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    return Join(now);
}

double FileTimeToOleLocal(FileTime time) {
    if (time == 0) return 0;
    const FILETIME utc = Split(time);
    FILETIME local;
    if (!::FileTimeToLocalFileTime(&utc, &local)) local = utc;
    return static_cast<double>(Join(local)) / kTicksPerDay - kOleEpochDays;
}

FileTime OleLocalToFileTime(double when) {
    const FILETIME local = Split(static_cast<FileTime>((when + kOleEpochDays) * kTicksPerDay));
    FILETIME utc;
    if (!::LocalFileTimeToFileTime(&local, &utc)) utc = local;
    return Join(utc);
}

std::optional<FileFacts> FactsOf(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) {
        const DWORD error = ::GetLastError();
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return std::nullopt;
        ThrowSystemError(error, L"Cannot read the attributes of " + Quoted(path));
    }
    FileFacts facts;
    facts.attributes = data.dwFileAttributes;
    if (siblings::IsReparsePoint(path)) facts.attributes |= FILE_ATTRIBUTE_REPARSE_POINT;
    facts.created = Join(data.ftCreationTime);
    facts.accessed = Join(data.ftLastAccessTime);
    facts.written = Join(data.ftLastWriteTime);
    facts.size = static_cast<std::int64_t>((static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow);
    return facts;
}

bool Exists(const std::wstring& path) { return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

void ApplyFacts(const std::wstring& path, DWORD attributes, FileTime created, FileTime accessed, FileTime written) {
    // Read-only would refuse the handle's attribute writes on some systems: clear it first.
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    {
        unique_hfile file(::CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
        if (!file) ThrowLastError(L"Cannot open " + Quoted(path) + L" to restore its times");
        const FILETIME c = Split(created), a = Split(accessed), w = Split(written);
        if (!::SetFileTime(file.Get(), &c, &a, &w)) ThrowLastError(L"Cannot restore the times of " + Quoted(path));
    }
    // Only the attributes a program may set; the rest (directory, reparse point...) follow from the object.
    constexpr DWORD settable = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                               FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED | FILE_ATTRIBUTE_OFFLINE |
                               FILE_ATTRIBUTE_TEMPORARY;
    const DWORD wanted = attributes & settable;
    if (!::SetFileAttributesW(path.c_str(), wanted ? wanted : FILE_ATTRIBUTE_NORMAL))
        ThrowLastError(L"Cannot restore the attributes of " + Quoted(path));
}

std::wstring VolumeOf(const std::wstring& path) {
    wchar_t volume[MAX_PATH + 1] = {};
    if (!::GetVolumePathNameW(path.c_str(), volume, MAX_PATH)) return {};
    return LowerCase(volume);
}

void CreateFolders(const std::wstring& folder) {
    const std::wstring path = ExcludeTrailingPathDelimiter(folder);
    if (path.empty() || Exists(path)) return;
    const std::wstring parent = ExtractFileDir(path);
    if (!parent.empty() && parent != path) CreateFolders(parent);
    if (!::CreateDirectoryW(path.c_str(), nullptr) && ::GetLastError() != ERROR_ALREADY_EXISTS)
        ThrowLastError(L"Cannot create the folder " + Quoted(path));
}

void CopyFlushed(const std::wstring& source, const std::wstring& target) {
    unique_hfile in(::CreateFileW(source.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN | FILE_FLAG_OPEN_REPARSE_POINT,
                                  nullptr));
    if (!in) ThrowLastError(L"Cannot read " + Quoted(source));
    unique_hfile out(::CreateFileW(target.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!out) ThrowLastError(L"Cannot create " + Quoted(target));
    std::vector<char> buffer(1 << 20);
    for (;;) {
        DWORD got = 0;
        if (!::ReadFile(in.Get(), buffer.data(), static_cast<DWORD>(buffer.size()), &got, nullptr))
            ThrowLastError(L"Cannot read " + Quoted(source));
        if (got == 0) break;
        DWORD written = 0;
        if (!::WriteFile(out.Get(), buffer.data(), got, &written, nullptr) || written != got)
            ThrowLastError(L"Cannot write " + Quoted(target));
    }
    if (!::FlushFileBuffers(out.Get())) ThrowLastError(L"Cannot flush " + Quoted(target) + L" to the disk");
}

bool SameContent(const std::wstring& a, const std::wstring& b) {
    const auto open = [](const std::wstring& path) {
        return unique_hfile(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    };
    unique_hfile fa = open(a), fb = open(b);
    if (!fa || !fb) return false;
    LARGE_INTEGER sa{}, sb{};
    if (!::GetFileSizeEx(fa.Get(), &sa) || !::GetFileSizeEx(fb.Get(), &sb) || sa.QuadPart != sb.QuadPart) return false;
    std::vector<char> ba(1 << 16), bb(1 << 16);
    for (;;) {
        DWORD ga = 0, gb = 0;
        if (!::ReadFile(fa.Get(), ba.data(), static_cast<DWORD>(ba.size()), &ga, nullptr) ||
            !::ReadFile(fb.Get(), bb.data(), static_cast<DWORD>(bb.size()), &gb, nullptr) || ga != gb)
            return false;
        if (ga == 0) return true;
        if (std::memcmp(ba.data(), bb.data(), ga) != 0) return false;
    }
}

void DeleteTree(const std::wstring& folder) {
    const std::wstring base = IncludeTrailingPathDelimiter(folder);
    WIN32_FIND_DATAW found;
    unique_hfind find(::FindFirstFileW((base + L"*").c_str(), &found));
    if (find) {
        do {
            const std::wstring name = found.cFileName;
            if (name == L"." || name == L"..") continue;
            const std::wstring path = base + name;
            ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
            const DWORD attributes = found.dwFileAttributes;
            if ((attributes & FILE_ATTRIBUTE_DIRECTORY) && !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
                DeleteTree(path);  // removes the folder too
            } else if ((attributes & FILE_ATTRIBUTE_DIRECTORY)) {
                // A link to a folder: the link goes, what it points to stays.
                if (!::RemoveDirectoryW(path.c_str())) ThrowLastError(L"Cannot remove " + Quoted(path));
            } else if (!::DeleteFileW(path.c_str())) {
                ThrowLastError(L"Cannot delete " + Quoted(path));
            }
        } while (::FindNextFileW(find.Get(), &found));
    }
    if (!::RemoveDirectoryW(ExcludeTrailingPathDelimiter(folder).c_str()))
        ThrowLastError(L"Cannot remove " + Quoted(folder));
}

std::string ReadShared(const std::wstring& path) {
    unique_hfile file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
    if (!file) ThrowLastError(L"Cannot read " + Quoted(path));
    std::string text;
    char buffer[65536];
    for (;;) {
        DWORD got = 0;
        if (!::ReadFile(file.Get(), buffer, sizeof buffer, &got, nullptr)) ThrowLastError(L"Cannot read " + Quoted(path));
        if (got == 0) break;
        text.append(buffer, got);
    }
    return text;
}

// ---- registry ----

namespace {

// NtQueryKey's KeyNameInformation: the key's full name in the object namespace
// ("\REGISTRY\MACHINE\SOFTWARE\..."). It is the one call that says where a key
// really is, after any 32-bit redirection.
using NtQueryKeyFn = LONG(NTAPI*)(HANDLE key, int infoClass, void* info, ULONG length, ULONG* resultLength);
constexpr int kKeyNameInformation = 3;

std::wstring NativeNameOf(HKEY key) {
    static const auto query = reinterpret_cast<NtQueryKeyFn>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQueryKey")));
    if (!query) throw Exception(E_FAIL, L"The system offers no way to name an open registry key (NtQueryKey)");
    std::vector<std::uint8_t> buffer(1024);
    for (;;) {
        ULONG needed = 0;
        const LONG status = query(key, kKeyNameInformation, buffer.data(), static_cast<ULONG>(buffer.size()), &needed);
        if (status >= 0) break;
        constexpr LONG bufferTooSmall = static_cast<LONG>(0xC0000023), overflow = static_cast<LONG>(0x80000005);
        if ((status == bufferTooSmall || status == overflow) && needed > buffer.size() && needed < (1u << 20)) {
            buffer.resize(needed);
            continue;
        }
        wchar_t code[16];
        std::swprintf(code, 16, L"0x%08lX", static_cast<unsigned long>(status));
        throw Exception(E_FAIL, std::wstring(L"Cannot name an open registry key (NTSTATUS ") + code + L")");
    }
    ULONG bytes = 0;
    std::memcpy(&bytes, buffer.data(), sizeof bytes);
    bytes = std::min<ULONG>(bytes, static_cast<ULONG>(buffer.size() - sizeof bytes));
    return std::wstring(reinterpret_cast<const wchar_t*>(buffer.data() + sizeof bytes), bytes / sizeof(wchar_t));
}

const std::wstring& CurrentUserNativeName() {
    static const std::wstring name = [] {
        unique_hkey user;
        if (::RegOpenKeyExW(HKEY_CURRENT_USER, nullptr, 0, KEY_READ, user.Put()) != ERROR_SUCCESS) return std::wstring();
        try {
            return NativeNameOf(user.Get());
        } catch (...) {
            return std::wstring();
        }
    }();
    return name;
}

// Replaces a native prefix by a root name when path starts with it as a whole component.
bool Rename(std::wstring& path, const std::wstring& prefix, const wchar_t* root) {
    if (prefix.empty() || path.size() < prefix.size() || !StartsText(prefix, path)) return false;
    if (path.size() > prefix.size() && path[prefix.size()] != L'\\') return false;
    path = root + path.substr(prefix.size());
    return true;
}

struct RootName {
    const wchar_t* name;
    HKEY root;
};
const RootName kRoots[] = {{L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
                           {L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
                           {L"HKEY_USERS", HKEY_USERS}};

}  // namespace

std::wstring KeyPathOf(HKEY key) {
    std::wstring path = NativeNameOf(key);
    if (Rename(path, CurrentUserNativeName(), L"HKEY_CURRENT_USER") ||
        Rename(path, L"\\REGISTRY\\MACHINE", L"HKEY_LOCAL_MACHINE") || Rename(path, L"\\REGISTRY\\USER", L"HKEY_USERS"))
        return path;
    throw Exception(E_FAIL, L"The registry key " + path + L" is outside the hives the backup service can restore");
}

RootAndSubKey SplitKeyPath(const std::wstring& path) {
    const std::size_t slash = path.find(L'\\');
    const std::wstring root = path.substr(0, slash);
    for (const RootName& r : kRoots)
        if (SameText(root, r.name)) return {r.root, slash == std::wstring::npos ? std::wstring() : path.substr(slash + 1)};
    throw Exception(E_INVALIDARG, L"Unknown registry root in \"" + path + L"\"");
}

std::optional<ValueImage> ReadValue(HKEY key, const std::wstring& name) {
    ValueImage value{name, 0, {}};
    DWORD size = 0, type = 0;
    LONG status = ::RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size);
    for (int attempt = 0; attempt < 8; ++attempt) {
        if (status == ERROR_FILE_NOT_FOUND) return std::nullopt;
        if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA)
            ThrowSystemError(static_cast<DWORD>(status), L"Cannot read the registry value \"" + name + L"\"");
        value.data.resize(size);
        status = ::RegQueryValueExW(key, name.c_str(), nullptr, &type, value.data.empty() ? nullptr : value.data.data(), &size);
        if (status == ERROR_SUCCESS) {
            value.type = type;
            value.data.resize(size);
            return value;
        }
    }
    ThrowSystemError(static_cast<DWORD>(status), L"The registry value \"" + name + L"\" keeps changing while it is read");
}

KeyImage ReadKeyTree(HKEY key) {
    KeyImage tree;
    DWORD subKeys = 0, longestSubKey = 0, values = 0, longestName = 0, longestData = 0;
    LONG status = ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subKeys, &longestSubKey, nullptr, &values,
                                     &longestName, &longestData, nullptr, nullptr);
    if (status != ERROR_SUCCESS) ThrowSystemError(static_cast<DWORD>(status), L"Cannot read a registry key");
    std::vector<wchar_t> name(std::max(longestName, longestSubKey) + 2);
    std::vector<std::uint8_t> data(longestData + 1);
    for (DWORD i = 0;; ++i) {
        DWORD nameLength = static_cast<DWORD>(name.size()), dataLength = static_cast<DWORD>(data.size()), type = 0;
        status = ::RegEnumValueW(key, i, name.data(), &nameLength, nullptr, &type, data.data(), &dataLength);
        if (status == ERROR_NO_MORE_ITEMS) break;
        if (status == ERROR_MORE_DATA) {
            // The value grew since the key was queried: size the buffers and read it again.
            name.resize(std::max<std::size_t>(name.size() * 2, 16384));
            data.resize(std::max<std::size_t>(data.size(), dataLength) + 1);
            --i;
            continue;
        }
        if (status != ERROR_SUCCESS) ThrowSystemError(static_cast<DWORD>(status), L"Cannot read the values of a registry key");
        tree.values.push_back(ValueImage{std::wstring(name.data(), nameLength), type,
                                         std::vector<std::uint8_t>(data.begin(), data.begin() + dataLength)});
    }
    std::vector<std::wstring> names;
    for (DWORD i = 0;; ++i) {
        DWORD nameLength = static_cast<DWORD>(name.size());
        status = ::RegEnumKeyExW(key, i, name.data(), &nameLength, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) break;
        if (status == ERROR_MORE_DATA) {
            name.resize(std::max<std::size_t>(name.size() * 2, 512));
            --i;
            continue;
        }
        if (status != ERROR_SUCCESS) ThrowSystemError(static_cast<DWORD>(status), L"Cannot read the sub-keys of a registry key");
        names.emplace_back(name.data(), nameLength);
    }
    for (const std::wstring& subName : names) {
        unique_hkey sub;
        status = ::RegOpenKeyExW(key, subName.c_str(), 0, KEY_READ, sub.Put());
        if (status != ERROR_SUCCESS)
            ThrowSystemError(static_cast<DWORD>(status), L"Cannot read the registry key \"" + subName + L"\"");
        KeyImage child = ReadKeyTree(sub.Get());
        child.name = subName;
        tree.keys.push_back(std::move(child));
    }
    return tree;
}

void WriteKeyTree(HKEY key, const KeyImage& tree) {
    for (const ValueImage& v : tree.values) {
        const LONG status = ::RegSetValueExW(key, v.name.c_str(), 0, v.type, v.data.empty() ? nullptr : v.data.data(),
                                             static_cast<DWORD>(v.data.size()));
        if (status != ERROR_SUCCESS)
            ThrowSystemError(static_cast<DWORD>(status), L"Cannot write the registry value \"" + v.name + L"\"");
    }
    for (const KeyImage& k : tree.keys) {
        unique_hkey sub;
        const LONG status = ::RegCreateKeyExW(key, k.name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, sub.Put(), nullptr);
        if (status != ERROR_SUCCESS)
            ThrowSystemError(static_cast<DWORD>(status), L"Cannot create the registry key \"" + k.name + L"\"");
        WriteKeyTree(sub.Get(), k);
    }
}

}  // namespace vt::backvault
