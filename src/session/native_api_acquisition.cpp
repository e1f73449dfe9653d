// Exported functions of image acquisition, registers, compression and the
// colour helpers.
#include "keldcfgc/keldcfgc.h"
#include "session/native_frame.h"
#include "session/native_lookup.h"

using namespace keld;

extern "C" {

KELDCFGC_API int32_t cfgSnapImage(uint32_t session, uint32_t flags, Image* image) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.SnapImage(flags, image); }));
}

KELDCFGC_API int32_t cfgSetupGrab(uint32_t session, uint32_t flags) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.SetupGrab(flags); }));
}

KELDCFGC_API int32_t cfgGrabImage(uint32_t session, uint32_t* bufferNumber, Image* image) {
  EnterNativeFrame();
  if (bufferNumber == nullptr || image == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.GrabImage(bufferNumber, image); }));
}

KELDCFGC_API int32_t cfgConfigureAcquisition(uint32_t session, uint32_t continuous, uint32_t bufferCount) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(
      session, [&](DeviceConfigSession& s) { return s.ConfigureAcquisition(continuous, bufferCount); }));
}

KELDCFGC_API int32_t cfgStartAcquisition(uint32_t session) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [](DeviceConfigSession& s) { return s.StartAcquisition(); }));
}

KELDCFGC_API int32_t cfgCopyImage(uint32_t session, uint32_t* bufferNumber, Image* image) {
  EnterNativeFrame();
  if (bufferNumber == nullptr || image == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.CopyImage(bufferNumber, image); }));
}

KELDCFGC_API int32_t cfgStopAcquisition(uint32_t session) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [](DeviceConfigSession& s) { return s.StopAcquisition(); }));
}

KELDCFGC_API int32_t cfgUnconfigureAcquisition(uint32_t session) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [](DeviceConfigSession& s) { return s.UnconfigureAcquisition(); }));
}

KELDCFGC_API int32_t cfgGetImageCompression(uint32_t session, uint32_t* type, uint32_t* quality) {
  EnterNativeFrame();
  if (type == nullptr || quality == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.GetImageCompression(type, quality); }));
}

KELDCFGC_API int32_t cfgSetImageCompression(uint32_t session, uint32_t type, uint32_t quality) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.SetImageCompression(type, quality); }));
}

KELDCFGC_API int32_t cfgSetAcquisitionFlags(uint32_t session, uint32_t flags) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.SetAcquisitionFlags(flags); }));
}

KELDCFGC_API int32_t cfgSupportsRingAcquisition(uint32_t session, uint32_t imageType, uint32_t* supported) {
  EnterNativeFrame();
  if (supported == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(
      session, [&](DeviceConfigSession& s) { return s.SupportsRingAcquisition(imageType, supported); }));
}

KELDCFGC_API int32_t cfgConfigureTrigger(uint32_t session, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.ConfigureTrigger(a, b, c, d); }));
}

KELDCFGC_API int32_t cfgReadU32(uint32_t session, uint32_t space, uint32_t address, uint32_t count, uint32_t* values) {
  EnterNativeFrame();
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.ReadU32(space, address, count, values); }));
}

KELDCFGC_API int32_t cfgWriteU32(uint32_t session, uint32_t space, uint32_t address, uint32_t count,
                                 const uint32_t* values) {
  EnterNativeFrame();
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.WriteU32(space, address, count, values); }));
}

KELDCFGC_API int32_t cfgCalculateBayerGains(uint32_t session, uint32_t selector, double* first, double* second,
                                            double* third) {
  EnterNativeFrame();
  if (first == nullptr || second == nullptr || third == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(
      session, [&](DeviceConfigSession& s) { return s.CalculateBayerGains(selector, first, second, third); }));
}

KELDCFGC_API int32_t cfgCalculateBayerColorLUT(uint32_t session) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [](DeviceConfigSession& s) { return s.CalculateBayerColorLUT(); }));
}

}  // extern "C"
