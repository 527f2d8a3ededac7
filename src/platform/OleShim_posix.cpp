// The OLE string and error-info functions for the native (non-Windows) build
// of the portable core: BSTRs carry their length before the text, as on
// Windows, and error info is kept per thread.
#include <cstdlib>
#include <cstring>
#include <string>

#include "runtime/ComBoundary.h"
#include "runtime/ComObject.h"
#include "vantrel/ComTypes.h"

namespace {

struct BstrHeader {
    std::uint64_t length;  // in characters
};

class PortableErrorInfo final : public vt::ComObject<IErrorInfo> {
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

thread_local vt::Com<IErrorInfo> tCurrentError;

}  // namespace

BSTR SysAllocStringLen(const OLECHAR* text, unsigned int length) {
    auto* block = static_cast<unsigned char*>(
        std::malloc(sizeof(BstrHeader) + (static_cast<std::size_t>(length) + 1) * sizeof(OLECHAR)));
    if (block == nullptr) return nullptr;
    reinterpret_cast<BstrHeader*>(block)->length = length;
    auto* chars = reinterpret_cast<OLECHAR*>(block + sizeof(BstrHeader));
    if (text != nullptr && length > 0) std::memcpy(chars, text, length * sizeof(OLECHAR));
    else if (length > 0) std::memset(chars, 0, length * sizeof(OLECHAR));
    chars[length] = 0;
    return chars;
}

BSTR SysAllocString(const OLECHAR* text) {
    if (text == nullptr) return nullptr;
    return SysAllocStringLen(text, static_cast<unsigned int>(std::wcslen(text)));
}

void SysFreeString(BSTR text) {
    if (text != nullptr) std::free(reinterpret_cast<unsigned char*>(text) - sizeof(BstrHeader));
}

unsigned int SysStringLen(BSTR text) {
    if (text == nullptr) return 0;
    return static_cast<unsigned int>(
        reinterpret_cast<BstrHeader*>(reinterpret_cast<unsigned char*>(text) - sizeof(BstrHeader))->length);
}

HRESULT SetErrorInfo(ULONG, IErrorInfo* info) {
    tCurrentError = info;
    return S_OK;
}

HRESULT GetErrorInfo(ULONG, IErrorInfo** info) {
    *info = tCurrentError.Detach();
    return *info ? S_OK : S_FALSE;
}

namespace vt {

void PublishErrorInfo(HRESULT code, const wchar_t* message) noexcept {
    if (SUCCEEDED(code)) {
        SetErrorInfo(0, nullptr);
        return;
    }
    try {
        auto info = MakeCom<PortableErrorInfo>(std::wstring(message ? message : L""));
        SetErrorInfo(0, info.Get());
    } catch (...) {
        // No memory for the error object: what a previous failure left must
        // not pass for this one's message.
        SetErrorInfo(0, nullptr);
    }
}

}  // namespace vt
