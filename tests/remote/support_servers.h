// Servers for the wire tests, all on ephemeral loopback ports: keldcfgd's
// service in-process, an echo handler for fragmentation, an HTTP stand-in
// for the service locator and a raw listener that never answers.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cfg_service.h"
#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/rpc_server.h"

namespace keld::testsupport {

// Echoes a command's input to its output; output of `command` bytes when
// the input is empty. Counts connections.
class EchoHandler : public rpc::CfgRemoteHandler {
 public:
  Status Open(const rpc::PeerInfo&, std::uint32_t, const std::string&, const std::string&, std::uint32_t* id) override {
    *id = 42;
    return kSuccess;
  }
  Status Command(const rpc::PeerInfo&, std::uint32_t, std::uint32_t command, ByteStream* input,
                 ByteStream* output) override;
  Status Ping(const rpc::PeerInfo&, std::uint32_t id) override { return id == 42 ? kSuccess : kInvalidSession; }
  Status Close(const rpc::PeerInfo&, std::uint32_t) override {
    ++closes;
    return kSuccess;
  }
  Status Version(const rpc::PeerInfo&, std::uint32_t* version) override {
    *version = 0x03020000;
    return kSuccess;
  }
  Status GetMTU(const rpc::PeerInfo&, const std::string&, std::uint32_t* mtu) override {
    *mtu = 1500;
    return kSuccess;
  }
  Status SetMTU(const rpc::PeerInfo&, const std::string&, std::uint32_t) override { return kSuccess; }
  void Connected(const rpc::PeerInfo&) override { ++connections; }
  std::atomic<int> connections{0};
  std::atomic<int> closes{0};
};

// keldcfgd's service and RPC server on an ephemeral port.
struct ServiceServer {
  explicit ServiceServer(std::uint32_t graceMs = 30000, std::uint32_t ioTimeoutMs = 30000,
                         std::function<bool(std::uint32_t)> allow = {});
  // With options of both halves; the RPC server's port is set to 0.
  ServiceServer(server::ServiceOptions serviceOptions, rpc::RpcServerOptions rpcOptions);
  ~ServiceServer();
  std::uint16_t port() const { return rpc->port(); }
  std::unique_ptr<server::CfgService> service;
  std::unique_ptr<rpc::RpcServer> rpc;
};

struct HandlerServer {
  explicit HandlerServer(rpc::CfgRemoteHandler* handler, std::uint16_t maxFrag = rpc::kDefaultMaxFrag,
                         std::uint32_t ioTimeoutMs = 30000, std::uint16_t port = 0);
  std::uint16_t port() const { return rpc->port(); }
  std::unique_ptr<rpc::RpcServer> rpc;
};

// Answers each connection of the locator with a fixed reply. With
// `holdMs` it keeps the connection open that long after replying.
class HttpStandIn {
 public:
  explicit HttpStandIn(std::string reply, int holdMs = 0);
  ~HttpStandIn();
  std::uint16_t port() const { return port_; }
  std::vector<std::string> requests();  // first lines received
  std::atomic<bool> closedAfterHold{false};

 private:
  void Loop();
  std::string reply_;
  int holdMs_;
  int fd_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<bool> stop_{false};
  std::mutex lock_;
  std::vector<std::string> requests_;
  std::thread thread_;
};

// Accepts connections and reads, but never answers.
class SilentServer {
 public:
  SilentServer();
  ~SilentServer();
  std::uint16_t port() const { return port_; }

 private:
  int fd_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

// A port on which nothing listens (bound once, then released).
std::uint16_t UnusedPort();

// Writes a registry file naming `port` as RemotePort and points the library at it.
class ScopedRegistryPort {
 public:
  explicit ScopedRegistryPort(std::uint32_t port);
  ~ScopedRegistryPort();

 private:
  std::filesystem::path path_;
};

// Points the service look-up at a stand-in for the scope.
class ScopedLocatorPort {
 public:
  explicit ScopedLocatorPort(std::uint16_t port);
  ~ScopedLocatorPort();
};

// Connected raw socket to a loopback port (-1 on failure).
int ConnectRaw(std::uint16_t port);
// Reads one PDU from a raw socket, waiting at most 5 s; empty on failure.
std::vector<std::uint8_t> ReadRawPdu(int fd);
// Reads until the peer closes or `limitMs` passes; true if the peer closed.
bool PeerCloses(int fd, int limitMs);

}  // namespace keld::testsupport
