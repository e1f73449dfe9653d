// Command line of keldcfgd and the pieces of it that tests reuse.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "remote/rpc/rpc_log.h"

namespace keld::server {

// keldcfgd's exit codes.
inline constexpr int kExitStopped = 0;      // stopped on SIGTERM or SIGINT, every session closed
inline constexpr int kExitCannotStart = 1;  // could not listen, serve the locator or open the log
inline constexpr int kExitUsage = 2;        // bad command line
inline constexpr int kExitCutCalls = 3;     // stopped, but calls were still running after the drain time

struct ServerOptions {
  std::uint32_t listenAddress = 0x7F000001;
  std::uint16_t listenPort = 7750;
  bool locator = false;
  std::uint16_t locatorPort = 3580;
  std::vector<std::string> targets;
  std::vector<std::uint32_t> allow;  // peer addresses; empty allows all
  std::uint32_t graceMs = 30000;
  std::uint32_t ioTimeoutMs = 30000;
  std::uint32_t bindTimeoutMs = 5000;
  std::uint32_t idleTimeoutMs = 120000;
  std::size_t maxConnections = 512;
  std::size_t maxConnectionsPerPeer = 128;
  std::size_t maxRequestMiB = 64;
  std::size_t requestMemoryMiB = 256;
  std::size_t maxReplyMiB = 256;
  std::size_t maxSessionsPerClient = 32;
  std::size_t maxSessions = 1024;
  std::uint32_t keepAliveS = 30;
  std::uint32_t drainMs = 10000;
  bool allowMtuSet = false;
  rpc::LogLevel logLevel = rpc::LogLevel::kInfo;
  std::string logFile;  // empty: stderr
};

// "a.b.c.d:port" (or "a.b.c.d", keeping the port) into address and port.
bool ParseListen(const std::string& text, std::uint32_t* address, std::uint16_t* port);
// A dotted IPv4 address into host byte order.
bool ParseAddress(const std::string& text, std::uint32_t* address);
// Parses argv; returns -1 to go on, or the exit code (help, bad usage).
int ParseCommandLine(int argc, char** argv, ServerOptions* options);

}  // namespace keld::server
