// The names of the driver's entry points, as the library asks for them.
#include <algorithm>
#include <iterator>
#include <string_view>

#include "driver.h"

namespace keldnvsim {
namespace {

constexpr std::string_view kEntryPoints[] = {
    "KELDnvGetDriverVersion",
    "KELDnvGetErrorString",
    "KELDnvEnumerateCameras",
    "KELDnvGetDriverName",
    "KELDnvGetDriverName2",
    "KELDnvGetCameraStatus",
    "KELDnvOpenCamera",
    "KELDnvCloseCamera",
    "KELDnvRenameInterface",
    "KELDnvEnumerateAttributes2",
    "KELDnvEnumerateAttributes3",
    "KELDnvGetAttribute",
    "KELDnvSetAttributeFromVoidPtr",
    "KELDnvGetAttributeVisibility",
    "KELDnvIsAttributeReadable",
    "KELDnvIsAttributeWritable",
    "KELDnvIsAttributeDynamic",
    "KELDnvGetAttributeTooltip",
    "KELDnvGetAttributeMinimum",
    "KELDnvGetAttributeMaximum",
    "KELDnvGetAttributeIncrement",
    "KELDnvGetAttributeUnits",
    "KELDnvGetAttributeRepresentation",
    "KELDnvGetAttributeDescription",
    "KELDnvGetAttributeDisplayName",
    "KELDnvEnumerateAttributeValues",
    "KELDnvValidateAcquisition",
    "KELDnvReadAttributes",
    "KELDnvWriteAttributes",
    "KELDnvReadAttributesFromString",
    "KELDnvWriteAttributesToString",
    "KELDnvDispose",
    "KELDnvEnumerateCameraFiles",
    "KELDnvSnap",
    "KELDnvConfigureGrab",
    "KELDnvGrab",
    "KELDnvConfigureAcquisition",
    "KELDnvConfigureRingAcquisition",
    "KELDnvStartAcquisition",
    "KELDnvStopAcquisition",
    "KELDnvUnconfigureAcquisition",
    "KELDnvGetImage",
    "KELDnvCalculateBayerGains",
    "KELDnvReadRegister",
    "KELDnvWriteRegister",
    "KELDnvEnumerateCameraLinkCameraFiles",
    "KELDnvGetCameraLinkCameraFilename",
    "KELDnvChangeCameraLinkCameraFile",
    "KELDnvCopyCameraLinkCameraFile",
    "KELDnvRenameCameraLinkBoard",
};

}  // namespace

bool IsEntryPoint(std::string_view name) {
  return keldsim_support::IsOfferedEntryPoint(name, kEntryPoints, kVariant.missing, kVariant.missingCount);
}

}  // namespace keldnvsim
