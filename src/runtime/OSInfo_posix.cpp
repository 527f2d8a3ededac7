#include "runtime/OSInfo.h"

namespace vt::OSInfo {

// The portable core runs natively only in tests; it pretends to be a Windows
// 10 workstation, the system the categories are mostly exercised against.
VersionFacts QuerySystemVersion() noexcept {
    VersionFacts facts;
    facts.major = 10;
    facts.minor = 0;
    facts.build = 19045;
    return facts;
}

}  // namespace vt::OSInfo
