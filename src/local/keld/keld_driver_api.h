/* The functions of the frame-grabber driver library (keld.dll, on this
 * platform libkeld.so) that the library calls. The library never links
 * against the driver: it resolves each function by its name at each use and
 * calls it through a pointer of the type declared here. A driver library
 * implements what it offers of this list; whatever it lacks is a missing
 * function to the library.
 *
 * Every function returns the driver's status: 0 for success, the driver's
 * errors from 0xBFF60000. `sid` is a session identifier, `iid` an interface
 * identifier, `serial` a board's serial number. Texts the driver writes go
 * into buffers of 520 bytes unless a size says otherwise; error texts into
 * 256 bytes. */
#ifndef KELD_DRIVER_API_H
#define KELD_DRIVER_API_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t KeldDriverStatus;

/* Size of the path and name buffers the driver writes into. */
#define KELD_DRIVER_PATH_SIZE 520
/* Size of the buffer of kldShowError. */
#define KELD_DRIVER_ERROR_TEXT_SIZE 256

/* ---- Driver, boards and interface files -------------------------------- */
/* Packed version word of the driver, compared as a number. */
KeldDriverStatus odkelduGetDriverVersion(uint32_t* version);
/* Brings the interface files up to date; called with 0. */
KeldDriverStatus odkelduDeployInterfaceFiles(uint32_t flags);
/* With a null array gives the number of boards in *count; with an array of
 * *count entries fills it with their serial numbers. */
KeldDriverStatus odkelduGetSerialNumber(uint32_t* serials, uint32_t* count);
/* Model name of a board, from driver version 0x03100000. */
KeldDriverStatus odkelduGetBoardName(uint32_t serial, char* name);
/* PCI identity word of a board, for drivers before 0x03100000. */
KeldDriverStatus kldGetBoardPCIID(uint32_t serial, uint32_t* id);
/* Boards that failed to initialise: with null arrays the count; else the
 * serial numbers and the statuses of *count of them. */
KeldDriverStatus odkelduGetFailedDeviceInfo(uint32_t* count, uint32_t* serials, KeldDriverStatus* statuses);
/* Text of one of the driver's statuses; an empty text means none. */
KeldDriverStatus kldShowError(KeldDriverStatus status, char* text);
/* The interface file that a board uses. */
KeldDriverStatus odkelduGetActiveInterfaceFile(uint32_t serial, char* path);
/* Makes a new interface file for a board and gives its path. */
KeldDriverStatus odkelduClaimNewInterfaceFile(uint32_t serial, char* path);
/* Records the file as the board's. */
KeldDriverStatus odkelduSetActiveInterfaceFile(uint32_t serial, const char* path);
/* Number of acquisition units of a board. */
KeldDriverStatus odkelduGetNumAcqUnits(uint32_t serial, uint32_t* count);
/* The data folder of interface and camera files. */
KeldDriverStatus odkelduGetInterfaceFilePathA(char* path);
/* The folder of the board test libraries. */
KeldDriverStatus odkelduGetDiagnosticsPathA(char* path);
/* Name of the index-th interface; non-zero past the last one. */
KeldDriverStatus kldInterfaceQueryNames(uint32_t index, char* name);
KeldDriverStatus odkelduGetSerialNumberFromInterfaceFile(const char* path, uint32_t* serial);
KeldDriverStatus odkelduSetSerialNumberInInterfaceFile(const char* path, uint32_t serial);
/* Mask of the interface types an interface file is for. */
KeldDriverStatus odkelduGetInterfaceTypeExFromInterfaceFile(const char* path, uint32_t* mask);
/* Camera file of a port of an interface file; *size is the buffer's. */
KeldDriverStatus odkelduGetCameraFileFromInterfaceFile(const char* path, uint32_t port, char* name, uint32_t* size);

/* ---- Opening and closing ------------------------------------------------ */
/* Opens an interface by its name: an interface name, "serial:%08x", either
 * with "::%d" for one acquisition unit. */
KeldDriverStatus kldInterfaceOpen(const char* name, uint32_t* iid);
KeldDriverStatus kldSessionOpen(uint32_t iid, uint32_t* sid);
/* Closes a session or an interface identifier. */
KeldDriverStatus kldClose(uint32_t id, uint32_t flags);
KeldDriverStatus odkelduDisable32bitPhysMemLimitEnforcement(uint32_t iid);

