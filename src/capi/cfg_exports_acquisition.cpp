// Exported functions of image acquisition, registers, compression and the
// colour helpers.
#include "capi/frames.h"
#include "capi/native_call.h"
#include "keldcfgc/keldcfgc.h"

using namespace keld;
using keld::capi::NativeCall;

extern "C" {

KELDCFGC_API int32_t cfgSnapImage(uint32_t session, uint32_t flags, Image* image) {
  return NativeCall([&] { return frames::SnapImage(session, flags, image); });
}

KELDCFGC_API int32_t cfgSetupGrab(uint32_t session, uint32_t flags) {
  return NativeCall([&] { return frames::SetupGrab(session, flags); });
}

KELDCFGC_API int32_t cfgGrabImage(uint32_t session, uint32_t* bufferNumber, Image* image) {
  return NativeCall([&] { return frames::GrabImage(session, bufferNumber, image); });
}

KELDCFGC_API int32_t cfgConfigureAcquisition(uint32_t session, uint32_t continuous, uint32_t bufferCount) {
  return NativeCall([&] { return frames::ConfigureAcquisition(session, continuous, bufferCount); });
}

KELDCFGC_API int32_t cfgStartAcquisition(uint32_t session) {
  return NativeCall([&] { return frames::StartAcquisition(session); });
}

KELDCFGC_API int32_t cfgCopyImage(uint32_t session, uint32_t* bufferNumber, Image* image) {
  return NativeCall([&] { return frames::CopyImage(session, bufferNumber, image); });
}

KELDCFGC_API int32_t cfgStopAcquisition(uint32_t session) {
  return NativeCall([&] { return frames::StopAcquisition(session); });
}

KELDCFGC_API int32_t cfgUnconfigureAcquisition(uint32_t session) {
  return NativeCall([&] { return frames::UnconfigureAcquisition(session); });
}

KELDCFGC_API int32_t cfgGetImageCompression(uint32_t session, uint32_t* type, uint32_t* quality) {
  return NativeCall([&] { return frames::GetImageCompression(session, type, quality); });
}

KELDCFGC_API int32_t cfgSetImageCompression(uint32_t session, uint32_t type, uint32_t quality) {
  return NativeCall([&] { return frames::SetImageCompression(session, type, quality); });
}

KELDCFGC_API int32_t cfgSetAcquisitionFlags(uint32_t session, uint32_t flags) {
  return NativeCall([&] { return frames::SetAcquisitionFlags(session, flags); });
}

KELDCFGC_API int32_t cfgSupportsRingAcquisition(uint32_t session, uint32_t imageType, uint32_t* supported) {
  return NativeCall([&] { return frames::SupportsRingAcquisition(session, imageType, supported); });
}

KELDCFGC_API int32_t cfgConfigureTrigger(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                         uint32_t fourth) {
  return NativeCall([&] { return frames::ConfigureTrigger(session, first, second, third, fourth); });
}

KELDCFGC_API int32_t cfgReadU32(uint32_t session, uint32_t space, uint32_t address, uint32_t count, uint32_t* values) {
  return NativeCall([&] { return frames::ReadU32(session, space, address, count, values); });
}

KELDCFGC_API int32_t cfgWriteU32(uint32_t session, uint32_t space, uint32_t address, uint32_t count,
                                 const uint32_t* values) {
  return NativeCall([&] { return frames::WriteU32(session, space, address, count, values); });
}

KELDCFGC_API int32_t cfgCalculateBayerGains(uint32_t session, uint32_t selector, double* red, double* green,
                                            double* blue) {
  return NativeCall([&] { return frames::CalculateBayerGains(session, selector, red, green, blue); });
}

KELDCFGC_API int32_t cfgCalculateBayerColorLUT(uint32_t session) {
  return NativeCall([&] { return frames::CalculateBayerColorLUT(session); });
}

}  // extern "C"
