#include "remote/rpc/rpc_socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "remote/rpc/rpc_error.h"

namespace keld::rpc {

namespace {

// Bytes read ahead beyond what a read asks for: room for a short PDU or the
// next fragment's header, small enough that bulk data rarely passes through.
constexpr std::size_t kBufferSize = 1024;
// A stop flag is looked at this often while waiting.
constexpr int kStopPollMs = 100;

[[noreturn]] void Fail(std::uint32_t code, const char* what) { throw RpcError(code, what); }

void MakeNonBlocking(int fd) {
  const int flags = fcntl(fd, F_GETFL, 0);
  if (flags >= 0) fcntl(fd, F_SETFL, flags | O_NONBLOCK);
  const int one = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

}  // namespace

int Deadline::RemainingMs() const {
  if (never_) return -1;
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(at_ - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
}

std::string FormatPeer(std::uint32_t address, std::uint16_t port) {
  char text[32];
  std::snprintf(text, sizeof text, "%u.%u.%u.%u:%u", address >> 24, (address >> 16) & 0xFF, (address >> 8) & 0xFF,
                address & 0xFF, port);
  return text;
}

int ListenTcp(std::uint32_t address, std::uint16_t port, std::uint16_t* boundPort, std::string* error) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    *error = std::strerror(errno);
    return -1;
  }
  const int one = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_port = htons(port);
  local.sin_addr.s_addr = htonl(address);
  if (bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0 || listen(fd, 64) != 0) {
    *error = std::strerror(errno);
    close(fd);
    return -1;
  }
  socklen_t length = sizeof local;
  getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length);
  *boundPort = ntohs(local.sin_port);
  return fd;
}

RpcSocket::RpcSocket(int fd) : fd_(fd), buffer_(kBufferSize) { MakeNonBlocking(fd_); }

RpcSocket::~RpcSocket() {
  if (fd_ >= 0) close(fd_);
}

int RpcSocket::Connect(std::uint32_t address, std::uint16_t port, const Deadline& deadline) {
  if (address == 0 || address == 0xFFFFFFFF || port == 0) Fail(kRpcServerUnavailable, "no address to connect to");
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) Fail(kRpcServerUnavailable, "socket failed");
  RpcSocket guard(fd);  // closes the socket on every failure below
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(port);
  peer.sin_addr.s_addr = htonl(address);
  if (connect(fd, reinterpret_cast<sockaddr*>(&peer), sizeof peer) != 0) {
    if (errno != EINPROGRESS) Fail(kRpcServerUnavailable, "connect failed");
    guard.Wait(POLLOUT, deadline);
    int error = 0;
    socklen_t length = sizeof error;
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0 || error != 0) {
      Fail(kRpcServerUnavailable, "connect failed");
    }
  }
  guard.fd_ = -1;
  return fd;
}

void RpcSocket::Wait(short events, const Deadline& deadline) {
  for (;;) {
    if (stop_ != nullptr && stop_->load(std::memory_order_relaxed)) Fail(kRpcCallFailed, "stopped");
    int wait = deadline.RemainingMs();
    if (wait == 0) Fail(kRpcTimedOut, "deadline passed");
    if (stop_ != nullptr && (wait < 0 || wait > kStopPollMs)) wait = kStopPollMs;
    pollfd entry{fd_, events, 0};
    const int ready = poll(&entry, 1, wait);
    if (ready > 0) return;
    if (ready < 0 && errno != EINTR) Fail(kRpcCallFailed, "poll failed");
  }
}

void RpcSocket::SendAll(const std::uint8_t* data, std::size_t size, const Deadline& deadline) {
  iovec part{const_cast<std::uint8_t*>(data), size};
  SendVector(&part, 1, deadline);
}

void RpcSocket::SendVector(iovec* parts, std::size_t count, const Deadline& deadline) {
  while (count > 0) {
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = std::min<std::size_t>(count, IOV_MAX);
    const ssize_t sent = sendmsg(fd_, &message, MSG_NOSIGNAL);
    if (sent < 0) {
      if (errno == EAGAIN || errno == EWOULDBLOCK) {
        Wait(POLLOUT, deadline);
        continue;
      }
      if (errno == EINTR) continue;
      Fail(kRpcCallFailed, "send failed");
    }
    auto left = static_cast<std::size_t>(sent);
    while (count > 0 && left >= parts->iov_len) {
      left -= parts->iov_len;
      ++parts;
      --count;
    }
    if (count > 0) {
      parts->iov_base = static_cast<std::uint8_t*>(parts->iov_base) + left;
      parts->iov_len -= left;
    }
  }
}

