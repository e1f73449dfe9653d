// Entry points of interfaces, sessions, attributes, execution states and
// configuration files.
#include <string>

#include "core/entry.h"

using keldsim::Guarded;
using keldsim::OnSession;
using keldsim::Session;
using keldsim::Simulator;
using keldsim::Status;
namespace st = keldsim::st;

namespace keldsim {

Status CameraHeaderInfo(std::uint32_t sid, const char* file, bool withTexts, std::uint32_t* supported, char* modeName,
                        char* detail) {
  if (file == nullptr || supported == nullptr) return st::kInvalidArgument;
  Status status = st::kOk;
  const auto session = Simulator::Get().FindSession(sid, status);
  if (!session) return status;
  std::string mode, text;
  status = session->CameraFileInfo(file, *supported, &mode, &text);
  if (status != st::kOk || !withTexts) return status;
  if (modeName != nullptr) CopyText520(mode, modeName);
  if (detail != nullptr) CopyText520(text, detail);
  return st::kOk;
}

}  // namespace keldsim

extern "C" {

KeldDriverStatus kldInterfaceOpen(const char* name, uint32_t* iid) {
  return Guarded(__func__, [&] { return Simulator::Get().InterfaceOpen(name, iid); });
}

KeldDriverStatus kldSessionOpen(uint32_t iid, uint32_t* sid) {
  return Guarded(__func__, [&] { return Simulator::Get().SessionOpen(iid, sid); });
}

// Flags are taken as they come; the library passes 1.
KeldDriverStatus kldClose(uint32_t id, uint32_t flags) {
  (void)flags;
  return Guarded(__func__, [&] { return Simulator::Get().Close(id); });
}

KeldDriverStatus kldGetAttribute(uint32_t sid, uint32_t key, void* value) {
  return OnSession(__func__, sid, [&](Session& session) { return session.GetAttribute(key, value); });
}

KeldDriverStatus kldSetAttributeFromVoidPtr(uint32_t sid, uint32_t key, const void* value) {
  return OnSession(__func__, sid, [&](Session& session) { return session.SetAttribute(key, value); });
}

KeldDriverStatus odkelduGetAttributeKeys(uint32_t sid, uint32_t* records, uint32_t* count) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (count == nullptr) return st::kInvalidArgument;
    return session.ListAttributes(records, *count);
  });
}

KeldDriverStatus odkelduGetExecutionState(uint32_t sid, uint32_t* state) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (state == nullptr) return st::kInvalidArgument;
    return session.GetExecutionState(*state);
  });
}

KeldDriverStatus odkelduChangeExecutionState(uint32_t sid, uint32_t state) {
  return OnSession(__func__, sid, [&](Session& session) { return session.ChangeExecutionState(state); });
}

KeldDriverStatus odkelduValidate(uint32_t sid) {
  return OnSession(__func__, sid, [&](Session& session) { return session.Validate(); });
}

KeldDriverStatus odkelduLoadInterfaceConfig(uint32_t sid, const char* path) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (path == nullptr) return st::kInvalidArgument;
    return session.LoadInterfaceConfig(path);
  });
}

KeldDriverStatus odkelduLoadCameraConfig(uint32_t sid, const char* path) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (path == nullptr) return st::kInvalidArgument;
    return session.LoadCameraConfig(path);
  });
}

KeldDriverStatus odkelduStoreInterfaceConfig(uint32_t sid, const char* path) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (path == nullptr) return st::kInvalidArgument;
    return session.StoreInterfaceConfig(path);
  });
}

KeldDriverStatus odkelduStoreCameraConfig(uint32_t sid, const char* path) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (path == nullptr) return st::kInvalidArgument;
    return session.StoreCameraConfig(path);
  });
}

KeldDriverStatus odkelduLoadConfiguration(uint32_t sid, const char* path) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (path == nullptr) return st::kInvalidArgument;
    return session.LoadConfiguration(path);
  });
}

KeldDriverStatus kldLoadCameraConfigFromString(uint32_t sid, const char* text) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (text == nullptr) return st::kInvalidArgument;
    return session.LoadCameraConfigFromText(text);
  });
}

KeldDriverStatus kldStoreCameraConfigToString(uint32_t sid, char** text) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (text == nullptr) return st::kInvalidArgument;
    std::string stored;
    if (const Status status = session.StoreCameraConfigToText(stored); status != st::kOk) return status;
    return Simulator::Get().LendText(stored, text);
  });
}

KeldDriverStatus kldDisposeBuffer(void* buffer) {
  return Guarded(__func__, [&] { return Simulator::Get().DisposeBuffer(buffer); });
}

KeldDriverStatus odkelduIsInterfaceSupported(uint32_t sid, const char* file, uint32_t* supported) {
  return Guarded(__func__, [&] { return keldsim::CameraHeaderInfo(sid, file, false, supported, nullptr, nullptr); });
}

}  // extern "C"
