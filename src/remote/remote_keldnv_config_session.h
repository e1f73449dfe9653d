// A session on a network or USB camera of a remote target.
#pragma once

#include "remote/remote_device_config_session.h"

namespace keld {

class RemoteKELDNVConfigSession : public RemoteDeviceConfigSession {
 public:
  using RemoteDeviceConfigSession::RemoteDeviceConfigSession;
  std::uint32_t GetDriverType() override { return kDriverKELDnv; }
};

}  // namespace keld
