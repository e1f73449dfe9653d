// Colour from raw Bayer cameras: a colour chart decodes to its colours for
// every sensor pattern and every parity of the acquisition window; white
// balance by cfgCalculateBayerGains brings a tinted grey to grey, caps its
// gains at 3.999 and refuses colourless cameras; cfgAutoExposure sets the
// camera's exposure.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "camera_texts.h"
#include "device_fixture.h"
#include "image_support.h"

namespace keld::device {
namespace {

void Expect(Device& device, const std::string& what, std::int32_t status, std::uint32_t expected) {
  EXPECT_EQ(static_cast<std::uint32_t>(status), expected) << what;
  device.Note(what, status);
}

std::uint32_t Count(const char* function) {
  std::uint32_t count = 0;
  EXPECT_EQ(keldsimGetCallCount(function, &count), 0u);
  return count;
}

// The chart's patches, red, green, blue: white, grey, black, red above;
// green, blue, yellow, cyan below.
constexpr std::uint8_t kChart[8][3] = {{235, 235, 235}, {128, 128, 128}, {16, 16, 16},   {200, 40, 40},
                                       {40, 200, 40},   {40, 40, 200},   {200, 200, 40}, {40, 200, 200}};

// Checks the middle of each patch of a decoded chart seen through a window
// at (left, top) of a 256 x 128 sensor; the number of wrong pixels.
int WrongChartPixels(const Image* image, std::uint32_t left, std::uint32_t top) {
  int wrong = 0;
  for (std::uint32_t patch = 0; patch < 8; ++patch) {
    const std::uint32_t centreX = (patch % 4) * 64 + 32;
    const std::uint32_t centreY = (patch / 4) * 64 + 32;
    for (std::uint32_t y = centreY - 8; y < centreY + 8; ++y) {
      for (std::uint32_t x = centreX - 8; x < centreX + 8; ++x) {
        const std::uint8_t* pixel = PixelOf(image, x - left, y - top);
        if (pixel == nullptr || pixel[2] != kChart[patch][0] || pixel[1] != kChart[patch][1] ||
            pixel[0] != kChart[patch][2]) {
          ++wrong;
        }
      }
    }
  }
  return wrong;
}

// Every pattern of the sensor under every parity of the window: the library
// finds the mosaic's pattern from the sensor's and the window's offsets.
DEVICE_SCENARIO(AColourChartDecodesToItsColours) {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  const char* const patterns[] = {"0", "1", "2", "3"};
  for (const char* pattern : patterns) {
    if (LoadCamera(device, id, ChartBayer(pattern).Text().c_str(), (std::string("chart, pattern ") + pattern).c_str()) !=
        0) {
      continue;
    }
    for (std::uint32_t left = 0; left < 2; ++left) {
      for (std::uint32_t top = 0; top < 2; ++top) {
        // Left, width, top, height; the library works out the two ends.
        const std::uint32_t window[6] = {left, 256 - 2, top, 128 - 2, 0, 0};
        const std::string where = "pattern " + std::string(pattern) + ", window at " + std::to_string(left) + ", " +
                                  std::to_string(top);
        Expect(device, where, cfgSetAttributeRect(id, kWindowKey, window, 0), 0);
        TestImage image;
        const std::int32_t status = cfgSnapImage(id, kWithImage | kDecodeBayer, image);
        EXPECT_EQ(status, 0) << where;
        EXPECT_EQ(TypeOf(image), static_cast<std::uint32_t>(ODV_RGB32)) << where;
        EXPECT_EQ(WidthOf(image), 254u) << where;
        const int wrong = WrongChartPixels(image, left, top);
        EXPECT_EQ(wrong, 0) << where;
        device.Note("snap, " + std::to_string(wrong) + " wrong pixels", status);
      }
    }
  }
}

// The board decodes the mosaic itself (0x3FF601D0 set): the library leaves
// the colour image as the board gives it, whatever the flags ask.
DEVICE_SCENARIO(TheBoardsOwnDecodingIsNotRepeated) {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  CameraText camera = ChartBayer();
  camera.extra = "[Settings]\n0x3FF601D0 = 1\n";
  ASSERT_EQ(LoadCamera(device, id, camera.Text().c_str(), "chart decoded on the board"), 0);
  TestImage image;
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Expect(device, "snap asking for decoding", cfgSnapImage(id, kWithImage | kDecodeBayer, image), 0);
  EXPECT_EQ(TypeOf(image), static_cast<std::uint32_t>(ODV_RGB32));
  // The board's colour image carries the counter in pixel 0; all else is the chart.
  EXPECT_EQ(CounterOf(image), 0u);
  const int wrong = WrongChartPixels(image, 0, 0);
  EXPECT_EQ(wrong, 0);
  device.Note(std::to_string(wrong) + " wrong pixels");
}

// A camera without a colour filter is never decoded, whatever the flags say.
DEVICE_SCENARIO(AColourlessCameraIsNotDecoded) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  ASSERT_EQ(LoadCamera(device, id, FastMono640().Text().c_str(), "fast mono640"), 0);
  TestImage image;
  Expect(device, "snap asking for decoding", cfgSnapImage(id, kWithImage | kDecodeBayer, image), 0);
  EXPECT_EQ(TypeOf(image), static_cast<std::uint32_t>(ODV_U8));
  EXPECT_EQ(CounterOf(image), 0u);
  device.Note(Describe(image));
}

struct Means {
  double red = 0, green = 0, blue = 0;
};

// Means of the three channels of a colour image.
Means ChannelMeans(const Image* image) {
  Means means;
  const std::uint32_t width = WidthOf(image);
  const std::uint32_t height = HeightOf(image);
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const std::uint8_t* pixel = PixelOf(image, x, y);
      means.blue += pixel[0];
      means.green += pixel[1];
      means.red += pixel[2];
    }
  }
  const double count = double(width) * height;
  if (count > 0) means = {means.red / count, means.green / count, means.blue / count};
  return means;
}

