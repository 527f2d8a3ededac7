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
    // With a time limit: a Start menu host that does not answer must not hold
    // up the cleaning (the worker would wait for it forever).
    if (HWND host = FindWindowW(L"DV2ControlHost", nullptr))
        SendMessageTimeoutW(host, WM_SETTINGCHANGE, 0, 0, SMTO_ABORTIFHUNG, 2000, nullptr);
}

}  // namespace vt
