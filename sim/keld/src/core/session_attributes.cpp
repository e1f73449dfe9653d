// Reading, writing and listing a session's attributes.
#include <cstring>

#include "core/attribute_table.h"
#include "core/session.h"

namespace keldsim {
namespace {

void WriteOut(std::uint32_t typeCode, const AttributeValue& value, void* out) {
  switch (typeCode) {
    case type::kU32:
      std::memcpy(out, &std::get<std::uint32_t>(value), 4);
      return;
    case type::kF64:
      std::memcpy(out, &std::get<double>(value), 8);
      return;
    case type::kU64:
      std::memcpy(out, &std::get<std::uint64_t>(value), 8);
      return;
    case type::kString: {
      const std::string& text = std::get<std::string>(value);
      const std::size_t length = std::min(text.size(), kStringBytes - 1);
      std::memcpy(out, text.data(), length);
      static_cast<char*>(out)[length] = '\0';
      return;
    }
    default: {
      const auto& elements = std::get<std::vector<std::uint32_t>>(value);
      std::memcpy(out, elements.data(), elements.size() * 4);
      return;
    }
  }
}

Status ReadIn(std::uint32_t typeCode, const void* in, AttributeValue& value) {
  switch (typeCode) {
    case type::kU32: {
      std::uint32_t word = 0;
      std::memcpy(&word, in, 4);
      value = word;
      return st::kOk;
    }
    case type::kF64: {
      double number = 0;
      std::memcpy(&number, in, 8);
      value = number;
      return st::kOk;
    }
    case type::kU64: {
      std::uint64_t word = 0;
      std::memcpy(&word, in, 8);
      value = word;
      return st::kOk;
    }
    case type::kString: {
      const auto* text = static_cast<const char*>(in);
      const std::size_t length = strnlen(text, kStringBytes);
      if (length == kStringBytes) return st::kAttributeOutOfRange;
      value = std::string(text, length);
      return st::kOk;
    }
    default: {
      std::vector<std::uint32_t> elements(VectorLength(typeCode));
      std::memcpy(elements.data(), in, elements.size() * 4);
      value = std::move(elements);
      return st::kOk;
    }
  }
}

}  // namespace

std::uint32_t Session::U32(std::uint32_t attributeKey) const {
  const auto found = values_.find(attributeKey);
  return found == values_.end() ? 0u : std::get<std::uint32_t>(found->second);
}

double Session::F64(std::uint32_t attributeKey) const {
  const auto found = values_.find(attributeKey);
  return found == values_.end() ? 0.0 : std::get<double>(found->second);
}

std::uint32_t Session::RowPixels() const { return std::max(U32(key::kRowPixels), U32(key::kWindowWidth)); }

FrameGeometry Session::Geometry() const {
  FrameGeometry geometry;
  geometry.sensorWidth = camera_.width;
  geometry.sensorHeight = camera_.height;
  geometry.cameraType = camera_.imageType;
  geometry.bitDepth = camera_.bitDepth;
  geometry.sensorPattern = camera_.bayer;
  geometry.noise = camera_.noise;
  geometry.scene = camera_.scene;
  std::copy(camera_.sceneColour, camera_.sceneColour + 3, geometry.sceneColour);
  geometry.hardwareDecode = U32(key::kBoardDecodesBayer) != 0;
  geometry.redGain = F64(key::kRedGain);
  geometry.greenGain = F64(key::kGreenGain);
  geometry.blueGain = F64(key::kBlueGain);
  geometry.top = U32(key::kWindowTop);
  geometry.left = U32(key::kWindowLeft);
  geometry.width = U32(key::kWindowWidth);
  geometry.height = U32(key::kWindowHeight);
  return geometry;
}

Status Session::GetAttribute(std::uint32_t attributeKey, void* out) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (out == nullptr) return st::kInvalidArgument;
  CatchUpLocked(Clock::now());
  const AttributeDef* def = FindAttributeDef(attributeKey);
  if (def == nullptr || DriverVersion() < def->since) return st::kAttributeNotSupported;
  const BoardDescription& desc = board->desc;
  AttributeValue value;
  switch (def->key) {
    case key::kPortCameraFile: {
      const std::uint32_t port = attributeKey - key::kPortCameraFile;
      if (port >= ports_.size()) return st::kAttributeNotSupported;
      value = ports_[port];
      break;
    }
    case key::kBoardType:
      value = desc.type;
      break;
    case key::kRevision:
      value = desc.revision;
      break;
    case key::kUnits:
      value = desc.units;
      break;
    case key::kUnit:
      value = unit;
      break;
    case key::kSerial:
      value = desc.serial;
      break;
    case key::kPorts:
    case key::kPortsToStore:
      value = desc.ports;
      break;
    case key::kInterfaceTypes:
      value = desc.interfaceTypes;
      break;
    case key::kMemoryBytes:
      value = desc.memoryBytes;
      break;
    case key::kAcquiring:
      value = std::uint32_t{acquisition_.running ? 1u : 0u};
      break;
    case key::kLastBuffer:
      if (!lastNumber_) return st::kNoImageYet;
      value = *lastNumber_;
      break;
    case key::kLastTimestamp:
      if (!lastNumber_) return st::kNoImageYet;
      value = lastTimestamp_;
      break;
    case key::kMeasuredFrameRate:
      if (!acquisition_.running) return st::kNotAvailableNow;
      // As fast as images are asked for: no rate of its own.
      value = acquisition_.unlimited
                  ? 0.0
                  : 1e9 / static_cast<double>(
                              std::chrono::duration_cast<std::chrono::nanoseconds>(acquisition_.period).count());
      break;
    case key::kEncoderPosition:
      value = static_cast<std::uint32_t>((framesAcquired_ - encoderBase_) * 100);
      break;
    case key::kImageType:
      value = Geometry().OutputType();
      break;
    case key::kBitDepth:
      value = Geometry().OutputDepth();
      break;
    case key::kSensorWidth:
      value = camera_.width;
      break;
    case key::kSensorHeight:
      value = camera_.height;
      break;
    case key::kCameraModel:
      value = camera_.model;
      break;
    case key::kCameraFile:
      value = cameraFile_;
      break;
    case key::kInterfaceName:
      value = DataFolder::WithoutInterfaceExtension(interfaceFile_);
      break;
    case key::kInterfaceChanged:
      value = std::uint32_t{interfaceChanged_ ? 1u : 0u};
      break;
    case key::kLightHead:
    case key::kLightCurrentLimit:
    case key::kLightDutyLimit: {
      std::lock_guard boardLock(board->mutex);
      const LightHead& head = board->lightHead;
      if (def->key == key::kLightHead) {
        value = head.loaded ? head.identity : std::string();
      } else if (!head.loaded) {
        return st::kNotAvailableNow;
      } else {
        value = def->key == key::kLightCurrentLimit ? head.currentLimit : head.dutyLimit;
      }
      break;
    }
    case key::kWindowRect: {
      // Origin and extent of each dimension, then the two ends: left,
      // width, top, height, left + width, top + height.
      const std::uint32_t left = U32(key::kWindowLeft), top = U32(key::kWindowTop);
      const std::uint32_t width = U32(key::kWindowWidth), height = U32(key::kWindowHeight);
      value = std::vector<std::uint32_t>{left, width, top, height, left + width, top + height};
      break;
    }
    default: {
      const auto found = values_.find(def->key);
      if (found == values_.end()) return st::kAttributeNotSupported;
      value = found->second;
      break;
    }
  }
  WriteOut(def->type, value, out);
  return st::kOk;
}

