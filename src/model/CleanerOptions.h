// TCleanerOptions: the engine's options object (ICleanerOptions).
#pragma once

#include <atomic>

#include "runtime/ComObject.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

class TCleanerOptions final : public ComObject<ICleanerOptions> {
public:
    // Clean the hibernation file on every clean, not just the first (False on creation).
    bool MultiCleanHiberFile() const noexcept { return FMultiCleanHiberFile.load(); }

    HRESULT STDMETHODCALLTYPE GetMultiCleanHiberFile(bool* value) override;
    HRESULT STDMETHODCALLTYPE SetMultiCleanHiberFile(bool value) override;

private:
    std::atomic<bool> FMultiCleanHiberFile{false};
};

}  // namespace vt
