// ByteStream: the plain byte buffer every object flattens itself into, for a
// remote command or for temporary storage. Values are stored as the memory
// image of the machine, without padding. Each append reallocates the block to
// exactly its new size (one realloc per append, by design); reads advance a
// cursor and are checked against the written size, answering 0xBFFF8001 where
// a read would run past the end.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "foundation/status.h"

namespace keld {

struct ByteStream {
  std::uint32_t size = 0;
  std::uint8_t* data = nullptr;  // from realloc; the owner releases it with free
  std::uint8_t* cursor = nullptr;

  Status AppendU8(std::uint8_t value) { return AppendRaw(&value, sizeof value); }
  Status AppendU32(std::uint32_t value) { return AppendRaw(&value, sizeof value); }
  Status AppendU64(std::uint64_t value) { return AppendRaw(&value, sizeof value); }
  Status AppendF64(double value) { return AppendRaw(&value, sizeof value); }
  // Appends nothing at all where source is null or count is 0.
  Status AppendBytes(const void* source, std::uint64_t count);
  template <typename T>
  Status AppendRecord(const T& value) {
    static_assert(std::is_trivially_copyable_v<T>);
    return AppendRaw(&value, sizeof(T));
  }
  // Grows by count uninitialised bytes; a failed allocation is 0xBFFF8005.
  Status Extend(std::uint32_t count);

  Status ReadU8(std::uint8_t* value) { return ReadRaw(value, sizeof *value); }
  Status ReadU32(std::uint32_t* value) { return ReadRaw(value, sizeof *value); }
  Status ReadU64(std::uint64_t* value) { return ReadRaw(value, sizeof *value); }
  Status ReadF64(double* value) { return ReadRaw(value, sizeof *value); }
  template <typename T>
  Status ReadRecord(T* value) {
    static_assert(std::is_trivially_copyable_v<T>);
    return ReadRaw(value, sizeof(T));
  }
  // Copies count bytes from the cursor; checked like every read.
  Status ReadBytes(void* target, std::uint64_t count) { return ReadRaw(target, count); }

  // Sets the cursor to the start of the data, ready for reading.
  void Rewind() { cursor = data; }
  // Bytes between the cursor and the end of what was written.
  std::uint64_t Remaining() const;
  // Whether `count` items of at least `smallest` bytes each can still be in
  // the stream. A reader checks a peer's count with it before it allocates.
  bool CanHold(std::uint64_t count, std::uint64_t smallest) const {
    return smallest == 0 || Remaining() / smallest >= count;
  }
  // Moves the cursor forward by count bytes if that many remain.
  Status Skip(std::uint64_t count);
  // Frees the block and zeroes the record.
  void Reset();
  // Forgets what was written past `count` bytes (no more than are written)
  // and keeps the block: the next append or extension reallocates it to its
  // new exact size, which leaves it where it is when it fits. A writer that
  // refills a block of the same size again and again so keeps its pages.
  void Truncate(std::uint32_t count);

 private:
  Status AppendRaw(const void* source, std::uint64_t count);
  Status ReadRaw(void* target, std::uint64_t count);
};

// Owns a ByteStream and frees its block on scope exit.
class ScopedByteStream {
 public:
  ScopedByteStream() = default;
  ScopedByteStream(const ScopedByteStream&) = delete;
  ScopedByteStream& operator=(const ScopedByteStream&) = delete;
  ~ScopedByteStream() { stream_.Reset(); }
  ByteStream* get() { return &stream_; }
  ByteStream* operator->() { return &stream_; }
  ByteStream& operator*() { return stream_; }

 private:
  ByteStream stream_;
};

}  // namespace keld
