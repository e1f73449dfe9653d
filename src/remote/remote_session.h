// RemoteSession: the part of a remote session that talks to the target: two
// binding handles to the same endpoint ([0] control, [1] image commands),
// the target's session id, the per-call time-out and the target's version.
// The full constructor binds to the host and opens the session on the
// target (OpenCall, then VersionCall); its status goes to the status word.
// The bare constructor serves the host-level queries, which bind, make one
// call and release the handles without opening anything on the target.
#pragma once

#include <cstdint>
#include <memory>

#include "foundation/cfg_string.h"
#include "remote/remote_procedure_call.h"
#include "remote/rpc/rpc_binding.h"

namespace keld {

// Time-out copied into every new remote session, in milliseconds.
extern std::uint32_t DefaultRemoteTimeout;

class RemoteSession {
 public:
  RemoteSession(const char* clientName, const char* host, std::uint32_t driverType, const char* interfaceName,
                Status* status);
  explicit RemoteSession(std::uint32_t timeoutMs);
  RemoteSession(const RemoteSession&) = delete;
  RemoteSession& operator=(const RemoteSession&) = delete;
  // Sends RemoteClose first where handle 0 is still bound.
  virtual ~RemoteSession();

  // Turns a host text into the two binding handles. "127.0.0.1" followed by
  // colons and a name asks the local service locator for the named target's
  // port; any other text is the network address, served on the registry's
  // port. Returns the runtime's status of a string binding that does not parse.
  Status ComposeBinding(const char* host);
  // Runs one call record on a handle under the session's time-out; anything
  // thrown on the way ends as 0xBFFF8004.
  Status ExecuteCall(RemoteProcedureCall& record, int handleIndex);
  // Binds, opens the session on the target and reads its version; on any
  // failure both handles are released.
  Status Open(std::uint32_t driverType, const char* name, const char* host, const char* interfaceName);
  // RemoteClose; releases the handles only where the target agreed.
  Status CloseRemote();
  // RemotePing of the target's session on the control handle.
  Status Ping();
  void ReleaseBindings();

  std::unique_ptr<rpc::RpcBinding> bindings[2];
  std::uint32_t sessionId = 0;  // the target's id of its local session
  std::uint32_t timeout;        // per-call time-out in milliseconds
  std::uint32_t remoteVersion = 0;
  CFGString host;
};

}  // namespace keld
