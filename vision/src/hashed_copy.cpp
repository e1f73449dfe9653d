// One-pass copy with the payload hash: every 64-byte stripe is loaded once,
// stored to the target and folded into the XXH3-64 accumulators from the same
// registers. The digest is exactly XXH3_64bits of the bytes (the tests check
// packed payloads against the reference implementation), so packers with and
// without AVX2 agree; only the long-input path of XXH3 with the default
// secret is done here, everything else goes to the library.
#include <cstring>

#include "payload_hash.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace odv {

namespace {

#if defined(__x86_64__)

constexpr std::size_t kStripe = 64;
constexpr std::size_t kSecretSize = 192;        // XXH3's default secret
constexpr std::size_t kStripesPerBlock = 16;    // (kSecretSize - kStripe) / 8
constexpr std::size_t kBlock = kStripe * kStripesPerBlock;
constexpr std::size_t kLastStripeSecret = kSecretSize - kStripe - 7;
constexpr std::size_t kMergeSecret = 11;
constexpr std::size_t kLongInput = 240;         // shorter inputs use other paths of XXH3
constexpr std::uint64_t kPrime32_1 = 0x9E3779B1U, kPrime32_2 = 0x85EBCA77U, kPrime32_3 = 0xC2B2AE3DU;
constexpr std::uint64_t kPrime64_1 = 0x9E3779B185EBCA87ULL, kPrime64_2 = 0xC2B2AE3D27D4EB4FULL,
                        kPrime64_3 = 0x165667B19E3779F9ULL, kPrime64_4 = 0x85EBCA77C2B2AE63ULL,
                        kPrime64_5 = 0x27D4EB2F165667C5ULL;

// XXH3's default secret (kSecret of the reference implementation).
alignas(64) constexpr std::uint8_t kSecret[kSecretSize] = {
    0xb8, 0xfe, 0x6c, 0x39, 0x23, 0xa4, 0x4b, 0xbe, 0x7c, 0x01, 0x81, 0x2c, 0xf7, 0x21, 0xad, 0x1c,
    0xde, 0xd4, 0x6d, 0xe9, 0x83, 0x90, 0x97, 0xdb, 0x72, 0x40, 0xa4, 0xa4, 0xb7, 0xb3, 0x67, 0x1f,
    0xcb, 0x79, 0xe6, 0x4e, 0xcc, 0xc0, 0xe5, 0x78, 0x82, 0x5a, 0xd0, 0x7d, 0xcc, 0xff, 0x72, 0x21,
    0xb8, 0x08, 0x46, 0x74, 0xf7, 0x43, 0x24, 0x8e, 0xe0, 0x35, 0x90, 0xe6, 0x81, 0x3a, 0x26, 0x4c,
    0x3c, 0x28, 0x52, 0xbb, 0x91, 0xc3, 0x00, 0xcb, 0x88, 0xd0, 0x65, 0x8b, 0x1b, 0x53, 0x2e, 0xa3,
    0x71, 0x64, 0x48, 0x97, 0xa2, 0x0d, 0xf9, 0x4e, 0x38, 0x19, 0xef, 0x46, 0xa9, 0xde, 0xac, 0xd8,
    0xa8, 0xfa, 0x76, 0x3f, 0xe3, 0x9c, 0x34, 0x3f, 0xf9, 0xdc, 0xbb, 0xc7, 0xc7, 0x0b, 0x4f, 0x1d,
    0x8a, 0x51, 0xe0, 0x4b, 0xcd, 0xb4, 0x59, 0x31, 0xc8, 0x9f, 0x7e, 0xc9, 0xd9, 0x78, 0x73, 0x64,
    0xea, 0xc5, 0xac, 0x83, 0x34, 0xd3, 0xeb, 0xc3, 0xc5, 0x81, 0xa0, 0xff, 0xfa, 0x13, 0x63, 0xeb,
    0x17, 0x0d, 0xdd, 0x51, 0xb7, 0xf0, 0xda, 0x49, 0xd3, 0x16, 0x55, 0x26, 0x29, 0xd4, 0x68, 0x9e,
    0x2b, 0x16, 0xbe, 0x58, 0x7d, 0x47, 0xa1, 0xfc, 0x8f, 0xf8, 0xb8, 0xd1, 0x7a, 0xd0, 0x31, 0xce,
    0x45, 0xcb, 0x3a, 0x8f, 0x95, 0x16, 0x04, 0x28, 0xaf, 0xd7, 0xfb, 0xca, 0xbb, 0x4b, 0x40, 0x7e,
};

std::uint64_t Read64(const std::uint8_t* p) {
  std::uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

__extension__ typedef unsigned __int128 U128;

std::uint64_t Fold128(std::uint64_t a, std::uint64_t b) {
  const U128 product = static_cast<U128>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

std::uint64_t Avalanche(std::uint64_t h) {
  h ^= h >> 37;
  h *= 0x165667919E3779F9ULL;
  return h ^ (h >> 32);
}

struct Accumulators {
  __m256i lanes[2];
};

// Folds the stripe held in `low` and `high` into the accumulators with the
// secret at `key`.
__attribute__((target("avx2"))) inline void Accumulate(Accumulators* acc, __m256i low, __m256i high,
                                                        const std::uint8_t* key) {
  const __m256i data[2] = {low, high};
  for (int i = 0; i < 2; ++i) {
    const __m256i keyed = _mm256_xor_si256(data[i], _mm256_loadu_si256(reinterpret_cast<const __m256i*>(key) + i));
    const __m256i product = _mm256_mul_epu32(keyed, _mm256_shuffle_epi32(keyed, _MM_SHUFFLE(0, 3, 0, 1)));
    const __m256i swapped = _mm256_shuffle_epi32(data[i], _MM_SHUFFLE(1, 0, 3, 2));
    acc->lanes[i] = _mm256_add_epi64(product, _mm256_add_epi64(acc->lanes[i], swapped));
  }
}

__attribute__((target("avx2"))) inline void Scramble(Accumulators* acc) {
  const __m256i prime = _mm256_set1_epi32(static_cast<int>(kPrime32_1));
  for (int i = 0; i < 2; ++i) {
    const __m256i value = _mm256_xor_si256(acc->lanes[i], _mm256_srli_epi64(acc->lanes[i], 47));
    const __m256i keyed = _mm256_xor_si256(
        value, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kSecret + kSecretSize - kStripe) + i));
    const __m256i low = _mm256_mul_epu32(keyed, prime);
    const __m256i high = _mm256_mul_epu32(_mm256_shuffle_epi32(keyed, _MM_SHUFFLE(0, 3, 0, 1)), prime);
    acc->lanes[i] = _mm256_add_epi64(low, _mm256_slli_epi64(high, 32));
  }
}

// Folds in `stripes` stripes of source, copying them to target with kCopy.
template <bool kCopy>
__attribute__((target("avx2"))) inline void CopyStripes(Accumulators* acc, std::uint8_t* target,
                                                         const std::uint8_t* source, std::size_t stripes) {
  for (std::size_t n = 0; n < stripes; ++n) {
    const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source + n * kStripe));
    const __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source + n * kStripe) + 1);
    if constexpr (kCopy) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(target + n * kStripe), low);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(target + n * kStripe) + 1, high);
    }
    Accumulate(acc, low, high, kSecret + n * 8);
  }
}

