// Which vector unit the image kernels may use. Kernels with an AVX2 form
// check UseAvx2() at run time and otherwise take their portable form; both
// forms give the same bytes. Tests switch AVX2 off to compare the two.
#pragma once

#include <atomic>

namespace odv {

inline std::atomic<bool>& Avx2Allowed() {
  static std::atomic<bool> allowed{true};
  return allowed;
}

inline bool CpuHasAvx2() {
#if defined(__x86_64__)
  static const bool has = __builtin_cpu_supports("avx2") != 0;
  return has;
#else
  return false;
#endif
}

inline bool UseAvx2() { return CpuHasAvx2() && Avx2Allowed().load(std::memory_order_relaxed); }

}  // namespace odv
