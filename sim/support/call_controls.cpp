#include "call_controls.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace keldsim_support {

namespace {

constexpr std::size_t kCallLogLength = 100000;

}  // namespace

bool IsOfferedEntryPoint(std::string_view name, std::span<const std::string_view> entryPoints,
                         const char* const* missing, std::size_t missingCount) {
  if (std::find(entryPoints.begin(), entryPoints.end(), name) == entryPoints.end()) return false;
  for (std::size_t i = 0; i < missingCount; ++i) {
    if (name == missing[i]) return false;
  }
  return true;
}

std::optional<std::uint32_t> CallControls::Enter(const char* function, const std::string& arguments) {
  std::uint32_t delay = 0;
  std::optional<std::uint32_t> injected;
  {
    std::lock_guard lock(mutex_);
    log_.push_back(Call{function, arguments});
    if (log_.size() > kCallLogLength) log_.pop_front();
    if (const auto found = counts_.find(std::string_view(function)); found != counts_.end()) {
      ++found->second;
    } else {
      counts_.emplace(function, 1);
    }
    if (const auto found = delays_.find(std::string_view(function)); found != delays_.end()) delay = found->second;
    if (const auto found = injections_.find(std::string_view(function)); found != injections_.end()) {
      injected = found->second.status;
      if (--found->second.calls == 0) injections_.erase(found);
    }
  }
  if (delay != 0) std::this_thread::sleep_for(std::chrono::milliseconds(delay));
  return injected;
}

void CallControls::Inject(const char* function, std::uint32_t status, std::uint32_t calls) {
  std::lock_guard lock(mutex_);
  if (calls == 0) {
    injections_.erase(std::string(function));
  } else {
    injections_[function] = Injection{status, calls};
  }
}

void CallControls::SetDelay(const char* function, std::uint32_t milliseconds) {
  std::lock_guard lock(mutex_);
  if (milliseconds == 0) {
    delays_.erase(std::string(function));
  } else {
    delays_[function] = milliseconds;
  }
}

void CallControls::ClearControls() {
  std::lock_guard lock(mutex_);
  injections_.clear();
  delays_.clear();
}

std::string CallControls::CallLog() {
  std::lock_guard lock(mutex_);
  std::string text;
  for (const Call& call : log_) {
    text += call.function;
    if (!call.arguments.empty()) {
      text += ' ';
      text += call.arguments;
    }
    text += '\n';
  }
  return text;
}

std::uint32_t CallControls::CallCount(std::string_view function) {
  std::lock_guard lock(mutex_);
  const auto found = counts_.find(function);
  return found == counts_.end() ? 0u : found->second;
}

void CallControls::ClearCallLog() {
  std::lock_guard lock(mutex_);
  log_.clear();
  counts_.clear();
}

}  // namespace keldsim_support
