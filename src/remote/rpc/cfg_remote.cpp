#include "remote/rpc/cfg_remote.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "foundation/lent_block.h"
#include "remote/rpc/pdu.h"
#include "remote/rpc/response_reader.h"
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

// Bytes of a stream's payload that go on the wire: none without data.
std::uint32_t PayloadSize(const ByteStream& stream) { return stream.data != nullptr ? stream.size : 0; }

// Writes a stream's NDR form; with `splice` its payload is left out and the
// offset where it belongs is returned.
std::size_t PutByteStream(NdrWriter* w, const ByteStream& stream, bool splice) {
  const std::uint32_t size = PayloadSize(stream);
  const bool hasCursor = size != 0 && stream.cursor != nullptr && stream.cursor >= stream.data &&
                         stream.cursor < stream.data + size;
  w->U32(size);
  w->U32(size != 0 ? w->NextReferent() : 0);
  w->U32(hasCursor ? w->NextReferent() : 0);
  std::size_t at = w->position();
  if (size != 0) {
    w->U32(size);
    at = w->position();
    if (splice) {
      w->Omit(size);
    } else {
      w->Bytes(stream.data, size);
    }
  }
  if (hasCursor) w->U8(*stream.cursor);
  return at;
}

// Reads the output stream of a RemoteCommand reply and its status. The
// payload goes straight from the socket into the block handed to the
// caller. Its size is the peer's word, so the block starts at the size the
// allocation hint promises and grows with the bytes that really arrive.
Status ReadCommandReply(ResponseReader* reader, ByteStream* stream) {
  std::uint8_t head[16];
  reader->Read(head, 12);
  NdrReader r(head, sizeof head, reader->bigEndian());
  const std::uint32_t size = r.U32();
  const std::uint32_t dataReferent = r.U32();
  const std::uint32_t cursorReferent = r.U32();
  if (dataReferent != 0) {
    reader->Read(head + 12, 4);
    if (r.U32() != size) BadStubData("array count differs from the stream size");
  } else if (size != 0) {
    BadStubData("stream size without data");
  }
  if (dataReferent != 0 && size != 0) {
    std::size_t capacity = std::min<std::size_t>({size, std::max<std::size_t>(reader->allocHint(), 4096),
                                                  kMaxHintedReserve});
    stream->data = static_cast<std::uint8_t*>(std::malloc(capacity));
    if (stream->data == nullptr) BadStubData("out of memory");
    for (std::size_t done = 0; done < size;) {
      if (done == capacity) {
        capacity = std::min<std::size_t>(size, capacity * 2);
        void* grown = std::realloc(stream->data, capacity);
        if (grown == nullptr) BadStubData("out of memory");
        stream->data = static_cast<std::uint8_t*>(grown);
      }
      reader->Read(stream->data + done, capacity - done);
      done = capacity;
    }
    stream->size = size;
    stream->cursor = stream->data;
  }
  // The cursor byte and the status, read with the alignment they have in
  // the whole stub.
  const std::size_t pad = reader->position() % 8;
  std::vector<std::uint8_t> tail(pad);
  reader->ReadRest(&tail);
  NdrReader t(tail.data(), tail.size(), reader->bigEndian());
  t.Bytes(pad);
  if (cursorReferent != 0) t.U8();
  return t.U32();
}

}  // namespace

void WriteByteStream(NdrWriter* w, const ByteStream& stream) { PutByteStream(w, stream, false); }

std::size_t WriteByteStreamSpliced(NdrWriter* w, const ByteStream& stream) { return PutByteStream(w, stream, true); }

namespace {

// Reads and checks a stream's NDR form; the payload's size bytes are at the
// returned pointer (null without data).
const std::uint8_t* ReadByteStreamForm(NdrReader* r, std::uint32_t* size) {
  *size = r->U32();
  const std::uint32_t dataReferent = r->U32();
  const std::uint32_t cursorReferent = r->U32();
  const std::uint8_t* bytes = nullptr;
  if (dataReferent != 0) {
    if (r->U32() != *size) BadStubData("array count differs from the stream size");
    bytes = r->Bytes(*size);
  } else if (*size != 0) {
    BadStubData("stream size without data");
  }
  if (cursorReferent != 0) r->U8();
  return bytes;
}

}  // namespace

void ReadByteStreamInPlace(NdrReader* r, ByteStream* view) {
  std::uint32_t size = 0;
  const std::uint8_t* bytes = ReadByteStreamForm(r, &size);
  const bool some = bytes != nullptr && size != 0;
  // The reader's bytes are the caller's own memory; the stream type only
  // knows writable blocks.
  view->data = some ? const_cast<std::uint8_t*>(bytes) : nullptr;
  view->size = some ? size : 0;
  view->cursor = view->data;
}

void ReadByteStream(NdrReader* r, ByteStream* stream) {
  std::uint32_t size = 0;
  const std::uint8_t* bytes = ReadByteStreamForm(r, &size);
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
  RequireReference(binding);
  // The input's payload goes out from its own block, between the NDR bytes
  // before and after it.
  std::vector<std::uint8_t> stub;
  NdrWriter w(&stub);
  w.U32(sessionId);
  w.U32(command);
  const std::size_t spliceAt = WriteByteStreamSpliced(&w, *input);
  const StubPiece pieces[3] = {{stub.data(), spliceAt},
                               {input->data, PayloadSize(*input)},
                               {stub.data() + spliceAt, stub.size() - spliceAt}};
  ScopedByteStream received;
  Status status = 0;
  binding->Call(kRemoteCommand, pieces, 3,
                [&](ResponseReader* reader) { status = ReadCommandReply(reader, received.get()); });
  *output = *received;
  *received = ByteStream{};
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

ReplyStub::~ReplyStub() { ReturnLentOutput(bulk.get()); }

void ReplyStub::Clear() {
  bytes.clear();
  // A block the command lent goes back to its home; any other is freed.
  ReturnLentOutput(bulk.get());
  bulk->Reset();
  spliceAt = 0;
}

std::vector<StubPiece> ReplyStub::Pieces() {
  return {{bytes.data(), spliceAt}, {bulk->data, PayloadSize(*bulk)}, {bytes.data() + spliceAt, bytes.size() - spliceAt}};
}

std::vector<std::uint8_t> ReplyStub::Joined() {
  std::vector<std::uint8_t> joined;
  for (const StubPiece& piece : Pieces()) {
    if (piece.size > 0) joined.insert(joined.end(), piece.data, piece.data + piece.size);
  }
  return joined;
}

std::uint32_t DispatchCfgRemote(CfgRemoteHandler* handler, const PeerInfo& peer, std::uint16_t opnum, NdrReader* r,
                                ReplyStub* reply) {
  NdrWriter w(&reply->bytes);
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
      // The payload stays where the request was assembled: no second copy.
      ByteStream input;
      ReadByteStreamInPlace(r, &input);
      const Status status = handler->Command(peer, sessionId, command, &input, reply->bulk.get());
      reply->spliceAt = WriteByteStreamSpliced(&w, *reply->bulk);
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
