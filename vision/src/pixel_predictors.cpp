#include "pixel_predictors.h"

#include <algorithm>
#include <type_traits>

#include "cpu_features.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace odv {

namespace {

template <typename T>
struct Zigzag {
  static constexpr unsigned kBits = 8 * sizeof(T);
  static T To(unsigned r) {
    r &= (1u << kBits) - 1;
    return static_cast<T>((r << 1) ^ (0u - (r >> (kBits - 1))));
  }
  static T From(unsigned z) { return static_cast<T>((z >> 1) ^ (0u - (z & 1))); }
};

// The straight loops below carry no dependence from one element to the next,
// so the compiler vectorises them; the AVX2 entry points compile the same
// bodies for the wider unit.
template <typename T>
[[gnu::always_inline]] inline unsigned SmoothAt(const T* u, std::size_t i, std::size_t m, std::size_t h) {
  const unsigned left = i >= h ? u[i - h] : u[i];
  const unsigned right = i + h < m ? u[i + h] : u[i];
  return (left + 2u * u[i] + right + 2u) >> 2;
}

template <typename T>
[[gnu::always_inline]] inline void Residual(std::size_t m, std::size_t h, Predictor predictor,
                                            const T* __restrict c, const T* __restrict u, T* __restrict r) {
  using Z = Zigzag<T>;
  const std::size_t head = std::min(h, m);
  if (u == nullptr) {
    for (std::size_t i = 0; i < head; ++i) r[i] = Z::To(c[i]);
    for (std::size_t i = head; i < m; ++i) r[i] = Z::To(unsigned{c[i]} - c[i - h]);
    return;
  }
  switch (predictor) {
    case Predictor::kLeft:
      for (std::size_t i = 0; i < head; ++i) r[i] = Z::To(unsigned{c[i]} - u[i]);
      for (std::size_t i = head; i < m; ++i) r[i] = Z::To(unsigned{c[i]} - c[i - h]);
      break;
    case Predictor::kUp:
      for (std::size_t i = 0; i < m; ++i) r[i] = Z::To(unsigned{c[i]} - u[i]);
      break;
    case Predictor::kSmooth: {
      const std::size_t end = m >= 2 * h ? m - h : head;  // body: both neighbours exist
      for (std::size_t i = 0; i < head; ++i) r[i] = Z::To(c[i] - SmoothAt(u, i, m, h));
      for (std::size_t i = head; i < end; ++i)
        r[i] = Z::To(unsigned{c[i]} - ((unsigned{u[i - h]} + 2u * u[i] + u[i + h] + 2u) >> 2));
      for (std::size_t i = std::max(head, end); i < m; ++i) r[i] = Z::To(c[i] - SmoothAt(u, i, m, h));
      break;
    }
    case Predictor::kGradient:
      for (std::size_t i = 0; i < head; ++i) r[i] = Z::To(unsigned{c[i]} - u[i]);
      for (std::size_t i = head; i < m; ++i) r[i] = Z::To(unsigned{c[i]} - c[i - h] - u[i] + u[i - h]);
      break;
  }
}

// x[i] += x[i - h] for i >= h, in place: the running sums of left prediction.
template <typename T>
void PrefixPortable(T* x, std::size_t begin, std::size_t m, std::size_t h) {
  for (std::size_t i = std::max(begin, h); i < m; ++i) x[i] = static_cast<T>(x[i] + x[i - h]);
}

#if defined(__x86_64__)

template <typename T>
__m128i Add(__m128i a, __m128i b) {
  if constexpr (sizeof(T) == 1) return _mm_add_epi8(a, b);
  else return _mm_add_epi16(a, b);
}

// Every lane gets the last `kStride` bytes of v, repeated.
template <int kStride>
__m128i Carry(__m128i v) {
  if constexpr (kStride == 1) {
    __m128i t = _mm_srli_si128(v, 15);
    t = _mm_unpacklo_epi8(t, t);
    t = _mm_unpacklo_epi16(t, t);
    return _mm_shuffle_epi32(t, 0);
  } else if constexpr (kStride == 2) {
    return _mm_shuffle_epi32(_mm_shufflehi_epi16(v, 0xFF), 0xFF);
  } else if constexpr (kStride == 4) {
    return _mm_shuffle_epi32(v, 0xFF);
  } else {
    return _mm_unpackhi_epi64(v, v);
  }
}

// Running sums at a stride of kStride bytes, 16 bytes at a time: a log-step
// sum inside the register, then the carry of the block before.
template <typename T, int kStride>
void PrefixVector(T* x, std::size_t m) {
  constexpr std::size_t kLanes = 16 / sizeof(T);
  constexpr std::size_t h = kStride / sizeof(T);
  if (m < 2 * kLanes) {
    PrefixPortable(x, h, m, h);
    return;
  }
  PrefixPortable(x, h, kLanes, h);
  auto* bytes = reinterpret_cast<std::uint8_t*>(x);
  __m128i previous = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  std::size_t i = kLanes;
  for (; i + kLanes <= m; i += kLanes) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i * sizeof(T)));
    v = Add<T>(v, _mm_slli_si128(v, kStride));
    if constexpr (2 * kStride < 16) v = Add<T>(v, _mm_slli_si128(v, 2 * kStride));
    if constexpr (4 * kStride < 16) v = Add<T>(v, _mm_slli_si128(v, 4 * kStride));
    if constexpr (8 * kStride < 16) v = Add<T>(v, _mm_slli_si128(v, 8 * kStride));
    v = Add<T>(v, Carry<kStride>(previous));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes + i * sizeof(T)), v);
    previous = v;
  }
  PrefixPortable(x, i, m, h);
}

