// LocalKELDConfigSession: a session on a board of the frame-grabber driver,
// served in this process. It binds the session interface to the driver's
// functions, which it resolves by name at each call: enumeration of the
// boards (with their interface files, phantom boards and failed boards),
// opening by interface name or serial number, attributes with the driver's
// execution states, configuration files and texts, registers. It alone
// serves the frame-grabber commands on a target (rings, sequences, triggers,
// pulses, lighting).
//
// The driver's session identifier is kept in `driverHandle`, its interface
// identifier here; both are 0 while closed. No operation but Open and Close
// checks for a closed session: it hands identifier 0 to the driver, which
// answers.
#pragma once

#include <memory>
#include <vector>

#include "image/cfg_image.h"
#include "local/local_device_config_session.h"
#include "platform/dynamic_library.h"

namespace keld {

// The driver's version word where the driver does not tell it.
inline constexpr std::uint32_t kDefaultDriverVersion = 0x03000000;
// Bus word of every device of the frame-grabber driver.
inline constexpr std::uint32_t kKeldBusType = 0x31333934;

class LocalKELDConfigSession : public LocalDeviceConfigSession {
 public:
  LocalKELDConfigSession(const char* interfaceName, Status* status);
  ~LocalKELDConfigSession() override;

  std::uint32_t GetDriverType() override { return kDriverKELD; }
  Status Open() override;
  Status Close() override;

  // ---- Enumeration ------------------------------------------------------
  Status EnumerateDevices(DeviceList* devices) override;
  // Finds or makes the board's interface file, tests that each of its
  // acquisition units opens with it (storing a default one where it does
  // not), and records it as the board's. `path` (520 bytes) receives the
  // file's path without ".iid": the board's interface name.
  Status ClaimInterfaceFile(std::uint32_t serial, char* path);
  // The model name of a board through its PCI identity, for old drivers.
  Status GetBoardNameFromPCIID(std::uint32_t serial, char* name);
  // Fills a new interface file with a default camera file on every port;
  // runs on the session just opened.
  Status StoreDefaultInterfaceFile(const char* path);
  // The first camera file of the data folder that the driver accepts for
  // the open interface; its name without the folder goes to `name`.
  Status FindDefaultCameraFile(char* name);

  // ---- Session and attributes -------------------------------------------
  Status ReadAttribute(Attribute* attribute) override;
  Status WriteAttribute(Attribute* attribute) override;
  Status RefreshAttributes() override;
  Status ValidateAttributes() override;
  Status ReadAttributes(const char* path) override;
  Status WriteAttributes(const char* path) override;
  Status ReadAttributesFromString(const char* text) override;
  Status WriteAttributesToString(CFGString* text) override;
  Status ReadU32(std::uint32_t space, std::uint32_t address, std::uint32_t count, std::uint32_t* values) override;
  Status WriteU32(std::uint32_t space, std::uint32_t address, std::uint32_t count,
                  const std::uint32_t* values) override;

  // ---- Acquisition --------------------------------------------------------
  Status SnapImage(std::uint32_t flags, Image* image) override;
  Status SetupGrab(std::uint32_t flags) override;
  Status GrabImage(std::uint32_t* number, Image* image) override;
  Status ConfigureAcquisition(std::uint32_t continuous, std::uint32_t count) override;
  Status StartAcquisition() override;
  Status CopyImage(std::uint32_t* number, Image* image) override;
  Status StopAcquisition() override;
  Status UnconfigureAcquisition() override;
  Status AutoExposure(double* first, double* second) override;
  Status CalculateBayerGains(std::uint32_t target, double* red, double* green, double* blue) override;
  Status KELDRingSetup(std::uint32_t count, std::uint32_t first, std::uint32_t second) override;
  Status KELDSequenceSetup(std::uint32_t count, void* table, std::uint32_t first, std::uint32_t second) override;
  Status KELDSessionStartAcquisition() override;
  Status KELDSessionStopAcquisition() override;
  // Whether a raw Bayer frame is to be decoded to colour here.
  bool NeedsBayerDecoding(std::uint32_t flags);
  // Sizes `target` as the driver's images are (the colour type where decoded).
  Status PrepareImage(CfgImage& target, bool decode);
  // Decodes a raw frame into the session's image.
  Status DecodeBayer(const void* source, std::uint32_t sourceRowPixels);

  // ---- Camera, interface and data files ----------------------------------
  Status QueryCameraFileDataList(CameraFileDataList* files, std::uint32_t* current) override;
  Status QueryReferenceCameraFileList(StringList* files) override;
  Status QueryInterfaceFileDataList(std::uint32_t serial, InterfaceFileDataList* files) override;
  Status QueryAcqUnitCameraFileList(const char* path, StringList* files) override;
  Status ChangeInterfaceFile(const char* path) override;
  Status WriteInterfaceFile(const char* path, std::uint32_t reload) override;
  Status GetDataFilePath(CFGString* path) override;
  // Whether the interface file belongs to this board; where it is another
  // board's active file, that board gets a new one first.
  Status CheckInterfaceFileOwner(const char* path, bool* sameBoard);

  // ---- Camera attribute tree ----------------------------------------------
  Status QueryCameraAttributeList(CameraAttributeList* list) override;
  Status SetCameraAttribute(std::uint32_t attributeId, const char* text, double number, std::uint8_t useDefault) override;
  // Appends an attribute, its values and the sub-tree of its current value.
  Status AddCameraAttribute(CameraAttributeList* list, std::uint32_t attributeId, std::uint32_t depth);

