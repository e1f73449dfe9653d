// The library's version words.
#pragma once

#include <cstdint>

namespace keld {

inline constexpr std::uint32_t kCurrentVersion = 0x1250C000;           // 18.5.0f0
inline constexpr std::uint32_t kOldestCompatibleVersion = 0x02600000;  // 2.6.0d0

}  // namespace keld
