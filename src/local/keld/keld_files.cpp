// The frame-grabber session's side of interface and camera files: listing
// what suits the open interface, switching a board to another interface
// file, storing it. The files are the driver's; nothing here reads them.
#include <strings.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "local/keld/keld_driver.h"
#include "local/keld/keld_keys.h"
#include "local/keld/local_keld_config_session.h"
#include "platform/file_search.h"

namespace keld {

namespace {

constexpr std::uint32_t kVersionHeaderFlag = 0x03100000;
// The file is for another type of board.
constexpr Status kWrongInterfaceType = 0xBFF60015;
constexpr const char* kPhantomPrefix = "interfaceType:";


}  // namespace

Status KeldDataFolder(std::string* folder) {
  char path[kPathSize] = {};
  const Status status = KELD_DRIVER_CALL(odkelduGetInterfaceFilePathA, path);
  path[kPathSize - 1] = 0;
  *folder = DynamicLibrary::PlatformFileName(path);
  return status;
}

// The camera files that suit the open interface, with their two texts.
Status LocalKELDConfigSession::QueryCameraFileDataList(CameraFileDataList* files, std::uint32_t* /*current*/) {
  return DriverGuard([&]() -> Status {
    files->clear();
    std::string folder;
    const Status status = KeldDataFolder(&folder);
    if (status != kSuccess) return status;
    const std::uint32_t version = KeldDriverVersion();
    for (const std::string& file : FindFilesWithExtension(folder, ".icd")) {
      CameraFileData record{};
      std::uint32_t found = 0;
      const std::string full = folder + "/" + file;
      Status asked;
      if (version >= kVersionHeaderFlag) {
        asked = KELD_DRIVER_CALL(odkelduGetCameraHeaderInfo, SessionId(), full.c_str(), 1u, &found, record.ModeName,
                                 record.Detail);
      } else {
        auto* older = reinterpret_cast<KeldCameraHeaderInfoBefore310>(
            FrameGrabberDriver().GetFunction("odkelduGetCameraHeaderInfo"));
        asked = older == nullptr ? kSessionNotConfigured
                                 : Status(older(SessionId(), full.c_str(), &found, record.ModeName, record.Detail));
      }
      if (asked != kSuccess || found == 0) continue;  // a single file's trouble is not the list's
      record.Flag = 1;
      std::snprintf(record.FileName, sizeof record.FileName, "%s", file.c_str());
      record.ModeName[sizeof record.ModeName - 1] = 0;
      record.Detail[sizeof record.Detail - 1] = 0;
      if (record.ModeName[0] == 0) std::snprintf(record.ModeName, sizeof record.ModeName, "Standard");
      files->push_back(record);
    }
    return kSuccess;
  });
}

// The reference camera files that suit the interface; a failure shows as a
// short list, never as a status.
Status LocalKELDConfigSession::QueryReferenceCameraFileList(StringList* files) {
  return DriverGuard([&]() -> Status {
    files->clear();
    std::string folder;
    IgnoreStatus(KeldDataFolder(&folder));  // the folder is used as it stands
    folder += "/Reference";
    Status status = kSuccess;
    for (const std::string& file : FindFilesWithExtension(folder, ".icd")) {
      const std::string full = folder + "/" + file;
      std::uint32_t supported = 0;
      status = KELD_DRIVER_CALL(odkelduIsInterfaceSupported, SessionId(), full.c_str(), &supported);
      if (status != kSuccess) break;
      if (supported != 0) files->push_back(CFGString(file.c_str()));
    }
    return kSuccess;
  });
}

// The driver's interfaces, marked where their file belongs to `serial`. A
// file whose serial cannot be read takes the one read before it.
Status LocalKELDConfigSession::QueryInterfaceFileDataList(std::uint32_t serial, InterfaceFileDataList* files) {
  return DriverGuard([&]() -> Status {
    files->clear();
    std::uint32_t fileSerial = 0;
    auto* query = KELD_DRIVER_FIND(kldInterfaceQueryNames);
    if (query == nullptr) return kSuccess;
    for (std::uint32_t index = 0;; ++index) {
      char name[kPathSize] = {};
      if (query(index, name) != 0) return kSuccess;
      name[kPathSize - 1] = 0;
      InterfaceFileData record{};
      std::snprintf(record.FileName, sizeof record.FileName, "%s", name);
      if (auto* serialOf = KELD_DRIVER_FIND(odkelduGetSerialNumberFromInterfaceFile)) {
        std::uint32_t read = fileSerial;
        if (serialOf(name, &read) == 0) fileSerial = read;
      }
      record.Flag = fileSerial == serial ? 1 : 0;
      files->push_back(record);
    }
  });
}

// The camera file of every port of an interface; a phantom board gives the
// first port's for each. The list always has one entry a port, empty from
// the first failure on.
Status LocalKELDConfigSession::QueryAcqUnitCameraFileList(const char* path, StringList* files) {
  return DriverGuard([&]() -> Status {
    files->clear();
    const bool phantom = path != nullptr && strncasecmp(path, kPhantomPrefix, std::strlen(kPhantomPrefix)) == 0;
    std::uint32_t ports = 0;
    Status status = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kPortsKey, static_cast<void*>(&ports));
    for (std::uint32_t port = 0; port < ports; ++port) {
      const Status before = status;
      char name[kPathSize] = {};
      Status round;
      if (phantom) {
        round = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kFirstPortCameraFileKey, static_cast<void*>(name));
      } else {
        std::uint32_t size = kPathSize;
        round = KELD_DRIVER_CALL(odkelduGetCameraFileFromInterfaceFile, path, port, name, &size);
      }
      name[kPathSize - 1] = 0;
      files->push_back(CFGString(before == kSuccess ? name : ""));
      KeepFirstFailure(&status, round);
    }
    return status;
  });
}

