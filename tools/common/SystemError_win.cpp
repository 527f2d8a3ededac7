#include "SystemError_win.h"

#include "runtime/Exception.h"

namespace vt::siblings {

std::wstring SystemMessage(DWORD error) {
    wchar_t* text = nullptr;
    const DWORD n = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                         FORMAT_MESSAGE_IGNORE_INSERTS,
                                     nullptr, error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::wstring result = n && text ? std::wstring(text, n) : L"System error " + std::to_wstring(error) + L".";
    if (text) ::LocalFree(text);
    while (!result.empty() && (result.back() == L'\n' || result.back() == L'\r' || result.back() == L' '))
        result.pop_back();
    return result;
}

void ThrowSystemError(DWORD error, const std::wstring& what) {
    throw Exception(HRESULT_FROM_WIN32(error), what + L": " + SystemMessage(error));
}

void ThrowLastError(const std::wstring& what) { ThrowSystemError(::GetLastError(), what); }

}  // namespace vt::siblings
