#include "remote/rpc/cfg_remote.h"

#include <cstdlib>
#include <cstring>

#include "remote/rpc/pdu.h"
#include "remote/rpc/rpc_binding.h"
#include "remote/rpc/rpc_error.h"

namespace keld::rpc {

namespace {

void RequireReference(const void* pointer) {
  if (pointer == nullptr) throw RpcError(kRpcNullRefPointer, "null reference pointer");
}

// Sends a stub and hands back a reader over the reply; `reply` keeps the bytes.
NdrReader Exchange(RpcBinding* binding, CfgRemoteProcedure procedure, const std::vector<std::uint8_t>& stub,
                   RpcReply* reply) {
  RequireReference(binding);
  *reply = binding->Call(procedure, stub);
  return NdrReader(reply->stub.data(), reply->stub.size(), reply->bigEndian);
}

// The procedures whose only in-parameter is the session id and whose reply
// is the status alone.
Status SessionIdCall(RpcBinding* binding, CfgRemoteProcedure procedure, std::uint32_t sessionId) {
  std::vector<std::uint8_t> stub;
  NdrWriter(&stub).U32(sessionId);
  RpcReply reply;
  NdrReader r = Exchange(binding, procedure, stub, &reply);
  return r.U32();
}

}  // namespace

void WriteByteStream(NdrWriter* w, const ByteStream& stream) {
  const bool hasData = stream.data != nullptr && stream.size != 0;
  const bool hasCursor =
      hasData && stream.cursor != nullptr && stream.cursor >= stream.data && stream.cursor < stream.data + stream.size;
  w->U32(hasData ? stream.size : 0);
  w->U32(hasData ? w->NextReferent() : 0);
  w->U32(hasCursor ? w->NextReferent() : 0);
  if (hasData) {
    w->U32(stream.size);
    w->Bytes(stream.data, stream.size);
  }
  if (hasCursor) w->U8(*stream.cursor);
}

void ReadByteStream(NdrReader* r, ByteStream* stream) {
  const std::uint32_t size = r->U32();
  const std::uint32_t dataReferent = r->U32();
  const std::uint32_t cursorReferent = r->U32();
  const std::uint8_t* bytes = nullptr;
  if (dataReferent != 0) {
    if (r->U32() != size) BadStubData("array count differs from the stream size");
    bytes = r->Bytes(size);
  } else if (size != 0) {
    BadStubData("stream size without data");
  }
  if (cursorReferent != 0) r->U8();
  // Everything is read and checked: only now is memory taken.
  std::uint8_t* data = nullptr;
  if (bytes != nullptr && size != 0) {
    data = static_cast<std::uint8_t*>(std::malloc(size));
    if (data == nullptr) BadStubData("out of memory");
    std::memcpy(data, bytes, size);
  }
  stream->size = data != nullptr ? size : 0;
  stream->data = data;
  stream->cursor = data;
}

Status RemoteOpen(RpcBinding* binding, std::uint32_t driverType, const char* name, const char* interfaceName,
                  std::uint32_t* sessionId) {
  RequireReference(name);
  RequireReference(interfaceName);
  RequireReference(sessionId);
  std::vector<std::uint8_t> stub;
  NdrWriter w(&stub);
  w.U32(driverType);
  w.ConformantString(name);
  w.ConformantString(interfaceName);
  RpcReply reply;
  NdrReader r = Exchange(binding, kRemoteOpen, stub, &reply);
  const std::uint32_t id = r.U32();
  const Status status = r.U32();
  *sessionId = id;
  return status;
}

Status RemoteCommand(RpcBinding* binding, std::uint32_t sessionId, std::uint32_t command, ByteStream* input,
                     ByteStream* output) {
  RequireReference(input);
  RequireReference(output);
  std::vector<std::uint8_t> stub;
  NdrWriter w(&stub);
  w.U32(sessionId);
  w.U32(command);
  WriteByteStream(&w, *input);
  RpcReply reply;
  NdrReader r = Exchange(binding, kRemoteCommand, stub, &reply);
  ByteStream received;
  ReadByteStream(&r, &received);
  Status status = 0;
  try {
    status = r.U32();
  } catch (...) {
    received.Reset();
    throw;
  }
  *output = received;
  return status;
}

Status RemotePing(RpcBinding* binding, std::uint32_t sessionId) { return SessionIdCall(binding, kRemotePing, sessionId); }

Status RemoteClose(RpcBinding* binding, std::uint32_t sessionId) {
  return SessionIdCall(binding, kRemoteClose, sessionId);
}

Status RemoteVersion(RpcBinding* binding, std::uint32_t* version) {
  RequireReference(version);
  RpcReply reply;
  NdrReader r = Exchange(binding, kRemoteVersion, {}, &reply);
  const std::uint32_t value = r.U32();
  const Status status = r.U32();
  *version = value;
  return status;
}

Status RemoteGetMTU(RpcBinding* binding, const char* adapterName, std::uint32_t* mtu) {
  RequireReference(adapterName);
  RequireReference(mtu);
  std::vector<std::uint8_t> stub;
  NdrWriter(&stub).ConformantString(adapterName);
  RpcReply reply;
  NdrReader r = Exchange(binding, kRemoteGetMTU, stub, &reply);
  const std::uint32_t value = r.U32();
  const Status status = r.U32();
  *mtu = value;
  return status;
}

Status RemoteSetMTU(RpcBinding* binding, const char* adapterName, std::uint32_t mtu) {
  RequireReference(adapterName);
  std::vector<std::uint8_t> stub;
  NdrWriter w(&stub);
  w.ConformantString(adapterName);
  w.U32(mtu);
  RpcReply reply;
  NdrReader r = Exchange(binding, kRemoteSetMTU, stub, &reply);
  return r.U32();
}

std::uint32_t DispatchCfgRemote(CfgRemoteHandler* handler, const PeerInfo& peer, std::uint16_t opnum, NdrReader* r,
                                std::vector<std::uint8_t>* reply) {
  NdrWriter w(reply);
  switch (opnum) {
    case kRemoteOpen: {
      const std::uint32_t driverType = r->U32();
      const std::string name = r->ConformantString();
      const std::string interfaceName = r->ConformantString();
      std::uint32_t sessionId = 0;
      const Status status = handler->Open(peer, driverType, name, interfaceName, &sessionId);
      w.U32(sessionId);
      w.U32(status);
      return 0;
    }
    case kRemoteCommand: {
      const std::uint32_t sessionId = r->U32();
      const std::uint32_t command = r->U32();
      ScopedByteStream input;
      ReadByteStream(r, input.get());
      ScopedByteStream output;
      const Status status = handler->Command(peer, sessionId, command, input.get(), output.get());
      reply->reserve(reply->size() + output->size + 32);
      WriteByteStream(&w, *output);
      w.U32(status);
      return 0;
    }
    case kRemotePing:
    case kRemoteClose: {
      const std::uint32_t sessionId = r->U32();
      w.U32(opnum == kRemotePing ? handler->Ping(peer, sessionId) : handler->Close(peer, sessionId));
      return 0;
    }
    case kRemotePassword: {
      const std::uint32_t first = r->U32();
      const std::uint32_t second = r->U32();
      w.U32(handler->Password(peer, first, second));
      return 0;
    }
    case kRemoteVersion: {
      std::uint32_t version = 0;
      const Status status = handler->Version(peer, &version);
      w.U32(version);
      w.U32(status);
      return 0;
    }
    case kRemoteGetMTU: {
      const std::string adapter = r->ConformantString();
      std::uint32_t mtu = 0;
      const Status status = handler->GetMTU(peer, adapter, &mtu);
      w.U32(mtu);
      w.U32(status);
      return 0;
    }
    case kRemoteSetMTU: {
      const std::string adapter = r->ConformantString();
      const std::uint32_t mtu = r->U32();
      w.U32(handler->SetMTU(peer, adapter, mtu));
      return 0;
    }
    default:
      return kFaultOpRangeError;
  }
}

}  // namespace keld::rpc
