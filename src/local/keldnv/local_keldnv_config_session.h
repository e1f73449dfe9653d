// A session on a camera of the network and USB driver, served in this process.
#pragma once

#include "local/local_device_config_session.h"

namespace keld {

class LocalKELDNVConfigSession : public LocalDeviceConfigSession {
 public:
  using LocalDeviceConfigSession::LocalDeviceConfigSession;
  std::uint32_t GetDriverType() override { return kDriverKELDnv; }
};

}  // namespace keld
