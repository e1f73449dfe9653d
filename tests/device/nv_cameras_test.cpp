// Cameras of the simulated network and USB driver through the inventory
// functions, and their attribute trees through the functions by name: the
// names cameras are listed by, the driver names by the driver's version,
// the listing of attributes by visibility, look-ups by full, short and
// partial names, enumerations set by number, write-only attributes.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "device_fixture.h"
#include "nv_support.h"

namespace keld::device {
namespace {

using namespace nv;

std::string CameraLine(const char* host, std::uint32_t index) {
  char name[256] = {};
  char description[256] = {};
  std::uint32_t high = 0;
  std::uint32_t low = 0;
  std::uint32_t bus = 0;
  const std::int32_t status = cfgQueryCamera2(host, kDriver, index, name, sizeof name, &high, &low, description,
                                              sizeof description, &bus);
  char driver[256] = {};
  std::uint32_t version = 0;
  const std::int32_t drivers = cfgQueryCameraDriver2(host, kDriver, index, driver, sizeof driver, &version);
  return std::string(name) + " " + Hex(high) + Hex(low) + " '" + description + "' bus " + std::to_string(bus) +
         " driver '" + driver + "' " + Hex(version) + " -> " + Hex(AsStatus(status)) + " " + Hex(AsStatus(drivers));
}

// The built-in cameras but the one the driver does not list; a camera of the
// house by its model alone, another vendor's by vendor and model.
DEVICE_SCENARIO(ListsTheCameras) {
  const std::int32_t refreshed = cfgRefreshCameras2(device.Host(), kDriver);
  EXPECT_EQ(refreshed, 0);
  std::uint32_t count = 0;
  EXPECT_EQ(cfgGetCameraCount2(device.Host(), kDriver, &count), 0);
  ASSERT_EQ(count, 3u);
  const struct {
    const char* name;
    std::uint32_t high, low;
    const char* description;
    std::uint32_t bus;
    const char* driver;
  } expected[] = {{"cam0", 0x00A1B000, 0x00000101, "OD GC-640M", 1, "OD GigE Filter Driver"},
                  {"cam1", 0x00A1B000, 0x00000202, "Basalt Imaging BX-2040C USB", 2, "OD USB3 Camera Driver"},
                  {"cam2", 0x00A1B000, 0x00000303, "OD CL-4M", 4, "OD Camera Link Bridge"}};
  for (std::uint32_t i = 0; i < count; ++i) {
    char name[256] = {};
    char description[256] = {};
    std::uint32_t high = 0;
    std::uint32_t low = 0;
    std::uint32_t bus = 0;
    EXPECT_EQ(cfgQueryCamera2(device.Host(), kDriver, i, name, sizeof name, &high, &low, description,
                              sizeof description, &bus),
              0);
    char driver[256] = {};
    std::uint32_t version = 0;
    EXPECT_EQ(cfgQueryCameraDriver2(device.Host(), kDriver, i, driver, sizeof driver, &version), 0);
    EXPECT_STREQ(name, expected[i].name);
    EXPECT_EQ(high, expected[i].high);
    EXPECT_EQ(low, expected[i].low);
    EXPECT_STREQ(description, expected[i].description);
    EXPECT_EQ(bus, expected[i].bus);
    EXPECT_STREQ(driver, expected[i].driver);
    EXPECT_EQ(version, 0x04500000u);
    device.Note(CameraLine(device.Host(), i));
  }
  char name[256] = {};
  EXPECT_EQ(AsStatus(cfgQueryCamera2(device.Host(), kDriver, count, name, sizeof name, nullptr, nullptr, nullptr, 0,
                                     nullptr)),
            0xBFFF800Cu);
}

constexpr const char* kLongNames = R"({ "cameras": [
  { "interface": "long0", "serial": "0x1122334455667788",
    "vendor": "Vendor With A Name Of Forty Characters!", "model": "Model With A Name Of Thirty-Three" },
  { "interface": "long1", "serial": "2", "vendor": "OD", "model": "OD Model Whose Name Runs Past Thirty-One" },
  { "interface": "long2", "serial": "3", "vendor": "Orvane Devices Inc", "model": "X1" } ] })";

