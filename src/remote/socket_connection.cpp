#include "remote/socket_connection.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace keld {

int abortSocket = -1;

namespace {

constexpr int kDrainTimeoutMs = 60000;

long long TicksSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

// Time left of a time-out started at `start`: -1 for no limit, 0 when spent.
int TimeLeft(int timeoutMs, std::chrono::steady_clock::time_point start) {
  if (timeoutMs < 0) return -1;
  return static_cast<int>(std::max<long long>(0, timeoutMs - TicksSince(start)));
}

}  // namespace

SocketConnection::SocketConnection() {
  socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return;
  int on = 1;
  if (ioctl(socket, FIONBIO, &on) != 0) Close();
}

SelectResult SocketConnection::Select(bool read, bool write, bool exception, int timeoutMs) {
  SelectResult result;
  if (socket < 0 || socket >= FD_SETSIZE) {
    result.exception = true;
    return result;
  }
  fd_set readSet, writeSet, exceptSet;
  FD_ZERO(&readSet);
  FD_ZERO(&writeSet);
  FD_ZERO(&exceptSet);
  int top = socket;
  if (read) FD_SET(socket, &readSet);
  if (write) FD_SET(socket, &writeSet);
  if (exception) FD_SET(socket, &exceptSet);
  if (abortSocket >= 0 && abortSocket < FD_SETSIZE) {
    FD_SET(abortSocket, &readSet);
    FD_SET(abortSocket, &exceptSet);
    top = std::max(top, abortSocket);
  }
  timeval limit{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
  const int ready = select(top + 1, &readSet, &writeSet, &exceptSet, timeoutMs < 0 ? nullptr : &limit);
  if (ready == 0) {
    result.timedOut = true;
  } else if (ready > 0) {
    if (abortSocket >= 0 && (FD_ISSET(abortSocket, &readSet) || FD_ISSET(abortSocket, &exceptSet))) {
      result.aborted = true;
    }
    result.readable = read && FD_ISSET(socket, &readSet);
    result.writable = write && FD_ISSET(socket, &writeSet);
    result.exception = exception && FD_ISSET(socket, &exceptSet);
  } else {
    result.exception = true;
  }
  return result;
}

bool SocketConnection::WaitReadable(int timeoutMs) { return Select(true, false, true, timeoutMs).readable; }
bool SocketConnection::WaitWritable(int timeoutMs) { return Select(false, true, true, timeoutMs).writable; }

bool SocketConnection::Connect(std::uint32_t address, std::uint16_t portNumber, int timeoutMs) {
  if (socket < 0 || address == 0) return false;
  hostAddress = address;
  port = portNumber;
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(portNumber);
  peer.sin_addr.s_addr = htonl(address);
  if (connect(socket, reinterpret_cast<sockaddr*>(&peer), sizeof peer) == 0) return true;
  if (errno != EINPROGRESS) return false;
  if (!WaitWritable(timeoutMs)) {
    Close();
    return false;
  }
  int error = 0;
  socklen_t length = sizeof error;
  return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length) == 0 && error == 0;
}

std::size_t SocketConnection::Receive(void* buffer, std::size_t size, int timeoutMs) {
  const auto start = std::chrono::steady_clock::now();
  std::size_t done = 0;
  while (done < size) {
    const int left = TimeLeft(timeoutMs, start);
    if (left == 0) break;
    if (!WaitReadable(left)) break;
    const ssize_t got = recv(socket, static_cast<char*>(buffer) + done, size - done, 0);
    if (got < 1) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

std::size_t SocketConnection::Send(const void* buffer, std::size_t size, int timeoutMs) {
  const auto start = std::chrono::steady_clock::now();
  std::size_t done = 0;
  while (done < size) {
    const int left = TimeLeft(timeoutMs, start);
    if (left == 0) break;
    if (!WaitWritable(left)) break;
    const ssize_t sent = send(socket, static_cast<const char*>(buffer) + done, size - done, MSG_NOSIGNAL);
    if (sent < 1) break;
    done += static_cast<std::size_t>(sent);
  }
  return done;
}

bool SocketConnection::SendText(const char* text, int timeoutMs) {
  const std::size_t length = std::strlen(text);
  return Send(text, length, timeoutMs) == length;
}

bool SocketConnection::ReadLine(char* buffer, std::size_t size, int timeoutMs) {
  if (size < 2) return false;
  std::size_t count = 0;
  while (count < size - 1) {
    char c = 0;
    if (Receive(&c, 1, timeoutMs) != 1) return false;
    if (c == '\r') continue;
    if (c == '\n') {
      buffer[count] = '\0';
      return true;
    }
    buffer[count++] = c;
  }
  buffer[count] = '\0';
  return false;
}

void SocketConnection::CloseGracefully(bool drain) {
  if (socket < 0) return;
  if (writeSideOpen) shutdown(socket, SHUT_WR);
  if (drain) {
    char c = 0;
    while (Receive(&c, 1, kDrainTimeoutMs) == 1) {
    }
  }
  Close();
}

void SocketConnection::Close() {
  if (socket >= 0) close(socket);
  socket = -1;
}

}  // namespace keld
