#include <pwd.h>
#include <unistd.h>

#include <vector>

#include "runtime/ProcessInfo.h"
#include "runtime/Utf.h"

namespace vt::ProcessInfo {

bool QueryWow64Process() noexcept { return false; }

bool EnablePrivilegie(const std::wstring&) { return false; }

std::wstring UserName() {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer(16384);
    if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return {};
    return FromUtf8(found->pw_name);
}

std::wstring UserSid() { return {}; }

}  // namespace vt::ProcessInfo
