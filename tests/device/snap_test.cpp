// One image at a time from the simulated boards through cfgSnapImage, over a
// local and a remote session: each frame carries the camera's frame counter
// and is the camera's scene pixel for pixel, in the camera's own format (8
// and 16 bit monochrome, 32-bit colour, raw Bayer) or decoded to colour
// where the flags ask for it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "camera_texts.h"
#include "device_fixture.h"
#include "image_support.h"
#include "pattern_oracle.h"

namespace keld::device {
namespace {

using keldsim_test::CameraKind;

// The raw frame of a Bayer camera decoded by the image library itself, as
// the library is to decode it: pattern and gains as given, algorithm 0.
std::vector<std::uint8_t> DecodedByImageLibrary(const std::vector<std::uint8_t>& raw, std::uint32_t width,
                                                std::uint32_t height, std::uint32_t pattern,
                                                double red = 1.0, double green = 1.0, double blue = 1.0) {
  std::vector<std::uint8_t> colour(std::size_t{width} * height * 4);
  EXPECT_EQ(Gen_BayerColorDecode2(colour.data(), raw.data(), height, width, width, width, pattern, 8, 0, 1, ODV_RGB32,
                                  blue, green, red),
            0u);
  return colour;
}

// Snaps one frame into `image` and checks it against the camera's frame
// `frame`; notes what the user sees.
void SnapAndCheck(Device& device, std::uint32_t id, Image* image, std::uint32_t flags, const CameraKind& camera,
                  std::uint32_t frame) {
  const std::int32_t status = cfgSnapImage(id, flags, image);
  EXPECT_EQ(status, 0);
  device.Note("snap", status);
  if (status != 0) return;
  EXPECT_EQ(CounterOf(image), frame);
  EXPECT_EQ(WidthOf(image), camera.width);
  EXPECT_EQ(HeightOf(image), camera.height);
  EXPECT_EQ(TypeOf(image), camera.type);
  EXPECT_EQ(DepthOf(image), camera.depth);
  const auto expected = keldsim_test::Expected(camera, frame, 0, 0, camera.width, camera.height);
  EXPECT_TRUE(PixelsOf(image) == expected) << "frame " << frame << " is not the camera's scene";
  device.Note("frame " + std::to_string(CounterOf(image)) + " " + Describe(image));
}

// An 8-bit monochrome camera: consecutive snaps take consecutive frames.
DEVICE_SCENARIO(SnapsMonochromeFrames) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  const std::int32_t loaded = cfgReadAttributes(id, "mono640.icd");
  EXPECT_EQ(loaded, 0);
  device.Note("camera mono640.icd", loaded);
  TestImage image;
  for (std::uint32_t frame = 0; frame < 3; ++frame) SnapAndCheck(device, id, image, kWithImage, keldsim_test::kMono640, frame);
}

// A 12-bit camera in 16-bit pixels: the counter sits at the top of the bit
// depth and the image keeps the depth.
DEVICE_SCENARIO(SnapsSixteenBitFrames) {
  const std::uint32_t id = device.Open("img2");  // mono16.icd
  ASSERT_NE(id, 0u);
  TestImage image;
  for (std::uint32_t frame = 0; frame < 2; ++frame) SnapAndCheck(device, id, image, kWithImage, keldsim_test::kMono16, frame);
}

// A colour camera that decodes its own mosaic delivers RGB32; asking for
// Bayer decoding changes nothing, as the camera has no pattern.
DEVICE_SCENARIO(SnapsColourFrames) {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  const std::int32_t loaded = cfgReadAttributes(id, "rgb640.icd");
  EXPECT_EQ(loaded, 0);
  device.Note("camera rgb640.icd", loaded);
  TestImage image;
  SnapAndCheck(device, id, image, kWithImage, keldsim_test::kRgb640, 0);
  SnapAndCheck(device, id, image, kWithImage | kDecodeBayer, keldsim_test::kRgb640, 1);
}

// A raw Bayer camera without the decoding flag: the mosaic as it is.
DEVICE_SCENARIO(SnapsRawBayerFrames) {
  const std::uint32_t id = device.Open("img0");  // bayer1280.icd
  ASSERT_NE(id, 0u);
  TestImage image;
  SnapAndCheck(device, id, image, kWithImage, keldsim_test::kBayer1280, 0);
}

// With bit 4 of the flags the mosaic becomes a colour image, decoded as the
// image library decodes the camera's raw frame.
DEVICE_SCENARIO(SnapsBayerFramesDecodedToColour) {
  const std::uint32_t id = device.Open("img0");  // bayer1280.icd
  ASSERT_NE(id, 0u);
  TestImage image;
  const std::int32_t status = cfgSnapImage(id, kWithImage | kDecodeBayer, image);
  EXPECT_EQ(status, 0);
  device.Note("snap decoded", status);
  EXPECT_EQ(TypeOf(image), static_cast<std::uint32_t>(ODV_RGB32));
  EXPECT_EQ(WidthOf(image), 1280u);
  EXPECT_EQ(HeightOf(image), 1024u);
  const auto raw = keldsim_test::Expected(keldsim_test::kBayer1280, 0, 0, 0, 1280, 1024);
  EXPECT_TRUE(PixelsOf(image) == DecodedByImageLibrary(raw, 1280, 1024, 0)) << "decoded frame differs";
  device.Note("decoded " + Describe(image));
}

// A caller's image with a border and of another type is made over to the
// camera's format; the pixels land inside the border.
DEVICE_SCENARIO(SnapsIntoAnImageWithABorder) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  EXPECT_EQ(cfgReadAttributes(id, "mono640.icd"), 0);
  TestImage image(ODV_U16, 17, 5, 3);
  SnapAndCheck(device, id, image, kWithImage, keldsim_test::kMono640, 0);
}

