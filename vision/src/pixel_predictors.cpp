#include "pixel_predictors.h"

#include <algorithm>
#include <type_traits>

#include "cpu_features.h"

#if defined(__x86_64__)
#include <emmintrin.h>
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

}  // namespace

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
