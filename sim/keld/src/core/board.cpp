#include "core/board.h"

#include <algorithm>
#include <cstring>

namespace keldsim {

Status Board::CheckRegister(std::uint32_t region, std::uint32_t offset) const {
  if (offset % 4 != 0) return st::kInvalidArgument;
  if (region == reg::kRegionControl) return offset < reg::kControlBytes ? st::kOk : st::kAddressOutOfRange;
  if (region == reg::kRegionMemory) return offset < desc.memoryBytes ? st::kOk : st::kAddressOutOfRange;
  return st::kAddressOutOfRange;
}

Status Board::ReadRegister(std::uint32_t region, std::uint32_t offset, std::uint32_t& value) {
  if (const Status status = CheckRegister(region, offset); status != st::kOk) return status;
  if (region == reg::kRegionControl) {
    switch (offset) {
      case reg::kBoardType:
        value = desc.type;
        return st::kOk;
      case reg::kSerial:
        value = desc.serial;
        return st::kOk;
      case reg::kRevision:
        value = desc.revision;
        return st::kOk;
      case reg::kDataFpgaId:
        value = desc.dataFpga ? (0xDF000000u | desc.type) : 0u;
        return st::kOk;
      case reg::kLutArchitecture:
        value = desc.advancedLut ? 2u : 1u;
        return st::kOk;
      case reg::kTicks:
        value = ++ticks_;
        return st::kOk;
      default:
        break;
    }
  }
  const auto found = registers_.find(std::uint64_t{region} << 32 | offset);
  value = found == registers_.end() ? 0u : found->second;
  return st::kOk;
}

Status Board::WriteRegister(std::uint32_t region, std::uint32_t offset, std::uint32_t value) {
  if (const Status status = CheckRegister(region, offset); status != st::kOk) return status;
  // The read-only registers of the control region ignore writes, as the
  // hardware does.
  if (region == reg::kRegionControl && offset <= reg::kTicks &&
      (offset == reg::kBoardType || offset == reg::kSerial || offset == reg::kRevision || offset == reg::kDataFpgaId ||
       offset == reg::kLutArchitecture || offset == reg::kTicks)) {
    return st::kOk;
  }
  registers_[std::uint64_t{region} << 32 | offset] = value;
  return st::kOk;
}

std::vector<std::uint8_t>& Board::Page(std::uint32_t bankNumber, std::uint64_t page) {
  auto& bytes = pages_[std::uint64_t{bankNumber} << 48 | page];
  if (bytes.empty()) bytes.assign(kPageBytes, bankNumber == bank::kFirmware ? 0xFF : 0x00);
  return bytes;
}

Status Board::ReadBank(std::uint32_t bankNumber, std::uint64_t address, std::uint8_t* data, std::uint64_t bytes) {
  const std::uint64_t size = bankNumber == bank::kFirmware ? bank::kFirmwareBytes
                             : bankNumber == bank::kEeprom ? bank::kEepromBytes
                                                           : 0;
  if (address > size || bytes > size - address) return st::kAddressOutOfRange;
  const std::uint8_t erased = bankNumber == bank::kFirmware ? 0xFF : 0x00;
  while (bytes > 0) {
    const std::uint64_t page = address / kPageBytes, within = address % kPageBytes;
    const std::uint64_t chunk = std::min(bytes, kPageBytes - within);
    const auto found = pages_.find(std::uint64_t{bankNumber} << 48 | page);
    if (found == pages_.end()) {
      std::memset(data, erased, chunk);
    } else {
      std::memcpy(data, found->second.data() + within, chunk);
    }
    data += chunk;
    address += chunk;
    bytes -= chunk;
  }
  return st::kOk;
}

Status Board::WriteBank(std::uint32_t bankNumber, std::uint64_t address, const std::uint8_t* data,
                        std::uint64_t bytes) {
  const std::uint64_t size = bankNumber == bank::kFirmware ? bank::kFirmwareBytes
                             : bankNumber == bank::kEeprom ? bank::kEepromBytes
                                                           : 0;
  if (address > size || bytes > size - address) return st::kAddressOutOfRange;
  while (bytes > 0) {
    const std::uint64_t page = address / kPageBytes, within = address % kPageBytes;
    const std::uint64_t chunk = std::min(bytes, kPageBytes - within);
    std::memcpy(Page(bankNumber, page).data() + within, data, chunk);
    data += chunk;
    address += chunk;
    bytes -= chunk;
  }
  return st::kOk;
}

}  // namespace keldsim
