#include "attributes/attribute_map.h"

#include <cstring>
#include <new>

#include "foundation/byte_stream.h"

namespace keld {

namespace {

bool Flag(Status (Attribute::*read)(bool*) const, const Attribute& attribute) {
  bool value = false;
  return (attribute.*read)(&value) == kSuccess && value;
}

// Whether `challenger` beats `best` among attributes of one short name: the
// one that isn't dynamic, then the accessible one, then the lower full name.
bool Beats(const AttributeMapEntry& challenger, const AttributeMapEntry& best) {
  const bool challengerDynamic = Flag(&Attribute::IsDynamic, *challenger);
  if (challengerDynamic != Flag(&Attribute::IsDynamic, *best)) return !challengerDynamic;
  const bool challengerAccessible =
      Flag(&Attribute::IsReadable, *challenger) || Flag(&Attribute::IsWritable, *challenger);
  const bool bestAccessible = Flag(&Attribute::IsReadable, *best) || Flag(&Attribute::IsWritable, *best);
  if (challengerAccessible != bestAccessible) return challengerAccessible;
  return challenger.name < best.name;
}

// A hash already computed, for looking one query up in both name indices.
struct KnownHash {
  std::size_t value;
  std::size_t operator()(std::string_view /*name*/) const { return value; }
};

// Copies the attribute's names into the keys of its entry.
void TakeNames(AttributeMapEntry* entry) {
  entry->name.assign(entry->attribute->GetNameView());
  entry->shortName.assign(entry->attribute->GetShortNameView());
}

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

// Whether `full` is `name` in any case, or ends with "::" and then `name`.
bool TailFits(std::string_view full, std::string_view name) {
  if (full.empty() || full.size() < name.size()) return false;
  const std::size_t start = full.size() - name.size();
  if (!EqualIgnoringCase(full.substr(start), name)) return false;
  return start == 0 || (start >= 2 && full[start - 2] == ':' && full[start - 1] == ':');
}

}  // namespace

AttributeMap::AttributeMap()
    : container_(Container::ctor_args_list(), Container::allocator_type(&pool_)) {
  container_.get<ByName>().max_load_factor(1.0F);
  container_.get<ByShortName>().max_load_factor(1.0F);
}

AttributeMap::~AttributeMap() = default;

Status AttributeMap::Flatten(ByteStream* out, bool full) const {
  Status status = out->AppendU32(0);  // room for the count
  std::uint32_t count = 0;
  for (const auto& attribute : container_.get<ByKey>()) {
    if (status != kSuccess) break;
    if (!full && attribute->IsDirty() == 0) continue;
    status = attribute->Flatten(out, full);
    if (status == kSuccess) ++count;
  }
  // The count goes to the stream's first word: a map is always the first
  // item of its stream.
  if (out->data != nullptr && out->size >= sizeof count) std::memcpy(out->data, &count, sizeof count);
  return status;
}

Status AttributeMap::Unflatten(ByteStream* in, bool full) {
  if (full) Clear();
  std::uint32_t count = 0;
  Status status = in->ReadU32(&count);
  if (status != kSuccess) return status;
  for (std::uint32_t i = 0; i < count; ++i) {
    status = full ? UnflattenWhole(in) : UnflattenChange(in);
    if (status != kSuccess) return status;
  }
  return kSuccess;
}

Status AttributeMap::UnflattenWhole(ByteStream* in) {
  if (in->cursor == nullptr) return kBadPointer;
  std::uint32_t key = 0;
  std::uint32_t tag = 0;
  Status status = in->ReadU32(&key);
  if (status == kSuccess) status = in->ReadU32(&tag);
  if (status != kSuccess) return status;
  Attribute* attribute = nullptr;
  try {
    status = CreateAttribute(tag, false, &attribute);
    if (status != kSuccess) return status;
    attribute->SetKey(key);
    status = attribute->Unflatten(in, true);
    if (status != kSuccess) {
      delete attribute;
      return status;
    }
  } catch (const std::bad_alloc&) {
    delete attribute;
    return kOutOfMemory;
  }
  // Insert owns the attribute from here on, also where it throws.
  try {
    Insert(attribute);
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  }
  return kSuccess;
}

// The attribute is changed in place; its entry stays in the map whatever
// happens, under its old names where the new ones could not be taken.
Status AttributeMap::UnflattenChange(ByteStream* in) {
  std::uint32_t key = 0;
  Status status = in->ReadU32(&key);
  if (status != kSuccess) return status;
  auto& byKey = container_.get<ByKey>();
  const auto found = byKey.find(key);
  if (found == byKey.end()) return kUnknownAttributeType;
  Attribute& attribute = *found->attribute;
  try {
    status = attribute.Unflatten(in, false);
  } catch (const std::bad_alloc&) {
    status = kOutOfMemory;
  }
  // A delta may bring a new name: the entry takes the names again and is
  // re-linked in the name indices. The copies are made first, so that the
  // re-linking itself cannot fail and take the entry out of the map.
  if (attribute.GetNameView() == found->name && attribute.GetShortNameView() == found->shortName) return status;
  try {
    std::pmr::string name(attribute.GetNameView(), &pool_);
    std::pmr::string shortName(attribute.GetShortNameView(), &pool_);
    byKey.modify(found, [&](AttributeMapEntry& entry) noexcept {
      entry.name.swap(name);
      entry.shortName.swap(shortName);
    });
  } catch (const std::bad_alloc&) {
    KeepFirstFailure(&status, kOutOfMemory);
  }
  return status;
}

void AttributeMap::Insert(Attribute* owned) {
  if (owned == nullptr) return;
  // A refused element goes with its shared pointer; so does `owned` if the
  // control block can't be allocated.
  AttributeMapEntry entry{nullptr, 0, std::pmr::string(&pool_), std::pmr::string(&pool_)};  // names from the pool
  entry.attribute.reset(owned);
  entry.key = owned->GetKey();
  TakeNames(&entry);
  container_.insert(std::move(entry));  // moved: the name copies keep the pool
}

// The pool keeps its blocks for the next fill; the container still holds
// its bucket arrays in it.
void AttributeMap::Clear() { container_.clear(); }

Attribute* AttributeMap::FindByKey(std::uint32_t key) const {
  const auto& byKey = container_.get<ByKey>();
  const auto found = byKey.find(key);
  return found != byKey.end() ? found->get() : nullptr;
}

Attribute* AttributeMap::FindByName(const char* name) const {
  if (name == nullptr) return nullptr;
  const std::string_view wanted(name);
  // Both name indices use the same hash: the query is hashed once.
  const KnownHash hash{AttributeNameHash()(wanted)};
  const std::equal_to<> equal;

  const auto& byName = container_.get<ByName>();
  const auto exact = byName.find(wanted, hash, equal);
  if (exact != byName.end()) return exact->get();

  const auto range = container_.get<ByShortName>().equal_range(wanted, hash, equal);
  if (range.first != range.second) {
    auto it = range.first;
    const AttributeMapEntry* best = &*it;
    for (++it; it != range.second; ++it) {
      if (Beats(*it, *best)) best = &*it;
    }
    return best->get();
  }

  for (const AttributeMapEntry& entry : byName) {
    if (TailFits(entry.name, wanted)) return entry.get();
  }
  return nullptr;
}

}  // namespace keld
