#include "foundation/lent_block.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace keld {
namespace {

// Keeps what comes back.
class Home : public BlockHome {
 public:
  ~Home() override {
    for (ByteStream& block : blocks) block.Reset();
  }
  void TakeBack(ByteStream* stream) override {
    blocks.push_back(*stream);
    *stream = ByteStream{};
  }
  std::vector<ByteStream> blocks;
};

TEST(LentBlock, ALentBlockGoesBackToItsHome) {
  auto home = std::make_shared<Home>();
  ByteStream output;
  ASSERT_EQ(output.AppendU32(42), kSuccess);
  const std::uint8_t* block = output.data;
  LendOutput(output, home);
  ReturnLentOutput(&output);
  EXPECT_EQ(output.data, nullptr);
  EXPECT_EQ(output.size, 0u);
  ASSERT_EQ(home->blocks.size(), 1u);
  EXPECT_EQ(home->blocks[0].data, block);
  EXPECT_EQ(home->blocks[0].size, 4u);
  // The loan is gone with the return: a second return keeps the stream.
  ASSERT_EQ(output.AppendU32(1), kSuccess);
  ReturnLentOutput(&output);
  EXPECT_NE(output.data, nullptr);
  EXPECT_EQ(home->blocks.size(), 1u);
  output.Reset();
}

TEST(LentBlock, AnotherStreamOrAnotherBlockStaysWithItsOwner) {
  auto home = std::make_shared<Home>();
  ScopedByteStream lent;
  ScopedByteStream other;
  ASSERT_EQ(lent->AppendU32(1), kSuccess);
  ASSERT_EQ(other->AppendU32(2), kSuccess);
  LendOutput(*lent, home);
  ReturnLentOutput(other.get());  // not the stream lent; forgets the loan
  EXPECT_NE(other->data, nullptr);
  ReturnLentOutput(lent.get());  // the loan was forgotten
  EXPECT_NE(lent->data, nullptr);
  EXPECT_TRUE(home->blocks.empty());

  // The same stream after its owner freed the block: nothing goes back,
  // and the loan is forgotten.
  LendOutput(*lent, home);
  lent->Reset();
  ReturnLentOutput(lent.get());
  EXPECT_TRUE(home->blocks.empty());
  ASSERT_EQ(lent->AppendU64(3), kSuccess);
  ReturnLentOutput(lent.get());
  EXPECT_NE(lent->data, nullptr);
  EXPECT_TRUE(home->blocks.empty());
}

TEST(LentBlock, AForgottenLoanLeavesTheBlockWithTheStream) {
  auto home = std::make_shared<Home>();
  ScopedByteStream output;
  ASSERT_EQ(output->AppendU32(1), kSuccess);
  LendOutput(*output, home);
  ForgetLentOutput();
  ReturnLentOutput(output.get());
  EXPECT_NE(output->data, nullptr);
  EXPECT_TRUE(home->blocks.empty());
}

TEST(LentBlock, ALoanIsTheLendingThreadsOwn) {
  auto home = std::make_shared<Home>();
  ScopedByteStream output;
  ASSERT_EQ(output->AppendU32(1), kSuccess);
  LendOutput(*output, home);
  std::thread other([&] { ReturnLentOutput(output.get()); });
  other.join();
  EXPECT_NE(output->data, nullptr);
  EXPECT_TRUE(home->blocks.empty());
  ReturnLentOutput(output.get());
  EXPECT_EQ(output->data, nullptr);
  EXPECT_EQ(home->blocks.size(), 1u);
}

TEST(LentBlock, AnEmptyStreamLendsNothing) {
  auto home = std::make_shared<Home>();
  ByteStream empty;
  LendOutput(empty, home);
  EXPECT_EQ(home.use_count(), 1);  // no loan holds the home
  ReturnLentOutput(&empty);
  EXPECT_TRUE(home->blocks.empty());
}

TEST(LentBlock, ALoanKeepsItsHomeUntilTheBlockIsBack) {
  bool gone = false;
  class Counted : public Home {
   public:
    explicit Counted(bool* gone) : gone_(gone) {}
    ~Counted() override { *gone_ = true; }

   private:
    bool* gone_;
  };
  auto home = std::make_shared<Counted>(&gone);
  ByteStream output;
  ASSERT_EQ(output.AppendU32(1), kSuccess);
  LendOutput(output, home);
  home.reset();
  EXPECT_FALSE(gone);
  ReturnLentOutput(&output);  // the home takes the block and then goes, freeing it
  EXPECT_TRUE(gone);
  EXPECT_EQ(output.data, nullptr);
}

}  // namespace
}  // namespace keld