// The flags without bit 0 still snap; a remote session then brings no image
// back, a local one fills the caller's image.
DEVICE_SCENARIO(SnapsWithoutTheImageFlag) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  EXPECT_EQ(cfgReadAttributes(id, "mono640.icd"), 0);
  TestImage image;
  const std::int32_t status = cfgSnapImage(id, 0, image);
  EXPECT_EQ(status, 0);
  device.Note("snap without image", status);
  if (device.remote()) {
    EXPECT_EQ(WidthOf(image), 0u);
  } else {
    EXPECT_EQ(CounterOf(image), 0u);
  }
  // The frame was taken either way: the next one is frame 1.
  SnapAndCheck(device, id, image, kWithImage, keldsim_test::kMono640, 1);
}

// Frames the driver is to skip before a snap (0x3FF60466) are the user's
// setting: the snap puts it back after the driver has used it up.
DEVICE_SCENARIO(SnapKeepsTheFramesToSkip) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  EXPECT_EQ(cfgReadAttributes(id, "mono640.icd"), 0);
  const std::int32_t set = cfgSetAttributeU32(id, 0x3FF60466, 2, 0);
  EXPECT_EQ(set, 0);
  device.Note("skip 2", set);
  TestImage image;
  SnapAndCheck(device, id, image, kWithImage, keldsim_test::kMono640, 2);
  std::uint32_t skip = 0;
  EXPECT_EQ(cfgGetAttributeU32(id, 0x3FF60466, &skip, 0), 0);
  EXPECT_EQ(skip, 2u);
  device.Note("skip after the snap " + std::to_string(skip));
  SnapAndCheck(device, id, image, kWithImage, keldsim_test::kMono640, 5);
}

// A snap that fails passes the driver's status on and stops the session's
// acquisition; the image the caller had is not spoilt by a half copy.
DEVICE_SCENARIO(SnapFailureStopsTheAcquisition) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  EXPECT_EQ(cfgReadAttributes(id, "mono640.icd"), 0);
  EXPECT_EQ(keldsimInjectStatus("kldSnapArea", 0xBFF60011, 1), 0u);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  TestImage image;
  const std::int32_t status = cfgSnapImage(id, kWithImage, image);
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFF60011u);
  device.Note("snap", status);
  std::uint32_t stops = 0;
  EXPECT_EQ(keldsimGetCallCount("kldSessionStopAcquisition", &stops), 0u);
  EXPECT_EQ(stops, 1u);
  device.Note("stops " + std::to_string(stops));
  // A failure of the buffer size after a good snap is a failure too.
  EXPECT_EQ(keldsimInjectStatus("kldSessionGetBufferSize", 0xBFF60012, 1), 0u);
  const std::int32_t sized = cfgSnapImage(id, kWithImage, image);
  EXPECT_EQ(static_cast<std::uint32_t>(sized), 0xBFF60012u);
  device.Note("snap with the size failing", sized);
  // The session snaps again afterwards.
  const std::int32_t again = cfgSnapImage(id, kWithImage, image);
  EXPECT_EQ(again, 0);
  device.Note("snap again", again);
}

// The size of the image comes from the driver before the snap: a failure
// there is the answer and nothing is snapped.
DEVICE_SCENARIO(SnapFailsWhereTheImageSizeCannotBeRead) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  EXPECT_EQ(cfgReadAttributes(id, "mono640.icd"), 0);
  // The first read asks for the Bayer pattern (a failure there only means
  // "no decoding"), the second for the width.
  EXPECT_EQ(keldsimInjectStatus("kldGetAttribute", 0xBFF60013, 2), 0u);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  TestImage image;
  const std::int32_t status = cfgSnapImage(id, kWithImage, image);
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFF60013u);
  device.Note("snap", status);
  std::uint32_t snaps = 0;
  EXPECT_EQ(keldsimGetCallCount("kldSnapArea", &snaps), 0u);
  EXPECT_EQ(snaps, 0u);
}


// Operations this session does not serve, and a snap without an image: a
// local snap has nowhere to put the frame, a remote one nowhere to read
// the reply into.
DEVICE_SCENARIO(WhatTheFrameGrabberSessionDoesNotServe) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  std::uint32_t supported = 7;
  const std::int32_t ring = cfgSupportsRingAcquisition(id, 0, &supported);
  EXPECT_EQ(static_cast<std::uint32_t>(ring), 0xBFFF8011u);
  device.Note("supports ring acquisition", ring);
  const std::int32_t lut = cfgCalculateBayerColorLUT(id);
  EXPECT_EQ(static_cast<std::uint32_t>(lut), 0xBFFF8011u);
  device.Note("Bayer colour table", lut);
  const std::int32_t snap = cfgSnapImage(id, kWithImage, nullptr);
  EXPECT_NE(snap, 0);
  device.Note("snap into no image " + std::string(snap != 0 ? "fails" : "succeeds"));
  std::uint32_t type = 0;
  const std::int32_t compression = cfgGetImageCompression(id, &type, nullptr);
  EXPECT_EQ(static_cast<std::uint32_t>(compression), 0xBFFF8007u);
  device.Note("compression without an output", compression);
}

}  // namespace
}  // namespace keld::device
