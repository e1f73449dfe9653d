// What the simulated network and USB cameras keep and tell beside their
// images, through the public functions: attribute files and texts, user
// sets as camera files, camera-link camera files, the camera's status and
// name, monitor access, commands, attributes that cannot be read, and the
// driver's error texts in the chain.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>

#include "device_fixture.h"
#include "nv_support.h"

namespace keld::device {
namespace {

using namespace nv;

constexpr const char* kFastCamera = R"({ "cameras": [
  { "interface": "cam0", "serial": "0x00A1000000000042", "width": 64, "height": 48, "frame_rate": 0 },
  { "interface": "held", "serial": "2", "reserved": true },
  { "interface": "link", "serial": "3", "vendor": "OD", "model": "OD CL-4M", "interface_type": "cameralink",
    "board": "img0", "pixel_formats": ["Mono12", "Mono8"] } ] })";

// An attribute file holds the settings; reading it back restores them. The
// text form carries the same.
DEVICE_SCENARIO_WITH(AttributeFilesAndTexts, Cameras(kFastCamera)) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  ASSERT_EQ(SetF64(session, "Gain", 3.5), 0);
  ASSERT_EQ(SetU32(session, "Width", 48), 0);
  ASSERT_EQ(SetU32(session, "OffsetX", 16), 0);
  const std::string path = (device.folder() / "settings.txt").string();
  const std::int32_t written = cfgWriteAttributes(session, path.c_str());
  EXPECT_EQ(written, 0);
  device.Note("write", written);
  std::ifstream file(path);
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  EXPECT_NE(text.find("CameraAttributes::AnalogControl::Gain = 3.5\n"), std::string::npos) << text;
  EXPECT_NE(text.find("CameraAttributes::ImageFormat::OffsetX = 16\n"), std::string::npos);
  EXPECT_EQ(text.find("SensorWidth"), std::string::npos);  // not a setting

  ASSERT_EQ(SetF64(session, "Gain", 0.0), 0);
  ASSERT_EQ(SetU32(session, "OffsetX", 0), 0);
  ASSERT_EQ(SetU32(session, "Width", 64), 0);
  const std::int32_t read = cfgReadAttributes(session, path.c_str());
  EXPECT_EQ(read, 0);
  device.Note("read", read);
  double gain = 0;
  std::uint32_t width = 0;
  std::uint32_t offset = 0;
  // Read from the session's cache: the read refreshed it.
  EXPECT_EQ(GetF64(session, "Gain", &gain, 1), 0);
  EXPECT_EQ(GetU32(session, "Width", &width, 1), 0);
  EXPECT_EQ(GetU32(session, "OffsetX", &offset, 1), 0);
  EXPECT_EQ(gain, 3.5);
  EXPECT_EQ(width, 48u);
  EXPECT_EQ(offset, 16u);
  device.Note("gain " + std::to_string(gain) + " width " + std::to_string(width) + " offset " + std::to_string(offset));

  char* stored = nullptr;
  const std::int32_t toText = cfgWriteAttributesToString(session, &stored);
  EXPECT_EQ(toText, 0);
  ASSERT_NE(stored, nullptr);
  const std::string copy = stored;
  EXPECT_EQ(copy, text);
  EXPECT_EQ(cfgDispose(stored), 0);
  ASSERT_EQ(SetF64(session, "Gain", 1.0), 0);
  EXPECT_EQ(cfgReadAttributesFromString(session, copy.c_str()), 0);
  EXPECT_EQ(GetF64(session, "Gain", &gain, 1), 0);
  EXPECT_EQ(gain, 3.5);

  const struct {
    const char* text;
    std::uint32_t status;
  } bad[] = {{"CameraAttributes::AnalogControl::Gain: 2\n", 0xBFF69019},
             {"CameraAttributes::AnalogControl::Nothing = 2\n", 0xBFF69007},
             {"CameraAttributes::AnalogControl::Gain = loud\n", 0xBFF69019},
             {"CameraAttributes::AnalogControl::Gain = 99\n", 0xBFF6900C},
             {"CameraAttributes::Transport::LinkSpeedLimit = Limit5\n", 0xBFF6900E}};
  for (const auto& test : bad) {
    const std::int32_t status = cfgReadAttributesFromString(session, test.text);
    EXPECT_EQ(AsStatus(status), test.status) << test.text;
    device.Note("text", status);
  }
  const std::int32_t missing = cfgReadAttributes(session, (device.folder() / "none.txt").c_str());
  EXPECT_EQ(AsStatus(missing), 0xBFF69018u);
  device.Note("missing file", missing);
}

