// Tests of the lossless pixel codec: through the library's packing entry
// points (round trips, codec word, frames of the older codecs, rejected
// input), and on its internals compiled into this program (both kernel
// forms, the checker and decoder on damaged payloads).
#include <gtest/gtest.h>
#include <zstd.h>

#include <cstring>
#include <memory>
#include <vector>

#include "bit_planes.h"
#include "cpu_features.h"
#include "odvissvc/odvissvc.h"
#include "pixel_codec.h"
#include "pixel_predictors.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace {

struct ImageDeleter {
  void operator()(Image* image) const { DisposeImage(image); }
};
using ImagePtr = std::unique_ptr<Image, ImageDeleter>;

constexpr std::uint32_t kCodecTypes[] = {ODV_U8, ODV_I16, ODV_RGB32, ODV_HSL32, ODV_RGBU64, ODV_U16};

// Offsets in the packed descriptor.
constexpr std::size_t kPayloadSizeAt = 16, kPayloadCheckAt = 24, kCodecAt = 68, kSelfCheckAt = 84, kDescriptor = 88;

ImagePtr Make(std::uint32_t type, std::uint32_t width, std::uint32_t height, std::uint32_t border = 0) {
  Image* image = nullptr;
  EXPECT_EQ(NewImage(&image, type, width, height, border), ODV_SUCCESS);
  return ImagePtr(image);
}

std::uint32_t Word(const Image* image, int index) {
  std::uint32_t word;
  std::memcpy(&word, reinterpret_cast<const std::uint8_t*>(image) + 4 * index, 4);
  return word;
}

std::uint8_t* Row(Image* image, std::uint32_t y) {
  void* address = nullptr;
  EXPECT_EQ(GetImagePixel(image, 0, y, &address), ODV_SUCCESS);
  return static_cast<std::uint8_t*>(address);
}

std::uint64_t Stride(Image* image) { return std::uint64_t{Word(image, ODV_WORD_LINE_WIDTH)} * Word(image, ODV_WORD_PIXEL_SIZE); }

bool SamePixels(Image* a, Image* b) {
  const std::uint32_t w = Word(a, ODV_WORD_WIDTH), h = Word(a, ODV_WORD_HEIGHT);
  if (w != Word(b, ODV_WORD_WIDTH) || h != Word(b, ODV_WORD_HEIGHT) || Word(a, ODV_WORD_TYPE) != Word(b, ODV_WORD_TYPE))
    return false;
  for (std::uint32_t y = 0; y < h; ++y)
    if (std::memcmp(Row(a, y), Row(b, y), std::size_t{w} * Word(a, ODV_WORD_PIXEL_SIZE)) != 0) return false;
  return true;
}

// Pictures of three kinds: a smooth ramp with small noise (what the
// predictors are made for), full-range random bytes (every block 8 planes
// deep), and a flat field with rare spikes (zero blocks beside deep ones).
void Fill(Image* image, int kind, std::uint32_t seed) {
  const std::uint32_t w = Word(image, ODV_WORD_WIDTH), h = Word(image, ODV_WORD_HEIGHT);
  const std::uint32_t bytes = w * Word(image, ODV_WORD_PIXEL_SIZE);
  std::uint32_t state = seed * 2654435761u + 1;
  for (std::uint32_t y = 0; y < h; ++y) {
    std::uint8_t* row = Row(image, y);
    for (std::uint32_t i = 0; i < bytes; ++i) {
      state = state * 1664525u + 1013904223u;
      const std::uint32_t noise = state >> 24;
      if (kind == 0) row[i] = static_cast<std::uint8_t>(i / 3 + 2 * y + (noise & 3));
      else if (kind == 1) row[i] = static_cast<std::uint8_t>(noise);
      else row[i] = (noise & 63) == 0 ? static_cast<std::uint8_t>(noise) : 100;
    }
  }
}

std::vector<std::uint8_t> Pack(Image* image, std::uint32_t compression) {
  OdvRPCData* data = nullptr;
  std::uint64_t size = 0;
  EXPECT_EQ(FlattenImageToRPCData(image, ODV_PACK_FORMAT, compression, 1, 750, 0, 0, 0x100000, &data, &size), ODV_SUCCESS);
  std::vector<std::uint8_t> bytes(size);
  std::uint64_t written = 0;
  EXPECT_EQ(FlattenRPCDataToStream(data, bytes.data(), size, &written), ODV_SUCCESS);
  DisposeRPCData(data);
  return bytes;
}

