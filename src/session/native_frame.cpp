#include "session/native_frame.h"

#include <cstring>

namespace keld {

void EnterNativeFrame() {
  // The image library's SetThreadCore(0) goes here once that library is
  // linked; without it the step does nothing.
}

void CopyText(const CFGString& text, char* buffer, std::uint32_t size) {
  if (buffer == nullptr) return;
  std::uint64_t count = text.size();
  const std::uint64_t limit = static_cast<std::uint64_t>(size) - 1;  // size 0 wraps: no limit
  if (size != 0 && count > limit) count = limit;
  std::memcpy(buffer, text.c_str(), count);
  buffer[count] = 0;
}

}  // namespace keld