#endif

template <typename T>
void Prefix(T* x, std::size_t m, std::size_t h) {
#if defined(__x86_64__)
  switch (h * sizeof(T)) {
    case 1: return PrefixVector<T, 1>(x, m);
    case 2: return PrefixVector<T, 2>(x, m);
    case 4: return PrefixVector<T, 4>(x, m);
    case 8: return PrefixVector<T, 8>(x, m);
    default: break;
  }
#endif
  PrefixPortable(x, h, m, h);
}

template <typename T>
[[gnu::always_inline]] inline void Reconstruct(std::size_t m, std::size_t h, Predictor predictor,
                                               const T* __restrict r, const T* __restrict u, T* __restrict c) {
  using Z = Zigzag<T>;
  const std::size_t head = std::min(h, m);
  if (u == nullptr || predictor == Predictor::kLeft || predictor == Predictor::kGradient) {
    for (std::size_t i = 0; i < m; ++i) c[i] = Z::From(r[i]);
    if (u != nullptr && predictor == Predictor::kLeft)
      for (std::size_t i = 0; i < head; ++i) c[i] = static_cast<T>(c[i] + u[i]);
    return;  // the running sums (and, for the gradient, the row above) follow
  }
  if (predictor == Predictor::kUp) {
    for (std::size_t i = 0; i < m; ++i) c[i] = static_cast<T>(u[i] + Z::From(r[i]));
    return;
  }
  const std::size_t end = m >= 2 * h ? m - h : head;
  for (std::size_t i = 0; i < head; ++i) c[i] = static_cast<T>(SmoothAt(u, i, m, h) + Z::From(r[i]));
  for (std::size_t i = head; i < end; ++i)
    c[i] = static_cast<T>(((unsigned{u[i - h]} + 2u * u[i] + u[i + h] + 2u) >> 2) + Z::From(r[i]));
  for (std::size_t i = std::max(head, end); i < m; ++i) c[i] = static_cast<T>(SmoothAt(u, i, m, h) + Z::From(r[i]));
}

template <typename T>
[[gnu::always_inline]] inline void AddUp(std::size_t m, const T* __restrict u, T* __restrict c) {
  for (std::size_t i = 0; i < m; ++i) c[i] = static_cast<T>(c[i] + u[i]);
}

void ResidualPortable(const RowGeometry& row, Predictor p, const std::uint8_t* c, const std::uint8_t* u,
                      std::uint8_t* r) {
  if (row.elementBytes == 1) return Residual(row.elements, row.step, p, c, u, r);
  Residual(row.elements, row.step, p, reinterpret_cast<const std::uint16_t*>(c),
           reinterpret_cast<const std::uint16_t*>(u), reinterpret_cast<std::uint16_t*>(r));
}

