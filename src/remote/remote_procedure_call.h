// Call records: each CfgRemote procedure as a small record that carries its
// parameters, so that one executor (RemoteSession::ExecuteCall) can put the
// time-out, the exception guard and the choice of binding handle around
// every call. Records live on the caller's stack for one call.
#pragma once

#include <cstdint>

#include "foundation/byte_stream.h"
#include "foundation/status.h"

namespace keld {

namespace rpc {
class RpcBinding;
}

struct RemoteProcedureCall {
  RemoteProcedureCall() = default;
  RemoteProcedureCall(const RemoteProcedureCall&) = delete;
  RemoteProcedureCall& operator=(const RemoteProcedureCall&) = delete;
  virtual ~RemoteProcedureCall() = default;
  // Runs the procedure on `binding`; transport failures throw.
  virtual Status Execute() = 0;

  rpc::RpcBinding* binding = nullptr;
};

struct OpenCall : RemoteProcedureCall {
  OpenCall(std::uint32_t type, const char* clientName, const char* interface, std::uint32_t* id)
      : driverType(type), name(clientName), interfaceName(interface), sessionId(id) {}
  Status Execute() override;
  std::uint32_t driverType;
  const char* name;
  const char* interfaceName;
  std::uint32_t* sessionId;
};

struct CloseCall : RemoteProcedureCall {
  explicit CloseCall(std::uint32_t id) : sessionId(id) {}
  Status Execute() override;
  std::uint32_t sessionId;
};

struct CommandCall : RemoteProcedureCall {
  CommandCall(std::uint32_t id, std::uint32_t number, ByteStream* in, ByteStream* out)
      : sessionId(id), command(number), input(in), output(out) {}
  Status Execute() override;
  std::uint32_t sessionId;
  std::uint32_t command;
  ByteStream* input;
  ByteStream* output;
};

struct PingCall : RemoteProcedureCall {
  explicit PingCall(std::uint32_t id) : sessionId(id) {}
  Status Execute() override;
  std::uint32_t sessionId;
};

// Sends nothing: the library has no stub for the password procedure.
struct PasswordCall : RemoteProcedureCall {
  Status Execute() override { return kNotSupported; }
};

struct VersionCall : RemoteProcedureCall {
  explicit VersionCall(std::uint32_t* out) : version(out) {}
  Status Execute() override;
  std::uint32_t* version;
};

struct GetMTUCall : RemoteProcedureCall {
  GetMTUCall(const char* adapter, std::uint32_t* out) : adapterName(adapter), mtu(out) {}
  Status Execute() override;
  const char* adapterName;
  std::uint32_t* mtu;
};

struct SetMTUCall : RemoteProcedureCall {
  SetMTUCall(const char* adapter, std::uint32_t value) : adapterName(adapter), mtu(value) {}
  Status Execute() override;
  const char* adapterName;
  std::uint32_t mtu;
};

}  // namespace keld
