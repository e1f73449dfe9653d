// Attributes of a session on a simulated board through the typed functions,
// immediate and cached; the driver's execution states behind the writes;
// validation, camera files and configuration texts; registers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "device_fixture.h"

namespace keld::device {
namespace {

constexpr std::uint32_t kBoardTypeKey = 0x3FF60001;
constexpr std::uint32_t kTimeoutKey = 0x3FF60070;
constexpr std::uint32_t kSerialKey = 0x3FF600C0;
constexpr std::uint32_t kLastBufferKey = 0x3FF60120;
constexpr std::uint32_t kMeasuredRateKey = 0x3FF60122;
constexpr std::uint32_t kWidthKey = 0x3FF601A6;
constexpr std::uint32_t kHeightKey = 0x3FF601A7;
constexpr std::uint32_t kWindowKey = 0x3FF601A8;
constexpr std::uint32_t kModeSettingKey = 0x3FF601C8;
constexpr std::uint32_t kRedGainKey = 0x3FF601CC;
constexpr std::uint32_t kCameraFileKey = 0x3FF60401;
constexpr std::uint32_t kInterfaceChangedKey = 0x3FF604C0;
constexpr std::uint32_t kPort0Key = 0x3FF604C3;
constexpr std::uint32_t kPort1Key = 0x3FF604C4;

std::string Join(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += (text.empty() ? "" : " ") + line;
  return text;
}

std::string Words(const std::uint32_t* words, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += (i == 0 ? "" : " ") + std::to_string(words[i]);
  return text;
}

std::uint32_t U32(std::uint32_t id, std::uint32_t key, std::int32_t cachedOnly = 0) {
  std::uint32_t value = 0xEEEEEEEE;
  EXPECT_EQ(cfgGetAttributeU32(id, key, &value, cachedOnly), 0) << Hex(key);
  return value;
}

double F64(std::uint32_t id, std::uint32_t key, std::int32_t cachedOnly = 0) {
  double value = -1;
  EXPECT_EQ(cfgGetAttributeDouble(id, key, &value, cachedOnly), 0) << Hex(key);
  return value;
}

std::string Text(std::uint32_t id, std::uint32_t key, std::int32_t cachedOnly = 0) {
  char value[256] = {};
  EXPECT_EQ(cfgGetAttributeString(id, key, value, cachedOnly), 0) << Hex(key);
  return value;
}

// A value of each type, read and written at once and through the cache. A
// cached get after a cached set answers the new value without the device;
// the value reaches the device at the next validation.
DEVICE_SCENARIO(AttributesOfEveryTypeImmediateAndCached) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);

  // u32
  device.Note("timeout " + std::to_string(U32(id, kTimeoutKey)));
  EXPECT_EQ(cfgSetAttributeU32(id, kTimeoutKey, 5000, 0), 0);
  EXPECT_EQ(U32(id, kTimeoutKey), 5000u);
  Device::ClearCalls();
  EXPECT_EQ(cfgSetAttributeU32(id, kTimeoutKey, 7000, 1), 0);
  EXPECT_EQ(U32(id, kTimeoutKey, 1), 7000u);
  // f64
  EXPECT_EQ(cfgSetAttributeDouble(id, kRedGainKey, 3.25, 1), 0);
  EXPECT_EQ(F64(id, kRedGainKey, 1), 3.25);
  // string: a camera file of a port
  EXPECT_EQ(cfgSetAttributeString(id, kPort1Key, "mono640.icd", 1), 0);
  EXPECT_EQ(Text(id, kPort1Key, 1), "mono640.icd");
  // rectangle: the window, six words of which the last two are computed
  const std::uint32_t window[6] = {16, 320, 8, 240, 0, 0};
  EXPECT_EQ(cfgSetAttributeRect(id, kWindowKey, window, 1), 0);
  std::uint32_t cached[6] = {};
  EXPECT_EQ(cfgGetAttributeRect(id, kWindowKey, cached, 1), 0);
  EXPECT_EQ(Words(cached, 6), "16 320 8 240 336 248");
  EXPECT_EQ(Device::CallsWithoutErrorTexts(), std::vector<std::string>{});
  device.Note("cached: " + std::to_string(U32(id, kTimeoutKey, 1)) + " " + std::to_string(F64(id, kRedGainKey, 1)) +
              " " + Text(id, kPort1Key, 1) + " " + Words(cached, 6) + "; driver calls " +
              std::to_string(Device::CallsWithoutErrorTexts().size()));
  // The device still has the old values.
  EXPECT_EQ(U32(id, kTimeoutKey), 5000u);
  EXPECT_EQ(F64(id, kRedGainKey), 1.0);
  EXPECT_EQ(Text(id, kPort1Key), "mono16.icd");
  std::uint32_t before[6] = {};
  EXPECT_EQ(cfgGetAttributeRect(id, kWindowKey, before, 0), 0);
  EXPECT_EQ(Words(before, 6), "0 1024 0 768 1024 768");
  device.Note("device before the validation: " + Words(before, 6));

