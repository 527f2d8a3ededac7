// Loading sibling libraries and asking them for an interface. A library is
// loaded by full path from the folder of the engine's own module, never
// through the DLL search path, and stays loaded until FreeLoadedLibraries.
#pragma once

#include <functional>
#include <string>

#include "vantrel/ComTypes.h"

namespace vt::DllRoutines {

// Loads libraryName (a file name) from ModuleFolder() and calls its exported
// GetInstance(riid, obj). *obj is null first. A missing library or export
// fails with HRESULT_FROM_WIN32 of the loader's error (E_NOTIMPL natively).
HRESULT GetInstance(const std::wstring& libraryName, REFIID riid, void** obj);

// The folder of the module that contains the engine, with a trailing backslash.
std::wstring ModuleFolder();

// Frees every library GetInstance loaded (library unload).
void FreeLoadedLibraries() noexcept;

// Tests can answer GetInstance themselves (for example with an in-process
// product helper); an empty function restores the loader.
using Resolver = std::function<HRESULT(const std::wstring& libraryName, REFIID riid, void** obj)>;
void SetResolverForTesting(Resolver resolver);

}  // namespace vt::DllRoutines
