#include "remote/remote_procedure_call.h"

#include "remote/rpc/cfg_remote.h"

namespace keld {

Status OpenCall::Execute() { return rpc::RemoteOpen(binding, driverType, name, interfaceName, sessionId); }
Status CloseCall::Execute() { return rpc::RemoteClose(binding, sessionId); }
Status CommandCall::Execute() { return rpc::RemoteCommand(binding, sessionId, command, input, output); }
Status PingCall::Execute() { return rpc::RemotePing(binding, sessionId); }
Status VersionCall::Execute() { return rpc::RemoteVersion(binding, version); }
Status GetMTUCall::Execute() { return rpc::RemoteGetMTU(binding, adapterName, mtu); }
Status SetMTUCall::Execute() { return rpc::RemoteSetMTU(binding, adapterName, mtu); }

}  // namespace keld
