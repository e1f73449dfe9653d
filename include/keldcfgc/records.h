/* Fixed records that the configuration library hands to its callers. Their
 * field order, widths and sizes are part of the interface: callers receive
 * them by copy, and most of them cross the remote protocol as raw bytes. */
#ifndef KELDCFGC_RECORDS_H
#define KELDCFGC_RECORDS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One video mode of an IEEE 1394 camera; 76 bytes. */
typedef struct VideoMode_struct {
  uint32_t Code1;
  uint32_t Code2;
  uint32_t Code3;
  char Name[64];
} VideoMode_struct;

/* One feature of an IEEE 1394 camera; 148 bytes, moved unread. */
#pragma pack(push, 4)
typedef struct Feature2_struct {
  uint32_t Flag1, Flag2, Flag3, Flag4, Flag5, Flag6, Flag7;
  uint32_t Number1, Number2, Number3, Number4, Number5;
  uint64_t Wide1, Wide2, Wide3, Wide4;
  uint32_t Number6;
  uint8_t Tail[64];
} Feature2_struct;
#pragma pack(pop)

/* One node of a board's camera-attribute tree, in walking order; 832 bytes. */
typedef struct CameraAttribute {
  uint32_t Id;
  uint32_t ParentId;
  uint32_t Depth;
  uint32_t Kind;
  char Name[256];
  uint32_t ValueCount;
  char CurrentValue[256];
  uint32_t Padding;
  double Value;
  double Minimum;
  double Maximum;
  double Increment;
  uint32_t Precision;
  char Units[260];
} CameraAttribute;

/* One camera file of a board or camera; 1548 bytes. */
typedef struct CameraFileData {
  uint32_t ValueLow;
  uint32_t ValueHigh;
  uint32_t Flag;
  char FileName[512];
  char ModeName[512];
  char Detail[512];
} CameraFileData;

/* One interface file; 524 bytes. */
typedef struct InterfaceFileData {
  uint32_t ValueLow;
  uint32_t ValueHigh;
  uint32_t Flag;
  char FileName[512];
} InterfaceFileData;

/* What the attribute listing returns for one attribute; 3088 bytes. */
typedef struct KELDcfgAttrInfo {
  uint32_t Type;
  uint32_t Id;
  uint32_t Representation;
  uint8_t Readable;
  uint8_t Writable;
  char Name[512];
  char Tooltip[2048];
  char Units[512];
  uint8_t Padding[2];
} KELDcfgAttrInfo;

/* One enumeration choice: the 64-bit value, low word first, and its name;
 * 520 bytes. */
typedef struct KELDnvEnumItem_struct {
  uint32_t ValueLow;
  uint32_t ValueHigh;
  char Name[512];
} KELDnvEnumItem_struct;

/* One light head as the library knows it: identity, key store, either a
 * sealed description (hexadecimal blob with signer and signature) or a plain
 * one (limits and a lighting curve). Text fields are zero-terminated and
 * zero-padded; 6056 bytes. */
typedef struct LightHeadEntry {
  double version;
  char namePart1[64];
  char namePart2[64];
  char namePart3[32];
  char namePart4[32];
  char signerName[64];
  char signerPublicKey[1024];
  char masterSignerName[64];
  char keyStoreSignature[1024];
  char digitalSigner[64];
  char digitalSignature[1024];
  char binaryBlob[2048];
  uint32_t algorithm;
  uint32_t padding;
  double maximumCurrentContinuous;
  double maximumDutyCycleStrobed;
  double curvePoints[32][2]; /* x, y pairs sorted by x */
  uint64_t curvePointCount;  /* 0 to 32 */
} LightHeadEntry;

/* A light-head entry with what the library found out about it for a tool:
 * whether it came from the session's target, whether it is the head the
 * session names, and whether it passed the validity test; 6064 bytes. */
typedef struct LightHeadRecord {
  uint8_t onTarget;
  uint8_t inUse;
  uint8_t valid;
  uint8_t padding[5];
  LightHeadEntry entry;
} LightHeadRecord;

#ifdef __cplusplus
#define KELDCFGC_STATIC_ASSERT static_assert
#else
#define KELDCFGC_STATIC_ASSERT _Static_assert
#endif

