#include "remote/remote_session.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "remote/remote_port.h"
#include "remote/service_locator.h"

namespace keld {

std::uint32_t DefaultRemoteTimeout = 45000;

namespace {

constexpr const char* kLoopbackPrefix = "127.0.0.1";
constexpr std::size_t kLoopbackPrefixLength = 9;
// Sizes of the two work buffers; longer texts are cut to fit.
constexpr std::size_t kNetworkAddressSize = 1024;
constexpr std::size_t kTargetNameSize = 256;

std::string Cut(const char* text, std::size_t bufferSize) {
  return std::string(text, strnlen(text, bufferSize - 1));
}

}  // namespace

RemoteSession::RemoteSession(const char* clientName, const char* hostName, std::uint32_t driverType,
                             const char* interfaceName, Status* status)
    : timeout(DefaultRemoteTimeout), host(hostName) {
  *status = Open(driverType, clientName, hostName, interfaceName);
}

RemoteSession::RemoteSession(std::uint32_t timeoutMs) : timeout(timeoutMs) {}

RemoteSession::~RemoteSession() {
  // A close that the target refused is tried once more here; its answer has
  // no one left to go to.
  if (bindings[0]) IgnoreStatus(CloseRemote());
}

Status RemoteSession::ComposeBinding(const char* hostText) {
  if (hostText == nullptr) hostText = "";
  std::string networkAddress;
  std::string targetName;
  if (std::strncmp(hostText, kLoopbackPrefix, kLoopbackPrefixLength) != 0) {
    networkAddress = Cut(hostText, kNetworkAddressSize);
  } else {
    networkAddress = kLoopbackPrefix;
    const char* name = hostText + kLoopbackPrefixLength;
    while (*name == ':') ++name;
    targetName = Cut(name, kTargetNameSize);
  }

  std::uint32_t port = ReadRemotePort();
  if (!targetName.empty()) {
    port = LocateService(networkAddress.c_str(), targetName.c_str(), static_cast<int>(port));
  }
  char endpoint[16];
  std::snprintf(endpoint, sizeof endpoint, "%u", port);
  const std::string stringBinding = rpc::ComposeStringBinding(networkAddress, endpoint);

  std::uint32_t status = 0;
  bindings[0] = rpc::RpcBinding::FromStringBinding(stringBinding, &status);
  if (status == 0) bindings[1] = rpc::RpcBinding::FromStringBinding(stringBinding, &status);
  return status;
}

Status RemoteSession::ExecuteCall(RemoteProcedureCall& record, int handleIndex) {
  try {
    rpc::RpcBinding* binding = bindings[handleIndex].get();
    if (binding != nullptr) binding->SetComTimeout(timeout);
    record.binding = binding;
    return record.Execute();
  } catch (...) {
    return kRemoteException;
  }
}

Status RemoteSession::Open(std::uint32_t driverType, const char* name, const char* hostText,
                           const char* interfaceName) {
  Status status = ComposeBinding(hostText);
  if (status != kSuccess) {
    ReleaseBindings();
    return status;
  }
  OpenCall open(driverType, name, interfaceName, &sessionId);
  status = ExecuteCall(open, 0);
  if (status == kSuccess) {
    VersionCall version(&remoteVersion);
    status = ExecuteCall(version, 0);
  }
  if (status != kSuccess) ReleaseBindings();
  return status;
}

Status RemoteSession::CloseRemote() {
  CloseCall close(sessionId);
  const Status status = ExecuteCall(close, 0);
  if (status == kSuccess) ReleaseBindings();
  remoteVersion = 0;
  return status;
}

Status RemoteSession::Ping() {
  PingCall ping(sessionId);
  return ExecuteCall(ping, 0);
}

void RemoteSession::ReleaseBindings() {
  bindings[0].reset();
  bindings[1].reset();
}

}  // namespace keld
