#include "runtime/ProcessInfo.h"

#include <atomic>

namespace vt::ProcessInfo {

namespace {
// -1: no override; 0 / 1: the forced answer.
std::atomic<int> gWow64Override{-1};
}  // namespace

bool QueryWow64Process() noexcept;  // per platform

bool IsWow64Process() noexcept {
    const int forced = gWow64Override.load(std::memory_order_relaxed);
    if (forced >= 0) return forced != 0;
    static const bool real = QueryWow64Process();
    return real;
}

void SetWow64ForTesting(std::optional<bool> value) noexcept {
    gWow64Override.store(value ? (*value ? 1 : 0) : -1, std::memory_order_relaxed);
}

}  // namespace vt::ProcessInfo
