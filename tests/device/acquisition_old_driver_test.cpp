// A driver before 0x03100000 (the simulated libkeld_old.so, which this
// program links): it cannot tell its version, so the library takes it for
// 0x03000000. Camera files are asked for their texts by the older form of
// the call; a plain snap works, while Bayer decoding and copies by number,
// which cannot go on without the driver's version, answer 0xBFFF800B.
#include <gtest/gtest.h>

#include <string>

#include "camera_texts.h"
#include "device_fixture.h"
#include "image_support.h"
#include "pattern_oracle.h"

namespace keld::device {
namespace {

INSTANTIATE_TEST_SUITE_P(, DeviceSessions, ::testing::Values(Side::kLocal, Side::kRemote), SideParamName);

void Expect(Device& device, const std::string& what, std::int32_t status, std::uint32_t expected) {
  EXPECT_EQ(static_cast<std::uint32_t>(status), expected) << what;
  device.Note(what, status);
}

DEVICE_SCENARIO(AnOldDriverListsCameraFilesByTheOlderCall) {
  std::uint32_t version = 0;
  ASSERT_EQ(keldsimGetDriverVersion(&version), 0u);
  ASSERT_LT(version, 0x03100000u);
  // By serial number: the names an old driver's boards get need not be in
  // the order of the built-in boards.
  const std::uint32_t id = device.Open(nullptr, kSerialImg0);  // interface type 0x4
  ASSERT_NE(id, 0u);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  std::uint32_t count = 0;
  std::uint32_t current = 0;
  Expect(device, "refresh", cfgRefreshCameraFileDataList(id, &count, &current), 0);
  std::uint32_t asked = 0;
  EXPECT_EQ(keldsimGetCallCount("odkelduGetCameraHeaderInfo", &asked), 0u);
  EXPECT_EQ(asked, 4u);  // every camera file of the folder
  const char* names[] = {"bayer1280.icd", "mono16.icd", "rgb640.icd"};
  const char* modes[] = {"1280 x 1024, 8-bit Bayer RG/GB", "1024 x 768, 12-bit monochrome",
                         "640 x 480, 24-bit colour"};
  ASSERT_EQ(count, 3u);
  for (std::uint32_t i = 0; i < count; ++i) {
    CameraFileData data{};
    EXPECT_EQ(cfgGetCameraFileData(id, i, &data), 0);
    EXPECT_STREQ(data.FileName, names[i]);
    EXPECT_STREQ(data.ModeName, modes[i]);
    EXPECT_NE(data.Detail[0], 0);
    device.Note(std::string(data.FileName) + " | " + data.ModeName + " | " + data.Detail);
  }
}

DEVICE_SCENARIO(AnOldDriverSnapsButNeitherDecodesNorCopies) {
  const std::uint32_t id = device.Open(nullptr, kSerialImg0);  // bayer1280.icd
  ASSERT_NE(id, 0u);
  TestImage image;
  Expect(device, "snap raw", cfgSnapImage(id, kWithImage, image), 0);
  EXPECT_EQ(CounterOf(image), 0u);
  EXPECT_TRUE(PixelsOf(image) == keldsim_test::Expected(keldsim_test::kBayer1280, 0, 0, 0, 1280, 1024));
  device.Note(Describe(image));
  Expect(device, "snap decoded", cfgSnapImage(id, kWithImage | kDecodeBayer, image), 0xBFFF800B);
  double red = 0, green = 0, blue = 0;
  Expect(device, "white balance", cfgCalculateBayerGains(id, 128, &red, &green, &blue), 0xBFFF800B);
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 2), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  std::uint32_t number = 0;
  Expect(device, "copy", cfgCopyImage(id, &number, image), 0xBFFF800B);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);
}

}  // namespace
}  // namespace keld::device
