// Feeds a peer's bytes to the attribute map, in the full form (first byte
// even) or as a delta over a map that holds one attribute of every type with
// its components. Whatever the bytes, every attribute left in the map must
// be found by its key and, where it has a name, by that name, and the map
// must flatten again.
#include <cstdint>
#include <cstdlib>

#include "attributes/attribute.h"
#include "attributes/attribute_map.h"
#include "foundation/byte_stream.h"

using namespace keld;

namespace {

void Prepare(AttributeMap* map) {
  const std::uint32_t tags[] = {1, 2, 3, 4, 5, 6, 7, 100, 101, 102, 104};
  std::uint32_t key = 1;
  for (const std::uint32_t tag : tags) {
    Attribute* attribute = nullptr;
    if (CreateAttribute(tag, true, &attribute) != kSuccess) std::abort();
    attribute->SetKey(key);
    IgnoreStatus(attribute->SetName(FormatString("Block::Setting%u", key)));  // no name on some types
    map->Insert(attribute);
    ++key;
  }
}

void Check(const AttributeMap& map) {
  for (const auto& entry : map.ByKeyIndex()) {
    if (map.FindByKey(entry.key) != entry.get()) std::abort();
    if (!entry.name.empty()) {
      const Attribute* found = map.FindByName(entry.name.c_str());
      if (found == nullptr || found->GetNameView() != entry.name) std::abort();
    }
  }
  ByteStream out;
  if (map.Flatten(&out, true) != kSuccess) std::abort();
  out.Reset();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const bool full = (data[0] & 1) == 0;
  ByteStream in;
  if (in.AppendBytes(data + 1, size - 1) != kSuccess) return 0;
  in.Rewind();
  AttributeMap map;
  if (!full) Prepare(&map);
  IgnoreStatus(map.Unflatten(&in, full));  // any status; the map must stay sound
  Check(map);
  in.Reset();
  return 0;
}