/* ---- Attributes and state -------------------------------------------------- */
/* Reads an attribute into `value`, whose width is that of the attribute's
 * type: 4 bytes for a u32, 8 for an f64 or a u64, 512 characters for a
 * string, 6 u32 for a rectangle, 64 and 32 u32 for the two vectors. */
KeldDriverStatus kldGetAttribute(uint32_t sid, uint32_t key, void* value);
KeldDriverStatus kldSetAttributeFromVoidPtr(uint32_t sid, uint32_t key, const void* value);
/* The attributes of a session as records of two u32: the driver's type code
 * (1 u32, 2 f64, 3 lines vector, 4 rectangle, 5 string, 6 waveform vector,
 * 7 u64), then the key. A null `records` gives the count. */
KeldDriverStatus odkelduGetAttributeKeys(uint32_t sid, uint32_t* records, uint32_t* count);
KeldDriverStatus odkelduGetExecutionState(uint32_t sid, uint32_t* state);
KeldDriverStatus odkelduChangeExecutionState(uint32_t sid, uint32_t state);
KeldDriverStatus odkelduValidate(uint32_t sid);

/* ---- Configuration files and texts ----------------------------------------- */
KeldDriverStatus odkelduLoadInterfaceConfig(uint32_t sid, const char* path);
KeldDriverStatus odkelduLoadCameraConfig(uint32_t sid, const char* path);
KeldDriverStatus odkelduStoreInterfaceConfig(uint32_t sid, const char* path);
KeldDriverStatus odkelduStoreCameraConfig(uint32_t sid, const char* path);
KeldDriverStatus odkelduLoadConfiguration(uint32_t sid, const char* path);
KeldDriverStatus kldLoadCameraConfigFromString(uint32_t sid, const char* text);
/* Gives a text of the driver's holding, released with kldDisposeBuffer. */
KeldDriverStatus kldStoreCameraConfigToString(uint32_t sid, char** text);
/* Releases a buffer of the driver's: a text or an image buffer. */
KeldDriverStatus kldDisposeBuffer(void* buffer);
/* Does the camera file suit the session's interface. */
KeldDriverStatus odkelduIsInterfaceSupported(uint32_t sid, const char* file, uint32_t* supported);
/* The same question, with the two description texts of the camera file
 * (mode name and detail, 520 bytes each); from driver 0x03100000, with the
 * constant 1 as third argument. Older drivers take the form without it
 * (KeldCameraHeaderInfoBefore310 below). */
KeldDriverStatus odkelduGetCameraHeaderInfo(uint32_t sid, const char* file, uint32_t flag, uint32_t* supported,
                                            char* modeName, char* detail);
typedef KeldDriverStatus (*KeldCameraHeaderInfoBefore310)(uint32_t sid, const char* file, uint32_t* supported,
                                                         char* modeName, char* detail);

/* ---- Acquisition ------------------------------------------------------------ */
KeldDriverStatus kldGrabSetup(uint32_t sid, uint32_t flags);
KeldDriverStatus kldSessionGetBufferSize(uint32_t sid, uint32_t* bytes);
KeldDriverStatus kldCreateBufList(uint32_t count, uint32_t* list);
KeldDriverStatus kldCreateBuffer(uint32_t sid, uint32_t flags, uint32_t bytes, void** buffer);
/* Sets an item of a buffer list element that holds a pointer. */
KeldDriverStatus kldSetBufferElement2(uint32_t list, uint32_t index, uint32_t item, void* pointer);
/* Sets an item that holds a value. */
KeldDriverStatus kldSetBufferElement(uint32_t list, uint32_t index, uint32_t item, uint32_t value);
KeldDriverStatus kldMemLock(uint32_t list);
KeldDriverStatus kldMemUnlock(uint32_t list);
KeldDriverStatus kldDisposeBufList(uint32_t list, uint32_t flags);
KeldDriverStatus kldSessionConfigure(uint32_t sid, uint32_t list);
KeldDriverStatus kldSessionAcquire(uint32_t sid, uint32_t async, uint32_t flags);
KeldDriverStatus kldSessionStartAcquisition(uint32_t sid);
KeldDriverStatus kldSessionStopAcquisition(uint32_t sid);
/* A ring of `count` buffers; null entries are allocated by the driver. */
KeldDriverStatus kldRingSetup(uint32_t sid, uint32_t count, void** buffers, uint32_t first, uint32_t second);
KeldDriverStatus kldSequenceSetup(uint32_t sid, uint32_t count, void** buffers, const void* table, uint32_t first,
                                  uint32_t second);
