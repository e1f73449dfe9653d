// Compressors of the packed pixel payload: lossless (the pixel codec of
// pixel_codec.h, or chunked LZ4 or zstd) and JPEG through libjpeg-turbo. Decoders check every size against the bytes they
// are given and never write beyond the raw size they are told.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "odvissvc/odvissvc.h"

namespace odv {

// Codec words of the descriptor.
inline constexpr std::uint32_t kCodecRaw = 0;
inline constexpr std::uint32_t kCodecLz4 = 1;
inline constexpr std::uint32_t kCodecZstd = 2;
inline constexpr std::uint32_t kCodecJpeg = 3;
inline constexpr std::uint32_t kCodecPixel = 4;
// Newest codec word a reader knows; a higher one is a newer writer's.
inline constexpr std::uint32_t kLastCodec = kCodecPixel;

// Compression type 1 writes the pixel codec for the integer image types it
// takes (see pixel_codec.h), and zstd for the floating-point ones. LZ4 and
// zstd payloads of every type are still read.
inline constexpr std::uint32_t kLosslessCodec = kCodecZstd;

struct FreeDeleter {
  void operator()(std::uint8_t* p) const { std::free(p); }
};

// A malloc'd byte buffer.
struct Buffer {
  std::unique_ptr<std::uint8_t, FreeDeleter> data;
  std::uint64_t size = 0;
  bool Allocate(std::uint64_t bytes) {
    data.reset(static_cast<std::uint8_t*>(std::malloc(bytes == 0 ? 1 : bytes)));
    size = bytes;
    return data != nullptr;
  }
};

// Compresses `raw` in chunks of chunkBytes into `out`, each chunk as a u32
// word (stored size, top bit set where the chunk is kept uncompressed) and
// its bytes.
OdvStatus CompressLossless(std::uint32_t codec, const std::uint8_t* raw, std::uint64_t rawSize,
                           std::uint32_t chunkBytes, Buffer* out);
OdvStatus DecompressLossless(std::uint32_t codec, const std::uint8_t* payload,
                             std::uint64_t payloadSize, std::uint8_t* raw, std::uint64_t rawSize,
                             std::uint32_t chunkBytes);

// JPEG of a U8 or RGB32 image at libjpeg quality 0 to 100.
OdvStatus CompressJpeg(const Image* image, int quality, Buffer* out);
// Decodes into the image, which already has the descriptor's size and type.
OdvStatus DecompressJpeg(const std::uint8_t* payload, std::uint64_t payloadSize, Image* image);

}  // namespace odv
