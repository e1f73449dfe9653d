// What a variant of the driver is: its name, the version words it can stand
// for, and the entry points it does not have. Compiled once per variant
// with KELDNVSIM_VARIANT_CURRENT or KELDNVSIM_VARIANT_NOVERSION.
#include <iterator>

#include "driver.h"

namespace keldnvsim {
namespace {

#if defined(KELDNVSIM_VARIANT_CURRENT)
constexpr const char* kMissing[] = {""};
constexpr std::size_t kMissingCount = 0;
#elif defined(KELDNVSIM_VARIANT_NOVERSION)
// A driver from before the version query: it stands for the words below
// 0x03010000, which have none of the later functions either.
constexpr const char* kMissing[] = {"KELDnvGetDriverVersion"};
constexpr std::size_t kMissingCount = std::size(kMissing);
#else
#error "compile with KELDNVSIM_VARIANT_CURRENT or KELDNVSIM_VARIANT_NOVERSION"
#endif

}  // namespace

#if defined(KELDNVSIM_VARIANT_NOVERSION)
const Variant kVariant = {"libodkeldnv_noversion.so", 0x03000000, 0x0300FFFF, kMissing, kMissingCount};
#else
const Variant kVariant = {"libodkeldnv.so", 0x04500000, 0xFFFFFFFF, kMissing, kMissingCount};
#endif

}  // namespace keldnvsim