  // Set again in the cache (the reads took the device's values in) and validated.
  EXPECT_EQ(cfgSetAttributeU32(id, kTimeoutKey, 7000, 1), 0);
  EXPECT_EQ(cfgSetAttributeDouble(id, kRedGainKey, 3.25, 1), 0);
  EXPECT_EQ(cfgSetAttributeString(id, kPort1Key, "mono640.icd", 1), 0);
  EXPECT_EQ(cfgSetAttributeRect(id, kWindowKey, window, 1), 0);
  const std::int32_t validated = cfgValidateAttributes(id);
  EXPECT_EQ(validated, 0);
  device.Note("validate", validated);
  EXPECT_EQ(U32(id, kTimeoutKey), 7000u);
  EXPECT_EQ(F64(id, kRedGainKey), 3.25);
  EXPECT_EQ(Text(id, kPort1Key), "mono640.icd");
  std::uint32_t after[6] = {};
  EXPECT_EQ(cfgGetAttributeRect(id, kWindowKey, after, 0), 0);
  EXPECT_EQ(Words(after, 6), "16 320 8 240 336 248");
  EXPECT_EQ(U32(id, kWidthKey), 320u);
  EXPECT_EQ(U32(id, kHeightKey), 240u);
  device.Note("device after the validation: " + std::to_string(U32(id, kTimeoutKey)) + " " +
              std::to_string(F64(id, kRedGainKey)) + " " + Text(id, kPort1Key) + " " + Words(after, 6));

  // Written at once.
  EXPECT_EQ(cfgSetAttributeDouble(id, kRedGainKey, 0.5, 0), 0);
  EXPECT_EQ(F64(id, kRedGainKey), 0.5);
  const std::uint32_t whole[6] = {0, 1024, 0, 768, 1024, 768};
  EXPECT_EQ(cfgSetAttributeRect(id, kWindowKey, whole, 0), 0);
  EXPECT_EQ(U32(id, kWidthKey), 1024u);
  EXPECT_EQ(cfgSetAttributeString(id, kPort1Key, "mono16.icd", 0), 0);
  EXPECT_EQ(Text(id, kPort1Key), "mono16.icd");
  device.Note("immediate: " + std::to_string(F64(id, kRedGainKey)) + " " + std::to_string(U32(id, kWidthKey)) + " " +
              Text(id, kPort1Key));
}

