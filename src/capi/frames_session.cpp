// Frames of the library as a whole, the host, the device inventory, opening
// and closing sessions, remote sessions and the self test.
#include <cstring>

#include "capi/frames.h"
#include "foundation/error_text.h"
#include "inventory/device_list_map.h"
#include "remote/host_queries.h"
#include "remote/remote_lookup.h"
#include "session/library_version.h"

namespace keld::frames {

namespace {

// The inventory enumerates through the registry's throw-away sessions.
[[maybe_unused]] const bool kInventoryWired = (SetDeviceEnumerator(&EnumerateDriverDevices), true);

// This computer is meant where the host is absent or exactly "127.0.0.1".
bool IsLocalHost(const char* host) { return host == nullptr || std::strcmp(host, "127.0.0.1") == 0; }

bool IsEmpty(const char* text) { return text == nullptr || text[0] == 0; }

// Copies the entry at `index` of the host's list into `device`.
Status FindDevice(std::uint32_t driverType, const char* host, std::uint32_t index, Device* device) {
  DeviceList list;
  const Status status = GetDeviceListMap(driverType).Get(host, &list);
  if (status != kSuccess) return status;
  if (index >= list.size()) return kIndexBeyondRange;
  *device = list[index];
  return kSuccess;
}

Status DeviceCount(std::uint32_t driverType, const char* host, std::uint32_t* count) {
  if (count == nullptr) return kBadPointer;
  DeviceList list;
  const Status status = GetDeviceListMap(driverType).Get(host, &list);
  if (status != kSuccess) return status;
  *count = static_cast<std::uint32_t>(list.size());
  return kSuccess;
}

// Fields of one device; every output may be null.
Status QueryDevice(std::uint32_t driverType, const char* host, std::uint32_t index, CFGString* name,
                   std::uint32_t* uniqueHigh, std::uint32_t* uniqueLow, CFGString* description,
                   std::uint32_t* busType) {
  Device device;
  const Status status = FindDevice(driverType, host, index, &device);
  if (status != kSuccess) return status;
  if (name != nullptr) *name = device.name;
  if (uniqueHigh != nullptr) *uniqueHigh = static_cast<std::uint32_t>(device.uniqueId >> 32);
  if (uniqueLow != nullptr) *uniqueLow = static_cast<std::uint32_t>(device.uniqueId);
  if (description != nullptr) *description = device.description;
  if (busType != nullptr) *busType = device.busType;
  return kSuccess;
}

Status QueryDeviceDriver(std::uint32_t driverType, const char* host, std::uint32_t index, CFGString* driverName,
                         std::uint32_t* driverVersion) {
  Device device;
  const Status status = FindDevice(driverType, host, index, &device);
  if (status != kSuccess) return status;
  if (driverName != nullptr) *driverName = device.driverName;
  if (driverVersion != nullptr) *driverVersion = device.driverVersion;
  return kSuccess;
}

// Running number of "RenameCameraLinkBoard%d" sessions; like the other
// throw-away counters a plain integer, incremented without a lock.
std::int32_t renameBoardCounter = 0;

// Creates a session of the network and USB driver under `name`, runs one
// operation on it without opening it, and closes it whatever happened.
template <typename Operation>
Status WithThrowAwaySession(const char* host, const CFGString& name, Operation operation) {
  std::shared_ptr<ConfigSession> session;
  Status status = CreateSession(&session, kDriverKELDnv, GetLocalClientName().c_str(), host, name.c_str());
  if (status == kSuccess) {
    auto* device = dynamic_cast<DeviceConfigSession*>(session.get());
    status = device != nullptr ? operation(*device) : kInvalidSession;
  }
  CloseSession(session.get());
  return status;
}

// Bit of the open flags that gives a remote session the long time-out.
constexpr std::uint32_t kLongTimeoutFlag = 0x80000000u;
constexpr std::uint32_t kLongTimeout = 300000;

struct OpenRequest {
  std::uint32_t driverType;
  const char* host;
  CFGString interfaceName;
  std::uint32_t flags = 0;        // handed to SetOpenFlags where not 0
  bool refreshAttributes = true;  // the legacy board open leaves it out
};

// Create, set the flags, open, read the attributes; any failure closes the
// session again, so the caller holds nothing after a failed open.
Status OpenSession(const OpenRequest& request, std::uint32_t* id) {
  std::shared_ptr<ConfigSession> created;
  Status status = CreateSession(&created, request.driverType, GetLocalClientName().c_str(), request.host,
                                request.interfaceName.c_str());
  auto* session = dynamic_cast<DeviceConfigSession*>(created.get());
  if (status == kSuccess && session == nullptr) status = kInvalidSession;
  if (status == kSuccess && request.flags != 0) {
    status = session->SetOpenFlags(request.flags);
    auto* remote = dynamic_cast<RemoteSession*>(session);
    if ((request.flags & kLongTimeoutFlag) != 0 && remote != nullptr) remote->timeout = kLongTimeout;
  }
  if (status == kSuccess) status = session->Open();
  if (status == kSuccess && request.refreshAttributes) status = session->RefreshAttributes();
  if (status != kSuccess) {
    CloseSession(created.get());
    return status;
  }
  *id = session->id;
  return kSuccess;
}

// Time-out of remote calls by session id: 0 stands for the default that new
// remote sessions copy; any other id must name a remote session.
Status ReadSessionTimeout(std::uint32_t id, std::uint32_t* timeout) {
  if (id == 0) {
    *timeout = DefaultRemoteTimeout;
    return kSuccess;
  }
  std::shared_ptr<RemoteDeviceConfigSession> remote;
  const Status status = GetRemoteSession(&remote, id);
  if (status != kSuccess) return status;
  *timeout = remote->timeout;
  return kSuccess;
}

Status WriteSessionTimeout(std::uint32_t id, std::uint32_t timeout) {
  if (id == 0) {
    DefaultRemoteTimeout = timeout;
    return kSuccess;
  }
  std::shared_ptr<RemoteDeviceConfigSession> remote;
  const Status status = GetRemoteSession(&remote, id);
  if (status != kSuccess) return status;
  remote->timeout = timeout;
  return kSuccess;
}

// A self test takes long; remote calls wait this long for it.
constexpr std::uint32_t kDiagnosticsTimeout = 360000;

}  // namespace

// ---- Library, host and error text -----------------------------------------

Status GetErrorText(std::uint32_t status, CFGString* text) { return keld::GetErrorText(status, text); }

Status Close(std::uint32_t id) {
  std::shared_ptr<ConfigSession> found;
  const Status status = GetSession(&found, id);
  CloseSession(found.get());
  return status;
}

Status QueryVersion(const char* host, std::uint32_t* version) {
  if (version == nullptr) return kBadPointer;
  *version = 0x01200000;  // stays where the remote call fails
  if (IsLocalHost(host)) {
    *version = kCurrentVersion;
    return kSuccess;
  }
  return QueryRemoteVersion(host, version);
}

// The password is not sent anywhere.
Status CheckPassword(const char* host, const char* /*password*/) { return CheckRemotePassword(host); }

Status GetNetworkInterfaceMTU(const char* host, const char* adapter, std::uint32_t* mtu) {
  return GetRemoteMTU(host, adapter, mtu);
}

Status SetNetworkInterfaceMTU(const char* host, const char* adapter, std::uint32_t mtu) {
  return SetRemoteMTU(host, adapter, mtu);
}

// ---- Boards and cameras on a host -----------------------------------------

bool IsCameraDriver(std::int32_t driverType) { return driverType == kDriverKELD1394 || driverType == kDriverKELDnv; }

Status RefreshBoards2(const char* host, std::uint8_t* changed) {
  return GetDeviceListMap(kDriverKELD).Refresh(host, changed);
}

Status GetBoardCount(const char* host, std::uint32_t* count) { return DeviceCount(kDriverKELD, host, count); }

Status QueryBoard(const char* host, std::uint32_t index, CFGString* name, std::uint32_t* serial,
                  CFGString* description) {
  return QueryDevice(kDriverKELD, host, index, name, nullptr, serial, description, nullptr);
}

Status QueryBoardDriver(const char* host, std::uint32_t index, CFGString* driverName, std::uint32_t* driverVersion) {
  return QueryDeviceDriver(kDriverKELD, host, index, driverName, driverVersion);
}

Status RefreshCameras(const char* host) { return GetDeviceListMap(kDriverKELD1394).Refresh(host, nullptr); }

Status RefreshCameras3(const char* host, std::int32_t driverType, std::uint8_t* changed) {
  if (!IsCameraDriver(driverType)) return kUnknownSessionType;
  return GetDeviceListMap(static_cast<std::uint32_t>(driverType)).Refresh(host, changed);
}

Status GetCameraCount2(const char* host, std::int32_t driverType, std::uint32_t* count) {
  if (count == nullptr) return kBadPointer;
  if (!IsCameraDriver(driverType)) return kUnknownSessionType;
  return DeviceCount(static_cast<std::uint32_t>(driverType), host, count);
}

Status QueryCamera2(const char* host, std::int32_t driverType, std::uint32_t index, CFGString* name,
                    std::uint32_t* uuidHigh, std::uint32_t* uuidLow, CFGString* description, std::uint32_t* busType) {
  if (!IsCameraDriver(driverType)) return kUnknownSessionType;
  return QueryDevice(static_cast<std::uint32_t>(driverType), host, index, name, uuidHigh, uuidLow, description,
                     busType);
}

Status QueryCameraDriver2(const char* host, std::int32_t driverType, std::uint32_t index, CFGString* driverName,
                          std::uint32_t* driverVersion) {
  if (!IsCameraDriver(driverType)) return kUnknownSessionType;
  return QueryDeviceDriver(static_cast<std::uint32_t>(driverType), host, index, driverName, driverVersion);
}

// Only the network and USB driver answers this; the driver is tested before
// the pointers.
Status GetCameraStatus(const char* host, std::uint32_t driverType, const char* camera, std::uint8_t* state,
                       std::uint32_t* detail) {
  if (driverType != kDriverKELDnv) return kNotSupported;
  if (state == nullptr || detail == nullptr) return kBadPointer;
  const CFGString name = FormatString("GetCameraStatus%d", cameraStatusCounter++);
  return WithThrowAwaySession(host, name, [&](DeviceConfigSession& session) {
    return session.GetCameraStatus(camera, state, detail);
  });
}

Status RenameCameraLinkBoard(const char* host, std::uint32_t driverType, const char* oldName, const char* newName) {
  if (driverType != kDriverKELDnv) return kNotSupported;
  const CFGString name = FormatString("RenameCameraLinkBoard%d", renameBoardCounter++);
  return WithThrowAwaySession(host, name, [&](DeviceConfigSession& session) {
    return session.RenameCameraLinkBoard(oldName, newName);
  });
}

// ---- Opening a session ------------------------------------------------------

Status OpenBoard(const char* host, const char* interfaceName, std::uint32_t serial, std::uint32_t* id) {
  if (id == nullptr) return kBadPointer;
  const OpenRequest request{kDriverKELD, host,
                            IsEmpty(interfaceName) ? FormatString("serial:%08x", serial) : CFGString(interfaceName)};
  return OpenSession(request, id);
}

// No replacement name here: the interface name is required.
Status OpenLegacyBoard(const char* host, const char* interfaceName, std::uint32_t* id) {
  if (id == nullptr || interfaceName == nullptr) return kBadPointer;
  OpenRequest request{kDriverKELD, host, CFGString(interfaceName)};
  request.refreshAttributes = false;
  return OpenSession(request, id);
}

Status OpenCamera3(const char* host, std::uint32_t driverType, const char* interfaceName, std::uint32_t uuidHigh,
                   std::uint32_t uuidLow, std::uint32_t flags, std::uint32_t* id) {
  if (id == nullptr) return kBadPointer;
  OpenRequest request{driverType, host,
                      IsEmpty(interfaceName) ? FormatString("uuid:%08x%08x", uuidHigh, uuidLow)
                                             : CFGString(interfaceName)};
  request.flags = flags;
  return OpenSession(request, id);
}

// ---- Remote sessions ----------------------------------------------------------

Status Ping(std::uint32_t id) {
  std::shared_ptr<RemoteDeviceConfigSession> remote;
  const Status status = GetRemoteSession(&remote, id);
  if (status != kSuccess) return status;
  return remote->Ping();
}

Status GetTimeout(std::uint32_t id, std::uint32_t* timeout) {
  if (timeout == nullptr) return kBadPointer;
  return ReadSessionTimeout(id, timeout);
}

Status SetTimeout(std::uint32_t id, std::uint32_t timeout) { return WriteSessionTimeout(id, timeout); }

// ---- Diagnostics -------------------------------------------------------------

Status InitializeDiagnostics(std::uint32_t id, std::uint32_t* first, std::uint32_t* second) {
  return Run(id, &DeviceConfigSession::InitializeDiagnostics, first, second);
}

Status RunDiagnostics(std::uint32_t id, std::uint32_t index, std::uint32_t* count) {
  if (count == nullptr) return kBadPointer;
  // The default time-out for session 0, the session's own where the id names
  // a remote session; a local session has none and nothing is raised.
  std::uint32_t previous = 0;
  const bool raised = ReadSessionTimeout(id, &previous) == kSuccess;
  // Writing back where reading worked cannot fail: the same look-up answered.
  if (raised) IgnoreStatus(WriteSessionTimeout(id, kDiagnosticsTimeout));
  const Status status = Run(id, &DeviceConfigSession::RunDiagnostics, index, count);
  if (raised) IgnoreStatus(WriteSessionTimeout(id, previous));
  return status;
}

Status GetDiagnosticResults(std::uint32_t id, std::uint32_t index, CFGString* name, CFGString* result) {
  return Run(id, &DeviceConfigSession::GetDiagnosticResults, index, name, result);
}

}  // namespace keld::frames
