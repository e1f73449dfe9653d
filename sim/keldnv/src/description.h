// What the driver is told about its cameras: the JSON description (see
// keldnvsim_control.h), read into plain records. The attribute tree of a
// camera is built from its description (camera.cpp); the records here only
// carry what the description says.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "status.h"

namespace keldnvsim {

// Kinds of attribute, numbered as the driver reports them. A register is a
// window on the camera's register space, read and written as a u32 of its
// own code, which nothing but the driver knows.
enum class Kind : std::uint32_t { U32 = 0, I64 = 1, F64 = 2, String = 3, Enum = 4, Bool = 5, Command = 6, Register = 7 };

struct Choice {
  std::string name;
  std::int64_t value = 0;
};

// An attribute the description adds (or changes) beside the camera's own.
struct AttributeDescription {
  std::string name;
  Kind kind = Kind::U32;
  std::int64_t intValue = 0, intMin = 0, intMax = 0, intInc = 1;
  double floatValue = 0, floatMin = 0, floatMax = 0, floatInc = 0;
  std::string text;
  std::vector<Choice> choices;
  std::string units, tooltip, description, displayName;
  std::uint32_t representation = 0;
  std::uint32_t visibility = 0x1000;
  bool readable = true, writable = true, dynamic = false;
};

// Interface types of the camera record.
inline constexpr std::uint32_t kNetwork = 1;
inline constexpr std::uint32_t kUsb = 2;
inline constexpr std::uint32_t kCameraLink = 4;

struct CameraDescription {
  std::string interfaceName;
  std::uint64_t serial = 0;
  std::string vendor, model;
  std::uint32_t interfaceType = kNetwork;
  std::uint32_t flags = 1;
  std::uint32_t width = 640, height = 480;
  std::vector<std::string> pixelFormats;  // empty: by colour
  bool colour = false;
  double frameRate = 60;
  std::uint32_t noise = 0;
  bool reserved = false;
  std::string board;       // camera-link cameras only
  std::string driverName;  // empty: by interface type
  std::uint32_t extraAttributes = 0;
  std::vector<AttributeDescription> attributes;
};

struct Description {
  std::uint32_t version = 0;
  std::vector<CameraDescription> cameras;
};

// The built-in description (four cameras), without a version word.
const char* BuiltInDescription();

// Reads a description; `defaultVersion` where it names none. On failure
// `error` says why.
Status ParseDescription(const std::string& text, std::uint32_t defaultVersion, Description& description,
                        std::string& error);
// Reads one camera, the JSON object of an entry of "cameras".
Status ParseCamera(const std::string& text, CameraDescription& camera, std::string& error);

// Pixel formats the driver knows: name, the camera's code, the image type
// (0 U8, 4 RGB32, 7 U16) and bits per pixel.
struct PixelFormat {
  const char* name;
  std::int64_t code;
  std::uint32_t imageType;
  std::uint32_t bitDepth;
};
const PixelFormat* FindPixelFormat(const std::string& name);
const PixelFormat* FindPixelFormat(std::int64_t code);

// Numbers in texts: decimal, or hexadecimal after "0x".
std::optional<std::uint64_t> ParseU64(const std::string& text);
std::string Hex64(std::uint64_t value);

}  // namespace keldnvsim