// Vendor and model cut at 31 characters each; only the exact house names
// drop the vendor.
DEVICE_SCENARIO_WITH(NamesAreCutAt31Characters, Cameras(kLongNames)) {
  std::uint32_t count = 0;
  EXPECT_EQ(cfgGetCameraCount2(device.Host(), kDriver, &count), 0);
  ASSERT_EQ(count, 3u);
  char description[256] = {};
  std::uint32_t high = 0;
  std::uint32_t low = 0;
  EXPECT_EQ(cfgQueryCamera2(device.Host(), kDriver, 0, nullptr, 0, &high, &low, description, sizeof description,
                            nullptr),
            0);
  EXPECT_STREQ(description, "Vendor With A Name Of Forty Cha Model With A Name Of Thirty-Thr");
  EXPECT_EQ(high, 0x11223344u);
  EXPECT_EQ(low, 0x55667788u);
  device.Note(description);
  EXPECT_EQ(cfgQueryCamera2(device.Host(), kDriver, 1, nullptr, 0, nullptr, nullptr, description, sizeof description,
                            nullptr),
            0);
  EXPECT_STREQ(description, "OD Model Whose Name Runs Past T");
  device.Note(description);
  EXPECT_EQ(cfgQueryCamera2(device.Host(), kDriver, 2, nullptr, 0, nullptr, nullptr, description, sizeof description,
                            nullptr),
            0);
  EXPECT_STREQ(description, "Orvane Devices Inc X1");
  device.Note(description);
}

// Driver names by the driver's version word: the second form from
// 0x04400000, the first before it.
constexpr const char* kDriver43 = R"({ "driver_version": "0x043FFFFF", "cameras": [
  { "interface": "cam0", "serial": "1", "driver_name": "Special Filter" } ] })";
constexpr const char* kDriver44 = R"({ "driver_version": "0x04400000", "cameras": [
  { "interface": "cam0", "serial": "1", "driver_name": "Special Filter" } ] })";

DEVICE_SCENARIO_WITH(DriverNameBeforeVersion44, Cameras(kDriver43)) {
  keldnvsimClearCallLog();
  EXPECT_EQ(cfgRefreshCameras2(device.Host(), kDriver), 0);
  char driver[256] = {};
  std::uint32_t version = 0;
  EXPECT_EQ(cfgQueryCameraDriver2(device.Host(), kDriver, 0, driver, sizeof driver, &version), 0);
  EXPECT_STREQ(driver, "odkeldnv");
  EXPECT_EQ(version, 0x043FFFFFu);
  EXPECT_EQ(Calls("KELDnvGetDriverName"), 1u);
  EXPECT_EQ(Calls("KELDnvGetDriverName2"), 0u);
  device.Note(std::string(driver) + " " + Hex(version));
}

DEVICE_SCENARIO_WITH(DriverNameFromVersion44, Cameras(kDriver44)) {
  keldnvsimClearCallLog();
  EXPECT_EQ(cfgRefreshCameras2(device.Host(), kDriver), 0);
  char driver[256] = {};
  std::uint32_t version = 0;
  EXPECT_EQ(cfgQueryCameraDriver2(device.Host(), kDriver, 0, driver, sizeof driver, &version), 0);
  EXPECT_STREQ(driver, "Special Filter");
  EXPECT_EQ(version, 0x04400000u);
  EXPECT_EQ(Calls("KELDnvGetDriverName"), 0u);
  EXPECT_EQ(Calls("KELDnvGetDriverName2"), 1u);
  device.Note(std::string(driver) + " " + Hex(version));
}

// Attributes are listed by the third enumeration function from 0x03900008,
// by the second before it; both list the same attributes, and a refresh
// asks one function twice (the count, then the list).
constexpr const char* kDriver31 = R"({ "driver_version": "0x03100000", "cameras": [
  { "interface": "cam0", "serial": "1", "width": 64, "height": 48, "frame_rate": 0 } ] })";

