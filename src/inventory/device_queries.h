// What the exported board and camera functions ask of the inventory, with
// text results as CFGString so that both API families can share them. The
// driver type is tested by the caller (IsCameraDriver) before it comes here.
#pragma once

#include <cstdint>

#include "foundation/cfg_string.h"

namespace keld {

// Cameras are served by driver 1 (IEEE 1394) or 2 (network and USB).
bool IsCameraDriver(std::int32_t driverType);

// Refresh of the host's list; `changed` may be null.
Status RefreshDevices(std::uint32_t driverType, const char* host, std::uint8_t* changed);
// Number of devices; a null `count` gives 0xBFFF8007 before any enumeration.
Status GetDeviceCount(std::uint32_t driverType, const char* host, std::uint32_t* count);
// Fields of the device at `index`; every output may be null. An index at or
// beyond the end gives 0xBFFF800C, a failed enumeration its own status.
Status QueryDevice(std::uint32_t driverType, const char* host, std::uint32_t index, CFGString* name,
                   std::uint32_t* uniqueHigh, std::uint32_t* uniqueLow, CFGString* description,
                   std::uint32_t* busType);
Status QueryDeviceDriver(std::uint32_t driverType, const char* host, std::uint32_t index, CFGString* driverName,
                         std::uint32_t* driverVersion);

}  // namespace keld
