// Images of the simulated network and USB cameras through the public
// functions: snaps with the frame counter in the camera's pixel format,
// grabs, buffered acquisitions copied by number and by the driver's modes,
// rings of two empty images as a test, the image format locked while the
// camera acquires, gains, and registers word by word.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "device_fixture.h"
#include "nv_support.h"

namespace keld::device {
namespace {

using namespace nv;

constexpr const char* kFastCameras = R"({ "cameras": [
  { "interface": "mono", "serial": "1", "width": 64, "height": 48, "frame_rate": 0 },
  { "interface": "deep", "serial": "2", "width": 64, "height": 48, "frame_rate": 0,
    "pixel_formats": ["Mono12", "Mono16", "Mono8"] },
  { "interface": "colour", "serial": "3", "width": 64, "height": 48, "frame_rate": 0, "colour": true,
    "vendor": "Basalt Imaging", "model": "BX-64C" } ] })";

// A snap in the camera's format, each with the next frame counter; the
// pixel format, the window and the mirror change what comes.
DEVICE_SCENARIO_WITH(SnapsCarryTheFrameCounter, Cameras(kFastCameras)) {
  const struct {
    const char* camera;
    std::uint32_t type;
  } cameras[] = {{"mono", ODV_U8}, {"deep", ODV_U16}, {"colour", ODV_RGB32}};
  for (const auto& camera : cameras) {
    const std::uint32_t session = device.OpenCamera(camera.camera);
    ASSERT_NE(session, 0u);
    ScopedImage image;
    for (std::uint32_t i = 0; i < 3; ++i) {
      const std::int32_t status = cfgSnapImage(session, 1, image.image);
      EXPECT_EQ(status, 0);
      EXPECT_EQ(image.Width(), 64u);
      EXPECT_EQ(image.Height(), 48u);
      EXPECT_EQ(image.Type(), camera.type);
      EXPECT_EQ(image.Counter(), i) << camera.camera;
      device.Note(std::string(camera.camera) + " snap " + image.Describe(), status);
    }
    std::uint32_t type = 99;
    EXPECT_EQ(GetU32(session, "TypeOfImageInUse", &type), 0);
    EXPECT_EQ(type, camera.type);
    EXPECT_EQ(cfgClose(session), 0);
  }
  // Another format, a smaller window further in, mirrored.
  const std::uint32_t session = device.OpenCamera("deep");
  ASSERT_NE(session, 0u);
  KELDnvEnumItem_struct format{};
  std::uint32_t count = 3;
  KELDnvEnumItem_struct choices[3] = {};
  ASSERT_EQ(cfgGetNVAttributeEnumValues(session, "PixelFormat", choices, &count, 1), 0);
  ASSERT_EQ(count, 3u);
  format = choices[2];
  EXPECT_STREQ(format.Name, "Mono8");
  EXPECT_EQ(cfgSetNVAttributeValue(session, "PixelFormat", kValue, kEnum, &format, 0), 0);
  EXPECT_EQ(SetU32(session, "Width", 32), 0);
  EXPECT_EQ(SetU32(session, "OffsetX", 16), 0);
  EXPECT_EQ(SetU32(session, "Height", 20), 0);
  EXPECT_EQ(SetU32(session, "OffsetY", 10), 0);
  const std::uint8_t on = 1;
  EXPECT_EQ(cfgSetNVAttributeValue(session, "ReverseX", kValue, kBool, &on, 0), 0);
  ScopedImage image;
  EXPECT_EQ(cfgSnapImage(session, 1, image.image), 0);
  EXPECT_EQ(image.Type(), static_cast<std::uint32_t>(ODV_U8));
  EXPECT_EQ(image.Width(), 32u);
  EXPECT_EQ(image.Height(), 20u);
  EXPECT_EQ(image.Counter(), 3u);
  std::uint32_t payload = 0;
  EXPECT_EQ(GetU32(session, "PayloadSize", &payload), 0);
  EXPECT_EQ(payload, 32u * 20u);
  device.Note("window " + image.Describe());
  // The window cannot leave the sensor, nor leave its increments.
  EXPECT_EQ(AsStatus(SetU32(session, "Width", 56)), 0xBFF6900Cu);
  EXPECT_EQ(AsStatus(SetU32(session, "Width", 36)), 0xBFF6900Du);
  std::uint32_t maximum = 0;
  EXPECT_EQ(GetU32(session, "Width", &maximum, 0, kMaximum), 0);
  EXPECT_EQ(maximum, 48u);
}