std::string Gains(double red, double green, double blue) {
  char text[96];
  std::snprintf(text, sizeof text, "gains %.4f %.4f %.4f", red, green, blue);
  return text;
}

// The driver's gains now.
void DriverGains(std::uint32_t id, double* red, double* green, double* blue) {
  EXPECT_EQ(cfgGetAttributeDouble(id, kRedGainKey, red, 0), 0);
  EXPECT_EQ(cfgGetAttributeDouble(id, kGreenGainKey, green, 0), 0);
  EXPECT_EQ(cfgGetAttributeDouble(id, kBlueGainKey, blue, 0), 0);
}

// A grey card under a warm light: after the white balance the decoded
// frame is grey again, each channel within 1% of the target.
DEVICE_SCENARIO(WhiteBalanceMakesATintedGreyGrey) {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  ASSERT_EQ(LoadCamera(device, id, FlatBayer("200 160 100").Text().c_str(), "tinted grey"), 0);
  TestImage before;
  Expect(device, "snap before", cfgSnapImage(id, kWithImage | kDecodeBayer, before), 0);
  const Means tinted = ChannelMeans(before);
  EXPECT_GT(tinted.red, 1.9 * tinted.blue);
  double red = 0, green = 0, blue = 0;
  Expect(device, "white balance to 128", cfgCalculateBayerGains(id, 128, &red, &green, &blue), 0);
  // The new gains are the answer and the driver's.
  EXPECT_NEAR(red, 128.0 / 200, 0.01);
  EXPECT_NEAR(green, 128.0 / 160, 0.01);
  EXPECT_NEAR(blue, 128.0 / 100, 0.01);
  double driverRed = 0, driverGreen = 0, driverBlue = 0;
  DriverGains(id, &driverRed, &driverGreen, &driverBlue);
  EXPECT_EQ(driverRed, red);
  EXPECT_EQ(driverGreen, green);
  EXPECT_EQ(driverBlue, blue);
  device.Note(Gains(red, green, blue));
  TestImage after;
  Expect(device, "snap after", cfgSnapImage(id, kWithImage | kDecodeBayer, after), 0);
  const Means grey = ChannelMeans(after);
  EXPECT_NEAR(grey.red, 128.0, 1.28);
  EXPECT_NEAR(grey.green, 128.0, 1.28);
  EXPECT_NEAR(grey.blue, 128.0, 1.28);
  char text[96];
  std::snprintf(text, sizeof text, "means %.1f %.1f %.1f", grey.red, grey.green, grey.blue);
  device.Note(text);
}

