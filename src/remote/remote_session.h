// RemoteSession: the part of a remote session that talks to the target: its
// bindings, its time-out and the target's session id. The remote open runs
// within construction; its status goes to the status word.
#pragma once

#include <cstdint>

#include "foundation/cfg_string.h"

namespace keld {

// Time-out copied into every new remote session, in milliseconds.
extern std::uint32_t DefaultRemoteTimeout;

class RemoteSession {
 public:
  RemoteSession(const char* clientName, const char* host, std::uint32_t driverType, const char* interfaceName,
                Status* status);
  RemoteSession(const RemoteSession&) = delete;
  RemoteSession& operator=(const RemoteSession&) = delete;
  virtual ~RemoteSession();

  std::uint32_t timeout;             // per-call time-out in milliseconds
  std::uint32_t remoteSessionId = 0;  // the target's id of its local session
  CFGString host;
};

}  // namespace keld
