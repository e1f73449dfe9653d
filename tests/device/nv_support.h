// What the scenarios on the network and USB camera driver share: images
// with their frame counter and a hash of their pixels, attribute access by
// name, the driver's call log, and the descriptions of cameras the
// scenarios use.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "device_fixture.h"
#include "odvissvc/odvissvc.h"

namespace keld::device::nv {

inline constexpr std::int32_t kDriver = 2;
// Type tags of attribute values.
inline constexpr std::uint32_t kU32 = 1;
inline constexpr std::uint32_t kF64 = 2;
inline constexpr std::uint32_t kString = 5;
inline constexpr std::uint32_t kEnum = 100;
inline constexpr std::uint32_t kBool = 101;
inline constexpr std::uint32_t kCommand = 102;
inline constexpr std::uint32_t kI64 = 104;
// Component keys.
inline constexpr std::uint32_t kValue = 0;
inline constexpr std::uint32_t kMinimum = 2;
inline constexpr std::uint32_t kMaximum = 3;
inline constexpr std::uint32_t kIncrement = 9;
inline constexpr std::uint32_t kRepresentation = 10;
inline constexpr std::uint32_t kVisibility = 11;
inline constexpr std::uint32_t kDescription = 12;
inline constexpr std::uint32_t kDisplayName = 13;
inline constexpr std::uint32_t kDynamic = 14;

inline std::uint32_t AsStatus(std::int32_t result) { return static_cast<std::uint32_t>(result); }

class ScopedImage {
 public:
  ScopedImage() { EXPECT_EQ(NewImage(&image, ODV_U8, 0, 0, 0), 0u); }
  ScopedImage(const ScopedImage&) = delete;
  ScopedImage& operator=(const ScopedImage&) = delete;
  ~ScopedImage() { static_cast<void>(DisposeImage(image)); }
  std::uint32_t Word(int index) const { return reinterpret_cast<const std::uint32_t*>(image)[index]; }
  std::uint32_t Width() const { return Word(ODV_WORD_WIDTH); }
  std::uint32_t Height() const { return Word(ODV_WORD_HEIGHT); }
  std::uint32_t Type() const { return Word(ODV_WORD_TYPE); }

  // The frame counter the camera stamped into the first pixels.
  std::uint32_t Counter() const {
    void* first = nullptr;
    if (Width() < 4 || GetImagePixel(image, 0, 0, &first) != 0) return 0xFFFFFFFF;
    const auto* pixels = static_cast<const std::uint8_t*>(first);
    std::uint32_t counter = 0;
    if (Type() == ODV_RGB32) {
      std::memcpy(&counter, pixels, 4);
      return counter;
    }
    for (int i = 0; i < 4; ++i) {
      std::uint32_t byte = pixels[i];
      if (Type() == ODV_U16) {
        std::uint16_t value = 0;
        std::memcpy(&value, pixels + 2 * i, 2);
        const std::uint32_t depth = Word(ODV_WORD_BIT_DEPTH) == 0 ? 16 : Word(ODV_WORD_BIT_DEPTH);
        byte = value >> (depth - 8);
      }
      counter |= byte << (8 * i);
    }
    return counter;
  }

  // FNV-1a over the geometry and the pixels, line by line.
  std::uint64_t Hash() const {
    std::uint64_t hash = 0xcbf29ce484222325ULL;
    const auto mix = [&](const void* data, std::size_t size) {
      const auto* bytes = static_cast<const std::uint8_t*>(data);
      for (std::size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 0x100000001b3ULL;
    };
    const std::uint32_t geometry[] = {Width(), Height(), Type()};
    mix(geometry, sizeof geometry);
    const std::uint32_t rowBytes = Width() * ImageTypePixelSize(Type());
    for (std::uint32_t y = 0; y < Height(); ++y) {
      void* row = nullptr;
      if (GetImagePixel(image, 0, y, &row) != 0) return 0;
      mix(row, rowBytes);
    }
    return hash;
  }

  std::string Describe() const {
    char text[96];
    std::snprintf(text, sizeof text, "%ux%u type %u counter %u hash %016llx", Width(), Height(), Type(), Counter(),
                  static_cast<unsigned long long>(Hash()));
    return text;
  }

  Image* image = nullptr;
};

// The driver's call log since the last clear, and one function's count.
inline std::string CallLog() {
  std::uint32_t size = 0;
  EXPECT_EQ(keldnvsimGetCallLog(nullptr, &size), 0u);
  std::string text(size, '\0');
  EXPECT_EQ(keldnvsimGetCallLog(text.data(), &size), 0u);
  text.resize(std::strlen(text.c_str()));
  return text;
}
inline std::uint32_t Calls(const char* function) {
  std::uint32_t count = 0;
  EXPECT_EQ(keldnvsimGetCallCount(function, &count), 0u);
  return count;
}

// Attribute values by name, through the public functions.
inline std::int32_t GetU32(std::uint32_t session, const char* name, std::uint32_t* value, std::int32_t cached = 0,
                           std::uint32_t component = kValue) {
  return cfgGetNVAttributeValue(session, name, component, kU32, value, cached);
}
inline std::int32_t SetU32(std::uint32_t session, const char* name, std::uint32_t value, std::int32_t cached = 0) {
  return cfgSetNVAttributeValue(session, name, kValue, kU32, &value, cached);
}
inline std::int32_t GetF64(std::uint32_t session, const char* name, double* value, std::int32_t cached = 0,
                           std::uint32_t component = kValue) {
  return cfgGetNVAttributeValue(session, name, component, kF64, value, cached);
}
inline std::int32_t SetF64(std::uint32_t session, const char* name, double value, std::int32_t cached = 0) {
  return cfgSetNVAttributeValue(session, name, kValue, kF64, &value, cached);
}
inline std::int32_t GetEnum(std::uint32_t session, const char* name, KELDnvEnumItem_struct* item,
                            std::int32_t cached = 0) {
  return cfgGetNVAttributeValue(session, name, kValue, kEnum, item, cached);
}
inline std::int32_t Execute(std::uint32_t session, const char* name) {
  const std::uint8_t one = 1;
  return cfgSetNVAttributeValue(session, name, kValue, kBool, &one, 0);
}

// The attribute list of a session at a visibility.
inline std::vector<KELDcfgAttrInfo> Listing(std::uint32_t session, std::uint32_t visibility, std::int32_t cached,
                                            std::int32_t* status) {
  std::uint32_t count = 0;
  *status = cfgGetNVAttributesInfo2(session, nullptr, &count, visibility, cached);
  std::vector<KELDcfgAttrInfo> list(count);
  if (count != 0) {
    const std::int32_t listed = cfgGetNVAttributesInfo2(session, list.data(), &count, visibility, 1);
    if (*status == 0) *status = listed;  // the refresh's failure is the one to tell
  }
  list.resize(count);
  return list;
}

inline const KELDcfgAttrInfo* FindInfo(const std::vector<KELDcfgAttrInfo>& list, const char* name) {
  for (const KELDcfgAttrInfo& info : list) {
    if (std::strcmp(info.Name, name) == 0) return &info;
  }
  return nullptr;
}

inline std::string InfoLine(const KELDcfgAttrInfo& info) {
  char numbers[120];
  std::snprintf(numbers, sizeof numbers, " type %u id %u repr %u r%u w%u", info.Type, info.Id,
                info.Representation, info.Readable, info.Writable);
  return std::string(info.Name) + numbers + " units '" + info.Units + "' tip '" + info.Tooltip + "'";
}

}  // namespace keld::device::nv
