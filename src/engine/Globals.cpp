#include "engine/Globals.h"

#include <atomic>

#include "runtime/ComBoundary.h"
#include "runtime/DebugLog.h"
#include "runtime/DllRoutines.h"
#include "runtime/Strings.h"

namespace vt {

namespace {

struct GlobalState {
    std::mutex lock;
    Com<IProductHelper> helper;
    std::atomic<bool> initialized{false};
};

GlobalState& State() {
    static auto* state = new GlobalState();  // survives static destruction order at unload
    return *state;
}

}  // namespace

std::mutex& GlobalLock() { return State().lock; }

Com<IProductHelper> ProductHelper() {
    GlobalState& s = State();
    // The load happens under the lock, so concurrent first uses load the
    // library once. A failed load leaves the global null and is tried again
    // on the next use. The copy is taken under the lock too, because library
    // unload may clear the global at any time.
    std::lock_guard<std::mutex> guard(s.lock);
    if (!s.helper) {
        Com<IProductHelper> helper;
        const HRESULT hr = DllRoutines::GetInstance(L"ProductHelper.dll", IidOf<IProductHelper>(),
                                                    reinterpret_cast<void**>(helper.Put()));
        if (SUCCEEDED(hr)) s.helper = helper;
    }
    return s.helper;
}

std::wstring DataFolder() {
    std::wstring folder;
    if (Com<IProductHelper> helper = ProductHelper()) {
        BSTR text = nullptr;
        const HRESULT hr = helper->GetDataFolder(&text);
        std::wstring named = FromBstrOwned(text);
        if (SUCCEEDED(hr)) folder = std::move(named);
    }
    if (folder.empty()) folder = DefaultDataFolder();
    return IncludeTrailingPathDelimiter(folder);
}

void InitializeGlobals() {
    GlobalState& s = State();
    if (s.initialized.exchange(true)) return;
    // The log resolves its folder only when a line is actually written.
    TDebugLog::SetFolderProvider([] { return DataFolder() + L"Logs"; });
}

void ReleaseGlobals() noexcept {
    GlobalState& s = State();
    Com<IProductHelper> helper;
    {
        std::lock_guard<std::mutex> guard(s.lock);
        helper = std::move(s.helper);
    }
    helper.Reset();  // released outside the lock: the helper's Release is foreign code
    TDebugLog::Shutdown();
    DllRoutines::FreeLoadedLibraries();
}

}  // namespace vt