// What the typed functions do with values and keys they cannot use.
DEVICE_SCENARIO(RefusedValuesUnknownKeysAndBadPointers) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  const std::uint32_t timeout = U32(id, kTimeoutKey);
  // A text for a number: refused by the attribute, unreported with the cache.
  EXPECT_EQ(cfgSetAttributeString(id, kTimeoutKey, "soon", 1), 0);
  EXPECT_EQ(U32(id, kTimeoutKey, 1), timeout);
  device.Note("text into a number, cached: value " + std::to_string(U32(id, kTimeoutKey, 1)));

  struct Case {
    const char* what;
    std::int32_t status;
    std::uint32_t expected;
  };
  std::uint32_t value = 0;
  double number = 0;
  char text[256] = {};
  std::uint32_t rect[6] = {};
  const std::uint32_t tooWide[6] = {0, 2048, 0, 768, 2048, 768};
  const Case cases[] = {
      {"out of range", cfgSetAttributeDouble(id, kRedGainKey, 4.5, 0), 0xBFF60005},
      {"read-only", cfgSetAttributeU32(id, kSerialKey, 5, 0), 0xBFF60006},
      {"window beyond the sensor", cfgSetAttributeRect(id, kWindowKey, tooWide, 0),
       0xBFF60005},
      {"unknown key, get", cfgGetAttributeU32(id, 0x3FF6FFFF, &value, 0), 0xBFFF8006},
      {"unknown key, cached get", cfgGetAttributeDouble(id, 0x3FF6FFFF, &number, 1), 0xBFFF8006},
      {"unknown key, set", cfgSetAttributeU32(id, 0x3FF6FFFF, 1, 0), 0xBFFF8006},
      {"unknown key, cached set", cfgSetAttributeString(id, 0x3FF6FFFF, "x", 1), 0xBFFF8006},
      {"null value", cfgGetAttributeU32(id, kTimeoutKey, nullptr, 0), 0xBFFF8007},
      {"null number", cfgGetAttributeDouble(id, kRedGainKey, nullptr, 0), 0xBFFF8007},
      {"null rectangle", cfgSetAttributeRect(id, kWindowKey, nullptr, 0), 0xBFFF8007},
      {"no such session", cfgGetAttributeString(0x7FFFFFF0, kCameraFileKey, text, 0), 0xBFFF8009},
      {"no such session, rectangle", cfgGetAttributeRect(0x7FFFFFF0, kWindowKey, rect, 1), 0xBFFF8009},
      {"not read yet", cfgGetAttributeU32(id, kLastBufferKey, &value, 0), 0xBFF6001A},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(static_cast<std::uint32_t>(c.status), c.expected) << c.what;
    device.Note(c.what, c.status);
  }
  device.Note("text of 0xBFF60005: " + Device::ErrorText(0xBFF60005));
  EXPECT_EQ(Device::ErrorText(0xBFF60005), "The attribute value is out of range.");

  // A null text buffer drops the text but not the read.
  Device::ClearCalls();
  const std::int32_t dropped = cfgGetAttributeString(id, kCameraFileKey, nullptr, 0);
  EXPECT_EQ(dropped, 0);
  EXPECT_EQ(Device::CallCount("kldGetAttribute"), 1u);
  const std::int32_t droppedFailure = cfgGetAttributeString(id, kLastBufferKey, nullptr, 0);
  EXPECT_EQ(static_cast<std::uint32_t>(droppedFailure), 0xBFF6001Au);
  device.Note("null text buffer", dropped);
  device.Note("null text buffer, failing read", droppedFailure);
  // The whole text with a camera file name.
  EXPECT_EQ(Text(id, kCameraFileKey), "mono16.icd");

  // The refused writes kept their marks: validation writes them again, in
  // the order of their keys, and the first failure (the serial number's)
  // is the result.
  Device::ClearCalls();
  std::int32_t validated = cfgValidateAttributes(id);
  EXPECT_EQ(static_cast<std::uint32_t>(validated), 0xBFF60006u);
  EXPECT_EQ(Device::CallCount("odkelduValidate"), 0u);
  device.Note("validate with the refused values", validated);
  EXPECT_EQ(cfgSetAttributeDouble(id, kRedGainKey, 1.5, 0), 0);
  const std::uint32_t whole[6] = {0, 1024, 0, 768, 1024, 768};
  EXPECT_EQ(cfgSetAttributeRect(id, kWindowKey, whole, 0), 0);
  validated = cfgValidateAttributes(id);
  EXPECT_EQ(static_cast<std::uint32_t>(validated), 0xBFF60006u);
  device.Note("validate with the read-only value still marked", validated);
  // Only a refresh of the attributes takes the last mark away.
  EXPECT_EQ(cfgReadAttributes(id, nullptr), 0);
  validated = cfgValidateAttributes(id);
  EXPECT_EQ(validated, 0);
  device.Note("validate after the refresh", validated);
  EXPECT_EQ(F64(id, kRedGainKey), 1.5);
}

