#include "foundation/string_list.h"

#include "foundation/byte_stream.h"

namespace keld {

Status StringList::Flatten(ByteStream* stream) const {
  Status status = stream->AppendU32(static_cast<std::uint32_t>(size()));
  for (const CFGString& text : *this) {
    if (status != kSuccess) break;
    status = text.Flatten(stream);
  }
  return status;
}

Status StringList::Unflatten(ByteStream* stream) {
  clear();
  std::uint32_t count = 0;
  Status status = stream->ReadU32(&count);
  if (status != kSuccess) return status;
  for (std::uint32_t i = 0; i < count; ++i) {
    CFGString text;
    status = text.Unflatten(stream);
    if (status != kSuccess) return status;
    push_back(text);
  }
  return kSuccess;
}

}  // namespace keld