// The camera's user sets are its camera files: Default always, the others
// once saved; the current one is the set the camera starts with.
DEVICE_SCENARIO_WITH(UserSetsAreTheCameraFiles, Cameras(kFastCamera)) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  std::uint32_t count = 0;
  std::uint32_t current = 9;
  EXPECT_EQ(cfgRefreshCameraFileDataList(session, &count, &current), 0);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(current, 0u);
  CameraFileData file{};
  EXPECT_EQ(cfgGetCameraFileData(session, 0, &file), 0);
  EXPECT_STREQ(file.FileName, "Default");
  device.Note(std::string("files ") + std::to_string(count) + " " + file.FileName);

  // Save the present settings as user set 2 and start with it.
  ASSERT_EQ(SetF64(session, "Gain", 12.0), 0);
  const std::uint32_t two = 2;
  ASSERT_EQ(cfgSetNVAttributeValue(session, "UserSetSelector", kValue, kU32, &two, 0), 0);
  EXPECT_EQ(Execute(session, "UserSetSave"), 0);
  ASSERT_EQ(cfgSetNVAttributeValue(session, "UserSetDefault", kValue, kU32, &two, 0), 0);
  EXPECT_EQ(cfgRefreshCameraFileDataList(session, &count, &current), 0);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(current, 1u);
  EXPECT_EQ(cfgGetCameraFileData(session, 1, &file), 0);
  EXPECT_STREQ(file.FileName, "UserSet2");
  EXPECT_EQ(file.ValueLow, 2u);
  EXPECT_EQ(file.ValueHigh, 0u);
  EXPECT_EQ(file.Flag, 0u);
  EXPECT_STREQ(file.ModeName, "");
  device.Note(std::string("files ") + std::to_string(count) + " current " + std::to_string(current) + " " +
              file.FileName + " " + Hex(file.ValueLow));
  EXPECT_EQ(AsStatus(cfgGetCameraFileData(session, 2, &file)), 0xBFFF800Cu);

  // Default holds the factory's settings and cannot be saved over.
  const std::uint32_t zero = 0;
  ASSERT_EQ(cfgSetNVAttributeValue(session, "UserSetSelector", kValue, kU32, &zero, 0), 0);
  const std::int32_t refused = Execute(session, "UserSetSave");
  EXPECT_EQ(AsStatus(refused), 0xBFF6900Au);
  device.Note("save Default", refused);
  EXPECT_EQ(Execute(session, "UserSetLoad"), 0);
  double gain = 1;
  EXPECT_EQ(GetF64(session, "Gain", &gain), 0);
  EXPECT_EQ(gain, 0.0);
  ASSERT_EQ(cfgSetNVAttributeValue(session, "UserSetSelector", kValue, kU32, &two, 0), 0);
  EXPECT_EQ(Execute(session, "UserSetLoad"), 0);
  EXPECT_EQ(GetF64(session, "Gain", &gain), 0);
  EXPECT_EQ(gain, 12.0);
  device.Note("gain after loading user set 2 " + std::to_string(gain));
  // A command reads as done (0), as a flag or as a command.
  std::uint8_t done = 9;
  EXPECT_EQ(cfgGetNVAttributeValue(session, "UserSetLoad", kValue, kBool, &done, 0), 0);
  EXPECT_EQ(done, 0);
  EXPECT_EQ(cfgGetNVAttributeValue(session, "UserSetLoad", kValue, kCommand, &done, 1), 0);
  // The null pointers the refresh needs.
  EXPECT_EQ(AsStatus(cfgRefreshCameraFileDataList(session, nullptr, &current)), 0xBFFF8007u);
  EXPECT_EQ(AsStatus(cfgRefreshCameraFileDataList(session, &count, nullptr)), 0xBFFF8007u);
}

