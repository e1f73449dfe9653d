// The description of the simulated hardware: the driver's version word, the
// boards, and the boards that failed to initialise. It is JSON (see
// README.md); a built-in description stands in where none is given.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"

namespace keldsim {

struct BoardTestSetting {
  std::uint32_t result = 0;  // 1 passed, 2 failed, 3 failed critically, 4 skipped
  std::string message;
};

struct BoardDescription {
  std::uint32_t serial = 0;
  std::string model;        // "OD PCIe-7109"
  std::uint32_t pciId = 0;  // for drivers before 0x03100000
  std::uint32_t type = 0;   // board type word, 0x7109 for model 7109
  std::uint32_t revision = 1;
  std::uint32_t units = 1;           // acquisition units
  std::uint32_t interfaceTypes = 0;  // mask: 0x1 analog, 0x2 digital, 0x4 Camera Link
  std::uint32_t ports = 1;
  bool dataFpga = false;                   // a second FPGA on the data path
  bool advancedLut = true;                 // look-up tables of the advanced architecture
  std::vector<std::uint32_t> fpgaClasses;  // update images the board takes
  double maxLightCurrent = 1.0;            // amperes a light head may draw continuously
  std::uint64_t memoryBytes = 0;           // on-board memory (register region 1)
  std::map<std::string, BoardTestSetting> boardTests;
  // A board of a type that is not installed, opened by "interfaceType:NNNN"
  // to prepare its configuration: every interface type, no hardware behind.
  bool phantom = false;
};

struct FailedBoard {
  std::uint32_t serial = 0;
  Status status = 0;
};

struct Description {
  std::uint32_t version = 0;
  std::vector<BoardDescription> boards;
  std::vector<FailedBoard> failedBoards;
};

// Reads a whole description. A missing "driver_version" takes
// `defaultVersion`. Unknown keys, bad values and repeated serial numbers are
// errors, told in `error`.
Status ParseDescription(std::string_view json, std::uint32_t defaultVersion, Description& description,
                        std::string& error);
// Reads one board object, as in the "boards" array.
Status ParseBoard(std::string_view json, BoardDescription& board, std::string& error);
// The built-in description's JSON text.
std::string_view BuiltInDescription();

// Model name of a PCI identity of the older boards, empty if none.
std::string_view ModelOfPciId(std::uint32_t pciId);

}  // namespace keldsim
