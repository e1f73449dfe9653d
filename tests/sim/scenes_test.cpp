// What else a simulated camera can look at: a flat colour and a colour
// chart (still scenes with exact colours, for white balance and colour
// checks), and a camera as fast as its user (frame rate 0).
#include "pattern_oracle.h"
#include "sim_fixture.h"

namespace keldsim_test {
namespace {

class ScenesTest : public SimTest {
 protected:
  // A camera file of its own for a Camera Link port.
  uint32_t Camera(const std::string& name, const std::string& lines) {
    WriteText(folder_ / name, "[Camera]\nModel = Test\nInterfaceTypes = 0x4\n" + lines);
    return OpenWithCamera(kBoard7109, name);
  }

  static std::vector<uint8_t> Snap(uint32_t sid, uint32_t width, uint32_t height, uint32_t pixelBytes) {
    std::vector<uint8_t> image(std::size_t{width} * height * pixelBytes);
    void* pixels = image.data();
    EXPECT_EQ(kldSnapArea(sid, &pixels, 0, 0, height, width, width), kOk);
    return image;
  }
};

TEST_F(ScenesTest, FlatTintedSceneThroughABayerFilter) {
  const uint32_t sid = Camera("tinted.icd",
                              "Width = 64\nHeight = 48\nImageType = 0\nBitDepth = 8\nBayerPattern = 2\n"
                              "Scene = flat\nSceneColour = 100 150 200\n");
  const auto raw = Snap(sid, 64, 48, 1);
  const uint8_t levels[3] = {200, 150, 100};  // by filter colour: blue, green, red
  for (uint32_t y = 0; y < 48; ++y) {
    for (uint32_t x = (y == 0 ? 4 : 0); x < 64; ++x) {
      ASSERT_EQ(raw[y * 64 + x], levels[Filter(2, x, y)]) << x << ", " << y;
    }
  }
  // Decoded on the board, with the gains.
  const uint32_t decode = 1;
  ASSERT_EQ(Configure(sid, 0x3FF601D0, decode), kOk);
  const double red = 1.5, blue = 0.5;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CC, &red), kOk);
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CE, &blue), kOk);
  const auto colour = Snap(sid, 64, 48, 4);
  for (uint32_t i = 1; i < 64 * 48; ++i) {
    ASSERT_EQ(colour[4 * i + 0], 100) << i;  // blue 200 x 0.5
    ASSERT_EQ(colour[4 * i + 1], 150) << i;
    ASSERT_EQ(colour[4 * i + 2], 150) << i;  // red 100 x 1.5
  }
}

TEST_F(ScenesTest, ChartPatchesOnColourAndMonochromeCameras) {
  const uint32_t sid = Camera("chart.icd", "Width = 80\nHeight = 40\nImageType = 4\nBitDepth = 8\nScene = chart\n");
  const auto colour = Snap(sid, 80, 40, 4);
  const uint8_t expected[8][3] = {{235, 235, 235}, {128, 128, 128}, {16, 16, 16},   {200, 40, 40},
                                  {40, 200, 40},   {40, 40, 200},   {200, 200, 40}, {40, 200, 200}};
  for (uint32_t patch = 0; patch < 8; ++patch) {
    const uint32_t x = (patch % 4) * 20 + 10, y = (patch / 4) * 20 + 10;
    const uint8_t* pixel = colour.data() + (y * 80 + x) * 4;
    EXPECT_EQ(pixel[2], expected[patch][0]) << patch;
    EXPECT_EQ(pixel[1], expected[patch][1]) << patch;
    EXPECT_EQ(pixel[0], expected[patch][2]) << patch;
  }
  WriteText(folder_ / "chart16.icd",
            "[Camera]\nModel = Test\nInterfaceTypes = 0x4\nWidth = 80\nHeight = 40\nImageType = 7\nBitDepth = 10\n"
            "Scene = chart\n");
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  ASSERT_EQ(odkelduLoadCameraConfig(sid, "chart16.icd"), kOk);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 256), kOk);
  const auto grey = Snap(sid, 80, 40, 2);
  for (uint32_t patch = 0; patch < 8; ++patch) {
    const uint32_t x = (patch % 4) * 20 + 10, y = (patch / 4) * 20 + 10;
    uint16_t value = 0;
    std::memcpy(&value, grey.data() + (y * 80 + x) * 2, 2);
    const uint32_t luma = (299 * expected[patch][0] + 587 * expected[patch][1] + 114 * expected[patch][2]) / 1000;
    EXPECT_EQ(value, luma * 1023 / 255) << patch;
  }
}

TEST_F(ScenesTest, UnknownSceneIsAnError) {
  WriteText(folder_ / "odd.icd",
            "[Camera]\nModel = Test\nInterfaceTypes = 0x4\nWidth = 8\nHeight = 8\nImageType = 0\nScene = stars\n");
  WriteText(folder_ / "odd2.icd",
            "[Camera]\nModel = Test\nInterfaceTypes = 0x4\nWidth = 8\nHeight = 8\n"
            "ImageType = 0\nScene = flat\nSceneColour = 1 2\n");
  const uint32_t sid = Open(ClaimInterface(kBoard7109));
  uint32_t suits = 0;
  EXPECT_EQ(odkelduIsInterfaceSupported(sid, "odd.icd", &suits), kFileFormat);
  EXPECT_EQ(odkelduIsInterfaceSupported(sid, "odd2.icd", &suits), kFileFormat);
}

TEST_F(ScenesTest, CameraAsFastAsItsUser) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  const double half = 0.5, none = 0.0;
  EXPECT_EQ(Configure(sid, 0x3FF600D9, half), kOutOfRange);
  ASSERT_EQ(Configure(sid, 0x3FF600D9, none), kOk);
  ASSERT_EQ(kldGrabSetup(sid, 1), kOk);
  EXPECT_DOUBLE_EQ(F64(sid, 0x3FF60122), 0.0);
  std::vector<uint8_t> image(640 * 480);
  void* pixels = image.data();
  // Every frame, none passed over, however slow the caller.
  for (uint32_t frame = 0; frame < 20; ++frame) {
    ASSERT_EQ(kldGrabArea(sid, &pixels, 1, 0, 0, 480, 640, 640), kOk);
    ASSERT_EQ(Counter(image.data(), 0, 8), frame);
  }
  EXPECT_TRUE(SameImage(Expected(kMono640, 19, 0, 0, 640, 480), image.data(), 640, 480, 1, 640));
  ASSERT_EQ(kldSessionStopAcquisition(sid), kOk);

  std::vector<void*> ring(3, nullptr);
  ASSERT_EQ(kldRingSetup(sid, 3, ring.data(), 1, 0), kOk);
  EXPECT_EQ(U32(sid, 0x3FF60074), 1u);
  uint32_t number = 0;
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF60120, &number), kNoImageYet);  // nothing until asked for
  uint32_t found = 0, bufferStatus = 0;
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 100, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus), kOk);
  EXPECT_EQ(found, 100u);
  EXPECT_EQ(Counter(image.data(), 0, 8), 20u + 100u);
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 1, &found, &bufferStatus), kOk);
  EXPECT_EQ(found, 100u);  // the newest
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 2, &found, &bufferStatus), kOk);
  EXPECT_EQ(found, 101u);  // the next
  EXPECT_EQ(kldSessionStopAcquisition(sid), kOk);
}

}  // namespace
}  // namespace keldsim_test
