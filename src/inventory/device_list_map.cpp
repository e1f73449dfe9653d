#include "inventory/device_list_map.h"

#include <atomic>
#include <system_error>

#include "foundation/driver_type.h"

namespace keld {

namespace {

// Takes the map's lock with an infinite wait. Where the wait itself fails the
// caller goes on without the lock and does not release it at the end.
class MapLockGuard {
 public:
  explicit MapLockGuard(RecursiveLock& lock) : lock_(lock) {
    try {
      lock_.lock();
      held_ = true;
    } catch (const std::system_error&) {
      held_ = false;
    }
  }
  MapLockGuard(const MapLockGuard&) = delete;
  MapLockGuard& operator=(const MapLockGuard&) = delete;
  ~MapLockGuard() {
    if (held_) lock_.unlock();
  }

 private:
  RecursiveLock& lock_;
  bool held_ = false;
};

CFGString HostKey(const char* host) { return CFGString(host != nullptr ? host : "127.0.0.1"); }

std::atomic<DeviceEnumerator> deviceEnumerator{nullptr};

DeviceListMap deviceListMaps[3] = {DeviceListMap(kDriverKELD), DeviceListMap(kDriverKELD1394),
                                   DeviceListMap(kDriverKELDnv)};

}  // namespace

Status DeviceListMap::Get(const char* host, DeviceList* list) {
  MapLockGuard guard(lock);
  const CFGString key = HostKey(host);
  auto it = lists.find(key);
  if (it != lists.end()) {
    *list = it->second;
    return kSuccess;
  }
  const DeviceEnumerator enumerate = deviceEnumerator;
  if (enumerate == nullptr) return kInternalError;
  const Status status = enumerate(driverType, host, list);
  if (status != kSuccess) return status;
  lists.emplace(key, *list);
  return kSuccess;
}

Status DeviceListMap::Refresh(const char* host, std::uint8_t* changed) {
  MapLockGuard guard(lock);
  DeviceList before;
  auto it = lists.find(HostKey(host));
  if (it != lists.end()) {
    before = it->second;
    lists.erase(it);
  }
  DeviceList after;
  const Status status = Get(host, &after);
  if (changed != nullptr) *changed = before != after ? 1 : 0;
  return status;
}

void SetDeviceEnumerator(DeviceEnumerator enumerator) { deviceEnumerator = enumerator; }

DeviceListMap& GetDeviceListMap(std::uint32_t driverType) { return deviceListMaps[driverType]; }

}  // namespace keld