void ReconstructPortable(const RowGeometry& row, Predictor p, const std::uint8_t* r, const std::uint8_t* u,
                         std::uint8_t* c) {
  if (row.elementBytes == 1) return Reconstruct(row.elements, row.step, p, r, u, c);
  Reconstruct(row.elements, row.step, p, reinterpret_cast<const std::uint16_t*>(r),
              reinterpret_cast<const std::uint16_t*>(u), reinterpret_cast<std::uint16_t*>(c));
}

void AddUpPortable(const RowGeometry& row, const std::uint8_t* u, std::uint8_t* c) {
  if (row.elementBytes == 1) return AddUp(row.elements, u, c);
  AddUp(row.elements, reinterpret_cast<const std::uint16_t*>(u), reinterpret_cast<std::uint16_t*>(c));
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) void ResidualAvx2(const RowGeometry& row, Predictor p, const std::uint8_t* c,
                                                   const std::uint8_t* u, std::uint8_t* r) {
  if (row.elementBytes == 1) return Residual(row.elements, row.step, p, c, u, r);
  Residual(row.elements, row.step, p, reinterpret_cast<const std::uint16_t*>(c),
           reinterpret_cast<const std::uint16_t*>(u), reinterpret_cast<std::uint16_t*>(r));
}

__attribute__((target("avx2"))) void ReconstructAvx2(const RowGeometry& row, Predictor p, const std::uint8_t* r,
                                                      const std::uint8_t* u, std::uint8_t* c) {
  if (row.elementBytes == 1) return Reconstruct(row.elements, row.step, p, r, u, c);
  Reconstruct(row.elements, row.step, p, reinterpret_cast<const std::uint16_t*>(r),
              reinterpret_cast<const std::uint16_t*>(u), reinterpret_cast<std::uint16_t*>(c));
}

__attribute__((target("avx2"))) void AddUpAvx2(const RowGeometry& row, const std::uint8_t* u, std::uint8_t* c) {
  if (row.elementBytes == 1) return AddUp(row.elements, u, c);
  AddUp(row.elements, reinterpret_cast<const std::uint16_t*>(u), reinterpret_cast<std::uint16_t*>(c));
}
#endif

template <typename T, unsigned kMode, bool kRestore>
[[gnu::always_inline]] inline void ShareOfGreen(T* __restrict r, std::size_t pixels, std::size_t channel) {
  using Z = Zigzag<T>;
  using Signed = std::make_signed_t<T>;
  for (std::size_t i = 0; i < pixels; ++i) {
    const int green = static_cast<Signed>(Z::From(r[4 * i + 1]));
    int share = 0;
    if constexpr (kMode == 1) share = green;
    if constexpr (kMode == 2) share = -green;
    if constexpr (kMode == 3) share = green >> 1;
    if constexpr (kMode == 4) share = -(green >> 1);
    const unsigned own = Z::From(r[4 * i + channel]);
    r[4 * i + channel] = Z::To(kRestore ? own + static_cast<unsigned>(share) : own - static_cast<unsigned>(share));
  }
}

template <typename T, bool kRestore>
void Decorrelate(T* r, std::size_t pixels, std::size_t channel, unsigned mode) {
  switch (mode) {
    case 1: return ShareOfGreen<T, 1, kRestore>(r, pixels, channel);
    case 2: return ShareOfGreen<T, 2, kRestore>(r, pixels, channel);
    case 3: return ShareOfGreen<T, 3, kRestore>(r, pixels, channel);
    case 4: return ShareOfGreen<T, 4, kRestore>(r, pixels, channel);
    default: return;
  }
}

template <typename T>
void DecorrelateBoth(T* r, unsigned blueMode, unsigned redMode, std::size_t pixels, bool restore) {
  if (restore) {
    Decorrelate<T, true>(r, pixels, 0, blueMode);
    Decorrelate<T, true>(r, pixels, 2, redMode);
  } else {
    Decorrelate<T, false>(r, pixels, 0, blueMode);
    Decorrelate<T, false>(r, pixels, 2, redMode);
  }
}

