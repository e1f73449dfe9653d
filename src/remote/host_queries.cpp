#include "remote/host_queries.h"

#include "remote/remote_session.h"

namespace keld {

namespace {

// One call on a throw-away session: bind, call on handle 0, release. The
// handles are gone before the session is, so nothing is closed on the target.
Status RunHostQuery(const char* host, RemoteProcedureCall& record) {
  RemoteSession session(DefaultRemoteTimeout);
  Status status = session.ComposeBinding(host);
  if (status == kSuccess) status = session.ExecuteCall(record, 0);
  session.ReleaseBindings();
  return status;
}

}  // namespace

Status QueryRemoteVersion(const char* host, std::uint32_t* version) {
  VersionCall call(version);
  return RunHostQuery(host, call);
}

Status CheckRemotePassword(const char* host) {
  PasswordCall call;
  return RunHostQuery(host, call);
}

Status GetRemoteMTU(const char* host, const char* adapter, std::uint32_t* mtu) {
  GetMTUCall call(adapter, mtu);
  return RunHostQuery(host, call);
}

Status SetRemoteMTU(const char* host, const char* adapter, std::uint32_t mtu) {
  SetMTUCall call(adapter, mtu);
  return RunHostQuery(host, call);
}

}  // namespace keld
