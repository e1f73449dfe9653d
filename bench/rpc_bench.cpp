// rpc_bench: the RPC layer on loopback beside raw TCP, in one run.
//
//   ping: RemotePing round trips per second (a one-fragment request and
//         reply of 28 bytes each) beside a raw TCP ping-pong that moves the
//         same bytes each way.
//   bulk: RemoteCommand with an empty input stream whose reply carries 4 MiB
//         in its output stream, beside a raw TCP exchange that sends a
//         request of the RPC request's size and reads back as many bytes as
//         the RPC reply puts on the wire (the 4 MiB, the NDR fields and one
//         24-byte header per fragment of the negotiated 65528 bytes).
//
// The raw side is the limit of the machine: one connection with
// TCP_NODELAY, blocking calls, buffers allocated once; for the bulk
// transfer, the better in each round of whole-buffer calls, which the kernel
// splits as it likes, and calls of one fragment's size (65528 bytes). The RPC side is the whole call as
// a client sees it: the server's handler appends its 4 MiB to an empty
// ByteStream (one allocation and one copy, the work any command's output
// costs), the reply goes out in fragments, and the client receives it into
// a fresh malloc'd block that it frees again, as the interface demands.
// Raw and RPC take turns in short rounds and each rate is the median of its
// rounds, so that other load on the machine falls on both alike.
// Beside the rates over elapsed time, the goals' measure, the table gives
// rates per second of the process's CPU time: on a busy machine they say
// more about the cost of each side than the elapsed time does.
// Prints a table and the two ratios. Run from a Release build.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/pdu.h"
#include "remote/rpc/rpc_binding.h"
#include "remote/rpc/rpc_server.h"

using namespace keld;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::uint32_t kBulkBytes = 4u << 20;
constexpr int kRounds = 7;
constexpr double kRoundSeconds = 0.25;

// Serves RemotePing and a RemoteCommand whose output is `command` bytes.
class BenchHandler : public rpc::CfgRemoteHandler {
 public:
  BenchHandler() : block_(kBulkBytes, 0x5A) {}
  Status Open(const rpc::PeerInfo&, std::uint32_t, const std::string&, const std::string&, std::uint32_t* id) override {
    *id = 1;
    return kSuccess;
  }
  Status Command(const rpc::PeerInfo&, std::uint32_t, std::uint32_t command, ByteStream*, ByteStream* output) override {
    return output->AppendBytes(block_.data(), command);
  }
  Status Ping(const rpc::PeerInfo&, std::uint32_t) override { return kSuccess; }
  Status Close(const rpc::PeerInfo&, std::uint32_t) override { return kSuccess; }
  Status Version(const rpc::PeerInfo&, std::uint32_t* version) override {
    *version = 1;
    return kSuccess;
  }
  Status GetMTU(const rpc::PeerInfo&, const std::string&, std::uint32_t* mtu) override {
    *mtu = 1500;
    return kSuccess;
  }
  Status SetMTU(const rpc::PeerInfo&, const std::string&, std::uint32_t) override { return kSuccess; }

 private:
  std::vector<std::uint8_t> block_;
};

