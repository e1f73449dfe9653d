// The session interface: one object stands for a device, whichever driver
// serves it and whether that driver runs in this process or on a remote
// target. The API frames know only this interface. The order of the virtual
// operations is part of the design and must not change.
//
// ConfigSession is the root; DeviceConfigSession declares the operations of
// a device. Operations of the first group (EnumerateDevices through
// SetAcquisitionFlags) are abstract here; every concrete class gives a body,
// which may be the common default. From SetOpenFlags on, the default body of
// this class answers 0xBFFF8011 and touches nothing.
#pragma once

#include <cstdint>

#include "attributes/attribute_map.h"
#include "attributes/record_lists.h"
#include "foundation/cfg_string.h"
#include "foundation/string_list.h"

struct Image;  // image object of the image library

namespace keld {

struct ByteStream;
class Attribute;
class DeviceList;
class LightHeadList;
class LightHeadRecord;

// Selector of the driver stack behind a session; also what GetDriverType answers.
enum DriverType : std::uint32_t {
  kDriverKELD = 0,      // frame-grabber driver
  kDriverKELD1394 = 1,  // legacy IEEE 1394 driver
  kDriverKELDnv = 2,    // network and USB camera driver
};

class ConfigSession {
 public:
  ConfigSession() = default;
  ConfigSession(const ConfigSession&) = delete;
  ConfigSession& operator=(const ConfigSession&) = delete;

  virtual ~ConfigSession() = default;
  virtual Status Open() = 0;
  virtual Status Close() = 0;
  virtual std::uint32_t GetDriverType() = 0;
  virtual bool IsRemote() = 0;
  virtual Status ExecuteCommand(std::uint32_t command, ByteStream* arguments, ByteStream* results) = 0;

  // Set by the registry when it inserts the session; never changed afterwards.
  std::uint32_t id = 0;
  CFGString key;
};

class DeviceConfigSession : public ConfigSession {
 public:
  // `status` is not used here; derived constructors pass it on.
  DeviceConfigSession(const char* interfaceName, Status* status);
  ~DeviceConfigSession() override;

  // First group: abstract here.
  virtual Status EnumerateDevices(DeviceList* devices) = 0;
  virtual Status ReadAttribute(Attribute* attribute) = 0;
  virtual Status WriteAttribute(Attribute* attribute) = 0;
  virtual Status RefreshAttributes() = 0;
  virtual Status CommitAttributes() = 0;
  virtual Status ValidateAttributes() = 0;
  virtual Status ReadAttributes(const char* path) = 0;
  virtual Status WriteAttributes(const char* path) = 0;
  virtual Status SnapImage(std::uint32_t flags, Image* image) = 0;
  virtual Status SetupGrab(std::uint32_t flags) = 0;
  virtual Status GrabImage(std::uint32_t* bufferNumber, Image* image) = 0;
  virtual Status ConfigureAcquisition(std::uint32_t continuous, std::uint32_t bufferCount) = 0;
  virtual Status StartAcquisition() = 0;
  virtual Status CopyImage(std::uint32_t* bufferNumber, Image* image) = 0;
  virtual Status StopAcquisition() = 0;
  virtual Status UnconfigureAcquisition() = 0;
  virtual Status GetImageCompression(std::uint32_t* type, std::uint32_t* quality) = 0;
  virtual Status SetImageCompression(std::uint32_t type, std::uint32_t quality) = 0;
  virtual Status GetCameraVideoModes(CameraVideoModeList* modes) = 0;
  virtual Status GetCameraFeatures(CameraFeatureList* features) = 0;
  virtual Status ConfigureTrigger(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) = 0;
  virtual Status ReadU32(std::uint32_t space, std::uint32_t address, std::uint32_t count, std::uint32_t* values) = 0;
  virtual Status WriteU32(std::uint32_t space, std::uint32_t address, std::uint32_t count,
                          const std::uint32_t* values) = 0;
  virtual Status QueryCameraFileDataList(CameraFileDataList* files, std::uint32_t* current) = 0;
  virtual Status QueryReferenceCameraFileList(StringList* files) = 0;
  virtual Status QueryInterfaceFileDataList(std::uint32_t index, InterfaceFileDataList* files) = 0;
  virtual Status ChangeInterfaceFile(const char* path) = 0;
  virtual Status WriteInterfaceFile(const char* path, std::uint32_t flag) = 0;
  virtual Status QueryCameraAttributeList(CameraAttributeList* attributes) = 0;
  virtual Status SetCameraAttribute(std::uint32_t key, const char* text, double number, std::uint8_t useDefault) = 0;
  virtual Status AutoExposure(double* a, double* b) = 0;
  virtual Status GetDataFilePath(CFGString* path) = 0;
  virtual Status InitializeDiagnostics(std::uint32_t* first, std::uint32_t* second) = 0;
  virtual Status QueryDiagnosticResults(std::uint32_t index, StringList* names, StringList* results) = 0;
  virtual Status CopyFile(const char* source, const char* destination) = 0;
  virtual Status CalculateBayerGains(std::uint32_t selector, double* first, double* second, double* third) = 0;
  virtual Status QueryAcqUnitCameraFileList(const char* unit, StringList* files) = 0;
  virtual Status GetSerialErrorText(CFGString* text) = 0;
  virtual Status WriteBlock(std::uint64_t target, std::uint32_t first, std::uint32_t second, std::uint32_t width,
                            std::uint32_t height, const void* data) = 0;
  virtual Status ReadBlock(std::uint64_t target, std::uint32_t first, std::uint32_t second, std::uint32_t width,
                           std::uint32_t height, void* data) = 0;
  virtual Status IsFPGAClassNumSupported(std::uint32_t classNumber, std::uint32_t* supported) = 0;
  virtual Status ReadAttributesFromString(const char* text) = 0;
  virtual Status WriteAttributesToString(CFGString* text) = 0;
  virtual Status SetAcquisitionFlags(std::uint32_t flags) = 0;

