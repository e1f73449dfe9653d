// Image transport and Bayer decoding on 1280 x 1024 camera-like frames (test
// pattern with noise), each beside a reference measured in the same run:
// memcpy of the same bytes for packing (see PackingTable); zstd, LZ4 and,
// where built with them, libdeflate, CharLS (JPEG-LS) and libjxl for the
// lossless codec (see CodecTable: each reference codes the whole frame in
// one call on one thread; CharLS takes RGB32 as four line-interleaved
// components, libjxl as RGBA); OpenCV's bilinear demosaicing for Bayer
// decoding.
#include <lz4.h>
#include <zstd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#if defined(HAVE_CHARLS)
#include <charls/charls.h>
#endif
#if defined(HAVE_JXL)
#include <jxl/decode.h>
#include <jxl/encode.h>
#endif
#if defined(HAVE_DEFLATE)
#include <libdeflate.h>
#endif

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

bool ImagesEqual(Image* a, Image* b) {
  const auto* ha = reinterpret_cast<const std::uint32_t*>(a);
  const auto* hb = reinterpret_cast<const std::uint32_t*>(b);
  if (ha[ODV_WORD_TYPE] != hb[ODV_WORD_TYPE] || ha[ODV_WORD_WIDTH] != hb[ODV_WORD_WIDTH] ||
      ha[ODV_WORD_HEIGHT] != hb[ODV_WORD_HEIGHT])
    return false;
  const std::size_t rowBytes = std::size_t{ha[ODV_WORD_WIDTH]} * ImageTypePixelSize(ha[ODV_WORD_TYPE]);
  for (std::uint32_t y = 0; y < ha[ODV_WORD_HEIGHT]; ++y) {
    void* pa = nullptr;
    void* pb = nullptr;
    GetImagePixel(a, 0, y, &pa);
    GetImagePixel(b, 0, y, &pb);
    if (std::memcmp(pa, pb, rowBytes) != 0) return false;
  }
  return true;
}

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

// Median seconds per call of `body`, with as many calls per round as fill
// about 20 ms, so that slow reference codecs take seconds, not minutes.
double AdaptiveSeconds(const std::function<void()>& body) {
  const auto start = std::chrono::steady_clock::now();
  body();
  const double once = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const int calls = std::clamp(static_cast<int>(0.02 / std::max(once, 1e-7)), 1, 200);
  return Seconds(body, calls, 7);
}

// A test frame: U8, U16 at 12 bits, RGB32, or a raw Bayer mosaic (U8,
// pattern RG/GB) sampled from the RGB32 picture.
struct TestFrame {
  const char* name;
  std::uint32_t type;
  std::uint32_t noise;
  bool bayer;
  std::uint32_t fineNoise = 0;  // U16: uniform noise of +-fineNoise at 12 bits, on a noiseless picture
};

Image* MakeTestFrame(const TestFrame& shape) {
  Image* image = nullptr;
  NewImage(&image, shape.bayer ? std::uint32_t{ODV_RGB32} : shape.type, kWidth, kHeight, 0);
  if (shape.type == ODV_U16) SetBitDepth(image, 12);
  FillTestPattern(image, 5, shape.noise, 42);
  if (shape.fineNoise != 0) {
    // The 8-bit picture scaled to 12 bits has only 256 levels, which a
    // general codec exploits and no sensor shows: noise at full resolution.
    std::uint32_t state = 7;
    for (std::uint32_t y = 0; y < kHeight; ++y) {
      void* row = nullptr;
      GetImagePixel(image, 0, y, &row);
      auto* pixels = static_cast<std::uint16_t*>(row);
      for (std::uint32_t x = 0; x < kWidth; ++x) {
        state = state * 1664525u + 1013904223u;
        const int value = int(pixels[x]) + int((state >> 16) % (2 * shape.fineNoise + 1)) - int(shape.fineNoise);
        pixels[x] = static_cast<std::uint16_t>(std::clamp(value, 0, 4095));
      }
    }
  }
  if (!shape.bayer) return image;
  Image* mosaic = nullptr;
  NewImage(&mosaic, ODV_U8, kWidth, kHeight, 0);
  for (std::uint32_t y = 0; y < kHeight; ++y) {
    void* in = nullptr;
    void* out = nullptr;
    GetImagePixel(image, 0, y, &in);
    GetImagePixel(mosaic, 0, y, &out);
    for (std::uint32_t x = 0; x < kWidth; ++x) {
      const int channel = (y & 1) == 0 ? ((x & 1) == 0 ? 2 : 1) : ((x & 1) == 0 ? 1 : 0);  // R G / G B
      static_cast<std::uint8_t*>(out)[x] = static_cast<std::uint8_t*>(in)[4 * x + channel];
    }
  }
  DisposeImage(image);
  return mosaic;
}

