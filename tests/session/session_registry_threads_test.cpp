// The registry under concurrent use.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "session/session_registry.h"
#include "support/recording_session.h"

namespace keld {
namespace {

TEST(RegistryThreads, ReopeningFromTwoThreadsLeavesOneSession) {
  test::SessionEvents events;
  {
    test::ScopedRecordingFactory factory(&events);
    const CFGString client = GetLocalClientName();
    constexpr int kRounds = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
      threads.emplace_back([&client] {
        for (int i = 0; i < kRounds; ++i) {
          std::shared_ptr<ConfigSession> session;
          EXPECT_EQ(CreateSession(&session, kDriverKELD, client.c_str(), nullptr, "shared"), kSuccess);
        }
      });
    }
    for (auto& t : threads) t.join();
    // Every creation either replaced the previous session or lost its
    // registration race; exactly one session with the key is left.
    EXPECT_EQ(testing::RegisteredSessionCount(), 1u);
  }
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
}

TEST(RegistryThreads, LookupsWhileOthersCreateAndClose) {
  test::SessionEvents events;
  test::ScopedRecordingFactory factory(&events);
  std::shared_ptr<ConfigSession> stable;
  ASSERT_EQ(CreateSession(&stable, kDriverKELDnv, "c", nullptr, "stable"), kSuccess);
  const std::uint32_t stableId = stable->id;
  std::thread churn([] {
    for (int i = 0; i < 300; ++i) {
      std::shared_ptr<ConfigSession> s;
      if (CreateSession(&s, kDriverKELD, "c", nullptr, "churn") == kSuccess && i % 2 == 0) {
        std::shared_ptr<ConfigSession> found;
        if (GetSession(&found, s->id) == kSuccess) CloseSession(found.get());
      }
    }
  });
  for (int i = 0; i < 300; ++i) {
    std::shared_ptr<DeviceConfigSession> device;
    ASSERT_EQ(GetDeviceSession(&device, stableId), kSuccess);
    EXPECT_EQ(static_cast<ConfigSession*>(device.get()), stable.get());
  }
  churn.join();
}

}  // namespace
}  // namespace keld
