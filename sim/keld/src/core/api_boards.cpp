// Entry points of boards, interface files, folders and status texts.
#include <dlfcn.h>

#include <cstring>
#include <filesystem>

#include "core/entry.h"

using keldsim::Guarded;
using keldsim::Simulator;
using keldsim::Status;
namespace st = keldsim::st;

namespace keldsim {

void CopyText520(const std::string& text, char* out) {
  const std::size_t length = std::min<std::size_t>(text.size(), KELD_DRIVER_PATH_SIZE - 1);
  std::memcpy(out, text.data(), length);
  out[length] = '\0';
}

}  // namespace keldsim

extern "C" {

KeldDriverStatus odkelduDeployInterfaceFiles(uint32_t flags) {
  return Guarded(__func__, [&] { return Simulator::Get().DeployInterfaceFiles(flags); });
}

KeldDriverStatus odkelduGetSerialNumber(uint32_t* serials, uint32_t* count) {
  return Guarded(__func__, [&] { return Simulator::Get().SerialNumbers(serials, count); });
}

KeldDriverStatus kldGetBoardPCIID(uint32_t serial, uint32_t* id) {
  return Guarded(__func__, [&] { return Simulator::Get().PciId(serial, id); });
}

KeldDriverStatus odkelduGetFailedDeviceInfo(uint32_t* count, uint32_t* serials, KeldDriverStatus* statuses) {
  return Guarded(__func__, [&] { return Simulator::Get().FailedBoards(count, serials, statuses); });
}

// An empty text for a status the driver does not know.
KeldDriverStatus kldShowError(KeldDriverStatus status, char* text) {
  return Guarded(__func__, [&]() -> Status {
    if (text == nullptr) return st::kInvalidArgument;
    const char* known = keldsim::StatusText(status);
    const std::size_t length =
        known == nullptr ? 0 : std::min<std::size_t>(std::strlen(known), KELD_DRIVER_ERROR_TEXT_SIZE - 1);
    if (length != 0) std::memcpy(text, known, length);
    text[length] = '\0';
    return st::kOk;
  });
}

KeldDriverStatus odkelduGetActiveInterfaceFile(uint32_t serial, char* path) {
  return Guarded(__func__, [&] { return Simulator::Get().ActiveInterfaceFile(serial, path); });
}

KeldDriverStatus odkelduClaimNewInterfaceFile(uint32_t serial, char* path) {
  return Guarded(__func__, [&] { return Simulator::Get().ClaimNewInterfaceFile(serial, path); });
}

KeldDriverStatus odkelduSetActiveInterfaceFile(uint32_t serial, const char* path) {
  return Guarded(__func__, [&] { return Simulator::Get().SetActiveInterfaceFile(serial, path); });
}

KeldDriverStatus odkelduGetNumAcqUnits(uint32_t serial, uint32_t* count) {
  return Guarded(__func__, [&] { return Simulator::Get().AcquisitionUnits(serial, count); });
}

KeldDriverStatus odkelduGetInterfaceFilePathA(char* path) {
  return Guarded(__func__, [&] { return Simulator::Get().DataFolderPath(path); });
}

// The board test libraries lie beside the driver.
KeldDriverStatus odkelduGetDiagnosticsPathA(char* path) {
  return Guarded(__func__, [&]() -> Status {
    if (path == nullptr) return st::kInvalidArgument;
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&odkelduGetDiagnosticsPathA), &info) == 0 || info.dli_fname == nullptr) {
      return st::kInternal;
    }
    std::error_code failure;
    const std::filesystem::path library = std::filesystem::canonical(info.dli_fname, failure);
    if (failure) return st::kInternal;
    const std::string folder = library.parent_path().string();
    if (folder.size() >= KELD_DRIVER_PATH_SIZE) return st::kBufferTooSmall;
    std::memcpy(path, folder.c_str(), folder.size() + 1);
    return st::kOk;
  });
}

KeldDriverStatus kldInterfaceQueryNames(uint32_t index, char* name) {
  return Guarded(__func__, [&] { return Simulator::Get().InterfaceName(index, name); });
}

KeldDriverStatus odkelduGetSerialNumberFromInterfaceFile(const char* path, uint32_t* serial) {
  return Guarded(__func__, [&] { return Simulator::Get().SerialOfInterfaceFile(path, serial); });
}

KeldDriverStatus odkelduSetSerialNumberInInterfaceFile(const char* path, uint32_t serial) {
  return Guarded(__func__, [&] { return Simulator::Get().SetSerialOfInterfaceFile(path, serial); });
}

KeldDriverStatus odkelduGetInterfaceTypeExFromInterfaceFile(const char* path, uint32_t* mask) {
  return Guarded(__func__, [&] { return Simulator::Get().TypesOfInterfaceFile(path, mask); });
}

KeldDriverStatus odkelduGetCameraFileFromInterfaceFile(const char* path, uint32_t port, char* name, uint32_t* size) {
  return Guarded(__func__, [&] { return Simulator::Get().CameraFileOfPort(path, port, name, size); });
}

}  // extern "C"
