// The loop nests against a plain walk over all entries, for every instruction set that runs here. All of them
// must agree with each other to the last bit.
#include "tables/kernels/kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include "tables/kernels/fused_product.h"
#include "tables/kernels/index_map.h"

namespace {

struct Case {
  std::vector<tv::Dimension> nest;  // as a table would be walked
  size_t size = 1, other_size = 1;
};

// A nest over a contiguous table whose dimensions the other table has or lacks at random, in the same order
// or in another one, now and then with gaps between its entries.
Case random_case(std::mt19937& random) {
  Case made;
  const size_t dimensions = 1 + random() % 5;
  const bool gaps = random() % 4 == 0;
  size_t stride = 1, stride2 = gaps ? 1 + random() % 3 : 1;
  for (size_t d = 0; d < dimensions; ++d) {
    const size_t limit = d == 0 ? 40 : 9;
    const size_t count = 2 + random() % limit;
    if (made.size * count > 6000) break;
    const bool has = random() % 3 != 0;
    made.nest.insert(made.nest.begin(), {count, stride, has ? stride2 : 0});
    stride *= count;
    made.size *= count;
    if (has) stride2 *= count;
  }
  if (random() % 4 == 0)  // in another order
    for (tv::Dimension& dimension : made.nest)
      std::swap(dimension.stride2, made.nest[random() % made.nest.size()].stride2);
  made.other_size = 1;
  for (const tv::Dimension& dimension : made.nest)
    made.other_size += (dimension.count - 1) * dimension.stride2;
  return made;
}

template <class Each>
void walk(const Case& made, Each each) {
  for (size_t i = 0; i < made.size; ++i) {
    size_t rest = i, other = 0;
    for (size_t d = made.nest.size(); d-- > 0; rest /= made.nest[d].count)
      other += rest % made.nest[d].count * made.nest[d].stride2;
    each(i, other);
  }
}

std::vector<float> random_numbers(std::mt19937& random, size_t size) {
  std::vector<float> numbers(size);
  for (float& number : numbers) number = random() % 5 ? static_cast<float>(random() % 10000) / 777.0f : 0.0f;
  return numbers;
}

void add_bits(uint64_t& hash, const std::vector<double>& numbers) {
  for (double number : numbers) hash = (hash ^ std::bit_cast<uint64_t>(number)) * 1099511628211u;
}

TEST(KernelsTest, EveryInstructionSetDoesTheSameAsAPlainWalk) {
  std::mt19937 random(20261121);
  uint64_t hash = 14695981039346656037u;
  for (size_t round = 0; round < 3000; ++round) {
    const Case made = random_case(random);
    const std::vector<float> table = random_numbers(random, made.size);
    const std::vector<float> other = random_numbers(random, made.other_size);
    std::vector<float> product = table, assigned = table;
    std::vector<double> sums(made.other_size, 0.25), maxima(made.other_size, 0.25);
    walk(made, [&](size_t i, size_t o) {
      product[i] *= other[o];
      assigned[i] = other[o];
      sums[o] += static_cast<double>(table[i]);
      maxima[o] = std::max(maxima[o], static_cast<double>(table[i]));
    });
    std::vector<double> first_sums;
    for (const tv::Kernels* const* kernels = tv::available_kernels(); *kernels; ++kernels) {
      SCOPED_TRACE((*kernels)->name);
      std::vector<float> x = table;
      (*kernels)->multiply(made.nest.data(), made.nest.size(), x.data(), other.data());
      ASSERT_EQ(x, product);
      (*kernels)->assign(made.nest.data(), made.nest.size(), x.data(), other.data());
      ASSERT_EQ(x, assigned);
      std::vector<double> y(made.other_size, 0.25);
      (*kernels)->max(made.nest.data(), made.nest.size(), table.data(), y.data());
      ASSERT_EQ(y, maxima);
      y.assign(made.other_size, 0.25);
      (*kernels)->sum(made.nest.data(), made.nest.size(), table.data(), y.data());
      for (size_t o = 0; o < y.size(); ++o) ASSERT_NEAR(y[o], sums[o], 1e-9 * sums[o]);
      if (first_sums.empty()) first_sums = y;
      ASSERT_EQ(std::memcmp(y.data(), first_sums.data(), y.size() * sizeof(double)), 0);
    }
    add_bits(hash, first_sums);
  }
  EXPECT_EQ(hash, 1301858106502323757u) << "the order of sums is another one than on other machines";
}

// Up to three factors over a block of random sizes, each with some of its dimensions.
TEST(KernelsTest, FactorsTogetherMultiplyLikeOneAfterTheOther) {
  std::mt19937 random(3);
  size_t with_runs = 0, rows_along = 0;
  for (size_t round = 0; round < 2000; ++round) {
    std::vector<size_t> counts;
    const size_t states = round % 3 == 0 ? 1 : 1 + random() % 12;
    for (size_t size = 1, next; (next = 2 + random() % states, size * next <= 4000); size *= next)
      counts.push_back(next);
    const tv::OwnShape shape(counts);
    tv::OwnIndexMap maps[] = {tv::OwnIndexMap(counts.size()), tv::OwnIndexMap(counts.size()),
                              tv::OwnIndexMap(counts.size())};
    const size_t factors = 1 + random() % 3;
    std::vector<float> others[3];
    tv::FactorNest nests[3];
    for (size_t f = 0; f < factors; ++f) {
      size_t step = 1;
      const size_t has = random() % 5;
      for (size_t d = counts.size(); d-- > 0;) {
        const bool here = random() % 4 < has;
        maps[f].steps[d] = here ? step : 0;
        if (here) step *= counts[d];
      }
      tv::finish_index_map(maps[f], shape);
      others[f] = random_numbers(random, step);
      nests[f] = {maps[f].inner, maps[f].inner_count, maps[f].inner[0].count};
    }
    const bool assigns = random() % 2;
    tv::FusedProduct fused;
    tv::plan_fused(fused, nests, factors, assigns);
    with_runs += fused.length >= 16;
    rows_along += fused.along > 0;
    std::vector<float> before = random_numbers(random, shape.size + 40);  // some of them behind the block
    std::vector<float> expected = before;
    const float* in_order[3];
    for (size_t f = 0; f < factors; ++f) {
      in_order[f] = others[fused.order[f]].data();
      const tv::Kernels& plain = **tv::available_kernels();
      (f == 0 && assigns ? plain.assign : plain.multiply)(
          nests[fused.order[f]].nest, nests[fused.order[f]].count, expected.data(), in_order[f]);
    }
    for (const tv::Kernels* const* kernels = tv::available_kernels(); *kernels; ++kernels) {
      SCOPED_TRACE((*kernels)->name);
      std::vector<float> x = before;
      (*kernels)->form(fused, x.data(), in_order);
      ASSERT_EQ(x, expected) << "round " << round;
    }
  }
  EXPECT_GE(with_runs, 1000u);
  EXPECT_GE(rows_along, 100u);
}

TEST(KernelsTest, RatiosAreTheSameForEveryInstructionSet) {
  std::mt19937 random(5);
  for (size_t size : {1, 15, 16, 17, 40, 64, 333}) {
    const std::vector<float> before = random_numbers(random, size), after = random_numbers(random, size);
    const std::vector<double> fresh(after.begin(), after.end());
    bool loses = false;
    std::vector<float> quotients(size);
    for (size_t i = 0; i < size; ++i) {
      quotients[i] = before[i] > 0 ? after[i] / before[i] : 0.0f;
      loses |= before[i] > 0 && after[i] == 0;
    }
    std::vector<double> sums;
    for (const tv::Kernels* const* kernels = tv::available_kernels(); *kernels; ++kernels) {
      SCOPED_TRACE((*kernels)->name);
      for (bool divides : {true, false}) {
        std::vector<float> old = before, ratio(size);
        const tv::RatioResult result =
            (divides ? (*kernels)->divide : (*kernels)->take)(fresh.data(), old.data(), ratio.data(), size);
        EXPECT_EQ(old, after);
        EXPECT_EQ(ratio, divides ? quotients : after);
        EXPECT_EQ(result.largest, *std::max_element(ratio.begin(), ratio.end()));
        EXPECT_EQ(result.lost_entry, divides && loses);
        EXPECT_NEAR(result.sum, std::accumulate(ratio.begin(), ratio.end(), 0.0), 1e-9 * result.sum);
        sums.push_back(result.sum);
        EXPECT_EQ(result.sum, sums[!divides]);
      }
    }
  }
}

// Copies within one table, towards its front, and copies whose rows are far apart.
TEST(KernelsTest, CopiesIntoAnotherOrderAndWithinATable) {
  for (const tv::Kernels* const* kernels = tv::available_kernels(); *kernels; ++kernels) {
    SCOPED_TRACE((*kernels)->name);
    std::vector<float> numbers(20 * 24 * 32), expected;
    std::iota(numbers.begin(), numbers.end(), 0.0f);
    const tv::Dimension cut[] = {{20, 24, 24 * 32}, {24, 1, 32}};
    for (size_t i = 0; i < 20 * 24; ++i) expected.push_back(numbers[i * 32 + 5]);
    (*kernels)->assign(cut, 2, numbers.data(), numbers.data() + 5);
    numbers.resize(expected.size());
    EXPECT_EQ(numbers, expected);
    std::vector<float> turned(30 * 70), source(turned.size());
    std::iota(source.begin(), source.end(), 0.0f);
    const tv::Dimension turn[] = {{30, 70, 1}, {70, 1, 30}};
    (*kernels)->assign(turn, 2, turned.data(), source.data());
    for (size_t i = 0; i < turned.size(); ++i) ASSERT_EQ(turned[i], source[i % 70 * 30 + i / 70]);
  }
}

}  // namespace
