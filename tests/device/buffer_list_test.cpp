// Acquisitions over a buffer list (cfgConfigureAcquisition, cfgStartAcquisition,
// cfgCopyImage, cfgStopAcquisition, cfgUnconfigureAcquisition) and over the
// driver's rings and sequences, on the three generations of the driver's
// copy: a copy of buffer number n brings frame n back, with the number the
// driver gives.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "camera_texts.h"
#include "device_fixture.h"
#include "image_support.h"
#include "pattern_oracle.h"

namespace keld::device {
namespace {

using keldsim_test::kMono640;

// One board (img1) on a driver of a given version word.
#define ONE_BOARD(version)                                                                                     \
  R"({ "driver_version": ")" version R"(", "boards": [ { "serial": "0x00A10002", "model": "OD PCI-7105", )" \
  R"("type": "0x7105", "units": 1, "ports": 2, "interface_types": "0x3" } ] })"

// A board (img1 of the built-in ones, img0 where it is the only one) with
// the 640 x 480 monochrome camera at a frame rate of 0.
std::uint32_t OpenFastMono(Device& device, const char* name = "img1") {
  const std::uint32_t id = device.Open(name);
  if (id != 0) LoadCamera(device, id, FastMono640().Text().c_str(), "fast mono640");
  return id;
}

std::uint32_t Count(const char* function) {
  std::uint32_t count = 0;
  EXPECT_EQ(keldsimGetCallCount(function, &count), 0u);
  return count;
}

// Copies buffer number `asked`; checks that the frame is the camera's frame
// `frame` and that the number comes back as `number`.
void CopyAndCheck(Device& device, std::uint32_t id, Image* image, std::uint32_t asked, std::uint32_t number,
                  std::uint32_t frame) {
  std::uint32_t got = asked;
  const std::int32_t status = cfgCopyImage(id, &got, image);
  EXPECT_EQ(status, 0) << "copy of " << asked;
  device.Note("copy " + std::to_string(asked), status);
  if (status != 0) return;
  EXPECT_EQ(got, number) << "copy of " << asked;
  EXPECT_EQ(CounterOf(image), frame) << "copy of " << asked;
  EXPECT_TRUE(PixelsOf(image) == keldsim_test::Expected(kMono640, frame, 0, 0, 640, 480))
      << "copy of " << asked << " is not frame " << frame;
  device.Note("number " + std::to_string(got) + ", frame " + std::to_string(CounterOf(image)) + " " + Describe(image));
}

void Expect(Device& device, const std::string& what, std::int32_t status, std::uint32_t expected) {
  EXPECT_EQ(static_cast<std::uint32_t>(status), expected) << what;
  device.Note(what, status);
}

// A continuous list of four buffers: copies by number bring each frame
// back, round after round.
void CopyEachFrameByItsNumber(Device& device, const char* name) {
  const std::uint32_t id = OpenFastMono(device, name);
  ASSERT_NE(id, 0u);
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 4), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  TestImage image;
  for (std::uint32_t n = 0; n < 10; ++n) CopyAndCheck(device, id, image, n, n, n);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  // What the buffers hold stays to be copied after the stop.
  CopyAndCheck(device, id, image, 9, 9, 9);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
}

// Drivers from 0x04100000 copy into the image object itself.
DEVICE_SCENARIO(CopiesEachFrameByItsNumber) { CopyEachFrameByItsNumber(device, "img1"); }
// Drivers from 0x03800000 copy into the image's pixels.
DEVICE_SCENARIO_WITH(CopiesEachFrameByItsNumberOnA380Driver, ONE_BOARD("0x03800000")) {
  CopyEachFrameByItsNumber(device, "img0");
}
// The image object form from its first version on, before the Bayer algorithm key.
DEVICE_SCENARIO_WITH(CopiesEachFrameByItsNumberOnA410Driver, ONE_BOARD("0x04100000")) {
  CopyEachFrameByItsNumber(device, "img0");
}

// An older driver copies by the buffer's place in the list: with two
// buffers, number 5 asks for buffer 1, and the number comes back from the
// driver's last buffer number.
DEVICE_SCENARIO_WITH(CopiesByPlaceOnAnOlderDriver, ONE_BOARD("0x03700000")) {
  const std::uint32_t id = OpenFastMono(device, "img0");
  ASSERT_NE(id, 0u);
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 2), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  TestImage image;
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  CopyAndCheck(device, id, image, 5, 1, 1);
  EXPECT_EQ(Count("kldSessionCopyArea"), 1u);
  EXPECT_EQ(Count("kldSessionCopyAreaByNumber"), 0u);
  // Buffer 0 holds frame 0 already: the copy takes what it holds.
  CopyAndCheck(device, id, image, 4, 1, 0);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
}

