#include "attributes/record_lists.h"

#include <gtest/gtest.h>

#include <cstring>

#include "foundation/byte_stream.h"
#include "wire.h"

namespace keld {
namespace {

using testing::BytesOf;
using testing::Wire;

// Fills a record with a byte pattern that depends on `seed`.
template <typename Record>
Record Patterned(std::uint8_t seed) {
  Record record;
  auto* bytes = reinterpret_cast<std::uint8_t*>(&record);
  for (std::size_t i = 0; i < sizeof record; ++i) bytes[i] = static_cast<std::uint8_t>(seed + i * 7);
  return record;
}

template <typename List>
List FiveOf() {
  List list;
  for (std::uint8_t i = 0; i < 5; ++i) list.push_back(Patterned<typename List::value_type>(i));
  return list;
}

template <typename List>
class ListTest : public ::testing::Test {};

using AllLists = ::testing::Types<CameraVideoModeList, CameraFeatureList, NVAttributeInfoList,
                                  NVAttributeEnumItemList, CameraAttributeList, CameraFileDataList,
                                  InterfaceFileDataList>;
TYPED_TEST_SUITE(ListTest, AllLists);

TYPED_TEST(ListTest, ToArrayReportsCopiesAndClips) {
  using Record = typename TypeParam::value_type;
  const TypeParam list = FiveOf<TypeParam>();
  std::uint32_t count = 77;
  ASSERT_EQ(list.ToArray(nullptr, &count), kSuccess);
  EXPECT_EQ(count, 5U);

  Record out[9];
  std::memset(out, 0xEE, sizeof out);
  count = 3;
  ASSERT_EQ(list.ToArray(out, &count), kSuccess);
  EXPECT_EQ(count, 3U);
  EXPECT_EQ(std::memcmp(&out[2], &list[2], sizeof(Record)), 0);
  EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(&out[3])[0], 0xEE);

  count = 9;
  ASSERT_EQ(list.ToArray(out, &count), kSuccess);
  EXPECT_EQ(count, 5U);
  EXPECT_EQ(std::memcmp(out, list.data(), 5 * sizeof(Record)), 0);

  std::memset(out, 0xEE, sizeof out);
  count = 0;
  ASSERT_EQ(list.ToArray(out, &count), kSuccess);
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(&out[0])[0], 0xEE);

  EXPECT_EQ(list.ToArray(out, nullptr), kBadPointer);
}

template <typename List>
class WireListTest : public ::testing::Test {};
using WireLists = ::testing::Types<CameraVideoModeList, CameraFeatureList, CameraAttributeList, CameraFileDataList,
                                   InterfaceFileDataList>;
TYPED_TEST_SUITE(WireListTest, WireLists);

template <typename List>
constexpr bool kHasCurrent = std::is_base_of_v<RecordListWithCurrent<typename List::value_type>, List>;

TYPED_TEST(WireListTest, RoundTripIsByteExact) {
  using Record = typename TypeParam::value_type;
  TypeParam list = FiveOf<TypeParam>();
  if constexpr (kHasCurrent<TypeParam>) list.Current = 4;
  ScopedByteStream out;
  ASSERT_EQ(list.Flatten(out.get()), kSuccess);
  Wire expected;
  expected.U32(5).Raw(list.data(), 5 * sizeof(Record));
  if constexpr (kHasCurrent<TypeParam>) expected.U32(4);
  EXPECT_EQ(BytesOf(*out), expected.bytes());

  TypeParam back;
  back.push_back(Patterned<Record>(99));  // emptied first
  out->Rewind();
  ASSERT_EQ(back.Unflatten(out.get()), kSuccess);
  ASSERT_EQ(back.size(), 5U);
  EXPECT_EQ(std::memcmp(back.data(), list.data(), 5 * sizeof(Record)), 0);
  if constexpr (kHasCurrent<TypeParam>) {
    EXPECT_EQ(back.Current, 4U);
  }
  EXPECT_EQ(out->Remaining(), 0U);
}

TYPED_TEST(WireListTest, EmptyListIsTheCountAndCurrent) {
  TypeParam list;
  ScopedByteStream out;
  ASSERT_EQ(list.Flatten(out.get()), kSuccess);
  EXPECT_EQ(out->size, kHasCurrent<TypeParam> ? 8U : 4U);
}

TYPED_TEST(WireListTest, ShortStreamKeepsWhatCame) {
  using Record = typename TypeParam::value_type;
  const TypeParam list = FiveOf<TypeParam>();
  Wire wire;
  wire.U32(5).Raw(list.data(), 2 * sizeof(Record)).Raw(list.data(), sizeof(Record) / 2);
  ScopedByteStream in;
  wire.Into(in.get());
  TypeParam back;
  EXPECT_EQ(back.Unflatten(in.get()), kByteStreamLoadFailed);
  EXPECT_EQ(back.size(), 2U);
}

TEST(RecordLists, CurrentTravelsWithToArray) {
  CameraVideoModeList modes = FiveOf<CameraVideoModeList>();
  modes.Current = 2;
  std::uint32_t count = 0;
  std::uint32_t current = 0;
  ASSERT_EQ(modes.ToArray(nullptr, &count, &current), kSuccess);
  EXPECT_EQ(current, 2U);
  CameraFileDataList files;
  current = 9;
  ASSERT_EQ(files.ToArray(nullptr, &count, &current), kSuccess);
  EXPECT_EQ(current, 0U);
  EXPECT_EQ(count, 0U);
}

TEST(RecordLists, CameraFileDataWireIsWordsThenThreeNames) {
  CameraFileDataList files;
  CameraFileData file{};
  file.ValueLow = 1;
  file.ValueHigh = 2;
  file.Flag = 1;
  std::strcpy(file.FileName, "a.icd");
  std::strcpy(file.ModeName, "Standard");
  std::strcpy(file.Detail, "d");
  files.push_back(file);
  ScopedByteStream out;
  ASSERT_EQ(files.Flatten(out.get()), kSuccess);
  EXPECT_EQ(BytesOf(*out), Wire()
                               .U32(1)
                               .U32(1).U32(2).U32(1)
                               .Padded("a.icd", 512).Padded("Standard", 512).Padded("d", 512)
                               .U32(0)
                               .bytes());
}

TEST(RecordLists, RuntimeArraysAreNotServedYet) {
  int handle = 0;
  EXPECT_EQ(CameraVideoModeList().ToRuntimeArray(nullptr), kBadPointer);
  EXPECT_EQ(CameraFeatureList().ToRuntimeArray(nullptr), kBadPointer);
  EXPECT_EQ(NVAttributeInfoList().ToRuntimeArray(nullptr), kBadPointer);
  EXPECT_EQ(NVAttributeEnumItemList().ToRuntimeArray(nullptr), kBadPointer);
  EXPECT_EQ(CameraVideoModeList().ToRuntimeArray(&handle), kInternalError);
  EXPECT_EQ(NVAttributeInfoList().ToRuntimeArray(&handle), kInternalError);
}

}  // namespace
}  // namespace keld
