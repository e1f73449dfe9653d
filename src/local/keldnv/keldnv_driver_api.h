/* The functions of the network and USB camera driver library (odkeldnv.dll,
 * on this platform libodkeldnv.so) that the library calls. As with the
 * frame-grabber driver, the library never links against it: it resolves
 * each function by its name at each use and calls it through a pointer of
 * the type declared here. A driver library implements what it offers of
 * this list; whatever it lacks is a missing function to the library.
 *
 * Every function returns the driver's status, 0 for success. `camera` is the
 * handle KELDnvOpenCamera gave; attributes are named by their "::" path, by
 * their last component, or by a tail of the path. The type of an attribute
 * value is the driver's code: 0 u32, 1 i64, 2 f64, 3 string (512 bytes), 4
 * enumeration (a KELDnvEnumItem_struct), 5 bool (u32); an attribute listing
 * reports a command as 6, which is read and written as a bool. */
#ifndef KELDNV_DRIVER_API_H
#define KELDNV_DRIVER_API_H

#include <stdint.h>

#include "keldcfgc/records.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifndef ODVISSVC_IMAGE_DECLARED
#define ODVISSVC_IMAGE_DECLARED
typedef struct Image Image;
#endif

typedef uint32_t KeldnvDriverStatus;

/* Sizes of the text buffers the driver writes into. */
#define KELDNV_TEXT_SIZE 512
#define KELDNV_TOOLTIP_SIZE 2048
#define KELDNV_DRIVER_NAME_SIZE 260

/* Driver type codes of attribute values. */
#define KELDNV_TYPE_U32 0u
#define KELDNV_TYPE_I64 1u
#define KELDNV_TYPE_F64 2u
#define KELDNV_TYPE_STRING 3u
#define KELDNV_TYPE_ENUM 4u
#define KELDNV_TYPE_BOOL 5u
#define KELDNV_TYPE_COMMAND 6u

/* Bit 0 of Flags: the camera is to be listed. */
#define KELDNV_CAMERA_LISTED 0x1u

/* One camera as KELDnvEnumerateCameras describes it; 2584 bytes. */
typedef struct KELDnvCameraInformation {
  uint32_t StructureSize;   /* the driver's: the size of this record */
  uint32_t Index;           /* the driver's: the camera's place in its list */
  uint32_t Flags;
  uint32_t SerialNumberHigh;
  uint32_t SerialNumberLow;
  uint32_t InterfaceType;   /* 1 network, 2 USB, 4 camera link */
  char InterfaceName[512];
  char Vendor[512];
  char Model[512];
  char Address[1024];       /* the driver's: where the camera is reached */
} KELDnvCameraInformation;

/* One attribute as the attribute enumeration describes it; 524 bytes. */
typedef struct KELDnvAttributeInformation {
  uint32_t Type;        /* the driver's type code as reported (commands are 6) */
  uint32_t Visibility;  /* the driver's */
  uint32_t Access;      /* the driver's: bit 0 readable, bit 1 writable */
  char Name[512];
} KELDnvAttributeInformation;

/* One camera-link camera file: file name, mode name and detail. */
typedef char KELDnvCameraLinkFile[3][512];

/* ---- The driver ----------------------------------------------------------- */
/* Packed version word of the driver, compared as a number. */
KeldnvDriverStatus KELDnvGetDriverVersion(uint32_t* version);
/* The text of one of the driver's statuses into `text` (size bytes); the
 * text stays empty for a status the driver does not know. */
KeldnvDriverStatus KELDnvGetErrorString(KeldnvDriverStatus status, char* text, uint32_t size);
/* With a null array gives the number of cameras in *count; with an array of
 * *count records fills it and sets *count to the number filled. `refresh` 1
 * looks for cameras anew first. */
KeldnvDriverStatus KELDnvEnumerateCameras(KELDnvCameraInformation* cameras, uint32_t* count, uint32_t refresh);
/* Name of the driver that serves the camera of that serial number; the
 * second form from driver 0x04400000. */
