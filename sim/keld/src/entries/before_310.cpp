// The camera header query of drivers before 0x03100000: no constant
// argument, and the texts always filled.
#include <type_traits>

#define odkelduGetCameraHeaderInfo odkelduGetCameraHeaderInfo_FormSince310
#include "core/entry.h"
#undef odkelduGetCameraHeaderInfo

using keldsim::Guarded;

extern "C" {

__attribute__((visibility("default"))) KeldDriverStatus odkelduGetCameraHeaderInfo(uint32_t sid, const char* file,
                                                                                   uint32_t* supported, char* modeName,
                                                                                   char* detail) {
  return Guarded(__func__, [&] { return keldsim::CameraHeaderInfo(sid, file, true, supported, modeName, detail); });
}

}  // extern "C"

static_assert(std::is_same_v<decltype(&odkelduGetCameraHeaderInfo), KeldCameraHeaderInfoBefore310>,
              "the older form is the one the library calls");
