#include "foundation/byte_stream.h"

#include <cstdlib>
#include <limits>

namespace keld {

namespace {

// The block grows to exactly `newSize`; the old block is released by realloc
// on success and lost on failure, as the stream must then be abandoned.
bool Grow(ByteStream& s, std::uint64_t count, std::uint32_t* oldSize) {
  *oldSize = s.size;
  if (count > std::numeric_limits<std::uint32_t>::max() - s.size) return false;
  s.size += static_cast<std::uint32_t>(count);
  const std::ptrdiff_t cursorOffset = s.cursor != nullptr && s.data != nullptr ? s.cursor - s.data : -1;
  void* grown = std::realloc(s.data, s.size);
  s.data = static_cast<std::uint8_t*>(grown);
  if (s.data != nullptr && cursorOffset >= 0) s.cursor = s.data + cursorOffset;
  return s.data != nullptr;
}

}  // namespace

Status ByteStream::AppendRaw(const void* source, std::uint64_t count) {
  std::uint32_t oldSize = 0;
  if (!Grow(*this, count, &oldSize)) return kByteStreamSaveFailed;
  std::memcpy(data + oldSize, source, count);
  return kSuccess;
}

Status ByteStream::AppendBytes(const void* source, std::uint64_t count) {
  if (source == nullptr || count == 0) return kSuccess;
  return AppendRaw(source, count);
}

Status ByteStream::Extend(std::uint32_t count) {
  if (count == 0) return kSuccess;
  std::uint32_t oldSize = 0;
  if (!Grow(*this, count, &oldSize)) return kOutOfMemory;
  return kSuccess;
}

std::uint64_t ByteStream::Remaining() const {
  if (data == nullptr || cursor == nullptr || cursor < data) return 0;
  const auto consumed = static_cast<std::uint64_t>(cursor - data);
  return consumed >= size ? 0 : size - consumed;
}

Status ByteStream::ReadRaw(void* target, std::uint64_t count) {
  if (count == 0) return kSuccess;
  if (target == nullptr || Remaining() < count) return kByteStreamLoadFailed;
  std::memcpy(target, cursor, count);
  cursor += count;
  return kSuccess;
}

Status ByteStream::Skip(std::uint64_t count) {
  if (count == 0) return kSuccess;
  if (Remaining() < count) return kByteStreamLoadFailed;
  cursor += count;
  return kSuccess;
}

void ByteStream::Reset() {
  std::free(data);
  data = nullptr;
  cursor = nullptr;
  size = 0;
}

void ByteStream::Truncate(std::uint32_t count) {
  if (count >= size) return;
  size = count;
  if (cursor != nullptr && data != nullptr && cursor > data + size) cursor = data + size;
}

}  // namespace keld
