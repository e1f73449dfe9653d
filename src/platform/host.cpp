#include "platform/host.h"

#include <unistd.h>

#include <atomic>

namespace keld {

namespace {
std::atomic<bool> hostNameFails{false};
}

CFGString GetHostName() {
  char buffer[64] = {};
  if (hostNameFails.load() || gethostname(buffer, sizeof buffer) != 0) return CFGString("LOCALHOST");
  buffer[sizeof buffer - 1] = 0;
  return CFGString(buffer);
}

std::uint32_t GetCurrentProcessId() { return static_cast<std::uint32_t>(getpid()); }

namespace testing {
void SimulateHostNameFailure(bool fail) { hostNameFails.store(fail); }
}  // namespace testing

}  // namespace keld
