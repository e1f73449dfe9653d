// The value records an attribute component can hold, each with the type tag
// that travels on the wire ahead of it, names the `type` of attribute
// information and selects the factory branch. Tags 8 to 99 are not used.
//
// The records are plain: a scalar record holds one `value`, the rectangle its
// six words, the two vectors fixed arrays whose lengths appear on the wire as
// counts. The string and enumeration records extend the string class and the
// enumeration item so that they read as what they hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/cfg_string.h"
#include "keldcfgc/records.h"

namespace keld {

struct AttrU32 {
  static constexpr std::uint32_t kTag = 1;
  std::uint32_t value = 0;
};

struct AttrF64 {
  static constexpr std::uint32_t kTag = 2;
  double value = 0.0;
};

// Opaque to this library: the frame-grabber driver reads and writes it whole.
struct AttrMaxLinesVector {
  static constexpr std::uint32_t kTag = 3;
  static constexpr std::uint32_t kLength = 64;
  std::uint32_t values[kLength] = {};
};

// Stored order: Origin1, Extent1, Origin2, Extent2, End1, End2. The ends are
// Origin + Extent; they are never sent and are recomputed on reading.
struct AttrRect {
  static constexpr std::uint32_t kTag = 4;
  std::uint32_t Origin1 = 0;
  std::uint32_t Extent1 = 0;
  std::uint32_t Origin2 = 0;
  std::uint32_t Extent2 = 0;
  std::uint32_t End1 = 0;
  std::uint32_t End2 = 0;
};

struct AttrString : CFGString {
  static constexpr std::uint32_t kTag = 5;
  using CFGString::CFGString;
  AttrString() = default;
  AttrString(const CFGString& text) : CFGString(text) {}  // NOLINT: a string record is its string
};

// Opaque to this library, like AttrMaxLinesVector.
struct AttrPGWaveformVector {
  static constexpr std::uint32_t kTag = 6;
  static constexpr std::uint32_t kLength = 32;
  std::uint32_t values[kLength] = {};
};

struct AttrU64 {
  static constexpr std::uint32_t kTag = 7;
  std::uint64_t value = 0;
};

// The current choice of an enumerated attribute: 64-bit value, low word
// first, and its name.
struct AttrEnum : KELDnvEnumItem_struct {
  static constexpr std::uint32_t kTag = 100;
  AttrEnum() : KELDnvEnumItem_struct{} {}
  AttrEnum(const KELDnvEnumItem_struct& item) : KELDnvEnumItem_struct(item) {}  // NOLINT: same record
};

struct AttrBool {
  static constexpr std::uint32_t kTag = 101;
  std::uint32_t value = 0;  // zero is false, anything else true
};

struct AttrCommand {
  static constexpr std::uint32_t kTag = 102;
  std::uint32_t value = 0;  // same form as AttrBool
};

// All choices of an enumerated attribute, in order.
struct AttrEnumVector {
  static constexpr std::uint32_t kTag = 103;
  std::vector<KELDnvEnumItem_struct> items;
};

struct AttrI64 {
  static constexpr std::uint32_t kTag = 104;
  std::int64_t value = 0;
};

// Lowest and highest number the factories accept before looking a tag up.
inline constexpr std::uint32_t kFirstTypeTag = 1;
inline constexpr std::uint32_t kLastTypeTag = 104;

// Bytes of the in-memory value of the fixed-size records; 0 for the string
// and the enumeration list, whose contents live on the heap, and for an
// unknown tag.
std::size_t ValueRecordSize(std::uint32_t tag);

}  // namespace keld
