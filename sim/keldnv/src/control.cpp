// The control functions for tests (keldnvsim_control.h).
#include <algorithm>
#include <cstring>
#include <string>

#include "contained.h"
#include "entry.h"

using keldnvsim::Driver;
using keldnvsim::Status;
namespace st = keldnvsim::st;

namespace {

template <typename Body>
uint32_t Control(Body&& body) noexcept {
  return keldsim_support::Contained(st::kNoMemory, st::kInternal, static_cast<Body&&>(body));
}

// Copies a text in the manner of the call log: a null `text` asks for the size.
uint32_t CopySized(const std::string& value, char* text, uint32_t* size) {
  if (size == nullptr) return st::kInvalidArgument;
  const auto needed = static_cast<uint32_t>(value.size() + 1);
  if (text == nullptr) {
    *size = needed;
    return st::kOk;
  }
  if (*size == 0) return st::kInvalidArgument;
  const uint32_t copied = std::min(*size - 1, needed - 1);
  std::memcpy(text, value.data(), copied);
  text[copied] = 0;
  *size = needed;
  return st::kOk;
}

}  // namespace

extern "C" {

uint32_t keldnvsimReset(void) {
  return Control([] { return Driver::Get().Reset(nullptr, nullptr); });
}

uint32_t keldnvsimResetWith(const char* descriptionJson, const char* dataFolder) {
  return Control([&] { return Driver::Get().Reset(descriptionJson, dataFolder); });
}

uint32_t keldnvsimGetLastError(char* text, uint32_t size) {
  return Control([&]() -> Status {
    const std::string error = Driver::Get().LastError();
    return keldnvsim::CopyText(error, text, size);
  });
}

uint32_t keldnvsimAddCamera(const char* cameraJson) {
  return Control([&] { return Driver::Get().AddCamera(cameraJson); });
}

uint32_t keldnvsimRemoveCamera(const char* interfaceName) {
  return Control([&] { return Driver::Get().RemoveCamera(interfaceName); });
}

uint32_t keldnvsimSetDriverVersion(uint32_t version) {
  return Control([&] { return Driver::Get().SetVersion(version); });
}

uint32_t keldnvsimGetDriverVersion(uint32_t* version) {
  return Control([&]() -> Status {
    if (version == nullptr) return st::kInvalidArgument;
    *version = Driver::Get().Version();
    return st::kOk;
  });
}

uint32_t keldnvsimInjectStatus(const char* function, uint32_t status, uint32_t calls) {
  return Control([&] { return Driver::Get().Inject(function, status, calls); });
}

uint32_t keldnvsimSetDelay(const char* function, uint32_t milliseconds) {
  return Control([&] { return Driver::Get().SetDelay(function, milliseconds); });
}

uint32_t keldnvsimSetAttributeStatus(const char* interfaceName, const char* attribute, uint32_t status) {
  return Control([&] { return Driver::Get().SetAttributeStatus(interfaceName, attribute, status); });
}

uint32_t keldnvsimStallCamera(const char* interfaceName, uint32_t stalled) {
  return Control([&] { return Driver::Get().Stall(interfaceName, stalled != 0); });
}

uint32_t keldnvsimGetCallLog(char* text, uint32_t* size) {
  return Control([&] { return CopySized(Driver::Get().CallLog(), text, size); });
}

uint32_t keldnvsimGetCallCount(const char* function, uint32_t* count) {
  return Control([&]() -> Status {
    if (function == nullptr || count == nullptr) return st::kInvalidArgument;
    *count = Driver::Get().CallCount(function);
    return st::kOk;
  });
}

uint32_t keldnvsimClearCallLog(void) {
  return Control([] {
    Driver::Get().ClearCallLog();
    return st::kOk;
  });
}

}  // extern "C"
