// Tests of the image library through its C header.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <atomic>
#include <chrono>
#include <memory>
#include <unistd.h>
#include <string>
#include <thread>
#include <vector>

#include "odvissvc/odvissvc.h"

// The reference XXH3, compiled into the test itself, to check that packed
// payload hashes are XXH3-64 whichever code path the library took.
#define XXH_INLINE_ALL
#include <xxhash.h>

namespace {

struct ImageDeleter {
  void operator()(Image* image) const { DisposeImage(image); }
};
using ImagePtr = std::unique_ptr<Image, ImageDeleter>;

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

std::uint8_t* Pixel(Image* image, std::uint32_t x, std::uint32_t y) {
  void* address = nullptr;
  EXPECT_EQ(GetImagePixel(image, x, y, &address), ODV_SUCCESS);
  return static_cast<std::uint8_t*>(address);
}

// Compares the pixels of two images of the same geometry, line by line.
bool SamePixels(Image* a, Image* b) {
  const std::uint32_t w = Word(a, ODV_WORD_WIDTH), h = Word(a, ODV_WORD_HEIGHT);
  if (w != Word(b, ODV_WORD_WIDTH) || h != Word(b, ODV_WORD_HEIGHT) || Word(a, ODV_WORD_TYPE) != Word(b, ODV_WORD_TYPE))
    return false;
  const std::uint32_t bytes = w * Word(a, ODV_WORD_PIXEL_SIZE);
  for (std::uint32_t y = 0; y < h; ++y) {
    if (std::memcmp(Pixel(a, 0, y), Pixel(b, 0, y), bytes) != 0) return false;
  }
  return true;
}

std::vector<std::uint8_t> Pack(Image* image, std::uint32_t compression, std::uint32_t quality = 750) {
  OdvRPCData* data = nullptr;
  std::uint64_t size = 0;
  EXPECT_EQ(FlattenImageToRPCData(image, ODV_PACK_FORMAT, compression, 1, quality, 0, 0, 0x100000, &data, &size),
            ODV_SUCCESS);
  std::vector<std::uint8_t> bytes(size);
  std::uint64_t written = 0;
  EXPECT_EQ(FlattenRPCDataToStream(data, bytes.data(), size, &written), ODV_SUCCESS);
  EXPECT_EQ(written, size);
  DisposeRPCData(data);
  return bytes;
}

OdvStatus Unpack(std::vector<std::uint8_t>& bytes, Image** image) {
  const Array1D view{bytes.data(), bytes.size(), bytes.size(), 1, 0, nullptr};
  return UnflattenImageFromArray1D(image, &view);
}

// Fills any image type with varied bytes (noise with structure).
void FillBytes(Image* image, std::uint32_t seed) {
  const std::uint32_t w = Word(image, ODV_WORD_WIDTH), h = Word(image, ODV_WORD_HEIGHT);
  const std::uint32_t bytes = w * Word(image, ODV_WORD_PIXEL_SIZE);
  std::uint32_t state = seed;
  for (std::uint32_t y = 0; y < h; ++y) {
    std::uint8_t* row = Pixel(image, 0, y);
    for (std::uint32_t i = 0; i < bytes; ++i) {
      state = state * 1664525u + 1013904223u;
      row[i] = static_cast<std::uint8_t>((i / 7 + y) * 3 + ((state >> 24) & 7));
    }
  }
}

double Psnr(Image* a, Image* b, std::uint32_t channels, std::uint32_t stride) {
  const std::uint32_t w = Word(a, ODV_WORD_WIDTH), h = Word(a, ODV_WORD_HEIGHT);
  double sum = 0;
  std::uint64_t n = 0;
  for (std::uint32_t y = 0; y < h; ++y) {
    const std::uint8_t* p = Pixel(a, 0, y);
    const std::uint8_t* q = Pixel(b, 0, y);
    for (std::uint32_t x = 0; x < w; ++x) {
      for (std::uint32_t c = 0; c < channels; ++c) {
        const double d = double(p[x * stride + c]) - double(q[x * stride + c]);
        sum += d * d;
        ++n;
      }
    }
  }
  return sum == 0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / (sum / double(n)));
}

TEST(ImageObject, HeaderWordsAndPixelSizes) {
  const std::uint32_t sizes[] = {1, 2, 4, 8, 4, 4, 8, 2};
  for (std::uint32_t type = 0; type < 8; ++type) {
    EXPECT_EQ(ImageTypePixelSize(type), sizes[type]);
    ImagePtr image = Make(type, 5, 3);
    EXPECT_EQ(Word(image.get(), ODV_WORD_WIDTH), 5u);
    EXPECT_EQ(Word(image.get(), ODV_WORD_HEIGHT), 3u);
    EXPECT_EQ(Word(image.get(), ODV_WORD_KIND), 0u);
    EXPECT_GE(Word(image.get(), ODV_WORD_LINE_WIDTH), 5u);
    EXPECT_EQ(Word(image.get(), ODV_WORD_PIXEL_SIZE), sizes[type]);
  }
  EXPECT_EQ(ImageTypePixelSize(8), 0u);
  Image* bad = nullptr;
  EXPECT_EQ(NewImage(&bad, 8, 1, 1, 0), ODV_E_ARGUMENT);
  EXPECT_EQ(NewImage(nullptr, 0, 1, 1, 0), ODV_E_ARGUMENT);
}

