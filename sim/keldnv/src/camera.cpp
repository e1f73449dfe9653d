#include "camera.h"

#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "odvissvc/odvissvc.h"
#include "local/keldnv/keldnv_driver_api.h"

namespace keldnvsim {

namespace {

// Exposure at which the scene shows as the test pattern draws it.
constexpr double kReferenceExposure = 10000;
constexpr std::uint32_t kRegisterSpace = 0x10000;
constexpr std::uint32_t kWritableRegisters = 0x1000;
constexpr std::uint32_t kRegisterMagic = 0x4B4E5631;  // "KNV1"
constexpr std::uint32_t kFirmwareWord = 0x00020401;

std::uint32_t AccessCode(Kind kind) {
  return kind == Kind::Command ? KELDNV_TYPE_BOOL : static_cast<std::uint32_t>(kind);
}

bool Numeric(Kind kind) { return kind == Kind::U32 || kind == Kind::I64 || kind == Kind::F64; }

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string ShortName(const std::string& name) {
  const std::size_t separator = name.rfind("::");
  return separator == std::string::npos ? name : name.substr(separator + 2);
}

// A builder of the camera's own attributes.
CameraAttribute Make(const char* name, Kind kind, Role role, std::uint32_t visibility, const char* displayName,
                     const char* tooltip, const char* description) {
  CameraAttribute attribute;
  attribute.d.name = name;
  attribute.d.kind = kind;
  attribute.role = role;
  attribute.d.visibility = visibility;
  attribute.d.displayName = displayName;
  attribute.d.tooltip = tooltip;
  attribute.d.description = description;
  if (kind == Kind::String) attribute.d.intMax = 511;
  return attribute;
}

CameraAttribute ReadOnly(CameraAttribute attribute) {
  attribute.d.writable = false;
  return attribute;
}

CameraAttribute IntAttribute(CameraAttribute attribute, std::int64_t value, std::int64_t minimum,
                             std::int64_t maximum, std::int64_t increment, const char* units,
                             std::uint32_t representation) {
  attribute.d.intValue = value;
  attribute.d.intMin = minimum;
  attribute.d.intMax = maximum;
  attribute.d.intInc = increment;
  attribute.d.units = units;
  attribute.d.representation = representation;
  return attribute;
}

CameraAttribute FloatAttribute(CameraAttribute attribute, double value, double minimum, double maximum,
                               double increment, const char* units, std::uint32_t representation) {
  attribute.d.floatValue = value;
  attribute.d.floatMin = minimum;
  attribute.d.floatMax = maximum;
  attribute.d.floatInc = increment;
  attribute.d.units = units;
  attribute.d.representation = representation;
  return attribute;
}

CameraAttribute EnumAttribute(CameraAttribute attribute, std::vector<Choice> choices, std::int64_t value) {
  attribute.d.choices = std::move(choices);
  attribute.d.intValue = value;
  return attribute;
}

// Writes a text into a buffer of `size` bytes; a text that does not fit is
// cut and answered with kBufferTooSmall.
Status CopyOut(const std::string& text, char* out, std::uint32_t size) {
  if (out == nullptr || size == 0) return st::kInvalidArgument;
  const std::size_t length = std::min<std::size_t>(text.size(), size - 1);
  std::memcpy(out, text.data(), length);
  out[length] = 0;
  return text.size() < size ? st::kOk : st::kBufferTooSmall;
}

std::uint32_t PixelBytes(std::uint32_t type) { return ImageTypePixelSize(type); }

}  // namespace

Camera::Camera(CameraDescription description) : desc_(std::move(description)) {
  if (desc_.pixelFormats.empty()) {
    desc_.pixelFormats = desc_.colour ? std::vector<std::string>{"BGRa8", "Mono8"}
                                      : std::vector<std::string>{"Mono8", "Mono12", "Mono16"};
  }
  desc_.colour = desc_.colour || std::any_of(desc_.pixelFormats.begin(), desc_.pixelFormats.end(), [](const auto& name) {
                   return FindPixelFormat(name)->imageType == 4;
                 });
  BuildTree();
  AddExtraAttributes();
  for (const AttributeDescription& extra : desc_.attributes) {
    CameraAttribute attribute;
    attribute.d = extra;
    Add(std::move(attribute));
  }
  for (CameraAttribute& attribute : attributes_) {
    attribute.factoryInt = attribute.d.intValue;
    attribute.factoryFloat = attribute.d.floatValue;
    attribute.factoryText = attribute.d.text;
  }
}

Camera::~Camera() {
  if (scene_ != nullptr) (void)DisposeImage(scene_);
}

std::string Camera::DriverName() const {
  if (!desc_.driverName.empty()) return desc_.driverName;
  switch (desc_.interfaceType) {
    case kUsb: return "OD USB3 Camera Driver";
    case kCameraLink: return "OD Camera Link Bridge";
    default: return "OD GigE Filter Driver";
  }
}

// An attribute of the same name replaces the earlier one in its place.
void Camera::Add(CameraAttribute attribute) {
  const auto found = byName_.find(attribute.d.name);
  if (found != byName_.end()) {
    attributes_[found->second] = std::move(attribute);
    return;
  }
  const std::size_t index = attributes_.size();
  byName_.emplace(attribute.d.name, index);
  byShortName_.emplace(ShortName(attribute.d.name), index);
  attributes_.push_back(std::move(attribute));
}

void Camera::BuildTree() {
  const std::vector<Choice> userSets = {{"Default", 0}, {"UserSet1", 1}, {"UserSet2", 2}};
  std::vector<Choice> formats;
  for (const std::string& name : desc_.pixelFormats) formats.push_back({name, FindPixelFormat(name)->code});

  // The driver's own settings of the acquisition.
  CameraAttribute type = Make("AcquisitionAttributes::TypeOfImageInUse", Kind::U32, Role::TypeOfImageInUse, kInvisible,
                              "Type of Image in Use", "Image type the driver delivers.",
                              "The image library's type of the images the driver delivers: 0 U8, 4 RGB32, 7 U16.");
  type.d.dynamic = true;
  Add(IntAttribute(ReadOnly(type), 0, 0, 7, 1, "", kPureNumber));
  Add(IntAttribute(Make("AcquisitionAttributes::Timeout", Kind::U32, Role::Timeout, kExpert, "Timeout",
                        "Longest wait for an image.", "How long the driver waits for an image before it gives up."),
                   5000, 0, 600000, 1, "ms", kLinear));
  CameraAttribute grabBuffers =
      Make("AcquisitionAttributes::GrabBuffers", Kind::U32, Role::GrabBuffers, kExpert, "Grab Buffers",
           "Buffers of a grab.", "The number of buffers the driver cycles through in a grab.");
  grabBuffers.lockedWhileAcquiring = true;
  Add(IntAttribute(grabBuffers, 3, 2, 64, 1, "", kLinear));
  CameraAttribute last = Make("AcquisitionAttributes::LastBufferNumber", Kind::U32, Role::LastBufferNumber, kExpert,
                              "Last Buffer Number", "Number of the newest buffer.",
                              "The cumulative number of the newest buffer of the acquisition.");
  last.d.dynamic = true;
  Add(IntAttribute(ReadOnly(last), 0, 0, 0xFFFFFFFF, 1, "", kPureNumber));

  // What the camera says of itself.
  Add(ReadOnly(Make("CameraAttributes::DeviceInformation::DeviceVendorName", Kind::String,
                                         Role::Vendor, kBeginner, "Vendor Name", "Maker of the camera.",
                                         "The name of the camera's manufacturer.")));
  Add(ReadOnly(Make("CameraAttributes::DeviceInformation::DeviceModelName", Kind::String,
                                         Role::Model, kBeginner, "Model Name", "Model of the camera.",
                                         "The camera's model name.")));
  Add(ReadOnly(Make("CameraAttributes::DeviceInformation::DeviceSerialNumber", Kind::String,
                                         Role::Serial, kBeginner, "Serial Number", "Serial number of the camera.",
                                         "The camera's serial number in sixteen hexadecimal digits.")));
  CameraAttribute firmware =
      Make("CameraAttributes::DeviceInformation::DeviceFirmwareVersion", Kind::String, Role::None, kExpert,
           "Firmware Version", "Firmware of the camera.", "The version of the firmware the camera runs.");
  firmware.d.text = "2.4.1";
  Add(ReadOnly(firmware));
  CameraAttribute temperature =
      Make("CameraAttributes::DeviceInformation::DeviceTemperature", Kind::F64, Role::Temperature, kExpert,
           "Device Temperature", "Temperature of the sensor board.",
           "The temperature of the camera's sensor board, which rises a little as the camera works.");
  temperature.d.dynamic = true;
  Add(FloatAttribute(ReadOnly(temperature), 38.5, -40, 125, 0, "C", kLinear));

  CameraAttribute userId = Make("CameraAttributes::DeviceControl::DeviceUserID", Kind::String, Role::None, kBeginner,
                                "Device User ID", "A name of the user's for the camera.",
                                "A name the user gives the camera; it stays in the camera.");
  userId.d.intMax = 63;
  Add(userId);
  CameraAttribute actionKey =
      Make("CameraAttributes::DeviceControl::ActionDeviceKey", Kind::U32, Role::None, kGuru, "Action Device Key",
           "Key of action commands.", "The key that action commands must carry for the camera to act on them; "
                                      "it can be written, never read.");
  actionKey.d.readable = false;
  Add(IntAttribute(actionKey, 0, 0, 0xFFFFFFFF, 1, "", kHexNumber));
  CameraAttribute reset = Make("CameraAttributes::DeviceControl::DeviceReset", Kind::Command, Role::DeviceReset, kGuru,
                               "Device Reset", "Back to the factory settings.",
                               "Puts every setting back to the factory's and clears the frame counter.");
  reset.lockedWhileAcquiring = true;
  Add(reset);
  CameraAttribute window = Make("CameraAttributes::DeviceControl::DeviceRegisterWindow", Kind::Register, Role::None,
                                kGuru, "Register Window", "Raw access to a register.",
                                "A word of the camera's register space, for the camera's own tools.");
  Add(window);

  const auto imageFormat = [&](const char* name, Role role, std::uint32_t visibility, const char* display,
                               const char* tooltip, const char* description) {
    CameraAttribute attribute = Make(name, Kind::U32, role, visibility, display, tooltip, description);
    attribute.lockedWhileAcquiring = true;
    attribute.d.dynamic = true;
    return attribute;
  };
  CameraAttribute sensorWidth = Make("CameraAttributes::ImageFormat::SensorWidth", Kind::U32, Role::SensorWidth,
                                     kExpert, "Sensor Width", "Pixels of a sensor line.",
                                     "The number of pixels of one line of the sensor.");
  Add(IntAttribute(ReadOnly(sensorWidth), desc_.width, desc_.width, desc_.width, 1, "pixels", kLinear));
  CameraAttribute sensorHeight = Make("CameraAttributes::ImageFormat::SensorHeight", Kind::U32, Role::SensorHeight,
                                      kExpert, "Sensor Height", "Lines of the sensor.",
                                      "The number of lines of the sensor.");
  Add(IntAttribute(ReadOnly(sensorHeight), desc_.height, desc_.height, desc_.height, 1, "pixels", kLinear));
  Add(IntAttribute(imageFormat("CameraAttributes::ImageFormat::Width", Role::Width, kBeginner, "Width",
                               "Width of the image.", "The width of the image in pixels, a multiple of 8."),
                   desc_.width, 16, desc_.width, 8, "pixels", kLinear));
  Add(IntAttribute(imageFormat("CameraAttributes::ImageFormat::Height", Role::Height, kBeginner, "Height",
                               "Height of the image.", "The height of the image in lines, a multiple of 2."),
                   desc_.height, 16, desc_.height, 2, "pixels", kLinear));
  Add(IntAttribute(imageFormat("CameraAttributes::ImageFormat::OffsetX", Role::OffsetX, kExpert, "Offset X",
                               "Left edge of the image on the sensor.",
                               "The first column of the sensor that the image shows, a multiple of 8."),
                   0, 0, 0, 8, "pixels", kLinear));
  Add(IntAttribute(imageFormat("CameraAttributes::ImageFormat::OffsetY", Role::OffsetY, kExpert, "Offset Y",
                               "Top edge of the image on the sensor.",
                               "The first line of the sensor that the image shows, a multiple of 2."),
                   0, 0, 0, 2, "pixels", kLinear));
  CameraAttribute pixelFormat = Make("CameraAttributes::ImageFormat::PixelFormat", Kind::Enum, Role::PixelFormat,
                                     kBeginner, "Pixel Format", "Format of the pixels.",
                                     "The format of the pixels the camera sends.");
  pixelFormat.lockedWhileAcquiring = true;
  pixelFormat.d.dynamic = true;
  Add(EnumAttribute(pixelFormat, formats, formats.front().value));
  Add(Make("CameraAttributes::ImageFormat::ReverseX", Kind::Bool, Role::ReverseX, kExpert, "Reverse X",
           "Mirror the image.", "Mirrors the image from left to right."));

  Add(FloatAttribute(Make("CameraAttributes::AcquisitionControl::ExposureTime", Kind::F64, Role::Exposure, kBeginner,
                          "Exposure Time", "Exposure of each image.",
                          "How long the sensor collects light for one image."),
                     kReferenceExposure, 20, 1000000, 0, "us", kLogarithmic));
  const bool paced = desc_.frameRate > 0;
  Add(FloatAttribute(Make("CameraAttributes::AcquisitionControl::AcquisitionFrameRate", Kind::F64, Role::FrameRate,
                          kBeginner, "Acquisition Frame Rate", "Images per second.",
                          "The most images per second the camera sends while the frame rate is enabled."),
                     paced ? desc_.frameRate : 60, 1, 1000, 0, "Hz", kLinear));
  CameraAttribute enable =
      Make("CameraAttributes::AcquisitionControl::AcquisitionFrameRateEnable", Kind::Bool, Role::FrameRateEnable,
           kExpert, "Frame Rate Enable", "Hold to the frame rate.",
           "With it the camera keeps to its frame rate; without it, it sends images as fast as they are asked for.");
  enable.d.intValue = paced ? 1 : 0;
  Add(enable);
  CameraAttribute status = Make("CameraAttributes::AcquisitionControl::AcquisitionStatus", Kind::Bool,
                                Role::AcquisitionStatus, kExpert, "Acquisition Status", "Whether the camera acquires.",
                                "True while an acquisition runs.");
  status.d.dynamic = true;
  Add(ReadOnly(status));

  Add(FloatAttribute(Make("CameraAttributes::AnalogControl::Gain", Kind::F64, Role::Gain, kBeginner, "Gain",
                          "Amplification of the sensor's signal.", "The sensor's analog gain in decibels."),
                     0, 0, 24, 0, "dB", kLogarithmic));
  Add(IntAttribute(Make("CameraAttributes::AnalogControl::BlackLevel", Kind::I64, Role::None, kExpert, "Black Level",
                        "Offset of the dark level.", "An offset added to every pixel before it is digitised."),
                   0, -64, 64, 1, "DN", kLinear));

  CameraAttribute counter = Make("CameraAttributes::Counters::FrameCounter", Kind::I64, Role::FrameCounter, kExpert,
                                 "Frame Counter", "Images the camera has taken.",
                                 "The number of images the camera has taken since it was reset.");
  counter.d.dynamic = true;
  Add(IntAttribute(ReadOnly(counter), 0, 0, INT64_MAX, 1, "", kPureNumber));
  Add(Make("CameraAttributes::Counters::FrameCounterReset", Kind::Command, Role::FrameCounterReset, kExpert,
           "Frame Counter Reset", "Clears the frame counter.", "Sets the frame counter back to 0."));

  Add(EnumAttribute(Make("CameraAttributes::UserSetControl::UserSetSelector", Kind::Enum, Role::UserSetSelector,
                         kBeginner, "User Set Selector", "User set to load or save.",
                         "Selects the user set that UserSetLoad and UserSetSave act on."),
                    userSets, 0));
  CameraAttribute load = Make("CameraAttributes::UserSetControl::UserSetLoad", Kind::Command, Role::UserSetLoad,
                              kBeginner, "User Set Load", "Loads the selected user set.",
                              "Loads the settings of the selected user set; Default holds the factory's.");
  load.lockedWhileAcquiring = true;
  Add(load);
  Add(Make("CameraAttributes::UserSetControl::UserSetSave", Kind::Command, Role::UserSetSave, kBeginner,
           "User Set Save", "Saves into the selected user set.",
           "Saves the present settings into the selected user set; Default cannot be written."));
  Add(EnumAttribute(Make("CameraAttributes::UserSetControl::UserSetDefault", Kind::Enum, Role::UserSetDefault,
                         kBeginner, "User Set Default", "User set the camera starts with.",
                         "The user set the camera loads when it is powered up."),
                    userSets, 0));

  Add(EnumAttribute(Make("CameraAttributes::Transport::LinkSpeedLimit", Kind::Enum, Role::None, kExpert,
                         "Link Speed Limit", "Most bandwidth the camera takes.",
                         "Limits the bandwidth the camera uses on its link, in megabits per second."),
                    {{"Unlimited", -1}, {"Limit100", 100}, {"Limit1000", 1000}}, -1));
  CameraAttribute payload = Make("CameraAttributes::Transport::PayloadSize", Kind::U32, Role::PayloadSize, kExpert,
                                 "Payload Size", "Bytes of one image.", "The number of bytes one image takes.");
  payload.d.dynamic = true;
  Add(IntAttribute(ReadOnly(payload), 0, 0, 0xFFFFFFFF, 1, "bytes", kLinear));
}

// Generated settings, for cameras that need many: numbers, texts,
// enumerations and flags in turn.
void Camera::AddExtraAttributes() {
  for (std::uint32_t i = 0; i < desc_.extraAttributes; ++i) {
    char name[96];
    std::snprintf(name, sizeof name, "CameraAttributes::Extra::Group%02u::Setting%05u", i / 50, i);
    char display[64];
    std::snprintf(display, sizeof display, "Setting %u", i);
    const Kind kinds[] = {Kind::U32, Kind::F64, Kind::I64, Kind::Bool, Kind::Enum, Kind::String};
    const Kind kind = kinds[i % std::size(kinds)];
    CameraAttribute attribute = Make(name, kind, Role::None, i % 3 == 0 ? kBeginner : kExpert, display,
                                     "A generated setting.", "A setting of many, for cameras that have many.");
    switch (kind) {
      case Kind::U32: attribute = IntAttribute(attribute, i, 0, 100000, 1, "", kLinear); break;
      case Kind::I64: attribute = IntAttribute(attribute, -static_cast<std::int64_t>(i), -100000, 100000, 1, "", kLinear); break;
      case Kind::F64: attribute = FloatAttribute(attribute, i * 0.5, 0, 1e6, 0, "", kLinear); break;
      case Kind::Enum: attribute = EnumAttribute(attribute, {{"Low", 0}, {"Middle", 1}, {"High", 2}}, i % 3); break;
      case Kind::String: attribute.d.text = display; break;
      default: break;
    }
    Add(std::move(attribute));
  }
}

CameraAttribute* Camera::Find(const std::string& name) {
  if (const auto found = byName_.find(name); found != byName_.end()) return &attributes_[found->second];
  // By short name: the first of the tree.
  const auto range = byShortName_.equal_range(name);
  std::size_t best = attributes_.size();
  for (auto it = range.first; it != range.second; ++it) best = std::min(best, it->second);
  if (best < attributes_.size()) return &attributes_[best];
  // By a tail of the path, without regard to case.
  const std::string tail = Lower(name);
  if (tail.empty()) return nullptr;
  for (CameraAttribute& attribute : attributes_) {
    const std::string full = Lower(attribute.d.name);
    if (full.size() <= tail.size() + 1 || full.compare(full.size() - tail.size(), tail.size(), tail) != 0) continue;
    if (full.compare(full.size() - tail.size() - 2, 2, "::") == 0) return &attribute;
  }
  for (CameraAttribute& attribute : attributes_) {
    if (Lower(attribute.d.name) == tail) return &attribute;
  }
  return nullptr;
}


CameraAttribute* Camera::ByRole(Role role) {
  for (CameraAttribute& attribute : attributes_) {
    if (attribute.role == role) return &attribute;
  }
  return nullptr;
}

std::int64_t Camera::IntOf(Role role) {
  CameraAttribute* attribute = ByRole(role);
  if (attribute == nullptr) return 0;
  Computed(*attribute);
  return attribute->d.intValue;
}

double Camera::FloatOf(Role role) {
  CameraAttribute* attribute = ByRole(role);
  return attribute == nullptr ? 0 : attribute->d.floatValue;
}

// Values that are not stored but found when they are asked for.
void Camera::Computed(CameraAttribute& attribute) {
  AttributeDescription& d = attribute.d;
  switch (attribute.role) {
    case Role::Vendor: d.text = desc_.vendor; break;
    case Role::Model: d.text = desc_.model; break;
    case Role::Serial: d.text = Hex64(desc_.serial).substr(2); break;
    case Role::Temperature: d.floatValue = 38.5 + (frameCounter_ % 1000) * 0.01; break;
    case Role::AcquisitionStatus: d.intValue = acquisition_.running ? 1 : 0; break;
    case Role::FrameCounter: d.intValue = frameCounter_; break;
    case Role::TypeOfImageInUse: d.intValue = ImageType(); break;
    case Role::LastBufferNumber: d.intValue = acquisition_.produced == 0 ? 0 : acquisition_.produced - 1; break;
    case Role::PayloadSize:
      d.intValue = IntOf(Role::Width) * IntOf(Role::Height) * static_cast<std::int64_t>(PixelBytes(ImageType()));
      break;
    default: break;
  }
}

void Camera::IntRange(const CameraAttribute& attribute, std::int64_t& minimum, std::int64_t& maximum) {
  minimum = attribute.d.intMin;
  maximum = attribute.d.intMax;
  switch (attribute.role) {
    case Role::Width: maximum = desc_.width - IntOf(Role::OffsetX); break;
    case Role::Height: maximum = desc_.height - IntOf(Role::OffsetY); break;
    case Role::OffsetX: maximum = desc_.width - IntOf(Role::Width); break;
    case Role::OffsetY: maximum = desc_.height - IntOf(Role::Height); break;
    default: break;
  }
}

bool Camera::Readable(const CameraAttribute& attribute) const { return attribute.d.readable; }

bool Camera::Writable(const CameraAttribute& attribute, bool monitor) const {
  if (!attribute.d.writable || monitor) return false;
  return !(attribute.lockedWhileAcquiring && acquisition_.running);
}

Status Camera::SetAttributeStatus(const std::string& name, Status status) {
  CameraAttribute* attribute = Find(name);
  if (attribute == nullptr) return st::kAttributeNotFound;
  attribute->readStatus = status;
  return st::kOk;
}

Status Camera::Get(const std::string& name, std::uint32_t type, void* value) {
  CameraAttribute* attribute = Find(name);
  if (attribute == nullptr) return st::kAttributeNotFound;
  if (value == nullptr) return st::kInvalidArgument;
  if (!Readable(*attribute)) return st::kNotReadable;
  if (attribute->readStatus != st::kOk) return attribute->readStatus;
  if (type != AccessCode(attribute->d.kind)) return st::kWrongType;
  Computed(*attribute);
  const AttributeDescription& d = attribute->d;
  switch (d.kind) {
    case Kind::U32:
    case Kind::Register: {
      const auto word = static_cast<std::uint32_t>(d.intValue);
      std::memcpy(value, &word, sizeof word);
      return st::kOk;
    }
    case Kind::I64: std::memcpy(value, &d.intValue, sizeof d.intValue); return st::kOk;
    case Kind::F64: std::memcpy(value, &d.floatValue, sizeof d.floatValue); return st::kOk;
    case Kind::String: return CopyOut(d.text, static_cast<char*>(value), KELDNV_TEXT_SIZE);
    case Kind::Enum: {
      KELDnvEnumItem_struct item{};
      const auto bits = static_cast<std::uint64_t>(d.intValue);
      item.ValueLow = static_cast<std::uint32_t>(bits);
      item.ValueHigh = static_cast<std::uint32_t>(bits >> 32);
      for (const Choice& choice : d.choices) {
        if (choice.value == d.intValue) (void)CopyOut(choice.name, item.Name, sizeof item.Name);
      }
      std::memcpy(value, &item, sizeof item);
      return st::kOk;
    }
    case Kind::Bool:
    case Kind::Command: {
      const std::uint32_t word = d.intValue != 0 ? 1 : 0;
      std::memcpy(value, &word, sizeof word);
      return st::kOk;
    }
  }
  return st::kInternal;
}

Status Camera::CheckInt(const CameraAttribute& attribute, std::int64_t value) {
  std::int64_t minimum = 0;
  std::int64_t maximum = 0;
  IntRange(attribute, minimum, maximum);
  if (value < minimum || value > maximum) return st::kOutOfRange;
  const std::int64_t increment = attribute.d.intInc > 0 ? attribute.d.intInc : 1;
  if ((static_cast<std::uint64_t>(value) - static_cast<std::uint64_t>(attribute.d.intMin)) %
          static_cast<std::uint64_t>(increment) != 0) {
    return st::kOffIncrement;
  }
  return st::kOk;
}

Status Camera::Set(const std::string& name, std::uint32_t type, const void* value, bool monitor) {
  CameraAttribute* attribute = Find(name);
  if (attribute == nullptr) return st::kAttributeNotFound;
  if (value == nullptr) return st::kInvalidArgument;
  if (monitor) return st::kMonitorAccess;
  if (!attribute->d.writable) return st::kNotWritable;
  if (!Writable(*attribute, false)) return st::kNotWritableNow;
  if (type != AccessCode(attribute->d.kind)) return st::kWrongType;
  AttributeDescription& d = attribute->d;
  switch (d.kind) {
    case Kind::U32:
    case Kind::I64: {
      std::int64_t number = 0;
      if (d.kind == Kind::U32) {
        std::uint32_t word = 0;
        std::memcpy(&word, value, sizeof word);
        number = word;
      } else {
        std::memcpy(&number, value, sizeof number);
      }
      if (const Status status = CheckInt(*attribute, number); status != st::kOk) return status;
      d.intValue = number;
      return st::kOk;
    }
    case Kind::F64: {
      double number = 0;
      std::memcpy(&number, value, sizeof number);
      if (!(number >= d.floatMin && number <= d.floatMax)) return st::kOutOfRange;
      if (d.floatInc > 0) {
        const double steps = (number - d.floatMin) / d.floatInc;
        if (std::fabs(steps - std::round(steps)) > 1e-9) return st::kOffIncrement;
      }
      d.floatValue = number;
      return st::kOk;
    }
    case Kind::String: {
      const auto* text = static_cast<const char*>(value);
      const std::size_t length = strnlen(text, KELDNV_TEXT_SIZE);
      if (length > static_cast<std::size_t>(d.intMax)) return st::kOutOfRange;
      d.text.assign(text, length);
      return st::kOk;
    }
    case Kind::Enum: {
      KELDnvEnumItem_struct item{};
      std::memcpy(&item, value, sizeof item);
      const auto number = static_cast<std::int64_t>((std::uint64_t{item.ValueHigh} << 32) | item.ValueLow);
      const bool known = std::any_of(d.choices.begin(), d.choices.end(),
                                     [&](const Choice& choice) { return choice.value == number; });
      if (!known) return st::kNotAChoice;
      d.intValue = number;
      return st::kOk;
    }
    case Kind::Bool: {
      std::uint32_t word = 0;
      std::memcpy(&word, value, sizeof word);
      d.intValue = word != 0 ? 1 : 0;
      return st::kOk;
    }
    case Kind::Command: {
      std::uint32_t word = 0;
      std::memcpy(&word, value, sizeof word);
      // A command is done once it has run: it reads 0 again.
      return word != 0 ? Execute(*attribute) : st::kOk;
    }
    case Kind::Register: {
      std::uint32_t word = 0;
      std::memcpy(&word, value, sizeof word);
      d.intValue = word;
      return st::kOk;
    }
  }
  return st::kInternal;
}

Status Camera::Execute(CameraAttribute& attribute) {
  switch (attribute.role) {
    case Role::FrameCounterReset: frameCounter_ = 0; return st::kOk;
    case Role::DeviceReset:
      ResetToFactory();
      frameCounter_ = 0;
      return st::kOk;
    case Role::UserSetLoad: {
      const std::int64_t set = IntOf(Role::UserSetSelector);
      if (set == 0) {
        ResetToFactory();
        return st::kOk;
      }
      const auto found = userSets_.find(set);
      if (found == userSets_.end()) return st::kCameraFileNotFound;
      return ReadText(found->second, false);
    }
    case Role::UserSetSave: {
      const std::int64_t set = IntOf(Role::UserSetSelector);
      if (set == 0) return st::kNotWritable;
      userSets_[set] = WriteText();
      return st::kOk;
    }
    default: return st::kOk;
  }
}

// The settings a user set holds go back to the factory's; the user sets
// and the default user set are the camera's memory and stay.
void Camera::ResetToFactory() {
  for (CameraAttribute& attribute : attributes_) {
    if (!Persistent(attribute)) continue;
    attribute.d.intValue = attribute.factoryInt;
    attribute.d.floatValue = attribute.factoryFloat;
    attribute.d.text = attribute.factoryText;
  }
}

Status Camera::Limit(const std::string& name, std::uint32_t type, int which, void* value) {
  CameraAttribute* attribute = Find(name);
  if (attribute == nullptr) return st::kAttributeNotFound;
  if (value == nullptr) return st::kInvalidArgument;
  const AttributeDescription& d = attribute->d;
  if (!Numeric(d.kind)) return st::kNotNumeric;
  if (type != AccessCode(d.kind)) return st::kWrongType;
  if (d.kind == Kind::F64) {
    const double numbers[] = {d.floatMin, d.floatMax, d.floatInc};
    std::memcpy(value, &numbers[which], sizeof(double));
    return st::kOk;
  }
  std::int64_t minimum = 0;
  std::int64_t maximum = 0;
  IntRange(*attribute, minimum, maximum);
  const std::int64_t numbers[] = {minimum, maximum, d.intInc};
  if (d.kind == Kind::U32) {
    const auto word = static_cast<std::uint32_t>(numbers[which]);
    std::memcpy(value, &word, sizeof word);
  } else {
    std::memcpy(value, &numbers[which], sizeof(std::int64_t));
  }
  return st::kOk;
}

bool Camera::Persistent(const CameraAttribute& attribute) const {
  if (!attribute.d.readable || !attribute.d.writable) return false;
  if (attribute.d.kind == Kind::Command || attribute.d.kind == Kind::Register) return false;
  switch (attribute.role) {
    case Role::None:
    case Role::Width:
    case Role::Height:
    case Role::OffsetX:
    case Role::OffsetY:
    case Role::PixelFormat:
    case Role::ReverseX:
    case Role::Exposure:
    case Role::FrameRate:
    case Role::FrameRateEnable:
    case Role::Gain:
    case Role::Timeout:
    case Role::GrabBuffers: return true;
    default: return false;
  }
}

std::string Camera::ValueText(const CameraAttribute& attribute) {
  CameraAttribute& mutableAttribute = const_cast<CameraAttribute&>(attribute);
  Computed(mutableAttribute);
  const AttributeDescription& d = attribute.d;
  char text[64];
  switch (d.kind) {
    case Kind::F64: std::snprintf(text, sizeof text, "%.17g", d.floatValue); return text;
    case Kind::String: return d.text;
    case Kind::Enum:
      for (const Choice& choice : d.choices) {
        if (choice.value == d.intValue) return choice.name;
      }
      std::snprintf(text, sizeof text, "%" PRId64, d.intValue);
      return text;
    default: std::snprintf(text, sizeof text, "%" PRId64, d.intValue); return text;
  }
}

Status Camera::SetFromText(CameraAttribute& attribute, const std::string& text, bool monitor) {
  const AttributeDescription& d = attribute.d;
  const std::string name = d.name;
  const std::uint32_t type = AccessCode(d.kind);
  char* end = nullptr;
  switch (d.kind) {
    case Kind::U32: {
      const unsigned long long number = std::strtoull(text.c_str(), &end, 0);
      if (text.empty() || *end != 0 || number > 0xFFFFFFFFull) return st::kFileFormat;
      const auto word = static_cast<std::uint32_t>(number);
      return Set(name, type, &word, monitor);
    }
    case Kind::I64:
    case Kind::Bool: {
      const long long number = std::strtoll(text.c_str(), &end, 0);
      if (text.empty() || *end != 0) return st::kFileFormat;
      if (d.kind == Kind::Bool) {
        const std::uint32_t word = number != 0 ? 1 : 0;
        return Set(name, type, &word, monitor);
      }
      const std::int64_t wide = number;
      return Set(name, type, &wide, monitor);
    }
    case Kind::F64: {
      const double number = std::strtod(text.c_str(), &end);
      if (text.empty() || *end != 0) return st::kFileFormat;
      return Set(name, type, &number, monitor);
    }
    case Kind::String: {
      char buffer[KELDNV_TEXT_SIZE] = {};
      if (text.size() >= sizeof buffer) return st::kFileFormat;
      std::memcpy(buffer, text.data(), text.size());
      return Set(name, type, buffer, monitor);
    }
    case Kind::Enum:
      for (const Choice& choice : d.choices) {
        if (choice.name != text) continue;
        KELDnvEnumItem_struct item{};
        const auto bits = static_cast<std::uint64_t>(choice.value);
        item.ValueLow = static_cast<std::uint32_t>(bits);
        item.ValueHigh = static_cast<std::uint32_t>(bits >> 32);
        return Set(name, type, &item, monitor);
      }
      return st::kNotAChoice;
    case Kind::Command:
    case Kind::Register: return st::kFileFormat;
  }
  return st::kInternal;
}

std::string Camera::WriteText() {
  std::string text = "# KELDnv attributes of " + desc_.vendor + " " + desc_.model + " " +
                     Hex64(desc_.serial).substr(2) + "\n";
  for (CameraAttribute& attribute : attributes_) {
    if (!Persistent(attribute)) continue;
    text += attribute.d.name + " = " + ValueText(attribute) + "\n";
  }
  return text;
}

// Lines "name = value" in any order; lines that are empty or begin with '#'
// say nothing. The window's offsets go to 0 first, so that a wider window
// fits before its offsets move it. The first failure ends the reading.
Status Camera::ReadText(const std::string& text, bool monitor) {
  std::vector<std::pair<CameraAttribute*, std::string>> settings;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    const std::size_t separator = line.find(" = ");
    if (separator == std::string::npos) return st::kFileFormat;
    CameraAttribute* attribute = Find(line.substr(0, separator));
    if (attribute == nullptr) return st::kAttributeNotFound;
    settings.emplace_back(attribute, line.substr(separator + 3));
  }
  for (const auto& [attribute, value] : settings) {
    if (attribute->role != Role::OffsetX && attribute->role != Role::OffsetY) continue;
    const std::uint32_t zero = 0;
    if (const Status status = Set(attribute->d.name, KELDNV_TYPE_U32, &zero, monitor); status != st::kOk) {
      return status;
    }
  }
  for (const auto& [attribute, value] : settings) {
    if (const Status status = SetFromText(*attribute, value, monitor); status != st::kOk) return status;
  }
  return st::kOk;
}