OdvStatus Unpack(const std::vector<std::uint8_t>& bytes, Image** image) {
  const Array1D view{const_cast<std::uint8_t*>(bytes.data()), bytes.size(), bytes.size(), 1, 0, nullptr};
  return UnflattenImageFromArray1D(image, &view);
}

std::uint32_t U32At(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  std::uint32_t v;
  std::memcpy(&v, bytes.data() + at, 4);
  return v;
}

// Makes the descriptor's hashes fit its (edited) fields and payload again,
// as a writer that meant the edit would have.
void Reseal(std::vector<std::uint8_t>* bytes) {
  const std::uint64_t payloadSize = bytes->size() - kDescriptor;
  std::memcpy(bytes->data() + kPayloadSizeAt, &payloadSize, 8);
  const std::uint64_t check = XXH3_64bits(bytes->data() + kDescriptor, payloadSize);
  std::memcpy(bytes->data() + kPayloadCheckAt, &check, 8);
  const auto self = static_cast<std::uint32_t>(XXH3_64bits(bytes->data(), kSelfCheckAt));
  std::memcpy(bytes->data() + kSelfCheckAt, &self, 4);
}

TEST(PixelCodec, EveryTypeAndSizeRoundTripsExactly) {
  const std::uint32_t widths[] = {1, 2, 3, 5, 8, 31, 32, 33, 63, 65, 127};
  const std::uint32_t heights[] = {1, 2, 3, 4, 7, 33};
  for (std::uint32_t type : kCodecTypes) {
    for (std::uint32_t width : widths) {
      for (std::uint32_t height : heights) {
        for (std::uint32_t border : {0u, 3u}) {  // a border pads every line
          const int kind = static_cast<int>((width + height + border) % 3);
          ImagePtr source = Make(type, width, height, border);
          Fill(source.get(), kind, width * 131 + height);
          const std::vector<std::uint8_t> bytes = Pack(source.get(), ODV_COMPRESS_LOSSLESS);
          // A flat field may travel as zstd where that is smaller.
          if (kind != 2) {
            ASSERT_EQ(U32At(bytes, kCodecAt), 4u) << "the pixel codec packs type " << type;
          }
          ImagePtr target = Make(ODV_U8, 2, 2, 1);
          Image* raw = target.get();
          ASSERT_EQ(Unpack(bytes, &raw), ODV_SUCCESS) << type << " " << width << "x" << height << " kind " << kind;
          EXPECT_TRUE(SamePixels(source.get(), raw)) << type << " " << width << "x" << height << " kind " << kind;
        }
      }
    }
  }
}

TEST(PixelCodec, CompressesANoisySmoothFrameBetterThanAGeneralCodec) {
  ImagePtr source = Make(ODV_U8, 640, 480);
  ASSERT_EQ(FillTestPattern(source.get(), 2, 1, 9), ODV_SUCCESS);
  const std::vector<std::uint8_t> ours = Pack(source.get(), ODV_COMPRESS_LOSSLESS);
  std::vector<std::uint8_t> zstd(ZSTD_compressBound(640 * 480));
  const std::size_t zstdSize = ZSTD_compress(zstd.data(), zstd.size(), Row(source.get(), 0), 640 * 480, 1);
  ASSERT_FALSE(ZSTD_isError(zstdSize));
  EXPECT_LT(ours.size(), zstdSize);
  EXPECT_LT(ours.size(), 640u * 480u / 2);
}

