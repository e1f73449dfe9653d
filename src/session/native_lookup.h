// The common middle of the exported frames: find the device session by id
// and run one operation on it. A lookup failure of any kind is 0xBFFF8009
// (0xBFFF8007 is impossible here, the output pointer is ours).
#pragma once

#include <cstdint>

#include "foundation/status.h"
#include "session/config_session.h"
#include "session/session_registry.h"

namespace keld {

// Exported functions hand the status over as a signed 32-bit word.
inline std::int32_t ToResult(Status status) { return static_cast<std::int32_t>(status); }

// Looks the session up and returns what `operation(session)` returns.
template <typename Operation>
Status WithDeviceSession(std::uint32_t id, Operation operation) {
  DeviceConfigSession* session = nullptr;
  const Status status = GetDeviceSession(&session, id);
  if (status != kSuccess) return status;
  return operation(*session);
}

}  // namespace keld