// XXH3-64 of count (> 240) bytes of source, copied to target with kCopy.
template <bool kCopy>
__attribute__((target("avx2"))) std::uint64_t CopyHashAvx2(std::uint8_t* target, const std::uint8_t* source,
                                                            std::size_t count) {
  alignas(32) std::uint64_t lanes[8] = {kPrime32_3, kPrime64_1, kPrime64_2, kPrime64_3,
                                        kPrime64_4, kPrime32_2, kPrime64_5, kPrime32_1};
  Accumulators acc{{_mm256_load_si256(reinterpret_cast<const __m256i*>(lanes)),
                    _mm256_load_si256(reinterpret_cast<const __m256i*>(lanes) + 1)}};
  const std::size_t blocks = (count - 1) / kBlock;
  for (std::size_t b = 0; b < blocks; ++b) {
    CopyStripes<kCopy>(&acc, target + b * kBlock, source + b * kBlock, kStripesPerBlock);
    Scramble(&acc);
  }
  const std::size_t done = blocks * kBlock;
  const std::size_t stripes = ((count - 1) - done) / kStripe;
  CopyStripes<kCopy>(&acc, target + done, source + done, stripes);
  if constexpr (kCopy) {
    const std::size_t copied = done + stripes * kStripe;
    std::memcpy(target + copied, source + copied, count - copied);
  }
  // The last stripe overlaps what was folded in already, as in XXH3.
  const std::uint8_t* last = source + count - kStripe;
  Accumulate(&acc, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(last)),
             _mm256_loadu_si256(reinterpret_cast<const __m256i*>(last) + 1), kSecret + kLastStripeSecret);
  _mm256_store_si256(reinterpret_cast<__m256i*>(lanes), acc.lanes[0]);
  _mm256_store_si256(reinterpret_cast<__m256i*>(lanes) + 1, acc.lanes[1]);
  std::uint64_t result = count * kPrime64_1;
  for (int i = 0; i < 4; ++i) {
    const std::uint8_t* key = kSecret + kMergeSecret + 16 * i;
    result += Fold128(lanes[2 * i] ^ Read64(key), lanes[2 * i + 1] ^ Read64(key + 8));
  }
  return Avalanche(result);
}

bool HasAvx2() {
  static const bool has = __builtin_cpu_supports("avx2") != 0;
  return has;
}

#endif

}  // namespace

std::uint64_t CopyAndHash(std::uint8_t* target, const std::uint8_t* source, std::size_t count) {
#if defined(__x86_64__)
  if (count > kLongInput && HasAvx2()) return CopyHashAvx2<true>(target, source, count);
#endif
  if (count != 0) std::memcpy(target, source, count);
  return HashOf(target, count);
}

std::uint64_t HashPayload(const std::uint8_t* source, std::size_t count) {
#if defined(__x86_64__)
  if (count > kLongInput && HasAvx2()) return CopyHashAvx2<false>(nullptr, source, count);
#endif
  return HashOf(source, count);
}

}  // namespace odv