std::int64_t Camera::UserSetDefault() { return IntOf(Role::UserSetDefault); }

void Camera::SetUserSetDefault(std::int64_t set) {
  if (CameraAttribute* attribute = ByRole(Role::UserSetDefault)) attribute->d.intValue = set;
}

// ---- Images --------------------------------------------------------------------------

std::uint32_t Camera::ImageType() const {
  const CameraAttribute* format = const_cast<Camera*>(this)->ByRole(Role::PixelFormat);
  const PixelFormat* pixels = format == nullptr ? nullptr : FindPixelFormat(format->d.intValue);
  return pixels == nullptr ? 0 : pixels->imageType;
}

std::uint32_t Camera::BitDepth() const {
  const CameraAttribute* format = const_cast<Camera*>(this)->ByRole(Role::PixelFormat);
  const PixelFormat* pixels = format == nullptr ? nullptr : FindPixelFormat(format->d.intValue);
  return pixels == nullptr ? 8 : pixels->bitDepth;
}

FrameSettings Camera::NextFrame() {
  FrameSettings frame;
  frame.counter = frameCounter_++;
  frame.width = static_cast<std::uint32_t>(IntOf(Role::Width));
  frame.height = static_cast<std::uint32_t>(IntOf(Role::Height));
  frame.offsetX = static_cast<std::uint32_t>(IntOf(Role::OffsetX));
  frame.offsetY = static_cast<std::uint32_t>(IntOf(Role::OffsetY));
  frame.imageType = ImageType();
  frame.bitDepth = BitDepth();
  frame.reverseX = IntOf(Role::ReverseX) != 0;
  frame.brightness = FloatOf(Role::Exposure) / kReferenceExposure * std::pow(10.0, FloatOf(Role::Gain) / 20);
  return frame;
}

