// The names of the driver's entry points, as the library asks for them.
#include <algorithm>
#include <iterator>
#include <string_view>

#include "core/simulator.h"

namespace keldsim {
namespace {

constexpr std::string_view kEntryPoints[] = {
    "odkelduGetDriverVersion", "odkelduDeployInterfaceFiles", "odkelduGetSerialNumber", "odkelduGetBoardName",
    "kldGetBoardPCIID", "odkelduGetFailedDeviceInfo", "kldShowError", "odkelduGetActiveInterfaceFile",
    "odkelduClaimNewInterfaceFile", "odkelduSetActiveInterfaceFile", "odkelduGetNumAcqUnits",
    "odkelduGetInterfaceFilePathA", "odkelduGetDiagnosticsPathA", "kldInterfaceQueryNames",
    "odkelduGetSerialNumberFromInterfaceFile", "odkelduSetSerialNumberInInterfaceFile",
    "odkelduGetInterfaceTypeExFromInterfaceFile", "odkelduGetCameraFileFromInterfaceFile", "kldInterfaceOpen",
    "kldSessionOpen", "kldClose", "odkelduDisable32bitPhysMemLimitEnforcement", "kldGetAttribute",
    "kldSetAttributeFromVoidPtr", "odkelduGetAttributeKeys", "odkelduGetExecutionState",
    "odkelduChangeExecutionState", "odkelduValidate", "odkelduLoadInterfaceConfig", "odkelduLoadCameraConfig",
    "odkelduStoreInterfaceConfig", "odkelduStoreCameraConfig", "odkelduLoadConfiguration",
    "kldLoadCameraConfigFromString", "kldStoreCameraConfigToString", "kldDisposeBuffer",
    "odkelduIsInterfaceSupported", "odkelduGetCameraHeaderInfo", "kldGrabSetup", "kldSessionGetBufferSize",
    "kldCreateBufList", "kldCreateBuffer", "kldSetBufferElement2", "kldSetBufferElement", "kldMemLock",
    "kldMemUnlock", "kldDisposeBufList", "kldSessionConfigure", "kldSessionAcquire", "kldSessionStartAcquisition",
    "kldSessionStopAcquisition", "kldRingSetup", "kldSequenceSetup", "kldSnapArea", "kldGrabArea",
    "kldSessionCopyArea", "kldSessionCopyAreaByNumber", "odkelduAutoExposureNonSamsung", "kldRead", "kldWrite",
    "odkelduReadBlock", "odkelduWriteBlock", "odkelduIsFPGAClassNumberSupported", "kldSessionTriggerConfigure",
    "kldSessionTriggerDrive2", "kldSessionTriggerRead2", "kldSessionTriggerRoute2", "kldSessionTriggerClear",
    "kldSessionTriggerConfigure2", "kldSessionTriggerConfigure3", "kldSessionTriggerGet",
    "kldSessionLineTrigSource2", "kldEncoderResetPosition", "kldPulseCreate2", "kldPulseDispose", "kldPulseRate",
    "kldPulseStart", "kldPulseStop", "kldPulseSetDutyCycle", "odkelduShowSerialError", "odkelduLoadLightingLimits",
    "odkelduCameraAttributeGetNumRoots", "odkelduCameraAttributeGetRootIds", "odkelduCameraAttributeGetInfo",
    "odkelduCameraAttributeGetNumValues", "odkelduCameraAttributeGetValueIds",
    "odkelduCameraAttributeGetNumChildren", "odkelduCameraAttributeGetChildrenIds",
    "odkelduCameraAttributeNumericGetUnitsSize", "odkelduCameraAttributeNumericGetUnits",
    "odkelduCameraAttributeNumericGetMin", "odkelduCameraAttributeNumericGetMax",
    "odkelduCameraAttributeNumericGetFormattedValue", "odkelduCameraAttributeNumericGetPrecision",
    "odkelduCameraAttributeNumericGetIncrement", "odkelduCameraAttributeNumericGetIncrementEx",
    "odkelduCameraAttributeNumericGetDefault", "odkelduCameraAttributeStringGetDefault",
    "kldGetCameraAttributeNumeric", "kldGetCameraAttributeString", "kldSetCameraAttributeNumeric",
    "kldSetCameraAttributeString",
};

}  // namespace

bool IsEntryPoint(std::string_view name) {
  if (std::find(std::begin(kEntryPoints), std::end(kEntryPoints), name) == std::end(kEntryPoints)) return false;
  for (std::size_t i = 0; i < kVariant.missingCount; ++i) {
    if (name == kVariant.missing[i]) return false;
  }
  return true;
}

}  // namespace keldsim
