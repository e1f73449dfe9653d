#include "platform/version.h"

#include <cstdarg>
#include <cstdio>

namespace keld {

void htprintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
  std::fflush(stderr);
}

}  // namespace keld