Status Camera::RenderScene(const FrameSettings& frame) {
  if (sceneValid_ && sceneCounter_ == frame.counter && sceneType_ == frame.imageType &&
      sceneDepth_ == frame.bitDepth) {
    return st::kOk;
  }
  sceneValid_ = false;
  if (scene_ == nullptr && NewImage(&scene_, frame.imageType, desc_.width, desc_.height, 0) != ODV_SUCCESS) {
    scene_ = nullptr;
    return st::kNoMemory;
  }
  if (ResizeAndCastImage(scene_, desc_.width, desc_.height, frame.imageType) != ODV_SUCCESS ||
      SetBitDepth(scene_, frame.imageType == 7 ? frame.bitDepth : 0) != ODV_SUCCESS) {
    return st::kNoMemory;
  }
  if (FillTestPattern(scene_, frame.counter, desc_.noise, frame.counter) != ODV_SUCCESS) return st::kInternal;
  sceneValid_ = true;
  sceneCounter_ = frame.counter;
  sceneType_ = frame.imageType;
  sceneDepth_ = frame.bitDepth;
  return st::kOk;
}

// The image takes the frame's size and the type the frame was made for;
// a ring image keeps its own type (U8, U16 or RGB32), into which the scene
// is drawn.
Status Camera::Render(const FrameSettings& requested, Image* target) {
  if (IsImage(target) == 0) return st::kInvalidImage;
  FrameSettings frame = requested;
  const std::uint32_t type = frame.imageType;
  if (type != 0 && type != 4 && type != 7) return st::kUnsupportedImageType;
  if (type != 7) frame.bitDepth = 8;
  if (const Status status = RenderScene(frame); status != st::kOk) return status;
  if (ResizeAndCastImage(target, frame.width, frame.height, type) != ODV_SUCCESS ||
      SetBitDepth(target, type == 7 ? frame.bitDepth : 0) != ODV_SUCCESS) {
    return st::kNoMemory;
  }
  const std::uint32_t pixelBytes = PixelBytes(type);
  const std::uint32_t maximum = type == 7 ? (1u << frame.bitDepth) - 1 : 255;
  const bool scale = std::fabs(frame.brightness - 1) > 1e-12;
  for (std::uint32_t y = 0; y < frame.height; ++y) {
    void* source = nullptr;
    void* destination = nullptr;
    if (GetImagePixel(scene_, frame.offsetX, frame.offsetY + y, &source) != ODV_SUCCESS ||
        GetImagePixel(target, 0, y, &destination) != ODV_SUCCESS) {
      return st::kInternal;
    }
    auto* row = static_cast<std::uint8_t*>(destination);
    const auto* sceneRow = static_cast<const std::uint8_t*>(source);
    if (!frame.reverseX) {
      std::memcpy(row, sceneRow, std::size_t{frame.width} * pixelBytes);
    } else {
      for (std::uint32_t x = 0; x < frame.width; ++x) {
        std::memcpy(row + std::size_t{x} * pixelBytes, sceneRow + std::size_t{frame.width - 1 - x} * pixelBytes,
                    pixelBytes);
      }
    }
    if (!scale) continue;
    for (std::uint32_t x = 0; x < frame.width; ++x) {
      std::uint8_t* pixel = row + std::size_t{x} * pixelBytes;
      if (type == 7) {
        std::uint16_t value = 0;
        std::memcpy(&value, pixel, sizeof value);
        value = static_cast<std::uint16_t>(std::min<double>(maximum, std::round(value * frame.brightness)));
        std::memcpy(pixel, &value, sizeof value);
      } else {
        const std::uint32_t channels = type == 4 ? 3 : 1;  // alpha stays
        for (std::uint32_t c = 0; c < channels; ++c) {
          pixel[c] = static_cast<std::uint8_t>(std::min<double>(255, std::round(pixel[c] * frame.brightness)));
        }
      }
    }
  }
  // The frame counter, least significant byte first.
  void* first = nullptr;
  if (GetImagePixel(target, 0, 0, &first) != ODV_SUCCESS) return st::kInternal;
  auto* pixels = static_cast<std::uint8_t*>(first);
  if (type == 4) {
    std::memcpy(pixels, &frame.counter, 4);
  } else {
    for (std::uint32_t i = 0; i < 4 && i < frame.width; ++i) {
      const std::uint32_t byte = (frame.counter >> (8 * i)) & 0xFF;
      if (type == 0) {
        pixels[i] = static_cast<std::uint8_t>(byte);
      } else {
        const auto value = static_cast<std::uint16_t>(byte << (frame.bitDepth - 8));
        std::memcpy(pixels + 2 * i, &value, sizeof value);
      }
    }
  }
  return st::kOk;
}

