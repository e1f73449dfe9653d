#include "bit_planes.h"

#include <array>
#include <cstring>

#include "cpu_features.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace odv {

namespace {

constexpr std::uint64_t kLowBits = 0x0101010101010101ull;

unsigned WidthOfOr(unsigned ored) { return ored == 0 ? 0 : 32 - static_cast<unsigned>(__builtin_clz(ored)); }

void PutWidth(std::uint8_t* widths, std::size_t block, unsigned k) {
  widths[block / 2] = static_cast<std::uint8_t>(widths[block / 2] | (k << (4 * (block & 1))));
}

unsigned GetWidth(const std::uint8_t* widths, std::size_t block) { return (widths[block / 2] >> (4 * (block & 1))) & 0xF; }

// Portable form. Bit j of eight bytes gathers into one byte by a multiply
// (byte i's bit lands at bit 56 + i, with no carries between the terms).
std::uint64_t Word(const std::uint8_t* p) {
  std::uint64_t w;
  std::memcpy(&w, p, 8);
  return w;
}

unsigned BlockWidthPortable(const std::uint8_t* block) {
  std::uint64_t ored = Word(block) | Word(block + 8) | Word(block + 16) | Word(block + 24);
  ored |= ored >> 32;
  ored |= ored >> 16;
  ored |= ored >> 8;
  return WidthOfOr(static_cast<unsigned>(ored & 0xFF));
}

std::uint8_t* PackBlockPortable(const std::uint8_t* block, unsigned k, std::uint8_t* out) {
  const std::uint64_t words[4] = {Word(block), Word(block + 8), Word(block + 16), Word(block + 24)};
  for (unsigned j = 0; j < k; ++j) {
    std::uint32_t mask = 0;
    for (unsigned q = 0; q < 4; ++q)
      mask |= static_cast<std::uint32_t>((((words[q] >> j) & kLowBits) * 0x0102040810204080ull) >> 56) << (8 * q);
    std::memcpy(out, &mask, 4);
    out += 4;
  }
  return out;
}

// Byte i of kSpread[m] is bit i of m.
constexpr std::array<std::uint64_t, 256> MakeSpread() {
  std::array<std::uint64_t, 256> table{};
  for (unsigned m = 0; m < 256; ++m)
    for (unsigned i = 0; i < 8; ++i)
      if ((m >> i) & 1) table[m] |= std::uint64_t{1} << (8 * i);
  return table;
}
constexpr std::array<std::uint64_t, 256> kSpread = MakeSpread();

const std::uint8_t* UnpackBlockPortable(const std::uint8_t* masks, unsigned k, std::uint8_t* block) {
  std::uint64_t words[4] = {0, 0, 0, 0};
  for (unsigned j = 0; j < k; ++j) {
    std::uint32_t mask;
    std::memcpy(&mask, masks, 4);
    masks += 4;
    for (unsigned q = 0; q < 4; ++q) words[q] |= kSpread[(mask >> (8 * q)) & 0xFF] << j;
  }
  std::memcpy(block, words, 32);
  return masks;
}

#if defined(__x86_64__)

__attribute__((target("avx2"))) inline unsigned BlockWidthAvx2(__m256i x) {
  __m128i o = _mm_or_si128(_mm256_castsi256_si128(x), _mm256_extracti128_si256(x, 1));
  o = _mm_or_si128(o, _mm_srli_si128(o, 8));
  std::uint64_t w = static_cast<std::uint64_t>(_mm_cvtsi128_si64(o));
  w |= w >> 32;
  w |= w >> 16;
  w |= w >> 8;
  return WidthOfOr(static_cast<unsigned>(w & 0xFF));
}

__attribute__((target("avx2"))) std::size_t PackAvx2(const std::uint8_t* values, std::size_t count,
                                                      std::uint8_t* widths, std::uint8_t* masks) {
  std::uint8_t* out = masks;
  const std::size_t full = count / kPlaneBlock;
  alignas(32) std::uint8_t last[kPlaneBlock] = {};
  const std::size_t blocks = PlaneBlocks(count);
  if (blocks != full) std::memcpy(last, values + full * kPlaneBlock, count - full * kPlaneBlock);
  for (std::size_t b = 0; b < blocks; ++b) {
    const std::uint8_t* source = b < full ? values + b * kPlaneBlock : last;
    const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source));
    const unsigned k = BlockWidthAvx2(x);
    PutWidth(widths, b, k);
    for (unsigned j = 0; j < k; ++j) {
      const std::uint32_t mask = static_cast<std::uint32_t>(
          _mm256_movemask_epi8(_mm256_sll_epi16(x, _mm_cvtsi32_si128(static_cast<int>(7 - j)))));
      std::memcpy(out, &mask, 4);
      out += 4;
    }
  }
  return static_cast<std::size_t>(out - masks);
}

