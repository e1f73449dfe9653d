// What the frame-grabber driver sees: boards in the driver's order, each
// with a tested interface file, then the phantom boards where the registry
// asks for them, then the boards that failed to initialise.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "inventory/device_list.h"
#include "local/keld/keld_driver.h"
#include "local/keld/keld_keys.h"
#include "local/keld/local_keld_config_session.h"
#include "platform/file_search.h"
#include "platform/registry.h"

namespace keld {

namespace {

// From these driver versions on.
constexpr std::uint32_t kVersionBoardNames = 0x03100000;
// An open that fails with this still counts as a good interface file.
constexpr Status kOpenGoodEnough = 0xBFF600BD;

// Model names by PCI identity, for drivers before 0x03100000.
struct PciModel {
  std::uint32_t id;
  const char* model;
};
constexpr PciModel kPciModels[] = {
    {0xD1017A5E, "OD PCI-7101"}, {0xD1027A5E, "OD PXB-7101"}, {0xD1037A5E, "OD PCI-7102"},
    {0xD1047A5E, "OD PXB-7102"}, {0xD1057A5E, "OD PCI-7103"}, {0xD1067A5E, "OD PXB-7103"},
    {0xD1077A5E, "OD PCI-7105"}, {0xD1087A5E, "OD PXB-7105"}, {0xD1097A5E, "OD PCI-7106"},
    {0xD10A7A5E, "OD PXB-7106"}, {0xD10B7A5E, "OD PCI-7107"}, {0xD10C7A5E, "OD PXB-7107"},
    {0xD10D7A5E, "OD PCI-7110"}, {0xD10E7A5E, "OD PXB-7110"},
};

// The boards a tool may configure without having them, serial numbers from
// 0xFFFFFFFF downward.
struct PhantomBoard {
  const char* name;
  const char* description;
};
constexpr PhantomBoard kPhantomBoards[] = {
    {"interfaceType:7101", "Phantom KELD PCI-7101"},  {"interfaceType:7102", "Phantom KELD PCI-7102"},
    {"interfaceType:7103", "Phantom KELD PCI-7103"},  {"interfaceType:7104", "Phantom KELD PCI-7104"},
    {"interfaceType:7105", "Phantom KELD PCI-7105"},  {"interfaceType:7106", "Phantom KELD PCI-7106"},
    {"interfaceType:7107", "Phantom KELD PCI-7107"},  {"interfaceType:7108", "Phantom KELD PCI-7108"},
    {"interfaceType:7109", "Phantom KELD PCIe-7109"}, {"interfaceType:7110", "Phantom KELD PCI-7110"},
    {"interfaceType:7111", "Phantom KELD PCIe-7111"}, {"interfaceType:7112", "Phantom KELD PCIe-7112"},
    {"interfaceType:7113", "Phantom KELD PCIe-7113"}, {"interfaceType:7114", "Phantom KELD PXBe-7114"},
    {"interfaceType:7115", "Phantom KELD PXBe-7115"}, {"interfaceType:7116", "Phantom KELD PCIe-7116"},
};

Device MakeDevice(const char* name, std::uint32_t serial, const char* description, std::uint32_t version) {
  Device device;
  device.name = name;
  device.uniqueId = serial;
  device.description = description;
  device.driverVersion = version;
  device.busType = kKeldBusType;
  return device;
}

// The name by which an interface opens: `base`, with the acquisition unit
// from the drivers that know units.
std::string UnitName(const char* base, std::uint32_t unit) {
  if (KeldDriverVersion() < kVersionAcquisitionUnits) return base;
  char name[kPathSize + 16];
  std::snprintf(name, sizeof name, "%s::%d", base, static_cast<int>(unit));
  return name;
}

}  // namespace

std::uint32_t KeldDriverVersion() {
  std::uint32_t version = kDefaultDriverVersion;
  if (auto* get = KELD_DRIVER_FIND(odkelduGetDriverVersion)) {
    // A driver that cannot tell leaves the default.
    if (get(&version) != 0) version = kDefaultDriverVersion;
  }
  return version;
}

void KeldDriverErrorText(Status status, CFGString* text, bool* found) {
  if ((status & 0xFFFFF000u) != 0xBFF60000u) return;
  try {
    char buffer[KELD_DRIVER_ERROR_TEXT_SIZE];
    buffer[0] = 0;
    if (auto* show = KELD_DRIVER_FIND(kldShowError)) {
      IgnoreStatus(show(status, buffer));  // the text is the answer; an empty one means none
    }
    buffer[sizeof buffer - 1] = 0;
    *found = buffer[0] != 0;
    if (*found) *text = buffer;
  } catch (...) {
    *found = false;
  }
}

Status LocalKELDConfigSession::EnumerateDevices(DeviceList* list) {
  return DriverGuard([&]() -> Status {
    const std::uint32_t version = KeldDriverVersion();
    Status status = KELD_DRIVER_CALL(odkelduDeployInterfaceFiles, 0u);
    std::uint32_t count = 0;
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduGetSerialNumber, nullptr, &count);
    if (status == kSuccess && count != 0) {
      std::vector<std::uint32_t> serials;
      try {
        serials.assign(count, 0);
      } catch (const std::bad_alloc&) {
        return kOutOfMemory;
      }
      // What this call answers does not keep the boards it gave from the list.
      status = KELD_DRIVER_CALL(odkelduGetSerialNumber, serials.data(), &count);
      count = std::min<std::uint32_t>(count, static_cast<std::uint32_t>(serials.size()));
      list->clear();
      for (std::uint32_t i = 0; i < count; ++i) {
        char name[kPathSize] = {};
        const Status named = version >= kVersionBoardNames
                                 ? KELD_DRIVER_CALL(odkelduGetBoardName, serials[i], name)
                                 : GetBoardNameFromPCIID(serials[i], name);
        if (named != kSuccess) continue;  // a board without a model name is left out
        name[kPathSize - 1] = 0;
        char path[kPathSize] = {};
        // The board is listed whatever its interface file came to.
        IgnoreStatus(ClaimInterfaceFile(serials[i], path));
        list->push_back(MakeDevice(path, serials[i], name, version));
      }
    }

    // The registry's switch for the phantom boards; a missing key or value
    // leaves the session's setting as it was.
    if (const std::optional<std::string> settings = CurrentConfigurationKey()) {
      if (const std::optional<std::uint32_t> show = ReadRegistryDword(*settings, "ShowAllPhantomBoards")) {
        showAllPhantomBoards = *show;
      }
    }
    if (showAllPhantomBoards != 0) {
      std::uint32_t serial = 0xFFFFFFFF;
      for (const PhantomBoard& phantom : kPhantomBoards) {
        list->push_back(MakeDevice(phantom.name, serial--, phantom.description, version));
      }
    }

    // Boards that failed to initialise, only where all went well so far.
    if (status != kSuccess) return status;
    std::uint32_t failed = 0;
    status = KELD_DRIVER_CALL(odkelduGetFailedDeviceInfo, &failed, nullptr, nullptr);
    if (failed == 0 || status != kSuccess) return status;
    std::vector<std::uint32_t> failedSerials;
    std::vector<KeldDriverStatus> failedStatuses;
    try {
      // Room for two at least, the first two zeroed.
      failedSerials.assign(std::max<std::uint32_t>(failed, 2), 0);
      failedStatuses.assign(std::max<std::uint32_t>(failed, 2), 0);
    } catch (const std::bad_alloc&) {
      return kOutOfMemory;
    }
    status = KELD_DRIVER_CALL(odkelduGetFailedDeviceInfo, &failed, failedSerials.data(), failedStatuses.data());
    failed = std::min<std::uint32_t>(failed, static_cast<std::uint32_t>(failedSerials.size()));
    for (std::uint32_t i = 0; i < failed && status == kSuccess; ++i) {
      CFGString text;
      bool found = false;
      KeldDriverErrorText(failedStatuses[i], &text, &found);
      if (!found) text = "No error text available";
      const CFGString description = FormatString("Error 0x%08X : %s", failedStatuses[i], text.c_str());
      list->push_back(MakeDevice("", failedSerials[i], description.c_str(), version));
    }
    return status;
  });
}

