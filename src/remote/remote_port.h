// ReadRemotePort: the port of a target's service where the host text names
// none, from the machine's registry; 7750 where the key or value is absent.
// A number value is taken as it stands, a text value by atoi; the range is
// not checked.
#pragma once

#include <cstdint>

namespace keld {

inline constexpr std::uint32_t kDefaultRemotePort = 7750;

std::uint32_t ReadRemotePort();

}  // namespace keld
