// Camera files of the simulated driver that the acquisition scenarios load
// into a session as text: the seeded cameras at a frame rate of 0 (a frame
// whenever one is asked for, so that buffer numbers do not depend on the
// speed of the test), still scenes for colour checks, and raw Bayer sensors.
#pragma once

#include <cstdint>
#include <string>

namespace keld::device {

struct CameraText {
  const char* model = "Test camera";
  std::uint32_t width = 640;
  std::uint32_t height = 480;
  std::uint32_t imageType = 0;  // 0 U8, 4 RGB32, 7 U16
  std::uint32_t bitDepth = 8;
  const char* bayer = "none";  // or "0" to "3"
  const char* frameRate = "0";
  std::uint32_t noise = 0;
  const char* scene = "pattern";  // pattern, chart or flat
  const char* sceneColour = "128 128 128";
  const char* extra = "";  // further lines of [Camera], or sections after it

  std::string Text() const {
    std::string text = "[Camera]\nModel = " + std::string(model) +
                       "\nModeName = Test mode\nDetail = Test camera of the device suite\nInterfaceTypes = 0x7\n";
    text += "Width = " + std::to_string(width) + "\nHeight = " + std::to_string(height) +
            "\nImageType = " + std::to_string(imageType) + "\nBitDepth = " + std::to_string(bitDepth) +
            "\nBayerPattern = " + bayer + "\nFrameRate = " + frameRate + "\nNoise = " + std::to_string(noise) +
            "\nScene = " + scene + "\nSceneColour = " + sceneColour + "\n";
    text += extra;
    return text;
  }
};

// mono640.icd as fast as asked.
inline CameraText FastMono640() {
  CameraText camera;
  camera.model = "Mono 640";
  return camera;
}

// bayer1280.icd as fast as asked: pattern RG/GB, noise 3.
inline CameraText FastBayer1280() {
  CameraText camera;
  camera.model = "Colour 1280 raw";
  camera.width = 1280;
  camera.height = 1024;
  camera.bayer = "0";
  camera.noise = 3;
  return camera;
}

// A raw Bayer sensor looking at the colour chart.
inline CameraText ChartBayer(const char* pattern = "0", std::uint32_t width = 256, std::uint32_t height = 128) {
  CameraText camera;
  camera.model = "Chart Bayer";
  camera.width = width;
  camera.height = height;
  camera.bayer = pattern;
  camera.scene = "chart";
  return camera;
}

// A raw Bayer sensor looking at one flat colour (red, green, blue).
inline CameraText FlatBayer(const char* colour) {
  CameraText camera;
  camera.model = "Flat Bayer";
  camera.width = 128;
  camera.height = 96;
  camera.bayer = "0";
  camera.scene = "flat";
  camera.sceneColour = colour;
  return camera;
}

}  // namespace keld::device
