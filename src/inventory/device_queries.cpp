#include "inventory/device_queries.h"

#include "inventory/device_list_map.h"
#include "session/config_session.h"

namespace keld {

namespace {

// Copies the entry at `index` of the host's list into `device`.
Status FindDevice(std::uint32_t driverType, const char* host, std::uint32_t index, Device* device) {
  DeviceList list;
  const Status status = GetDeviceListMap(driverType).Get(host, &list);
  if (status != kSuccess) return status;
  if (index >= list.size()) return kIndexBeyondRange;
  *device = list[index];
  return kSuccess;
}

}  // namespace

bool IsCameraDriver(std::int32_t driverType) { return driverType == kDriverKELD1394 || driverType == kDriverKELDnv; }

Status RefreshDevices(std::uint32_t driverType, const char* host, std::uint8_t* changed) {
  return GetDeviceListMap(driverType).Refresh(host, changed);
}

Status GetDeviceCount(std::uint32_t driverType, const char* host, std::uint32_t* count) {
  if (count == nullptr) return kBadPointer;
  DeviceList list;
  const Status status = GetDeviceListMap(driverType).Get(host, &list);
  if (status != kSuccess) return status;
  *count = static_cast<std::uint32_t>(list.size());
  return kSuccess;
}

Status QueryDevice(std::uint32_t driverType, const char* host, std::uint32_t index, CFGString* name,
                   std::uint32_t* uniqueHigh, std::uint32_t* uniqueLow, CFGString* description,
                   std::uint32_t* busType) {
  Device device;
  const Status status = FindDevice(driverType, host, index, &device);
  if (status != kSuccess) return status;
  if (name != nullptr) *name = device.name;
  if (uniqueHigh != nullptr) *uniqueHigh = static_cast<std::uint32_t>(device.uniqueId >> 32);
  if (uniqueLow != nullptr) *uniqueLow = static_cast<std::uint32_t>(device.uniqueId);
  if (description != nullptr) *description = device.description;
  if (busType != nullptr) *busType = device.busType;
  return kSuccess;
}

Status QueryDeviceDriver(std::uint32_t driverType, const char* host, std::uint32_t index, CFGString* driverName,
                         std::uint32_t* driverVersion) {
  Device device;
  const Status status = FindDevice(driverType, host, index, &device);
  if (status != kSuccess) return status;
  if (driverName != nullptr) *driverName = device.driverName;
  if (driverVersion != nullptr) *driverVersion = device.driverVersion;
  return kSuccess;
}

}  // namespace keld
