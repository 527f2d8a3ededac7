#include "runtime/ComBoundary.h"

#include <cwchar>

#include "runtime/Utf.h"

namespace vt {

std::wstring WidenMessage(const char* what) { return FromUtf8(what ? what : ""); }

void PublishStdExceptionInfo(HRESULT code, const char* what) noexcept {
    try {
        const std::wstring message = WidenMessage(what);
        PublishErrorInfo(code, message.c_str());
    } catch (...) {
        PublishErrorInfo(code, L"Unexpected internal error");
    }
}

BSTR AllocBstr(const std::wstring& text) {
    BSTR b = SysAllocStringLen(text.data(), static_cast<unsigned int>(text.size()));
    if (b == nullptr) throw std::bad_alloc();
    return b;
}

void AssignBstr(BSTR* out, const std::wstring& text) { *Out(out) = AllocBstr(text); }

std::wstring FromBstr(const wchar_t* text) { return text ? std::wstring(text) : std::wstring(); }

std::wstring FromBstrOwned(BSTR text) {
    if (text == nullptr) return {};
    std::wstring s(text, SysStringLen(text));
    SysFreeString(text);
    return s;
}

std::wstring TakeErrorInfoMessage() {
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || info == nullptr) return {};
    BSTR description = nullptr;
    info->GetDescription(&description);
    info->Release();
    return FromBstrOwned(description);
}

}  // namespace vt