DEVICE_SCENARIO_WITH(AttributeEnumerationByDriverVersion, Cameras(kDriver31)) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  const struct {
    std::uint32_t version;
    std::uint32_t second, third;
  } cases[] = {{0x03100000, 2, 0}, {0x03900007, 2, 0}, {0x03900008, 0, 2}, {0x04500000, 0, 2}};
  std::uint32_t listedBefore = 0;
  for (const auto& test : cases) {
    ASSERT_EQ(keldnvsimSetDriverVersion(test.version), 0u);
    keldnvsimClearCallLog();
    std::uint32_t count = 0;
    const std::int32_t refreshed = cfgGetNVAttributesInfo2(session, nullptr, &count, 0x8000000, 0);
    EXPECT_EQ(refreshed, 0) << Hex(test.version);
    EXPECT_EQ(Calls("KELDnvEnumerateAttributes2"), test.second) << Hex(test.version);
    EXPECT_EQ(Calls("KELDnvEnumerateAttributes3"), test.third) << Hex(test.version);
    // The whole list is asked for, whichever function lists it.
    const char* function = test.third != 0 ? "KELDnvEnumerateAttributes3" : "KELDnvEnumerateAttributes2";
    EXPECT_NE(CallLog().find(std::string(function) + " visibility=0x8000000"), std::string::npos) << CallLog();
    if (listedBefore != 0) {
      EXPECT_EQ(count, listedBefore) << Hex(test.version);
    }
    listedBefore = count;
    // From 0x03100000 on the texts are read.
    char description[512] = {};
    EXPECT_EQ(cfgGetNVAttributeValue(session, "Width", kDescription, kString, description, 1), 0);
    EXPECT_STREQ(description, "The width of the image in pixels, a multiple of 8.");
    device.Note(Hex(test.version) + " attributes " + std::to_string(count) + " by " + function, refreshed);
  }
}

// A driver name that cannot be read is the listing's result; the cameras
// are listed all the same, those after the failure without a driver name.
DEVICE_SCENARIO(ADriverNameThatFailsIsTheResult) {
  ASSERT_EQ(keldnvsimInjectStatus("KELDnvGetDriverName2", 0xBFF69004, 1), 0u);
  const std::int32_t refreshed = cfgRefreshCameras2(device.Host(), kDriver);
  EXPECT_EQ(AsStatus(refreshed), 0xBFF69004u);
  device.Note("refresh", refreshed);
  // A failed listing is not kept: the next look lists again, and succeeds.
  std::uint32_t count = 0;
  EXPECT_EQ(cfgGetCameraCount2(device.Host(), kDriver, &count), 0);
  EXPECT_EQ(count, 3u);
  device.Note("count " + std::to_string(count));
}

// No cameras: an empty list and no failure.
DEVICE_SCENARIO_WITH(NoCameras, Cameras(R"({ "cameras": [] })")) {
  EXPECT_EQ(cfgRefreshCameras2(device.Host(), kDriver), 0);
  std::uint32_t count = 9;
  EXPECT_EQ(cfgGetCameraCount2(device.Host(), kDriver, &count), 0);
  EXPECT_EQ(count, 0u);
  device.Note("count " + std::to_string(count));
}