template <unsigned kMode, bool kRestore>
[[gnu::always_inline]] inline void PlaneShare(std::size_t n, std::uint8_t* __restrict own, const std::uint8_t* __restrict green) {
  for (std::size_t i = 0; i < n; ++i) {
    const auto g = static_cast<std::int8_t>((green[i] >> 1) ^ (0u - (green[i] & 1u)));
    int share = 0;
    if constexpr (kMode == 1) share = g;
    if constexpr (kMode == 2) share = -g;
    if constexpr (kMode == 3) share = g >> 1;
    if constexpr (kMode == 4) share = -(g >> 1);
    const auto value = static_cast<std::uint8_t>((own[i] >> 1) ^ (0u - (own[i] & 1u)));
    const auto shifted = static_cast<std::uint8_t>(kRestore ? value + share : value - share);
    own[i] = static_cast<std::uint8_t>((shifted << 1) ^ (0u - (shifted >> 7)));
  }
}

template <bool kRestore>
[[gnu::always_inline]] inline void PlaneShareOf(unsigned mode, std::size_t n, std::uint8_t* own, const std::uint8_t* green) {
  switch (mode) {
    case 1: return PlaneShare<1, kRestore>(n, own, green);
    case 2: return PlaneShare<2, kRestore>(n, own, green);
    case 3: return PlaneShare<3, kRestore>(n, own, green);
    case 4: return PlaneShare<4, kRestore>(n, own, green);
    default: return;
  }
}

[[gnu::always_inline]] inline void PlanesBody(unsigned blueMode, unsigned redMode, std::size_t n, std::uint8_t* blue,
                                              const std::uint8_t* green, std::uint8_t* red, bool restore) {
  if (restore) {
    PlaneShareOf<true>(blueMode, n, blue, green);
    PlaneShareOf<true>(redMode, n, red, green);
  } else {
    PlaneShareOf<false>(blueMode, n, blue, green);
    PlaneShareOf<false>(redMode, n, red, green);
  }
}

void PlanesPortable(unsigned blueMode, unsigned redMode, std::size_t n, std::uint8_t* blue, const std::uint8_t* green,
                    std::uint8_t* red, bool restore) {
  PlanesBody(blueMode, redMode, n, blue, green, red, restore);
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) void PlanesAvx2(unsigned blueMode, unsigned redMode, std::size_t n, std::uint8_t* blue,
                                                 const std::uint8_t* green, std::uint8_t* red, bool restore) {
  PlanesBody(blueMode, redMode, n, blue, green, red, restore);
}

// Four-byte pixels to planes, eight pixels at a time: a byte shuffle within
// each half gathers each channel's four bytes, a dword permutation their
// halves.
__attribute__((target("avx2"))) std::size_t SplitFourAvx2(const std::uint8_t* in, std::size_t pixels, std::uint8_t* out) {
  const __m256i gather = _mm256_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15,  //
                                          0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  std::size_t i = 0;
  for (; i + 8 <= pixels; i += 8) {
    __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 4 * i));
    v = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(v, gather), order);
    const __m128i low = _mm256_castsi256_si128(v), high = _mm256_extracti128_si256(v, 1);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), low);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + pixels + i), _mm_unpackhi_epi64(low, low));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 2 * pixels + i), high);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 3 * pixels + i), _mm_unpackhi_epi64(high, high));
  }
  return i;
}

__attribute__((target("avx2"))) std::size_t MergeFourAvx2(const std::uint8_t* in, std::size_t pixels, std::uint8_t* out) {
  std::size_t i = 0;
  const auto load = [](const std::uint8_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); };
  for (; i + 8 <= pixels; i += 8) {
    const __m256i b = _mm256_cvtepu8_epi32(load(in + i));
    const __m256i g = _mm256_cvtepu8_epi32(load(in + pixels + i));
    const __m256i r = _mm256_cvtepu8_epi32(load(in + 2 * pixels + i));
    const __m256i a = _mm256_cvtepu8_epi32(load(in + 3 * pixels + i));
    const __m256i v = _mm256_or_si256(_mm256_or_si256(b, _mm256_slli_epi32(g, 8)),
                                      _mm256_or_si256(_mm256_slli_epi32(r, 16), _mm256_slli_epi32(a, 24)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * i), v);
  }
  return i;
}

// Two-byte pixels: low and high bytes.
__attribute__((target("avx2"))) std::size_t SplitTwoAvx2(const std::uint8_t* in, std::size_t pixels, std::uint8_t* out) {
  const __m256i gather = _mm256_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15,  //
                                          0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15);
  std::size_t i = 0;
  for (; i + 16 <= pixels; i += 16) {
    __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 2 * i));
    v = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(v, gather), 0xD8);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm256_castsi256_si128(v));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + pixels + i), _mm256_extracti128_si256(v, 1));
  }
  return i;
}

