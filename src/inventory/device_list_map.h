// DeviceListMap: the cached device lists of one driver, one per host. A list
// is enumerated on first need through a throw-away session and stays until a
// Refresh of the same host; nothing expires by itself. The map's lock is
// held over a whole enumeration, so two threads on one driver wait for each
// other even where their hosts differ; different drivers run in parallel.
// Lock order: this lock first, then the session registry's.
//
// The inventory does not know how devices are enumerated: the library hands
// it the function at start-up (SetDeviceEnumerator), so that this layer
// needs nothing of the sessions above it.
#pragma once

#include <cstdint>
#include <map>

#include "foundation/cfg_string.h"
#include "inventory/device_list.h"
#include "platform/recursive_lock.h"

namespace keld {

// Fills `out` with the devices of a driver on a host.
using DeviceEnumerator = Status (*)(std::uint32_t driverType, const char* host, DeviceList* out);
// Sets the enumeration every map uses; until then Get answers 0xBFFF8017.
void SetDeviceEnumerator(DeviceEnumerator enumerator);

class DeviceListMap {
 public:
  explicit DeviceListMap(std::uint32_t type) : driverType(type) {}
  DeviceListMap(const DeviceListMap&) = delete;
  DeviceListMap& operator=(const DeviceListMap&) = delete;
  virtual ~DeviceListMap() = default;

  // Leaves a copy of the host's list in `list`, enumerating where none is
  // cached. A failed enumeration is returned and not cached. A null host is
  // "127.0.0.1".
  Status Get(const char* host, DeviceList* list);
  // Drops the host's entry and enumerates again. `changed`, where not null,
  // becomes 1 where the new list differs from the old one (an absent entry
  // counts as an empty list), else 0. A failure leaves no entry at all.
  Status Refresh(const char* host, std::uint8_t* changed);

  std::map<CFGString, DeviceList> lists;
  std::uint32_t driverType;
  RecursiveLock lock;
};

// The map of a driver type; the caller ensures the type is 0, 1 or 2.
DeviceListMap& GetDeviceListMap(std::uint32_t driverType);

}  // namespace keld
