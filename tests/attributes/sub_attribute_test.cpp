#include "attributes/sub_attribute.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "foundation/byte_stream.h"
#include "wire.h"

namespace keld {
namespace {

using testing::BytesOf;
using testing::Wire;

template <typename T>
std::unique_ptr<TypedSubAttribute<T>> Make(std::uint32_t key) {
  SubAttribute* raw = nullptr;
  EXPECT_EQ(CreateSubAttribute(T::kTag, key, &raw), kSuccess);
  auto* typed = dynamic_cast<TypedSubAttribute<T>*>(raw);
  EXPECT_NE(typed, nullptr);
  return std::unique_ptr<TypedSubAttribute<T>>(typed);
}

KELDnvEnumItem_struct Item(std::uint32_t low, std::uint32_t high, const char* name) {
  KELDnvEnumItem_struct item{};
  item.ValueLow = low;
  item.ValueHigh = high;
  std::strncpy(item.Name, name, sizeof item.Name - 1);
  return item;
}

TEST(CreateSubAttribute, BuildsEveryListedTagCleanWithItsKey) {
  const std::uint32_t tags[] = {1, 2, 3, 4, 5, 6, 7, 100, 101, 102, 103, 104};
  for (const std::uint32_t tag : tags) {
    SubAttribute* raw = nullptr;
    ASSERT_EQ(CreateSubAttribute(tag, 9, &raw), kSuccess) << tag;
    std::unique_ptr<SubAttribute> sub(raw);
    EXPECT_EQ(sub->GetType(), tag);
    EXPECT_EQ(sub->GetKey(), 9U);
    EXPECT_EQ(sub->IsDirty(), 0U);
  }
}

TEST(CreateSubAttribute, RefusesUnlistedTagsAndClearsOut) {
  const std::uint32_t tags[] = {0, 8, 50, 99, 105, 0xFFFFFFFF};
  for (const std::uint32_t tag : tags) {
    SubAttribute* raw = reinterpret_cast<SubAttribute*>(&raw);  // any non-null garbage
    EXPECT_EQ(CreateSubAttribute(tag, 0, &raw), kUnknownAttributeType) << tag;
    EXPECT_EQ(raw, nullptr);
  }
  EXPECT_EQ(CreateSubAttribute(1, 0, nullptr), kBadPointer);
}

TEST(SubAttribute, FreshValuesAreZeroed) {
  EXPECT_EQ(Make<AttrU32>(0)->GetValue().value, 0U);
  EXPECT_EQ(Make<AttrF64>(0)->GetValue().value, 0.0);
  const auto rect = Make<AttrRect>(0);
  EXPECT_EQ(rect->GetValue().End2, 0U);
  EXPECT_STREQ(Make<AttrString>(0)->GetValue().c_str(), "");
  EXPECT_TRUE(Make<AttrEnumVector>(0)->GetValue().items.empty());
  EXPECT_EQ(Make<AttrEnum>(0)->GetValue().Name[0], 0);
  EXPECT_EQ(Make<AttrMaxLinesVector>(0)->GetValue().values[63], 0U);
}

TEST(SubAttribute, RectangleTravelsInWireOrderAndEndsAreRecomputed) {
  auto rect = Make<AttrRect>(0);
  AttrRect value;
  value.Origin1 = 10;
  value.Extent1 = 20;
  value.Origin2 = 30;
  value.Extent2 = 40;
  value.End1 = 999;  // not sent
  value.End2 = 999;
  rect->SetValue(value);
  ScopedByteStream out;
  ASSERT_EQ(rect->Flatten(out.get()), kSuccess);
  EXPECT_EQ(BytesOf(*out), Wire().U32(4).U32(0).U32(10).U32(30).U32(20).U32(40).bytes());

  auto back = Make<AttrRect>(7);
  out->Rewind();
  ASSERT_EQ(back->Unflatten(out.get()), kSuccess);
  EXPECT_EQ(back->GetKey(), 0U);
  EXPECT_EQ(back->GetValue().Origin1, 10U);
  EXPECT_EQ(back->GetValue().Extent1, 20U);
  EXPECT_EQ(back->GetValue().Origin2, 30U);
  EXPECT_EQ(back->GetValue().Extent2, 40U);
  EXPECT_EQ(back->GetValue().End1, 30U);
  EXPECT_EQ(back->GetValue().End2, 70U);
}

TEST(SubAttribute, SetValueOfRectangleKeepsGivenEnds) {
  auto rect = Make<AttrRect>(0);
  AttrRect value;
  value.Origin1 = 1;
  value.Extent1 = 2;
  value.End1 = 50;
  rect->SetValue(value);
  EXPECT_EQ(rect->GetValue().End1, 50U);
}

TEST(SubAttribute, EnumNameAlwaysGoesAs512BytesWithWhatLiesBehindTheNul) {
  auto sub = Make<AttrEnum>(0);
  KELDnvEnumItem_struct item = Item(5, 6, "On");
  item.Name[100] = 'x';  // behind the NUL
  item.Name[511] = 'z';
  sub->SetValue(item);
  ScopedByteStream out;
  ASSERT_EQ(sub->Flatten(out.get()), kSuccess);
  ASSERT_EQ(out->size, 8U + 8U + 512U);
  Wire expected;
  expected.U32(100).U32(0).U32(5).U32(6).Raw(item.Name, 512);
  EXPECT_EQ(BytesOf(*out), expected.bytes());

  auto back = Make<AttrEnum>(0);
  out->Rewind();
  ASSERT_EQ(back->Unflatten(out.get()), kSuccess);
  EXPECT_EQ(std::memcmp(&back->GetValue(), &item, sizeof item), 0);
  EXPECT_EQ(out->Remaining(), 0U);
}

TEST(SubAttribute, ValueAsU32OnlyForU32AndI64) {
  auto flag = Make<AttrBool>(0);
  flag->SetValue(AttrBool{1});
  EXPECT_EQ(flag->GetValueAsU32(), 0U);
  auto command = Make<AttrCommand>(0);
  command->SetValue(AttrCommand{1});
  EXPECT_EQ(command->GetValueAsU32(), 0U);
  auto u32 = Make<AttrU32>(0);
  u32->SetValue(AttrU32{77});
  EXPECT_EQ(u32->GetValueAsU32(), 77U);
  auto i64 = Make<AttrI64>(0);
  i64->SetValue(AttrI64{-2});
  EXPECT_EQ(i64->GetValueAsU32(), 0xFFFFFFFEU);
  auto u64 = Make<AttrU64>(0);
  u64->SetValue(AttrU64{5});
  EXPECT_EQ(u64->GetValueAsU32(), 0U);
}

TEST(SubAttribute, SetValueOnItselfStillMarksDirty) {
  auto sub = Make<AttrString>(1);
  sub->SetValue(AttrString("abc"));
  sub->SetDirty(0);
  sub->SetValue(sub->GetValue());
  EXPECT_EQ(sub->IsDirty(), 1U);
  EXPECT_STREQ(sub->GetValue().c_str(), "abc");
}

TEST(SubAttribute, EnumVectorGrowsButNeverShrinksOnUnflatten) {
  auto list = Make<AttrEnumVector>(4);
  AttrEnumVector three;
  three.items = {Item(1, 0, "a"), Item(2, 0, "b"), Item(3, 0, "c")};
  list->SetValue(three);
  Wire wire;
  wire.U32(103).U32(4).U32(2);
  wire.U32(10).U32(0).Padded("x", 512).U32(20).U32(0).Padded("y", 512);
  ScopedByteStream in;
  wire.Into(in.get());
  ASSERT_EQ(list->Unflatten(in.get()), kSuccess);
  const auto& items = list->GetValue().items;
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[0].ValueLow, 10U);
  EXPECT_STREQ(items[1].Name, "y");
  EXPECT_EQ(items[2].ValueLow, 3U);
  EXPECT_STREQ(items[2].Name, "c");

