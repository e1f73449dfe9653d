#include "logger.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

namespace keld::server {

namespace {

constexpr const char* kLevelNames[] = {"error", "warning", "info", "debug"};

const char* LevelName(rpc::LogLevel level) { return kLevelNames[static_cast<int>(level)]; }

std::string FormatSeconds(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f s", seconds);
  return text;
}

}  // namespace

bool ParseLogLevel(const std::string& text, rpc::LogLevel* level) {
  for (int i = 0; i < 4; ++i) {
    if (text == kLevelNames[i]) {
      *level = static_cast<rpc::LogLevel>(i);
      return true;
    }
  }
  return false;
}

Logger::Logger(LoggerOptions options) : options_(std::move(options)) {}

Logger::~Logger() {
  Flush(true);
  if (file_ != nullptr) std::fclose(file_);
}

bool Logger::Open(std::string* error) { return Reopen(error); }

bool Logger::Reopen(std::string* error) {
  if (options_.path.empty()) return true;
  std::FILE* file = std::fopen(options_.path.c_str(), "ae");
  if (file == nullptr) {
    *error = std::strerror(errno);
    return false;
  }
  std::setvbuf(file, nullptr, _IOLBF, 0);
  std::lock_guard<std::mutex> guard(lock_);
  if (file_ != nullptr) std::fclose(file_);
  file_ = file;
  return true;
}

void Logger::Emit(rpc::LogLevel level, const std::string& text) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  std::fprintf(file_ != nullptr ? file_ : stderr, "%s keldcfgd %s: %s\n", stamp, LevelName(level), text.c_str());
  ++lines_;
}

void Logger::EndInterval(const std::string& event, Kind* kind) {
  if (kind->suppressed > 0) {
    const auto span = std::min<std::chrono::steady_clock::duration>(std::chrono::steady_clock::now() - kind->start,
                                                                    options_.interval);
    const auto seconds = std::chrono::duration_cast<std::chrono::duration<double>>(span).count();
    Emit(kind->level, std::to_string(kind->suppressed) + " more " + event + " line" +
                          (kind->suppressed == 1 ? "" : "s") + " left out in " + FormatSeconds(seconds));
  }
  kind->written = 0;
  kind->suppressed = 0;
}

void Logger::Write(rpc::LogLevel level, const char* event, const std::string& text) {
  if (level > options_.level) return;
  const auto now = std::chrono::steady_clock::now();
  const std::string name = event != nullptr ? event : "";
  std::lock_guard<std::mutex> guard(lock_);
  Kind& kind = kinds_[name];
  if (kind.written == 0 && kind.suppressed == 0) {
    kind.start = now;
  } else if (now - kind.start >= options_.interval) {
    EndInterval(name, &kind);
    kind.start = now;
  }
  const auto special = options_.burstOf.find(name);
  const unsigned burst = special != options_.burstOf.end() ? special->second : options_.burst;
  kind.level = level;
  if (kind.written < burst) {
    ++kind.written;
    Emit(level, text);
  } else {
    ++kind.suppressed;
  }
}

void Logger::Flush(bool all) {
  const auto now = std::chrono::steady_clock::now();
  std::lock_guard<std::mutex> guard(lock_);
  for (auto& [name, kind] : kinds_) {
    if ((kind.written > 0 || kind.suppressed > 0) && (all || now - kind.start >= options_.interval)) {
      EndInterval(name, &kind);
    }
  }
}

rpc::LogFunction Logger::Function() {
  return [this](rpc::LogLevel level, const char* event, const std::string& text) { Write(level, event, text); };
}

std::uint64_t Logger::lines() {
  std::lock_guard<std::mutex> guard(lock_);
  return lines_;
}

}  // namespace keld::server
