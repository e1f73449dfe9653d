#include "foundation/cfg_string.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "foundation/byte_stream.h"

namespace keld {

Status CFGString::Flatten(ByteStream* stream) const {
  const auto count = static_cast<std::uint32_t>(std::strlen(c_str()));
  Status status = stream->AppendU32(count);
  if (status == kSuccess) status = stream->AppendBytes(c_str(), count);
  return status;
}

Status CFGString::Unflatten(ByteStream* stream) {
  std::uint32_t count = 0;
  Status status = stream->ReadU32(&count);
  if (status != kSuccess) return status;
  if (count == 0) return kSuccess;
  if (stream->Remaining() < count) return kByteStreamLoadFailed;
  CFGString temporary;
  temporary.Assign(reinterpret_cast<const char*>(stream->cursor), count);
  *this = temporary;
  return stream->Skip(count);
}

void CopyText(const CFGString& text, char* buffer, std::uint32_t size) {
  if (buffer == nullptr) return;
  std::uint64_t count = text.size();
  const std::uint64_t limit = static_cast<std::uint64_t>(size) - 1;  // size 0 wraps: no limit
  if (size != 0 && count > limit) count = limit;
  std::memcpy(buffer, text.c_str(), count);
  buffer[count] = 0;
}

CFGString FormatString(const char* format, ...) {
  char small[256];
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  const int needed = std::vsnprintf(small, sizeof small, format, args);
  va_end(args);
  CFGString result;
  if (needed < 0) {
    va_end(again);
    return result;
  }
  if (static_cast<std::size_t>(needed) < sizeof small) {
    result.Assign(small, static_cast<std::uint64_t>(needed));
  } else {
    std::vector<char> large(static_cast<std::size_t>(needed) + 1);
    std::vsnprintf(large.data(), large.size(), format, again);
    result.Assign(large.data(), static_cast<std::uint64_t>(needed));
  }
  va_end(again);
  return result;
}

}  // namespace keld
