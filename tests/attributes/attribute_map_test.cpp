#include "attributes/attribute_map.h"

#include <gtest/gtest.h>

#include "foundation/byte_stream.h"
#include "wire.h"

namespace keld {
namespace {

using testing::BytesOf;
using testing::Wire;

Attribute* Named(std::uint32_t key, const char* name, bool dynamic = false, bool readable = false,
                 bool writable = false) {
  Attribute* attribute = nullptr;
  EXPECT_EQ(CreateAttribute(AttrU32::kTag, true, &attribute), kSuccess);
  attribute->SetKey(key);
  EXPECT_EQ(attribute->SetName(name), kSuccess);
  EXPECT_EQ(attribute->SetDynamic(dynamic), kSuccess);
  EXPECT_EQ(attribute->SetReadable(readable), kSuccess);
  EXPECT_EQ(attribute->SetWritable(writable), kSuccess);
  attribute->SetDirty(0);
  return attribute;
}

Attribute* Bare(std::uint32_t key, std::uint32_t value) {
  Attribute* attribute = nullptr;
  EXPECT_EQ(CreateAttribute(AttrU32::kTag, false, &attribute), kSuccess);
  attribute->SetKey(key);
  dynamic_cast<TypedAttribute<AttrU32>*>(attribute)->SetValue(AttrU32{value});
  attribute->SetDirty(0);
  return attribute;
}

std::uint32_t ValueOf(const Attribute* attribute) { return attribute->GetValueAsU32(); }

TEST(AttributeMap, FindsByFullShortAndCaseInsensitiveTail) {
  AttributeMap map;
  map.Insert(Named(1, "Camera::Gain"));
  const Attribute* gain = map.FindByKey(1);
  ASSERT_NE(gain, nullptr);
  EXPECT_EQ(map.FindByName("Camera::Gain"), gain);
  EXPECT_EQ(map.FindByName("Gain"), gain);
  EXPECT_EQ(map.FindByName("gain"), gain);
  EXPECT_EQ(map.FindByName("camera::GAIN"), gain);
  EXPECT_EQ(map.FindByName("ain"), nullptr);
  EXPECT_EQ(map.FindByName("era::Gain"), nullptr);
  EXPECT_EQ(map.FindByName("X::Camera::Gain"), nullptr);
  EXPECT_EQ(map.FindByName(nullptr), nullptr);
  EXPECT_EQ(map.FindByKey(2), nullptr);
}

TEST(AttributeMap, PartialPathMatchesAfterSeparator) {
  AttributeMap map;
  map.Insert(Named(1, "Root::Camera::Gain"));
  EXPECT_EQ(map.FindByName("camera::gain"), map.FindByKey(1));
  EXPECT_EQ(map.FindByName("Camera::Gain"), map.FindByKey(1));
  EXPECT_EQ(map.FindByName("t::Camera::Gain"), nullptr);
}

TEST(AttributeMap, ShortNameTieBreak) {
  {
    AttributeMap map;
    map.Insert(Named(2, "B::Gain"));
    map.Insert(Named(1, "A::Gain"));
    EXPECT_EQ(map.FindByName("Gain")->GetNameView(), "A::Gain");
  }
  {
    AttributeMap map;
    map.Insert(Named(1, "A::Gain", /*dynamic=*/true));
    map.Insert(Named(2, "B::Gain"));
    EXPECT_EQ(map.FindByName("Gain")->GetNameView(), "B::Gain");
  }
  {
    // Both dynamic: the accessible one.
    AttributeMap map;
    map.Insert(Named(1, "A::Gain", true));
    map.Insert(Named(2, "B::Gain", true, false, true));
    EXPECT_EQ(map.FindByName("Gain")->GetNameView(), "B::Gain");
  }
  {
    // Not dynamic beats accessible.
    AttributeMap map;
    map.Insert(Named(1, "A::Gain", true, true, true));
    map.Insert(Named(2, "B::Gain", false, false, false));
    map.Insert(Named(3, "C::Gain", true, true, true));
    EXPECT_EQ(map.FindByName("Gain")->GetNameView(), "B::Gain");
  }
}

TEST(AttributeMap, AttributesWithoutComponentsCountAsNotDynamic) {
  AttributeMap map;
  map.Insert(Named(1, "A::Gain", true));
  Attribute* partial = nullptr;
  ASSERT_EQ(CreateAttribute(AttrU32::kTag, false, &partial), kSuccess);
  partial->SetKey(2);
  for (const std::uint32_t key : {ComponentKey::Name, ComponentKey::ShortName}) {
    SubAttribute* text = nullptr;
    ASSERT_EQ(CreateSubAttribute(AttrString::kTag, key, &text), kSuccess);
    partial->AddSubAttribute(text);
  }
  ASSERT_EQ(partial->SetName("Z::Gain"), kSuccess);
  map.Insert(partial);
  EXPECT_EQ(map.FindByName("Gain")->GetNameView(), "Z::Gain");
}

TEST(AttributeMap, InsertRefusesADuplicateKey) {
  AttributeMap map;
  map.Insert(Bare(5, 1));
  map.Insert(Bare(5, 2));
  EXPECT_EQ(map.size(), 1U);
  EXPECT_EQ(ValueOf(map.FindByKey(5)), 1U);
  map.Clear();
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.FindByKey(5), nullptr);
}

TEST(AttributeMap, UnnamedAttributesShareTheEmptyName) {
  AttributeMap map;
  map.Insert(Bare(1, 1));
  map.Insert(Bare(2, 2));
  map.Insert(Bare(3, 3));
  EXPECT_EQ(map.size(), 3U);
  EXPECT_EQ(map.FindByName("x"), nullptr);
}

TEST(AttributeMap, NameHashAndLoadFactor) {
  AttributeNameHash hash;
  EXPECT_EQ(hash(""), 0U);
  // One byte: 0 ^ (c + 0x9E3779B9 + 0 + 0).
  EXPECT_EQ(hash("A"), 0x41U + 0x9E3779B9U);
  const std::uint64_t first = 0x41ULL + 0x9E3779B9ULL;
  const std::uint64_t second = first ^ (0x42ULL + 0x9E3779B9ULL + (first << 6) + (first >> 2));
  EXPECT_EQ(hash("AB"), second);
  // A byte above 0x7F is read as a negative signed char.
  const std::uint64_t negative = static_cast<std::uint64_t>(-1) + 0x9E3779B9ULL;
  EXPECT_EQ(hash("\xFF"), negative);

  AttributeMap map;
  for (std::uint32_t i = 0; i < 500; ++i) {
    const std::string name = "Group::Item" + std::to_string(i);
    map.Insert(Named(i, name.c_str()));
  }
  const auto& byName = map.Indices().get<AttributeMap::ByName>();
  const auto& byShortName = map.Indices().get<AttributeMap::ByShortName>();
  EXPECT_EQ(byName.max_load_factor(), 1.0F);
  EXPECT_EQ(byShortName.max_load_factor(), 1.0F);
  EXPECT_LE(byName.load_factor(), 1.0F);
  EXPECT_LE(byShortName.load_factor(), 1.0F);
  EXPECT_GE(byName.bucket_count(), 500U);
  // The bucket of a name is its hash modulo the bucket count.
  EXPECT_EQ(byName.bucket("Group::Item7"), hash("Group::Item7") % byName.bucket_count());
  // Every attribute stays reachable by its full name.
  for (std::uint32_t i = 0; i < 500; i += 37) {
    const std::string name = "Group::Item" + std::to_string(i);
    ASSERT_NE(map.FindByName(name.c_str()), nullptr);
    EXPECT_EQ(map.FindByName(name.c_str())->GetKey(), i);
  }
}

TEST(AttributeMap, DeltaOfCleanMapIsTheCountAlone) {
  AttributeMap map;
  map.Insert(Bare(1, 1));
  ScopedByteStream out;
  ASSERT_EQ(map.Flatten(out.get(), false), kSuccess);
  EXPECT_EQ(BytesOf(*out), Wire().U32(0).bytes());
}

TEST(AttributeMap, FlattenWritesCountAtOffsetZeroInKeyOrder) {
  AttributeMap map;
  map.Insert(Bare(9, 90));
  map.Insert(Bare(3, 30));
  map.Insert(Bare(5, 50));
  dynamic_cast<TypedAttribute<AttrU32>*>(map.FindByKey(9))->SetValue(AttrU32{91});
  ScopedByteStream full;
  ASSERT_EQ(map.Flatten(full.get(), true), kSuccess);
  Wire expected;
  expected.U32(3);
  expected.U32(3).U32(1).U32(1).U32(1).U32(0).U32(30);
  expected.U32(5).U32(1).U32(1).U32(1).U32(0).U32(50);
  expected.U32(9).U32(1).U32(1).U32(1).U32(0).U32(91);
  EXPECT_EQ(BytesOf(*full), expected.bytes());

  ScopedByteStream delta;
  ASSERT_EQ(map.Flatten(delta.get(), false), kSuccess);
  EXPECT_EQ(BytesOf(*delta), Wire().U32(1).U32(9).U32(1).U32(1).U32(1).U32(0).U32(91).bytes());
}

TEST(AttributeMap, FullRoundTripRebuildsCleanAttributes) {
  AttributeMap map;
  map.Insert(Named(1, "Camera::Gain"));
  map.Insert(Named(2, "Camera::Exposure", false, true, true));
  dynamic_cast<TypedAttribute<AttrU32>*>(map.FindByKey(2))->SetValue(AttrU32{12});
  ScopedByteStream out;
  ASSERT_EQ(map.Flatten(out.get(), true), kSuccess);

  AttributeMap copy;
  copy.Insert(Bare(77, 7));  // goes: a full image replaces everything
  out->Rewind();
  ASSERT_EQ(copy.Unflatten(out.get(), true), kSuccess);
  EXPECT_EQ(copy.size(), 2U);
  EXPECT_EQ(copy.FindByKey(77), nullptr);
  const Attribute* exposure = copy.FindByName("exposure");
  ASSERT_NE(exposure, nullptr);
  EXPECT_EQ(exposure->GetKey(), 2U);
  EXPECT_EQ(ValueOf(exposure), 12U);
  EXPECT_EQ(exposure->IsDirty(), 0U);
  bool writable = false;
  ASSERT_EQ(exposure->IsWritable(&writable), kSuccess);
  EXPECT_TRUE(writable);
  EXPECT_EQ(copy.FindByName("Gain")->GetKey(), 1U);
  EXPECT_EQ(out->Remaining(), 0U);
}

TEST(AttributeMap, DeltaAppliesInPlaceAndMarksChanges) {
  AttributeMap map;
  map.Insert(Bare(1, 10));
  map.Insert(Bare(2, 20));
  Attribute* before = map.FindByKey(2);
  ScopedByteStream in;
  Wire().U32(1).U32(2).U32(1).U32(1).U32(1).U32(0).U32(21).Into(in.get());
  ASSERT_EQ(map.Unflatten(in.get(), false), kSuccess);
  EXPECT_EQ(map.FindByKey(2), before);
  EXPECT_EQ(ValueOf(before), 21U);
  EXPECT_EQ(before->IsDirty(), 1U);
  EXPECT_EQ(map.FindByKey(1)->IsDirty(), 0U);
}

TEST(AttributeMap, DeltaWithUnknownKeyStopsAfterEarlierAttributes) {
  AttributeMap map;
  map.Insert(Bare(1, 10));
  map.Insert(Bare(2, 20));
  ScopedByteStream in;
  Wire()
      .U32(3)
      .U32(1).U32(1).U32(1).U32(1).U32(0).U32(11)
      .U32(99).U32(1).U32(1).U32(1).U32(0).U32(990)
      .U32(2).U32(1).U32(1).U32(1).U32(0).U32(22)
      .Into(in.get());
  EXPECT_EQ(map.Unflatten(in.get(), false), kUnknownAttributeType);
  EXPECT_EQ(ValueOf(map.FindByKey(1)), 11U);
  EXPECT_EQ(ValueOf(map.FindByKey(2)), 20U);
}

TEST(AttributeMap, DeltaThatRenamesKeepsTheNameIndicesRight) {
  AttributeMap map;
  map.Insert(Named(1, "Old::Name"));
  ScopedByteStream in;
  Wire().U32(1).U32(1).U32(1).U32(2).U32(5).U32(1).Text("New::Title").U32(5).U32(15).Text("Title").Into(in.get());
  ASSERT_EQ(map.Unflatten(in.get(), false), kSuccess);
  EXPECT_EQ(map.FindByName("New::Title"), map.FindByKey(1));
  EXPECT_EQ(map.FindByName("Title"), map.FindByKey(1));
  EXPECT_EQ(map.FindByName("Old::Name"), nullptr);
  EXPECT_EQ(map.FindByName("Name"), nullptr);
}

TEST(AttributeMap, FullUnflattenWithBadTagStops) {
  AttributeMap map;
  ScopedByteStream in;
  Wire().U32(2).U32(1).U32(1).U32(1).U32(1).U32(0).U32(5).U32(2).U32(103).U32(0).Into(in.get());
  EXPECT_EQ(map.Unflatten(in.get(), true), kUnknownAttributeType);
  EXPECT_EQ(map.size(), 1U);
  EXPECT_EQ(ValueOf(map.FindByKey(1)), 5U);
}

}  // namespace
}  // namespace keld
