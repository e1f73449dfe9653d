#include "core/camera_file.h"

#include <cmath>
#include <filesystem>
#include <set>

#include "core/text_file.h"

namespace keldsim {
namespace {

constexpr std::string_view kAttributePrefix = "Attribute ";

std::vector<std::string> SplitValues(std::string_view text) {
  std::vector<std::string> values;
  while (true) {
    const std::size_t bar = text.find('|');
    values.emplace_back(Trim(text.substr(0, bar)));
    if (bar == std::string_view::npos) break;
    text.remove_prefix(bar + 1);
  }
  return values;
}

struct Reader {
  const TextSection& section;
  std::string& error;
  bool ok = true;

  const std::string* Get(std::string_view key, bool required) {
    const std::string* value = section.Find(key);
    if (value == nullptr && required && ok) {
      error = "[" + section.name + "] lacks " + std::string(key);
      ok = false;
    }
    return value;
  }
  std::string Text(std::string_view key, bool required = true) {
    const std::string* value = Get(key, required);
    return value == nullptr ? std::string() : *value;
  }
  std::uint32_t U32(std::string_view key, std::uint32_t fallback, bool required = true) {
    const std::string* value = Get(key, required);
    if (value == nullptr) return fallback;
    const auto number = ParseU32(*value);
    if (!number) {
      if (ok) error = "[" + section.name + "] " + std::string(key) + " is not a number";
      ok = false;
      return fallback;
    }
    return *number;
  }
  double F64(std::string_view key, double fallback, bool required = true) {
    const std::string* value = Get(key, required);
    if (value == nullptr) return fallback;
    const auto number = ParseF64(*value);
    if (!number) {
      if (ok) error = "[" + section.name + "] " + std::string(key) + " is not a number";
      ok = false;
      return fallback;
    }
    return *number;
  }
};

bool Invalid(std::string& error, std::string text) {
  error = std::move(text);
  return false;
}

bool CheckCamera(const CameraModel& camera, std::string& error) {
  if (camera.width < 1 || camera.width > 16384 || camera.height < 1 || camera.height > 16384) {
    return Invalid(error, "Width and Height must lie in 1 to 16384");
  }
  if (camera.imageType != 0 && camera.imageType != 4 && camera.imageType != 7) {
    return Invalid(error, "ImageType must be 0 (U8), 4 (RGB32) or 7 (U16)");
  }
  if ((camera.imageType == 7 && (camera.bitDepth < 9 || camera.bitDepth > 16)) ||
      (camera.imageType != 7 && camera.bitDepth != 8)) {
    return Invalid(error, "BitDepth must be 8 for U8 and RGB32, 9 to 16 for U16");
  }
  if (camera.bayer != kNoBayer && (camera.bayer > 3 || camera.imageType == 4)) {
    return Invalid(error, "BayerPattern must be none or 0 to 3, on a U8 or U16 camera");
  }
  if (!(camera.frameRate == 0 || (camera.frameRate >= 1 && camera.frameRate <= 1000))) {
    return Invalid(error, "FrameRate must be 0 or lie in 1 to 1000");
  }
  if (camera.scene > 2) return Invalid(error, "Scene must be pattern, chart or flat");
  for (const std::uint32_t level : camera.sceneColour) {
    if (level > 255) return Invalid(error, "SceneColour takes three levels of 0 to 255");
  }
  if (camera.noise > 64) return Invalid(error, "Noise must lie in 0 to 64");
  if (camera.interfaceTypes == 0) return Invalid(error, "InterfaceTypes must not be 0");
  std::set<std::string> names;
  for (const auto& node : camera.attributes) {
    if (node.name.empty() || node.name.size() > 255)
      return Invalid(error, "an attribute name needs 1 to 255 characters");
    if (!names.insert(node.name).second) return Invalid(error, "attribute \"" + node.name + "\" appears twice");
    if (node.isString && node.values.empty()) {
      // A string attribute may offer no values (yet); its value is empty.
      if (!node.defaultText.empty() || !node.current.empty()) {
        return Invalid(error, "attribute \"" + node.name + "\" has no values but a Default or Value");
      }
    } else if (node.isString) {
      std::set<std::string> values;
      for (const auto& value : node.values) {
        if (value.empty() || !values.insert(value).second) {
          return Invalid(error, "attribute \"" + node.name + "\" has an empty or repeated value");
        }
      }
      if (values.count(node.defaultText) == 0 || values.count(node.current) == 0) {
        return Invalid(error, "Default and Value of \"" + node.name + "\" must be among its values");
      }
    } else {
      if (node.minimum > node.maximum || node.increment == 0 || node.defaultRaw < node.minimum ||
          node.defaultRaw > node.maximum || node.raw < node.minimum || node.raw > node.maximum) {
        return Invalid(error, "the range of \"" + node.name + "\" is not consistent");
      }
      if (!(node.scale > 0) || !std::isfinite(node.scale) || node.precision > 9) {
        return Invalid(error, "Scale and Precision of \"" + node.name + "\" are not valid");
      }
    }
  }
  for (const auto& node : camera.attributes) {
    if (node.parent.empty()) continue;
    const CameraAttributeNode* parent = camera.FindAttribute(node.parent);
    if (parent == nullptr || !parent->isString || parent == &node) {
      return Invalid(error, "the parent of \"" + node.name + "\" is not a string attribute of this file");
    }
    bool found = false;
    for (const auto& value : parent->values) found = found || value == node.when;
    if (!found) return Invalid(error, "\"When\" of \"" + node.name + "\" is not a value of its parent");
  }
  // A parent chain must end at a root.
  for (const auto& node : camera.attributes) {
    const CameraAttributeNode* walk = &node;
    for (std::size_t steps = 0; walk != nullptr && !walk->parent.empty(); ++steps) {
      if (steps > camera.attributes.size()) return Invalid(error, "the parents of \"" + node.name + "\" form a loop");
      walk = camera.FindAttribute(walk->parent);
    }
  }
  return true;
}

}  // namespace

const CameraAttributeNode* CameraModel::FindAttribute(std::string_view name) const {
  for (const auto& node : attributes) {
    if (node.name == name) return &node;
  }
  return nullptr;
}

CameraAttributeNode* CameraModel::FindAttribute(std::string_view name) {
  for (auto& node : attributes) {
    if (node.name == name) return &node;
  }
  return nullptr;
}

const std::string* CameraModel::FindSetting(std::uint32_t key) const {
  for (const auto& [k, v] : settings) {
    if (k == key) return &v;
  }
  return nullptr;
}

Status ParseCameraFile(std::string_view text, CameraModel& camera, std::string& error) {
  TextDocument document;
  if (const Status status = ParseText(text, document, error); status != st::kOk) return status;
  const TextSection* head = document.Find("Camera");
  if (head == nullptr) {
    error = "no [Camera] section";
    return st::kFileFormat;
  }
  CameraModel result;
  Reader reader{*head, error};
  result.model = reader.Text("Model");
  result.modeName = reader.Text("ModeName", false);
  result.detail = reader.Text("Detail", false);
  result.interfaceTypes = reader.U32("InterfaceTypes", 0);
  result.width = reader.U32("Width", 0);
  result.height = reader.U32("Height", 0);
  result.imageType = reader.U32("ImageType", 0);
  result.bitDepth = reader.U32("BitDepth", 8);
  const std::string bayer = reader.Text("BayerPattern", false);
  if (!bayer.empty() && !EqualNoCase(bayer, "none")) {
    const auto pattern = ParseU32(bayer);
    result.bayer = pattern.value_or(0xFFFFFFFE);
  }
  result.frameRate = reader.F64("FrameRate", 30.0, false);
  result.noise = reader.U32("Noise", 0, false);
  const std::string scene = reader.Text("Scene", false);
  if (scene.empty() || EqualNoCase(scene, "pattern")) {
    result.scene = 0;
  } else if (EqualNoCase(scene, "chart")) {
    result.scene = 1;
  } else if (EqualNoCase(scene, "flat")) {
    result.scene = 2;
  } else {
    result.scene = 3;
  }
  const std::string colour = reader.Text("SceneColour", false);
  if (!colour.empty()) {
    std::string_view rest = colour;
    for (std::uint32_t& level : result.sceneColour) {
      rest = Trim(rest);
      const std::size_t space = rest.find(' ');
      level = ParseU32(rest.substr(0, space)).value_or(256);
      rest = space == std::string_view::npos ? std::string_view{} : rest.substr(space);
    }
    if (!Trim(rest).empty()) result.sceneColour[0] = 256;
  }
  if (!reader.ok) return st::kFileFormat;
  for (const auto& section : document.sections) {
    if (EqualNoCase(section.name, "Settings")) {
      for (const auto& [key, value] : section.entries) {
        const auto number = ParseU32(key);
        if (!number) {
          error = "[Settings] key \"" + key + "\" is not an attribute key";
          return st::kFileFormat;
        }
        result.settings.emplace_back(*number, value);
      }
      continue;
    }
    if (section.name.size() <= kAttributePrefix.size() ||
        !EqualNoCase(std::string_view(section.name).substr(0, kAttributePrefix.size()), kAttributePrefix)) {
      continue;
    }
    CameraAttributeNode node;
    node.name = std::string(Trim(std::string_view(section.name).substr(kAttributePrefix.size())));
    Reader attribute{section, error};
    const std::string kind = attribute.Text("Kind");
    node.parent = attribute.Text("Parent", false);
    node.when = attribute.Text("When", !node.parent.empty());
    if (EqualNoCase(kind, "string")) {
      node.isString = true;
      const std::string values = attribute.Text("Values");
      if (!Trim(values).empty()) node.values = SplitValues(values);
      node.defaultText = attribute.Text("Default", !node.values.empty());
      node.current = attribute.Text("Value", false);
      if (node.current.empty()) node.current = node.defaultText;
    } else if (EqualNoCase(kind, "numeric")) {
      node.units = attribute.Text("Units", false);
      node.minimum = attribute.U32("Minimum", 0);
      node.maximum = attribute.U32("Maximum", 0);
      node.increment = attribute.U32("Increment", 1, false);
      node.scale = attribute.F64("Scale", 1.0, false);
      node.offset = attribute.F64("Offset", 0.0, false);
      node.precision = attribute.U32("Precision", 0, false);
      node.defaultRaw = attribute.U32("Default", node.minimum);
      node.raw = attribute.U32("Value", node.defaultRaw, false);
    } else if (attribute.ok) {
      error = "[" + section.name + "] Kind must be numeric or string";
      return st::kFileFormat;
    }
    if (!attribute.ok) return st::kFileFormat;
    result.attributes.push_back(std::move(node));
  }
  if (!CheckCamera(result, error)) return st::kFileFormat;
  camera = std::move(result);
  return st::kOk;
}

std::string FormatCameraFile(const CameraModel& camera) {
  TextDocument document;
  TextSection& head = document.AddSection("Camera");
  head.Add("Model", camera.model);
  head.Add("ModeName", camera.modeName);
  head.Add("Detail", camera.detail);
  head.Add("InterfaceTypes", Hex32(camera.interfaceTypes));
  head.Add("Width", std::to_string(camera.width));
  head.Add("Height", std::to_string(camera.height));
  head.Add("ImageType", std::to_string(camera.imageType));
  head.Add("BitDepth", std::to_string(camera.bitDepth));
  head.Add("BayerPattern", camera.bayer == kNoBayer ? std::string("none") : std::to_string(camera.bayer));
  head.Add("FrameRate", FormatF64(camera.frameRate));
  head.Add("Noise", std::to_string(camera.noise));
  static const char* const kScenes[] = {"pattern", "chart", "flat"};
  head.Add("Scene", kScenes[camera.scene]);
  head.Add("SceneColour", std::to_string(camera.sceneColour[0]) + " " + std::to_string(camera.sceneColour[1]) + " " +
                              std::to_string(camera.sceneColour[2]));
  if (!camera.settings.empty()) {
    TextSection& settings = document.AddSection("Settings");
    for (const auto& [key, value] : camera.settings) settings.Add(Hex32(key), value);
  }
  for (const auto& node : camera.attributes) {
    TextSection& section = document.AddSection(std::string(kAttributePrefix) + node.name);
    if (!node.parent.empty()) {
      section.Add("Parent", node.parent);
      section.Add("When", node.when);
    }
    if (node.isString) {
      section.Add("Kind", "string");
      std::string values;
      for (const auto& value : node.values) values += (values.empty() ? "" : "|") + value;
      section.Add("Values", values);
      section.Add("Default", node.defaultText);
      section.Add("Value", node.current);
    } else {
      section.Add("Kind", "numeric");
      section.Add("Units", node.units);
      section.Add("Minimum", std::to_string(node.minimum));
      section.Add("Maximum", std::to_string(node.maximum));
      section.Add("Increment", std::to_string(node.increment));
      section.Add("Scale", FormatF64(node.scale));
      section.Add("Offset", FormatF64(node.offset));
      section.Add("Precision", std::to_string(node.precision));
      section.Add("Default", std::to_string(node.defaultRaw));
      section.Add("Value", std::to_string(node.raw));
    }
  }
  return FormatText(document, "OD-KELD camera file");
}

Status LoadCameraFile(const std::string& path, CameraModel& camera) {
  std::string text;
  std::error_code failure;
  if (!std::filesystem::is_regular_file(path, failure) || !ReadWholeFile(path, text)) return st::kCameraFileNotFound;
  std::string error;
  return ParseCameraFile(text, camera, error);
}

}  // namespace keldsim
