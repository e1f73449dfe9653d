// The factory: the one place that knows the six concrete session classes.
// It is built as a target of its own, the only part of the session layer
// that may see the local and remote sessions.
#pragma once

#include <cstdint>
#include <functional>

#include "session/config_session.h"

namespace keld {

// Builds the session object for a request, outside the registry's lock: a
// local session where `host` is null or exactly "127.0.0.1", a remote one
// (which binds and opens on the target while it is built) for any other
// text. The constructor's status goes to `status`. Null where the object
// could not be allocated.
DeviceConfigSession* BuildSession(std::uint32_t driverType, const char* clientName, const char* host,
                                  const char* interfaceName, Status* status);

namespace testing {
// Builds the session object in place of the six concrete classes; return null
// to fall back to them. Test only.
using SessionBuilder =
    std::function<DeviceConfigSession*(std::uint32_t driverType, const char* host, const char* interfaceName,
                                       Status* status)>;
void SetSessionBuilder(SessionBuilder builder);
}  // namespace testing

}  // namespace keld
