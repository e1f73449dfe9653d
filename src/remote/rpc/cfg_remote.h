// The CfgRemote interface: its eight procedures, the client stubs that
// marshal them in NDR over an RpcBinding, and the server-side dispatcher
// that unmarshals a request, calls a handler and marshals the reply.
//
// Wire forms (after the binding handle, which is not marshalled):
//   0 RemoteOpen     in long, [string] char*, [string] char*; out long
//   1 RemoteCommand  in long, long, ByteStream*; out ByteStream*
//   2 RemotePing     in long
//   3 RemoteClose    in long
//   4 RemotePassword in long, long (no client stub; servers answer 0xBFFF8011)
//   5 RemoteVersion  out long
//   6 RemoteGetMTU   in [string] char*; out long
//   7 RemoteSetMTU   in [string] char*, long
// Each reply ends with the 32-bit status. A ByteStream is a structure of
// its size, a unique pointer to size bytes and a unique pointer to one byte
// (the reader's cursor, sent for form's sake and ignored on receipt).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/byte_stream.h"
#include "foundation/status.h"
#include "remote/rpc/ndr.h"
#include "remote/rpc/pdu.h"

namespace keld::rpc {

class RpcBinding;

enum CfgRemoteProcedure : std::uint16_t {
  kRemoteOpen = 0,
  kRemoteCommand = 1,
  kRemotePing = 2,
  kRemoteClose = 3,
  kRemotePassword = 4,
  kRemoteVersion = 5,
  kRemoteGetMTU = 6,
  kRemoteSetMTU = 7,
};
inline constexpr std::uint16_t kCfgRemoteProcedureCount = 8;

// Client stubs. A null reference pointer throws RpcError(1780) before
// anything is sent; every transport failure throws RpcError. The returned
// status is the target's. `output` receives a block from malloc (or null
// for an empty stream) that the caller releases with free.
Status RemoteOpen(RpcBinding* binding, std::uint32_t driverType, const char* name, const char* interfaceName,
                  std::uint32_t* sessionId);
Status RemoteCommand(RpcBinding* binding, std::uint32_t sessionId, std::uint32_t command, ByteStream* input,
                     ByteStream* output);
Status RemotePing(RpcBinding* binding, std::uint32_t sessionId);
Status RemoteClose(RpcBinding* binding, std::uint32_t sessionId);
Status RemoteVersion(RpcBinding* binding, std::uint32_t* version);
Status RemoteGetMTU(RpcBinding* binding, const char* adapterName, std::uint32_t* mtu);
Status RemoteSetMTU(RpcBinding* binding, const char* adapterName, std::uint32_t mtu);

// NDR form of a ByteStream; the reader allocates with malloc.
void WriteByteStream(NdrWriter* writer, const ByteStream& stream);
void ReadByteStream(NdrReader* reader, ByteStream* stream);
// The same form read without a copy: `view` points into the reader's bytes,
// which must outlive it, and owns nothing (it must not be Reset or grown).
void ReadByteStreamInPlace(NdrReader* reader, ByteStream* view);
// The same form with the payload left out of the writer's buffer (see
// NdrWriter::Omit); returns the stub offset where stream.data's size bytes
// belong. A stream without data has no payload to splice in.
std::size_t WriteByteStreamSpliced(NdrWriter* writer, const ByteStream& stream);

// A reply stub as the server sends it: `bytes` in NDR with the payload of an
// output stream left out at `spliceAt`, spliced back in as it goes out, so
// that a command's output block is never copied. Owns the block.
struct ReplyStub {
  std::vector<std::uint8_t> bytes;
  ScopedByteStream bulk;
  std::size_t spliceAt = 0;
  ReplyStub() = default;
  ReplyStub(const ReplyStub&) = delete;
  ReplyStub& operator=(const ReplyStub&) = delete;
  ~ReplyStub();
  // Empties the stub and frees the block (or gives a lent one back to its
  // home), ready for the next reply.
  void Clear();
  // bytes[0, spliceAt), the block's size bytes, bytes[spliceAt, end).
  std::vector<StubPiece> Pieces();
  // The joined stub, for readers that want it in one piece.
  std::vector<std::uint8_t> Joined();
};

// Who is calling: one TCP connection of the server.
struct PeerInfo {
  std::uint64_t connection = 0;
  std::uint32_t address = 0;  // IPv4, host byte order
  std::uint16_t port = 0;
};

// What a server of the interface implements.
class CfgRemoteHandler {
 public:
  virtual ~CfgRemoteHandler() = default;
  virtual Status Open(const PeerInfo& peer, std::uint32_t driverType, const std::string& name,
                      const std::string& interfaceName, std::uint32_t* sessionId) = 0;
  virtual Status Command(const PeerInfo& peer, std::uint32_t sessionId, std::uint32_t command, ByteStream* input,
                         ByteStream* output) = 0;
  virtual Status Ping(const PeerInfo& peer, std::uint32_t sessionId) = 0;
  virtual Status Close(const PeerInfo& peer, std::uint32_t sessionId) = 0;
  virtual Status Password(const PeerInfo&, std::uint32_t, std::uint32_t) { return kNotSupported; }
  virtual Status Version(const PeerInfo& peer, std::uint32_t* version) = 0;
  virtual Status GetMTU(const PeerInfo& peer, const std::string& adapterName, std::uint32_t* mtu) = 0;
  virtual Status SetMTU(const PeerInfo& peer, const std::string& adapterName, std::uint32_t mtu) = 0;
  // Connection events, for servers that track their clients.
  virtual void Connected(const PeerInfo&) {}
  virtual void Disconnected(const PeerInfo&) {}
};

// Runs one request on the handler; a command's input stream is read in
// place from the request's bytes. Returns 0 with the reply stub in
// `reply` (which must come in empty), or the fault status to send (unknown
// procedure number). Bad stub data throws RpcError(kRpcBadStubData).
std::uint32_t DispatchCfgRemote(CfgRemoteHandler* handler, const PeerInfo& peer, std::uint16_t opnum,
                                NdrReader* request, ReplyStub* reply);

}  // namespace keld::rpc
