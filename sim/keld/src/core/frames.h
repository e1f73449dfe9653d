// Images of the simulated cameras. A camera looks at a moving test scene
// (the image library's test pattern, at the sensor's full size, moving with
// the camera's frame counter and with noise seeded by it), or at a still
// colour chart of eight patches, or at one flat colour (a monochrome camera
// sees their luma: (299 red + 587 green + 114 blue) / 1000). The board
// delivers the acquisition window of it in the camera's format: the scene's
// pixels for monochrome and colour cameras; for a raw Bayer camera one
// colour of the scene per pixel, the colour filter being taken at the
// pixel's place on the sensor, scaled to the bit depth; or, where the board
// decodes the mosaic itself, the colour scene with the white-balance gains.
// The first pixels of each image carry the frame counter: for U8 and U16 the
// four bytes of the counter (least significant first) in pixels 0 to 3 of
// the first line, each shifted to the top of the bit depth; for RGB32 the
// four bytes of pixel 0.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/status.h"

struct Image;

namespace keldsim {

struct FrameGeometry {
  std::uint32_t sensorWidth = 0, sensorHeight = 0;
  std::uint32_t cameraType = 0;  // 0 U8, 4 RGB32, 7 U16
  std::uint32_t bitDepth = 8;
  std::uint32_t sensorPattern = 0xFFFFFFFF;  // colour filter, or none
  std::uint32_t noise = 0;
  std::uint32_t scene = 0;                         // 0 the moving test pattern, 1 a colour chart, 2 one colour
  std::uint32_t sceneColour[3] = {128, 128, 128};  // red, green, blue
  bool hardwareDecode = false;
  double redGain = 1, greenGain = 1, blueGain = 1;
  std::uint32_t top = 0, left = 0, width = 0, height = 0;  // the window

  bool Bayer() const { return sensorPattern <= 3; }
  std::uint32_t OutputType() const { return Bayer() && hardwareDecode ? 4u : cameraType; }
  std::uint32_t OutputDepth() const { return OutputType() == 7 ? bitDepth : 8u; }
  std::uint32_t PixelBytes() const;
};

std::uint32_t PixelBytesOfType(std::uint32_t type);

// Colour of the filter at sensor place (x, y) of a pattern: 0 blue, 1 green,
// 2 red, which is also the byte of that colour in an RGB32 pixel.
std::uint32_t FilterColour(std::uint32_t pattern, std::uint32_t x, std::uint32_t y);

// Red, green and blue of the chart's patch at sensor place (x, y).
void ChartColour(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height, std::uint32_t rgb[3]);

// Renders camera frames. Not thread-safe: a session owns one.
class FrameRenderer {
 public:
  FrameRenderer() = default;
  FrameRenderer(const FrameRenderer&) = delete;
  FrameRenderer& operator=(const FrameRenderer&) = delete;
  ~FrameRenderer();

  // The window of frame `frame`, `height` lines `strideBytes` apart.
  Status Render(const FrameGeometry& geometry, std::uint32_t frame, std::uint8_t* target, std::size_t strideBytes);
  // Mean of the window's pixels on the 8-bit scale, over all channels.
  Status MeanLevel(const FrameGeometry& geometry, std::uint32_t frame, double& mean);

 private:
  Status Scene(const FrameGeometry& geometry, std::uint32_t frame);

  Image* scene_ = nullptr;
  bool sceneValid_ = false;
  std::uint32_t sceneFrame_ = 0, sceneType_ = 0, sceneDepth_ = 0, sceneNoise_ = 0;
  std::uint32_t sceneWidth_ = 0, sceneHeight_ = 0, sceneKind_ = 0, sceneColour_[3] = {0, 0, 0};
};

// Copies `rows` rows of `rowBytes` between two strided memories.
void CopyRows(const std::uint8_t* source, std::size_t sourceStride, std::uint8_t* target, std::size_t targetStride,
              std::size_t rowBytes, std::uint32_t rows);

}  // namespace keldsim
