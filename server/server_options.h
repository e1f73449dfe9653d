// Command line of keldcfgd and the pieces of it that tests reuse.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace keld::server {

struct ServerOptions {
  std::uint32_t listenAddress = 0x7F000001;
  std::uint16_t listenPort = 7750;
  bool locator = false;
  std::uint16_t locatorPort = 3580;
  std::vector<std::string> targets;
  std::vector<std::uint32_t> allow;  // peer addresses; empty allows all
  std::uint32_t graceMs = 30000;
  std::uint32_t ioTimeoutMs = 30000;
  bool allowMtuSet = false;
  int logLevel = 1;  // 0 error, 1 info, 2 debug
};

// "a.b.c.d:port" (or "a.b.c.d", keeping the port) into address and port.
bool ParseListen(const std::string& text, std::uint32_t* address, std::uint16_t* port);
// A dotted IPv4 address into host byte order.
bool ParseAddress(const std::string& text, std::uint32_t* address);
// Parses argv; returns -1 to go on, or the exit code (help, bad usage).
int ParseCommandLine(int argc, char** argv, ServerOptions* options);

}  // namespace keld::server
