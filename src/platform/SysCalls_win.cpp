#include "platform/SysCalls.h"

namespace vt::platform {

SysCallTable& SysCalls() noexcept {
    // Constant-initialised with the imported functions: usable from static
    // initialisers of other files, and never destroyed.
    static SysCallTable table;
    return table;
}

}  // namespace vt::platform
