// LocatorService: keldcfgd's answer to the service look-up of named targets.
// One HTTP/1.0 GET per connection, for the percent-encoded path
// "Orvane Devices/Flowmere Real-Time/Targets/<name>/Services/<port>"; a
// known name (or any name where none are configured) is answered with
// "Port=<rpc port>", anything else with 404. The connection is closed after
// the answer. Requests are read with a time-out and a size limit.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "remote/rpc/rpc_log.h"

namespace keld::server {

struct LocatorOptions {
  std::uint32_t address = 0x7F000001;
  std::uint16_t port = 3580;  // 0 picks a free port
  std::uint16_t servicePort = 7750;  // what the answer names
  std::vector<std::string> targets;  // empty: answer for every name
  rpc::LogFunction log;
};

// Undoes %XX escapes; false where an escape is malformed.
bool PercentDecode(const std::string& text, std::string* out);
// The answer (status line, headers, body) to one request line.
std::string LocatorReply(const LocatorOptions& options, const std::string& requestLine);

class LocatorService {
 public:
  explicit LocatorService(LocatorOptions options) : options_(std::move(options)) {}
  LocatorService(const LocatorService&) = delete;
  LocatorService& operator=(const LocatorService&) = delete;
  ~LocatorService() { Stop(); }

  bool Start(std::string* error);
  void Stop();
  std::uint16_t port() const { return port_; }

 private:
  void Loop();
  void Answer(int fd);

  LocatorOptions options_;
  int listenFd_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

}  // namespace keld::server