__attribute__((target("avx2"))) void UnpackAvx2(const std::uint8_t* widths, const std::uint8_t* masks,
                                                 std::size_t count, std::uint8_t* values) {
  const __m256i spread = _mm256_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1,  //
                                          2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3);
  const __m256i select = _mm256_set1_epi64x(static_cast<long long>(0x8040201008040201ull));
  const std::size_t full = count / kPlaneBlock;
  const std::size_t blocks = PlaneBlocks(count);
  alignas(32) std::uint8_t last[kPlaneBlock];
  for (std::size_t b = 0; b < blocks; ++b) {
    const unsigned k = GetWidth(widths, b);
    __m256i value = _mm256_setzero_si256();
    __m256i bit = _mm256_set1_epi8(1);
    for (unsigned j = 0; j < k; ++j) {
      std::uint32_t mask;
      std::memcpy(&mask, masks, 4);
      masks += 4;
      const __m256i bytes = _mm256_shuffle_epi8(_mm256_set1_epi32(static_cast<int>(mask)), spread);
      const __m256i set = _mm256_cmpeq_epi8(_mm256_and_si256(bytes, select), select);
      value = _mm256_or_si256(value, _mm256_and_si256(set, bit));
      bit = _mm256_add_epi8(bit, bit);
    }
    if (b < full) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(values + b * kPlaneBlock), value);
    } else {
      _mm256_store_si256(reinterpret_cast<__m256i*>(last), value);
      std::memcpy(values + b * kPlaneBlock, last, count - b * kPlaneBlock);
    }
  }
}

__attribute__((target("avx2"))) std::uint64_t PlaneBitsAvx2(const std::uint8_t* values, std::size_t count) {
  std::uint64_t bits = 0;
  const std::size_t full = count / kPlaneBlock;
  for (std::size_t b = 0; b < full; ++b)
    bits += BlockWidthAvx2(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(values + b * kPlaneBlock)));
  if (full * kPlaneBlock != count) {
    std::uint8_t last[kPlaneBlock] = {};
    std::memcpy(last, values + full * kPlaneBlock, count - full * kPlaneBlock);
    bits += BlockWidthPortable(last);
  }
  return bits * kPlaneBlock;
}

#endif

}  // namespace

std::size_t PackBitPlanes(const std::uint8_t* values, std::size_t count, std::uint8_t* widths, std::uint8_t* masks) {
  std::memset(widths, 0, WidthBytes(count));
#if defined(__x86_64__)
  if (UseAvx2()) return PackAvx2(values, count, widths, masks);
#endif
  std::uint8_t* out = masks;
  const std::size_t full = count / kPlaneBlock;
  for (std::size_t b = 0; b < PlaneBlocks(count); ++b) {
    std::uint8_t last[kPlaneBlock] = {};
    const std::uint8_t* block = values + b * kPlaneBlock;
    if (b == full) {
      std::memcpy(last, block, count - b * kPlaneBlock);
      block = last;
    }
    const unsigned k = BlockWidthPortable(block);
    PutWidth(widths, b, k);
    out = PackBlockPortable(block, k, out);
  }
  return static_cast<std::size_t>(out - masks);
}

bool MaskBytesOf(const std::uint8_t* widths, std::size_t count, std::uint64_t* bytes) {
  const std::uint64_t blocks = PlaneBlocks(count);
  std::uint64_t planes = 0;
  bool valid = true;
  for (std::uint64_t i = 0; i < blocks / 2; ++i) {
    const unsigned low = widths[i] & 0xF, high = widths[i] >> 4;
    valid = valid && low <= 8 && high <= 8;
    planes += low + high;
  }
  if (blocks & 1) {
    const unsigned low = widths[blocks / 2] & 0xF;
    valid = valid && low <= 8 && (widths[blocks / 2] >> 4) == 0;
    planes += low;
  }
  *bytes = planes * 4;
  return valid;
}

void UnpackBitPlanes(const std::uint8_t* widths, const std::uint8_t* masks, std::size_t count, std::uint8_t* values) {
#if defined(__x86_64__)
  if (UseAvx2()) {
    UnpackAvx2(widths, masks, count, values);
    return;
  }
#endif
  const std::size_t full = count / kPlaneBlock;
  for (std::size_t b = 0; b < PlaneBlocks(count); ++b) {
    std::uint8_t block[kPlaneBlock];
    masks = UnpackBlockPortable(masks, GetWidth(widths, b), block);
    std::memcpy(values + b * kPlaneBlock, block, b < full ? kPlaneBlock : count - b * kPlaneBlock);
  }
}

std::uint64_t PlaneBits(const std::uint8_t* values, std::size_t count) {
#if defined(__x86_64__)
  if (UseAvx2()) return PlaneBitsAvx2(values, count);
#endif
  std::uint64_t bits = 0;
  const std::size_t full = count / kPlaneBlock;
  for (std::size_t b = 0; b < PlaneBlocks(count); ++b) {
    std::uint8_t last[kPlaneBlock] = {};
    const std::uint8_t* block = values + b * kPlaneBlock;
    if (b == full) {
      std::memcpy(last, block, count - b * kPlaneBlock);
      block = last;
    }
    bits += BlockWidthPortable(block);
  }
  return bits * kPlaneBlock;
}

}  // namespace odv
