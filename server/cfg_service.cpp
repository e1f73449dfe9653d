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
  const auto status = static_cast<Status>(
      keldsrvCreateSession(driverType, name.c_str(), interfaceName.c_str(), sessionId));
  Log(1, "open driver " + std::to_string(driverType) + " '" + interfaceName + "' for '" + name + "': status " +
             std::to_string(status) + ", id " + std::to_string(*sessionId));
  if (status == kSuccess) {
    std::lock_guard<std::mutex> guard(lock_);
    sessions_[*sessionId].connections.insert(peer.connection);
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
  std::uint8_t* data = nullptr;
  std::uint32_t size = 0;
  const auto status = static_cast<Status>(
      keldsrvExecuteCommand(sessionId, command, input->data, input->size, &data, &size));
  output->data = data;
  output->size = size;
  output->cursor = data;
  return status;
}

Status CfgService::Ping(const rpc::PeerInfo& peer, std::uint32_t sessionId) {
  if (!Touch(peer, sessionId)) return kInvalidSession;
  return static_cast<Status>(keldsrvPingSession(sessionId));
}

Status CfgService::Close(const rpc::PeerInfo& /*peer*/, std::uint32_t sessionId) {
  {
    std::lock_guard<std::mutex> guard(lock_);
    if (sessions_.erase(sessionId) == 0) return kInvalidSession;
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
    const auto now = std::chrono::steady_clock::now();
    const auto grace = std::chrono::milliseconds(options_.graceMs);
    auto next = now + std::chrono::seconds(1);
    std::vector<std::uint32_t> expired;
    for (const auto& [id, tracked] : sessions_) {
      if (!tracked.orphaned) continue;
      if (now - tracked.orphanedAt >= grace) {
        expired.push_back(id);
      } else {
        next = std::min(next, tracked.orphanedAt + grace);
      }
    }
    for (const std::uint32_t id : expired) {
      sessions_.erase(id);
      Log(1, "closing session " + std::to_string(id) + " of a client that went away");
      keldsrvCloseSession(id);
    }
    wake_.wait_until(guard, next);
  }
}

void CfgService::Stop() {
  {
    std::lock_guard<std::mutex> guard(lock_);
    stopping_ = true;
    for (const auto& [id, tracked] : sessions_) keldsrvCloseSession(id);
    sessions_.clear();
  }
  wake_.notify_all();
  if (reaper_.joinable()) reaper_.join();
}

std::size_t CfgService::SessionCount() {
  std::lock_guard<std::mutex> guard(lock_);
  return sessions_.size();
}

}  // namespace keld::server
