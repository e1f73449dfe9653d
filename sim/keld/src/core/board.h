// A simulated board: what the description says of it, and the state of its
// hardware that outlives sessions: registers, on-board memory, firmware
// memory, which session holds each acquisition unit, and the light head
// whose limits were loaded.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "core/description.h"
#include "core/status.h"

namespace keldsim {

// Register map of region 0 (control registers, 64 KiB). Other offsets of the
// region keep what is written to them.
namespace reg {
inline constexpr std::uint32_t kRegionControl = 0;
inline constexpr std::uint32_t kRegionMemory = 1;
inline constexpr std::uint32_t kControlBytes = 0x10000;
inline constexpr std::uint32_t kBoardType = 0x0000;        // read-only
inline constexpr std::uint32_t kSerial = 0x0004;           // read-only
inline constexpr std::uint32_t kRevision = 0x0008;         // read-only
inline constexpr std::uint32_t kDataFpgaId = 0x0010;       // read-only: 0 without a data FPGA
inline constexpr std::uint32_t kLutArchitecture = 0x0014;  // read-only: 1 basic, 2 advanced
inline constexpr std::uint32_t kTicks = 0x0020;            // read-only: counts its own reads
inline constexpr std::uint32_t kScratch = 0x0040;          // 16 free registers up to 0x007C
}  // namespace reg

// Memory banks of the block functions.
namespace bank {
inline constexpr std::uint32_t kFirmware = 0;  // 8 MiB of flash, 0xFF where never written
inline constexpr std::uint32_t kEeprom = 1;    // 64 KiB
inline constexpr std::uint64_t kFirmwareBytes = 8u << 20;
inline constexpr std::uint64_t kEepromBytes = 64u << 10;
}  // namespace bank

struct LightHead {
  bool loaded = false;
  std::string identity;
  double currentLimit = 0;  // amperes, the lower of the head's and the board's
  double dutyLimit = 0;     // percent
};

class Board {
 public:
  explicit Board(BoardDescription description) : desc(std::move(description)), unitSession(desc.units, 0) {}

  const BoardDescription desc;
  std::atomic<bool> removed{false};

  // Guards everything below.
  std::mutex mutex;
  std::vector<std::uint32_t> unitSession;  // session holding each unit, 0 if none
  LightHead lightHead;

  // One 32-bit register or word of on-board memory.
  Status ReadRegister(std::uint32_t region, std::uint32_t offset, std::uint32_t& value);
  Status WriteRegister(std::uint32_t region, std::uint32_t offset, std::uint32_t value);
  // Bytes of a memory bank.
  Status ReadBank(std::uint32_t bankNumber, std::uint64_t address, std::uint8_t* data, std::uint64_t bytes);
  Status WriteBank(std::uint32_t bankNumber, std::uint64_t address, const std::uint8_t* data, std::uint64_t bytes);

 private:
  Status CheckRegister(std::uint32_t region, std::uint32_t offset) const;
  static constexpr std::uint64_t kPageBytes = 4096;
  std::vector<std::uint8_t>& Page(std::uint32_t bankNumber, std::uint64_t page);

  std::map<std::uint64_t, std::uint32_t> registers_;          // region << 32 | offset
  std::map<std::uint64_t, std::vector<std::uint8_t>> pages_;  // bank << 48 | page
  std::uint32_t ticks_ = 0;
};

}  // namespace keldsim
