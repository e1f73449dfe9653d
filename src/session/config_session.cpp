#include "session/config_session.h"

namespace keld {

DeviceConfigSession::DeviceConfigSession(const char* name, Status* /*status*/) : interfaceName(name) {}

DeviceConfigSession::~DeviceConfigSession() = default;

// The common default: not supported, nothing touched.
Status DeviceConfigSession::SetOpenFlags(std::uint32_t /*flags*/) { return kNotSupported; }
Status DeviceConfigSession::GetCameraStatus(const char* /*camera*/, std::uint8_t* /*state*/, std::uint32_t* /*detail*/) { return kNotSupported; }
Status DeviceConfigSession::RenameInterface(const char* /*name*/) { return kNotSupported; }
Status DeviceConfigSession::CalculateBayerColorLUT() { return kNotSupported; }
Status DeviceConfigSession::SupportsRingAcquisition(std::uint32_t /*imageType*/, std::uint32_t* /*supported*/) { return kNotSupported; }
Status DeviceConfigSession::GetKELDCameraFileList(char* /*list*/, std::uint32_t* /*size*/) { return kNotSupported; }
Status DeviceConfigSession::GetKELDCameraFilename(char* /*name*/, std::uint32_t /*size*/) { return kNotSupported; }
Status DeviceConfigSession::ChangeKELDCameraFile(const char* /*name*/) { return kNotSupported; }
Status DeviceConfigSession::RenameCameraLinkBoard(const char* /*oldName*/, const char* /*newName*/) { return kNotSupported; }
Status DeviceConfigSession::CopyKELDCameraFile(const char* /*name*/) { return kNotSupported; }
Status DeviceConfigSession::KELDRingSetup(std::uint32_t /*a*/, std::uint32_t /*b*/, std::uint32_t /*c*/) { return kNotSupported; }
Status DeviceConfigSession::KELDSequenceSetup(std::uint32_t /*count*/, void* /*table*/, std::uint32_t /*a*/, std::uint32_t /*b*/) { return kNotSupported; }
Status DeviceConfigSession::KELDSessionStartAcquisition() { return kNotSupported; }
Status DeviceConfigSession::KELDSessionStopAcquisition() { return kNotSupported; }
Status DeviceConfigSession::KELDPulseCreate2(std::uint32_t /*a1*/, std::uint32_t /*a2*/, std::uint32_t /*a3*/, std::uint32_t /*a4*/, std::uint32_t /*a5*/, std::uint32_t /*a6*/, std::uint32_t /*a7*/, std::uint32_t /*a8*/, std::uint32_t /*a9*/, std::uint32_t /*a10*/, std::uint32_t* /*pulse*/) { return kNotSupported; }
Status DeviceConfigSession::KELDPulseDispose(std::uint32_t /*pulse*/) { return kNotSupported; }
Status DeviceConfigSession::KELDPulseRate(double /*a*/, double /*b*/, std::uint32_t* /*c*/, std::uint32_t* /*d*/, std::uint32_t* /*e*/) { return kNotSupported; }
Status DeviceConfigSession::KELDPulseStart(std::uint32_t /*pulse*/) { return kNotSupported; }
Status DeviceConfigSession::KELDPulseStop(std::uint32_t /*pulse*/) { return kNotSupported; }
Status DeviceConfigSession::KELDSessionTriggerDrive2(std::uint32_t /*a*/, std::uint32_t /*b*/, std::uint32_t /*c*/, std::uint32_t /*d*/) { return kNotSupported; }
Status DeviceConfigSession::KELDSessionTriggerRead2(std::uint32_t /*a*/, std::uint32_t /*b*/, std::uint32_t /*c*/, std::uint32_t* /*value*/) { return kNotSupported; }
Status DeviceConfigSession::KELDSessionTriggerRoute2(std::uint32_t /*a*/, std::uint32_t /*b*/, std::uint32_t /*c*/, std::uint32_t /*d*/) { return kNotSupported; }
Status DeviceConfigSession::KELDSessionTriggerClear() { return kNotSupported; }
Status DeviceConfigSession::KELDSessionTriggerConfigure2(std::uint32_t /*a*/, std::uint32_t /*b*/, std::uint32_t /*c*/, std::uint32_t /*d*/, std::uint32_t /*e*/) { return kNotSupported; }
Status DeviceConfigSession::KELDSessionLineTrigSource2(std::uint32_t /*a*/, std::uint32_t /*b*/, std::uint32_t /*c*/, std::uint32_t /*d*/) { return kNotSupported; }
Status DeviceConfigSession::KELDEncoderResetPosition() { return kNotSupported; }
Status DeviceConfigSession::KELDSessionTriggerConfigure3(std::uint32_t /*a*/, std::uint32_t /*b*/, std::uint32_t /*c*/, std::uint32_t /*d*/, std::uint32_t /*e*/, double /*f*/, std::uint32_t /*g*/) { return kNotSupported; }
Status DeviceConfigSession::KELDSessionTriggerGet(std::uint32_t /*a*/, std::uint32_t* /*b*/, std::uint32_t* /*c*/, std::uint32_t* /*d*/, std::uint32_t* /*e*/, std::uint32_t* /*f*/, double* /*g*/, std::uint32_t* /*h*/) { return kNotSupported; }
Status DeviceConfigSession::KELDEnumerateLightHeads(LightHeadList* /*heads*/) { return kNotSupported; }
Status DeviceConfigSession::KELDDeployLightHeadData(LightHeadRecord* /*data*/, std::uint8_t /*flag*/) { return kNotSupported; }
Status DeviceConfigSession::KELDLoadLightingLimits(LightHeadRecord* /*data*/) { return kNotSupported; }
Status DeviceConfigSession::KELDPulseSetDutyCycle(std::uint32_t /*a*/, std::uint32_t /*b*/, std::uint32_t /*c*/) { return kNotSupported; }

}  // namespace keld
