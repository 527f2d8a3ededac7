// vantrel-probe: loads VantrelHelper.dll from its own folder through
// GetInstance, the way a host does, and prints the library's version and the
// engine's state, categories and options.
#include <cstdio>
#include <string>

#include "vantrel/Client.hpp"

namespace {

const wchar_t* StateName(TCleanerState s) {
    static const wchar_t* names[] = {L"csReady",    L"csScanning",   L"csScanPause", L"csScanned",
                                     L"csCleaning", L"csCleanPause", L"csCleaned"};
    return s <= csCleaned ? names[s] : L"(unknown)";
}

std::wstring OwnFolder() {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring p(path);
    return p.substr(0, p.find_last_of(L'\\') + 1);
}

std::wstring FileVersion(const std::wstring& file) {
    DWORD ignored = 0;
    const DWORD size = ::GetFileVersionInfoSizeW(file.c_str(), &ignored);
    if (size == 0) return L"(no version resource)";
    std::wstring block(size / sizeof(wchar_t) + 1, L'\0');
    if (!::GetFileVersionInfoW(file.c_str(), 0, size, block.data())) return L"(unreadable)";
    VS_FIXEDFILEINFO* info = nullptr;
    UINT len = 0;
    if (!::VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &len) || !info) return L"(none)";
    return std::to_wstring(HIWORD(info->dwFileVersionMS)) + L"." + std::to_wstring(LOWORD(info->dwFileVersionMS)) +
           L"." + std::to_wstring(HIWORD(info->dwFileVersionLS));
}

}  // namespace

int wmain() {
    using namespace vantrel::client;
    const std::wstring dll = OwnFolder() + L"VantrelHelper.dll";
    try {
        Library library(dll);
        wprintf(L"VantrelHelper.dll %ls (%ls)\n", FileVersion(dll).c_str(), sizeof(void*) == 8 ? L"64-bit" : L"32-bit");
        Ptr<ICleaner> cleaner = library.CreateCleaner();
        TCleanerState state{};
        Check(cleaner->GetState(&state));
        wprintf(L"engine state: %ls\n", StateName(state));

        Ptr<ICleanerOptions> options;
        Check(cleaner->GetOptions(options.Put()));
        bool multi = true;
        Check(options->GetMultiCleanHiberFile(&multi));
        wprintf(L"option MultiCleanHiberFile: %ls\n", multi ? L"True" : L"False");

        Ptr<ICategories> categories;
        const HRESULT hr = cleaner->GetCategories(categories.Put());
        if (SUCCEEDED(hr)) {
            std::int32_t count = 0;
            Check(categories->GetCount(&count));
            wprintf(L"categories: %d\n", count);
        } else {
            wprintf(L"categories: not available (%ls)\n", LastErrorMessage().c_str());
        }
        return 0;
    } catch (const Error& e) {
        fwprintf(stderr, L"vantrel-probe: %ls (0x%08lX)\n", e.Message().c_str(), static_cast<unsigned long>(e.Code()));
        return 1;
    }
}
