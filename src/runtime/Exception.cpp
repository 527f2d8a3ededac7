#include "runtime/Exception.h"

#include "runtime/Utf.h"
#include "vantrel/ComTypes.h"

namespace vt {

Exception::Exception(HRESULT code, std::wstring message)
    : code_(code), message_(std::move(message)), narrow_(ToUtf8(message_)) {}

void ThrowGeneral(const std::wstring& message) { throw Exception(E_FAIL, message); }

void ThrowInvalidOperation(const std::wstring& message) {
    throw Exception(E_ILLEGAL_METHOD_CALL, message);
}

void ThrowListIndex(long long index) {
    throw Exception(E_BOUNDS, L"List index out of bounds (" + std::to_wstring(index) + L")");
}

void ThrowStreamRead() { throw Exception(E_FAIL, L"Stream read error"); }

void ThrowStreamWrite() { throw Exception(E_FAIL, L"Stream write error"); }

void ThrowNotImplemented(const std::wstring& what) {
    throw Exception(E_NOTIMPL, what + L" is not implemented yet");
}

void ThrowNullPointer(const std::wstring& what) { throw Exception(E_POINTER, what); }

}  // namespace vt