TEST(ImageObject, IsImageKnowsLiveImagesOnly) {
  Image* image = nullptr;
  ASSERT_EQ(NewImage(&image, ODV_U8, 0, 0, 0), ODV_SUCCESS);
  EXPECT_EQ(IsImage(image), 1);
  EXPECT_EQ(IsImage(nullptr), 0);
  int notAnImage[32] = {};
  EXPECT_EQ(IsImage(reinterpret_cast<Image*>(notAnImage)), 0);
  EXPECT_EQ(DisposeImage(image), ODV_SUCCESS);
  EXPECT_EQ(IsImage(image), 0);
  EXPECT_EQ(DisposeImage(reinterpret_cast<Image*>(notAnImage)), ODV_E_NOT_AN_IMAGE);
}

TEST(ImageObject, ResizeCastBorderAndPixelAddress) {
  ImagePtr image = Make(ODV_U8, 0, 0, 2);
  void* address = nullptr;
  EXPECT_EQ(GetImagePixel(image.get(), 0, 0, &address), ODV_E_ARGUMENT);  // empty image
  ASSERT_EQ(ResizeAndCastImage(image.get(), 10, 4, ODV_U16), ODV_SUCCESS);
  EXPECT_EQ(Word(image.get(), ODV_WORD_TYPE), std::uint32_t{ODV_U16});
  const std::uint32_t line = Word(image.get(), ODV_WORD_LINE_WIDTH);
  EXPECT_GE(line, 14u);  // width and a border of 2 on each side
  auto* p00 = Pixel(image.get(), 0, 0);
  auto* p31 = Pixel(image.get(), 3, 1);
  EXPECT_EQ(p31 - p00, std::ptrdiff_t(2 * (line + 3)));
  EXPECT_EQ(GetImagePixel(image.get(), 10, 0, &address), ODV_E_ARGUMENT);
  EXPECT_EQ(SetBitDepth(image.get(), 12), ODV_SUCCESS);
  EXPECT_EQ(Word(image.get(), ODV_WORD_BIT_DEPTH), 12u);
  EXPECT_EQ(SetBitDepth(image.get(), 17), ODV_E_ARGUMENT);
  std::uint32_t words[16] = {};
  EXPECT_EQ(ResizeAndCastImage(reinterpret_cast<Image*>(words), 1, 1, 0), ODV_E_NOT_AN_IMAGE);
}

TEST(ImageLocks, ReentrantPerThreadAndCounted) {
  ImagePtr image = Make(ODV_U8, 4, 4);
  Image* list[1] = {image.get()};
  std::uint32_t count = 9;
  EXPECT_EQ(UnlockImage(list, 1, ODV_LOCK_WRITE), ODV_E_NOT_LOCKED);
  ASSERT_EQ(LockImage(list, 1, ODV_LOCK_READ), ODV_SUCCESS);
  ASSERT_EQ(LockImage(list, 1, ODV_LOCK_WRITE), ODV_SUCCESS);  // only this thread reads
  ASSERT_EQ(GetImageLockCount(image.get(), ODV_LOCK_READ, &count), ODV_SUCCESS);
  EXPECT_EQ(count, 1u);
  ASSERT_EQ(GetImageLockCount(image.get(), ODV_LOCK_WRITE, &count), ODV_SUCCESS);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(UnlockImage(list, 1, ODV_LOCK_WRITE), ODV_SUCCESS);
  EXPECT_EQ(UnlockImage(list, 1, ODV_LOCK_READ), ODV_SUCCESS);
  EXPECT_EQ(UnlockImage(list, 1, ODV_LOCK_READ), ODV_E_NOT_LOCKED);
  EXPECT_EQ(LockImage(list, 1, 2), ODV_E_ARGUMENT);
  EXPECT_EQ(LockImage(nullptr, 1, 0), ODV_E_ARGUMENT);
}

