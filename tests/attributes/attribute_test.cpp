#include "attributes/attribute.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "foundation/byte_stream.h"
#include "wire.h"

namespace keld {
namespace {

using testing::BytesOf;
using testing::Wire;

std::unique_ptr<Attribute> Create(std::uint32_t type, bool withComponents) {
  Attribute* raw = nullptr;
  EXPECT_EQ(CreateAttribute(type, withComponents, &raw), kSuccess) << type;
  return std::unique_ptr<Attribute>(raw);
}

template <typename T>
TypedAttribute<T>& As(Attribute& attribute) {
  return dynamic_cast<TypedAttribute<T>&>(attribute);
}

std::vector<std::int32_t> KeysOf(Attribute& attribute) {
  std::vector<std::int32_t> keys;
  Attribute::SubAttributeMap* map = nullptr;
  switch (attribute.GetType()) {
    case AttrU32::kTag: map = &As<AttrU32>(attribute).GetSubAttributes(); break;
    case AttrF64::kTag: map = &As<AttrF64>(attribute).GetSubAttributes(); break;
    case AttrMaxLinesVector::kTag: map = &As<AttrMaxLinesVector>(attribute).GetSubAttributes(); break;
    case AttrRect::kTag: map = &As<AttrRect>(attribute).GetSubAttributes(); break;
    case AttrString::kTag: map = &As<AttrString>(attribute).GetSubAttributes(); break;
    case AttrPGWaveformVector::kTag: map = &As<AttrPGWaveformVector>(attribute).GetSubAttributes(); break;
    case AttrU64::kTag: map = &As<AttrU64>(attribute).GetSubAttributes(); break;
    case AttrEnum::kTag: map = &As<AttrEnum>(attribute).GetSubAttributes(); break;
    case AttrBool::kTag: map = &As<AttrBool>(attribute).GetSubAttributes(); break;
    case AttrCommand::kTag: map = &As<AttrCommand>(attribute).GetSubAttributes(); break;
    case AttrI64::kTag: map = &As<AttrI64>(attribute).GetSubAttributes(); break;
    default: ADD_FAILURE(); return keys;
  }
  for (const auto& [key, sub] : *map) keys.push_back(key);
  return keys;
}

TEST(CreateAttribute, ElevenTypesAndNoOther) {
  const std::uint32_t good[] = {1, 2, 3, 4, 5, 6, 7, 100, 101, 102, 104};
  for (const std::uint32_t tag : good) {
    auto attribute = Create(tag, true);
    ASSERT_NE(attribute, nullptr);
    EXPECT_EQ(attribute->GetType(), tag);
  }
  const std::uint32_t bad[] = {0, 8, 99, 103, 105, 0xFFFFFFFF};
  for (const std::uint32_t tag : bad) {
    Attribute* raw = reinterpret_cast<Attribute*>(&raw);
    EXPECT_EQ(CreateAttribute(tag, true, &raw), kUnknownAttributeType) << tag;
    EXPECT_EQ(raw, nullptr);
  }
  EXPECT_EQ(CreateAttribute(1, true, nullptr), kBadPointer);
}

TEST(CreateAttribute, ComponentListsPerType) {
  const std::vector<std::int32_t> numeric = {0, 1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
  const std::vector<std::int32_t> enumerated = {0, 1, 4, 5, 6, 7, 11, 12, 13, 14, 15};
  const std::vector<std::int32_t> plain = {0, 1, 5, 6, 7, 11, 12, 13, 14, 15};
  const std::vector<std::int32_t> valueOnly = {0};
  EXPECT_EQ(KeysOf(*Create(1, true)), numeric);
  EXPECT_EQ(KeysOf(*Create(104, true)), numeric);
  EXPECT_EQ(KeysOf(*Create(2, true)), numeric);
  EXPECT_EQ(KeysOf(*Create(100, true)), enumerated);
  EXPECT_EQ(KeysOf(*Create(5, true)), plain);
  EXPECT_EQ(KeysOf(*Create(101, true)), plain);
  EXPECT_EQ(KeysOf(*Create(102, true)), plain);
  EXPECT_EQ(KeysOf(*Create(7, true)), valueOnly);
  EXPECT_EQ(KeysOf(*Create(3, true)), valueOnly);
  EXPECT_EQ(KeysOf(*Create(4, true)), valueOnly);
  EXPECT_EQ(KeysOf(*Create(6, true)), valueOnly);
  EXPECT_EQ(KeysOf(*Create(104, false)), valueOnly);
}

TEST(CreateAttribute, ComponentTypesFollowTheirKeys) {
  auto attribute = Create(AttrF64::kTag, true);
  EXPECT_EQ(attribute->FindSubAttribute(ComponentKey::Minimum)->GetType(), AttrF64::kTag);
  EXPECT_EQ(attribute->FindSubAttribute(ComponentKey::Increment)->GetType(), AttrF64::kTag);
  EXPECT_EQ(attribute->FindSubAttribute(ComponentKey::Units)->GetType(), AttrString::kTag);
  EXPECT_EQ(attribute->FindSubAttribute(ComponentKey::Dynamic)->GetType(), AttrBool::kTag);
  EXPECT_EQ(attribute->FindSubAttribute(ComponentKey::Representation)->GetType(), AttrU32::kTag);
  auto enumerated = Create(AttrEnum::kTag, true);
  EXPECT_EQ(enumerated->FindSubAttribute(ComponentKey::EnumItems)->GetType(), AttrEnumVector::kTag);
  EXPECT_EQ(enumerated->IsDirty(), 0U);
}

TEST(Attribute, SetNameWritesShortName) {
  auto attribute = Create(AttrU32::kTag, true);
  CFGString out;
  ASSERT_EQ(attribute->SetName("A::B::C"), kSuccess);
  EXPECT_EQ(attribute->GetShortNameView(), "C");
  EXPECT_EQ(attribute->GetNameView(), "A::B::C");
  ASSERT_EQ(attribute->GetName(&out), kSuccess);
  EXPECT_STREQ(out.c_str(), "A::B::C");
  ASSERT_EQ(attribute->SetName("Gain"), kSuccess);
  EXPECT_EQ(attribute->GetShortNameView(), "Gain");
  ASSERT_EQ(attribute->SetName("A::B::"), kSuccess);
  EXPECT_EQ(attribute->GetShortNameView(), "");
}

TEST(Attribute, U64WithComponentsHasOnlyItsValue) {
  auto attribute = Create(AttrU64::kTag, true);
  CFGString name;
  EXPECT_EQ(attribute->GetName(&name), kNotSupported);
  EXPECT_EQ(attribute->SetName("X"), kNotSupported);
  EXPECT_EQ(attribute->GetNameView(), "");
  EXPECT_EQ(attribute->GetShortNameView(), "");
  bool flag = true;
  EXPECT_EQ(attribute->IsReadable(&flag), kNotSupported);
  EXPECT_EQ(attribute->SetWritable(true), kNotSupported);
  std::uint32_t visibility = 0;
  EXPECT_EQ(attribute->GetVisibility(&visibility), kNotSupported);
  EXPECT_EQ(attribute->SetTooltip("t"), kNotSupported);
}

TEST(Attribute, SetNameWithoutShortNameWritesNameOnly) {
  auto attribute = Create(AttrU32::kTag, false);
  SubAttribute* name = nullptr;
  ASSERT_EQ(CreateSubAttribute(AttrString::kTag, ComponentKey::Name, &name), kSuccess);
  attribute->AddSubAttribute(name);
  EXPECT_EQ(attribute->SetName("A::B"), kNotSupported);
  EXPECT_EQ(attribute->GetNameView(), "A::B");
}

TEST(Attribute, SettersMarkTheirComponentDirtyAndReadersSeeTheValue) {
  auto attribute = Create(AttrBool::kTag, true);
  ASSERT_EQ(attribute->SetReadable(true), kSuccess);
  ASSERT_EQ(attribute->SetWritable(false), kSuccess);
  ASSERT_EQ(attribute->SetDynamic(true), kSuccess);
  ASSERT_EQ(attribute->SetTooltip("tip"), kSuccess);
  ASSERT_EQ(attribute->SetVisibility(3), kSuccess);
  bool flag = false;
  ASSERT_EQ(attribute->IsReadable(&flag), kSuccess);
  EXPECT_TRUE(flag);
  ASSERT_EQ(attribute->IsWritable(&flag), kSuccess);
  EXPECT_FALSE(flag);
  ASSERT_EQ(attribute->IsDynamic(&flag), kSuccess);
  EXPECT_TRUE(flag);
  CFGString tip;
  ASSERT_EQ(attribute->GetTooltip(&tip), kSuccess);
  EXPECT_STREQ(tip.c_str(), "tip");
  std::uint32_t visibility = 0;
  ASSERT_EQ(attribute->GetVisibility(&visibility), kSuccess);
  EXPECT_EQ(visibility, 3U);
  EXPECT_EQ(attribute->FindSubAttribute(ComponentKey::Readable)->IsDirty(), 1U);
  EXPECT_EQ(attribute->FindSubAttribute(ComponentKey::Visibility)->IsDirty(), 1U);
  // Not the value: the attribute as such isn't dirty.
  EXPECT_EQ(attribute->IsDirty(), 0U);
  attribute->SetDirty(0);
  EXPECT_EQ(attribute->FindSubAttribute(ComponentKey::Readable)->IsDirty(), 0U);
}

TEST(Attribute, ValueForwarders) {
  auto attribute = Create(AttrU32::kTag, true);
  As<AttrU32>(*attribute).SetValue(AttrU32{41});
  EXPECT_EQ(attribute->IsDirty(), 1U);
  EXPECT_EQ(attribute->GetValueAsU32(), 41U);
  EXPECT_EQ(*static_cast<const std::uint32_t*>(attribute->GetConstValueData()), 41U);
  *static_cast<std::uint32_t*>(attribute->GetMutableValueData()) = 42;
  EXPECT_EQ(As<AttrU32>(*attribute).GetValue().value, 42U);
}

TEST(Attribute, WithoutValueComponentGetValueIsZeroAndSetValueDoesNothing) {
  auto attribute = Create(AttrF64::kTag, false);
  As<AttrF64>(*attribute).GetSubAttributes().clear();
  EXPECT_EQ(As<AttrF64>(*attribute).GetValue().value, 0.0);
  As<AttrF64>(*attribute).SetValue(AttrF64{3.0});
  EXPECT_EQ(As<AttrF64>(*attribute).GetValue().value, 0.0);
  EXPECT_TRUE(As<AttrF64>(*attribute).GetSubAttributes().empty());
  EXPECT_EQ(attribute->IsDirty(), 0U);
  EXPECT_EQ(attribute->GetValueAsU32(), 0U);
  EXPECT_EQ(attribute->GetConstValueData(), nullptr);
  EXPECT_EQ(attribute->GetMutableValueData(), nullptr);
}

TEST(Attribute, AddSubAttributeReplacesTheSameKey) {
  auto attribute = Create(AttrU32::kTag, false);
  SubAttribute* replacement = nullptr;
  ASSERT_EQ(CreateSubAttribute(AttrU32::kTag, ComponentKey::Value, &replacement), kSuccess);
  attribute->AddSubAttribute(replacement);
  EXPECT_EQ(attribute->FindSubAttribute(ComponentKey::Value), replacement);
  EXPECT_EQ(attribute->FindSubAttribute(ComponentKey::Name), nullptr);
}

TEST(Attribute, CopyIsDeepAndKeepsDirtyFlags) {
  auto source = Create(AttrU32::kTag, true);
  source->SetKey(12);
  ASSERT_EQ(source->SetName("Cam::Gain"), kSuccess);
  As<AttrU32>(*source).SetValue(AttrU32{5});
  source->FindSubAttribute(ComponentKey::Name)->SetDirty(0);
  auto copy = Create(AttrU32::kTag, false);
  *copy = *source;
  EXPECT_EQ(copy->GetKey(), 12U);
  EXPECT_EQ(copy->GetNameView(), "Cam::Gain");
  EXPECT_EQ(As<AttrU32>(*copy).GetValue().value, 5U);
  EXPECT_EQ(copy->IsDirty(), 1U);
  EXPECT_EQ(copy->FindSubAttribute(ComponentKey::Name)->IsDirty(), 0U);
  EXPECT_NE(copy->FindSubAttribute(ComponentKey::Value), source->FindSubAttribute(ComponentKey::Value));
  EXPECT_EQ(KeysOf(*copy), KeysOf(*source));
}

TEST(Attribute, DeltaOfCleanAttributeIsTwelveBytes) {
  auto attribute = Create(AttrU32::kTag, true);
  attribute->SetKey(7);
  ScopedByteStream out;
  ASSERT_EQ(attribute->Flatten(out.get(), false), kSuccess);
  EXPECT_EQ(BytesOf(*out), Wire().U32(7).U32(1).U32(0).bytes());
}

TEST(Attribute, DeltaCarriesOnlyDirtyComponents) {
  auto attribute = Create(AttrU32::kTag, true);
  attribute->SetKey(7);
  As<AttrU32>(*attribute).SetValue(AttrU32{9});
  ScopedByteStream out;
  ASSERT_EQ(attribute->Flatten(out.get(), false), kSuccess);
  EXPECT_EQ(BytesOf(*out), Wire().U32(7).U32(1).U32(1).U32(1).U32(0).U32(9).bytes());
}

TEST(Attribute, DeltaUnflattenLeavesNewComponentsDirty) {
  auto attribute = Create(AttrU32::kTag, true);
  ScopedByteStream in;
  // Behind the key: tag, count, one component.
  Wire().U32(1).U32(1).U32(1).U32(0).U32(33).Into(in.get());
  ASSERT_EQ(attribute->Unflatten(in.get(), false), kSuccess);
  EXPECT_EQ(As<AttrU32>(*attribute).GetValue().value, 33U);
  EXPECT_EQ(attribute->IsDirty(), 1U);
}

TEST(Attribute, FullUnflattenArrivesCleanAndKeepsUnnamedComponents) {
  auto attribute = Create(AttrU32::kTag, true);
  ASSERT_EQ(attribute->SetTooltip("keep"), kSuccess);
  SubAttribute* before = attribute->FindSubAttribute(ComponentKey::Value);
  ScopedByteStream in;
  // Behind key and tag: count, then two components.
  Wire().U32(2).U32(1).U32(0).U32(33).U32(5).U32(1).Text("X::Y").Into(in.get());
  ASSERT_EQ(attribute->Unflatten(in.get(), true), kSuccess);
  EXPECT_NE(attribute->FindSubAttribute(ComponentKey::Value), before);
  EXPECT_EQ(attribute->IsDirty(), 0U);
  EXPECT_EQ(attribute->GetNameView(), "X::Y");
  CFGString tip;
  ASSERT_EQ(attribute->GetTooltip(&tip), kSuccess);
  EXPECT_STREQ(tip.c_str(), "keep");
}

TEST(Attribute, UnflattenWithCountZeroLeavesTheMapAlone) {
  auto attribute = Create(AttrU32::kTag, true);
  As<AttrU32>(*attribute).SetValue(AttrU32{4});
  const auto keys = KeysOf(*attribute);
  ScopedByteStream in;
  Wire().U32(0).Into(in.get());
  ASSERT_EQ(attribute->Unflatten(in.get(), true), kSuccess);
  EXPECT_EQ(KeysOf(*attribute), keys);
  EXPECT_EQ(As<AttrU32>(*attribute).GetValue().value, 4U);
}

TEST(Attribute, UnflattenAcceptsAComponentOfAnotherType) {
  auto attribute = Create(AttrU32::kTag, false);
  ScopedByteStream in;
  Wire().U32(1).U32(2).U32(0).F64(2.0).Into(in.get());
  ASSERT_EQ(attribute->Unflatten(in.get(), true), kSuccess);
  EXPECT_EQ(attribute->FindSubAttribute(0)->GetType(), AttrF64::kTag);
  // The typed view finds no value of its own type.
  EXPECT_EQ(As<AttrU32>(*attribute).GetValue().value, 0U);
}

TEST(Attribute, UnflattenFailures) {
  auto attribute = Create(AttrU32::kTag, false);
  ScopedByteStream in;
  // A refused tag ends the read after the components before it.
  Wire().U32(2).U32(1).U32(0).U32(8).U32(50).U32(0).Into(in.get());
  EXPECT_EQ(attribute->Unflatten(in.get(), true), kUnknownAttributeType);
  EXPECT_EQ(As<AttrU32>(*attribute).GetValue().value, 8U);
  // A component head beyond the stream.
  Wire().U32(1).U32(1).Into(in.get());
  EXPECT_EQ(attribute->Unflatten(in.get(), true), kByteStreamSaveFailed);
  // A stream without a cursor gives nothing to read.
  ByteStream noCursor;
  ASSERT_EQ(noCursor.AppendU32(1), kSuccess);
  EXPECT_NE(attribute->Unflatten(&noCursor, true), kSuccess);
  noCursor.Reset();
}

}  // namespace
}  // namespace keld

namespace keld {
namespace {

using testing::BytesOf;
using testing::Wire;

// One attribute of every type, value only, flattened whole and as a delta
// after a change of its value: the bytes of both forms.
struct GoldenCase {
  std::uint32_t tag;
  void (*change)(Attribute&);
  Wire value;  // the value component's bytes after the change, tag and key included
};

template <typename T>
void SetTo(Attribute& attribute, const T& value) {
  dynamic_cast<TypedAttribute<T>&>(attribute).SetValue(value);
}

TEST(Attribute, GoldenFullAndDeltaStreamsOfEveryType) {
  std::vector<GoldenCase> cases;
  cases.push_back({1, [](Attribute& a) { SetTo(a, AttrU32{0xA1}); }, Wire().U32(1).U32(0).U32(0xA1)});
  cases.push_back({2, [](Attribute& a) { SetTo(a, AttrF64{-0.5}); }, Wire().U32(2).U32(0).F64(-0.5)});
  {
    Wire w;
    w.U32(3).U32(0).U32(64).U32(77);
    for (int i = 1; i < 64; ++i) w.U32(0);
    cases.push_back({3, [](Attribute& a) { AttrMaxLinesVector v; v.values[0] = 77; SetTo(a, v); }, w});
  }
  cases.push_back({4,
                   [](Attribute& a) {
                     AttrRect r;
                     r.Origin1 = 1; r.Extent1 = 2; r.Origin2 = 3; r.Extent2 = 4; r.End1 = 3; r.End2 = 7;
                     SetTo(a, r);
                   },
                   Wire().U32(4).U32(0).U32(1).U32(3).U32(2).U32(4)});
  cases.push_back({5, [](Attribute& a) { SetTo(a, AttrString("abc")); }, Wire().U32(5).U32(0).Text("abc")});
  {
    Wire w;
    w.U32(6).U32(0).U32(32);
    for (int i = 0; i < 31; ++i) w.U32(0);
    w.U32(5);
    cases.push_back({6, [](Attribute& a) { AttrPGWaveformVector v; v.values[31] = 5; SetTo(a, v); }, w});
  }
  cases.push_back({7, [](Attribute& a) { SetTo(a, AttrU64{1ULL << 40}); }, Wire().U32(7).U32(0).U64(1ULL << 40)});
  cases.push_back({100,
                   [](Attribute& a) {
                     AttrEnum e;
                     e.ValueLow = 2; e.ValueHigh = 0; e.Name[0] = 'B';
                     SetTo(a, e);
                   },
                   Wire().U32(100).U32(0).U32(2).U32(0).Padded("B", 512)});
  cases.push_back({101, [](Attribute& a) { SetTo(a, AttrBool{1}); }, Wire().U32(101).U32(0).U32(1)});
  cases.push_back({102, [](Attribute& a) { SetTo(a, AttrCommand{1}); }, Wire().U32(102).U32(0).U32(1)});
  cases.push_back({104, [](Attribute& a) { SetTo(a, AttrI64{-3}); }, Wire().U32(104).U32(0).U64(0xFFFFFFFFFFFFFFFDULL)});

  for (GoldenCase& c : cases) {
    Attribute* raw = nullptr;
    ASSERT_EQ(CreateAttribute(c.tag, false, &raw), kSuccess);
    std::unique_ptr<Attribute> attribute(raw);
    attribute->SetKey(0x10 + c.tag);
    c.change(*attribute);

    Wire expected;
    expected.U32(0x10 + c.tag).U32(c.tag).U32(1).Raw(c.value.bytes().data(), c.value.bytes().size());
    ScopedByteStream delta;
    ASSERT_EQ(attribute->Flatten(delta.get(), false), kSuccess);
    EXPECT_EQ(BytesOf(*delta), expected.bytes()) << "delta of tag " << c.tag;

    attribute->SetDirty(0);
    ScopedByteStream full;
    ASSERT_EQ(attribute->Flatten(full.get(), true), kSuccess);
    EXPECT_EQ(BytesOf(*full), expected.bytes()) << "full of tag " << c.tag;
    ScopedByteStream clean;
    ASSERT_EQ(attribute->Flatten(clean.get(), false), kSuccess);
    EXPECT_EQ(BytesOf(*clean), Wire().U32(0x10 + c.tag).U32(c.tag).U32(0).bytes());

    // Round trip of the full form into a fresh attribute.
    Attribute* back = nullptr;
    ASSERT_EQ(CreateAttribute(c.tag, false, &back), kSuccess);
    std::unique_ptr<Attribute> copy(back);
    full->Rewind();
    ASSERT_EQ(full->Skip(8), kSuccess);
    ASSERT_EQ(copy->Unflatten(full.get(), true), kSuccess);
    ScopedByteStream again;
    copy->SetKey(0x10 + c.tag);
    ASSERT_EQ(copy->Flatten(again.get(), true), kSuccess);
    EXPECT_EQ(BytesOf(*again), expected.bytes()) << "round trip of tag " << c.tag;
  }
}

TEST(Attribute, GoldenFullStreamWithComponents) {
  Attribute* raw = nullptr;
  ASSERT_EQ(CreateAttribute(AttrBool::kTag, true, &raw), kSuccess);
  std::unique_ptr<Attribute> attribute(raw);
  attribute->SetKey(3);
  ASSERT_EQ(attribute->SetName("A::On"), kSuccess);
  ASSERT_EQ(attribute->SetReadable(true), kSuccess);
  Wire expected;
  expected.U32(3).U32(101).U32(10);
  expected.U32(101).U32(0).U32(0);      // Value
  expected.U32(5).U32(1).Text("A::On"); // Name
  expected.U32(101).U32(5).U32(1);      // Readable
  expected.U32(101).U32(6).U32(0);      // Writable
  expected.U32(5).U32(7).U32(0);        // Tooltip
  expected.U32(1).U32(11).U32(0);       // Visibility
  expected.U32(5).U32(12).U32(0);       // Description
  expected.U32(5).U32(13).U32(0);       // DisplayName
  expected.U32(101).U32(14).U32(0);     // Dynamic
  expected.U32(5).U32(15).Text("On");   // ShortName
  ScopedByteStream full;
  ASSERT_EQ(attribute->Flatten(full.get(), true), kSuccess);
  EXPECT_EQ(BytesOf(*full), expected.bytes());

  Wire delta;
  delta.U32(3).U32(101).U32(3);
  delta.U32(5).U32(1).Text("A::On").U32(101).U32(5).U32(1).U32(5).U32(15).Text("On");
  ScopedByteStream changes;
  ASSERT_EQ(attribute->Flatten(changes.get(), false), kSuccess);
  EXPECT_EQ(BytesOf(*changes), delta.bytes());
}

TEST(DriverTypeCodes, TableTranslatesBothWays) {
  using C = DriverTypeCodeColumn;
  EXPECT_EQ(TagFromDriverTypeCode(C::kKeld, 1), AttrU32::kTag);
  EXPECT_EQ(TagFromDriverTypeCode(C::kKeld, 7), AttrU64::kTag);
  EXPECT_EQ(TagFromDriverTypeCode(C::kKeld, 8), 0U);
  // A dash of the table is the number 0xFFFFFFFF: searched from the top, the
  // first row with a dash in the column answers.
  EXPECT_EQ(TagFromDriverTypeCode(C::kKeld, 0xFFFFFFFF), AttrEnum::kTag);
  EXPECT_EQ(TagFromDriverTypeCode(C::kNVReported, 0xFFFFFFFF), AttrMaxLinesVector::kTag);
  EXPECT_EQ(TagFromDriverTypeCode(C::kNVAccess, 0xFFFFFFFF), AttrMaxLinesVector::kTag);
  EXPECT_EQ(TagFromDriverTypeCode(C::kNVReported, 0), AttrU32::kTag);
  EXPECT_EQ(TagFromDriverTypeCode(C::kNVReported, 1), AttrI64::kTag);
  EXPECT_EQ(TagFromDriverTypeCode(C::kNVReported, 4), AttrEnum::kTag);
  EXPECT_EQ(TagFromDriverTypeCode(C::kNVReported, 6), AttrCommand::kTag);
  EXPECT_EQ(TagFromDriverTypeCode(C::kNVReported, 7), 0U);
  // Searched from the top: the first row with the code wins.
  EXPECT_EQ(TagFromDriverTypeCode(C::kNVAccess, 0), AttrU32::kTag);
  EXPECT_EQ(TagFromDriverTypeCode(C::kNVAccess, 5), AttrBool::kTag);
  EXPECT_EQ(DriverTypeCodeFromTag(C::kNVAccess, AttrCommand::kTag), 5U);
  EXPECT_EQ(DriverTypeCodeFromTag(C::kNVReported, AttrCommand::kTag), 6U);
  EXPECT_EQ(DriverTypeCodeFromTag(C::kNVAccess, AttrRect::kTag), 0U);
  EXPECT_EQ(DriverTypeCodeFromTag(C::kNVReported, AttrRect::kTag), kNoDriverTypeCode);
  EXPECT_EQ(DriverTypeCodeFromTag(C::kKeld, AttrEnum::kTag), kNoDriverTypeCode);
  EXPECT_EQ(DriverTypeCodeFromTag(C::kKeld, AttrString::kTag), 5U);
  EXPECT_EQ(DriverTypeCodeFromTag(C::kKeld, AttrEnumVector::kTag), kNoDriverTypeCode);
  EXPECT_EQ(DriverTypeCodeFromTag(C::kNVAccess, 42), kNoDriverTypeCode);
}

}  // namespace
}  // namespace keld
