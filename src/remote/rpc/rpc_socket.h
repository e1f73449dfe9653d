// RpcSocket: one TCP connection of the RPC layer, non-blocking underneath,
// with every wait bounded by a Deadline. Every read goes straight into the
// caller's memory and reads a little ahead into a small buffer, so that a
// short PDU costs one system call and the header of the next fragment
// usually comes with the body of the last, while bulk data is never copied
// through the buffer. Any failure, the deadline passing or the stop flag being raised
// throws RpcError, and the caller then drops the connection.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "remote/rpc/pdu.h"

struct iovec;

namespace keld::rpc {

class Deadline {
 public:
  static Deadline Never() { return Deadline(); }
  static Deadline InMs(std::uint32_t ms) {
    Deadline d;
    d.never_ = false;
    d.at_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    return d;
  }
  // Milliseconds left (at least 0), or -1 where there is no limit.
  int RemainingMs() const;

 private:
  Deadline() = default;
  bool never_ = true;
  std::chrono::steady_clock::time_point at_{};
};

class RpcSocket {
 public:
  // Takes ownership of a connected socket and makes it non-blocking.
  explicit RpcSocket(int fd);
  RpcSocket(const RpcSocket&) = delete;
  RpcSocket& operator=(const RpcSocket&) = delete;
  ~RpcSocket();

  // Connects to an IPv4 address (host byte order) and port within the deadline.
  static int Connect(std::uint32_t address, std::uint16_t port, const Deadline& deadline);

  // Waits raised by `stop` end with an RpcError as well.
  void SetStopFlag(const std::atomic<bool>* stop) { stop_ = stop; }

  void SendAll(const std::uint8_t* data, std::size_t size, const Deadline& deadline);
  void SendVector(iovec* parts, std::size_t count, const Deadline& deadline);
  // Sends a stub given in pieces as request or response fragments of at
  // most maxFrag bytes, in one gathering write: the pieces are not copied.
  void SendFragments(std::uint8_t type, std::uint32_t callId, std::uint16_t contextId, std::uint16_t opnum,
                     const StubPiece* pieces, std::size_t count, std::size_t maxFrag, const Deadline& deadline);
  void ReadExact(std::uint8_t* data, std::size_t size, const Deadline& deadline);
  // Places what has arrived into `parts`, in their order, waiting only until
  // something has: buffered bytes first (alone), else one gathering
  // receive. Returns the bytes placed, at least one.
  std::size_t ReadSome(iovec* parts, std::size_t count, const Deadline& deadline);
  // Puts bytes back in front of anything buffered: the next reads take them
  // first. For a reader that received ahead on an assumption that failed.
  void Unread(const std::uint8_t* data, std::size_t size);
  // True once a byte is buffered or readable (end of stream counts);
  // false when the deadline passes first.
  bool WaitForData(const Deadline& deadline);

  // For a connection between calls, where nothing is due from the peer:
  // true if anything arrived all the same (its close, after the server ended
  // an idle connection, or stray bytes), so it is not fit for another call.
  // Never waits.
  bool ClosedWhileIdle();

  // Reads one whole fragment into `fragment` (header included), refusing a
  // fragment longer than maxFrag. The deadline of the fragment's body starts
  // with its first byte: `bodyTimeoutMs` bounds a peer that stops mid-way.
  PduHeader ReadFragment(std::vector<std::uint8_t>* fragment, std::size_t maxFrag, const Deadline& first,
                         std::uint32_t bodyTimeoutMs, AuthTrailer auth = AuthTrailer::kRefused);

  int fd() const { return fd_; }

 private:
  void Wait(short events, const Deadline& deadline);
  // The buffer holds nothing more.
  void Drained();

  int fd_;
  const std::atomic<bool>* stop_ = nullptr;
  std::vector<std::uint8_t> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

// A listening TCP socket on an IPv4 address (host byte order) and port (0
// picks a free one, reported through *boundPort); -1 with errno's text.
int ListenTcp(std::uint32_t address, std::uint16_t port, std::uint16_t* boundPort, std::string* error);

// "a.b.c.d:port" of an IPv4 address in host byte order.
std::string FormatPeer(std::uint32_t address, std::uint16_t port);

}  // namespace keld::rpc
