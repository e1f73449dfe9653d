// Continuous grabs (cfgSetupGrab, cfgGrabImage) from the simulated boards.
// Locally every grab takes the next frame of the camera. Remotely a grab
// with bit 0 of the flags answers with the newest image of the target's
// background thread, which grabs on its own; the numbers then never go back
// and each image is the frame of its number. Camera faults end the grab
// with their status, locally at once and remotely at the thread's next round.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "camera_texts.h"
#include "device_fixture.h"
#include "image_support.h"
#include "pattern_oracle.h"

namespace keld::device {
namespace {

INSTANTIATE_TEST_SUITE_P(, DeviceSessions, ::testing::Values(Side::kLocal, Side::kRemote), SideParamName);

using keldsim_test::CameraKind;
using keldsim_test::kMono640;

// A raw Bayer camera small enough for a target's thread to grab, decode and
// pack many times a second.
constexpr CameraKind kSmallBayer{320, 240, 0, 8, 0, 0};

CameraText SmallBayer() {
  CameraText camera;
  camera.model = "Small Bayer";
  camera.width = kSmallBayer.width;
  camera.height = kSmallBayer.height;
  camera.bayer = "0";
  return camera;
}

std::uint32_t OpenWithCamera(Device& device, const CameraText& camera, const char* name) {
  const std::uint32_t id = device.Open("img1");
  if (id != 0) LoadCamera(device, id, camera.Text().c_str(), name);
  return id;
}

void Expect(Device& device, const std::string& what, std::int32_t status, std::uint32_t expected) {
  EXPECT_EQ(static_cast<std::uint32_t>(status), expected) << what;
  device.Note(what, status);
}

std::vector<std::uint8_t> Decoded(const CameraKind& camera, std::uint32_t frame) {
  const auto raw = keldsim_test::Expected(camera, frame, 0, 0, camera.width, camera.height);
  std::vector<std::uint8_t> colour(std::size_t{camera.width} * camera.height * 4);
  EXPECT_EQ(Gen_BayerColorDecode2(colour.data(), raw.data(), camera.height, camera.width, camera.width, camera.width,
                                  camera.pattern, 8, 0, 1, ODV_RGB32, 1.0, 1.0, 1.0),
            0u);
  return colour;
}

// Grabs `count` frames. Each must be the camera's frame of its number: the
// buffer numbers count from 0 at each set-up, the camera's frames go on, so
// frame = number + the frames the camera gave before the set-up (`base`;
// for a raw image it is found from the counter in the first image). The
// numbers follow one another locally and never go back remotely. The
// numbers of the grabs.
std::vector<std::uint32_t> GrabFrames(Device& device, std::uint32_t id, Image* image, std::uint32_t count,
                                      bool decoded, const CameraKind& camera, std::uint32_t base = 0) {
  std::vector<std::uint32_t> numbers;
  bool allGood = true;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t number = 0xFFFFFFFF;
    const std::int32_t status = cfgGrabImage(id, &number, image);
    EXPECT_EQ(status, 0) << "grab " << i;
    if (status != 0) {
      device.Note("grab", status);
      allGood = false;
      break;
    }
    if (decoded) {
      EXPECT_EQ(TypeOf(image), static_cast<std::uint32_t>(ODV_RGB32));
      allGood = allGood && PixelsOf(image) == Decoded(camera, base + number);
    } else {
      if (i == 0) base = CounterOf(image) - number;
      EXPECT_EQ(CounterOf(image), base + number) << "grab " << i;
      allGood = allGood && PixelsOf(image) == keldsim_test::Expected(camera, base + number, 0, 0, camera.width,
                                                                      camera.height);
    }
    if (!numbers.empty()) {
      if (device.remote()) {
        EXPECT_GE(number, numbers.back());
      } else {
        EXPECT_EQ(number, numbers.back() + 1);
      }
    }
    numbers.push_back(number);
  }
  EXPECT_TRUE(allGood) << "a grabbed image is not the camera's frame of its number";
  if (!device.remote() && !numbers.empty()) {
    EXPECT_EQ(numbers.front(), 0u);  // a local grab takes the first frame of the set-up
  }
  device.Note(std::to_string(numbers.size()) + " grabs, " +
              (allGood ? "each the frame of its number" : "not each the frame of its number"));
  return numbers;
}

// Grabs until a grab fails, for at most `tries` grabs (a target's thread
// may still answer with an image from before the fault); the status.
std::int32_t GrabUntilFailure(Device& device, std::uint32_t id, Image* image, int tries) {
  std::int32_t status = 0;
  for (int i = 0; i < tries && status == 0; ++i) {
    std::uint32_t number = 0;
    status = cfgGrabImage(id, &number, image);
  }
  device.Note("grab until a failure", status);
  return status;
}

DEVICE_SCENARIO(GrabsFrameAfterFrame) {
  const std::uint32_t id = OpenWithCamera(device, FastMono640(), "fast mono640");
  ASSERT_NE(id, 0u);
  Expect(device, "setup", cfgSetupGrab(id, kWithImage), 0);
  TestImage image;
  GrabFrames(device, id, image, 20, false, kMono640);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  // A new set-up goes on from the camera's frame counter.
  Expect(device, "setup again", cfgSetupGrab(id, kWithImage), 0);
  GrabFrames(device, id, image, 5, false, kMono640);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
}

// Bit 4 of the set-up's flags: grabs of a raw Bayer camera come decoded,
// as the image library decodes the frame of their number.
DEVICE_SCENARIO(GrabsBayerFramesDecodedToColour) {
  const std::uint32_t id = OpenWithCamera(device, SmallBayer(), "small bayer");
  ASSERT_NE(id, 0u);
  Expect(device, "setup", cfgSetupGrab(id, kWithImage | kDecodeBayer), 0);
  TestImage image;
  GrabFrames(device, id, image, 5, true, kSmallBayer);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  // Without the bit the raw mosaic comes.
  Expect(device, "setup raw", cfgSetupGrab(id, kWithImage), 0);
  GrabFrames(device, id, image, 3, false, kSmallBayer);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
}

// Flags without bits 0 and 1: no thread on a target. A local grab fills
// the image; a remote one grabs on the target and brings only the number of
// the grab before it. With bit 2 as well a remote grab does not grab at all.
DEVICE_SCENARIO(GrabsWithoutAThread) {
  const std::uint32_t id = OpenWithCamera(device, FastMono640(), "fast mono640");
  ASSERT_NE(id, 0u);
  Expect(device, "setup without image", cfgSetupGrab(id, 0), 0);
  TestImage image;
  std::uint32_t first = 0xFFFFFFFF;
  Expect(device, "grab", cfgGrabImage(id, &first, image), 0);
  std::uint32_t second = 0xFFFFFFFF;
  Expect(device, "grab", cfgGrabImage(id, &second, image), 0);
  if (device.remote()) {
    EXPECT_EQ(WidthOf(image), 0u);
    EXPECT_EQ(second, 0u);  // the number of the first grab
  } else {
    EXPECT_EQ(first, 0u);
    EXPECT_EQ(second, 1u);
    EXPECT_EQ(CounterOf(image), 1u);
  }
  Expect(device, "setup with bit 2", cfgSetupGrab(id, 4), 0);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  std::uint32_t third = 0xFFFFFFFF;
  Expect(device, "grab", cfgGrabImage(id, &third, image), 0);
  std::uint32_t grabs = 0;
  EXPECT_EQ(keldsimGetCallCount("kldGrabArea", &grabs), 0u);
  EXPECT_EQ(grabs, device.remote() ? 0u : 1u);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
}

DEVICE_SCENARIO(GrabsOutOfOrder) {
  const std::uint32_t id = OpenWithCamera(device, FastMono640(), "fast mono640");
  ASSERT_NE(id, 0u);
  TestImage image;
  std::uint32_t number = 0;
  Expect(device, "grab without a set-up", cfgGrabImage(id, &number, image), 0xBFF60010);
  Expect(device, "setup", cfgSetupGrab(id, kWithImage), 0);
  Expect(device, "grab without a number", cfgGrabImage(id, nullptr, image), 0xBFFF8007);
  Expect(device, "grab", cfgGrabImage(id, &number, image), 0);
  Expect(device, "snap while grabbing", cfgSnapImage(id, kWithImage, image), 0xBFF60021);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
}

// A failed transfer ends the grab with its status; a new set-up grabs on.
DEVICE_SCENARIO(AFailedTransferEndsTheGrab) {
  const std::uint32_t id = OpenWithCamera(device, FastMono640(), "fast mono640");
  ASSERT_NE(id, 0u);
  const std::uint32_t sid = DriverSession(kSerialImg1);
  Expect(device, "setup", cfgSetupGrab(id, kWithImage), 0);
  TestImage image;
  GrabFrames(device, id, image, 3, false, kMono640);
  ASSERT_EQ(keldsimFailTransfers(sid, 1), 0u);
  const std::int32_t status = GrabUntilFailure(device, id, image, 100);
  EXPECT_EQ(static_cast<std::uint32_t>(status), kDriverTransferFailed);
  std::uint32_t number = 0;
  const std::int32_t after = cfgGrabImage(id, &number, image);
  // The grab stopped the acquisition here; a target's thread has ended and
  // answers with the failure it met, and the last image it had.
  EXPECT_EQ(static_cast<std::uint32_t>(after), device.remote() ? kDriverTransferFailed : 0xBFF60010u);
  Expect(device, "setup again", cfgSetupGrab(id, kWithImage), 0);
  GrabFrames(device, id, image, 3, false, kMono640);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
}

// A stalled camera ends a grab in the session's time-out.
DEVICE_SCENARIO(AStalledCameraEndsTheGrabInItsTimeOut) {
  const std::uint32_t id = OpenWithCamera(device, FastMono640(), "fast mono640");
  ASSERT_NE(id, 0u);
  const std::uint32_t sid = DriverSession(kSerialImg1);
  Expect(device, "time-out 300 ms", cfgSetAttributeU32(id, kTimeoutKey, 300, 0), 0);
  Expect(device, "setup", cfgSetupGrab(id, kWithImage), 0);
  TestImage image;
  GrabFrames(device, id, image, 3, false, kMono640);
  ASSERT_EQ(keldsimStallCamera(sid, 1), 0u);
  const std::int32_t status = GrabUntilFailure(device, id, image, 100);
  EXPECT_EQ(static_cast<std::uint32_t>(status), kDriverTimeout);
  ASSERT_EQ(keldsimStallCamera(sid, 0), 0u);
  Expect(device, "setup again", cfgSetupGrab(id, kWithImage), 0);
  GrabFrames(device, id, image, 3, false, kMono640);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
}

// Lost frames pass: a local grab's number jumps over them.
DEVICE_SCENARIO(LostFramesLeaveAGapBetweenGrabs) {
  const std::uint32_t id = OpenWithCamera(device, FastMono640(), "fast mono640");
  ASSERT_NE(id, 0u);
  const std::uint32_t sid = DriverSession(kSerialImg1);
  Expect(device, "setup", cfgSetupGrab(id, kWithImage), 0);
  TestImage image;
  std::uint32_t before = 0;
  Expect(device, "grab", cfgGrabImage(id, &before, image), 0);
  ASSERT_EQ(keldsimLoseFrames(sid, 3), 0u);
  std::uint32_t after = 0;
  Expect(device, "grab", cfgGrabImage(id, &after, image), 0);
  EXPECT_EQ(CounterOf(image), after);
  if (device.remote()) {
    EXPECT_GE(after, before);  // the target's thread may be ahead of the client
  } else {
    EXPECT_EQ(after, before + 4);
  }
  Expect(device, "stop", cfgStopAcquisition(id), 0);
}


// Grabs through the target's thread in each compression type: types 0 and
// 1 bring every pixel, type 2 (JPEG) frames within the tolerance of a lossy
// code. The compression is the process's: the default goes back at the end.
DEVICE_SCENARIO(GrabsInEveryCompression) {
  const std::uint32_t id = OpenWithCamera(device, FastMono640(), "fast mono640");
  ASSERT_NE(id, 0u);
  TestImage image;
  // JPEG first: the counter in the first pixels does not survive it, and on
  // the first set-up of a session the frame is the buffer number.
  for (const std::uint32_t type : {2u, 0u, 1u}) {
    Expect(device, "compression " + std::to_string(type), cfgSetImageCompression(id, type, 750), 0);
    Expect(device, "setup", cfgSetupGrab(id, kWithImage), 0);
    if (type != 2 || !device.remote()) {
      GrabFrames(device, id, image, 5, false, kMono640);
    } else {
      std::uint32_t previous = 0;
      for (int i = 0; i < 3; ++i) {
        std::uint32_t number = 0;
        const std::int32_t status = cfgGrabImage(id, &number, image);
        EXPECT_EQ(status, 0);
        EXPECT_GE(number, previous);
        previous = number;
        EXPECT_EQ(WidthOf(image), 640u);
        EXPECT_EQ(TypeOf(image), static_cast<std::uint32_t>(ODV_U8));
        const Difference difference =
            Compare(PixelsOf(image), keldsim_test::Expected(kMono640, number, 0, 0, 640, 480));
        EXPECT_LT(difference.mean, 4.0) << "grab of number " << number << " in JPEG";
      }
      device.Note("5 grabs, each the frame of its number");
    }
    Expect(device, "stop", cfgStopAcquisition(id), 0);
  }
  Expect(device, "default compression", cfgSetImageCompression(id, 1, 750), 0);
}

}  // namespace
}  // namespace keld::device
