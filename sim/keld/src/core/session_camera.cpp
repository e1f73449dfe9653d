// The camera's attribute tree: identifiers for attributes and their values,
// ranges and formatting of numeric attributes, and the values the camera
// takes by name. A value the camera refuses leaves a serial error text, as
// the camera's answer on its serial link would.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/session.h"
#include "core/text_file.h"

namespace keldsim {
namespace {

// Copies a text into a buffer of *size bytes; *size becomes the bytes the
// whole text needs.
Status CopySized(const std::string& text, std::uint32_t* size, char* out) {
  if (size == nullptr) return st::kInvalidArgument;
  const auto need = static_cast<std::uint32_t>(text.size() + 1);
  if (out == nullptr) {
    *size = need;
    return st::kOk;
  }
  const std::uint32_t room = *size;
  *size = need;
  if (room == 0) return st::kBufferTooSmall;
  const std::size_t length = std::min<std::size_t>(text.size(), room - 1);
  std::memcpy(out, text.data(), length);
  out[length] = '\0';
  return room < need ? st::kBufferTooSmall : st::kOk;
}

}  // namespace

#define KELDSIM_TREE_NODE(idValue, nodeName)                                \
  Lock lock(mutex_);                                                        \
  if (const Status status = LiveLocked(); status != st::kOk) return status; \
  const auto found = treeIds_.find(idValue);                                \
  if (found == treeIds_.end()) return st::kCameraAttributeNotFound;         \
  CameraAttributeNode& nodeName = camera_.attributes[found->second.attribute]

Status Session::CameraRoots(std::uint32_t* count, std::uint32_t* ids) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (count == nullptr && ids == nullptr) return st::kInvalidArgument;
  std::uint32_t roots = 0;
  for (std::uint32_t i = 0; i < camera_.attributes.size(); ++i) {
    if (!camera_.attributes[i].parent.empty()) continue;
    if (ids != nullptr) ids[roots] = attributeIds_[i];
    ++roots;
  }
  if (count != nullptr) *count = roots;
  return st::kOk;
}

Status Session::CameraInfo(std::uint32_t treeId, std::uint32_t* nameSize, char* name, std::uint32_t* kind) {
  KELDSIM_TREE_NODE(treeId, node);
  const std::int32_t value = found->second.value;
  if (kind != nullptr) *kind = value >= 0 ? 2u : (node.isString ? 1u : 0u);
  return CopySized(value >= 0 ? node.values[static_cast<std::size_t>(value)] : node.name, nameSize, name);
}

Status Session::CameraValues(std::uint32_t treeId, std::uint32_t* count, std::uint32_t* ids) {
  KELDSIM_TREE_NODE(treeId, node);
  if (found->second.value >= 0 || !node.isString) return st::kCameraAttributeKind;
  if (count == nullptr && ids == nullptr) return st::kInvalidArgument;
  const auto& values = valueIds_[found->second.attribute];
  if (count != nullptr) *count = static_cast<std::uint32_t>(values.size());
  if (ids != nullptr) std::copy(values.begin(), values.end(), ids);
  return st::kOk;
}

Status Session::CameraChildren(std::uint32_t treeId, const char* value, std::uint32_t* count, std::uint32_t* ids) {
  KELDSIM_TREE_NODE(treeId, node);
  if (found->second.value >= 0 || !node.isString) return st::kCameraAttributeKind;
  if (value == nullptr || (count == nullptr && ids == nullptr)) return st::kInvalidArgument;
  // An attribute without values has its empty value, which opens nothing.
  if (!node.values.empty() && std::find(node.values.begin(), node.values.end(), value) == node.values.end()) {
    return st::kCameraAttributeValue;
  }
  std::uint32_t children = 0;
  for (std::uint32_t i = 0; i < camera_.attributes.size(); ++i) {
    const CameraAttributeNode& child = camera_.attributes[i];
    if (child.parent != node.name || child.when != value) continue;
    if (ids != nullptr) ids[children] = attributeIds_[i];
    ++children;
  }
  if (count != nullptr) *count = children;
  return st::kOk;
}

Status Session::CameraUnits(std::uint32_t treeId, std::uint32_t* size, char* units) {
  KELDSIM_TREE_NODE(treeId, node);
  if (found->second.value >= 0 || node.isString) return st::kCameraAttributeKind;
  if (size == nullptr && units == nullptr) return st::kInvalidArgument;
  if (size != nullptr) *size = static_cast<std::uint32_t>(node.units.size() + 1);
  if (units != nullptr) std::memcpy(units, node.units.c_str(), node.units.size() + 1);
  return st::kOk;
}