TEST(ImageLocks, WriterWaitsForOtherThreadsReader) {
  ImagePtr image = Make(ODV_U8, 4, 4);
  Image* list[1] = {image.get()};
  ASSERT_EQ(LockImage(list, 1, ODV_LOCK_READ), ODV_SUCCESS);
  std::atomic<bool> locked{false};
  std::thread writer([&] {
    LockImage(list, 1, ODV_LOCK_WRITE);
    locked = true;
    UnlockImage(list, 1, ODV_LOCK_WRITE);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(locked.load());
  UnlockImage(list, 1, ODV_LOCK_READ);
  writer.join();
  EXPECT_TRUE(locked.load());
}

TEST(Packing, EveryTypeRoundTripsExactlyWithoutAndWithLossless) {
  for (std::uint32_t type = 0; type < 8; ++type) {
    for (std::uint32_t compression : {ODV_COMPRESS_NONE, ODV_COMPRESS_LOSSLESS, ODV_COMPRESS_JPEG}) {
      if (compression == ODV_COMPRESS_JPEG && (type == ODV_U8 || type == ODV_RGB32)) continue;  // lossy, below
      ImagePtr source = Make(type, 37, 11, 1);  // padded lines and a border
      FillBytes(source.get(), type * 7 + compression);
      SetBitDepth(source.get(), ImageTypePixelSize(type) == 2 ? 12 : 0);
      std::vector<std::uint8_t> bytes = Pack(source.get(), compression);
      Image* target = nullptr;
      ASSERT_EQ(Unpack(bytes, &target), ODV_SUCCESS) << type << " " << compression;
      ImagePtr owned(target);
      EXPECT_TRUE(SamePixels(source.get(), target)) << type << " " << compression;
      EXPECT_EQ(Word(target, ODV_WORD_BIT_DEPTH), Word(source.get(), ODV_WORD_BIT_DEPTH));
    }
  }
}

TEST(Packing, LosslessShrinksCompressibleImages) {
  ImagePtr source = Make(ODV_U8, 640, 480);
  ASSERT_EQ(FillTestPattern(source.get(), 3, 0, 1), ODV_SUCCESS);
  EXPECT_LT(Pack(source.get(), ODV_COMPRESS_LOSSLESS).size(), Pack(source.get(), ODV_COMPRESS_NONE).size() / 4);
}

TEST(Packing, JpegOfTestPatternAboveThirtyFiveDecibels) {
  for (std::uint32_t type : {std::uint32_t{ODV_U8}, std::uint32_t{ODV_RGB32}}) {
    ImagePtr source = Make(type, 320, 240);
    ASSERT_EQ(FillTestPattern(source.get(), 0, 2, 5), ODV_SUCCESS);
    std::vector<std::uint8_t> bytes = Pack(source.get(), ODV_COMPRESS_JPEG, 750);
    EXPECT_LT(bytes.size(), 320u * 240u * ImageTypePixelSize(type) / 2);
    ImagePtr target = Make(ODV_U8, 1, 1);
    Image* raw = target.get();
    ASSERT_EQ(Unpack(bytes, &raw), ODV_SUCCESS);
    const bool colour = type == ODV_RGB32;
    EXPECT_GT(Psnr(source.get(), raw, colour ? 3 : 1, colour ? 4 : 1), 35.0);
  }
}

TEST(Packing, TruncatedStreamsAreRejected) {
  ImagePtr source = Make(ODV_U16, 50, 20);
  FillBytes(source.get(), 3);
  for (std::uint32_t compression : {ODV_COMPRESS_NONE, ODV_COMPRESS_LOSSLESS}) {
    std::vector<std::uint8_t> bytes = Pack(source.get(), compression);
    for (std::size_t cut : {std::size_t{0}, std::size_t{4}, std::size_t{79}, std::size_t{80}, bytes.size() / 2, bytes.size() - 1}) {
      // Exactly `cut` bytes on the heap, so that a read beyond them is caught.
      std::vector<std::uint8_t> shorter(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut));
      shorter.shrink_to_fit();
      const Array1D view{shorter.data(), cut, cut, 1, 0, nullptr};
      ImagePtr target = Make(ODV_U8, 2, 2);
      Image* raw = target.get();
      EXPECT_NE(UnflattenImageFromArray1D(&raw, &view), ODV_SUCCESS) << cut;
    }
  }
}

TEST(Packing, EveryFlippedBitIsRejected) {
  ImagePtr source = Make(ODV_U8, 24, 6);
  FillBytes(source.get(), 11);
  for (std::uint32_t compression : {ODV_COMPRESS_NONE, ODV_COMPRESS_LOSSLESS, ODV_COMPRESS_JPEG}) {
    const std::vector<std::uint8_t> bytes = Pack(source.get(), compression);
    for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
      std::vector<std::uint8_t> flipped = bytes;
      flipped[bit / 8] ^= static_cast<std::uint8_t>(1u << (bit % 8));
      ImagePtr target = Make(ODV_U8, 1, 1);
      Image* raw = target.get();
      ASSERT_NE(Unpack(flipped, &raw), ODV_SUCCESS) << compression << " bit " << bit;
    }
  }
}

// Images without padding (lines of a multiple of 64 bytes) are copied and
// hashed in one pass; sizes around the hash's internal boundaries: short
// inputs up to 240 bytes, 64-byte stripes, 1024-byte blocks.
TEST(Packing, UnpaddedImagesOfManySizesRoundTripExactly) {
  for (std::uint32_t width : {64u, 192u, 1280u}) {
    for (std::uint32_t height : {1u, 3u, 4u, 5u, 6u, 15u, 16u, 17u, 33u}) {
      ImagePtr source = Make(ODV_U8, width, height);
      ASSERT_EQ(Word(source.get(), ODV_WORD_LINE_WIDTH), width);
      FillBytes(source.get(), width + height);
      std::vector<std::uint8_t> bytes = Pack(source.get(), ODV_COMPRESS_NONE);
      // The descriptor (88 bytes) holds the payload's hash at byte 24.
      ASSERT_EQ(bytes.size(), 88u + width * height);
      std::uint64_t check = 0;
      std::memcpy(&check, bytes.data() + 24, sizeof check);
      EXPECT_EQ(check, XXH3_64bits(bytes.data() + 88, bytes.size() - 88)) << width << "x" << height;
      Image* raw = nullptr;
      ASSERT_EQ(Unpack(bytes, &raw), ODV_SUCCESS) << width << "x" << height;
      ImagePtr target(raw);
      EXPECT_TRUE(SamePixels(source.get(), raw)) << width << "x" << height;
    }
  }
}

