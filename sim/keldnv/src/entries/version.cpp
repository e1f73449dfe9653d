// The version query, which drivers from 0x03010000 on have.
#include "entry.h"

extern "C" KeldnvDriverStatus KELDnvGetDriverVersion(uint32_t* version) {
  return keldnvsim::Guarded(__func__, [&]() -> keldnvsim::Status {
    if (version == nullptr) return keldnvsim::st::kInvalidArgument;
    *version = keldnvsim::Driver::Get().Version();
    return keldnvsim::st::kOk;
  });
}
