// The library's process-wide objects: the global lock, the product helper
// (loaded lazily from "ProductHelper.dll" beside the engine) and the data
// folder it names. Nothing here runs inside DllMain: Windows holds the loader
// lock there, and loading a library under it can deadlock. The globals are
// created on first use and released when the library unloads.
#pragma once

#include <mutex>
#include <string>

#include "runtime/ComObject.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

// Guards the first load of the process-wide objects.
std::mutex& GlobalLock();

// The product helper with a reference for the caller; null when
// "ProductHelper.dll" is not beside the engine or does not serve it. Loaded
// under the global lock on first use; while it is null, each use tries again.
Com<IProductHelper> ProductHelper();

// The product's data folder with a trailing backslash: the one the product
// helper names, or, without a helper or when it names none, a per-user
// folder of our own ("Vantrel" under the local application-data folder;
// natively $VANTREL_DATA_FOLDER or ~/.local/share/vantrel).
std::wstring DataFolder();

// The per-user folder used when there is no product helper.
std::wstring DefaultDataFolder();

// Called on the first GetInstance: sets up what must not run in DllMain.
void InitializeGlobals();

// Library unload: drops the product helper and the data folder, closes the
// log and frees every loaded sibling library.
void ReleaseGlobals() noexcept;

}  // namespace vt
