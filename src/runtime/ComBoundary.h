// The interface boundary. Every operation the library exposes runs its body
// through Guarded: no exception crosses the boundary; each becomes the HRESULT
// of the contract, and its message is handed over through SetErrorInfo so the
// host can read it with GetErrorInfo.
#pragma once

#include <new>
#include <string>

#include "runtime/Exception.h"
#include "vantrel/ComTypes.h"

namespace vt {

// Publishes an error's message for the calling thread (SetErrorInfo); S_OK
// clears what a previous failure left. Never throws: when the error object
// cannot be made (out of memory) nothing is published, and the caller's
// HRESULT still tells the failure.
void PublishErrorInfo(HRESULT code, const wchar_t* message) noexcept;
inline void PublishErrorInfo(HRESULT code, const std::wstring& message) noexcept {
    PublishErrorInfo(code, message.c_str());
}
// Publishes a std::exception's message (UTF-8); when widening it needs memory
// that is not there, a fixed text instead. Never throws.
void PublishStdExceptionInfo(HRESULT code, const char* what) noexcept;

// Reads the calling thread's error message (GetErrorInfo), empty when none.
std::wstring TakeErrorInfoMessage();

// The message of a std::exception (UTF-8) as a wide string.
std::wstring WidenMessage(const char* what);

// Runs body; returns S_OK, or the failure's HRESULT with its message published.
// The handlers allocate nothing themselves (a bad_alloc escaping a noexcept
// function would end the host's process): messages go out as the exception
// holds them or as fixed texts.
template <class Body>
HRESULT Guarded(Body&& body) noexcept {
    try {
        body();
        return S_OK;
    } catch (const Exception& e) {
        // A thrown error always fails the call, whatever code it was given.
        const HRESULT code = FAILED(e.Code()) ? e.Code() : E_FAIL;
        PublishErrorInfo(code, e.Message().c_str());
        return code;
    } catch (const std::bad_alloc&) {
        PublishErrorInfo(E_OUTOFMEMORY, L"Out of memory");
        return E_OUTOFMEMORY;
    } catch (const std::exception& e) {
        PublishStdExceptionInfo(E_FAIL, e.what());
        return E_FAIL;
    } catch (...) {
        PublishErrorInfo(E_FAIL, L"Unexpected internal error");
        return E_FAIL;
    }
}

// A new BSTR holding text (SysAllocStringLen); throws on allocation failure.
BSTR AllocBstr(const std::wstring& text);
// Stores a new BSTR for text in *out (checked for null).
void AssignBstr(BSTR* out, const std::wstring& text);
// The text of a BSTR or of an incoming const wchar_t* (null is empty).
std::wstring FromBstr(const wchar_t* text);
std::wstring FromBstrOwned(BSTR text);  // also frees it

// Stores a new reference to obj in *out (null stays null).
template <class Interface, class Source>
void AssignInterface(Interface** out, Source* obj) {
    Interface** slot = Out(out);
    *slot = obj ? static_cast<Interface*>(obj) : nullptr;
    if (*slot) (*slot)->AddRef();
}

}  // namespace vt
