// Where the blocks of a target's grab replies come back to: the last image
// given stays until the thread has a newer one, then becomes the spare the
// thread flattens into; at most one of each is kept.
#include "local/image_blocks.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace keld {
namespace {

ByteStream Block(std::uint32_t word) {
  ByteStream stream;
  EXPECT_EQ(stream.AppendU32(word), kSuccess);
  return stream;
}

std::uint32_t WordOf(const ByteStream& stream) {
  std::uint32_t word = 0;
  if (stream.size >= 4) std::memcpy(&word, stream.data, 4);
  return word;
}

TEST(ImageBlocks, TheLastImageGivenWaitsForAGrabAfterAFailure) {
  ImageBlocks blocks;
  ByteStream given = Block(3);
  blocks.TakeBack(&given);
  EXPECT_EQ(given.data, nullptr);
  ScopedByteStream spare;
  blocks.TakeSpare(spare.get());
  EXPECT_EQ(spare->data, nullptr);  // the last image given is no spare yet
  ScopedByteStream reply;
  blocks.TakeReturned(reply.get());
  EXPECT_EQ(WordOf(*reply), 3u);
  ScopedByteStream again;
  blocks.TakeReturned(again.get());
  EXPECT_EQ(again->data, nullptr);
}

TEST(ImageBlocks, ANewerImageMakesTheLastGivenTheSpare) {
  ImageBlocks blocks;
  ByteStream given = Block(3);
  blocks.TakeBack(&given);
  blocks.Retire();
  ScopedByteStream returned;
  blocks.TakeReturned(returned.get());
  EXPECT_EQ(returned->data, nullptr);
  ScopedByteStream spare;
  blocks.TakeSpare(spare.get());
  EXPECT_EQ(WordOf(*spare), 3u);
}

TEST(ImageBlocks, AStreamThatHoldsABlockTakesNone) {
  ImageBlocks blocks;
  ByteStream given = Block(3);
  blocks.TakeBack(&given);
  ScopedByteStream holding;
  ASSERT_EQ(holding->AppendU32(9), kSuccess);
  blocks.TakeReturned(holding.get());
  EXPECT_EQ(WordOf(*holding), 9u);
  ScopedByteStream reply;
  blocks.TakeReturned(reply.get());
  EXPECT_EQ(WordOf(*reply), 3u);
}

TEST(ImageBlocks, KeepsOneSpareAndOneReturnedBlock) {
  ImageBlocks blocks;
  for (std::uint32_t word = 1; word <= 4; ++word) {
    ByteStream given = Block(word);
    blocks.TakeBack(&given);  // blocks beyond the two kept are freed (the leak check sees it)
  }
  ScopedByteStream returned;
  ScopedByteStream spare;
  ScopedByteStream more;
  blocks.TakeReturned(returned.get());
  blocks.TakeSpare(spare.get());
  blocks.TakeSpare(more.get());
  EXPECT_EQ(WordOf(*returned), 4u);
  EXPECT_EQ(WordOf(*spare), 1u);  // the first spare stays; later ones are freed
  EXPECT_EQ(more->data, nullptr);
}

TEST(ImageBlocks, RetireWithASpareFreesTheLastGiven) {
  ImageBlocks blocks;
  ByteStream first = Block(1);
  ByteStream second = Block(2);
  blocks.TakeBack(&first);
  blocks.TakeBack(&second);  // 1 becomes the spare
  blocks.Retire();           // 2 is freed: there is a spare already
  ScopedByteStream returned;
  ScopedByteStream spare;
  blocks.TakeReturned(returned.get());
  blocks.TakeSpare(spare.get());
  EXPECT_EQ(returned->data, nullptr);
  EXPECT_EQ(WordOf(*spare), 1u);
}

}  // namespace
}  // namespace keld
