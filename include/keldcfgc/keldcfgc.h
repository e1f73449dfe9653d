/* keldcfgc: configuration client of the KELD family of image-acquisition
 * drivers. Plain C boundary over u32 session ids; every function returns a
 * 32-bit status (0 is success, the library's own errors start at 0xBFFF8000,
 * driver statuses pass unchanged).
 *
 * No exception ever leaves a function of this header: a failed allocation
 * anywhere inside answers 0xBFFF8005 ("Out of system memory."), and any other
 * failure of the library's own code that it did not foresee answers
 * 0xBFFF8017 ("There was an internal error."). A session stays whole while a
 * call is inside it: closing it from another thread takes its id away at
 * once (0xBFFF8009 for every later call) and ends it when that call returns.
 *
 * The trigger, pulse and ring arguments named first, second and so on are
 * handed to the frame-grabber driver in that order; their meaning is the
 * driver's. */
#ifndef KELDCFGC_H
#define KELDCFGC_H

#include <stdint.h>

#include "keldcfgc/records.h"

#if defined(_WIN32)
#define KELDCFGC_API __declspec(dllexport)
#else
#define KELDCFGC_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Image object of the image library; opaque here. The image library's
 * header declares the same name under the same guard, so both headers may
 * be included in either order, also in C99, which forbids a second typedef. */
#ifndef ODVISSVC_IMAGE_DECLARED
#define ODVISSVC_IMAGE_DECLARED
typedef struct Image Image;
#endif

/* Text of a status, cut to 254 characters plus terminator; `text` must hold
 * 255 bytes and may be null (the text is then dropped). */
KELDCFGC_API int32_t cfgGetErrorText(uint32_t status, char* text);

/* Closes a session; 0xBFFF8009 for an id no session has. */
KELDCFGC_API int32_t cfgClose(uint32_t session);

/* Version word of the library (host null or "127.0.0.1") or of a target.
 * `version` is preset to 0x01200000, which stays there if the call fails. */
KELDCFGC_API int32_t cfgQueryVersion(const char* host, uint32_t* version);
/* Binds to the target and back; no password is sent. 0xBFFF8011 once bound. */
KELDCFGC_API int32_t cfgCheckPassword(const char* host, const char* password);
/* MTU of a named network adapter of a target. */
KELDCFGC_API int32_t cfgGetNetworkInterfaceMTU(const char* host, const char* adapter, uint32_t* mtu);
KELDCFGC_API int32_t cfgSetNetworkInterfaceMTU(const char* host, const char* adapter, uint32_t mtu);

/* ---- Memory ---------------------------------------------------------- */
/* Frees a block that the library handed out (cfgWriteAttributesToString). */
KELDCFGC_API int32_t cfgDispose(void* block);

/* ---- Boards and cameras on a host ------------------------------------ */
/* Host null or "127.0.0.1" means this computer. Lists are cached per driver
 * and host; the Refresh functions enumerate again and report whether the
 * list changed. Query indices beyond the list give 0xBFFF800C; numeric
 * outputs of the query functions may be null. Driver types: 0 frame-grabber
 * boards, 1 IEEE 1394 cameras, 2 network and USB cameras. */
KELDCFGC_API int32_t cfgRefreshBoards(const char* host);
KELDCFGC_API int32_t cfgRefreshBoards2(const char* host, uint8_t* changed);
KELDCFGC_API int32_t cfgGetBoardCount(const char* host, uint32_t* count);
KELDCFGC_API int32_t cfgQueryBoard(const char* host, uint32_t index, char* name, uint32_t nameSize, uint32_t* serial,
                                   char* description, uint32_t descriptionSize);
KELDCFGC_API int32_t cfgQueryBoardDriver(const char* host, uint32_t index, char* driverName, uint32_t driverNameSize,
                                         uint32_t* driverVersion);
