// rpc_bench: the RPC layer on loopback beside raw TCP, in one run.
//   ping: RemotePing round trips per second beside a raw TCP ping-pong of
//         the same byte counts (request and response PDU sizes);
//   bulk: RemoteCommand returning 4 MiB in its output stream beside a raw
//         TCP transfer of 4 MiB answering a small request.
// Prints a table and the two ratios. Run from a Release build.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
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
constexpr double kRunSeconds = 1.5;

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

bool ReadAll(int fd, void* buffer, std::size_t size) {
  auto* at = static_cast<char*>(buffer);
  while (size > 0) {
    const ssize_t got = recv(fd, at, size, 0);
    if (got <= 0) return false;
    at += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool WriteAll(int fd, const void* buffer, std::size_t size) {
  const auto* at = static_cast<const char*>(buffer);
  while (size > 0) {
    const ssize_t sent = send(fd, at, size, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    at += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

// A raw TCP peer: for each request of `requestBytes` it answers `replyBytes`.
struct RawServer {
  RawServer(std::size_t requestBytes, std::size_t replyBytes) {
    listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(listener, reinterpret_cast<sockaddr*>(&local), sizeof local);
    listen(listener, 1);
    socklen_t length = sizeof local;
    getsockname(listener, reinterpret_cast<sockaddr*>(&local), &length);
    port = ntohs(local.sin_port);
    thread = std::thread([this, requestBytes, replyBytes] {
      const int fd = accept(listener, nullptr, nullptr);
      const int one = 1;
      setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
      std::vector<char> request(requestBytes), reply(replyBytes, 0x5A);
      while (ReadAll(fd, request.data(), request.size()) && WriteAll(fd, reply.data(), reply.size())) {
      }
      close(fd);
    });
  }
  ~RawServer() {
    thread.join();
    close(listener);
  }
  int listener;
  std::uint16_t port;
  std::thread thread;
};

// Operations per second of `step` over the run time.
template <typename Step>
double Rate(Step step) {
  for (int i = 0; i < 20; ++i) step();  // warm-up
  const auto start = Clock::now();
  long count = 0;
  double elapsed = 0;
  do {
    for (int i = 0; i < 10; ++i) step();
    count += 10;
    elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  } while (elapsed < kRunSeconds);
  return static_cast<double>(count) / elapsed;
}

double RawRate(std::size_t requestBytes, std::size_t replyBytes) {
  RawServer server(requestBytes, replyBytes);
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(server.port);
  peer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  connect(fd, reinterpret_cast<sockaddr*>(&peer), sizeof peer);
  const int one = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  std::vector<char> request(requestBytes, 1), reply(replyBytes);
  const double rate = Rate([&] {
    if (!WriteAll(fd, request.data(), request.size()) || !ReadAll(fd, reply.data(), reply.size())) std::abort();
  });
  close(fd);
  return rate;
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

  // Byte counts of one RemotePing exchange: request header and the id,
  // response header and the status.
  const std::size_t pingRequest = rpc::kRequestHeaderSize + 4;
  const std::size_t pingReply = rpc::kResponseHeaderSize + 4;
  const double rawPing = RawRate(pingRequest, pingReply);
  const double rpcPing = Rate([&] {
    if (rpc::RemotePing(&binding, 1) != kSuccess) std::abort();
  });

  const double rawBulk = RawRate(rpc::kRequestHeaderSize + 20, kBulkBytes) * kBulkBytes / 1048576.0;
  const double rpcBulk = Rate([&] {
    ScopedByteStream in, out;
    if (rpc::RemoteCommand(&binding, 1, kBulkBytes, in.get(), out.get()) != kSuccess || out->size != kBulkBytes) {
      std::abort();
    }
  }) * kBulkBytes / 1048576.0;
  server.Stop();

  std::printf("%-44s %14s %14s %8s\n", "measure (loopback)", "raw TCP", "RPC", "ratio");
  std::printf("%-44s %14.0f %14.0f %8.2f\n", "RemotePing round trips per second", rawPing, rpcPing, rpcPing / rawPing);
  std::printf("%-44s %14.0f %14.0f %8.2f\n", "RemoteCommand 4 MiB output, MiB per second", rawBulk, rpcBulk,
              rpcBulk / rawBulk);
  std::printf("ping ratio %.2f (goal 0.60), bulk ratio %.2f (goal 0.80)\n", rpcPing / rawPing, rpcBulk / rawBulk);
  return 0;
}