// A flipped bit of the descriptor is refused before the target changes. The
// pixels of an uncompressed image are hashed while they are copied into the
// target, so a flipped pixel bit is refused after the copy: the target then
// has the packed geometry and zeroed pixels, never the damaged ones.
TEST(Packing, EveryFlippedBitOfALargerUnpaddedImageIsRejected) {
  ImagePtr source = Make(ODV_U8, 64, 18);  // 1152 bytes without padding: a full block and two stripes
  ASSERT_EQ(Word(source.get(), ODV_WORD_LINE_WIDTH), 64u);
  FillBytes(source.get(), 17);
  const std::vector<std::uint8_t> bytes = Pack(source.get(), ODV_COMPRESS_NONE);
  ImagePtr before = Make(ODV_U16, 3, 2);
  FillBytes(before.get(), 2);
  ImagePtr zeros = Make(ODV_U8, 64, 18);
  for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
    std::vector<std::uint8_t> flipped = bytes;
    flipped[bit / 8] ^= static_cast<std::uint8_t>(1u << (bit % 8));
    ImagePtr target = Make(ODV_U16, 3, 2);
    FillBytes(target.get(), 2);
    Image* raw = target.get();
    ASSERT_NE(Unpack(flipped, &raw), ODV_SUCCESS) << "bit " << bit;
    if (bit < 88 * 8) ASSERT_TRUE(SamePixels(before.get(), target.get())) << "descriptor bit " << bit;
    else ASSERT_TRUE(SamePixels(zeros.get(), target.get())) << "payload bit " << bit;
  }
}

// The same for lines with padding, which are copied and hashed line by line.
TEST(Packing, AFlippedPixelBitOfAPaddedImageLeavesZeros) {
  ImagePtr source = Make(ODV_RGB32, 37, 11, 2);
  FillBytes(source.get(), 5);
  std::vector<std::uint8_t> bytes = Pack(source.get(), ODV_COMPRESS_NONE);
  Image* good = nullptr;
  ASSERT_EQ(Unpack(bytes, &good), ODV_SUCCESS);
  ImagePtr goodOwner(good);
  EXPECT_TRUE(SamePixels(source.get(), good));
  bytes[bytes.size() - 5] ^= 0x10;
  ImagePtr target = Make(ODV_RGB32, 37, 11, 1);
  FillBytes(target.get(), 9);
  Image* raw = target.get();
  EXPECT_EQ(Unpack(bytes, &raw), ODV_E_CORRUPT);
  ImagePtr zeros = Make(ODV_RGB32, 37, 11);
  EXPECT_TRUE(SamePixels(zeros.get(), target.get()));
}

TEST(Packing, UnknownFormatAndBadArguments) {
  ImagePtr source = Make(ODV_U8, 4, 4);
  OdvRPCData* data = nullptr;
  std::uint64_t size = 0;
  EXPECT_EQ(FlattenImageToRPCData(source.get(), 3, 0, 1, 0, 0, 0, 0, &data, &size), ODV_E_VERSION);
  EXPECT_EQ(FlattenImageToRPCData(source.get(), ODV_PACK_FORMAT, 3, 1, 0, 0, 0, 0, &data, &size), ODV_E_ARGUMENT);
  EXPECT_EQ(FlattenImageToRPCData(nullptr, ODV_PACK_FORMAT, 0, 1, 0, 0, 0, 0, &data, &size), ODV_E_NOT_AN_IMAGE);
  std::vector<std::uint8_t> bytes = Pack(source.get(), 0);
  bytes[4] = 9;  // format word
  Image* raw = nullptr;
  EXPECT_EQ(Unpack(bytes, &raw), ODV_E_VERSION);
  EXPECT_EQ(raw, nullptr);
  ASSERT_EQ(FlattenImageToRPCData(source.get(), ODV_PACK_FORMAT, 0, 1, 0, 0, 0, 0, &data, &size), ODV_SUCCESS);
  std::vector<std::uint8_t> small(size - 1);
  std::uint64_t written = 7;
  EXPECT_EQ(FlattenRPCDataToStream(data, small.data(), small.size(), &written), ODV_E_BUFFER_TOO_SMALL);
  EXPECT_EQ(written, 0u);
  DisposeRPCData(data);
}

TEST(Packing, GeometryOnlyPacking) {
  ImagePtr source = Make(ODV_RGB32, 9, 7);
  OdvRPCData* data = nullptr;
  std::uint64_t size = 0;
  ASSERT_EQ(FlattenImageToRPCData(source.get(), ODV_PACK_FORMAT, 1, 0, 750, 0, 0, 0, &data, &size), ODV_SUCCESS);
  std::vector<std::uint8_t> bytes(size);
  std::uint64_t written = 0;
  ASSERT_EQ(FlattenRPCDataToStream(data, bytes.data(), size, &written), ODV_SUCCESS);
  DisposeRPCData(data);
  Image* raw = nullptr;
  ASSERT_EQ(Unpack(bytes, &raw), ODV_SUCCESS);
  ImagePtr target(raw);
  EXPECT_EQ(Word(raw, ODV_WORD_WIDTH), 9u);
  EXPECT_EQ(Word(raw, ODV_WORD_TYPE), std::uint32_t{ODV_RGB32});
}

