#include "core/frames.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "odvissvc/odvissvc.h"

namespace keldsim {
namespace {

// Colour of the four places of a 2 x 2 cell, by (line parity, column
// parity), for the patterns RG/GB, BG/GR, GB/RG and GR/BG.
constexpr std::uint32_t kRed = 2, kGreen = 1, kBlue = 0;
constexpr std::uint32_t kFilters[4][4] = {
    {kRed, kGreen, kGreen, kBlue},
    {kBlue, kGreen, kGreen, kRed},
    {kGreen, kBlue, kRed, kGreen},
    {kGreen, kRed, kBlue, kGreen},
};

std::uint8_t ApplyGain(std::uint8_t value, double gain) {
  const double scaled = std::round(value * gain);
  return static_cast<std::uint8_t>(std::clamp(scaled, 0.0, 255.0));
}

void StampCounter(const FrameGeometry& geometry, std::uint32_t frame, std::uint8_t* target) {
  const std::uint32_t type = geometry.OutputType();
  if (type == 4) {
    std::memcpy(target, &frame, 4);
    return;
  }
  const std::uint32_t count = std::min<std::uint32_t>(4, geometry.width);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t byte = (frame >> (8 * i)) & 0xFF;
    if (type == 0) {
      target[i] = static_cast<std::uint8_t>(byte);
    } else {
      const auto wide = static_cast<std::uint16_t>(byte << (geometry.OutputDepth() - 8));
      std::memcpy(target + 2 * i, &wide, 2);
    }
  }
}

// The chart's patches, red, green, blue: white, grey, black, red in the
// upper row, green, blue, yellow, cyan in the lower.
constexpr std::uint32_t kChart[8][3] = {{235, 235, 235}, {128, 128, 128}, {16, 16, 16},   {200, 40, 40},
                                        {40, 200, 40},   {40, 40, 200},   {200, 200, 40}, {40, 200, 200}};

// A still scene of the chart or of one colour.
OdvStatus FillStillScene(Image* image, const FrameGeometry& geometry, std::uint32_t type, std::uint32_t depth) {
  const std::uint32_t maxValue = (1u << depth) - 1;
  for (std::uint32_t y = 0; y < geometry.sensorHeight; ++y) {
    void* address = nullptr;
    if (const OdvStatus status = GetImagePixel(image, 0, y, &address); status != ODV_SUCCESS) return status;
    auto* row = static_cast<std::uint8_t*>(address);
    for (std::uint32_t x = 0; x < geometry.sensorWidth; ++x) {
      std::uint32_t rgb[3] = {geometry.sceneColour[0], geometry.sceneColour[1], geometry.sceneColour[2]};
      if (geometry.scene == 1) ChartColour(x, y, geometry.sensorWidth, geometry.sensorHeight, rgb);
      const std::uint32_t luma = (299 * rgb[0] + 587 * rgb[1] + 114 * rgb[2]) / 1000;
      if (type == 4) {
        std::uint8_t* pixel = row + std::size_t{x} * 4;
        pixel[0] = static_cast<std::uint8_t>(rgb[2]);
        pixel[1] = static_cast<std::uint8_t>(rgb[1]);
        pixel[2] = static_cast<std::uint8_t>(rgb[0]);
        pixel[3] = 0;
      } else if (type == 0) {
        row[x] = static_cast<std::uint8_t>(luma);
      } else {
        const auto wide = static_cast<std::uint16_t>(luma * maxValue / 255);
        std::memcpy(row + std::size_t{x} * 2, &wide, 2);
      }
    }
  }
  return ODV_SUCCESS;
}

}  // namespace

void ChartColour(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height, std::uint32_t rgb[3]) {
  const std::uint32_t patch = (y * 2 / height) * 4 + x * 4 / width;
  for (int c = 0; c < 3; ++c) rgb[c] = kChart[patch][c];
}

std::uint32_t PixelBytesOfType(std::uint32_t type) {
  switch (type) {
    case 0:
      return 1;
    case 7:
      return 2;
    case 4:
      return 4;
    default:
      return 0;
  }
}

std::uint32_t FrameGeometry::PixelBytes() const { return PixelBytesOfType(OutputType()); }

std::uint32_t FilterColour(std::uint32_t pattern, std::uint32_t x, std::uint32_t y) {
  return kFilters[pattern & 3][(y & 1) * 2 + (x & 1)];
}

FrameRenderer::~FrameRenderer() {
  if (scene_ != nullptr) DisposeImage(scene_);
}

