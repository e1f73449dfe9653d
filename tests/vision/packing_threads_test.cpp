// The lossless codec on several threads: the same frame packed on 1 and on N
// threads gives the same bytes and unpacks to the same pixels. Runs under
// ThreadSanitizer too.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "odvissvc/odvissvc.h"

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

std::vector<std::uint8_t> Pack(Image* image) {
  OdvRPCData* data = nullptr;
  std::uint64_t size = 0;
  EXPECT_EQ(FlattenImageToRPCData(image, ODV_PACK_FORMAT, ODV_COMPRESS_LOSSLESS, 1, 750, 0, 0, 64 * 1024, &data, &size),
            ODV_SUCCESS);
  std::vector<std::uint8_t> bytes(size);
  std::uint64_t written = 0;
  EXPECT_EQ(FlattenRPCDataToStream(data, bytes.data(), size, &written), ODV_SUCCESS);
  DisposeRPCData(data);
  return bytes;
}

bool SamePixels(Image* a, Image* b) {
  for (std::uint32_t y = 0; y < 300; ++y) {
    void* pa = nullptr;
    void* pb = nullptr;
    GetImagePixel(a, 0, y, &pa);
    GetImagePixel(b, 0, y, &pb);
    if (std::memcmp(pa, pb, 301 * ImageTypePixelSize(ODV_RGB32)) != 0) return false;
  }
  return true;
}

TEST(PackingThreads, OneAndManyThreadsGiveTheSameBytesAndPixels) {
  ImagePtr source = Make(ODV_RGB32, 301, 300, 1);  // 5 slices of 64 KiB or less
  ASSERT_EQ(FillTestPattern(source.get(), 4, 3, 8), ODV_SUCCESS);
  ASSERT_EQ(SetPackingThreads(1), ODV_SUCCESS);
  const std::vector<std::uint8_t> single = Pack(source.get());
  for (std::uint32_t threads : {2u, 4u, 0u}) {
    ASSERT_EQ(SetPackingThreads(threads), ODV_SUCCESS);
    EXPECT_EQ(GetPackingThreads(), threads == 0 ? std::max(1u, std::thread::hardware_concurrency()) : threads);
    EXPECT_EQ(Pack(source.get()), single) << threads;
    const Array1D view{const_cast<std::uint8_t*>(single.data()), single.size(), single.size(), 1, 0, nullptr};
    Image* raw = nullptr;
    ASSERT_EQ(UnflattenImageFromArray1D(&raw, &view), ODV_SUCCESS);
    ImagePtr target(raw);
    EXPECT_TRUE(SamePixels(source.get(), raw)) << threads;
  }
  EXPECT_EQ(SetPackingThreads(1025), ODV_E_ARGUMENT);
  ASSERT_EQ(SetPackingThreads(1), ODV_SUCCESS);
}

// Several callers packing at once share the pool one job at a time.
TEST(PackingThreads, ConcurrentCallersEachGetTheirOwnFrame) {
  ASSERT_EQ(SetPackingThreads(3), ODV_SUCCESS);
  std::vector<std::thread> callers;
  std::vector<int> good(4, 0);
  for (int c = 0; c < 4; ++c) {
    callers.emplace_back([c, &good] {
      ImagePtr source = Make(ODV_RGB32, 301, 300);
      FillTestPattern(source.get(), static_cast<std::uint32_t>(c), 2, static_cast<std::uint32_t>(c));
      for (int round = 0; round < 3; ++round) {
        const std::vector<std::uint8_t> bytes = Pack(source.get());
        const Array1D view{const_cast<std::uint8_t*>(bytes.data()), bytes.size(), bytes.size(), 1, 0, nullptr};
        Image* raw = nullptr;
        if (UnflattenImageFromArray1D(&raw, &view) == ODV_SUCCESS && SamePixels(source.get(), raw)) ++good[c];
        DisposeImage(raw);
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(good, std::vector<int>(4, 3));
  ASSERT_EQ(SetPackingThreads(1), ODV_SUCCESS);
}

}  // namespace
