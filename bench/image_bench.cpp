// Image transport and Bayer decoding on a 1280 x 1024 camera-like frame (test
// pattern with noise), each beside a reference measured in the same run:
// memcpy of the same bytes for packing (see PackingTable), raw LZ4 and zstd for the lossless
// codec choice, OpenCV's bilinear demosaicing for Bayer decoding.
#include <lz4.h>
#include <zstd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "foundation/byte_stream.h"
#include "image/cfg_image.h"
#include "odvissvc/odvissvc.h"

namespace {

constexpr std::uint32_t kWidth = 1280, kHeight = 1024;

// Median seconds per call over `rounds` rounds of `calls` calls.
double Seconds(const std::function<void()>& body, int calls = 20, int rounds = 9) {
  std::vector<double> times;
  body();
  for (int r = 0; r < rounds; ++r) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) body();
    times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / calls);
  }
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

struct Frame {
  Image* image = nullptr;
  explicit Frame(std::uint32_t type, std::uint32_t noise) {
    NewImage(&image, type, kWidth, kHeight, 0);
    FillTestPattern(image, 5, noise, 42);
  }
  ~Frame() { DisposeImage(image); }
  std::uint8_t* Pixels() const {
    void* p = nullptr;
    GetImagePixel(image, 0, 0, &p);
    return static_cast<std::uint8_t*>(p);
  }
};

// The memcpy reference is one std::memcpy of the frame's raw pixel bytes from
// the image into a separate buffer of the same size that is allocated once and
// reused, so both sides are warm in cache and page tables; it is timed like
// every row (median of 9 rounds). "x memcpy" is that time over a round trip's
// time: a round trip copies every byte at least twice (into the stream, back
// into an image), so 0.5 is its ceiling without compression. "x 2 copies" is
// the round trip against memcpy out of the image and back into a second image.
void PackingTable(std::uint32_t type, std::uint32_t noise) {
  Frame frame(type, noise), second(type, 0);
  const std::uint64_t raw = std::uint64_t{kWidth} * kHeight * ImageTypePixelSize(type);
  std::vector<std::uint8_t> copy(raw);
  const double memcpyTime = Seconds([&] { std::memcpy(copy.data(), frame.Pixels(), raw); });
  const double twoCopies = Seconds([&] {
    std::memcpy(copy.data(), frame.Pixels(), raw);
    std::memcpy(second.Pixels(), copy.data(), raw);
  });
  std::printf("\n%s frame, noise +-%u: %llu bytes; memcpy %.0f MB/s\n", type == ODV_U8 ? "U8" : "RGB32", noise,
              static_cast<unsigned long long>(raw), raw / memcpyTime / 1e6);
  std::printf("%-22s %12s %10s %11s %8s\n", "flatten+unflatten", "MB/s raw", "x memcpy", "x 2 copies", "ratio");
  keld::CfgImage source;
  source.Attach(frame.image);
  keld::CfgImage target;
  if (target.EnsureImage() != keld::kSuccess) std::abort();
  for (std::uint32_t compression : {0u, 1u, 2u}) {
    for (bool streamForm : {true, false}) {
      keld::CfgImage::compressionType = compression;
      std::uint32_t packed = 0;
      const double t = Seconds([&] {
        keld::ScopedByteStream stream;
        if (source.Flatten(stream.get(), streamForm) != keld::kSuccess) std::abort();
        packed = stream->size;
        stream->Rewind();
        if (target.Unflatten(stream.get(), streamForm) != keld::kSuccess) std::abort();
      }, compression == 2 ? 5 : 20);
      char label[64];
      std::snprintf(label, sizeof label, "type %u %s", compression, streamForm ? "stream" : "record");
      std::printf("%-22s %12.0f %10.2f %11.2f %8.3f\n", label, raw / t / 1e6, memcpyTime / t, twoCopies / t,
                  double(raw) / packed);
    }
  }
  keld::CfgImage::compressionType = 1;
}

