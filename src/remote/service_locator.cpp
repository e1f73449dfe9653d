#include "remote/service_locator.h"

#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/cfg_string.h"
#include "remote/resolve_host.h"
#include "remote/socket_connection.h"

namespace keld {

namespace {

constexpr const char* kTargetsPath = "Orvane Devices/Flowmere Real-Time/Targets";
constexpr std::size_t kLineSize = 1024;

std::atomic<std::uint16_t> locatorPortOverride{0};

std::uint16_t LocatorPort() {
  const std::uint16_t port = locatorPortOverride.load();
  return port != 0 ? port : kLocatorPort;
}

// The number behind `key` where `line` begins with it.
bool ValueBehind(const char* line, const char* key, int* value) {
  const std::size_t length = std::strlen(key);
  if (std::strncmp(line, key, length) != 0) return false;
  *value = std::atoi(line + length);
  return true;
}

}  // namespace

std::string PercentEncode(const std::string& text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte)) {
      out += c;
    } else {
      out += '%';
      out += kHex[byte >> 4];
      out += kHex[byte & 0xF];
    }
  }
  return out;
}

std::uint16_t LocateService(const char* host, const char* targetName, int servicePort, bool* ok) {
  if (ok != nullptr) *ok = false;
  if (targetName == nullptr) return 0;
  std::string path = FormatString("%s/%s/Services/%d", kTargetsPath, targetName, servicePort).c_str();
  if (!path.empty() && path[0] == '/') path.erase(0, 1);
  const std::string request = "GET " + PercentEncode(path) + " HTTP/1.0\r\n\r\n";

  SocketConnection connection;
  connection.Connect(ResolveHost(host), LocatorPort(), kLocatorStepTimeoutMs);
  if (!connection.SendText(request.c_str(), kLocatorStepTimeoutMs)) {
    connection.CloseGracefully(true);
    return 0;
  }
  if (ok != nullptr) *ok = true;

  int port = 0;
  char line[kLineSize];
  while (connection.ReadLine(line, sizeof line, kLocatorStepTimeoutMs)) {
    if (ValueBehind(line, "Mapping=", &port) || ValueBehind(line, "Port=", &port)) break;
  }
  connection.CloseGracefully(true);
  return static_cast<std::uint16_t>(port);
}

namespace testing {
void SetLocatorPort(std::uint16_t port) { locatorPortOverride.store(port); }
}  // namespace testing

}  // namespace keld
