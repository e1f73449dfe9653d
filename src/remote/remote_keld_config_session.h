// A session on a frame-grabber board of a remote target.
#pragma once

#include "remote/remote_device_config_session.h"

namespace keld {

class RemoteKELDConfigSession : public RemoteDeviceConfigSession {
 public:
  using RemoteDeviceConfigSession::RemoteDeviceConfigSession;
  ~RemoteKELDConfigSession() override = default;
  std::uint32_t GetDriverType() override { return kDriverKELD; }

};

}  // namespace keld