KeldnvDriverStatus KELDnvGetDriverName(uint64_t serial, char* name, uint32_t size);
KeldnvDriverStatus KELDnvGetDriverName2(uint64_t serial, char* name, uint32_t size);
/* Whether a camera is there (*present 1) and what it does (*state: bit 0 open
 * by a session, bit 1 acquiring, bit 2 held by another host). The camera is
 * named as at KELDnvOpenCamera; an unknown one is not present. */
KeldnvDriverStatus KELDnvGetCameraStatus(const char* name, uint8_t* present, uint32_t* state);

/* ---- Opening and closing ------------------------------------------------------ */
/* Opens a camera by its interface name or "uuid:" and the serial number in
 * sixteen hexadecimal digits. Bit 0 of `flags` asks for monitor access (no
 * writes); other bits are not the driver's and are ignored. */
KeldnvDriverStatus KELDnvOpenCamera(const char* name, uint32_t flags, uint32_t* camera);
KeldnvDriverStatus KELDnvCloseCamera(uint32_t camera);
/* Gives the camera a new interface name, kept by the driver. */
KeldnvDriverStatus KELDnvRenameInterface(uint32_t camera, const char* name);

/* ---- Attributes ------------------------------------------------------------ */
/* With a null array gives the number of attributes of at most `visibility`
 * below the category `root` (null: all); with an array fills it. The second
 * form reports commands as bools; the third, from driver 0x03900008, as 6. */
KeldnvDriverStatus KELDnvEnumerateAttributes2(uint32_t camera, KELDnvAttributeInformation* attributes,
                                              uint32_t* count, const char* root, uint32_t visibility);
KeldnvDriverStatus KELDnvEnumerateAttributes3(uint32_t camera, KELDnvAttributeInformation* attributes,
                                              uint32_t* count, const char* root, uint32_t visibility);
KeldnvDriverStatus KELDnvGetAttribute(uint32_t camera, const char* name, uint32_t type, void* value);
KeldnvDriverStatus KELDnvSetAttributeFromVoidPtr(uint32_t camera, const char* name, uint32_t type, const void* value);
KeldnvDriverStatus KELDnvGetAttributeVisibility(uint32_t camera, const char* name, uint32_t* visibility);
KeldnvDriverStatus KELDnvIsAttributeReadable(uint32_t camera, const char* name, uint32_t* readable);
KeldnvDriverStatus KELDnvIsAttributeWritable(uint32_t camera, const char* name, uint32_t* writable);
KeldnvDriverStatus KELDnvIsAttributeDynamic(uint32_t camera, const char* name, uint32_t* dynamic);
KeldnvDriverStatus KELDnvGetAttributeTooltip(uint32_t camera, const char* name, char* text, uint32_t size);
/* Limits of a numeric attribute, in the attribute's own type. */
KeldnvDriverStatus KELDnvGetAttributeMinimum(uint32_t camera, const char* name, uint32_t type, void* value);
KeldnvDriverStatus KELDnvGetAttributeMaximum(uint32_t camera, const char* name, uint32_t type, void* value);
KeldnvDriverStatus KELDnvGetAttributeIncrement(uint32_t camera, const char* name, uint32_t type, void* value);
KeldnvDriverStatus KELDnvGetAttributeUnits(uint32_t camera, const char* name, char* text, uint32_t size);
/* From driver 0x03010000. */
KeldnvDriverStatus KELDnvGetAttributeRepresentation(uint32_t camera, const char* name, uint32_t* representation);
/* Both from driver 0x03100000. */
KeldnvDriverStatus KELDnvGetAttributeDescription(uint32_t camera, const char* name, char* text, uint32_t size);
KeldnvDriverStatus KELDnvGetAttributeDisplayName(uint32_t camera, const char* name, char* text, uint32_t size);
/* The choices of an enumeration: with a null array the count. */
KeldnvDriverStatus KELDnvEnumerateAttributeValues(uint32_t camera, const char* name, KELDnvEnumItem_struct* items,
                                                  uint32_t* count);
/* Checks the settings together before an acquisition. */
KeldnvDriverStatus KELDnvValidateAcquisition(uint32_t camera);