// The whole tree as the default listing shows it: everything up to the
// visibility 16384, with types, flags, units, representations and tooltips.
DEVICE_SCENARIO(TheAttributeTreeOfACamera) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  std::uint32_t count = 0;
  EXPECT_EQ(cfgGetNVAttributesInfo(session, nullptr, &count, 0), 0);
  std::vector<KELDcfgAttrInfo> list(count);
  EXPECT_EQ(cfgGetNVAttributesInfo(session, list.data(), &count, 1), 0);
  device.Note("attributes " + std::to_string(count));
  for (const KELDcfgAttrInfo& info : list) device.Note(InfoLine(info));

  const KELDcfgAttrInfo* width = FindInfo(list, "CameraAttributes::ImageFormat::Width");
  ASSERT_NE(width, nullptr);
  EXPECT_EQ(width->Type, kU32);
  EXPECT_EQ(width->Readable, 1);
  EXPECT_EQ(width->Writable, 1);
  EXPECT_STREQ(width->Units, "pixels");
  const KELDcfgAttrInfo* gain = FindInfo(list, "CameraAttributes::AnalogControl::Gain");
  ASSERT_NE(gain, nullptr);
  EXPECT_EQ(gain->Type, kF64);
  EXPECT_EQ(gain->Representation, 1u);
  EXPECT_STREQ(gain->Units, "dB");
  EXPECT_STREQ(gain->Tooltip, "Amplification of the sensor's signal.");
  const KELDcfgAttrInfo* vendor = FindInfo(list, "CameraAttributes::DeviceInformation::DeviceVendorName");
  ASSERT_NE(vendor, nullptr);
  EXPECT_EQ(vendor->Type, kString);
  EXPECT_EQ(vendor->Writable, 0);
  const KELDcfgAttrInfo* key = FindInfo(list, "CameraAttributes::DeviceControl::ActionDeviceKey");
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(key->Readable, 0);
  EXPECT_EQ(key->Writable, 1);
  EXPECT_EQ(key->Representation, 4u);
  const KELDcfgAttrInfo* reset = FindInfo(list, "CameraAttributes::Counters::FrameCounterReset");
  ASSERT_NE(reset, nullptr);
  EXPECT_EQ(reset->Type, kCommand);
  const KELDcfgAttrInfo* limit = FindInfo(list, "CameraAttributes::Transport::LinkSpeedLimit");
  ASSERT_NE(limit, nullptr);
  EXPECT_EQ(limit->Type, kEnum);
  const KELDcfgAttrInfo* level = FindInfo(list, "CameraAttributes::AnalogControl::BlackLevel");
  ASSERT_NE(level, nullptr);
  EXPECT_EQ(level->Type, kI64);
  // The driver's own setting of the image type is listed only to all.
  EXPECT_EQ(FindInfo(list, "AcquisitionAttributes::TypeOfImageInUse"), nullptr);
  std::int32_t status = 0;
  const auto all = Listing(session, 0x8000000, 1, &status);
  EXPECT_EQ(status, 0);
  EXPECT_NE(FindInfo(all, "AcquisitionAttributes::TypeOfImageInUse"), nullptr);
  EXPECT_EQ(all.size(), list.size() + 1);
  // Ids are the places in the driver's listing. The driver's one register
  // attribute has a type the library does not know: it is left out, and its
  // place with it.
  EXPECT_EQ(FindInfo(all, "CameraAttributes::DeviceControl::DeviceRegisterWindow"), nullptr);
  std::uint32_t gaps = 0;
  for (std::uint32_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(all[i].Id, i + gaps);
    if (i + 1 < all.size() && all[i + 1].Id != all[i].Id + 1) {
      EXPECT_EQ(all[i + 1].Id, all[i].Id + 2);
      ++gaps;
    }
  }
  EXPECT_EQ(gaps, 1u);
}

