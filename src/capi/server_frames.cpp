#include "capi/server_frames.h"

#include <memory>

#include "local/local_device_config_session.h"
#include "session/session_registry.h"

namespace keld::frames {

Status CreateServerSession(std::uint32_t driverType, const char* clientName, const char* interfaceName,
                           std::uint32_t* sessionId) {
  if (clientName == nullptr || interfaceName == nullptr || sessionId == nullptr) return kBadPointer;
  std::shared_ptr<ConfigSession> session;
  const Status status = CreateSession(&session, driverType, clientName, nullptr, interfaceName);
  *sessionId = status == kSuccess ? session->id : 0;
  return status;
}

Status ExecuteServerCommand(std::uint32_t sessionId, std::uint32_t command, ByteStream* input, ByteStream* output) {
  if (input == nullptr || output == nullptr) return kBadPointer;
  std::shared_ptr<ConfigSession> session;
  const Status status = GetSession(&session, sessionId);
  if (status != kSuccess) return status;
  return session->ExecuteCommand(command, input, output);
}

Status PingServerSession(std::uint32_t sessionId) {
  std::shared_ptr<ConfigSession> session;
  return GetSession(&session, sessionId);
}

Status CloseServerSession(std::uint32_t sessionId) {
  std::shared_ptr<ConfigSession> session;
  const Status status = GetSession(&session, sessionId);
  if (status == kSuccess) CloseSession(session.get());
  return status;
}

void SetLargestServerReply(std::uint64_t bytes) { SetLargestReply(bytes); }

}  // namespace keld::frames