TEST(RecordPacking, RoundTripAndDisposal) {
  ImagePtr source = Make(ODV_I16, 33, 9);
  FillBytes(source.get(), 5);
  OdvRPCImage record;
  EXPECT_EQ(rpcInitImage2(&record, 0x60), ODV_E_ARGUMENT);
  ASSERT_EQ(rpcInitImage2(&record, ODV_RECORD_LAYOUT), ODV_SUCCESS);
  ASSERT_EQ(RpcConvertToRPCImage3(&record, source.get(), ODV_RECORD_LAYOUT, ODV_PACK_FORMAT, 1, 0, 750, 0), ODV_SUCCESS);
  EXPECT_EQ(record.width, 33u);
  EXPECT_EQ(record.height, 9u);
  EXPECT_EQ(record.pixelSize, 2u);
  EXPECT_EQ(record.rawSize, 33u * 9u * 2u);
  EXPECT_NE(record.descriptor, nullptr);
  Image* raw = nullptr;
  ASSERT_EQ(RpcConvertToGRImage3(&raw, &record, ODV_RECORD_LAYOUT, 0), ODV_SUCCESS);
  ImagePtr target(raw);
  EXPECT_TRUE(SamePixels(source.get(), raw));
  record.width = 34;  // words that disagree with the descriptor
  EXPECT_EQ(RpcConvertToGRImage3(&raw, &record, ODV_RECORD_LAYOUT, 0), ODV_E_CORRUPT);
  EXPECT_EQ(rpcDisposeImageBytes2(&record, 0, ODV_RECORD_LAYOUT), ODV_SUCCESS);
  EXPECT_EQ(record.descriptor, nullptr);
}

// Uncompressed pixels of an unpadded image travel in the record as the
// image's own pixels; disposing of the record leaves them alone.
TEST(RecordPacking, UncompressedUnpaddedPayloadIsTheImagesPixels) {
  ImagePtr source = Make(ODV_RGB32, 64, 9);
  ASSERT_EQ(Word(source.get(), ODV_WORD_LINE_WIDTH), 64u);
  FillBytes(source.get(), 8);
  OdvRPCImage record;
  ASSERT_EQ(rpcInitImage2(&record, ODV_RECORD_LAYOUT), ODV_SUCCESS);
  ASSERT_EQ(RpcConvertToRPCImage3(&record, source.get(), ODV_RECORD_LAYOUT, ODV_PACK_FORMAT, 0, 0, 750, 0), ODV_SUCCESS);
  EXPECT_EQ(record.payload, Pixel(source.get(), 0, 0));
  EXPECT_EQ(record.payloadSize, 64u * 9u * 4u);
  EXPECT_EQ(record.payloadCheck, static_cast<std::uint32_t>(XXH3_64bits(record.payload, record.payloadSize)));
  Image* raw = nullptr;
  ASSERT_EQ(RpcConvertToGRImage3(&raw, &record, ODV_RECORD_LAYOUT, 0), ODV_SUCCESS);
  ImagePtr target(raw);
  EXPECT_TRUE(SamePixels(source.get(), raw));
  // A change of the pixels after packing no longer matches the payload hash.
  Pixel(source.get(), 63, 8)[3] ^= 1;
  ImagePtr other = Make(ODV_U8, 1, 1);
  Image* otherRaw = other.get();
  EXPECT_EQ(RpcConvertToGRImage3(&otherRaw, &record, ODV_RECORD_LAYOUT, 0), ODV_E_CORRUPT);
  EXPECT_EQ(rpcDisposeImageBytes2(&record, 0, ODV_RECORD_LAYOUT), ODV_SUCCESS);
  EXPECT_EQ(record.payload, nullptr);
  Pixel(source.get(), 63, 8)[3] ^= 1;
  EXPECT_TRUE(SamePixels(source.get(), raw));
}

// Known 4 x 4 mosaic; expected pixels worked out by hand with mirrored edges.
struct Expected {
  std::uint32_t x, y;
  std::uint8_t bgr[3];
};

TEST(Bayer, FourPatternsOfAKnownMosaic) {
  const std::uint8_t mosaic[4][4] = {{10, 200, 30, 90}, {60, 20, 150, 40}, {100, 70, 5, 250}, {30, 180, 120, 80}};
  const Expected expected[4][5] = {
      {{0, 0, {20, 130, 10}}, {1, 1, {20, 120, 36}}, {2, 1, {30, 150, 18}}, {3, 3, {80, 185, 5}}, {1, 2, {100, 70, 53}}},
      {{0, 0, {10, 130, 20}}, {1, 1, {36, 120, 20}}, {2, 1, {18, 150, 30}}, {3, 3, {5, 185, 80}}, {1, 2, {53, 70, 100}}},
      {{0, 0, {200, 10, 60}}, {1, 1, {135, 20, 105}}, {2, 1, {153, 24, 150}}, {3, 3, {250, 80, 120}}, {1, 2, {70, 76, 90}}},
      {{0, 0, {60, 10, 200}}, {1, 1, {105, 20, 135}}, {2, 1, {150, 24, 153}}, {3, 3, {120, 80, 250}}, {1, 2, {90, 76, 70}}},
  };
  for (std::uint32_t pattern = 0; pattern < 4; ++pattern) {
    // Destination of 8 pixels per line: 2 of padding, 4 of image, 2 of padding.
    std::vector<std::uint8_t> destination(8 * 4 * 4, 0xEE);
    ASSERT_EQ(Gen_BayerColorDecode2(destination.data() + 8, mosaic, 4, 4, 8, 4, pattern, 8, 0, 1, ODV_RGB32, 1.0, 1.0, 1.0),
              ODV_SUCCESS);
    for (const Expected& e : expected[pattern]) {
      const std::uint8_t* p = destination.data() + 8 + (e.y * 8 + e.x) * 4;
      EXPECT_EQ(p[0], e.bgr[0]) << pattern << " " << e.x << "," << e.y;
      EXPECT_EQ(p[1], e.bgr[1]) << pattern << " " << e.x << "," << e.y;
      EXPECT_EQ(p[2], e.bgr[2]) << pattern << " " << e.x << "," << e.y;
      EXPECT_EQ(p[3], 255);
    }
    for (std::uint32_t y = 0; y < 4; ++y) {
      for (std::uint32_t i = 0; i < 8; ++i) {
        EXPECT_EQ(destination[y * 32 + i], 0xEE);       // left padding
        EXPECT_EQ(destination[y * 32 + 24 + i], 0xEE);  // right padding
      }
    }
  }
}

