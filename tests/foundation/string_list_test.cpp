#include "foundation/string_list.h"

#include <gtest/gtest.h>

#include "foundation/byte_stream.h"

namespace keld {
namespace {

TEST(StringList, EmptyListFlattensToFourZeroBytes) {
  ScopedByteStream s;
  StringList list;
  ASSERT_EQ(list.Flatten(s.get()), kSuccess);
  ASSERT_EQ(s->size, 4u);
  EXPECT_EQ(std::memcmp(s->data, "\0\0\0\0", 4), 0);
}

TEST(StringList, RoundTripKeepsOrder) {
  ScopedByteStream s;
  StringList list;
  list.emplace_back("one");
  list.emplace_back("");
  list.emplace_back("three");
  ASSERT_EQ(list.Flatten(s.get()), kSuccess);
  EXPECT_EQ(s->size, 4u + (4 + 3) + 4 + (4 + 5));
  s->Rewind();
  StringList back;
  back.emplace_back("stale");
  ASSERT_EQ(back.Unflatten(s.get()), kSuccess);
  ASSERT_EQ(back.size(), 3u);
  EXPECT_STREQ(back[0].c_str(), "one");
  EXPECT_STREQ(back[1].c_str(), "");
  EXPECT_STREQ(back[2].c_str(), "three");
}

TEST(StringList, ShortStreamKeepsWhatWasRead) {
  ScopedByteStream s;
  ASSERT_EQ(s->AppendU32(3), kSuccess);
  ASSERT_EQ(CFGString("first").Flatten(s.get()), kSuccess);
  ASSERT_EQ(s->AppendU32(50), kSuccess);  // promises 50 characters, none follow
  s->Rewind();
  StringList back;
  EXPECT_EQ(back.Unflatten(s.get()), kByteStreamLoadFailed);
  ASSERT_EQ(back.size(), 1u);
  EXPECT_STREQ(back[0].c_str(), "first");
}

TEST(StringList, MissingCountFails) {
  ScopedByteStream s;
  s->Rewind();
  StringList back;
  back.emplace_back("cleared");
  EXPECT_EQ(back.Unflatten(s.get()), kByteStreamLoadFailed);
  EXPECT_TRUE(back.empty());
}

}  // namespace
}  // namespace keld
