#include "runtime/Registry.h"

#include <cstring>

#include "platform/Handles.h"
#include "platform/SysCalls.h"
#include "platform/Win32.h"
#include "runtime/Exception.h"
#include "runtime/StringList.h"
#include "runtime/Strings.h"

namespace vt {

using platform::SysCalls;

namespace {

constexpr REGSAM kViewFlags = KEY_WOW64_64KEY | KEY_WOW64_32KEY;
// Longest value name the registry allows is 16383 characters; key names are
// shorter. Enumeration buffers never need to grow past this.
constexpr DWORD kMaxNameChars = 16384;

struct RawValue {
    DWORD type = REG_NONE;
    std::vector<std::uint8_t> data;
};

[[noreturn]] void ThrowInvalidType(const std::wstring& name) {
    ThrowGeneral(Format(L"Invalid data type for '%s'", {name}));
}
[[noreturn]] void ThrowGetFailed(const std::wstring& name) {
    ThrowGeneral(Format(L"Failed to get data for '%s'", {name}));
}
[[noreturn]] void ThrowSetFailed(const std::wstring& name) {
    ThrowGeneral(Format(L"Failed to set data for '%s'", {name}));
}

void CloseThroughTable(platform::unique_hkey& key) noexcept {
    if (key) SysCalls().RegCloseKey(key.Release());
}

std::wstring DecodeString(const std::vector<std::uint8_t>& data) {
    // A REG_SZ written carelessly may lack its terminator or hold an odd number
    // of bytes: take whole UTF-16 units and stop at the first terminator, if any.
    std::wstring text(data.size() / sizeof(wchar_t), L'\0');
    if (!text.empty()) std::memcpy(text.data(), data.data(), text.size() * sizeof(wchar_t));
    if (const auto end = text.find(L'\0'); end != std::wstring::npos) text.resize(end);
    return text;
}

}  // namespace

HKEY RegistryRootToHKEY(RegistryRoot root) noexcept {
    switch (root) {
        case RegistryRoot::ClassesRoot: return HKEY_CLASSES_ROOT;
        case RegistryRoot::CurrentUser: return HKEY_CURRENT_USER;
        case RegistryRoot::LocalMachine: return HKEY_LOCAL_MACHINE;
        case RegistryRoot::Users: return HKEY_USERS;
        case RegistryRoot::PerformanceData: return HKEY_PERFORMANCE_DATA;
        case RegistryRoot::CurrentConfig: return HKEY_CURRENT_CONFIG;
        case RegistryRoot::DynData: return HKEY_DYN_DATA;
    }
    return nullptr;
}

std::optional<RegistryRoot> HKEYToRegistryRoot(HKEY key) noexcept {
    // The predefined handles are the enumeration's values sign-extended to pointer width.
    const auto value = static_cast<std::uint32_t>(reinterpret_cast<ULONG_PTR>(key));
    const auto root = static_cast<RegistryRoot>(value);
    if (RegistryRootToHKEY(root) == key && key != nullptr) return root;
    return std::nullopt;
}

struct TRegistry::State {
    RegistryRoot root = RegistryRoot::CurrentUser;
    REGSAM access = KEY_READ;
    platform::unique_hkey key;
    std::wstring path;

    // Where a path leads: the handle to open from, the sub-key to open below
    // it, and the path of the result below the root.
    struct Target {
        HKEY base;
        std::wstring subKey;
        std::wstring fullPath;
    };

    Target Resolve(const std::wstring& requested) const {
        std::wstring_view p = requested;
        const bool absolute = !p.empty() && p.front() == kPathDelim;
        if (absolute) p.remove_prefix(1);
        if (!p.empty() && p.back() == kPathDelim) p.remove_suffix(1);
        if (absolute || !key) return {RegistryRootToHKEY(root), std::wstring(p), std::wstring(p)};
        std::wstring full = path;
        if (!p.empty()) {
            if (!full.empty()) full += kPathDelim;
            full += p;
        }
        return {key.Get(), std::wstring(p), std::move(full)};
    }

