#include "model/CleanerOptions.h"

#include "runtime/ComBoundary.h"

namespace vt {

HRESULT TCleanerOptions::GetMultiCleanHiberFile(bool* value) {
    return Guarded([&] { *Out(value) = FMultiCleanHiberFile.load(); });
}

HRESULT TCleanerOptions::SetMultiCleanHiberFile(bool value) {
    return Guarded([&] { FMultiCleanHiberFile.store(value); });
}

}  // namespace vt