Status LocalKELDConfigSession::CheckInterfaceFileOwner(const char* path, bool* sameBoard) {
  *sameBoard = false;
  std::uint32_t fileSerial = 0;
  const Status fromFile = KELD_DRIVER_CALL(odkelduGetSerialNumberFromInterfaceFile, path, &fileSerial);
  std::uint32_t serial = 0;
  const Status fromBoard = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kSerialNumberKey, static_cast<void*>(&serial));
  // A file whose serial cannot be read belongs to no board: nothing to do.
  if (fromBoard != kSuccess || fromFile != kSuccess) return fromBoard;
  if (fileSerial == serial) {
    *sameBoard = true;
    return kSuccess;
  }
  char active[kPathSize] = {};
  if (auto* getActive = KELD_DRIVER_FIND(odkelduGetActiveInterfaceFile)) {
    IgnoreStatus(getActive(fileSerial, active));  // what it gives is compared below
  }
  active[kPathSize - 1] = 0;
  if (std::strcmp(active, path) != 0) return kSuccess;  // that board uses another file
  // The other board is using this very file: it gets a new one first.
  Status status = KELD_DRIVER_CALL(odkelduClaimNewInterfaceFile, fileSerial, active);
  if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduSetActiveInterfaceFile, fileSerial, active);
  return status;
}

Status LocalKELDConfigSession::ChangeInterfaceFile(const char* path) {
  return DriverGuard([&]() -> Status {
    std::uint32_t fileMask = 0;
    std::uint32_t boardMask = 0;
    Status status = KELD_DRIVER_CALL(odkelduGetInterfaceTypeExFromInterfaceFile, path, &fileMask);
    if (status == kSuccess) {
      status = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kInterfaceTypesKey, static_cast<void*>(&boardMask));
    }
    if ((fileMask & boardMask) == 0) return kWrongInterfaceType;
    bool sameBoard = false;
    if (status == kSuccess) status = CheckInterfaceFileOwner(path, &sameBoard);
    std::uint32_t serial = 0;
    if (status == kSuccess) {
      status = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kSerialNumberKey, static_cast<void*>(&serial));
    }
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduSetSerialNumberInInterfaceFile, path, serial);
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduChangeExecutionState, SessionId(), kStateConfigure);
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduLoadConfiguration, SessionId(), path);
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduChangeExecutionState, SessionId(), kStateReady);
    if (status != kSuccess) return status;
    return KELD_DRIVER_CALL(odkelduSetActiveInterfaceFile, serial, path);
  });
}

// A file of another board, or none at all, is replaced, never merged.
Status LocalKELDConfigSession::WriteInterfaceFile(const char* path, std::uint32_t reload) {
  return DriverGuard([&]() -> Status {
    bool sameBoard = false;
    Status status = CheckInterfaceFileOwner(path, &sameBoard);
    if (!sameBoard) {
      // A name without a folder is one of the driver's data folder.
      std::filesystem::path file = DynamicLibrary::PlatformFileName(path);
      std::string folder;
      if (file.is_relative() && KeldDataFolder(&folder) == kSuccess) file = std::filesystem::path(folder) / file;
      std::error_code ignored;  // a file that is not there is as good as deleted
      std::filesystem::remove(file, ignored);
    }
    if (reload != 0) {
      if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduChangeExecutionState, SessionId(), kStateLoad);
      if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduChangeExecutionState, SessionId(), kStateReady);
    }
    if (status != kSuccess) return status;
    return KELD_DRIVER_CALL(odkelduStoreInterfaceConfig, SessionId(), path);
  });
}

Status LocalKELDConfigSession::GetDataFilePath(CFGString* path) {
  return DriverGuard([&]() -> Status {
    char folder[kPathSize] = {};
    const Status status = KELD_DRIVER_CALL(odkelduGetInterfaceFilePathA, folder);
    folder[kPathSize - 1] = 0;
    *path = folder;
    if (path->error() != 0) return kOutOfMemory;
    return status;
  });
}

}  // namespace keld