KELDCFGC_STATIC_ASSERT(sizeof(VideoMode_struct) == 76, "VideoMode_struct size");
KELDCFGC_STATIC_ASSERT(offsetof(VideoMode_struct, Name) == 12, "VideoMode_struct.Name");
KELDCFGC_STATIC_ASSERT(sizeof(Feature2_struct) == 148, "Feature2_struct size");
KELDCFGC_STATIC_ASSERT(offsetof(Feature2_struct, Number1) == 28, "Feature2_struct.Number1");
KELDCFGC_STATIC_ASSERT(offsetof(Feature2_struct, Wide1) == 48, "Feature2_struct.Wide1");
KELDCFGC_STATIC_ASSERT(offsetof(Feature2_struct, Number6) == 80, "Feature2_struct.Number6");
KELDCFGC_STATIC_ASSERT(offsetof(Feature2_struct, Tail) == 84, "Feature2_struct.Tail");
KELDCFGC_STATIC_ASSERT(sizeof(CameraAttribute) == 832, "CameraAttribute size");
KELDCFGC_STATIC_ASSERT(offsetof(CameraAttribute, Name) == 16, "CameraAttribute.Name");
KELDCFGC_STATIC_ASSERT(offsetof(CameraAttribute, ValueCount) == 272, "CameraAttribute.ValueCount");
KELDCFGC_STATIC_ASSERT(offsetof(CameraAttribute, CurrentValue) == 276, "CameraAttribute.CurrentValue");
KELDCFGC_STATIC_ASSERT(offsetof(CameraAttribute, Padding) == 532, "CameraAttribute.Padding");
KELDCFGC_STATIC_ASSERT(offsetof(CameraAttribute, Value) == 536, "CameraAttribute.Value");
KELDCFGC_STATIC_ASSERT(offsetof(CameraAttribute, Minimum) == 544, "CameraAttribute.Minimum");
KELDCFGC_STATIC_ASSERT(offsetof(CameraAttribute, Maximum) == 552, "CameraAttribute.Maximum");
KELDCFGC_STATIC_ASSERT(offsetof(CameraAttribute, Increment) == 560, "CameraAttribute.Increment");
KELDCFGC_STATIC_ASSERT(offsetof(CameraAttribute, Precision) == 568, "CameraAttribute.Precision");
KELDCFGC_STATIC_ASSERT(offsetof(CameraAttribute, Units) == 572, "CameraAttribute.Units");
KELDCFGC_STATIC_ASSERT(sizeof(CameraFileData) == 1548, "CameraFileData size");
KELDCFGC_STATIC_ASSERT(offsetof(CameraFileData, FileName) == 12, "CameraFileData.FileName");
KELDCFGC_STATIC_ASSERT(offsetof(CameraFileData, ModeName) == 524, "CameraFileData.ModeName");
KELDCFGC_STATIC_ASSERT(offsetof(CameraFileData, Detail) == 1036, "CameraFileData.Detail");
KELDCFGC_STATIC_ASSERT(sizeof(InterfaceFileData) == 524, "InterfaceFileData size");
KELDCFGC_STATIC_ASSERT(offsetof(InterfaceFileData, FileName) == 12, "InterfaceFileData.FileName");
KELDCFGC_STATIC_ASSERT(sizeof(KELDcfgAttrInfo) == 3088, "KELDcfgAttrInfo size");
KELDCFGC_STATIC_ASSERT(offsetof(KELDcfgAttrInfo, Readable) == 12, "KELDcfgAttrInfo.Readable");
KELDCFGC_STATIC_ASSERT(offsetof(KELDcfgAttrInfo, Writable) == 13, "KELDcfgAttrInfo.Writable");
KELDCFGC_STATIC_ASSERT(offsetof(KELDcfgAttrInfo, Name) == 14, "KELDcfgAttrInfo.Name");
KELDCFGC_STATIC_ASSERT(offsetof(KELDcfgAttrInfo, Tooltip) == 526, "KELDcfgAttrInfo.Tooltip");
KELDCFGC_STATIC_ASSERT(offsetof(KELDcfgAttrInfo, Units) == 2574, "KELDcfgAttrInfo.Units");
KELDCFGC_STATIC_ASSERT(sizeof(KELDnvEnumItem_struct) == 520, "KELDnvEnumItem_struct size");
KELDCFGC_STATIC_ASSERT(offsetof(KELDnvEnumItem_struct, Name) == 8, "KELDnvEnumItem_struct.Name");

KELDCFGC_STATIC_ASSERT(sizeof(LightHeadEntry) == 6056, "LightHeadEntry size");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, namePart1) == 8, "LightHeadEntry.namePart1");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, namePart2) == 72, "LightHeadEntry.namePart2");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, namePart3) == 136, "LightHeadEntry.namePart3");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, namePart4) == 168, "LightHeadEntry.namePart4");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, signerName) == 200, "LightHeadEntry.signerName");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, signerPublicKey) == 264, "LightHeadEntry.signerPublicKey");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, masterSignerName) == 1288, "LightHeadEntry.masterSignerName");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, keyStoreSignature) == 1352, "LightHeadEntry.keyStoreSignature");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, digitalSigner) == 2376, "LightHeadEntry.digitalSigner");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, digitalSignature) == 2440, "LightHeadEntry.digitalSignature");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, binaryBlob) == 3464, "LightHeadEntry.binaryBlob");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, algorithm) == 5512, "LightHeadEntry.algorithm");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, maximumCurrentContinuous) == 5520, "LightHeadEntry.maximumCurrentContinuous");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, maximumDutyCycleStrobed) == 5528, "LightHeadEntry.maximumDutyCycleStrobed");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, curvePoints) == 5536, "LightHeadEntry.curvePoints");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadEntry, curvePointCount) == 6048, "LightHeadEntry.curvePointCount");
KELDCFGC_STATIC_ASSERT(sizeof(LightHeadRecord) == 6064, "LightHeadRecord size");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadRecord, inUse) == 1, "LightHeadRecord.inUse");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadRecord, valid) == 2, "LightHeadRecord.valid");
KELDCFGC_STATIC_ASSERT(offsetof(LightHeadRecord, entry) == 8, "LightHeadRecord.entry");
#ifdef __cplusplus
}
#endif

#endif
