#include "remote/remote_device_config_session.h"

namespace keld {

RemoteDeviceConfigSession::RemoteDeviceConfigSession(const char* clientName, const char* hostName,
                                                     std::uint32_t driverType, const char* name, Status* status)
    : RemoteSession(clientName, hostName, driverType, name, status), DeviceConfigSession(name, status) {}

RemoteDeviceConfigSession::~RemoteDeviceConfigSession() = default;

Status RemoteDeviceConfigSession::Open() { return kNotSupported; }
Status RemoteDeviceConfigSession::Close() { return kNotSupported; }

Status RemoteDeviceConfigSession::EnumerateDevices(DeviceList* /*devices*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::ReadAttribute(Attribute* /*attribute*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::WriteAttribute(Attribute* /*attribute*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::RefreshAttributes() { return kNotSupported; }
Status RemoteDeviceConfigSession::CommitAttributes() { return kNotSupported; }
Status RemoteDeviceConfigSession::ValidateAttributes() { return kNotSupported; }
Status RemoteDeviceConfigSession::ReadAttributes(const char* /*path*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::WriteAttributes(const char* /*path*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::SnapImage(std::uint32_t /*flags*/, Image* /*image*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::SetupGrab(std::uint32_t /*flags*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::GrabImage(std::uint32_t* /*bufferNumber*/, Image* /*image*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::ConfigureAcquisition(std::uint32_t /*continuous*/, std::uint32_t /*bufferCount*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::StartAcquisition() { return kNotSupported; }
Status RemoteDeviceConfigSession::CopyImage(std::uint32_t* /*bufferNumber*/, Image* /*image*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::StopAcquisition() { return kNotSupported; }
Status RemoteDeviceConfigSession::UnconfigureAcquisition() { return kNotSupported; }
Status RemoteDeviceConfigSession::GetImageCompression(std::uint32_t* /*type*/, std::uint32_t* /*quality*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::SetImageCompression(std::uint32_t /*type*/, std::uint32_t /*quality*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::GetCameraVideoModes(CameraVideoModeList* /*modes*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::GetCameraFeatures(CameraFeatureList* /*features*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::ConfigureTrigger(std::uint32_t /*a*/, std::uint32_t /*b*/, std::uint32_t /*c*/, std::uint32_t /*d*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::ReadU32(std::uint32_t /*space*/, std::uint32_t /*address*/, std::uint32_t /*count*/, std::uint32_t* /*values*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::WriteU32(std::uint32_t /*space*/, std::uint32_t /*address*/, std::uint32_t /*count*/, const std::uint32_t* /*values*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::QueryCameraFileDataList(CameraFileDataList* /*files*/, std::uint32_t* /*current*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::QueryReferenceCameraFileList(StringList* /*files*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::QueryInterfaceFileDataList(std::uint32_t /*index*/, InterfaceFileDataList* /*files*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::ChangeInterfaceFile(const char* /*path*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::WriteInterfaceFile(const char* /*path*/, std::uint32_t /*flag*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::QueryCameraAttributeList(CameraAttributeList* /*attributes*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::SetCameraAttribute(std::uint32_t /*key*/, const char* /*text*/, double /*number*/, std::uint8_t /*useDefault*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::AutoExposure(double* /*a*/, double* /*b*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::GetDataFilePath(CFGString* /*path*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::InitializeDiagnostics(std::uint32_t* /*first*/, std::uint32_t* /*second*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::QueryDiagnosticResults(std::uint32_t /*index*/, StringList* /*names*/, StringList* /*results*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::CopyFile(const char* /*source*/, const char* /*destination*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::CalculateBayerGains(std::uint32_t /*selector*/, double* /*first*/, double* /*second*/, double* /*third*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::QueryAcqUnitCameraFileList(const char* /*unit*/, StringList* /*files*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::GetSerialErrorText(CFGString* /*text*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::WriteBlock(std::uint64_t /*target*/, std::uint32_t /*first*/, std::uint32_t /*second*/, std::uint32_t /*width*/, std::uint32_t /*height*/, const void* /*data*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::ReadBlock(std::uint64_t /*target*/, std::uint32_t /*first*/, std::uint32_t /*second*/, std::uint32_t /*width*/, std::uint32_t /*height*/, void* /*data*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::IsFPGAClassNumSupported(std::uint32_t /*classNumber*/, std::uint32_t* /*supported*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::ReadAttributesFromString(const char* /*text*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::WriteAttributesToString(CFGString* /*text*/) { return kNotSupported; }
Status RemoteDeviceConfigSession::SetAcquisitionFlags(std::uint32_t /*flags*/) { return kNotSupported; }

}  // namespace keld
