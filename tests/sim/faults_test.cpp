// Frame faults of the simulated camera: lost frames leave gaps in the buffer
// numbers, failed transfers are reported by the copy, grab or snap that
// meets them, and a stalled camera makes waits end in their time-out.
#include "pattern_oracle.h"
#include "sim_fixture.h"

namespace keldsim_test {
namespace {

constexpr uint32_t kTimeout = 0xBFF60007;
constexpr uint32_t kFrameLost = 0xBFF60025;
constexpr uint32_t kTransferFailed = 0xBFF60026;

class FaultsTest : public SimTest {
 protected:
  uint32_t FastSession() {
    const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
    const double rate = 500.0;
    EXPECT_EQ(Configure(sid, 0x3FF600D9, rate), kOk);
    return sid;
  }

  // A one-shot list of `count` buffers of the driver, started.
  std::vector<void*> StartList(uint32_t sid, uint32_t count) {
    uint32_t bytes = 0, list = 0;
    EXPECT_EQ(kldSessionGetBufferSize(sid, &bytes), kOk);
    EXPECT_EQ(kldCreateBufList(count, &list), kOk);
    std::vector<void*> buffers;
    for (uint32_t i = 0; i < count; ++i) {
      void* buffer = nullptr;
      EXPECT_EQ(kldCreateBuffer(sid, 0, bytes, &buffer), kOk);
      EXPECT_EQ(kldSetBufferElement2(list, i, 0x3FF6007E, buffer), kOk);
      EXPECT_EQ(kldSetBufferElement(list, i, 0x3FF60082, bytes), kOk);
      EXPECT_EQ(kldSetBufferElement(list, i, 0x3FF6007F, 1), kOk);
      buffers.push_back(buffer);
    }
    EXPECT_EQ(kldMemLock(list), kOk);
    EXPECT_EQ(kldSessionConfigure(sid, list), kOk);
    EXPECT_EQ(kldSessionAcquire(sid, 1, 0), kOk);
    return buffers;
  }
};

TEST_F(FaultsTest, LostFramesLeaveAGapInTheBufferNumbers) {
  const uint32_t sid = FastSession();
  ASSERT_EQ(keldsimLoseFrames(sid, 2), kOk);
  const auto buffers = StartList(sid, 5);
  std::vector<uint8_t> image(640 * 480);
  uint32_t found = 99, bufferStatus = 0;
  EXPECT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus),
            kFrameLost);
  EXPECT_EQ(kldSessionCopyAreaByNumber(sid, 1, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus),
            kFrameLost);
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 3, &found, &bufferStatus), kOk);
  EXPECT_EQ(found, 2u);
  EXPECT_EQ(bufferStatus, kFrameLost);
  EXPECT_TRUE(SameImage(Expected(kMono640, 2, 0, 0, 640, 480), image.data(), 640, 480, 1, 640));
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 4, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus), kOk);
  EXPECT_EQ(U32(sid, 0x3FF60120), 4u);
  // Nothing ever reached the first two buffers.
  for (int i = 0; i < 2; ++i) {
    const auto* pixels = static_cast<const uint8_t*>(buffers[i]);
    EXPECT_EQ(std::count(pixels, pixels + 640 * 480, 0), 640 * 480) << i;
  }
  EXPECT_EQ(kldSessionCopyArea(sid, 0, 0, 0, 480, 640, image.data(), 640, 0), kNoImageYet);
}

TEST_F(FaultsTest, LostFrameMakesAGrabSkipANumber) {
  const uint32_t sid = FastSession();
  ASSERT_EQ(kldGrabSetup(sid, 1), kOk);
  std::vector<uint8_t> image(640 * 480);
  void* pixels = image.data();
  ASSERT_EQ(kldGrabArea(sid, &pixels, 1, 0, 0, 480, 640, 640), kOk);
  const uint32_t first = U32(sid, 0x3FF60120);
  ASSERT_EQ(keldsimLoseFrames(sid, 1), kOk);
  ASSERT_EQ(kldGrabArea(sid, &pixels, 1, 0, 0, 480, 640, 640), kOk);
  const uint32_t second = U32(sid, 0x3FF60120);
  EXPECT_GE(second, first + 2);
  EXPECT_EQ(Counter(image.data(), 0, 8), second);
}

