// What a simulated camera must deliver, worked out here independently of
// the driver: the scene is the image library's test pattern at the sensor's
// full size for the frame (noise seeded by the frame number); the board
// delivers a window of it, one colour a pixel for a raw Bayer sensor (by the
// filter at the pixel's place on the sensor, scaled to the bit depth), and
// writes the frame counter into the first pixels.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "odvissvc/odvissvc.h"

namespace keldsim_test {

struct CameraKind {
  uint32_t width, height, type, depth, pattern, noise;
  bool Bayer() const { return pattern <= 3; }
};

// The seeded camera files.
inline constexpr CameraKind kMono640{640, 480, 0, 8, 0xFFFFFFFF, 0};
inline constexpr CameraKind kBayer1280{1280, 1024, 0, 8, 0, 3};
inline constexpr CameraKind kMono16{1024, 768, 7, 12, 0xFFFFFFFF, 1};
inline constexpr CameraKind kRgb640{640, 480, 4, 8, 0xFFFFFFFF, 0};

inline uint32_t PixelBytes(uint32_t type) { return type == 0 ? 1 : type == 7 ? 2 : 4; }

// The scene of a frame, rows without gaps.
inline std::vector<uint8_t> Scene(const CameraKind& camera, uint32_t frame) {
  const uint32_t type = camera.Bayer() ? 4 : camera.type;
  Image* image = nullptr;
  EXPECT_EQ(NewImage(&image, type, camera.width, camera.height, 0), 0u);
  EXPECT_EQ(SetBitDepth(image, type == 7 ? camera.depth : 8), 0u);
  EXPECT_EQ(FillTestPattern(image, frame, camera.noise, frame), 0u);
  const std::size_t rowBytes = std::size_t{camera.width} * PixelBytes(type);
  std::vector<uint8_t> scene(rowBytes * camera.height);
  for (uint32_t y = 0; y < camera.height; ++y) {
    void* row = nullptr;
    EXPECT_EQ(GetImagePixel(image, 0, y, &row), 0u);
    std::memcpy(scene.data() + y * rowBytes, row, rowBytes);
  }
  DisposeImage(image);
  return scene;
}

// Byte of the colour (0 blue, 1 green, 2 red) under the filter at sensor
// place (x, y): patterns RG/GB, BG/GR, GB/RG, GR/BG by their first two
// lines.
inline uint32_t Filter(uint32_t pattern, uint32_t x, uint32_t y) {
  static const char* const kNames[4] = {"RGGB", "BGGR", "GBRG", "GRBG"};
  const char colour = kNames[pattern][(y % 2) * 2 + (x % 2)];
  return colour == 'R' ? 2 : colour == 'G' ? 1 : 0;
}

struct Gains {
  double red = 1, green = 1, blue = 1;
};

// The image of a window as the board delivers it, rows without gaps.
inline std::vector<uint8_t> Expected(const CameraKind& camera, uint32_t frame, uint32_t top, uint32_t left,
                                     uint32_t width, uint32_t height, bool boardDecodes = false, Gains gains = {}) {
  const std::vector<uint8_t> scene = Scene(camera, frame);
  const uint32_t sceneBytes = PixelBytes(camera.Bayer() ? 4 : camera.type);
  const uint32_t outType = camera.Bayer() && boardDecodes ? 4 : camera.type;
  const uint32_t outBytes = PixelBytes(outType);
  const uint32_t depth = outType == 7 ? camera.depth : 8;
  std::vector<uint8_t> out(std::size_t{width} * height * outBytes);
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      const uint32_t sx = left + x, sy = top + y;
      const uint8_t* in = scene.data() + (std::size_t{sy} * camera.width + sx) * sceneBytes;
      uint8_t* pixel = out.data() + (std::size_t{y} * width + x) * outBytes;
      if (!camera.Bayer()) {
        std::memcpy(pixel, in, outBytes);
      } else if (boardDecodes) {
        const double factors[3] = {gains.blue, gains.green, gains.red};
        for (int c = 0; c < 3; ++c) {
          const double v = std::round(in[c] * factors[c]);
          pixel[c] = static_cast<uint8_t>(v > 255 ? 255 : v);
        }
        pixel[3] = in[3];
      } else {
        const uint32_t value = in[Filter(camera.pattern, sx, sy)];
        if (outType == 0) {
          pixel[0] = static_cast<uint8_t>(value);
        } else {
          const auto wide = static_cast<uint16_t>(value * ((1u << depth) - 1) / 255);
          std::memcpy(pixel, &wide, 2);
        }
      }
    }
  }
  // The frame counter.
  if (outType == 4) {
    std::memcpy(out.data(), &frame, 4);
  } else {
    for (uint32_t i = 0; i < 4 && i < width; ++i) {
      const uint32_t byte = (frame >> (8 * i)) & 0xFF;
      if (outType == 0) {
        out[i] = static_cast<uint8_t>(byte);
      } else {
        const auto wide = static_cast<uint16_t>(byte << (depth - 8));
        std::memcpy(out.data() + 2 * i, &wide, 2);
      }
    }
  }
  return out;
}

// The frame counter written into an image.
inline uint32_t Counter(const uint8_t* image, uint32_t type, uint32_t depth) {
  uint32_t frame = 0;
  if (type == 4) {
    std::memcpy(&frame, image, 4);
    return frame;
  }
  for (uint32_t i = 0; i < 4; ++i) {
    uint32_t byte = image[i];
    if (type == 7) {
      uint16_t wide = 0;
      std::memcpy(&wide, image + 2 * i, 2);
      byte = wide >> (depth - 8);
    }
    frame |= byte << (8 * i);
  }
  return frame;
}

// Compares an image with `rowPixels` pixels between lines to the expected
// one; tells the first difference.
inline ::testing::AssertionResult SameImage(const std::vector<uint8_t>& expected, const uint8_t* actual, uint32_t width,
                                            uint32_t height, uint32_t pixelBytes, uint32_t rowPixels) {
  const std::size_t rowBytes = std::size_t{width} * pixelBytes;
  for (uint32_t y = 0; y < height; ++y) {
    const uint8_t* want = expected.data() + y * rowBytes;
    const uint8_t* got = actual + std::size_t{y} * rowPixels * pixelBytes;
    if (std::memcmp(want, got, rowBytes) != 0) {
      for (std::size_t i = 0; i < rowBytes; ++i) {
        if (want[i] != got[i]) {
          return ::testing::AssertionFailure()
                 << "first difference at line " << y << ", pixel " << i / pixelBytes << ", byte " << i % pixelBytes
                 << ": expected " << int{want[i]} << ", got " << int{got[i]};
        }
      }
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace keldsim_test