void CodecTable(std::uint32_t noise) {
  Frame frame(ODV_U8, noise);
  const std::size_t raw = std::size_t{kWidth} * kHeight;
  const std::uint8_t* pixels = frame.Pixels();
  std::vector<std::uint8_t> packed(ZSTD_compressBound(raw) + raw), back(raw);
  std::printf("\nlossless codecs on the U8 frame, noise +-%u (1 MiB chunks as packed)\n", noise);
  std::printf("%-16s %10s %10s %12s %8s\n", "codec", "comp MB/s", "dec MB/s", "round MB/s", "ratio");
  auto report = [&](const char* name, const std::function<std::size_t()>& compress,
                    const std::function<void(std::size_t)>& decompress) {
    std::size_t size = 0;
    const double c = Seconds([&] { size = compress(); });
    const double d = Seconds([&] { decompress(size); });
    const bool same = std::memcmp(back.data(), pixels, raw) == 0;
    std::printf("%-16s %10.0f %10.0f %12.0f %8.3f%s\n", name, raw / c / 1e6, raw / d / 1e6, raw / (c + d) / 1e6,
                double(raw) / size, same ? "" : "  MISMATCH");
  };
  for (int acceleration : {1, 4}) {
    char name[32];
    std::snprintf(name, sizeof name, "lz4 accel %d", acceleration);
    report(name,
           [&] {
             return static_cast<std::size_t>(LZ4_compress_fast(reinterpret_cast<const char*>(pixels),
                                                               reinterpret_cast<char*>(packed.data()), int(raw),
                                                               int(packed.size()), acceleration));
           },
           [&](std::size_t n) {
             LZ4_decompress_safe(reinterpret_cast<const char*>(packed.data()), reinterpret_cast<char*>(back.data()), int(n),
                                 int(raw));
           });
  }
  ZSTD_CCtx* cctx = ZSTD_createCCtx();
  ZSTD_DCtx* dctx = ZSTD_createDCtx();
  for (int level : {-5, -1, 1}) {
    char name[32];
    std::snprintf(name, sizeof name, "zstd level %d", level);
    report(name, [&] { return ZSTD_compressCCtx(cctx, packed.data(), packed.size(), pixels, raw, level); },
           [&](std::size_t n) { ZSTD_decompressDCtx(dctx, back.data(), raw, packed.data(), n); });
  }
  ZSTD_freeCCtx(cctx);
  ZSTD_freeDCtx(dctx);
}

void BayerTable() {
  Frame frame(ODV_U8, 3);
  std::vector<std::uint8_t> ours(std::size_t{kWidth} * kHeight * 4), theirs(ours.size());
  cv::Mat mosaic(int(kHeight), int(kWidth), CV_8UC1, frame.Pixels());
  cv::Mat out(int(kHeight), int(kWidth), CV_8UC4, theirs.data());
  // The OpenCV code whose interior agrees with pattern 0 (red at the origin).
  const int codes[] = {cv::COLOR_BayerBG2BGRA, cv::COLOR_BayerRG2BGRA, cv::COLOR_BayerGB2BGRA, cv::COLOR_BayerGR2BGRA};
  const char* names[] = {"BayerBG2BGRA", "BayerRG2BGRA", "BayerGB2BGRA", "BayerGR2BGRA"};
  Gen_BayerColorDecode2(ours.data(), frame.Pixels(), kHeight, kWidth, kWidth, kWidth, 0, 8, 0, 1, ODV_RGB32, 1, 1, 1);
  int chosen = -1;
  std::uint64_t differing = 0;
  for (int i = 0; i < 4 && chosen < 0; ++i) {
    cv::cvtColor(mosaic, out, codes[i]);
    differing = 0;
    for (std::uint32_t y = 2; y + 2 < kHeight; ++y)
      for (std::uint32_t x = 2; x + 2 < kWidth; ++x)
        for (int c = 0; c < 3; ++c) differing += ours[(y * kWidth + x) * 4 + c] != theirs[(y * kWidth + x) * 4 + c];
    if (differing == 0) chosen = i;
  }
  if (chosen < 0) chosen = 0;
  const double mp = double(kWidth) * kHeight / 1e6;
  const double tOurs = Seconds([&] {
    Gen_BayerColorDecode2(ours.data(), frame.Pixels(), kHeight, kWidth, kWidth, kWidth, 0, 8, 0, 1, ODV_RGB32, 1, 1, 1);
  });
  const double tGains = Seconds([&] {
    Gen_BayerColorDecode2(ours.data(), frame.Pixels(), kHeight, kWidth, kWidth, kWidth, 0, 8, 0, 1, ODV_RGB32, 1.2, 1, 1.5);
  });
  const double tCv = Seconds([&] { cv::cvtColor(mosaic, out, codes[chosen]); });
  std::printf("\nBayer 8-bit -> RGB32, %ux%u (OpenCV %s; interior channels differing: %llu)\n", kWidth, kHeight,
              names[chosen], static_cast<unsigned long long>(differing));
  std::printf("%-28s %10s %10s\n", "decoder", "MP/s", "x OpenCV");
  std::printf("%-28s %10.0f %10.2f\n", "OpenCV cvtColor bilinear", mp / tCv, 1.0);
  std::printf("%-28s %10.0f %10.2f\n", "Gen_BayerColorDecode2", mp / tOurs, tCv / tOurs);
  std::printf("%-28s %10.0f %10.2f\n", "Gen_BayerColorDecode2 gains", mp / tGains, tCv / tGains);
}

}  // namespace

// With an argument, runs only the tables named by it: packing, codecs, bayer.
int main(int argc, char** argv) {
  const auto wanted = [&](const char* table) { return argc < 2 || std::strstr(argv[1], table) != nullptr; };
  cv::setNumThreads(1);  // one core for both sides
  std::printf("image_bench: one thread; medians of 9 rounds\n");
  if (wanted("packing")) {
    PackingTable(ODV_U8, 3);
    PackingTable(ODV_RGB32, 3);
  }
  if (wanted("codecs")) {
    CodecTable(3);
    CodecTable(1);
  }
  if (wanted("bayer")) BayerTable();
  return 0;
}
