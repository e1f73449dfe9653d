// SubAttribute: one component of an attribute (its value, name, limits,
// flags or texts). It knows its component key, whether it changed since it
// was last sent or written (the dirty flag), and its flat form: u32 tag,
// u32 key, then the value bytes. The dirty flag is never sent.
//
// TypedSubAttribute<T> holds a value of one of the twelve value records.
// Components are built by CreateSubAttribute from a tag and a key, so that a
// reader can rebuild one from the head of its flat form alone.
#pragma once

#include <cstdint>

#include "attributes/attribute_values.h"
#include "foundation/status.h"

namespace keld {

struct ByteStream;

// Which component of its attribute a sub-attribute is. The set is closed.
struct ComponentKey {
  enum : std::uint32_t {
    Value = 0,           // the attribute's own type
    Name = 1,            // AttrString, full name with its "::" path
    Minimum = 2,         // the attribute's own type
    Maximum = 3,         // the attribute's own type
    EnumItems = 4,       // AttrEnumVector
    Readable = 5,        // AttrBool
    Writable = 6,        // AttrBool
    Tooltip = 7,         // AttrString
    Units = 8,           // AttrString
    Increment = 9,       // the attribute's own type
    Representation = 10, // AttrU32
    Visibility = 11,     // AttrU32
    Description = 12,    // AttrString
    DisplayName = 13,    // AttrString
    Dynamic = 14,        // AttrBool
    ShortName = 15,      // AttrString, last "::" part of Name
  };
  static constexpr std::uint32_t kLast = 15;
};

class SubAttribute {
 public:
  SubAttribute() = default;
  SubAttribute(const SubAttribute&) = delete;

  virtual SubAttribute& operator=(const SubAttribute& other);
  // Takes key, value and dirty flag of `other`. A value of another type is
  // not converted: only key and dirty flag are taken then.
  virtual void CopyFrom(const SubAttribute& other);
  virtual std::uint32_t GetType() const = 0;
  virtual void SetDirty(std::uint32_t dirty);
  virtual std::uint32_t IsDirty() const;
  virtual void SetKey(std::uint32_t key);
  virtual std::uint32_t GetKey() const;
  // Appends u32 tag, u32 key and the value bytes; stops at the first failure.
  virtual Status Flatten(ByteStream* out) const = 0;
  // Reads what Flatten wrote; the tag is read and dropped.
  virtual Status Unflatten(ByteStream* in) = 0;
  // Low 32 bits of an AttrU32 or AttrI64 value; 0 for every other type.
  virtual std::uint32_t GetValueAsU32() const = 0;
  // Address of the value; for AttrString, of its characters.
  virtual const void* GetConstData() const = 0;
  // Address of the value for a driver to write into; for AttrString the
  // buffer is first grown to 512 bytes. The dirty flag is not touched.
  virtual void* GetMutableData() = 0;
  virtual ~SubAttribute() = default;

 protected:
  std::uint32_t Dirty = 0;
  std::uint32_t Key = 0;
};

template <typename T>
class TypedSubAttribute : public SubAttribute {
 public:
  explicit TypedSubAttribute(std::uint32_t key);
  TypedSubAttribute(const TypedSubAttribute&) = delete;

  using SubAttribute::operator=;
  void CopyFrom(const SubAttribute& other) override;
  std::uint32_t GetType() const override { return T::kTag; }
  Status Flatten(ByteStream* out) const override;
  Status Unflatten(ByteStream* in) override;
  std::uint32_t GetValueAsU32() const override;
  const void* GetConstData() const override;
  void* GetMutableData() override;
  ~TypedSubAttribute() override = default;

  virtual TypedSubAttribute& operator=(const TypedSubAttribute& other);
  // Marks the component dirty, then copies the value (unless it is the
  // value itself).
  virtual void SetValue(const T& value);
  virtual const T& GetValue() const;

 private:
  T value_{};
};

extern template class TypedSubAttribute<AttrU32>;
extern template class TypedSubAttribute<AttrF64>;
extern template class TypedSubAttribute<AttrMaxLinesVector>;
extern template class TypedSubAttribute<AttrRect>;
extern template class TypedSubAttribute<AttrString>;
extern template class TypedSubAttribute<AttrPGWaveformVector>;
extern template class TypedSubAttribute<AttrU64>;
extern template class TypedSubAttribute<AttrEnum>;
extern template class TypedSubAttribute<AttrBool>;
extern template class TypedSubAttribute<AttrCommand>;
extern template class TypedSubAttribute<AttrEnumVector>;
extern template class TypedSubAttribute<AttrI64>;

// Builds the component for `type` with the given key, not dirty. *out is
// null first; an unknown tag gives 0xBFFF8006, a failed allocation
// 0xBFFF8005. The caller owns the result.
Status CreateSubAttribute(std::uint32_t type, std::uint32_t key, SubAttribute** out);

}  // namespace keld