// A write that the driver refuses in its present state goes through the
// configuration state and back.
DEVICE_SCENARIO(AWriteRefusedInTheStateIsRetriedInTheConfigurationState) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  Device::ClearCalls();
  const std::int32_t status = cfgSetAttributeU32(id, kModeSettingKey, 1, 0);
  EXPECT_EQ(status, 0);
  const std::vector<std::string> calls = Device::CallsWithoutErrorTexts();
  EXPECT_EQ(calls, (std::vector<std::string>{"kldSetAttributeFromVoidPtr", "odkelduChangeExecutionState",
                                             "kldSetAttributeFromVoidPtr", "odkelduChangeExecutionState"}));
  device.Note("configuration write", status);
  device.Note("calls: " + Join(calls));
  EXPECT_EQ(U32(id, kModeSettingKey), 1u);
  // Back in the ready state: the next configuration write retries again.
  Device::ClearCalls();
  EXPECT_EQ(cfgSetAttributeU32(id, kModeSettingKey, 0, 0), 0);
  EXPECT_EQ(Device::CallCount("odkelduChangeExecutionState"), 2u);
  // A setting that may change at any time is written once.
  Device::ClearCalls();
  EXPECT_EQ(cfgSetAttributeU32(id, kTimeoutKey, 1234, 0), 0);
  EXPECT_EQ(Device::CallsWithoutErrorTexts(), std::vector<std::string>{"kldSetAttributeFromVoidPtr"});
}

// Refused in both states: the session stays in the configuration state, the
// status comes back and the attribute stays marked, so that the next
// validation writes it again.
DEVICE_SCENARIO(AWriteRefusedTwiceStaysInTheConfigurationStateWithItsMark) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  EXPECT_EQ(keldsimInjectStatus("kldSetAttributeFromVoidPtr", 0xBFF60044, 2), 0u);
  Device::ClearCalls();
  const std::int32_t status = cfgSetAttributeU32(id, kTimeoutKey, 4321, 0);
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFF60044u);
  const std::vector<std::string> calls = Device::CallsWithoutErrorTexts();
  EXPECT_EQ(calls, (std::vector<std::string>{"kldSetAttributeFromVoidPtr", "odkelduChangeExecutionState",
                                             "kldSetAttributeFromVoidPtr"}));
  device.Note("write refused twice", status);
  device.Note("calls: " + Join(calls));
  device.Note("text: " + Device::ErrorText(status));

  // Still in the configuration state: a configuration write goes at once.
  Device::ClearCalls();
  EXPECT_EQ(cfgSetAttributeU32(id, kModeSettingKey, 1, 0), 0);
  EXPECT_EQ(Device::CallsWithoutErrorTexts(), std::vector<std::string>{"kldSetAttributeFromVoidPtr"});
  device.Note("configuration write in state 16: " + Join(Device::CallsWithoutErrorTexts()));

  // The refused value is written again by the validation.
  Device::ClearCalls();
  const std::int32_t validated = cfgValidateAttributes(id);
  EXPECT_EQ(validated, 0);
  const std::vector<std::string> validation = Device::CallsWithoutErrorTexts();
  ASSERT_GE(validation.size(), 3u);
  EXPECT_EQ(std::vector<std::string>(validation.begin(), validation.begin() + 3),
            (std::vector<std::string>{"kldSetAttributeFromVoidPtr", "odkelduGetExecutionState", "odkelduValidate"}));
  device.Note("validate", validated);
  EXPECT_EQ(U32(id, kTimeoutKey), 4321u);
  device.Note("timeout " + std::to_string(U32(id, kTimeoutKey)));
}

