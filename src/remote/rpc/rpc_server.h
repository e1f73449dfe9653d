// RpcServer: the server end of the CfgRemote interface over TCP. One thread
// accepts; each connection runs on a thread of its own: bind (answered by
// bind_ack or bind_nak), then requests, reassembled from fragments no longer
// than negotiated, dispatched to a CfgRemoteHandler and answered in
// fragments of the negotiated size, or with a fault. Whatever a peer sends
// that breaks the protocol closes that connection and nothing else.
//
// The server holds under hostile and broken peers:
// - Connections are limited in all and per peer address. A peer over a
//   limit waits a quarter of a second for a slot, then is refused cleanly:
//   its bind is answered with a bind_nak (local limit exceeded) and the
//   connection closed, while the connections already in go on being served.
// - A connection that has not completed its bind within the bind time-out,
//   or that sits without a call for the idle time-out, is closed; so is one
//   that stops inside a PDU for the I/O time-out. TCP keep-alive finds
//   peers that vanished with the network.
// - A request stub is assembled once, in memory of its own that goes back
//   to the system when the call ends; a request above the maximum size, or
//   one that would take the memory of all requests being assembled past the
//   budget, is read to its end without being kept and answered with a fault.
// - Stop can drain: connections between calls close at once, calls in
//   progress finish and are answered, within a bounded time.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/pdu.h"
#include "remote/rpc/request_buffer.h"
#include "remote/rpc/rpc_log.h"

struct pollfd;

namespace keld::rpc {

// Faults the server answers at its limits.
inline constexpr std::uint32_t kFaultServerTooBusy = 0x1C010014;   // the request memory budget is used up
inline constexpr std::uint32_t kFaultRemoteNoMemory = 0x1C00001B;  // a request above the maximum size
// Reason of the bind_nak that refuses a connection over a limit.
inline constexpr std::uint16_t kNakLocalLimitExceeded = 2;

struct RpcServerOptions {
  std::uint32_t address = 0x7F000001;  // loopback unless told otherwise
  std::uint16_t port = 7750;           // 0 picks a free port
  std::uint16_t maxFrag = kDefaultMaxFrag;
  std::uint32_t ioTimeoutMs = 30000;      // within one PDU, and for each reply to be taken
  std::uint32_t bindTimeoutMs = 10000;    // from accept until the bind is complete
  std::uint32_t idleTimeoutMs = 300000;   // a bound connection without a call; 0 never
  std::size_t maxRequest = 64u << 20;     // one reassembled request stub
  std::size_t requestBudget = 256u << 20; // all requests being assembled at once
  std::size_t maxConnections = 256;
  std::size_t maxConnectionsPerPeer = 64;
  // TCP keep-alive: probes after this many seconds of silence, then every
  // interval, the peer given up after `keepAliveCount` unanswered; 0 idle: off.
  std::uint32_t keepAliveIdleS = 30;
  std::uint32_t keepAliveIntervalS = 10;
  std::uint32_t keepAliveCount = 3;
  // Peers for which this is false are closed at once; empty allows all.
  std::function<bool(std::uint32_t address)> allow;
  // Diagnostic lines; may be empty.
  LogFunction log;
};

class RpcServer {
 public:
  RpcServer(RpcServerOptions options, CfgRemoteHandler* handler);
  RpcServer(const RpcServer&) = delete;
  RpcServer& operator=(const RpcServer&) = delete;
  ~RpcServer();

  // Binds, listens and starts accepting; false with errno's text in *error.
  bool Start(std::string* error);
  // Stops accepting and ends every connection. With drainMs, connections
  // between calls are closed at once and calls in progress are given that
  // long to finish and be answered before every connection is cut. Returns
  // true once every connection's thread has ended; false if some were still
  // inside the handler a second after the cut (they are then left running,
  // and the caller should end the process rather than destroy the server).
  bool Stop(std::uint32_t drainMs = 0);
  std::uint16_t port() const { return port_; }

  // Connections being served, for tests and the operator.
  std::size_t ConnectionCount();
  // Bytes of the request memory budget in use.
  std::size_t RequestMemoryInUse() const { return budget_.used(); }

 private:
  struct Worker {
    std::thread thread;
    std::uint32_t address = 0;
    std::atomic<bool> done{false};
  };
  // A connection over a limit, answered and closed by the accept thread.
  struct Refusal {
    int fd = -1;
    std::chrono::steady_clock::time_point until;
    std::uint8_t header[kHeaderSize] = {};
    std::size_t got = 0;
    bool answered = false;
  };

  // A connection over a limit, waiting a moment for a slot.
  struct Waiting {
    int fd = -1;
    PeerInfo peer;
    std::chrono::steady_clock::time_point until;
  };

  void AcceptLoop();
  void Admit(int fd, PeerInfo peer);
  // Starts serving a connection if the limits leave room; otherwise says
  // which limit is full.
  std::string TryStart(int fd, PeerInfo peer);
  void ServeWaiting();
  void Refuse(int fd, const PeerInfo& peer, const char* which);
  void ServeRefusals(const std::vector<::pollfd>& ready);
  void Serve(int fd, PeerInfo peer, Worker* worker);
  void ReapFinished(bool all);
  bool WaitForWorkers(std::chrono::steady_clock::time_point until);
  void Log(LogLevel level, const char* event, const std::string& text) const;

  RpcServerOptions options_;
  CfgRemoteHandler* handler_;
  RequestBudget budget_;
  int listenFd_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<bool> stop_{false};      // cuts every connection, even inside a PDU
  std::atomic<bool> draining_{false};  // closes connections between calls
  std::thread acceptThread_;
  std::mutex workersLock_;
  std::condition_variable workerEnded_;
  std::list<std::unique_ptr<Worker>> workers_;
  std::map<std::uint32_t, std::size_t> perPeer_;
  std::vector<Refusal> refusals_;  // accept thread only
  std::vector<Waiting> waiting_;   // accept thread only
  std::uint64_t nextConnection_ = 1;
};

}  // namespace keld::rpc
