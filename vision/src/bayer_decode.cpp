// Bilinear Bayer decoding to RGB32. Each pixel keeps its own colour; at red
// and blue sites green is the mean of the four direct neighbours and the
// opposite colour the mean of the four diagonal ones; at green sites the two
// other colours are the means of the horizontal and of the vertical pair.
// Means round half up. Edges mirror without repeating the edge pixel, which
// keeps the colour of every mirrored neighbour right. The frame of one pixel
// takes the general path here. Each channel's mean then goes through its
// gain and the cut to 8 bits, defined by one table per channel
// (value * gain, scaled to 8 bits, rounded half up, cut at 255). Alpha is 255.
//
// One pass over the mosaic, with or without gains, 8-bit and 16-bit: the
// interior runs through an AVX2 kernel that forms the means, applies the
// gains by single-precision multiplies and writes the BGRA pixels, 16 (8-bit)
// or 8 (16-bit) at a time. The multiplies are checked against the tables for
// every value a mean can take before a frame uses them (and remembered per
// thread for the same gains); where they would differ anywhere, or without
// AVX2, the scalar loop with the tables serves. 8-bit sources with unit gains
// go through OpenCV's bilinear demosaicing, which computes exactly these
// means.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <opencv2/imgproc.hpp>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "cpu_features.h"

#include "odvissvc/odvissvc.h"

namespace {

constexpr int kBlue = 0, kGreen = 1, kRed = 2;

// Colour of the four sites of the 2 x 2 cell, per pattern: (0,0), (1,0), (0,1), (1,1).
constexpr int kCell[4][4] = {
    {kRed, kGreen, kGreen, kBlue},   // 0 RG/GB
    {kBlue, kGreen, kGreen, kRed},   // 1 BG/GR
    {kGreen, kBlue, kRed, kGreen},   // 2 GB/RG
    {kGreen, kRed, kBlue, kGreen},   // 3 GR/BG
};

struct Tables {
  std::vector<std::uint8_t> channel[3];  // indexed by blue, green, red
};

#if defined(__x86_64__)
// value * gain rounded half up, cut at 255, on eight 32-bit lanes.
__attribute__((target("avx2"))) inline __m256i Gain32(__m256i values, float gain) {
  const __m256 scaled = _mm256_add_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(values), _mm256_set1_ps(gain)), _mm256_set1_ps(0.5f));
  return _mm256_min_epi32(_mm256_cvttps_epi32(scaled), _mm256_set1_epi32(255));
}

// The same on sixteen 16-bit lanes.
__attribute__((target("avx2"))) inline __m256i Gain16(__m256i values, float gain) {
  const __m256i low = Gain32(_mm256_cvtepu16_epi32(_mm256_castsi256_si128(values)), gain);
  const __m256i high = Gain32(_mm256_cvtepu16_epi32(_mm256_extracti128_si256(values, 1)), gain);
  return _mm256_permute4x64_epi64(_mm256_packus_epi32(low, high), 0xD8);
}

// How an 8-bit mean meets its gain: unchanged (a unit gain), by an integer
// multiply-add, (value * multiplier + 2^(shift-1)) >> shift, or by Gain16.
struct IntegerGain {
  bool identity = false, integer = false;
  std::int16_t multiplier = 0, rounding = 0;
  int shift = 0;
};

// The vector kernel's gains: single-precision factors (scaled to 8 bits) and,
// for 8-bit sources, the integer forms.
struct VectorGains {
  float scale[3] = {0, 0, 0};
  IntegerGain integer[3];
};

