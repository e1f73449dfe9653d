// What the tests of the simulated driver share: a fresh driver state and a
// data folder of its own for each test, and small helpers over the driver's
// C functions.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "keld/keld_driver_api.h"
#include "keldsim/keldsim_control.h"

namespace keldsim_test {

inline constexpr uint32_t kOk = 0;
inline constexpr uint32_t kInvalidArgument = 0xBFF60002;
inline constexpr uint32_t kInvalidId = 0xBFF60003;
inline constexpr uint32_t kAttributeNotSupported = 0xBFF60004;
inline constexpr uint32_t kOutOfRange = 0xBFF60005;
inline constexpr uint32_t kReadOnly = 0xBFF60006;
inline constexpr uint32_t kInterfaceNotFound = 0xBFF60008;
inline constexpr uint32_t kBoardNotFound = 0xBFF60009;
inline constexpr uint32_t kUnitNotFound = 0xBFF6000A;
inline constexpr uint32_t kFileFormat = 0xBFF6000B;
inline constexpr uint32_t kCameraFileNotFound = 0xBFF6000D;
inline constexpr uint32_t kCameraNotSuited = 0xBFF6000E;
inline constexpr uint32_t kInvalidBufferList = 0xBFF6000F;
inline constexpr uint32_t kNotConfigured = 0xBFF60010;
inline constexpr uint32_t kOverwritten = 0xBFF60011;
inline constexpr uint32_t kInvalidState = 0xBFF60012;
inline constexpr uint32_t kConfigurationInvalid = 0xBFF60013;
inline constexpr uint32_t kNoActiveFile = 0xBFF60014;
inline constexpr uint32_t kWrongInterfaceType = 0xBFF60015;
inline constexpr uint32_t kOtherBoard = 0xBFF60016;
inline constexpr uint32_t kAddressOutOfRange = 0xBFF60018;
inline constexpr uint32_t kBufferTooSmall = 0xBFF60019;
inline constexpr uint32_t kNoImageYet = 0xBFF6001A;
inline constexpr uint32_t kBoardRemoved = 0xBFF6001B;
inline constexpr uint32_t kInvalidName = 0xBFF6001C;
inline constexpr uint32_t kNoMoreInterfaces = 0xBFF6001D;
inline constexpr uint32_t kPortNotFound = 0xBFF6001E;
inline constexpr uint32_t kNotSupported = 0xBFF6001F;
inline constexpr uint32_t kAcquiring = 0xBFF60021;
inline constexpr uint32_t kInvalidBuffer = 0xBFF60022;
inline constexpr uint32_t kAcquisitionEnded = 0xBFF60024;
inline constexpr uint32_t kCameraAttributeNotFound = 0xBFF60030;
inline constexpr uint32_t kCameraAttributeValue = 0xBFF60031;
inline constexpr uint32_t kCameraAttributeKind = 0xBFF60032;
inline constexpr uint32_t kInvalidTrigger = 0xBFF60038;
inline constexpr uint32_t kInvalidPulse = 0xBFF60039;
inline constexpr uint32_t kLightingData = 0xBFF6003A;
inline constexpr uint32_t kDescription = 0xBFF6003F;
inline constexpr uint32_t kNotInThisState = 0xBFF60044;
inline constexpr uint32_t kNotAvailableNow = 0xBFF60053;
inline constexpr uint32_t kUnitInUse = 0xBFF600BD;

// The boards of the built-in description.
inline constexpr uint32_t kBoard7109 = 0x00A10001;  // two units, two ports, Camera Link
inline constexpr uint32_t kBoard7105 = 0x00A10002;  // one unit, two ports, analog and digital
inline constexpr uint32_t kBoard7107 = 0x00A10003;  // one unit, one port, digital

inline std::string LastError() {
  char text[1024] = {};
  keldsimGetLastError(text, sizeof text);
  return text;
}

inline std::string ReadText(const std::filesystem::path& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

inline void WriteText(const std::filesystem::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::trunc);
  out << text;
}

class SimTest : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("KELDSIM_CONFIG");
    unsetenv("KELDSIM_DATA");
    const char* temporary = std::getenv("TMPDIR");
    std::string pattern =
        std::string(temporary != nullptr && temporary[0] == '/' ? temporary : "/tmp") + "/keldsim-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = std::filesystem::canonical(pattern);
    ASSERT_EQ(keldsimResetWith(Description(), folder_.c_str()), kOk) << LastError();
    ASSERT_EQ(keldsimClearCallLog(), kOk);
  }

  void TearDown() override {
    // Closes what the test left open and lets go of the folder.
    keldsimResetWith(nullptr, folder_.c_str());
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  // The description of the test's boards; null: the built-in one.
  virtual const char* Description() const { return nullptr; }

  // Makes the board's interface file and records it, as the library does
  // when it first meets a board; its interface name.
  std::string ClaimInterface(uint32_t serial) {
    char path[KELD_DRIVER_PATH_SIZE] = {};
    EXPECT_EQ(odkelduClaimNewInterfaceFile(serial, path), kOk);
    EXPECT_EQ(odkelduSetActiveInterfaceFile(serial, path), kOk);
    std::string name = path;
    return name.substr(0, name.size() - 4);
  }

  uint32_t Open(const std::string& name, uint32_t* interfaceId = nullptr) {
    uint32_t iid = 0, sid = 0;
    EXPECT_EQ(kldInterfaceOpen(name.c_str(), &iid), kOk) << name;
    EXPECT_EQ(kldSessionOpen(iid, &sid), kOk) << name;
    if (interfaceId != nullptr) *interfaceId = iid;
    return sid;
  }

  // A session on the board with the camera file loaded on its port.
  uint32_t OpenWithCamera(uint32_t serial, const std::string& cameraFile, const std::string& unitSuffix = "") {
    const uint32_t sid = Open(ClaimInterface(serial) + unitSuffix);
    EXPECT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
    EXPECT_EQ(odkelduLoadCameraConfig(sid, cameraFile.c_str()), kOk) << cameraFile;
    EXPECT_EQ(odkelduChangeExecutionState(sid, 256), kOk);
    return sid;
  }

  uint32_t U32(uint32_t sid, uint32_t key) {
    uint32_t value = 0xDEADBEEF;
    EXPECT_EQ(kldGetAttribute(sid, key, &value), kOk) << std::hex << key;
    return value;
  }

  double F64(uint32_t sid, uint32_t key) {
    double value = -1;
    EXPECT_EQ(kldGetAttribute(sid, key, &value), kOk) << std::hex << key;
    return value;
  }

  std::string Text(uint32_t sid, uint32_t key) {
    char value[512];
    std::memset(value, 'x', sizeof value);
    EXPECT_EQ(kldGetAttribute(sid, key, value), kOk) << std::hex << key;
    return std::string(value, strnlen(value, sizeof value));
  }

  // Writes a configuration attribute the way the library does: in state 16,
  // then back to 256.
  template <typename T>
  uint32_t Configure(uint32_t sid, uint32_t key, const T& value) {
    EXPECT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
    const uint32_t status = kldSetAttributeFromVoidPtr(sid, key, &value);
    EXPECT_EQ(odkelduChangeExecutionState(sid, 256), kOk);
    return status;
  }

  std::filesystem::path folder_;
};

}  // namespace keldsim_test