void RpcSocket::SendFragments(std::uint8_t type, std::uint32_t callId, std::uint16_t contextId, std::uint16_t opnum,
                              const StubPiece* pieces, std::size_t count, std::size_t maxFrag,
                              const Deadline& deadline) {
  std::size_t size = 0;
  for (std::size_t i = 0; i < count; ++i) size += pieces[i].size;
  const std::vector<std::uint8_t> headers = FragmentHeaders(type, callId, contextId, opnum, size, maxFrag);
  const std::vector<StubPiece> spans = FragmentSpans(headers, pieces, count, maxFrag);
  std::vector<iovec> parts;
  parts.reserve(spans.size());
  for (const StubPiece& span : spans) parts.push_back({const_cast<std::uint8_t*>(span.data), span.size});
  SendVector(parts.data(), parts.size(), deadline);
}

void RpcSocket::ReadExact(std::uint8_t* data, std::size_t size, const Deadline& deadline) {
  const std::size_t buffered = std::min(size, end_ - begin_);
  if (buffered > 0) std::memcpy(data, buffer_.data() + begin_, buffered);
  begin_ += buffered;
  data += buffered;
  size -= buffered;
  if (begin_ == end_) Drained();
  // The buffer is empty now: what is still wanted is received in place, and
  // whatever else has arrived, up to the buffer's size, behind it.
  while (size > 0) {
    iovec parts[2] = {{data, size}, {buffer_.data(), kBufferSize}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    const ssize_t got = recvmsg(fd_, &message, 0);
    if (got > 0) {
      const auto received = static_cast<std::size_t>(got);
      if (received >= size) {
        end_ = received - size;
        return;
      }
      data += received;
      size -= received;
      continue;
    }
    if (got == 0) Fail(kRpcCallFailed, "connection closed by peer");
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) Fail(kRpcCallFailed, "receive failed");
    Wait(POLLIN, deadline);
  }
}

std::size_t RpcSocket::ReadSome(iovec* parts, std::size_t count, const Deadline& deadline) {
  if (begin_ != end_) {
    std::size_t placed = 0;
    for (std::size_t i = 0; i < count && begin_ != end_; ++i) {
      const std::size_t take = std::min(parts[i].iov_len, end_ - begin_);
      std::memcpy(parts[i].iov_base, buffer_.data() + begin_, take);
      begin_ += take;
      placed += take;
    }
    if (begin_ == end_) Drained();
    return placed;
  }
  for (;;) {
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = std::min<std::size_t>(count, IOV_MAX);
    const ssize_t got = recvmsg(fd_, &message, 0);
    if (got > 0) return static_cast<std::size_t>(got);
    if (got == 0) Fail(kRpcCallFailed, "connection closed by peer");
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) Fail(kRpcCallFailed, "receive failed");
    Wait(POLLIN, deadline);
  }
}

void RpcSocket::Drained() {
  begin_ = end_ = 0;
  // Grown by bytes put back: back to its size, so that bulk data is never
  // read ahead through it.
  if (buffer_.size() > kBufferSize) std::vector<std::uint8_t>(kBufferSize).swap(buffer_);
}

void RpcSocket::Unread(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return;
  std::vector<std::uint8_t> merged(std::max(kBufferSize, size + (end_ - begin_)));
  std::memcpy(merged.data(), data, size);
  if (end_ != begin_) std::memcpy(merged.data() + size, buffer_.data() + begin_, end_ - begin_);
  end_ = size + (end_ - begin_);
  begin_ = 0;
  buffer_.swap(merged);
}

bool RpcSocket::WaitForData(const Deadline& deadline) {
  if (begin_ != end_) return true;
  try {
    Wait(POLLIN, deadline);
  } catch (const RpcError& error) {
    if (error.code() == kRpcTimedOut) return false;
    throw;
  }
  return true;
}

bool RpcSocket::ClosedWhileIdle() {
  if (begin_ != end_) return true;
  pollfd entry{fd_, POLLIN, 0};
  return poll(&entry, 1, 0) != 0;
}

PduHeader RpcSocket::ReadFragment(std::vector<std::uint8_t>* fragment, std::size_t maxFrag, const Deadline& first,
                                  std::uint32_t bodyTimeoutMs, AuthTrailer auth) {
  fragment->resize(kHeaderSize);
  ReadExact(fragment->data(), 1, first);
  const Deadline rest = bodyTimeoutMs == 0 ? first : Deadline::InMs(bodyTimeoutMs);
  ReadExact(fragment->data() + 1, kHeaderSize - 1, rest);
  const PduHeader header = ParseHeader(fragment->data(), kHeaderSize, auth);
  if (header.fragLength > maxFrag) Fail(kRpcCallFailed, "fragment longer than negotiated");
  fragment->resize(header.fragLength);
  ReadExact(fragment->data() + kHeaderSize, header.fragLength - kHeaderSize, rest);
  return header;
}

}  // namespace keld::rpc
