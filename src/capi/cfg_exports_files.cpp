// Exported functions over camera files, interface files, the camera
// attribute list, acquisition-unit files and the other file helpers. The
// Refresh functions fill a list in the session, the Get functions read one
// entry of it.
#include "capi/frames.h"
#include "capi/native_call.h"
#include "keldcfgc/keldcfgc.h"

using namespace keld;
using keld::capi::NativeCall;

extern "C" {

KELDCFGC_API int32_t cfgRefreshCameraFileDataList(uint32_t session, uint32_t* count, uint32_t* current) {
  return NativeCall([&] { return frames::RefreshCameraFileDataList(session, count, current); });
}

KELDCFGC_API int32_t cfgRefreshReferenceCameraFileList(uint32_t session, uint32_t* count) {
  return NativeCall([&] { return frames::RefreshReferenceCameraFileList(session, count); });
}

KELDCFGC_API int32_t cfgRefreshInterfaceFileDataList(uint32_t session, uint32_t index, uint32_t* count) {
  return NativeCall([&] { return frames::RefreshInterfaceFileDataList(session, index, count); });
}

KELDCFGC_API int32_t cfgGetCameraFileData(uint32_t session, uint32_t index, CameraFileData* data) {
  return NativeCall([&] { return frames::GetCameraFileData(session, index, data); });
}

KELDCFGC_API int32_t cfgGetReferenceCameraFileName(uint32_t session, uint32_t index, char* name, uint32_t nameSize) {
  return NativeCall([&] {
    CFGString text;
    const Status status = frames::GetReferenceCameraFileName(session, index, &text);
    CopyText(text, name, nameSize);
    return status;
  });
}

KELDCFGC_API int32_t cfgGetInterfaceFileData(uint32_t session, uint32_t index, InterfaceFileData* data) {
  return NativeCall([&] { return frames::GetInterfaceFileData(session, index, data); });
}

KELDCFGC_API int32_t cfgRefreshCameraAttributeList(uint32_t session, uint32_t* count) {
  return NativeCall([&] { return frames::RefreshCameraAttributeList(session, count); });
}

KELDCFGC_API int32_t cfgGetCameraAttribute(uint32_t session, uint32_t index, CameraAttribute* data) {
  return NativeCall([&] { return frames::GetCameraAttribute(session, index, data); });
}

KELDCFGC_API int32_t cfgSetCameraAttribute(uint32_t session, uint32_t key, const char* text, double number,
                                           uint8_t useDefault) {
  return NativeCall([&] { return frames::SetCameraAttribute(session, key, text, number, useDefault); });
}

KELDCFGC_API int32_t cfgAutoExposure(uint32_t session, double* first, double* second) {
  return NativeCall([&] { return frames::AutoExposure(session, first, second); });
}

KELDCFGC_API int32_t cfgGetDataFilePath(uint32_t session, char* path, uint32_t pathSize) {
  return NativeCall([&] {
    CFGString text;
    const Status status = frames::GetDataFilePath(session, &text);
    CopyText(text, path, pathSize);
    return status;
  });
}

KELDCFGC_API int32_t cfgChangeInterfaceFile(uint32_t session, const char* path) {
  return NativeCall([&] { return frames::ChangeInterfaceFile(session, path); });
}

KELDCFGC_API int32_t cfgWriteInterfaceFile(uint32_t session, const char* path, uint32_t flag) {
  return NativeCall([&] { return frames::WriteInterfaceFile(session, path, flag); });
}

KELDCFGC_API int32_t cfgCopyFile(uint32_t session, const char* source, const char* destination) {
  return NativeCall([&] { return frames::CopyFile(session, source, destination); });
}

KELDCFGC_API int32_t cfgRefreshAcqUnitCameraFileList(uint32_t session, const char* unit, uint32_t* count) {
  return NativeCall([&] { return frames::RefreshAcqUnitCameraFileList(session, unit, count); });
}

KELDCFGC_API int32_t cfgGetAcqUnitCameraFileName(uint32_t session, uint32_t index, char* name, uint32_t nameSize) {
  return NativeCall([&] {
    CFGString text;
    const Status status = frames::GetAcqUnitCameraFileName(session, index, &text);
    CopyText(text, name, nameSize);
    return status;
  });
}

KELDCFGC_API int32_t cfgGetSerialErrorText(uint32_t session, char* text, uint32_t textSize) {
  return NativeCall([&] {
    if (text == nullptr) return kBadPointer;
    CFGString result;
    const Status status = frames::GetSerialErrorText(session, &result);
    CopyText(result, text, textSize);
    return status;
  });
}

KELDCFGC_API int32_t cfgRenameInterface(uint32_t session, const char* name) {
  return NativeCall([&] { return frames::RenameInterface(session, name); });
}

KELDCFGC_API int32_t cfgGetKELDCameraFileList(uint32_t session, char* list, uint32_t* size) {
  return NativeCall([&] { return frames::GetKELDCameraFileList(session, list, size); });
}

KELDCFGC_API int32_t cfgGetKELDCameraFilename(uint32_t session, char* name, uint32_t size) {
  return NativeCall([&] { return frames::GetKELDCameraFilename(session, name, size); });
}

KELDCFGC_API int32_t cfgChangeKELDCameraFile(uint32_t session, const char* name) {
  return NativeCall([&] { return frames::ChangeKELDCameraFile(session, name); });
}

KELDCFGC_API int32_t cfgCopyKELDCameraFile(uint32_t session, const char* name) {
  return NativeCall([&] { return frames::CopyKELDCameraFile(session, name); });
}

}  // extern "C"
