// Errors of system calls in the companion DLLs: the system's own message,
// prefixed with what was being done, thrown as the runtime's exception so the
// interface boundary hands both the code and the text to the caller.
#pragma once

#include <string>

#include "platform/Win32.h"

namespace vt::siblings {

// The system's text for an error code, without the trailing line break.
std::wstring SystemMessage(DWORD error);

// Throws HRESULT_FROM_WIN32(error) with the message "<what>: <system text>".
[[noreturn]] void ThrowSystemError(DWORD error, const std::wstring& what);

// As ThrowSystemError with GetLastError().
[[noreturn]] void ThrowLastError(const std::wstring& what);

}  // namespace vt::siblings
