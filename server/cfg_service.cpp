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

void CfgService::Log(int level, const std::string& text) const {
  if (options_.log) options_.log(level, text);
}

Status CfgService::Open(const rpc::PeerInfo& peer, std::uint32_t driverType, const std::string& name,
                        const std::string& interfaceName, std::uint32_t* sessionId) {
  const std::string key = std::to_string(driverType) + '\n' + name + '\n' + interfaceName;
  {
    // The registry closes a session of the same key when it creates the new
    // one; the service forgets it here.
    std::lock_guard<std::mutex> guard(lock_);
    for (auto it = sessions_.begin(); it != sessions_.end();) {
      it = it->second.key == key ? sessions_.erase(it) : std::next(it);
    }
  }
  const Status status = frames::CreateServerSession(driverType, name.c_str(), interfaceName.c_str(), sessionId);
  Log(1, "open driver " + std::to_string(driverType) + " '" + interfaceName + "' for '" + name + "': status " +
             std::to_string(status) + ", id " + std::to_string(*sessionId));
  if (status == kSuccess) {
    std::lock_guard<std::mutex> guard(lock_);
    Tracked& tracked = sessions_[*sessionId];
    tracked.key = key;
    tracked.connections.insert(peer.connection);
  }
  return status;
}

bool CfgService::Touch(const rpc::PeerInfo& peer, std::uint32_t sessionId) {
  std::lock_guard<std::mutex> guard(lock_);
  auto it = sessions_.find(sessionId);
  if (it == sessions_.end()) return false;
  it->second.connections.insert(peer.connection);
  it->second.orphaned = false;
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
    if (sessions_.erase(sessionId) == 0) return kInvalidSession;
  }
  Log(1, "close session " + std::to_string(sessionId));
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
    Log(1, "refused to set the MTU of '" + adapterName + "' for " + std::to_string(peer.connection));
    return kNotSupported;
  }
  return WriteAdapterMTU(adapterName, mtu);
}

void CfgService::Disconnected(const rpc::PeerInfo& peer) {
  std::lock_guard<std::mutex> guard(lock_);
  for (auto& [id, tracked] : sessions_) {
    if (tracked.connections.erase(peer.connection) != 0 && tracked.connections.empty()) {
      tracked.orphaned = true;
      tracked.orphanedAt = std::chrono::steady_clock::now();
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
    std::vector<std::uint32_t> closing;
    for (auto it = sessions_.begin(); it != sessions_.end();) {
      if (it->second.orphaned && now - it->second.orphanedAt >= grace) {
        closing.push_back(it->first);
        it = sessions_.erase(it);
        continue;
      }
      if (it->second.orphaned) next = std::min(next, it->second.orphanedAt + grace);
      ++it;
    }
    if (!closing.empty()) {
      guard.unlock();
      for (const std::uint32_t id : closing) {
        Log(1, "closing session " + std::to_string(id) + " of a client that went away");
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

}  // namespace keld::server