// The texts, limits and flags of one attribute, by component.
DEVICE_SCENARIO(ComponentsOfAnAttribute) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  std::uint32_t minimum = 0;
  std::uint32_t maximum = 0;
  std::uint32_t increment = 0;
  EXPECT_EQ(GetU32(session, "Width", &minimum, 1, kMinimum), 0);
  EXPECT_EQ(GetU32(session, "Width", &maximum, 1, kMaximum), 0);
  EXPECT_EQ(GetU32(session, "Width", &increment, 1, kIncrement), 0);
  EXPECT_EQ(minimum, 16u);
  EXPECT_EQ(maximum, 640u);
  EXPECT_EQ(increment, 8u);
  char text[512] = {};
  EXPECT_EQ(cfgGetNVAttributeValue(session, "Width", kDescription, kString, text, 1), 0);
  EXPECT_STREQ(text, "The width of the image in pixels, a multiple of 8.");
  device.Note(text);
  EXPECT_EQ(cfgGetNVAttributeValue(session, "Width", kDisplayName, kString, text, 1), 0);
  EXPECT_STREQ(text, "Width");
  std::uint32_t visibility = 0;
  EXPECT_EQ(GetU32(session, "Width", &visibility, 1, kVisibility), 0);
  EXPECT_EQ(visibility, 0x1000u);
  std::uint8_t dynamic = 9;
  EXPECT_EQ(cfgGetNVAttributeValue(session, "Width", kDynamic, kBool, &dynamic, 1), 0);
  EXPECT_EQ(dynamic, 1);
  EXPECT_EQ(cfgGetNVAttributeValue(session, "Gain", kDynamic, kBool, &dynamic, 1), 0);
  EXPECT_EQ(dynamic, 0);
  double gainMaximum = 0;
  EXPECT_EQ(GetF64(session, "Gain", &gainMaximum, 1, kMaximum), 0);
  EXPECT_EQ(gainMaximum, 24.0);
  // A string has no limits; a component of another type is refused.
  EXPECT_EQ(AsStatus(cfgGetNVAttributeValue(session, "DeviceVendorName", kMinimum, kString, text, 1)), 0xBFFF8018u);
  EXPECT_EQ(AsStatus(GetF64(session, "Width", &gainMaximum, 1)), 0xBFFF8019u);
  device.Note("width " + std::to_string(minimum) + ".." + std::to_string(maximum) + " step " +
              std::to_string(increment) + " visibility " + Hex(visibility));
  // Choices of an enumeration; asked of another attribute, refused.
  std::uint32_t count = 0;
  EXPECT_EQ(cfgGetNVAttributeEnumValues(session, "LinkSpeedLimit", nullptr, &count, 1), 0);
  ASSERT_EQ(count, 3u);
  KELDnvEnumItem_struct items[3] = {};
  EXPECT_EQ(cfgGetNVAttributeEnumValues(session, "LinkSpeedLimit", items, &count, 1), 0);
  EXPECT_STREQ(items[0].Name, "Unlimited");
  EXPECT_EQ(items[0].ValueLow, 0xFFFFFFFFu);
  EXPECT_EQ(items[0].ValueHigh, 0xFFFFFFFFu);
  EXPECT_STREQ(items[2].Name, "Limit1000");
  EXPECT_EQ(items[2].ValueLow, 1000u);
  for (const auto& item : items) device.Note(std::string(item.Name) + " " + Hex(item.ValueHigh) + Hex(item.ValueLow));
  EXPECT_EQ(AsStatus(cfgGetNVAttributeEnumValues(session, "Width", nullptr, &count, 1)), 0xBFFF800Au);
}

// One attribute by its full path, by its short name and by that name in
// another case, which the partial look-up finds; neither a piece of a name
// nor a path that does not end on "::" finds it.
DEVICE_SCENARIO(LookUpByFullShortAndPartialNames) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  ASSERT_EQ(SetF64(session, "CameraAttributes::AnalogControl::Gain", 6.5), 0);
  for (const char* name : {"CameraAttributes::AnalogControl::Gain", "Gain", "gain", "GAIN", "analogcontrol::gain"}) {
    double gain = 0;
    const std::int32_t status = GetF64(session, name, &gain, 1);
    EXPECT_EQ(status, 0) << name;
    EXPECT_EQ(gain, 6.5) << name;
    device.Note(std::string(name) + " " + std::to_string(gain), status);
  }
  for (const char* name : {"ain", "rol::Gain", "Gain::", "", "CameraAttributes::AnalogControl::Gain::"}) {
    double gain = 0;
    const std::int32_t status = GetF64(session, name, &gain, 1);
    EXPECT_EQ(AsStatus(status), 0xBFFF8006u) << name;
    device.Note(std::string("'") + name + "'", status);
  }
  // A cached read answers without the driver; an immediate one asks it.
  keldnvsimClearCallLog();
  double gain = 0;
  EXPECT_EQ(GetF64(session, "gain", &gain, 1), 0);
  EXPECT_EQ(Calls("KELDnvGetAttribute"), 0u);
  EXPECT_EQ(GetF64(session, "gain", &gain, 0), 0);
  EXPECT_EQ(Calls("KELDnvGetAttribute"), 1u);
}

