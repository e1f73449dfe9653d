// A session on a frame-grabber board of a remote target. It alone sends the
// frame-grabber commands (rings, sequences, triggers, pulses, lighting).
#pragma once

#include "remote/remote_device_config_session.h"

namespace keld {

class RemoteKELDConfigSession : public RemoteDeviceConfigSession {
 public:
  using RemoteDeviceConfigSession::RemoteDeviceConfigSession;
  std::uint32_t GetDriverType() override { return kDriverKELD; }

#define KELD_REMOTE_KELD_DECLARE(group, name, command, handle, step, target, client, ...) \
  KELD_REMOTE_KELD_DECLARE_##client(name, __VA_ARGS__)
#define KELD_REMOTE_KELD_DECLARE_Proxy(name, ...)
#define KELD_REMOTE_KELD_DECLARE_ProxyCustom(name, ...)
#define KELD_REMOTE_KELD_DECLARE_KeldProxy(name, ...) Status name(KELD_PARAMS(__VA_ARGS__)) override;
#define KELD_REMOTE_KELD_DECLARE_KeldProxyCustom(name, ...) Status name(KELD_PARAMS(__VA_ARGS__)) override;
#define KELD_REMOTE_KELD_DECLARE_NoProxy(name, ...)
  KELD_DEVICE_OPERATIONS(KELD_REMOTE_KELD_DECLARE)
};

}  // namespace keld
