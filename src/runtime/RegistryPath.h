// Registry locations as text. Every registry location the engine shows, saves
// or compares has one canonical form: the root's full name, a backslash, the
// key path, and, when a value is meant, two backslashes and the value name:
//     HKEY_CURRENT_USER\Software\X\\ValueName
// The double backslash is the joint between key and value; value names may
// themselves hold backslashes, so the split is made at the first joint.
// Portable: the Windows build maps the roots to HKEY values in Registry_win.cpp.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vt {

// The predefined registry roots. The values are those of the Win32 HKEY
// constants, so a root saved as an integer reads back the same on every build.
enum class RegistryRoot : std::uint32_t {
    ClassesRoot = 0x80000000u,
    CurrentUser = 0x80000001u,
    LocalMachine = 0x80000002u,
    Users = 0x80000003u,
    PerformanceData = 0x80000004u,
    CurrentConfig = 0x80000005u,
    DynData = 0x80000006u,
};

// The root's full name, such as "HKEY_CURRENT_USER"; empty for a value outside the enumeration.
std::wstring RegistryRootToStr(RegistryRoot root);

// The root named by a full name or a short form (HKCR, HKCU, HKLM, HKU, HKCC),
// case-insensitively; nullopt for any other text.
std::optional<RegistryRoot> StrToRegistryRoot(std::wstring_view name);

// The canonical text of a key, or of a value when valueName is not empty. One
// leading and one trailing backslash of keyPath are dropped; an empty keyPath
// names the root itself ("HKEY_CURRENT_USER\\ValueName").
std::wstring RegistryKeyToStr(RegistryRoot root, std::wstring_view keyPath, std::wstring_view valueName = {});

// A registry location split into its parts.
struct RegistryKeyParams {
    RegistryRoot root = RegistryRoot::CurrentUser;
    std::wstring keyPath;    // without leading or trailing backslash; may be empty
    std::wstring valueName;  // empty when the text names a key only
};

// Splits "ROOT\Key\Path\\ValueName" at its first double backslash into root,
// key path and value name (no joint: the whole text is the key and the value
// name is empty). The root may be a full name or a short form. nullopt when
// the root is not recognised.
std::optional<RegistryKeyParams> ExtractKeyParams(std::wstring_view text);

// The canonical form of a location written with any root spelling
// ("hkcu\Software\X\\V" gives "HKEY_CURRENT_USER\Software\X\\V"); text whose
// root is not recognised is returned unchanged.
std::wstring NormalizeRegistryKey(std::wstring_view text);

}  // namespace vt
