// Exported functions of the frame-grabber driver's rings, sequences,
// triggers, pulses, encoder and lighting.
#include <algorithm>

#include "capi/frames.h"
#include "capi/native_call.h"
#include "keldcfgc/keldcfgc.h"

using namespace keld;
using keld::capi::NativeCall;

extern "C" {

KELDCFGC_API int32_t cfgKELDRingSetup(uint32_t session, uint32_t bufferCount, uint32_t first, uint32_t second) {
  return NativeCall([&] { return frames::KELDRingSetup(session, bufferCount, first, second); });
}

KELDCFGC_API int32_t cfgKELDSequenceSetup(uint32_t session, uint32_t count, void* table, uint32_t first,
                                          uint32_t second) {
  return NativeCall([&] { return frames::KELDSequenceSetup(session, count, table, first, second); });
}

KELDCFGC_API int32_t cfgKELDSessionStartAcquisition(uint32_t session) {
  return NativeCall([&] { return frames::KELDSessionStartAcquisition(session); });
}

KELDCFGC_API int32_t cfgKELDSessionStopAcquisition(uint32_t session) {
  return NativeCall([&] { return frames::KELDSessionStopAcquisition(session); });
}

KELDCFGC_API int32_t cfgKELDPulseCreate2(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                         uint32_t fourth, uint32_t fifth, uint32_t sixth, uint32_t seventh,
                                         uint32_t eighth, uint32_t ninth, uint32_t tenth, uint32_t* pulse) {
  return NativeCall([&] {
    const std::uint32_t arguments[10] = {first, second, third, fourth, fifth, sixth, seventh, eighth, ninth, tenth};
    return frames::KELDPulseCreate2(session, arguments, pulse);
  });
}

KELDCFGC_API int32_t cfgKELDPulseDispose(uint32_t session, uint32_t pulse) {
  return NativeCall([&] { return frames::KELDPulseDispose(session, pulse); });
}

KELDCFGC_API int32_t cfgKELDPulseRate(uint32_t session, double delay, double width, uint32_t* first, uint32_t* second,
                                      uint32_t* third) {
  return NativeCall([&] { return frames::KELDPulseRate(session, delay, width, first, second, third); });
}

KELDCFGC_API int32_t cfgKELDPulseStart(uint32_t session, uint32_t pulse) {
  return NativeCall([&] { return frames::KELDPulseStart(session, pulse); });
}

KELDCFGC_API int32_t cfgKELDPulseStop(uint32_t session, uint32_t pulse) {
  return NativeCall([&] { return frames::KELDPulseStop(session, pulse); });
}

KELDCFGC_API int32_t cfgKELDPulseSetDutyCycle(uint32_t session, uint32_t pulse, uint32_t first, uint32_t second) {
  return NativeCall([&] { return frames::KELDPulseSetDutyCycle(session, pulse, first, second); });
}

KELDCFGC_API int32_t cfgKELDSessionTriggerDrive2(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                                 uint32_t fourth) {
  return NativeCall([&] { return frames::KELDSessionTriggerDrive2(session, first, second, third, fourth); });
}

KELDCFGC_API int32_t cfgKELDSessionTriggerRead2(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                                uint32_t* value) {
  return NativeCall([&] { return frames::KELDSessionTriggerRead2(session, first, second, third, value); });
}

KELDCFGC_API int32_t cfgKELDSessionTriggerRoute2(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                                 uint32_t fourth) {
  return NativeCall([&] { return frames::KELDSessionTriggerRoute2(session, first, second, third, fourth); });
}

KELDCFGC_API int32_t cfgKELDSessionTriggerClear(uint32_t session) {
  return NativeCall([&] { return frames::KELDSessionTriggerClear(session); });
}

KELDCFGC_API int32_t cfgKELDSessionTriggerConfigure2(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                                     uint32_t fourth, uint32_t fifth) {
  return NativeCall([&] { return frames::KELDSessionTriggerConfigure2(session, first, second, third, fourth, fifth); });
}

KELDCFGC_API int32_t cfgKELDSessionLineTrigSource2(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                                   uint32_t fourth) {
  return NativeCall([&] { return frames::KELDSessionLineTrigSource2(session, first, second, third, fourth); });
}

KELDCFGC_API int32_t cfgKELDEncoderResetPosition(uint32_t session) {
  return NativeCall([&] { return frames::KELDEncoderResetPosition(session); });
}

KELDCFGC_API int32_t cfgKELDSessionTriggerConfigure3(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                                     uint32_t fourth, uint32_t fifth, double time, uint32_t sixth) {
  return NativeCall([&] {
    return frames::KELDSessionTriggerConfigure3(session, first, second, third, fourth, fifth, time, sixth);
  });
}

KELDCFGC_API int32_t cfgKELDSessionTriggerGet(uint32_t session, uint32_t trigger, uint32_t* first, uint32_t* second,
                                              uint32_t* third, uint32_t* fourth, uint32_t* fifth, double* time,
                                              uint32_t* sixth) {
  return NativeCall([&] {
    return frames::KELDSessionTriggerGet(session, trigger, first, second, third, fourth, fifth, time, sixth);
  });
}

KELDCFGC_API int32_t cfgKELDEnumerateLightHeads(uint32_t session, const char* directory, ::LightHeadRecord* records,
                                                uint32_t* count) {
  return NativeCall([&] {
    keld::LightHeadList heads;
    const Status status = frames::KELDEnumerateLightHeads(session, directory, &heads);
    if (status != kSuccess) return status;
    if (count == nullptr) return kBadPointer;
    if (records == nullptr) {
      *count = static_cast<std::uint32_t>(heads.size());
      return kSuccess;
    }
    const std::uint32_t copied = std::min<std::uint32_t>(*count, static_cast<std::uint32_t>(heads.size()));
    std::copy_n(heads.begin(), copied, records);
    *count = copied;
    return kSuccess;
  });
}

KELDCFGC_API int32_t cfgKELDDeployLightHeadData(uint32_t session, ::LightHeadRecord* data, uint8_t checkLimits) {
  return NativeCall([&] { return frames::KELDDeployLightHeadData(session, data, checkLimits); });
}

KELDCFGC_API int32_t cfgKELDLoadLightingLimits(uint32_t session, ::LightHeadRecord* data) {
  return NativeCall([&] { return frames::KELDLoadLightingLimits(session, data); });
}

}  // extern "C"