/* One image; with *pixels null on entry the driver supplies the memory and
 * gives its address. */
KeldDriverStatus kldSnapArea(uint32_t sid, void** pixels, uint32_t top, uint32_t left, uint32_t height,
                             uint32_t width, uint32_t rowPixels);
/* The newest image of a running grab, into the memory at *pixels. */
KeldDriverStatus kldGrabArea(uint32_t sid, void** pixels, uint32_t wait, uint32_t top, uint32_t left,
                             uint32_t height, uint32_t width, uint32_t rowPixels);
/* A buffer of the acquisition by its index in the list. */
KeldDriverStatus kldSessionCopyArea(uint32_t sid, uint32_t buffer, uint32_t top, uint32_t left, uint32_t height,
                                    uint32_t width, void* pixels, uint32_t rowPixels, uint32_t mode);
/* A buffer by its cumulative number (from driver 0x03800000). From driver
 * 0x04100000, height, width and rowPixels may be 0xFFFFFFFF: `pixels` is
 * then an image object of the image library, which the driver resizes. */
KeldDriverStatus kldSessionCopyAreaByNumber(uint32_t sid, uint32_t number, uint32_t top, uint32_t left,
                                            uint32_t height, uint32_t width, void* pixels, uint32_t rowPixels,
                                            uint32_t mode, uint32_t* foundNumber, KeldDriverStatus* bufferStatus);
/* Automatic exposure; the driver takes the two results in this order. */
KeldDriverStatus odkelduAutoExposureNonSamsung(uint32_t sid, double* second, double* first);

/* ---- Registers and blocks ------------------------------------------------------- */
/* One read or write of `width` (4) bytes of board memory. */
KeldDriverStatus kldRead(uint32_t serial, uint32_t region, uint32_t offset, uint32_t width, void* value);
KeldDriverStatus kldWrite(uint32_t serial, uint32_t region, uint32_t offset, uint32_t width, const void* value);
/* Block access to the board's memory, for firmware: `data` holds width
 * times height bytes. */
KeldDriverStatus odkelduReadBlock(uint64_t block, uint32_t first, uint32_t second, uint32_t width, uint32_t height,
                                  void* data);
KeldDriverStatus odkelduWriteBlock(uint64_t block, uint32_t first, uint32_t second, uint32_t width,
                                   uint32_t height, const void* data);
KeldDriverStatus odkelduIsFPGAClassNumberSupported(uint32_t sid, uint32_t classNumber, uint32_t* supported);

/* ---- Triggers, pulses, serial errors and lighting ------------------------------ */
KeldDriverStatus kldSessionTriggerConfigure(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                           uint32_t fourth);
KeldDriverStatus kldSessionTriggerDrive2(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                        uint32_t fourth);
KeldDriverStatus kldSessionTriggerRead2(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                       uint32_t* value);
KeldDriverStatus kldSessionTriggerRoute2(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                        uint32_t fourth);
KeldDriverStatus kldSessionTriggerClear(uint32_t sid);
KeldDriverStatus kldSessionTriggerConfigure2(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                            uint32_t fourth, uint32_t fifth);
KeldDriverStatus kldSessionTriggerConfigure3(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                            uint32_t fourth, uint32_t fifth, double time, uint32_t sixth);
KeldDriverStatus kldSessionTriggerGet(uint32_t sid, uint32_t trigger, uint32_t* first, uint32_t* second,
                                     uint32_t* third, uint32_t* fourth, uint32_t* fifth, double* time,
                                     uint32_t* sixth);
KeldDriverStatus kldSessionLineTrigSource2(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                          uint32_t fourth);
KeldDriverStatus kldEncoderResetPosition(uint32_t sid);
KeldDriverStatus kldPulseCreate2(uint32_t first, uint32_t second, uint32_t third, uint32_t fourth, uint32_t fifth,
                                uint32_t sixth, uint32_t seventh, uint32_t eighth, uint32_t ninth, uint32_t tenth,
                                uint32_t* pulse);