KELDCFGC_API int32_t cfgRefreshCameras(const char* host);
KELDCFGC_API int32_t cfgRefreshCameras2(const char* host, int32_t driverType);
KELDCFGC_API int32_t cfgRefreshCameras3(const char* host, int32_t driverType, uint8_t* changed);
KELDCFGC_API int32_t cfgGetCameraCount(const char* host, uint32_t* count);
KELDCFGC_API int32_t cfgGetCameraCount2(const char* host, int32_t driverType, uint32_t* count);
KELDCFGC_API int32_t cfgQueryCamera(const char* host, uint32_t index, char* name, uint32_t nameSize, uint32_t* uuidHigh,
                                    uint32_t* uuidLow, char* description, uint32_t descriptionSize);
KELDCFGC_API int32_t cfgQueryCamera2(const char* host, int32_t driverType, uint32_t index, char* name,
                                     uint32_t nameSize, uint32_t* uuidHigh, uint32_t* uuidLow, char* description,
                                     uint32_t descriptionSize, uint32_t* busType);
KELDCFGC_API int32_t cfgQueryCameraDriver(const char* host, uint32_t index, char* driverName,
                                          uint32_t driverNameSize, uint32_t* driverVersion);
KELDCFGC_API int32_t cfgQueryCameraDriver2(const char* host, int32_t driverType, uint32_t index, char* driverName,
                                           uint32_t driverNameSize, uint32_t* driverVersion);
/* Asks the network and USB driver (driverType 2 only) about one camera,
 * without opening it. */
KELDCFGC_API int32_t cfgGetCameraStatus(const char* host, uint32_t driverType, const char* camera, uint8_t* state,
                                        uint32_t* detail);
/* Renames a board of the network and USB driver (driverType 2 only). */
KELDCFGC_API int32_t cfgRenameCameraLinkBoard(const char* host, uint32_t driverType, const char* oldName,
                                              const char* newName);

/* ---- Opening a session ----------------------------------------------- */
/* On success *id names the open session. A null or empty interface name is
 * replaced by "serial:%08x" (boards) or "uuid:%08x%08x" (cameras). Opening
 * an interface again closes the session that had it. */
KELDCFGC_API int32_t cfgOpenBoard(const char* host, const char* interfaceName, uint32_t serial, uint32_t* id);
KELDCFGC_API int32_t cfgOpenLegacyBoard(const char* host, const char* interfaceName, uint32_t* id);
KELDCFGC_API int32_t cfgOpenCamera(const char* host, const char* interfaceName, uint32_t uuidHigh, uint32_t uuidLow,
                                   uint32_t* id);
KELDCFGC_API int32_t cfgOpenCamera2(const char* host, uint32_t driverType, const char* interfaceName,
                                    uint32_t uuidHigh, uint32_t uuidLow, uint32_t* id);
/* As cfgOpenCamera2 with open flags; bit 31 gives a remote session a
 * time-out of 300000 ms. */
KELDCFGC_API int32_t cfgOpenCamera3(const char* host, uint32_t driverType, const char* interfaceName,
                                    uint32_t uuidHigh, uint32_t uuidLow, uint32_t flags, uint32_t* id);

/* ---- Remote sessions -------------------------------------------------- */
KELDCFGC_API int32_t cfgPing(uint32_t session);
/* Session 0 reads and sets the default for new remote sessions. */
KELDCFGC_API int32_t cfgGetTimeout(uint32_t session, uint32_t* timeout);
KELDCFGC_API int32_t cfgSetTimeout(uint32_t session, uint32_t timeout);

/* ---- Attributes ------------------------------------------------------- */
/* cachedOnly 0: a get reads from the device first and a set writes at once.
 * Otherwise both work on the session's cache; a cached set reaches the
 * device at the next cfgValidateAttributes or cfgWriteAttributes. */
