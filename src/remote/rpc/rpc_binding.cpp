#include "remote/rpc/rpc_binding.h"

#include <algorithm>
#include <cstdlib>

#include "remote/rpc/ndr.h"

#include "remote/resolve_host.h"
#include "remote/rpc/rpc_error.h"
#include "remote/rpc/rpc_socket.h"

namespace keld::rpc {

namespace {

constexpr const char* kProtocolSequence = "ncacn_ip_tcp";
constexpr std::uint16_t kContextId = 0;
// Largest reply buffer reserved up front on the strength of an allocation hint.
constexpr std::size_t kMaxReserve = 64u * 1024 * 1024;

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
  const PduHeader header = socket->ReadFragment(&reply, offerRecv_, deadline, 0);
  if (header.type == kPduBindNak) throw RpcError(kRpcBindRejected, "bind refused");
  const BindAckPdu ack = ParseBindAck(reply.data(), reply.size());
  if (header.callId != callId) throw RpcError(kRpcCallFailed, "bind_ack for another call");
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

RpcReply RpcBinding::Call(std::uint16_t opnum, const std::vector<std::uint8_t>& stub) {
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
    if (!socket_) Connect(deadline);
    return Exchange(opnum, stub, deadline);
  } catch (...) {
    socket_.reset();  // the next call starts on a fresh connection
    throw;
  }
}

RpcReply RpcBinding::Exchange(std::uint16_t opnum, const std::vector<std::uint8_t>& stub, const Deadline& deadline) {
  const std::uint32_t callId = nextCallId_++;
  std::vector<std::uint8_t> request;
  AppendRequestFragments(&request, callId, kContextId, opnum, stub.data(), stub.size(), sendFrag_);
  socket_->SendAll(request.data(), request.size(), deadline);

  RpcReply reply;
  std::vector<std::uint8_t> fragment;
  bool first = true;
  for (;;) {
    // The header is read first; the stub of a response then goes straight
    // to its place in the reply, without a copy through the fragment.
    fragment.resize(kResponseHeaderSize);
    socket_->ReadExact(fragment.data(), kHeaderSize, deadline);
    const PduHeader header = ParseHeader(fragment.data(), kHeaderSize);
    if (header.fragLength > recvFrag_) throw RpcError(kRpcCallFailed, "fragment longer than negotiated");
    if (header.callId != callId) throw RpcError(kRpcCallFailed, "reply to another call");
    if (header.type != kPduResponse || header.fragLength < kResponseHeaderSize) {
      fragment.resize(header.fragLength);
      socket_->ReadExact(fragment.data() + kHeaderSize, header.fragLength - kHeaderSize, deadline);
      if (header.type == kPduFault) throw RpcError(ParseFault(fragment.data(), fragment.size()), "call faulted");
      throw RpcError(kRpcCallFailed, "unexpected PDU in reply");
    }
    socket_->ReadExact(fragment.data() + kHeaderSize, kResponseHeaderSize - kHeaderSize, deadline);
    if (first != ((header.flags & kFirstFrag) != 0)) throw RpcError(kRpcCallFailed, "fragments out of order");
    if (first) {
      reply.bigEndian = header.bigEndian;
      // The allocation hint is the peer's word: used to reserve, within reason.
      NdrReader hint(fragment.data() + kHeaderSize, 4, header.bigEndian);
      reply.stub.reserve(std::min<std::size_t>(hint.U32(), kMaxReserve));
    }
    first = false;
    const std::size_t at = reply.stub.size();
    reply.stub.resize(at + header.fragLength - kResponseHeaderSize);
    socket_->ReadExact(reply.stub.data() + at, header.fragLength - kResponseHeaderSize, deadline);
    if (header.flags & kLastFrag) return reply;
  }
}

}  // namespace keld::rpc