TEST(Bayer, EightBitGainsEqualScaledUnitGainOutput) {
  // A frame taller than one band of lines, with padded destination lines, and
  // gains that the vector path takes (0.5, 1.5) and one it may not (1.2).
  constexpr std::uint32_t kW = 37, kH = 75, kLine = 41;
  std::vector<std::uint8_t> mosaic(kW * kH);
  for (std::size_t i = 0; i < mosaic.size(); ++i) mosaic[i] = static_cast<std::uint8_t>((i * 97 + i / kW * 31) & 0xFF);
  for (double gain : {0.5, 1.2, 1.5, 3.0}) {
    for (std::uint32_t pattern = 0; pattern < 4; ++pattern) {
      std::vector<std::uint8_t> plain(kLine * kH * 4, 0x11), scaled(kLine * kH * 4, 0x11);
      ASSERT_EQ(Gen_BayerColorDecode2(plain.data(), mosaic.data(), kH, kW, kLine, kW, pattern, 8, 0, 1, ODV_RGB32, 1, 1, 1),
                ODV_SUCCESS);
      ASSERT_EQ(Gen_BayerColorDecode2(scaled.data(), mosaic.data(), kH, kW, kLine, kW, pattern, 8, 0, 1, ODV_RGB32, gain,
                                      1.0, 2.0 * gain),
                ODV_SUCCESS);
      const double gains[3] = {gain, 1.0, 2.0 * gain};
      for (std::size_t i = 0; i < plain.size(); ++i) {
        const std::size_t x = (i / 4) % kLine, c = i % 4;
        std::uint8_t expected = plain[i];
        if (x < kW && c < 3) expected = static_cast<std::uint8_t>(std::min(255.0, std::floor(plain[i] * gains[c] + 0.5)));
        ASSERT_EQ(scaled[i], expected) << gain << " pattern " << pattern << " byte " << i;
      }
    }
  }
}

TEST(Bayer, SixteenBitSourceGainsAndSourcePadding) {
  // Pattern 0 at 12 bits: a flat field of red 400, green 800, blue 1600 in a
  // source with 2 pixels of line padding.
  std::vector<std::uint16_t> source(6 * 4, 0xFFFF);
  const std::uint16_t cell[4] = {400, 800, 800, 1600};
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) source[y * 6 + x] = cell[(y & 1) * 2 + (x & 1)];
  std::vector<std::uint8_t> destination(4 * 4 * 4);
  ASSERT_EQ(Gen_BayerColorDecode2(destination.data(), source.data(), 4, 4, 4, 6, 0, 12, 0, 1, ODV_RGB32, 0.5, 1.0, 2.0),
            ODV_SUCCESS);
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(destination[4 * i + 0], 50);  // 1600 * 0.5 / 16
    EXPECT_EQ(destination[4 * i + 1], 50);  // 800 / 16
    EXPECT_EQ(destination[4 * i + 2], 50);  // 400 * 2 / 16
  }
  ASSERT_EQ(Gen_BayerColorDecode2(destination.data(), source.data(), 4, 4, 4, 6, 0, 12, 0, 1, ODV_RGB32, 4.0, 1.0, 1.0),
            ODV_SUCCESS);
  EXPECT_EQ(destination[0], 255);  // cut at 8 bits
}

