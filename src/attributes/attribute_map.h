// AttributeMap: what a session knows about its device's settings. Every
// attribute is reachable by key (ordered, unique; the iteration order), by
// full name and by short name (hashed, not unique: attributes without a name
// all share the empty one). The map owns its attributes through shared
// pointers; it takes no lock.
//
// Attributes must not be renamed or re-keyed while in the map, but through
// the map's own delta Unflatten: the indices hold the keys the attribute had
// when it was linked in.
//
// Flat form: u32 count at offset 0 of the stream, then the attributes in key
// order, each in its full or delta form. A map is therefore only flattened as
// the first item of an empty stream.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/tag.hpp>
#include <boost/multi_index_container.hpp>

#include "attributes/attribute.h"
#include "foundation/status.h"

namespace keld {

struct ByteStream;

// Hash of a name's bytes, each read as a signed char, starting from 0:
// seed ^= c + 0x9E3779B9 + (seed << 6) + (seed >> 2), in 64-bit arithmetic.
struct AttributeNameHash {
  std::size_t operator()(std::string_view name) const {
    std::uint64_t seed = 0;
    for (const char ch : name) {
      const auto c = static_cast<std::uint64_t>(static_cast<std::int64_t>(static_cast<signed char>(ch)));
      seed ^= c + 0x9E3779B9ULL + (seed << 6) + (seed >> 2);
    }
    return static_cast<std::size_t>(seed);
  }
};

// One element of the map: the attribute, with copies of the three index
// keys taken when it was linked in (and again after a delta changed it), so
// that a look-up compares flat strings instead of walking the component tree.
struct AttributeMapEntry {
  std::shared_ptr<Attribute> attribute;
  std::uint32_t key = 0;
  std::pmr::string shortName;
  std::pmr::string name;  // last: beside the full-name index's links in the node

  Attribute* get() const { return attribute.get(); }
  Attribute* operator->() const { return attribute.get(); }
  Attribute& operator*() const { return *attribute; }
};

class AttributeMap {
 public:
  struct ByKey {};
  struct ByName {};
  struct ByShortName {};
  using Container = boost::multi_index_container<
      AttributeMapEntry,
      boost::multi_index::indexed_by<
          boost::multi_index::ordered_unique<
              boost::multi_index::tag<ByKey>,
              boost::multi_index::member<AttributeMapEntry, std::uint32_t, &AttributeMapEntry::key>>,
          boost::multi_index::hashed_non_unique<
              boost::multi_index::tag<ByName>,
              boost::multi_index::member<AttributeMapEntry, std::pmr::string, &AttributeMapEntry::name>,
              AttributeNameHash, std::equal_to<>>,
          boost::multi_index::hashed_non_unique<
              boost::multi_index::tag<ByShortName>,
              boost::multi_index::member<AttributeMapEntry, std::pmr::string, &AttributeMapEntry::shortName>,
              AttributeNameHash, std::equal_to<>>>,
      std::pmr::polymorphic_allocator<AttributeMapEntry>>;

  AttributeMap();
  AttributeMap(const AttributeMap&) = delete;
  AttributeMap& operator=(const AttributeMap&) = delete;

  virtual ~AttributeMap();
  // Appends the count room, then every attribute (full) or the dirty ones
  // (delta), and writes the count to the stream's first four bytes.
  virtual Status Flatten(ByteStream* out, bool full) const;
  // Full: clears, then rebuilds from the stream. Delta: updates existing
  // attributes in place; an unknown key ends the read with 0xBFFF8006 and
  // leaves earlier attributes applied.
  virtual Status Unflatten(ByteStream* in, bool full);

  // Takes ownership. A key already present keeps its attribute and the new
  // one is destroyed.
  void Insert(Attribute* owned);
  void Clear();
  // Null when not found; the map keeps ownership.
  Attribute* FindByKey(std::uint32_t key) const;
  // An exact full name; else a short name, ties broken towards the attribute
  // that isn't dynamic, then the accessible one, then the lower full name;
  // else the first attribute whose full name ends with `name` in any case,
  // whole or after "::".
  Attribute* FindByName(const char* name) const;

  std::size_t size() const { return container_.size(); }
  bool empty() const { return container_.empty(); }
  // Ascending key order; an element reads as its attribute through ->.
  const Container::index<ByKey>::type& ByKeyIndex() const { return container_.get<ByKey>(); }
  // All three indices, for inspection.
  const Container& Indices() const { return container_; }

 private:
  Status UnflattenWhole(ByteStream* in);
  Status UnflattenChange(ByteStream* in);

  // Elements and their name copies come from one pool of the map's own, so
  // that they lie close together however the attributes themselves were
  // allocated: a look-up then touches few cache lines and pages.
  std::pmr::unsynchronized_pool_resource pool_;
  Container container_;
};

}  // namespace keld
