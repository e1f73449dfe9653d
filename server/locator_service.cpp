#include "locator_service.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "remote/rpc/rpc_error.h"
#include "remote/rpc/rpc_socket.h"

namespace keld::server {

namespace {

constexpr const char* kTargetsPrefix = "Orvane Devices/Flowmere Real-Time/Targets/";
constexpr std::size_t kMaxRequest = 4096;
constexpr std::uint32_t kRequestTimeoutMs = 5000;

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

std::string Response(const char* status, const std::string& body) {
  return std::string("HTTP/1.0 ") + status + "\r\nContent-Type: text/plain\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace

bool PercentDecode(const std::string& text, std::string* out) {
  out->clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      *out += text[i];
      continue;
    }
    if (i + 2 >= text.size()) return false;
    const int high = HexValue(text[i + 1]);
    const int low = HexValue(text[i + 2]);
    if (high < 0 || low < 0) return false;
    *out += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return true;
}

std::string LocatorReply(const LocatorOptions& options, const std::string& requestLine) {
  const std::string notFound = Response("404 Not Found", "");
  if (requestLine.rfind("GET ", 0) != 0) return Response("400 Bad Request", "");
  const std::size_t end = requestLine.find(' ', 4);
  if (end == std::string::npos) return Response("400 Bad Request", "");
  std::string path;
  if (!PercentDecode(requestLine.substr(4, end - 4), &path)) return Response("400 Bad Request", "");
  if (!path.empty() && path[0] == '/') path.erase(0, 1);
  if (path.rfind(kTargetsPrefix, 0) != 0) return notFound;
  const std::string rest = path.substr(std::strlen(kTargetsPrefix));
  const std::size_t slash = rest.find("/Services/");
  if (slash == std::string::npos || slash == 0) return notFound;
  const std::string name = rest.substr(0, slash);
  if (!options.targets.empty() &&
      std::find(options.targets.begin(), options.targets.end(), name) == options.targets.end()) {
    return notFound;
  }
  return Response("200 OK", "Port=" + std::to_string(options.servicePort) + "\r\n");
}

bool LocatorService::Start(std::string* error) {
  listenFd_ = rpc::ListenTcp(options_.address, options_.port, &port_, error);
  if (listenFd_ < 0) return false;
  thread_ = std::thread([this] { Loop(); });
  return true;
}

void LocatorService::Stop() {
  stop_.store(true);
  if (thread_.joinable()) thread_.join();
  if (listenFd_ >= 0) close(listenFd_);
  listenFd_ = -1;
}

void LocatorService::Loop() {
  while (!stop_.load()) {
    pollfd entry{listenFd_, POLLIN, 0};
    if (poll(&entry, 1, 100) <= 0) continue;
    const int fd = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd >= 0) Answer(fd);
  }
}

void LocatorService::Answer(int fd) {
  rpc::RpcSocket socket(fd);
  socket.SetStopFlag(&stop_);
  const rpc::Deadline deadline = rpc::Deadline::InMs(kRequestTimeoutMs);
  std::string request;
  try {
    // Reads up to the blank line that ends the request's header.
    while (request.find("\r\n\r\n") == std::string::npos && request.find("\n\n") == std::string::npos) {
      if (request.size() >= kMaxRequest) return;
      std::uint8_t byte = 0;
      socket.ReadExact(&byte, 1, deadline);
      request += static_cast<char>(byte);
    }
    const std::string line = request.substr(0, request.find_first_of("\r\n"));
    const std::string reply = LocatorReply(options_, line);
    if (options_.log) options_.log(rpc::LogLevel::kDebug, rpc::log_event::kLocator, "locator: " + line);
    socket.SendAll(reinterpret_cast<const std::uint8_t*>(reply.data()), reply.size(), deadline);
  } catch (const rpc::RpcError&) {
    // A peer that sends too little or too slowly just loses its connection.
  }
}

}  // namespace keld::server
