// The simulated driver under calls from several threads at once: a grab
// thread beside a thread that steers the driver, two units acquiring
// together, and waits that a stop or a reset ends. Run under
// ThreadSanitizer as well.
#include <atomic>
#include <thread>

#include "pattern_oracle.h"
#include "sim_fixture.h"

namespace keldsim_test {
namespace {

class SimThreadsTest : public SimTest {
 protected:
  static void WaitForCall(const char* function, uint32_t calls) {
    uint32_t count = 0;
    while (keldsimGetCallCount(function, &count) == kOk && count < calls) std::this_thread::yield();
  }
};

TEST_F(SimThreadsTest, GrabThreadBesideAThreadThatSteersTheDriver) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  const double rate = 500.0;
  ASSERT_EQ(Configure(sid, 0x3FF600D9, rate), kOk);
  ASSERT_EQ(kldGrabSetup(sid, 1), kOk);
  const std::string other = ClaimInterface(kBoard7107);

  std::atomic<bool> grabbing{true};
  std::vector<uint32_t> frames;
  std::vector<uint32_t> statuses;
  std::vector<uint8_t> last(640 * 480);
  std::thread grabber([&] {
    std::vector<uint8_t> image(640 * 480);
    void* pixels = image.data();
    for (int i = 0; i < 40; ++i) {
      statuses.push_back(kldGrabArea(sid, &pixels, 1, 0, 0, 480, 640, 640));
      frames.push_back(Counter(image.data(), 0, 8));
    }
    last = image;
    grabbing = false;
  });

  uint32_t rounds = 0;
  while (grabbing) {
    ++rounds;
    uint32_t number = 0;
    const uint32_t status = kldGetAttribute(sid, 0x3FF60120, &number);
    EXPECT_TRUE(status == kOk || status == kNoImageYet) << status;
    const double gain = 1.0 + (rounds % 3);
    EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CC, &gain), kOk);
    EXPECT_EQ(keldsimInjectStatus("kldRead", 0xBFF60018, 1), kOk);
    uint32_t value = 0;
    EXPECT_EQ(kldRead(kBoard7105, 0, 0x40, 4, &value), 0xBFF60018u);
    EXPECT_EQ(keldsimSetDelay("odkelduGetDriverVersion", 1), kOk);
    EXPECT_EQ(odkelduGetDriverVersion(&value), kOk);
    EXPECT_EQ(keldsimSetDelay("odkelduGetDriverVersion", 0), kOk);
    uint32_t size = 0;
    EXPECT_EQ(keldsimGetCallLog(nullptr, &size), kOk);
    // Another board's session, opened, used and closed meanwhile.
    uint32_t iid = 0, session = 0;
    ASSERT_EQ(kldInterfaceOpen(other.c_str(), &iid), kOk);
    ASSERT_EQ(kldSessionOpen(iid, &session), kOk);
    std::vector<uint16_t> image(64 * 64);
    void* pixels = image.data();
    EXPECT_EQ(kldSnapArea(session, &pixels, 0, 0, 64, 64, 64), kOk);
    EXPECT_EQ(kldClose(iid, 1), kOk);
  }
  grabber.join();
  EXPECT_GT(rounds, 0u);
  ASSERT_EQ(frames.size(), 40u);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(statuses[i], kOk);
    if (i > 0) {
      EXPECT_GT(frames[i], frames[i - 1]);
    }
  }
  EXPECT_TRUE(SameImage(Expected(kMono640, frames.back(), 0, 0, 640, 480), last.data(), 640, 480, 1, 640));
  EXPECT_EQ(kldSessionStopAcquisition(sid), kOk);
}

