#include "foundation/debug_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

bool EnvironmentEnabled() {
  static const bool enabled = [] {
    const char* value = std::getenv("KELDCFGC_DEBUG");
    return value != nullptr && *value != '\0' && std::strcmp(value, "0") != 0;
  }();
  return enabled;
}

}  // namespace

void DebugLog(const char* format, ...) {
  std::lock_guard<std::mutex> guard(SinkLock());
  const bool toSink = static_cast<bool>(Sink());
  if (!toSink && !EnvironmentEnabled()) return;
  char line[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof(line), format, args);
  va_end(args);
  if (toSink) {
    Sink()(line);
  } else {
    std::fprintf(stderr, "keldcfgc: %s\n", line);
  }
}

namespace testing {

void SetDebugSink(std::function<void(const std::string&)> sink) {
  std::lock_guard<std::mutex> guard(SinkLock());
  Sink() = std::move(sink);
}

}  // namespace testing

}  // namespace keld
