#include "platform/host.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

namespace keld {
namespace {

TEST(Host, NameMatchesSystemCall) {
  char buffer[64] = {};
  ASSERT_EQ(gethostname(buffer, sizeof buffer), 0);
  EXPECT_STREQ(GetHostName().c_str(), buffer);
  EXPECT_LT(std::strlen(GetHostName().c_str()), 64u);
}

TEST(Host, FailureGivesLocalhost) {
  testing::SimulateHostNameFailure(true);
  EXPECT_STREQ(GetHostName().c_str(), "LOCALHOST");
  testing::SimulateHostNameFailure(false);
  EXPECT_STRNE(GetHostName().c_str(), "LOCALHOST");
}

TEST(Host, ProcessId) { EXPECT_EQ(GetCurrentProcessId(), static_cast<std::uint32_t>(getpid())); }

}  // namespace
}  // namespace keld