// The attributes a refresh keeps: those read, and those whose read fails
// only for now (0xBFF60053, 0xBFF6001A); others are dropped, and the refresh
// still succeeds.
DEVICE_SCENARIO(ARefreshKeepsAttributesThatCannotBeReadNow) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  std::uint32_t value = 0xEEEEEEEE;
  double number = -1;
  EXPECT_EQ(cfgGetAttributeU32(id, kLastBufferKey, &value, 1), 0);
  EXPECT_EQ(value, 0u);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgGetAttributeU32(id, kLastBufferKey, &value, 0)), 0xBFF6001Au);
  EXPECT_EQ(cfgGetAttributeDouble(id, kMeasuredRateKey, &number, 1), 0);
  EXPECT_EQ(number, 0.0);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgGetAttributeDouble(id, kMeasuredRateKey, &number, 0)), 0xBFF60053u);
  device.Note("kept: last buffer " + std::to_string(value) + ", measured rate " + std::to_string(number));

  // The first attribute the refresh reads is the board type.
  for (std::uint32_t failure : {0xBFF60004u, 0xBFF60053u, 0xBFF6001Au, 0xBFF60040u}) {
    EXPECT_EQ(keldsimInjectStatus("kldGetAttribute", failure, 1), 0u);
    const std::int32_t validated = cfgValidateAttributes(id);
    EXPECT_EQ(validated, 0);
    std::uint32_t type = 0xEEEEEEEE;
    const std::int32_t found = cfgGetAttributeU32(id, kBoardTypeKey, &type, 1);
    const bool kept = failure == 0xBFF60053u || failure == 0xBFF6001Au;
    EXPECT_EQ(static_cast<std::uint32_t>(found), kept ? 0u : 0xBFFF8006u) << Hex(failure);
    if (kept) {
      EXPECT_EQ(type, 0u);
    }
    device.Note("board type read failing with " + Hex(failure) + ": validate " +
                    Hex(static_cast<std::uint32_t>(validated)) + ", cached get",
                found);
  }
  EXPECT_EQ(cfgValidateAttributes(id), 0);
  EXPECT_EQ(U32(id, kBoardTypeKey, 1), 0x7105u);
}

// Validation reads the state first: a board that has gone fails there, and
// the driver is not asked to validate.
DEVICE_SCENARIO(ValidationOfAGoneBoardFailsAtTheState) {
  const std::uint32_t id = device.Open("img2");
  ASSERT_NE(id, 0u);
  // A configuration the driver does not accept.
  EXPECT_EQ(cfgSetAttributeString(id, kPort0Key, "absent.icd", 1), 0);
  const std::int32_t refused = cfgValidateAttributes(id);
  EXPECT_EQ(static_cast<std::uint32_t>(refused), 0xBFF6000Du);
  device.Note("validate a port without a camera file", refused);
  EXPECT_EQ(cfgSetAttributeString(id, kPort0Key, "mono16.icd", 0), 0);
  EXPECT_EQ(cfgValidateAttributes(id), 0);

  EXPECT_EQ(keldsimRemoveBoard(0x00A10003), 0u);
  Device::ClearCalls();
  const std::int32_t status = cfgValidateAttributes(id);
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFF6001Bu);
  EXPECT_EQ(Device::CallCount("odkelduGetExecutionState"), 1u);
  EXPECT_EQ(Device::CallCount("odkelduValidate"), 0u);
  device.Note("validate a gone board", status);
  const std::int32_t closed = cfgClose(id);
  EXPECT_EQ(closed, 0);
  device.Note("close", closed);
}

