#include "tools/CompanionSupport_win.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>

#include "platform/Handles.h"
#include "runtime/ComBoundary.h"
#include "runtime/Utf.h"

namespace vt::test {

using platform::unique_hfile;
using platform::unique_hkey;

std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring text = path;
    return text.substr(0, text.find_last_of(L'\\') + 1);
}

template <class I>
Com<I> LoadCompanion(const wchar_t* dllName) {
    HMODULE module = ::LoadLibraryW((ProgramFolder() + dllName).c_str());  // kept loaded for the run
    EXPECT_NE(module, nullptr) << "cannot load " << ToUtf8(dllName);
    if (!module) return {};
    using GetInstanceFn = HRESULT(VANTREL_STDCALL*)(const GUID&, void**);
    const auto get = reinterpret_cast<GetInstanceFn>(reinterpret_cast<void*>(::GetProcAddress(module, "GetInstance")));
    EXPECT_NE(get, nullptr);
    Com<I> result;
    if (get) {
        EXPECT_EQ(get(vantrel::IidOf<I>(), reinterpret_cast<void**>(result.Put())), S_OK);
    }
    return result;
}
template Com<IBackvault> LoadCompanion<IBackvault>(const wchar_t*);
template Com<IDiskWipeHelper> LoadCompanion<IDiskWipeHelper>(const wchar_t*);

std::wstring LastErrorMessage() { return TakeErrorInfoMessage(); }

ScratchKey::ScratchKey() {
    static std::atomic<int> serial{0};
    subKey_ = L"Software\\VantrelTests\\companion_" + std::to_wstring(::GetCurrentProcessId()) + L"_" +
              std::to_wstring(++serial);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, subKey_.c_str());
    unique_hkey key;
    ::RegCreateKeyExW(HKEY_CURRENT_USER, subKey_.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Put(), nullptr);
}

ScratchKey::~ScratchKey() { ::RegDeleteTreeW(HKEY_CURRENT_USER, subKey_.c_str()); }

namespace {
void Dump(HKEY key, const std::wstring& prefix, RegistryDump& out) {
    for (DWORD i = 0;; ++i) {
        wchar_t name[16384];
        DWORD nameLength = 16384, type = 0, size = 0;
        if (::RegEnumValueW(key, i, name, &nameLength, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) break;
        std::vector<std::uint8_t> data(size);
        nameLength = 16384;
        ::RegEnumValueW(key, i, name, &nameLength, nullptr, &type, data.empty() ? nullptr : data.data(), &size);
        out[prefix + L"\u2022" + std::wstring(name, nameLength)] = {type, data};
    }
    for (DWORD i = 0;; ++i) {
        wchar_t name[256];
        DWORD nameLength = 256;
        if (::RegEnumKeyExW(key, i, name, &nameLength, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
        const std::wstring sub(name, nameLength);
        out[prefix + sub + L"\\"] = {0, {}};
        unique_hkey child;
        if (::RegOpenKeyExW(key, sub.c_str(), 0, KEY_READ, child.Put()) == ERROR_SUCCESS)
            Dump(child.Get(), prefix + sub + L"\\", out);
    }
}
}  // namespace

RegistryDump DumpKey(HKEY root, const std::wstring& subKey) {
    RegistryDump out;
    unique_hkey key;
    if (::RegOpenKeyExW(root, subKey.c_str(), 0, KEY_READ, key.Put()) == ERROR_SUCCESS) Dump(key.Get(), L"", out);
    return out;
}

bool KeyExists(HKEY root, const std::wstring& subKey) {
    unique_hkey key;
    return ::RegOpenKeyExW(root, subKey.c_str(), 0, KEY_READ, key.Put()) == ERROR_SUCCESS;
}

void SetRegistryValue(HKEY root, const std::wstring& subKey, const std::wstring& name, DWORD type,
                      const std::vector<std::uint8_t>& data) {
    unique_hkey key;
    ASSERT_EQ(::RegCreateKeyExW(root, subKey.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Put(), nullptr), ERROR_SUCCESS);
    ASSERT_EQ(::RegSetValueExW(key.Get(), name.c_str(), 0, type, data.empty() ? nullptr : data.data(),
                               static_cast<DWORD>(data.size())),
              ERROR_SUCCESS);
}

std::vector<std::uint8_t> Utf16Z(const std::wstring& text) {
    std::vector<std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(text.c_str()),
                                    reinterpret_cast<const std::uint8_t*>(text.c_str() + text.size() + 1));
    return bytes;
}

void WriteBytes(const std::wstring& path, const std::vector<std::uint8_t>& bytes) {
    unique_hfile file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(file) << "cannot create " << ToUtf8(path);
    DWORD written = 0;
    ASSERT_TRUE(::WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
}

std::vector<std::uint8_t> ReadBytes(const std::wstring& path) {
    unique_hfile file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!file) return {};
    LARGE_INTEGER size{};
    ::GetFileSizeEx(file.Get(), &size);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size.QuadPart));
    DWORD got = 0;
    if (!bytes.empty()) ::ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr);
    bytes.resize(got);
    return bytes;
}

bool PathExists(const std::wstring& path) { return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

Stamp StampOf(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    Stamp stamp;
    if (::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) {
        stamp.attributes = data.dwFileAttributes;
        stamp.created = data.ftCreationTime;
        stamp.accessed = data.ftLastAccessTime;
        stamp.written = data.ftLastWriteTime;
    }
    return stamp;
}

void SetTimes(const std::wstring& path, std::uint64_t created, std::uint64_t accessed, std::uint64_t written) {
    unique_hfile file(::CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    ASSERT_TRUE(file);
    const auto split = [](std::uint64_t t) { return FILETIME{static_cast<DWORD>(t), static_cast<DWORD>(t >> 32)}; };
    const FILETIME c = split(created), a = split(accessed), w = split(written);
    ASSERT_TRUE(::SetFileTime(file.Get(), &c, &a, &w));
}

bool SameTimes(const Stamp& a, const Stamp& b) {
    const auto same = [](const FILETIME& x, const FILETIME& y) {
        return x.dwLowDateTime == y.dwLowDateTime && x.dwHighDateTime == y.dwHighDateTime;
    };
    return same(a.created, b.created) && same(a.accessed, b.accessed) && same(a.written, b.written);
}

std::uint64_t FileIndexOf(const std::wstring& path) {
    unique_hfile file(::CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, 0, nullptr));
    BY_HANDLE_FILE_INFORMATION info{};
    if (!file || !::GetFileInformationByHandle(file.Get(), &info)) return 0;
    return (static_cast<std::uint64_t>(info.nFileIndexHigh) << 32) | info.nFileIndexLow;
}

std::vector<std::uint8_t> Content(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::uint8_t> bytes(size);
    for (auto& b : bytes) b = static_cast<std::uint8_t>(random());
    return bytes;
}

}  // namespace vt::test