// Reference of the two-pass form: bilinear means (rounded half up, mirrored
// edges) at the source's precision, then each channel's gain and the cut to
// 8 bits, value * gain / 2^(depth - 8) rounded half up.
template <typename S>
std::vector<std::uint8_t> TwoPassBayer(const std::vector<S>& mosaic, int w, int h, int stride, int pattern, int depth,
                                       const double gains[3]) {
  static const int cell[4][4] = {{2, 1, 1, 0}, {0, 1, 1, 2}, {1, 0, 2, 1}, {1, 2, 0, 1}};  // blue 0, green 1, red 2
  const auto colour = [&](int x, int y) { return cell[pattern][((y & 1) << 1) | (x & 1)]; };
  const auto mirror = [](int i, int n) { return n == 1 ? 0 : i < 0 ? -i : i >= n ? 2 * n - 2 - i : i; };
  const auto at = [&](int x, int y) { return std::uint32_t{mosaic[std::size_t(mirror(y, h)) * std::size_t(stride) + std::size_t(mirror(x, w))]}; };
  std::vector<std::uint8_t> out(std::size_t(w) * std::size_t(h) * 4);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      std::uint32_t c[3];
      const int own = colour(x, y);
      c[own] = at(x, y);
      if (own == 1) {
        c[colour(x + 1, y)] = (at(x - 1, y) + at(x + 1, y) + 1) >> 1;
        c[colour(x, y + 1)] = (at(x, y - 1) + at(x, y + 1) + 1) >> 1;
      } else {
        c[1] = (at(x - 1, y) + at(x + 1, y) + at(x, y - 1) + at(x, y + 1) + 2) >> 2;
        c[2 - own] = (at(x - 1, y - 1) + at(x + 1, y - 1) + at(x - 1, y + 1) + at(x + 1, y + 1) + 2) >> 2;
      }
      for (int k = 0; k < 3; ++k) {
        const double scaled = std::floor(c[k] * gains[k] / double(1 << (depth > 8 ? depth - 8 : 0)) + 0.5);
        out[(std::size_t(y) * std::size_t(w) + std::size_t(x)) * 4 + std::size_t(k)] = static_cast<std::uint8_t>(std::min(255.0, scaled));
      }
      out[(std::size_t(y) * std::size_t(w) + std::size_t(x)) * 4 + 3] = 255;
    }
  }
  return out;
}

// The one-pass decoder with gains equals the two-pass reference for all four
// patterns, at 8, 12 and 16 bits, on frames whose widths leave remainders to
// the vector kernel, with padded source and destination lines.
template <typename S>
void CheckGainsAgainstTwoPasses(int depth) {
  const double gainSets[][3] = {{1.0, 1.0, 1.0}, {1.2, 1.0, 1.5}, {0.5, 0.75, 2.0}, {1.37, 0.91, 3.3}, {2.3, 1.1, 0.2}};
  for (int w : {3, 18, 37, 70}) {
    for (int h : {3, 5, 34}) {
      const int stride = w + 3, line = w + 2;
      std::vector<S> mosaic(std::size_t(stride) * std::size_t(h));
      std::uint32_t state = std::uint32_t(w * 31 + h);
      for (std::size_t i = 0; i < mosaic.size(); ++i) {
        state = state * 1664525u + 1013904223u;
        mosaic[i] = static_cast<S>((state >> 8) & ((1u << depth) - 1));
      }
      for (const auto& gains : gainSets) {
        for (int pattern = 0; pattern < 4; ++pattern) {
          const std::vector<std::uint8_t> expected = TwoPassBayer(mosaic, w, h, stride, pattern, depth, gains);
          std::vector<std::uint8_t> got(std::size_t(line) * std::size_t(h) * 4, 0x5A);
          ASSERT_EQ(Gen_BayerColorDecode2(got.data(), mosaic.data(), std::uint32_t(h), std::uint32_t(w), std::uint32_t(line),
                                          std::uint32_t(stride), std::uint32_t(pattern), std::uint32_t(depth), 0, 1,
                                          ODV_RGB32, gains[0], gains[1], gains[2]),
                    ODV_SUCCESS);
          for (int y = 0; y < h; ++y) {
            const std::uint8_t* row = got.data() + std::size_t(y) * std::size_t(line) * 4;
            ASSERT_EQ(std::memcmp(row, expected.data() + std::size_t(y) * std::size_t(w) * 4, std::size_t(w) * 4), 0)
                << depth << "-bit " << w << "x" << h << " pattern " << pattern << " gains " << gains[0] << ","
                << gains[1] << "," << gains[2] << " line " << y;
            for (int i = w * 4; i < line * 4; ++i) ASSERT_EQ(row[i], 0x5A) << "padding of line " << y;
          }
        }
      }
    }
  }
}

TEST(Bayer, GainsInOnePassEqualTheTwoPassResultEightBit) { CheckGainsAgainstTwoPasses<std::uint8_t>(8); }
TEST(Bayer, GainsInOnePassEqualTheTwoPassResultTwelveBit) { CheckGainsAgainstTwoPasses<std::uint16_t>(12); }
TEST(Bayer, GainsInOnePassEqualTheTwoPassResultSixteenBit) { CheckGainsAgainstTwoPasses<std::uint16_t>(16); }

TEST(Bayer, BadArguments) {
  std::uint8_t source[4] = {};
  std::uint8_t destination[16] = {};
  EXPECT_EQ(Gen_BayerColorDecode2(nullptr, source, 2, 2, 2, 2, 0, 8, 0, 1, ODV_RGB32, 1, 1, 1), ODV_E_ARGUMENT);
  EXPECT_EQ(Gen_BayerColorDecode2(destination, source, 2, 2, 2, 2, 4, 8, 0, 1, ODV_RGB32, 1, 1, 1), ODV_E_ARGUMENT);
  EXPECT_EQ(Gen_BayerColorDecode2(destination, source, 2, 2, 1, 2, 0, 8, 0, 1, ODV_RGB32, 1, 1, 1), ODV_E_ARGUMENT);
  EXPECT_EQ(Gen_BayerColorDecode2(destination, source, 2, 2, 2, 2, 0, 8, 0, 1, ODV_U8, 1, 1, 1), ODV_E_UNSUPPORTED);
  EXPECT_EQ(Gen_BayerColorDecode2(destination, source, 2, 2, 2, 2, 0, 8, 0, 1, ODV_RGB32, -1, 1, 1), ODV_E_ARGUMENT);
  EXPECT_EQ(Gen_BayerColorDecode2(destination, source, 1, 1, 1, 1, 0, 8, 0, 1, ODV_RGB32, 1, 1, 1), ODV_SUCCESS);
}