KELDCFGC_API int32_t cfgGetAttributeU32(uint32_t session, uint32_t key, uint32_t* value, int32_t cachedOnly);
KELDCFGC_API int32_t cfgSetAttributeU32(uint32_t session, uint32_t key, uint32_t value, int32_t cachedOnly);
KELDCFGC_API int32_t cfgGetAttributeDouble(uint32_t session, uint32_t key, double* value, int32_t cachedOnly);
KELDCFGC_API int32_t cfgSetAttributeDouble(uint32_t session, uint32_t key, double value, int32_t cachedOnly);
/* `value` holds 255 bytes; the text is cut at 254 characters. */
KELDCFGC_API int32_t cfgGetAttributeString(uint32_t session, uint32_t key, char* value, int32_t cachedOnly);
KELDCFGC_API int32_t cfgSetAttributeString(uint32_t session, uint32_t key, const char* value, int32_t cachedOnly);
/* Six u32 words. */
KELDCFGC_API int32_t cfgGetAttributeRect(uint32_t session, uint32_t key, uint32_t* rect, int32_t cachedOnly);
KELDCFGC_API int32_t cfgSetAttributeRect(uint32_t session, uint32_t key, const uint32_t* rect, int32_t cachedOnly);
KELDCFGC_API int32_t cfgValidateAttributes(uint32_t session);
KELDCFGC_API int32_t cfgReadAttributes(uint32_t session, const char* path);
KELDCFGC_API int32_t cfgWriteAttributes(uint32_t session, const char* path);
KELDCFGC_API int32_t cfgReadAttributesFromString(uint32_t session, const char* text);
/* *text receives a block that the caller releases with cfgDispose. */
KELDCFGC_API int32_t cfgWriteAttributesToString(uint32_t session, char** text);
/* Attribute lists by name. `array` null asks for the count; otherwise up to
 * *count records are copied and *count says how many. */
KELDCFGC_API int32_t cfgGetNVAttributesInfo(uint32_t session, void* array, uint32_t* count, int32_t cachedOnly);
KELDCFGC_API int32_t cfgGetNVAttributesInfo2(uint32_t session, void* array, uint32_t* count, uint32_t visibility,
                                             int32_t cachedOnly);
KELDCFGC_API int32_t cfgGetNVAttributeValue(uint32_t session, const char* name, uint32_t component, uint32_t type,
                                            void* value, int32_t cachedOnly);
KELDCFGC_API int32_t cfgSetNVAttributeValue(uint32_t session, const char* name, uint32_t component, uint32_t type,
                                            const void* value, int32_t cachedOnly);
KELDCFGC_API int32_t cfgGetNVAttributeEnumValues(uint32_t session, const char* name, void* array, uint32_t* count,
                                                 int32_t cachedOnly);

/* ---- Acquisition ------------------------------------------------------ */
KELDCFGC_API int32_t cfgSnapImage(uint32_t session, uint32_t flags, Image* image);
KELDCFGC_API int32_t cfgSetupGrab(uint32_t session, uint32_t flags);
KELDCFGC_API int32_t cfgGrabImage(uint32_t session, uint32_t* bufferNumber, Image* image);
KELDCFGC_API int32_t cfgConfigureAcquisition(uint32_t session, uint32_t continuous, uint32_t bufferCount);
KELDCFGC_API int32_t cfgStartAcquisition(uint32_t session);
KELDCFGC_API int32_t cfgCopyImage(uint32_t session, uint32_t* bufferNumber, Image* image);
KELDCFGC_API int32_t cfgStopAcquisition(uint32_t session);
KELDCFGC_API int32_t cfgUnconfigureAcquisition(uint32_t session);
KELDCFGC_API int32_t cfgGetImageCompression(uint32_t session, uint32_t* type, uint32_t* quality);
KELDCFGC_API int32_t cfgSetImageCompression(uint32_t session, uint32_t type, uint32_t quality);
KELDCFGC_API int32_t cfgSetAcquisitionFlags(uint32_t session, uint32_t flags);
KELDCFGC_API int32_t cfgSupportsRingAcquisition(uint32_t session, uint32_t imageType, uint32_t* supported);
KELDCFGC_API int32_t cfgConfigureTrigger(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                        uint32_t fourth);
KELDCFGC_API int32_t cfgReadU32(uint32_t session, uint32_t space, uint32_t address, uint32_t count, uint32_t* values);
KELDCFGC_API int32_t cfgWriteU32(uint32_t session, uint32_t space, uint32_t address, uint32_t count,
                                 const uint32_t* values);
KELDCFGC_API int32_t cfgCalculateBayerGains(uint32_t session, uint32_t selector, double* red, double* green,
                                            double* blue);
