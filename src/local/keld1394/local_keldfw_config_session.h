// A session on a camera of the legacy IEEE 1394 driver, served in this process.
#pragma once

#include "local/local_device_config_session.h"

namespace keld {

class LocalKELDFWConfigSession : public LocalDeviceConfigSession {
 public:
  using LocalDeviceConfigSession::LocalDeviceConfigSession;
  std::uint32_t GetDriverType() override { return kDriverKELD1394; }
};

}  // namespace keld
