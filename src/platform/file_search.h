// Listing a folder's files by extension, as the original platform's
// find-first/find-next search with "*.ext" gives them.
#pragma once

#include <string>
#include <vector>

namespace keld {

// The names (not paths) of the regular files in `folder` whose extension,
// dot included (".icd"), matches `extension` without regard to ASCII case,
// in name order without regard to case. A folder that cannot be read gives
// none.
std::vector<std::string> FindFilesWithExtension(const std::string& folder, const char* extension);

}  // namespace keld
