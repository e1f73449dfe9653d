#include "core/attribute_table.h"

#include <cmath>
#include <iterator>

#include "core/text_file.h"

namespace keldsim {
namespace {

constexpr std::uint32_t kAll = 0;
constexpr std::uint32_t kSince472 = 0x04720000;
constexpr double kU32Max = 4294967295.0;

using enum Access;
using enum Stored;

// clang-format off
constexpr AttributeDef kDefs[] = {
  // Facts of the board.
  {key::kBoardType, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Board type"},
  {key::kRevision, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Board revision"},
  {key::kUnits, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Acquisition units"},
  {key::kUnit, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Acquisition unit of the session"},
  {key::kSerial, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Serial number"},
  {key::kPorts, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Ports"},
  {key::kPortsToStore, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Ports of the interface file"},
  {key::kInterfaceTypes, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Interface types"},
  {key::kMemoryBytes, type::kU64, kReadOnly, kNo, true, kAll, 0, 0, "On-board memory"},
  // What the session is doing, and what its camera delivers.
  {key::kAcquiring, type::kU32, kReadOnly, kNo, false, kAll, 0, 1, "Acquiring"},
  {key::kLastBuffer, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Last buffer number"},
  {key::kLastTimestamp, type::kU64, kReadOnly, kNo, true, kAll, 0, 0, "Time of the last buffer"},
  {key::kMeasuredFrameRate, type::kF64, kReadOnly, kNo, false, kAll, 0, 0, "Measured frame rate"},
  {key::kEncoderPosition, type::kU32, kReadOnly, kNo, true, kAll, 0, kU32Max, "Encoder position"},
  {key::kImageType, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Image type"},
  {key::kBitDepth, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Bit depth"},
  {key::kSensorWidth, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Sensor width"},
  {key::kSensorHeight, type::kU32, kReadOnly, kNo, false, kAll, 0, kU32Max, "Sensor height"},
  {key::kCameraModel, type::kString, kReadOnly, kNo, false, kAll, 0, 0, "Camera model"},
  {key::kCameraFile, type::kString, kReadOnly, kNo, false, kAll, 0, 0, "Camera file"},
  {key::kInterfaceName, type::kString, kReadOnly, kNo, false, kAll, 0, 0, "Interface file"},
  {key::kInterfaceChanged, type::kU32, kReadOnly, kNo, false, kAll, 0, 1, "Interface configuration changed"},
  {key::kLightHead, type::kString, kReadOnly, kNo, false, kAll, 0, 0, "Light head"},
  {key::kLightCurrentLimit, type::kF64, kReadOnly, kNo, false, kAll, 0, 0, "Light current limit"},
  {key::kLightDutyLimit, type::kF64, kReadOnly, kNo, false, kAll, 0, 0, "Light duty cycle limit"},
  // Configuration of the interface file.
  {key::kPortCameraFile, type::kString, kConfiguration, kInterfaceFile, false, kAll, 0, 0, "Camera file of a port"},
  {key::kTriggerTermination, type::kU32, kConfiguration, kInterfaceFile, false, kAll, 0, 1, "Trigger termination"},
  {key::kCameraPower, type::kU32, kConfiguration, kInterfaceFile, false, kAll, 0, 1, "Camera power"},
  // Configuration of the camera file.
  {key::kWindowTop, type::kU32, kConfiguration, kCameraFile, false, kAll, 0, 16383, "Window top"},
  {key::kWindowLeft, type::kU32, kConfiguration, kCameraFile, false, kAll, 0, 16383, "Window left"},
  {key::kWindowWidth, type::kU32, kConfiguration, kCameraFile, false, kAll, 1, 16384, "Window width"},
  {key::kWindowHeight, type::kU32, kConfiguration, kCameraFile, false, kAll, 1, 16384, "Window height"},
  {key::kWindowRect, type::kRect, kConfiguration, kNo, false, kAll, 0, 32768, "Window"},
  {key::kFrameRate, type::kF64, kConfiguration, kCameraFile, false, kAll, 0, 1000, "Frame rate"},
  {key::kAcquisitionModeSetting, type::kU32, kConfiguration, kCameraFile, false, kAll, 0, 1, "Mode setting"},
  {key::kBayerPattern, type::kU32, kConfiguration, kCameraFile, false, kAll, 0, kU32Max, "Bayer pattern"},
  {key::kBayerAlgorithm, type::kU32, kConfiguration, kCameraFile, false, kSince472, 0, 2, "Bayer algorithm"},
  {key::kBoardDecodesBayer, type::kU32, kConfiguration, kCameraFile, false, kAll, 0, 1, "Bayer decoding on the board"},
  {key::kTapOrder, type::kLines, kConfiguration, kCameraFile, true, kAll, 0, 63, "Tap line order"},
  {key::kStrobeWaveform, type::kWaveform, kConfiguration, kCameraFile, true, kAll, 0, 65535, "Strobe waveform"},
  // Settings that may change at any time.
  {key::kRedGain, type::kF64, kAlways, kCameraFile, false, kAll, 0, 4, "Red gain"},
  {key::kGreenGain, type::kF64, kAlways, kCameraFile, false, kAll, 0, 4, "Green gain"},
  {key::kBlueGain, type::kF64, kAlways, kCameraFile, false, kAll, 0, 4, "Blue gain"},
  {key::kAcquisitionMode, type::kU32, kAlways, kNo, false, kAll, 0, 1, "Acquisition mode"},
  {key::kRowPixels, type::kU32, kAlways, kNo, false, kAll, 0, 65536, "Row pixels of the destination"},
  {key::kSkipFrames, type::kU32, kAlways, kNo, false, kAll, 0, 1000, "Frames to skip"},
  {key::kTimeout, type::kU32, kAlways, kNo, false, kAll, 0, 600000, "Time-out"},
  {key::kListAll, type::kU32, kAlways, kNo, false, kAll, 0, 1, "List all attributes"},
};
// clang-format on

}  // namespace

std::span<const AttributeDef> AttributeDefs() { return kDefs; }

const AttributeDef* FindAttributeDef(std::uint32_t keyValue) {
  if (keyValue >= key::kPortCameraFile && keyValue < key::kPortCameraFile + 8) keyValue = key::kPortCameraFile;
  for (const auto& def : kDefs) {
    if (def.key == keyValue) return &def;
  }
  return nullptr;
}

std::uint32_t VectorLength(std::uint32_t typeCode) {
  switch (typeCode) {
    case type::kLines:
      return 64;
    case type::kRect:
      return 6;
    case type::kWaveform:
      return 32;
    default:
      return 0;
  }
}

std::string ValueToText(const AttributeValue& value) {
  if (const auto* u32 = std::get_if<std::uint32_t>(&value)) return std::to_string(*u32);
  if (const auto* f64 = std::get_if<double>(&value)) return FormatF64(*f64);
  if (const auto* u64 = std::get_if<std::uint64_t>(&value)) return std::to_string(*u64);
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  std::string out;
  for (const std::uint32_t element : std::get<std::vector<std::uint32_t>>(value)) {
    if (!out.empty()) out += ' ';
    out += std::to_string(element);
  }
  return out;
}

bool ValueFromText(std::uint32_t typeCode, std::string_view text, AttributeValue& value) {
  switch (typeCode) {
    case type::kU32: {
      const auto number = ParseU32(text);
      if (number) value = *number;
      return number.has_value();
    }
    case type::kF64: {
      const auto number = ParseF64(text);
      if (number) value = *number;
      return number.has_value();
    }
    case type::kU64: {
      const auto number = ParseU64(text);
      if (number) value = *number;
      return number.has_value();
    }
    case type::kString:
      if (text.size() >= kStringBytes) return false;
      value = std::string(text);
      return true;
    default:
      break;
  }
  const std::uint32_t length = VectorLength(typeCode);
  if (length == 0) return false;
  std::vector<std::uint32_t> elements;
  text = Trim(text);
  while (!text.empty()) {
    const std::size_t space = text.find(' ');
    const auto element = ParseU32(text.substr(0, space));
    if (!element) return false;
    elements.push_back(*element);
    text = space == std::string_view::npos ? std::string_view{} : Trim(text.substr(space));
  }
  if (elements.size() != length) return false;
  value = std::move(elements);
  return true;
}

bool InRange(const AttributeDef& def, const AttributeValue& value) {
  // A frame rate of 0 asks for images as fast as they are taken; between 0
  // and 1 there is none.
  if (def.key == key::kFrameRate) {
    const double rate = std::get<double>(value);
    if (rate > 0 && rate < 1) return false;
  }
  if (const auto* u32 = std::get_if<std::uint32_t>(&value)) return *u32 >= def.minimum && *u32 <= def.maximum;
  if (const auto* f64 = std::get_if<double>(&value)) {
    return std::isfinite(*f64) && *f64 >= def.minimum && *f64 <= def.maximum;
  }
  if (const auto* text = std::get_if<std::string>(&value)) {
    return text->find_first_of("\r\n") == std::string::npos && text->size() < kStringBytes;
  }
  if (const auto* elements = std::get_if<std::vector<std::uint32_t>>(&value)) {
    for (const std::uint32_t element : *elements) {
      if (element < def.minimum || element > def.maximum) return false;
    }
  }
  return true;
}

}  // namespace keldsim
