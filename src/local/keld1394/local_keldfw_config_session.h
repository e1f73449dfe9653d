// A session on a camera of the legacy IEEE 1394 driver, served in this process.
#pragma once

#include "local/local_device_config_session.h"

namespace keld {

class LocalKELDFWConfigSession : public LocalDeviceConfigSession {
 public:
  using LocalDeviceConfigSession::LocalDeviceConfigSession;
  ~LocalKELDFWConfigSession() override = default;
  std::uint32_t GetDriverType() override { return kDriverKELD1394; }
  // Opening and closing come with the driver binding; until then not served.
  Status Open() override { return kNotSupported; }
  Status Close() override { return kNotSupported; }
};

}  // namespace keld
