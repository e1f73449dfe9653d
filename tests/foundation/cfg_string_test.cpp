#include "foundation/cfg_string.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/byte_stream.h"

namespace keld {
namespace {

TEST(CFGString, DefaultIsEmptyWithOneCapacityStep) {
  CFGString s;
  EXPECT_EQ(s.error(), 0u);
  EXPECT_EQ(s.capacity(), 32u);
  EXPECT_EQ(s.length(), 1u);
  EXPECT_STREQ(s.c_str(), "");
}

TEST(CFGString, ReserveStepsOf32AlwaysLeaveOneByteSpare) {
  CFGString s;
  s.Reserve(31);
  EXPECT_EQ(s.capacity(), 32u);
  s.Reserve(32);
  EXPECT_EQ(s.capacity(), 64u);
  s.Reserve(1);  // never shrinks
  EXPECT_EQ(s.capacity(), 64u);
}

TEST(CFGString, ThirtyOneCharactersNeedSixtyFourBytesThirtyStayAtThirtyTwo) {
  CFGString thirty(std::string(30, 'a').c_str());
  EXPECT_EQ(thirty.capacity(), 32u);
  EXPECT_EQ(thirty.length(), 31u);
  CFGString thirtyOne(std::string(31, 'b').c_str());
  EXPECT_EQ(thirtyOne.capacity(), 64u);
  EXPECT_EQ(thirtyOne.length(), 32u);
}

TEST(CFGString, AssignStopsAtZeroByte) {
  CFGString s;
  const char text[] = {'a', 'b', 0, 'c', 'd'};
  s.Assign(text, sizeof text);
  EXPECT_STREQ(s.c_str(), "ab");
  EXPECT_EQ(s.length(), 3u);
}

TEST(CFGString, CopyIsDeep) {
  CFGString a("hello");
  CFGString b(a);
  a = "changed";
  EXPECT_STREQ(b.c_str(), "hello");
  b = b;  // self assignment keeps the text
  EXPECT_STREQ(b.c_str(), "hello");
}

TEST(CFGString, CompareIsSignedBytewiseAndShorterFirst) {
  EXPECT_LT(CFGString("abc").Compare(CFGString("abd")), 0);
  EXPECT_GT(CFGString("b").Compare(CFGString("abc")), 0);
  EXPECT_LT(CFGString("ab").Compare(CFGString("abc")), 0);
  EXPECT_EQ(CFGString("abc").Compare(CFGString("abc")), 0);
  EXPECT_LT(CFGString("B").Compare(CFGString("a")), 0);  // case-sensitive
  // 0x80 is negative as a signed char, so it sorts before plain ASCII.
  EXPECT_LT(CFGString("\x80").Compare(CFGString("a")), 0);
}

TEST(CFGString, CompareOfSubstringsClampsLengths) {
  CFGString a("xxabcxx");
  CFGString b("abc");
  EXPECT_EQ(a.Compare(2, 3, b, 0, 3), 0);
  EXPECT_EQ(a.Compare(2, 100, b, 0, 100), 1);  // "abcxx" is longer than "abc"
  EXPECT_EQ(a.Compare(100, 1, b, 3, 1), 0);    // both empty
}

TEST(CFGString, FlattenIsCountThenCharacters) {
  ScopedByteStream stream;
  CFGString s("abc");
  ASSERT_EQ(s.Flatten(stream.get()), kSuccess);
  ASSERT_EQ(stream->size, 7u);
  const std::uint8_t expected[] = {3, 0, 0, 0, 'a', 'b', 'c'};
  EXPECT_EQ(std::memcmp(stream->data, expected, sizeof expected), 0);
}

TEST(CFGString, EmptyStringFlattensToFourZeroBytes) {
  ScopedByteStream stream;
  ASSERT_EQ(CFGString().Flatten(stream.get()), kSuccess);
  ASSERT_EQ(stream->size, 4u);
  EXPECT_EQ(std::memcmp(stream->data, "\0\0\0\0", 4), 0);
}

TEST(CFGString, UnflattenRoundTrip) {
  ScopedByteStream stream;
  ASSERT_EQ(CFGString("round trip").Flatten(stream.get()), kSuccess);
  stream->Rewind();
  CFGString back;
  ASSERT_EQ(back.Unflatten(stream.get()), kSuccess);
  EXPECT_STREQ(back.c_str(), "round trip");
  EXPECT_EQ(stream->Remaining(), 0u);
}

TEST(CFGString, EmbeddedZeroCutsTextButNotCursor) {
  ScopedByteStream stream;
  const std::uint8_t bytes[] = {5, 0, 0, 0, 'a', 'b', 0, 'c', 'd', 0xEE};
  ASSERT_EQ(stream->AppendBytes(bytes, sizeof bytes), kSuccess);
  stream->Rewind();
  CFGString s;
  ASSERT_EQ(s.Unflatten(stream.get()), kSuccess);
  EXPECT_STREQ(s.c_str(), "ab");
  std::uint8_t next = 0;
  ASSERT_EQ(stream->ReadU8(&next), kSuccess);
  EXPECT_EQ(next, 0xEE);
}

TEST(CFGString, UnflattenOfZeroCountKeepsOldText) {
  ScopedByteStream stream;
  ASSERT_EQ(stream->AppendU32(0), kSuccess);
  stream->Rewind();
  CFGString s("kept");
  ASSERT_EQ(s.Unflatten(stream.get()), kSuccess);
  EXPECT_STREQ(s.c_str(), "kept");
}

TEST(CFGString, UnflattenOfShortStreamFails) {
  ScopedByteStream stream;
  const std::uint8_t bytes[] = {9, 0, 0, 0, 'a', 'b'};
  ASSERT_EQ(stream->AppendBytes(bytes, sizeof bytes), kSuccess);
  stream->Rewind();
  CFGString s("old");
  EXPECT_EQ(s.Unflatten(stream.get()), kByteStreamLoadFailed);
  EXPECT_STREQ(s.c_str(), "old");

  ScopedByteStream tiny;
  ASSERT_EQ(tiny->AppendU8(1), kSuccess);
  tiny->Rewind();
  EXPECT_EQ(s.Unflatten(tiny.get()), kByteStreamLoadFailed);
}

TEST(CFGString, FormatStringHasNoLengthLimit) {
  const std::string big(1000, 'x');
  CFGString s = FormatString("%s:%u", big.c_str(), 42u);
  EXPECT_EQ(s.size(), 1003u);
  EXPECT_EQ(std::string(s.c_str()).substr(1000), ":42");
}

}  // namespace
}  // namespace keld

namespace keld {
namespace {

TEST(CFGString, FailedAllocationSetsErrorAndRefusesLaterAssignments) {
  CFGString s("last good");
  s.Reserve(std::uint64_t{1} << 62);  // cannot be had
  EXPECT_EQ(s.error(), 1u);
  EXPECT_STREQ(s.c_str(), "last good");
  EXPECT_EQ(s.capacity(), 32u);
  s = "refused";  // from now on every assignment is refused
  EXPECT_STREQ(s.c_str(), "last good");
  EXPECT_EQ(s.error(), 1u);
}

}  // namespace
}  // namespace keld