Status LocalKELDConfigSession::GetBoardNameFromPCIID(std::uint32_t serial, char* name) {
  std::uint32_t pciId = 0;
  const Status status = KELD_DRIVER_CALL(kldGetBoardPCIID, serial, &pciId);
  if (status != kSuccess) return status;
  for (const PciModel& row : kPciModels) {
    if (row.id == pciId) {
      std::snprintf(name, kPathSize, "%s", row.model);
      return kSuccess;
    }
  }
  return kSessionNotConfigured;
}

Status LocalKELDConfigSession::OpenByName(const char* name) {
  std::uint32_t iid = 0;
  Status status = KELD_DRIVER_CALL(kldInterfaceOpen, name, &iid);
  interfaceId = iid;
  if (status != kSuccess) return status;
  std::uint32_t sid = 0;
  status = KELD_DRIVER_CALL(kldSessionOpen, iid, &sid);
  driverHandle = sid;
  return status;
}

Status LocalKELDConfigSession::ClaimInterfaceFile(std::uint32_t serial, char* path) {
  return DriverGuard([&]() -> Status {
    Status result = kSuccess;
    auto* active = KELD_DRIVER_FIND(odkelduGetActiveInterfaceFile);
    if (active == nullptr || active(serial, path) != 0) {
      result = KELD_DRIVER_CALL(odkelduClaimNewInterfaceFile, serial, path);
    }
    if (result != kSuccess) return result;
    path[kPathSize - 1] = 0;
    char fullPath[kPathSize] = {};
    std::memcpy(fullPath, path, kPathSize);
    if (char* extension = std::strstr(path, ".iid")) *extension = 0;

    std::uint32_t units = 1;
    if (auto* getUnits = KELD_DRIVER_FIND(odkelduGetNumAcqUnits)) {
      IgnoreStatus(getUnits(serial, &units));  // the count stays 1 where it cannot be had
    }
    for (std::uint32_t unit = 0; unit < units; ++unit) {
      const Status opened = OpenByName(UnitName(path, unit).c_str());
      if (opened != kSuccess && opened != kOpenGoodEnough) {
        // The file does not work with the board: open by the serial number
        // and give the file a default camera file on every port.
        IgnoreStatus(Close());  // a failed close of a failed open changes nothing
        char bySerial[32];
        std::snprintf(bySerial, sizeof bySerial, "serial:%08x", serial);
        Status repaired = OpenByName(UnitName(bySerial, unit).c_str());
        if (repaired == kSuccess) repaired = StoreDefaultInterfaceFile(fullPath);
        KeepFirstFailure(&result, repaired);
      }
      IgnoreStatus(Close());  // the test is over, however it went
    }
    if (units != 0 && result != kSuccess) return result;
    return KELD_DRIVER_CALL(odkelduSetActiveInterfaceFile, serial, fullPath);
  });
}

