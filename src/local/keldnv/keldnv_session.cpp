// The network and USB camera session: the driver's version and error texts,
// the camera list, opening and closing, the camera's status and name, and
// the camera files (the camera's own and those of camera-link cameras).
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "inventory/device_list.h"
#include "local/keldnv/keldnv_driver.h"
#include "local/keldnv/local_keldnv_config_session.h"

namespace keld {

namespace {

// Vendors whose cameras are listed by their model alone.
constexpr const char* kHouseVendors[] = {"Orvane Devices", "OD"};

// A text field of a driver record, which the driver may have filled to the
// brim: at most `size` - 1 characters.
CFGString FieldText(const char* field, std::size_t size) {
  CFGString text;
  text.Assign(field, strnlen(field, size - 1));
  return text;
}

// The name a camera is shown by: its model, after its vendor unless that is
// the house; each cut at 31 characters.
CFGString ShownName(const KELDnvCameraInformation& camera) {
  const CFGString vendor = FieldText(camera.Vendor, sizeof camera.Vendor);
  const CFGString model = FieldText(camera.Model, sizeof camera.Model);
  const bool house = std::any_of(std::begin(kHouseVendors), std::end(kHouseVendors),
                                 [&](const char* name) { return std::strcmp(vendor.c_str(), name) == 0; });
  if (house) return FormatString("%.31s", model.c_str());
  return FormatString("%.31s %.31s", vendor.c_str(), model.c_str());
}

// Copies a text into a fixed field of `size` bytes: at most size - 1
// characters, and the field's last byte is 0.
void CopyField(const char* text, char* field, std::size_t size) {
  const std::size_t length = strnlen(text, size - 1);
  std::memcpy(field, text, length);
  field[length] = 0;
  field[size - 1] = 0;
}

}  // namespace

std::uint32_t KeldnvDriverVersion() {
  std::uint32_t version = 0;
  if (auto* get = KELDNV_DRIVER_FIND(KELDnvGetDriverVersion)) {
    // A driver that cannot tell leaves 0, the oldest behaviour.
    if (get(&version) != kSuccess) version = 0;
  }
  return version;
}

void KeldnvDriverErrorText(Status status, CFGString* text, bool* found) {
  try {
    char buffer[KELDNV_TEXT_SIZE];
    buffer[0] = 0;
    if (auto* get = KELDNV_DRIVER_FIND(KELDnvGetErrorString)) {
      IgnoreStatus(get(status, buffer, sizeof buffer));  // the text is the answer; an empty one means none
    }
    buffer[sizeof buffer - 1] = 0;
    *found = buffer[0] != 0;
    if (*found) *text = buffer;
  } catch (...) {
    *found = false;
  }
}

LocalKELDNVConfigSession::LocalKELDNVConfigSession(const char* name, Status* status)
    : LocalDeviceConfigSession(name, status) {}

// The driver stays loaded and the camera is closed by Close, which the
// registry runs before it destroys a session.
LocalKELDNVConfigSession::~LocalKELDNVConfigSession() = default;

Status LocalKELDNVConfigSession::Open() {
  return DriverGuard([&]() -> Status {
    std::uint32_t handle = 0;
    const Status status = KELDNV_DRIVER_CALL(KELDnvOpenCamera, interfaceName.c_str(), openFlags, &handle);
    driverHandle = handle;
    return status;
  });
}

// What the driver answers is dropped: a camera that has gone is closed all
// the same as far as this session is concerned.
Status LocalKELDNVConfigSession::Close() {
  return DriverGuard([&]() -> Status {
    if (driverHandle == 0) return kSuccess;
    if (auto* close = KELDNV_DRIVER_FIND(KELDnvCloseCamera)) IgnoreStatus(close(CameraHandle()));
    driverHandle = 0;
    return kSuccess;
  });
}

Status LocalKELDNVConfigSession::SetOpenFlags(std::uint32_t flags) {
  openFlags = flags;
  return kSuccess;
}

Status LocalKELDNVConfigSession::EnumerateDevices(DeviceList* list) {
  return DriverGuard([&]() -> Status {
    std::uint32_t count = 0;
    Status status = KELDNV_DRIVER_CALL(KELDnvEnumerateCameras, nullptr, &count, 1u);
    if (status != kSuccess || count == 0) return status;
    std::vector<KELDnvCameraInformation> cameras;
    try {
      cameras.assign(count, KELDnvCameraInformation{});
    } catch (const std::bad_alloc&) {
      return kOutOfMemory;
    }
    // The result of the listing is the operation's; a driver name that
    // cannot be read only takes its place while it is 0.
    Status result = KELDNV_DRIVER_CALL(KELDnvEnumerateCameras, cameras.data(), &count, 1u);
    list->clear();
    const std::size_t listed = std::min<std::size_t>(count, cameras.size());
    for (std::size_t i = 0; i < listed; ++i) {
      const KELDnvCameraInformation& camera = cameras[i];
      if ((camera.Flags & KELDNV_CAMERA_LISTED) == 0) continue;
      const std::uint64_t serial = (std::uint64_t{camera.SerialNumberHigh} << 32) | camera.SerialNumberLow;
      const std::uint32_t version = KeldnvDriverVersion();
      char driverName[KELDNV_DRIVER_NAME_SIZE] = {};
      if (result == kSuccess) {
        result = version >= kKeldnvVersionDriverName2
                     ? KELDNV_DRIVER_CALL(KELDnvGetDriverName2, serial, driverName, std::uint32_t{sizeof driverName})
                     : KELDNV_DRIVER_CALL(KELDnvGetDriverName, serial, driverName, std::uint32_t{sizeof driverName});
        driverName[sizeof driverName - 1] = 0;
      }
      Device device;
      device.name = FieldText(camera.InterfaceName, sizeof camera.InterfaceName);
      device.uniqueId = serial;
      device.description = ShownName(camera);
      device.driverName = driverName;
      device.driverVersion = version;
      device.busType = camera.InterfaceType;
      list->push_back(device);
    }
    return result;
  });
}

Status LocalKELDNVConfigSession::GetCameraStatus(const char* camera, std::uint8_t* present, std::uint32_t* state) {
  return DriverGuard([&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvGetCameraStatus, camera, present, state); });
}