Status Camera::Snap(Image* image) {
  if (IsImage(image) == 0) return st::kInvalidImage;
  if (acquisition_.running) return st::kAcquiring;
  return Render(NextFrame(), image);
}

// Gains that make the mean of red, green and blue equal green's, from the
// scene the camera sees now.
Status Camera::WhiteBalance(double& red, double& green, double& blue) {
  if (!desc_.colour) return st::kNotColour;
  FrameSettings frame = NextFrame();
  frame.imageType = 4;
  frame.bitDepth = 8;
  --frameCounter_;  // looking does not take an image
  if (const Status status = RenderScene(frame); status != st::kOk) return status;
  double sums[3] = {0, 0, 0};
  for (std::uint32_t y = 0; y < frame.height; ++y) {
    void* address = nullptr;
    if (GetImagePixel(scene_, frame.offsetX, frame.offsetY + y, &address) != ODV_SUCCESS) return st::kInternal;
    const auto* row = static_cast<const std::uint8_t*>(address);
    for (std::uint32_t x = 0; x < frame.width; ++x) {
      for (int c = 0; c < 3; ++c) sums[c] += row[4 * x + c];
    }
  }
  for (double& sum : sums) sum = std::max(sum, 1.0);
  blue = sums[1] / sums[0];
  green = 1;
  red = sums[1] / sums[2];
  return st::kOk;
}

