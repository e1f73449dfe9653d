#include "local/local_device_config_session.h"

namespace keld {

LocalDeviceConfigSession::LocalDeviceConfigSession(const char* name, Status* status)
    : DeviceConfigSession(name, status) {}

LocalDeviceConfigSession::~LocalDeviceConfigSession() = default;

Status LocalDeviceConfigSession::ExecuteCommand(std::uint32_t /*command*/, ByteStream* /*arguments*/, ByteStream* /*results*/) {
  return kNotSupported;
}

Status LocalDeviceConfigSession::EnumerateDevices(DeviceList* /*devices*/) { return kNotSupported; }
Status LocalDeviceConfigSession::ReadAttribute(Attribute* /*attribute*/) { return kNotSupported; }
Status LocalDeviceConfigSession::WriteAttribute(Attribute* /*attribute*/) { return kNotSupported; }
Status LocalDeviceConfigSession::RefreshAttributes() { return kNotSupported; }
Status LocalDeviceConfigSession::CommitAttributes() { return kNotSupported; }
Status LocalDeviceConfigSession::ValidateAttributes() { return kNotSupported; }
Status LocalDeviceConfigSession::ReadAttributes(const char* /*path*/) { return kNotSupported; }
Status LocalDeviceConfigSession::WriteAttributes(const char* /*path*/) { return kNotSupported; }
Status LocalDeviceConfigSession::SnapImage(std::uint32_t /*flags*/, Image* /*image*/) { return kNotSupported; }
Status LocalDeviceConfigSession::SetupGrab(std::uint32_t /*flags*/) { return kNotSupported; }
Status LocalDeviceConfigSession::GrabImage(std::uint32_t* /*bufferNumber*/, Image* /*image*/) { return kNotSupported; }
Status LocalDeviceConfigSession::ConfigureAcquisition(std::uint32_t /*continuous*/, std::uint32_t /*bufferCount*/) { return kNotSupported; }
Status LocalDeviceConfigSession::StartAcquisition() { return kNotSupported; }
Status LocalDeviceConfigSession::CopyImage(std::uint32_t* /*bufferNumber*/, Image* /*image*/) { return kNotSupported; }
Status LocalDeviceConfigSession::StopAcquisition() { return kNotSupported; }
Status LocalDeviceConfigSession::UnconfigureAcquisition() { return kNotSupported; }
Status LocalDeviceConfigSession::GetImageCompression(std::uint32_t* /*type*/, std::uint32_t* /*quality*/) { return kNotSupported; }
Status LocalDeviceConfigSession::SetImageCompression(std::uint32_t /*type*/, std::uint32_t /*quality*/) { return kNotSupported; }
Status LocalDeviceConfigSession::GetCameraVideoModes(CameraVideoModeList* /*modes*/) { return kNotSupported; }
Status LocalDeviceConfigSession::GetCameraFeatures(CameraFeatureList* /*features*/) { return kNotSupported; }
Status LocalDeviceConfigSession::ConfigureTrigger(std::uint32_t /*a*/, std::uint32_t /*b*/, std::uint32_t /*c*/, std::uint32_t /*d*/) { return kNotSupported; }
Status LocalDeviceConfigSession::ReadU32(std::uint32_t /*space*/, std::uint32_t /*address*/, std::uint32_t /*count*/, std::uint32_t* /*values*/) { return kNotSupported; }
Status LocalDeviceConfigSession::WriteU32(std::uint32_t /*space*/, std::uint32_t /*address*/, std::uint32_t /*count*/, const std::uint32_t* /*values*/) { return kNotSupported; }
Status LocalDeviceConfigSession::QueryCameraFileDataList(CameraFileDataList* /*files*/, std::uint32_t* /*current*/) { return kNotSupported; }
Status LocalDeviceConfigSession::QueryReferenceCameraFileList(StringList* /*files*/) { return kNotSupported; }
Status LocalDeviceConfigSession::QueryInterfaceFileDataList(std::uint32_t /*index*/, InterfaceFileDataList* /*files*/) { return kNotSupported; }
Status LocalDeviceConfigSession::ChangeInterfaceFile(const char* /*path*/) { return kNotSupported; }
Status LocalDeviceConfigSession::WriteInterfaceFile(const char* /*path*/, std::uint32_t /*flag*/) { return kNotSupported; }
Status LocalDeviceConfigSession::QueryCameraAttributeList(CameraAttributeList* /*attributes*/) { return kNotSupported; }
Status LocalDeviceConfigSession::SetCameraAttribute(std::uint32_t /*key*/, const char* /*text*/, double /*number*/, std::uint8_t /*useDefault*/) { return kNotSupported; }
Status LocalDeviceConfigSession::AutoExposure(double* /*a*/, double* /*b*/) { return kNotSupported; }
Status LocalDeviceConfigSession::GetDataFilePath(CFGString* /*path*/) { return kNotSupported; }
Status LocalDeviceConfigSession::InitializeDiagnostics(std::uint32_t* /*first*/, std::uint32_t* /*second*/) { return kNotSupported; }
Status LocalDeviceConfigSession::QueryDiagnosticResults(std::uint32_t /*index*/, StringList* /*names*/, StringList* /*results*/) { return kNotSupported; }
Status LocalDeviceConfigSession::CopyFile(const char* /*source*/, const char* /*destination*/) { return kNotSupported; }
Status LocalDeviceConfigSession::CalculateBayerGains(std::uint32_t /*selector*/, double* /*first*/, double* /*second*/, double* /*third*/) { return kNotSupported; }
Status LocalDeviceConfigSession::QueryAcqUnitCameraFileList(const char* /*unit*/, StringList* /*files*/) { return kNotSupported; }
Status LocalDeviceConfigSession::GetSerialErrorText(CFGString* /*text*/) { return kNotSupported; }
Status LocalDeviceConfigSession::WriteBlock(std::uint64_t /*target*/, std::uint32_t /*first*/, std::uint32_t /*second*/, std::uint32_t /*width*/, std::uint32_t /*height*/, const void* /*data*/) { return kNotSupported; }
Status LocalDeviceConfigSession::ReadBlock(std::uint64_t /*target*/, std::uint32_t /*first*/, std::uint32_t /*second*/, std::uint32_t /*width*/, std::uint32_t /*height*/, void* /*data*/) { return kNotSupported; }
Status LocalDeviceConfigSession::IsFPGAClassNumSupported(std::uint32_t /*classNumber*/, std::uint32_t* /*supported*/) { return kNotSupported; }
Status LocalDeviceConfigSession::ReadAttributesFromString(const char* /*text*/) { return kNotSupported; }
Status LocalDeviceConfigSession::WriteAttributesToString(CFGString* /*text*/) { return kNotSupported; }
Status LocalDeviceConfigSession::SetAcquisitionFlags(std::uint32_t /*flags*/) { return kNotSupported; }

}  // namespace keld
