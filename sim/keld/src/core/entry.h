// The frame of every entry point: the call is noted and may be delayed or
// answered by an injected status (Simulator::Enter), and no exception leaves
// the driver. Entry points call
//   return Guarded(__func__, [&] { ...; return status; });
// or OnSession(__func__, sid, [&](Session& session) { ... }).
#pragma once

#include <new>

#include "contained.h"
#include "core/simulator.h"
#include "exports.h"

namespace keldsim {

template <typename Body>
KeldDriverStatus Guarded(const char* function, Body&& body) noexcept {
  return keldsim_support::Contained(st::kNoMemory, st::kInternal, [&]() -> Status {
    if (const Status status = Simulator::Get().Enter(function); status != st::kOk) return status;
    return body();
  });
}

template <typename Body>
KeldDriverStatus OnSession(const char* function, std::uint32_t sid, Body&& body) noexcept {
  return Guarded(function, [&]() -> Status {
    Status status = st::kOk;
    const std::shared_ptr<Session> session = Simulator::Get().FindSession(sid, status);
    if (!session) return status;
    return body(*session);
  });
}

// Shared by the two forms of odkelduGetCameraHeaderInfo.
Status CameraHeaderInfo(std::uint32_t sid, const char* file, bool withTexts, std::uint32_t* supported, char* modeName,
                        char* detail);
// Copies a text into one of the driver's 520-byte buffers, cut at 519.
void CopyText520(const std::string& text, char* out);

}  // namespace keldsim
