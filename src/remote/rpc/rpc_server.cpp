#include "remote/rpc/rpc_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "foundation/cfg_string.h"
#include "remote/rpc/ndr.h"
#include "remote/rpc/rpc_error.h"
#include "remote/rpc/rpc_socket.h"

namespace keld::rpc {

namespace {

constexpr int kAcceptPollMs = 100;
constexpr std::uint16_t kNakReasonNotSpecified = 0;

bool Acceptable(const ContextElement& element, BindResult* result) {
  const SyntaxId& wanted = element.abstractSyntax;
  if (wanted.uuid != kCfgRemoteSyntax.uuid || wanted.major != kCfgRemoteSyntax.major ||
      wanted.minor > kCfgRemoteSyntax.minor) {
    *result = {kBindProviderRejection, kReasonAbstractSyntaxNotSupported, {}};
    return false;
  }
  if (std::find(element.transferSyntaxes.begin(), element.transferSyntaxes.end(), kNdrSyntax) ==
      element.transferSyntaxes.end()) {
    *result = {kBindProviderRejection, kReasonTransferSyntaxNotSupported, {}};
    return false;
  }
  *result = {kBindAccepted, 0, kNdrSyntax};
  return true;
}

// State of one association.
struct Association {
  bool bound = false;
  std::vector<std::uint16_t> contexts;  // accepted presentation contexts
  std::uint16_t sendFrag = kMinFragSize;
  std::uint16_t recvFrag = kDefaultMaxFrag;
};

}  // namespace

RpcServer::RpcServer(RpcServerOptions options, CfgRemoteHandler* handler)
    : options_(std::move(options)), handler_(handler) {}

RpcServer::~RpcServer() { Stop(); }

void RpcServer::Log(int level, const std::string& text) const {
  if (options_.log) options_.log(level, text);
}

bool RpcServer::Start(std::string* error) {
  listenFd_ = ListenTcp(options_.address, options_.port, &port_, error);
  if (listenFd_ < 0) return false;
  acceptThread_ = std::thread([this] { AcceptLoop(); });
  return true;
}

void RpcServer::Stop() {
  stop_.store(true);
  if (acceptThread_.joinable()) acceptThread_.join();
  ReapFinished(true);
  if (listenFd_ >= 0) close(listenFd_);
  listenFd_ = -1;
}

void RpcServer::ReapFinished(bool all) {
  std::lock_guard<std::mutex> guard(workersLock_);
  for (auto it = workers_.begin(); it != workers_.end();) {
    if (all || (*it)->done.load()) {
      (*it)->thread.join();
      it = workers_.erase(it);
    } else {
      ++it;
    }
  }
}

void RpcServer::AcceptLoop() {
  while (!stop_.load()) {
    ReapFinished(false);
    pollfd entry{listenFd_, POLLIN, 0};
    if (poll(&entry, 1, kAcceptPollMs) <= 0) continue;
    sockaddr_in remote{};
    socklen_t length = sizeof remote;
    const int fd = accept4(listenFd_, reinterpret_cast<sockaddr*>(&remote), &length, SOCK_CLOEXEC);
    if (fd < 0) continue;
    PeerInfo peer;
    peer.address = ntohl(remote.sin_addr.s_addr);
    peer.port = ntohs(remote.sin_port);
    if (options_.allow && !options_.allow(peer.address)) {
      Log(1, "refused " + FormatPeer(peer.address, peer.port) + ": not on the allow-list");
      close(fd);
      continue;
    }
    std::lock_guard<std::mutex> guard(workersLock_);
    if (workers_.size() >= options_.maxConnections) {
      Log(0, "refused " + FormatPeer(peer.address, peer.port) + ": too many connections");
      close(fd);
      continue;
    }
    peer.connection = nextConnection_++;
    auto worker = std::make_unique<Worker>();
    Worker* raw = worker.get();
    workers_.push_back(std::move(worker));
    raw->thread = std::thread([this, fd, peer, raw] { Serve(fd, peer, raw); });
  }
}

void RpcServer::Serve(int fd, PeerInfo peer, Worker* worker) {
  const std::string who = FormatPeer(peer.address, peer.port);
  Log(2, "connection from " + who);
  handler_->Connected(peer);
  RpcSocket socket(fd);
  socket.SetStopFlag(&stop_);
  Association association;
  association.recvFrag = options_.maxFrag;
  std::vector<std::uint8_t> fragment;
  std::vector<std::uint8_t> stub;
  ReplyStub reply;
  std::vector<std::uint8_t> out;
  try {
    for (;;) {
      const PduHeader header =
          socket.ReadFragment(&fragment, association.recvFrag, Deadline::Never(), options_.ioTimeoutMs);
      if (header.type == kPduBind) {
        if (association.bound) throw RpcError(kRpcCallFailed, "second bind on one association");
        BindPdu bind;
        try {
          bind = ParseBind(fragment.data(), fragment.size());
        } catch (const RpcError&) {
          out = EncodeBindNak(header.callId, kNakReasonNotSpecified);
          socket.SendAll(out.data(), out.size(), Deadline::InMs(options_.ioTimeoutMs));
          throw;
        }
        if (bind.maxXmitFrag < kMinFragSize || bind.maxRecvFrag < kMinFragSize) {
          out = EncodeBindNak(header.callId, kNakReasonNotSpecified);
          socket.SendAll(out.data(), out.size(), Deadline::InMs(options_.ioTimeoutMs));
          throw RpcError(kRpcCallFailed, "fragment sizes below the minimum");
        }
        BindAckPdu ack;
        ack.maxXmitFrag = std::min(bind.maxRecvFrag, options_.maxFrag);
        ack.maxRecvFrag = std::min(bind.maxXmitFrag, options_.maxFrag);
        ack.assocGroup = bind.assocGroup != 0 ? bind.assocGroup : 0x53F0;
        const std::string portText = FormatString("%u", port_).c_str();
        ack.secondaryAddress.assign(portText.begin(), portText.end());
        ack.secondaryAddress.push_back('\0');
        for (const ContextElement& element : bind.contexts) {
          BindResult result;
          if (Acceptable(element, &result)) association.contexts.push_back(element.contextId);
          ack.results.push_back(result);
        }
        association.bound = true;
        association.sendFrag = ack.maxXmitFrag;
        association.recvFrag = ack.maxRecvFrag;
        out = EncodeBindAck(header.callId, ack);
        socket.SendAll(out.data(), out.size(), Deadline::InMs(options_.ioTimeoutMs));
        continue;
      }
      if (header.type != kPduRequest) {
        throw RpcError(kRpcCallFailed, FormatString("unexpected PDU type %u", header.type).c_str());
      }
      if (!association.bound) throw RpcError(kRpcCallFailed, "request before bind");
      if (!(header.flags & kFirstFrag)) throw RpcError(kRpcCallFailed, "request does not start with a first fragment");

      // Reassemble the request's stub.
      const RequestInfo info = ParseRequest(fragment.data(), fragment.size());
      const bool bigEndian = header.bigEndian;
      stub.assign(fragment.begin() + static_cast<std::ptrdiff_t>(info.stubOffset), fragment.end());
      PduHeader last = header;
      while (!(last.flags & kLastFrag)) {
        last = socket.ReadFragment(&fragment, association.recvFrag, Deadline::InMs(options_.ioTimeoutMs),
                                   options_.ioTimeoutMs);
        if (last.type != kPduRequest || last.callId != header.callId || (last.flags & kFirstFrag)) {
          throw RpcError(kRpcCallFailed, "fragment of another call");
        }
        const RequestInfo next = ParseRequest(fragment.data(), fragment.size());
        if (stub.size() + fragment.size() - next.stubOffset > options_.maxMessage) {
          throw RpcError(kRpcCallFailed, "request larger than allowed");
        }
        stub.insert(stub.end(), fragment.begin() + static_cast<std::ptrdiff_t>(next.stubOffset), fragment.end());
      }

      std::uint32_t fault = 0;
      reply.Clear();
      if (std::find(association.contexts.begin(), association.contexts.end(), info.contextId) ==
          association.contexts.end()) {
        fault = kFaultUnknownInterface;
      } else {
        try {
          NdrReader reader(stub.data(), stub.size(), bigEndian);
          fault = DispatchCfgRemote(handler_, peer, info.opnum, &reader, &reply);
        } catch (const RpcError& error) {
          fault = error.code();
        } catch (const std::exception&) {
          fault = kFaultProtocolError;
        }
      }
      out.clear();
      if (fault != 0) {
        Log(1, who + FormatString(": procedure %u answered with fault 0x%08X", info.opnum, fault).c_str());
        out = EncodeFault(header.callId, info.contextId, fault);
        socket.SendAll(out.data(), out.size(), Deadline::InMs(options_.ioTimeoutMs));
        continue;
      }
      // Headers and slices of the reply go out together, the command's
      // output straight from its block.
      const std::vector<StubPiece> pieces = reply.Pieces();
      socket.SendFragments(kPduResponse, header.callId, info.contextId, 0, pieces.data(), pieces.size(),
                           association.sendFrag, Deadline::InMs(options_.ioTimeoutMs));
      reply.Clear();
    }
  } catch (const RpcError& error) {
    Log(2, "connection " + who + " closed: " + error.what());
  } catch (const std::exception& error) {
    Log(0, "connection " + who + " failed: " + error.what());
  }
  handler_->Disconnected(peer);
  worker->done.store(true);
}

}  // namespace keld::rpc
