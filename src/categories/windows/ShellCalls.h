// The clipboard and the Start menu host, as the small system categories use
// them. Windows answers in ShellCalls_win.cpp; natively there is no clipboard
// (it cannot be opened) and no Start menu. Portable: no <windows.h>.
#pragma once

namespace vt {

// Opens the clipboard with no owner window and asks whether it holds any
// format. False when it is empty or cannot be opened (another program holds it).
bool ClipboardHasContent();
// Opens the clipboard with no owner window and empties it; false when it
// cannot be opened or emptied.
bool EmptyClipboardContent();
// Sends WM_SETTINGCHANGE (0, 0) to the window of class "DV2ControlHost" (the
// Start menu host), so that the shell drops its cached recent lists.
void NotifyStartMenuHost();

}  // namespace vt
