// The platform's version type and its in-house formatted output.
#pragma once

#include "keldcfgc/version.hpp"

namespace keld {

using ::tHTVersion;

// The in-house formatted output of the platform: text on standard error.
void htprintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace keld
