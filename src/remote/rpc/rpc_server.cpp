#include "remote/rpc/rpc_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "foundation/cfg_string.h"
#include "foundation/lent_block.h"
#include "remote/rpc/ndr.h"
#include "remote/rpc/rpc_error.h"
#include "remote/rpc/rpc_socket.h"

namespace keld::rpc {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kAcceptPollMs = 100;
constexpr std::uint16_t kNakReasonNotSpecified = 0;
// Between calls a connection looks at the drain flag this often.
constexpr std::uint32_t kIdleSliceMs = 100;
// Connections over a limit that are being answered at once; more are closed
// without an answer. Each is given this long to send its bind and to close.
constexpr std::size_t kMaxRefusals = 64;
constexpr auto kRefusalTime = std::chrono::milliseconds(1000);
// How long a newcomer over a limit waits for a slot, and how often it looks.
constexpr auto kSlotWait = std::chrono::milliseconds(250);
constexpr int kSlotPollMs = 10;
// A refused request is read to its end so that its fault can be answered;
// a peer that sends more than this of it has its connection closed.
constexpr std::uint64_t kMaxDiscarded = std::uint64_t{4} << 30;
// A fragment buffer larger than this is given back after the call.
constexpr std::size_t kKeptFragmentBuffer = 16 * 1024;

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

void SetKeepAlive(int fd, const RpcServerOptions& options) {
  if (options.keepAliveIdleS == 0) return;
  const int on = 1;
  const int idle = static_cast<int>(options.keepAliveIdleS);
  const int interval = static_cast<int>(std::max<std::uint32_t>(options.keepAliveIntervalS, 1));
  const int count = static_cast<int>(std::max<std::uint32_t>(options.keepAliveCount, 1));
  setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
  setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
  setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &count, sizeof count);
}

std::string Mib(std::size_t bytes) { return FormatString("%.1f MiB", static_cast<double>(bytes) / (1 << 20)).c_str(); }

}  // namespace

RpcServer::RpcServer(RpcServerOptions options, CfgRemoteHandler* handler)
    : options_(std::move(options)), handler_(handler), budget_(options_.requestBudget) {}

RpcServer::~RpcServer() {
  Stop();
  ReapFinished(true);
}

void RpcServer::Log(LogLevel level, const char* event, const std::string& text) const {
  if (options_.log) options_.log(level, event, text);
}

bool RpcServer::Start(std::string* error) {
  listenFd_ = ListenTcp(options_.address, options_.port, &port_, error);
  if (listenFd_ < 0) return false;
  acceptThread_ = std::thread([this] { AcceptLoop(); });
  return true;
}

bool RpcServer::WaitForWorkers(Clock::time_point until) {
  std::unique_lock<std::mutex> guard(workersLock_);
  return workerEnded_.wait_until(guard, until, [this] {
    return std::all_of(workers_.begin(), workers_.end(), [](const auto& worker) { return worker->done.load(); });
  });
}

bool RpcServer::Stop(std::uint32_t drainMs) {
  draining_.store(true);
  if (acceptThread_.joinable()) acceptThread_.join();
  if (listenFd_ >= 0) close(listenFd_);
  listenFd_ = -1;
  bool ended = WaitForWorkers(Clock::now() + std::chrono::milliseconds(drainMs));
  stop_.store(true);
  // Every wait on a socket looks at the stop flag within a fraction of a
  // second; what is still running then is inside the handler.
  if (!ended) ended = WaitForWorkers(Clock::now() + std::chrono::seconds(1));
  if (!ended) return false;
  ReapFinished(true);
  return true;
}

std::size_t RpcServer::ConnectionCount() {
  std::lock_guard<std::mutex> guard(workersLock_);
  return static_cast<std::size_t>(
      std::count_if(workers_.begin(), workers_.end(), [](const auto& worker) { return !worker->done.load(); }));
}