// A frame without noise may travel as zstd where that is smaller; it comes
// back exactly either way.
TEST(PixelCodec, QuietFramesTakeTheSmallerOfTheTwoCodecs) {
  ImagePtr quiet = Make(ODV_U8, 640, 480);
  ASSERT_EQ(FillTestPattern(quiet.get(), 3, 0, 1), ODV_SUCCESS);
  const std::vector<std::uint8_t> bytes = Pack(quiet.get(), ODV_COMPRESS_LOSSLESS);
  EXPECT_EQ(U32At(bytes, kCodecAt), 2u);
  odv::Buffer pixel;
  ASSERT_EQ(odv::EncodePixels(ODV_U8, 640, 480, Row(quiet.get(), 0), Stride(quiet.get()), 1 << 20, 1, &pixel),
            ODV_SUCCESS);
  EXPECT_LT(bytes.size(), kDescriptor + pixel.size);
  Image* raw = nullptr;
  ASSERT_EQ(Unpack(bytes, &raw), ODV_SUCCESS);
  ImagePtr target(raw);
  EXPECT_TRUE(SamePixels(quiet.get(), raw));
}

TEST(PixelCodec, FloatingPointTypesStillGoThroughZstd) {
  for (std::uint32_t type : {std::uint32_t{ODV_SGL}, std::uint32_t{ODV_COMPLEX}}) {
    ImagePtr source = Make(type, 17, 5, 1);
    Fill(source.get(), 0, 3);
    const std::vector<std::uint8_t> bytes = Pack(source.get(), ODV_COMPRESS_LOSSLESS);
    EXPECT_EQ(U32At(bytes, kCodecAt), 2u);
    Image* raw = nullptr;
    ASSERT_EQ(Unpack(bytes, &raw), ODV_SUCCESS);
    ImagePtr target(raw);
    EXPECT_TRUE(SamePixels(source.get(), raw));
  }
}

// A frame packed by a writer of the general-purpose codec (one zstd chunk
// after its size word) still unpacks.
TEST(PixelCodec, FramesOfTheGeneralCodecStillUnpack) {
  ImagePtr source = Make(ODV_U16, 32, 9);  // lines of 64 bytes: no padding
  ASSERT_EQ(Word(source.get(), ODV_WORD_LINE_WIDTH), 32u);
  Fill(source.get(), 0, 5);
  std::vector<std::uint8_t> bytes = Pack(source.get(), ODV_COMPRESS_LOSSLESS);
  bytes.resize(kDescriptor);
  std::vector<std::uint8_t> chunk(ZSTD_compressBound(32 * 9 * 2));
  const std::size_t n = ZSTD_compress(chunk.data(), chunk.size(), Row(source.get(), 0), 32 * 9 * 2, 3);
  ASSERT_FALSE(ZSTD_isError(n));
  const auto word = static_cast<std::uint32_t>(n);
  bytes.insert(bytes.end(), reinterpret_cast<const std::uint8_t*>(&word), reinterpret_cast<const std::uint8_t*>(&word) + 4);
  bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(n));
  const std::uint32_t zstdCodec = 2;
  std::memcpy(bytes.data() + kCodecAt, &zstdCodec, 4);
  Reseal(&bytes);
  Image* raw = nullptr;
  ASSERT_EQ(Unpack(bytes, &raw), ODV_SUCCESS);
  ImagePtr target(raw);
  EXPECT_TRUE(SamePixels(source.get(), raw));
}

TEST(PixelCodec, AnUnknownCodecIsAnsweredWithAVersionStatus) {
  ImagePtr source = Make(ODV_U8, 20, 4);
  Fill(source.get(), 0, 1);
  std::vector<std::uint8_t> bytes = Pack(source.get(), ODV_COMPRESS_LOSSLESS);
  const std::uint32_t future = 9;
  std::memcpy(bytes.data() + kCodecAt, &future, 4);
  Reseal(&bytes);
  ImagePtr target = Make(ODV_U8, 3, 3);
  Image* raw = target.get();
  EXPECT_EQ(Unpack(bytes, &raw), ODV_E_VERSION);
}

