// Time-out of remote calls, by session id: id 0 stands for the default that
// new remote sessions copy, any other id must name a remote session (local
// sessions have no time-out and give 0xBFFF8009).
#pragma once

#include <cstdint>

#include "foundation/status.h"

namespace keld {

Status ReadSessionTimeout(std::uint32_t id, std::uint32_t* timeout);
Status WriteSessionTimeout(std::uint32_t id, std::uint32_t timeout);

}  // namespace keld