Status LocalKELDConfigSession::StoreDefaultInterfaceFile(const char* path) {
  return DriverGuard([&]() -> Status {
    char name[kPathSize] = {};
    Status status = FindDefaultCameraFile(name);
    std::uint32_t ports = 0;
    if (status == kSuccess) status = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kPortCountKey, &ports);
    std::uint32_t state = 0;
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduGetExecutionState, SessionId(), &state);
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduChangeExecutionState, SessionId(), kStateConfigure);
    for (std::uint32_t port = 0; port < ports && status == kSuccess; ++port) {
      status = KELD_DRIVER_CALL(kldSetAttributeFromVoidPtr, SessionId(), kFirstPortCameraFileKey + port,
                                static_cast<const void*>(name));
    }
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduChangeExecutionState, SessionId(), state);
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduStoreInterfaceConfig, SessionId(), path);
    return status;
  });
}

Status LocalKELDConfigSession::FindDefaultCameraFile(char* name) {
  return DriverGuard([&]() -> Status {
    std::string base;
    Status status = KeldDataFolder(&base);
    if (status != kSuccess) return status;
    const bool withHeaderInfo = KeldDriverVersion() >= kVersionBoardNames;
    for (const std::string& file : FindFilesWithExtension(base, ".icd")) {
      const std::string full = base + "/" + file;
      std::uint32_t supported = 0;
      if (withHeaderInfo) {
        char modeName[kPathSize] = {};
        char detail[kPathSize] = {};
        status = KELD_DRIVER_CALL(odkelduGetCameraHeaderInfo, SessionId(), full.c_str(), 1u, &supported, modeName,
                                  detail);
      } else {
        status = KELD_DRIVER_CALL(odkelduIsInterfaceSupported, SessionId(), full.c_str(), &supported);
      }
      if (supported != 0) {
        std::snprintf(name, kPathSize, "%s", file.c_str());
        return status;
      }
    }
    return kNoCameraFile;
  });
}

}  // namespace keld
