// A camera file (".icd"): the camera model with its image geometry and
// format, the texts shown when choosing a camera, the interface types it
// suits, the stored values of the camera's settings, and the tree of camera
// attributes: numeric ones with a raw range and a formatted form, and string
// ones with named values, a value of which can open further attributes.
//
//   [Camera]
//   Model = Mono 640            ModeName = ...       Detail = ...
//   InterfaceTypes = 0x3        Width = 640          Height = 480
//   ImageType = 0 (U8), 4 (RGB32) or 7 (U16)         BitDepth = 8
//   BayerPattern = none, or 0 to 3 (RG/GB, BG/GR, GB/RG, GR/BG)
//   FrameRate = 60 (0: as fast as images are asked for)     Noise = 0
//   Scene = pattern (the moving test pattern), chart (eight colour patches:
//           white, grey, black, red, green, blue, yellow, cyan, in two rows)
//           or flat (one colour)                  SceneColour = 128 128 128 (red, green, blue)
//   [Settings]
//   0x3FF60068 = 0              (values of attributes stored in the file)
//   [Attribute Exposure Time]
//   Kind = numeric   Units = us   Minimum = 1   Maximum = 10000   Increment = 1
//   Scale = 10       Offset = 0   Precision = 0 Default = 100     Value = 100
//   [Attribute Trigger Mode]
//   Kind = string    Values = Free Run|Triggered   Default = Free Run   Value = Free Run
//   [Attribute Trigger Polarity]
//   Parent = Trigger Mode   When = Triggered   Kind = string   ...
//
// A numeric attribute keeps its raw value; the formatted value, the one a
// user sees, is Offset + raw * Scale.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/status.h"

namespace keldsim {

inline constexpr std::uint32_t kNoBayer = 0xFFFFFFFF;

struct CameraAttributeNode {
  std::string name;
  bool isString = false;
  std::string parent;  // empty for a root
  std::string when;    // value of the parent that opens this attribute
  // numeric
  std::string units;
  std::uint32_t minimum = 0, maximum = 0, increment = 1, defaultRaw = 0, raw = 0, precision = 0;
  double scale = 1.0, offset = 0.0;
  // string
  std::vector<std::string> values;
  std::string defaultText, current;

  double Formatted(std::uint32_t rawValue) const { return offset + static_cast<double>(rawValue) * scale; }
};

struct CameraModel {
  std::string model, modeName, detail;
  std::uint32_t interfaceTypes = 0;
  std::uint32_t width = 0, height = 0, imageType = 0, bitDepth = 8, bayer = kNoBayer;
  double frameRate = 30.0;
  std::uint32_t noise = 0;
  std::uint32_t scene = 0;                         // 0 pattern, 1 chart, 2 flat
  std::uint32_t sceneColour[3] = {128, 128, 128};  // red, green, blue of a flat scene
  std::vector<std::pair<std::uint32_t, std::string>> settings;
  std::vector<CameraAttributeNode> attributes;

  const CameraAttributeNode* FindAttribute(std::string_view name) const;
  CameraAttributeNode* FindAttribute(std::string_view name);
  const std::string* FindSetting(std::uint32_t key) const;
};

Status ParseCameraFile(std::string_view text, CameraModel& camera, std::string& error);
std::string FormatCameraFile(const CameraModel& camera);
// Reads a camera file from disk: kCameraFileNotFound or kFileFormat.
Status LoadCameraFile(const std::string& path, CameraModel& camera);

}  // namespace keldsim
