// Host-level queries: calls that reach a target without opening a session
// there. Each binds to the host on a throw-away remote session, makes one
// call and releases the binding again.
#pragma once

#include <cstdint>

#include "foundation/status.h"

namespace keld {

// The target's version word.
Status QueryRemoteVersion(const char* host, std::uint32_t* version);
// Binds and runs the password call, which sends nothing and answers
// 0xBFFF8011; a host that cannot be bound gives the binding's status.
Status CheckRemotePassword(const char* host);
Status GetRemoteMTU(const char* host, const char* adapter, std::uint32_t* mtu);
Status SetRemoteMTU(const char* host, const char* adapter, std::uint32_t mtu);

}  // namespace keld