    LONG Open(const Target& target, REGSAM mask, platform::unique_hkey& opened) const {
        const LONG rc = SysCalls().RegOpenKeyExW(target.base, target.subKey.c_str(), 0, mask, opened.Put());
        // The handle slot is undefined after a failure; never close what it holds.
        if (rc != ERROR_SUCCESS) opened.Release();
        return rc;
    }

    void Adopt(platform::unique_hkey& opened, std::wstring fullPath) {
        CloseThroughTable(key);
        key = std::move(opened);
        path = std::move(fullPath);
    }

    std::optional<RawValue> Query(const std::wstring& name) const {
        if (!key) return std::nullopt;
        RawValue value;
        DWORD size = 0;
        if (SysCalls().RegQueryValueExW(key.Get(), name.c_str(), nullptr, &value.type, nullptr, &size) !=
            ERROR_SUCCESS)
            return std::nullopt;
        // The value may grow between the sizing call and the read; the read
        // then answers ERROR_MORE_DATA with the new size, and we try again.
        for (int attempt = 0; attempt < 8; ++attempt) {
            value.data.resize(size);
            DWORD got = size;
            const LONG rc = SysCalls().RegQueryValueExW(key.Get(), name.c_str(), nullptr, &value.type,
                                                        value.data.empty() ? nullptr : value.data.data(), &got);
            if (rc == ERROR_SUCCESS) {
                value.data.resize(got);
                return value;
            }
            if (rc != ERROR_MORE_DATA) return std::nullopt;
            size = got > size ? got : size * 2 + 16;
        }
        return std::nullopt;
    }

