// Memory that the driver hands out: image buffers (kldCreateBuffer, the
// snap memory, ring and sequence buffers it allocates) and texts
// (kldStoreCameraConfigToString). Aligned to 64 bytes and zeroed. Shared
// ownership lets an acquisition keep its buffers while it uses them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace keldsim {

class DriverMemory {
 public:
  explicit DriverMemory(std::size_t bytes);
  DriverMemory(const DriverMemory&) = delete;
  DriverMemory& operator=(const DriverMemory&) = delete;
  ~DriverMemory();

  std::uint8_t* data() const { return data_; }
  std::size_t size() const { return size_; }

 private:
  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
};

// Null where the memory cannot be had.
std::shared_ptr<DriverMemory> AllocateDriverMemory(std::size_t bytes);

}  // namespace keldsim
