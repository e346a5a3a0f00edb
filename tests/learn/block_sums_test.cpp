// The tree in which sums of blocks are added.
#include "learn/block_sums.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/builders.h"

namespace test {
namespace {

using tv::BlockSums;
using tv::BlockTree;

constexpr size_t kBlocks = 11;

// Numbers whose sum depends on the order in which they are added, and moments about another value in each.
BlockSums block(uint64_t number) {
  BlockSums sums{number, 0, 10 + number, number % 3, 10.0, 0.1 / static_cast<double>(number + 1), {}};
  const double x = 1.0 / (3.0 + static_cast<double>(number)), n = 2.0;
  sums.counts.push_back({{x, 1.0 - x}, {}, {}});
  sums.counts.emplace_back();  // of a family that is not learned
  sums.counts.push_back({{n}, {n, n * x, n * x * x + n}, {static_cast<double>(number)}});
  return sums;
}

BlockTree tree_of(const std::vector<size_t>& blocks) {
  BlockTree tree;
  for (const size_t number : blocks) tree.append(block(number));
  return tree;
}

bool same(const BlockSums& a, const BlockSums& b) {
  const auto same_counts = [](const tv::FamilyCounts& c, const tv::FamilyCounts& d) {
    return c.numbers == d.numbers && c.moments == d.moments && c.origins == d.origins;
  };
  return a.cases == b.cases && a.incomplete == b.incomplete && a.weight == b.weight &&
         a.log_likelihood == b.log_likelihood &&
         std::equal(a.counts.begin(), a.counts.end(), b.counts.begin(), b.counts.end(), same_counts);
}

TEST(BlockSums, AreTheSameHoweverTheyAreDivided) {
  std::vector<size_t> all;
  for (size_t b = 0; b < kBlocks; ++b) all.push_back(b);
  const BlockTree whole = tree_of(all);
  ASSERT_EQ(whole.nodes().size(), 3u);  // of 8, 2 and 1
  EXPECT_EQ(whole.nodes()[1].first, 8u);
  Generator random(1);
  for (int round = 0; round < 200; ++round) {
    std::vector<std::vector<size_t>> parts(1 + random.below(5));
    for (const size_t b : all) parts[random.below(parts.size())].push_back(b);
    BlockTree sum;
    for (const auto& part : parts) ASSERT_TRUE(sum.add(tree_of(part)));
    ASSERT_EQ(sum.nodes().size(), 3u);
    ASSERT_TRUE(same(sum.total(), whole.total()));
  }
  EXPECT_EQ(whole.total().cases, 165u);
}

TEST(BlockSums, AreAddedOnce) {
  BlockTree tree = tree_of({2, 3, 6});
  const BlockSums before = tree.total();
  for (const size_t block : {2, 3, 6}) EXPECT_FALSE(tree.add(tree_of({0, block, 9}))) << block;
  EXPECT_FALSE(tree.add(tree_of({4, 5, 6, 7})));
  EXPECT_FALSE(tree.add(tree));
  EXPECT_TRUE(same(tree.total(), before));
  EXPECT_TRUE(tree.add(tree_of({})));
  EXPECT_TRUE(tree.add(tree_of({4, 5, 7})));
  EXPECT_EQ(tree.nodes().size(), 2u);
}

// The sums of x and of x squared about one value, whatever those of the parts were about.
TEST(BlockSums, MomentsMoveToOneOrigin) {
  const BlockSums sums = tree_of({0, 1, 2, 3}).total();
  double first = 0.0, second = 0.0;
  for (size_t b = 0; b < 4; ++b) {
    const BlockSums part = block(b);
    const std::vector<double>& moments = part.counts[2].moments;
    const double shift = static_cast<double>(b);
    first += moments[1] + shift * moments[0];
    second += moments[2] + 2 * shift * moments[1] + shift * shift * moments[0];
  }
  EXPECT_EQ(sums.counts[2].origins, std::vector<double>{0.0});
  EXPECT_NEAR(sums.counts[2].moments[0], 8.0, 1e-12);
  EXPECT_NEAR(sums.counts[2].moments[1], first, 1e-12);
  EXPECT_NEAR(sums.counts[2].moments[2], second, 1e-12);
}

}  // namespace
}  // namespace test
