#include "server_options.h"

#include <arpa/inet.h>

#include <CLI/CLI.hpp>

#include "keldcfgc/version.hpp"
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
"10.0.0.7::name"). It runs in the foreground and logs to standard error.

SIGNALS
  SIGTERM, SIGINT  stop: close every session made for clients, then exit.

FILES
  /etc/keldcfgc/registry.reg  the library's settings; its value RemotePort is
                              the port clients use where a host text names no
                              target (7750 without it). An example comes with
                              the documentation (share/doc/keldcfgc).

EXIT STATUS
  0 stopped by a signal, 1 cannot listen or serve the locator, 2 a bad
  --listen or --allow; other values: the command line was not understood.

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
  app.add_option("--grace-ms", options->graceMs, "ms before sessions of a vanished client are closed");
  app.add_option("--io-timeout-ms", options->ioTimeoutMs, "ms a peer may take inside one PDU");
  app.add_flag("--allow-mtu-set", options->allowMtuSet, "let clients set adapter MTUs");
  app.add_option("--log-level", level, "error, info or debug")->check(CLI::IsMember({"error", "info", "debug"}));
  // The empty lists tell their default in their descriptions.
  for (const char* name : {"--target", "--allow"}) app.get_option(name)->default_str("");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  }
  if (!ParseListen(listen, &options->listenAddress, &options->listenPort)) {
    std::fprintf(stderr, "keldcfgd: bad --listen '%s'\n", listen.c_str());
    return 2;
  }
  for (const std::string& text : allow) {
    std::uint32_t address = 0;
    if (!ParseAddress(text, &address)) {
      std::fprintf(stderr, "keldcfgd: bad --allow '%s'\n", text.c_str());
      return 2;
    }
    options->allow.push_back(address);
  }
  options->logLevel = level == "error" ? 0 : level == "info" ? 1 : 2;
  return -1;
}

}  // namespace keld::server