TEST_F(FaultsTest, SnapTakesTheFrameAfterLostOnesAndReportsAFailedTransfer) {
  const uint32_t sid = FastSession();
  std::vector<uint8_t> image(640 * 480);
  void* pixels = image.data();
  ASSERT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kOk);
  EXPECT_EQ(Counter(image.data(), 0, 8), 0u);
  ASSERT_EQ(keldsimLoseFrames(sid, 3), kOk);
  ASSERT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kOk);
  EXPECT_EQ(Counter(image.data(), 0, 8), 4u);
  EXPECT_TRUE(SameImage(Expected(kMono640, 4, 0, 0, 640, 480), image.data(), 640, 480, 1, 640));
  ASSERT_EQ(keldsimFailTransfers(sid, 1), kOk);
  EXPECT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kTransferFailed);
  ASSERT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kOk);
  EXPECT_EQ(Counter(image.data(), 0, 8), 6u);
}

TEST_F(FaultsTest, FailedTransferIsReportedByTheCopiesOfItsBuffer) {
  const uint32_t sid = FastSession();
  ASSERT_EQ(keldsimFailTransfers(sid, 1), kOk);
  StartList(sid, 3);
  std::vector<uint8_t> image(640 * 480);
  uint32_t found = 99, bufferStatus = 0;
  EXPECT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus),
            kTransferFailed);
  EXPECT_EQ(found, 0u);
  EXPECT_EQ(bufferStatus, kTransferFailed);
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 1, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus), kOk);
  EXPECT_TRUE(SameImage(Expected(kMono640, 1, 0, 0, 640, 480), image.data(), 640, 480, 1, 640));
  EXPECT_EQ(kldSessionCopyArea(sid, 0, 0, 0, 480, 640, image.data(), 640, 1), kTransferFailed);
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 2, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus), kOk);
  EXPECT_EQ(U32(sid, 0x3FF60120), 2u);  // a failed buffer was acquired all the same
}

TEST_F(FaultsTest, FailedTransferEndsAGrab) {
  const uint32_t sid = FastSession();
  ASSERT_EQ(kldGrabSetup(sid, 1), kOk);
  ASSERT_EQ(keldsimFailTransfers(sid, 1), kOk);
  std::vector<uint8_t> image(640 * 480);
  void* pixels = image.data();
  EXPECT_EQ(kldGrabArea(sid, &pixels, 1, 0, 0, 480, 640, 640), kTransferFailed);
  EXPECT_EQ(kldGrabArea(sid, &pixels, 1, 0, 0, 480, 640, 640), kOk);
}

TEST_F(FaultsTest, StalledCameraMakesEveryWaitTimeOut) {
  const uint32_t sid = FastSession();
  const uint32_t timeout = 20;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60070, &timeout), kOk);
  ASSERT_EQ(keldsimStallCamera(sid, 1), kOk);
  std::vector<uint8_t> image(640 * 480);
  void* pixels = image.data();
  EXPECT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kTimeout);
  ASSERT_EQ(kldGrabSetup(sid, 1), kOk);
  EXPECT_EQ(kldGrabArea(sid, &pixels, 1, 0, 0, 480, 640, 640), kTimeout);
  ASSERT_EQ(kldSessionStopAcquisition(sid), kOk);
  std::vector<void*> ring(2, nullptr);
  ASSERT_EQ(kldRingSetup(sid, 2, ring.data(), 1, 0), kOk);
  uint32_t found = 0, bufferStatus = 0;
  EXPECT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus), kTimeout);
  uint32_t number = 0;
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF60120, &number), kNoImageYet);
  // Going on, the camera delivers again, from buffer 0.
  ASSERT_EQ(keldsimStallCamera(sid, 0), kOk);
  const uint32_t patient = 5000;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60070, &patient), kOk);
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus), kOk);
  EXPECT_EQ(found, 0u);
  ASSERT_EQ(kldSessionStopAcquisition(sid), kOk);
  EXPECT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kOk);
}

TEST_F(FaultsTest, FaultsNeedASession) {
  EXPECT_EQ(keldsimLoseFrames(0x1234, 1), kInvalidId);
  EXPECT_EQ(keldsimFailTransfers(0x1234, 1), kInvalidId);
  EXPECT_EQ(keldsimStallCamera(0x1234, 1), kInvalidId);
}

}  // namespace
}  // namespace keldsim_test
