// Images from a remote target in each compression type of
// cfgSetImageCompression (0 none, 1 lossless, 2 JPEG), through snaps and
// copies: types 0 and 1 bring every pixel back as the camera made it, type 2
// within the tolerance of a lossy code (and losslessly for 16-bit images,
// which JPEG does not take). A local session copies no image over a wire
// and gives every pixel in all three.
#include <gtest/gtest.h>

#include <string>

#include "camera_texts.h"
#include "device_fixture.h"
#include "image_support.h"
#include "pattern_oracle.h"

namespace keld::device {
namespace {

using keldsim_test::CameraKind;

constexpr std::uint32_t kJpeg = 2;

// The compression is the process's (and the target's) for every session:
// each scenario puts the default back.
class DefaultCompressionAfterwards {
 public:
  explicit DefaultCompressionAfterwards(std::uint32_t id) : id_(id) {}
  ~DefaultCompressionAfterwards() { EXPECT_EQ(cfgSetImageCompression(id_, 1, 750), 0); }
  DefaultCompressionAfterwards(const DefaultCompressionAfterwards&) = delete;
  DefaultCompressionAfterwards& operator=(const DefaultCompressionAfterwards&) = delete;

 private:
  std::uint32_t id_;
};

void SetCompression(Device& device, std::uint32_t id, std::uint32_t type) {
  const std::int32_t status = cfgSetImageCompression(id, type, 750);
  EXPECT_EQ(status, 0);
  std::uint32_t typeNow = 99;
  std::uint32_t quality = 0;
  EXPECT_EQ(cfgGetImageCompression(id, &typeNow, &quality), 0);
  EXPECT_EQ(typeNow, type);
  EXPECT_EQ(quality, 750u);
  device.Note("compression " + std::to_string(typeNow) + " at " + std::to_string(quality), status);
}

// Checks an image that came in compression `type` against the camera's
// frame `frame`; notes it (the pixels only where they must be exact on both
// sides). A raw mosaic, whose neighbouring pixels are of other colours,
// loses more to JPEG than a picture does.
void CheckFrame(Device& device, const Image* image, const CameraKind& camera, std::uint32_t frame,
                std::uint32_t type) {
  EXPECT_EQ(WidthOf(image), camera.width);
  EXPECT_EQ(HeightOf(image), camera.height);
  EXPECT_EQ(TypeOf(image), camera.type);
  const auto expected = keldsim_test::Expected(camera, frame, 0, 0, camera.width, camera.height);
  const bool lossy = type == kJpeg && camera.type != ODV_U16;
  if (!lossy || !device.remote()) {
    EXPECT_EQ(CounterOf(image), frame);
    EXPECT_TRUE(PixelsOf(image) == expected) << "frame " << frame << " in compression " << type;
  } else {
    const Difference difference = Compare(PixelsOf(image), expected);
    EXPECT_LT(difference.mean, camera.Bayer() ? 8.0 : 4.0) << "frame " << frame << " in JPEG";
    EXPECT_LT(difference.largest, 160) << "frame " << frame << " in JPEG";
  }
  if (lossy) {
    device.Note("frame of " + std::to_string(WidthOf(image)) + "x" + std::to_string(HeightOf(image)) + " type " +
                std::to_string(TypeOf(image)) + " within the tolerance of JPEG");
  } else {
    device.Note("frame " + std::to_string(frame) + " " + Describe(image));
  }
}

DEVICE_SCENARIO(SnapsInEveryCompression) {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  DefaultCompressionAfterwards restore(id);
  TestImage image;
  std::uint32_t frame = 0;
  for (const std::uint32_t type : {0u, 1u, 2u}) {
    SetCompression(device, id, type);
    const std::int32_t loaded = cfgReadAttributes(id, "rgb640.icd");
    EXPECT_EQ(loaded, 0);
    device.Note("camera rgb640.icd", loaded);
    const std::int32_t colour = cfgSnapImage(id, kWithImage, image);
    EXPECT_EQ(colour, 0);
    device.Note("snap", colour);
    if (colour == 0) CheckFrame(device, image, keldsim_test::kRgb640, frame, type);
    ++frame;
    // A raw Bayer frame is a U8 image.
    const std::int32_t bayer = cfgReadAttributes(id, "bayer1280.icd");
    EXPECT_EQ(bayer, 0);
    device.Note("camera bayer1280.icd", bayer);
    const std::int32_t raw = cfgSnapImage(id, kWithImage, image);
    EXPECT_EQ(raw, 0);
    device.Note("snap", raw);
    if (raw == 0) CheckFrame(device, image, keldsim_test::kBayer1280, frame, type);
    ++frame;
  }
}

DEVICE_SCENARIO(SixteenBitSnapsInEveryCompression) {
  const std::uint32_t id = device.Open("img2");  // mono16.icd
  ASSERT_NE(id, 0u);
  DefaultCompressionAfterwards restore(id);
  TestImage image;
  std::uint32_t frame = 0;
  for (const std::uint32_t type : {0u, 1u, 2u}) {
    SetCompression(device, id, type);
    const std::int32_t status = cfgSnapImage(id, kWithImage, image);
    EXPECT_EQ(status, 0);
    device.Note("snap", status);
    if (status == 0) CheckFrame(device, image, keldsim_test::kMono16, frame++, type);
  }
}

DEVICE_SCENARIO(CopiesInEveryCompression) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  DefaultCompressionAfterwards restore(id);
  ASSERT_EQ(LoadCamera(device, id, FastMono640().Text().c_str(), "fast mono640"), 0);
  const std::int32_t configured = cfgConfigureAcquisition(id, 1, 3);
  EXPECT_EQ(configured, 0);
  device.Note("configure", configured);
  const std::int32_t started = cfgStartAcquisition(id);
  EXPECT_EQ(started, 0);
  device.Note("start", started);
  TestImage image;
  std::uint32_t number = 0;
  for (const std::uint32_t type : {0u, 1u, 2u}) {
    SetCompression(device, id, type);
    for (int i = 0; i < 2; ++i, ++number) {
      std::uint32_t asked = number;
      const std::int32_t status = cfgCopyImage(id, &asked, image);
      EXPECT_EQ(status, 0);
      EXPECT_EQ(asked, number);
      device.Note("copy " + std::to_string(number), status);
      if (status == 0) CheckFrame(device, image, keldsim_test::kMono640, number, type);
    }
  }
  EXPECT_EQ(cfgUnconfigureAcquisition(id), 0);
}


// Both wire forms of an image: a configured acquisition copies in the
// stream form of the image library, flags set to 0 afterwards in the older
// record form; each in every compression type.
DEVICE_SCENARIO(CopiesInBothWireForms) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  DefaultCompressionAfterwards restore(id);
  ASSERT_EQ(LoadCamera(device, id, FastMono640().Text().c_str(), "fast mono640"), 0);
  const std::int32_t configured = cfgConfigureAcquisition(id, 1, 3);
  EXPECT_EQ(configured, 0);
  device.Note("configure", configured);
  const std::int32_t started = cfgStartAcquisition(id);
  EXPECT_EQ(started, 0);
  device.Note("start", started);
  TestImage image;
  std::uint32_t number = 0;
  for (const char* form : {"stream form", "record form"}) {
    if (std::string(form) == "record form") {
      const std::int32_t flags = cfgSetAcquisitionFlags(id, 0);
      EXPECT_EQ(flags, 0);
      device.Note("flags 0", flags);
    }
    for (const std::uint32_t type : {0u, 1u, 2u}) {
      SetCompression(device, id, type);
      std::uint32_t asked = number;
      const std::int32_t status = cfgCopyImage(id, &asked, image);
      EXPECT_EQ(status, 0);
      EXPECT_EQ(asked, number);
      device.Note(std::string(form) + ", copy " + std::to_string(number), status);
      if (status == 0) CheckFrame(device, image, keldsim_test::kMono640, number, type);
      ++number;
    }
  }
  EXPECT_EQ(cfgUnconfigureAcquisition(id), 0);
}

}  // namespace
}  // namespace keld::device
