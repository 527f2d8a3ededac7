// Library load and unload. Deliberately nothing heavy here: Windows holds the
// loader lock while DllMain runs, and loading another library under it can
// deadlock. The globals are created on the first GetInstance; at unload they
// are released, unless the process itself is ending (reserved != null), when
// other threads are already gone and freeing libraries is unsafe.
#include "engine/Globals.h"
#include "platform/Win32.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
    switch (reason) {
        case DLL_PROCESS_ATTACH:
            ::DisableThreadLibraryCalls(instance);
            break;
        case DLL_PROCESS_DETACH:
            if (reserved == nullptr) vt::ReleaseGlobals();
            break;
        default:
            break;
    }
    return TRUE;
}
