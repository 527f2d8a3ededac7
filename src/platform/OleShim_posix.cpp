// The OLE string and error-info functions for the native (non-Windows) build
// of the portable core: BSTRs carry their length before the text, as on
// Windows, and error info is kept per thread. The error-info object itself is
// made by the runtime (runtime/ErrorInfo_posix.cpp), as OLE makes it on Windows.
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "vantrel/ComTypes.h"

namespace {

struct BstrHeader {
    std::uint64_t length;  // in characters
};

// The calling thread's error info, holding one reference.
class ThreadErrorInfo {
public:
    ~ThreadErrorInfo() { Set(nullptr); }
    void Set(IErrorInfo* info) {
        if (info) info->AddRef();
        if (info_) info_->Release();
        info_ = info;
    }
    IErrorInfo* Take() {
        IErrorInfo* info = info_;
        info_ = nullptr;
        return info;
    }

private:
    IErrorInfo* info_ = nullptr;
};

thread_local ThreadErrorInfo tCurrentError;

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
    tCurrentError.Set(info);
    return S_OK;
}

HRESULT GetErrorInfo(ULONG, IErrorInfo** info) {
    *info = tCurrentError.Take();
    return *info ? S_OK : S_FALSE;
}
