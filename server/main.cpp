// keldcfgd: the target's server. Serves the CfgRemote interface on TCP,
// optionally answers the service locator, logs to stderr and stops on
// SIGTERM or SIGINT, closing every session it made.
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <mutex>

#include "cfg_service.h"
#include "locator_service.h"
#include "remote/rpc/rpc_server.h"
#include "remote/rpc/rpc_socket.h"
#include "server_options.h"

using namespace keld;

namespace {

std::mutex logLock;
int logLevel = 1;

void LogLine(int level, const std::string& text) {
  if (level > logLevel) return;
  static constexpr const char* kNames[] = {"error", "info", "debug"};
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  std::lock_guard<std::mutex> guard(logLock);
  std::fprintf(stderr, "%s keldcfgd %s: %s\n", stamp, kNames[std::clamp(level, 0, 2)], text.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  server::ServerOptions options;
  const int exitCode = server::ParseCommandLine(argc, argv, &options);
  if (exitCode >= 0) return exitCode;
  logLevel = options.logLevel;

  // The signals are taken by sigwait below; every thread inherits the mask.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  server::ServiceOptions serviceOptions;
  serviceOptions.graceMs = options.graceMs;
  serviceOptions.allowMtuSet = options.allowMtuSet;
  serviceOptions.log = LogLine;
  server::CfgService service(serviceOptions);

  rpc::RpcServerOptions rpcOptions;
  rpcOptions.address = options.listenAddress;
  rpcOptions.port = options.listenPort;
  rpcOptions.ioTimeoutMs = options.ioTimeoutMs;
  rpcOptions.log = LogLine;
  if (!options.allow.empty()) {
    const std::vector<std::uint32_t> allowed = options.allow;
    rpcOptions.allow = [allowed](std::uint32_t address) {
      return std::find(allowed.begin(), allowed.end(), address) != allowed.end();
    };
  }
  rpc::RpcServer server(rpcOptions, &service);
  std::string error;
  if (!server.Start(&error)) {
    LogLine(0, "cannot listen on " + rpc::FormatPeer(options.listenAddress, options.listenPort) + ": " + error);
    return 1;
  }
  LogLine(1, "listening on " + rpc::FormatPeer(options.listenAddress, server.port()));

  std::unique_ptr<server::LocatorService> locator;
  if (options.locator) {
    server::LocatorOptions locatorOptions;
    locatorOptions.address = options.listenAddress;
    locatorOptions.port = options.locatorPort;
    locatorOptions.servicePort = server.port();
    locatorOptions.targets = options.targets;
    locatorOptions.log = LogLine;
    locator = std::make_unique<server::LocatorService>(locatorOptions);
    if (!locator->Start(&error)) {
      LogLine(0, "cannot serve the locator on port " + std::to_string(options.locatorPort) + ": " + error);
      server.Stop();
      return 1;
    }
    LogLine(1, "service locator on " + rpc::FormatPeer(options.listenAddress, locator->port()));
  }

  int received = 0;
  sigwait(&signals, &received);
  LogLine(1, std::string("stopping on ") + (received == SIGTERM ? "SIGTERM" : "SIGINT"));
  if (locator) locator->Stop();
  server.Stop();
  service.Stop();
  LogLine(1, "stopped");
  return 0;
}
