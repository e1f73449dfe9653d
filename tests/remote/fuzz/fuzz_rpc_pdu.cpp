// libFuzzer target for what a peer's bytes reach first: the PDU parsers,
// the fragment reassembly rules and the NDR readers of all eight
// procedures. Every malformed input must end in RpcError, never in a crash,
// a leak or an out-of-bounds read.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/ndr.h"
#include "remote/rpc/pdu.h"
#include "remote/rpc/rpc_error.h"

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
  const rpc::PduHeader header = rpc::ParseHeader(data, size);
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    ParsePdu(data, size);
  } catch (const rpc::RpcError&) {
  }
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
