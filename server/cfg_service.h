// CfgService: keldcfgd's implementation of the CfgRemote procedures over
// the library's own local sessions, reached through the keldsrv entries.
// It remembers which connections use which session; a session whose last
// connection has gone is closed after the grace period unless a connection
// uses it again first. Stop closes every session it made.
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

#include "remote/rpc/cfg_remote.h"

namespace keld::server {

struct ServiceOptions {
  std::uint32_t graceMs = 30000;
  bool allowMtuSet = false;
  // Folder of the network adapters' attributes (tests point it elsewhere).
  std::string netClassPath = "/sys/class/net";
  std::function<void(int level, const std::string& text)> log;
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

 private:
  struct Tracked {
    std::string key;  // driver, client and interface: the registry's reopening key
    std::set<std::uint64_t> connections;
    bool orphaned = false;
    std::chrono::steady_clock::time_point orphanedAt{};
  };

  // Marks the session as used by the peer's connection; false if the
  // service does not know it.
  bool Touch(const rpc::PeerInfo& peer, std::uint32_t sessionId);
  void ReapLoop();
  void Log(int level, const std::string& text) const;

  ServiceOptions options_;
  std::mutex lock_;
  std::condition_variable wake_;
  bool stopping_ = false;
  std::map<std::uint32_t, Tracked> sessions_;
  std::thread reaper_;
};

// Reads and writes the MTU of a named adapter under `netClassPath`.
Status ReadAdapterMTU(const std::string& netClassPath, const std::string& adapter, std::uint32_t* mtu);
Status WriteAdapterMTU(const std::string& adapter, std::uint32_t mtu);

}  // namespace keld::server
