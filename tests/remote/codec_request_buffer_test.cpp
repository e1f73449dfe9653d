// The server's request buffer and the budget all of them share.
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "remote/rpc/request_buffer.h"

namespace keld::rpc {
namespace {

std::vector<std::uint8_t> Counting(std::size_t size, std::uint8_t first = 0) {
  std::vector<std::uint8_t> bytes(size);
  std::iota(bytes.begin(), bytes.end(), first);
  return bytes;
}

TEST(RequestBuffer, AppendsGrowAcrossMappingsAndKeepTheBytes) {
  RequestBuffer buffer(nullptr, 8u << 20);
  std::vector<std::uint8_t> expected;
  for (int i = 0; i < 100; ++i) {
    const std::vector<std::uint8_t> piece = Counting(65000, static_cast<std::uint8_t>(i));
    ASSERT_EQ(buffer.Append(piece.data(), piece.size()), RequestBuffer::Result::kAppended);
    expected.insert(expected.end(), piece.begin(), piece.end());
  }
  ASSERT_EQ(buffer.size(), expected.size());
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), buffer.data()));
  buffer.Release();
  EXPECT_EQ(buffer.size(), 0u);
  EXPECT_EQ(buffer.data(), nullptr);
}

TEST(RequestBuffer, TheMaximumRefusesWithoutAppending) {
  RequestBuffer buffer(nullptr, 100);
  const std::vector<std::uint8_t> bytes = Counting(60);
  ASSERT_EQ(buffer.Append(bytes.data(), 60), RequestBuffer::Result::kAppended);
  EXPECT_EQ(buffer.Append(bytes.data(), 41), RequestBuffer::Result::kTooLarge);
  EXPECT_EQ(buffer.size(), 60u);
  EXPECT_EQ(buffer.Append(bytes.data(), 40), RequestBuffer::Result::kAppended);
  EXPECT_EQ(buffer.size(), 100u);
  EXPECT_EQ(buffer.Append(bytes.data(), SIZE_MAX), RequestBuffer::Result::kTooLarge);
}

TEST(RequestBuffer, TheBudgetCountsWrittenPagesAndGetsThemBack) {
  RequestBudget budget(1u << 20);
  {
    RequestBuffer buffer(&budget, 8u << 20);
    buffer.Reserve(4u << 20);  // a peer's allocation hint: address space only
    EXPECT_EQ(budget.used(), 0u);
    const std::vector<std::uint8_t> bytes = Counting(300000);
    ASSERT_EQ(buffer.Append(bytes.data(), bytes.size()), RequestBuffer::Result::kAppended);
    EXPECT_GE(budget.used(), bytes.size());
    EXPECT_LT(budget.used(), bytes.size() + 65536);
    ASSERT_EQ(buffer.Append(bytes.data(), bytes.size()), RequestBuffer::Result::kAppended);
    ASSERT_EQ(buffer.Append(bytes.data(), bytes.size()), RequestBuffer::Result::kAppended);
    // A fourth would pass the budget's megabyte: refused, the rest kept.
    EXPECT_EQ(buffer.Append(bytes.data(), bytes.size()), RequestBuffer::Result::kOverBudget);
    EXPECT_EQ(buffer.size(), 3 * bytes.size());
    RequestBuffer other(&budget, 8u << 20);
    EXPECT_EQ(other.Append(bytes.data(), bytes.size()), RequestBuffer::Result::kOverBudget);
  }
  EXPECT_EQ(budget.used(), 0u);
}

TEST(RequestBudget, TakesOnlyWhatFits) {
  RequestBudget budget(1000);
  EXPECT_TRUE(budget.Take(600));
  EXPECT_FALSE(budget.Take(401));
  EXPECT_TRUE(budget.Take(400));
  EXPECT_FALSE(budget.Take(1));
  EXPECT_FALSE(budget.Take(SIZE_MAX));
  budget.Give(1000);
  EXPECT_EQ(budget.used(), 0u);
}

}  // namespace
}  // namespace keld::rpc
