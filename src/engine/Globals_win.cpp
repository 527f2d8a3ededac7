#include "engine/Globals.h"
#include "platform/Win32.h"
#include "runtime/Strings.h"

namespace vt {

std::wstring DefaultDataFolder() {
    wchar_t path[MAX_PATH] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, path)))
        return {};
    return IncludeTrailingPathDelimiter(path) + L"Vantrel\\";
}

}  // namespace vt
