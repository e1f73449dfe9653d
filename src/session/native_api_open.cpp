// Exported functions that open a session on a board or camera.
#include "keldcfgc/keldcfgc.h"
#include "remote/remote_session.h"
#include "session/native_frame.h"
#include "session/native_lookup.h"

using namespace keld;

namespace {

// Bit of the open flags that gives a remote session the long time-out.
constexpr std::uint32_t kLongTimeoutFlag = 0x80000000u;
constexpr std::uint32_t kLongTimeout = 300000;

struct OpenRequest {
  std::uint32_t driverType;
  const char* host;
  CFGString interfaceName;
  std::uint32_t flags = 0;         // handed to SetOpenFlags where not 0
  bool refreshAttributes = true;   // the legacy board open leaves it out
};

bool IsEmpty(const char* text) { return text == nullptr || text[0] == 0; }

// Create, set the flags, open, read the attributes; any failure closes the
// session again, so the caller holds nothing after a failed open.
Status OpenSession(const OpenRequest& request, std::uint32_t* id) {
  ConfigSession* created = nullptr;
  Status status = CreateSession(&created, request.driverType, GetLocalClientName().c_str(), request.host,
                                request.interfaceName.c_str());
  auto* session = dynamic_cast<DeviceConfigSession*>(created);
  if (status == kSuccess && session == nullptr) status = kInvalidSession;
  if (status == kSuccess && request.flags != 0) {
    status = session->SetOpenFlags(request.flags);
    auto* remote = dynamic_cast<RemoteSession*>(session);
    if ((request.flags & kLongTimeoutFlag) != 0 && remote != nullptr) remote->timeout = kLongTimeout;
  }
  if (status == kSuccess) status = session->Open();
  if (status == kSuccess && request.refreshAttributes) status = session->RefreshAttributes();
  if (status != kSuccess) {
    CloseSession(created);
    return status;
  }
  *id = session->id;
  return kSuccess;
}

CFGString CameraName(const char* interfaceName, std::uint32_t uuidHigh, std::uint32_t uuidLow) {
  return IsEmpty(interfaceName) ? FormatString("uuid:%08x%08x", uuidHigh, uuidLow) : CFGString(interfaceName);
}

std::int32_t OpenCameraFrame(const char* host, std::uint32_t driverType, const char* interfaceName,
                             std::uint32_t uuidHigh, std::uint32_t uuidLow, std::uint32_t flags, std::uint32_t* id) {
  if (id == nullptr) return ToResult(kBadPointer);
  OpenRequest request{driverType, host, CameraName(interfaceName, uuidHigh, uuidLow)};
  request.flags = flags;
  return ToResult(OpenSession(request, id));
}

}  // namespace

extern "C" {

KELDCFGC_API int32_t cfgOpenBoard(const char* host, const char* interfaceName, uint32_t serial, uint32_t* id) {
  EnterNativeFrame();
  if (id == nullptr) return ToResult(kBadPointer);
  const OpenRequest request{kDriverKELD, host,
                            IsEmpty(interfaceName) ? FormatString("serial:%08x", serial) : CFGString(interfaceName)};
  return ToResult(OpenSession(request, id));
}

KELDCFGC_API int32_t cfgOpenLegacyBoard(const char* host, const char* interfaceName, uint32_t* id) {
  EnterNativeFrame();
  // No replacement name here: the interface name is required.
  if (id == nullptr || interfaceName == nullptr) return ToResult(kBadPointer);
  OpenRequest request{kDriverKELD, host, CFGString(interfaceName)};
  request.refreshAttributes = false;
  return ToResult(OpenSession(request, id));
}

KELDCFGC_API int32_t cfgOpenCamera(const char* host, const char* interfaceName, uint32_t uuidHigh, uint32_t uuidLow,
                                   uint32_t* id) {
  EnterNativeFrame();
  return OpenCameraFrame(host, kDriverKELD1394, interfaceName, uuidHigh, uuidLow, 0, id);
}

KELDCFGC_API int32_t cfgOpenCamera2(const char* host, uint32_t driverType, const char* interfaceName,
                                    uint32_t uuidHigh, uint32_t uuidLow, uint32_t* id) {
  EnterNativeFrame();
  return OpenCameraFrame(host, driverType, interfaceName, uuidHigh, uuidLow, 0, id);
}

KELDCFGC_API int32_t cfgOpenCamera3(const char* host, uint32_t driverType, const char* interfaceName,
                                    uint32_t uuidHigh, uint32_t uuidLow, uint32_t flags, uint32_t* id) {
  EnterNativeFrame();
  return OpenCameraFrame(host, driverType, interfaceName, uuidHigh, uuidLow, flags, id);
}

}  // extern "C"
