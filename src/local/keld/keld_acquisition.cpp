// Images out of the frame-grabber driver: one at a time, continuously from
// a prepared grab, or from a buffer list; the driver's rings and sequences;
// raw Bayer frames decoded to colour through the image library; white
// balance and automatic exposure.
#include <algorithm>
#include <cstring>
#include <vector>

#include "image/cfg_image.h"
#include "local/keld/keld_driver.h"
#include "local/keld/keld_keys.h"
#include "local/keld/local_keld_config_session.h"
#include "odvissvc/odvissvc.h"

namespace keld {

namespace {

constexpr std::uint32_t kWindowOffsetFirst = 0x3FF60068;
constexpr std::uint32_t kWindowOffsetSecond = 0x3FF60069;
constexpr std::uint32_t kBufferAddressItem = 0x3FF6007E;
constexpr std::uint32_t kBufferCommandItem = 0x3FF6007F;
constexpr std::uint32_t kBufferSizeItem = 0x3FF60082;

constexpr std::uint32_t kNoPattern = 0xFFFFFFFF;
constexpr std::uint32_t kColourType = 4;  // blue, green, red, alpha
constexpr std::uint32_t kWholeImage = 0xFFFFFFFF;
constexpr Status kSessionAcquires = 0xBFF60021;
constexpr double kLargestGain = 3.999;

constexpr std::uint32_t kVersionCopyByNumber = 0x03800000;
constexpr std::uint32_t kVersionCopyWholeImage = 0x04100000;
constexpr std::uint32_t kVersionBayerAlgorithm = 0x04720000;

// The sensor's pattern as the acquisition window's parity makes it: row
// `pattern`, column (bit 0 of the first offset) + 2 x (bit 0 of the second).
constexpr std::uint32_t kBayerPatterns[4][4] = {
    {0, 2, 3, 1},
    {1, 3, 2, 0},
    {2, 0, 1, 3},
    {3, 1, 0, 2},
};

Status ReadU32Key(std::uint32_t sid, std::uint32_t key, std::uint32_t* value) {
  return KELD_DRIVER_CALL(kldGetAttribute, sid, key, static_cast<void*>(value));
}
Status ReadF64Key(std::uint32_t sid, std::uint32_t key, double* value) {
  return KELD_DRIVER_CALL(kldGetAttribute, sid, key, static_cast<void*>(value));
}
Status WriteKey(std::uint32_t sid, std::uint32_t key, const void* value) {
  return KELD_DRIVER_CALL(kldSetAttributeFromVoidPtr, sid, key, value);
}

// The version word where the operation cannot go on without it.
Status RequiredDriverVersion(std::uint32_t* version) {
  *version = kDefaultDriverVersion;
  return KELD_DRIVER_CALL(odkelduGetDriverVersion, version);
}

// Bytes of pixel memory of an image.
std::size_t ImageBytes(const CfgImage& image) {
  return std::size_t{image.GetLineWidth()} * image.GetHeight() * ImageTypePixelSize(image.GetType());
}

// Holds the write lock of an image for one operation, released on every way out.
class WriteLock {
 public:
  explicit WriteLock(CfgImage& image) : image_(image), status_(image.LockForWrite()) {}
  ~WriteLock() {
    if (status_ == kSuccess) IgnoreStatus(image_.Unlock());  // nothing to do about a failed unlock
  }
  WriteLock(const WriteLock&) = delete;
  WriteLock& operator=(const WriteLock&) = delete;
  Status status() const { return status_; }

