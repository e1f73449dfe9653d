// The lists of fixed records a session hands out: video modes, features,
// camera attributes, camera and interface file data, attribute information
// and enumeration items. Each is a vector of its record; four of them carry a
// `Current` word that travels with the list.
#pragma once

#include <cstdint>
#include <vector>

#include "keldcfgc/records.h"

namespace keld {

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

class CameraVideoModeList : public RecordListWithCurrent<VideoMode_struct> {};
class CameraFeatureList : public RecordList<Feature2_struct> {};
class NVAttributeInfoList : public RecordList<KELDcfgAttrInfo> {};
class NVAttributeEnumItemList : public RecordList<KELDnvEnumItem_struct> {};
class CameraAttributeList : public RecordListWithCurrent<CameraAttribute> {};
class CameraFileDataList : public RecordListWithCurrent<CameraFileData> {};
class InterfaceFileDataList : public RecordListWithCurrent<InterfaceFileData> {};

}  // namespace keld