struct CodecRow {
  double compress = 0, decompress = 0;
  std::size_t packed = 0;
  bool exact = false;
};

void PrintRow(const char* name, std::size_t raw, const CodecRow& row) {
  std::printf("%-26s %10.0f %10.0f %11.0f %8.3f%s\n", name, raw / row.compress / 1e6, raw / row.decompress / 1e6,
              raw / (row.compress + row.decompress) / 1e6, double(raw) / double(row.packed),
              row.exact ? "" : "  MISMATCH");
}

// Our lossless packing through the library's entry points: descriptor,
// payload hash and all.
CodecRow OurCodec(Image* frame, std::uint32_t threads) {
  SetPackingThreads(threads);
  std::vector<std::uint8_t> packed;
  Image* back = nullptr;
  NewImage(&back, ODV_U8, 1, 1, 0);
  CodecRow row;
  row.compress = AdaptiveSeconds([&] {
    OdvRPCData* data = nullptr;
    std::uint64_t size = 0;
    FlattenImageToRPCData(frame, ODV_PACK_FORMAT, ODV_COMPRESS_LOSSLESS, 1, 750, 0, 0, 0x100000, &data, &size);
    packed.resize(size);
    std::uint64_t written = 0;
    FlattenRPCDataToStream(data, packed.data(), size, &written);
    DisposeRPCData(data);
  });
  OdvStatus status = ODV_SUCCESS;
  row.decompress = AdaptiveSeconds([&] {
    const Array1D view{packed.data(), packed.size(), packed.size(), 1, 0, nullptr};
    status = UnflattenImageFromArray1D(&back, &view);
  });
  row.packed = packed.size();
  row.exact = status == ODV_SUCCESS && ImagesEqual(frame, back);
  DisposeImage(back);
  SetPackingThreads(1);
  return row;
}

// A reference codec on the frame's contiguous pixel bytes.
CodecRow Reference(const std::vector<std::uint8_t>& raw, const std::function<std::size_t(std::vector<std::uint8_t>&)>& compress,
                   const std::function<void(const std::vector<std::uint8_t>&, std::size_t, std::vector<std::uint8_t>&)>& decompress) {
  std::vector<std::uint8_t> packed(2 * raw.size() + (1 << 20)), back(raw.size());
  CodecRow row;
  row.compress = AdaptiveSeconds([&] { row.packed = compress(packed); });
  row.decompress = AdaptiveSeconds([&] { decompress(packed, row.packed, back); });
  row.exact = back == raw && row.packed != 0;
  return row;
}

#if defined(HAVE_CHARLS)
CodecRow CharLs(const std::vector<std::uint8_t>& raw, std::uint32_t type) {
  const bool wide = type == ODV_U16;
  const std::int32_t components = type == ODV_RGB32 ? 4 : 1;
  const charls::frame_info info{kWidth, kHeight, wide ? 12 : 8, components};
  return Reference(
      raw,
      [&](std::vector<std::uint8_t>& out) {
        charls::jpegls_encoder encoder;
        encoder.frame_info(info).interleave_mode(components > 1 ? charls::interleave_mode::line
                                                                : charls::interleave_mode::none);
        encoder.destination(out.data(), out.size());
        return encoder.encode(raw.data(), raw.size());
      },
      [&](const std::vector<std::uint8_t>& in, std::size_t n, std::vector<std::uint8_t>& out) {
        charls::jpegls_decoder decoder(in.data(), n, true);
        decoder.decode(out.data(), out.size());
      });
}
#endif

