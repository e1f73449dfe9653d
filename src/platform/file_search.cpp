#include "platform/file_search.h"

#include <strings.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace keld {

std::vector<std::string> FindFilesWithExtension(const std::string& folder, const char* extension) {
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    std::error_code typeError;
    if (!at->is_regular_file(typeError)) continue;
    if (strcasecmp(at->path().extension().c_str(), extension) == 0) names.push_back(at->path().filename().string());
  }
  std::sort(names.begin(), names.end(),
            [](const std::string& a, const std::string& b) { return strcasecmp(a.c_str(), b.c_str()) < 0; });
  return names;
}

}  // namespace keld
