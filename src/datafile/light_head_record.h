// LightHeadRecord and LightHeadList as the library's code holds them. The
// record is the caller's fixed record of the public header; the list is an
// ordered sequence of records, each built in place at its end since a record
// is large.
#pragma once

#include <vector>

#include "keldcfgc/records.h"

namespace keld {

class LightHeadRecord : public ::LightHeadRecord {
 public:
  LightHeadRecord() : ::LightHeadRecord{} {}
  explicit LightHeadRecord(const ::LightHeadRecord& record) : ::LightHeadRecord(record) {}
};

class LightHeadList : public std::vector<LightHeadRecord> {
 public:
  LightHeadList() = default;
  LightHeadList(const LightHeadList&) = default;
  LightHeadList& operator=(const LightHeadList&) = default;
  virtual ~LightHeadList() = default;
};

}  // namespace keld