void RpcServer::ReapFinished(bool all) {
  std::list<std::unique_ptr<Worker>> finished;
  {
    std::lock_guard<std::mutex> guard(workersLock_);
    for (auto it = workers_.begin(); it != workers_.end();) {
      if (all || (*it)->done.load()) {
        finished.push_back(std::move(*it));
        it = workers_.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (auto& worker : finished) worker->thread.join();
}

void RpcServer::AcceptLoop() {
  std::vector<pollfd> entries;
  while (!stop_.load() && !draining_.load()) {
    ReapFinished(false);
    ServeWaiting();
    entries.assign(1, pollfd{listenFd_, POLLIN, 0});
    for (const Refusal& refusal : refusals_) entries.push_back({refusal.fd, POLLIN, 0});
    const int wait = waiting_.empty() ? kAcceptPollMs : kSlotPollMs;
    if (poll(entries.data(), entries.size(), wait) < 0 && errno != EINTR) continue;
    ServeRefusals(entries);
    if (!(entries[0].revents & POLLIN)) continue;
    sockaddr_in remote{};
    socklen_t length = sizeof remote;
    const int fd = accept4(listenFd_, reinterpret_cast<sockaddr*>(&remote), &length, SOCK_CLOEXEC);
    if (fd < 0) {
      // Out of descriptors, or the peer gave up before we took it: wait a
      // little rather than spin on the listening socket.
      if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        Log(LogLevel::kError, log_event::kFailure, std::string("accept failed: ") + std::strerror(errno));
        std::this_thread::sleep_for(std::chrono::milliseconds(kAcceptPollMs));
      }
      continue;
    }
    PeerInfo peer;
    peer.address = ntohl(remote.sin_addr.s_addr);
    peer.port = ntohs(remote.sin_port);
    Admit(fd, peer);
  }
  for (const Refusal& refusal : refusals_) close(refusal.fd);
  refusals_.clear();
  for (const Waiting& waiting : waiting_) close(waiting.fd);
  waiting_.clear();
}

std::string RpcServer::TryStart(int fd, PeerInfo peer) {
  std::lock_guard<std::mutex> guard(workersLock_);
  const std::size_t active = static_cast<std::size_t>(
      std::count_if(workers_.begin(), workers_.end(), [](const auto& worker) { return !worker->done.load(); }));
  if (active >= options_.maxConnections) return FormatString("%zu connections in all", options_.maxConnections).c_str();
  const auto fromPeer = perPeer_.find(peer.address);
  if (fromPeer != perPeer_.end() && fromPeer->second >= options_.maxConnectionsPerPeer) {
    return FormatString("%zu connections from one address", options_.maxConnectionsPerPeer).c_str();
  }
  ++perPeer_[peer.address];
  peer.connection = nextConnection_++;
  auto worker = std::make_unique<Worker>();
  Worker* raw = worker.get();
  raw->address = peer.address;
  workers_.push_back(std::move(worker));
  raw->thread = std::thread([this, fd, peer, raw] { Serve(fd, peer, raw); });
  return {};
}

void RpcServer::Admit(int fd, PeerInfo peer) {
  if (options_.allow && !options_.allow(peer.address)) {
    Log(LogLevel::kInfo, log_event::kNotAllowed, "refused " + FormatPeer(peer.address, peer.port) + ": not on the allow-list");
    close(fd);
    return;
  }
  const std::string full = TryStart(fd, peer);
  if (full.empty()) return;
  // A connection its client has closed counts until its thread has seen the
  // close, so where many come and go at once a limit may be reached for a
  // moment only: a newcomer waits a little for a slot before it is refused.
  if (waiting_.size() < kMaxRefusals) {
    waiting_.push_back({fd, peer, Clock::now() + kSlotWait});
    return;
  }
  Refuse(fd, peer, full.c_str());
}

void RpcServer::ServeWaiting() {
  const auto now = Clock::now();
  std::vector<Waiting> kept;
  for (const Waiting& waiting : waiting_) {
    const std::string full = TryStart(waiting.fd, waiting.peer);
    if (full.empty()) continue;
    if (now >= waiting.until) {
      Refuse(waiting.fd, waiting.peer, full.c_str());
      continue;
    }
    kept.push_back(waiting);
  }
  waiting_ = std::move(kept);
}

void RpcServer::Refuse(int fd, const PeerInfo& peer, const char* which) {
  Log(LogLevel::kWarning, log_event::kRefused,
      "refused a connection from " + FormatPeer(peer.address, peer.port) + ": at the limit of " + which);
  if (refusals_.size() >= kMaxRefusals) {
    close(fd);
    return;
  }
  Refusal refusal;
  refusal.fd = fd;
  refusal.until = Clock::now() + kRefusalTime;
  const int flags = fcntl(fd, F_GETFL, 0);
  if (flags >= 0) fcntl(fd, F_SETFL, flags | O_NONBLOCK);
  refusals_.push_back(refusal);
}

// A refused connection gets its bind answered by a bind_nak, as soon as the
// bind's header is in (or its time is half gone), then the write side is shut
// and what else the peer sends is read and dropped until it closes, so that
// the answer is not lost to a reset.
void RpcServer::ServeRefusals(const std::vector<pollfd>& ready) {
  const auto now = Clock::now();
  std::vector<Refusal> kept;
  for (std::size_t i = 0; i < refusals_.size(); ++i) {
    Refusal& refusal = refusals_[i];
    bool closing = false;
    if (ready[i + 1].revents & (POLLIN | POLLHUP | POLLERR)) {
      std::uint8_t scratch[512];
      std::uint8_t* into = refusal.answered ? scratch : refusal.header + refusal.got;
      const std::size_t room = refusal.answered ? sizeof scratch : kHeaderSize - refusal.got;
      const ssize_t got = recv(refusal.fd, into, room, MSG_DONTWAIT);
      if (got == 0 || (got < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) closing = true;
      if (got > 0 && !refusal.answered) refusal.got += static_cast<std::size_t>(got);
    }
    if (!refusal.answered && !closing && (refusal.got == kHeaderSize || now + kRefusalTime / 2 >= refusal.until)) {
      std::uint32_t callId = 0;
      try {
        if (refusal.got == kHeaderSize) callId = ParseHeader(refusal.header, kHeaderSize).callId;
      } catch (const RpcError&) {
        // Not a PDU: the answer goes out with call id 0.
      }
      const std::vector<std::uint8_t> nak = EncodeBindNak(callId, kNakLocalLimitExceeded);
      // A fresh socket's send buffer takes these few bytes; if not, the
      // peer simply sees the close.
      const ssize_t sent = send(refusal.fd, nak.data(), nak.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      static_cast<void>(sent);
      shutdown(refusal.fd, SHUT_WR);
      refusal.answered = true;
    }
    if (closing || now >= refusal.until) {
      close(refusal.fd);
      continue;
    }
    kept.push_back(refusal);
  }
  refusals_ = std::move(kept);
}

void RpcServer::Serve(int fd, PeerInfo peer, Worker* worker) {
  // Replies are sent on this thread, which gives lent blocks back (ReplyStub).
  const LoanReturns loanReturns;
  const std::string who = FormatPeer(peer.address, peer.port);
  const std::uint32_t ioMs = options_.ioTimeoutMs;
  SetKeepAlive(fd, options_);
  Log(LogLevel::kDebug, log_event::kConnection, "connection from " + who);
  handler_->Connected(peer);
  RpcSocket socket(fd);
  socket.SetStopFlag(&stop_);
  Association association;
  association.recvFrag = options_.maxFrag;
  const auto bindBy = Clock::now() + std::chrono::milliseconds(options_.bindTimeoutMs);
  auto idleSince = Clock::now();
  std::vector<std::uint8_t> fragment;
  ReplyStub reply;
  std::vector<std::uint8_t> out;

  // Waits for the first byte of the next PDU; false where the connection is
  // to close: drained, or silent past the bind or idle time-out.
  const auto nextPdu = [&]() -> bool {
    for (;;) {
      if (draining_.load()) return false;
      auto until = Clock::time_point::max();
      if (!association.bound) {
        until = bindBy;
      } else if (options_.idleTimeoutMs != 0) {
        until = idleSince + std::chrono::milliseconds(options_.idleTimeoutMs);
      }
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
      if (left <= 0) {
        Log(LogLevel::kDebug, log_event::kIdle,
            "closing " + who + (association.bound ? ": no call within the idle time-out" : ": no bind in time"));
        return false;
      }
      const auto slice = static_cast<std::uint32_t>(std::min<long long>(left, kIdleSliceMs));
      if (socket.WaitForData(Deadline::InMs(slice))) return true;
    }
  };

  try {
    while (nextPdu()) {
      const PduHeader header = socket.ReadFragment(&fragment, association.recvFrag, Deadline::InMs(ioMs), ioMs);
      if (header.type == kPduBind) {
        if (association.bound) throw RpcError(kRpcCallFailed, "second bind on one association");
        BindPdu bind;
        try {
          bind = ParseBind(fragment.data(), fragment.size());
        } catch (const RpcError&) {
          out = EncodeBindNak(header.callId, kNakReasonNotSpecified);
          socket.SendAll(out.data(), out.size(), Deadline::InMs(ioMs));
          throw;
        }
        if (bind.maxXmitFrag < kMinFragSize || bind.maxRecvFrag < kMinFragSize) {
          out = EncodeBindNak(header.callId, kNakReasonNotSpecified);
          socket.SendAll(out.data(), out.size(), Deadline::InMs(ioMs));
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
        socket.SendAll(out.data(), out.size(), Deadline::InMs(ioMs));
        idleSince = Clock::now();
        continue;
      }
      if (header.type != kPduRequest) {
        throw RpcError(kRpcCallFailed, FormatString("unexpected PDU type %u", header.type).c_str());
      }
      if (!association.bound) throw RpcError(kRpcCallFailed, "request before bind");
      if (!(header.flags & kFirstFrag)) throw RpcError(kRpcCallFailed, "request does not start with a first fragment");

      // The stub: in place in a fragment that is the whole request, or
      // assembled once in a buffer of its own. A request that may not be
      // kept is read to its end and refused with a fault.
      const RequestInfo info = ParseRequest(fragment.data(), fragment.size());
      const bool bigEndian = header.bigEndian;
      RequestBuffer assembled(&budget_, options_.maxRequest);
      std::uint32_t refusal = 0;
      std::uint64_t total = fragment.size() - info.stubOffset;
      const auto keep = [&](const std::uint8_t* bytes, std::size_t size) {
        if (refusal != 0) return;
        const RequestBuffer::Result result = assembled.Append(bytes, size);
        if (result == RequestBuffer::Result::kAppended) return;
        refusal = result == RequestBuffer::Result::kTooLarge ? kFaultRemoteNoMemory : kFaultServerTooBusy;
        assembled.Release();
      };
      const std::uint8_t* stub = fragment.data() + info.stubOffset;
      std::size_t stubSize = fragment.size() - info.stubOffset;
      if (header.flags & kLastFrag) {
        if (stubSize > options_.maxRequest) refusal = kFaultRemoteNoMemory;
      } else {
        assembled.Reserve(info.allocHint);
        keep(stub, stubSize);
        PduHeader last = header;
        while (!(last.flags & kLastFrag)) {
          last = socket.ReadFragment(&fragment, association.recvFrag, Deadline::InMs(ioMs), ioMs);
          if (last.type != kPduRequest || last.callId != header.callId || (last.flags & kFirstFrag)) {
            throw RpcError(kRpcCallFailed, "fragment of another call");
          }
          const RequestInfo next = ParseRequest(fragment.data(), fragment.size());
          total += fragment.size() - next.stubOffset;
          if (total > kMaxDiscarded) throw RpcError(kRpcCallFailed, "request without end");
          keep(fragment.data() + next.stubOffset, fragment.size() - next.stubOffset);
        }
        stub = assembled.data();
        stubSize = assembled.size();
      }

      std::uint32_t fault = refusal;
      reply.Clear();
      if (refusal != 0) {
        Log(LogLevel::kWarning, log_event::kTooLarge,
            who + ": refused a request of " + Mib(total) +
                (refusal == kFaultRemoteNoMemory ? " (the maximum is " + Mib(options_.maxRequest) + ")"
                                                 : " (requests being assembled hold " + Mib(budget_.used()) +
                                                       " of " + Mib(budget_.limit()) + ")"));
      } else if (std::find(association.contexts.begin(), association.contexts.end(), info.contextId) ==
                 association.contexts.end()) {
        fault = kFaultUnknownInterface;
      } else {
        try {
          NdrReader reader(stub, stubSize, bigEndian);
          fault = DispatchCfgRemote(handler_, peer, info.opnum, &reader, &reply);
        } catch (const RpcError& error) {
          fault = error.code();
        } catch (const std::exception&) {
          fault = kFaultProtocolError;
        }
      }
      assembled.Release();
      if (fragment.capacity() > kKeptFragmentBuffer) std::vector<std::uint8_t>().swap(fragment);
      if (fault != 0) {
        if (refusal == 0) {
          Log(LogLevel::kInfo, log_event::kFault,
              who + FormatString(": procedure %u answered with fault 0x%08X", info.opnum, fault).c_str());
        }
        out = EncodeFault(header.callId, info.contextId, fault);
        socket.SendAll(out.data(), out.size(), Deadline::InMs(ioMs));
        idleSince = Clock::now();
        continue;
      }
      // Headers and slices of the reply go out together, the command's
      // output straight from its block.
      const std::vector<StubPiece> pieces = reply.Pieces();
      socket.SendFragments(kPduResponse, header.callId, info.contextId, 0, pieces.data(), pieces.size(),
                           association.sendFrag, Deadline::InMs(ioMs));
      reply.Clear();
      idleSince = Clock::now();
    }
  } catch (const RpcError& error) {
    if (stop_.load() || std::strcmp(error.what(), "connection closed by peer") == 0) {
      Log(LogLevel::kDebug, log_event::kConnection, "connection " + who + " closed: " + error.what());
    } else if (error.code() == kRpcTimedOut) {
      Log(LogLevel::kInfo, log_event::kIdle, "connection " + who + " dropped: it stopped inside a PDU");
    } else {
      Log(LogLevel::kInfo, log_event::kProtocol, "connection " + who + " closed: " + error.what());
    }
  } catch (const std::exception& error) {
    Log(LogLevel::kError, log_event::kFailure, "connection " + who + " failed: " + error.what());
  }
  reply.Clear();
  handler_->Disconnected(peer);
  {
    std::lock_guard<std::mutex> guard(workersLock_);
    auto it = perPeer_.find(worker->address);
    if (it != perPeer_.end() && --it->second == 0) perPeer_.erase(it);
    worker->done.store(true);
  }
  workerEnded_.notify_all();
}

}  // namespace keld::rpc
