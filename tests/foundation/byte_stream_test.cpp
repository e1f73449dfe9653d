#include "foundation/byte_stream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace keld {
namespace {

TEST(ByteStream, PrimitivesAreLittleEndianAndUnpadded) {
  ScopedByteStream s;
  ASSERT_EQ(s->AppendU8(0xAB), kSuccess);
  ASSERT_EQ(s->AppendU32(0x11223344), kSuccess);
  ASSERT_EQ(s->AppendU64(0x0102030405060708ull), kSuccess);
  ASSERT_EQ(s->AppendF64(1.5), kSuccess);
  ASSERT_EQ(s->size, 1u + 4 + 8 + 8);
  const std::uint8_t head[] = {0xAB, 0x44, 0x33, 0x22, 0x11, 0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01};
  EXPECT_EQ(std::memcmp(s->data, head, sizeof head), 0);
  const std::uint8_t onePointFive[] = {0, 0, 0, 0, 0, 0, 0xF8, 0x3F};
  EXPECT_EQ(std::memcmp(s->data + 13, onePointFive, 8), 0);
}

TEST(ByteStream, ReadsBackAtOddOffsets) {
  ScopedByteStream s;
  ASSERT_EQ(s->AppendU8(7), kSuccess);
  ASSERT_EQ(s->AppendU32(0xDEADBEEF), kSuccess);
  ASSERT_EQ(s->AppendU64(std::numeric_limits<std::uint64_t>::max()), kSuccess);
  ASSERT_EQ(s->AppendF64(-0.25), kSuccess);
  s->Rewind();
  std::uint8_t a = 0;
  std::uint32_t b = 0;
  std::uint64_t c = 0;
  double d = 0;
  ASSERT_EQ(s->ReadU8(&a), kSuccess);
  ASSERT_EQ(s->ReadU32(&b), kSuccess);
  ASSERT_EQ(s->ReadU64(&c), kSuccess);
  ASSERT_EQ(s->ReadF64(&d), kSuccess);
  EXPECT_EQ(a, 7);
  EXPECT_EQ(b, 0xDEADBEEFu);
  EXPECT_EQ(c, std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(d, -0.25);
  EXPECT_EQ(s->size, 21u);  // reading never changes size
}

TEST(ByteStream, AppendBytesOfNothingLeavesStreamUnchanged) {
  ScopedByteStream s;
  ASSERT_EQ(s->AppendBytes(nullptr, 10), kSuccess);
  ASSERT_EQ(s->AppendBytes("abc", 0), kSuccess);
  EXPECT_EQ(s->size, 0u);
  EXPECT_EQ(s->data, nullptr);
  ASSERT_EQ(s->AppendU8(1), kSuccess);
  std::uint8_t* before = s->data;
  ASSERT_EQ(s->AppendBytes(nullptr, 0), kSuccess);
  EXPECT_EQ(s->data, before);
  EXPECT_EQ(s->size, 1u);
}

TEST(ByteStream, EachAppendGrowsToExactSize) {
  ScopedByteStream s;
  for (std::uint32_t i = 1; i <= 5; ++i) {
    ASSERT_EQ(s->AppendU32(i), kSuccess);
    EXPECT_EQ(s->size, 4 * i);
  }
}

struct Record {
  std::uint32_t a;
  char name[8];
};

TEST(ByteStream, RecordsAreCopiedAsBlocks) {
  ScopedByteStream s;
  const Record in{42, "seven"};
  ASSERT_EQ(s->AppendRecord(in), kSuccess);
  EXPECT_EQ(s->size, sizeof(Record));
  s->Rewind();
  Record out{};
  ASSERT_EQ(s->ReadRecord(&out), kSuccess);
  EXPECT_EQ(out.a, 42u);
  EXPECT_STREQ(out.name, "seven");
}

TEST(ByteStream, ExtendGrowsWithoutWriting) {
  ScopedByteStream s;
  ASSERT_EQ(s->AppendU8(1), kSuccess);
  ASSERT_EQ(s->Extend(100), kSuccess);
  EXPECT_EQ(s->size, 101u);
  std::memset(s->data + 1, 0x5A, 100);
  s->Rewind();
  ASSERT_EQ(s->Skip(1), kSuccess);
  std::uint8_t b = 0;
  ASSERT_EQ(s->ReadU8(&b), kSuccess);
  EXPECT_EQ(b, 0x5A);
}

TEST(ByteStream, AppendAndExtendReportDifferentStatusesOnOverflow) {
  // Growth beyond the 32-bit size limit is the failure that can be provoked
  // here without exhausting memory: append reports 0xBFFF8000, Extend 0xBFFF8005.
  ScopedByteStream s;
  ASSERT_EQ(s->AppendU32(1), kSuccess);
  EXPECT_EQ(s->Extend(std::numeric_limits<std::uint32_t>::max()), kOutOfMemory);
  ScopedByteStream t;
  ASSERT_EQ(t->AppendU32(1), kSuccess);
  std::uint8_t byte = 0;
  EXPECT_EQ(t->AppendBytes(&byte, std::numeric_limits<std::uint32_t>::max()), kByteStreamSaveFailed);
}

TEST(ByteStream, ReadsPastTheEndFailWithLoadStatus) {
  ScopedByteStream s;
  ASSERT_EQ(s->AppendU8(1), kSuccess);
  ASSERT_EQ(s->AppendU8(2), kSuccess);
  s->Rewind();
  std::uint32_t value = 0x12345678;
  EXPECT_EQ(s->ReadU32(&value), kByteStreamLoadFailed);
  EXPECT_EQ(value, 0x12345678u);  // nothing was copied
  std::uint8_t b = 0;
  ASSERT_EQ(s->ReadU8(&b), kSuccess);  // the cursor did not move
  EXPECT_EQ(b, 1);
  ASSERT_EQ(s->ReadU8(&b), kSuccess);
  EXPECT_EQ(s->ReadU8(&b), kByteStreamLoadFailed);
  double d = 0;
  EXPECT_EQ(s->ReadF64(&d), kByteStreamLoadFailed);
  std::uint64_t q = 0;
  EXPECT_EQ(s->ReadU64(&q), kByteStreamLoadFailed);
}

TEST(ByteStream, ReadWithoutCursorFails) {
  ScopedByteStream s;
  ASSERT_EQ(s->AppendU32(5), kSuccess);
  std::uint32_t v = 0;
  EXPECT_EQ(s->ReadU32(&v), kByteStreamLoadFailed);  // cursor never set
  ByteStream empty;
  empty.Rewind();
  EXPECT_EQ(empty.ReadU32(&v), kByteStreamLoadFailed);
}

TEST(ByteStream, AppendKeepsReadPositionValid) {
  ScopedByteStream s;
  ASSERT_EQ(s->AppendU32(1), kSuccess);
  s->Rewind();
  std::uint32_t v = 0;
  ASSERT_EQ(s->ReadU32(&v), kSuccess);
  ASSERT_EQ(s->AppendU32(2), kSuccess);  // may move the block
  ASSERT_EQ(s->ReadU32(&v), kSuccess);
  EXPECT_EQ(v, 2u);
}

TEST(ByteStream, ResetFreesAndZeroes) {
  ByteStream s;
  ASSERT_EQ(s.AppendU64(1), kSuccess);
  s.Reset();
  EXPECT_EQ(s.size, 0u);
  EXPECT_EQ(s.data, nullptr);
  EXPECT_EQ(s.cursor, nullptr);
}

TEST(ByteStream, TruncateForgetsTheTailAndKeepsTheBlock) {
  ScopedByteStream s;
  ASSERT_EQ(s->AppendU32(7), kSuccess);
  ASSERT_EQ(s->AppendU32(8), kSuccess);
  s->Rewind();
  ASSERT_EQ(s->Skip(8), kSuccess);
  const std::uint8_t* block = s->data;
  s->Truncate(4);
  EXPECT_EQ(s->size, 4u);
  EXPECT_EQ(s->data, block);
  EXPECT_EQ(s->Remaining(), 0u);  // the cursor is back at the new end
  ASSERT_EQ(s->AppendU32(9), kSuccess);
  s->Rewind();
  std::uint32_t first = 0, second = 0;
  ASSERT_EQ(s->ReadU32(&first), kSuccess);
  ASSERT_EQ(s->ReadU32(&second), kSuccess);
  EXPECT_EQ(first, 7u);
  EXPECT_EQ(second, 9u);
  EXPECT_EQ(s->size, 8u);
}

TEST(ByteStream, TruncateToMoreThanIsWrittenChangesNothing) {
  ScopedByteStream s;
  ASSERT_EQ(s->AppendU32(7), kSuccess);
  s->Truncate(100);
  EXPECT_EQ(s->size, 4u);
  ByteStream empty;
  empty.Truncate(0);
  EXPECT_EQ(empty.data, nullptr);
  EXPECT_EQ(empty.size, 0u);
}

}  // namespace
}  // namespace keld