  // ---- Triggers, pulses, registers, diagnostics and lighting -------------
  Status ConfigureTrigger(std::uint32_t first, std::uint32_t second, std::uint32_t third, std::uint32_t fourth) override;
  Status WriteBlock(std::uint64_t block, std::uint32_t first, std::uint32_t second, std::uint32_t width,
                    std::uint32_t height, const void* data) override;
  Status ReadBlock(std::uint64_t block, std::uint32_t first, std::uint32_t second, std::uint32_t width,
                   std::uint32_t height, void* data) override;
  Status IsFPGAClassNumSupported(std::uint32_t classNumber, std::uint32_t* supported) override;
  Status InitializeDiagnostics(std::uint32_t* first, std::uint32_t* second) override;
  Status QueryDiagnosticResults(std::uint32_t which, StringList* names, StringList* messages) override;
  Status GetSerialErrorText(CFGString* text) override;
  Status KELDPulseCreate2(std::uint32_t first, std::uint32_t second, std::uint32_t third, std::uint32_t fourth,
                          std::uint32_t fifth, std::uint32_t sixth, std::uint32_t seventh, std::uint32_t eighth,
                          std::uint32_t ninth, std::uint32_t tenth, std::uint32_t* pulse) override;
  Status KELDPulseDispose(std::uint32_t pulse) override;
  Status KELDPulseRate(double delay, double width, std::uint32_t* first, std::uint32_t* second,
                       std::uint32_t* third) override;
  Status KELDPulseStart(std::uint32_t pulse) override;
  Status KELDPulseStop(std::uint32_t pulse) override;
  Status KELDPulseSetDutyCycle(std::uint32_t pulse, std::uint32_t first, std::uint32_t second) override;
  Status KELDSessionTriggerDrive2(std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                  std::uint32_t fourth) override;
  Status KELDSessionTriggerRead2(std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                 std::uint32_t* value) override;
  Status KELDSessionTriggerRoute2(std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                  std::uint32_t fourth) override;
  Status KELDSessionTriggerClear() override;
  Status KELDSessionTriggerConfigure2(std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                      std::uint32_t fourth, std::uint32_t fifth) override;
  Status KELDSessionLineTrigSource2(std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                    std::uint32_t fourth) override;
  Status KELDEncoderResetPosition() override;
  Status KELDSessionTriggerConfigure3(std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                      std::uint32_t fourth, std::uint32_t fifth, double time,
                                      std::uint32_t sixth) override;
  Status KELDSessionTriggerGet(std::uint32_t trigger, std::uint32_t* first, std::uint32_t* second,
                               std::uint32_t* third, std::uint32_t* fourth, std::uint32_t* fifth, double* time,
                               std::uint32_t* sixth) override;
  Status KELDLoadLightingLimits(LightHeadRecord* data) override;
  Status KELDDeployLightHeadData(LightHeadRecord* data, std::uint8_t checkLimits) override;
  Status KELDEnumerateLightHeads(LightHeadList* heads) override;

  // The frame-grabber commands on a target.
#define KELD_LOCAL_KELD_HANDLER(group, name, command, handle, step, target, client, ...) \
  KELD_LOCAL_KELD_HANDLER_##target(name)
#define KELD_LOCAL_KELD_HANDLER_OVERRIDE(name) Status Handle##name(ByteStream* input, ByteStream* output) override;
#define KELD_LOCAL_KELD_HANDLER_Handler(name)
#define KELD_LOCAL_KELD_HANDLER_HandlerCustom(name)
#define KELD_LOCAL_KELD_HANDLER_HandlerWithFlags(name)
#define KELD_LOCAL_KELD_HANDLER_Direct(name)
#define KELD_LOCAL_KELD_HANDLER_KeldHandler(name) KELD_LOCAL_KELD_HANDLER_OVERRIDE(name)
#define KELD_LOCAL_KELD_HANDLER_KeldHandlerCustom(name) KELD_LOCAL_KELD_HANDLER_OVERRIDE(name)
#define KELD_LOCAL_KELD_HANDLER_NvHandlerCustom(name)
#define KELD_LOCAL_KELD_HANDLER_NoTarget(name)
  KELD_DEVICE_OPERATIONS(KELD_LOCAL_KELD_HANDLER)

  // The driver's identifiers of the open session and interface.
  std::uint32_t SessionId() const { return static_cast<std::uint32_t>(driverHandle); }
  std::uint32_t interfaceId = 0;
  // Buffers of a configured acquisition.
  std::uint32_t bufferListId = 0;
  std::vector<void*> buffers;
  bool buffersAllocated = false;
  std::uint32_t bufferCount = 0;
  // The board test library and its two tables.
  std::unique_ptr<DynamicLibrary> diagnosticsLibrary;
  const void* firstTestTable = nullptr;
  const void* secondTestTable = nullptr;
  // From the registry: list the phantom boards, and load no interface file.
  std::uint32_t showAllPhantomBoards = 0;

 private:
  // Opens an interface and a session on it by name, into the session's
  // identifiers.
  Status OpenByName(const char* name);
  // The acquisition mode takes its setting (both conveniences).
  void CopyAcquisitionMode();
};

// The driver's version word: 0x03000000 where the driver does not tell it.
std::uint32_t KeldDriverVersion();

// The frame-grabber driver's text of one of its statuses, for statuses of
// its range only: `found` is true where the driver has a text. The first
// provider of the chain of error texts.
void KeldDriverErrorText(Status status, CFGString* text, bool* found);

}  // namespace keld