Status LocalKELDNVConfigSession::RenameInterface(const char* name) {
  return DriverGuard([&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvRenameInterface, CameraHandle(), name); });
}

// ---- Camera files --------------------------------------------------------------

Status LocalKELDNVConfigSession::QueryCameraFileDataList(CameraFileDataList* files, std::uint32_t* current) {
  return DriverGuard([&]() -> Status {
    files->clear();
    std::uint32_t count = 0;
    Status status = KELDNV_DRIVER_CALL(KELDnvEnumerateCameraFiles, CameraHandle(), nullptr, &count, current);
    if (status != kSuccess || count == 0) return status;
    std::vector<KELDnvEnumItem_struct> items(count, KELDnvEnumItem_struct{});
    status = KELDNV_DRIVER_CALL(KELDnvEnumerateCameraFiles, CameraHandle(), items.data(), &count, current);
    if (status != kSuccess) return status;
    const std::size_t listed = std::min<std::size_t>(count, items.size());
    for (std::size_t i = 0; i < listed; ++i) {
      CameraFileData file{};
      CopyField(items[i].Name, file.FileName, sizeof file.FileName);
      file.ValueHigh = items[i].ValueHigh;
      file.ValueLow = items[i].ValueLow;
      files->push_back(file);
    }
    return kSuccess;
  });
}

Status LocalKELDNVConfigSession::GetKELDCameraFileList(char* list, std::uint32_t* size) {
  return DriverGuard([&]() -> Status {
    if (list == nullptr) {
      return KELDNV_DRIVER_CALL(KELDnvEnumerateCameraLinkCameraFiles, CameraHandle(),
                                static_cast<KELDnvCameraLinkFile*>(nullptr), size);
    }
    if (*size == 0) return kSuccess;
    const std::uint32_t asked = *size;
    std::vector<KELDnvCameraLinkFile> triples(asked);
    std::memset(static_cast<void*>(triples.data()), 0, triples.size() * sizeof(KELDnvCameraLinkFile));
    const Status status = KELDNV_DRIVER_CALL(KELDnvEnumerateCameraLinkCameraFiles, CameraHandle(), triples.data(), size);
    if (status != kSuccess) return status;
    // The caller's array holds as many records as it asked for; the driver
    // may have found fewer.
    const std::uint32_t filled = std::min(*size, asked);
    auto* records = reinterpret_cast<CameraFileData*>(list);
    for (std::uint32_t i = 0; i < filled; ++i) {
      CameraFileData record{};
      CopyField(triples[i][0], record.FileName, sizeof record.FileName);
      CopyField(triples[i][1], record.ModeName, sizeof record.ModeName);
      CopyField(triples[i][2], record.Detail, sizeof record.Detail);
      std::memcpy(&records[i], &record, sizeof record);
    }
    return kSuccess;
  });
}

Status LocalKELDNVConfigSession::GetKELDCameraFilename(char* name, std::uint32_t size) {
  return DriverGuard(
      [&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvGetCameraLinkCameraFilename, CameraHandle(), name, size); });
}

Status LocalKELDNVConfigSession::ChangeKELDCameraFile(const char* name) {
  return DriverGuard(
      [&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvChangeCameraLinkCameraFile, CameraHandle(), name); });
}

Status LocalKELDNVConfigSession::RenameCameraLinkBoard(const char* oldName, const char* newName) {
  return DriverGuard([&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvRenameCameraLinkBoard, oldName, newName); });
}

Status LocalKELDNVConfigSession::CopyKELDCameraFile(const char* name) {
  return DriverGuard(
      [&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvCopyCameraLinkCameraFile, CameraHandle(), name); });
}

}  // namespace keld