// Payloads cut short or with flipped bits, under a descriptor resealed to
// match them, reach the codec's own checks: cuts are refused, and a flip is
// refused or decodes within the image (the sanitizers watch every access).
TEST(PixelCodec, DamagedPayloadsBehindValidHashesAreRefusedOrStayInBounds) {
  for (std::uint32_t type : {std::uint32_t{ODV_U8}, std::uint32_t{ODV_RGB32}, std::uint32_t{ODV_U16}}) {
    ImagePtr source = Make(type, 45, 7, 1);
    Fill(source.get(), 0, type);
    const std::vector<std::uint8_t> bytes = Pack(source.get(), ODV_COMPRESS_LOSSLESS);
    for (std::size_t cut = kDescriptor; cut < bytes.size(); ++cut) {
      std::vector<std::uint8_t> shorter(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut));
      Reseal(&shorter);
      shorter.shrink_to_fit();
      ImagePtr target = Make(ODV_U8, 1, 1);
      Image* raw = target.get();
      ASSERT_NE(Unpack(shorter, &raw), ODV_SUCCESS) << type << " cut at " << cut;
    }
    int refused = 0;
    for (std::size_t bit = kDescriptor * 8; bit < bytes.size() * 8; ++bit) {
      std::vector<std::uint8_t> flipped = bytes;
      flipped[bit / 8] ^= static_cast<std::uint8_t>(1u << (bit % 8));
      Reseal(&flipped);
      ImagePtr target = Make(ODV_U8, 1, 1);
      Image* raw = target.get();
      refused += Unpack(flipped, &raw) != ODV_SUCCESS;
    }
    EXPECT_GT(refused, 0) << type;
  }
}

// The decoder checks before it writes: a refused payload leaves the target alone.
TEST(PixelCodec, CheckerRefusesBeforeAnyPixelIsWritten) {
  ImagePtr source = Make(ODV_U8, 70, 12);
  Fill(source.get(), 0, 4);
  odv::Buffer payload;
  ASSERT_EQ(odv::EncodePixels(ODV_U8, 70, 12, Row(source.get(), 0), Stride(source.get()), 70 * 4, 1, &payload),
            ODV_SUCCESS);
  std::vector<std::uint8_t> bytes(payload.data.get(), payload.data.get() + payload.size);
  odv::PixelPlan plan;
  ASSERT_EQ(odv::CheckPixels(ODV_U8, 70, 12, bytes.data(), bytes.size(), &plan), ODV_SUCCESS);
  EXPECT_EQ(plan.offsets.size(), 4u);  // three slices of four lines, and the end
  EXPECT_EQ(odv::CheckPixels(ODV_U8, 70, 13, bytes.data(), bytes.size(), &plan), ODV_E_CORRUPT);
  EXPECT_EQ(odv::CheckPixels(ODV_U16, 70, 12, bytes.data(), bytes.size(), &plan), ODV_E_CORRUPT);
  EXPECT_EQ(odv::CheckPixels(ODV_U8, 70, 12, bytes.data(), 15, &plan), ODV_E_TRUNCATED);
  std::vector<std::uint8_t> newer = bytes;
  newer[0] = 2;
  EXPECT_EQ(odv::CheckPixels(ODV_U8, 70, 12, newer.data(), newer.size(), &plan), ODV_E_VERSION);
  std::vector<std::uint8_t> wide = bytes;
  wide[16 + 12 + 4] = 0x09;  // first width nibble of the first slice: 9 planes
  EXPECT_EQ(odv::CheckPixels(ODV_U8, 70, 12, wide.data(), wide.size(), &plan), ODV_E_CORRUPT);
  std::vector<std::uint8_t> big = bytes;
  big[16] = 0xFF;  // first slice size
  big[17] = 0xFF;
  EXPECT_EQ(odv::CheckPixels(ODV_U8, 70, 12, big.data(), big.size(), &plan), ODV_E_TRUNCATED);
  std::vector<std::uint8_t> mosaic = bytes;
  mosaic[16 + 12] |= 8;  // an undefined predictor bit
  EXPECT_EQ(odv::CheckPixels(ODV_U8, 70, 12, mosaic.data(), mosaic.size(), &plan), ODV_E_CORRUPT);
}

