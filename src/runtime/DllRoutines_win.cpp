#include <mutex>
#include <vector>

#include "platform/Handles.h"
#include "runtime/DllRoutines.h"
#include "runtime/Strings.h"

namespace vt::DllRoutines {

namespace {

// The export every sibling library serves its interfaces through.
using GetInstanceEntry = HRESULT(VANTREL_STDCALL*)(const GUID& riid, void** obj);

std::mutex gLoadedLock;
std::vector<platform::unique_hmodule>& Loaded() {
    static auto* loaded = new std::vector<platform::unique_hmodule>();
    return *loaded;
}

}  // namespace

std::wstring ModuleFolder() {
    HMODULE self = nullptr;
    // The module that holds this function: the DLL inside a host, the test
    // program when the core is linked statically into one.
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCWSTR>(&ModuleFolder), &self);
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        // GetModuleFileNameW truncates silently and returns the buffer size when too small.
        const DWORD n = ::GetModuleFileNameW(self, path.data(), static_cast<DWORD>(path.size()));
        if (n == 0) return {};
        if (n < path.size()) {
            path.resize(n);
            break;
        }
        path.resize(path.size() * 2);
    }
    return ExtractFilePath(path);
}

HRESULT LoadAndGetInstance(const std::wstring& libraryName, REFIID riid, void** obj) {
    const std::wstring folder = ModuleFolder();
    // Without our own folder the name alone would go through the DLL search
    // path, which is exactly what sibling loading must never do.
    if (folder.empty()) return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    const std::wstring fullPath = folder + libraryName;
    // Altered search path: the sibling's own dependencies resolve from its folder.
    platform::unique_hmodule module(::LoadLibraryExW(fullPath.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    if (!module) return HRESULT_FROM_WIN32(::GetLastError());
    auto entry = reinterpret_cast<GetInstanceEntry>(
        reinterpret_cast<void*>(::GetProcAddress(module.Get(), "GetInstance")));
    if (entry == nullptr) return HRESULT_FROM_WIN32(::GetLastError());
    const HRESULT hr = entry(riid, obj);
    // A library that handed nothing out is not kept: callers may ask again.
    if (FAILED(hr) && *obj == nullptr) return hr;
    std::lock_guard<std::mutex> guard(gLoadedLock);
    Loaded().push_back(std::move(module));
    return hr;
}

void FreeLoadedLibraries() noexcept {
    std::lock_guard<std::mutex> guard(gLoadedLock);
    Loaded().clear();
}

}  // namespace vt::DllRoutines
