#include <cstdlib>

#include "engine/Globals.h"
#include "runtime/Utf.h"

namespace vt {

std::wstring DefaultDataFolder() {
    if (const char* v = std::getenv("VANTREL_DATA_FOLDER"); v && *v) return FromUtf8(v);
    if (const char* v = std::getenv("XDG_DATA_HOME"); v && *v) return FromUtf8(v) + L"/vantrel/";
    if (const char* v = std::getenv("HOME"); v && *v) return FromUtf8(v) + L"/.local/share/vantrel/";
    return L"/tmp/vantrel/";
}

}  // namespace vt
