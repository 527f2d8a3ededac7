// What host-style tests share: they know nothing of the library but its public
// headers, and load VantrelHelper.dll from the test program's folder by path.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "vantrel/Client.hpp"

namespace hosttest {

using vantrel::client::Ptr;

// The folder of the running test program, with a trailing backslash.
std::wstring ProgramFolder();

// The library under test, loaded once for the whole test program.
const vantrel::client::Library& Dll();

// Calls slot `slot` (0-based, counting QueryInterface as 0) of obj's vtable
// with the given arguments: tests reach operations by position, the way a
// host written against the contract alone would.
template <class... Args>
HRESULT CallSlot(void* obj, int slot, Args... args) {
    using Fn = HRESULT(STDMETHODCALLTYPE*)(void*, Args...);
    void** vtable = *static_cast<void***>(obj);
    return reinterpret_cast<Fn>(vtable[slot])(obj, args...);
}

// The message the last failed call published through error info.
inline std::wstring ErrorMessage() { return vantrel::client::LastErrorMessage(); }

}  // namespace hosttest