// Exposure and gain brighten the image; the counter stays where it is.
DEVICE_SCENARIO_WITH(GainAndExposureBrightenTheImage, Cameras(kFastCameras)) {
  const std::uint32_t session = device.OpenCamera("mono");
  ASSERT_NE(session, 0u);
  ScopedImage plain;
  ASSERT_EQ(cfgSnapImage(session, 1, plain.image), 0);
  const auto mean = [](const ScopedImage& image) {
    double sum = 0;
    for (std::uint32_t y = 1; y < image.Height(); ++y) {
      void* row = nullptr;
      EXPECT_EQ(GetImagePixel(image.image, 0, y, &row), 0u);
      for (std::uint32_t x = 0; x < image.Width(); ++x) sum += static_cast<const std::uint8_t*>(row)[x];
    }
    return sum / (image.Width() * (image.Height() - 1));
  };
  EXPECT_EQ(SetF64(session, "Gain", 6.0), 0);
  EXPECT_EQ(SetF64(session, "ExposureTime", 12000.0), 0);
  double gain = 0;
  double exposure = 0;
  EXPECT_EQ(GetF64(session, "Gain", &gain), 0);
  EXPECT_EQ(GetF64(session, "ExposureTime", &exposure), 0);
  EXPECT_EQ(gain, 6.0);
  EXPECT_EQ(exposure, 12000.0);
  ScopedImage bright;
  ASSERT_EQ(cfgSnapImage(session, 1, bright.image), 0);
  EXPECT_GT(mean(bright), mean(plain) * 1.3);
  EXPECT_EQ(bright.Counter(), 1u);
  device.Note("plain " + plain.Describe());
  device.Note("bright " + bright.Describe());
  const std::int32_t tooMuch = SetF64(session, "Gain", 24.5);
  EXPECT_EQ(AsStatus(tooMuch), 0xBFF6900Cu);
  device.Note("gain 24.5", tooMuch);
  char text[255] = {};
  EXPECT_EQ(cfgGetErrorText(static_cast<std::uint32_t>(tooMuch), text), 0);
  EXPECT_STREQ(text, "The value lies outside the attribute's range.");
  device.Note(text);
}

// A grab: each image the next one, with its buffer number; the image format
// cannot change while the camera acquires, and can again after the stop.
DEVICE_SCENARIO_WITH(GrabsAndTheLockedFormat, Cameras(kFastCameras)) {
  const std::uint32_t session = device.OpenCamera("mono");
  ASSERT_NE(session, 0u);
  ASSERT_EQ(cfgSetupGrab(session, 0), 0);
  ScopedImage image;
  for (std::uint32_t i = 0; i < 4; ++i) {
    std::uint32_t number = 99;
    const std::int32_t status = cfgGrabImage(session, &number, image.image);
    EXPECT_EQ(status, 0);
    if (!device.remote()) {
      EXPECT_EQ(number, i);
      EXPECT_EQ(image.Counter(), i);
    }
    device.Note("grab", status);
  }
  std::int32_t status = 0;
  const auto listed = Listing(session, 16384, 0, &status);
  EXPECT_EQ(status, 0);
  const KELDcfgAttrInfo* width = FindInfo(listed, "CameraAttributes::ImageFormat::Width");
  ASSERT_NE(width, nullptr);
  EXPECT_EQ(width->Writable, 0);
  const KELDcfgAttrInfo* gain = FindInfo(listed, "CameraAttributes::AnalogControl::Gain");
  ASSERT_NE(gain, nullptr);
  EXPECT_EQ(gain->Writable, 1);
  std::uint8_t acquiring = 0;
  EXPECT_EQ(cfgGetNVAttributeValue(session, "AcquisitionStatus", kValue, kBool, &acquiring, 1), 0);
  EXPECT_EQ(acquiring, 1);
  // The cached flag refuses at once; the driver refuses what reaches it.
  EXPECT_EQ(AsStatus(SetU32(session, "Width", 32)), 0xBFF6900Bu);
  device.Note("width while acquiring " + std::to_string(width->Writable));
  std::uint8_t state = 0;
  std::uint32_t detail = 0;
  EXPECT_EQ(cfgGetCameraStatus(device.Host(), 2, "mono", &state, &detail), 0);
  EXPECT_EQ(state, 1);
  EXPECT_EQ(detail, 3u);  // open, acquiring
  device.Note("status " + std::to_string(state) + " " + Hex(detail));

  EXPECT_EQ(cfgStopAcquisition(session), 0);
  EXPECT_EQ(cfgUnconfigureAcquisition(session), 0);
  const auto after = Listing(session, 16384, 0, &status);
  width = FindInfo(after, "CameraAttributes::ImageFormat::Width");
  ASSERT_NE(width, nullptr);
  EXPECT_EQ(width->Writable, 1);
  EXPECT_EQ(SetU32(session, "Width", 32), 0);
  EXPECT_EQ(cfgSnapImage(session, 1, image.image), 0);
  EXPECT_EQ(image.Width(), 32u);
  device.Note("after the stop " + image.Describe());
}

