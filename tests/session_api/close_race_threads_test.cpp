// A session closed by one thread while another is calling into it: the call
// in progress finishes on a whole session, later calls find the id gone, and
// the session is closed and freed once, after the last call has left it.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "attributes/attribute.h"
#include "keldcfgc/keldcfgc.h"
#include "support/test_session.h"

namespace keld {
namespace {

// Reads from the "device" take a little while, so that closes land inside
// them; it counts its closes and destructions.
class SlowSession : public test::TestSession {
 public:
  SlowSession(std::uint32_t type, const char* host, const char* name, Status* status)
      : TestSession(type, host, name, status) {
    Attribute* attribute = nullptr;
    EXPECT_EQ(CreateAttribute(AttrU32::kTag, false, &attribute), kSuccess);
    attribute->SetKey(7);
    attributes.Insert(attribute);
  }
  ~SlowSession() override { ++destroyed; }
  Status ReadAttribute(Attribute* attribute) override {
    std::this_thread::yield();
    // Touches the session's own state: a freed session would show here.
    static_cast<TypedAttribute<AttrU32>*>(attribute)->SetValue(AttrU32{interfaceName.size() == 0 ? 0U : 9U});
    ++reads;
    return kSuccess;
  }
  Status Close() override {
    ++closes;
    return kSuccess;
  }
  static inline std::atomic<int> reads{0};
  static inline std::atomic<int> closes{0};
  static inline std::atomic<int> destroyed{0};
};

TEST(CloseRace, CallsAnswerSuccessOrInvalidSessionAndTheSessionGoesOnce) {
  test::ScopedTestFactory factory;
  testing::SetSessionBuilder([](std::uint32_t type, const char* host, const char* name, Status* status) {
    return new SlowSession(type, host, name, status);
  });
  for (int round = 0; round < 20; ++round) {
    SlowSession::closes = 0;
    SlowSession::destroyed = 0;
    std::uint32_t id = 0;
    ASSERT_EQ(cfgOpenCamera2(nullptr, 2, "raced", 0, 0, &id), 0);
    std::atomic<bool> started{false};
    std::atomic<bool> closed{false};
    std::atomic<int> others{0};
    std::atomic<int> invalid{0};
    // The reader calls until it finds the id gone; a call begun after the
    // close returned must find it gone, so the loop always ends.
    std::thread reader([&] {
      for (;;) {
        const bool afterClose = closed.load();
        std::uint32_t value = 0;
        const auto status = static_cast<Status>(cfgGetAttributeU32(id, 7, &value, 0));
        started = true;
        if (status == kInvalidSession) {
          ++invalid;
          break;
        }
        if (status != kSuccess || value != 9) ++others;
        if (afterClose) break;
      }
    });
    while (!started) std::this_thread::yield();
    EXPECT_EQ(cfgClose(id), 0);
    closed = true;
    reader.join();
    EXPECT_EQ(others.load(), 0);
    EXPECT_EQ(invalid.load(), 1);  // the close took the id away while the reader went on
    EXPECT_EQ(SlowSession::closes.load(), 1);
    EXPECT_EQ(SlowSession::destroyed.load(), 1);
  }
}

}  // namespace
}  // namespace keld
