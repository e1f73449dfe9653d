// The frames behind the exported families: one function per exported cfg
// function, of the same name without the prefix, taking and returning C++
// values. Text results are CFGString (the cfg adapters copy them into the
// caller's buffer, the graphical runtime's adapters into string handles);
// list results are the list objects (copied into an array, or into a runtime
// array). Each frame tests the pointers it cannot do without (0xBFFF8007,
// before any session is touched), finds the session, holding it for the
// call, runs its operation and returns the status.
#pragma once

#include <cstdint>
#include <memory>

#include "attributes/attribute_values.h"
#include "attributes/record_lists.h"
#include "datafile/light_head_record.h"
#include "foundation/cfg_string.h"
#include "foundation/status.h"
#include "session/config_session.h"
#include "session/session_registry.h"

namespace keld::frames {

// Looks the device session up, holds it, and returns what `operation(session)`
// returns. A look-up failure of any kind is 0xBFFF8009.
template <typename Operation>
Status OnDeviceSession(std::uint32_t id, Operation&& operation) {
  std::shared_ptr<DeviceConfigSession> session;
  const Status status = GetDeviceSession(&session, id);
  if (status != kSuccess) return status;
  return operation(*session);
}

// One operation of the session interface, with the arguments as they stand.
template <typename... Parameters, typename... Arguments>
Status Run(std::uint32_t id, Status (DeviceConfigSession::*operation)(Parameters...), Arguments&&... arguments) {
  return OnDeviceSession(id, [&](DeviceConfigSession& session) {
    return (session.*operation)(static_cast<Arguments&&>(arguments)...);
  });
}

// ---- Library, host and error text -----------------------------------------
Status GetErrorText(std::uint32_t status, CFGString* text);
Status Close(std::uint32_t id);
Status QueryVersion(const char* host, std::uint32_t* version);
Status CheckPassword(const char* host, const char* password);
Status GetNetworkInterfaceMTU(const char* host, const char* adapter, std::uint32_t* mtu);
Status SetNetworkInterfaceMTU(const char* host, const char* adapter, std::uint32_t mtu);

// ---- Boards and cameras on a host -----------------------------------------
bool IsCameraDriver(std::int32_t driverType);
Status RefreshBoards2(const char* host, std::uint8_t* changed);
Status GetBoardCount(const char* host, std::uint32_t* count);
Status QueryBoard(const char* host, std::uint32_t index, CFGString* name, std::uint32_t* serial,
                  CFGString* description);
Status QueryBoardDriver(const char* host, std::uint32_t index, CFGString* driverName, std::uint32_t* driverVersion);
Status RefreshCameras(const char* host);
Status RefreshCameras3(const char* host, std::int32_t driverType, std::uint8_t* changed);
Status GetCameraCount2(const char* host, std::int32_t driverType, std::uint32_t* count);
Status QueryCamera2(const char* host, std::int32_t driverType, std::uint32_t index, CFGString* name,
                    std::uint32_t* uuidHigh, std::uint32_t* uuidLow, CFGString* description, std::uint32_t* busType);
Status QueryCameraDriver2(const char* host, std::int32_t driverType, std::uint32_t index, CFGString* driverName,
                          std::uint32_t* driverVersion);
Status GetCameraStatus(const char* host, std::uint32_t driverType, const char* camera, std::uint8_t* state,
                       std::uint32_t* detail);
Status RenameCameraLinkBoard(const char* host, std::uint32_t driverType, const char* oldName, const char* newName);

// ---- Opening a session ------------------------------------------------------
Status OpenBoard(const char* host, const char* interfaceName, std::uint32_t serial, std::uint32_t* id);
Status OpenLegacyBoard(const char* host, const char* interfaceName, std::uint32_t* id);
Status OpenCamera3(const char* host, std::uint32_t driverType, const char* interfaceName, std::uint32_t uuidHigh,
                   std::uint32_t uuidLow, std::uint32_t flags, std::uint32_t* id);

// ---- Remote sessions ----------------------------------------------------------
Status Ping(std::uint32_t id);
Status GetTimeout(std::uint32_t id, std::uint32_t* timeout);
Status SetTimeout(std::uint32_t id, std::uint32_t timeout);

// ---- Attributes -------------------------------------------------------------
Status GetAttributeU32(std::uint32_t id, std::uint32_t key, std::uint32_t* value, std::int32_t cachedOnly);
Status SetAttributeU32(std::uint32_t id, std::uint32_t key, std::uint32_t value, std::int32_t cachedOnly);
Status GetAttributeDouble(std::uint32_t id, std::uint32_t key, double* value, std::int32_t cachedOnly);
Status SetAttributeDouble(std::uint32_t id, std::uint32_t key, double value, std::int32_t cachedOnly);
Status GetAttributeString(std::uint32_t id, std::uint32_t key, CFGString* value, std::int32_t cachedOnly);
Status SetAttributeString(std::uint32_t id, std::uint32_t key, const char* value, std::int32_t cachedOnly);
// Six words in stored order: Origin1, Extent1, Origin2, Extent2, End1, End2.
// A null `rect` reads the device all the same and copies nothing.
Status GetAttributeRect(std::uint32_t id, std::uint32_t key, std::uint32_t* rect, std::int32_t cachedOnly);
// The ends are computed from origin and extent; a null `rect` is 0xBFFF8007.
Status SetAttributeRect(std::uint32_t id, std::uint32_t key, const std::uint32_t* rect, std::int32_t cachedOnly);
Status ValidateAttributes(std::uint32_t id);
Status ReadAttributes(std::uint32_t id, const char* path);
Status WriteAttributes(std::uint32_t id, const char* path);
Status ReadAttributesFromString(std::uint32_t id, const char* text);
Status WriteAttributesToString(std::uint32_t id, CFGString* text);
// The listing runs even after a failed refresh, whose failure is then the
// result; `list` holds what was listed either way, and `listed` says whether
// the listing ran at all (it doesn't for an unknown session).
Status GetNVAttributesInfo2(std::uint32_t id, NVAttributeInfoList* list, std::uint32_t visibility,
                            std::int32_t cachedOnly, bool* listed);
Status GetNVAttributeValue(std::uint32_t id, const char* name, std::uint32_t component, std::uint32_t type,
                           void* value, std::int32_t cachedOnly);
Status SetNVAttributeValue(std::uint32_t id, const char* name, std::uint32_t component, std::uint32_t type,
                           const void* value, std::int32_t cachedOnly);
Status GetNVAttributeEnumValues(std::uint32_t id, const char* name, NVAttributeEnumItemList* items,
                                std::int32_t cachedOnly);
Status GetCameraVideoModes(std::uint32_t id, CameraVideoModeList* modes);
Status GetCameraFeatures(std::uint32_t id, CameraFeatureList* features);

// ---- Acquisition and registers --------------------------------------------
Status SnapImage(std::uint32_t id, std::uint32_t flags, Image* image);
Status SetupGrab(std::uint32_t id, std::uint32_t flags);
Status GrabImage(std::uint32_t id, std::uint32_t* bufferNumber, Image* image);
Status ConfigureAcquisition(std::uint32_t id, std::uint32_t continuous, std::uint32_t bufferCount);
Status StartAcquisition(std::uint32_t id);
Status CopyImage(std::uint32_t id, std::uint32_t* bufferNumber, Image* image);
Status StopAcquisition(std::uint32_t id);
Status UnconfigureAcquisition(std::uint32_t id);
Status GetImageCompression(std::uint32_t id, std::uint32_t* type, std::uint32_t* quality);
Status SetImageCompression(std::uint32_t id, std::uint32_t type, std::uint32_t quality);
Status SetAcquisitionFlags(std::uint32_t id, std::uint32_t flags);
Status SupportsRingAcquisition(std::uint32_t id, std::uint32_t imageType, std::uint32_t* supported);
Status ConfigureTrigger(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                        std::uint32_t fourth);
Status ReadU32(std::uint32_t id, std::uint32_t space, std::uint32_t address, std::uint32_t count,
               std::uint32_t* values);
Status WriteU32(std::uint32_t id, std::uint32_t space, std::uint32_t address, std::uint32_t count,
                const std::uint32_t* values);
Status CalculateBayerGains(std::uint32_t id, std::uint32_t selector, double* red, double* green, double* blue);
Status CalculateBayerColorLUT(std::uint32_t id);

// ---- Camera, interface and data files -------------------------------------
Status RefreshCameraFileDataList(std::uint32_t id, std::uint32_t* count, std::uint32_t* current);
Status RefreshReferenceCameraFileList(std::uint32_t id, std::uint32_t* count);
Status RefreshInterfaceFileDataList(std::uint32_t id, std::uint32_t index, std::uint32_t* count);
Status GetCameraFileData(std::uint32_t id, std::uint32_t index, CameraFileData* data);
Status GetReferenceCameraFileName(std::uint32_t id, std::uint32_t index, CFGString* name);
Status GetInterfaceFileData(std::uint32_t id, std::uint32_t index, InterfaceFileData* data);
Status RefreshCameraAttributeList(std::uint32_t id, std::uint32_t* count);
Status GetCameraAttribute(std::uint32_t id, std::uint32_t index, CameraAttribute* data);
Status SetCameraAttribute(std::uint32_t id, std::uint32_t key, const char* text, double number,
                          std::uint8_t useDefault);
Status AutoExposure(std::uint32_t id, double* first, double* second);
Status GetDataFilePath(std::uint32_t id, CFGString* path);
Status ChangeInterfaceFile(std::uint32_t id, const char* path);
Status WriteInterfaceFile(std::uint32_t id, const char* path, std::uint32_t flag);
Status CopyFile(std::uint32_t id, const char* source, const char* destination);
Status RefreshAcqUnitCameraFileList(std::uint32_t id, const char* unit, std::uint32_t* count);
Status GetAcqUnitCameraFileName(std::uint32_t id, std::uint32_t index, CFGString* name);
Status GetSerialErrorText(std::uint32_t id, CFGString* text);
Status RenameInterface(std::uint32_t id, const char* name);
Status GetKELDCameraFileList(std::uint32_t id, char* list, std::uint32_t* size);
Status GetKELDCameraFilename(std::uint32_t id, char* name, std::uint32_t size);
Status ChangeKELDCameraFile(std::uint32_t id, const char* name);
Status CopyKELDCameraFile(std::uint32_t id, const char* name);

// ---- Diagnostics -------------------------------------------------------------
Status InitializeDiagnostics(std::uint32_t id, std::uint32_t* first, std::uint32_t* second);
// Raises the time-out of a remote session (or the default, for id 0) to
// 360000 ms around the self test, and restores it afterwards.
Status RunDiagnostics(std::uint32_t id, std::uint32_t index, std::uint32_t* count);
Status GetDiagnosticResults(std::uint32_t id, std::uint32_t index, CFGString* name, CFGString* result);

// ---- Firmware updates ---------------------------------------------------------
Status GetUpdateFileHeaderInfo(const char* path, std::uint32_t* count, std::uint8_t* header);
Status WriteUpdateFileChunk(std::uint32_t id, std::uint32_t blockHigh, std::uint32_t blockLow, const char* path,
                            std::uint32_t offset, std::uint32_t length);
Status VerifyUpdate(std::uint32_t id, std::uint32_t blockHigh, std::uint32_t blockLow, const char* path,
                    std::uint32_t* matches);
Status IsFPGAClassNumSupported(std::uint32_t id, std::uint32_t classNumber, std::uint32_t* supported);

// ---- Frame-grabber rings, sequences, triggers, pulses and lighting --------
Status KELDRingSetup(std::uint32_t id, std::uint32_t bufferCount, std::uint32_t first, std::uint32_t second);
Status KELDSequenceSetup(std::uint32_t id, std::uint32_t count, void* table, std::uint32_t first,
                         std::uint32_t second);
Status KELDSessionStartAcquisition(std::uint32_t id);
Status KELDSessionStopAcquisition(std::uint32_t id);
Status KELDPulseCreate2(std::uint32_t id, const std::uint32_t (&arguments)[10], std::uint32_t* pulse);
Status KELDPulseDispose(std::uint32_t id, std::uint32_t pulse);
Status KELDPulseRate(std::uint32_t id, double delay, double width, std::uint32_t* first, std::uint32_t* second,
                     std::uint32_t* third);
Status KELDPulseStart(std::uint32_t id, std::uint32_t pulse);
Status KELDPulseStop(std::uint32_t id, std::uint32_t pulse);
Status KELDPulseSetDutyCycle(std::uint32_t id, std::uint32_t pulse, std::uint32_t first, std::uint32_t second);
Status KELDSessionTriggerDrive2(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                std::uint32_t fourth);
Status KELDSessionTriggerRead2(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                               std::uint32_t* value);
Status KELDSessionTriggerRoute2(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                std::uint32_t fourth);
Status KELDSessionTriggerClear(std::uint32_t id);
Status KELDSessionTriggerConfigure2(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                    std::uint32_t fourth, std::uint32_t fifth);
Status KELDSessionLineTrigSource2(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                  std::uint32_t fourth);
Status KELDEncoderResetPosition(std::uint32_t id);
Status KELDSessionTriggerConfigure3(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                    std::uint32_t fourth, std::uint32_t fifth, double time, std::uint32_t sixth);
Status KELDSessionTriggerGet(std::uint32_t id, std::uint32_t trigger, std::uint32_t* first, std::uint32_t* second,
                             std::uint32_t* third, std::uint32_t* fourth, std::uint32_t* fifth, double* time,
                             std::uint32_t* sixth);
// The heads the session's target knows, marked as on the target.
Status KELDEnumerateLightHeads(std::uint32_t id, const char* directory, LightHeadList* heads);
Status KELDDeployLightHeadData(std::uint32_t id, const ::LightHeadRecord* data, std::uint8_t checkLimits);
Status KELDLoadLightingLimits(std::uint32_t id, const ::LightHeadRecord* data);

}  // namespace keld::frames
