#include "description.h"

#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>

namespace keldnvsim {
namespace {

using nlohmann::json;

// A network camera of the house, a colour USB camera of another vendor, a
// camera-link camera of the house on board img0, and a network camera the
// driver does not list.
constexpr const char* kBuiltIn = R"({
  "cameras": [
    { "interface": "cam0", "serial": "0x00A1B00000000101", "vendor": "Orvane Devices", "model": "OD GC-640M",
      "interface_type": "network", "width": 640, "height": 480 },
    { "interface": "cam1", "serial": "0x00A1B00000000202", "vendor": "Basalt Imaging", "model": "BX-2040C USB",
      "interface_type": "usb", "width": 800, "height": 600, "colour": true },
    { "interface": "cam2", "serial": "0x00A1B00000000303", "vendor": "OD", "model": "OD CL-4M",
      "interface_type": "cameralink", "width": 512, "height": 512, "pixel_formats": ["Mono12", "Mono8"],
      "board": "img0" },
    { "interface": "cam3", "serial": "0x00A1B00000000404", "vendor": "Orvane Devices", "model": "OD GC-640M",
      "interface_type": "network", "flags": 0 }
  ]
})";

constexpr PixelFormat kPixelFormats[] = {
    {"Mono8", 0x01080001, 0, 8},
    {"Mono12", 0x01100005, 7, 12},
    {"Mono16", 0x01100007, 7, 16},
    {"BGRa8", 0x02200017, 4, 8},
};

struct ParseError {
  std::string text;
};

[[noreturn]] void Fail(std::string text) { throw ParseError{std::move(text)}; }

std::uint64_t Unsigned(const json& value, const std::string& what, std::uint64_t highest) {
  std::uint64_t result = 0;
  if (value.is_number_unsigned()) {
    result = value.get<std::uint64_t>();
  } else if (value.is_number_integer()) {
    if (value.get<std::int64_t>() < 0) Fail(what + " must not be negative");
    result = static_cast<std::uint64_t>(value.get<std::int64_t>());
  } else if (value.is_string()) {
    const auto parsed = ParseU64(value.get<std::string>());
    if (!parsed) Fail(what + " is not a number: \"" + value.get<std::string>() + "\"");
    result = *parsed;
  } else {
    Fail(what + " must be a number or a text such as \"0x8000000\"");
  }
  if (result > highest) Fail(what + " is too large");
  return result;
}

std::uint32_t Unsigned32(const json& value, const std::string& what) {
  return static_cast<std::uint32_t>(Unsigned(value, what, 0xFFFFFFFFu));
}

std::int64_t Signed(const json& value, const std::string& what) {
  if (value.is_number_integer()) return value.get<std::int64_t>();
  if (value.is_number_unsigned()) return static_cast<std::int64_t>(value.get<std::uint64_t>());
  if (value.is_string()) {
    std::string text = value.get<std::string>();
    const bool negative = !text.empty() && text[0] == '-';
    if (negative) text.erase(0, 1);
    const auto parsed = ParseU64(text);
    if (!parsed) Fail(what + " is not a number: \"" + value.get<std::string>() + "\"");
    return negative ? -static_cast<std::int64_t>(*parsed) : static_cast<std::int64_t>(*parsed);
  }
  Fail(what + " must be a number");
}

double Real(const json& value, const std::string& what) {
  if (!value.is_number()) Fail(what + " must be a number");
  return value.get<double>();
}

std::string Text(const json& value, const std::string& what) {
  if (!value.is_string()) Fail(what + " must be a text");
  return value.get<std::string>();
}

bool Flag(const json& value, const std::string& what) {
  if (!value.is_boolean()) Fail(what + " must be true or false");
  return value.get<bool>();
}

void RefuseUnknownKeys(const json& object, std::initializer_list<const char*> known, const std::string& what) {
  for (const auto& [key, value] : object.items()) {
    bool found = false;
    for (const char* name : known) found = found || key == name;
    if (!found) Fail(what + ": unknown key \"" + key + "\"");
  }
}