// Reads (writes) `size` bytes in calls of at most `step` bytes each.
bool ReadAll(int fd, void* buffer, std::size_t size, std::size_t step = SIZE_MAX) {
  auto* at = static_cast<char*>(buffer);
  while (size > 0) {
    const ssize_t got = recv(fd, at, std::min(size, step), 0);
    if (got <= 0) return false;
    at += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool WriteAll(int fd, const void* buffer, std::size_t size, std::size_t step = SIZE_MAX) {
  const auto* at = static_cast<const char*>(buffer);
  while (size > 0) {
    const ssize_t sent = send(fd, at, std::min(size, step), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    at += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

// A raw TCP connection on loopback: a peer thread answers each request of
// `requestBytes` with `replyBytes` from one buffer it keeps; the client side
// writes its request and reads the whole reply into one buffer it keeps.
// Both ends block and use TCP_NODELAY like the RPC layer; each send and
// receive call moves at most `step` bytes (unlimited: the kernel cuts the
// stream as it likes). Nothing stands between the bytes and the sockets.
class RawPair {
 public:
  RawPair(std::size_t requestBytes, std::size_t replyBytes, std::size_t step = SIZE_MAX)
      : request_(requestBytes, 1), reply_(replyBytes), step_(step) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(listener, reinterpret_cast<sockaddr*>(&local), sizeof local);
    listen(listener, 1);
    socklen_t length = sizeof local;
    getsockname(listener, reinterpret_cast<sockaddr*>(&local), &length);
    peer_ = std::thread([listener, requestBytes, replyBytes, step] {
      const int fd = accept(listener, nullptr, nullptr);
      close(listener);
      NoDelay(fd);
      std::vector<char> request(requestBytes), reply(replyBytes, 0x5A);
      while (ReadAll(fd, request.data(), request.size()) && WriteAll(fd, reply.data(), reply.size(), step)) {
      }
      close(fd);
    });
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    if (connect(fd_, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) std::abort();
    NoDelay(fd_);
  }
  ~RawPair() {
    shutdown(fd_, SHUT_RDWR);
    close(fd_);
    peer_.join();
  }
  void Step() {
    if (!WriteAll(fd_, request_.data(), request_.size()) || !ReadAll(fd_, reply_.data(), reply_.size(), step_)) {
      std::abort();
    }
  }

 private:
  static void NoDelay(int fd) {
    const int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  }
  std::vector<char> request_, reply_;
  std::size_t step_;
  std::thread peer_;
  int fd_ = -1;
};

double CpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

struct Rates {
  double wall;  // operations per second of elapsed time
  double cpu;   // operations per second of CPU time of the whole process
};

// Rates of `step` over `seconds`, after a short warm-up. Both ends run in
// this process, so its CPU time covers client, server and the kernel's work
// for them on loopback.
template <typename Step>
Rates Rate(Step step, double seconds) {
  for (int i = 0; i < 5; ++i) step();
  const auto start = Clock::now();
  const double cpuStart = CpuSeconds();
  long count = 0;
  double elapsed = 0;
  do {
    step();
    ++count;
    elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  } while (elapsed < seconds);
  return {static_cast<double>(count) / elapsed, static_cast<double>(count) / (CpuSeconds() - cpuStart)};
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

struct Comparison {
  Rates raw;
  Rates rpc;
};

// The sides take turns in short rounds, so that a load that comes and goes
// on the machine falls on all alike; each rate is the median of its rounds.
// The raw reference of a round is the better of two ways of moving the
// bytes: whole buffers per call, or calls of at most one fragment's size as
// the RPC layer makes them.
template <typename RawWhole, typename RawChunked, typename RpcStep>
Comparison Compare(RawWhole rawWhole, RawChunked rawChunked, RpcStep rpc) {
  std::vector<double> rawWall, rawCpu, rpcWall, rpcCpu;
  for (int round = 0; round < kRounds; ++round) {
    const Rates whole = Rate(rawWhole, kRoundSeconds);
    const Rates chunked = Rate(rawChunked, kRoundSeconds);
    const Rates c = Rate(rpc, kRoundSeconds);
    rawWall.push_back(std::max(whole.wall, chunked.wall));
    rawCpu.push_back(std::max(whole.cpu, chunked.cpu));
    rpcWall.push_back(c.wall);
    rpcCpu.push_back(c.cpu);
  }
  return {{Median(rawWall), Median(rawCpu)}, {Median(rpcWall), Median(rpcCpu)}};
}

// Bytes on the wire of a request or response whose stub is `stub` bytes,
// cut into fragments of at most maxFrag.
std::size_t WireBytes(std::size_t stub, std::size_t maxFrag) {
  const std::size_t chunk = rpc::StubBytesPerFragment(maxFrag);
  const std::size_t fragments = stub == 0 ? 1 : (stub + chunk - 1) / chunk;
  return stub + fragments * rpc::kRequestHeaderSize;
}

}  // namespace

int main() {
  BenchHandler handler;
  rpc::RpcServerOptions options;
  options.port = 0;
  rpc::RpcServer server(options, &handler);
  std::string error;
  if (!server.Start(&error)) {
    std::fprintf(stderr, "server: %s\n", error.c_str());
    return 1;
  }
  rpc::RpcBinding binding("127.0.0.1", server.port());
  binding.SetComTimeout(60000);

  // Wire bytes of one RemotePing: the session id out, the status back.
  const Comparison ping = [&] {
    RawPair raw(WireBytes(4, rpc::kDefaultMaxFrag), WireBytes(4, rpc::kDefaultMaxFrag));
    return Compare([&] { raw.Step(); }, [&] { raw.Step(); },
                   [&] {
                     if (rpc::RemotePing(&binding, 1) != kSuccess) std::abort();
                   });
  }();

  // Wire bytes of one RemoteCommand with an empty input and kBulkBytes of
  // output: session id, command and an empty stream out; the stream's three
  // fields, the array count, the payload and the status back.
  const Comparison bulk = [&] {
    const std::size_t request = WireBytes(20, rpc::kDefaultMaxFrag);
    const std::size_t reply = WireBytes(16 + kBulkBytes + 4, rpc::kDefaultMaxFrag);
    RawPair whole(request, reply), chunked(request, reply, rpc::kDefaultMaxFrag);
    return Compare([&] { whole.Step(); }, [&] { chunked.Step(); },
                   [&] {
                     ScopedByteStream in, out;
                     if (rpc::RemoteCommand(&binding, 1, kBulkBytes, in.get(), out.get()) != kSuccess ||
                         out->size != kBulkBytes) {
                       std::abort();
                     }
                   });
  }();
  const double mib = kBulkBytes / 1048576.0;
  server.Stop();

  const auto row = [](const char* what, double raw, double rpc) {
    std::printf("%-48s %12.0f %12.0f %8.2f\n", what, raw, rpc, rpc / raw);
  };
  std::printf("%-48s %12s %12s %8s\n", "measure (loopback, median of rounds)", "raw TCP", "RPC", "ratio");
  row("RemotePing round trips per second", ping.raw.wall, ping.rpc.wall);
  row("RemoteCommand 4 MiB output, MiB per second", bulk.raw.wall * mib, bulk.rpc.wall * mib);
  row("RemotePing round trips per CPU second", ping.raw.cpu, ping.rpc.cpu);
  row("RemoteCommand 4 MiB output, MiB per CPU second", bulk.raw.cpu * mib, bulk.rpc.cpu * mib);
  std::printf("ping ratio %.2f (goal 0.60), bulk ratio %.2f (goal 0.80)\n", ping.rpc.wall / ping.raw.wall,
              bulk.rpc.wall / bulk.raw.wall);
  return 0;
}
