// Exported functions of firmware updates. The reading and unpacking of
// update files is not part of the library yet: the three file-based
// functions keep their argument tests and session look-ups, and answer
// 0xBFFF8011 where they would read the file.
#include "keldcfgc/keldcfgc.h"
#include "session/native_frame.h"
#include "session/native_lookup.h"

using namespace keld;

extern "C" {

KELDCFGC_API int32_t cfgGetUpdateFileHeaderInfo(const char* /*path*/, uint32_t* count, uint8_t* /*header*/) {
  EnterNativeFrame();
  if (count == nullptr) return ToResult(kBadPointer);
  return ToResult(kNotSupported);
}

KELDCFGC_API int32_t cfgWriteUpdateFileChunk(uint32_t session, uint32_t /*blockHigh*/, uint32_t /*blockLow*/,
                                             const char* /*path*/, uint32_t /*offset*/, uint32_t /*length*/) {
  EnterNativeFrame();
  // A failed look-up is remembered and wins over what the file gives.
  DeviceConfigSession* device = nullptr;
  const Status lookup = GetDeviceSession(&device, session);
  return ToResult(lookup != kSuccess ? lookup : kNotSupported);
}

KELDCFGC_API int32_t cfgVerifyUpdate(uint32_t session, uint32_t /*blockHigh*/, uint32_t /*blockLow*/,
                                     const char* /*path*/, uint32_t* matches) {
  EnterNativeFrame();
  if (matches == nullptr) return ToResult(kBadPointer);
  *matches = 0;
  DeviceConfigSession* device = nullptr;
  const Status lookup = GetDeviceSession(&device, session);
  return ToResult(lookup != kSuccess ? lookup : kNotSupported);
}

KELDCFGC_API int32_t cfgIsFPGAClassNumSupported(uint32_t session, uint32_t classNumber, uint32_t* supported) {
  EnterNativeFrame();
  if (supported == nullptr) return ToResult(kBadPointer);
  *supported = 0;
  return ToResult(WithDeviceSession(
      session, [&](DeviceConfigSession& s) { return s.IsFPGAClassNumSupported(classNumber, supported); }));
}

}  // extern "C"
