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
    std::atomic<bool> helperLoaded{false};
    Com<IProductHelper> helper;
    std::atomic<bool> folderResolved{false};
    std::wstring dataFolder;
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
    if (!s.helperLoaded.load(std::memory_order_acquire)) {
        std::lock_guard<std::mutex> guard(s.lock);
        if (!s.helperLoaded.load(std::memory_order_relaxed)) {
            Com<IProductHelper> helper;
            const HRESULT hr = DllRoutines::GetInstance(L"ProductHelper.dll", IidOf<IProductHelper>(),
                                                        reinterpret_cast<void**>(helper.Put()));
            if (FAILED(hr)) helper.Reset();
            s.helper = helper;
            s.helperLoaded.store(true, std::memory_order_release);
        }
    }
    std::lock_guard<std::mutex> guard(s.lock);
    return s.helper;
}

std::wstring DataFolder() {
    GlobalState& s = State();
    if (!s.folderResolved.load(std::memory_order_acquire)) {
        std::wstring folder;
        if (Com<IProductHelper> helper = ProductHelper()) {
            BSTR text = nullptr;
            if (SUCCEEDED(helper->GetDataFolder(&text))) folder = FromBstrOwned(text);
        }
        if (folder.empty()) folder = DefaultDataFolder();
        folder = IncludeTrailingPathDelimiter(folder);
        std::lock_guard<std::mutex> guard(s.lock);
        if (!s.folderResolved.load(std::memory_order_relaxed)) {
            s.dataFolder = folder;
            s.folderResolved.store(true, std::memory_order_release);
        }
    }
    std::lock_guard<std::mutex> guard(s.lock);
    return s.dataFolder;
}

void InitializeGlobals() {
    GlobalState& s = State();
    if (s.initialized.exchange(true)) return;
    // The log resolves its folder only when a line is actually written.
    TDebugLog::SetFolderProvider([] { return DataFolder() + L"Logs"; });
}

void ReleaseGlobals() noexcept {
    GlobalState& s = State();
    {
        std::lock_guard<std::mutex> guard(s.lock);
        s.helper.Reset();
        s.helperLoaded.store(false);
        s.dataFolder.clear();
        s.folderResolved.store(false);
    }
    TDebugLog::Shutdown();
    DllRoutines::FreeLoadedLibraries();
}

}  // namespace vt
