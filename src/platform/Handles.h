// Owners of Win32 handles, one alias per handle kind (WIL's shape): an owner
// closes what it holds when it goes out of scope, and Put() hands the slot to
// an open function so there is never a moment when a raw handle can leak.
#pragma once

#include <type_traits>
#include <utility>

#include "platform/SysCalls.h"
#include "platform/Win32.h"

namespace vt::platform {

template <class Handle, auto Close, auto InvalidValue = Handle{}>
class UniqueHandle {
public:
    UniqueHandle() noexcept = default;
    explicit UniqueHandle(Handle h) noexcept : h_(h) {}
    UniqueHandle(UniqueHandle&& other) noexcept : h_(std::exchange(other.h_, Invalid())) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) Reset(std::exchange(other.h_, Invalid()));
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    ~UniqueHandle() { Reset(); }

    Handle Get() const noexcept { return h_; }
    bool IsValid() const noexcept { return h_ != Invalid(); }
    explicit operator bool() const noexcept { return IsValid(); }

    // Closes what is held, then keeps h.
    void Reset(Handle h = Invalid()) noexcept {
        if (h_ != Invalid()) Close(h_);
        h_ = h;
    }
    Handle Release() noexcept { return std::exchange(h_, Invalid()); }
    // Closes what is held and hands the slot to an open function.
    Handle* Put() noexcept {
        Reset();
        return &h_;
    }

private:
    static Handle Invalid() noexcept {
        if constexpr (std::is_pointer_v<decltype(InvalidValue)> || std::is_integral_v<decltype(InvalidValue)>)
            return (Handle)(InvalidValue);
        else
            return InvalidValue;
    }
    Handle h_ = Invalid();
};

// The closers go through the call table, so a test can make a close fail
// (or count closes) like any other system call.
namespace detail {
inline void CloseKey(HKEY h) noexcept { SysCalls().RegCloseKey(h); }
inline void CloseHandleFn(HANDLE h) noexcept { SysCalls().CloseHandle(h); }
inline void CloseFind(HANDLE h) noexcept { SysCalls().FindClose(h); }
inline void FreeLib(HMODULE h) noexcept { SysCalls().FreeLibrary(h); }
inline void CloseServiceHandleFn(SC_HANDLE h) noexcept { SysCalls().CloseServiceHandle(h); }
inline void CloseEventLogFn(HANDLE h) noexcept { SysCalls().CloseEventLog(h); }
inline void FreeSidFn(PSID sid) noexcept { SysCalls().LocalFree(sid); }
}  // namespace detail

// An HKEY closed by RegCloseKey.
using unique_hkey = UniqueHandle<HKEY, detail::CloseKey>;
// A kernel HANDLE (file, event, thread, token) closed by CloseHandle; null is empty.
using unique_handle = UniqueHandle<HANDLE, detail::CloseHandleFn>;
// A file HANDLE whose empty value is INVALID_HANDLE_VALUE (CreateFileW's failure).
using unique_hfile = UniqueHandle<HANDLE, detail::CloseHandleFn, -1>;
// A find handle closed by FindClose; empty is INVALID_HANDLE_VALUE.
using unique_hfind = UniqueHandle<HANDLE, detail::CloseFind, -1>;
// A loaded library freed by FreeLibrary.
using unique_hmodule = UniqueHandle<HMODULE, detail::FreeLib>;
// A service-manager or service handle closed by CloseServiceHandle.
using unique_schandle = UniqueHandle<SC_HANDLE, detail::CloseServiceHandleFn>;
// An event-log handle closed by CloseEventLog.
using unique_eventlog = UniqueHandle<HANDLE, detail::CloseEventLogFn>;

}  // namespace vt::platform