#if defined(HAVE_JXL)
CodecRow Jxl(const std::vector<std::uint8_t>& raw, std::uint32_t type, int effort) {
  const bool wide = type == ODV_U16;
  const std::uint32_t channels = type == ODV_RGB32 ? 4 : 1;
  // Our RGB32 is blue, green, red, alpha; JPEG XL takes red first. The swap
  // is done once outside the timing, as a camera could deliver either.
  std::vector<std::uint8_t> source = raw;
  if (channels == 4)
    for (std::size_t i = 0; i < source.size(); i += 4) std::swap(source[i], source[i + 2]);
  const JxlPixelFormat format{channels, wide ? JXL_TYPE_UINT16 : JXL_TYPE_UINT8, JXL_LITTLE_ENDIAN, 0};
  CodecRow row = Reference(
      source,
      [&](std::vector<std::uint8_t>& out) {
        JxlEncoder* encoder = JxlEncoderCreate(nullptr);
        JxlBasicInfo info;
        JxlEncoderInitBasicInfo(&info);
        info.xsize = kWidth;
        info.ysize = kHeight;
        info.bits_per_sample = wide ? 16 : 8;
        info.num_color_channels = channels == 4 ? 3 : 1;
        info.num_extra_channels = channels == 4 ? 1 : 0;
        info.alpha_bits = channels == 4 ? 8 : 0;
        info.uses_original_profile = JXL_TRUE;
        JxlEncoderSetBasicInfo(encoder, &info);
        JxlColorEncoding colour;
        JxlColorEncodingSetToSRGB(&colour, channels == 1 ? JXL_TRUE : JXL_FALSE);
        JxlEncoderSetColorEncoding(encoder, &colour);
        JxlEncoderFrameSettings* settings = JxlEncoderFrameSettingsCreate(encoder, nullptr);
        JxlEncoderSetFrameLossless(settings, JXL_TRUE);
        JxlEncoderFrameSettingsSetOption(settings, JXL_ENC_FRAME_SETTING_EFFORT, effort);
        JxlEncoderAddImageFrame(settings, &format, source.data(), source.size());
        JxlEncoderCloseInput(encoder);
        std::uint8_t* next = out.data();
        std::size_t avail = out.size();
        JxlEncoderStatus status = JxlEncoderProcessOutput(encoder, &next, &avail);
        JxlEncoderDestroy(encoder);
        return status == JXL_ENC_SUCCESS ? static_cast<std::size_t>(next - out.data()) : 0;
      },
      [&](const std::vector<std::uint8_t>& in, std::size_t n, std::vector<std::uint8_t>& out) {
        JxlDecoder* decoder = JxlDecoderCreate(nullptr);
        JxlDecoderSubscribeEvents(decoder, JXL_DEC_FULL_IMAGE);
        JxlDecoderSetInput(decoder, in.data(), n);
        JxlDecoderCloseInput(decoder);
        for (;;) {
          const JxlDecoderStatus status = JxlDecoderProcessInput(decoder);
          if (status == JXL_DEC_NEED_IMAGE_OUT_BUFFER) {
            JxlDecoderSetImageOutBuffer(decoder, &format, out.data(), out.size());
          } else {
            break;  // full image, success or error
          }
        }
        JxlDecoderDestroy(decoder);
      });
  return row;
}
#endif