Kind KindOf(const std::string& text, const std::string& what) {
  static const struct {
    const char* name;
    Kind kind;
  } kinds[] = {{"u32", Kind::U32},   {"i64", Kind::I64},     {"f64", Kind::F64},        {"string", Kind::String},
               {"enum", Kind::Enum}, {"bool", Kind::Bool},   {"command", Kind::Command},
               {"register", Kind::Register}};
  for (const auto& row : kinds) {
    if (text == row.name) return row.kind;
  }
  Fail(what + ": type must be u32, i64, f64, string, enum, bool, command or register");
}

AttributeDescription ReadAttribute(const json& object, const std::string& where) {
  if (!object.is_object()) Fail(where + " must be an object");
  RefuseUnknownKeys(object,
                    {"name", "type", "value", "min", "max", "inc", "units", "representation", "visibility", "readable",
                     "writable", "dynamic", "tooltip", "description", "display_name", "choices"},
                    where);
  AttributeDescription attribute;
  if (!object.contains("name")) Fail(where + ": \"name\" is missing");
  attribute.name = Text(object["name"], where + ".name");
  if (attribute.name.empty() || attribute.name.size() >= 512) Fail(where + ": the name must have 1 to 511 characters");
  const std::string what = where + " (" + attribute.name + ")";
  attribute.kind = object.contains("type") ? KindOf(Text(object["type"], what + ".type"), what) : Kind::U32;
  const bool floating = attribute.kind == Kind::F64;
  if (object.contains("choices")) {
    if (attribute.kind != Kind::Enum) Fail(what + ": only an enumeration has choices");
    for (const json& entry : object["choices"]) {
      if (!entry.is_object() || !entry.contains("name") || !entry.contains("value")) {
        Fail(what + ": each choice needs a name and a value");
      }
      attribute.choices.push_back({Text(entry["name"], what + ".choices.name"), Signed(entry["value"], what)});
    }
  }
  if (attribute.kind == Kind::Enum && attribute.choices.empty()) Fail(what + ": an enumeration needs choices");
  if (object.contains("value")) {
    const json& value = object["value"];
    if (attribute.kind == Kind::String) {
      attribute.text = Text(value, what + ".value");
    } else if (floating) {
      attribute.floatValue = Real(value, what + ".value");
    } else if (attribute.kind == Kind::Bool || attribute.kind == Kind::Command) {
      attribute.intValue = value.is_boolean() ? (value.get<bool>() ? 1 : 0) : Signed(value, what + ".value");
    } else {
      attribute.intValue = Signed(value, what + ".value");
    }
  } else if (attribute.kind == Kind::Enum) {
    attribute.intValue = attribute.choices.front().value;
  }
  const bool numeric = attribute.kind == Kind::U32 || attribute.kind == Kind::I64 || floating;
  if (!numeric && (object.contains("min") || object.contains("max") || object.contains("inc"))) {
    Fail(what + ": only numbers have a minimum, maximum and increment");
  }
  if (floating) {
    attribute.floatMin = object.contains("min") ? Real(object["min"], what + ".min") : -1e300;
    attribute.floatMax = object.contains("max") ? Real(object["max"], what + ".max") : 1e300;
    attribute.floatInc = object.contains("inc") ? Real(object["inc"], what + ".inc") : 0;
  } else {
    const std::int64_t lowest = attribute.kind == Kind::U32 ? 0 : INT64_MIN;
    const std::int64_t highest = attribute.kind == Kind::U32 ? 0xFFFFFFFFLL : INT64_MAX;
    attribute.intMin = object.contains("min") ? Signed(object["min"], what + ".min") : lowest;
    attribute.intMax = object.contains("max") ? Signed(object["max"], what + ".max") : highest;
    attribute.intInc = object.contains("inc") ? Signed(object["inc"], what + ".inc") : 1;
    if (attribute.intInc <= 0) Fail(what + ": the increment must be positive");
  }
  if (object.contains("units")) attribute.units = Text(object["units"], what + ".units");
  if (object.contains("tooltip")) attribute.tooltip = Text(object["tooltip"], what + ".tooltip");
  if (object.contains("description")) attribute.description = Text(object["description"], what + ".description");
  if (object.contains("display_name")) attribute.displayName = Text(object["display_name"], what + ".display_name");
  if (object.contains("representation")) {
    attribute.representation = Unsigned32(object["representation"], what + ".representation");
  }
  if (object.contains("visibility")) attribute.visibility = Unsigned32(object["visibility"], what + ".visibility");
  if (object.contains("readable")) attribute.readable = Flag(object["readable"], what + ".readable");
  if (object.contains("writable")) attribute.writable = Flag(object["writable"], what + ".writable");
  if (object.contains("dynamic")) attribute.dynamic = Flag(object["dynamic"], what + ".dynamic");
  return attribute;
}

