#include <gtest/gtest.h>

#include "runtime/ProcessInfo.h"

namespace vt::ProcessInfo {
namespace {

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
