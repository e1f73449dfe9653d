#include "session/session_timeout.h"

#include "remote/remote_device_config_session.h"
#include "remote/remote_session.h"
#include "session/session_registry.h"

namespace keld {

Status ReadSessionTimeout(std::uint32_t id, std::uint32_t* timeout) {
  if (id == 0) {
    *timeout = DefaultRemoteTimeout;
    return kSuccess;
  }
  RemoteDeviceConfigSession* remote = nullptr;
  const Status status = GetRemoteSession(&remote, id);
  if (status != kSuccess) return status;
  *timeout = remote->timeout;
  return kSuccess;
}

Status WriteSessionTimeout(std::uint32_t id, std::uint32_t timeout) {
  if (id == 0) {
    DefaultRemoteTimeout = timeout;
    return kSuccess;
  }
  RemoteDeviceConfigSession* remote = nullptr;
  const Status status = GetRemoteSession(&remote, id);
  if (status != kSuccess) return status;
  remote->timeout = timeout;
  return kSuccess;
}

}  // namespace keld
