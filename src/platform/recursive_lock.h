// The critical section of the platform: a recursive mutex with a scoped guard.
#pragma once

#include <mutex>

namespace keld {

using RecursiveLock = std::recursive_mutex;
using ScopedLock = std::lock_guard<std::recursive_mutex>;

}  // namespace keld