// Without a list an older driver has no buffer to copy from.
DEVICE_SCENARIO_WITH(OlderDriverCopiesNothingWithoutAList, ONE_BOARD("0x03700000")) {
  const std::uint32_t id = OpenFastMono(device, "img0");
  ASSERT_NE(id, 0u);
  TestImage image;
  std::uint32_t number = 3;
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  const std::int32_t status = cfgCopyImage(id, &number, image);
  EXPECT_NE(status, 0);
  EXPECT_EQ(Count("kldSessionCopyArea"), 0u);
  device.Note("copy without a list", status);
}

// A list that is not continuous ends with its last buffer.
DEVICE_SCENARIO(AListThatEndsWithItsLastBuffer) {
  const std::uint32_t id = OpenFastMono(device);
  ASSERT_NE(id, 0u);
  Expect(device, "configure", cfgConfigureAcquisition(id, 0, 3), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  TestImage image;
  for (std::uint32_t n = 0; n < 3; ++n) CopyAndCheck(device, id, image, n, n, n);
  std::uint32_t number = 3;
  Expect(device, "copy beyond the list", cfgCopyImage(id, &number, image), 0xBFF60024);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
}

// A continuous acquisition of one buffer loops back to it: frame after frame
// lands in the same buffer. Without "continuous" the one buffer is all.
DEVICE_SCENARIO(AContinuousListOfOneBuffer) {
  const std::uint32_t id = OpenFastMono(device);
  ASSERT_NE(id, 0u);
  Expect(device, "configure one continuous", cfgConfigureAcquisition(id, 1, 1), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  TestImage image;
  for (std::uint32_t n = 0; n < 3; ++n) CopyAndCheck(device, id, image, n, n, n);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  Expect(device, "configure one", cfgConfigureAcquisition(id, 0, 1), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  CopyAndCheck(device, id, image, 0, 0, 3);
  std::uint32_t number = 1;
  Expect(device, "copy of a second", cfgCopyImage(id, &number, image), 0xBFF60024);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
}

// Configuring again goes through the unconfigured state: the old list and
// its buffers are given back first.
DEVICE_SCENARIO(ConfiguringAgainFreesTheOldList) {
  const std::uint32_t id = OpenFastMono(device);
  ASSERT_NE(id, 0u);
  Expect(device, "configure two", cfgConfigureAcquisition(id, 1, 2), 0);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Expect(device, "configure three", cfgConfigureAcquisition(id, 1, 3), 0);
  EXPECT_EQ(Count("kldMemUnlock"), 1u);
  EXPECT_EQ(Count("kldDisposeBuffer"), 2u);
  EXPECT_EQ(Count("kldDisposeBufList"), 1u);
  EXPECT_EQ(Count("kldCreateBuffer"), 3u);
  EXPECT_EQ(Count("kldMemLock"), 1u);
  device.Note("disposed " + std::to_string(Count("kldDisposeBuffer")) + ", created " +
              std::to_string(Count("kldCreateBuffer")));
  Expect(device, "start", cfgStartAcquisition(id), 0);
  TestImage image;
  for (std::uint32_t n = 0; n < 4; ++n) CopyAndCheck(device, id, image, n, n, n);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
  EXPECT_EQ(Count("kldDisposeBuffer"), 3u);
  EXPECT_EQ(Count("kldDisposeBufList"), 1u);
  // The acquisition mode goes back to 0, the one setting it writes.
  EXPECT_EQ(Count("kldSetAttributeFromVoidPtr"), 1u);
  device.Note("writes " + std::to_string(Count("kldSetAttributeFromVoidPtr")));
}

// Unconfiguring without buffers does nothing at all, also after an
// acquisition has been unconfigured once.
DEVICE_SCENARIO(UnconfiguringWithoutBuffers) {
  const std::uint32_t id = OpenFastMono(device);
  ASSERT_NE(id, 0u);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
  EXPECT_EQ(Count("kldSetAttributeFromVoidPtr"), 0u);
  EXPECT_EQ(Count("kldDisposeBufList"), 0u);
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 2), 0);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Expect(device, "unconfigure again", cfgUnconfigureAcquisition(id), 0);
  EXPECT_EQ(Count("kldSetAttributeFromVoidPtr"), 0u);
  device.Note("writes " + std::to_string(Count("kldSetAttributeFromVoidPtr")));
}

// A failure while configuring gives everything back and is the answer.
DEVICE_SCENARIO(AFailedConfigurationGivesTheBuffersBack) {
  const std::uint32_t id = OpenFastMono(device);
  ASSERT_NE(id, 0u);
  EXPECT_EQ(keldsimInjectStatus("kldSessionConfigure", 0xBFF60014, 1), 0u);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 3), 0xBFF60014);
  EXPECT_EQ(Count("kldDisposeBuffer"), 3u);
  EXPECT_EQ(Count("kldDisposeBufList"), 1u);
  // A buffer cannot be had: the list goes back.
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  EXPECT_EQ(keldsimInjectStatus("kldCreateBuffer", 0xBFF60003, 1), 0u);
  Expect(device, "configure without memory", cfgConfigureAcquisition(id, 1, 3), 0xBFF60003);
  EXPECT_EQ(Count("kldSessionConfigure"), 0u);
  EXPECT_EQ(Count("kldDisposeBufList"), 1u);
  // Nothing is configured: a start has nothing to start.
  Expect(device, "start", cfgStartAcquisition(id), 0xBFF60010);
  // And a good configuration afterwards works.
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 2), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  TestImage image;
  CopyAndCheck(device, id, image, 0, 0, 0);
  Expect(device, "unconfigure while running", cfgUnconfigureAcquisition(id), 0);
}

