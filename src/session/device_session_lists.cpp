// The list operations every device session shares. A refresh runs the
// session's own query into the cached list and reports its length; a getter
// copies one element out of the cache and never reaches the driver.
#include "session/config_session.h"

namespace keld {

namespace {

// Copies element `index` of a cached list, or answers 0xBFFF800C beyond it.
template <typename List, typename Element>
Status CopyElement(const List& list, std::uint32_t index, Element* out) {
  if (out == nullptr) return kBadPointer;
  if (index >= list.size()) return kIndexBeyondRange;
  *out = list[index];
  return kSuccess;
}

std::uint32_t CountOf(const StringList& list) { return static_cast<std::uint32_t>(list.size()); }

}  // namespace

Status DeviceConfigSession::RefreshCameraFileDataList(std::uint32_t* count, std::uint32_t* current) {
  if (count == nullptr || current == nullptr) return kBadPointer;
  const Status status = QueryCameraFileDataList(&cameraFiles, current);
  if (status != kSuccess) return status;
  *count = static_cast<std::uint32_t>(cameraFiles.size());
  return kSuccess;
}

Status DeviceConfigSession::RefreshReferenceCameraFileList(std::uint32_t* count) {
  if (count == nullptr) return kBadPointer;
  const Status status = QueryReferenceCameraFileList(&referenceCameraFiles);
  if (status != kSuccess) return status;
  *count = CountOf(referenceCameraFiles);
  return kSuccess;
}

Status DeviceConfigSession::GetCameraFileData(std::uint32_t index, CameraFileData* data) {
  return CopyElement(cameraFiles, index, data);
}

Status DeviceConfigSession::GetReferenceCameraFileName(std::uint32_t index, CFGString* name) {
  return CopyElement(referenceCameraFiles, index, name);
}

Status DeviceConfigSession::RefreshInterfaceFileDataList(std::uint32_t index, std::uint32_t* count) {
  if (count == nullptr) return kBadPointer;
  const Status status = QueryInterfaceFileDataList(index, &interfaceFiles);
  if (status != kSuccess) return status;
  *count = static_cast<std::uint32_t>(interfaceFiles.size());
  return kSuccess;
}

Status DeviceConfigSession::GetInterfaceFileData(std::uint32_t index, InterfaceFileData* data) {
  return CopyElement(interfaceFiles, index, data);
}

Status DeviceConfigSession::RefreshCameraAttributeList(std::uint32_t* count) {
  if (count == nullptr) return kBadPointer;
  const Status status = QueryCameraAttributeList(&cameraAttributes);
  if (status != kSuccess) return status;
  *count = static_cast<std::uint32_t>(cameraAttributes.size());
  return kSuccess;
}

Status DeviceConfigSession::GetCameraAttribute(std::uint32_t index, CameraAttribute* data) {
  return CopyElement(cameraAttributes, index, data);
}

Status DeviceConfigSession::RunDiagnostics(std::uint32_t index, std::uint32_t* count) {
  if (count == nullptr) return kBadPointer;
  const Status status = QueryDiagnosticResults(index, &diagnosticNames, &diagnosticResults);
  if (status != kSuccess) return status;
  *count = CountOf(diagnosticNames);
  return kSuccess;
}

Status DeviceConfigSession::GetDiagnosticResults(std::uint32_t index, CFGString* name, CFGString* result) {
  if (name == nullptr || result == nullptr) return kBadPointer;
  if (index >= diagnosticNames.size() || index >= diagnosticResults.size()) return kIndexBeyondRange;
  *name = diagnosticNames[index];
  *result = diagnosticResults[index];
  return kSuccess;
}

Status DeviceConfigSession::RefreshAcqUnitCameraFileList(const char* unit, std::uint32_t* count) {
  if (count == nullptr || unit == nullptr || unit[0] == 0) return kBadPointer;
  const Status status = QueryAcqUnitCameraFileList(unit, &acqUnitCameraFiles);
  if (status != kSuccess) return status;
  *count = CountOf(acqUnitCameraFiles);
  return kSuccess;
}

Status DeviceConfigSession::GetAcqUnitCameraFileName(std::uint32_t index, CFGString* name) {
  return CopyElement(acqUnitCameraFiles, index, name);
}

}  // namespace keld
