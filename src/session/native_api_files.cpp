// Exported functions over camera files, interface files, the camera
// attribute list, acquisition-unit files and the other file helpers. The
// Refresh functions fill a list in the session, the Get functions read one
// entry of it.
#include "keldcfgc/keldcfgc.h"
#include "session/native_frame.h"
#include "session/native_lookup.h"

using namespace keld;

namespace {

// Runs a text-producing operation and copies its text out, also where the
// operation failed (the text is then what the string holds).
template <typename Operation>
std::int32_t TextFrame(std::uint32_t id, char* buffer, std::uint32_t size, Operation operation) {
  CFGString text;
  const Status status = WithDeviceSession(id, [&](DeviceConfigSession& s) { return operation(s, &text); });
  CopyText(text, buffer, size);
  return ToResult(status);
}

}  // namespace

extern "C" {

KELDCFGC_API int32_t cfgRefreshCameraFileDataList(uint32_t session, uint32_t* count, uint32_t* current) {
  EnterNativeFrame();
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.RefreshCameraFileDataList(count, current); }));
}

KELDCFGC_API int32_t cfgRefreshReferenceCameraFileList(uint32_t session, uint32_t* count) {
  EnterNativeFrame();
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.RefreshReferenceCameraFileList(count); }));
}

KELDCFGC_API int32_t cfgRefreshInterfaceFileDataList(uint32_t session, uint32_t index, uint32_t* count) {
  EnterNativeFrame();
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.RefreshInterfaceFileDataList(index, count); }));
}

KELDCFGC_API int32_t cfgGetCameraFileData(uint32_t session, uint32_t index, CameraFileData* data) {
  EnterNativeFrame();
  if (data == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.GetCameraFileData(index, data); }));
}

KELDCFGC_API int32_t cfgGetReferenceCameraFileName(uint32_t session, uint32_t index, char* name, uint32_t nameSize) {
  EnterNativeFrame();
  return TextFrame(session, name, nameSize,
                   [&](DeviceConfigSession& s, CFGString* text) { return s.GetReferenceCameraFileName(index, text); });
}

KELDCFGC_API int32_t cfgGetInterfaceFileData(uint32_t session, uint32_t index, InterfaceFileData* data) {
  EnterNativeFrame();
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.GetInterfaceFileData(index, data); }));
}

KELDCFGC_API int32_t cfgRefreshCameraAttributeList(uint32_t session, uint32_t* count) {
  EnterNativeFrame();
  if (count == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.RefreshCameraAttributeList(count); }));
}

KELDCFGC_API int32_t cfgGetCameraAttribute(uint32_t session, uint32_t index, CameraAttribute* data) {
  EnterNativeFrame();
  if (data == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.GetCameraAttribute(index, data); }));
}

KELDCFGC_API int32_t cfgSetCameraAttribute(uint32_t session, uint32_t key, const char* text, double number,
                                           uint8_t useDefault) {
  EnterNativeFrame();
  if (text == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(
      session, [&](DeviceConfigSession& s) { return s.SetCameraAttribute(key, text, number, useDefault); }));
}

KELDCFGC_API int32_t cfgAutoExposure(uint32_t session, double* first, double* second) {
  EnterNativeFrame();
  if (first == nullptr || second == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.AutoExposure(first, second); }));
}

KELDCFGC_API int32_t cfgGetDataFilePath(uint32_t session, char* path, uint32_t pathSize) {
  EnterNativeFrame();
  return TextFrame(session, path, pathSize,
                   [](DeviceConfigSession& s, CFGString* text) { return s.GetDataFilePath(text); });
}

KELDCFGC_API int32_t cfgChangeInterfaceFile(uint32_t session, const char* path) {
  EnterNativeFrame();
  if (path == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.ChangeInterfaceFile(path); }));
}

KELDCFGC_API int32_t cfgWriteInterfaceFile(uint32_t session, const char* path, uint32_t flag) {
  EnterNativeFrame();
  if (path == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.WriteInterfaceFile(path, flag); }));
}

KELDCFGC_API int32_t cfgCopyFile(uint32_t session, const char* source, const char* destination) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.CopyFile(source, destination); }));
}

KELDCFGC_API int32_t cfgRefreshAcqUnitCameraFileList(uint32_t session, const char* unit, uint32_t* count) {
  EnterNativeFrame();
  return ToResult(
      WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.RefreshAcqUnitCameraFileList(unit, count); }));
}

KELDCFGC_API int32_t cfgGetAcqUnitCameraFileName(uint32_t session, uint32_t index, char* name, uint32_t nameSize) {
  EnterNativeFrame();
  return TextFrame(session, name, nameSize,
                   [&](DeviceConfigSession& s, CFGString* text) { return s.GetAcqUnitCameraFileName(index, text); });
}

KELDCFGC_API int32_t cfgGetSerialErrorText(uint32_t session, char* text, uint32_t textSize) {
  EnterNativeFrame();
  if (text == nullptr) return ToResult(kBadPointer);
  return TextFrame(session, text, textSize,
                   [](DeviceConfigSession& s, CFGString* result) { return s.GetSerialErrorText(result); });
}

KELDCFGC_API int32_t cfgRenameInterface(uint32_t session, const char* name) {
  EnterNativeFrame();
  if (name == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.RenameInterface(name); }));
}

KELDCFGC_API int32_t cfgGetKELDCameraFileList(uint32_t session, char* list, uint32_t* size) {
  EnterNativeFrame();
  // A null list asks for the size alone; the size is always needed.
  if (size == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.GetKELDCameraFileList(list, size); }));
}

KELDCFGC_API int32_t cfgGetKELDCameraFilename(uint32_t session, char* name, uint32_t size) {
  EnterNativeFrame();
  if (name == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.GetKELDCameraFilename(name, size); }));
}

KELDCFGC_API int32_t cfgChangeKELDCameraFile(uint32_t session, const char* name) {
  EnterNativeFrame();
  if (name == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.ChangeKELDCameraFile(name); }));
}

KELDCFGC_API int32_t cfgCopyKELDCameraFile(uint32_t session, const char* name) {
  EnterNativeFrame();
  if (name == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.CopyKELDCameraFile(name); }));
}

}  // extern "C"