// Statuses of the driver at the wrong moment pass through unchanged.
DEVICE_SCENARIO(BufferListsOutOfOrder) {
  const std::uint32_t id = OpenFastMono(device);
  ASSERT_NE(id, 0u);
  TestImage image;
  std::uint32_t number = 0;
  Expect(device, "start unconfigured", cfgStartAcquisition(id), 0xBFF60010);
  Expect(device, "copy unconfigured", cfgCopyImage(id, &number, image), 0xBFF60010);
  Expect(device, "stop unconfigured", cfgStopAcquisition(id), 0);
  Expect(device, "copy without a number", cfgCopyImage(id, nullptr, image), 0xBFFF8007);
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 2), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  Expect(device, "start again", cfgStartAcquisition(id), 0xBFF60021);
  Expect(device, "configure while running", cfgConfigureAcquisition(id, 1, 2), 0xBFF60021);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 2), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  // A snap that fails stops the acquisition, which then starts again.
  Expect(device, "snap while running", cfgSnapImage(id, kWithImage, image), 0xBFF60021);
  Expect(device, "start after the snap", cfgStartAcquisition(id), 0);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
}

// A ring of the driver's own buffers that skips every other frame: buffer
// number n holds frame 2n.
DEVICE_SCENARIO(ARingOfTheDriversBuffers) {
  const std::uint32_t id = OpenFastMono(device);
  ASSERT_NE(id, 0u);
  Expect(device, "ring of four, skipping one", cfgKELDRingSetup(id, 4, 0, 1), 0);
  Expect(device, "start", cfgKELDSessionStartAcquisition(id), 0);
  TestImage image;
  for (std::uint32_t n = 0; n < 6; ++n) CopyAndCheck(device, id, image, n, n, 2 * n);
  Expect(device, "stop", cfgKELDSessionStopAcquisition(id), 0);
  // A ring that starts at once, without skipping, where the camera's frames
  // went on after the last ring: at frame 11.
  Expect(device, "ring of three, started", cfgKELDRingSetup(id, 3, 1, 0), 0);
  for (std::uint32_t n = 0; n < 5; ++n) CopyAndCheck(device, id, image, n, n, 11 + n);
  Expect(device, "stop", cfgKELDSessionStopAcquisition(id), 0);
  Expect(device, "ring of none", cfgKELDRingSetup(id, 0, 0, 0), 0xBFF60002);
}

