#include "server_options.h"

#include <arpa/inet.h>

#include <CLI/CLI.hpp>

#include "keldcfgc/version.hpp"
#include "logger.h"
#include "session/library_version.h"

namespace keld::server {

bool ParseAddress(const std::string& text, std::uint32_t* address) {
  in_addr parsed{};
  if (inet_pton(AF_INET, text.c_str(), &parsed) != 1) return false;
  *address = ntohl(parsed.s_addr);
  return true;
}

bool ParseListen(const std::string& text, std::uint32_t* address, std::uint16_t* port) {
  const std::size_t colon = text.rfind(':');
  if (!ParseAddress(text.substr(0, colon), address)) return false;
  if (colon == std::string::npos) return true;
  const std::string digits = text.substr(colon + 1);
  if (digits.empty() || digits.size() > 5 || digits.find_first_not_of("0123456789") != std::string::npos) return false;
  const unsigned long value = std::stoul(digits);
  if (value > 65535) return false;
  *port = static_cast<std::uint16_t>(value);
  return true;
}

namespace {

// The sections of a manual page that the options alone do not tell.
constexpr const char* kHelpFooter = R"(
keldcfgd serves the boards and cameras of this machine to clients of
libkeldcfgc on other machines (host texts such as "10.0.0.7" or
"10.0.0.7::name"). It runs in the foreground and logs to standard error (or --log-file).

SIGNALS
  SIGTERM, SIGINT  stop: let calls in progress finish (up to --drain-ms),
                   close every session made for clients, then exit.
  SIGHUP           open the log file again (after a rotation).

FILES
  /etc/keldcfgc/registry.reg  the library's settings; its value RemotePort is
                              the port clients use where a host text names no
                              target (7750 without it). An example comes with
                              the documentation (share/doc/keldcfgc).

EXIT STATUS
  0 stopped on SIGTERM or SIGINT with every session closed; 1 could not
  listen, serve the locator or open the log; 2 bad command line; 3 stopped,
  but calls still running after --drain-ms were cut.

EXAMPLES
  keldcfgd --listen 0.0.0.0:7750 --allow 10.0.0.5
  keldcfgd --locator --target demo)";

}  // namespace

int ParseCommandLine(int argc, char** argv, ServerOptions* options) {
  CLI::App app{"keldcfgd: serves configuration sessions of this machine to remote clients over DCE/RPC"};
  app.footer(kHelpFooter);
  app.set_version_flag("--version", "keldcfgd of keldcfgc " + tHTVersion(kCurrentVersion).toString(),
                       "print the library's version and exit");
  app.option_defaults()->always_capture_default();
  std::string listen = "127.0.0.1:7750";
  std::vector<std::string> allow;
  std::string level = "info";
  app.add_option("--listen", listen, "address:port to serve on (loopback unless told otherwise)");
  app.add_flag("--locator", options->locator, "answer the service locator for named targets");
  app.add_option("--locator-port", options->locatorPort, "TCP port of the service locator");
  app.add_option("--target", options->targets, "target name the locator answers for (default: any)");
  app.add_option("--allow", allow, "peer address allowed to connect (repeatable; default: any)");
  app.add_option("--grace-ms", options->graceMs, "ms before the sessions of a client without a connection are closed")
      ->capture_default_str();
  app.add_option("--io-timeout-ms", options->ioTimeoutMs, "ms a peer may take inside one PDU or to take a reply")
      ->capture_default_str();
  app.add_option("--bind-timeout-ms", options->bindTimeoutMs, "ms a new connection has to complete its bind")
      ->capture_default_str();
  app.add_option("--idle-timeout-ms", options->idleTimeoutMs,
                 "ms a connection may stay without a call before it is closed (0: never)")
      ->capture_default_str();
  app.add_option("--max-connections", options->maxConnections, "connections served at once; more are refused")
      ->capture_default_str()
      ->check(CLI::Range(1, 65536));
  app.add_option("--max-connections-per-peer", options->maxConnectionsPerPeer,
                 "connections served at once from one peer address")
      ->capture_default_str()
      ->check(CLI::Range(1, 65536));
  app.add_option("--max-request-mib", options->maxRequestMiB, "MiB of the largest request accepted")
      ->capture_default_str()
      ->check(CLI::Range(1, 4095));
  app.add_option("--request-memory-mib", options->requestMemoryMiB,
                 "MiB all requests being received at once may hold")
      ->capture_default_str()
      ->check(CLI::Range(1, 1 << 20));
  app.add_option("--max-reply-mib", options->maxReplyMiB,
                 "MiB of the largest register, block or table reply a client may ask for")
      ->capture_default_str()
      ->check(CLI::Range(1, 4095));
  app.add_option("--max-sessions-per-client", options->maxSessionsPerClient,
                 "sessions one client (peer address and client name) may hold")
      ->capture_default_str()
      ->check(CLI::Range(1, 1 << 20));
  app.add_option("--max-sessions", options->maxSessions, "sessions of all clients together")
      ->capture_default_str()
      ->check(CLI::Range(1, 1 << 20));
  app.add_option("--keepalive-s", options->keepAliveS,
                 "s of silence before TCP keep-alive probes (then every 10 s, 3 tries; 0: off)")
      ->capture_default_str();
  app.add_option("--drain-ms", options->drainMs, "ms calls in progress get to finish on SIGTERM")
      ->capture_default_str();
  app.add_flag("--allow-mtu-set", options->allowMtuSet, "let clients set adapter MTUs");
  app.add_option("--log-level", level, "error, warning, info or debug")
      ->capture_default_str()
      ->check(CLI::IsMember({"error", "warning", "info", "debug"}));
  app.add_option("--log-file", options->logFile, "file to append the log to (default: stderr)");
  // The empty lists tell their default in their descriptions.
  for (const char* name : {"--target", "--allow"}) app.get_option(name)->default_str("");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Help is a success; every mistake is the one usage code.
    return app.exit(error) == 0 ? kExitStopped : kExitUsage;
  }
  if (!ParseListen(listen, &options->listenAddress, &options->listenPort)) {
    std::fprintf(stderr, "keldcfgd: bad --listen '%s'\n", listen.c_str());
    return kExitUsage;
  }
  for (const std::string& text : allow) {
    std::uint32_t address = 0;
    if (!ParseAddress(text, &address)) {
      std::fprintf(stderr, "keldcfgd: bad --allow '%s'\n", text.c_str());
      return kExitUsage;
    }
    options->allow.push_back(address);
  }
  ParseLogLevel(level, &options->logLevel);
  return -1;
}

}  // namespace keld::server
