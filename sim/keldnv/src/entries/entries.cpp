// The driver's entry points (all but the version query, which the variants
// that have it add).
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "entry.h"

using keldnvsim::Camera;
using keldnvsim::Driver;
using keldnvsim::Guarded;
using keldnvsim::Noted;
using keldnvsim::Since;
using keldnvsim::Status;
namespace st = keldnvsim::st;

namespace {

// "name=value" of an argument, in decimal or hexadecimal.
std::string Arg(const char* name, std::uint32_t value) { return std::string(name) + "=" + std::to_string(value); }
std::string HexArg(const char* name, std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%X", value);
  return std::string(name) + "=" + text;
}

// One text of an attribute into the caller's buffer.
template <typename Text>
KeldnvDriverStatus AttributeText(const char* function, std::uint32_t camera, const char* name, char* text,
                                 std::uint32_t size, Text&& pick) {
  return Guarded(function, [&]() -> Status {
    if (name == nullptr || text == nullptr) return st::kInvalidArgument;
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool /*monitor*/) -> Status {
      const keldnvsim::CameraAttribute* attribute = found.Find(name);
      if (attribute == nullptr) return st::kAttributeNotFound;
      return keldnvsim::CopyText(pick(*attribute), text, size);
    });
  });
}

// One word of an attribute.
template <typename Word>
KeldnvDriverStatus AttributeWord(const char* function, std::uint32_t camera, const char* name, std::uint32_t* out,
                                 Word&& pick) {
  return Guarded(function, [&]() -> Status {
    if (name == nullptr || out == nullptr) return st::kInvalidArgument;
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool monitor) -> Status {
      const keldnvsim::CameraAttribute* attribute = found.Find(name);
      if (attribute == nullptr) return st::kAttributeNotFound;
      *out = pick(found, *attribute, monitor);
      return st::kOk;
    });
  });
}

}  // namespace

extern "C" {

// ---- The driver and its cameras ----------------------------------------------------

KeldnvDriverStatus KELDnvGetErrorString(KeldnvDriverStatus status, char* text, uint32_t size) {
  return Guarded(__func__, [&] { return Driver::Get().ErrorString(status, text, size); });
}

KeldnvDriverStatus KELDnvEnumerateCameras(KELDnvCameraInformation* cameras, uint32_t* count, uint32_t refresh) {
  return Noted(__func__, [&] { return Arg("refresh", refresh); },
               [&] { return Driver::Get().EnumerateCameras(cameras, count); });
}

KeldnvDriverStatus KELDnvGetDriverName(uint64_t serial, char* name, uint32_t size) {
  return Guarded(__func__, [&] { return Driver::Get().DriverName(serial, name, size, false); });
}

KeldnvDriverStatus KELDnvGetDriverName2(uint64_t serial, char* name, uint32_t size) {
  return Guarded(__func__, [&] { return Driver::Get().DriverName(serial, name, size, true); });
}

KeldnvDriverStatus KELDnvGetCameraStatus(const char* name, uint8_t* present, uint32_t* state) {
  return Guarded(__func__, [&] { return Driver::Get().CameraStatus(name, present, state); });
}

KeldnvDriverStatus KELDnvOpenCamera(const char* name, uint32_t flags, uint32_t* camera) {
  return Noted(__func__, [&] { return std::string("name=") + (name != nullptr ? name : "") + " " + HexArg("flags", flags); },
               [&] { return Driver::Get().Open(name, flags, camera); });
}

KeldnvDriverStatus KELDnvCloseCamera(uint32_t camera) {
  return Guarded(__func__, [&] { return Driver::Get().Close(camera); });
}

KeldnvDriverStatus KELDnvRenameInterface(uint32_t camera, const char* name) {
  return Guarded(__func__, [&] { return Driver::Get().Rename(camera, name); });
}

// ---- Attributes ---------------------------------------------------------------------------

KeldnvDriverStatus KELDnvEnumerateAttributes2(uint32_t camera, KELDnvAttributeInformation* attributes,
                                              uint32_t* count, const char* root, uint32_t visibility) {
  return Noted(__func__, [&] { return HexArg("visibility", visibility); }, [&] {
    return Driver::Get().EnumerateAttributes(camera, attributes, count, root, visibility, false);
  });
}

KeldnvDriverStatus KELDnvEnumerateAttributes3(uint32_t camera, KELDnvAttributeInformation* attributes,
                                              uint32_t* count, const char* root, uint32_t visibility) {
  return Noted(__func__, [&] { return HexArg("visibility", visibility); }, [&]() -> Status {
    if (const Status status = Since(keldnvsim::kEnumerateAttributes3From); status != st::kOk) return status;
    return Driver::Get().EnumerateAttributes(camera, attributes, count, root, visibility, true);
  });
}

KeldnvDriverStatus KELDnvGetAttribute(uint32_t camera, const char* name, uint32_t type, void* value) {
  return Guarded(__func__, [&]() -> Status {
    if (name == nullptr) return st::kInvalidArgument;
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool) { return found.Get(name, type, value); });
  });
}