// A sequence: the table's first entry skips two frames before the first
// buffer, after which the buffers follow frame after frame, and the
// sequence ends with its last buffer.
DEVICE_SCENARIO(ASequenceOfTheDriversBuffers) {
  const std::uint32_t id = OpenFastMono(device);
  ASSERT_NE(id, 0u);
  std::uint32_t table[8] = {2, 0, 0, 0, 0, 0, 0, 0};  // four entries of 8 bytes
  Expect(device, "sequence of four", cfgKELDSequenceSetup(id, 4, table, 0, 0), 0);
  Expect(device, "start", cfgKELDSessionStartAcquisition(id), 0);
  TestImage image;
  for (std::uint32_t n = 0; n < 4; ++n) CopyAndCheck(device, id, image, n, n, n + 2);
  std::uint32_t number = 4;
  Expect(device, "copy beyond the sequence", cfgCopyImage(id, &number, image), 0xBFF60024);
  Expect(device, "stop", cfgKELDSessionStopAcquisition(id), 0);
  Expect(device, "sequence without a table", cfgKELDSequenceSetup(id, 4, nullptr, 0, 0), 0xBFFF8007);
}


// A raw Bayer camera whose copies come decoded: bit 4 of the session's
// flags (here from cfgSetAcquisitionFlags) asks for colour, and each copy
// is the image library's decoding of the frame of its number.
void CopyDecodedBayerFrames(Device& device, const char* name) {
  const std::uint32_t id = device.Open(name);
  ASSERT_NE(id, 0u);
  CameraText camera;
  camera.model = "Small Bayer";
  camera.width = 320;
  camera.height = 240;
  camera.bayer = "1";
  ASSERT_EQ(LoadCamera(device, id, camera.Text().c_str(), "small bayer"), 0);
  const keldsim_test::CameraKind kind{320, 240, 0, 8, 1, 0};
  Expect(device, "flags: decode", cfgSetAcquisitionFlags(id, kDecodeBayer), 0);
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 3), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  TestImage image;
  std::vector<std::uint8_t> colour(std::size_t{320} * 240 * 4);
  for (std::uint32_t n = 0; n < 4; ++n) {
    std::uint32_t number = n;
    const std::int32_t status = cfgCopyImage(id, &number, image);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(number, n);
    EXPECT_EQ(TypeOf(image), static_cast<std::uint32_t>(ODV_RGB32));
    const auto raw = keldsim_test::Expected(kind, n, 0, 0, 320, 240);
    EXPECT_EQ(Gen_BayerColorDecode2(colour.data(), raw.data(), 240, 320, 320, 320, 1, 8, 0, 1, ODV_RGB32, 1.0, 1.0, 1.0),
              0u);
    EXPECT_TRUE(PixelsOf(image) == colour) << "copy " << n << " is not frame " << n << " decoded";
    device.Note("copy " + std::to_string(n) + " -> " + std::to_string(number) + " " + Describe(image), status);
  }
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
  // Without the bit the raw mosaic comes.
  Expect(device, "flags: none", cfgSetAcquisitionFlags(id, 0), 0);
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 3), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  std::uint32_t number = 0;
  Expect(device, "copy raw", cfgCopyImage(id, &number, image), 0);
  EXPECT_EQ(TypeOf(image), static_cast<std::uint32_t>(ODV_U8));
  EXPECT_EQ(CounterOf(image), 4u);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
}

DEVICE_SCENARIO(CopiesBayerFramesDecoded) { CopyDecodedBayerFrames(device, "img1"); }
DEVICE_SCENARIO_WITH(CopiesBayerFramesDecodedOnA380Driver, ONE_BOARD("0x03800000")) {
  CopyDecodedBayerFrames(device, "img0");
}

}  // namespace
}  // namespace keld::device
