// Tests of the image carrier over the image library.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "foundation/byte_stream.h"
#include "foundation/status.h"
#include "image/cfg_image.h"
#include "odvissvc/odvissvc.h"

namespace keld {
namespace {

std::uint32_t LockCount(Image* image, std::uint32_t mode) {
  std::uint32_t count = 99;
  EXPECT_EQ(GetImageLockCount(image, mode, &count), ODV_SUCCESS);
  return count;
}

bool SamePixels(CfgImage& a, CfgImage& b) {
  if (a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight()) return false;
  const std::uint32_t pixelSize = ImageTypePixelSize(reinterpret_cast<const std::uint32_t*>(a.GetImage())[ODV_WORD_TYPE]);
  const auto* p = static_cast<const std::uint8_t*>(a.GetFirstPixel());
  const auto* q = static_cast<const std::uint8_t*>(b.GetFirstPixel());
  for (std::uint32_t y = 0; y < a.GetHeight(); ++y) {
    if (std::memcmp(p + std::uint64_t{y} * a.GetLineWidth() * pixelSize, q + std::uint64_t{y} * b.GetLineWidth() * pixelSize,
                    std::uint64_t{a.GetWidth()} * pixelSize) != 0)
      return false;
  }
  return true;
}

// Restores the process-wide compression after each test.
class CfgImageTest : public ::testing::Test {
 protected:
  void TearDown() override {
    CfgImage::compressionType = 1;
    CfgImage::compressionQuality = 750;
  }
  static void Fill(CfgImage& carrier, std::uint32_t type, std::uint32_t seed) {
    ASSERT_EQ(carrier.Resize(61, 23, type), kSuccess);
    auto* first = static_cast<std::uint8_t*>(carrier.GetFirstPixel());
    const std::uint32_t pixelSize = ImageTypePixelSize(type);
    std::uint32_t state = seed;
    for (std::uint32_t y = 0; y < carrier.GetHeight(); ++y) {
      for (std::uint32_t i = 0; i < carrier.GetWidth() * pixelSize; ++i) {
        state = state * 1664525u + 1013904223u;
        first[std::uint64_t{y} * carrier.GetLineWidth() * pixelSize + i] = static_cast<std::uint8_t>(i + (state >> 28));
      }
    }
  }
};

TEST_F(CfgImageTest, CompressionPairStartsAtOneAndSevenFifty) {
  EXPECT_EQ(CfgImage::compressionType.load(), 1u);
  EXPECT_EQ(CfgImage::compressionQuality.load(), 750u);
}

TEST_F(CfgImageTest, NewCarrierHoldsNothing) {
  CfgImage carrier;
  EXPECT_EQ(carrier.GetImage(), nullptr);
  EXPECT_FALSE(carrier.Owned());
  EXPECT_EQ(carrier.GetWidth(), 0u);
  EXPECT_EQ(carrier.GetHeight(), 0u);
  EXPECT_EQ(carrier.GetLineWidth(), 0u);
  EXPECT_EQ(carrier.GetFirstPixel(), nullptr);
}

TEST_F(CfgImageTest, EnsureImageCreatesOnceAndResizeSetsHeaderWords) {
  CfgImage carrier;
  ASSERT_EQ(carrier.EnsureImage(), kSuccess);
  Image* created = carrier.GetImage();
  EXPECT_TRUE(carrier.Owned());
  EXPECT_EQ(IsImage(created), 1);
  EXPECT_EQ(carrier.EnsureImage(), kSuccess);
  EXPECT_EQ(carrier.GetImage(), created);
  ASSERT_EQ(carrier.Resize(100, 20, ODV_U16), kSuccess);
  EXPECT_EQ(carrier.GetWidth(), 100u);
  EXPECT_EQ(carrier.GetHeight(), 20u);
  EXPECT_GE(carrier.GetLineWidth(), 100u);
  EXPECT_NE(carrier.GetFirstPixel(), nullptr);
  EXPECT_NE(carrier.Resize(1, 1, 99), kSuccess);
  EXPECT_EQ(carrier.SetBitDepth(99), kSuccess);  // refused by the library, still 0
}

TEST_F(CfgImageTest, AttachedImageOutlivesCarrierAndOwnedOneIsDisposed) {
  Image* callers = nullptr;
  ASSERT_EQ(NewImage(&callers, ODV_U8, 4, 4, 0), ODV_SUCCESS);
  Image* own = nullptr;
  {
    CfgImage carrier;
    ASSERT_EQ(carrier.EnsureImage(), kSuccess);
    own = carrier.GetImage();
    carrier.Attach(callers);  // disposes of the image it created
    EXPECT_EQ(IsImage(own), 0);
    EXPECT_FALSE(carrier.Owned());
    carrier.Attach(callers);  // same pointer: nothing happens
    EXPECT_EQ(carrier.GetImage(), callers);
    EXPECT_EQ(carrier.GetWidth(), 4u);
  }
  EXPECT_EQ(IsImage(callers), 1);
  {
    CfgImage carrier;
    ASSERT_EQ(carrier.EnsureImage(), kSuccess);
    own = carrier.GetImage();
  }
  EXPECT_EQ(IsImage(own), 0);
  DisposeImage(callers);
}

TEST_F(CfgImageTest, LocksAndShow) {
  CfgImage carrier;
  ASSERT_EQ(carrier.EnsureImage(), kSuccess);
  EXPECT_EQ(carrier.LockForWrite(), kSuccess);
  EXPECT_EQ(LockCount(carrier.GetImage(), ODV_LOCK_WRITE), 1u);
  EXPECT_EQ(carrier.Unlock(), kSuccess);
  EXPECT_EQ(carrier.Unlock(), ODV_E_NOT_LOCKED);
  EXPECT_EQ(carrier.Show(), kSuccess);
  EXPECT_EQ(LockCount(carrier.GetImage(), ODV_LOCK_READ), 0u);
  CfgImage empty;
  EXPECT_EQ(empty.Show(), ODV_E_NOT_AN_IMAGE);
  EXPECT_EQ(empty.LockForWrite(), ODV_E_NOT_AN_IMAGE);
}

TEST_F(CfgImageTest, NullImageGivesBadPointerAtOnce) {
  CfgImage carrier;
  ScopedByteStream stream;
  for (bool form : {false, true}) {
    EXPECT_EQ(carrier.Flatten(stream.get(), form), kBadPointer);
    EXPECT_EQ(carrier.Unflatten(stream.get(), form), kBadPointer);
  }
  EXPECT_EQ(stream->size, 0u);
}

TEST_F(CfgImageTest, EveryTypeAndCompressionRoundTripsInBothForms) {
  for (std::uint32_t type = 0; type < 8; ++type) {
    for (std::uint32_t compression : {0u, 1u, 2u}) {
      if (compression == 2 && (type == ODV_U8 || type == ODV_RGB32)) continue;  // lossy; checked below
      for (bool form : {false, true}) {
        CfgImage::compressionType = compression;
        CfgImage source;
        Fill(source, type, type + 10 * compression);
        ScopedByteStream stream;
        ASSERT_EQ(source.Flatten(stream.get(), form), kSuccess);
        stream->Rewind();
        Image* target = nullptr;
        ASSERT_EQ(NewImage(&target, ODV_U8, 1, 1, 0), ODV_SUCCESS);
        CfgImage reader;
        reader.Attach(target);
        ASSERT_EQ(reader.Unflatten(stream.get(), form), kSuccess) << type << " " << compression << " " << form;
        EXPECT_TRUE(SamePixels(source, reader)) << type << " " << compression << " " << form;
        EXPECT_EQ(LockCount(target, ODV_LOCK_WRITE), 0u);
        EXPECT_EQ(LockCount(source.GetImage(), ODV_LOCK_READ), 0u);
        if (form) {
          EXPECT_EQ(stream->Remaining(), stream->size - 8u);  // the cursor stays after the size
        } else {
          EXPECT_EQ(stream->Remaining(), 0u);  // the blocks were passed over
        }
        DisposeImage(target);
      }
    }
  }
}

TEST_F(CfgImageTest, JpegRoundTripIsCloseInBothForms) {
  CfgImage::compressionType = 2;
  for (std::uint32_t type : {std::uint32_t{ODV_U8}, std::uint32_t{ODV_RGB32}}) {
    for (bool form : {false, true}) {
      CfgImage source;
      ASSERT_EQ(source.Resize(160, 120, type), kSuccess);
      ASSERT_EQ(FillTestPattern(source.GetImage(), 1, 1, 3), ODV_SUCCESS);
      ScopedByteStream stream;
      ASSERT_EQ(source.Flatten(stream.get(), form), kSuccess);
      EXPECT_LT(stream->size, 160u * 120u * ImageTypePixelSize(type) / 2);
      stream->Rewind();
      CfgImage reader;
      ASSERT_EQ(reader.EnsureImage(), kSuccess);
      ASSERT_EQ(reader.Unflatten(stream.get(), form), kSuccess);
      ASSERT_EQ(reader.GetWidth(), 160u);
      const std::uint32_t ps = ImageTypePixelSize(type);
      double sum = 0;
      for (std::uint32_t y = 0; y < 120; ++y) {
        const auto* p = static_cast<const std::uint8_t*>(source.GetFirstPixel()) + std::uint64_t{y} * source.GetLineWidth() * ps;
        const auto* q = static_cast<const std::uint8_t*>(reader.GetFirstPixel()) + std::uint64_t{y} * reader.GetLineWidth() * ps;
        for (std::uint32_t i = 0; i < 160 * ps; ++i) {
          if (ps == 4 && i % 4 == 3) continue;
          sum += (double(p[i]) - q[i]) * (double(p[i]) - q[i]);
        }
      }
      const double mse = sum / (160.0 * 120.0 * (ps == 4 ? 3 : 1));
      EXPECT_GT(10.0 * std::log10(255.0 * 255.0 / mse), 35.0);
    }
  }
}

TEST_F(CfgImageTest, ZeroSizeInStreamFormLeavesImageUntouched) {
  Image* target = nullptr;
  ASSERT_EQ(NewImage(&target, ODV_U16, 7, 3, 0), ODV_SUCCESS);
  CfgImage reader;
  reader.Attach(target);
  ScopedByteStream stream;
  ASSERT_EQ(stream->AppendU64(0), kSuccess);
  stream->Rewind();
  EXPECT_EQ(reader.Unflatten(stream.get(), true), kSuccess);
  EXPECT_EQ(reader.GetWidth(), 7u);
  EXPECT_EQ(LockCount(target, ODV_LOCK_WRITE), 0u);
  DisposeImage(target);
}

TEST_F(CfgImageTest, StreamFormSizeBeyondTheStreamIsRefused) {
  CfgImage source;
  Fill(source, ODV_U8, 1);
  ScopedByteStream stream;
  ASSERT_EQ(source.Flatten(stream.get(), true), kSuccess);
  std::uint64_t size = 0;
  std::memcpy(&size, stream->data, 8);
  EXPECT_EQ(size + 8, stream->size);
  ++size;
  std::memcpy(stream->data, &size, 8);
  stream->Rewind();
  CfgImage reader;
  ASSERT_EQ(reader.EnsureImage(), kSuccess);
  EXPECT_EQ(reader.Unflatten(stream.get(), true), kByteStreamLoadFailed);
}

TEST_F(CfgImageTest, CorruptAndTruncatedStreamFormsGiveTheLibrarysStatus) {
  CfgImage source;
  Fill(source, ODV_U8, 2);
  ScopedByteStream stream;
  ASSERT_EQ(source.Flatten(stream.get(), true), kSuccess);
  stream->data[8 + 100] ^= 0x10;  // inside the packed image
  stream->Rewind();
  CfgImage reader;
  ASSERT_EQ(reader.EnsureImage(), kSuccess);
  EXPECT_EQ(reader.Unflatten(stream.get(), true), ODV_E_CORRUPT);
  EXPECT_EQ(LockCount(reader.GetImage(), ODV_LOCK_WRITE), 0u);
  // A shorter u64 than the packing: the library sees a truncated image.
  stream->data[8 + 100] ^= 0x10;
  std::uint64_t size = 0;
  std::memcpy(&size, stream->data, 8);
  size -= 5;
  std::memcpy(stream->data, &size, 8);
  stream->Rewind();
  EXPECT_EQ(reader.Unflatten(stream.get(), true), ODV_E_TRUNCATED);
}

// Rebuilds a version-9 record stream as another version by dropping words.
std::vector<std::uint8_t> AsVersion(const ByteStream& stream, std::uint32_t version, std::size_t droppedWords) {
  const std::size_t skipped = 4 + 4 * droppedWords;
  std::vector<std::uint8_t> out(4 + stream.size - skipped);
  std::memcpy(out.data(), &version, 4);
  std::memcpy(out.data() + 4, stream.data + skipped, stream.size - skipped);
  return out;
}

TEST_F(CfgImageTest, RecordFormOfOlderVersionsIsRead) {
  CfgImage source;
  Fill(source, ODV_I16, 3);
  ScopedByteStream stream;
  ASSERT_EQ(source.Flatten(stream.get(), false), kSuccess);
  std::uint32_t version = 0;
  std::memcpy(&version, stream->data, 4);
  EXPECT_EQ(version, kImageRecordVersion9);
  for (const auto& [old, dropped] : {std::pair{kImageRecordVersion7, std::size_t{3}}, std::pair{kImageRecordVersion71, std::size_t{2}}}) {
    std::vector<std::uint8_t> bytes = AsVersion(*stream, old, dropped);
    ScopedByteStream input;
    ASSERT_EQ(input->AppendBytes(bytes.data(), bytes.size()), kSuccess);
    input->Rewind();
    CfgImage reader;
    ASSERT_EQ(reader.EnsureImage(), kSuccess);
    ASSERT_EQ(reader.Unflatten(input.get(), false), kSuccess) << std::hex << old;
    EXPECT_TRUE(SamePixels(source, reader));
    EXPECT_EQ(input->Remaining(), 0u);
    EXPECT_EQ(LockCount(reader.GetImage(), ODV_LOCK_WRITE), 0u);
  }
}

TEST_F(CfgImageTest, RecordWordsFollowTheRecordOffsets) {
  CfgImage::compressionType = 0;
  CfgImage source;
  Fill(source, ODV_U16, 4);
  ScopedByteStream stream;
  ASSERT_EQ(source.Flatten(stream.get(), false), kSuccess);
  std::uint32_t words[15];
  std::memcpy(words, stream->data, sizeof words);
  EXPECT_EQ(words[0], kImageRecordVersion9);
  EXPECT_EQ(words[2], 0u);                  // word 3: kind of a plain image
  EXPECT_EQ(words[3], 61u * 23u * 2u);      // word 4: raw pixel bytes
  EXPECT_EQ(words[4], 2u);                  // word 5: pixel size
  EXPECT_EQ(words[5], std::uint32_t{ODV_U16});  // word 6: type
  EXPECT_EQ(words[6], 61u);                 // word 7: width
  EXPECT_EQ(words[7], 23u);                 // word 8: height
  EXPECT_EQ(words[11], 0u);                 // word 12: compression
  EXPECT_EQ(words[12], 750u);               // word 13: quality
  EXPECT_EQ(stream->size, 4u * 15u + words[13] + words[14]);
  EXPECT_EQ(words[14], 61u * 23u * 2u);     // uncompressed payload
}

TEST_F(CfgImageTest, UnknownRecordVersionFailsAndLeavesImageLocked) {
  CfgImage source;
  Fill(source, ODV_U8, 5);
  ScopedByteStream stream;
  ASSERT_EQ(source.Flatten(stream.get(), false), kSuccess);
  std::vector<std::uint8_t> bytes = AsVersion(*stream, 0x00080000, 0);
  ScopedByteStream input;
  ASSERT_EQ(input->AppendBytes(bytes.data(), bytes.size()), kSuccess);
  input->Rewind();
  CfgImage reader;
  ASSERT_EQ(reader.EnsureImage(), kSuccess);
  EXPECT_EQ(reader.Unflatten(input.get(), false), kByteStreamLoadFailed);
  EXPECT_EQ(LockCount(reader.GetImage(), ODV_LOCK_WRITE), 1u);
  EXPECT_EQ(reader.GetWidth(), 0u);  // nothing converted
  EXPECT_EQ(reader.Unlock(), kSuccess);
}

TEST_F(CfgImageTest, TruncatedRecordStreamsFailWithoutReadingPastTheEnd) {
  CfgImage source;
  Fill(source, ODV_U8, 6);
  ScopedByteStream stream;
  ASSERT_EQ(source.Flatten(stream.get(), false), kSuccess);
  for (std::uint32_t cut : {0u, 3u, 30u, 60u, 100u, stream->size - 1}) {
    ScopedByteStream input;
    ASSERT_EQ(input->AppendBytes(stream->data, cut), kSuccess);
    input->Rewind();
    CfgImage reader;
    ASSERT_EQ(reader.EnsureImage(), kSuccess);
    EXPECT_EQ(reader.Unflatten(input.get(), false), kByteStreamLoadFailed) << cut;
    EXPECT_EQ(reader.GetWidth(), 0u);
    EXPECT_EQ(reader.Unlock(), kSuccess);  // the failed read took the write lock and kept it
  }
}

TEST_F(CfgImageTest, BitFlipsInRecordBlocksLeaveTheImageUnconverted) {
  CfgImage source;
  Fill(source, ODV_U8, 7);
  ScopedByteStream stream;
  ASSERT_EQ(source.Flatten(stream.get(), false), kSuccess);
  for (std::uint32_t at : {60u, 70u, 139u, 140u, 500u, stream->size - 1}) {
    ScopedByteStream input;
    ASSERT_EQ(input->AppendBytes(stream->data, stream->size), kSuccess);
    input->data[at] ^= 0x04;
    input->Rewind();
    Image* target = nullptr;
    ASSERT_EQ(NewImage(&target, ODV_U8, 3, 3, 0), ODV_SUCCESS);
    CfgImage reader;
    reader.Attach(target);
    // The carrier reports the lock and unlock only; the refused conversion shows in the image.
    EXPECT_EQ(reader.Unflatten(input.get(), false), kSuccess);
    EXPECT_EQ(reader.GetWidth(), 3u) << at;
    DisposeImage(target);
  }
}

}  // namespace
}  // namespace keld
