// The lossless codec for images: a pixel predictor, then block bit planes
// (bit_planes.h) on the residuals, in independent slices of rows so that
// several threads can pack or unpack one image.
//
// Payload, little-endian:
//   header (16 bytes): u8 version 1, u8 bytes per pixel, u16 zero,
//                      u32 rows per slice, u32 slice count, u32 zero
//   u32 size of each slice
//   the slices, in row order
// Slice:
//   u8 predictor: bits 0-1 the kind (pixel_predictors.h), bit 2 set for a
//      Bayer mosaic (same-coloured neighbours two pixels and two lines away;
//      one-channel types only)
//   u8 colours: the share of the green residual taken from blue (bits 0-2)
//      and from red (bits 3-5), as DecorrelateColours; four-channel types only
//   u16 zero
//   for each byte of the pixel in turn (a "plane": byte p of every pixel of
//   the slice, after prediction), the width nibbles of its blocks; then for
//   each plane its masks
// Residuals are taken per channel in the arithmetic of the type (u8 for U8
// and the four channels of RGB32 and HSL32, u16 for U16, I16 and the four
// channels of RGBU64); splitting the pixel into byte planes keeps a quiet
// high byte or a constant alpha channel from widening the blocks of the
// noisy ones. The encoder picks one predictor and colour coding per image by
// the bits they would spend on sample rows, and writes them into every slice.
#pragma once

#include <cstdint>
#include <vector>

#include "codecs.h"

namespace odv {

// True for the image types the codec packs: U8, I16, RGB32, HSL32, RGBU64, U16.
bool PixelCodecTakes(std::uint32_t type);

// Packs width x height pixels (width, height >= 1) whose lines start `stride`
// bytes apart at `rows` (lines aligned to the type's element, as in images). Slices hold at most `sliceLimit` raw bytes where a
// line fits in that; `threads` may share the slices.
// Where `quietShare` isn't null it receives the share of blocks (0 to 1) whose
// residuals were all zero, in the byte plane with the fewest such blocks:
// near 0 for any frame with sensor noise.
OdvStatus EncodePixels(std::uint32_t type, std::uint32_t width, std::uint32_t height, const std::uint8_t* rows,
                       std::uint64_t stride, std::uint64_t sliceLimit, unsigned threads, Buffer* out,
                       double* quietShare = nullptr);

// A payload that has passed CheckPixels: where its slices lie.
struct PixelPlan {
  std::uint32_t type = 0, width = 0, height = 0, rowsPerSlice = 0;
  const std::uint8_t* payload = nullptr;
  std::vector<std::uint64_t> offsets;  // of each slice, and the end
};

// Checks every count and size of `size` bytes of payload against the bytes
// given and the geometry, without writing anything: ODV_E_TRUNCATED,
// ODV_E_CORRUPT or ODV_E_VERSION where it fails.
OdvStatus CheckPixels(std::uint32_t type, std::uint32_t width, std::uint32_t height, const std::uint8_t* payload,
                      std::uint64_t size, PixelPlan* plan);

// Unpacks a checked payload into lines `stride` bytes apart at `rows`.
// Fails only for want of memory.
OdvStatus DecodePixels(const PixelPlan& plan, std::uint8_t* rows, std::uint64_t stride, unsigned threads);

}  // namespace odv