    template <class Enumerate>
    std::vector<std::wstring> Names(bool keys, Enumerate enumerate) const {
        std::vector<std::wstring> names;
        if (!key) return names;
        DWORD maxSubKeyChars = 0, maxValueNameChars = 0;
        if (SysCalls().RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, nullptr, &maxSubKeyChars, nullptr,
                                        nullptr, &maxValueNameChars, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            return names;
        // The maxima exclude the terminator; the enumerators want room for it.
        // A name added after the query can still be longer: ERROR_MORE_DATA
        // then asks for a bigger buffer and the same index is read again.
        std::vector<wchar_t> buffer((keys ? maxSubKeyChars : maxValueNameChars) + 1);
        for (DWORD index = 0;;) {
            DWORD chars = static_cast<DWORD>(buffer.size());
            const LONG rc = enumerate(key.Get(), index, buffer.data(), &chars);
            if (rc == ERROR_MORE_DATA && buffer.size() < kMaxNameChars) {
                buffer.resize(kMaxNameChars);
                continue;
            }
            if (rc != ERROR_SUCCESS) break;  // ERROR_NO_MORE_ITEMS, or the key went away
            names.emplace_back(buffer.data(), chars);
            ++index;
        }
        return names;
    }
};

TRegistry::TRegistry(std::uint32_t access) : TRegistry(RegistryRoot::CurrentUser, access) {}

TRegistry::TRegistry(RegistryRoot root, std::uint32_t access) : state_(std::make_unique<State>()) {
    state_->root = root;
    state_->access = access;
}

TRegistry::~TRegistry() { CloseKey(); }

RegistryRoot TRegistry::RootKey() const noexcept { return state_->root; }

void TRegistry::SetRootKey(RegistryRoot root) {
    CloseKey();
    state_->root = root;
}

std::uint32_t TRegistry::Access() const noexcept { return state_->access; }
void TRegistry::SetAccess(std::uint32_t access) noexcept { state_->access = access; }

bool TRegistry::OpenKey(const std::wstring& path, bool canCreate) {
    const auto target = state_->Resolve(path);
    platform::unique_hkey opened;
    LONG rc;
    if (canCreate) {
        rc = SysCalls().RegCreateKeyExW(target.base, target.subKey.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                        state_->access, nullptr, opened.Put(), nullptr);
        if (rc != ERROR_SUCCESS) opened.Release();
    } else {
        rc = state_->Open(target, state_->access, opened);
    }
    if (rc != ERROR_SUCCESS) return false;
    state_->Adopt(opened, target.fullPath);
    return true;
}

bool TRegistry::OpenKeyReadOnly(const std::wstring& path) {
    const auto target = state_->Resolve(path);
    const REGSAM view = state_->access & kViewFlags;
    // Some keys grant querying but not notification or enumeration: settle for less.
    for (const REGSAM mask : {REGSAM(KEY_READ), REGSAM(KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS), REGSAM(KEY_QUERY_VALUE)}) {
        platform::unique_hkey opened;
        const LONG rc = state_->Open(target, mask | view, opened);
        if (rc == ERROR_SUCCESS) {
            state_->Adopt(opened, target.fullPath);
            return true;
        }
        if (rc != ERROR_ACCESS_DENIED) return false;
    }
    return false;
}

void TRegistry::CloseKey() noexcept {
    CloseThroughTable(state_->key);
    state_->path.clear();
}

bool TRegistry::KeyExists(const std::wstring& path) const {
    platform::unique_hkey opened;
    const LONG rc = state_->Open(state_->Resolve(path), KEY_QUERY_VALUE | (state_->access & kViewFlags), opened);
    CloseThroughTable(opened);
    return rc == ERROR_SUCCESS || rc == ERROR_ACCESS_DENIED;
}

HKEY TRegistry::CurrentKey() const noexcept { return state_->key.Get(); }
const std::wstring& TRegistry::CurrentPath() const noexcept { return state_->path; }

bool TRegistry::HasSubKeys() const {
    if (!state_->key) return false;
    DWORD subKeys = 0;
    return SysCalls().RegQueryInfoKeyW(state_->key.Get(), nullptr, nullptr, nullptr, &subKeys, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
           subKeys > 0;
}

std::vector<std::wstring> TRegistry::GetKeyNames() const {
    return state_->Names(true, [](HKEY key, DWORD index, wchar_t* name, DWORD* chars) {
        return SysCalls().RegEnumKeyExW(key, index, name, chars, nullptr, nullptr, nullptr, nullptr);
    });
}

std::vector<std::wstring> TRegistry::GetValueNames() const {
    return state_->Names(false, [](HKEY key, DWORD index, wchar_t* name, DWORD* chars) {
        return SysCalls().RegEnumValueW(key, index, name, chars, nullptr, nullptr, nullptr, nullptr);
    });
}

void TRegistry::GetKeyNames(StringList& names) const {
    names.Clear();
    for (auto& name : GetKeyNames()) names.Add(std::move(name));
}

void TRegistry::GetValueNames(StringList& names) const {
    names.Clear();
    for (auto& name : GetValueNames()) names.Add(std::move(name));
}

bool TRegistry::ValueExists(const std::wstring& name) const {
    return state_->key && SysCalls().RegQueryValueExW(state_->key.Get(), name.c_str(), nullptr, nullptr, nullptr,
                                                      nullptr) == ERROR_SUCCESS;
}

std::int64_t TRegistry::GetDataSize(const std::wstring& name) const {
    DWORD size = 0;
    if (!state_->key ||
        SysCalls().RegQueryValueExW(state_->key.Get(), name.c_str(), nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS)
        return -1;
    return size;
}

std::optional<std::uint32_t> TRegistry::GetDataType(const std::wstring& name) const {
    DWORD type = REG_NONE;
    if (!state_->key ||
        SysCalls().RegQueryValueExW(state_->key.Get(), name.c_str(), nullptr, &type, nullptr, nullptr) != ERROR_SUCCESS)
        return std::nullopt;
    return type;
}

std::wstring TRegistry::ReadString(const std::wstring& name) const {
    const auto value = state_->Query(name);
    if (!value) return {};
    if (value->type != REG_SZ && value->type != REG_EXPAND_SZ) ThrowInvalidType(name);
    return DecodeString(value->data);
}

std::wstring TRegistry::ReadStringDef(const std::wstring& name, const std::wstring& def) const {
    const auto value = state_->Query(name);
    if (!value || (value->type != REG_SZ && value->type != REG_EXPAND_SZ)) return def;
    return DecodeString(value->data);
}

std::int32_t TRegistry::ReadInteger(const std::wstring& name) const {
    const auto value = state_->Query(name);
    if (!value) ThrowGetFailed(name);
    if (value->type != REG_DWORD || value->data.size() != sizeof(std::int32_t)) ThrowInvalidType(name);
    std::int32_t result;
    std::memcpy(&result, value->data.data(), sizeof result);
    return result;
}

std::int32_t TRegistry::ReadIntegerDef(const std::wstring& name, std::int32_t def) const {
    try {
        return ReadInteger(name);
    } catch (const Exception&) {
        return def;
    }
}

std::int64_t TRegistry::ReadInt64(const std::wstring& name) const {
    const auto value = state_->Query(name);
    if (!value) ThrowGetFailed(name);
    if (value->type == REG_DWORD && value->data.size() == sizeof(std::int32_t)) {
        std::int32_t narrow;
        std::memcpy(&narrow, value->data.data(), sizeof narrow);
        return narrow;
    }
    if (value->type != REG_QWORD || value->data.size() != sizeof(std::int64_t)) ThrowInvalidType(name);
    std::int64_t result;
    std::memcpy(&result, value->data.data(), sizeof result);
    return result;
}

std::int64_t TRegistry::ReadInt64Def(const std::wstring& name, std::int64_t def) const {
    try {
        return ReadInt64(name);
    } catch (const Exception&) {
        return def;
    }
}

bool TRegistry::ReadBool(const std::wstring& name) const { return ReadInteger(name) != 0; }

bool TRegistry::ReadBoolDef(const std::wstring& name, bool def) const {
    try {
        return ReadBool(name);
    } catch (const Exception&) {
        return def;
    }
}

std::vector<std::uint8_t> TRegistry::ReadBinaryData(const std::wstring& name) const {
    auto value = state_->Query(name);
    if (!value) ThrowGetFailed(name);
    if (value->type != REG_BINARY && value->type != REG_NONE) ThrowInvalidType(name);
    return std::move(value->data);
}

std::vector<std::uint8_t> TRegistry::ReadBinaryDataDef(const std::wstring& name, std::vector<std::uint8_t> def) const {
    auto value = state_->Query(name);
    if (!value || (value->type != REG_BINARY && value->type != REG_NONE)) return def;
    return std::move(value->data);
}

namespace {

void SetValue(HKEY key, const std::wstring& name, DWORD type, const void* data, std::size_t size) {
    if (key == nullptr || SysCalls().RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(data),
                                                    static_cast<DWORD>(size)) != ERROR_SUCCESS)
        ThrowSetFailed(name);
}

}  // namespace

void TRegistry::WriteString(const std::wstring& name, const std::wstring& value) {
    // The stored size counts the terminator, so readers that trust it find one.
    SetValue(state_->key.Get(), name, REG_SZ, value.c_str(), (value.size() + 1) * sizeof(wchar_t));
}

void TRegistry::WriteInteger(const std::wstring& name, std::int32_t value) {
    SetValue(state_->key.Get(), name, REG_DWORD, &value, sizeof value);
}

void TRegistry::WriteInt64(const std::wstring& name, std::int64_t value) {
    SetValue(state_->key.Get(), name, REG_QWORD, &value, sizeof value);
}

}  // namespace vt
