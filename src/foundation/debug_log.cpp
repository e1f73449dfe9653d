#include "foundation/debug_log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace keld {

namespace {

std::mutex& SinkLock() {
  static std::mutex lock;
  return lock;
}

std::function<void(const std::string&)>& Sink() {
  static std::function<void(const std::string&)> sink;
  return sink;
}

std::atomic<bool> sinkInstalled{false};

}  // namespace

void DebugLog(const char* format, ...) {
  if (!sinkInstalled.load(std::memory_order_relaxed)) return;
  char line[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof(line), format, args);
  va_end(args);
  std::lock_guard<std::mutex> guard(SinkLock());
  if (Sink()) Sink()(line);
}

void SetDebugSink(std::function<void(const std::string&)> sink) {
  std::lock_guard<std::mutex> guard(SinkLock());
  Sink() = std::move(sink);
  sinkInstalled = static_cast<bool>(Sink());
}

}  // namespace keld
