// Device: one board or camera that a driver reports on a host. Two devices
// are the same where everything but the readable description agrees, so a
// changed description alone is no change of hardware.
#pragma once

#include <cstdint>

#include "foundation/cfg_string.h"

namespace keld {

struct ByteStream;

class Device {
 public:
  Device() = default;
  Device(const Device&) = default;
  Device& operator=(const Device&) = default;
  virtual ~Device() = default;

  // name, uniqueId, description, driverName, driverVersion, busType in order.
  virtual Status Flatten(ByteStream* stream) const;
  virtual Status Unflatten(ByteStream* stream);

  // Compares busType, uniqueId, name, driverName and driverVersion.
  bool operator==(const Device& other) const;
  bool operator!=(const Device& other) const { return !(*this == other); }

  CFGString name;              // interface name the device is opened by
  std::uint64_t uniqueId = 0;  // board serial in the low word; camera UUID, high word on top
  CFGString description;
  CFGString driverName;        // empty for frame-grabber boards
  std::uint32_t driverVersion = 0;
  std::uint32_t busType = 0;   // the driver's word for the bus; stored and reported only
};

}  // namespace keld