Status Session::SetAttribute(std::uint32_t attributeKey, const void* in) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (in == nullptr) return st::kInvalidArgument;
  CatchUpLocked(Clock::now());
  const AttributeDef* def = FindAttributeDef(attributeKey);
  if (def == nullptr || DriverVersion() < def->since) return st::kAttributeNotSupported;
  if (def->key == key::kPortCameraFile && attributeKey - key::kPortCameraFile >= ports_.size()) {
    return st::kAttributeNotSupported;
  }
  if (def->access == Access::kReadOnly) return st::kAttributeReadOnly;
  if (def->access == Access::kConfiguration && (acquisition_.running || state_ != state::kConfiguring)) {
    return st::kNotInThisState;
  }
  AttributeValue value;
  if (const Status status = ReadIn(def->type, in, value); status != st::kOk) return status;
  if (!InRange(*def, value)) return st::kAttributeOutOfRange;

  switch (def->key) {
    case key::kWindowTop:
      if (std::get<std::uint32_t>(value) >= camera_.height) return st::kAttributeOutOfRange;
      break;
    case key::kWindowLeft:
      if (std::get<std::uint32_t>(value) >= camera_.width) return st::kAttributeOutOfRange;
      break;
    case key::kWindowWidth:
      if (std::get<std::uint32_t>(value) > camera_.width) return st::kAttributeOutOfRange;
      break;
    case key::kWindowHeight:
      if (std::get<std::uint32_t>(value) > camera_.height) return st::kAttributeOutOfRange;
      break;
    case key::kBayerPattern: {
      const std::uint32_t pattern = std::get<std::uint32_t>(value);
      if (pattern > 3 && pattern != kNoBayer) return st::kAttributeOutOfRange;
      break;
    }
    case key::kWindowRect: {
      const auto& rect = std::get<std::vector<std::uint32_t>>(value);
      // Left, width, top, height, and the two ends, which must agree.
      if (rect[0] >= camera_.width || rect[2] >= camera_.height || rect[1] < 1 || rect[1] > camera_.width ||
          rect[3] < 1 || rect[3] > camera_.height || rect[4] != std::uint64_t{rect[0]} + rect[1] ||
          rect[5] != std::uint64_t{rect[2]} + rect[3]) {
        return st::kAttributeOutOfRange;
      }
      values_[key::kWindowLeft] = rect[0];
      values_[key::kWindowWidth] = rect[1];
      values_[key::kWindowTop] = rect[2];
      values_[key::kWindowHeight] = rect[3];
      return st::kOk;
    }
    case key::kPortCameraFile: {
      const std::string& name = std::get<std::string>(value);
      std::string& port = ports_[attributeKey - key::kPortCameraFile];
      const std::string normalized = name.empty() ? std::string() : folder.Normalize(name);
      if (port != normalized) interfaceChanged_ = true;
      port = normalized;
      return st::kOk;
    }
    default:
      break;
  }
  if (def->stored == Stored::kInterfaceFile && values_[def->key] != value) interfaceChanged_ = true;
  values_[def->key] = std::move(value);
  return st::kOk;
}

Status Session::ListAttributes(std::uint32_t* records, std::uint32_t& count) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  const std::uint32_t version = DriverVersion();
  const bool all = U32(key::kListAll) != 0;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> list;
  for (const auto& def : AttributeDefs()) {
    if (version < def.since || (def.advanced && !all)) continue;
    if (def.key == key::kPortCameraFile) {
      for (std::uint32_t port = 0; port < ports_.size(); ++port) list.emplace_back(def.type, def.key + port);
    } else {
      list.emplace_back(def.type, def.key);
    }
  }
  if (records == nullptr) {
    count = static_cast<std::uint32_t>(list.size());
    return st::kOk;
  }
  const std::uint32_t written = std::min<std::uint32_t>(count, static_cast<std::uint32_t>(list.size()));
  for (std::uint32_t i = 0; i < written; ++i) {
    records[2 * i] = list[i].first;
    records[2 * i + 1] = list[i].second;
  }
  const Status status = written < list.size() ? st::kBufferTooSmall : st::kOk;
  count = written;
  return status;
}

}  // namespace keldsim
