#include "session/native_frame.h"

#include <cstring>

#include "odvissvc/odvissvc.h"

namespace keld {

void EnterNativeFrame() { SetThreadCore(0); }

void CopyText(const CFGString& text, char* buffer, std::uint32_t size) {
  if (buffer == nullptr) return;
  std::uint64_t count = text.size();
  const std::uint64_t limit = static_cast<std::uint64_t>(size) - 1;  // size 0 wraps: no limit
  if (size != 0 && count > limit) count = limit;
  std::memcpy(buffer, text.c_str(), count);
  buffer[count] = 0;
}

}  // namespace keld
