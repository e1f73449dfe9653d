// Lifting the limit of image memory to the first 4 GiB of physical
// addresses. The simulated board has no such limit; the driver records the
// request on the interface.
#include "core/entry.h"

using keldsim::Guarded;
using keldsim::Simulator;

extern "C" {

KeldDriverStatus odkelduDisable32bitPhysMemLimitEnforcement(uint32_t iid) {
  return Guarded(__func__, [&] { return Simulator::Get().LiftPhysicalMemoryLimit(iid); });
}

}  // extern "C"
