// A session on a board of the frame-grabber driver, served in this process.
#pragma once

#include "local/local_device_config_session.h"

namespace keld {

class LocalKELDConfigSession : public LocalDeviceConfigSession {
 public:
  using LocalDeviceConfigSession::LocalDeviceConfigSession;
  ~LocalKELDConfigSession() override = default;
  std::uint32_t GetDriverType() override { return kDriverKELD; }
  // Opening and closing come with the driver binding; until then not served.
  Status Open() override { return kNotSupported; }
  Status Close() override { return kNotSupported; }
};

}  // namespace keld
