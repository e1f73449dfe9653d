// The four libraries that local sessions reach by name, each loaded at its
// first use and kept until the library unloads: the frame-grabber driver,
// the image library (for colour decoding), the network and USB camera
// driver, and the legacy IEEE 1394 driver. They are made in this order and
// go in the reverse one.
//
// They live in the platform layer so that they come to life before the
// session registry and go after it: the registry closes the sessions that
// are left at unload, and those close through their drivers.
#pragma once

#include <utility>

#include "platform/dynamic_library.h"

namespace keld {

DynamicLibrary& FrameGrabberDriver();  // "keld.dll"
DynamicLibrary& VisionServices();      // "odvissvc.dll"
DynamicLibrary& NetworkCameraDriver(); // "odkeldnv.dll"
DynamicLibrary& LegacyCameraDriver();  // "keld1394.dll"

// Calls a function of a library by its name through a pointer of the
// function's declared type: 0xBFFF800B where the library or the function is
// missing. The function runs outside every lock of the library object.
template <typename Function, typename... Args>
auto CallDriver(DynamicLibrary& library, const char* name, Args&&... args) {
  using Result = decltype(std::declval<Function*>()(static_cast<Args&&>(args)...));
  Function* function = library.Get<Function>(name);
  if (function == nullptr) return static_cast<Result>(0xBFFF800Bu);
  return function(static_cast<Args&&>(args)...);
}

}  // namespace keld