// ---- Acquisition ----------------------------------------------------------------

Status Camera::ConfigureBuffers(bool continuous, std::uint32_t count) {
  if (acquisition_.running) return st::kAcquiring;
  if (count == 0 || count > 4096) return st::kInvalidArgument;
  acquisition_ = Acquisition{Mode::Buffers, continuous, false, std::vector<Slot>(count), {}, 0, -1, {},
                             acquisition_.generation + 1};
  return st::kOk;
}

Status Camera::ConfigureRing(Image** images, std::uint32_t count) {
  if (acquisition_.running) return st::kAcquiring;
  if (images == nullptr || count < 2 || count > 4096) return st::kInvalidArgument;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (IsImage(images[i]) == 0) return st::kInvalidImage;
    std::uint32_t type = 0;
    std::memcpy(&type, reinterpret_cast<const std::uint32_t*>(images[i]) + ODV_WORD_TYPE, sizeof type);
    if (type != 0 && type != 4 && type != 7) return st::kUnsupportedImageType;
  }
  acquisition_ = Acquisition{Mode::Ring, true, false, std::vector<Slot>(count), std::vector<Image*>(images, images + count),
                             0, -1, {}, acquisition_.generation + 1};
  return st::kOk;
}

Status Camera::Start() {
  if (acquisition_.mode == Mode::None) return st::kNotConfigured;
  if (acquisition_.running) return st::kAcquiring;
  for (Slot& slot : acquisition_.slots) slot = Slot{};
  acquisition_.produced = 0;
  acquisition_.lastCopied = -1;
  acquisition_.running = true;
  acquisition_.start = std::chrono::steady_clock::now();
  ++acquisition_.generation;
  return st::kOk;
}