// Camera files: stored with the interface file where that changed, loaded
// back in the configuration state; a failed load leaves the driver there.
DEVICE_SCENARIO(CameraFilesAreStoredAndLoaded) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  Device::ClearCalls();
  for (const char* path : {static_cast<const char*>(nullptr), ""}) {
    const std::int32_t status = cfgReadAttributes(id, path);
    EXPECT_EQ(status, 0);
    device.Note(std::string("read ") + (path ? "empty path" : "null path"), status);
  }
  EXPECT_EQ(Device::CallCount("odkelduChangeExecutionState"), 0u);
  EXPECT_EQ(Device::CallCount("odkelduLoadCameraConfig"), 0u);

  EXPECT_EQ(cfgSetAttributeDouble(id, kRedGainKey, 2.0, 0), 0);
  Device::ClearCalls();
  std::int32_t status = cfgWriteAttributes(id, "saved.icd");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Device::CallCount("odkelduStoreInterfaceConfig"), 0u);
  EXPECT_TRUE(std::filesystem::exists(device.folder() / "saved.icd"));
  device.Note("write saved.icd", status);

  EXPECT_EQ(cfgSetAttributeDouble(id, kRedGainKey, 3.0, 0), 0);
  Device::ClearCalls();
  status = cfgReadAttributes(id, "saved.icd");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Device::CallCount("odkelduLoadInterfaceConfig"), 1u);
  EXPECT_EQ(Device::CallCount("odkelduLoadCameraConfig"), 1u);
  EXPECT_EQ(F64(id, kRedGainKey), 2.0);
  device.Note("read saved.icd", status);
  device.Note("red gain " + std::to_string(F64(id, kRedGainKey)));

  // A changed port: the interface file is stored too.
  EXPECT_EQ(cfgSetAttributeString(id, kPort1Key, "mono640.icd", 0), 0);
  EXPECT_EQ(U32(id, kInterfaceChangedKey), 1u);
  Device::ClearCalls();
  status = cfgWriteAttributes(id, "saved2.icd");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Device::CallCount("odkelduStoreInterfaceConfig"), 1u);
  EXPECT_NE(ReadFile(device.folder() / "img1.iid").find("mono640.icd"), std::string::npos);
  device.Note("write saved2.icd with the interface file", status);

  // A file that cannot be loaded: the status, and the configuration state.
  status = cfgReadAttributes(id, "missing.icd");
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFF6000Du);
  device.Note("read missing.icd", status);
  Device::ClearCalls();
  EXPECT_EQ(cfgSetAttributeU32(id, kModeSettingKey, 1, 0), 0);
  EXPECT_EQ(Device::CallsWithoutErrorTexts(), std::vector<std::string>{"kldSetAttributeFromVoidPtr"});
  device.Note("configuration write after it: " + Join(Device::CallsWithoutErrorTexts()));
  status = cfgReadAttributes(id, "saved.icd");
  EXPECT_EQ(status, 0);

  // A file that cannot be written.
  status = cfgWriteAttributes(id, "no-such-folder/x.icd");
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFF6000Cu);
  device.Note("write into a missing folder", status);
}

// The camera configuration as text, out and in again.
DEVICE_SCENARIO(TheConfigurationAsText) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  EXPECT_EQ(cfgSetAttributeDouble(id, kRedGainKey, 2.5, 0), 0);
  char* text = nullptr;
  std::int32_t status = cfgWriteAttributesToString(id, &text);
  EXPECT_EQ(status, 0);
  ASSERT_NE(text, nullptr);
  const std::string stored = text;
  EXPECT_EQ(cfgDispose(text), 0);
  EXPECT_NE(stored.find("Model = Mono 12-bit 1024\n"), std::string::npos) << stored;
  EXPECT_NE(stored.find("0x3FF601CC = 2.5\n"), std::string::npos) << stored;
  device.Note("write to text", status);
  device.Note(stored);
  EXPECT_EQ(cfgWriteAttributesToString(id, nullptr), 0);

  EXPECT_EQ(cfgSetAttributeDouble(id, kRedGainKey, 1.0, 0), 0);
  status = cfgReadAttributesFromString(id, stored.c_str());
  EXPECT_EQ(status, 0);
  EXPECT_EQ(F64(id, kRedGainKey), 2.5);
  device.Note("read from text", status);

  status = cfgReadAttributesFromString(id, nullptr);
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFFF8007u);
  device.Note("read from a null text", status);
  status = cfgReadAttributesFromString(id, "[Camera\nnot a camera file");
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFF6000Bu);
  device.Note("read from a broken text", status);
}

