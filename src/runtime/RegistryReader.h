// Reading the registry behind an interface: open a key read-only, list its
// sub-keys and values, read a value's type and data. The Windows reader goes
// through the syscall table; the in-memory reader serves native tests and
// fuzzers with registry shapes written by hand. Portable: no <windows.h>.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/RegistryPath.h"

namespace vt {

// Registry value types as Windows numbers them.
inline constexpr std::uint32_t kRegNone = 0;
inline constexpr std::uint32_t kRegSz = 1;
inline constexpr std::uint32_t kRegExpandSz = 2;
inline constexpr std::uint32_t kRegBinary = 3;
inline constexpr std::uint32_t kRegDword = 4;
inline constexpr std::uint32_t kRegMultiSz = 7;
inline constexpr std::uint32_t kRegQword = 11;

// Which registry view a 32-bit process on 64-bit Windows opens.
enum class RegistryView { Default, Force64, Force32 };

struct RegistryValue {
    std::uint32_t type = kRegNone;
    std::vector<std::uint8_t> data;  // as stored: strings are UTF-16LE with their terminator
};

// One key opened read-only. Lists reflect the key when asked; a key that
// changes meanwhile yields what could be read.
class IRegistryKey {
public:
    virtual ~IRegistryKey() = default;
    // Sub-key names in the order the registry gives them.
    virtual std::vector<std::wstring> SubKeyNames() const = 0;
    // Value names in the order the registry gives them ("" is the default value).
    virtual std::vector<std::wstring> ValueNames() const = 0;
    // The value's type and data; nullopt when it is missing or cannot be read.
    virtual std::optional<RegistryValue> ReadValue(std::wstring_view name) const = 0;
    bool HasValue(std::wstring_view name) const { return ReadValue(name).has_value(); }
};

class IRegistryReader {
public:
    virtual ~IRegistryReader() = default;
    // Opens root\path read-only (one leading and one trailing backslash of
    // path ignored; empty path is the root); null when it cannot be opened.
    virtual std::unique_ptr<IRegistryKey> OpenKey(RegistryRoot root, std::wstring_view path,
                                                  RegistryView view = RegistryView::Default) const = 0;
};

// The text of a REG_SZ / REG_EXPAND_SZ value up to its first terminator
// (UTF-16LE code units, an odd last byte dropped); nullopt for another type.
std::optional<std::wstring> RegistryString(const RegistryValue& value);
// A REG_DWORD value (4 bytes little-endian); nullopt for another type or size.
std::optional<std::uint32_t> RegistryDword(const RegistryValue& value);
// UTF-16LE bytes of text with its terminator, as Windows stores a string value.
std::vector<std::uint8_t> RegistryStringBytes(std::wstring_view text);

// A registry held in memory. Key names compare without case; sub-keys and
// values list in the order they were first written. Not thread-safe while written.
class MemoryRegistry final : public IRegistryReader {
public:
    MemoryRegistry();
    ~MemoryRegistry() override;
    MemoryRegistry(MemoryRegistry&&) noexcept;
    MemoryRegistry& operator=(MemoryRegistry&&) noexcept;

    // Creates the key and every missing key above it.
    void AddKey(RegistryRoot root, std::wstring_view path);
    // Creates the key as AddKey and sets the value (replacing one of the same name).
    void SetValue(RegistryRoot root, std::wstring_view path, std::wstring_view name, RegistryValue value);
    void SetString(RegistryRoot root, std::wstring_view path, std::wstring_view name, std::wstring_view text,
                   std::uint32_t type = kRegSz);
    void SetDword(RegistryRoot root, std::wstring_view path, std::wstring_view name, std::uint32_t number);
    // Removes every key and value.
    void Clear();

    std::unique_ptr<IRegistryKey> OpenKey(RegistryRoot root, std::wstring_view path,
                                          RegistryView view = RegistryView::Default) const override;

    struct Node;

private:
    Node* Find(RegistryRoot root, std::wstring_view path, bool create) const;
    std::unique_ptr<Node> roots_;
};

// The reader of the running system: the Windows registry on Windows; natively
// a process-wide MemoryRegistry that tests fill (see NativeRegistry).
const IRegistryReader& SystemRegistry();
#if !defined(_WIN32)
// The native build's system registry, for tests to fill.
MemoryRegistry& NativeRegistry();
#endif

}  // namespace vt