KELDCFGC_API int32_t cfgCalculateBayerColorLUT(uint32_t session);
/* IEEE 1394 cameras: arrays of VideoMode_struct and Feature2_struct. */
KELDCFGC_API int32_t cfgGetCameraVideoModes(uint32_t session, void* array, uint32_t* count, uint32_t* current);
KELDCFGC_API int32_t cfgGetCameraFeatures(uint32_t session, void* array, uint32_t* count, uint64_t extra);

/* ---- Camera, interface and data files --------------------------------- */
/* The Refresh functions fill a list in the session; the Get functions read
 * one entry of what the last Refresh left. */
KELDCFGC_API int32_t cfgRefreshCameraFileDataList(uint32_t session, uint32_t* count, uint32_t* current);
KELDCFGC_API int32_t cfgRefreshReferenceCameraFileList(uint32_t session, uint32_t* count);
KELDCFGC_API int32_t cfgRefreshInterfaceFileDataList(uint32_t session, uint32_t index, uint32_t* count);
KELDCFGC_API int32_t cfgGetCameraFileData(uint32_t session, uint32_t index, CameraFileData* data);
KELDCFGC_API int32_t cfgGetReferenceCameraFileName(uint32_t session, uint32_t index, char* name, uint32_t nameSize);
KELDCFGC_API int32_t cfgGetInterfaceFileData(uint32_t session, uint32_t index, InterfaceFileData* data);
KELDCFGC_API int32_t cfgRefreshCameraAttributeList(uint32_t session, uint32_t* count);
KELDCFGC_API int32_t cfgGetCameraAttribute(uint32_t session, uint32_t index, CameraAttribute* data);
KELDCFGC_API int32_t cfgSetCameraAttribute(uint32_t session, uint32_t key, const char* text, double number,
                                           uint8_t useDefault);
KELDCFGC_API int32_t cfgAutoExposure(uint32_t session, double* first, double* second);
KELDCFGC_API int32_t cfgGetDataFilePath(uint32_t session, char* path, uint32_t pathSize);
KELDCFGC_API int32_t cfgChangeInterfaceFile(uint32_t session, const char* path);
KELDCFGC_API int32_t cfgWriteInterfaceFile(uint32_t session, const char* path, uint32_t flag);
KELDCFGC_API int32_t cfgCopyFile(uint32_t session, const char* source, const char* destination);
KELDCFGC_API int32_t cfgRefreshAcqUnitCameraFileList(uint32_t session, const char* unit, uint32_t* count);
KELDCFGC_API int32_t cfgGetAcqUnitCameraFileName(uint32_t session, uint32_t index, char* name, uint32_t nameSize);
KELDCFGC_API int32_t cfgGetSerialErrorText(uint32_t session, char* text, uint32_t textSize);
KELDCFGC_API int32_t cfgRenameInterface(uint32_t session, const char* name);
/* `list` null asks for the size alone. */
KELDCFGC_API int32_t cfgGetKELDCameraFileList(uint32_t session, char* list, uint32_t* size);
KELDCFGC_API int32_t cfgGetKELDCameraFilename(uint32_t session, char* name, uint32_t size);
KELDCFGC_API int32_t cfgChangeKELDCameraFile(uint32_t session, const char* name);
KELDCFGC_API int32_t cfgCopyKELDCameraFile(uint32_t session, const char* name);

/* ---- Diagnostics ------------------------------------------------------ */
KELDCFGC_API int32_t cfgInitializeDiagnostics(uint32_t session, uint32_t* first, uint32_t* second);
/* Runs a self test; a remote session waits up to 360000 ms for it. */
KELDCFGC_API int32_t cfgRunDiagnostics(uint32_t session, uint32_t index, uint32_t* count);
/* `name` and `result` hold 255 bytes each. */
KELDCFGC_API int32_t cfgGetDiagnosticResults(uint32_t session, uint32_t index, char* name, char* result);

/* ---- Firmware updates ------------------------------------------------- */
/* Reads the 64 header words of an update file; `header` null asks for the
 * count, which is 64. */
KELDCFGC_API int32_t cfgGetUpdateFileHeaderInfo(const char* path, uint32_t* count, uint8_t* header);
KELDCFGC_API int32_t cfgWriteUpdateFileChunk(uint32_t session, uint32_t blockHigh, uint32_t blockLow,
                                             const char* path, uint32_t offset, uint32_t length);
