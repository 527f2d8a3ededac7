// VantrelBackvault.dll: the one export, GetInstance, serving IBackvault. Each
// call creates a new service; its data folder is the one the product helper
// beside this DLL names, else the per-user "%LOCALAPPDATA%\Vantrel\", the same
// rule the engine follows.
#include "Backvault_win.h"
#include "platform/Handles.h"
#include "runtime/ComBoundary.h"
#include "runtime/Strings.h"

extern "C" HRESULT VANTREL_STDCALL GetInstance(const GUID& riid, void** obj);

namespace {

using vt::platform::unique_hmodule;

std::wstring OwnFolder() {
    HMODULE self = nullptr;
    if (!::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              reinterpret_cast<const wchar_t*>(&GetInstance), &self))
        return {};
    std::wstring path(32768, L'\0');
    const DWORD n = ::GetModuleFileNameW(self, path.data(), static_cast<DWORD>(path.size()));
    path.resize(n < path.size() ? n : 0);
    return vt::ExtractFilePath(path);
}

// The folder "ProductHelper.dll" beside this DLL names; empty without one.
std::wstring ProductDataFolder() {
    const std::wstring folder = OwnFolder();
    if (folder.empty()) return {};
    const std::wstring library = folder + L"ProductHelper.dll";
    unique_hmodule module(::LoadLibraryExW(library.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    if (!module) return {};
    using GetInstanceFn = HRESULT(VANTREL_STDCALL*)(const GUID&, void**);
    const auto get = reinterpret_cast<GetInstanceFn>(reinterpret_cast<void*>(::GetProcAddress(module.Get(), "GetInstance")));
    if (!get) return {};
    IProductHelper* helper = nullptr;
    if (FAILED(get(vantrel::IidOf<IProductHelper>(), reinterpret_cast<void**>(&helper))) || !helper) return {};
    vt::Com<IProductHelper> owned = vt::Com<IProductHelper>::Attach(helper);
    BSTR text = nullptr;
    const HRESULT hr = owned->GetDataFolder(&text);
    std::wstring named = vt::FromBstrOwned(text);
    owned.Reset();  // released before the library goes
    return SUCCEEDED(hr) ? named : std::wstring();
}

std::wstring DefaultDataFolder() {
    std::wstring folder = ProductDataFolder();
    if (folder.empty()) {
        wchar_t path[MAX_PATH] = {};
        if (SUCCEEDED(::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, path)))
            folder = vt::IncludeTrailingPathDelimiter(path) + L"Vantrel\\";
    }
    return vt::IncludeTrailingPathDelimiter(folder);
}

}  // namespace

extern "C" HRESULT VANTREL_STDCALL GetInstance(const GUID& riid, void** obj) {
    if (!obj) return E_POINTER;
    *obj = nullptr;
    if (!IsEqualGUID(riid, vantrel::IidOf<IBackvault>())) return E_NOINTERFACE;
    try {
        return vt::MakeCom<vt::backvault::TBackvault>(DefaultDataFolder())->QueryInterface(riid, obj);
    } catch (...) {
        return E_POINTER;
    }
}
