// keldcfgd_load: a load generator for keldcfgd, with raw TCP beside it as
// the reference, all in one run on loopback. Not a test.
//
//   keldcfgd_load [--clients N] [--calls M] [--keldcfgd PATH]   (N=32, M=1000)
//
// Starts keldcfgd (beside this program unless told otherwise) on a free
// loopback port with its default limits, then runs N client threads doing M
// cheap calls each, one phase after the other:
//
//   raw TCP       one connection per client; 24 bytes out, 32 back per call
//                 (the sizes of a version request and its reply) against an
//                 echo server of a thread per connection in this process
//   raw RPC       one RpcBinding per client, RemoteVersion per call
//   raw TCP conn  a connection per call: connect, the same exchange, close
//   public API    cfgQueryVersion("localhost") per call: the library binds,
//                 calls and lets go of its connection every time
//
// Each phase runs in five rounds, taking turns with its reference. For each
// phase: calls per second, p50, p99 and max latency, and failures;
// the ratios of the RPC phases to their raw references; and keldcfgd's
// resident memory and threads before and after. Everything stops by itself:
// the phases are bounded in calls, and a watchdog ends the run after
// kWatchdogSeconds whatever happens.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "bench_support.h"
#include "keldcfgc/keldcfgc.h"
#include "platform/registry.h"
#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/rpc_binding.h"
#include "remote/rpc/rpc_error.h"

extern char** environ;

using namespace keld;
using bench::Clock;
using bench::ReadAll;
using bench::WriteAll;

namespace {

constexpr int kWatchdogSeconds = 600;
constexpr int kCallRounds = 5;
constexpr std::size_t kRequestBytes = 24;  // a version request: header only
constexpr std::size_t kReplyBytes = 32;    // its reply: header, version, status

std::uint64_t ProcField(pid_t pid, const char* field) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  const std::string prefix = std::string(field) + ":";
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(prefix, 0) == 0) return std::strtoull(line.c_str() + prefix.size(), nullptr, 10);
  }
  return 0;
}

void NoDelay(int fd) {
  const int one = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

int Listen(std::uint16_t* port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int one = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0 || listen(fd, 512) != 0) {
    std::perror("listen");
    std::exit(1);
  }
  socklen_t length = sizeof local;
  getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length);
  *port = ntohs(local.sin_port);
  return fd;
}

int Connect(std::uint16_t port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(port);
  peer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&peer), sizeof peer) != 0) {
    close(fd);
    return -1;
  }
  NoDelay(fd);
  return fd;
}

