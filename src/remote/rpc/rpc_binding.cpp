#include "remote/rpc/rpc_binding.h"

#include <algorithm>
#include <cstdlib>

#include "foundation/debug_log.h"
#include "remote/rpc/ndr.h"

#include "remote/resolve_host.h"
#include "remote/rpc/response_reader.h"
#include "remote/rpc/rpc_error.h"
#include "remote/rpc/rpc_socket.h"

namespace keld::rpc {

namespace {

constexpr const char* kProtocolSequence = "ncacn_ip_tcp";
constexpr std::uint16_t kContextId = 0;

}  // namespace

std::string ComposeStringBinding(const std::string& networkAddress, const std::string& endpoint) {
  return std::string(kProtocolSequence) + ":" + networkAddress + "[" + endpoint + "]";
}

std::unique_ptr<RpcBinding> RpcBinding::FromStringBinding(const std::string& text, std::uint32_t* status) {
  *status = kRpcInvalidStringBinding;
  const std::string prefix = std::string(kProtocolSequence) + ":";
  if (text.rfind(prefix, 0) != 0) return nullptr;
  const std::size_t open = text.find('[', prefix.size());
  if (open == std::string::npos || text.back() != ']') return nullptr;
  const std::string address = text.substr(prefix.size(), open - prefix.size());
  const std::string endpoint = text.substr(open + 1, text.size() - open - 2);
  // The address may not hold the characters that delimit a string binding.
  if (address.find_first_of("[]@\\ \t\r\n") != std::string::npos) return nullptr;
  if (endpoint.empty() || endpoint.find_first_not_of("0123456789") != std::string::npos) return nullptr;
  *status = 0;
  return std::make_unique<RpcBinding>(address, static_cast<std::uint32_t>(std::strtoul(endpoint.c_str(), nullptr, 10)));
}

RpcBinding::RpcBinding(std::string networkAddress, std::uint32_t port)
    : networkAddress_(std::move(networkAddress)), port_(port) {}

RpcBinding::~RpcBinding() = default;

void RpcBinding::SetComTimeout(std::uint32_t milliseconds) { timeoutMs_.store(milliseconds); }

void RpcBinding::SetFragmentSizes(std::uint16_t maxXmit, std::uint16_t maxRecv) {
  std::unique_lock<std::mutex> guard(lock_);
  idle_.wait(guard, [this] { return !inCall_; });
  offerXmit_ = maxXmit;
  offerRecv_ = maxRecv;
}

void RpcBinding::Connect(const Deadline& deadline) {
  // The endpoint is printed with %u; one that does not fit 16 bits names no port.
  if (port_ > 0xFFFF) throw RpcError(kRpcServerUnavailable, "endpoint out of range");
  const std::uint32_t address = ResolveHost(networkAddress_.c_str());
  auto socket = std::make_unique<RpcSocket>(RpcSocket::Connect(address, static_cast<std::uint16_t>(port_), deadline));

  BindPdu bind;
  bind.maxXmitFrag = offerXmit_;
  bind.maxRecvFrag = offerRecv_;
  bind.contexts.push_back({kContextId, kCfgRemoteSyntax, {kNdrSyntax}});
  const std::uint32_t callId = nextCallId_++;
  const std::vector<std::uint8_t> request = EncodeBind(callId, bind);
  socket->SendAll(request.data(), request.size(), deadline);

  std::vector<std::uint8_t> reply;
  const PduHeader header = socket->ReadFragment(&reply, offerRecv_, deadline, 0, AuthTrailer::kSkipped);
  if (header.type == kPduBindNak) throw RpcError(kRpcBindRejected, "bind refused");
  const BindAckPdu ack = ParseBindAck(reply.data(), reply.size());
  // The connection is new and carries this bind alone, so the answer is
  // this bind's whatever call id the peer wrote into it.
  if (header.callId != callId) DebugLog("bind_ack carries call id %u for bind %u", header.callId, callId);
  if (ack.results.empty() || ack.results[0].result != kBindAccepted) {
    throw RpcError(kRpcBindRejected, "interface not accepted");
  }
  if (ack.maxXmitFrag < kMinFragSize || ack.maxRecvFrag < kMinFragSize) {
    throw RpcError(kRpcCallFailed, "fragment size below the minimum");
  }
  sendFrag_ = std::min(ack.maxRecvFrag, offerXmit_);
  recvFrag_ = std::min(ack.maxXmitFrag, offerRecv_);
  socket_ = std::move(socket);
}

void RpcBinding::Call(std::uint16_t opnum, const StubPiece* pieces, std::size_t count,
                      const std::function<void(ResponseReader*)>& consume) {
  const std::uint32_t timeoutMs = timeoutMs_.load();
  const Deadline deadline = Deadline::InMs(timeoutMs);
  {
    // Waiting for another thread's call on this connection uses up this call's time.
    std::unique_lock<std::mutex> guard(lock_);
    if (!idle_.wait_for(guard, std::chrono::milliseconds(timeoutMs), [this] { return !inCall_; })) {
      throw RpcError(kRpcTimedOut, "deadline passed waiting for the connection");
    }
    inCall_ = true;
  }
  struct Leave {
    RpcBinding* binding;
    ~Leave() {
      {
        std::lock_guard<std::mutex> guard(binding->lock_);
        binding->inCall_ = false;
      }
      binding->idle_.notify_all();
    }
  } leave{this};
  try {
    // A connection the server closed while it sat idle is made anew.
    if (socket_ && socket_->ClosedWhileIdle()) socket_.reset();
    if (!socket_) Connect(deadline);
    const std::uint32_t callId = nextCallId_++;
    socket_->SendFragments(kPduRequest, callId, kContextId, opnum, pieces, count, sendFrag_, deadline);
    ResponseReader reader(socket_.get(), callId, recvFrag_, deadline);
    consume(&reader);
    std::vector<std::uint8_t> rest;
    reader.ReadRest(&rest);
  } catch (...) {
    socket_.reset();  // the next call starts on a fresh connection
    throw;
  }
}

RpcReply RpcBinding::Call(std::uint16_t opnum, const std::vector<std::uint8_t>& stub) {
  RpcReply reply;
  const StubPiece whole{stub.data(), stub.size()};
  Call(opnum, &whole, 1, [&reply](ResponseReader* reader) {
    reply.bigEndian = reader->bigEndian();
    reply.stub.reserve(std::min<std::size_t>(reader->allocHint(), kMaxHintedReserve));
    reader->ReadRest(&reply.stub);
  });
  return reply;
}

}  // namespace keld::rpc
