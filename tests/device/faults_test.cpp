// What a user sees when the camera misbehaves, through snaps and copies:
// lost frames leave gaps in the buffer numbers, a failed transfer is
// reported for its frame alone, and a stalled camera ends a wait with the
// time-out status once the session's time-out has passed.
#include <gtest/gtest.h>

#include <string>

#include "camera_texts.h"
#include "device_fixture.h"
#include "image_support.h"
#include "pattern_oracle.h"

namespace keld::device {
namespace {

using keldsim_test::kMono640;

std::uint32_t OpenFastMono(Device& device) {
  const std::uint32_t id = device.Open("img1");
  if (id != 0) LoadCamera(device, id, FastMono640().Text().c_str(), "fast mono640");
  return id;
}

void Expect(Device& device, const std::string& what, std::int32_t status, std::uint32_t expected) {
  EXPECT_EQ(static_cast<std::uint32_t>(status), expected) << what;
  device.Note(what, status);
}

// Copies number `asked`: the answer, the number that comes back and the
// frame, which must be the one of that number.
std::uint32_t Copy(Device& device, std::uint32_t id, Image* image, std::uint32_t asked, std::int32_t* status) {
  std::uint32_t number = asked;
  *status = cfgCopyImage(id, &number, image);
  // Where the driver answers a failure without naming a buffer, a local
  // session gives number 0 and a remote one leaves the number as it was.
  device.Note("copy " + std::to_string(asked) + " -> number " +
                  (*status == 0 || static_cast<std::uint32_t>(*status) == kDriverTransferFailed ? std::to_string(number)
                                                                                               : "-"),
              *status);
  if (static_cast<std::uint32_t>(*status) == kDriverTimeout) {
    EXPECT_EQ(number, device.remote() ? asked : 0u);
  }
  if (*status == 0) {
    EXPECT_EQ(CounterOf(image), number);
    EXPECT_TRUE(PixelsOf(image) == keldsim_test::Expected(kMono640, number, 0, 0, 640, 480)) << "copy of " << asked;
  }
  return number;
}

std::uint32_t Snap(Device& device, std::uint32_t id, Image* image, std::int32_t* status) {
  *status = cfgSnapImage(id, kWithImage, image);
  const std::uint32_t frame = *status == 0 ? CounterOf(image) : 0xFFFFFFFF;
  device.Note("snap -> frame " + std::to_string(frame), *status);
  if (*status == 0) {
    EXPECT_TRUE(PixelsOf(image) == keldsim_test::Expected(kMono640, frame, 0, 0, 640, 480));
  }
  return frame;
}

// Two lost frames: the copy of the first of them brings the next frame that
// came, and its number tells the gap. A snap takes the next frame that comes.
DEVICE_SCENARIO(LostFramesLeaveGapsInTheBufferNumbers) {
  const std::uint32_t id = OpenFastMono(device);
  ASSERT_NE(id, 0u);
  const std::uint32_t sid = DriverSession(kSerialImg1);
  TestImage image;
  std::int32_t status = 0;
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 4), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  EXPECT_EQ(Copy(device, id, image, 0, &status), 0u);
  EXPECT_EQ(Copy(device, id, image, 1, &status), 1u);
  ASSERT_EQ(keldsimLoseFrames(sid, 2), 0u);
  EXPECT_EQ(Copy(device, id, image, 2, &status), 4u);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Copy(device, id, image, 5, &status), 5u);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
  EXPECT_EQ(Snap(device, id, image, &status), 6u);
  ASSERT_EQ(keldsimLoseFrames(sid, 2), 0u);
  EXPECT_EQ(Snap(device, id, image, &status), 9u);
}

// A failed transfer: the copy of its number reports it, the copies around
// it bring their frames; a snap that meets one reports it, and the next
// snap takes the frame after it.
DEVICE_SCENARIO(AFailedTransferIsReported) {
  const std::uint32_t id = OpenFastMono(device);
  ASSERT_NE(id, 0u);
  const std::uint32_t sid = DriverSession(kSerialImg1);
  TestImage image;
  std::int32_t status = 0;
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 4), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  EXPECT_EQ(Copy(device, id, image, 0, &status), 0u);
  ASSERT_EQ(keldsimFailTransfers(sid, 1), 0u);
  EXPECT_EQ(Copy(device, id, image, 1, &status), 1u);
  EXPECT_EQ(static_cast<std::uint32_t>(status), kDriverTransferFailed);
  // The frame of the failed buffer is not handed out: the caller's image
  // still shows frame 0.
  EXPECT_EQ(CounterOf(image), 0u);
  EXPECT_EQ(Copy(device, id, image, 2, &status), 2u);
  EXPECT_EQ(status, 0);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
  ASSERT_EQ(keldsimFailTransfers(sid, 1), 0u);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Snap(device, id, image, &status);
  EXPECT_EQ(static_cast<std::uint32_t>(status), kDriverTransferFailed);
  std::uint32_t stops = 0;
  EXPECT_EQ(keldsimGetCallCount("kldSessionStopAcquisition", &stops), 0u);
  EXPECT_EQ(stops, 1u);
  EXPECT_EQ(Snap(device, id, image, &status), 4u);
}

// A stalled camera: waits end in the session's time-out with the time-out
// status; once the camera goes on, the frames come where they stopped.
DEVICE_SCENARIO(AStalledCameraEndsTheWaitInItsTimeOut) {
  const std::uint32_t id = OpenFastMono(device);
  ASSERT_NE(id, 0u);
  const std::uint32_t sid = DriverSession(kSerialImg1);
  Expect(device, "time-out 300 ms", cfgSetAttributeU32(id, kTimeoutKey, 300, 0), 0);
  TestImage image;
  std::int32_t status = 0;
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 4), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  EXPECT_EQ(Copy(device, id, image, 0, &status), 0u);
  ASSERT_EQ(keldsimStallCamera(sid, 1), 0u);
  Copy(device, id, image, 1, &status);
  EXPECT_EQ(static_cast<std::uint32_t>(status), kDriverTimeout);
  ASSERT_EQ(keldsimStallCamera(sid, 0), 0u);
  EXPECT_EQ(Copy(device, id, image, 1, &status), 1u);
  EXPECT_EQ(status, 0);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
  ASSERT_EQ(keldsimStallCamera(sid, 1), 0u);
  Snap(device, id, image, &status);
  EXPECT_EQ(static_cast<std::uint32_t>(status), kDriverTimeout);
  ASSERT_EQ(keldsimStallCamera(sid, 0), 0u);
  EXPECT_EQ(Snap(device, id, image, &status), 2u);
}

}  // namespace
}  // namespace keld::device
