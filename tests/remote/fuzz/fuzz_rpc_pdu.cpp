// libFuzzer target for what a peer's bytes reach first: the PDU parsers,
// the fragment reassembly rules and the NDR readers of all eight
// procedures, and the client's fragment-by-fragment reply reader fed from a
// socket. Every malformed input must end in RpcError, never in a crash, a
// leak or an out-of-bounds read.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/ndr.h"
#include "remote/rpc/pdu.h"
#include "remote/rpc/response_reader.h"
#include "remote/rpc/rpc_error.h"
#include "remote/rpc/rpc_socket.h"

namespace {

using namespace keld;

class NullHandler : public rpc::CfgRemoteHandler {
 public:
  Status Open(const rpc::PeerInfo&, std::uint32_t, const std::string&, const std::string&, std::uint32_t* id) override {
    *id = 1;
    return kSuccess;
  }
  Status Command(const rpc::PeerInfo&, std::uint32_t, std::uint32_t, ByteStream* input, ByteStream* output) override {
    return output->AppendBytes(input->data, input->size);
  }
  Status Ping(const rpc::PeerInfo&, std::uint32_t) override { return kSuccess; }
  Status Close(const rpc::PeerInfo&, std::uint32_t) override { return kSuccess; }
  Status Version(const rpc::PeerInfo&, std::uint32_t* version) override {
    *version = 1;
    return kSuccess;
  }
  Status GetMTU(const rpc::PeerInfo&, const std::string&, std::uint32_t* mtu) override {
    *mtu = 1500;
    return kSuccess;
  }
  Status SetMTU(const rpc::PeerInfo&, const std::string&, std::uint32_t) override { return kSuccess; }
};

void ParsePdu(const std::uint8_t* data, std::size_t size) {
  // Each parser applies its own rule on authentication trailers.
  const rpc::PduHeader header = rpc::ParseHeader(data, size, rpc::AuthTrailer::kSkipped);
  switch (header.type) {
    case rpc::kPduBind: rpc::ParseBind(data, size); break;
    case rpc::kPduBindAck: rpc::ParseBindAck(data, size); break;
    case rpc::kPduBindNak: rpc::ParseBindNak(data, size); break;
    case rpc::kPduFault: rpc::ParseFault(data, size); break;
    case rpc::kPduResponse: rpc::ParseResponse(data, size); break;
    case rpc::kPduRequest: {
      const rpc::RequestInfo info = rpc::ParseRequest(data, size);
      NullHandler handler;
      rpc::ReplyStub reply;
      rpc::NdrReader reader(data + info.stubOffset, header.fragLength - info.stubOffset, header.bigEndian);
      rpc::DispatchCfgRemote(&handler, rpc::PeerInfo{}, info.opnum, &reader, &reply);
      break;
    }
    default: break;
  }
}

// The bytes as a reply on a connection that then closes, read as the client
// reads one: a stretch as long as the allocation hint says (at most 64 KiB,
// across fragments where they are of `maxFrag`), then whatever follows.
void ReadAsReply(const std::uint8_t* data, std::size_t size, std::size_t maxFrag) {
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0) return;
  int room = static_cast<int>(size) + 4096;
  setsockopt(pair[0], SOL_SOCKET, SO_SNDBUF, &room, sizeof(room));
  setsockopt(pair[1], SOL_SOCKET, SO_RCVBUF, &room, sizeof(room));
  const ssize_t sent = write(pair[0], data, size);
  close(pair[0]);
  rpc::RpcSocket socket(pair[1]);  // owns and closes its end
  if (sent != static_cast<ssize_t>(size)) return;
  try {
    const rpc::Deadline deadline = rpc::Deadline::InMs(1000);
    rpc::ResponseReader reader(&socket, 2, maxFrag, deadline);
    std::vector<std::uint8_t> head(std::min<std::size_t>(65536, reader.allocHint()));
    reader.Read(head.data(), head.size());
    std::vector<std::uint8_t> rest;
    reader.ReadRest(&rest);
  } catch (const rpc::RpcError&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    ParsePdu(data, size);
  } catch (const rpc::RpcError&) {
  }
  ReadAsReply(data, size, 4096);
  ReadAsReply(data, size, 56);  // fragments of 32 stub bytes: read ahead across many
  // The same bytes as a bare stub of each procedure, as the client reads replies.
  if (size > 0) {
    try {
      NullHandler handler;
      rpc::ReplyStub reply;
      rpc::NdrReader reader(data + 1, size - 1, (data[0] & 0x80) != 0);
      rpc::DispatchCfgRemote(&handler, rpc::PeerInfo{}, data[0] & 0x7, &reader, &reply);
    } catch (const rpc::RpcError&) {
    }
    try {
      rpc::NdrReader reader(data, size);
      ScopedByteStream stream;
      rpc::ReadByteStream(&reader, stream.get());
    } catch (const rpc::RpcError&) {
    }
    // The server's reading of a command's input, in place.
    try {
      rpc::NdrReader reader(data, size);
      ByteStream view;
      rpc::ReadByteStreamInPlace(&reader, &view);
      if (view.size != 0 && (view.data < data || view.data + view.size > data + size)) __builtin_trap();
    } catch (const rpc::RpcError&) {
    }
  }
  return 0;
}
