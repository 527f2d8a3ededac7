// The one exception type of the library. Inside the library errors are thrown
// as vt::Exception (or arrive as std exceptions); at every interface boundary
// vt::Guarded (ComBoundary.h) turns them into an HRESULT plus error info.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

// HRESULT without the system headers: the exception type is used by portable
// code (streams, containers, parsers) that must not see <windows.h>. On
// Windows this is the declaration <winnt.h> makes, under its own guard.
#if defined(_WIN32)
#ifndef _HRESULT_DEFINED
#define _HRESULT_DEFINED
typedef long HRESULT;
#endif
#else
using HRESULT = std::int32_t;
#endif

namespace vt {

class Exception : public std::exception {
public:
    Exception(HRESULT code, std::wstring message);

    HRESULT Code() const noexcept { return code_; }
    const std::wstring& Message() const noexcept { return message_; }
    // The message as UTF-8, for std::exception users (test output).
    const char* what() const noexcept override { return narrow_.c_str(); }

private:
    HRESULT code_;
    std::wstring message_;
    std::string narrow_;
};

// The runtime's general error (E_FAIL).
[[noreturn]] void ThrowGeneral(const std::wstring& message);
// The runtime's invalid-operation error (E_ILLEGAL_METHOD_CALL).
[[noreturn]] void ThrowInvalidOperation(const std::wstring& message = {});
// The list-index error: "List index out of bounds (N)" (E_BOUNDS).
[[noreturn]] void ThrowListIndex(long long index);
// The stream's read error: "Stream read error".
[[noreturn]] void ThrowStreamRead();
// The stream's write error: "Stream write error".
[[noreturn]] void ThrowStreamWrite();
// An operation that is not built yet (E_NOTIMPL).
[[noreturn]] void ThrowNotImplemented(const std::wstring& what);
// A null out-pointer or a missing required argument (E_POINTER).
[[noreturn]] void ThrowNullPointer(const std::wstring& what = L"Invalid pointer");

// Checks an out-pointer, throwing E_POINTER when it is null.
template <class T>
T* Out(T* pointer) {
    if (pointer == nullptr) ThrowNullPointer();
    return pointer;
}

}  // namespace vt