KeldDriverStatus kldPulseDispose(uint32_t pulse);
KeldDriverStatus kldPulseRate(double delay, double width, uint32_t* first, uint32_t* second, uint32_t* third);
KeldDriverStatus kldPulseStart(uint32_t pulse, uint32_t sid);
KeldDriverStatus kldPulseStop(uint32_t pulse);
KeldDriverStatus kldPulseSetDutyCycle(uint32_t pulse, uint32_t sid, uint32_t first, uint32_t second);
/* Text of the last serial error; with a null `text` gives the size. */
KeldDriverStatus odkelduShowSerialError(uint32_t sid, char* text, uint32_t* size);
/* Loads the limits of a light head: the light-head entry of the record. */
KeldDriverStatus odkelduLoadLightingLimits(uint32_t sid, const void* lightHeadEntry);

/* ---- The tree of camera attributes ------------------------------------------- */
KeldDriverStatus odkelduCameraAttributeGetNumRoots(uint32_t sid, uint32_t* count);
KeldDriverStatus odkelduCameraAttributeGetRootIds(uint32_t sid, uint32_t* ids);
/* Name (of at most *nameSize bytes) and type word (0 numeric, 1 string) of
 * an attribute or of a value of a string attribute. */
KeldDriverStatus odkelduCameraAttributeGetInfo(uint32_t sid, uint32_t id, uint32_t* nameSize, char* name,
                                              uint32_t* type);
KeldDriverStatus odkelduCameraAttributeGetNumValues(uint32_t sid, uint32_t id, uint32_t* count);
KeldDriverStatus odkelduCameraAttributeGetValueIds(uint32_t sid, uint32_t id, uint32_t* ids);
/* The attributes that the value `value` of a string attribute opens. */
KeldDriverStatus odkelduCameraAttributeGetNumChildren(uint32_t sid, uint32_t id, const char* value,
                                                     uint32_t* count);
KeldDriverStatus odkelduCameraAttributeGetChildrenIds(uint32_t sid, uint32_t id, const char* value, uint32_t* ids);
KeldDriverStatus odkelduCameraAttributeNumericGetUnitsSize(uint32_t sid, uint32_t id, uint32_t* size);
KeldDriverStatus odkelduCameraAttributeNumericGetUnits(uint32_t sid, uint32_t id, char* units);
KeldDriverStatus odkelduCameraAttributeNumericGetMin(uint32_t sid, uint32_t id, uint32_t* raw);
KeldDriverStatus odkelduCameraAttributeNumericGetMax(uint32_t sid, uint32_t id, uint32_t* raw);
KeldDriverStatus odkelduCameraAttributeNumericGetFormattedValue(uint32_t sid, uint32_t id, uint32_t raw,
                                                               double* value);
KeldDriverStatus odkelduCameraAttributeNumericGetPrecision(uint32_t sid, uint32_t id, uint32_t* precision);
/* The step as a raw value, for drivers before 0x03500000. */
KeldDriverStatus odkelduCameraAttributeNumericGetIncrement(uint32_t sid, uint32_t id, uint32_t* raw);
/* The step as a number, from driver 0x03500000; called with 0. */
KeldDriverStatus odkelduCameraAttributeNumericGetIncrementEx(uint32_t sid, uint32_t id, uint32_t flags,
                                                            double* value);
KeldDriverStatus odkelduCameraAttributeNumericGetDefault(uint32_t sid, uint32_t id, uint32_t* raw);
KeldDriverStatus odkelduCameraAttributeStringGetDefault(uint32_t sid, uint32_t id, uint32_t* size, char* text);
KeldDriverStatus kldGetCameraAttributeNumeric(uint32_t sid, const char* name, double* value);
KeldDriverStatus kldGetCameraAttributeString(uint32_t sid, const char* name, char* text, uint32_t size);
KeldDriverStatus kldSetCameraAttributeNumeric(uint32_t sid, const char* name, double value);
KeldDriverStatus kldSetCameraAttributeString(uint32_t sid, const char* name, const char* text);

/* ---- The board test libraries (Test7105 and its kind) -------------------------- */
/* One test of a table; the table ends with an entry whose name and test are
 * null. A test takes the board's serial number and the address of a pointer
 * to a message buffer of 1024 bytes, and answers 1 passed, 2 failed, 3
 * failed critically, 4 skipped. */
typedef struct KeldBoardTest {
  const char* name;
  void* reserved;
  uint32_t (*test)(uint32_t serial, char** message);
} KeldBoardTest;
/* "_TestInitialize@12": gives the first and second test table. */
typedef int32_t (*KeldTestInitialize)(const KeldBoardTest** first, const KeldBoardTest** second, uint32_t flags);

#ifdef __cplusplus
}
#endif

#endif /* KELD_DRIVER_API_H */
