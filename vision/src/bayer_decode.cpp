// Bilinear Bayer decoding to RGB32. Each pixel keeps its own colour; at red
// and blue sites green is the mean of the four direct neighbours and the
// opposite colour the mean of the four diagonal ones; at green sites the two
// other colours are the means of the horizontal and of the vertical pair.
// Means round half up. Edges mirror without repeating the edge pixel, which
// keeps the colour of every mirrored neighbour right. The frame of one pixel
// takes the general path here. The interior of 8-bit sources is OpenCV's
// bilinear demosaicing, which computes exactly these means with SIMD (measured
// about five times faster than the scalar loop below, which serves 16-bit
// sources). Gains and the cut to 8 bits go through one table per channel.
// Alpha is 255.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <opencv2/imgproc.hpp>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

// Gains on BGRA lines of 8-bit channels: each channel becomes its table's
// value. Where the table is exactly value * gain rounded half up and cut at
// 255, four pixels at a time go through single-precision multiplies; that
// form is checked against the tables for all 256 values of every channel
// before it is used, and the tables serve otherwise.
class GainPass {
 public:
  GainPass(const std::uint8_t* const lut[3], const double gains[3]) {
    for (unsigned v = 0; v < 256; ++v) {
      table_[0][v] = lut[kBlue][v];
      table_[1][v] = std::uint32_t{lut[kGreen][v]} << 8;
      table_[2][v] = std::uint32_t{lut[kRed][v]} << 16 | 0xFF000000u;
    }
#if defined(__SSE2__)
    gain_ = _mm_setr_ps(static_cast<float>(gains[kBlue]), static_cast<float>(gains[kGreen]),
                        static_cast<float>(gains[kRed]), 1.0f);
    std::uint32_t probe[256], scaled[256];
    for (std::uint32_t v = 0; v < 256; ++v) probe[v] = v | v << 8 | v << 16 | 0xFF000000u;
    Vector(probe, scaled, 256);
    vector_ = true;
    for (std::uint32_t v = 0; v < 256; ++v) vector_ = vector_ && scaled[v] == Table(probe[v]);
#else
    (void)gains;
#endif
  }

  // count pixels from `in` to `out`; the lines may overlap only if equal.
  void Run(const std::uint8_t* in, std::uint8_t* out, std::size_t count) const {
#if defined(__SSE2__)
    if (vector_) {
      Vector(in, out, count);
      return;
    }
#endif
    for (std::size_t i = 0; i < count; ++i) {
      std::uint32_t p;
      std::memcpy(&p, in + 4 * i, 4);
      p = Table(p);
      std::memcpy(out + 4 * i, &p, 4);
    }
  }

 private:
  std::uint32_t Table(std::uint32_t p) const {
    return table_[0][p & 0xFF] | table_[1][(p >> 8) & 0xFF] | table_[2][(p >> 16) & 0xFF];
  }

#if defined(__SSE2__)
  __m128i Scale(__m128i pixel32) const {
    const __m128 half = _mm_setr_ps(0.5f, 0.5f, 0.5f, 0.0f);
    return _mm_cvttps_epi32(_mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(pixel32), gain_), half));
  }
  void Vector(const void* input, void* output, std::size_t count) const {
    const auto* in = static_cast<const std::uint8_t*>(input);
    auto* out = static_cast<std::uint8_t*>(output);
    const __m128i zero = _mm_setzero_si128();
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(0xFF000000u));
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4) {
      const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 4 * i));
      const __m128i low = _mm_unpacklo_epi8(pixels, zero), high = _mm_unpackhi_epi8(pixels, zero);
      const __m128i a = _mm_packs_epi32(Scale(_mm_unpacklo_epi16(low, zero)), Scale(_mm_unpackhi_epi16(low, zero)));
      const __m128i b = _mm_packs_epi32(Scale(_mm_unpacklo_epi16(high, zero)), Scale(_mm_unpackhi_epi16(high, zero)));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * i), _mm_or_si128(_mm_packus_epi16(a, b), alpha));
    }
    for (; i < count; ++i) {
      std::uint32_t p;
      std::memcpy(&p, in + 4 * i, 4);
      const __m128i one = _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(p)), zero), zero);
      const __m128i packed = _mm_packs_epi32(Scale(one), zero);
      p = static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_or_si128(_mm_packus_epi16(packed, zero), alpha)));
      std::memcpy(out + 4 * i, &p, 4);
    }
  }
  __m128 gain_;
  bool vector_ = false;