KeldnvDriverStatus KELDnvSetAttributeFromVoidPtr(uint32_t camera, const char* name, uint32_t type, const void* value) {
  return Guarded(__func__, [&] { return Driver::Get().SetAttribute(camera, name, type, value); });
}

KeldnvDriverStatus KELDnvGetAttributeVisibility(uint32_t camera, const char* name, uint32_t* visibility) {
  return AttributeWord(__func__, camera, name, visibility,
                       [](Camera&, const keldnvsim::CameraAttribute& attribute, bool) { return attribute.d.visibility; });
}

KeldnvDriverStatus KELDnvIsAttributeReadable(uint32_t camera, const char* name, uint32_t* readable) {
  return AttributeWord(__func__, camera, name, readable, [](Camera& found, const keldnvsim::CameraAttribute& attribute,
                                                            bool) { return found.Readable(attribute) ? 1u : 0u; });
}

KeldnvDriverStatus KELDnvIsAttributeWritable(uint32_t camera, const char* name, uint32_t* writable) {
  return AttributeWord(__func__, camera, name, writable,
                       [](Camera& found, const keldnvsim::CameraAttribute& attribute, bool monitor) {
                         return found.Writable(attribute, monitor) ? 1u : 0u;
                       });
}

KeldnvDriverStatus KELDnvIsAttributeDynamic(uint32_t camera, const char* name, uint32_t* dynamic) {
  return AttributeWord(__func__, camera, name, dynamic, [](Camera&, const keldnvsim::CameraAttribute& attribute,
                                                           bool) { return attribute.d.dynamic ? 1u : 0u; });
}

KeldnvDriverStatus KELDnvGetAttributeTooltip(uint32_t camera, const char* name, char* text, uint32_t size) {
  return AttributeText(__func__, camera, name, text, size,
                       [](const keldnvsim::CameraAttribute& attribute) { return attribute.d.tooltip; });
}

KeldnvDriverStatus KELDnvGetAttributeMinimum(uint32_t camera, const char* name, uint32_t type, void* value) {
  return Guarded(__func__, [&]() -> Status {
    if (name == nullptr) return st::kInvalidArgument;
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool) { return found.Limit(name, type, 0, value); });
  });
}

KeldnvDriverStatus KELDnvGetAttributeMaximum(uint32_t camera, const char* name, uint32_t type, void* value) {
  return Guarded(__func__, [&]() -> Status {
    if (name == nullptr) return st::kInvalidArgument;
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool) { return found.Limit(name, type, 1, value); });
  });
}

KeldnvDriverStatus KELDnvGetAttributeIncrement(uint32_t camera, const char* name, uint32_t type, void* value) {
  return Guarded(__func__, [&]() -> Status {
    if (name == nullptr) return st::kInvalidArgument;
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool) { return found.Limit(name, type, 2, value); });
  });
}

KeldnvDriverStatus KELDnvGetAttributeUnits(uint32_t camera, const char* name, char* text, uint32_t size) {
  return AttributeText(__func__, camera, name, text, size,
                       [](const keldnvsim::CameraAttribute& attribute) { return attribute.d.units; });
}

KeldnvDriverStatus KELDnvGetAttributeRepresentation(uint32_t camera, const char* name, uint32_t* representation) {
  if (const Status status = Since(keldnvsim::kRepresentationFrom); status != st::kOk) {
    return Guarded(__func__, [&] { return status; });
  }
  return AttributeWord(__func__, camera, name, representation,
                       [](Camera&, const keldnvsim::CameraAttribute& attribute, bool) {
                         return attribute.d.representation;
                       });
}

KeldnvDriverStatus KELDnvGetAttributeDescription(uint32_t camera, const char* name, char* text, uint32_t size) {
  if (const Status status = Since(keldnvsim::kDescriptionsFrom); status != st::kOk) {
    return Guarded(__func__, [&] { return status; });
  }
  return AttributeText(__func__, camera, name, text, size,
                       [](const keldnvsim::CameraAttribute& attribute) { return attribute.d.description; });
}

