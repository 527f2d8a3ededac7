// File and path helpers the categories share. Paths are written the Windows
// way, with backslashes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vt::FileUtils {

// True when the file-name part of path (after the last backslash or colon)
// holds a wildcard, "*" or "?"; wildcards in folder parts do not count.
bool IsMaskedPath(std::wstring_view path) noexcept;

// A folder path ready for appending file names: environment references
// (%NAME%) expanded and a trailing backslash ensured. Undefined references
// stay as written; empty text stays empty (no bare "\").
std::wstring PreparePathName(std::wstring_view path);

// The size of the file in bytes; -1 when it is missing, a folder, or cannot be queried.
std::int64_t GetFileSize(const std::wstring& path);

// The system's Windows folder with a trailing backslash ("C:\Windows\");
// natively "C:\Windows\" unless overridden; empty when it cannot be queried.
std::wstring WindowsDirectory();

// Makes WindowsDirectory() answer the given folder (trailing backslash ensured) on either build;
// nullopt restores the real answer. For tests; not synchronised with callers.
void SetWindowsDirectoryForTesting(std::optional<std::wstring> folder);

// Expands %NAME% references with the platform's environment (case-insensitive
// names on Windows); references to undefined variables stay as written.
std::wstring ExpandEnvironment(std::wstring_view text);

}  // namespace vt::FileUtils
