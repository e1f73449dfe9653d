// Sessions on the simulated boards: opening by interface name and by serial
// number, the legacy open, and what fails on the way.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "device_fixture.h"

namespace keld::device {
namespace {

constexpr std::uint32_t kSerialKey = 0x3FF600C0;
constexpr std::uint32_t kUnitKey = 0x3FF60004;

// Serial number and acquisition unit of an open session, as the driver
// tells them.
std::string Identity(std::uint32_t id) {
  std::uint32_t serial = 0;
  std::uint32_t unit = 0xFFFFFFFF;
  const std::int32_t first = cfgGetAttributeU32(id, kSerialKey, &serial, 0);
  const std::int32_t second = cfgGetAttributeU32(id, kUnitKey, &unit, 0);
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 0);
  return "serial " + Hex(serial) + " unit " + std::to_string(unit);
}

DEVICE_SCENARIO(OpensByInterfaceNameAndBySerialNumber) {
  for (const char* name : {"img0", "img1", "img2"}) {
    const std::uint32_t id = device.Open(name);
    if (id == 0) continue;
    device.Note(std::string(name) + ": " + Identity(id));
    EXPECT_EQ(cfgClose(id), 0);
  }
  // A null or empty name opens the board of the serial number.
  std::uint32_t id = device.Open(nullptr, 0x00A10002);
  EXPECT_EQ(Identity(id), "serial 0x00A10002 unit 0");
  device.Note("null name: " + Identity(id));
  EXPECT_EQ(cfgClose(id), 0);
  id = device.Open("", 0x00A10003);
  EXPECT_EQ(Identity(id), "serial 0x00A10003 unit 0");
  device.Note("empty name: " + Identity(id));
  EXPECT_EQ(cfgClose(id), 0);

  // The serial form with a unit, and the two units of one board side by side.
  const std::uint32_t unit1 = device.Open("serial:00a10001::1");
  const std::uint32_t unit0 = device.Open("img0");
  EXPECT_EQ(Identity(unit1), "serial 0x00A10001 unit 1");
  EXPECT_EQ(Identity(unit0), "serial 0x00A10001 unit 0");
  device.Note("serial:00a10001::1: " + Identity(unit1) + ", img0: " + Identity(unit0));
  EXPECT_EQ(cfgClose(unit1), 0);
  EXPECT_EQ(cfgClose(unit0), 0);
  // Closed means closed.
  std::uint32_t serial = 0;
  const std::int32_t closed = cfgGetAttributeU32(unit0, kSerialKey, &serial, 0);
  EXPECT_EQ(static_cast<std::uint32_t>(closed), 0xBFFF8009u);
  device.Note("after the close", closed);
}

DEVICE_SCENARIO(AFailedOpenLeavesNoSessionAndNoDriverHandle) {
  struct Case {
    const char* name;
    std::uint32_t serial;
    std::uint32_t status;
  };
  const Case cases[] = {
      {"img9", 0, 0xBFF60008},                  // no such interface file
      {nullptr, 0x12345678, 0xBFF60009},        // no such board
      {"img1::1", 0, 0xBFF6000A},               // no such unit
      {"serial:00a10002::3", 0, 0xBFF6000A},    // nor by the serial number
      {"interfaceType:7199", 0, 0xBFF6001C},    // no such phantom board
  };
  for (const Case& c : cases) {
    std::uint32_t id = 0;
    const std::int32_t status = cfgOpenBoard(device.Host(), c.name, c.serial, &id);
    EXPECT_EQ(static_cast<std::uint32_t>(status), c.status) << (c.name ? c.name : "null");
    EXPECT_EQ(id, 0u);
    device.Note(std::string("open ") + (c.name ? c.name : "null") + " " + Hex(c.serial), status);
  }
  // One session a unit: the second open of unit 0 of img1 fails, and the
  // interface it had opened is closed again.
  const std::uint32_t first = device.Open("img1");
  Device::ClearCalls();
  std::uint32_t id = 0;
  const std::int32_t busy = cfgOpenBoard(device.Host(), "img1::0", 0, &id);
  EXPECT_EQ(static_cast<std::uint32_t>(busy), 0xBFF600BDu);
  EXPECT_EQ(id, 0u);
  EXPECT_EQ(Device::CallCount("kldInterfaceOpen"), 1u);
  EXPECT_EQ(Device::CallCount("kldClose"), 1u);
  device.Note("second open of a unit", busy);
  device.Note("text: " + Device::ErrorText(busy));
  EXPECT_EQ(Identity(first), "serial 0x00A10002 unit 0");

  const std::int32_t nullId = cfgOpenBoard(device.Host(), "img1", 0, nullptr);
  EXPECT_EQ(static_cast<std::uint32_t>(nullId), 0xBFFF8007u);
  device.Note("null id", nullId);
}

// The legacy open leaves the attributes unread until the first refresh.
DEVICE_SCENARIO(TheLegacyOpenReadsNoAttributes) {
  Device::ClearCalls();
  std::uint32_t id = 0;
  const std::int32_t opened = cfgOpenLegacyBoard(device.Host(), "img1", &id);
  EXPECT_EQ(opened, 0);
  EXPECT_NE(id, 0u);
  EXPECT_EQ(Device::CallCount("odkelduGetAttributeKeys"), 0u);
  device.Note("legacy open img1", opened);
  std::uint32_t serial = 0;
  for (std::int32_t cachedOnly : {1, 0}) {
    const std::int32_t status = cfgGetAttributeU32(id, kSerialKey, &serial, cachedOnly);
    EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFFF8006u);
    device.Note("serial, cached " + std::to_string(cachedOnly), status);
  }
  const std::int32_t validated = cfgValidateAttributes(id);
  EXPECT_EQ(validated, 0);
  device.Note("validate", validated);
  EXPECT_EQ(cfgGetAttributeU32(id, kSerialKey, &serial, 1), 0);
  EXPECT_EQ(serial, 0x00A10002u);
  device.Note("serial after the refresh " + Hex(serial));
  EXPECT_EQ(cfgClose(id), 0);

