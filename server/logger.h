// Logger: keldcfgd's log. Lines go to stderr or to a file, which Reopen
// opens anew (after a rotation, on SIGHUP). Lines below the chosen level are
// dropped before anything else happens. Each kind of event is rate-limited
// on its own: within an interval the first `burst` lines of a kind are
// written, the rest only counted, and when the interval is over one line
// says how many were left out. Refusals at the connection limit get a burst
// of one: a single warning per interval, then the count.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>

#include "remote/rpc/rpc_log.h"

namespace keld::server {

struct LoggerOptions {
  rpc::LogLevel level = rpc::LogLevel::kInfo;
  std::string path;  // empty: stderr
  std::chrono::milliseconds interval{10000};
  unsigned burst = 5;
  // Kinds with a burst of their own.
  std::map<std::string, unsigned> burstOf = {{rpc::log_event::kRefused, 1}};
};

class Logger {
 public:
  explicit Logger(LoggerOptions options);
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;
  ~Logger();

  // Opens the file (appending); false with errno's text. Without a path
  // the log is stderr and this does nothing.
  bool Open(std::string* error);
  // Opens the file again under its name; the old one is kept on failure.
  bool Reopen(std::string* error);
  // Writes one line, subject to the level and to its kind's rate.
  void Write(rpc::LogLevel level, const char* event, const std::string& text);
  // Writes the counts of kinds whose interval is over (of all kinds with
  // `all`, as at the end); call it now and then.
  void Flush(bool all = false);
  // A sink for the RPC layer and the service.
  rpc::LogFunction Function();
  // Lines written so far.
  std::uint64_t lines();

 private:
  struct Kind {
    std::chrono::steady_clock::time_point start{};
    unsigned written = 0;
    std::uint64_t suppressed = 0;
    rpc::LogLevel level = rpc::LogLevel::kInfo;
  };
  void Emit(rpc::LogLevel level, const std::string& text);  // under lock_
  void EndInterval(const std::string& event, Kind* kind);   // under lock_

  LoggerOptions options_;
  std::mutex lock_;
  std::FILE* file_ = nullptr;
  std::map<std::string, Kind> kinds_;
  std::uint64_t lines_ = 0;
};

// "error", "warning", "info" or "debug" into a level; false for anything else.
bool ParseLogLevel(const std::string& text, rpc::LogLevel* level);

}  // namespace keld::server