// Registers of the board: `count` reads or writes of one register, through
// the serial number that the session reads first.
DEVICE_SCENARIO(RegistersAreReadAndWrittenByTheSerialNumber) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  Device::ClearCalls();
  std::int32_t status = cfgReadU32(id, 0, 0x20, 0, nullptr);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Device::CallsWithoutErrorTexts(), std::vector<std::string>{"kldGetAttribute"});
  device.Note("read of none: " + Join(Device::CallsWithoutErrorTexts()), status);
  Device::ClearCalls();
  status = cfgWriteU32(id, 0, 0x40, 0, nullptr);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Device::CallsWithoutErrorTexts(), std::vector<std::string>{"kldGetAttribute"});
  device.Note("write of none: " + Join(Device::CallsWithoutErrorTexts()), status);

  std::uint32_t type = 0;
  EXPECT_EQ(cfgReadU32(id, 0, 0x0000, 1, &type), 0);
  EXPECT_EQ(type, 0x7105u);
  std::uint32_t samples[3] = {};
  EXPECT_EQ(cfgReadU32(id, 0, 0x0020, 3, samples), 0);
  EXPECT_EQ(samples[1], samples[0] + 1);  // a status register counts its reads
  EXPECT_EQ(samples[2], samples[0] + 2);
  device.Note("type register " + Hex(type) + ", three samples of the status register " + Hex(samples[0]) + " " +
              Hex(samples[1]) + " " + Hex(samples[2]));

  const std::uint32_t words[2] = {0x11111111, 0x22222222};
  EXPECT_EQ(cfgWriteU32(id, 0, 0x40, 2, words), 0);
  std::uint32_t back = 0;
  EXPECT_EQ(cfgReadU32(id, 0, 0x40, 1, &back), 0);
  EXPECT_EQ(back, 0x22222222u);
  device.Note("after two writes " + Hex(back));

  std::uint32_t out = 0;
  status = cfgReadU32(id, 2, 0, 1, &out);
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFF60018u);
  device.Note("read outside the board", status);
  status = cfgWriteU32(id, 0, 0x42, 1, words);
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFF60002u);
  device.Note("write off the word", status);

  // Values with nowhere to be: nothing is read or written.
  Device::ClearCalls();
  status = cfgReadU32(id, 0, 0x20, 2, nullptr);
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFFF8007u);
  device.Note("read into nothing", status);
  status = cfgWriteU32(id, 0, 0x40, 2, nullptr);
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFFF8007u);
  device.Note("write from nothing", status);
  EXPECT_EQ(Device::CallsWithoutErrorTexts(), std::vector<std::string>{});
}

// Texts of statuses: the driver's own first, then the library's table,
// then the fixed sentence.
DEVICE_SCENARIO(ErrorTextsComeFromTheDriverFirst) {
  const struct {
    std::uint32_t status;
    const char* text;
  } expected[] = {
      {0xBFF60044, "The operation is not allowed in the present execution state."},
      {0xBFF600BD, "The acquisition unit is in use by another session."},
      {0xBFF6001A, "No image has been acquired yet."},
      {0x00000000, "Spiffy!"},
      {0xBFFF800B, "The session for your device could not be configured."},
  };
  for (const auto& row : expected) {
    const std::string text = Device::ErrorText(static_cast<std::int32_t>(row.status));
    EXPECT_EQ(text, row.text) << Hex(row.status);
    device.Note(Hex(row.status) + ": " + text);
  }
  // The driver's range without a text of the driver, and library codes
  // without an entry, get the fixed sentence.
  for (std::uint32_t status : {0xBFF60FF0u, 0xBFFF8010u}) {
    const std::string text = Device::ErrorText(static_cast<std::int32_t>(status));
    EXPECT_EQ(text.rfind("An undetermined error code has been encountered.", 0), 0u) << text;
    device.Note(Hex(status) + ": " + text);
  }
}

}  // namespace
}  // namespace keld::device
