// A session on a camera of the network and USB driver, served in this process.
#pragma once

#include "local/local_device_config_session.h"

namespace keld {

class LocalKELDNVConfigSession : public LocalDeviceConfigSession {
 public:
  using LocalDeviceConfigSession::LocalDeviceConfigSession;
  ~LocalKELDNVConfigSession() override = default;
  std::uint32_t GetDriverType() override { return kDriverKELDnv; }
  // Opening and closing come with the driver binding; until then not served.
  Status Open() override { return kNotSupported; }
  Status Close() override { return kNotSupported; }
};

}  // namespace keld
