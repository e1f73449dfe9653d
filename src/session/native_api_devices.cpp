// Exported functions over the device inventory, and the two functions that
// work on a throw-away session instead of an open one.
#include "inventory/device_queries.h"
#include "keldcfgc/keldcfgc.h"
#include "session/native_frame.h"
#include "session/native_lookup.h"

using namespace keld;

namespace {

// Running number of "RenameCameraLinkBoard%d" sessions; like the other
// throw-away counters a plain integer, incremented without a lock.
std::int32_t renameBoardCounter = 0;

// Creates a session of the network and USB driver under `name`, runs one
// operation on it without opening it, and closes it whatever happened.
template <typename Operation>
Status WithThrowAwaySession(const char* host, const CFGString& name, Operation operation) {
  ConfigSession* session = nullptr;
  Status status = CreateSession(&session, kDriverKELDnv, GetLocalClientName().c_str(), host, name.c_str());
  if (status == kSuccess) {
    auto* device = dynamic_cast<DeviceConfigSession*>(session);
    status = device != nullptr ? operation(*device) : kInvalidSession;
  }
  CloseSession(session);
  return status;
}

std::int32_t QueryCameraFrame(const char* host, std::uint32_t driverType, std::uint32_t index, char* name,
                              std::uint32_t nameSize, std::uint32_t* uuidHigh, std::uint32_t* uuidLow,
                              char* description, std::uint32_t descriptionSize, std::uint32_t* busType) {
  CFGString nameText;
  CFGString descriptionText;
  const Status status =
      QueryDevice(driverType, host, index, &nameText, uuidHigh, uuidLow, &descriptionText, busType);
  CopyText(nameText, name, nameSize);
  CopyText(descriptionText, description, descriptionSize);
  return ToResult(status);
}

std::int32_t QueryDriverFrame(const char* host, std::uint32_t driverType, std::uint32_t index, char* driverName,
                              std::uint32_t driverNameSize, std::uint32_t* driverVersion) {
  CFGString nameText;
  const Status status = QueryDeviceDriver(driverType, host, index, &nameText, driverVersion);
  CopyText(nameText, driverName, driverNameSize);
  return ToResult(status);
}

}  // namespace

