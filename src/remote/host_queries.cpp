#include "remote/host_queries.h"

namespace keld {

// There is no transport to a target yet: every host-level query fails as a
// failed remote call does.
Status QueryRemoteVersion(const char* /*host*/, std::uint32_t* /*version*/) { return kRemoteException; }
Status CheckRemotePassword(const char* /*host*/) { return kRemoteException; }
Status GetRemoteMTU(const char* /*host*/, const char* /*adapter*/, std::uint32_t* /*mtu*/) {
  return kRemoteException;
}
Status SetRemoteMTU(const char* /*host*/, const char* /*adapter*/, std::uint32_t /*mtu*/) {
  return kRemoteException;
}

}  // namespace keld