// A command of the counter: the next image carries 0 again.
DEVICE_SCENARIO_WITH(CommandsRunWhenSetTrue, Cameras(kFastCamera)) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  ScopedImage image;
  for (int i = 0; i < 3; ++i) ASSERT_EQ(cfgSnapImage(session, 1, image.image), 0);
  EXPECT_EQ(image.Counter(), 2u);
  std::int64_t frames = 0;
  EXPECT_EQ(cfgGetNVAttributeValue(session, "FrameCounter", kValue, kI64, &frames, 0), 0);
  EXPECT_EQ(frames, 3);
  // Setting it false does nothing; true runs it.
  const std::uint8_t off = 0;
  EXPECT_EQ(cfgSetNVAttributeValue(session, "FrameCounterReset", kValue, kBool, &off, 0), 0);
  EXPECT_EQ(cfgSnapImage(session, 1, image.image), 0);
  EXPECT_EQ(image.Counter(), 3u);
  const std::uint8_t on = 1;
  EXPECT_EQ(cfgSetNVAttributeValue(session, "FrameCounterReset", kValue, kCommand, &on, 0), 0);
  EXPECT_EQ(cfgSnapImage(session, 1, image.image), 0);
  EXPECT_EQ(image.Counter(), 0u);
  device.Note("after the reset " + image.Describe());
}

