// Hash of packed images: XXH3-64 from libxxhash. On x86-64 the library's
// dispatching entry points pick the widest vector unit at run time, so the
// hash runs at several bytes per cycle on any machine the library loads on.
#pragma once

#include <cstddef>
#include <cstdint>

#include <xxhash.h>
#if defined(__x86_64__)
#include <xxh_x86dispatch.h>
#endif

namespace odv {

// Hash kinds a descriptor can name; a reader refuses any other as unknown.
inline constexpr std::uint32_t kHashXxh3 = 1;

inline std::uint64_t HashOf(const void* data, std::size_t count) { return XXH3_64bits(data, count); }

}  // namespace odv
