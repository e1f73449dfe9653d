// Calls into the frame-grabber driver, by the pattern every local session
// keeps: the function is resolved by its name before each single call, a
// missing one answers 0xBFFF800B, and an exception out of a driver call or
// its resolving ends the operation with 0xBFFF800B.
#pragma once

#include <string>

#include "foundation/status.h"
#include "local/keld/keld_driver_api.h"
#include "platform/driver_libraries.h"

// Calls the driver's `function` with the arguments; 0xBFFF800B where the
// driver or the function is missing.
#define KELD_DRIVER_CALL(function, ...) \
  ::keld::Status(::keld::CallDriver<decltype(::function)>(::keld::FrameGrabberDriver(), #function, __VA_ARGS__))
// The driver's `function`, or null.
#define KELD_DRIVER_FIND(function) ::keld::FrameGrabberDriver().Get<decltype(::function)>(#function)

namespace keld {

// The driver's folder of interface and camera files, as this platform names
// it; the status of the driver's answer.
Status KeldDataFolder(std::string* folder);

// Runs an operation's body; anything thrown on the way is 0xBFFF800B.
template <typename Body>
Status DriverGuard(Body&& body) noexcept {
  try {
    return body();
  } catch (...) {
    return kSessionNotConfigured;
  }
}

}  // namespace keld
