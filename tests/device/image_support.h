// Images in device scenarios: an image object of the image library that a
// scenario owns, a look at its header and pixels, the frame counter that the
// simulated camera stamps into the first pixels, a hash of the pixels for
// the transcript, and the driver session behind a board's acquisition unit
// (the simulated driver's faults are set per driver session).
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "device_fixture.h"
#include "keldcfgc/keldcfgc.h"
#include "keldsim/keldsim_control.h"
#include "odvissvc/odvissvc.h"

namespace keld::device {

// An image of the image library, disposed of at the end of the scope.
class TestImage {
 public:
  explicit TestImage(std::uint32_t type = ODV_U8, std::uint32_t width = 0, std::uint32_t height = 0,
                     std::uint32_t border = 0) {
    EXPECT_EQ(NewImage(&image_, type, width, height, border), 0u);
  }
  TestImage(const TestImage&) = delete;
  TestImage& operator=(const TestImage&) = delete;
  ~TestImage() { DisposeImage(image_); }
  Image* get() const { return image_; }
  operator Image*() const { return image_; }

 private:
  Image* image_ = nullptr;
};

inline std::uint32_t HeaderWord(const Image* image, int index) {
  if (IsImage(image) == 0) return 0;
  std::uint32_t word = 0;
  std::memcpy(&word, reinterpret_cast<const std::uint8_t*>(image) + 4 * index, sizeof word);
  return word;
}
inline std::uint32_t WidthOf(const Image* image) { return HeaderWord(image, ODV_WORD_WIDTH); }
inline std::uint32_t HeightOf(const Image* image) { return HeaderWord(image, ODV_WORD_HEIGHT); }
inline std::uint32_t TypeOf(const Image* image) { return HeaderWord(image, ODV_WORD_TYPE); }
inline std::uint32_t DepthOf(const Image* image) { return HeaderWord(image, ODV_WORD_BIT_DEPTH); }
inline std::uint32_t LineWidthOf(const Image* image) { return HeaderWord(image, ODV_WORD_LINE_WIDTH); }

// Pixel (x, y) of an image, or null outside it.
inline const std::uint8_t* PixelOf(const Image* image, std::uint32_t x, std::uint32_t y) {
  void* address = nullptr;
  if (x >= WidthOf(image) || y >= HeightOf(image) || GetImagePixel(image, x, y, &address) != 0) return nullptr;
  return static_cast<const std::uint8_t*>(address);
}

// The pixels of an image, lines without padding.
inline std::vector<std::uint8_t> PixelsOf(const Image* image) {
  std::vector<std::uint8_t> pixels;
  const std::size_t rowBytes = std::size_t{WidthOf(image)} * ImageTypePixelSize(TypeOf(image));
  for (std::uint32_t y = 0; y < HeightOf(image); ++y) {
    const std::uint8_t* row = PixelOf(image, 0, y);
    if (row == nullptr) return {};
    pixels.insert(pixels.end(), row, row + rowBytes);
  }
  return pixels;
}

// The frame counter that the simulated camera writes into the first pixels:
// four bytes, least significant first, in pixels 0 to 3 of the first line
// (shifted to the top of the bit depth for U16), or the bytes of pixel 0 of
// a colour image.
inline std::uint32_t CounterOf(const Image* image) {
  const std::uint8_t* first = PixelOf(image, 0, 0);
  if (first == nullptr) return 0xFFFFFFFF;
  std::uint32_t frame = 0;
  const std::uint32_t type = TypeOf(image);
  if (type == ODV_RGB32) {
    std::memcpy(&frame, first, 4);
    return frame;
  }
  for (std::uint32_t i = 0; i < 4 && i < WidthOf(image); ++i) {
    std::uint32_t byte = first[i];
    if (type == ODV_U16) {
      std::uint16_t wide = 0;
      std::memcpy(&wide, first + 2 * i, 2);
      byte = wide >> (DepthOf(image) - 8);
    }
    frame |= byte << (8 * i);
  }
  return frame;
}

inline std::string HashOf(const std::vector<std::uint8_t>& bytes) {
  std::uint64_t hash = 0xcbf29ce484222325ull;
  for (const std::uint8_t byte : bytes) hash = (hash ^ byte) * 0x100000001b3ull;
  char text[20];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
  return text;
}

// What a user sees of an image: size, type, bit depth and a hash of the pixels.
inline std::string Describe(const Image* image) {
  return std::to_string(WidthOf(image)) + "x" + std::to_string(HeightOf(image)) + " type " +
         std::to_string(TypeOf(image)) + " depth " + std::to_string(DepthOf(image)) + " pixels " +
         HashOf(PixelsOf(image));
}

// Largest difference of any byte between two pixel sequences of equal size,
// and the mean difference; for lossy transport.
struct Difference {
  int largest = 0;
  double mean = 0;
};
inline Difference Compare(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
  Difference difference;
  if (a.size() != b.size() || a.empty()) return {256, 256};
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const int d = std::abs(int{a[i]} - int{b[i]});
    difference.largest = std::max(difference.largest, d);
    sum += d;
  }
  difference.mean = sum / static_cast<double>(a.size());
  return difference;
}

// The simulated driver's session on a board's acquisition unit: the one the
// library opened locally or the target's service opened for its client.
inline std::uint32_t DriverSession(std::uint32_t serial, std::uint32_t unit = 0) {
  std::uint32_t sid = 0;
  EXPECT_EQ(keldsimGetUnitSession(serial, unit, &sid), 0u);
  EXPECT_NE(sid, 0u) << "no driver session on unit " << unit << " of board " << Hex(serial);
  return sid;
}

inline constexpr std::uint32_t kSerialImg0 = 0x00A10001;
inline constexpr std::uint32_t kSerialImg1 = 0x00A10002;
inline constexpr std::uint32_t kSerialImg2 = 0x00A10003;

// Flags of the acquisition functions: bring the image back (a remote
// session's reply carries it only with this bit), and decode raw Bayer data.
inline constexpr std::uint32_t kWithImage = 1;
inline constexpr std::uint32_t kDecodeBayer = 16;

// Keys of the frame-grabber driver that scenarios set or read.
inline constexpr std::uint32_t kFrameRateKey = 0x3FF600D9;
inline constexpr std::uint32_t kTimeoutKey = 0x3FF60070;
inline constexpr std::uint32_t kWindowKey = 0x3FF601A8;
inline constexpr std::uint32_t kLastBufferKey = 0x3FF60120;
inline constexpr std::uint32_t kRedGainKey = 0x3FF601CC;
inline constexpr std::uint32_t kGreenGainKey = 0x3FF601CD;
inline constexpr std::uint32_t kBlueGainKey = 0x3FF601CE;
inline constexpr std::uint32_t kBayerPatternKey = 0x3FF601CB;

// Statuses of the simulated driver that scenarios meet.
inline constexpr std::uint32_t kDriverTimeout = 0xBFF60007;
inline constexpr std::uint32_t kDriverFrameLost = 0xBFF60025;
inline constexpr std::uint32_t kDriverTransferFailed = 0xBFF60026;

// Loads a camera file given as text into an open session; notes the status.
inline std::int32_t LoadCamera(Device& device, std::uint32_t id, const char* text, const char* name) {
  const std::int32_t status = cfgReadAttributesFromString(id, text);
  EXPECT_EQ(status, 0) << name;
  device.Note(std::string("camera ") + name, status);
  return status;
}

}  // namespace keld::device
