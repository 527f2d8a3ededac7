// Error info through OLE: CreateErrorInfo, then SetErrorInfo on this thread.
#include "platform/Win32.h"
#include "runtime/ComBoundary.h"

namespace vt {

void PublishErrorInfo(HRESULT code, const wchar_t* message) noexcept {
    if (SUCCEEDED(code)) {
        SetErrorInfo(0, nullptr);
        return;
    }
    ICreateErrorInfo* create = nullptr;
    if (FAILED(CreateErrorInfo(&create)) || create == nullptr) return;
    // OLE copies the text with its own allocator; nothing here can throw.
    create->SetDescription(const_cast<LPOLESTR>(message ? message : L""));
    create->SetSource(const_cast<LPOLESTR>(L"VantrelHelper"));
    IErrorInfo* info = nullptr;
    if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info))) && info) {
        SetErrorInfo(0, info);
        info->Release();
    }
    create->Release();
}

}  // namespace vt