Status FrameRenderer::Scene(const FrameGeometry& geometry, std::uint32_t frame) {
  const std::uint32_t type = geometry.Bayer() ? 4u : geometry.cameraType;
  const std::uint32_t depth = type == 7 ? geometry.bitDepth : 8u;
  // A still scene is the same in every frame: only the moving pattern is
  // drawn again for a new frame.
  const bool sameFrame = sceneFrame_ == frame || geometry.scene != 0;
  if (sceneValid_ && sameFrame && sceneType_ == type && sceneDepth_ == depth &&
      sceneNoise_ == geometry.noise && sceneWidth_ == geometry.sensorWidth && sceneHeight_ == geometry.sensorHeight &&
      sceneKind_ == geometry.scene && std::equal(sceneColour_, sceneColour_ + 3, geometry.sceneColour)) {
    return st::kOk;
  }
  sceneValid_ = false;
  if (scene_ == nullptr && NewImage(&scene_, type, geometry.sensorWidth, geometry.sensorHeight, 0) != ODV_SUCCESS) {
    scene_ = nullptr;
    return st::kNoMemory;
  }
  if (ResizeAndCastImage(scene_, geometry.sensorWidth, geometry.sensorHeight, type) != ODV_SUCCESS ||
      SetBitDepth(scene_, depth) != ODV_SUCCESS) {
    return st::kNoMemory;
  }
  const OdvStatus filled = geometry.scene == 0 ? FillTestPattern(scene_, frame, geometry.noise, frame)
                                               : FillStillScene(scene_, geometry, type, depth);
  if (filled != ODV_SUCCESS) return st::kInternal;
  sceneValid_ = true;
  sceneFrame_ = frame;
  sceneType_ = type;
  sceneDepth_ = depth;
  sceneNoise_ = geometry.noise;
  sceneWidth_ = geometry.sensorWidth;
  sceneHeight_ = geometry.sensorHeight;
  sceneKind_ = geometry.scene;
  std::copy(geometry.sceneColour, geometry.sceneColour + 3, sceneColour_);
  return st::kOk;
}

Status FrameRenderer::Render(const FrameGeometry& geometry, std::uint32_t frame, std::uint8_t* target,
                             std::size_t strideBytes) {
  if (const Status status = Scene(geometry, frame); status != st::kOk) return status;
  const std::uint32_t outputType = geometry.OutputType();
  const std::uint32_t outputBytes = geometry.PixelBytes();
  const std::uint32_t depth = geometry.OutputDepth();
  const std::uint32_t maxValue = (1u << depth) - 1;
  for (std::uint32_t y = 0; y < geometry.height; ++y) {
    const std::uint32_t sensorY = geometry.top + y;
    void* address = nullptr;
    if (GetImagePixel(scene_, 0, sensorY, &address) != ODV_SUCCESS) return st::kInternal;
    const auto* sceneRow = static_cast<const std::uint8_t*>(address);
    std::uint8_t* row = target + y * strideBytes;
    if (!geometry.Bayer()) {
      std::memcpy(row, sceneRow + std::size_t{geometry.left} * outputBytes, std::size_t{geometry.width} * outputBytes);
      continue;
    }
    for (std::uint32_t x = 0; x < geometry.width; ++x) {
      const std::uint32_t sensorX = geometry.left + x;
      const std::uint8_t* pixel = sceneRow + std::size_t{sensorX} * 4;
      if (outputType == 4) {
        std::uint8_t* out = row + std::size_t{x} * 4;
        out[0] = ApplyGain(pixel[0], geometry.blueGain);
        out[1] = ApplyGain(pixel[1], geometry.greenGain);
        out[2] = ApplyGain(pixel[2], geometry.redGain);
        out[3] = pixel[3];
        continue;
      }
      const std::uint8_t value = pixel[FilterColour(geometry.sensorPattern, sensorX, sensorY)];
      if (outputType == 0) {
        row[x] = value;
      } else {
        const auto wide = static_cast<std::uint16_t>(std::uint32_t{value} * maxValue / 255);
        std::memcpy(row + std::size_t{x} * 2, &wide, 2);
      }
    }
  }
  if (geometry.height > 0 && geometry.width > 0) StampCounter(geometry, frame, target);
  return st::kOk;
}

Status FrameRenderer::MeanLevel(const FrameGeometry& geometry, std::uint32_t frame, double& mean) {
  if (const Status status = Scene(geometry, frame); status != st::kOk) return status;
  const std::uint32_t type = geometry.Bayer() ? 4u : geometry.cameraType;
  const double scale = type == 7 ? 255.0 / ((1u << geometry.bitDepth) - 1) : 1.0;
  double sum = 0;
  std::uint64_t count = 0;
  for (std::uint32_t y = 0; y < geometry.height; ++y) {
    void* address = nullptr;
    if (GetImagePixel(scene_, geometry.left, geometry.top + y, &address) != ODV_SUCCESS) return st::kInternal;
    const auto* row = static_cast<const std::uint8_t*>(address);
    for (std::uint32_t x = 0; x < geometry.width; ++x) {
      if (type == 0) {
        sum += row[x];
        ++count;
      } else if (type == 7) {
        std::uint16_t value = 0;
        std::memcpy(&value, row + 2 * x, 2);
        sum += value * scale;
        ++count;
      } else {
        sum += row[4 * x] + row[4 * x + 1] + row[4 * x + 2];
        count += 3;
      }
    }
  }
  mean = count == 0 ? 0.0 : sum / static_cast<double>(count);
  return st::kOk;
}

void CopyRows(const std::uint8_t* source, std::size_t sourceStride, std::uint8_t* target, std::size_t targetStride,
              std::size_t rowBytes, std::uint32_t rows) {
  for (std::uint32_t y = 0; y < rows; ++y) std::memcpy(target + y * targetStride, source + y * sourceStride, rowBytes);
}

}  // namespace keldsim
