// keldcfgd: the target's server. Serves the CfgRemote interface on TCP,
// optionally answers the service locator, and logs to stderr or a file.
// Signals: SIGHUP opens the log file again; SIGTERM or SIGINT stop it: no
// new connections, calls in progress get --drain-ms to finish and be
// answered, then every session it made is closed. Exit codes are in
// server_options.h and in --help.
#include <malloc.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "capi/server_frames.h"
#include "cfg_service.h"
#include "locator_service.h"
#include "foundation/debug_log.h"
#include "logger.h"
#include "remote/rpc/rpc_server.h"
#include "remote/rpc/rpc_socket.h"
#include "server_options.h"

using namespace keld;
using rpc::LogLevel;
namespace events = rpc::log_event;

namespace {

// Large blocks (a command's reply) come straight from the kernel and go back
// to it when freed, instead of staying in a heap arena after a big call;
// and a thread per connection need not bring an arena of its own.
void TuneHeap() {
  mallopt(M_MMAP_THRESHOLD, 256 * 1024);
  mallopt(M_TRIM_THRESHOLD, 1024 * 1024);
  mallopt(M_ARENA_MAX, 4);
}

}  // namespace

int main(int argc, char** argv) {
  server::ServerOptions options;
  const int exitCode = server::ParseCommandLine(argc, argv, &options);
  if (exitCode >= 0) return exitCode;
  TuneHeap();

  server::LoggerOptions logOptions;
  logOptions.level = options.logLevel;
  logOptions.path = options.logFile;
  server::Logger logger(logOptions);
  std::string error;
  if (!logger.Open(&error)) {
    std::fprintf(stderr, "keldcfgd: cannot open the log file '%s': %s\n", options.logFile.c_str(), error.c_str());
    return server::kExitCannotStart;
  }
  const rpc::LogFunction log = logger.Function();
  // What the library tolerated of its peers is told at the debug level.
  if (options.logLevel == LogLevel::kDebug) {
    SetDebugSink([log](const std::string& text) { log(LogLevel::kDebug, events::kLibrary, text); });
  }
  // The sink goes before the logger it writes to.
  struct SinkRemoval {
    ~SinkRemoval() { SetDebugSink({}); }
  } sinkRemoval;

  // The signals are taken by sigtimedwait below; every thread inherits the mask.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  frames::SetLargestServerReply(std::uint64_t{options.maxReplyMiB} << 20);
  server::ServiceOptions serviceOptions;
  serviceOptions.graceMs = options.graceMs;
  serviceOptions.maxSessionsPerClient = options.maxSessionsPerClient;
  serviceOptions.maxSessions = options.maxSessions;
  serviceOptions.allowMtuSet = options.allowMtuSet;
  serviceOptions.log = log;
  server::CfgService service(serviceOptions);

  rpc::RpcServerOptions rpcOptions;
  rpcOptions.address = options.listenAddress;
  rpcOptions.port = options.listenPort;
  rpcOptions.ioTimeoutMs = options.ioTimeoutMs;
  rpcOptions.bindTimeoutMs = options.bindTimeoutMs;
  rpcOptions.idleTimeoutMs = options.idleTimeoutMs;
  rpcOptions.maxRequest = options.maxRequestMiB << 20;
  rpcOptions.requestBudget = options.requestMemoryMiB << 20;
  rpcOptions.maxConnections = options.maxConnections;
  rpcOptions.maxConnectionsPerPeer = options.maxConnectionsPerPeer;
  rpcOptions.keepAliveIdleS = options.keepAliveS;
  rpcOptions.log = log;
  if (!options.allow.empty()) {
    const std::vector<std::uint32_t> allowed = options.allow;
    rpcOptions.allow = [allowed](std::uint32_t address) {
      return std::find(allowed.begin(), allowed.end(), address) != allowed.end();
    };
  }
  rpc::RpcServer server(rpcOptions, &service);
  if (!server.Start(&error)) {
    log(LogLevel::kError, events::kListen,
        "cannot listen on " + rpc::FormatPeer(options.listenAddress, options.listenPort) + ": " + error);
    return server::kExitCannotStart;
  }
  log(LogLevel::kInfo, events::kListen, "listening on " + rpc::FormatPeer(options.listenAddress, server.port()));

  std::unique_ptr<server::LocatorService> locator;
  if (options.locator) {
    server::LocatorOptions locatorOptions;
    locatorOptions.address = options.listenAddress;
    locatorOptions.port = options.locatorPort;
    locatorOptions.servicePort = server.port();
    locatorOptions.targets = options.targets;
    locatorOptions.log = log;
    locator = std::make_unique<server::LocatorService>(locatorOptions);
    if (!locator->Start(&error)) {
      log(LogLevel::kError, events::kListen,
          "cannot serve the locator on port " + std::to_string(options.locatorPort) + ": " + error);
      server.Stop();
      return server::kExitCannotStart;
    }
    log(LogLevel::kInfo, events::kListen, "service locator on " + rpc::FormatPeer(options.listenAddress, locator->port()));
  }

  // Waits for a stop, reopening the log on SIGHUP and writing the counts of
  // rate-limited lines once a second.
  int received = 0;
  for (;;) {
    const timespec second{1, 0};
    received = sigtimedwait(&signals, nullptr, &second);
    logger.Flush();
    if (received == SIGHUP) {
      if (!logger.Reopen(&error)) log(LogLevel::kError, events::kFailure, "cannot reopen the log file: " + error);
      log(LogLevel::kInfo, events::kListen, "log reopened");
      continue;
    }
    if (received == SIGTERM || received == SIGINT) break;
  }
  log(LogLevel::kInfo, events::kListen,
      std::string("stopping on ") + (received == SIGTERM ? "SIGTERM" : "SIGINT") + ": draining " +
          std::to_string(server.ConnectionCount()) + " connections for up to " + std::to_string(options.drainMs) +
          " ms");
  if (locator) locator->Stop();
  const bool drained = server.Stop(options.drainMs);
  service.Stop();
  if (!drained) {
    // A call is still inside a session; its session is closed as the call
    // returns, but the process does not wait for that.
    log(LogLevel::kWarning, events::kListen, "stopped with calls still running after the drain time");
    logger.Flush();
    std::fflush(nullptr);
    _exit(server::kExitCutCalls);
  }
  log(LogLevel::kInfo, events::kListen, "stopped");
  return server::kExitStopped;
}
