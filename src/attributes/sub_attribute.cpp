#include "attributes/sub_attribute.h"

#include <cstring>
#include <new>

#include "foundation/byte_stream.h"

namespace keld {

namespace {

// Bytes of the string buffer a driver may write into through GetMutableData.
constexpr std::uint64_t kStringRoom = 512;
constexpr std::uint64_t kEnumNameBytes = sizeof(KELDnvEnumItem_struct::Name);

// Value forms on the wire, one overload set per record.
Status WriteValue(const AttrU32& v, ByteStream* out) { return out->AppendU32(v.value); }
Status WriteValue(const AttrBool& v, ByteStream* out) { return out->AppendU32(v.value); }
Status WriteValue(const AttrCommand& v, ByteStream* out) { return out->AppendU32(v.value); }
Status WriteValue(const AttrU64& v, ByteStream* out) { return out->AppendU64(v.value); }
Status WriteValue(const AttrI64& v, ByteStream* out) { return out->AppendU64(static_cast<std::uint64_t>(v.value)); }
Status WriteValue(const AttrF64& v, ByteStream* out) { return out->AppendF64(v.value); }
Status WriteValue(const AttrString& v, ByteStream* out) { return v.Flatten(out); }

template <std::size_t N>
Status WriteArray(const std::uint32_t (&values)[N], ByteStream* out) {
  Status status = out->AppendU32(static_cast<std::uint32_t>(N));
  for (std::size_t i = 0; i < N && status == kSuccess; ++i) status = out->AppendU32(values[i]);
  return status;
}
Status WriteValue(const AttrMaxLinesVector& v, ByteStream* out) { return WriteArray(v.values, out); }
Status WriteValue(const AttrPGWaveformVector& v, ByteStream* out) { return WriteArray(v.values, out); }

// Wire order of a rectangle: Origin1, Origin2, Extent1, Extent2.
Status WriteValue(const AttrRect& v, ByteStream* out) {
  Status status = out->AppendU32(v.Origin1);
  if (status == kSuccess) status = out->AppendU32(v.Origin2);
  if (status == kSuccess) status = out->AppendU32(v.Extent1);
  if (status == kSuccess) status = out->AppendU32(v.Extent2);
  return status;
}

// The name goes as all 512 bytes, whatever lies behind its NUL.
Status WriteItem(const KELDnvEnumItem_struct& item, ByteStream* out) {
  Status status = out->AppendU32(item.ValueLow);
  if (status == kSuccess) status = out->AppendU32(item.ValueHigh);
  if (status == kSuccess) status = out->AppendBytes(item.Name, kEnumNameBytes);
  return status;
}
Status WriteValue(const AttrEnum& v, ByteStream* out) { return WriteItem(v, out); }

Status WriteValue(const AttrEnumVector& v, ByteStream* out) {
  Status status = out->AppendU32(static_cast<std::uint32_t>(v.items.size()));
  for (std::size_t i = 0; i < v.items.size() && status == kSuccess; ++i) status = WriteItem(v.items[i], out);
  return status;
}

Status ReadValue(AttrU32* v, ByteStream* in) { return in->ReadU32(&v->value); }
Status ReadValue(AttrBool* v, ByteStream* in) { return in->ReadU32(&v->value); }
Status ReadValue(AttrCommand* v, ByteStream* in) { return in->ReadU32(&v->value); }
Status ReadValue(AttrU64* v, ByteStream* in) { return in->ReadU64(&v->value); }
Status ReadValue(AttrF64* v, ByteStream* in) { return in->ReadF64(&v->value); }
Status ReadValue(AttrString* v, ByteStream* in) { return v->Unflatten(in); }
Status ReadValue(AttrI64* v, ByteStream* in) {
  std::uint64_t bits = 0;
  const Status status = in->ReadU64(&bits);
  if (status == kSuccess) v->value = static_cast<std::int64_t>(bits);
  return status;
}

// The sender's count is trusted; elements beyond it keep their content.
// A count above the array's length fills the array and consumes the rest,
// so the stream stays in step.
template <std::size_t N>
Status ReadArray(std::uint32_t (&values)[N], ByteStream* in) {
  std::uint32_t count = 0;
  Status status = in->ReadU32(&count);
  for (std::uint32_t i = 0; i < count && status == kSuccess; ++i) {
    std::uint32_t element = 0;
    status = in->ReadU32(&element);
    if (status == kSuccess && i < N) values[i] = element;
  }
  return status;
}
Status ReadValue(AttrMaxLinesVector* v, ByteStream* in) { return ReadArray(v->values, in); }
Status ReadValue(AttrPGWaveformVector* v, ByteStream* in) { return ReadArray(v->values, in); }

// The ends are not sent: they follow from origin and extent.
Status ReadValue(AttrRect* v, ByteStream* in) {
  std::uint32_t wire[4] = {};
  for (std::uint32_t& word : wire) {
    const Status status = in->ReadU32(&word);
    if (status != kSuccess) return status;
  }
  v->Origin1 = wire[0];
  v->Origin2 = wire[1];
  v->Extent1 = wire[2];
  v->Extent2 = wire[3];
  v->End1 = v->Origin1 + v->Extent1;
  v->End2 = v->Origin2 + v->Extent2;
  return kSuccess;
}

Status ReadItem(KELDnvEnumItem_struct* item, ByteStream* in) {
  Status status = in->ReadU32(&item->ValueLow);
  if (status == kSuccess) status = in->ReadU32(&item->ValueHigh);
  if (status == kSuccess) status = in->ReadBytes(item->Name, kEnumNameBytes);
  return status;
}
Status ReadValue(AttrEnum* v, ByteStream* in) { return ReadItem(v, in); }

// The list grows to the count but never shrinks: items beyond the count stay.
Status ReadValue(AttrEnumVector* v, ByteStream* in) {
  std::uint32_t count = 0;
  Status status = in->ReadU32(&count);
  if (status != kSuccess) return status;
  // The items must be there before the list grows to hold them.
  constexpr std::uint64_t kItemBytes = 2 * sizeof(std::uint32_t) + kEnumNameBytes;
  if (!in->CanHold(count, kItemBytes)) return kByteStreamLoadFailed;
  if (v->items.size() < count) v->items.resize(count, KELDnvEnumItem_struct{});
  for (std::uint32_t i = 0; i < count && status == kSuccess; ++i) status = ReadItem(&v->items[i], in);
  return status;
}

// Copies of a value; SetValue calls them only for distinct objects.
template <typename T>
void CopyValue(const T& from, T* to) {
  *to = from;
}
// The string takes its characters up to the NUL, which a driver may have
// moved by writing through GetMutableData.
void CopyValue(const AttrString& from, AttrString* to) { static_cast<CFGString&>(*to) = from.c_str(); }

template <typename T>
std::uint32_t LowWord(const T& /*value*/) {
  return 0;
}
std::uint32_t LowWord(const AttrU32& v) { return v.value; }
std::uint32_t LowWord(const AttrI64& v) { return static_cast<std::uint32_t>(static_cast<std::uint64_t>(v.value)); }

template <typename T>
const void* ConstData(const T& value) {
  return &value;
}
const void* ConstData(const AttrString& value) { return value.c_str(); }

template <typename T>
void* MutableData(T* value) {
  return value;
}
void* MutableData(AttrString* value) {
  value->Reserve(kStringRoom);
  if (value->capacity() < kStringRoom) return nullptr;  // the string could not grow
  // The buffer is the string's own; c_str() of a reserved string points at it.
  return const_cast<char*>(value->c_str());
}

template <typename T>
SubAttribute* Make(std::uint32_t key) {
  return new (std::nothrow) TypedSubAttribute<T>(key);
}

struct SubAttributeFactoryRow {
  std::uint32_t tag;
  SubAttribute* (*make)(std::uint32_t key);
};

constexpr SubAttributeFactoryRow kSubAttributeFactory[] = {
    {AttrU32::kTag, &Make<AttrU32>},
    {AttrF64::kTag, &Make<AttrF64>},
    {AttrMaxLinesVector::kTag, &Make<AttrMaxLinesVector>},
    {AttrRect::kTag, &Make<AttrRect>},
    {AttrString::kTag, &Make<AttrString>},
    {AttrPGWaveformVector::kTag, &Make<AttrPGWaveformVector>},
    {AttrU64::kTag, &Make<AttrU64>},
    {AttrEnum::kTag, &Make<AttrEnum>},
    {AttrBool::kTag, &Make<AttrBool>},
    {AttrCommand::kTag, &Make<AttrCommand>},
    {AttrEnumVector::kTag, &Make<AttrEnumVector>},
    {AttrI64::kTag, &Make<AttrI64>},
};

struct ValueSizeRow {
  std::uint32_t tag;
  std::size_t size;
};

constexpr ValueSizeRow kValueSizes[] = {
    {AttrU32::kTag, sizeof(std::uint32_t)},
    {AttrF64::kTag, sizeof(double)},
    {AttrMaxLinesVector::kTag, sizeof(AttrMaxLinesVector::values)},
    {AttrRect::kTag, 6 * sizeof(std::uint32_t)},
    {AttrPGWaveformVector::kTag, sizeof(AttrPGWaveformVector::values)},
    {AttrU64::kTag, sizeof(std::uint64_t)},
    {AttrEnum::kTag, sizeof(KELDnvEnumItem_struct)},
    {AttrBool::kTag, sizeof(std::uint32_t)},
    {AttrCommand::kTag, sizeof(std::uint32_t)},
    {AttrI64::kTag, sizeof(std::int64_t)},
};

}  // namespace

std::size_t ValueRecordSize(std::uint32_t tag) {
  for (const ValueSizeRow& row : kValueSizes) {
    if (row.tag == tag) return row.size;
  }
  return 0;
}

SubAttribute& SubAttribute::operator=(const SubAttribute& other) {
  CopyFrom(other);
  return *this;
}

void SubAttribute::CopyFrom(const SubAttribute& other) {
  SetKey(other.GetKey());
  SetDirty(1);
  SetDirty(other.IsDirty());
}

void SubAttribute::SetDirty(std::uint32_t dirty) { Dirty = dirty; }
std::uint32_t SubAttribute::IsDirty() const { return Dirty; }
void SubAttribute::SetKey(std::uint32_t key) { Key = key; }
std::uint32_t SubAttribute::GetKey() const { return Key; }

template <typename T>
TypedSubAttribute<T>::TypedSubAttribute(std::uint32_t key) {
  Key = key;
}

template <typename T>
void TypedSubAttribute<T>::CopyFrom(const SubAttribute& other) {
  SetKey(other.GetKey());
  const auto* typed = other.GetType() == T::kTag ? dynamic_cast<const TypedSubAttribute<T>*>(&other) : nullptr;
  if (typed != nullptr) {
    SetValue(typed->GetValue());
  } else {
    SetDirty(1);  // a value of another type isn't converted; the copy still counts as a change
  }
  SetDirty(other.IsDirty());
}

template <typename T>
Status TypedSubAttribute<T>::Flatten(ByteStream* out) const {
  try {
    Status status = out->AppendU32(T::kTag);
    if (status == kSuccess) status = out->AppendU32(Key);
    if (status == kSuccess) status = WriteValue(value_, out);
    return status;
  } catch (...) {
    return kByteStreamSaveFailed;
  }
}

template <typename T>
Status TypedSubAttribute<T>::Unflatten(ByteStream* in) {
  std::uint32_t tag = 0;
  Status status = in->ReadU32(&tag);
  if (status == kSuccess) status = in->ReadU32(&Key);
  if (status == kSuccess) status = ReadValue(&value_, in);
  return status;
}

template <typename T>
std::uint32_t TypedSubAttribute<T>::GetValueAsU32() const {
  return LowWord(value_);
}

template <typename T>
const void* TypedSubAttribute<T>::GetConstData() const {
  return ConstData(value_);
}

template <typename T>
void* TypedSubAttribute<T>::GetMutableData() {
  return MutableData(&value_);
}

template <typename T>
TypedSubAttribute<T>& TypedSubAttribute<T>::operator=(const TypedSubAttribute& other) {
  CopyFrom(other);
  return *this;
}

template <typename T>
void TypedSubAttribute<T>::SetValue(const T& value) {
  Dirty = 1;
  if (&value != &value_) CopyValue(value, &value_);
}

template <typename T>
const T& TypedSubAttribute<T>::GetValue() const {
  return value_;
}

template class TypedSubAttribute<AttrU32>;
template class TypedSubAttribute<AttrF64>;
template class TypedSubAttribute<AttrMaxLinesVector>;
template class TypedSubAttribute<AttrRect>;
template class TypedSubAttribute<AttrString>;
template class TypedSubAttribute<AttrPGWaveformVector>;
template class TypedSubAttribute<AttrU64>;
template class TypedSubAttribute<AttrEnum>;
template class TypedSubAttribute<AttrBool>;
template class TypedSubAttribute<AttrCommand>;
template class TypedSubAttribute<AttrEnumVector>;
template class TypedSubAttribute<AttrI64>;

Status CreateSubAttribute(std::uint32_t type, std::uint32_t key, SubAttribute** out) {
  if (out == nullptr) return kBadPointer;
  *out = nullptr;
  if (type < kFirstTypeTag || type > kLastTypeTag) return kUnknownAttributeType;
  for (const SubAttributeFactoryRow& row : kSubAttributeFactory) {
    if (row.tag != type) continue;
    *out = row.make(key);
    return *out != nullptr ? kSuccess : kOutOfMemory;
  }
  return kUnknownAttributeType;
}

}  // namespace keld
