// The attributes of a session: key, type code, when they may be written,
// where they are stored, and their range. The keys are the driver's; the
// library knows some of them by number, the rest it lists and passes on.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/session.h"

namespace keldsim {

namespace key {
inline constexpr std::uint32_t kBoardType = 0x3FF60001;
inline constexpr std::uint32_t kRevision = 0x3FF60002;
inline constexpr std::uint32_t kUnits = 0x3FF60003;
inline constexpr std::uint32_t kUnit = 0x3FF60004;
inline constexpr std::uint32_t kWindowTop = 0x3FF60068;
inline constexpr std::uint32_t kWindowLeft = 0x3FF60069;
inline constexpr std::uint32_t kTimeout = 0x3FF60070;
inline constexpr std::uint32_t kAcquiring = 0x3FF60074;
inline constexpr std::uint32_t kSerial = 0x3FF600C0;
inline constexpr std::uint32_t kRowPixels = 0x3FF600C1;
inline constexpr std::uint32_t kImageType = 0x3FF600D8;
inline constexpr std::uint32_t kFrameRate = 0x3FF600D9;
inline constexpr std::uint32_t kSensorWidth = 0x3FF600DA;
inline constexpr std::uint32_t kSensorHeight = 0x3FF600DB;
inline constexpr std::uint32_t kLastBuffer = 0x3FF60120;
inline constexpr std::uint32_t kLastTimestamp = 0x3FF60121;
inline constexpr std::uint32_t kMeasuredFrameRate = 0x3FF60122;
inline constexpr std::uint32_t kEncoderPosition = 0x3FF60180;
inline constexpr std::uint32_t kWindowWidth = 0x3FF601A6;
inline constexpr std::uint32_t kWindowHeight = 0x3FF601A7;
inline constexpr std::uint32_t kWindowRect = 0x3FF601A8;
inline constexpr std::uint32_t kPorts = 0x3FF601AD;
inline constexpr std::uint32_t kAcquisitionMode = 0x3FF601C7;
inline constexpr std::uint32_t kAcquisitionModeSetting = 0x3FF601C8;
inline constexpr std::uint32_t kBayerPattern = 0x3FF601CB;
inline constexpr std::uint32_t kRedGain = 0x3FF601CC;
inline constexpr std::uint32_t kGreenGain = 0x3FF601CD;
inline constexpr std::uint32_t kBlueGain = 0x3FF601CE;
inline constexpr std::uint32_t kBayerAlgorithm = 0x3FF601CF;
inline constexpr std::uint32_t kBoardDecodesBayer = 0x3FF601D0;
inline constexpr std::uint32_t kTapOrder = 0x3FF60310;
inline constexpr std::uint32_t kStrobeWaveform = 0x3FF60320;
inline constexpr std::uint32_t kCameraModel = 0x3FF60400;
inline constexpr std::uint32_t kCameraFile = 0x3FF60401;
inline constexpr std::uint32_t kBitDepth = 0x3FF60424;
inline constexpr std::uint32_t kSkipFrames = 0x3FF60466;
inline constexpr std::uint32_t kPortsToStore = 0x3FF6046B;
inline constexpr std::uint32_t kInterfaceName = 0x3FF604BE;
inline constexpr std::uint32_t kInterfaceChanged = 0x3FF604C0;
inline constexpr std::uint32_t kPortCameraFile = 0x3FF604C3;  // one key a port, up to 8
inline constexpr std::uint32_t kInterfaceTypes = 0x3FF604DC;
inline constexpr std::uint32_t kMemoryBytes = 0x3FF604DD;
inline constexpr std::uint32_t kListAll = 0x3FF60502;
inline constexpr std::uint32_t kTriggerTermination = 0x3FF60510;
inline constexpr std::uint32_t kCameraPower = 0x3FF60511;
inline constexpr std::uint32_t kLightHead = 0x3FF6057B;
inline constexpr std::uint32_t kLightCurrentLimit = 0x3FF6057C;
inline constexpr std::uint32_t kLightDutyLimit = 0x3FF6057D;
}  // namespace key

enum class Access {
  kReadOnly,       // refused with 0xBFF60006
  kConfiguration,  // only in state 16, else 0xBFF60044
  kAlways,         // in every state
};

enum class Stored { kNo, kInterfaceFile, kCameraFile };

struct AttributeDef {
  std::uint32_t key;
  std::uint32_t type;
  Access access;
  Stored stored;
  bool advanced;            // listed only after 1 was written to 0x3FF60502
  std::uint32_t since;      // first driver version word that has it
  double minimum, maximum;  // of u32, f64 and of each element of a vector
  const char* name;
};

std::span<const AttributeDef> AttributeDefs();
// The attribute of a key; the port keys 0x3FF604C3 + n (n below 8) give the
// port attribute, whether or not the board has that port.
const AttributeDef* FindAttributeDef(std::uint32_t key);
// Elements of a vector type, 0 for the others.
std::uint32_t VectorLength(std::uint32_t typeCode);

std::string ValueToText(const AttributeValue& value);
// False where the text is no value of the type.
bool ValueFromText(std::uint32_t typeCode, std::string_view text, AttributeValue& value);
// Is the value inside the attribute's range (element by element for
// vectors; strings: no line breaks).
bool InRange(const AttributeDef& def, const AttributeValue& value);

}  // namespace keldsim
