#include "attributes/attribute.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "foundation/byte_stream.h"

namespace keld {

namespace {

// The component as its typed class, or null when it is missing or holds
// another type than the one its key calls for.
template <typename T>
TypedSubAttribute<T>* AsTyped(SubAttribute* sub) {
  if (sub == nullptr || sub->GetType() != T::kTag) return nullptr;
  return static_cast<TypedSubAttribute<T>*>(sub);
}

// The stream decides a component's type: a component that holds another
// record than its key calls for is read and written by the first bytes of
// that record, as far as both reach. These give its bytes as a view.
std::string_view RecordBytes(const SubAttribute* sub) {
  if (sub == nullptr) return {};
  return {static_cast<const char*>(sub->GetConstData()), ValueRecordSize(sub->GetType())};
}

// A number out of a component: the value where it holds T, else the first
// bytes of its record, zero where the record does not reach.
template <typename T, typename Word>
Word ReadWord(const SubAttribute* sub) {
  if (sub->GetType() == T::kTag) return static_cast<const TypedSubAttribute<T>*>(sub)->GetValue().value;
  Word word{};
  const std::string_view bytes = RecordBytes(sub);
  std::memcpy(&word, bytes.data(), std::min(sizeof word, bytes.size()));
  return word;
}

// A number into a component, which becomes dirty as by SetValue.
template <typename T, typename Word>
void WriteWord(SubAttribute* sub, Word word) {
  if (auto* typed = AsTyped<T>(sub)) {
    typed->SetValue(T{word});
    return;
  }
  sub->SetDirty(1);
  const std::size_t size = std::min(sizeof word, ValueRecordSize(sub->GetType()));
  if (size != 0) std::memcpy(sub->GetMutableData(), &word, size);
}

// The characters of a component: its text where it holds a string, else
// the bytes of its record up to the first zero byte.
std::string_view TextOf(const SubAttribute* sub) {
  if (sub == nullptr) return {};
  if (sub->GetType() == AttrString::kTag) {
    const char* chars = static_cast<const TypedSubAttribute<AttrString>*>(sub)->GetValue().c_str();
    return {chars, std::strlen(chars)};
  }
  const std::string_view bytes = RecordBytes(sub);
  return bytes.substr(0, std::min(bytes.size(), bytes.find('\0')));
}

// A text into a component: the string where it holds one, else the text's
// bytes and a terminator over the start of its record, as far as it reaches.
void WriteTextTo(SubAttribute* sub, const CFGString& text) {
  if (auto* typed = AsTyped<AttrString>(sub)) {
    typed->SetValue(AttrString(text));
    return;
  }
  sub->SetDirty(1);
  const std::size_t room = ValueRecordSize(sub->GetType());
  if (room == 0) return;
  const std::size_t count = std::min<std::size_t>(text.size(), room - 1);
  auto* target = static_cast<char*>(sub->GetMutableData());
  std::memcpy(target, text.c_str(), count);
  target[count] = 0;
}

std::string_view StringView(const SubAttribute* sub) { return TextOf(sub); }

Status ReadText(const SubAttribute* sub, CFGString* out) {
  if (sub == nullptr) return kNotSupported;
  if (out != nullptr) {
    const std::string_view text = TextOf(sub);
    out->Assign(text.data(), text.size());
  }
  return kSuccess;
}

Status WriteText(SubAttribute* sub, const CFGString& value) {
  if (sub == nullptr) return kNotSupported;
  WriteTextTo(sub, value);
  return kSuccess;
}

// Text after the last "::" of a full name, or the whole name.
CFGString ShortNameOf(const CFGString& name) {
  const std::string_view full(name.c_str());
  const std::size_t separator = full.rfind("::");
  if (separator == std::string_view::npos) return name;
  CFGString tail;
  const std::string_view rest = full.substr(separator + 2);
  tail.Assign(rest.data(), rest.size());
  return tail;
}

// Component keys of a full attribute of each kind, in creation order.
constexpr std::uint32_t kNumericKeys[] = {0, 1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
constexpr std::uint32_t kEnumKeys[] = {0, 1, 4, 5, 6, 7, 11, 12, 13, 14, 15};
constexpr std::uint32_t kPlainKeys[] = {0, 1, 5, 6, 7, 11, 12, 13, 14, 15};
constexpr std::uint32_t kValueOnlyKeys[] = {0};

struct KeyList {
  const std::uint32_t* keys;
  std::size_t count;
};

template <std::size_t N>
constexpr KeyList ListOf(const std::uint32_t (&keys)[N]) {
  return {keys, N};
}

template <typename T>
KeyList KeysOf() {
  if constexpr (std::is_same_v<T, AttrU32> || std::is_same_v<T, AttrI64> || std::is_same_v<T, AttrF64>) {
    return ListOf(kNumericKeys);
  } else if constexpr (std::is_same_v<T, AttrEnum>) {
    return ListOf(kEnumKeys);
  } else if constexpr (std::is_same_v<T, AttrString> || std::is_same_v<T, AttrBool> ||
                       std::is_same_v<T, AttrCommand>) {
    return ListOf(kPlainKeys);
  } else {
    return ListOf(kValueOnlyKeys);
  }
}

// Record of each component key; 0 stands for the attribute's own type.
constexpr std::uint32_t kComponentTypes[ComponentKey::kLast + 1] = {
    0,                     // Value
    AttrString::kTag,      // Name
    0,                     // Minimum
    0,                     // Maximum
    AttrEnumVector::kTag,  // EnumItems
    AttrBool::kTag,        // Readable
    AttrBool::kTag,        // Writable
    AttrString::kTag,      // Tooltip
    AttrString::kTag,      // Units
    0,                     // Increment
    AttrU32::kTag,         // Representation
    AttrU32::kTag,         // Visibility
    AttrString::kTag,      // Description
    AttrString::kTag,      // DisplayName
    AttrBool::kTag,        // Dynamic
    AttrString::kTag,      // ShortName
};

// One row of the driver type-code table; kNoDriverTypeCode where a driver
// has no code for the tag.
struct TypeCodeRow {
  std::uint32_t keld;
  std::uint32_t tag;
  std::uint32_t nvReported;
  std::uint32_t nvAccess;
};

constexpr std::uint32_t kNone = kNoDriverTypeCode;
constexpr TypeCodeRow kTypeCodes[] = {
    {1, AttrU32::kTag, 0, 0},
    {2, AttrF64::kTag, 2, 2},
    {3, AttrMaxLinesVector::kTag, kNone, kNone},
    {4, AttrRect::kTag, kNone, 0},
    {5, AttrString::kTag, 3, 3},
    {6, AttrPGWaveformVector::kTag, kNone, kNone},
    {7, AttrU64::kTag, kNone, kNone},
    {kNone, AttrEnum::kTag, 4, 4},
    {kNone, AttrBool::kTag, 5, 5},
    {kNone, AttrCommand::kTag, 6, 5},
    {kNone, AttrI64::kTag, 1, 1},
};

std::uint32_t CodeOf(const TypeCodeRow& row, DriverTypeCodeColumn column) {
  switch (column) {
    case DriverTypeCodeColumn::kKeld:
      return row.keld;
    case DriverTypeCodeColumn::kNVReported:
      return row.nvReported;
    case DriverTypeCodeColumn::kNVAccess:
      return row.nvAccess;
  }
  return kNone;
}

template <typename T>
Attribute* MakeAttribute(bool withComponents) {
  return new (std::nothrow) TypedAttribute<T>(withComponents);
}

struct AttributeFactoryRow {
  std::uint32_t tag;
  Attribute* (*make)(bool withComponents);
};

constexpr AttributeFactoryRow kAttributeFactory[] = {
    {AttrU32::kTag, &MakeAttribute<AttrU32>},
    {AttrF64::kTag, &MakeAttribute<AttrF64>},
    {AttrMaxLinesVector::kTag, &MakeAttribute<AttrMaxLinesVector>},
    {AttrRect::kTag, &MakeAttribute<AttrRect>},
    {AttrString::kTag, &MakeAttribute<AttrString>},
    {AttrPGWaveformVector::kTag, &MakeAttribute<AttrPGWaveformVector>},
    {AttrU64::kTag, &MakeAttribute<AttrU64>},
    {AttrEnum::kTag, &MakeAttribute<AttrEnum>},
    {AttrBool::kTag, &MakeAttribute<AttrBool>},
    {AttrCommand::kTag, &MakeAttribute<AttrCommand>},
    {AttrI64::kTag, &MakeAttribute<AttrI64>},
};

}  // namespace

Attribute::~Attribute() = default;

Attribute& Attribute::operator=(const Attribute& other) {
  CopyFrom(other);
  return *this;
}

void Attribute::CopyFrom(const Attribute& other) {
  if (this == &other) return;
  Key = other.Key;
  SubAttributes.clear();
  for (const auto& [key, source] : other.SubAttributes) {
    if (source == nullptr) continue;
    SubAttribute* copy = nullptr;
    if (CreateSubAttribute(source->GetType(), source->GetKey(), &copy) != kSuccess) continue;
    *copy = *source;
    AddSubAttribute(copy);
  }
}

std::uint32_t Attribute::GetKey() const { return Key; }
void Attribute::SetKey(std::uint32_t key) { Key = key; }

Status Attribute::GetName(CFGString* out) const { return ReadText(FindSubAttribute(ComponentKey::Name), out); }

Status Attribute::SetName(const CFGString& name) {
  const Status status = WriteText(FindSubAttribute(ComponentKey::Name), name);
  if (status != kSuccess) return status;
  return WriteText(FindSubAttribute(ComponentKey::ShortName), ShortNameOf(name));
}

std::uint32_t Attribute::IsDirty() const {
  const SubAttribute* value = FindSubAttribute(ComponentKey::Value);
  return value != nullptr ? value->IsDirty() : 0;
}

void Attribute::SetDirty(std::uint32_t dirty) {
  for (auto& [key, sub] : SubAttributes) {
    if (sub != nullptr) sub->SetDirty(dirty);
  }
}

namespace {

Status ReadFlag(const SubAttribute* sub, bool* out) {
  if (sub == nullptr) return kNotSupported;
  if (out != nullptr) *out = ReadWord<AttrBool, std::uint32_t>(sub) != 0;
  return kSuccess;
}

Status WriteFlag(SubAttribute* sub, bool value) {
  if (sub == nullptr) return kNotSupported;
  WriteWord<AttrBool, std::uint32_t>(sub, value ? 1U : 0U);
  return kSuccess;
}

}  // namespace

Status Attribute::IsReadable(bool* out) const { return ReadFlag(FindSubAttribute(ComponentKey::Readable), out); }
Status Attribute::SetReadable(bool readable) {
  return WriteFlag(FindSubAttribute(ComponentKey::Readable), readable);
}
Status Attribute::IsWritable(bool* out) const { return ReadFlag(FindSubAttribute(ComponentKey::Writable), out); }
Status Attribute::SetWritable(bool writable) {
  return WriteFlag(FindSubAttribute(ComponentKey::Writable), writable);
}
Status Attribute::IsDynamic(bool* out) const { return ReadFlag(FindSubAttribute(ComponentKey::Dynamic), out); }
Status Attribute::SetDynamic(bool dynamic) { return WriteFlag(FindSubAttribute(ComponentKey::Dynamic), dynamic); }
Status Attribute::GetTooltip(CFGString* out) const { return ReadText(FindSubAttribute(ComponentKey::Tooltip), out); }
Status Attribute::SetTooltip(const CFGString& tooltip) {
  return WriteText(FindSubAttribute(ComponentKey::Tooltip), tooltip);
}

Status Attribute::GetVisibility(std::uint32_t* out) const {
  const SubAttribute* level = FindSubAttribute(ComponentKey::Visibility);
  if (level == nullptr) return kNotSupported;
  if (out != nullptr) *out = ReadWord<AttrU32, std::uint32_t>(level);
  return kSuccess;
}

Status Attribute::SetVisibility(std::uint32_t visibility) {
  SubAttribute* level = FindSubAttribute(ComponentKey::Visibility);
  if (level == nullptr) return kNotSupported;
  WriteWord<AttrU32, std::uint32_t>(level, visibility);
  return kSuccess;
}

std::string_view Attribute::GetNameView() const { return StringView(FindSubAttribute(ComponentKey::Name)); }
std::string_view Attribute::GetShortNameView() const {
  return StringView(FindSubAttribute(ComponentKey::ShortName));
}

void* Attribute::GetMutableValueData() {
  SubAttribute* value = FindSubAttribute(ComponentKey::Value);
  return value != nullptr ? value->GetMutableData() : nullptr;
}

std::uint32_t Attribute::GetValueAsU32() const {
  const SubAttribute* value = FindSubAttribute(ComponentKey::Value);
  return value != nullptr ? value->GetValueAsU32() : 0;
}

const void* Attribute::GetConstValueData() const {
  const SubAttribute* value = FindSubAttribute(ComponentKey::Value);
  return value != nullptr ? value->GetConstData() : nullptr;
}

void Attribute::AddSubAttribute(SubAttribute* owned) {
  if (owned == nullptr) return;
  const auto key = static_cast<std::int32_t>(owned->GetKey());
  std::shared_ptr<SubAttribute> shared(owned);  // on a failed allocation this deletes `owned` and throws
  SubAttributes.erase(key);
  SubAttributes.emplace(key, std::move(shared));
}

SubAttribute* Attribute::FindSubAttribute(std::uint32_t key) const {
  const auto found = SubAttributes.find(static_cast<std::int32_t>(key));
  return found != SubAttributes.end() ? found->second.get() : nullptr;
}

Status Attribute::Flatten(ByteStream* out, bool full) const {
  std::uint32_t count = 0;
  for (const auto& [key, sub] : SubAttributes) {
    if (sub != nullptr && (full || sub->IsDirty() != 0)) ++count;
  }
  Status status = out->AppendU32(Key);
  if (status == kSuccess) status = out->AppendU32(GetType());
  if (status == kSuccess) status = out->AppendU32(count);
  for (const auto& [key, sub] : SubAttributes) {
    if (status != kSuccess) break;
    if (sub != nullptr && (full || sub->IsDirty() != 0)) status = sub->Flatten(out);
  }
  return status;
}

Status Attribute::Unflatten(ByteStream* in, bool full) {
  Status status = kSuccess;
  if (!full) {
    std::uint32_t tag = 0;
    status = in->ReadU32(&tag);
    if (status != kSuccess) return status;
  }
  std::uint32_t count = 0;
  status = in->ReadU32(&count);
  if (status != kSuccess) return status;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (in->cursor == nullptr) return kBadPointer;
    if (in->Remaining() < 2 * sizeof(std::uint32_t)) return kByteStreamSaveFailed;
    std::uint32_t head[2] = {};  // tag, component key; read again by the component
    std::memcpy(head, in->cursor, sizeof head);
    SubAttribute* created = nullptr;
    status = CreateSubAttribute(head[0], head[1], &created);
    if (status != kSuccess) return status;
    std::unique_ptr<SubAttribute> sub(created);  // ours until the attribute takes it
    status = sub->Unflatten(in);
    if (status != kSuccess) return status;
    sub->SetDirty(full ? 0 : 1);
    AddSubAttribute(sub.release());
  }
  return kSuccess;
}

template <typename T>
TypedAttribute<T>::TypedAttribute(bool withComponents) {
  SubAttribute* value = nullptr;
  if (CreateSubAttribute(T::kTag, ComponentKey::Value, &value) != kSuccess || value == nullptr) return;
  AddSubAttribute(value);
  if (!withComponents) return;
  const KeyList list = KeysOf<T>();
  for (std::size_t i = 0; i < list.count; ++i) {
    const std::uint32_t key = list.keys[i];
    if (key == ComponentKey::Value) continue;
    if (key > ComponentKey::kLast) throw Status{kInternalError};
    const std::uint32_t type = kComponentTypes[key] != 0 ? kComponentTypes[key] : T::kTag;
    SubAttribute* component = nullptr;
    const Status status = CreateSubAttribute(type, key, &component);
    if (status != kSuccess) throw Status{status};
    AddSubAttribute(component);
  }
}

template <typename T>
TypedAttribute<T>& TypedAttribute<T>::operator=(const TypedAttribute& other) {
  CopyFrom(other);
  return *this;
}

template <typename T>
const T& TypedAttribute<T>::GetValue() const {
  static const T zero{};
  const auto* value = AsTyped<T>(FindSubAttribute(ComponentKey::Value));
  return value != nullptr ? value->GetValue() : zero;
}

template <typename T>
void TypedAttribute<T>::SetValue(const T& value) {
  auto* component = AsTyped<T>(FindSubAttribute(ComponentKey::Value));
  if (component != nullptr) component->SetValue(value);
}

template <typename T>
Attribute::SubAttributeMap& TypedAttribute<T>::GetSubAttributes() {
  return SubAttributes;
}

template class TypedAttribute<AttrU32>;
template class TypedAttribute<AttrF64>;
template class TypedAttribute<AttrMaxLinesVector>;
template class TypedAttribute<AttrRect>;
template class TypedAttribute<AttrString>;
template class TypedAttribute<AttrPGWaveformVector>;
template class TypedAttribute<AttrU64>;
template class TypedAttribute<AttrEnum>;
template class TypedAttribute<AttrBool>;
template class TypedAttribute<AttrCommand>;
template class TypedAttribute<AttrI64>;

Status CreateAttribute(std::uint32_t type, bool withComponents, Attribute** out) {
  if (out == nullptr) return kBadPointer;
  *out = nullptr;
  if (type < kFirstTypeTag || type > kLastTypeTag) return kUnknownAttributeType;
  for (const AttributeFactoryRow& row : kAttributeFactory) {
    if (row.tag != type) continue;
    try {
      *out = row.make(withComponents);
    } catch (const Status& status) {
      return status;
    } catch (const std::bad_alloc&) {
      return kOutOfMemory;
    }
    return *out != nullptr ? kSuccess : kOutOfMemory;
  }
  return kUnknownAttributeType;
}

// A dash of the table is the number kNone like any other code, so a code of
// 0xFFFFFFFF finds the first row without a code in that column.
std::uint32_t TagFromDriverTypeCode(DriverTypeCodeColumn column, std::uint32_t code) {
  for (const TypeCodeRow& row : kTypeCodes) {
    if (CodeOf(row, column) == code) return row.tag;
  }
  return 0;
}

std::uint32_t DriverTypeCodeFromTag(DriverTypeCodeColumn column, std::uint32_t tag) {
  for (const TypeCodeRow& row : kTypeCodes) {
    if (row.tag == tag) return CodeOf(row, column);
  }
  return kNone;
}

}  // namespace keld