#endif
  std::uint32_t table_[3][256];
};

struct Tables {
  std::vector<std::uint8_t> channel[3];  // indexed by blue, green, red
};

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

  // Interior of line y (1 <= y <= height - 2), pixels 1 to width - 2.
  void Interior(int y) const {
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

  // Interior through OpenCV. With gains the frame is demosaiced in bands of
  // lines into a scratch block that stays in cache, and each band goes
  // through the tables on its way to the destination, so the output is
  // written once. A band starts on an even source line, so that every band
  // has the pattern of the whole frame.
  void RunWithOpenCV(bool identity, const double gains[3]) const {
    // OpenCV names a pattern by the second line's second and third pixels.
    static constexpr int kCodes[4] = {cv::COLOR_BayerBG2BGRA, cv::COLOR_BayerRG2BGRA, cv::COLOR_BayerGR2BGRA,
                                      cv::COLOR_BayerGB2BGRA};
    const std::uint64_t sourceBytes = sourceStride * sizeof(S);
    if (identity) {
      const cv::Mat mosaic(height, width, CV_8UC1, const_cast<S*>(source), sourceBytes);
      cv::Mat colour(height, width, CV_8UC4, destination, destinationStride);
      cv::cvtColor(mosaic, colour, kCodes[pattern]);
      if (colour.data != destination) throw std::runtime_error("demosaicing moved the destination");
      Frame();
      return;
    }
    // 32 output lines of up to a few thousand pixels keep the scratch block
    // within the second-level cache beside the source lines.
    constexpr int kBandLines = 32;
    std::vector<std::uint32_t> scratch(static_cast<std::size_t>(kBandLines + 2) * static_cast<std::size_t>(width));
    const GainPass gainPass(lut, gains);
    for (int top = 0; top + 2 < height; top += kBandLines) {
      const int lines = std::min(kBandLines + 2, height - top);  // source lines of the band
      const cv::Mat mosaic(lines, width, CV_8UC1, const_cast<S*>(source) + static_cast<std::uint64_t>(top) * sourceStride,
                           sourceBytes);
      cv::Mat colour(lines, width, CV_8UC4, scratch.data());
      cv::cvtColor(mosaic, colour, kCodes[pattern]);
      if (colour.data != reinterpret_cast<std::uint8_t*>(scratch.data()))
        throw std::runtime_error("demosaicing moved the scratch block");
      for (int line = 1; line + 1 < lines; ++line) {
        const std::uint32_t* in = scratch.data() + static_cast<std::size_t>(line) * static_cast<std::size_t>(width);
        gainPass.Run(reinterpret_cast<const std::uint8_t*>(in + 1),
                     destination + static_cast<std::uint64_t>(top + line) * destinationStride + 4,
                     static_cast<std::size_t>(width) - 2);
      }
    }
    Frame();
  }
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
    Tables tables;
    for (int c = 0; c < 3; ++c) FillTable(&tables.channel[c], wide ? 65536 : 256, gains[c], depth);
    if (wide) {
      Decoder<std::uint16_t> decoder{static_cast<const std::uint16_t*>(source), sourceRowPixels,
                                     static_cast<std::uint8_t*>(destination), 4ull * lineWidth,
                                     static_cast<int>(width), static_cast<int>(height), static_cast<int>(pattern),
                                     {tables.channel[0].data(), tables.channel[1].data(), tables.channel[2].data()}};
      decoder.Run();
    } else {
      Decoder<std::uint8_t> decoder{static_cast<const std::uint8_t*>(source), sourceRowPixels,
                                    static_cast<std::uint8_t*>(destination), 4ull * lineWidth,
                                    static_cast<int>(width), static_cast<int>(height), static_cast<int>(pattern),
                                    {tables.channel[0].data(), tables.channel[1].data(), tables.channel[2].data()}};
      if (width >= 3 && height >= 3) decoder.RunWithOpenCV(depth == 8 && gains[0] == 1.0 && gains[1] == 1.0 && gains[2] == 1.0, gains);
      else decoder.Run();
    }
  } catch (...) {
    return ODV_E_NO_MEMORY;
  }
  return ODV_SUCCESS;
}
