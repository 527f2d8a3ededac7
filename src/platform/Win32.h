// The header through which system-facing code reaches the Win32 API. The base
// types and <windows.h> itself come from vantrel/ComTypes.h (which pins the
// target version, WIN32_LEAN_AND_MEAN and NOMINMAX); the further system headers
// the engine needs are added here. Only platform/, the runtime's system helpers
// and the code that talks to the system include it; everything else compiles
// natively without it.
#pragma once

#if !defined(_WIN32)
#error "platform/Win32.h is for the Windows build only"
#endif
#if defined(VANTREL_PORTABLE_FILE)
#error "platform/Win32.h reached a portable file (docs/architecture.md)"
#endif

#include "vantrel/ComTypes.h"

#include <shlobj.h>
#include <winreg.h>
