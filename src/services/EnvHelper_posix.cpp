#include <cstdlib>

#include "runtime/FileUtils.h"
#include "runtime/Utf.h"
#include "services/EnvHelper.h"

namespace vt {

// There are no shell folders natively: each folder is read from an environment
// variable of the placeholder's name, so tools and tests can point them
// somewhere; an unset variable is a failed lookup.
TEnvSystem TEnvHelper::SystemLookups() {
    TEnvSystem system;
    system.FolderPath = [](TEnvFolder AFolder) -> std::wstring {
        const char* name = nullptr;
        switch (AFolder) {
            case efPersonal: name = "MYDOCUMENTS"; break;
            case efAppData: name = "APPDATA"; break;
            case efLocalAppData: name = "LOCALAPPDATA"; break;
            case efCommonAppData: name = "COMMONAPPDATA"; break;
            case efWindows: name = "WINDIR"; break;
            case efProgramFiles: name = "PROGRAMFILES"; break;
            case efProfile: name = "USERPROFILE"; break;
        }
        const char* value = name ? std::getenv(name) : nullptr;
        return value ? FromUtf8(value) : std::wstring();
    };
    system.ExpandEnvironment = [](std::wstring_view AText) { return FileUtils::ExpandEnvironment(AText); };
    return system;
}

}  // namespace vt
