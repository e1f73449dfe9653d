// An interface file (".iid"): one board's configuration. It names the board
// by serial number, the interface types the file is for, a camera file for
// each port, and the values of the interface settings.
//
//   [Interface]
//   Serial = 0x00A10001
//   InterfaceTypes = 0x00000004
//   Ports = 2
//   Port0 = bayer1280.icd
//   Port1 = mono16.icd
//   [Settings]
//   0x3FF60510 = 1
//
// Camera file names are relative to the data folder, or absolute.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/status.h"

namespace keldsim {

struct InterfaceFile {
  std::uint32_t serial = 0;
  std::uint32_t interfaceTypes = 0;
  std::vector<std::string> ports;
  std::vector<std::pair<std::uint32_t, std::string>> settings;
};

Status ParseInterfaceFile(std::string_view text, InterfaceFile& file, std::string& error);
std::string FormatInterfaceFile(const InterfaceFile& file);
// kInterfaceNotFound for a missing file, kFileFormat for a bad one.
Status LoadInterfaceFile(const std::string& path, InterfaceFile& file);
// kFileWrite if the file cannot be written.
Status StoreInterfaceFile(const std::string& path, const InterfaceFile& file);

}  // namespace keldsim
