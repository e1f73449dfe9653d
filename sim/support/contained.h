// Contained: the frame of a simulated driver's C functions. It runs `body`
// and answers its status; what the body throws becomes a status of the
// driver's own instead (`noMemory` for an allocation that failed, `internal`
// for anything else), so that no exception leaves the driver.
#pragma once

#include <cstdint>
#include <new>

namespace keldsim_support {

template <typename Body>
std::uint32_t Contained(std::uint32_t noMemory, std::uint32_t internal, Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return noMemory;
  } catch (...) {
    return internal;
  }
}

}  // namespace keldsim_support
