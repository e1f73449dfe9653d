// Exported functions over the device inventory, and the two functions that
// work on a throw-away session instead of an open one.
#include "capi/frames.h"
#include "capi/native_call.h"
#include "keldcfgc/keldcfgc.h"

using namespace keld;
using keld::capi::NativeCall;

namespace {

// A text result goes out also where the query failed: it is then empty.
Status QueryCameraCopy(const char* host, std::int32_t driverType, std::uint32_t index, char* name,
                       std::uint32_t nameSize, std::uint32_t* uuidHigh, std::uint32_t* uuidLow, char* description,
                       std::uint32_t descriptionSize, std::uint32_t* busType) {
  CFGString nameText;
  CFGString descriptionText;
  const Status status =
      frames::QueryCamera2(host, driverType, index, &nameText, uuidHigh, uuidLow, &descriptionText, busType);
  CopyText(nameText, name, nameSize);
  CopyText(descriptionText, description, descriptionSize);
  return status;
}

Status QueryCameraDriverCopy(const char* host, std::int32_t driverType, std::uint32_t index, char* driverName,
                             std::uint32_t driverNameSize, std::uint32_t* driverVersion) {
  CFGString nameText;
  const Status status = frames::QueryCameraDriver2(host, driverType, index, &nameText, driverVersion);
  CopyText(nameText, driverName, driverNameSize);
  return status;
}

}  // namespace