TEST_F(SimThreadsTest, BothUnitsOfABoardAcquireAtOnce) {
  const std::string name = ClaimInterface(kBoard7109);
  std::vector<uint32_t> found(2, 0);
  std::vector<uint32_t> statuses(2, 99);
  std::vector<std::thread> units;
  for (uint32_t unit = 0; unit < 2; ++unit) {
    const uint32_t sid = Open(name + "::" + std::to_string(unit));
    const double rate = 1000.0;
    ASSERT_EQ(Configure(sid, 0x3FF600D9, rate), kOk);
    const uint32_t rect[6] = {0, 64, 0, 32, 64, 32};
    ASSERT_EQ(Configure(sid, 0x3FF601A8, rect), kOk);
    units.emplace_back([sid, unit, &found, &statuses] {
      std::vector<void*> buffers(3, nullptr);
      uint32_t status = kldRingSetup(sid, 3, buffers.data(), 1, 0);
      std::vector<uint8_t> image(64 * 32);
      uint32_t bufferStatus = 0;
      for (uint32_t number = 0; number < 10 && status == kOk; ++number) {
        status =
            kldSessionCopyAreaByNumber(sid, number, 0, 0, 32, 64, image.data(), 64, 3, &found[unit], &bufferStatus);
      }
      if (status == kOk) status = kldSessionStopAcquisition(sid);
      statuses[unit] = status;
    });
  }
  for (auto& thread : units) thread.join();
  for (uint32_t unit = 0; unit < 2; ++unit) {
    EXPECT_EQ(statuses[unit], kOk) << unit;
    EXPECT_GE(found[unit], 9u) << unit;
  }
}

TEST_F(SimThreadsTest, StopEndsAWaitForABufferThatWillNotCome) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  const uint32_t timeout = 600000, skip = 1000;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60070, &timeout), kOk);
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60466, &skip), kOk);  // the first buffer is far off
  std::vector<void*> buffers(2, nullptr);
  ASSERT_EQ(kldRingSetup(sid, 2, buffers.data(), 1, 0), kOk);
  uint32_t status = 0;
  std::thread waiter([&] {
    std::vector<uint8_t> image(640 * 480);
    uint32_t found = 0, bufferStatus = 0;
    status = kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus);
  });
  WaitForCall("kldSessionCopyAreaByNumber", 1);
  ASSERT_EQ(kldSessionStopAcquisition(sid), kOk);
  waiter.join();
  EXPECT_EQ(status, kAcquisitionEnded);
}

TEST_F(SimThreadsTest, ResetEndsAWaitingGrab) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  const uint32_t timeout = 600000, skip = 1000;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60070, &timeout), kOk);
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60466, &skip), kOk);
  ASSERT_EQ(kldGrabSetup(sid, 1), kOk);
  uint32_t status = 0;
  std::thread grabber([&] {
    std::vector<uint8_t> image(640 * 480);
    void* pixels = image.data();
    status = kldGrabArea(sid, &pixels, 1, 0, 0, 480, 640, 640);
  });
  WaitForCall("kldGrabArea", 1);
  ASSERT_EQ(keldsimResetWith(nullptr, folder_.c_str()), kOk);
  grabber.join();
  // The session went with the reset, whether the grab was waiting already
  // or had not yet found it.
  EXPECT_EQ(status, kInvalidId);
}

}  // namespace
}  // namespace keldsim_test

namespace keldsim_test {
namespace {

TEST_F(SimThreadsTest, WaitGoesOnWhenTheStalledCameraDoes) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  const uint32_t timeout = 600000;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60070, &timeout), kOk);
  ASSERT_EQ(keldsimStallCamera(sid, 1), kOk);
  std::vector<void*> buffers(2, nullptr);
  ASSERT_EQ(kldRingSetup(sid, 2, buffers.data(), 1, 0), kOk);
  uint32_t status = 99, found = 99;
  std::thread waiter([&] {
    std::vector<uint8_t> image(640 * 480);
    uint32_t bufferStatus = 0;
    status = kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus);
  });
  WaitForCall("kldSessionCopyAreaByNumber", 1);
  ASSERT_EQ(keldsimStallCamera(sid, 0), kOk);
  waiter.join();
  EXPECT_EQ(status, kOk);
  EXPECT_EQ(found, 0u);
}

}  // namespace
}  // namespace keldsim_test
