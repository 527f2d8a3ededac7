#include "Links_win.h"

#include "platform/Handles.h"

namespace vt::siblings {

bool IsReparsePoint(const std::wstring& path) {
    std::wstring entry = path;
    while (entry.size() > 3 && (entry.back() == L'\\' || entry.back() == L'/')) entry.pop_back();
    const DWORD attributes = ::GetFileAttributesW(entry.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT)) return true;
    // A name with wildcards would list other entries: such a name is no file of ours anyway.
    if (entry.find_first_of(L"*?") != std::wstring::npos) return false;
    WIN32_FIND_DATAW found;
    platform::unique_hfind find(::FindFirstFileW(entry.c_str(), &found));
    return find && (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT);
}

}  // namespace vt::siblings