// value * gain rounded half up, cut at 255, on sixteen 16-bit lanes holding
// 8-bit means: one multiply-add per pair of lanes.
__attribute__((target("avx2"))) inline __m256i GainInteger(__m256i values, const IntegerGain& gain, float fallback) {
  if (gain.identity) return values;
  if (!gain.integer) return Gain16(values, fallback);
  const __m256i factors = _mm256_set1_epi32(static_cast<int>(static_cast<std::uint16_t>(gain.multiplier)) |
                                            static_cast<int>(static_cast<std::uint32_t>(static_cast<std::uint16_t>(gain.rounding)) << 16));
  const __m256i one = _mm256_set1_epi16(1);
  const __m128i shift = _mm_cvtsi32_si128(gain.shift);
  const __m256i low = _mm256_sra_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(values, one), factors), shift);
  const __m256i high = _mm256_sra_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(values, one), factors), shift);
  return _mm256_min_epu16(_mm256_packus_epi32(low, high), _mm256_set1_epi16(255));
}

// Sixteen 8-bit or eight 16-bit source pixels, widened to lanes of twice their width.
__attribute__((target("avx2"))) inline __m256i Widen(const std::uint8_t* p) {
  return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
__attribute__((target("avx2"))) inline __m256i Widen(const std::uint16_t* p) {
  return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}

// `even` with its odd lanes taken from `odd`.
template <typename S>
__attribute__((target("avx2"))) inline __m256i OddLanes(__m256i even, __m256i odd) {
  if constexpr (sizeof(S) == 1) return _mm256_blend_epi16(even, odd, 0xAA);
  else return _mm256_blend_epi32(even, odd, 0xAA);
}

// True where Gain32 with `gain` equals the table for every value below `entries`.
__attribute__((target("avx2"))) bool GainMatchesTable(float gain, const std::vector<std::uint8_t>& table, std::size_t entries) {
  alignas(32) std::int32_t out[8];
  for (std::size_t v = 0; v < entries; v += 8) {
    const __m256i values = _mm256_add_epi32(_mm256_set1_epi32(static_cast<int>(v)), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    _mm256_store_si256(reinterpret_cast<__m256i*>(out), Gain32(values, gain));
    for (std::size_t i = 0; i < 8; ++i)
      if (out[i] != table[v + i]) return false;
  }
  return true;
}
#endif

template <typename S>
struct Decoder {
  const S* source;
  std::uint64_t sourceStride;  // in pixels
  std::uint8_t* destination;
  std::uint64_t destinationStride;  // in bytes
  int width, height, pattern;
  const std::uint8_t* lut[3];

  int Colour(int x, int y) const { return kCell[pattern][((y & 1) << 1) | (x & 1)]; }
  static int Mirror(int i, int n) {
    if (n == 1) return 0;
    if (i < 0) return -i;
    if (i >= n) return 2 * n - 2 - i;
    return i;
  }
  unsigned At(int x, int y) const { return source[static_cast<std::uint64_t>(y) * sourceStride + static_cast<std::uint64_t>(x)]; }
  unsigned AtMirrored(int x, int y) const { return At(Mirror(x, width), Mirror(y, height)); }

  void Store(int x, int y, unsigned c[3]) const {
    const std::uint32_t pixel = std::uint32_t{lut[kBlue][c[kBlue]]} | std::uint32_t{lut[kGreen][c[kGreen]]} << 8 |
                                std::uint32_t{lut[kRed][c[kRed]]} << 16 | 0xFF000000u;
    std::memcpy(destination + static_cast<std::uint64_t>(y) * destinationStride + 4ull * static_cast<unsigned>(x), &pixel, 4);
  }

  // One pixel with mirrored neighbours; used on the frame.
  void Edge(int x, int y) const {
    unsigned c[3];
    const int own = Colour(x, y);
    c[own] = At(x, y);
    const unsigned l = AtMirrored(x - 1, y), r = AtMirrored(x + 1, y);
    const unsigned u = AtMirrored(x, y - 1), d = AtMirrored(x, y + 1);
    if (own == kGreen) {
      c[Colour(x + 1, y)] = (l + r + 1) >> 1;
      c[Colour(x, y + 1)] = (u + d + 1) >> 1;
    } else {
      c[kGreen] = (l + r + u + d + 2) >> 2;
      c[2 - own] = (AtMirrored(x - 1, y - 1) + AtMirrored(x + 1, y - 1) + AtMirrored(x - 1, y + 1) +
                    AtMirrored(x + 1, y + 1) + 2) >> 2;
    }
    Store(x, y, c);
  }

  // Interior of line y (1 <= y <= height - 2), pixels `from` to width - 2.
  void Interior(int y, int from = 1) const {
    const S* up = source + static_cast<std::uint64_t>(y - 1) * sourceStride;
    const S* mid = up + sourceStride;
    const S* down = mid + sourceStride;
    std::uint8_t* out = destination + static_cast<std::uint64_t>(y) * destinationStride;
    const int first = Colour(1, y);
    const std::uint8_t* lb = lut[kBlue];
    const std::uint8_t* lg = lut[kGreen];
    const std::uint8_t* lr = lut[kRed];
    // A line has green on one parity and red or blue on the other.
    const bool greenFirst = first == kGreen;
    const int rb = greenFirst ? Colour(2, y) : first;  // the red or blue colour of this line
    const bool rbIsRed = rb == kRed;
    auto emit = [&](int x, unsigned b, unsigned g, unsigned r) {
      const std::uint32_t pixel = std::uint32_t{lb[b]} | std::uint32_t{lg[g]} << 8 | std::uint32_t{lr[r]} << 16 | 0xFF000000u;
      std::memcpy(out + 4ull * static_cast<unsigned>(x), &pixel, 4);
    };
    auto rbSite = [&](int x) {
      const unsigned own = mid[x];
      const unsigned g = (mid[x - 1] + mid[x + 1] + up[x] + down[x] + 2) >> 2;
      const unsigned other = (up[x - 1] + up[x + 1] + down[x - 1] + down[x + 1] + 2) >> 2;
      if (rbIsRed) emit(x, other, g, own);
      else emit(x, own, g, other);
    };
    auto greenSite = [&](int x) {
      const unsigned horizontal = (mid[x - 1] + mid[x + 1] + 1) >> 1;  // colour of this line
      const unsigned vertical = (up[x] + down[x] + 1) >> 1;
      if (rbIsRed) emit(x, vertical, mid[x], horizontal);
      else emit(x, horizontal, mid[x], vertical);
    };
    int x = 1;
    const int last = width - 2;
    if (from > 1) {
      for (x = from; x <= last; ++x) {
        if (Colour(x, y) == kGreen) greenSite(x);
        else rbSite(x);
      }
      return;
    }
    if (greenFirst) {
      for (; x + 1 <= last; x += 2) {
        greenSite(x);
        rbSite(x + 1);
      }
      if (x <= last) greenSite(x);
    } else {
      for (; x + 1 <= last; x += 2) {
        rbSite(x);
        greenSite(x + 1);
      }
      if (x <= last) rbSite(x);
    }
  }

  void Frame() const {
    for (int y = 0; y < height; ++y) {
      if (y == 0 || y == height - 1 || width < 3) {
        for (int x = 0; x < width; ++x) Edge(x, y);
      } else {
        Edge(0, y);
        Edge(width - 1, y);
      }
    }
  }

  void Run() const {
    Frame();
    for (int y = 1; y + 1 < height && width >= 3; ++y) Interior(y);
  }

  // Interior through OpenCV's bilinear demosaicing (8-bit, unit gains).
  void RunWithOpenCV() const {
    // OpenCV names a pattern by the second line's second and third pixels.
    static constexpr int kCodes[4] = {cv::COLOR_BayerBG2BGRA, cv::COLOR_BayerRG2BGRA, cv::COLOR_BayerGR2BGRA,
                                      cv::COLOR_BayerGB2BGRA};
    const cv::Mat mosaic(height, width, CV_8UC1, const_cast<S*>(source), sourceStride * sizeof(S));
    cv::Mat colour(height, width, CV_8UC4, destination, destinationStride);
    cv::cvtColor(mosaic, colour, kCodes[pattern]);
    if (colour.data != destination) throw std::runtime_error("demosaicing moved the destination");
    Frame();
  }

#if defined(__x86_64__)
  // Interior with the vector kernel: per line, the kernel takes the pixels
  // from 1 in steps of its width, and the scalar loop the rest.
  // The first and last lines take it too, with the mirrored line above or
  // below; only the first and last pixel of each line go the general way.
  void RunVector(const VectorGains& gains) const {
    const int lanes = sizeof(S) == 1 ? 16 : 8;
    for (int y = 0; y < height; ++y) {
      const int above = Mirror(y - 1, height), below = Mirror(y + 1, height);
      const int x = VectorLine(y, above, below, gains, lanes);
      for (int rest = x; rest <= width - 2; ++rest) Edge(rest, y);
      Edge(0, y);
      Edge(width - 1, y);
    }
  }

  // Channel values of `lanes` sites from x (odd) on line y, with lines
  // `above` and `below` as its neighbours: the own value,
  // the means of the horizontal, vertical, direct and diagonal neighbours,
  // blended by site into the line's two colours and green.
  // The sites of line y from 1 in steps of `lanes`; returns the first site
  // left over. The gains are copied here so that they stay in registers
  // beside the destination's stores.
  __attribute__((target("avx2"))) int VectorLine(int y, int above, int below, const VectorGains& shared, int lanes) const {
    const VectorGains gains = shared;
    int x = 1;
    for (; x + lanes <= width - 1; x += lanes) VectorSites(y, above, below, x, gains);
    return x;
  }

  [[gnu::always_inline]] __attribute__((target("avx2"))) inline void VectorSites(int y, int above, int below, int x,
                                                                                    const VectorGains& gains) const {
    const S* mid = source + static_cast<std::uint64_t>(y) * sourceStride + x;
    const S* up = source + static_cast<std::uint64_t>(above) * sourceStride + x;
    const S* down = source + static_cast<std::uint64_t>(below) * sourceStride + x;
    // Lane 0 is x, which is odd: lanes of even index hold the line's odd sites.
    const bool greenEven = Colour(x, y) == kGreen;
    const int lineColour = greenEven ? Colour(x + 1, y) : Colour(x, y);  // red or blue
    __m256i own, horizontal, vertical, cross, diagonal;
    if constexpr (sizeof(S) == 1) {
      const __m256i ml = Widen(mid - 1), mr = Widen(mid + 1), u = Widen(up), d = Widen(down);
      const __m256i two = _mm256_set1_epi16(2);
      own = Widen(mid);
      horizontal = _mm256_avg_epu16(ml, mr);
      vertical = _mm256_avg_epu16(u, d);
      cross = _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(ml, mr), _mm256_add_epi16(_mm256_add_epi16(u, d), two)), 2);
      diagonal = _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(Widen(up - 1), Widen(up + 1)),
                                                    _mm256_add_epi16(_mm256_add_epi16(Widen(down - 1), Widen(down + 1)), two)),
                                   2);
    } else {
      const __m256i ml = Widen(mid - 1), mr = Widen(mid + 1), u = Widen(up), d = Widen(down);
      const __m256i one = _mm256_set1_epi32(1), two = _mm256_set1_epi32(2);
      own = Widen(mid);
      horizontal = _mm256_srli_epi32(_mm256_add_epi32(_mm256_add_epi32(ml, mr), one), 1);
      vertical = _mm256_srli_epi32(_mm256_add_epi32(_mm256_add_epi32(u, d), one), 1);
      cross = _mm256_srli_epi32(_mm256_add_epi32(_mm256_add_epi32(ml, mr), _mm256_add_epi32(_mm256_add_epi32(u, d), two)), 2);
      diagonal = _mm256_srli_epi32(_mm256_add_epi32(_mm256_add_epi32(Widen(up - 1), Widen(up + 1)),
                                                    _mm256_add_epi32(_mm256_add_epi32(Widen(down - 1), Widen(down + 1)), two)),
                                   2);
    }
    __m256i line, green, other;  // the line's red or blue, green, the other one
    if (greenEven) {
      line = OddLanes<S>(horizontal, own);
      green = OddLanes<S>(own, cross);
      other = OddLanes<S>(vertical, diagonal);
    } else {
      line = OddLanes<S>(own, horizontal);
      green = OddLanes<S>(cross, own);
      other = OddLanes<S>(diagonal, vertical);
    }
    const __m256i red = lineColour == kRed ? line : other;
    const __m256i blue = lineColour == kRed ? other : line;
    std::uint8_t* out = destination + static_cast<std::uint64_t>(y) * destinationStride + 4ull * static_cast<unsigned>(x);
    if constexpr (sizeof(S) == 1) {
      const __m256i b = GainInteger(blue, gains.integer[kBlue], gains.scale[kBlue]);
      const __m256i g = GainInteger(green, gains.integer[kGreen], gains.scale[kGreen]);
      const __m256i r = GainInteger(red, gains.integer[kRed], gains.scale[kRed]);
      const __m256i bg = _mm256_or_si256(b, _mm256_slli_epi16(g, 8));
      const __m256i ra = _mm256_or_si256(r, _mm256_set1_epi16(static_cast<short>(0xFF00)));
      const __m256i low = _mm256_unpacklo_epi16(bg, ra), high = _mm256_unpackhi_epi16(bg, ra);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_permute2x128_si256(low, high, 0x20));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out) + 1, _mm256_permute2x128_si256(low, high, 0x31));
    } else {
      const __m256i b = Gain32(blue, gains.scale[kBlue]), g = Gain32(green, gains.scale[kGreen]);
      const __m256i r = Gain32(red, gains.scale[kRed]);
      const __m256i pixels = _mm256_or_si256(_mm256_or_si256(b, _mm256_slli_epi32(g, 8)),
                                             _mm256_or_si256(_mm256_slli_epi32(r, 16), _mm256_set1_epi32(static_cast<int>(0xFF000000u))));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), pixels);
    }
  }
