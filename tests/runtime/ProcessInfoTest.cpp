#include <gtest/gtest.h>

#include "runtime/ProcessInfo.h"

namespace vt::ProcessInfo {
namespace {

TEST(ProcessInfo, Wow64AnswerCanBeForcedAndRestored) {
    // Both builds that run tests are 64-bit processes (or not Windows at all).
    EXPECT_FALSE(IsWow64Process());
    SetWow64ForTesting(true);
    EXPECT_TRUE(IsWow64Process());
    SetWow64ForTesting(std::nullopt);
    EXPECT_FALSE(IsWow64Process());
}

TEST(ProcessInfo, UserNameIsKnown) { EXPECT_FALSE(UserName().empty()); }

#if defined(_WIN32)
TEST(ProcessInfo, UserSidAndPrivileges) {
    EXPECT_EQ(UserSid().rfind(L"S-1-5-", 0), 0u) << UserSid().size();
    EXPECT_TRUE(EnablePrivilegie(L"SeBackupPrivilege"));
    EXPECT_FALSE(EnablePrivilegie(L"SeNoSuchPrivilege"));
}
#endif

}  // namespace
}  // namespace vt::ProcessInfo