// Buffered acquisition into three buffers: a number selects a buffer and
// the number of the one copied comes back; the high numbers select the
// driver's modes.
DEVICE_SCENARIO_WITH(CopiesByNumberAndByMode, Cameras(kFastCameras)) {
  const std::uint32_t session = device.OpenCamera("mono");
  ASSERT_NE(session, 0u);
  ASSERT_EQ(cfgConfigureAcquisition(session, 1, 3), 0);
  ASSERT_EQ(cfgStartAcquisition(session), 0);
  ScopedImage image;
  keldnvsimClearCallLog();
  const struct {
    std::uint32_t asked;
    std::uint32_t copied;
    const char* call;
  } copies[] = {
      {7, 7, "KELDnvGetImage mode=2 number=7"},                    // waits for 0..7
      {2, 5, "KELDnvGetImage mode=2 number=2"},                    // gone: the oldest held after it
      {0xFFFFFFFE, 7, "KELDnvGetImage mode=1 number=4294967294"},  // the newest
      {0xFFFFFFFF, 5, "KELDnvGetImage mode=0 number=4294967295"},  // the oldest
      {0xFFFFFFFB, 8, "KELDnvGetImage mode=3 number=4294967291"},  // the next to come
      {0xFFFFFFFA, 9, "KELDnvGetImage mode=4 number=4294967290"},  // the one after the last copied
      {6, 7, "KELDnvGetImage mode=2 number=6"},                    // gone as well by now
      {9, 9, "KELDnvGetImage mode=2 number=9"},
  };
  for (const auto& copy : copies) {
    std::uint32_t number = copy.asked;
    const std::int32_t status = cfgCopyImage(session, &number, image.image);
    EXPECT_EQ(status, 0) << copy.asked;
    EXPECT_EQ(number, copy.copied) << copy.asked;
    EXPECT_EQ(image.Counter(), copy.copied) << copy.asked;
    device.Note(Hex(copy.asked) + " -> " + std::to_string(number) + " " + image.Describe(), status);
  }
  const std::string log = CallLog();
  for (const auto& copy : copies) EXPECT_NE(log.find(copy.call), std::string::npos) << copy.call;
  std::uint32_t last = 0;
  EXPECT_EQ(GetU32(session, "LastBufferNumber", &last), 0);
  EXPECT_EQ(last, 9u);
  EXPECT_EQ(cfgStopAcquisition(session), 0);
  // Held buffers can still be copied after the stop; new ones do not come.
  std::uint32_t number = 8;
  EXPECT_EQ(cfgCopyImage(session, &number, image.image), 0);
  number = 10;
  const std::int32_t stopped = cfgCopyImage(session, &number, image.image);
  EXPECT_EQ(AsStatus(stopped), 0xBFF69013u);
  device.Note("after the stop", stopped);
  EXPECT_EQ(cfgUnconfigureAcquisition(session), 0);
  const std::int32_t unconfigured = cfgCopyImage(session, &number, image.image);
  EXPECT_EQ(AsStatus(unconfigured), 0xBFF69011u);
  device.Note("unconfigured", unconfigured);
}

