// Error info through OLE: CreateErrorInfo, then SetErrorInfo on this thread.
#include "platform/Win32.h"
#include "runtime/ComBoundary.h"

namespace vt {

void PublishErrorInfo(HRESULT code, const std::wstring& message) {
    if (SUCCEEDED(code)) {
        SetErrorInfo(0, nullptr);
        return;
    }
    ICreateErrorInfo* create = nullptr;
    if (FAILED(CreateErrorInfo(&create)) || create == nullptr) return;
    create->SetDescription(const_cast<LPOLESTR>(message.c_str()));
    create->SetSource(const_cast<LPOLESTR>(L"VantrelHelper"));
    IErrorInfo* info = nullptr;
    if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info))) && info) {
        SetErrorInfo(0, info);
        info->Release();
    }
    create->Release();
}

}  // namespace vt