#endif
};

// Table of one channel: value * gain, scaled from the source depth to 8 bits,
// rounded and cut at 255.
void FillTable(std::vector<std::uint8_t>* table, std::size_t entries, double gain, std::uint32_t depth) {
  table->resize(entries);
  const double scale = gain / static_cast<double>(1u << (depth > 8 ? depth - 8 : 0));
  for (std::size_t v = 0; v < entries; ++v) {
    const double scaled = std::floor(static_cast<double>(v) * scale + 0.5);
    (*table)[v] = static_cast<std::uint8_t>(scaled > 255.0 ? 255.0 : scaled);
  }
}

// The tables and the vector form of a set of gains at a source depth, kept
// per thread for the next frame with the same gains: building the 16-bit
// tables and checking the multiplies against them costs more than a small
// frame.
struct GainSetup {
  double gains[3] = {-1, -1, -1};
  std::uint32_t depth = 0;
  Tables tables;
  bool vector = false;  // the vector gains equal the tables everywhere
  VectorGains vectorGains;
};

// The integer form of an 8-bit channel's gain, where it equals the table
// for all 256 means: the largest shift whose multiplier fits 15 bits.
IntegerGain IntegerFormOf(double gain, const std::vector<std::uint8_t>& table) {
  IntegerGain form;
  if (gain == 1.0) {
    form.identity = true;
    return form;
  }
  for (int shift = 15; shift >= 1; --shift) {
    const double multiplier = std::floor(gain * static_cast<double>(1 << shift) + 0.5);
    if (multiplier > 32767.0) continue;
    form.multiplier = static_cast<std::int16_t>(multiplier);
    form.rounding = static_cast<std::int16_t>(1 << (shift - 1));
    form.shift = shift;
    form.integer = true;
    for (std::int32_t v = 0; v < 256 && form.integer; ++v) {
      const std::int32_t out = std::min<std::int32_t>(255, (v * form.multiplier + form.rounding) >> shift);
      form.integer = out == table[static_cast<std::size_t>(v)];
    }
    return form;
  }
  return form;
}