/* ---- Attribute files and texts ---------------------------------------------- */
KeldnvDriverStatus KELDnvReadAttributes(uint32_t camera, const char* path);
KeldnvDriverStatus KELDnvWriteAttributes(uint32_t camera, const char* path);
KeldnvDriverStatus KELDnvReadAttributesFromString(uint32_t camera, const char* text);
/* Gives a text of the driver's holding, released with KELDnvDispose. */
KeldnvDriverStatus KELDnvWriteAttributesToString(uint32_t camera, char** text);
KeldnvDriverStatus KELDnvDispose(void* memory);
/* The camera's own files (user sets): with a null array the count, and the
 * index of the one the camera starts with in *current. */
KeldnvDriverStatus KELDnvEnumerateCameraFiles(uint32_t camera, KELDnvEnumItem_struct* items, uint32_t* count,
                                              uint32_t* current);

/* ---- Acquisition -------------------------------------------------------------- */
/* One image into `image`, which the driver sizes. */
KeldnvDriverStatus KELDnvSnap(uint32_t camera, Image* image);
/* Sets a continuous acquisition up and starts it, for KELDnvGrab. */
KeldnvDriverStatus KELDnvConfigureGrab(uint32_t camera);
/* The next image (`waitForNext` 1) or the newest one (0); *bufferNumber gets
 * its cumulative number. */
KeldnvDriverStatus KELDnvGrab(uint32_t camera, Image* image, uint32_t waitForNext, uint32_t* bufferNumber);
/* An acquisition into `bufferCount` buffers of the driver's: continuous (a
 * ring the camera overwrites) or, with `continuous` 0, one pass. */
KeldnvDriverStatus KELDnvConfigureAcquisition(uint32_t camera, uint32_t continuous, uint32_t bufferCount);
/* A ring into the caller's images, which the driver sizes. */
KeldnvDriverStatus KELDnvConfigureRingAcquisition(uint32_t camera, uint32_t flags, Image** images, uint32_t count);
KeldnvDriverStatus KELDnvStartAcquisition(uint32_t camera);
KeldnvDriverStatus KELDnvStopAcquisition(uint32_t camera);
KeldnvDriverStatus KELDnvUnconfigureAcquisition(uint32_t camera);
/* Copies a buffer of the acquisition into `image`. Modes: 0 the oldest
 * buffer held, 1 the newest, 2 buffer `number` (or, where it is gone, the
 * oldest held after it), 3 the next buffer to come, 4 the buffer after the
 * one copied last. *actualNumber gets the number of the buffer copied. */
KeldnvDriverStatus KELDnvGetImage(uint32_t camera, Image* image, uint32_t mode, uint32_t number,
                                  uint32_t* actualNumber);
/* White-balance gains of a colour camera from its present image. */
KeldnvDriverStatus KELDnvCalculateBayerGains(uint32_t camera, uint32_t selector, double* red, double* green,
                                             double* blue);

/* ---- Registers -------------------------------------------------------------- */
/* One 32-bit word of the camera's register space at a byte address. */
KeldnvDriverStatus KELDnvReadRegister(uint32_t camera, uint32_t address, uint32_t* value);
KeldnvDriverStatus KELDnvWriteRegister(uint32_t camera, uint32_t address, uint32_t value);

/* ---- Camera-link cameras --------------------------------------------------------- */
/* The camera files that suit the camera: with a null array the count. */
KeldnvDriverStatus KELDnvEnumerateCameraLinkCameraFiles(uint32_t camera, KELDnvCameraLinkFile* files,
                                                        uint32_t* count);
KeldnvDriverStatus KELDnvGetCameraLinkCameraFilename(uint32_t camera, char* name, uint32_t size);
KeldnvDriverStatus KELDnvChangeCameraLinkCameraFile(uint32_t camera, const char* name);
/* Copies a camera file from a path into the driver's folder. */
KeldnvDriverStatus KELDnvCopyCameraLinkCameraFile(uint32_t camera, const char* path);
/* Renames the board a camera-link camera hangs on. */
KeldnvDriverStatus KELDnvRenameCameraLinkBoard(const char* oldName, const char* newName);

#ifdef __cplusplus
}
#endif

#endif /* KELDNV_DRIVER_API_H */