// Camera-link camera files: the list fits the camera's model; a file can be
// chosen, copied in, and the board renamed. None of it travels to a target.
DEVICE_SCENARIO_EACH_WITH(CameraLinkCameraFiles, Cameras(kFastCamera)) {
  const std::uint32_t session = device.OpenCamera("link");
  ASSERT_NE(session, 0u);
  std::uint32_t size = 0;
  const std::int32_t counted = cfgGetKELDCameraFileList(session, nullptr, &size);
  if (device.remote()) {
    EXPECT_EQ(AsStatus(counted), 0xBFFF8011u);
    char name[512] = {};
    EXPECT_EQ(AsStatus(cfgGetKELDCameraFilename(session, name, sizeof name)), 0xBFFF8011u);
    EXPECT_EQ(AsStatus(cfgChangeKELDCameraFile(session, "Generic_8bit.clf")), 0xBFFF8011u);
    EXPECT_EQ(AsStatus(cfgCopyKELDCameraFile(session, "/tmp/x.clf")), 0xBFFF8011u);
    EXPECT_EQ(AsStatus(cfgRenameCameraLinkBoard(device.Host(), 2, "img0", "img7")), 0xBFFF8011u);
    return;
  }
  EXPECT_EQ(counted, 0);
  ASSERT_EQ(size, 3u);
  std::vector<CameraFileData> files(size);
  for (auto& file : files) std::memset(&file, 0x5A, sizeof file);
  EXPECT_EQ(cfgGetKELDCameraFileList(session, reinterpret_cast<char*>(files.data()), &size), 0);
  EXPECT_EQ(size, 3u);
  EXPECT_STREQ(files[0].FileName, "Generic_8bit.clf");
  EXPECT_STREQ(files[1].FileName, "OD_CL-4M_12bit.clf");
  EXPECT_STREQ(files[1].ModeName, "12-bit base, 2 taps");
  EXPECT_STREQ(files[1].Detail, "Free running, 40 MHz pixel clock");
  EXPECT_EQ(files[1].ValueLow, 0u);
  EXPECT_EQ(files[1].ValueHigh, 0u);
  EXPECT_EQ(files[1].Flag, 0u);
  EXPECT_EQ(files[1].FileName[511], 0);
  // A shorter array takes as many as it holds; an empty one asks nothing.
  std::uint32_t one = 1;
  EXPECT_EQ(cfgGetKELDCameraFileList(session, reinterpret_cast<char*>(files.data()), &one), 0);
  EXPECT_EQ(one, 1u);
  std::uint32_t none = 0;
  keldnvsimClearCallLog();
  EXPECT_EQ(cfgGetKELDCameraFileList(session, reinterpret_cast<char*>(files.data()), &none), 0);
  EXPECT_EQ(Calls("KELDnvEnumerateCameraLinkCameraFiles"), 0u);

  char name[512] = {};
  EXPECT_EQ(cfgGetKELDCameraFilename(session, name, sizeof name), 0);
  EXPECT_STREQ(name, "Generic_8bit.clf");
  EXPECT_EQ(cfgChangeKELDCameraFile(session, "OD_CL-4M_8bit.clf"), 0);
  EXPECT_EQ(cfgGetKELDCameraFilename(session, name, sizeof name), 0);
  EXPECT_STREQ(name, "OD_CL-4M_8bit.clf");
  EXPECT_EQ(AsStatus(cfgChangeKELDCameraFile(session, "Other.clf")), 0xBFF6901Eu);

  const std::string source = (device.folder() / "Mine.clf").string();
  std::ofstream(source) << "Camera = OD CL-4M\nMode = 10-bit medium\nDetail = Mine\n";
  EXPECT_EQ(cfgCopyKELDCameraFile(session, source.c_str()), 0);
  EXPECT_EQ(cfgGetKELDCameraFileList(session, nullptr, &size), 0);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(cfgChangeKELDCameraFile(session, "Mine.clf"), 0);
  std::ofstream(source) << "no header here\n";
  EXPECT_EQ(AsStatus(cfgCopyKELDCameraFile(session, source.c_str())), 0xBFF69019u);

  EXPECT_EQ(cfgRenameCameraLinkBoard(nullptr, 2, "img0", "img7"), 0);
  EXPECT_EQ(AsStatus(cfgRenameCameraLinkBoard(nullptr, 2, "img0", "img8")), 0xBFF6901Fu);
  EXPECT_EQ(AsStatus(cfgRenameCameraLinkBoard(nullptr, 2, "img7", "")), 0xBFF69020u);
  EXPECT_EQ(AsStatus(cfgRenameCameraLinkBoard(nullptr, 1, "img7", "img8")), 0xBFFF8011u);
  // A camera that is no camera-link camera has none of it.
  const std::uint32_t network = device.OpenCamera("cam0");
  EXPECT_EQ(AsStatus(cfgGetKELDCameraFileList(network, nullptr, &size)), 0xBFF6901Du);
}

// Whether a camera is there and what it does, without a session of one's own.
DEVICE_SCENARIO_WITH(CameraStatus, Cameras(kFastCamera)) {
  const auto status = [&](const char* camera) {
    std::uint8_t present = 9;
    std::uint32_t state = 9;
    const std::int32_t result = cfgGetCameraStatus(device.Host(), 2, camera, &present, &state);
    EXPECT_EQ(result, 0) << camera;
    const std::string line = std::string(camera) + " " + std::to_string(present) + " " + Hex(state);
    device.Note(line, result);
    return line;
  };
  EXPECT_EQ(status("cam0"), "cam0 1 0x00000000");
  EXPECT_EQ(status("held"), "held 1 0x00000004");
  EXPECT_EQ(status("nothing"), "nothing 0 0x00000000");
  EXPECT_EQ(status("uuid:00a1000000000042"), "uuid:00a1000000000042 1 0x00000000");
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  EXPECT_EQ(status("cam0"), "cam0 1 0x00000001");
  std::uint8_t present = 0;
  std::uint32_t state = 0;
  EXPECT_EQ(AsStatus(cfgGetCameraStatus(device.Host(), 1, "cam0", nullptr, nullptr)), 0xBFFF8011u);
  EXPECT_EQ(AsStatus(cfgGetCameraStatus(device.Host(), 2, "cam0", nullptr, &state)), 0xBFFF8007u);
  EXPECT_EQ(AsStatus(cfgGetCameraStatus(device.Host(), 2, "cam0", &present, nullptr)), 0xBFFF8007u);
}

