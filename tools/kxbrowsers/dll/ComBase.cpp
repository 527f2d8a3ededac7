#include "ComBase.h"

#include "Text.h"

namespace kxb::com {

HRESULT Fail(HRESULT hr, const std::string& message) {
    ICreateErrorInfo* create = nullptr;
    if (SUCCEEDED(CreateErrorInfo(&create)) && create) {
        const std::wstring text = WideFromUtf8(message);
        create->SetDescription(const_cast<LPOLESTR>(text.c_str()));
        create->SetSource(const_cast<LPOLESTR>(L"KxBrowsers"));
        IErrorInfo* info = nullptr;
        if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info))) && info) {
            SetErrorInfo(0, info);
            info->Release();
        }
        create->Release();
    }
    return hr;
}

HRESULT Out(const std::wstring& text, BSTR* out) {
    if (!out) return E_POINTER;
    *out = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *out ? S_OK : E_OUTOFMEMORY;
}

}  // namespace kxb::com