Status Camera::Stop() {
  if (acquisition_.mode == Mode::None) return st::kNotConfigured;
  acquisition_.running = false;
  ++acquisition_.generation;
  return st::kOk;
}

Status Camera::Unconfigure() {
  acquisition_ = Acquisition{Mode::None, true, false, {}, {}, 0, -1, {}, acquisition_.generation + 1};
  return st::kOk;
}

std::uint32_t Camera::TimeoutMs() { return static_cast<std::uint32_t>(IntOf(Role::Timeout)); }

Status Camera::FrameTime(std::uint32_t number, std::chrono::steady_clock::time_point& when) const {
  Camera& self = const_cast<Camera&>(*this);
  if (acquisition_.mode == Mode::None) return st::kNotConfigured;
  if (!acquisition_.continuous && number >= acquisition_.slots.size()) return st::kAcquisitionEnded;
  if (!acquisition_.running) return st::kNotAcquiring;
  when = std::chrono::steady_clock::time_point{};
  if (self.IntOf(Role::FrameRateEnable) == 0) return st::kOk;
  const double rate = self.FloatOf(Role::FrameRate);
  if (rate <= 0) return st::kOk;
  when = acquisition_.start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                  std::chrono::duration<double>(number / rate));
  return st::kOk;
}

Status Camera::ProduceUpTo(std::uint32_t number) {
  Acquisition& a = acquisition_;
  const auto count = static_cast<std::uint32_t>(a.slots.size());
  // Frames that would be overwritten before anyone sees them are counted,
  // not drawn.
  while (a.produced <= number) {
    if (!a.continuous && a.produced >= count) return st::kAcquisitionEnded;
    Slot& slot = a.slots[a.produced % count];
    slot.filled = true;
    slot.number = a.produced;
    slot.frame = NextFrame();
    if (a.mode == Mode::Ring && number - a.produced < count) {
      FrameSettings frame = slot.frame;
      Image* image = a.ring[a.produced % count];
      if (IsImage(image) == 0) return st::kInvalidImage;
      std::memcpy(&frame.imageType, reinterpret_cast<const std::uint32_t*>(image) + ODV_WORD_TYPE,
                  sizeof frame.imageType);
      if (const Status status = Render(frame, image); status != st::kOk) return status;
    }
    ++a.produced;
    if (!a.continuous && a.produced >= count) a.running = false;
  }
  return st::kOk;
}

