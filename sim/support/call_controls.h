// CallControls: what the tests of a simulated driver steer at its entry
// points, shared by the simulated drivers: a status to answer instead of a
// call (for a number of calls), a delay before a call, and the log and the
// counts of the calls made. Thread-safe; the driver checks the names.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <span>
#include <string_view>

namespace keldsim_support {

// Whether `name` is one of a driver's `entryPoints` and not one of the
// `missingCount` that its variant leaves out.
bool IsOfferedEntryPoint(std::string_view name, std::span<const std::string_view> entryPoints,
                         const char* const* missing, std::size_t missingCount);

class CallControls {
 public:
  // Logs and counts the call (with its arguments where there are any),
  // waits the delay set for it, and gives the status injected for it, if
  // one is.
  std::optional<std::uint32_t> Enter(const char* function, const std::string& arguments = {});
  // `calls` calls of `function` answer `status`; 0 calls takes it back.
  void Inject(const char* function, std::uint32_t status, std::uint32_t calls);
  // Each call of `function` waits first; 0 takes it back.
  void SetDelay(const char* function, std::uint32_t milliseconds);
  // Takes back every injection and delay; the log stays.
  void ClearControls();
  // The calls, oldest first (at most the last 100000), one per line.
  std::string CallLog();
  std::uint32_t CallCount(std::string_view function);
  void ClearCallLog();

 private:
  struct Injection {
    std::uint32_t status;
    std::uint32_t calls;
  };
  struct Call {
    const char* function;  // an entry point's name: a literal
    std::string arguments;
  };
  std::mutex mutex_;
  std::map<std::string, Injection, std::less<>> injections_;
  std::map<std::string, std::uint32_t, std::less<>> delays_;
  std::deque<Call> log_;
  std::map<std::string, std::uint32_t, std::less<>> counts_;
};

}  // namespace keldsim_support
