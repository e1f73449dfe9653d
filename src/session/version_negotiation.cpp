// The three version exports other components of the family call.
#include "platform/version.h"
#include "session/library_version.h"

namespace nKELDCFGC_18_5 {

tHTVersion getCurrentVersion(std::int32_t& /*status*/) { return tHTVersion(keld::kCurrentVersion); }

tHTVersion getOldestCompatibleVersion(std::int32_t& /*status*/) {
  return tHTVersion(keld::kOldestCompatibleVersion);
}

void compareVersion(const tHTVersion& newest, const tHTVersion& oldest, std::int32_t& status,
                    const char* component) {
  if (status < 0) return;
  std::int32_t result = 0;
  if (newest < oldest) {
    result = -50000;  // the caller's range is malformed
  } else if (newest.word() < keld::kOldestCompatibleVersion) {
    result = -50253;  // the caller is too old for this library
  } else if (oldest.word() > keld::kCurrentVersion) {
    result = -50252;  // this library is too old for the caller
  }
  if (status > 0) {
    if (result < 0) status = result;
  } else {
    status = result;
  }
  if (status >= 0) return;
  const std::string callerNewest = newest.toString();
  const std::string callerOldest = oldest.toString();
  const std::string ownNewest = tHTVersion(keld::kCurrentVersion).toString();
  const std::string ownOldest = tHTVersion(keld::kOldestCompatibleVersion).toString();
  // The range is printed oldest first, as a reader expects "from - to".
  if (component != nullptr) {
    keld::htprintf(
        "[keldcfgc] version check failed with status = %d. Component '%s' desires the range %s - %s however "
        "the installed range is %s - %s\n",
        status, component, callerOldest.c_str(), callerNewest.c_str(), ownOldest.c_str(), ownNewest.c_str());
  } else {
    keld::htprintf(
        "[keldcfgc] version check failed with status = %d. The calling component desires the range %s - %s "
        "however the installed range is %s - %s\n",
        status, callerOldest.c_str(), callerNewest.c_str(), ownOldest.c_str(), ownNewest.c_str());
  }
}

}  // namespace nKELDCFGC_18_5
