// The guard around every exported function of every family: the thread's
// set-up on entry, and no exception ever leaving the library. A failed
// allocation anywhere inside answers 0xBFFF8005 ("Out of system memory.");
// any other exception answers kBoundaryFault, 0xBFFF8017 ("There was an
// internal error."), as the public header documents.
#pragma once

#include <cstdint>
#include <new>

#include "foundation/status.h"

namespace keld::capi {

// Size of the fixed text results: 254 characters and the terminator.
inline constexpr std::uint32_t kFixedTextSize = 255;

// What an exception other than a failed allocation answers at the boundary.
inline constexpr Status kBoundaryFault = kInternalError;

// Exported functions hand the status over as a signed 32-bit word.
inline std::int32_t ToResult(Status status) { return static_cast<std::int32_t>(static_cast<std::uint32_t>(status)); }

// The image library's thread set-up: core 0 for the cfg family and the
// server entries, 1 for the graphical runtime's family.
void EnterThread(int core);

namespace testing {
// Runs at the start of every guarded body; a test makes it throw to see what
// the boundary answers. Null in normal use.
using FrameFault = void (*)();
void SetFrameFault(FrameFault fault);
void RunFrameFault();
}  // namespace testing

// Runs `body` (which returns a Status) under the guard and hands its status
// over as the exported word.
template <typename Body>
std::int32_t GuardedCall(int core, Body&& body) noexcept {
  try {
    EnterThread(core);
    testing::RunFrameFault();
    return ToResult(body());
  } catch (const std::bad_alloc&) {
    return ToResult(kOutOfMemory);
  } catch (...) {
    return ToResult(kBoundaryFault);
  }
}

// The cfg family's guard.
template <typename Body>
std::int32_t NativeCall(Body&& body) noexcept {
  return GuardedCall(0, static_cast<Body&&>(body));
}

}  // namespace keld::capi