// Control access is one session's; monitor access (flag 1) reads and
// watches but writes nothing; a camera another host holds opens for
// monitoring only.
DEVICE_SCENARIO_WITH(ControlAndMonitorAccess, Cameras(kFastCamera)) {
  const std::uint32_t control = device.OpenCamera("cam0");
  ASSERT_NE(control, 0u);
  std::uint32_t second = 0;
  const std::int32_t taken = cfgOpenCamera3(device.Host(), 2, "uuid:00a1000000000042", 0, 0, 0, &second);
  EXPECT_EQ(AsStatus(taken), 0xBFF69005u);
  device.Note("second control", taken);
  std::uint32_t monitor = 0;
  const std::int32_t watching = cfgOpenCamera3(device.Host(), 2, "", 0x00A10000, 0x00000042, 1, &monitor);
  EXPECT_EQ(watching, 0);
  device.Note("monitor by serial", watching);
  std::int32_t status = 0;
  const auto list = Listing(monitor, 16384, 1, &status);
  const KELDcfgAttrInfo* gain = FindInfo(list, "CameraAttributes::AnalogControl::Gain");
  ASSERT_NE(gain, nullptr);
  EXPECT_EQ(gain->Writable, 0);
  EXPECT_EQ(gain->Readable, 1);
  const std::int32_t refused = SetF64(monitor, "Gain", 2.0);
  EXPECT_EQ(AsStatus(refused), 0xBFF69024u);
  device.Note("monitor write", refused);
  ScopedImage image;
  EXPECT_EQ(AsStatus(cfgSnapImage(monitor, 1, image.image)), 0xBFF69024u);
  // The monitor sees what the controlling session sets.
  EXPECT_EQ(SetF64(control, "Gain", 2.0), 0);
  double value = 0;
  EXPECT_EQ(GetF64(monitor, "Gain", &value), 0);
  EXPECT_EQ(value, 2.0);
  EXPECT_EQ(cfgClose(monitor), 0);

  std::uint32_t held = 0;
  const std::int32_t elsewhere = cfgOpenCamera3(device.Host(), 2, "held", 0, 0, 0, &held);
  EXPECT_EQ(AsStatus(elsewhere), 0xBFF69005u);
  EXPECT_EQ(held, 0u);
  device.Note("held elsewhere", elsewhere);
  EXPECT_EQ(cfgOpenCamera3(device.Host(), 2, "held", 0, 0, 1, &held), 0);
  std::uint32_t absent = 0;
  EXPECT_EQ(AsStatus(cfgOpenCamera3(device.Host(), 2, "nothing", 0, 0, 0, &absent)), 0xBFF69004u);
  // The library's own bit 31 is not the driver's and changes nothing there.
  EXPECT_EQ(cfgClose(control), 0);
  std::uint32_t longWait = 0;
  EXPECT_EQ(cfgOpenCamera3(device.Host(), 2, "cam0", 0, 0, 0x80000000u, &longWait), 0);
  EXPECT_EQ(SetF64(longWait, "Gain", 1.0), 0);
  std::uint32_t timeout = 0;
  const std::int32_t asked = cfgGetTimeout(longWait, &timeout);
  if (device.remote()) {
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(timeout, 300000u);
  } else {
    EXPECT_EQ(AsStatus(asked), 0xBFFF8009u);
  }
}