// An enumeration set by a 32-bit number takes the number's sign into its
// high word and the name of the choice with that low word; a number no
// choice has keeps the old name and is refused by the driver when written.
DEVICE_SCENARIO(EnumerationSetByNumber) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  const char* name = "LinkSpeedLimit";
  KELDnvEnumItem_struct item{};
  ASSERT_EQ(GetEnum(session, name, &item), 0);
  EXPECT_STREQ(item.Name, "Unlimited");
  std::uint32_t number = 100;
  EXPECT_EQ(cfgSetNVAttributeValue(session, name, kValue, kU32, &number, 0), 0);
  ASSERT_EQ(GetEnum(session, name, &item), 0);
  EXPECT_STREQ(item.Name, "Limit100");
  EXPECT_EQ(item.ValueHigh, 0u);
  device.Note(std::string(item.Name) + " " + Hex(item.ValueHigh) + Hex(item.ValueLow));

  number = 0xFFFFFFFF;  // -1: sign-extended to the 64-bit -1 of "Unlimited"
  EXPECT_EQ(cfgSetNVAttributeValue(session, name, kValue, kU32, &number, 1), 0);
  ASSERT_EQ(GetEnum(session, name, &item, 1), 0);
  EXPECT_EQ(item.ValueLow, 0xFFFFFFFFu);
  EXPECT_EQ(item.ValueHigh, 0xFFFFFFFFu);
  EXPECT_STREQ(item.Name, "Unlimited");
  device.Note(std::string(item.Name) + " " + Hex(item.ValueHigh) + Hex(item.ValueLow));
  EXPECT_EQ(cfgValidateAttributes(session), 0);
  ASSERT_EQ(GetEnum(session, name, &item), 0);
  EXPECT_STREQ(item.Name, "Unlimited");

  number = 0x7FFFFFFF;  // positive, and no choice has it
  EXPECT_EQ(cfgSetNVAttributeValue(session, name, kValue, kU32, &number, 1), 0);
  ASSERT_EQ(GetEnum(session, name, &item, 1), 0);
  EXPECT_EQ(item.ValueLow, 0x7FFFFFFFu);
  EXPECT_EQ(item.ValueHigh, 0u);
  EXPECT_STREQ(item.Name, "Unlimited");
  device.Note(std::string(item.Name) + " " + Hex(item.ValueHigh) + Hex(item.ValueLow));
  const std::int32_t written = cfgSetNVAttributeValue(session, name, kValue, kU32, &number, 0);
  EXPECT_EQ(AsStatus(written), 0xBFF6900Eu);
  device.Note("write 0x7FFFFFFF", written);

  // The 64-bit form compares both words.
  const std::int64_t wide = 1000;
  EXPECT_EQ(cfgSetNVAttributeValue(session, name, kValue, kI64, &wide, 0), 0);
  ASSERT_EQ(GetEnum(session, name, &item), 0);
  EXPECT_STREQ(item.Name, "Limit1000");
  std::int64_t back = 0;
  EXPECT_EQ(cfgGetNVAttributeValue(session, name, kValue, kI64, &back, 1), 0);
  EXPECT_EQ(back, 1000);
  std::uint32_t low = 0;
  EXPECT_EQ(GetU32(session, name, &low, 1), 0);
  EXPECT_EQ(low, 1000u);
  device.Note(std::string(item.Name) + " " + std::to_string(back));
}

// A write-only attribute: its value is refused to a reader, its limits are
// not, and it can be written.
DEVICE_SCENARIO(AWriteOnlyAttribute) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  const char* name = "ActionDeviceKey";
  std::uint32_t value = 0;
  const std::int32_t refused = GetU32(session, name, &value, 1);
  EXPECT_EQ(AsStatus(refused), 0xBFFF801Au);
  device.Note("value", refused);
  EXPECT_EQ(AsStatus(GetU32(session, name, &value, 0)), 0xBFFF801Au);
  std::uint32_t minimum = 9;
  std::uint32_t maximum = 0;
  EXPECT_EQ(GetU32(session, name, &minimum, 1, kMinimum), 0);
  EXPECT_EQ(GetU32(session, name, &maximum, 1, kMaximum), 0);
  EXPECT_EQ(minimum, 0u);
  EXPECT_EQ(maximum, 0xFFFFFFFFu);
  device.Note("limits " + Hex(minimum) + " " + Hex(maximum));
  const std::int32_t written = SetU32(session, name, 0x1234ABCD);
  EXPECT_EQ(written, 0);
  device.Note("write", written);
  // A read-only attribute the other way round: the cached set is refused
  // without a word, and the write of the unchanged value by the driver.
  const std::int32_t readOnly = SetU32(session, "SensorWidth", 320);
  EXPECT_EQ(AsStatus(readOnly), 0xBFF6900Au);
  std::uint32_t width = 0;
  EXPECT_EQ(GetU32(session, "SensorWidth", &width, 1), 0);
  EXPECT_EQ(width, 640u);
  device.Note("read-only write", readOnly);
}