TEST(PngFiles, RoundTripOfU8U16AndRgb32) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / ("odv_png_" + std::to_string(::getpid()));
  std::filesystem::create_directories(folder);
  for (std::uint32_t type : {std::uint32_t{ODV_U8}, std::uint32_t{ODV_U16}, std::uint32_t{ODV_RGB32}}) {
    ImagePtr source = Make(type, 31, 17, 2);
    FillBytes(source.get(), type);
    const std::string path = (folder / ("image" + std::to_string(type) + ".png")).string();
    ASSERT_EQ(WriteImagePNG(source.get(), path.c_str()), ODV_SUCCESS);
    ImagePtr target = Make(ODV_U8, 1, 1);
    ASSERT_EQ(ReadImagePNG(target.get(), path.c_str()), ODV_SUCCESS);
    EXPECT_TRUE(SamePixels(source.get(), target.get())) << type;
  }
  ImagePtr target = Make(ODV_U8, 1, 1);
  EXPECT_EQ(ReadImagePNG(target.get(), (folder / "missing.png").c_str()), ODV_E_FILE);
  ImagePtr single = Make(ODV_SGL, 2, 2);
  EXPECT_EQ(WriteImagePNG(single.get(), (folder / "f.png").c_str()), ODV_E_UNSUPPORTED);
  std::filesystem::remove_all(folder);
}

TEST(RuntimeHandles, StringsOfAnyLength) {
  OdvStringHandle handle = nullptr;
  const std::string text(1000, 'k');
  ASSERT_EQ(FM_SetString_v2(&handle, text.data(), 1000), ODV_SUCCESS);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ((*handle)->length, 1000);
  EXPECT_EQ(std::string((*handle)->text, 1000), text);
  ASSERT_EQ(FM_SetString_v2(&handle, "ab", 2), ODV_SUCCESS);
  EXPECT_EQ((*handle)->length, 2);
  EXPECT_EQ(std::memcmp((*handle)->text, "ab", 2), 0);
  EXPECT_EQ(FM_SetString_v2(&handle, nullptr, 1), ODV_E_ARGUMENT);
  EXPECT_EQ(FM_SetString_v2(nullptr, "a", 1), ODV_E_ARGUMENT);
  EXPECT_EQ(FM_DisposeString(handle), ODV_SUCCESS);
}

TEST(RuntimeHandles, ArraysResizeAndConvert) {
  Array1D array;
  ASSERT_EQ(InitArray1D(&array, 8), ODV_SUCCESS);
  EXPECT_EQ(array.size, 0u);
  ASSERT_EQ(ResizeArray1D(&array, 0), ODV_SUCCESS);
  OdvArrayHandle handle = nullptr;
  ASSERT_EQ(FM_GetArray1DHandle(&array, &handle), ODV_SUCCESS);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ((*handle)->count, 0);
  ASSERT_EQ(ResizeArray1D(&array, 3), ODV_SUCCESS);
  EXPECT_EQ((*handle)->count, 3);
  std::uint64_t value = 0x1122334455667788ull;
  std::memcpy(static_cast<std::uint8_t*>(array.data) + 16, &value, 8);
  Array1D view;
  ASSERT_EQ(FM_HandleToArray1D(handle, 8, &view), ODV_SUCCESS);
  EXPECT_EQ(view.size, 3u);
  std::uint64_t read = 0;
  std::memcpy(&read, static_cast<std::uint8_t*>(view.data) + 16, 8);
  EXPECT_EQ(read, value);
  std::memcpy(&read, view.data, 8);
  EXPECT_EQ(read, 0u);  // new elements are zero
  EXPECT_EQ(FM_DisposeArrayHandle(handle), ODV_SUCCESS);
  EXPECT_EQ(ResizeArray1D(nullptr, 1), ODV_E_ARGUMENT);
}

TEST(RuntimeHandles, ThreadCoreIsPerThreadAndModuleIsGlobal) {
  SetThreadCore(0);
  int context = 0;
  FM_SetThreadCore(1, &context);
  EXPECT_EQ(GetThreadCore(), 1u);
  EXPECT_EQ(GetThreadCoreContext(), &context);
  std::thread other([] { EXPECT_EQ(GetThreadCore(), 0u); });
  other.join();
  SetThreadCore(0);
  EXPECT_EQ(GetThreadCore(), 0u);
  SetODVisSvcFMRTModule(&context);
  SetODVisSvcFMRTTLSIndex(17);
  EXPECT_EQ(GetODVisSvcFMRTModule(), &context);
  EXPECT_EQ(GetODVisSvcFMRTTLSIndex(), 17u);
  SetODVisSvcFMRTModule(nullptr);
}

}  // namespace
