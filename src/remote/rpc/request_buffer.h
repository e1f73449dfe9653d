// RequestBuffer: the one block a fragmented request's stub is assembled in,
// on the server. Its memory comes straight from the kernel (anonymous
// mappings that grow in place or are moved page table and all, never copied),
// so assembling N bytes costs N bytes of memory plus a page, whatever the
// peer's allocation hint said, and it all goes back to the system when the
// call ends: nothing of it stays in a heap arena while the connection idles.
//
// RequestBudget: the memory all requests being assembled at once may hold.
// Each buffer takes what it has written from the budget and gives it back
// when released, so a handful of peers sending large requests at the same
// time cannot make the server's memory grow without bound.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace keld::rpc {

class RequestBudget {
 public:
  explicit RequestBudget(std::size_t limit) : limit_(limit) {}
  // Takes `bytes` if they fit under the limit.
  bool Take(std::size_t bytes);
  void Give(std::size_t bytes);
  std::size_t used() const { return used_.load(std::memory_order_relaxed); }
  std::size_t limit() const { return limit_; }

 private:
  const std::size_t limit_;
  std::atomic<std::size_t> used_{0};
};

class RequestBuffer {
 public:
  enum class Result { kAppended, kTooLarge, kOverBudget, kNoMemory };

  // `budget` may be null (no shared limit); `maxSize` bounds this request.
  RequestBuffer(RequestBudget* budget, std::size_t maxSize);
  RequestBuffer(const RequestBuffer&) = delete;
  RequestBuffer& operator=(const RequestBuffer&) = delete;
  ~RequestBuffer() { Release(); }

  // Sets aside address space (not memory) for `bytes`, as far as the
  // maximum allows; pages are only used once written.
  void Reserve(std::size_t bytes);
  // Appends bytes; on any result but kAppended nothing was appended.
  Result Append(const std::uint8_t* data, std::size_t size);
  const std::uint8_t* data() const { return base_; }
  std::uint8_t* data() { return base_; }
  std::size_t size() const { return size_; }
  // Returns the memory to the system and its share to the budget.
  void Release();

 private:
  bool Grow(std::size_t wanted);

  RequestBudget* budget_;
  std::size_t maxSize_;
  std::uint8_t* base_ = nullptr;
  std::size_t size_ = 0;
  std::size_t mapped_ = 0;  // bytes of address space mapped
  std::size_t taken_ = 0;   // bytes taken from the budget: the written pages
};

}  // namespace keld::rpc