// The raw reference: answers every 24 bytes with 32, a thread per
// connection, as keldcfgd has.
class EchoServer {
 public:
  EchoServer() {
    fd_ = Listen(&port_);
    thread_ = std::thread([this] { Loop(); });
  }
  ~EchoServer() {
    shutdown(fd_, SHUT_RDWR);
    close(fd_);
    thread_.join();
    // Connection threads end as their clients close.
    for (int i = 0; i < 500 && live_.load() > 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  std::uint16_t port() const { return port_; }

 private:
  void Loop() {
    for (;;) {
      const int client = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) {
        if (errno == EINTR || errno == ECONNABORTED) continue;
        return;
      }
      NoDelay(client);
      live_.fetch_add(1);
      std::thread([this, client] {
        std::uint8_t request[kRequestBytes];
        std::uint8_t reply[kReplyBytes] = {};
        while (ReadAll(client, request, sizeof request) && WriteAll(client, reply, sizeof reply)) {
        }
        close(client);
        live_.fetch_sub(1);
      }).detach();
    }
  }
  int fd_ = -1;
  std::uint16_t port_ = 0;
  std::thread thread_;
  std::atomic<int> live_{0};
};

// keldcfgd as a child process on a free loopback port.
class Daemon {
 public:
  explicit Daemon(const std::string& path) {
    std::uint16_t port = 0;
    close(Listen(&port));  // a free port, released for keldcfgd
    port_ = port;
    const std::string listen = "127.0.0.1:" + std::to_string(port);
    std::vector<std::string> argv = {path, "--listen", listen, "--log-level", "warning"};
    std::vector<char*> args;
    for (std::string& arg : argv) args.push_back(arg.data());
    args.push_back(nullptr);
    if (posix_spawn(&pid_, path.c_str(), nullptr, nullptr, args.data(), environ) != 0) {
      std::fprintf(stderr, "cannot start %s\n", path.c_str());
      std::exit(1);
    }
    // Ready once it answers a version call.
    for (int i = 0; i < 200; ++i) {
      try {
        rpc::RpcBinding binding("127.0.0.1", port_);
        binding.SetComTimeout(1000);
        std::uint32_t version = 0;
        if (rpc::RemoteVersion(&binding, &version) == kSuccess) return;
      } catch (const rpc::RpcError&) {
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    std::fprintf(stderr, "keldcfgd did not answer on %s\n", listen.c_str());
    std::exit(1);
  }
  ~Daemon() {
    kill(pid_, SIGTERM);
    int status = 0;
    waitpid(pid_, &status, 0);
  }
  std::uint16_t port() const { return port_; }
  std::uint64_t RssKiB() const { return ProcField(pid_, "VmRSS"); }
  std::uint64_t Threads() const { return ProcField(pid_, "Threads"); }

 private:
  pid_t pid_ = -1;
  std::uint16_t port_ = 0;
};

struct PhaseResult {
  const char* name;
  double callsPerSecond = 0;
  double p50Us = 0, p99Us = 0, maxUs = 0;
  std::uint64_t failures = 0;
};

// The calls of one phase over all its rounds: each call's latency in ns,
// and the time the rounds took.
struct Phase {
  const char* name;
  std::vector<std::uint32_t> latencies;
  double seconds = 0;
  std::uint64_t failures = 0;

  PhaseResult Result() {
    std::sort(latencies.begin(), latencies.end());
    PhaseResult result{name};
    result.callsPerSecond = static_cast<double>(latencies.size()) / seconds;
    const auto at = [&](double q) {
      return latencies[std::min(latencies.size() - 1, static_cast<std::size_t>(q * latencies.size()))] / 1000.0;
    };
    result.p50Us = at(0.50);
    result.p99Us = at(0.99);
    result.maxUs = latencies.back() / 1000.0;
    result.failures = failures;
    return result;
  }
};

// One round of a phase: `clients` threads each make a client with `setUp`
// (not timed), then call `call` `calls` times, timing each; a call returns
// false on failure. `midway`, if given, runs while they are half-way through.
using Call = std::function<bool()>;
void RunRound(Phase* phase, int clients, int calls, const std::function<Call()>& setUp,
              const std::function<void()>& midway = {}) {
  std::atomic<long long> done{0};
  std::vector<std::vector<std::uint32_t>> latencies(static_cast<std::size_t>(clients));
  std::vector<std::uint64_t> failures(static_cast<std::size_t>(clients), 0);
  std::atomic<int> ready{0};
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int c = 0; c < clients; ++c) {
    threads.emplace_back([&, c] {
      Call call = setUp();
      auto& mine = latencies[static_cast<std::size_t>(c)];
      mine.reserve(static_cast<std::size_t>(calls));
      ready.fetch_add(1);
      while (!go.load()) std::this_thread::yield();
      for (int i = 0; i < calls; ++i) {
        const auto start = Clock::now();
        const bool ok = call();
        const auto took = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start).count();
        mine.push_back(static_cast<std::uint32_t>(std::min<long long>(took, UINT32_MAX)));
        if (!ok) ++failures[static_cast<std::size_t>(c)];
        done.fetch_add(1, std::memory_order_relaxed);
      }
    });
  }
  while (ready.load() < clients) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  const auto start = Clock::now();
  go.store(true);
  if (midway) {
    const long long half = static_cast<long long>(clients) * calls / 2;
    while (done.load(std::memory_order_relaxed) < half) std::this_thread::sleep_for(std::chrono::microseconds(200));
    midway();
  }
  for (std::thread& thread : threads) thread.join();
  phase->seconds += std::chrono::duration<double>(Clock::now() - start).count();
  for (const auto& mine : latencies) phase->latencies.insert(phase->latencies.end(), mine.begin(), mine.end());
  for (const std::uint64_t f : failures) phase->failures += f;
}

std::string DefaultDaemonPath() {
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  return (self.parent_path() / "keldcfgd").string();
}

// Points the library's registry at a file naming keldcfgd's port, so that
// the public API's calls to "localhost" reach it.
class RegistryPort {
 public:
  explicit RegistryPort(std::uint16_t port) {
    path_ = std::filesystem::temp_directory_path() / ("keldcfgd_load_" + std::to_string(getpid()) + ".reg");
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
  ~RegistryPort() {
    testing::SetRegistryFilePath("");
    std::filesystem::remove(path_);
  }

 private:
  std::filesystem::path path_;
};

void PrintRow(const PhaseResult& r) {
  std::printf("%-14s %12.0f %10.1f %10.1f %10.1f %9llu\n", r.name, r.callsPerSecond, r.p50Us, r.p99Us, r.maxUs,
              static_cast<unsigned long long>(r.failures));
}

}  // namespace

int main(int argc, char** argv) {
  int clients = 32;
  int calls = 1000;
  std::string daemonPath = DefaultDaemonPath();
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string option = argv[i];
    if (option == "--clients") {
      clients = std::max(1, std::atoi(argv[i + 1]));
    } else if (option == "--calls") {
      calls = std::max(1, std::atoi(argv[i + 1]));
    } else if (option == "--keldcfgd") {
      daemonPath = argv[i + 1];
    } else {
      std::fprintf(stderr, "usage: keldcfgd_load [--clients N] [--calls M] [--keldcfgd PATH]\n");
      return 2;
    }
  }
  // The watchdog: whatever hangs, the run ends.
  std::thread([] {
    std::this_thread::sleep_for(std::chrono::seconds(kWatchdogSeconds));
    std::fprintf(stderr, "keldcfgd_load: watchdog: stopping after %d s\n", kWatchdogSeconds);
    std::_Exit(3);
  }).detach();