Status Session::CameraNumeric(std::uint32_t treeId, int what, std::uint32_t* raw) {
  KELDSIM_TREE_NODE(treeId, node);
  if (found->second.value >= 0 || node.isString) return st::kCameraAttributeKind;
  if (raw == nullptr) return st::kInvalidArgument;
  switch (what) {
    case 0:
      *raw = node.minimum;
      break;
    case 1:
      *raw = node.maximum;
      break;
    case 2:
      *raw = node.precision;
      break;
    case 3:
      *raw = node.increment;
      break;
    default:
      *raw = node.defaultRaw;
      break;
  }
  return st::kOk;
}

Status Session::CameraFormatted(std::uint32_t treeId, std::uint32_t raw, double& value) {
  KELDSIM_TREE_NODE(treeId, node);
  if (found->second.value >= 0 || node.isString) return st::kCameraAttributeKind;
  value = node.Formatted(raw);
  return st::kOk;
}

Status Session::CameraIncrement(std::uint32_t treeId, double& value) {
  KELDSIM_TREE_NODE(treeId, node);
  if (found->second.value >= 0 || node.isString) return st::kCameraAttributeKind;
  value = node.increment * node.scale;
  return st::kOk;
}

Status Session::CameraStringDefault(std::uint32_t treeId, std::uint32_t* size, char* text) {
  KELDSIM_TREE_NODE(treeId, node);
  if (found->second.value >= 0 || !node.isString) return st::kCameraAttributeKind;
  return CopySized(node.defaultText, size, text);
}

#undef KELDSIM_TREE_NODE

Status Session::GetCameraNumeric(const char* name, double& value) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (name == nullptr) return st::kInvalidArgument;
  const CameraAttributeNode* node = camera_.FindAttribute(name);
  if (node == nullptr) return st::kCameraAttributeNotFound;
  if (node->isString) return st::kCameraAttributeKind;
  value = node->Formatted(node->raw);
  return st::kOk;
}

Status Session::GetCameraString(const char* name, char* text, std::uint32_t size) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (name == nullptr || text == nullptr || size == 0) return st::kInvalidArgument;
  const CameraAttributeNode* node = camera_.FindAttribute(name);
  if (node == nullptr) return st::kCameraAttributeNotFound;
  if (!node->isString) return st::kCameraAttributeKind;
  std::uint32_t room = size;
  return CopySized(node->current, &room, text);
}

Status Session::SetCameraNumeric(const char* name, double value) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (name == nullptr) return st::kInvalidArgument;
  CameraAttributeNode* node = camera_.FindAttribute(name);
  if (node == nullptr) return st::kCameraAttributeNotFound;
  if (node->isString) return st::kCameraAttributeKind;
  const double low = node->Formatted(node->minimum), high = node->Formatted(node->maximum);
  const double slack = node->scale * 1e-6;
  if (!std::isfinite(value) || value < low - slack || value > high + slack) {
    serialError_ = "Camera refused " + std::string(name) + " = " + FormatF64(value) + ": the range is " +
                   FormatF64(low) + " to " + FormatF64(high) + " " + node->units;
    return st::kCameraAttributeValue;
  }
  // The camera takes the nearest step of its raw scale.
  const double steps = std::round(((value - node->offset) / node->scale - node->minimum) / node->increment);
  const double raw = std::clamp(node->minimum + steps * node->increment, static_cast<double>(node->minimum),
                                static_cast<double>(node->maximum));
  node->raw = static_cast<std::uint32_t>(raw);
  return st::kOk;
}

Status Session::SetCameraString(const char* name, const char* text) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (name == nullptr || text == nullptr) return st::kInvalidArgument;
  CameraAttributeNode* node = camera_.FindAttribute(name);
  if (node == nullptr) return st::kCameraAttributeNotFound;
  if (!node->isString) return st::kCameraAttributeKind;
  if (std::find(node->values.begin(), node->values.end(), text) == node->values.end()) {
    serialError_ = "Camera refused " + std::string(name) + " = \"" + text + "\": not one of its values";
    return st::kCameraAttributeValue;
  }
  node->current = text;
  return st::kOk;
}

}  // namespace keldsim
