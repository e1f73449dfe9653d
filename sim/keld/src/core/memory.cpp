#include "core/memory.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace keldsim {

DriverMemory::DriverMemory(std::size_t bytes) : size_(bytes) {
  const std::size_t rounded = (bytes + 63) / 64 * 64;
  data_ = static_cast<std::uint8_t*>(std::aligned_alloc(64, rounded == 0 ? 64 : rounded));
  if (data_ == nullptr) throw std::bad_alloc();
  std::memset(data_, 0, rounded == 0 ? 64 : rounded);
}

DriverMemory::~DriverMemory() { std::free(data_); }

std::shared_ptr<DriverMemory> AllocateDriverMemory(std::size_t bytes) {
  try {
    return std::make_shared<DriverMemory>(bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace keldsim
