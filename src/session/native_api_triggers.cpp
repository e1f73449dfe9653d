// Exported functions of the frame-grabber driver's rings, sequences,
// triggers, pulses, encoder and lighting.
#include <algorithm>

#include "datafile/light_head_record.h"
#include "keldcfgc/keldcfgc.h"
#include "session/native_frame.h"
#include "session/native_lookup.h"

using namespace keld;

extern "C" {

KELDCFGC_API int32_t cfgKELDRingSetup(uint32_t session, uint32_t a, uint32_t b, uint32_t c) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDRingSetup(a, b, c); }));
}

KELDCFGC_API int32_t cfgKELDSequenceSetup(uint32_t session, uint32_t count, void* table, uint32_t a, uint32_t b) {
  EnterNativeFrame();
  if (table == nullptr) return ToResult(kBadPointer);
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDSequenceSetup(count, table, a, b); }));
}

KELDCFGC_API int32_t cfgKELDSessionStartAcquisition(uint32_t session) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [](DeviceConfigSession& s) { return s.KELDSessionStartAcquisition(); }));
}

KELDCFGC_API int32_t cfgKELDSessionStopAcquisition(uint32_t session) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [](DeviceConfigSession& s) { return s.KELDSessionStopAcquisition(); }));
}

KELDCFGC_API int32_t cfgKELDPulseCreate2(uint32_t session, uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4,
                                         uint32_t a5, uint32_t a6, uint32_t a7, uint32_t a8, uint32_t a9, uint32_t a10,
                                         uint32_t* pulse) {
  EnterNativeFrame();
  if (pulse == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) {
    return s.KELDPulseCreate2(a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, pulse);
  }));
}

KELDCFGC_API int32_t cfgKELDPulseDispose(uint32_t session, uint32_t pulse) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDPulseDispose(pulse); }));
}

KELDCFGC_API int32_t cfgKELDPulseRate(uint32_t session, double a, double b, uint32_t* c, uint32_t* d, uint32_t* e) {
  EnterNativeFrame();
  if (c == nullptr || d == nullptr || e == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDPulseRate(a, b, c, d, e); }));
}

KELDCFGC_API int32_t cfgKELDPulseStart(uint32_t session, uint32_t pulse) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDPulseStart(pulse); }));
}

KELDCFGC_API int32_t cfgKELDPulseStop(uint32_t session, uint32_t pulse) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDPulseStop(pulse); }));
}

KELDCFGC_API int32_t cfgKELDPulseSetDutyCycle(uint32_t session, uint32_t a, uint32_t b, uint32_t c) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDPulseSetDutyCycle(a, b, c); }));
}

KELDCFGC_API int32_t cfgKELDSessionTriggerDrive2(uint32_t session, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  EnterNativeFrame();
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDSessionTriggerDrive2(a, b, c, d); }));
}

KELDCFGC_API int32_t cfgKELDSessionTriggerRead2(uint32_t session, uint32_t a, uint32_t b, uint32_t c,
                                                uint32_t* value) {
  EnterNativeFrame();
  if (value == nullptr) return ToResult(kBadPointer);
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDSessionTriggerRead2(a, b, c, value); }));
}

KELDCFGC_API int32_t cfgKELDSessionTriggerRoute2(uint32_t session, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  EnterNativeFrame();
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDSessionTriggerRoute2(a, b, c, d); }));
}

KELDCFGC_API int32_t cfgKELDSessionTriggerClear(uint32_t session) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [](DeviceConfigSession& s) { return s.KELDSessionTriggerClear(); }));
}

KELDCFGC_API int32_t cfgKELDSessionTriggerConfigure2(uint32_t session, uint32_t a, uint32_t b, uint32_t c,
                                                     uint32_t d, uint32_t e) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(
      session, [&](DeviceConfigSession& s) { return s.KELDSessionTriggerConfigure2(a, b, c, d, e); }));
}

KELDCFGC_API int32_t cfgKELDSessionLineTrigSource2(uint32_t session, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  EnterNativeFrame();
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDSessionLineTrigSource2(a, b, c, d); }));
}

KELDCFGC_API int32_t cfgKELDEncoderResetPosition(uint32_t session) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [](DeviceConfigSession& s) { return s.KELDEncoderResetPosition(); }));
}

KELDCFGC_API int32_t cfgKELDSessionTriggerConfigure3(uint32_t session, uint32_t a, uint32_t b, uint32_t c,
                                                     uint32_t d, uint32_t e, double f, uint32_t g) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(
      session, [&](DeviceConfigSession& s) { return s.KELDSessionTriggerConfigure3(a, b, c, d, e, f, g); }));
}

KELDCFGC_API int32_t cfgKELDSessionTriggerGet(uint32_t session, uint32_t a, uint32_t* b, uint32_t* c, uint32_t* d,
                                              uint32_t* e, uint32_t* f, double* g, uint32_t* h) {
  EnterNativeFrame();
  if (b == nullptr || c == nullptr || d == nullptr || e == nullptr || f == nullptr || g == nullptr || h == nullptr) {
    return ToResult(kBadPointer);
  }
  return ToResult(WithDeviceSession(
      session, [&](DeviceConfigSession& s) { return s.KELDSessionTriggerGet(a, b, c, d, e, f, g, h); }));
}

KELDCFGC_API int32_t cfgKELDEnumerateLightHeads(uint32_t session, const char* directory, ::LightHeadRecord* records,
                                                uint32_t* count) {
  EnterNativeFrame();
  if (directory == nullptr) return ToResult(kBadPointer);
  DeviceConfigSession* device = nullptr;
  Status status = GetDeviceSession(&device, session);
  if (status != kSuccess) return ToResult(status);
  // The target's heads. Reading the local directory, marking the head in
  // use and the validity test belong to the light-head files, which the
  // library does not read yet: the result is the target's list alone.
  keld::LightHeadList result;
  if (device->IsRemote()) {
    status = device->KELDEnumerateLightHeads(&result);
    if (status != kSuccess) return ToResult(status);
  }
  for (keld::LightHeadRecord& record : result) record.onTarget = 1;
  if (count == nullptr) return ToResult(kBadPointer);
  if (records == nullptr) {
    *count = static_cast<std::uint32_t>(result.size());
    return ToResult(kSuccess);
  }
  const std::uint32_t copied = std::min<std::uint32_t>(*count, static_cast<std::uint32_t>(result.size()));
  std::copy_n(result.begin(), copied, records);
  *count = copied;
  return ToResult(kSuccess);
}

KELDCFGC_API int32_t cfgKELDDeployLightHeadData(uint32_t session, ::LightHeadRecord* data, uint8_t flag) {
  EnterNativeFrame();
  if (data == nullptr) return ToResult(kBadPointer);
  keld::LightHeadRecord record(*data);
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDDeployLightHeadData(&record, flag); }));
}

KELDCFGC_API int32_t cfgKELDLoadLightingLimits(uint32_t session, ::LightHeadRecord* data) {
  EnterNativeFrame();
  if (data == nullptr) return ToResult(kBadPointer);
  keld::LightHeadRecord record(*data);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.KELDLoadLightingLimits(&record); }));
}

}  // extern "C"
