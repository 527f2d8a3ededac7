// Which registry keys a 32-bit process on 64-bit Windows sees redirected, and
// their native (64-bit view) names. A fixed table of key paths with their mode
// per Windows version is held as a tree of key-name components; a key's mode
// is the mode of its deepest listed ancestor (or itself), mmShared when none.
// In a process that is not WOW64 the tree stays empty: every key is shared
// and keeps its name.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vt {

enum TMappingMode : std::uint8_t { mmUnspec, mmShared, mmRedirected, mmReflected };

// "Unspec", "Shared", "Redirected" or "Reflected"; empty for other values.
std::wstring_view MappingModeName(TMappingMode mode) noexcept;

// One node of the key tree: a key-name component, its own mode (mmUnspec when
// the table does not list this exact key) and the components below it.
struct TKeyInfo {
    std::wstring Name;
    TMappingMode Mode = mmUnspec;
    std::vector<std::unique_ptr<TKeyInfo>> Children;

    // The child named name (ignoring case), null when there is none.
    TKeyInfo* FindChild(std::wstring_view name) const noexcept;
};

// One row of the key table: a full key path and its mode on Windows versions
// numbered below 15 (before Windows 7) and from 15 on.
struct TKeyMappingEntry {
    const wchar_t* Key;
    TMappingMode ModeBeforeWin7;
    TMappingMode ModeFromWin7;
};

// The key table, in the order the tree is built from.
extern const std::array<TKeyMappingEntry, 76> kKeyMappingTable;
// The roots after which "\Wow6432Node" is inserted, tried in this order.
extern const std::array<const wchar_t*, 7> kRedirectedRoots;

// The registry's flag for opening the 32-bit view (KEY_WOW64_32KEY).
constexpr std::int32_t kWow64View32Flag = 0x200;

class TKeyMappingChecker {
public:
    // Builds the tree for a process of the given kind on the given Windows
    // version number (15 is Windows 7) and logs it at llInfo ("DumpKeysTree").
    TKeyMappingChecker(bool isWow64Process, int windowsVersion);

    // The process-wide checker: the one a ScopedInstance installed, if any;
    // otherwise the one for the running process, built on first use.
    static const TKeyMappingChecker& Instance();

    // While it lives, makes checker the process-wide one, so that callers of
    // Instance (detected items' "(x32)" locations) can be run for another
    // process kind or Windows version. The previous one is restored at the
    // end; checker must outlive the scope. Meant for tests: install it before
    // other threads use Instance.
    class ScopedInstance {
    public:
        explicit ScopedInstance(const TKeyMappingChecker& checker);
        ~ScopedInstance();
        ScopedInstance(const ScopedInstance&) = delete;
        ScopedInstance& operator=(const ScopedInstance&) = delete;

    private:
        const TKeyMappingChecker* FPrevious;
    };

    // The mode of Key (a full path, trailing backslash ignored): that of the
    // deepest node on its path with a mode of its own; mmShared when none.
    TMappingMode MappingMode(std::wstring_view Key) const;

    // Key in its native form: in a WOW64 process, for AccessFlag 0x200 and a
    // redirected key, "\Wow6432Node" inserted after the first matching
    // redirected root; otherwise (or when no root matches) Key unchanged.
    std::wstring GetNativeKey(std::int32_t AccessFlag, std::wstring_view Key) const;

    bool IsWow64Process() const noexcept { return FIsWow64; }
    // The tree's nameless root.
    const TKeyInfo& Root() const noexcept { return FRoot; }

private:
    void AddKey(std::wstring_view path, TMappingMode mode);
    void DumpKeysTree() const;

    bool FIsWow64;
    TKeyInfo FRoot;
};

}  // namespace vt
