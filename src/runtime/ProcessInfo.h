// Facts about the process and the user it runs as.
#pragma once

#include <optional>
#include <string>

namespace vt::ProcessInfo {

// Enables the named privilege ("SeBackupPrivilege") in the process token. True
// only when it is enabled afterwards; false when the token cannot be opened,
// the name is unknown or the user does not hold the privilege. Natively
// always false: there are no privileges to enable.
bool EnablePrivilegie(const std::wstring& privilegeName);

// The logged-on user's account name; empty when it cannot be queried.
std::wstring UserName();

// The process user's SID in string form ("S-1-5-21-..."); empty when it
// cannot be queried, and always empty natively.
std::wstring UserSid();

// True for a 32-bit process on 64-bit Windows, where the registry shows a
// redirected 32-bit view. Natively false unless overridden.
bool IsWow64Process() noexcept;

// Makes IsWow64Process() answer the given value on either build (tests of
// the WOW64 key mapping); nullopt restores the real answer.
void SetWow64ForTesting(std::optional<bool> value) noexcept;

}  // namespace vt::ProcessInfo