Status Camera::Choose(std::uint32_t mode, std::uint32_t number, std::uint32_t& chosen, bool& wait,
                      std::uint32_t& wanted) const {
  const Acquisition& a = acquisition_;
  if (a.mode == Mode::None) return st::kNotConfigured;
  if (mode > 4) return st::kInvalidArgument;
  const auto count = static_cast<std::uint32_t>(a.slots.size());
  const bool any = a.produced > 0;
  const std::uint32_t newest = any ? a.produced - 1 : 0;
  const std::uint32_t oldest = a.produced > count ? a.produced - count : 0;
  wait = false;
  std::uint32_t target = 0;
  switch (mode) {
    case 0:
    case 1:
      if (!any) {
        wait = true;
        wanted = 0;
        return st::kOk;
      }
      chosen = mode == 0 ? oldest : newest;
      return st::kOk;
    case 3: wait = true; wanted = a.produced; return st::kOk;
    case 4: target = static_cast<std::uint32_t>(a.lastCopied + 1); break;
    default: target = number; break;
  }
  if (target >= a.produced) {
    wait = true;
    wanted = target;
    return st::kOk;
  }
  chosen = std::max(target, oldest);
  return st::kOk;
}

Status Camera::CopyBuffer(std::uint32_t number, Image* image) {
  Acquisition& a = acquisition_;
  if (IsImage(image) == 0) return st::kInvalidImage;
  const Slot& slot = a.slots[number % a.slots.size()];
  if (!slot.filled || slot.number != number) return st::kInternal;
  a.lastCopied = number;
  if (a.mode == Mode::Ring) {
    // The ring image holds it already, in the ring's type.
    FrameSettings frame = slot.frame;
    std::memcpy(&frame.imageType, reinterpret_cast<const std::uint32_t*>(a.ring[number % a.ring.size()]) + ODV_WORD_TYPE,
                sizeof frame.imageType);
    return Render(frame, image);
  }
  return Render(slot.frame, image);
}

