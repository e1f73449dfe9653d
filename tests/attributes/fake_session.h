// A device session whose driver-facing operations answer "not supported",
// but for the list queries, which fill the caches from prepared data and can
// be told to fail. It exercises the operations all sessions share.
#pragma once

#include "session/config_session.h"

namespace keld::testing {

class FakeSession : public DeviceConfigSession {
 public:
  FakeSession() : DeviceConfigSession("img0", nullptr) {}

  Status queryStatus = kSuccess;
  CameraFileDataList preparedCameraFiles;
  std::uint32_t preparedCurrent = 0;
  StringList preparedStrings;
  StringList preparedResults;
  InterfaceFileDataList preparedInterfaceFiles;
  CameraAttributeList preparedCameraAttributes;
  std::uint32_t lastIndex = 0;
  CFGString lastUnit;

  Status QueryCameraFileDataList(CameraFileDataList* files, std::uint32_t* current) override {
    if (queryStatus != kSuccess) return queryStatus;
    *files = preparedCameraFiles;
    *current = preparedCurrent;
    return kSuccess;
  }
  Status QueryReferenceCameraFileList(StringList* files) override {
    if (queryStatus != kSuccess) return queryStatus;
    *files = preparedStrings;
    return kSuccess;
  }
  Status QueryInterfaceFileDataList(std::uint32_t index, InterfaceFileDataList* files) override {
    lastIndex = index;
    if (queryStatus != kSuccess) return queryStatus;
    *files = preparedInterfaceFiles;
    return kSuccess;
  }
  Status QueryCameraAttributeList(CameraAttributeList* nodes) override {
    if (queryStatus != kSuccess) return queryStatus;
    *nodes = preparedCameraAttributes;
    return kSuccess;
  }
  Status QueryDiagnosticResults(std::uint32_t index, StringList* names, StringList* results) override {
    lastIndex = index;
    if (queryStatus != kSuccess) return queryStatus;
    *names = preparedStrings;
    *results = preparedResults;
    return kSuccess;
  }
  Status QueryAcqUnitCameraFileList(const char* unit, StringList* files) override {
    lastUnit = unit;
    if (queryStatus != kSuccess) return queryStatus;
    *files = preparedStrings;
    return kSuccess;
  }

  Status Open() override { return kNotSupported; }
  Status Close() override { return kNotSupported; }
  std::uint32_t GetDriverType() override { return kDriverKELDnv; }
  bool IsRemote() override { return false; }
  Status ExecuteCommand(std::uint32_t, ByteStream*, ByteStream*) override { return kNotSupported; }
  Status EnumerateDevices(DeviceList*) override { return kNotSupported; }
  Status ReadAttribute(Attribute*) override { return kNotSupported; }
  Status WriteAttribute(Attribute*) override { return kNotSupported; }
  Status RefreshAttributes() override { return kNotSupported; }
  Status CommitAttributes() override { return kNotSupported; }
  Status ValidateAttributes() override { return kNotSupported; }
  Status ReadAttributes(const char*) override { return kNotSupported; }
  Status WriteAttributes(const char*) override { return kNotSupported; }
  Status SnapImage(std::uint32_t, Image*) override { return kNotSupported; }
  Status SetupGrab(std::uint32_t) override { return kNotSupported; }
  Status GrabImage(std::uint32_t*, Image*) override { return kNotSupported; }
  Status ConfigureAcquisition(std::uint32_t, std::uint32_t) override { return kNotSupported; }
  Status StartAcquisition() override { return kNotSupported; }
  Status CopyImage(std::uint32_t*, Image*) override { return kNotSupported; }
  Status StopAcquisition() override { return kNotSupported; }
  Status UnconfigureAcquisition() override { return kNotSupported; }
  Status GetImageCompression(std::uint32_t*, std::uint32_t*) override { return kNotSupported; }
  Status SetImageCompression(std::uint32_t, std::uint32_t) override { return kNotSupported; }
  Status GetCameraVideoModes(CameraVideoModeList*) override { return kNotSupported; }
  Status GetCameraFeatures(CameraFeatureList*) override { return kNotSupported; }
  Status ConfigureTrigger(std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) override { return kNotSupported; }
  Status ReadU32(std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t*) override { return kNotSupported; }
  Status WriteU32(std::uint32_t, std::uint32_t, std::uint32_t, const std::uint32_t*) override { return kNotSupported; }
  Status ChangeInterfaceFile(const char*) override { return kNotSupported; }
  Status WriteInterfaceFile(const char*, std::uint32_t) override { return kNotSupported; }
  Status SetCameraAttribute(std::uint32_t, const char*, double, std::uint8_t) override { return kNotSupported; }
  Status AutoExposure(double*, double*) override { return kNotSupported; }
  Status GetDataFilePath(CFGString*) override { return kNotSupported; }
  Status InitializeDiagnostics(std::uint32_t*, std::uint32_t*) override { return kNotSupported; }
  Status CopyFile(const char*, const char*) override { return kNotSupported; }
  Status CalculateBayerGains(std::uint32_t, double*, double*, double*) override { return kNotSupported; }
  Status GetSerialErrorText(CFGString*) override { return kNotSupported; }
  Status WriteBlock(std::uint64_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, const void*) override {
    return kNotSupported;
  }
  Status ReadBlock(std::uint64_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, void*) override {
    return kNotSupported;
  }
  Status IsFPGAClassNumSupported(std::uint32_t, std::uint32_t*) override { return kNotSupported; }
  Status ReadAttributesFromString(const char*) override { return kNotSupported; }
  Status WriteAttributesToString(CFGString*) override { return kNotSupported; }
  Status SetAcquisitionFlags(std::uint32_t) override { return kNotSupported; }
};

}  // namespace keld::testing
