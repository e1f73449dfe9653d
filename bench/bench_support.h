// Pieces the transport benchmarks share: blocking loopback sockets, a raw
// TCP request/reply pair as the reference, rates over elapsed and CPU time,
// and the rounds in which a reference and a measured path take turns.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <vector>

#include "remote/rpc/pdu.h"

namespace bench {

using Clock = std::chrono::steady_clock;

inline constexpr int kRounds = 7;
inline constexpr double kRoundSeconds = 0.25;

// Reads (writes) `size` bytes in calls of at most `step` bytes each.
inline bool ReadAll(int fd, void* buffer, std::size_t size, std::size_t step = SIZE_MAX) {
  auto* at = static_cast<char*>(buffer);
  while (size > 0) {
    const ssize_t got = recv(fd, at, std::min(size, step), 0);
    if (got <= 0) return false;
    at += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

inline bool WriteAll(int fd, const void* buffer, std::size_t size, std::size_t step = SIZE_MAX) {
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

inline double CpuSeconds(clockid_t clock = CLOCK_PROCESS_CPUTIME_ID) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

struct Rates {
  double wall;    // operations per second of elapsed time
  double cpu;     // operations per second of CPU time of the whole process
  double client;  // per CPU second of the calling thread: the client's side
  double server;  // per CPU second of every other thread: the server's side
};

// Rates of `step` over `seconds`, after a short warm-up. Both ends run in
// this process, so its CPU time covers client, server and the kernel's work
// for them on loopback; the calling thread is the client, the others are the
// server (the kernel's loopback work counts where it runs: mostly with the
// sender).
template <typename Step>
Rates Rate(Step step, double seconds) {
  for (int i = 0; i < 5; ++i) step();
  const auto start = Clock::now();
  const double cpuStart = CpuSeconds();
  const double clientStart = CpuSeconds(CLOCK_THREAD_CPUTIME_ID);
  long count = 0;
  double elapsed = 0;
  do {
    step();
    ++count;
    elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  } while (elapsed < seconds);
  const double cpu = CpuSeconds() - cpuStart;
  const double client = CpuSeconds(CLOCK_THREAD_CPUTIME_ID) - clientStart;
  const auto n = static_cast<double>(count);
  return {n / elapsed, n / cpu, n / client, n / std::max(cpu - client, 1e-9)};
}

inline double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

struct Comparison {
  Rates raw;
  Rates rpc;
  // Median over the rounds of each round's ratio of the two elapsed-time
  // rates, with the lowest and highest of those ratios.
  double ratio;
  double lowest;
  double highest;
};

// The sides take turns in short rounds, so that a load that comes and goes
// on the machine falls on all alike; each rate is the median of its rounds,
// and the ratio the median of the rounds' own ratios (a round's two sides
// run back to back, under the same conditions). The raw reference of a round
// is the better of two ways of moving the bytes: whole buffers per call, or
// calls of at most one fragment's size as the RPC layer makes them.
template <typename RawWhole, typename RawChunked, typename RpcStep>
Comparison Compare(RawWhole rawWhole, RawChunked rawChunked, RpcStep rpc, int rounds = kRounds) {
  std::vector<Rates> raws, rpcs;
  std::vector<double> ratios;
  for (int round = 0; round < rounds; ++round) {
    const Rates whole = Rate(rawWhole, kRoundSeconds);
    const Rates chunked = Rate(rawChunked, kRoundSeconds);
    const Rates c = Rate(rpc, kRoundSeconds);
    const Rates& better = whole.wall >= chunked.wall ? whole : chunked;
    raws.push_back({better.wall, std::max(whole.cpu, chunked.cpu), std::max(whole.client, chunked.client),
                    std::max(whole.server, chunked.server)});
    rpcs.push_back(c);
    ratios.push_back(c.wall / better.wall);
  }
  const auto median = [](const std::vector<Rates>& rates, double Rates::*field) {
    std::vector<double> values;
    for (const Rates& r : rates) values.push_back(r.*field);
    return Median(values);
  };
  Comparison result{};
  for (double Rates::*field : {&Rates::wall, &Rates::cpu, &Rates::client, &Rates::server}) {
    result.raw.*field = median(raws, field);
    result.rpc.*field = median(rpcs, field);
  }
  result.ratio = Median(ratios);
  result.lowest = *std::min_element(ratios.begin(), ratios.end());
  result.highest = *std::max_element(ratios.begin(), ratios.end());
  return result;
}

// Bytes on the wire of a request or response whose stub is `stub` bytes,
// cut into fragments of at most maxFrag.
inline std::size_t WireBytes(std::size_t stub, std::size_t maxFrag) {
  const std::size_t chunk = keld::rpc::StubBytesPerFragment(maxFrag);
  const std::size_t fragments = stub == 0 ? 1 : (stub + chunk - 1) / chunk;
  return stub + fragments * keld::rpc::kRequestHeaderSize;
}


}  // namespace bench
