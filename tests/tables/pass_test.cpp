// Passes over tables of all shapes, stored or formed block by block, against a plain walk over their entries;
// the same bits for every number of threads.
#include <gtest/gtest.h>

#include <random>

#include "tables/control.h"

namespace {

struct Operand {
  std::vector<size_t> steps;  // per dimension
  std::vector<float> numbers;
  std::vector<double> totals;
};

size_t index_in(const Operand& operand, const std::vector<size_t>& counts, size_t entry) {
  size_t index = 0;
  for (size_t d = counts.size(); d-- > 0; entry /= counts[d]) index += entry % counts[d] * operand.steps[d];
  return index;
}

Operand random_operand(std::mt19937& random, const std::vector<size_t>& counts) {
  Operand operand;
  operand.steps.resize(counts.size());
  size_t size = 1;
  for (size_t d = counts.size(); d-- > 0;) {
    if (random() % 2 && size * counts[d] < 100000) {
      operand.steps[d] = size;
      size *= counts[d];
    }
  }
  for (size_t i = 0; i < size; ++i) operand.numbers.push_back(static_cast<float>(random() % 1000) / 500.0f);
  operand.totals.assign(size, 0.0);
  return operand;
}

// Now and then a dimension that does not fit into a block, or half of one.
std::vector<size_t> random_counts(std::mt19937& random) {
  std::vector<size_t> counts;
  for (size_t size = 1;;) {
    const size_t count = random() % 6 == 0 ? 500 + random() % 9000 : 2 + random() % 30;
    if ((size *= count) > 300000 || counts.size() == 6) return counts;
    counts.push_back(count);
  }
}

TEST(Pass, StoredAndFormedTablesGiveThePlainProductsAndSums) {
  std::mt19937 random(7);
  for (size_t round = 0; round < 150; ++round) {
    const std::vector<size_t> counts = random_counts(random);
    SCOPED_TRACE(testing::PrintToString(counts));
    const tv::OwnShape shape(counts);
    std::vector<Operand> operands;
    std::vector<std::unique_ptr<tv::OwnControl>> controls;
    std::vector<tv::Step> steps;
    for (size_t o = 0; o < 4; ++o) operands.push_back(random_operand(random, counts));
    for (size_t o = 0; o < 4; ++o) {
      controls.push_back(std::make_unique<tv::OwnControl>(counts.size()));
      std::copy(operands[o].steps.begin(), operands[o].steps.end(), controls[o]->steps);
      tv::finish_control(*controls[o], shape);
      if (o < 2)
        steps.push_back({o ? tv::Operation::multiply : tv::Operation::assign, controls[o].get(),
                         operands[o].numbers.data()});
      else
        steps.push_back({tv::Operation::sum, controls[o].get(), nullptr, operands[o].totals.data()});
    }
    std::vector<float> expected(shape.size);
    std::vector<double> sums[2];
    for (size_t o : {2, 3}) sums[o - 2].assign(operands[o].totals.size(), 0.0);
    for (size_t i = 0; i < shape.size; ++i) {
      expected[i] = operands[0].numbers[index_in(operands[0], counts, i)] *
                    operands[1].numbers[index_in(operands[1], counts, i)];
      for (size_t o : {2, 3})
        sums[o - 2][index_in(operands[o], counts, i)] += static_cast<double>(expected[i]);
    }
    std::vector<float> table(shape.size, -1.0f);
    std::vector<double> scratch(tv::own_totals_for(shape.size));
    for (float* numbers : {table.data(), static_cast<float*>(nullptr)}) {
      std::vector<double> first[2];
      for (size_t threads : {1, 2, 5}) {
        for (size_t o : {2, 3}) std::fill(operands[o].totals.begin(), operands[o].totals.end(), 0.0);
        const tv::ParallelSettings settings = {100, threads, nullptr, scratch.data(), scratch.size()};
        tv::run_pass(shape, numbers, steps.data(), steps.size(), settings);
        for (size_t o : {2, 3}) {
          for (size_t i = 0; i < sums[o - 2].size(); ++i)
            ASSERT_NEAR(operands[o].totals[i], sums[o - 2][i], 1e-9 * (1.0 + sums[o - 2][i]));
          if (threads == 1) first[o - 2] = operands[o].totals;
          ASSERT_EQ(operands[o].totals, first[o - 2]) << threads << " threads";
        }
      }
    }
    ASSERT_EQ(table, expected);
  }
}

}  // namespace