CameraDescription ReadCamera(const json& object, const std::string& where) {
  if (!object.is_object()) Fail(where + " must be an object");
  RefuseUnknownKeys(object,
                    {"interface", "serial", "vendor", "model", "interface_type", "flags", "width", "height",
                     "pixel_formats", "colour", "frame_rate", "noise", "reserved", "board", "driver_name",
                     "extra_attributes", "attributes"},
                    where);
  CameraDescription camera;
  if (!object.contains("interface") || !object.contains("serial")) Fail(where + ": interface and serial are needed");
  camera.interfaceName = Text(object["interface"], where + ".interface");
  if (camera.interfaceName.empty() || camera.interfaceName.size() >= 512) Fail(where + ": bad interface name");
  camera.serial = Unsigned(object["serial"], where + ".serial", UINT64_MAX);
  camera.vendor = object.contains("vendor") ? Text(object["vendor"], where + ".vendor") : "Orvane Devices";
  camera.model = object.contains("model") ? Text(object["model"], where + ".model") : "OD GC-640M";
  if (camera.vendor.size() >= 512 || camera.model.size() >= 512) Fail(where + ": vendor or model too long");
  if (object.contains("interface_type")) {
    const json& type = object["interface_type"];
    if (type.is_string() && type.get<std::string>() == "network") {
      camera.interfaceType = kNetwork;
    } else if (type.is_string() && type.get<std::string>() == "usb") {
      camera.interfaceType = kUsb;
    } else if (type.is_string() && type.get<std::string>() == "cameralink") {
      camera.interfaceType = kCameraLink;
    } else {
      camera.interfaceType = Unsigned32(type, where + ".interface_type");
    }
  }
  if (object.contains("flags")) camera.flags = Unsigned32(object["flags"], where + ".flags");
  if (object.contains("width")) camera.width = Unsigned32(object["width"], where + ".width");
  if (object.contains("height")) camera.height = Unsigned32(object["height"], where + ".height");
  if (camera.width < 16 || camera.height < 16 || camera.width > 8192 || camera.height > 8192 ||
      camera.width % 8 != 0 || camera.height % 2 != 0) {
    Fail(where + ": the sensor must be 16 to 8192 pixels wide (a multiple of 8) and high (a multiple of 2)");
  }
  if (object.contains("colour")) camera.colour = Flag(object["colour"], where + ".colour");
  if (object.contains("pixel_formats")) {
    for (const json& name : object["pixel_formats"]) {
      const std::string text = Text(name, where + ".pixel_formats");
      if (FindPixelFormat(text) == nullptr) Fail(where + ": unknown pixel format " + text);
      camera.pixelFormats.push_back(text);
    }
    if (camera.pixelFormats.empty()) Fail(where + ": pixel_formats must not be empty");
  }
  if (object.contains("frame_rate")) {
    camera.frameRate = Real(object["frame_rate"], where + ".frame_rate");
    if (camera.frameRate < 0 || camera.frameRate > 1000) Fail(where + ": frame_rate must lie in 0 to 1000");
  }
  if (object.contains("noise")) camera.noise = Unsigned32(object["noise"], where + ".noise");
  if (object.contains("reserved")) camera.reserved = Flag(object["reserved"], where + ".reserved");
  if (object.contains("board")) camera.board = Text(object["board"], where + ".board");
  if (object.contains("driver_name")) camera.driverName = Text(object["driver_name"], where + ".driver_name");
  if (object.contains("extra_attributes")) {
    camera.extraAttributes = Unsigned32(object["extra_attributes"], where + ".extra_attributes");
    if (camera.extraAttributes > 100000) Fail(where + ": extra_attributes above 100000");
  }
  if (object.contains("attributes")) {
    std::size_t index = 0;
    for (const json& entry : object["attributes"]) {
      camera.attributes.push_back(ReadAttribute(entry, where + ".attributes[" + std::to_string(index++) + "]"));
    }
  }
  return camera;
}

}  // namespace

