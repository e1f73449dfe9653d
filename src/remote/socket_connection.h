// SocketConnection: the small TCP client of the service look-up. The socket
// is non-blocking and every wait goes through select with a time-out in
// milliseconds, so no step can hang longer than its time-out. A negative
// time-out means no limit.
#pragma once

#include <cstddef>
#include <cstdint>

namespace keld {

// Process-wide socket added to every select to wake all waits at once; no
// code of the library sets it, so it stays invalid.
extern int abortSocket;

struct SelectResult {
  bool readable = false;
  bool writable = false;
  bool exception = false;
  bool timedOut = false;
  bool aborted = false;
};

struct SocketConnection {
  SocketConnection();
  SocketConnection(const SocketConnection&) = delete;
  SocketConnection& operator=(const SocketConnection&) = delete;
  ~SocketConnection() { Close(); }

  bool Connect(std::uint32_t address, std::uint16_t port, int timeoutMs);
  bool WaitReadable(int timeoutMs);
  bool WaitWritable(int timeoutMs);
  std::size_t Receive(void* buffer, std::size_t size, int timeoutMs);
  std::size_t Send(const void* buffer, std::size_t size, int timeoutMs);
  bool SendText(const char* text, int timeoutMs);
  // Reads one line: CR dropped, LF ends it; false on a failed read or when
  // size - 1 characters came without LF. A size below 2 is false at once.
  bool ReadLine(char* buffer, std::size_t size, int timeoutMs);
  // Closes; with `drain`, first reads single bytes (60000 ms each) until
  // nothing comes.
  void CloseGracefully(bool drain);
  void Close();
  SelectResult Select(bool read, bool write, bool exception, int timeoutMs);

  int socket = -1;
  std::uint32_t hostAddress = 0;
  std::uint16_t port = 0;
  bool writeSideOpen = false;
};

}  // namespace keld