const GainSetup& SetupFor(const double gains[3], std::uint32_t depth) {
  thread_local GainSetup setup;
  if (setup.depth == depth && std::equal(gains, gains + 3, setup.gains)) return setup;
  setup.depth = 0;  // invalid until complete
  const std::size_t entries = depth > 8 ? 65536 : 256;
  for (int c = 0; c < 3; ++c) FillTable(&setup.tables.channel[c], entries, gains[c], depth);
  setup.vector = false;
#if defined(__x86_64__)
  if (odv::UseAvx2()) {
    setup.vector = true;
    for (int c = 0; c < 3; ++c) {
      const std::vector<std::uint8_t>& table = setup.tables.channel[c];
      setup.vectorGains.scale[c] = static_cast<float>(gains[c] / static_cast<double>(1u << (depth > 8 ? depth - 8 : 0)));
      setup.vectorGains.integer[c] = depth > 8 ? IntegerGain{} : IntegerFormOf(gains[c], table);
      const IntegerGain& form = setup.vectorGains.integer[c];
      if (!form.identity && !form.integer)
        setup.vector = setup.vector && GainMatchesTable(setup.vectorGains.scale[c], table, entries);
    }
  }
#endif
  std::copy(gains, gains + 3, setup.gains);
  setup.depth = depth;
  return setup;
}

}  // namespace

