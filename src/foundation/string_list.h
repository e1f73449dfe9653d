// StringList: a vector of CFGString with its own flat form (u32 count, then
// each string's flat form in order).
#pragma once

#include <vector>

#include "foundation/cfg_string.h"

namespace keld {

class StringList : public std::vector<CFGString> {
 public:
  StringList() = default;
  StringList(const StringList&) = default;
  StringList& operator=(const StringList&) = default;
  virtual ~StringList() = default;

  virtual Status Flatten(ByteStream* stream) const;
  // Clears first; on a failure the strings read so far stay in the list.
  virtual Status Unflatten(ByteStream* stream);
};

}  // namespace keld