// The table of lossless codecs on one frame: ours through the library
// (1 thread and all cores), then the field's libraries on the same bytes.
void CodecTable(const TestFrame& shape) {
  Image* frame = MakeTestFrame(shape);
  const std::uint32_t pixelSize = ImageTypePixelSize(shape.type);
  const std::size_t raw = std::size_t{kWidth} * kHeight * pixelSize;
  std::vector<std::uint8_t> bytes(raw);
  void* first = nullptr;
  GetImagePixel(frame, 0, 0, &first);
  std::memcpy(bytes.data(), first, raw);
  std::printf("\nlossless, %s: %ux%u, %zu bytes\n", shape.name, kWidth, kHeight, raw);
  std::printf("%-26s %10s %10s %11s %8s\n", "codec", "pack MB/s", "unpack MB/s", "round MB/s", "ratio");
  const CodecRow ours = OurCodec(frame, 1);
  PrintRow("keld pixel codec, 1 thread", raw, ours);
  const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
  const CodecRow all = OurCodec(frame, cores);
  char label[64];
  std::snprintf(label, sizeof label, "keld pixel codec, %u thr", cores);
  PrintRow(label, raw, all);
  std::printf("%-26s %10.2f %10.2f %11.2f\n", "  speed-up on all cores", ours.compress / all.compress,
              ours.decompress / all.decompress,
              (ours.compress + ours.decompress) / (all.compress + all.decompress));
  ZSTD_CCtx* cctx = ZSTD_createCCtx();
  ZSTD_DCtx* dctx = ZSTD_createDCtx();
  for (int level : {1, -5}) {
    char name[32];
    std::snprintf(name, sizeof name, "zstd level %d", level);
    PrintRow(name, raw,
             Reference(
                 bytes, [&](std::vector<std::uint8_t>& out) { return ZSTD_compressCCtx(cctx, out.data(), out.size(), bytes.data(), raw, level); },
                 [&](const std::vector<std::uint8_t>& in, std::size_t n, std::vector<std::uint8_t>& out) {
                   ZSTD_decompressDCtx(dctx, out.data(), out.size(), in.data(), n);
                 }));
  }
  ZSTD_freeCCtx(cctx);
  ZSTD_freeDCtx(dctx);
  PrintRow("lz4 accel 1", raw,
           Reference(
               bytes,
               [&](std::vector<std::uint8_t>& out) {
                 return static_cast<std::size_t>(LZ4_compress_default(reinterpret_cast<const char*>(bytes.data()),
                                                                      reinterpret_cast<char*>(out.data()), int(raw), int(out.size())));
               },
               [&](const std::vector<std::uint8_t>& in, std::size_t n, std::vector<std::uint8_t>& out) {
                 LZ4_decompress_safe(reinterpret_cast<const char*>(in.data()), reinterpret_cast<char*>(out.data()), int(n),
                                     int(out.size()));
               }));
#if defined(HAVE_DEFLATE)
  libdeflate_compressor* deflater = libdeflate_alloc_compressor(1);
  libdeflate_decompressor* inflater = libdeflate_alloc_decompressor();
  PrintRow("libdeflate level 1", raw,
           Reference(
               bytes, [&](std::vector<std::uint8_t>& out) { return libdeflate_deflate_compress(deflater, bytes.data(), raw, out.data(), out.size()); },
               [&](const std::vector<std::uint8_t>& in, std::size_t n, std::vector<std::uint8_t>& out) {
                 libdeflate_deflate_decompress(inflater, in.data(), n, out.data(), out.size(), nullptr);
               }));
  libdeflate_free_compressor(deflater);
  libdeflate_free_decompressor(inflater);
#endif
#if defined(HAVE_CHARLS)
  PrintRow("CharLS JPEG-LS", raw, CharLs(bytes, shape.type));
#endif
#if defined(HAVE_JXL)
  for (int effort : {1, 2}) {
    char name[32];
    std::snprintf(name, sizeof name, "libjxl lossless effort %d", effort);
    PrintRow(name, raw, Jxl(bytes, shape.type, effort));
  }
#endif
  DisposeImage(frame);
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

  // 12-bit mosaic: OpenCV demosaics 16-bit sources to 16-bit BGRA; ours
  // writes 8-bit BGRA with the scaling (and gains) in the same pass.
  Image* wide = nullptr;
  NewImage(&wide, ODV_U16, kWidth, kHeight, 0);
  SetBitDepth(wide, 12);
  FillTestPattern(wide, 5, 3, 42);
  void* widePixels = nullptr;
  GetImagePixel(wide, 0, 0, &widePixels);
  const cv::Mat wideMosaic(int(kHeight), int(kWidth), CV_16UC1, widePixels);
  cv::Mat wideOut;
  double tCvWide = 0;
  try {
    tCvWide = Seconds([&] { cv::cvtColor(wideMosaic, wideOut, codes[chosen]); });
  } catch (const cv::Exception&) {
    tCvWide = 0;
  }
  const double tWide = Seconds([&] {
    Gen_BayerColorDecode2(ours.data(), widePixels, kHeight, kWidth, kWidth, kWidth, 0, 12, 0, 1, ODV_RGB32, 1, 1, 1);
  });
  const double tWideGains = Seconds([&] {
    Gen_BayerColorDecode2(ours.data(), widePixels, kHeight, kWidth, kWidth, kWidth, 0, 12, 0, 1, ODV_RGB32, 1.2, 1, 1.5);
  });
  DisposeImage(wide);
  std::printf("\nBayer 12-bit -> RGB32, %ux%u\n", kWidth, kHeight);
  std::printf("%-28s %10s %10s\n", "decoder", "MP/s", "x OpenCV");
  if (tCvWide > 0) std::printf("%-28s %10.0f %10.2f\n", "OpenCV cvtColor 16-bit", mp / tCvWide, 1.0);
  const double reference = tCvWide > 0 ? tCvWide : tCv;  // the 8-bit one where OpenCV lacks 16-bit BGRA
  std::printf("%-28s %10.0f %10.2f\n", "Gen_BayerColorDecode2", mp / tWide, reference / tWide);
  std::printf("%-28s %10.0f %10.2f\n", "Gen_BayerColorDecode2 gains", mp / tWideGains, reference / tWideGains);
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
    const TestFrame frames[] = {{"U8, noise +-1", ODV_U8, 1, false},   {"U8, noise +-3", ODV_U8, 3, false},
                                {"U16 12-bit, noise +-16 at 12 bits", ODV_U16, 0, false, 16},
                                {"U16 12-bit, 8-bit picture x16 with its noise +-3", ODV_U16, 3, false},
                                {"RGB32, noise +-3", ODV_RGB32, 3, false}, {"Bayer RG/GB U8, noise +-3", ODV_U8, 3, true}};
    for (const TestFrame& frame : frames) CodecTable(frame);
  }
  if (wanted("bayer")) BayerTable();
  return 0;
}