KeldnvDriverStatus KELDnvGetAttributeDisplayName(uint32_t camera, const char* name, char* text, uint32_t size) {
  if (const Status status = Since(keldnvsim::kDescriptionsFrom); status != st::kOk) {
    return Guarded(__func__, [&] { return status; });
  }
  return AttributeText(__func__, camera, name, text, size,
                       [](const keldnvsim::CameraAttribute& attribute) { return attribute.d.displayName; });
}

KeldnvDriverStatus KELDnvEnumerateAttributeValues(uint32_t camera, const char* name, KELDnvEnumItem_struct* items,
                                                  uint32_t* count) {
  return Guarded(__func__, [&]() -> Status {
    if (name == nullptr || count == nullptr) return st::kInvalidArgument;
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool) -> Status {
      const keldnvsim::CameraAttribute* attribute = found.Find(name);
      if (attribute == nullptr) return st::kAttributeNotFound;
      if (attribute->d.kind != keldnvsim::Kind::Enum) return st::kNotEnumeration;
      const auto& choices = attribute->d.choices;
      if (items == nullptr) {
        *count = static_cast<uint32_t>(choices.size());
        return st::kOk;
      }
      const auto filled = static_cast<uint32_t>(std::min<std::size_t>(*count, choices.size()));
      for (uint32_t i = 0; i < filled; ++i) {
        KELDnvEnumItem_struct item{};
        const auto bits = static_cast<uint64_t>(choices[i].value);
        item.ValueLow = static_cast<uint32_t>(bits);
        item.ValueHigh = static_cast<uint32_t>(bits >> 32);
        (void)keldnvsim::CopyText(choices[i].name, item.Name, sizeof item.Name);  // names below 512
        std::memcpy(&items[i], &item, sizeof item);
      }
      *count = filled;
      return st::kOk;
    });
  });
}

// The settings always fit together: every write keeps them so.
KeldnvDriverStatus KELDnvValidateAcquisition(uint32_t camera) {
  return Guarded(__func__, [&] { return Driver::Get().OnCamera(camera, [](Camera&, bool) { return st::kOk; }); });
}

// ---- Attribute files and texts ---------------------------------------------------------------

KeldnvDriverStatus KELDnvReadAttributes(uint32_t camera, const char* path) {
  return Guarded(__func__, [&] { return Driver::Get().ReadFile(camera, path); });
}

KeldnvDriverStatus KELDnvWriteAttributes(uint32_t camera, const char* path) {
  return Guarded(__func__, [&] { return Driver::Get().WriteFile(camera, path); });
}

KeldnvDriverStatus KELDnvReadAttributesFromString(uint32_t camera, const char* text) {
  return Guarded(__func__, [&] { return Driver::Get().ReadString(camera, text); });
}

KeldnvDriverStatus KELDnvWriteAttributesToString(uint32_t camera, char** text) {
  return Guarded(__func__, [&] { return Driver::Get().WriteString(camera, text); });
}

KeldnvDriverStatus KELDnvDispose(void* memory) {
  return Guarded(__func__, [&] { return Driver::Get().Dispose(memory); });
}

KeldnvDriverStatus KELDnvEnumerateCameraFiles(uint32_t camera, KELDnvEnumItem_struct* items, uint32_t* count,
                                              uint32_t* current) {
  return Guarded(__func__, [&] { return Driver::Get().CameraFiles(camera, items, count, current); });
}

// ---- Acquisition ----------------------------------------------------------------------------

KeldnvDriverStatus KELDnvSnap(uint32_t camera, Image* image) {
  return Guarded(__func__, [&] {
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool monitor) {
      return monitor ? st::kMonitorAccess : found.Snap(image);
    });
  });
}

KeldnvDriverStatus KELDnvConfigureGrab(uint32_t camera) {
  return Guarded(__func__, [&] { return Driver::Get().ConfigureGrab(camera); });
}

KeldnvDriverStatus KELDnvGrab(uint32_t camera, Image* image, uint32_t waitForNext, uint32_t* bufferNumber) {
  return Noted(__func__, [&] { return Arg("wait", waitForNext); }, [&]() -> Status {
    if (waitForNext > 1) return st::kInvalidArgument;
    return Driver::Get().CopyImage(camera, image, waitForNext == 1 ? 3 : 1, 0, bufferNumber);
  });
}