KELDCFGC_API int32_t cfgVerifyUpdate(uint32_t session, uint32_t blockHigh, uint32_t blockLow, const char* path,
                                     uint32_t* matches);
KELDCFGC_API int32_t cfgIsFPGAClassNumSupported(uint32_t session, uint32_t classNumber, uint32_t* supported);

/* ---- Frame-grabber rings, sequences, triggers, pulses and lighting ---- */
KELDCFGC_API int32_t cfgKELDRingSetup(uint32_t session, uint32_t bufferCount, uint32_t first, uint32_t second);
/* `table` holds `count` entries of 8 bytes. */
KELDCFGC_API int32_t cfgKELDSequenceSetup(uint32_t session, uint32_t count, void* table, uint32_t first,
                                          uint32_t second);
KELDCFGC_API int32_t cfgKELDSessionStartAcquisition(uint32_t session);
KELDCFGC_API int32_t cfgKELDSessionStopAcquisition(uint32_t session);
KELDCFGC_API int32_t cfgKELDPulseCreate2(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                         uint32_t fourth, uint32_t fifth, uint32_t sixth, uint32_t seventh,
                                         uint32_t eighth, uint32_t ninth, uint32_t tenth, uint32_t* pulse);
KELDCFGC_API int32_t cfgKELDPulseDispose(uint32_t session, uint32_t pulse);
KELDCFGC_API int32_t cfgKELDPulseRate(uint32_t session, double delay, double width, uint32_t* first,
                                      uint32_t* second, uint32_t* third);
KELDCFGC_API int32_t cfgKELDPulseStart(uint32_t session, uint32_t pulse);
KELDCFGC_API int32_t cfgKELDPulseStop(uint32_t session, uint32_t pulse);
KELDCFGC_API int32_t cfgKELDPulseSetDutyCycle(uint32_t session, uint32_t pulse, uint32_t first, uint32_t second);
KELDCFGC_API int32_t cfgKELDSessionTriggerDrive2(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                                uint32_t fourth);
KELDCFGC_API int32_t cfgKELDSessionTriggerRead2(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                               uint32_t* value);
KELDCFGC_API int32_t cfgKELDSessionTriggerRoute2(uint32_t session, uint32_t first, uint32_t second, uint32_t third,
                                                uint32_t fourth);
KELDCFGC_API int32_t cfgKELDSessionTriggerClear(uint32_t session);
KELDCFGC_API int32_t cfgKELDSessionTriggerConfigure2(uint32_t session, uint32_t first, uint32_t second,
                                                     uint32_t third, uint32_t fourth, uint32_t fifth);
KELDCFGC_API int32_t cfgKELDSessionLineTrigSource2(uint32_t session, uint32_t first, uint32_t second,
                                                   uint32_t third, uint32_t fourth);
KELDCFGC_API int32_t cfgKELDEncoderResetPosition(uint32_t session);
KELDCFGC_API int32_t cfgKELDSessionTriggerConfigure3(uint32_t session, uint32_t first, uint32_t second,
                                                     uint32_t third, uint32_t fourth, uint32_t fifth, double time,
                                                     uint32_t sixth);
KELDCFGC_API int32_t cfgKELDSessionTriggerGet(uint32_t session, uint32_t trigger, uint32_t* first, uint32_t* second,
                                              uint32_t* third, uint32_t* fourth, uint32_t* fifth, double* time,
                                              uint32_t* sixth);
/* Light heads of the session's target and of a local directory, merged;
 * `records` null asks for the count. */
KELDCFGC_API int32_t cfgKELDEnumerateLightHeads(uint32_t session, const char* directory, LightHeadRecord* records,
                                                uint32_t* count);
KELDCFGC_API int32_t cfgKELDDeployLightHeadData(uint32_t session, LightHeadRecord* data, uint8_t checkLimits);
KELDCFGC_API int32_t cfgKELDLoadLightingLimits(uint32_t session, LightHeadRecord* data);

#ifdef __cplusplus
}
#endif

#endif