  // Operations over the session's cached lists and attribute map.
  virtual Status RefreshCameraFileDataList(std::uint32_t* count, std::uint32_t* current);
  virtual Status RefreshReferenceCameraFileList(std::uint32_t* count);
  virtual Status GetCameraFileData(std::uint32_t index, CameraFileData* data);
  virtual Status GetReferenceCameraFileName(std::uint32_t index, CFGString* name);
  virtual Status RefreshInterfaceFileDataList(std::uint32_t index, std::uint32_t* count);
  virtual Status GetInterfaceFileData(std::uint32_t index, InterfaceFileData* data);
  virtual Status RefreshCameraAttributeList(std::uint32_t* count);
  virtual Status GetCameraAttribute(std::uint32_t index, CameraAttribute* data);
  virtual Status RunDiagnostics(std::uint32_t index, std::uint32_t* count);
  virtual Status GetDiagnosticResults(std::uint32_t index, CFGString* name, CFGString* result);
  virtual Status RefreshAcqUnitCameraFileList(const char* unit, std::uint32_t* count);
  virtual Status GetAcqUnitCameraFileName(std::uint32_t index, CFGString* name);
  virtual Status GetNVAttributesInfo(NVAttributeInfoList* list, std::uint32_t visibility);
  virtual Status GetNVAttributeValue(Attribute* attribute, std::uint32_t component, std::uint32_t type, void* value);
  virtual Status SetNVAttributeValue(Attribute* attribute, std::uint32_t component, std::uint32_t type,
                                     const void* value);
  virtual Status GetNVAttributeEnumValues(Attribute* attribute, NVAttributeEnumItemList* items);
  virtual Status FindAttributeByName(const char* name, Attribute** attribute);
  virtual Status FindAttributeByKey(std::uint32_t key, Attribute** attribute);

  // From here on the default body answers 0xBFFF8011.
  virtual Status SetOpenFlags(std::uint32_t flags);
  virtual Status GetCameraStatus(const char* camera, std::uint8_t* state, std::uint32_t* detail);
  virtual Status RenameInterface(const char* name);
  virtual Status CalculateBayerColorLUT();
  virtual Status SupportsRingAcquisition(std::uint32_t imageType, std::uint32_t* supported);
  virtual Status GetKELDCameraFileList(char* list, std::uint32_t* size);
  virtual Status GetKELDCameraFilename(char* name, std::uint32_t size);
  virtual Status ChangeKELDCameraFile(const char* name);
  virtual Status RenameCameraLinkBoard(const char* oldName, const char* newName);
  virtual Status CopyKELDCameraFile(const char* name);
  virtual Status KELDRingSetup(std::uint32_t a, std::uint32_t b, std::uint32_t c);
  virtual Status KELDSequenceSetup(std::uint32_t count, void* table, std::uint32_t a, std::uint32_t b);
  virtual Status KELDSessionStartAcquisition();
  virtual Status KELDSessionStopAcquisition();
  virtual Status KELDPulseCreate2(std::uint32_t a1, std::uint32_t a2, std::uint32_t a3, std::uint32_t a4,
                                  std::uint32_t a5, std::uint32_t a6, std::uint32_t a7, std::uint32_t a8,
                                  std::uint32_t a9, std::uint32_t a10, std::uint32_t* pulse);
  virtual Status KELDPulseDispose(std::uint32_t pulse);
  virtual Status KELDPulseRate(double a, double b, std::uint32_t* c, std::uint32_t* d, std::uint32_t* e);
  virtual Status KELDPulseStart(std::uint32_t pulse);
  virtual Status KELDPulseStop(std::uint32_t pulse);
  virtual Status KELDSessionTriggerDrive2(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d);
  virtual Status KELDSessionTriggerRead2(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t* value);
  virtual Status KELDSessionTriggerRoute2(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d);
  virtual Status KELDSessionTriggerClear();
  virtual Status KELDSessionTriggerConfigure2(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d,
                                              std::uint32_t e);
  virtual Status KELDSessionLineTrigSource2(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d);
  virtual Status KELDEncoderResetPosition();
  virtual Status KELDSessionTriggerConfigure3(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d,
                                              std::uint32_t e, double f, std::uint32_t g);
  virtual Status KELDSessionTriggerGet(std::uint32_t a, std::uint32_t* b, std::uint32_t* c, std::uint32_t* d,
                                       std::uint32_t* e, std::uint32_t* f, double* g, std::uint32_t* h);
  virtual Status KELDEnumerateLightHeads(LightHeadList* heads);
  virtual Status KELDDeployLightHeadData(LightHeadRecord* data, std::uint8_t flag);
  virtual Status KELDLoadLightingLimits(LightHeadRecord* data);
  virtual Status KELDPulseSetDutyCycle(std::uint32_t a, std::uint32_t b, std::uint32_t c);

  CFGString interfaceName;
  std::uint64_t driverHandle = 0;
  AttributeMap attributes;
  CameraFileDataList cameraFiles;
  StringList referenceCameraFiles;
  InterfaceFileDataList interfaceFiles;
  CameraAttributeList cameraAttributes;
  StringList diagnosticNames;
  StringList diagnosticResults;
  StringList acqUnitCameraFiles;
};

}  // namespace keld