// One pass through two buffers ends the acquisition.
DEVICE_SCENARIO_WITH(OnePassEnds, Cameras(kFastCameras)) {
  const std::uint32_t session = device.OpenCamera("colour");
  ASSERT_NE(session, 0u);
  ASSERT_EQ(cfgConfigureAcquisition(session, 0, 2), 0);
  ASSERT_EQ(cfgStartAcquisition(session), 0);
  ScopedImage image;
  for (std::uint32_t i = 0; i < 2; ++i) {
    std::uint32_t number = i;
    EXPECT_EQ(cfgCopyImage(session, &number, image.image), 0);
    EXPECT_EQ(image.Type(), static_cast<std::uint32_t>(ODV_RGB32));
    EXPECT_EQ(image.Counter(), i);
    device.Note("copy " + image.Describe());
  }
  std::uint32_t number = 2;
  const std::int32_t ended = cfgCopyImage(session, &number, image.image);
  EXPECT_EQ(AsStatus(ended), 0xBFF69014u);
  device.Note("third", ended);
  std::uint8_t acquiring = 1;
  EXPECT_EQ(cfgGetNVAttributeValue(session, "AcquisitionStatus", kValue, kBool, &acquiring, 0), 0);
  EXPECT_EQ(acquiring, 0);
  char text[255] = {};
  EXPECT_EQ(cfgGetErrorText(static_cast<std::uint32_t>(ended), text), 0);
  EXPECT_STREQ(text, "The acquisition has ended: no more images will come.");
}

// A ring of two empty images tells whether the driver can acquire into
// images of a type, and is taken down again; over a remote session it is
// command 74.
DEVICE_SCENARIO_WITH(RingsOfTwoEmptyImages, Cameras(kFastCameras)) {
  const std::uint32_t session = device.OpenCamera("mono");
  ASSERT_NE(session, 0u);
  const struct {
    std::uint32_t type;
    std::uint32_t supported;
    std::uint32_t status;
  } cases[] = {{ODV_U8, 1, 0}, {ODV_U16, 1, 0}, {ODV_RGB32, 1, 0}, {ODV_SGL, 0, 0xBFF69016}, {ODV_I16, 0, 0xBFF69016}};
  for (const auto& test : cases) {
    keldnvsimClearCallLog();
    std::uint32_t supported = 7;
    const std::int32_t status = cfgSupportsRingAcquisition(session, test.type, &supported);
    EXPECT_EQ(AsStatus(status), test.status) << test.type;
    EXPECT_EQ(supported, test.supported) << test.type;
    EXPECT_NE(CallLog().find("KELDnvConfigureRingAcquisition flags=0 images=2"), std::string::npos);
    EXPECT_EQ(Calls("KELDnvUnconfigureAcquisition"), 1u);
    device.Note("type " + std::to_string(test.type) + " supported " + std::to_string(supported), status);
  }
  // An image type the image library does not know makes no ring at all.
  keldnvsimClearCallLog();
  std::uint32_t supported = 7;
  const std::int32_t unknown = cfgSupportsRingAcquisition(session, 99, &supported);
  EXPECT_NE(unknown, 0);
  EXPECT_EQ(supported, 0u);
  EXPECT_EQ(Calls("KELDnvConfigureRingAcquisition"), 0u);
  EXPECT_EQ(Calls("KELDnvUnconfigureAcquisition"), 1u);
  device.Note("type 99", unknown);
  EXPECT_EQ(AsStatus(cfgSupportsRingAcquisition(session, ODV_U8, nullptr)), 0xBFFF8007u);
  // The acquisition that was there is gone after the test, as the test
  // takes down whatever is set up.
  ScopedImage image;
  EXPECT_EQ(cfgSnapImage(session, 1, image.image), 0);
}

