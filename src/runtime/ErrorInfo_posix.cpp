// Error info for the native build: an IErrorInfo of our own holding the
// message, set on this thread through the OLE shim's SetErrorInfo.
#include <string>

#include "runtime/ComBoundary.h"
#include "runtime/ComObject.h"

namespace vt {

namespace {

class PortableErrorInfo final : public ComObject<IErrorInfo> {
public:
    explicit PortableErrorInfo(std::wstring description) : description_(std::move(description)) {}
    HRESULT GetGUID(GUID* guid) override {
        *guid = GUID{};
        return S_OK;
    }
    HRESULT GetSource(BSTR* source) override {
        *source = SysAllocString(L"VantrelHelper");
        return S_OK;
    }
    HRESULT GetDescription(BSTR* description) override {
        *description = SysAllocStringLen(description_.data(), static_cast<unsigned>(description_.size()));
        return S_OK;
    }
    HRESULT GetHelpFile(BSTR* helpFile) override {
        *helpFile = nullptr;
        return S_OK;
    }
    HRESULT GetHelpContext(DWORD* helpContext) override {
        *helpContext = 0;
        return S_OK;
    }

private:
    std::wstring description_;
};

}  // namespace

void PublishErrorInfo(HRESULT code, const std::wstring& message) {
    if (SUCCEEDED(code)) {
        SetErrorInfo(0, nullptr);
        return;
    }
    auto info = MakeCom<PortableErrorInfo>(message);
    SetErrorInfo(0, info.Get());
}

}  // namespace vt