constexpr const char* kVisibilities = R"({ "cameras": [
  { "interface": "cam0", "serial": "1", "attributes": [
    { "name": "CameraAttributes::Test::BelowAll", "visibility": "0x7FFFFFF" },
    { "name": "CameraAttributes::Test::AtAll", "visibility": "0x8000000" },
    { "name": "CameraAttributes::Test::AboveAll", "visibility": "0x8000001" },
    { "name": "CameraAttributes::Test::Guru", "visibility": 16384 },
    { "name": "CameraAttributes::Test::AboveGuru", "visibility": 16385 } ] } ] })";

// The session holds what the driver lists to all (0x8000000); a listing
// shows what lies at or below the visibility it is asked for, compared as
// signed numbers.
DEVICE_SCENARIO_WITH(VisibilitiesAroundAll, Cameras(kVisibilities)) {
  const std::uint32_t session = device.OpenCamera("cam0");
  ASSERT_NE(session, 0u);
  const char* names[] = {"CameraAttributes::Test::BelowAll", "CameraAttributes::Test::AtAll",
                         "CameraAttributes::Test::AboveAll", "CameraAttributes::Test::Guru",
                         "CameraAttributes::Test::AboveGuru"};
  const struct {
    std::uint32_t visibility;
    bool shown[5];
  } cases[] = {{16384, {false, false, false, true, false}},
               {16385, {false, false, false, true, true}},
               {0x7FFFFFE, {false, false, false, true, true}},
               {0x7FFFFFF, {true, false, false, true, true}},
               {0x8000000, {true, true, false, true, true}},
               {0x8000001, {true, true, false, true, true}},
               {0x7FFFFFFF, {true, true, false, true, true}},
               {0x80000000, {false, false, false, false, false}},
               {0xFFFFFFFF, {false, false, false, false, false}}};
  for (const auto& test : cases) {
    std::int32_t status = -1;
    const auto list = Listing(session, test.visibility, 1, &status);
    EXPECT_EQ(status, 0);
    std::string line = Hex(test.visibility) + " " + std::to_string(list.size()) + ":";
    for (int i = 0; i < 5; ++i) {
      const bool shown = FindInfo(list, names[i]) != nullptr;
      EXPECT_EQ(shown, test.shown[i]) << names[i] << " at " << Hex(test.visibility);
      line += shown ? " 1" : " 0";
    }
    device.Note(line);
  }
  // The one above all is not in the session at all.
  std::uint32_t value = 0;
  EXPECT_EQ(AsStatus(GetU32(session, "AboveAll", &value, 1)), 0xBFFF8006u);
  EXPECT_EQ(GetU32(session, "AtAll", &value, 1), 0);
  // The plain listing is that of 16384, and refreshes first unless told not to.
  std::uint32_t count = 0;
  keldnvsimClearCallLog();
  EXPECT_EQ(cfgGetNVAttributesInfo(session, nullptr, &count, 1), 0);
  std::uint32_t counted = 0;
  EXPECT_EQ(cfgGetNVAttributesInfo2(session, nullptr, &counted, 16384, 1), 0);
  EXPECT_EQ(count, counted);
  EXPECT_EQ(Calls("KELDnvEnumerateAttributes3"), 0u);
  EXPECT_EQ(cfgGetNVAttributesInfo(session, nullptr, &count, 0), 0);
  EXPECT_EQ(Calls("KELDnvEnumerateAttributes3"), 2u);
  EXPECT_NE(CallLog().find("KELDnvEnumerateAttributes3 visibility=0x8000000"), std::string::npos);
}

}  // namespace
}  // namespace keld::device
