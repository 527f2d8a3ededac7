#include "categories/windows/ShellCalls.h"
#include "platform/Win32.h"

namespace vt {

bool ClipboardHasContent() {
    if (!OpenClipboard(nullptr)) return false;
    const bool any = CountClipboardFormats() > 0;
    CloseClipboard();
    return any;
}

bool EmptyClipboardContent() {
    if (!OpenClipboard(nullptr)) return false;
    const bool emptied = EmptyClipboard() != FALSE;
    CloseClipboard();
    return emptied;
}

void NotifyStartMenuHost() {
    if (HWND host = FindWindowW(L"DV2ControlHost", nullptr)) SendMessageW(host, WM_SETTINGCHANGE, 0, 0);
}

}  // namespace vt