// ---- Registers ------------------------------------------------------------------

Status Camera::ReadRegister(std::uint32_t address, std::uint32_t& value) {
  if (address % 4 != 0) return st::kUnalignedAddress;
  if (address >= kRegisterSpace) return st::kAddressOutOfRange;
  switch (address) {
    case 0x00: value = kRegisterMagic; return st::kOk;
    case 0x04: value = kFirmwareWord; return st::kOk;
    case 0x08: value = static_cast<std::uint32_t>(desc_.serial >> 32); return st::kOk;
    case 0x0C: value = static_cast<std::uint32_t>(desc_.serial); return st::kOk;
    case 0x10: value = static_cast<std::uint32_t>(IntOf(Role::Width)); return st::kOk;
    case 0x14: value = static_cast<std::uint32_t>(IntOf(Role::Height)); return st::kOk;
    case 0x18: value = static_cast<std::uint32_t>(IntOf(Role::PixelFormat)); return st::kOk;
    case 0x1C: value = frameCounter_; return st::kOk;
    default: break;
  }
  const auto found = registers_.find(address);
  value = found == registers_.end() ? 0 : found->second;
  return st::kOk;
}

Status Camera::WriteRegister(std::uint32_t address, std::uint32_t value) {
  if (address % 4 != 0) return st::kUnalignedAddress;
  if (address >= kRegisterSpace) return st::kAddressOutOfRange;
  if (address < kWritableRegisters) return st::kReadOnlyRegister;
  registers_[address] = value;
  return st::kOk;
}

}  // namespace keldnvsim
