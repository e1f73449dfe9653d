// CfgService: keldcfgd's implementation of the CfgRemote procedures over
// the library's own local sessions, reached through the keldsrv entries.
//
// Sessions belong to a client: the peer's address and the client name it
// opened them with. A client is alive while one of its connections is open
// (a connection counts for a client once it has carried a call on one of
// its sessions). When its last connection goes, whether it closed, vanished
// or was closed by the server for silence, the grace period starts; a call
// on any of its sessions before it ends brings all of them back, so a client
// that was idle and reconnects finds its sessions as it left them. When the
// grace period ends, all its sessions are closed. A client may hold at most
// `maxSessionsPerClient` sessions and the service `maxSessions` in all; an
// open past either is answered with 0xBFFF8005 and touches nothing else.
// Stop closes every session it made.
//
// A client reaches one session over two connections (control and images),
// so a close, or a reopen of the same client, driver and interface, may come
// in while a command runs on the session elsewhere. The library keeps a
// session alive while a command is inside it: the close takes the id away at
// once, and the session itself closes when that command returns.
//
// The service reaches the library through its internals only: the server
// frames, with the RPC layer's own streams, so a command's input is read
// where the RPC layer assembled it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/rpc_log.h"

namespace keld::server {

struct ServiceOptions {
  std::uint32_t graceMs = 30000;
  std::size_t maxSessionsPerClient = 64;
  std::size_t maxSessions = 1024;
  bool allowMtuSet = false;
  // Folder of the network adapters' attributes (tests point it elsewhere).
  std::string netClassPath = "/sys/class/net";
  rpc::LogFunction log;
};

class CfgService : public rpc::CfgRemoteHandler {
 public:
  explicit CfgService(ServiceOptions options);
  ~CfgService() override;

  Status Open(const rpc::PeerInfo& peer, std::uint32_t driverType, const std::string& name,
              const std::string& interfaceName, std::uint32_t* sessionId) override;
  Status Command(const rpc::PeerInfo& peer, std::uint32_t sessionId, std::uint32_t command, ByteStream* input,
                 ByteStream* output) override;
  Status Ping(const rpc::PeerInfo& peer, std::uint32_t sessionId) override;
  Status Close(const rpc::PeerInfo& peer, std::uint32_t sessionId) override;
  Status Version(const rpc::PeerInfo& peer, std::uint32_t* version) override;
  Status GetMTU(const rpc::PeerInfo& peer, const std::string& adapterName, std::uint32_t* mtu) override;
  Status SetMTU(const rpc::PeerInfo& peer, const std::string& adapterName, std::uint32_t mtu) override;
  void Disconnected(const rpc::PeerInfo& peer) override;

  // Closes every session this service created and stops the reaper.
  void Stop();
  std::size_t SessionCount();
  // Sessions of one client, for tests and the operator.
  std::size_t SessionCount(std::uint32_t address, const std::string& clientName);

 private:
  // A client: the peer's address and the client name of its opens.
  using ClientKey = std::pair<std::uint32_t, std::string>;
  struct Client {
    std::size_t sessions = 0;  // open, or being opened
    std::set<std::uint64_t> connections;
    bool orphaned = false;
    std::chrono::steady_clock::time_point orphanedAt{};
  };
  struct Tracked {
    std::string key;  // driver, client and interface: the registry's reopening key
    ClientKey client;
  };

  // Marks the session's client as alive on the peer's connection; false
  // if the service does not know the session.
  bool Touch(const rpc::PeerInfo& peer, std::uint32_t sessionId);
  // Forgets a session and returns the next; drops its client with its
  // last session. Under lock_.
  std::map<std::uint32_t, Tracked>::iterator Forget(std::map<std::uint32_t, Tracked>::iterator session);
  void ReapLoop();
  void Log(rpc::LogLevel level, const char* event, const std::string& text) const;

  ServiceOptions options_;
  std::mutex lock_;
  std::condition_variable wake_;
  bool stopping_ = false;
  std::map<std::uint32_t, Tracked> sessions_;
  std::map<ClientKey, Client> clients_;
  std::size_t opening_ = 0;  // opens between their check and their result
  std::thread reaper_;
};

// Reads and writes the MTU of a named adapter under `netClassPath`.
Status ReadAdapterMTU(const std::string& netClassPath, const std::string& adapter, std::uint32_t* mtu);
Status WriteAdapterMTU(const std::string& adapter, std::uint32_t mtu);

}  // namespace keld::server
