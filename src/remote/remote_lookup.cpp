#include "remote/remote_lookup.h"

#include "session/session_registry.h"

namespace keld {

Status GetRemoteSession(std::shared_ptr<RemoteDeviceConfigSession>* out, std::uint32_t id) {
  std::shared_ptr<ConfigSession> session;
  const Status status = GetSession(&session, id);
  if (status != kSuccess) return status;
  if (!session->IsRemote()) return kInvalidSession;
  if (session->GetDriverType() > kDriverKELDnv) return kInvalidSession;
  auto* remote = dynamic_cast<RemoteDeviceConfigSession*>(session.get());
  if (remote == nullptr) return kInvalidSession;
  *out = std::shared_ptr<RemoteDeviceConfigSession>(std::move(session), remote);
  return kSuccess;
}

}  // namespace keld
