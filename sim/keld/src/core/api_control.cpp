// The control functions for tests (keldsim_control.h). They are not driver
// entry points: they are not logged, delayed or open to injection.
#include <cstring>
#include <new>

#include "contained.h"
#include "core/entry.h"

using keldsim::Simulator;
using keldsim::Status;
namespace st = keldsim::st;

namespace {

template <typename Body>
uint32_t Controlled(Body&& body) noexcept {
  return keldsim_support::Contained(st::kNoMemory, st::kInternal, static_cast<Body&&>(body));
}

// Copies a text into `size` bytes, cut and terminated.
Status CopyCut(const std::string& text, char* out, uint32_t size) {
  if (out == nullptr || size == 0) return st::kInvalidArgument;
  const std::size_t length = std::min<std::size_t>(text.size(), size - 1);
  std::memcpy(out, text.data(), length);
  out[length] = '\0';
  return length < text.size() ? st::kBufferTooSmall : st::kOk;
}

// A control of one session.
template <typename Body>
// Session 0 stands for every session open now (none: an invalid identifier).
uint32_t OnSessionControl(uint32_t sid, Body&& body) {
  return Controlled([&]() -> Status {
    Status status = st::kOk;
    if (sid == 0) {
      const auto open = Simulator::Get().OpenSessions();
      if (open.empty()) return st::kInvalidId;
      for (const auto& each : open) {
        const Status one = body(*each);
        if (status == st::kOk) status = one;
      }
      return status;
    }
    const auto session = Simulator::Get().FindSession(sid, status);
    if (!session) return status;
    return body(*session);
  });
}

}  // namespace

extern "C" {

uint32_t keldsimReset(void) {
  return Controlled([] { return Simulator::Get().Reset(nullptr, nullptr); });
}

uint32_t keldsimResetWith(const char* descriptionJson, const char* dataFolder) {
  return Controlled([&] { return Simulator::Get().Reset(descriptionJson, dataFolder); });
}

uint32_t keldsimGetLastError(char* text, uint32_t size) {
  return Controlled([&] { return CopyCut(Simulator::Get().LastError(), text, size); });
}

uint32_t keldsimAddBoard(const char* boardJson) {
  return Controlled([&] { return Simulator::Get().AddBoard(boardJson); });
}

uint32_t keldsimRemoveBoard(uint32_t serial) {
  return Controlled([&] { return Simulator::Get().RemoveBoard(serial); });
}

uint32_t keldsimAddFailedBoard(uint32_t serial, uint32_t status) {
  return Controlled([&] { return Simulator::Get().AddFailedBoard(serial, status); });
}

uint32_t keldsimSetDriverVersion(uint32_t version) {
  return Controlled([&] { return Simulator::Get().SetVersion(version); });
}

uint32_t keldsimGetDriverVersion(uint32_t* version) {
  return Controlled([&]() -> Status {
    if (version == nullptr) return st::kInvalidArgument;
    // The first use reads the description, which sets the word.
    if (const Status status = Simulator::Get().Loaded(); status != st::kOk) return status;
    *version = Simulator::Get().Version();
    return st::kOk;
  });
}

uint32_t keldsimInjectStatus(const char* function, uint32_t status, uint32_t calls) {
  return Controlled([&] { return Simulator::Get().Inject(function, status, calls); });
}

uint32_t keldsimSetDelay(const char* function, uint32_t milliseconds) {
  return Controlled([&] { return Simulator::Get().SetDelay(function, milliseconds); });
}

uint32_t keldsimSetSerialError(uint32_t sid, const char* text) {
  if (text == nullptr) return st::kInvalidArgument;
  return OnSessionControl(sid, [&](keldsim::Session& session) { return session.SetSerialError(text); });
}

uint32_t keldsimGetUnitSession(uint32_t serial, uint32_t unit, uint32_t* sid) {
  return Controlled([&] { return Simulator::Get().UnitSession(serial, unit, sid); });
}

uint32_t keldsimLoseFrames(uint32_t sid, uint32_t frames) {
  return OnSessionControl(sid, [&](keldsim::Session& session) { return session.AddFrameFaults(frames, 0); });
}

uint32_t keldsimFailTransfers(uint32_t sid, uint32_t frames) {
  return OnSessionControl(sid, [&](keldsim::Session& session) { return session.AddFrameFaults(0, frames); });
}

uint32_t keldsimStallCamera(uint32_t sid, uint32_t stalled) {
  return OnSessionControl(sid, [&](keldsim::Session& session) { return session.SetStalled(stalled != 0); });
}

uint32_t keldsimGetCallLog(char* text, uint32_t* size) {
  return Controlled([&]() -> Status {
    if (size == nullptr) return st::kInvalidArgument;
    const std::string log = Simulator::Get().CallLog();
    const auto need = static_cast<uint32_t>(log.size() + 1);
    if (text == nullptr) {
      *size = need;
      return st::kOk;
    }
    const Status status = CopyCut(log, text, *size);
    *size = need;
    return status;
  });
}

uint32_t keldsimGetCallCount(const char* function, uint32_t* count) {
  return Controlled([&]() -> Status {
    if (function == nullptr || count == nullptr) return st::kInvalidArgument;
    *count = Simulator::Get().CallCount(function);
    return st::kOk;
  });
}

uint32_t keldsimClearCallLog(void) {
  return Controlled([] {
    Simulator::Get().ClearCallLog();
    return st::kOk;
  });
}

uint32_t keldsimGetPulseState(uint32_t pulse, KeldsimPulseState* state) {
  return Controlled([&]() -> Status {
    if (state == nullptr) return st::kInvalidArgument;
    return Simulator::Get().PulseState(pulse, state->parameters, state->running, state->session);
  });
}

uint32_t keldsimSetBoardTestResult(uint32_t serial, const char* test, uint32_t result, const char* message) {
  return Controlled([&] { return Simulator::Get().SetBoardTestResult(serial, test, result, message); });
}

uint32_t keldsimGetBoardTestResult(uint32_t serial, const char* test, uint32_t* result, char* message, uint32_t size) {
  return Controlled([&]() -> Status {
    if (result == nullptr) return st::kInvalidArgument;
    std::string text;
    if (const Status status = Simulator::Get().BoardTestResult(serial, test, *result, text); status != st::kOk) {
      return status;
    }
    if (message == nullptr || size == 0) return st::kOk;
    return CopyCut(text, message, size);
  });
}

}  // extern "C"