// A new interface name stays with the camera: listed, opened, remembered
// by the driver.
DEVICE_SCENARIO_WITH(RenamingACamera, Cameras(kFastCamera)) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  const std::int32_t renamed = cfgRenameInterface(session, "left");
  EXPECT_EQ(renamed, 0);
  device.Note("rename", renamed);
  for (const char* name : {"", "two words", "a::b", "held"}) {
    const std::int32_t refused = cfgRenameInterface(session, name);
    EXPECT_NE(refused, 0) << name;
    device.Note(std::string("rename '") + name + "'", refused);
  }
  EXPECT_EQ(AsStatus(cfgRenameInterface(session, nullptr)), 0xBFFF8007u);
  EXPECT_EQ(cfgClose(session), 0);
  EXPECT_EQ(cfgRefreshCameras2(device.Host(), 2), 0);
  char name[64] = {};
  EXPECT_EQ(cfgQueryCamera2(device.Host(), 2, 0, name, sizeof name, nullptr, nullptr, nullptr, 0, nullptr), 0);
  EXPECT_STREQ(name, "left");
  device.Note(name);
  std::uint32_t reopened = 0;
  EXPECT_EQ(AsStatus(cfgOpenCamera3(device.Host(), 2, "cam0", 0, 0, 0, &reopened)), 0xBFF69004u);
  EXPECT_EQ(cfgOpenCamera3(device.Host(), 2, "left", 0, 0, 0, &reopened), 0);
  // The driver remembers it across its own reset with the same folder.
  EXPECT_EQ(cfgClose(reopened), 0);
  ASSERT_EQ(keldnvsimResetWith(kFastCamera, (device.folder() / "keldnv").c_str()), 0u);
  EXPECT_EQ(cfgOpenCamera3(device.Host(), 2, "left", 0, 0, 0, &reopened), 0);
}

// The driver's texts come second in the chain: after the frame-grabber
// driver's, before the library's own, and only for statuses it knows.
DEVICE_SCENARIO(ErrorTextsOfTheDriver) {
  const struct {
    std::uint32_t status;
    const char* text;
  } cases[] = {{0xBFF69004, "No camera of that name or serial number is connected."},
               {0xBFF6900B, "The attribute cannot be written while the camera acquires."},
               {0xBFFF8006, nullptr},
               {0xBFFF801A, nullptr},
               {0, nullptr}};
  for (const auto& test : cases) {
    char text[255] = {};
    EXPECT_EQ(cfgGetErrorText(test.status, text), 0);
    if (test.text != nullptr) {
      EXPECT_STREQ(text, test.text);
    } else {
      EXPECT_STRNE(text, "");
      EXPECT_EQ(std::strstr(text, "camera driver"), nullptr) << text;
    }
    device.Note(Hex(test.status) + " " + text);
  }
  // With the driver's text function failing, the chain goes on to the
  // library's fallback.
  ASSERT_EQ(keldnvsimInjectStatus("KELDnvGetErrorString", 0xBFF69040, 1), 0u);
  char text[255] = {};
  EXPECT_EQ(cfgGetErrorText(0xBFF69004, text), 0);
  EXPECT_STRNE(text, "No camera of that name or serial number is connected.");
  device.Note(text);
}