  EchoServer echo;
  Daemon daemon(daemonPath);
  RegistryPort registry(daemon.port());
  const std::uint64_t rssBefore = daemon.RssKiB();
  const std::uint64_t threadsBefore = daemon.Threads();
  std::printf("keldcfgd_load: %d clients x %d calls on loopback; keldcfgd on port %u with its default limits\n",
              clients, calls, daemon.port());

  // Each reference and the phase it is the reference of take turns in
  // rounds, so that other load on the machine falls on both alike.
  const auto rawTcp = [&]() -> Call {
    auto fd = std::make_shared<int>(Connect(echo.port()));
    return [fd] {
      std::uint8_t request[kRequestBytes] = {};
      std::uint8_t reply[kReplyBytes];
      return WriteAll(*fd, request, sizeof request) && ReadAll(*fd, reply, sizeof reply);
    };
  };
  const auto rawRpc = [&]() -> Call {
    auto binding = std::make_shared<rpc::RpcBinding>("127.0.0.1", daemon.port());
    binding->SetComTimeout(10000);
    return [binding] {
      std::uint32_t version = 0;
      try {
        return rpc::RemoteVersion(binding.get(), &version) == kSuccess;
      } catch (const rpc::RpcError&) {
        return false;
      }
    };
  };
  const auto rawTcpConnection = [&]() -> Call {
    return [&echo] {
      const int fd = Connect(echo.port());
      if (fd < 0) return false;
      std::uint8_t request[kRequestBytes] = {};
      std::uint8_t reply[kReplyBytes];
      const bool ok = WriteAll(fd, request, sizeof request) && ReadAll(fd, reply, sizeof reply);
      close(fd);
      return ok;
    };
  };
  const auto publicApi = []() -> Call {
    return [] {
      std::uint32_t version = 0;
      return cfgQueryVersion("localhost", &version) == 0;
    };
  };
  Phase phases[4] = {{"raw TCP", {}, 0, 0}, {"raw RPC", {}, 0, 0}, {"raw TCP conn", {}, 0, 0}, {"public API", {}, 0, 0}};
  std::uint64_t rssLoaded = 0;
  std::uint64_t threadsLoaded = 0;
  std::uint64_t threadsChurning = 0;
  for (int round = 0; round < kCallRounds; ++round) {
    const int share = calls / kCallRounds + (round < calls % kCallRounds ? 1 : 0);
    if (share == 0) continue;
    RunRound(&phases[0], clients, share, rawTcp);
    RunRound(&phases[1], clients, share, rawRpc, [&] {
      rssLoaded = std::max(rssLoaded, daemon.RssKiB());
      threadsLoaded = std::max(threadsLoaded, daemon.Threads());
    });
  }
  for (int round = 0; round < kCallRounds; ++round) {
    const int share = calls / kCallRounds + (round < calls % kCallRounds ? 1 : 0);
    if (share == 0) continue;
    RunRound(&phases[2], clients, share, rawTcpConnection);
    RunRound(&phases[3], clients, share, publicApi,
             [&] { threadsChurning = std::max(threadsChurning, daemon.Threads()); });
  }
  std::vector<PhaseResult> results;
  for (Phase& phase : phases) results.push_back(phase.Result());
  // Connections the last phase closed end their threads within a moment.
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  const std::uint64_t rssAfter = daemon.RssKiB();
  const std::uint64_t threadsAfter = daemon.Threads();

  std::printf("\n%-14s %12s %10s %10s %10s %9s\n", "phase", "calls/s", "p50 us", "p99 us", "max us", "failures");
  for (const PhaseResult& r : results) PrintRow(r);
  std::printf("\nraw RPC / raw TCP:          %.2f of the calls/s, p50 x%.2f, p99 x%.2f\n",
              results[1].callsPerSecond / results[0].callsPerSecond, results[1].p50Us / results[0].p50Us,
              results[1].p99Us / results[0].p99Us);
  std::printf("public API / raw TCP conn:  %.2f of the calls/s, p50 x%.2f, p99 x%.2f\n",
              results[3].callsPerSecond / results[2].callsPerSecond, results[3].p50Us / results[2].p50Us,
              results[3].p99Us / results[2].p99Us);
  std::printf("\nkeldcfgd RSS %llu KiB and %llu threads before, %llu KiB and %llu threads with %d RPC clients calling,"
              " %llu KiB and %llu threads after\n",
              static_cast<unsigned long long>(rssBefore), static_cast<unsigned long long>(threadsBefore),
              static_cast<unsigned long long>(rssLoaded), static_cast<unsigned long long>(threadsLoaded), clients,
              static_cast<unsigned long long>(rssAfter), static_cast<unsigned long long>(threadsAfter));
  std::printf("keldcfgd threads at most, half-way through a round of the public API (a connection per call): %llu\n",
              static_cast<unsigned long long>(threadsChurning));
  std::uint64_t failed = 0;
  for (const PhaseResult& r : results) failed += r.failures;
  return failed == 0 ? 0 : 1;
}
