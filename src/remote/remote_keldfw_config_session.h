// A session on an IEEE 1394 camera of a remote target.
#pragma once

#include "remote/remote_device_config_session.h"

namespace keld {

class RemoteKELDFWConfigSession : public RemoteDeviceConfigSession {
 public:
  using RemoteDeviceConfigSession::RemoteDeviceConfigSession;
  std::uint32_t GetDriverType() override { return kDriverKELD1394; }
};

}  // namespace keld
