#include "remote/remote_session.h"

namespace keld {

std::uint32_t DefaultRemoteTimeout = 45000;

RemoteSession::RemoteSession(const char* /*clientName*/, const char* hostName, std::uint32_t /*driverType*/,
                             const char* /*interfaceName*/, Status* status)
    : timeout(DefaultRemoteTimeout), host(hostName) {
  // There is no transport to a target yet, so the remote open cannot succeed.
  *status = kRemoteException;
}

RemoteSession::~RemoteSession() = default;

}  // namespace keld