extern "C" OdvStatus Gen_BayerColorDecode2(void* destination, const void* source, uint32_t height, uint32_t width,
                                           uint32_t lineWidth, uint32_t sourceRowPixels, uint32_t pattern,
                                           uint32_t bitDepth, uint32_t, uint32_t, uint32_t destinationType,
                                           double blueGain, double greenGain, double redGain) {
  if (destination == nullptr || source == nullptr) return ODV_E_ARGUMENT;
  if (destinationType != ODV_RGB32) return ODV_E_UNSUPPORTED;
  if (pattern > 3 || bitDepth > 16 || lineWidth < width || sourceRowPixels < width || width > 0x7FFFFFFF ||
      height > 0x7FFFFFFF)
    return ODV_E_ARGUMENT;
  const double gains[3] = {blueGain, greenGain, redGain};
  for (double g : gains) {
    if (!std::isfinite(g) || g < 0.0) return ODV_E_ARGUMENT;
  }
  if (width == 0 || height == 0) return ODV_SUCCESS;
  const std::uint32_t depth = bitDepth == 0 ? 8 : bitDepth;
  const bool wide = depth > 8;
  try {
    const GainSetup& setup = SetupFor(gains, depth);
    const Tables& tables = setup.tables;
    const bool interior = width >= 3 && height >= 3;
    if (wide) {
      Decoder<std::uint16_t> decoder{static_cast<const std::uint16_t*>(source), sourceRowPixels,
                                     static_cast<std::uint8_t*>(destination), 4ull * lineWidth,
                                     static_cast<int>(width), static_cast<int>(height), static_cast<int>(pattern),
                                     {tables.channel[0].data(), tables.channel[1].data(), tables.channel[2].data()}};
#if defined(__x86_64__)
      if (interior && setup.vector) return decoder.RunVector(setup.vectorGains), ODV_SUCCESS;
#endif
      decoder.Run();
    } else {
      Decoder<std::uint8_t> decoder{static_cast<const std::uint8_t*>(source), sourceRowPixels,
                                    static_cast<std::uint8_t*>(destination), 4ull * lineWidth,
                                    static_cast<int>(width), static_cast<int>(height), static_cast<int>(pattern),
                                    {tables.channel[0].data(), tables.channel[1].data(), tables.channel[2].data()}};
      const bool identity = depth == 8 && gains[0] == 1.0 && gains[1] == 1.0 && gains[2] == 1.0;
      if (interior && identity) return decoder.RunWithOpenCV(), ODV_SUCCESS;
#if defined(__x86_64__)
      if (interior && setup.vector) return decoder.RunVector(setup.vectorGains), ODV_SUCCESS;
#endif
      decoder.Run();
    }
  } catch (...) {
    return ODV_E_NO_MEMORY;
  }
  return ODV_SUCCESS;
}