// A channel too dark for the target gets exactly 3.999; a black channel,
// whose mean is 0, too. A target of 0 makes every lit channel's gain 0 and
// a black one's, 0 over 0, 3.999.
DEVICE_SCENARIO(WhiteBalanceCapsItsGainsAt3999) {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  ASSERT_EQ(LoadCamera(device, id, FlatBayer("200 20 0").Text().c_str(), "dark green, no blue"), 0);
  double red = 0, green = 0, blue = 0;
  Expect(device, "white balance to 128", cfgCalculateBayerGains(id, 128, &red, &green, &blue), 0);
  EXPECT_NEAR(red, 0.64, 0.01);
  EXPECT_EQ(green, 3.999);
  EXPECT_EQ(blue, 3.999);
  device.Note(Gains(red, green, blue));
  Expect(device, "white balance to 0", cfgCalculateBayerGains(id, 0, &red, &green, &blue), 0);
  EXPECT_EQ(red, 0.0);
  EXPECT_EQ(green, 0.0);
  EXPECT_EQ(blue, 3.999);
  double driverRed = 0, driverGreen = 0, driverBlue = 0;
  DriverGains(id, &driverRed, &driverGreen, &driverBlue);
  EXPECT_EQ(driverBlue, 3.999);
  device.Note(Gains(red, green, blue));
}

// Where white balance cannot be had: a camera without a colour filter
// (after reading nothing but the two keys), a running acquisition, missing
// outputs, and a snap that fails, after which the driver's gains are 1.0
// and the outputs hold the gains from before for the caller to restore.
DEVICE_SCENARIO(WhiteBalanceRefusals) {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  double red = -1, green = -1, blue = -1;
  Expect(device, "without outputs", cfgCalculateBayerGains(id, 128, &red, nullptr, &blue), 0xBFFF8007);
  ASSERT_EQ(LoadCamera(device, id, FastMono640().Text().c_str(), "fast mono640"), 0);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Expect(device, "colourless camera", cfgCalculateBayerGains(id, 128, &red, &green, &blue), 0xBFFF8017);
  EXPECT_EQ(Count("kldGetAttribute"), 2u);
  EXPECT_EQ(Count("kldSetAttributeFromVoidPtr"), 0u);
  EXPECT_EQ(Count("kldSnapArea"), 0u);
  EXPECT_EQ(red, -1.0);

  ASSERT_EQ(LoadCamera(device, id, FlatBayer("200 160 100").Text().c_str(), "tinted grey"), 0);
  Expect(device, "configure", cfgConfigureAcquisition(id, 1, 2), 0);
  Expect(device, "start", cfgStartAcquisition(id), 0);
  Expect(device, "while acquiring", cfgCalculateBayerGains(id, 128, &red, &green, &blue), 0xBFF60021);
  Expect(device, "stop", cfgStopAcquisition(id), 0);
  Expect(device, "unconfigure", cfgUnconfigureAcquisition(id), 0);

  Expect(device, "red gain 1.5", cfgSetAttributeDouble(id, kRedGainKey, 1.5, 0), 0);
  Expect(device, "green gain 1.25", cfgSetAttributeDouble(id, kGreenGainKey, 1.25, 0), 0);
  Expect(device, "blue gain 2", cfgSetAttributeDouble(id, kBlueGainKey, 2.0, 0), 0);
  EXPECT_EQ(keldsimInjectStatus("kldSnapArea", 0xBFF60011, 1), 0u);
  Expect(device, "snap failing", cfgCalculateBayerGains(id, 128, &red, &green, &blue), 0xBFF60011);
  if (device.remote()) {
    // A remote reply with a failure carries no outputs.
    EXPECT_EQ(red, -1.0);
  } else {
    EXPECT_EQ(red, 1.5);
    EXPECT_EQ(green, 1.25);
    EXPECT_EQ(blue, 2.0);
  }
  double driverRed = 0, driverGreen = 0, driverBlue = 0;
  DriverGains(id, &driverRed, &driverGreen, &driverBlue);
  EXPECT_EQ(driverRed, 1.0);
  EXPECT_EQ(driverGreen, 1.0);
  EXPECT_EQ(driverBlue, 1.0);
  device.Note("driver's " + Gains(driverRed, driverGreen, driverBlue));
}

