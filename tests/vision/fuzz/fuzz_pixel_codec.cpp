// libFuzzer target for the reader of lossless pixel payloads, the part of a
// packed image that the payload hash doesn't protect against a hostile
// writer. Input: a mode byte, a type byte, width and height bytes, then
// either a payload to check and decode (mode bit 0 clear), or pixels to pack
// (mode bit 0 set; bits 1-3 choose the lines per slice), which must come back
// exactly, after which the last input byte picks one payload byte to damage
// before the damaged payload is checked and decoded too. Any input must end
// in a status, never in a crash or an access outside the buffers.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "odvissvc/odvissvc.h"
#include "pixel_codec.h"

namespace {

constexpr std::uint32_t kTypes[] = {ODV_U8, ODV_I16, ODV_RGB32, ODV_HSL32, ODV_RGBU64, ODV_U16};
constexpr std::uint32_t kPixelBytes[] = {1, 2, 4, 4, 8, 2};

void DecodeInto(std::uint32_t type, std::uint32_t width, std::uint32_t height, std::uint32_t pixelBytes,
                const std::uint8_t* payload, std::size_t size) {
  odv::PixelPlan plan;
  if (odv::CheckPixels(type, width, height, payload, size, &plan) != ODV_SUCCESS) return;
  const std::uint64_t stride = std::uint64_t{width + 3} * pixelBytes;  // padded lines
  std::vector<std::uint8_t> pixels(stride * height);
  odv::DecodePixels(plan, pixels.data(), stride, 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  const std::uint8_t mode = data[0];
  const std::size_t kind = data[1] % 6;
  const std::uint32_t type = kTypes[kind], pixelBytes = kPixelBytes[kind];
  const std::uint32_t width = 1u + data[2] % 96, height = 1u + data[3] % 48;
  data += 4;
  size -= 4;
  if ((mode & 1) == 0) {
    // An exact-size heap copy, so that a read past the end is caught.
    std::vector<std::uint8_t> payload(data, data + size);
    payload.shrink_to_fit();
    DecodeInto(type, width, height, pixelBytes, payload.data(), payload.size());
    return 0;
  }
  const std::uint64_t rowBytes = std::uint64_t{width} * pixelBytes;
  std::vector<std::uint8_t> pixels(rowBytes * height, 0);
  for (std::size_t i = 0; i < pixels.size() && size != 0; ++i) pixels[i] = data[i % size];
  odv::Buffer packed;
  const std::uint64_t sliceLimit = rowBytes * (1u + ((mode >> 1) & 7));
  if (odv::EncodePixels(type, width, height, pixels.data(), rowBytes, sliceLimit, 1, &packed) != ODV_SUCCESS) return 0;
  odv::PixelPlan plan;
  std::vector<std::uint8_t> back(pixels.size(), 0xA5);
  if (odv::CheckPixels(type, width, height, packed.data.get(), packed.size, &plan) != ODV_SUCCESS ||
      odv::DecodePixels(plan, back.data(), rowBytes, 1) != ODV_SUCCESS || back != pixels)
    std::abort();  // the codec must give back what it packed
  if (size == 0 || packed.size == 0) return 0;
  std::vector<std::uint8_t> damaged(packed.data.get(), packed.data.get() + packed.size);
  const std::size_t at = (std::size_t{data[size - 1]} * 131u + (size > 1 ? data[size - 2] : 0u)) % damaged.size();
  damaged[at] = static_cast<std::uint8_t>(damaged[at] ^ (mode | 1u));
  damaged.resize(damaged.size() - ((mode >> 4) & 1));  // sometimes one byte short
  damaged.shrink_to_fit();
  DecodeInto(type, width, height, pixelBytes, damaged.data(), damaged.size());
  return 0;
}
