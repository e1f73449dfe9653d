// Trigger lines, the encoder, the camera's serial link, light-head limits and
// the FPGA classes of the board.
//
// Lines 0 to 15 of signal types 0 (external), 1 (bus) and 2 (software).
// A line's electrical level is what drives it: a drive (kldSessionTriggerDrive2)
// of 1 asserted, 2 unasserted, 3 "acquisition in progress", 4 "acquisition
// done", 5 "pulse output", each inverted by its polarity 1; else a route
// from another line; else a running pulse generator whose output it is;
// else low. A read with polarity 1 (active low) gives the inverse.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "core/session.h"

namespace keldsim {
namespace {

constexpr std::uint32_t kLines = 16;
constexpr std::uint32_t kSignalTypes = 3;

// The light-head entry as the library hands it over.
struct LightHeadEntry {
  double version;
  char namePart1[64];
  char namePart2[64];
  char namePart3[32];
  char namePart4[32];
  char signerName[64];
  char signerPublicKey[1024];
  char masterSignerName[64];
  char keyStoreSignature[1024];
  char digitalSigner[64];
  char digitalSignature[1024];
  char binaryBlob[2048];
  std::uint32_t algorithm;
  double maximumCurrentContinuous;
  double maximumDutyCycleStrobed;
  double curvePoints[32][2];
  std::uint64_t curvePointCount;
};
static_assert(sizeof(LightHeadEntry) == 6056);
static_assert(offsetof(LightHeadEntry, algorithm) == 5512);
static_assert(offsetof(LightHeadEntry, curvePoints) == 5536);

std::string Field(const char* field, std::size_t size) { return std::string(field, strnlen(field, size)); }

std::uint32_t Crc32(std::string_view text) {
  std::uint32_t crc = 0xFFFFFFFFu;
  for (const char c : text) {
    crc ^= static_cast<std::uint8_t>(c);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
  }
  return ~crc;
}

}  // namespace

Status Session::TriggerConfigure(const TriggerSetting& setting) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  const std::uint32_t* w = setting.words;
  if (w[0] >= kLines || w[1] > 1 || w[2] > 4 || w[3] >= kSignalTypes || !std::isfinite(setting.delay) ||
      setting.delay < 0 || setting.delay > 10) {
    return st::kInvalidTrigger;
  }
  triggers_[w[0]] = setting;
  return st::kOk;
}

Status Session::TriggerGet(std::uint32_t line, TriggerSetting& setting) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (line >= kLines) return st::kInvalidTrigger;
  const auto found = triggers_.find(line);
  setting = found == triggers_.end() ? TriggerSetting{} : found->second;
  setting.words[0] = line;
  return st::kOk;
}

Status Session::TriggerDrive(std::uint32_t line, std::uint32_t signalType, std::uint32_t signal,
                             std::uint32_t polarity) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (line >= kLines || signalType >= kSignalTypes || signal > 5 || polarity > 1) return st::kInvalidTrigger;
  if (signal == 0) {
    drives_.erase(line);
  } else {
    drives_[line] = Drive{signalType, signal, polarity};
  }
  return st::kOk;
}

std::uint32_t Session::LineLevelLocked(std::uint32_t line, std::uint32_t depth) const {
  if (depth > kLines) return 0;
  if (const auto drive = drives_.find(line); drive != drives_.end()) {
    std::uint32_t asserted = 0;
    switch (drive->second.signal) {
      case 1:
        asserted = 1;
        break;
      case 3:
        asserted = acquisition_.running ? 1 : 0;
        break;
      case 4:
        asserted = acquisition_.running ? 0 : 1;
        break;
      case 5: {
        const auto pulse = pulseLines_.find(line);
        asserted = pulse != pulseLines_.end() && pulse->second ? 1 : 0;
        break;
      }
      default:
        break;
    }
    return asserted ^ drive->second.polarity;
  }
  if (const auto route = routes_.find(line); route != routes_.end()) {
    return LineLevelLocked(route->second.sourceLine, depth + 1);
  }
  const auto pulse = pulseLines_.find(line);
  return pulse != pulseLines_.end() && pulse->second ? 1 : 0;
}

Status Session::TriggerRead(std::uint32_t line, std::uint32_t signalType, std::uint32_t polarity,
                            std::uint32_t& level) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());
  if (line >= kLines || signalType >= kSignalTypes || polarity > 1) return st::kInvalidTrigger;
  level = LineLevelLocked(line, 0) ^ polarity;
  return st::kOk;
}

Status Session::TriggerRoute(std::uint32_t line, std::uint32_t signalType, std::uint32_t sourceLine,
                             std::uint32_t sourceType) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (line >= kLines || sourceLine >= kLines || signalType >= kSignalTypes || sourceType >= kSignalTypes ||
      line == sourceLine) {
    return st::kInvalidTrigger;
  }
  routes_[line] = Route{signalType, sourceLine, sourceType};
  return st::kOk;
}

