// The frame of every entry point: the call is noted (with the arguments
// tests look at) and may be delayed or answered by an injected status
// (Driver::Enter), and no exception leaves the driver. Entry points call
//   return Guarded(__func__, [&] { ...; return status; });
// or Noted(__func__, [&] { return "mode=2"; }, [&] { ... }).
#pragma once

#include <new>
#include <string>

// First: the declarations take the default visibility only where they are
// first seen under it.
#include "exports.h"
#include "contained.h"
#include "driver.h"

namespace keldnvsim {

template <typename Note, typename Body>
KeldnvDriverStatus Noted(const char* function, Note&& note, Body&& body) noexcept {
  return keldsim_support::Contained(st::kNoMemory, st::kInternal, [&]() -> Status {
    if (const Status status = Driver::Get().Enter(function, note()); status != st::kOk) return status;
    return body();
  });
}

template <typename Body>
KeldnvDriverStatus Guarded(const char* function, Body&& body) noexcept {
  return Noted(function, [] { return std::string(); }, static_cast<Body&&>(body));
}

// The function exists from driver version `from` on.
inline Status Since(std::uint32_t from) {
  return Driver::Get().Version() >= from ? st::kOk : st::kNotInThisVersion;
}

}  // namespace keldnvsim
