// Facts of this computer and process that session keys are made of.
#pragma once

#include <cstdint>

#include "foundation/cfg_string.h"

namespace keld {

// The computer's host name from a 64-byte buffer, or "LOCALHOST" where the
// system call fails.
CFGString GetHostName();

std::uint32_t GetCurrentProcessId();

namespace testing {
// Makes GetHostName behave as if the system call failed. Test only.
void SimulateHostNameFailure(bool fail);
}  // namespace testing

}  // namespace keld