Status Session::TriggerClear() {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  triggers_.clear();
  drives_.clear();
  routes_.clear();
  lineSource_.reset();
  return st::kOk;
}

Status Session::LineTriggerSource(std::uint32_t line, std::uint32_t signalType, std::uint32_t polarity,
                                  std::uint32_t divider) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (line >= kLines || signalType >= kSignalTypes || polarity > 1 || divider == 0 || divider > 65535) {
    return st::kInvalidTrigger;
  }
  lineSource_ = LineSource{line, signalType, polarity, divider};
  return st::kOk;
}

Status Session::EncoderReset() {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());
  encoderBase_ = framesAcquired_;
  return st::kOk;
}

void Session::SetPulseLine(std::uint32_t line, bool running) {
  Lock lock(mutex_);
  pulseLines_[line] = running;
}

Status Session::SerialError(char* text, std::uint32_t* size) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (size == nullptr) return st::kInvalidArgument;
  const auto need = static_cast<std::uint32_t>(serialError_.size() + 1);
  if (text == nullptr) {
    *size = need;
    return st::kOk;
  }
  const std::uint32_t room = *size;
  *size = need;
  if (room == 0) return st::kBufferTooSmall;
  const std::size_t length = std::min<std::size_t>(serialError_.size(), room - 1);
  std::memcpy(text, serialError_.data(), length);
  text[length] = '\0';
  return room < need ? st::kBufferTooSmall : st::kOk;
}

Status Session::SetSerialError(std::string text) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  serialError_ = std::move(text);
  return st::kOk;
}

Status Session::LoadLightingLimits(const void* data) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (data == nullptr) return st::kInvalidArgument;
  LightHeadEntry entry;
  std::memcpy(&entry, data, sizeof entry);
  const std::string parts[4] = {Field(entry.namePart1, 64), Field(entry.namePart2, 64), Field(entry.namePart3, 32),
                                Field(entry.namePart4, 32)};
  for (const auto& part : parts) {
    if (part.empty()) return st::kLightingData;
  }
  const std::string blob = Field(entry.binaryBlob, sizeof entry.binaryBlob);
  const std::string signer = Field(entry.digitalSigner, sizeof entry.digitalSigner);
  LightHead head;
  head.loaded = true;
  head.identity = parts[0] + "::" + parts[1] + "::" + parts[2] + "::" + parts[3];
  if (!signer.empty()) head.identity += "::" + signer;
  if (!blob.empty()) {
    // A sealed description: its check must hold; its limits are the board's.
    if (blob.size() < 9) return st::kLightingData;
    std::uint32_t check = 0;
    for (const char c : blob.substr(blob.size() - 8)) {
      const int digit = std::isdigit(static_cast<unsigned char>(c)) != 0 ? c - '0'
                        : (c >= 'a' && c <= 'f')                         ? c - 'a' + 10
                        : (c >= 'A' && c <= 'F')                         ? c - 'A' + 10
                                                                         : -1;
      if (digit < 0) return st::kLightingData;
      check = check << 4 | static_cast<std::uint32_t>(digit);
    }
    if (Crc32(std::string_view(blob).substr(0, blob.size() - 8)) != check) return st::kLightingData;
    head.currentLimit = board->desc.maxLightCurrent;
    head.dutyLimit = 100.0;
  } else {
    if (entry.algorithm != 0 || entry.curvePointCount == 0 || entry.curvePointCount > 32) return st::kLightingData;
    const double current = entry.maximumCurrentContinuous, duty = entry.maximumDutyCycleStrobed;
    if (!std::isfinite(current) || current <= 0 || !std::isfinite(duty) || duty <= 0 || duty > 100) {
      return st::kLightingData;
    }
    for (std::uint64_t i = 0; i < entry.curvePointCount; ++i) {
      const double x = entry.curvePoints[i][0], y = entry.curvePoints[i][1];
      if (!std::isfinite(x) || !std::isfinite(y) || (i > 0 && x < entry.curvePoints[i - 1][0]))
        return st::kLightingData;
    }
    head.currentLimit = std::min(current, board->desc.maxLightCurrent);
    head.dutyLimit = duty;
  }
  std::lock_guard boardLock(board->mutex);
  board->lightHead = head;
  return st::kOk;
}

Status Session::FpgaClassSupported(std::uint32_t classNumber, std::uint32_t& supported) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  supported = 0;
  for (const std::uint32_t known : board->desc.fpgaClasses) {
    if (known == classNumber) supported = 1;
  }
  return st::kOk;
}

}  // namespace keldsim
