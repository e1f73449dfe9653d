#include "remote/rpc/request_buffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace keld::rpc {

namespace {

std::size_t PageSize() {
  static const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return page;
}

std::size_t RoundUpToPage(std::size_t bytes) {
  const std::size_t page = PageSize();
  return bytes > SIZE_MAX - page ? SIZE_MAX / page * page : (bytes + page - 1) / page * page;
}

// The smallest mapping made: 16 fragments of the largest size.
constexpr std::size_t kFirstMapping = 1u << 20;

}  // namespace

bool RequestBudget::Take(std::size_t bytes) {
  std::size_t used = used_.load(std::memory_order_relaxed);
  do {
    if (bytes > limit_ || used > limit_ - bytes) return false;
  } while (!used_.compare_exchange_weak(used, used + bytes, std::memory_order_relaxed));
  return true;
}

void RequestBudget::Give(std::size_t bytes) { used_.fetch_sub(bytes, std::memory_order_relaxed); }

RequestBuffer::RequestBuffer(RequestBudget* budget, std::size_t maxSize) : budget_(budget), maxSize_(maxSize) {}

void RequestBuffer::Reserve(std::size_t bytes) {
  const std::size_t wanted = std::min(bytes, maxSize_);
  if (wanted > mapped_) Grow(wanted);
}

bool RequestBuffer::Grow(std::size_t wanted) {
  // Address space is cheap and untouched pages cost no memory: grow at
  // least twofold so that a long request is moved only a few times.
  std::size_t target = std::max({wanted, mapped_ * 2, kFirstMapping});
  target = RoundUpToPage(std::min(target, std::max(wanted, maxSize_)));
  void* block = nullptr;
  if (base_ == nullptr) {
    block = mmap(nullptr, target, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  } else {
    block = mremap(base_, mapped_, target, MREMAP_MAYMOVE);
  }
  if (block == MAP_FAILED) return false;
  base_ = static_cast<std::uint8_t*>(block);
  mapped_ = target;
  return true;
}

RequestBuffer::Result RequestBuffer::Append(const std::uint8_t* data, std::size_t size) {
  if (size > maxSize_ || size_ > maxSize_ - size) return Result::kTooLarge;
  const std::size_t end = size_ + size;
  // The budget counts the pages this append writes to for the first time.
  const std::size_t pages = RoundUpToPage(end);
  if (pages > taken_) {
    if (budget_ != nullptr && !budget_->Take(pages - taken_)) return Result::kOverBudget;
    if (end > mapped_ && !Grow(end)) {
      if (budget_ != nullptr) budget_->Give(pages - taken_);
      return Result::kNoMemory;
    }
    taken_ = pages;
  }
  if (size > 0) std::memcpy(base_ + size_, data, size);
  size_ = end;
  return Result::kAppended;
}

void RequestBuffer::Release() {
  if (base_ != nullptr) munmap(base_, mapped_);
  if (budget_ != nullptr && taken_ > 0) budget_->Give(taken_);
  base_ = nullptr;
  size_ = mapped_ = taken_ = 0;
}

}  // namespace keld::rpc
