// Block bit planes: the entropy stage of the pixel codec. Bytes are coded in
// blocks of 32. A block whose values all fit in k bits (k = 0 to 8, the
// width of the OR of its bytes) is stored as k masks of 32 bits, mask j
// holding bit j of every byte (byte i at bit i), lowest plane first. The
// widths travel apart from the masks, one nibble per block, two blocks to a
// byte with the first in the low nibble. Residuals of a good predictor are
// small, so they cost few planes, and a block of zeros costs only its nibble.
// Both directions are a handful of vector instructions per plane with AVX2
// (movemask to pack, a shuffle and a compare to unpack); a portable form gives
// the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace odv {

inline constexpr std::size_t kPlaneBlock = 32;

inline std::uint64_t PlaneBlocks(std::uint64_t count) { return (count + kPlaneBlock - 1) / kPlaneBlock; }
// Bytes of the width nibbles of `count` values.
inline std::uint64_t WidthBytes(std::uint64_t count) { return (PlaneBlocks(count) + 1) / 2; }
// Most bytes of masks that `count` values can take (all blocks 8 planes deep).
inline std::uint64_t MaxMaskBytes(std::uint64_t count) { return PlaneBlocks(count) * kPlaneBlock; }

// Codes `count` bytes: writes WidthBytes(count) bytes of widths and returns
// the number of mask bytes written to `masks`.
std::size_t PackBitPlanes(const std::uint8_t* values, std::size_t count, std::uint8_t* widths, std::uint8_t* masks);

// Mask bytes that the widths of `count` values announce. False where a width
// is above 8 or the spare nibble after an odd number of blocks isn't zero.
bool MaskBytesOf(const std::uint8_t* widths, std::size_t count, std::uint64_t* bytes);

// Decodes `count` bytes; the widths must have passed MaskBytesOf and the
// masks must hold the bytes it announced.
void UnpackBitPlanes(const std::uint8_t* widths, const std::uint8_t* masks, std::size_t count, std::uint8_t* values);

// Bits of masks that coding `count` bytes would take: the cost measure by
// which the encoder picks a predictor.
std::uint64_t PlaneBits(const std::uint8_t* values, std::size_t count);

}  // namespace odv