  std::uint32_t other = 0;
  EXPECT_EQ(static_cast<std::uint32_t>(cfgOpenLegacyBoard(device.Host(), nullptr, &other)), 0xBFFF8007u);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgOpenLegacyBoard(device.Host(), "img1", nullptr)), 0xBFFF8007u);
  const std::int32_t missing = cfgOpenLegacyBoard(device.Host(), "img7", &other);
  EXPECT_EQ(static_cast<std::uint32_t>(missing), 0xBFF60008u);
  device.Note("legacy open img7", missing);
}

// What every local session does itself, on a frame-grabber session: the
// process-wide image compression, the acquisition flags, and copying files
// on the session's computer.
DEVICE_SCENARIO(TheSessionBaseOperationsOnABoard) {
  const std::uint32_t first = device.Open("img1");
  const std::uint32_t second = device.Open("img2");
  ASSERT_NE(first, 0u);
  ASSERT_NE(second, 0u);
  std::uint32_t type = 0;
  std::uint32_t quality = 0;
  ASSERT_EQ(cfgGetImageCompression(first, &type, &quality), 0);
  const std::uint32_t oldType = type;
  const std::uint32_t oldQuality = quality;
  EXPECT_EQ(cfgSetImageCompression(first, 2, 500), 0);
  EXPECT_EQ(cfgGetImageCompression(second, &type, &quality), 0);
  EXPECT_EQ(type, 2u);
  EXPECT_EQ(quality, 500u);
  device.Note("compression seen by the other session " + std::to_string(type) + " " + std::to_string(quality));
  EXPECT_EQ(cfgSetImageCompression(second, oldType, oldQuality), 0);
  const std::int32_t flags = cfgSetAcquisitionFlags(first, 0x19);
  EXPECT_EQ(flags, 0);
  device.Note("acquisition flags", flags);

  const std::filesystem::path folder = device.folder();
  const std::string source = (folder / "mono640.icd").string();
  const std::string original = ReadFile(source);
  ASSERT_FALSE(original.empty());
  struct Case {
    const char* what;
    std::string from;
    std::string to;
    std::uint32_t status;
  };
  const Case cases[] = {
      {"copy", source, (folder / "copy.icd").string(), 0},
      {"names that differ in case only", (folder / "MONO640.ICD").string(), source, 0},
      {"a missing source", (folder / "absent.icd").string(), (folder / "copy2.icd").string(), 0xBFFF800B},
      {"a destination that cannot be made", source, (folder / "no-such-folder" / "x.icd").string(), 0xBFFF8005},
  };
  for (const Case& c : cases) {
    const std::int32_t status = cfgCopyFile(first, c.from.c_str(), c.to.c_str());
    EXPECT_EQ(static_cast<std::uint32_t>(status), c.status) << c.what;
    device.Note(std::string("copy file, ") + c.what, status);
  }
  // Missing names are empty names, locally as on a target.
  const std::int32_t nullSource = cfgCopyFile(first, nullptr, (folder / "copy3.icd").c_str());
  EXPECT_EQ(static_cast<std::uint32_t>(nullSource), 0xBFFF800Bu);
  device.Note("copy file, a null source", nullSource);
  const std::int32_t nullDestination = cfgCopyFile(first, source.c_str(), nullptr);
  EXPECT_EQ(static_cast<std::uint32_t>(nullDestination), 0xBFFF8005u);
  device.Note("copy file, a null destination", nullDestination);
  const std::int32_t bothNull = cfgCopyFile(first, nullptr, nullptr);
  EXPECT_EQ(bothNull, 0);  // the same (empty) name twice: nothing to do
  device.Note("copy file, two null names", bothNull);
  EXPECT_EQ(ReadFile(folder / "copy.icd"), original);
  EXPECT_EQ(ReadFile(source), original);
  // The destination is made before the source is opened.
  EXPECT_TRUE(std::filesystem::exists(folder / "copy2.icd"));
  EXPECT_EQ(std::filesystem::file_size(folder / "copy2.icd"), 0u);
  device.Note("copy2.icd " + std::to_string(std::filesystem::file_size(folder / "copy2.icd")) + " bytes");
}

}  // namespace
}  // namespace keld::device
