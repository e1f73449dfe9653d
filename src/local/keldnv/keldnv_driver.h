// Calls into the network and USB camera driver, by the pattern every local
// session keeps: the function is resolved by its name before each single
// call (nothing is kept), a missing one answers 0xBFFF800B, and an exception
// out of a driver call or its resolving ends the operation with 0xBFFF800B
// (DriverGuard of the frame-grabber session's header).
#pragma once

#include "local/keld/keld_driver.h"
#include "local/keldnv/keldnv_driver_api.h"
#include "platform/driver_libraries.h"

// Calls the driver's `function` with the arguments; 0xBFFF800B where the
// driver or the function is missing.
#define KELDNV_DRIVER_CALL(function, ...) \
  ::keld::Status(::keld::CallDriver<decltype(::function)>(::keld::NetworkCameraDriver(), #function, __VA_ARGS__))
// The driver's `function`, or null.
#define KELDNV_DRIVER_FIND(function) ::keld::NetworkCameraDriver().Get<decltype(::function)>(#function)
