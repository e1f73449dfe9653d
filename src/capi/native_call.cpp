#include "capi/native_call.h"

#include <atomic>

#include "odvissvc/odvissvc.h"

namespace keld::capi {

namespace {
std::atomic<testing::FrameFault> frameFault{nullptr};
}  // namespace

void EnterThread(int core) { static_cast<void>(SetThreadCore(static_cast<std::uint32_t>(core))); }

namespace testing {
void SetFrameFault(FrameFault fault) { frameFault = fault; }
void RunFrameFault() {
  if (const FrameFault fault = frameFault.load(std::memory_order_relaxed)) fault();
}
}  // namespace testing

}  // namespace keld::capi
