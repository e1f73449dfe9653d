// Counts a peer sends that the bytes behind them cannot hold. Each reader
// answers 0xBFFF8001 without allocating by the count, leaks nothing, keeps
// every attribute in its map and findable, and leaves what came before the
// bad count as a failed read leaves it.
#include <gtest/gtest.h>

#include <memory>

#include "attributes/attribute.h"
#include "attributes/attribute_map.h"
#include "attributes/record_lists.h"
#include "datafile/light_head_record.h"
#include "foundation/string_list.h"
#include "inventory/device_list.h"
#include "wire.h"

namespace keld {
namespace {

using testing::Wire;

constexpr std::uint32_t kHuge = 0xFFFFFFFF;

// A map with an enumerated attribute and a plain one, both named.
void Fill(AttributeMap* map) {
  Attribute* mode = nullptr;
  ASSERT_EQ(CreateAttribute(AttrEnum::kTag, true, &mode), kSuccess);
  mode->SetKey(5);
  ASSERT_EQ(mode->SetName("Camera::Mode"), kSuccess);
  map->Insert(mode);
  Attribute* gain = nullptr;
  ASSERT_EQ(CreateAttribute(AttrU32::kTag, true, &gain), kSuccess);
  gain->SetKey(6);
  ASSERT_EQ(gain->SetName("Camera::Gain"), kSuccess);
  map->Insert(gain);
}

TEST(HostileCounts, EnumerationVectorInADeltaKeepsTheAttributeInTheMap) {
  AttributeMap map;
  Fill(&map);
  // 28 bytes: one attribute, key 5, type 100, one component, which is the
  // list of choices (tag 103, key 4) claiming four thousand million items.
  Wire wire;
  wire.U32(1).U32(5).U32(AttrEnum::kTag).U32(1).U32(AttrEnumVector::kTag).U32(4).U32(kHuge);
  ASSERT_EQ(wire.bytes().size(), 28u);
  ScopedByteStream in;
  wire.Into(in.get());
  EXPECT_EQ(map.Unflatten(in.get(), false), kByteStreamLoadFailed);
  ASSERT_EQ(map.size(), 2u);
  Attribute* mode = map.FindByKey(5);
  ASSERT_NE(mode, nullptr);
  EXPECT_EQ(map.FindByName("Camera::Mode"), mode);
  EXPECT_EQ(map.FindByName("Mode"), mode);
  EXPECT_EQ(map.FindByName("Gain"), map.FindByKey(6));
  // The old list of choices is still the attribute's.
  EXPECT_NE(mode->FindSubAttribute(ComponentKey::EnumItems), nullptr);
}

TEST(HostileCounts, EarlierAttributesOfTheDeltaStayApplied) {
  AttributeMap map;
  Fill(&map);
  Wire wire;
  wire.U32(2);
  // Attribute 6: a new value, cleanly.
  wire.U32(6).U32(AttrU32::kTag).U32(1).U32(AttrU32::kTag).U32(0).U32(1234);
  // Attribute 5: a hostile list of choices.
  wire.U32(5).U32(AttrEnum::kTag).U32(1).U32(AttrEnumVector::kTag).U32(4).U32(kHuge);
  ScopedByteStream in;
  wire.Into(in.get());
  EXPECT_EQ(map.Unflatten(in.get(), false), kByteStreamLoadFailed);
  auto* gain = static_cast<TypedAttribute<AttrU32>*>(map.FindByKey(6));
  EXPECT_EQ(gain->GetValue().value, 1234u);
  EXPECT_NE(gain->IsDirty(), 0u);
  EXPECT_EQ(map.size(), 2u);
}

TEST(HostileCounts, FullMapWithHostileChoicesFailsWithoutLeaking) {
  AttributeMap map;
  Wire wire;
  wire.U32(1).U32(5).U32(AttrEnum::kTag).U32(1).U32(AttrEnumVector::kTag).U32(4).U32(kHuge);
  ScopedByteStream in;
  wire.Into(in.get());
  EXPECT_EQ(map.Unflatten(in.get(), true), kByteStreamLoadFailed);
  EXPECT_EQ(map.size(), 0u);
}

TEST(HostileCounts, AttributeAndMapCountsBeyondTheStream) {
  AttributeMap map;
  Fill(&map);
  ScopedByteStream in;
  Wire().U32(kHuge).U32(6).U32(AttrU32::kTag).U32(kHuge).Into(in.get());
  // The component heads run out: a head beyond the stream.
  EXPECT_EQ(map.Unflatten(in.get(), false), kByteStreamSaveFailed);
  EXPECT_EQ(map.size(), 2u);
  EXPECT_EQ(map.FindByName("Gain"), map.FindByKey(6));
  Wire().U32(kHuge).Into(in.get());
  EXPECT_EQ(map.Unflatten(in.get(), true), kByteStreamLoadFailed);
  EXPECT_EQ(map.size(), 0u);
}

TEST(HostileCounts, VectorsOfFixedLengthReadNoMoreThanIsThere) {
  std::unique_ptr<SubAttribute> lines;
  SubAttribute* created = nullptr;
  ASSERT_EQ(CreateSubAttribute(AttrMaxLinesVector::kTag, 0, &created), kSuccess);
  lines.reset(created);
  ScopedByteStream in;
  Wire().U32(AttrMaxLinesVector::kTag).U32(0).U32(kHuge).U32(1).U32(2).Into(in.get());
  EXPECT_EQ(lines->Unflatten(in.get()), kByteStreamLoadFailed);
}

TEST(HostileCounts, TextLongerThanTheStream) {
  CFGString text("kept");
  ScopedByteStream in;
  Wire().U32(kHuge).Raw("abc", 3).Into(in.get());
  EXPECT_EQ(text.Unflatten(in.get()), kByteStreamLoadFailed);
  EXPECT_STREQ(text.c_str(), "kept");
}

TEST(HostileCounts, ListsKeepWhatCameAndAllocateNothingByTheCount) {
  ScopedByteStream in;
  StringList strings;
  Wire().U32(kHuge).Text("one").Into(in.get());
  EXPECT_EQ(strings.Unflatten(in.get()), kByteStreamLoadFailed);
  ASSERT_EQ(strings.size(), 1u);
  EXPECT_STREQ(strings[0].c_str(), "one");

  CameraFileDataList files;
  Wire().U32(kHuge).Into(in.get());
  EXPECT_EQ(files.Unflatten(in.get()), kByteStreamLoadFailed);
  EXPECT_TRUE(files.empty());

  DeviceList devices;
  Wire().U32(kHuge).Text("img0").U64(1).Text("").Text("").U32(0).U32(0).Into(in.get());
  EXPECT_EQ(devices.Unflatten(in.get()), kByteStreamLoadFailed);
  EXPECT_EQ(devices.size(), 1u);

  LightHeadList heads;
  Wire().U32(kHuge).Into(in.get());
  EXPECT_EQ(heads.Unflatten(in.get()), kByteStreamLoadFailed);
  EXPECT_TRUE(heads.empty());
}

TEST(HostileCounts, LightHeadPointsAboveThirtyTwoAreRefused) {
  LightHeadRecord record;
  ScopedByteStream in;
  Wire wire;
  wire.F64(1.0);
  for (std::size_t width : {64, 64, 32, 32, 64, 1024, 64, 1024, 64, 1024}) wire.Padded("", width);
  const std::uint8_t plain = 0;
  wire.Raw(&plain, 1).U32(0).F64(0.5).F64(0.25).U32(33);
  wire.Into(in.get());
  EXPECT_EQ(record.Unflatten(in.get()), kSessionNotConfigured);
}

}  // namespace
}  // namespace keld