__attribute__((target("avx2"))) std::size_t MergeTwoAvx2(const std::uint8_t* in, std::size_t pixels, std::uint8_t* out) {
  std::size_t i = 0;
  for (; i + 16 <= pixels; i += 16) {
    const __m256i low = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i)));
    const __m256i high = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in + pixels + i)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * i), _mm256_or_si256(low, _mm256_slli_epi16(high, 8)));
  }
  return i;
}
#endif

}  // namespace

void DecorrelateColourPlanes(unsigned blueMode, unsigned redMode, std::size_t pixels, std::uint8_t* blue,
                             const std::uint8_t* green, std::uint8_t* red, bool restore) {
  if (blueMode == 0 && redMode == 0) return;
#if defined(__x86_64__)
  if (UseAvx2()) return PlanesAvx2(blueMode, redMode, pixels, blue, green, red, restore);
#endif
  PlanesPortable(blueMode, redMode, pixels, blue, green, red, restore);
}

void SplitPlanes(const std::uint8_t* interleaved, std::size_t pixels, unsigned planes, std::uint8_t* out) {
  std::size_t done = 0;
#if defined(__x86_64__)
  if (UseAvx2() && planes == 4) done = SplitFourAvx2(interleaved, pixels, out);
  if (UseAvx2() && planes == 2) done = SplitTwoAvx2(interleaved, pixels, out);
#endif
  for (unsigned p = 0; p < planes; ++p) {
    std::uint8_t* plane = out + p * pixels;
    for (std::size_t i = done; i < pixels; ++i) plane[i] = interleaved[i * planes + p];
  }
}

void MergePlanes(const std::uint8_t* in, std::size_t pixels, unsigned planes, std::uint8_t* interleaved) {
  std::size_t done = 0;
#if defined(__x86_64__)
  if (UseAvx2() && planes == 4) done = MergeFourAvx2(in, pixels, interleaved);
  if (UseAvx2() && planes == 2) done = MergeTwoAvx2(in, pixels, interleaved);
#endif
  for (unsigned p = 0; p < planes; ++p) {
    const std::uint8_t* plane = in + p * pixels;
    for (std::size_t i = done; i < pixels; ++i) interleaved[i * planes + p] = plane[i];
  }
}

void DecorrelateColours(unsigned elementBytes, unsigned blueMode, unsigned redMode, std::size_t pixels,
                        std::uint8_t* residual, bool restore) {
  if (blueMode == 0 && redMode == 0) return;
  if (elementBytes == 1) return DecorrelateBoth(residual, blueMode, redMode, pixels, restore);
  DecorrelateBoth(reinterpret_cast<std::uint16_t*>(residual), blueMode, redMode, pixels, restore);
}

void ResidualRow(const RowGeometry& row, Predictor predictor, const std::uint8_t* current, const std::uint8_t* up,
                 std::uint8_t* residual) {
#if defined(__x86_64__)
  if (UseAvx2()) return ResidualAvx2(row, predictor, current, up, residual);
#endif
  ResidualPortable(row, predictor, current, up, residual);
}

void ReconstructRow(const RowGeometry& row, Predictor predictor, const std::uint8_t* residual, const std::uint8_t* up,
                    std::uint8_t* current) {
  const bool avx2 = UseAvx2();
#if defined(__x86_64__)
  if (avx2) ReconstructAvx2(row, predictor, residual, up, current);
  else ReconstructPortable(row, predictor, residual, up, current);
#else
  ReconstructPortable(row, predictor, residual, up, current);
#endif
  const bool running = up == nullptr || predictor == Predictor::kLeft || predictor == Predictor::kGradient;
  if (!running) return;
  if (row.elementBytes == 1) Prefix(current, row.elements, row.step);
  else Prefix(reinterpret_cast<std::uint16_t*>(current), row.elements, row.step);
  if (up == nullptr || predictor != Predictor::kGradient) return;
#if defined(__x86_64__)
  if (avx2) return AddUpAvx2(row, up, current);
#endif
  AddUpPortable(row, up, current);
}

}  // namespace odv
