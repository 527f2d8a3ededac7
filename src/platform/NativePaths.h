// Windows-form paths on the native build. Natively a path such as
// "C:\Windows\Minidump\" names a host folder only when a test has given the
// drive letter a root ("C:" -> "/tmp/x/c"); backslashes become slashes either
// way. On Windows every path is already native and these are identities.
// Portable: no <windows.h> here.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vt::platform {

// Gives a drive letter a host folder (natively), or takes it away with
// nullopt. For tests; not synchronised with callers. No effect on Windows.
void SetDriveRoot(wchar_t letter, std::optional<std::wstring> hostFolder);

// The host form of a Windows-form path: a mapped drive letter replaced by its
// folder, backslashes turned into slashes (natively); path itself on Windows.
std::wstring HostPath(std::wstring_view path);

// UTF-8 of a wide text and back (for the native build's system calls);
// invalid input is replaced, never thrown on.
std::string HostBytes(std::wstring_view text);
std::wstring FromHostBytes(std::string_view bytes);

}  // namespace vt::platform
