// What a variant of the driver is: its name, the version words it can stand
// for, and the entry points it does not have. Compiled once per variant
// with KELDSIM_VARIANT_CURRENT, KELDSIM_VARIANT_OLD or
// KELDSIM_VARIANT_NOPHYSMEM.
#include <iterator>

#include "core/simulator.h"

namespace keldsim {
namespace {

#if defined(KELDSIM_VARIANT_CURRENT)
constexpr const char* kMissing[] = {""};
constexpr std::size_t kMissingCount = 0;
#elif defined(KELDSIM_VARIANT_OLD)
// A driver before 0x03100000: no version query and no board names, the older
// camera header query, and nothing that came later.
constexpr const char* kMissing[] = {"odkelduGetDriverVersion", "odkelduGetBoardName",
                                    "odkelduCameraAttributeNumericGetIncrementEx", "kldSessionCopyAreaByNumber"};
constexpr std::size_t kMissingCount = std::size(kMissing);
#elif defined(KELDSIM_VARIANT_NOPHYSMEM)
constexpr const char* kMissing[] = {"odkelduDisable32bitPhysMemLimitEnforcement"};
constexpr std::size_t kMissingCount = std::size(kMissing);
#else
#error "compile with KELDSIM_VARIANT_CURRENT, KELDSIM_VARIANT_OLD or KELDSIM_VARIANT_NOPHYSMEM"
#endif

// Set by the build for the driver that is installed with its data.
#if defined(KELD_DRIVER_DATA_SUBDIR)
constexpr const char* kDataSubdir = KELD_DRIVER_DATA_SUBDIR;
#else
constexpr const char* kDataSubdir = nullptr;
#endif

}  // namespace

#if defined(KELDSIM_VARIANT_OLD)
const Variant kVariant = {"libkeld_old.so", 0x03000000, 0x01000000, 0x030FFFFF, kMissing, kMissingCount, kDataSubdir};
#elif defined(KELDSIM_VARIANT_NOPHYSMEM)
const Variant kVariant = {"libkeld_nophysmem.so", 0x04720000, 0x03100000, 0xFFFFFFFF, kMissing, kMissingCount, kDataSubdir};
#else
const Variant kVariant = {"libkeld.so", 0x04720000, 0x03100000, 0xFFFFFFFF, kMissing, kMissingCount, kDataSubdir};
#endif

}  // namespace keldsim