const char* BuiltInDescription() { return kBuiltIn; }

std::optional<std::uint64_t> ParseU64(const std::string& text) {
  if (text.empty()) return std::nullopt;
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  std::uint64_t value = 0;
  for (std::size_t i = hex ? 2 : 0; i < text.size(); ++i) {
    const char c = text[i];
    std::uint64_t digit = 0;
    if (c >= '0' && c <= '9') {
      digit = static_cast<std::uint64_t>(c - '0');
    } else if (hex && std::isxdigit(static_cast<unsigned char>(c))) {
      digit = static_cast<std::uint64_t>(std::tolower(static_cast<unsigned char>(c)) - 'a' + 10);
    } else {
      return std::nullopt;
    }
    const std::uint64_t base = hex ? 16 : 10;
    if (value > (UINT64_MAX - digit) / base) return std::nullopt;
    value = value * base + digit;
  }
  return value;
}

std::string Hex64(std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%016" PRIX64, value);
  return text;
}

const PixelFormat* FindPixelFormat(const std::string& name) {
  for (const PixelFormat& format : kPixelFormats) {
    if (name == format.name) return &format;
  }
  return nullptr;
}

const PixelFormat* FindPixelFormat(std::int64_t code) {
  for (const PixelFormat& format : kPixelFormats) {
    if (code == format.code) return &format;
  }
  return nullptr;
}

Status ParseDescription(const std::string& text, std::uint32_t defaultVersion, Description& description,
                        std::string& error) {
  try {
    const json root = json::parse(text);
    if (!root.is_object()) Fail("the description must be a JSON object");
    RefuseUnknownKeys(root, {"driver_version", "cameras"}, "the description");
    description = Description{};
    description.version =
        root.contains("driver_version") ? Unsigned32(root["driver_version"], "driver_version") : defaultVersion;
    std::set<std::string> names;
    std::set<std::uint64_t> serials;
    if (root.contains("cameras")) {
      if (!root["cameras"].is_array()) Fail("cameras must be a list");
      std::size_t index = 0;
      for (const json& entry : root["cameras"]) {
        CameraDescription camera = ReadCamera(entry, "cameras[" + std::to_string(index++) + "]");
        if (!names.insert(camera.interfaceName).second) Fail("two cameras are called " + camera.interfaceName);
        if (!serials.insert(camera.serial).second) Fail("two cameras have the serial " + Hex64(camera.serial));
        description.cameras.push_back(std::move(camera));
      }
    }
    return st::kOk;
  } catch (const ParseError& failure) {
    error = failure.text;
  } catch (const json::exception& failure) {
    error = failure.what();
  }
  return st::kDescription;
}

Status ParseCamera(const std::string& text, CameraDescription& camera, std::string& error) {
  try {
    camera = ReadCamera(json::parse(text), "the camera");
    return st::kOk;
  } catch (const ParseError& failure) {
    error = failure.text;
  } catch (const json::exception& failure) {
    error = failure.what();
  }
  return st::kInvalidArgument;
}

}  // namespace keldnvsim
