// Attribute: one named setting of a session. It has a numeric key (the
// driver's attribute identifier, or its index in the driver's enumeration)
// and its components by component key, each a shared SubAttribute.
// TypedAttribute<T> fixes the type of the value component; there is one for
// every value record but AttrEnumVector, which exists only as the EnumItems
// component of an enumerated attribute.
//
// An attribute is dirty when its value component is. Every SetValue makes its
// component dirty; only a successful driver write clears the flags (through
// SetDirty(0)). Attributes hold no link to their session and take no lock.
//
// Flat form: u32 key, u32 tag, u32 component count, then the components in
// ascending key order; the full form carries all components, the delta form
// only the dirty ones.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string_view>

#include "attributes/attribute_values.h"
#include "attributes/sub_attribute.h"
#include "foundation/cfg_string.h"
#include "foundation/status.h"

namespace keld {

struct ByteStream;

class Attribute {
 public:
  using SubAttributeMap = std::map<std::int32_t, std::shared_ptr<SubAttribute>>;

  Attribute() = default;
  Attribute(const Attribute&) = delete;

  virtual ~Attribute();
  virtual Attribute& operator=(const Attribute& other);
  // Deep copy: key, and a new component of the same type, key, value and
  // dirty flag for each component of `other`.
  virtual void CopyFrom(const Attribute& other);
  virtual std::uint32_t GetType() const = 0;
  virtual std::uint32_t GetKey() const;
  virtual void SetKey(std::uint32_t key);
  // Getters and setters of named components answer 0xBFFF8011 when the
  // component is missing.
  virtual Status GetName(CFGString* out) const;
  // Writes Name, then ShortName: the text after the last "::", or all of it.
  virtual Status SetName(const CFGString& name);
  // The dirty flag of the value component; 0 when there is none.
  virtual std::uint32_t IsDirty() const;
  // Sets the flag on every component.
  virtual void SetDirty(std::uint32_t dirty);
  virtual Status IsReadable(bool* out) const;
  virtual Status SetReadable(bool readable);
  virtual Status IsWritable(bool* out) const;
  virtual Status SetWritable(bool writable);
  virtual Status IsDynamic(bool* out) const;
  virtual Status SetDynamic(bool dynamic);
  virtual Status GetTooltip(CFGString* out) const;
  virtual Status SetTooltip(const CFGString& tooltip);
  virtual Status GetVisibility(std::uint32_t* out) const;
  virtual Status SetVisibility(std::uint32_t visibility);
  // Characters of the Name (ShortName) component without the NUL, owned by
  // the attribute; empty when the component is missing. These are the keys
  // of the attribute map's name indices.
  virtual std::string_view GetNameView() const;
  virtual std::string_view GetShortNameView() const;
  // Forwarders to the value component; null or 0 when there is none.
  virtual void* GetMutableValueData();
  virtual std::uint32_t GetValueAsU32() const;
  virtual const void* GetConstValueData() const;
  // Takes ownership; replaces any component with the same key.
  virtual void AddSubAttribute(SubAttribute* owned);
  // Null when the key isn't there; the attribute keeps ownership.
  virtual SubAttribute* FindSubAttribute(std::uint32_t key) const;
  virtual Status Flatten(ByteStream* out, bool full) const;
  // Called with the cursor behind the key (delta form) or behind key and tag
  // (full form). Components that arrive replace those of the same key, clean
  // in the full form and dirty in the delta form; there is no rollback.
  virtual Status Unflatten(ByteStream* in, bool full);

 protected:
  std::uint32_t Key = 0;
  SubAttributeMap SubAttributes;
};

template <typename T>
class TypedAttribute : public Attribute {
 public:
  // Creates the value component, and with `withComponents` the other
  // components of T's key list. A failed allocation throws the status
  // 0xBFFF8005 (as a Status value).
  explicit TypedAttribute(bool withComponents);
  TypedAttribute(const TypedAttribute&) = delete;
  ~TypedAttribute() override = default;

  using Attribute::operator=;
  std::uint32_t GetType() const override { return T::kTag; }

  virtual TypedAttribute& operator=(const TypedAttribute& other);
  // The value component's value, or a zeroed value of T when there is none.
  virtual const T& GetValue() const;
  // SetValue of the value component; does nothing when there is none.
  virtual void SetValue(const T& value);
  virtual SubAttributeMap& GetSubAttributes();
};

extern template class TypedAttribute<AttrU32>;
extern template class TypedAttribute<AttrF64>;
extern template class TypedAttribute<AttrMaxLinesVector>;
extern template class TypedAttribute<AttrRect>;
extern template class TypedAttribute<AttrString>;
extern template class TypedAttribute<AttrPGWaveformVector>;
extern template class TypedAttribute<AttrU64>;
extern template class TypedAttribute<AttrEnum>;
extern template class TypedAttribute<AttrBool>;
extern template class TypedAttribute<AttrCommand>;
extern template class TypedAttribute<AttrI64>;

// Builds the attribute for `type`, with or without its components. *out is
// null first; a tag with no attribute (103 among them) gives 0xBFFF8006, a
// failed allocation 0xBFFF8005. The caller owns the result.
Status CreateAttribute(std::uint32_t type, bool withComponents, Attribute** out);

// Translation between the drivers' type codes and the tags. Each column is
// searched from the top of one fixed table; a code not in the column gives
// tag 0, a tag not in the table the code kNoDriverTypeCode.
enum class DriverTypeCodeColumn {
  kKeld,        // frame-grabber and IEEE 1394 drivers
  kNVReported,  // network/USB driver, as it reports an attribute's type
  kNVAccess,    // network/USB driver, for reading and writing a value
};
inline constexpr std::uint32_t kNoDriverTypeCode = 0xFFFFFFFF;
std::uint32_t TagFromDriverTypeCode(DriverTypeCodeColumn column, std::uint32_t code);
std::uint32_t DriverTypeCodeFromTag(DriverTypeCodeColumn column, std::uint32_t tag);

}  // namespace keld
