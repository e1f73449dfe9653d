// Look-up of a remote session by id, for what makes sense only there: the
// ping and the time-out of remote calls.
#pragma once

#include <cstdint>
#include <memory>

#include "remote/remote_device_config_session.h"

namespace keld {

// 0xBFFF8009 for an unknown id, a local session, a driver type outside 0 to
// 2 or a session of another class; `out` is left alone then.
Status GetRemoteSession(std::shared_ptr<RemoteDeviceConfigSession>* out, std::uint32_t id);

}  // namespace keld
