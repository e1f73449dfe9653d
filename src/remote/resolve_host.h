// ResolveHost: a host text to an IPv4 address in host byte order. Null or
// empty means "127.0.0.1"; a dotted quad whose four numbers are each below
// 256 is taken as it stands; anything else goes to the resolver, first
// address of the list. No host, or an empty list, gives 0xFFFFFFFF.
#pragma once

#include <cstdint>

namespace keld {

inline constexpr std::uint32_t kNoAddress = 0xFFFFFFFF;

std::uint32_t ResolveHost(const char* name);

}  // namespace keld