// The camera's "Exposure Time" row of its attribute tree.
CameraAttribute ExposureRow(std::uint32_t id) {
  CameraAttribute found{};
  std::uint32_t count = 0;
  EXPECT_EQ(cfgRefreshCameraAttributeList(id, &count), 0);
  for (std::uint32_t i = 0; i < count; ++i) {
    CameraAttribute row{};
    EXPECT_EQ(cfgGetCameraAttribute(id, i, &row), 0);
    if (std::string(row.Name) == "Exposure Time") found = row;
  }
  EXPECT_STREQ(found.Name, "Exposure Time");
  return found;
}

// Automatic exposure from twice the exposure the scene is drawn at: the
// first result is the exposure the camera now has, which brings the frames
// back to the middle of the scale; the second the level a frame will show,
// in percent.
DEVICE_SCENARIO(AutoExposureSetsTheCamerasExposure) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  const std::int32_t loaded = cfgReadAttributes(id, "mono640.icd");
  EXPECT_EQ(loaded, 0);
  device.Note("camera mono640.icd", loaded);
  const CameraAttribute exposure = ExposureRow(id);
  EXPECT_EQ(exposure.Value, 1000.0);
  Expect(device, "exposure 2000", cfgSetCameraAttribute(id, exposure.Id, "", 2000.0, 0), 0);
  EXPECT_EQ(ExposureRow(id).Value, 2000.0);
  double first = -1, second = -1;
  Expect(device, "auto exposure", cfgAutoExposure(id, &first, &second), 0);
  EXPECT_EQ(first, ExposureRow(id).Value);
  EXPECT_GT(first, 800.0);
  EXPECT_LT(first, 1250.0);
  EXPECT_GT(second, 40.0);
  EXPECT_LT(second, 60.0);
  char text[96];
  std::snprintf(text, sizeof text, "exposure %.1f, level %.3f", first, second);
  device.Note(text);
  Expect(device, "without the second output", cfgAutoExposure(id, &first, nullptr), 0xBFFF8007);
  Expect(device, "without the first output", cfgAutoExposure(id, nullptr, &second), 0xBFFF8007);
  // A camera without an exposure time.
  ASSERT_EQ(LoadCamera(device, id, FastMono640().Text().c_str(), "fast mono640 without attributes"), 0);
  Expect(device, "auto exposure", cfgAutoExposure(id, &first, &second), 0xBFF6001F);
}


// A 10-bit raw Bayer camera in 16-bit pixels: the decoding takes the
// camera's bit depth and gives 8-bit colour, the chart within one level.
DEVICE_SCENARIO(ATenBitChartDecodesToItsColours) {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  CameraText camera = ChartBayer("2");
  camera.imageType = 7;
  camera.bitDepth = 10;
  ASSERT_EQ(LoadCamera(device, id, camera.Text().c_str(), "10-bit chart"), 0);
  TestImage raw;
  Expect(device, "snap raw", cfgSnapImage(id, kWithImage, raw), 0);
  EXPECT_EQ(TypeOf(raw), static_cast<std::uint32_t>(ODV_U16));
  EXPECT_EQ(DepthOf(raw), 10u);
  TestImage image;
  Expect(device, "snap decoded", cfgSnapImage(id, kWithImage | kDecodeBayer, image), 0);
  EXPECT_EQ(TypeOf(image), static_cast<std::uint32_t>(ODV_RGB32));
  int worst = 0;
  for (std::uint32_t patch = 0; patch < 8; ++patch) {
    const std::uint32_t x = (patch % 4) * 64 + 32;
    const std::uint32_t y = (patch / 4) * 64 + 32;
    const std::uint8_t* pixel = PixelOf(image, x, y);
    ASSERT_NE(pixel, nullptr);
    for (int c = 0; c < 3; ++c) worst = std::max(worst, std::abs(int{pixel[2 - c]} - int{kChart[patch][c]}));
  }
  EXPECT_LE(worst, 1);
  device.Note("largest difference from the chart " + std::to_string(worst) + ", " + Describe(image));
}

}  // namespace
}  // namespace keld::device
