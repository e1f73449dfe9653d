// The lists of fixed records a session hands out: video modes, features,
// camera attributes, camera and interface file data, attribute information
// and enumeration items. Each is a vector of its record; four of them carry a
// `Current` word that travels with the list (only the video-mode list ever
// gets a value for it).
//
// ToArray copies to a native caller: a null `out` reports the size in
// *count; otherwise min(*count, size) records are copied and *count becomes
// that number. The flat form is u32 size, the records as raw bytes, then
// `Current` where the list has it. Unflatten empties the list first and keeps
// what it read up to a failure.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/status.h"
#include "keldcfgc/records.h"

namespace keld {

struct ByteStream;

template <typename Record>
class RecordList : public std::vector<Record> {
 public:
  RecordList() = default;
  RecordList(const RecordList&) = default;
  RecordList& operator=(const RecordList&) = default;
  virtual ~RecordList() = default;
};

template <typename Record>
class RecordListWithCurrent : public RecordList<Record> {
 public:
  std::uint32_t Current = 0;
};

class CameraVideoModeList : public RecordListWithCurrent<VideoMode_struct> {
 public:
  // Hands the list to the graphical runtime; not served yet (0xBFFF8017).
  virtual Status ToRuntimeArray(void* handle, std::uint32_t* current = nullptr) const;
  virtual Status ToArray(VideoMode_struct* out, std::uint32_t* count, std::uint32_t* current = nullptr) const;
  virtual Status Flatten(ByteStream* out) const;
  virtual Status Unflatten(ByteStream* in);
};

class CameraFeatureList : public RecordList<Feature2_struct> {
 public:
  virtual Status ToRuntimeArray(void* handle) const;
  virtual Status ToArray(Feature2_struct* out, std::uint32_t* count) const;
  virtual Status Flatten(ByteStream* out) const;
  virtual Status Unflatten(ByteStream* in);
};

// No flat form: a remote client builds it from its own attribute map.
class NVAttributeInfoList : public RecordList<KELDcfgAttrInfo> {
 public:
  virtual Status ToRuntimeArray(void* handle) const;
  virtual Status ToArray(KELDcfgAttrInfo* out, std::uint32_t* count) const;
};

// No flat form, like NVAttributeInfoList.
class NVAttributeEnumItemList : public RecordList<KELDnvEnumItem_struct> {
 public:
  virtual Status ToRuntimeArray(void* handle) const;
  virtual Status ToArray(KELDnvEnumItem_struct* out, std::uint32_t* count) const;
};

class CameraAttributeList : public RecordListWithCurrent<CameraAttribute> {
 public:
  virtual Status ToArray(CameraAttribute* out, std::uint32_t* count, std::uint32_t* current = nullptr) const;
  virtual Status Flatten(ByteStream* out) const;
  virtual Status Unflatten(ByteStream* in);
};

class CameraFileDataList : public RecordListWithCurrent<CameraFileData> {
 public:
  virtual Status ToArray(CameraFileData* out, std::uint32_t* count, std::uint32_t* current = nullptr) const;
  virtual Status Flatten(ByteStream* out) const;
  virtual Status Unflatten(ByteStream* in);
};

class InterfaceFileDataList : public RecordListWithCurrent<InterfaceFileData> {
 public:
  virtual Status ToArray(InterfaceFileData* out, std::uint32_t* count, std::uint32_t* current = nullptr) const;
  virtual Status Flatten(ByteStream* out) const;
  virtual Status Unflatten(ByteStream* in);
};

}  // namespace keld
