// DeviceList: the devices of one driver on one host, in the order the
// driver enumerated them; the inventory neither sorts nor merges.
#pragma once

#include <vector>

#include "inventory/device.h"

namespace keld {

class DeviceList : public std::vector<Device> {
 public:
  DeviceList() = default;
  DeviceList(const DeviceList&) = default;
  DeviceList& operator=(const DeviceList&) = default;
  virtual ~DeviceList() = default;

  // u32 count, then each device.
  virtual Status Flatten(ByteStream* stream) const;
  // Clears first, then appends each device that read cleanly; stops at the
  // first failure and returns it.
  virtual Status Unflatten(ByteStream* stream);

  // Same length and equal devices position by position.
  bool operator==(const DeviceList& other) const;
  bool operator!=(const DeviceList& other) const { return !(*this == other); }
};

}  // namespace keld
