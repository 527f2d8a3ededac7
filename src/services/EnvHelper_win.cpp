#include "platform/Win32.h"
#include "runtime/FileUtils.h"
#include "services/EnvHelper.h"

namespace vt {

TEnvSystem TEnvHelper::SystemLookups() {
    TEnvSystem system;
    system.FolderPath = [](TEnvFolder AFolder) -> std::wstring {
        wchar_t path[MAX_PATH] = {};
        // The current value (not the default), as the system returns it: no trailing backslash.
        if (FAILED(::SHGetFolderPathW(nullptr, static_cast<int>(AFolder), nullptr, SHGFP_TYPE_CURRENT, path)))
            return {};
        return path;
    };
    system.ExpandEnvironment = [](std::wstring_view AText) { return FileUtils::ExpandEnvironment(AText); };
    return system;
}

}  // namespace vt
