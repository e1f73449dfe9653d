#include <lz4.h>
#include <zstd.h>

#include <cstring>

#include "codecs.h"

namespace odv {

namespace {

constexpr std::uint32_t kStoredFlag = 0x80000000u;
// A fast negative level: on noisy camera frames, where no codec gains much,
// it costs least, and on quieter ones it packs about as well as LZ4.
constexpr int kZstdLevel = -5;
constexpr int kLz4Acceleration = 1;

// zstd contexts kept per thread: making one costs allocations and clearing
// of its tables on every image, which showed as a large share of packing a
// frame. They live until the thread ends.
struct ZstdContexts {
  ZSTD_CCtx* compress = nullptr;
  ZSTD_DCtx* decompress = nullptr;
  ~ZstdContexts() {
    ZSTD_freeCCtx(compress);
    ZSTD_freeDCtx(decompress);
  }
};
thread_local ZstdContexts zstdContexts;

ZSTD_CCtx* CompressContext() {
  if (zstdContexts.compress == nullptr) zstdContexts.compress = ZSTD_createCCtx();
  return zstdContexts.compress;
}
ZSTD_DCtx* DecompressContext() {
  if (zstdContexts.decompress == nullptr) zstdContexts.decompress = ZSTD_createDCtx();
  return zstdContexts.decompress;
}

std::uint64_t ChunkBound(std::uint32_t codec, std::uint32_t chunk) {
  return codec == kCodecZstd ? ZSTD_compressBound(chunk)
                             : static_cast<std::uint64_t>(LZ4_compressBound(static_cast<int>(chunk)));
}

}  // namespace

OdvStatus CompressLossless(std::uint32_t codec, const std::uint8_t* raw, std::uint64_t rawSize,
                           std::uint32_t chunkBytes, Buffer* out) {
  if (chunkBytes == 0 || chunkBytes >= kStoredFlag || (codec != kCodecLz4 && codec != kCodecZstd))
    return ODV_E_ARGUMENT;
  const std::uint64_t chunks = (rawSize + chunkBytes - 1) / chunkBytes;
  if (!out->Allocate(chunks * (4 + ChunkBound(codec, chunkBytes)))) return ODV_E_NO_MEMORY;
  ZSTD_CCtx* context = nullptr;
  if (codec == kCodecZstd) {
    context = CompressContext();
    if (context == nullptr) return ODV_E_NO_MEMORY;
  }
  std::uint8_t* put = out->data.get();
  OdvStatus status = ODV_SUCCESS;
  for (std::uint64_t offset = 0; offset < rawSize && status == ODV_SUCCESS; offset += chunkBytes) {
    const std::uint32_t n = static_cast<std::uint32_t>(rawSize - offset < chunkBytes ? rawSize - offset : chunkBytes);
    const std::uint64_t bound = ChunkBound(codec, n);
    std::uint64_t packed = 0;
    if (codec == kCodecZstd) {
      const std::size_t r = ZSTD_compressCCtx(context, put + 4, bound, raw + offset, n, kZstdLevel);
      if (ZSTD_isError(r)) status = ODV_E_CODEC;
      packed = r;
    } else {
      const int r = LZ4_compress_fast(reinterpret_cast<const char*>(raw + offset), reinterpret_cast<char*>(put + 4),
                                      static_cast<int>(n), static_cast<int>(bound), kLz4Acceleration);
      if (r <= 0) status = ODV_E_CODEC;
      packed = static_cast<std::uint64_t>(r);
    }
    if (status != ODV_SUCCESS) break;
    std::uint32_t word = static_cast<std::uint32_t>(packed);
    // zstd already keeps incompressible blocks as they are, at a cost of a few
    // bytes per 128 KiB, so copying such a chunk once more would only cost
    // time; an LZ4 chunk that doesn't shrink is stored instead.
    if (codec == kCodecLz4 && packed >= n) {
      std::memcpy(put + 4, raw + offset, n);
      word = n | kStoredFlag;
      packed = n;
    }
    std::memcpy(put, &word, 4);
    put += 4 + packed;
  }
  out->size = static_cast<std::uint64_t>(put - out->data.get());
  return status;
}

OdvStatus DecompressLossless(std::uint32_t codec, const std::uint8_t* payload,
                             std::uint64_t payloadSize, std::uint8_t* raw, std::uint64_t rawSize,
                             std::uint32_t chunkBytes) {
  if (chunkBytes == 0 || chunkBytes >= kStoredFlag || (codec != kCodecLz4 && codec != kCodecZstd))
    return ODV_E_CORRUPT;
  ZSTD_DCtx* context = nullptr;
  if (codec == kCodecZstd) {
    context = DecompressContext();
    if (context == nullptr) return ODV_E_NO_MEMORY;
  }
  OdvStatus status = ODV_SUCCESS;
  std::uint64_t at = 0;
  for (std::uint64_t offset = 0; offset < rawSize && status == ODV_SUCCESS; offset += chunkBytes) {
    const std::uint32_t n = static_cast<std::uint32_t>(rawSize - offset < chunkBytes ? rawSize - offset : chunkBytes);
    std::uint32_t word = 0;
    if (payloadSize - at < 4) {
      status = ODV_E_TRUNCATED;
      break;
    }
    std::memcpy(&word, payload + at, 4);
    at += 4;
    const std::uint32_t packed = word & ~kStoredFlag;
    if (payloadSize - at < packed) {
      status = ODV_E_TRUNCATED;
      break;
    }
    const std::uint8_t* in = payload + at;
    at += packed;
    if ((word & kStoredFlag) != 0) {
      if (packed != n) status = ODV_E_CORRUPT;
      else std::memcpy(raw + offset, in, n);
    } else if (codec == kCodecZstd) {
      const std::size_t r = ZSTD_decompressDCtx(context, raw + offset, n, in, packed);
      if (ZSTD_isError(r) || r != n) status = ODV_E_CORRUPT;
    } else {
      const int r = LZ4_decompress_safe(reinterpret_cast<const char*>(in), reinterpret_cast<char*>(raw + offset),
                                        static_cast<int>(packed), static_cast<int>(n));
      if (r < 0 || static_cast<std::uint32_t>(r) != n) status = ODV_E_CORRUPT;
    }
  }
  if (status == ODV_SUCCESS && at != payloadSize) status = ODV_E_CORRUPT;
  return status;
}

}  // namespace odv
