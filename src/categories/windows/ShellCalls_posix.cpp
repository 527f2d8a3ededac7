#include "categories/windows/ShellCalls.h"

namespace vt {

bool ClipboardHasContent() { return false; }
bool EmptyClipboardContent() { return false; }
void NotifyStartMenuHost() {}

}  // namespace vt
