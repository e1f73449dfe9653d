#include "support_servers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>

#include "platform/registry.h"
#include "remote/service_locator.h"

namespace keld::testsupport {

namespace {

int ListenLoopback(std::uint16_t* port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local);
  listen(fd, 16);
  socklen_t length = sizeof local;
  getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length);
  *port = ntohs(local.sin_port);
  return fd;
}

int AcceptWithin(int fd, int ms) {
  pollfd entry{fd, POLLIN, 0};
  if (poll(&entry, 1, ms) <= 0) return -1;
  return accept4(fd, nullptr, nullptr, SOCK_CLOEXEC);
}

}  // namespace

Status EchoHandler::Command(const rpc::PeerInfo&, std::uint32_t, std::uint32_t command, ByteStream* input,
                            ByteStream* output) {
  if (input->size != 0) return output->AppendBytes(input->data, input->size);
  Status status = output->Extend(command);
  for (std::uint32_t i = 0; status == kSuccess && i < command; ++i) output->data[i] = static_cast<std::uint8_t>(i);
  return status;
}

namespace {

server::ServiceOptions GraceOnly(std::uint32_t graceMs) {
  server::ServiceOptions options;
  options.graceMs = graceMs;
  return options;
}

rpc::RpcServerOptions TimeoutAndAllowList(std::uint32_t ioTimeoutMs, std::function<bool(std::uint32_t)> allow) {
  rpc::RpcServerOptions options;
  options.ioTimeoutMs = ioTimeoutMs;
  options.allow = std::move(allow);
  return options;
}

}  // namespace

ServiceServer::ServiceServer(std::uint32_t graceMs, std::uint32_t ioTimeoutMs, std::function<bool(std::uint32_t)> allow)
    : ServiceServer(GraceOnly(graceMs), TimeoutAndAllowList(ioTimeoutMs, std::move(allow))) {}

ServiceServer::ServiceServer(server::ServiceOptions serviceOptions, rpc::RpcServerOptions rpcOptions) {
  service = std::make_unique<server::CfgService>(std::move(serviceOptions));
  rpcOptions.port = 0;
  rpc = std::make_unique<rpc::RpcServer>(std::move(rpcOptions), service.get());
  std::string error;
  if (!rpc->Start(&error)) std::abort();
}

ServiceServer::~ServiceServer() {
  rpc->Stop();
  service->Stop();
}

HandlerServer::HandlerServer(rpc::CfgRemoteHandler* handler, std::uint16_t maxFrag, std::uint32_t ioTimeoutMs,
                             std::uint16_t port) {
  rpc::RpcServerOptions options;
  options.port = port;
  options.maxFrag = maxFrag;
  options.ioTimeoutMs = ioTimeoutMs;
  rpc = std::make_unique<rpc::RpcServer>(options, handler);
  std::string error;
  if (!rpc->Start(&error)) std::abort();
}

HttpStandIn::HttpStandIn(std::string reply, int holdMs) : reply_(std::move(reply)), holdMs_(holdMs) {
  fd_ = ListenLoopback(&port_);
  thread_ = std::thread([this] { Loop(); });
}

HttpStandIn::~HttpStandIn() {
  stop_.store(true);
  thread_.join();
  close(fd_);
}

std::vector<std::string> HttpStandIn::requests() {
  std::lock_guard<std::mutex> guard(lock_);
  return requests_;
}

void HttpStandIn::Loop() {
  while (!stop_.load()) {
    const int client = AcceptWithin(fd_, 50);
    if (client < 0) continue;
    std::string request;
    char c = 0;
    while (request.find("\r\n\r\n") == std::string::npos && request.size() < 4096 && recv(client, &c, 1, 0) == 1) {
      request += c;
    }
    {
      std::lock_guard<std::mutex> guard(lock_);
      requests_.push_back(request.substr(0, request.find("\r\n")));
    }
    send(client, reply_.data(), reply_.size(), MSG_NOSIGNAL);
    if (holdMs_ > 0) std::this_thread::sleep_for(std::chrono::milliseconds(holdMs_));
    closedAfterHold.store(true);
    close(client);
  }
}

SilentServer::SilentServer() {
  fd_ = ListenLoopback(&port_);
  thread_ = std::thread([this] {
    std::vector<int> clients;
    while (!stop_.load()) {
      const int client = AcceptWithin(fd_, 50);
      if (client >= 0) clients.push_back(client);
    }
    for (const int client : clients) close(client);
  });
}

SilentServer::~SilentServer() {
  stop_.store(true);
  thread_.join();
  close(fd_);
}

std::uint16_t UnusedPort() {
  std::uint16_t port = 0;
  close(ListenLoopback(&port));
  return port;
}

ScopedRegistryPort::ScopedRegistryPort(std::uint32_t port) {
  path_ = std::filesystem::temp_directory_path() /
          ("keld_remote_" + std::to_string(getpid()) + "_" + std::to_string(port) + ".reg");
  std::ofstream file(path_);
  char value[16];
  std::snprintf(value, sizeof value, "%08x", port);
  file << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvane Devices\\OD-KELD Configuration]\n"
       << "\"CurrentVersion\"=\"18.5\"\n\n"
       << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvane Devices\\OD-KELD Configuration\\18.5]\n"
       << "\"RemotePort\"=dword:" << value << "\n";
  file.close();
  testing::SetRegistryFilePath(path_.string());
}

ScopedRegistryPort::~ScopedRegistryPort() {
  testing::SetRegistryFilePath("");
  std::filesystem::remove(path_);
}

ScopedLocatorPort::ScopedLocatorPort(std::uint16_t port) { testing::SetLocatorPort(port); }
ScopedLocatorPort::~ScopedLocatorPort() { testing::SetLocatorPort(0); }

int ConnectRaw(std::uint16_t port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(port);
  peer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&peer), sizeof peer) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

std::vector<std::uint8_t> ReadRawPdu(int fd) {
  timeval limit{5, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  std::vector<std::uint8_t> pdu(16);
  if (recv(fd, pdu.data(), 16, MSG_WAITALL) != 16) return {};
  const std::size_t length = pdu[8] | pdu[9] << 8;
  if (length < 16) return {};
  pdu.resize(length);
  if (length > 16 && recv(fd, pdu.data() + 16, length - 16, MSG_WAITALL) != static_cast<ssize_t>(length - 16)) return {};
  return pdu;
}

bool PeerCloses(int fd, int limitMs) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
  char buffer[4096];
  while (std::chrono::steady_clock::now() < end) {
    pollfd entry{fd, POLLIN, 0};
    if (poll(&entry, 1, 50) <= 0) continue;
    const ssize_t got = recv(fd, buffer, sizeof buffer, 0);
    if (got <= 0) return true;
  }
  return false;
}

}  // namespace keld::testsupport