  auto empty = Make<AttrEnumVector>(4);
  in->Rewind();
  ASSERT_EQ(empty->Unflatten(in.get()), kSuccess);
  EXPECT_EQ(empty->GetValue().items.size(), 2U);
}

TEST(SubAttribute, MutableDataOfShortStringHasRoomFor511Characters) {
  auto sub = Make<AttrString>(0);
  sub->SetValue(AttrString("ab"));
  sub->SetDirty(0);
  auto* chars = static_cast<char*>(sub->GetMutableData());
  ASSERT_NE(chars, nullptr);
  EXPECT_GE(sub->GetValue().capacity(), 512U);
  std::memset(chars, 'q', 511);
  chars[511] = 0;
  EXPECT_EQ(std::strlen(static_cast<const char*>(sub->GetConstData())), 511U);
  EXPECT_EQ(sub->IsDirty(), 0U);
  // The text written through the buffer is what goes on the wire.
  ScopedByteStream out;
  ASSERT_EQ(sub->Flatten(out.get()), kSuccess);
  EXPECT_EQ(out->size, 8U + 4U + 511U);
}

TEST(SubAttribute, VectorCountIsTrustedAndShortCountKeepsTheRest) {
  auto lines = Make<AttrMaxLinesVector>(0);
  AttrMaxLinesVector value;
  for (std::uint32_t i = 0; i < 64; ++i) value.values[i] = i + 1;
  lines->SetValue(value);
  ScopedByteStream in;
  Wire().U32(3).U32(0).U32(2).U32(500).U32(501).Into(in.get());
  ASSERT_EQ(lines->Unflatten(in.get()), kSuccess);
  EXPECT_EQ(lines->GetValue().values[0], 500U);
  EXPECT_EQ(lines->GetValue().values[1], 501U);
  EXPECT_EQ(lines->GetValue().values[2], 3U);
  EXPECT_EQ(lines->GetValue().values[63], 64U);
}

TEST(SubAttribute, CopyFromTakesKeyValueAndDirtyFlag) {
  auto source = Make<AttrF64>(3);
  source->SetValue(AttrF64{2.5});
  source->SetDirty(0);
  auto target = Make<AttrF64>(9);
  target->SetDirty(1);
  *target = *source;
  EXPECT_EQ(target->GetKey(), 3U);
  EXPECT_EQ(target->GetValue().value, 2.5);
  EXPECT_EQ(target->IsDirty(), 0U);
  source->SetDirty(1);
  SubAttribute& base = *target;
  base = *source;
  EXPECT_EQ(target->IsDirty(), 1U);
}

TEST(SubAttribute, ConstDataOfStringIsItsCharacters) {
  auto sub = Make<AttrString>(0);
  sub->SetValue(AttrString("hello"));
  EXPECT_STREQ(static_cast<const char*>(sub->GetConstData()), "hello");
  auto list = Make<AttrEnumVector>(0);
  EXPECT_EQ(list->GetConstData(), &list->GetValue());
}

// The flat form of one component of every type, byte for byte.
TEST(SubAttribute, GoldenStreamsOfEveryType) {
  ScopedByteStream out;
  auto check = [&](SubAttribute& sub, const Wire& expected) {
    out->Reset();
    ASSERT_EQ(sub.Flatten(out.get()), kSuccess);
    EXPECT_EQ(BytesOf(*out), expected.bytes()) << "tag " << sub.GetType();
  };
  auto u32 = Make<AttrU32>(2);
  u32->SetValue(AttrU32{0x01020304});
  check(*u32, Wire().U32(1).U32(2).U32(0x01020304));
  auto f64 = Make<AttrF64>(3);
  f64->SetValue(AttrF64{1.5});
  check(*f64, Wire().U32(2).U32(3).F64(1.5));
  auto lines = Make<AttrMaxLinesVector>(0);
  Wire linesWire;
  linesWire.U32(3).U32(0).U32(64);
  for (int i = 0; i < 64; ++i) linesWire.U32(0);
  check(*lines, linesWire);
  auto text = Make<AttrString>(1);
  text->SetValue(AttrString("A::B"));
  check(*text, Wire().U32(5).U32(1).Text("A::B"));
  auto wave = Make<AttrPGWaveformVector>(0);
  AttrPGWaveformVector waveValue;
  waveValue.values[31] = 9;
  wave->SetValue(waveValue);
  Wire waveWire;
  waveWire.U32(6).U32(0).U32(32);
  for (int i = 0; i < 31; ++i) waveWire.U32(0);
  waveWire.U32(9);
  check(*wave, waveWire);
  auto u64 = Make<AttrU64>(0);
  u64->SetValue(AttrU64{0x1122334455667788ULL});
  check(*u64, Wire().U32(7).U32(0).U64(0x1122334455667788ULL));
  auto flag = Make<AttrBool>(5);
  flag->SetValue(AttrBool{1});
  check(*flag, Wire().U32(101).U32(5).U32(1));
  auto command = Make<AttrCommand>(0);
  check(*command, Wire().U32(102).U32(0).U32(0));
  auto list = Make<AttrEnumVector>(4);
  AttrEnumVector listValue;
  listValue.items = {Item(1, 2, "One")};
  list->SetValue(listValue);
  check(*list, Wire().U32(103).U32(4).U32(1).U32(1).U32(2).Padded("One", 512));
  auto i64 = Make<AttrI64>(9);
  i64->SetValue(AttrI64{-1});
  check(*i64, Wire().U32(104).U32(9).U64(0xFFFFFFFFFFFFFFFFULL));
}

TEST(ValueRecordSize, FixedRecordsAndOthers) {
  EXPECT_EQ(ValueRecordSize(AttrU32::kTag), 4U);
  EXPECT_EQ(ValueRecordSize(AttrF64::kTag), 8U);
  EXPECT_EQ(ValueRecordSize(AttrRect::kTag), 24U);
  EXPECT_EQ(ValueRecordSize(AttrEnum::kTag), 520U);
  EXPECT_EQ(ValueRecordSize(AttrMaxLinesVector::kTag), 256U);
  EXPECT_EQ(ValueRecordSize(AttrPGWaveformVector::kTag), 128U);
  EXPECT_EQ(ValueRecordSize(AttrString::kTag), 0U);
  EXPECT_EQ(ValueRecordSize(42), 0U);
}

}  // namespace
}  // namespace keld