extern "C" {

KELDCFGC_API int32_t cfgRefreshBoards(const char* host) {
  EnterNativeFrame();
  return ToResult(RefreshDevices(kDriverKELD, host, nullptr));
}

KELDCFGC_API int32_t cfgRefreshBoards2(const char* host, uint8_t* changed) {
  EnterNativeFrame();
  return ToResult(RefreshDevices(kDriverKELD, host, changed));
}

KELDCFGC_API int32_t cfgGetBoardCount(const char* host, uint32_t* count) {
  EnterNativeFrame();
  return ToResult(GetDeviceCount(kDriverKELD, host, count));
}

KELDCFGC_API int32_t cfgQueryBoard(const char* host, uint32_t index, char* name, uint32_t nameSize, uint32_t* serial,
                                   char* description, uint32_t descriptionSize) {
  EnterNativeFrame();
  return QueryCameraFrame(host, kDriverKELD, index, name, nameSize, nullptr, serial, description, descriptionSize,
                          nullptr);
}

KELDCFGC_API int32_t cfgQueryBoardDriver(const char* host, uint32_t index, char* driverName, uint32_t driverNameSize,
                                         uint32_t* driverVersion) {
  EnterNativeFrame();
  return QueryDriverFrame(host, kDriverKELD, index, driverName, driverNameSize, driverVersion);
}

KELDCFGC_API int32_t cfgRefreshCameras(const char* host) {
  EnterNativeFrame();
  return ToResult(RefreshDevices(kDriverKELD1394, host, nullptr));
}

KELDCFGC_API int32_t cfgRefreshCameras2(const char* host, int32_t driverType) {
  EnterNativeFrame();
  if (!IsCameraDriver(driverType)) return ToResult(kUnknownSessionType);
  return ToResult(RefreshDevices(static_cast<std::uint32_t>(driverType), host, nullptr));
}

KELDCFGC_API int32_t cfgRefreshCameras3(const char* host, int32_t driverType, uint8_t* changed) {
  EnterNativeFrame();
  if (!IsCameraDriver(driverType)) return ToResult(kUnknownSessionType);
  return ToResult(RefreshDevices(static_cast<std::uint32_t>(driverType), host, changed));
}

KELDCFGC_API int32_t cfgGetCameraCount(const char* host, uint32_t* count) {
  EnterNativeFrame();
  return ToResult(GetDeviceCount(kDriverKELD1394, host, count));
}

KELDCFGC_API int32_t cfgGetCameraCount2(const char* host, int32_t driverType, uint32_t* count) {
  EnterNativeFrame();
  if (count == nullptr) return ToResult(kBadPointer);
  if (!IsCameraDriver(driverType)) return ToResult(kUnknownSessionType);
  return ToResult(GetDeviceCount(static_cast<std::uint32_t>(driverType), host, count));
}

KELDCFGC_API int32_t cfgQueryCamera(const char* host, uint32_t index, char* name, uint32_t nameSize, uint32_t* uuidHigh,
                                    uint32_t* uuidLow, char* description, uint32_t descriptionSize) {
  EnterNativeFrame();
  return QueryCameraFrame(host, kDriverKELD1394, index, name, nameSize, uuidHigh, uuidLow, description,
                          descriptionSize, nullptr);
}

KELDCFGC_API int32_t cfgQueryCamera2(const char* host, int32_t driverType, uint32_t index, char* name,
                                     uint32_t nameSize, uint32_t* uuidHigh, uint32_t* uuidLow, char* description,
                                     uint32_t descriptionSize, uint32_t* busType) {
  EnterNativeFrame();
  if (!IsCameraDriver(driverType)) return ToResult(kUnknownSessionType);
  return QueryCameraFrame(host, static_cast<std::uint32_t>(driverType), index, name, nameSize, uuidHigh, uuidLow,
                          description, descriptionSize, busType);
}

KELDCFGC_API int32_t cfgQueryCameraDriver(const char* host, uint32_t index, char* driverName,
                                          uint32_t driverNameSize, uint32_t* driverVersion) {
  EnterNativeFrame();
  return QueryDriverFrame(host, kDriverKELD1394, index, driverName, driverNameSize, driverVersion);
}

KELDCFGC_API int32_t cfgQueryCameraDriver2(const char* host, int32_t driverType, uint32_t index, char* driverName,
                                           uint32_t driverNameSize, uint32_t* driverVersion) {
  EnterNativeFrame();
  if (!IsCameraDriver(driverType)) return ToResult(kUnknownSessionType);
  return QueryDriverFrame(host, static_cast<std::uint32_t>(driverType), index, driverName, driverNameSize,
                          driverVersion);
}

KELDCFGC_API int32_t cfgGetCameraStatus(const char* host, uint32_t driverType, const char* camera, uint8_t* state,
                                        uint32_t* detail) {
  EnterNativeFrame();
  // Only the network and USB driver answers this; the driver is tested
  // before the pointers.
  if (driverType != kDriverKELDnv) return ToResult(kNotSupported);
  if (state == nullptr || detail == nullptr) return ToResult(kBadPointer);
  const CFGString name = FormatString("GetCameraStatus%d", cameraStatusCounter++);
  return ToResult(WithThrowAwaySession(host, name, [&](DeviceConfigSession& session) {
    return session.GetCameraStatus(camera, state, detail);
  }));
}

KELDCFGC_API int32_t cfgRenameCameraLinkBoard(const char* host, uint32_t driverType, const char* oldName,
                                              const char* newName) {
  EnterNativeFrame();
  if (driverType != kDriverKELDnv) return ToResult(kNotSupported);
  const CFGString name = FormatString("RenameCameraLinkBoard%d", renameBoardCounter++);
  return ToResult(WithThrowAwaySession(host, name, [&](DeviceConfigSession& session) {
    return session.RenameCameraLinkBoard(oldName, newName);
  }));
}

}  // extern "C"