// Registers are read and written a word at a time at addresses 4 bytes
// apart; the first failure ends the run.
DEVICE_SCENARIO_WITH(RegistersWordByWord, Cameras(kFastCameras)) {
  const std::uint32_t session = device.OpenCamera("mono");
  ASSERT_NE(session, 0u);
  keldnvsimClearCallLog();
  std::uint32_t words[6] = {};
  EXPECT_EQ(cfgReadU32(session, 7, 0x0, 6, words), 0);
  EXPECT_EQ(words[0], 0x4B4E5631u);
  EXPECT_EQ(words[2], 0u);
  EXPECT_EQ(words[3], 1u);  // serial number, low word
  EXPECT_EQ(words[4], 64u);
  EXPECT_EQ(words[5], 48u);
  EXPECT_EQ(Calls("KELDnvReadRegister"), 6u);
  const std::string log = CallLog();
  for (const char* address : {"address=0x0\n", "address=0x4\n", "address=0x14\n"}) {
    EXPECT_NE(log.find(std::string("KELDnvReadRegister ") + address), std::string::npos) << address;
  }
  for (std::uint32_t word : words) device.Note("read " + Hex(word));

  const std::uint32_t values[3] = {0x11111111, 0x22222222, 0x33333333};
  EXPECT_EQ(cfgWriteU32(session, 0, 0x1000, 3, values), 0);
  std::uint32_t back[3] = {};
  EXPECT_EQ(cfgReadU32(session, 0, 0x1000, 3, back), 0);
  EXPECT_EQ(std::memcmp(values, back, sizeof values), 0);
  // Past the end of the space: the words before it are written, the rest not.
  keldnvsimClearCallLog();
  const std::int32_t beyond = cfgWriteU32(session, 0, 0xFFF8, 3, values);
  EXPECT_EQ(AsStatus(beyond), 0xBFF6901Au);
  EXPECT_EQ(Calls("KELDnvWriteRegister"), 3u);
  device.Note("write beyond", beyond);
  std::uint32_t edge[2] = {};
  EXPECT_EQ(cfgReadU32(session, 0, 0xFFF8, 2, edge), 0);
  EXPECT_EQ(edge[0], 0x11111111u);
  EXPECT_EQ(edge[1], 0x22222222u);
  // A failure at the first word stops at once.
  keldnvsimClearCallLog();
  const std::int32_t readOnly = cfgWriteU32(session, 0, 0x0, 3, values);
  EXPECT_EQ(AsStatus(readOnly), 0xBFF6901Bu);
  EXPECT_EQ(Calls("KELDnvWriteRegister"), 1u);
  device.Note("write read-only", readOnly);
  const std::int32_t unaligned = cfgReadU32(session, 0, 0x1002, 1, back);
  EXPECT_EQ(AsStatus(unaligned), 0xBFF6901Cu);
  device.Note("read unaligned", unaligned);
  // No words: no call.
  keldnvsimClearCallLog();
  EXPECT_EQ(cfgReadU32(session, 0, 0x1000, 0, back), 0);
  EXPECT_EQ(Calls("KELDnvReadRegister"), 0u);
}

// White-balance gains of a colour camera; a monochrome one has none.
DEVICE_SCENARIO_WITH(WhiteBalanceGains, Cameras(kFastCameras)) {
  const std::uint32_t colour = device.OpenCamera("colour");
  ASSERT_NE(colour, 0u);
  double red = 0;
  double green = 0;
  double blue = 0;
  EXPECT_EQ(cfgCalculateBayerGains(colour, 0, &red, &green, &blue), 0);
  EXPECT_EQ(green, 1.0);
  EXPECT_GT(red, 0.0);
  EXPECT_GT(blue, 0.0);
  char text[64];
  std::snprintf(text, sizeof text, "%.6f %.6f %.6f", red, green, blue);
  device.Note(text);
  const std::uint32_t mono = device.OpenCamera("mono");
  const std::int32_t none = cfgCalculateBayerGains(mono, 0, &red, &green, &blue);
  EXPECT_EQ(AsStatus(none), 0xBFF69022u);
  device.Note("mono", none);
}

}  // namespace
}  // namespace keld::device