// Both kernel forms write the same bytes and read each other's.
TEST(PixelCodec, VectorAndPortableKernelsAgree) {
  if (!odv::CpuHasAvx2()) GTEST_SKIP() << "no AVX2 on this processor";
  for (std::uint32_t type : kCodecTypes) {
    for (int kind = 0; kind < 3; ++kind) {
      ImagePtr source = Make(type, 211, 37, 2);
      Fill(source.get(), kind, type + 7);
      odv::Buffer vector, portable;
      ASSERT_EQ(odv::EncodePixels(type, 211, 37, Row(source.get(), 0), Stride(source.get()), 211 * 8 * 5, 1, &vector),
                ODV_SUCCESS);
      odv::Avx2Allowed() = false;
      const OdvStatus status =
          odv::EncodePixels(type, 211, 37, Row(source.get(), 0), Stride(source.get()), 211 * 8 * 5, 1, &portable);
      ImagePtr target = Make(type, 211, 37, 2);
      odv::PixelPlan plan;
      const OdvStatus checked = odv::CheckPixels(type, 211, 37, vector.data.get(), vector.size, &plan);
      const OdvStatus decoded = odv::DecodePixels(plan, Row(target.get(), 0), Stride(target.get()), 1);
      odv::Avx2Allowed() = true;
      ASSERT_EQ(status, ODV_SUCCESS);
      ASSERT_EQ(vector.size, portable.size) << type << " kind " << kind;
      EXPECT_EQ(std::memcmp(vector.data.get(), portable.data.get(), vector.size), 0) << type << " kind " << kind;
      ASSERT_EQ(checked, ODV_SUCCESS);
      ASSERT_EQ(decoded, ODV_SUCCESS);
      EXPECT_TRUE(SamePixels(source.get(), target.get())) << type << " kind " << kind;
    }
  }
}

// Each predictor, with and without the mosaic step, inverts exactly, also on
// rows shorter than the step and its neighbours.
TEST(PixelCodec, EveryPredictorInvertsOnEveryRowLength) {
  for (unsigned bytes : {1u, 2u}) {
    for (std::size_t step : {1u, 2u, 4u, 8u}) {
      for (std::size_t elements = 1; elements < 70; ++elements) {
        const odv::RowGeometry row{bytes, elements, step};
        std::vector<std::uint8_t> up(elements * bytes), current(elements * bytes), residual(elements * bytes),
            back(elements * bytes);
        for (std::size_t i = 0; i < up.size(); ++i) {
          up[i] = static_cast<std::uint8_t>(i * 37 + step);
          current[i] = static_cast<std::uint8_t>(i * 53 + 11 * elements);
        }
        for (unsigned p = 0; p < odv::kPredictors; ++p) {
          for (bool withUp : {false, true}) {
            const auto predictor = static_cast<odv::Predictor>(p);
            odv::ResidualRow(row, predictor, current.data(), withUp ? up.data() : nullptr, residual.data());
            odv::ReconstructRow(row, predictor, residual.data(), withUp ? up.data() : nullptr, back.data());
            ASSERT_EQ(back, current) << bytes << " " << step << " " << elements << " " << p << " " << withUp;
          }
        }
      }
    }
  }
}

TEST(PixelCodec, EveryShareOfGreenIsUndone) {
  for (unsigned bytes : {1u, 2u}) {
    std::vector<std::uint8_t> residual(37 * 4 * bytes);
    for (std::size_t i = 0; i < residual.size(); ++i) residual[i] = static_cast<std::uint8_t>(i * 151 + 7);
    for (unsigned blue = 0; blue < odv::kColourModes; ++blue) {
      for (unsigned red = 0; red < odv::kColourModes; ++red) {
        std::vector<std::uint8_t> coded = residual;
        odv::DecorrelateColours(bytes, blue, red, 37, coded.data(), false);
        odv::DecorrelateColours(bytes, blue, red, 37, coded.data(), true);
        ASSERT_EQ(coded, residual) << bytes << " " << blue << " " << red;
      }
    }
  }
}