KeldnvDriverStatus KELDnvConfigureAcquisition(uint32_t camera, uint32_t continuous, uint32_t bufferCount) {
  return Noted(__func__, [&] { return Arg("continuous", continuous) + " " + Arg("buffers", bufferCount); }, [&] {
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool monitor) {
      return monitor ? st::kMonitorAccess : found.ConfigureBuffers(continuous != 0, bufferCount);
    });
  });
}

KeldnvDriverStatus KELDnvConfigureRingAcquisition(uint32_t camera, uint32_t flags, Image** images, uint32_t count) {
  return Noted(__func__, [&] { return Arg("flags", flags) + " " + Arg("images", count); }, [&]() -> Status {
    if (flags != 0) return st::kInvalidArgument;
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool monitor) {
      return monitor ? st::kMonitorAccess : found.ConfigureRing(images, count);
    });
  });
}

KeldnvDriverStatus KELDnvStartAcquisition(uint32_t camera) {
  return Guarded(__func__, [&] {
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool monitor) {
      return monitor ? st::kMonitorAccess : found.Start();
    });
  });
}

KeldnvDriverStatus KELDnvStopAcquisition(uint32_t camera) {
  return Guarded(__func__, [&] {
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool monitor) {
      return monitor ? st::kMonitorAccess : found.Stop();
    });
  });
}

KeldnvDriverStatus KELDnvUnconfigureAcquisition(uint32_t camera) {
  return Guarded(__func__, [&] {
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool monitor) {
      return monitor ? st::kMonitorAccess : found.Unconfigure();
    });
  });
}

KeldnvDriverStatus KELDnvGetImage(uint32_t camera, Image* image, uint32_t mode, uint32_t number,
                                  uint32_t* actualNumber) {
  return Noted(__func__, [&] { return Arg("mode", mode) + " " + Arg("number", number); },
               [&] { return Driver::Get().CopyImage(camera, image, mode, number, actualNumber); });
}

KeldnvDriverStatus KELDnvCalculateBayerGains(uint32_t camera, uint32_t selector, double* red, double* green,
                                             double* blue) {
  return Guarded(__func__, [&]() -> Status {
    if (selector > 1 || red == nullptr || green == nullptr || blue == nullptr) return st::kInvalidArgument;
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool) { return found.WhiteBalance(*red, *green, *blue); });
  });
}

// ---- Registers ---------------------------------------------------------------------------------

KeldnvDriverStatus KELDnvReadRegister(uint32_t camera, uint32_t address, uint32_t* value) {
  return Noted(__func__, [&] { return HexArg("address", address); }, [&]() -> Status {
    if (value == nullptr) return st::kInvalidArgument;
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool) { return found.ReadRegister(address, *value); });
  });
}

KeldnvDriverStatus KELDnvWriteRegister(uint32_t camera, uint32_t address, uint32_t value) {
  return Noted(__func__, [&] { return HexArg("address", address) + " " + HexArg("value", value); }, [&] {
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool monitor) {
      return monitor ? st::kMonitorAccess : found.WriteRegister(address, value);
    });
  });
}

// ---- Camera-link cameras -----------------------------------------------------------------------

KeldnvDriverStatus KELDnvEnumerateCameraLinkCameraFiles(uint32_t camera, KELDnvCameraLinkFile* files,
                                                        uint32_t* count) {
  return Guarded(__func__, [&] { return Driver::Get().CameraLinkFiles(camera, files, count); });
}

KeldnvDriverStatus KELDnvGetCameraLinkCameraFilename(uint32_t camera, char* name, uint32_t size) {
  return Guarded(__func__, [&]() -> Status {
    if (name == nullptr) return st::kInvalidArgument;
    return Driver::Get().OnCamera(camera, [&](Camera& found, bool) -> Status {
      if (found.Desc().interfaceType != keldnvsim::kCameraLink) return st::kNotCameraLink;
      return keldnvsim::CopyText(found.cameraFile, name, size);
    });
  });
}

KeldnvDriverStatus KELDnvChangeCameraLinkCameraFile(uint32_t camera, const char* name) {
  return Guarded(__func__, [&] { return Driver::Get().ChangeCameraLinkFile(camera, name); });
}

KeldnvDriverStatus KELDnvCopyCameraLinkCameraFile(uint32_t camera, const char* path) {
  return Guarded(__func__, [&] { return Driver::Get().CopyCameraLinkFile(camera, path); });
}

KeldnvDriverStatus KELDnvRenameCameraLinkBoard(const char* oldName, const char* newName) {
  return Guarded(__func__, [&] { return Driver::Get().RenameBoard(oldName, newName); });
}

}  // extern "C"
