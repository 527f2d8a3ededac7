// The registry accessor: one open key at a time under a chosen root, with the
// reads the categories need. Windows only.
//
// Paths follow the usual accessor rules: a path with a leading backslash is
// taken from the root; one without is taken relative to the key that is open
// (from the root when none is). One trailing backslash is ignored.
//
// Reads come in two forms. The plain ones throw the runtime's general error
// when the value is missing or has another type (ReadString gives empty text
// for a missing value, as callers expect of it); the ...Def ones return the
// given default in both cases and never throw. With no key open every value
// read fails as if the value were missing. Not thread-safe: one owner at a time.
#pragma once

#if !defined(_WIN32)
#error "runtime/Registry.h is for the Windows build only"
#endif

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/RegistryPath.h"
#include "vantrel/ComTypes.h"

namespace vt {

class StringList;

// The predefined HKEY of a root; null for a value outside the enumeration.
HKEY RegistryRootToHKEY(RegistryRoot root) noexcept;
// The root a predefined HKEY stands for; nullopt for any other handle.
std::optional<RegistryRoot> HKEYToRegistryRoot(HKEY key) noexcept;

class TRegistry {
public:
    // Root HKEY_CURRENT_USER; access KEY_READ unless given.
    explicit TRegistry(std::uint32_t access = KEY_READ);
    TRegistry(RegistryRoot root, std::uint32_t access);
    ~TRegistry();
    TRegistry(const TRegistry&) = delete;
    TRegistry& operator=(const TRegistry&) = delete;

    RegistryRoot RootKey() const noexcept;
    // Changes the root; closes the open key (even when the root is the same).
    void SetRootKey(RegistryRoot root);
    // The access mask OpenKey asks for; KEY_WOW64_64KEY / KEY_WOW64_32KEY in it
    // choose the registry view for every open, read-only ones included.
    std::uint32_t Access() const noexcept;
    void SetAccess(std::uint32_t access) noexcept;

    // Opens path with Access() (creating the missing keys when canCreate).
    // False on failure, and then the previously open key stays open.
    bool OpenKey(const std::wstring& path, bool canCreate);
    // Opens path for reading in the current view, settling for less than
    // KEY_READ when only that is granted. False on failure, nothing changed.
    bool OpenKeyReadOnly(const std::wstring& path);
    // Closes the open key, if any; CurrentPath() becomes empty.
    void CloseKey() noexcept;
    // True when path (same rules as OpenKey) exists, even when reading it is
    // denied; the open key is not changed.
    bool KeyExists(const std::wstring& path) const;

    // The open key, borrowed: valid until the next open, close or root change.
    // Null when no key is open.
    HKEY CurrentKey() const noexcept;
    // Path of the open key below the root, without a leading backslash; empty when none is open.
    const std::wstring& CurrentPath() const noexcept;

    // True when the open key has sub-keys; false when it has none or none is open.
    bool HasSubKeys() const;
    // Names of the open key's sub-keys in the order the registry gives them;
    // empty when none is open. A key that changes while it is read yields what was read.
    std::vector<std::wstring> GetKeyNames() const;
    // Same, replacing the contents of names.
    void GetKeyNames(StringList& names) const;
    // Names of the open key's values ("" is the default value); same rules as GetKeyNames.
    std::vector<std::wstring> GetValueNames() const;
    void GetValueNames(StringList& names) const;

    // True when the open key has the value.
    bool ValueExists(const std::wstring& name) const;
    // Size of the value's data in bytes; -1 when the value is missing.
    std::int64_t GetDataSize(const std::wstring& name) const;
    // The value's REG_* type; nullopt when it is missing.
    std::optional<std::uint32_t> GetDataType(const std::wstring& name) const;

    // REG_SZ or REG_EXPAND_SZ (not expanded), up to the first terminator; ""
    // when missing; throws for another type.
    std::wstring ReadString(const std::wstring& name) const;
    std::wstring ReadStringDef(const std::wstring& name, const std::wstring& def) const;
    // REG_DWORD; throws when missing or of another type.
    std::int32_t ReadInteger(const std::wstring& name) const;
    std::int32_t ReadIntegerDef(const std::wstring& name, std::int32_t def) const;
    // REG_QWORD, or REG_DWORD widened; throws when missing or of another type.
    std::int64_t ReadInt64(const std::wstring& name) const;
    std::int64_t ReadInt64Def(const std::wstring& name, std::int64_t def) const;
    // ReadInteger() != 0; throws like ReadInteger.
    bool ReadBool(const std::wstring& name) const;
    bool ReadBoolDef(const std::wstring& name, bool def) const;
    // The data of a REG_BINARY or REG_NONE value, whole; throws when missing or of another type.
    std::vector<std::uint8_t> ReadBinaryData(const std::wstring& name) const;
    std::vector<std::uint8_t> ReadBinaryDataDef(const std::wstring& name, std::vector<std::uint8_t> def) const;

    // Write into the open key as REG_SZ, REG_DWORD or REG_QWORD; throw the
    // general error when no key is open or the write fails.
    void WriteString(const std::wstring& name, const std::wstring& value);
    void WriteInteger(const std::wstring& name, std::int32_t value);
    void WriteInt64(const std::wstring& name, std::int64_t value);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace vt
