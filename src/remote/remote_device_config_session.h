#pragma once

#include "remote/remote_session.h"
#include "session/config_session.h"

namespace keld {

// A session whose device lives on a remote target: every operation is one
// command to the target's own local session.
class RemoteDeviceConfigSession : public RemoteSession, public DeviceConfigSession {
 public:
  // Builds the remote part first, which binds to the host and opens the
  // remote session, then the device part.
  RemoteDeviceConfigSession(const char* clientName, const char* host, std::uint32_t driverType,
                            const char* interfaceName, Status* status);
  ~RemoteDeviceConfigSession() override;

  Status Open() override;
  Status Close() override;
  bool IsRemote() override { return true; }
  // The target side is not ours: a remote session executes nothing.
  Status ExecuteCommand(std::uint32_t, ByteStream*, ByteStream*) override { return kSuccess; }

  // Device operations; each answers 0xBFFF8011 until its driver binding serves it.
  Status EnumerateDevices(DeviceList* devices) override;
  Status ReadAttribute(Attribute* attribute) override;
  Status WriteAttribute(Attribute* attribute) override;
  Status RefreshAttributes() override;
  Status CommitAttributes() override;
  Status ValidateAttributes() override;
  Status ReadAttributes(const char* path) override;
  Status WriteAttributes(const char* path) override;
  Status SnapImage(std::uint32_t flags, Image* image) override;
  Status SetupGrab(std::uint32_t flags) override;
  Status GrabImage(std::uint32_t* bufferNumber, Image* image) override;
  Status ConfigureAcquisition(std::uint32_t continuous, std::uint32_t bufferCount) override;
  Status StartAcquisition() override;
  Status CopyImage(std::uint32_t* bufferNumber, Image* image) override;
  Status StopAcquisition() override;
  Status UnconfigureAcquisition() override;
  Status GetImageCompression(std::uint32_t* type, std::uint32_t* quality) override;
  Status SetImageCompression(std::uint32_t type, std::uint32_t quality) override;
  Status GetCameraVideoModes(CameraVideoModeList* modes) override;
  Status GetCameraFeatures(CameraFeatureList* features) override;
  Status ConfigureTrigger(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) override;
  Status ReadU32(std::uint32_t space, std::uint32_t address, std::uint32_t count, std::uint32_t* values) override;
  Status WriteU32(std::uint32_t space, std::uint32_t address, std::uint32_t count, const std::uint32_t* values) override;
  Status QueryCameraFileDataList(CameraFileDataList* files, std::uint32_t* current) override;
  Status QueryReferenceCameraFileList(StringList* files) override;
  Status QueryInterfaceFileDataList(std::uint32_t index, InterfaceFileDataList* files) override;
  Status ChangeInterfaceFile(const char* path) override;
  Status WriteInterfaceFile(const char* path, std::uint32_t flag) override;
  Status QueryCameraAttributeList(CameraAttributeList* attributes) override;
  Status SetCameraAttribute(std::uint32_t key, const char* text, double number, std::uint8_t useDefault) override;
  Status AutoExposure(double* a, double* b) override;
  Status GetDataFilePath(CFGString* path) override;
  Status InitializeDiagnostics(std::uint32_t* first, std::uint32_t* second) override;
  Status QueryDiagnosticResults(std::uint32_t index, StringList* names, StringList* results) override;
  Status CopyFile(const char* source, const char* destination) override;
  Status CalculateBayerGains(std::uint32_t selector, double* first, double* second, double* third) override;
  Status QueryAcqUnitCameraFileList(const char* unit, StringList* files) override;
  Status GetSerialErrorText(CFGString* text) override;
  Status WriteBlock(std::uint64_t target, std::uint32_t first, std::uint32_t second, std::uint32_t width, std::uint32_t height, const void* data) override;
  Status ReadBlock(std::uint64_t target, std::uint32_t first, std::uint32_t second, std::uint32_t width, std::uint32_t height, void* data) override;
  Status IsFPGAClassNumSupported(std::uint32_t classNumber, std::uint32_t* supported) override;
  Status ReadAttributesFromString(const char* text) override;
  Status WriteAttributesToString(CFGString* text) override;
  Status SetAcquisitionFlags(std::uint32_t flags) override;
};

}  // namespace keld
