// RpcServer: the server end of the CfgRemote interface over TCP. One thread
// accepts; each connection runs on a thread of its own: bind (answered by
// bind_ack or bind_nak), then requests, reassembled from fragments no longer
// than negotiated, dispatched to a CfgRemoteHandler and answered in
// fragments of the negotiated size, or with a fault. Whatever a peer sends
// that breaks the protocol closes that connection and nothing else; a peer
// that stops inside a PDU is dropped after the I/O time-out.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/pdu.h"

namespace keld::rpc {

struct RpcServerOptions {
  std::uint32_t address = 0x7F000001;  // loopback unless told otherwise
  std::uint16_t port = 7750;           // 0 picks a free port
  std::uint16_t maxFrag = kDefaultMaxFrag;
  std::uint32_t ioTimeoutMs = 30000;          // within one PDU
  std::size_t maxMessage = 256u * 1024 * 1024;  // reassembled request stub
  std::size_t maxConnections = 64;
  // Peers for which this is false are closed at once; empty allows all.
  std::function<bool(std::uint32_t address)> allow;
  // Diagnostic lines (level 0 error, 1 info, 2 debug); may be empty.
  std::function<void(int level, const std::string& text)> log;
};

class RpcServer {
 public:
  RpcServer(RpcServerOptions options, CfgRemoteHandler* handler);
  RpcServer(const RpcServer&) = delete;
  RpcServer& operator=(const RpcServer&) = delete;
  ~RpcServer();

  // Binds, listens and starts accepting; false with errno's text in *error.
  bool Start(std::string* error);
  // Stops accepting, ends every connection and joins all threads.
  void Stop();
  std::uint16_t port() const { return port_; }

 private:
  struct Worker {
    std::thread thread;
    std::atomic<bool> done{false};
  };

  void AcceptLoop();
  void Serve(int fd, PeerInfo peer, Worker* worker);
  void ReapFinished(bool all);
  void Log(int level, const std::string& text) const;

  RpcServerOptions options_;
  CfgRemoteHandler* handler_;
  int listenFd_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<bool> stop_{false};
  std::thread acceptThread_;
  std::mutex workersLock_;
  std::list<std::unique_ptr<Worker>> workers_;
  std::uint64_t nextConnection_ = 1;
};

}  // namespace keld::rpc