// Colour pixels whose blue falls as green rises: the encoder finds that blue
// is best coded against minus green, and red against half of green.
TEST(PixelCodec, ColourResidualsAreCodedAgainstGreen) {
  ImagePtr source = Make(ODV_RGB32, 256, 48);
  ASSERT_EQ(FillTestPattern(source.get(), 1, 3, 5), ODV_SUCCESS);  // blue = 255 - value, red = value / 2 + ...
  odv::Buffer payload;
  ASSERT_EQ(odv::EncodePixels(ODV_RGB32, 256, 48, Row(source.get(), 0), Stride(source.get()), 1 << 20, 1, &payload),
            ODV_SUCCESS);
  const std::uint8_t colours = payload.data.get()[16 + 4 + 1];
  EXPECT_EQ(colours & 7, 2) << int(colours);
  EXPECT_EQ(colours >> 3, 3) << int(colours);
  odv::PixelPlan plan;
  ASSERT_EQ(odv::CheckPixels(ODV_RGB32, 256, 48, payload.data.get(), payload.size, &plan), ODV_SUCCESS);
  ImagePtr target = Make(ODV_RGB32, 256, 48);
  ASSERT_EQ(odv::DecodePixels(plan, Row(target.get(), 0), Stride(target.get()), 1), ODV_SUCCESS);
  EXPECT_TRUE(SamePixels(source.get(), target.get()));
  std::vector<std::uint8_t> bytes(payload.data.get(), payload.data.get() + payload.size);
  bytes[16 + 4 + 1] = 5;  // no such share
  EXPECT_EQ(odv::CheckPixels(ODV_RGB32, 256, 48, bytes.data(), bytes.size(), &plan), ODV_E_CORRUPT);
}

TEST(PixelCodec, BitPlanesOfEveryWidthAndCount) {
  for (std::size_t count = 1; count < 200; count += 7) {
    for (unsigned k = 0; k <= 8; ++k) {
      std::vector<std::uint8_t> values(count);
      for (std::size_t i = 0; i < count; ++i) values[i] = static_cast<std::uint8_t>((i * 89 + k) & ((1u << k) - 1));
      std::vector<std::uint8_t> widths(odv::WidthBytes(count)), masks(odv::MaxMaskBytes(count)), back(count);
      const std::size_t written = odv::PackBitPlanes(values.data(), count, widths.data(), masks.data());
      std::uint64_t announced = 0;
      ASSERT_TRUE(odv::MaskBytesOf(widths.data(), count, &announced));
      ASSERT_EQ(announced, written);
      EXPECT_EQ(odv::PlaneBits(values.data(), count), written * 8);
      odv::UnpackBitPlanes(widths.data(), masks.data(), count, back.data());
      ASSERT_EQ(back, values) << count << " " << k;
    }
  }
}

// A raw Bayer mosaic is predicted from same-coloured neighbours.
TEST(PixelCodec, BayerMosaicIsPredictedWithinItsColours) {
  ImagePtr colour = Make(ODV_RGB32, 256, 64);
  ASSERT_EQ(FillTestPattern(colour.get(), 1, 2, 3), ODV_SUCCESS);
  ImagePtr mosaic = Make(ODV_U8, 256, 64);
  for (std::uint32_t y = 0; y < 64; ++y)
    for (std::uint32_t x = 0; x < 256; ++x) {
      // Red, green and blue sites hold very different levels, as behind a colour filter.
      const int channel = (y & 1) == 0 ? ((x & 1) == 0 ? 2 : 1) : ((x & 1) == 0 ? 1 : 0);
      Row(mosaic.get(), y)[x] = static_cast<std::uint8_t>(Row(colour.get(), y)[4 * x + channel] / 2 + 40 * channel);
    }
  odv::Buffer payload;
  ASSERT_EQ(odv::EncodePixels(ODV_U8, 256, 64, Row(mosaic.get(), 0), Stride(mosaic.get()), 1 << 20, 1, &payload),
            ODV_SUCCESS);
  const std::uint8_t code = payload.data.get()[16 + 4];  // predictor of the only slice
  EXPECT_NE(code & 4, 0) << "predictor code " << int(code);
  std::vector<std::uint8_t> bytes(payload.data.get(), payload.data.get() + payload.size);
  ImagePtr target = Make(ODV_U8, 256, 64);
  odv::PixelPlan plan;
  ASSERT_EQ(odv::CheckPixels(ODV_U8, 256, 64, bytes.data(), bytes.size(), &plan), ODV_SUCCESS);
  ASSERT_EQ(odv::DecodePixels(plan, Row(target.get(), 0), Stride(target.get()), 1), ODV_SUCCESS);
  EXPECT_TRUE(SamePixels(mosaic.get(), target.get()));
}

}  // namespace