 private:
  CfgImage& image_;
  Status status_;
};

}  // namespace

// ---- Colour decoding -----------------------------------------------------

// Colour is decoded here where the camera gives raw Bayer data, the caller
// asks for it (bit 4) and the board has not decoded it already.
bool LocalKELDConfigSession::NeedsBayerDecoding(std::uint32_t flags) {
  std::uint32_t pattern = kNoPattern;
  if (ReadU32Key(SessionId(), kBayerPatternKey, &pattern) != kSuccess || pattern == kNoPattern) return false;
  if ((flags & acquisition_flags::kBayerDecode) == 0) return false;
  std::uint32_t decoded = 0;
  return ReadU32Key(SessionId(), kNoBayerDecodingKey, &decoded) != kSuccess || decoded == 0;
}

// Sizes an image as the driver's images are: its size, bit depth and type,
// the colour type where it is to be decoded.
Status LocalKELDConfigSession::PrepareImage(CfgImage& target, bool decode) {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t type = 0;
  std::uint32_t depth = 0;
  Status status = ReadU32Key(SessionId(), kWidthKey, &width);
  if (status == kSuccess) status = ReadU32Key(SessionId(), kHeightKey, &height);
  if (status == kSuccess) status = ReadU32Key(SessionId(), kImageTypeKey, &type);
  if (status == kSuccess) status = ReadU32Key(SessionId(), kBitDepthKey, &depth);
  if (status != kSuccess) return status;
  status = target.Resize(width, height, decode ? kColourType : type);
  if (status != kSuccess) return status;
  return target.SetBitDepth(depth);
}

Status LocalKELDConfigSession::DecodeBayer(const void* source, std::uint32_t sourceRowPixels) {
  std::uint32_t pattern = kNoPattern;
  std::uint32_t depth = 0;
  Status status = ReadU32Key(SessionId(), kBayerPatternKey, &pattern);
  if (status == kSuccess) status = ReadU32Key(SessionId(), kBitDepthKey, &depth);
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  KeepFirstFailure(&status, ReadU32Key(SessionId(), kWindowOffsetFirst, &first));
  KeepFirstFailure(&status, ReadU32Key(SessionId(), kWindowOffsetSecond, &second));
  // The table applies whatever the reads said; a pattern it does not know
  // goes on as it is, for the image library to refuse.
  if (pattern < 4) pattern = kBayerPatterns[pattern][(first & 1) + 2 * (second & 1)];
  double red = 1.0;
  double green = 1.0;
  double blue = 1.0;
  if (status == kSuccess) status = ReadF64Key(SessionId(), kRedGainKey, &red);
  if (status == kSuccess) status = ReadF64Key(SessionId(), kGreenGainKey, &green);
  if (status == kSuccess) status = ReadF64Key(SessionId(), kBlueGainKey, &blue);
  std::uint32_t version = kDefaultDriverVersion;
  KeepFirstFailure(&status, RequiredDriverVersion(&version));
  std::uint32_t algorithm = 0;
  if (status == kSuccess && version >= kVersionBayerAlgorithm) {
    status = ReadU32Key(SessionId(), kBayerAlgorithmKey, &algorithm);
  }
  if (status != kSuccess) return status;
  return CallDriver<decltype(::Gen_BayerColorDecode2)>(
      VisionServices(), "Gen_BayerColorDecode2", carrier.GetFirstPixel(), source, carrier.GetHeight(),
      carrier.GetWidth(), carrier.GetLineWidth(), sourceRowPixels, pattern, depth, algorithm, 1u, carrier.GetType(),
      blue, green, red);
}

// ---- One image, and grabbing ----------------------------------------------

Status LocalKELDConfigSession::SnapImage(std::uint32_t flags, Image* image) {
  return DriverGuard([&]() -> Status {
    carrier.Attach(image);
    WriteLock lock(carrier);
    if (lock.status() != kSuccess) return lock.status();
    const bool decode = NeedsBayerDecoding(flags);
    Status status = PrepareImage(carrier, decode);
    const std::uint32_t rowPixels = decode ? carrier.GetWidth() : carrier.GetLineWidth();
    // A setting the snap changes in the driver, kept and put back.
    std::uint32_t saved = 0;
    const bool haveSaved = ReadU32Key(SessionId(), kSnapSavedKey, &saved) == kSuccess;
    const std::uint32_t lineWidth = carrier.GetLineWidth();
    IgnoreStatus(WriteKey(SessionId(), kRowPixelsKey, &lineWidth));  // a hint for the driver's copy
    void* pixels = nullptr;
    if (status == kSuccess) {
      status = KELD_DRIVER_CALL(kldSnapArea, SessionId(), &pixels, 0u, 0u, carrier.GetHeight(), carrier.GetWidth(),
                                rowPixels);
    }
    std::uint32_t bytes = 0;
    if (status == kSuccess) status = KELD_DRIVER_CALL(kldSessionGetBufferSize, SessionId(), &bytes);
    if (haveSaved) IgnoreStatus(WriteKey(SessionId(), kSnapSavedKey, &saved));  // a convenience only
    if (status == kSuccess) {
      if (decode) {
        status = DecodeBayer(pixels, rowPixels);
      } else if (pixels != nullptr && carrier.GetFirstPixel() != nullptr) {
        // No more than the image holds, whatever the driver says of its buffer.
        std::memcpy(carrier.GetFirstPixel(), pixels, std::min<std::size_t>(bytes, ImageBytes(carrier)));
      }
    }
    if (status != kSuccess) IgnoreStatus(KELDSessionStopAcquisition());  // the snap's failure is the answer
    return status;
  });
}

Status LocalKELDConfigSession::SetupGrab(std::uint32_t flags) {
  return DriverGuard([&]() -> Status {
    acquisitionFlags = flags;
    CopyAcquisitionMode();
    return KELD_DRIVER_CALL(kldGrabSetup, SessionId(), 1u);
  });
}

// The acquisition mode takes its setting; both are conveniences whose
// failures change nothing.
void LocalKELDConfigSession::CopyAcquisitionMode() {
  std::uint32_t mode = 0;
  IgnoreStatus(ReadU32Key(SessionId(), kAcquisitionModeSettingKey, &mode));
  IgnoreStatus(WriteKey(SessionId(), kAcquisitionModeKey, &mode));
}

Status LocalKELDConfigSession::GrabImage(std::uint32_t* number, Image* image) {
  return DriverGuard([&]() -> Status {
    carrier.Attach(image);
    WriteLock lock(carrier);
    if (lock.status() != kSuccess) return lock.status();
    const bool decode = NeedsBayerDecoding(acquisitionFlags);
    Status status = PrepareImage(carrier, decode);
    // Raw frames to be decoded land in a temporary first; others straight in
    // the caller's image.
    CfgImage temporary;
    CfgImage* target = &carrier;
    if (decode) {
      target = &temporary;
      KeepFirstFailure(&status, temporary.EnsureImage());
      if (status == kSuccess) status = PrepareImage(temporary, false);
    }
    void* pixels = target->GetFirstPixel();
    const std::uint32_t linePixels = target->GetLineWidth();
    if (status == kSuccess) {
      status = KELD_DRIVER_CALL(kldGrabArea, SessionId(), &pixels, 1u, 0u, 0u, carrier.GetHeight(), carrier.GetWidth(),
                                linePixels);
    }
    if (decode && status == kSuccess) status = DecodeBayer(pixels, linePixels);
    if (status != kSuccess) {
      IgnoreStatus(KELDSessionStopAcquisition());  // the grab's failure is the answer
      return status;
    }
    if (KELD_DRIVER_FIND(kldGetAttribute) != nullptr) {
      IgnoreStatus(ReadU32Key(SessionId(), kLastBufferKey, number));  // a number not had is not an error
    }
    return kSuccess;
  });
}

// ---- Buffer lists -----------------------------------------------------------

Status LocalKELDConfigSession::ConfigureAcquisition(std::uint32_t continuous, std::uint32_t count) {
  return DriverGuard([&]() -> Status {
    if (bufferListId != 0) IgnoreStatus(UnconfigureAcquisition());  // always succeeds
    bufferCount = count;
    Status status = kSuccess;
    try {
      buffers.assign(count, nullptr);
      buffersAllocated = true;
    } catch (const std::bad_alloc&) {
      status = kOutOfMemory;
    }
    CopyAcquisitionMode();
    std::uint32_t bytes = 0;
    if (status == kSuccess) status = KELD_DRIVER_CALL(kldSessionGetBufferSize, SessionId(), &bytes);
    std::uint32_t list = 0;
    if (status == kSuccess) status = KELD_DRIVER_CALL(kldCreateBufList, count, &list);
    bufferListId = list;
    for (std::uint32_t index = 0; index < count && status == kSuccess; ++index) {
      status = KELD_DRIVER_CALL(kldCreateBuffer, SessionId(), 0u, bytes, &buffers[index]);
      if (status == kSuccess) {
        status = KELD_DRIVER_CALL(kldSetBufferElement2, bufferListId, index, kBufferAddressItem, buffers[index]);
      }
      if (status == kSuccess) status = KELD_DRIVER_CALL(kldSetBufferElement, bufferListId, index, kBufferSizeItem, bytes);
      // The last buffer of a continuous acquisition loops back to the first.
      const std::uint32_t command = continuous != 0 && index + 1 == count ? 2u : 1u;
      if (status == kSuccess) {
        status = KELD_DRIVER_CALL(kldSetBufferElement, bufferListId, index, kBufferCommandItem, command);
      }
    }
    if (status == kSuccess) status = KELD_DRIVER_CALL(kldMemLock, bufferListId);
    if (status == kSuccess) status = KELD_DRIVER_CALL(kldSessionConfigure, SessionId(), bufferListId);
    if (status != kSuccess) IgnoreStatus(UnconfigureAcquisition());  // the failure before it is the answer
    return status;
  });
}

// Frees what a configured acquisition holds. Always 0; a missing function
// only skips its step.
Status LocalKELDConfigSession::UnconfigureAcquisition() {
  return DriverGuard([&]() -> Status {
    if (!buffersAllocated) return kSuccess;
    if (bufferListId != 0) {
      if (auto* unlock = KELD_DRIVER_FIND(kldMemUnlock)) IgnoreStatus(unlock(bufferListId));
      auto* dispose = KELD_DRIVER_FIND(kldDisposeBuffer);
      for (void*& buffer : buffers) {
        if (buffer != nullptr && dispose != nullptr) IgnoreStatus(dispose(buffer));
        buffer = nullptr;
      }
      if (auto* disposeList = KELD_DRIVER_FIND(kldDisposeBufList)) IgnoreStatus(disposeList(bufferListId, 0u));
      bufferListId = 0;
    }
    buffers.clear();
    buffersAllocated = false;
    const std::uint32_t none = 0;
    IgnoreStatus(WriteKey(SessionId(), kAcquisitionModeKey, &none));  // a convenience only
    return kSuccess;
  });
}

Status LocalKELDConfigSession::StartAcquisition() {
  return DriverGuard([&]() -> Status { return KELD_DRIVER_CALL(kldSessionAcquire, SessionId(), 1u, 0u); });
}

Status LocalKELDConfigSession::StopAcquisition() { return KELDSessionStopAcquisition(); }

Status LocalKELDConfigSession::CopyImage(std::uint32_t* number, Image* image) {
  return DriverGuard([&]() -> Status {
    carrier.Attach(image);
    WriteLock lock(carrier);
    if (lock.status() != kSuccess) return lock.status();
    const bool decode = NeedsBayerDecoding(acquisitionFlags);
    Status status = PrepareImage(carrier, decode);
    CfgImage temporary;
    CfgImage* target = &carrier;
    if (decode) {
      target = &temporary;
      KeepFirstFailure(&status, temporary.EnsureImage());
      if (status == kSuccess) status = PrepareImage(temporary, false);
    }
    std::uint32_t version = kDefaultDriverVersion;
    KeepFirstFailure(&status, RequiredDriverVersion(&version));
    if (status != kSuccess) return status;
    if (version >= kVersionCopyByNumber) {
      std::uint32_t found = 0;
      KeldDriverStatus bufferStatus = 0;
      if (version >= kVersionCopyWholeImage) {
        // The driver takes the image itself and sizes it as it needs.
        status = KELD_DRIVER_CALL(kldSessionCopyAreaByNumber, SessionId(), *number, 0u, 0u, kWholeImage, kWholeImage,
                                  static_cast<void*>(target->GetImage()), kWholeImage, 3u, &found, &bufferStatus);
      } else {
        status = KELD_DRIVER_CALL(kldSessionCopyAreaByNumber, SessionId(), *number, 0u, 0u, carrier.GetHeight(),
                                  carrier.GetWidth(), target->GetFirstPixel(), target->GetLineWidth(), 3u, &found,
                                  &bufferStatus);
      }
      // The number the driver gives, also with a failure it reports for a
      // buffer (a failed transfer names its buffer); 0 where it gives none.
      *number = found;
    } else {
      // Buffers by their index in the list; there must be a list.
      if (bufferCount == 0) return kSessionNotConfigured;
      status = KELD_DRIVER_CALL(kldSessionCopyArea, SessionId(), *number % bufferCount, 0u, 0u, carrier.GetHeight(),
                                carrier.GetWidth(), target->GetFirstPixel(), target->GetLineWidth(), 1u);
      if (status == kSuccess) status = ReadU32Key(SessionId(), kLastBufferKey, number);
    }
    if (decode && status == kSuccess) status = DecodeBayer(target->GetFirstPixel(), target->GetLineWidth());
    return status;
  });
}

// ---- Rings and sequences: the driver allocates the buffers -----------------

Status LocalKELDConfigSession::KELDRingSetup(std::uint32_t count, std::uint32_t first, std::uint32_t second) {
  return DriverGuard([&]() -> Status {
    std::vector<void*> pointers(count, nullptr);
    const Status status = KELD_DRIVER_CALL(kldRingSetup, SessionId(), count, pointers.data(), first, second);
    bufferCount = count;
    return status;
  });
}

Status LocalKELDConfigSession::KELDSequenceSetup(std::uint32_t count, void* table, std::uint32_t first,
                                                 std::uint32_t second) {
  return DriverGuard([&]() -> Status {
    std::vector<void*> pointers(count, nullptr);
    const Status status =
        KELD_DRIVER_CALL(kldSequenceSetup, SessionId(), count, pointers.data(), static_cast<const void*>(table), first,
                         second);
    bufferCount = count;
    return status;
  });
}

Status LocalKELDConfigSession::KELDSessionStartAcquisition() {
  return DriverGuard([&]() -> Status { return KELD_DRIVER_CALL(kldSessionStartAcquisition, SessionId()); });
}

Status LocalKELDConfigSession::KELDSessionStopAcquisition() {
  return DriverGuard([&]() -> Status { return KELD_DRIVER_CALL(kldSessionStopAcquisition, SessionId()); });
}

// ---- Exposure and white balance ---------------------------------------------

// The driver takes the two results in the reverse order.
Status LocalKELDConfigSession::AutoExposure(double* first, double* second) {
  return DriverGuard([&]() -> Status { return KELD_DRIVER_CALL(odkelduAutoExposureNonSamsung, SessionId(), second, first); });
}

// White balance of one snapped image: each gain is `target` over the mean
// of its channel, at most 3.999, and goes to its output and to the driver.
// The present gains go to the outputs first; after a failure of the snap or
// of the image the driver's gains stay at 1.0, the outputs hold the gains
// from before, and the caller restores them.
Status LocalKELDConfigSession::CalculateBayerGains(std::uint32_t target, double* red, double* green, double* blue) {
  return DriverGuard([&]() -> Status {
    if (red == nullptr || green == nullptr || blue == nullptr) return kBadPointer;
    std::uint32_t acquiring = 0;
    Status status = ReadU32Key(SessionId(), kAcquiringKey, &acquiring);
    if (status != kSuccess) return status;
    if (acquiring != 0) return kSessionAcquires;
    std::uint32_t pattern = kNoPattern;
    status = ReadU32Key(SessionId(), kBayerPatternKey, &pattern);
    if (status != kSuccess) return status;
    if (pattern == kNoPattern) return kInternalError;
    if (status == kSuccess) status = ReadF64Key(SessionId(), kRedGainKey, red);
    if (status == kSuccess) status = ReadF64Key(SessionId(), kGreenGainKey, green);
    if (status == kSuccess) status = ReadF64Key(SessionId(), kBlueGainKey, blue);
    const double unit = 1.0;
    for (const std::uint32_t gainKey : {kRedGainKey, kGreenGainKey, kBlueGainKey}) {
      if (status == kSuccess) status = WriteKey(SessionId(), gainKey, &unit);
    }
    if (status != kSuccess) return status;

    CfgImage snapped;
    status = snapped.EnsureImage();
    if (status == kSuccess) status = SnapImage(acquisition_flags::kBayerDecode, snapped.GetImage());
    // The session's image must not stay the temporary one, which goes here.
    carrier.Attach(nullptr);
    if (status != kSuccess) return status;
    const bool colour = snapped.GetImage() != nullptr && snapped.GetWidth() != 0 && snapped.GetHeight() != 0 &&
                        snapped.GetType() == kColourType && snapped.HeaderWord(ODV_WORD_KIND) == 0;
    if (!colour) return kInternalError;
    double sums[3] = {0.0, 0.0, 0.0};  // blue, green, red
    const auto* pixels = static_cast<const std::uint8_t*>(snapped.GetFirstPixel());
    for (std::uint32_t y = 0; y < snapped.GetHeight(); ++y) {
      const std::uint8_t* row = pixels + std::size_t{y} * snapped.GetLineWidth() * 4;
      for (std::uint32_t x = 0; x < snapped.GetWidth(); ++x) {
        for (int c = 0; c < 3; ++c) sums[c] += row[4 * x + c];
      }
    }
    const double count = double(snapped.GetWidth()) * snapped.GetHeight();
    const auto gain = [&](double sum) {
      const double quotient = double(target) / (sum / count);
      // A mean of 0 (and 0 over 0) gives the largest gain.
      if (!(quotient <= kLargestGain)) return kLargestGain;
      return quotient < 0.0 ? 0.0 : quotient;
    };
    // The new gains are the answer, and then the driver's.
    *red = gain(sums[2]);
    *green = gain(sums[1]);
    *blue = gain(sums[0]);
    if (status == kSuccess) status = WriteKey(SessionId(), kRedGainKey, red);
    if (status == kSuccess) status = WriteKey(SessionId(), kGreenGainKey, green);
    if (status == kSuccess) status = WriteKey(SessionId(), kBlueGainKey, blue);
    return status;
  });
}

}  // namespace keld
