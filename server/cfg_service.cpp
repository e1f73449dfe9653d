#include "cfg_service.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <vector>

#include "capi/frames.h"
#include "capi/server_frames.h"
#include "foundation/cfg_string.h"
#include "remote/rpc/rpc_socket.h"

namespace keld::server {

namespace {

// An adapter name that can only name an entry of the adapters' folder.
bool PlainAdapterName(const std::string& name) {
  return !name.empty() && name.size() < IFNAMSIZ && name != "." && name != ".." &&
         name.find('/') == std::string::npos;
}

}  // namespace

Status ReadAdapterMTU(const std::string& netClassPath, const std::string& adapter, std::uint32_t* mtu) {
  if (!PlainAdapterName(adapter)) return kNotAccessible;
  std::ifstream file(netClassPath + "/" + adapter + "/mtu");
  std::uint32_t value = 0;
  if (!(file >> value)) return kNotAccessible;
  *mtu = value;
  return kSuccess;
}

Status WriteAdapterMTU(const std::string& adapter, std::uint32_t mtu) {
  if (!PlainAdapterName(adapter)) return kNotAccessible;
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return kNotAccessible;
  ifreq request{};
  std::memcpy(request.ifr_name, adapter.c_str(), adapter.size());
  request.ifr_mtu = static_cast<int>(mtu);
  const int result = ioctl(fd, SIOCSIFMTU, &request);
  close(fd);
  return result == 0 ? kSuccess : kNotAccessible;
}

CfgService::CfgService(ServiceOptions options) : options_(std::move(options)) {
  reaper_ = std::thread([this] { ReapLoop(); });
}

CfgService::~CfgService() { Stop(); }

void CfgService::Log(rpc::LogLevel level, const char* event, const std::string& text) const {
  if (options_.log) options_.log(level, event, text);
}

std::map<std::uint32_t, CfgService::Tracked>::iterator CfgService::Forget(
    std::map<std::uint32_t, Tracked>::iterator session) {
  auto client = clients_.find(session->second.client);
  if (client != clients_.end() && --client->second.sessions == 0) clients_.erase(client);
  return sessions_.erase(session);
}

Status CfgService::Open(const rpc::PeerInfo& peer, std::uint32_t driverType, const std::string& name,
                        const std::string& interfaceName, std::uint32_t* sessionId) {
  const std::string key = std::to_string(driverType) + '\n' + name + '\n' + interfaceName;
  const ClientKey clientKey{peer.address, name};
  const std::string who = rpc::FormatPeer(peer.address, peer.port) + " '" + name + "'";
  {
    std::lock_guard<std::mutex> guard(lock_);
    // The registry closes a session of the same key when it creates the new
    // one; the service forgets it here, so a reopen is never over a limit.
    for (auto it = sessions_.begin(); it != sessions_.end();) {
      it = it->second.key == key ? Forget(it) : std::next(it);
    }
    Client& client = clients_[clientKey];
    const bool clientFull = client.sessions >= options_.maxSessionsPerClient;
    if (clientFull || sessions_.size() + opening_ >= options_.maxSessions) {
      if (client.sessions == 0) clients_.erase(clientKey);
      Log(rpc::LogLevel::kWarning, rpc::log_event::kSessionLimit,
          "refused to open a session for " + who + ": " +
              (clientFull ? std::to_string(options_.maxSessionsPerClient) + " sessions of one client"
                          : std::to_string(options_.maxSessions) + " sessions in all") +
              " are the limit");
      *sessionId = 0;
      return kOutOfMemory;
    }
    // An open is a sign of life, and its slot is held until its result is in.
    ++client.sessions;
    client.connections.insert(peer.connection);
    client.orphaned = false;
    ++opening_;
  }
  const Status status = frames::CreateServerSession(driverType, name.c_str(), interfaceName.c_str(), sessionId);
  Log(rpc::LogLevel::kInfo, rpc::log_event::kSession,
      "open driver " + std::to_string(driverType) + " '" + interfaceName + "' for " + who + ": status " +
          FormatString("0x%08X", static_cast<std::uint32_t>(status)).c_str() + ", id " + std::to_string(*sessionId));
  std::unique_lock<std::mutex> guard(lock_);
  --opening_;
  if (stopping_) {
    // Stop has closed everything else already; this one goes the same way.
    guard.unlock();
    if (status == kSuccess) IgnoreStatus(frames::CloseServerSession(*sessionId));
    return status == kSuccess ? kInvalidSession : status;
  }
  auto client = clients_.find(clientKey);  // held by the slot taken above
  if (status != kSuccess) {
    if (--client->second.sessions == 0) clients_.erase(client);
    return status;
  }
  // An id the library hands out again is a new session; the old one is gone.
  // (It is never this client's last: the slot above still counts.)
  auto stale = sessions_.find(*sessionId);
  if (stale != sessions_.end()) Forget(stale);
  client->second.connections.insert(peer.connection);
  client->second.orphaned = false;
  sessions_[*sessionId] = Tracked{key, clientKey};
  return status;
}

bool CfgService::Touch(const rpc::PeerInfo& peer, std::uint32_t sessionId) {
  std::lock_guard<std::mutex> guard(lock_);
  auto it = sessions_.find(sessionId);
  if (it == sessions_.end()) return false;
  auto client = clients_.find(it->second.client);
  if (client != clients_.end()) {
    client->second.connections.insert(peer.connection);
    client->second.orphaned = false;
  }
  return true;
}

Status CfgService::Command(const rpc::PeerInfo& peer, std::uint32_t sessionId, std::uint32_t command,
                           ByteStream* input, ByteStream* output) {
  if (!Touch(peer, sessionId)) return kInvalidSession;
  return frames::ExecuteServerCommand(sessionId, command, input, output);
}

Status CfgService::Ping(const rpc::PeerInfo& peer, std::uint32_t sessionId) {
  if (!Touch(peer, sessionId)) return kInvalidSession;
  return frames::PingServerSession(sessionId);
}

Status CfgService::Close(const rpc::PeerInfo& /*peer*/, std::uint32_t sessionId) {
  {
    std::lock_guard<std::mutex> guard(lock_);
    auto it = sessions_.find(sessionId);
    if (it == sessions_.end()) return kInvalidSession;
    Forget(it);
  }
  Log(rpc::LogLevel::kInfo, rpc::log_event::kSession, "close session " + std::to_string(sessionId));
  return frames::CloseServerSession(sessionId);
}

Status CfgService::Version(const rpc::PeerInfo& /*peer*/, std::uint32_t* version) {
  return frames::QueryVersion(nullptr, version);
}

Status CfgService::GetMTU(const rpc::PeerInfo& /*peer*/, const std::string& adapterName, std::uint32_t* mtu) {
  return ReadAdapterMTU(options_.netClassPath, adapterName, mtu);
}

Status CfgService::SetMTU(const rpc::PeerInfo& peer, const std::string& adapterName, std::uint32_t mtu) {
  if (!options_.allowMtuSet) {
    Log(rpc::LogLevel::kInfo, rpc::log_event::kSession,
        "refused to set the MTU of '" + adapterName + "' for " + rpc::FormatPeer(peer.address, peer.port));
    return kNotSupported;
  }
  return WriteAdapterMTU(adapterName, mtu);
}

void CfgService::Disconnected(const rpc::PeerInfo& peer) {
  std::lock_guard<std::mutex> guard(lock_);
  const auto now = std::chrono::steady_clock::now();
  for (auto& [key, client] : clients_) {
    if (client.connections.erase(peer.connection) != 0 && client.connections.empty() && !client.orphaned) {
      client.orphaned = true;
      client.orphanedAt = now;
    }
  }
  wake_.notify_all();
}

void CfgService::ReapLoop() {
  std::unique_lock<std::mutex> guard(lock_);
  while (!stopping_) {
    const auto grace = std::chrono::milliseconds(options_.graceMs);
    const auto now = std::chrono::steady_clock::now();
    auto next = now + std::chrono::seconds(1);
    for (const auto& [key, client] : clients_) {
      if (client.orphaned) next = std::min(next, client.orphanedAt + grace);
    }
    std::vector<std::uint32_t> closing;
    for (auto it = sessions_.begin(); it != sessions_.end();) {
      auto client = clients_.find(it->second.client);
      if (client != clients_.end() && client->second.orphaned && now - client->second.orphanedAt >= grace) {
        closing.push_back(it->first);
        it = Forget(it);
      } else {
        ++it;
      }
    }
    if (!closing.empty()) {
      guard.unlock();
      for (const std::uint32_t id : closing) {
        Log(rpc::LogLevel::kInfo, rpc::log_event::kReaped,
            "closing session " + std::to_string(id) + " of a client that went away");
        // A session the client closed itself meanwhile is simply gone.
        IgnoreStatus(frames::CloseServerSession(id));
      }
      guard.lock();
      continue;
    }
    wake_.wait_until(guard, next);
  }
}

void CfgService::Stop() {
  std::vector<std::uint32_t> closing;
  {
    std::lock_guard<std::mutex> guard(lock_);
    stopping_ = true;
    for (const auto& entry : sessions_) closing.push_back(entry.first);
    sessions_.clear();
    clients_.clear();
  }
  wake_.notify_all();
  if (reaper_.joinable()) reaper_.join();
  // Each closes as the last command inside it returns.
  for (const std::uint32_t id : closing) IgnoreStatus(frames::CloseServerSession(id));
}

std::size_t CfgService::SessionCount() {
  std::lock_guard<std::mutex> guard(lock_);
  return sessions_.size();
}

std::size_t CfgService::SessionCount(std::uint32_t address, const std::string& clientName) {
  std::lock_guard<std::mutex> guard(lock_);
  auto client = clients_.find(ClientKey{address, clientName});
  return client == clients_.end() ? 0 : client->second.sessions;
}

}  // namespace keld::server
