// Where the blocks of a target's grab replies come back to: the newest image
// given stays until the thread has a newer one or starts anew, then becomes
// the spare the thread flattens into; a block that comes back late is only a
// spare; at most one of each is kept.
#include "local/image_blocks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <thread>

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

// Lends `block` as the newest image given and gives it back.
void LendAndReturn(ImageBlocks& blocks, ByteStream block) {
  blocks.Lent(block.data);
  blocks.TakeBack(&block);
  EXPECT_EQ(block.data, nullptr);
}

TEST(ImageBlocks, TheNewestImageGivenWaitsForAGrabAfterAFailure) {
  ImageBlocks blocks;
  LendAndReturn(blocks, Block(3));
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
  LendAndReturn(blocks, Block(3));
  blocks.Retire();
  ScopedByteStream returned;
  blocks.TakeReturned(returned.get());
  EXPECT_EQ(returned->data, nullptr);
  ScopedByteStream spare;
  blocks.TakeSpare(spare.get());
  EXPECT_EQ(WordOf(*spare), 3u);
}

TEST(ImageBlocks, AnOlderImageComingBackLastIsOnlyASpare) {
  ImageBlocks blocks;
  ByteStream older = Block(1);
  ByteStream newer = Block(2);
  blocks.Lent(older.data);
  blocks.Lent(newer.data);
  blocks.TakeBack(&newer);
  blocks.TakeBack(&older);
  ScopedByteStream returned;
  ScopedByteStream spare;
  blocks.TakeReturned(returned.get());
  blocks.TakeSpare(spare.get());
  EXPECT_EQ(WordOf(*returned), 2u);
  EXPECT_EQ(WordOf(*spare), 1u);
}

TEST(ImageBlocks, ABlockOfARetiredImageComesBackAsASpare) {
  ImageBlocks blocks;
  ByteStream away = Block(5);
  blocks.Lent(away.data);
  blocks.Retire();  // the thread starts anew while the block is away
  blocks.TakeBack(&away);
  ScopedByteStream returned;
  ScopedByteStream spare;
  blocks.TakeReturned(returned.get());  // nothing awaited: no wait
  blocks.TakeSpare(spare.get());
  EXPECT_EQ(returned->data, nullptr);
  EXPECT_EQ(WordOf(*spare), 5u);
}

TEST(ImageBlocks, AGrabWaitsForTheNewestImageStillAway) {
  ImageBlocks blocks;
  ByteStream away = Block(7);
  blocks.Lent(away.data);
  std::atomic<bool> back{false};
  std::thread sender([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    back = true;
    blocks.TakeBack(&away);
  });
  ScopedByteStream reply;
  blocks.TakeReturned(reply.get());
  EXPECT_TRUE(back.load());
  EXPECT_EQ(WordOf(*reply), 7u);
  sender.join();
}

TEST(ImageBlocks, AStreamThatHoldsABlockTakesNone) {
  ImageBlocks blocks;
  LendAndReturn(blocks, Block(3));
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
    LendAndReturn(blocks, Block(word));  // blocks beyond the two kept are freed (the leak check sees it)
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

}  // namespace
}  // namespace keld