// An attribute whose value cannot be read: its refresh reports the failure
// and keeps the attribute, unreadable from then on in the cache until the
// next refresh; an immediate read asks the driver again and gets the failure
// again. A remote
// client gets no map with a failed refresh (a failed command's reply is not
// read) and keeps the one it had.
DEVICE_SCENARIO_EACH_WITH(AnAttributeThatCannotBeRead, Cameras(kFastCamera)) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  const char* name = "CameraAttributes::DeviceInformation::DeviceTemperature";
  ASSERT_EQ(keldnvsimSetAttributeStatus("cam0", name, 0xBFF69040), 0u);
  std::int32_t status = 0;
  const auto list = Listing(session, 16384, 0, &status);
  EXPECT_EQ(AsStatus(status), 0xBFF69040u);
  const KELDcfgAttrInfo* temperature = FindInfo(list, name);
  ASSERT_NE(temperature, nullptr);
  EXPECT_EQ(temperature->Readable, device.remote() ? 1 : 0);
  const KELDcfgAttrInfo* gain = FindInfo(list, "CameraAttributes::AnalogControl::Gain");
  ASSERT_NE(gain, nullptr);
  EXPECT_EQ(gain->Readable, 1);
  double value = 0;
  const std::int32_t cached = GetF64(session, name, &value, 1);
  EXPECT_EQ(AsStatus(cached), device.remote() ? 0u : 0xBFFF801Au);
  const std::int32_t immediate = GetF64(session, name, &value, 0);
  EXPECT_EQ(AsStatus(immediate), 0xBFF69040u);
  // The failed read changes no remote cache either: its reply is not read.
  EXPECT_EQ(AsStatus(GetF64(session, name, &value, 1)), device.remote() ? 0u : 0xBFFF801Au);
  // Its limits were read all the same.
  double maximum = 0;
  EXPECT_EQ(GetF64(session, name, &maximum, 1, kMaximum), 0);
  EXPECT_EQ(maximum, 125.0);
  // With the fault gone, the cache still holds the attribute as unreadable
  // until the next refresh, which reads it again.
  ASSERT_EQ(keldnvsimSetAttributeStatus("cam0", name, 0), 0u);
  EXPECT_EQ(AsStatus(GetF64(session, name, &value, 1)), device.remote() ? 0u : 0xBFFF801Au);
  const auto cachedList = Listing(session, 16384, 1, &status);
  EXPECT_EQ(status, 0);
  const KELDcfgAttrInfo* stillUnreadable = FindInfo(cachedList, name);
  ASSERT_NE(stillUnreadable, nullptr);
  EXPECT_EQ(stillUnreadable->Readable, device.remote() ? 1 : 0);
  const auto refreshedList = Listing(session, 16384, 0, &status);
  EXPECT_EQ(status, 0);
  const KELDcfgAttrInfo* readableAgain = FindInfo(refreshedList, name);
  ASSERT_NE(readableAgain, nullptr);
  EXPECT_EQ(readableAgain->Readable, 1);
  value = 0;
  EXPECT_EQ(GetF64(session, name, &value, 1), 0);
  EXPECT_GT(value, 30.0);
  // A session opened now, with the fault back, fails as its first refresh does.
  ASSERT_EQ(keldnvsimSetAttributeStatus("cam0", name, 0xBFF69040), 0u);
  EXPECT_EQ(cfgClose(session), 0);
  std::uint32_t id = 0;
  const std::int32_t opened = cfgOpenCamera3(device.Host(), 2, "cam0", 0, 0, 0, &id);
  EXPECT_EQ(AsStatus(opened), 0xBFF69040u);
  ASSERT_EQ(keldnvsimSetAttributeStatus("cam0", name, 0), 0u);
  EXPECT_EQ(cfgOpenCamera3(device.Host(), 2, "cam0", 0, 0, 0, &id), 0);
  EXPECT_EQ(GetF64(id, name, &value, 1), 0);
  EXPECT_GT(value, 30.0);
}

// A camera unplugged under an open session: its calls fail, its close does
// not.
DEVICE_SCENARIO_WITH(ACameraUnplugged, Cameras(kFastCamera)) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  ASSERT_EQ(keldnvsimRemoveCamera("cam0"), 0u);
  double gain = 0;
  const std::int32_t gone = GetF64(session, "Gain", &gain, 0);
  EXPECT_EQ(AsStatus(gone), 0xBFF69006u);
  device.Note("read", gone);
  ScopedImage image;
  EXPECT_EQ(AsStatus(cfgSnapImage(session, 1, image.image)), 0xBFF69006u);
  EXPECT_EQ(cfgClose(session), 0);
  EXPECT_EQ(cfgRefreshCameras2(device.Host(), 2), 0);
  std::uint32_t count = 0;
  EXPECT_EQ(cfgGetCameraCount2(device.Host(), 2, &count), 0);
  EXPECT_EQ(count, 2u);
  ASSERT_EQ(keldnvsimAddCamera(R"({ "interface": "cam9", "serial": "9" })"), 0u);
  EXPECT_EQ(cfgRefreshCameras2(device.Host(), 2), 0);
  EXPECT_EQ(cfgGetCameraCount2(device.Host(), 2, &count), 0);
  EXPECT_EQ(count, 3u);
  device.Note("count " + std::to_string(count));
}

}  // namespace
}  // namespace keld::device
