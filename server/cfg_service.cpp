#include "cfg_service.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <vector>

#include "keldcfgc/keldcfgc.h"
#include "keldcfgc/keldcfgc_server.h"

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
  std::lock_guard<std::mutex> registry(registryLock_);
  {
    // The registry closes a session of the same key when it creates the new
    // one; it must not be in use then.
    std::unique_lock<std::mutex> guard(lock_);
    std::vector<std::uint32_t> replaced;
    for (const auto& [id, tracked] : sessions_) {
      if (tracked.key == key && !tracked.closing) replaced.push_back(id);
    }
    for (const std::uint32_t id : replaced) Retire(guard, id);
  }
  const auto status = static_cast<Status>(
      keldsrvCreateSession(driverType, name.c_str(), interfaceName.c_str(), sessionId));
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

bool CfgService::Acquire(const rpc::PeerInfo& peer, std::uint32_t sessionId) {
  std::lock_guard<std::mutex> guard(lock_);
  auto it = sessions_.find(sessionId);
  if (it == sessions_.end() || it->second.closing) return false;
  it->second.connections.insert(peer.connection);
  it->second.orphaned = false;
  ++it->second.busy;
  return true;
}

void CfgService::Release(std::uint32_t sessionId) {
  std::lock_guard<std::mutex> guard(lock_);
  auto it = sessions_.find(sessionId);
  if (it != sessions_.end() && --it->second.busy == 0) idle_.notify_all();
}

bool CfgService::Retire(std::unique_lock<std::mutex>& guard, std::uint32_t sessionId) {
  auto it = sessions_.find(sessionId);
  if (it == sessions_.end() || it->second.closing) return false;
  it->second.closing = true;
  // Only the one who set `closing` erases the entry, so `it` stays valid.
  idle_.wait(guard, [&] { return it->second.busy == 0; });
  sessions_.erase(it);
  return true;
}

Status CfgService::Command(const rpc::PeerInfo& peer, std::uint32_t sessionId, std::uint32_t command,
                           ByteStream* input, ByteStream* output) {
  if (!Acquire(peer, sessionId)) return kInvalidSession;
  std::uint8_t* data = nullptr;
  std::uint32_t size = 0;
  const auto status = static_cast<Status>(
      keldsrvExecuteCommand(sessionId, command, input->data, input->size, &data, &size));
  Release(sessionId);
  output->data = data;
  output->size = size;
  output->cursor = data;
  return status;
}

Status CfgService::Ping(const rpc::PeerInfo& peer, std::uint32_t sessionId) {
  if (!Acquire(peer, sessionId)) return kInvalidSession;
  const auto status = static_cast<Status>(keldsrvPingSession(sessionId));
  Release(sessionId);
  return status;
}

Status CfgService::Close(const rpc::PeerInfo& /*peer*/, std::uint32_t sessionId) {
  std::lock_guard<std::mutex> registry(registryLock_);
  {
    std::unique_lock<std::mutex> guard(lock_);
    if (!Retire(guard, sessionId)) return kInvalidSession;
  }
  Log(1, "close session " + std::to_string(sessionId));
  return static_cast<Status>(keldsrvCloseSession(sessionId));
}

Status CfgService::Version(const rpc::PeerInfo& /*peer*/, std::uint32_t* version) {
  return static_cast<Status>(cfgQueryVersion(nullptr, version));
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
    const auto expired = [&](const Tracked& tracked, std::chrono::steady_clock::time_point now) {
      return tracked.orphaned && tracked.busy == 0 && !tracked.closing && now - tracked.orphanedAt >= grace;
    };
    auto now = std::chrono::steady_clock::now();
    auto next = now + std::chrono::seconds(1);
    bool due = false;
    for (const auto& [id, tracked] : sessions_) {
      if (expired(tracked, now)) {
        due = true;
      } else if (tracked.orphaned) {
        next = std::min(next, tracked.orphanedAt + grace);
      }
    }
    if (due) {
      // The registry lock comes first; the state is looked at again under both.
      guard.unlock();
      std::lock_guard<std::mutex> registry(registryLock_);
      guard.lock();
      now = std::chrono::steady_clock::now();
      std::vector<std::uint32_t> closing;
      for (auto it = sessions_.begin(); it != sessions_.end();) {
        if (!stopping_ && expired(it->second, now)) {
          closing.push_back(it->first);
          it = sessions_.erase(it);
        } else {
          ++it;
        }
      }
      guard.unlock();
      for (const std::uint32_t id : closing) {
        Log(1, "closing session " + std::to_string(id) + " of a client that went away");
        keldsrvCloseSession(id);
      }
      guard.lock();
      continue;
    }
    wake_.wait_until(guard, next);
  }
}

void CfgService::Stop() {
  {
    std::lock_guard<std::mutex> registry(registryLock_);
    std::unique_lock<std::mutex> guard(lock_);
    stopping_ = true;
    std::vector<std::uint32_t> all;
    for (const auto& [id, tracked] : sessions_) {
      if (!tracked.closing) all.push_back(id);
    }
    std::vector<std::uint32_t> closing;
    for (const std::uint32_t id : all) {
      if (Retire(guard, id)) closing.push_back(id);
    }
    guard.unlock();
    for (const std::uint32_t id : closing) keldsrvCloseSession(id);
  }
  wake_.notify_all();
  if (reaper_.joinable()) reaper_.join();
}

std::size_t CfgService::SessionCount() {
  std::lock_guard<std::mutex> guard(lock_);
  return sessions_.size();
}

}  // namespace keld::server
