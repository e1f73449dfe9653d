// A session on a board of the frame-grabber driver, served in this process.
// It alone serves the frame-grabber commands on a target (rings, sequences,
// triggers, pulses, lighting).
#pragma once

#include "local/local_device_config_session.h"

namespace keld {

class LocalKELDConfigSession : public LocalDeviceConfigSession {
 public:
  using LocalDeviceConfigSession::LocalDeviceConfigSession;
  std::uint32_t GetDriverType() override { return kDriverKELD; }

#define KELD_LOCAL_KELD_HANDLER(group, name, command, handle, step, target, client, ...) \
  KELD_LOCAL_KELD_HANDLER_##target(name)
#define KELD_LOCAL_KELD_HANDLER_OVERRIDE(name) Status Handle##name(ByteStream* input, ByteStream* output) override;
#define KELD_LOCAL_KELD_HANDLER_Handler(name)
#define KELD_LOCAL_KELD_HANDLER_HandlerCustom(name)
#define KELD_LOCAL_KELD_HANDLER_HandlerWithFlags(name)
#define KELD_LOCAL_KELD_HANDLER_Direct(name)
#define KELD_LOCAL_KELD_HANDLER_KeldHandler(name) KELD_LOCAL_KELD_HANDLER_OVERRIDE(name)
#define KELD_LOCAL_KELD_HANDLER_KeldHandlerCustom(name) KELD_LOCAL_KELD_HANDLER_OVERRIDE(name)
#define KELD_LOCAL_KELD_HANDLER_NvHandlerCustom(name)
#define KELD_LOCAL_KELD_HANDLER_NoTarget(name)
  KELD_DEVICE_OPERATIONS(KELD_LOCAL_KELD_HANDLER)
};

}  // namespace keld
