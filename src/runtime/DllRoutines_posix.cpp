#include "runtime/DllRoutines.h"

namespace vt::DllRoutines {

// Sibling libraries exist only on Windows; the native build answers through
// the test resolver or not at all.
HRESULT LoadAndGetInstance(const std::wstring&, REFIID, void**) { return E_NOTIMPL; }

std::wstring ModuleFolder() { return {}; }

void FreeLoadedLibraries() noexcept {}

}  // namespace vt::DllRoutines