extern "C" {

KELDCFGC_API int32_t cfgRefreshBoards(const char* host) {
  return NativeCall([&] { return frames::RefreshBoards2(host, nullptr); });
}

KELDCFGC_API int32_t cfgRefreshBoards2(const char* host, uint8_t* changed) {
  return NativeCall([&] { return frames::RefreshBoards2(host, changed); });
}

KELDCFGC_API int32_t cfgGetBoardCount(const char* host, uint32_t* count) {
  return NativeCall([&] { return frames::GetBoardCount(host, count); });
}

KELDCFGC_API int32_t cfgQueryBoard(const char* host, uint32_t index, char* name, uint32_t nameSize, uint32_t* serial,
                                   char* description, uint32_t descriptionSize) {
  return NativeCall([&] {
    CFGString nameText;
    CFGString descriptionText;
    const Status status = frames::QueryBoard(host, index, &nameText, serial, &descriptionText);
    CopyText(nameText, name, nameSize);
    CopyText(descriptionText, description, descriptionSize);
    return status;
  });
}

KELDCFGC_API int32_t cfgQueryBoardDriver(const char* host, uint32_t index, char* driverName, uint32_t driverNameSize,
                                         uint32_t* driverVersion) {
  return NativeCall([&] {
    CFGString nameText;
    const Status status = frames::QueryBoardDriver(host, index, &nameText, driverVersion);
    CopyText(nameText, driverName, driverNameSize);
    return status;
  });
}

KELDCFGC_API int32_t cfgRefreshCameras(const char* host) {
  return NativeCall([&] { return frames::RefreshCameras(host); });
}

KELDCFGC_API int32_t cfgRefreshCameras2(const char* host, int32_t driverType) {
  return NativeCall([&] { return frames::RefreshCameras3(host, driverType, nullptr); });
}

KELDCFGC_API int32_t cfgRefreshCameras3(const char* host, int32_t driverType, uint8_t* changed) {
  return NativeCall([&] { return frames::RefreshCameras3(host, driverType, changed); });
}

KELDCFGC_API int32_t cfgGetCameraCount(const char* host, uint32_t* count) {
  return NativeCall([&] { return frames::GetCameraCount2(host, kDriverKELD1394, count); });
}

KELDCFGC_API int32_t cfgGetCameraCount2(const char* host, int32_t driverType, uint32_t* count) {
  return NativeCall([&] { return frames::GetCameraCount2(host, driverType, count); });
}

KELDCFGC_API int32_t cfgQueryCamera(const char* host, uint32_t index, char* name, uint32_t nameSize, uint32_t* uuidHigh,
                                    uint32_t* uuidLow, char* description, uint32_t descriptionSize) {
  return NativeCall([&] {
    return QueryCameraCopy(host, kDriverKELD1394, index, name, nameSize, uuidHigh, uuidLow, description,
                           descriptionSize, nullptr);
  });
}

KELDCFGC_API int32_t cfgQueryCamera2(const char* host, int32_t driverType, uint32_t index, char* name,
                                     uint32_t nameSize, uint32_t* uuidHigh, uint32_t* uuidLow, char* description,
                                     uint32_t descriptionSize, uint32_t* busType) {
  return NativeCall([&] {
    return QueryCameraCopy(host, driverType, index, name, nameSize, uuidHigh, uuidLow, description, descriptionSize,
                           busType);
  });
}

KELDCFGC_API int32_t cfgQueryCameraDriver(const char* host, uint32_t index, char* driverName,
                                          uint32_t driverNameSize, uint32_t* driverVersion) {
  return NativeCall([&] {
    return QueryCameraDriverCopy(host, kDriverKELD1394, index, driverName, driverNameSize, driverVersion);
  });
}

KELDCFGC_API int32_t cfgQueryCameraDriver2(const char* host, int32_t driverType, uint32_t index, char* driverName,
                                           uint32_t driverNameSize, uint32_t* driverVersion) {
  return NativeCall(
      [&] { return QueryCameraDriverCopy(host, driverType, index, driverName, driverNameSize, driverVersion); });
}

KELDCFGC_API int32_t cfgGetCameraStatus(const char* host, uint32_t driverType, const char* camera, uint8_t* state,
                                        uint32_t* detail) {
  return NativeCall([&] { return frames::GetCameraStatus(host, driverType, camera, state, detail); });
}

KELDCFGC_API int32_t cfgRenameCameraLinkBoard(const char* host, uint32_t driverType, const char* oldName,
                                              const char* newName) {
  return NativeCall([&] { return frames::RenameCameraLinkBoard(host, driverType, oldName, newName); });
}

KELDCFGC_API int32_t cfgOpenBoard(const char* host, const char* interfaceName, uint32_t serial, uint32_t* id) {
  return NativeCall([&] { return frames::OpenBoard(host, interfaceName, serial, id); });
}

KELDCFGC_API int32_t cfgOpenLegacyBoard(const char* host, const char* interfaceName, uint32_t* id) {
  return NativeCall([&] { return frames::OpenLegacyBoard(host, interfaceName, id); });
}

KELDCFGC_API int32_t cfgOpenCamera(const char* host, const char* interfaceName, uint32_t uuidHigh, uint32_t uuidLow,
                                   uint32_t* id) {
  return NativeCall(
      [&] { return frames::OpenCamera3(host, kDriverKELD1394, interfaceName, uuidHigh, uuidLow, 0, id); });
}

KELDCFGC_API int32_t cfgOpenCamera2(const char* host, uint32_t driverType, const char* interfaceName,
                                    uint32_t uuidHigh, uint32_t uuidLow, uint32_t* id) {
  return NativeCall([&] { return frames::OpenCamera3(host, driverType, interfaceName, uuidHigh, uuidLow, 0, id); });
}

KELDCFGC_API int32_t cfgOpenCamera3(const char* host, uint32_t driverType, const char* interfaceName,
                                    uint32_t uuidHigh, uint32_t uuidLow, uint32_t flags, uint32_t* id) {
  return NativeCall(
      [&] { return frames::OpenCamera3(host, driverType, interfaceName, uuidHigh, uuidLow, flags, id); });
}

KELDCFGC_API int32_t cfgPing(uint32_t session) {
  return NativeCall([&] { return frames::Ping(session); });
}

KELDCFGC_API int32_t cfgGetTimeout(uint32_t session, uint32_t* timeout) {
  return NativeCall([&] { return frames::GetTimeout(session, timeout); });
}

KELDCFGC_API int32_t cfgSetTimeout(uint32_t session, uint32_t timeout) {
  return NativeCall([&] { return frames::SetTimeout(session, timeout); });
}

}  // extern "C"
