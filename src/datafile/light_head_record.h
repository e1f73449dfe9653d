// LightHeadRecord and LightHeadList as the library's code holds them. The
// record is the caller's fixed record of the public header; the list is an
// ordered sequence of records, each built in place at its end since a record
// is large.
//
// Flat form of a record (the three marks in front of the entry never
// travel): f64 version; the four name parts, the key store and the signer
// fields as whole arrays; u8 1 where the blob is not empty, then either the
// 2048 bytes of the blob, or u32 algorithm, f64 and f64 limits, the point
// count and the points as pairs of f64.
//
// The point count is written as a u64 and read as a u32, and this is how
// both ends of the protocol have it: a reader of a plain description takes
// its points from four bytes early and leaves four bytes of the record
// unread. A record with a blob has no points and reads back exactly.
#pragma once

#include <vector>

#include "foundation/status.h"
#include "keldcfgc/records.h"

namespace keld {

struct ByteStream;

class LightHeadRecord : public ::LightHeadRecord {
 public:
  LightHeadRecord() : ::LightHeadRecord{} {}
  explicit LightHeadRecord(const ::LightHeadRecord& record) : ::LightHeadRecord(record) {}

  // A plain description with an algorithm other than 0 is refused with
  // 0xBFFF800B.
  Status Flatten(ByteStream* stream) const;
  // A point count above 32 is refused with 0xBFFF800B.
  Status Unflatten(ByteStream* stream);
};

class LightHeadList : public std::vector<LightHeadRecord> {
 public:
  LightHeadList() = default;
  LightHeadList(const LightHeadList&) = default;
  LightHeadList& operator=(const LightHeadList&) = default;
  virtual ~LightHeadList() = default;

  // u32 count, then the records.
  Status Flatten(ByteStream* stream) const;
  // Empties the list first; records read before a failure stay. A count that
  // the bytes left cannot hold is refused with 0xBFFF8001 before anything is
  // read.
  Status Unflatten(ByteStream* stream);
};

}  // namespace keld
