// Passes over tables of all shapes, stored or formed block by block, against a plain walk over their entries;
// the same bits for every number of threads.
#include <gtest/gtest.h>

#include <random>

#include "support/other_ways.h"
#include "tables/kernels/index_map.h"

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

// The product of two factors and what two targets make of it, once as a plain walk and once as a pass.
class RandomPass {
 public:
  explicit RandomPass(std::mt19937& random) : counts_(random_counts(random)), shape_(counts_) {
    for (size_t o = 0; o < 4; ++o) {
      operands_.push_back(random_operand(random, counts_));
      maps_.push_back(std::make_unique<tv::OwnIndexMap>(counts_.size()));
      std::copy(operands_[o].steps.begin(), operands_[o].steps.end(), maps_[o]->steps);
      tv::finish_index_map(*maps_[o], shape_);
    }
    for (size_t o = 0; o < 2; ++o)
      steps_.push_back(
          {o ? tv::StepKind::multiply : tv::StepKind::assign, maps_[o].get(), operands_[o].numbers.data()});
    for (size_t o : {2, 3}) {
      const tv::StepKind operation = random() % 2 ? tv::StepKind::max : tv::StepKind::sum;
      steps_.push_back({operation, maps_[o].get(), nullptr, operands_[o].totals.data()});
    }
    walk();
  }

  void expect_right_answers() {
    SCOPED_TRACE(testing::PrintToString(counts_));
    std::vector<float> table(shape_.size, -1.0f);
    std::vector<double> scratch(tv::private_totals_for(shape_.size));
    for (float* numbers : {table.data(), static_cast<float*>(nullptr)}) {
      std::vector<double> first[2];
      for (size_t threads : {1, 2, 5}) {
        for (size_t o : {2, 3}) std::fill(operands_[o].totals.begin(), operands_[o].totals.end(), 0.0);
        const tv::ParallelSettings settings = {100, threads, nullptr, scratch.data(), scratch.size()};
        tv::run_pass(shape_, numbers, steps_.data(), steps_.size(), settings);
        for (size_t o : {2, 3}) {
          const std::vector<double>&found = operands_[o].totals, &expected = totals_[o - 2];
          const bool is_max = steps_[o].operation == tv::StepKind::max;
          for (size_t i = 0; i < expected.size(); ++i)
            ASSERT_NEAR(found[i], expected[i], is_max ? 0.0 : 1e-9 * (1.0 + expected[i]));
          if (threads == 1) first[o - 2] = found;
          ASSERT_EQ(found, first[o - 2]) << threads << " threads";
        }
      }
    }
    ASSERT_EQ(table, product_);
  }

 private:
  void walk() {
    product_.resize(shape_.size);
    for (size_t o : {2, 3}) totals_[o - 2].assign(operands_[o].totals.size(), 0.0);
    for (size_t i = 0; i < shape_.size; ++i) {
      product_[i] = operands_[0].numbers[index_in(operands_[0], counts_, i)] *
                    operands_[1].numbers[index_in(operands_[1], counts_, i)];
      for (size_t o : {2, 3}) {
        double& total = totals_[o - 2][index_in(operands_[o], counts_, i)];
        const double entry = static_cast<double>(product_[i]);
        total = steps_[o].operation == tv::StepKind::max ? std::max(total, entry) : total + entry;
      }
    }
  }

  std::vector<size_t> counts_;
  tv::OwnShape shape_;
  std::vector<Operand> operands_;
  std::vector<std::unique_ptr<tv::OwnIndexMap>> maps_;
  std::vector<tv::Step> steps_;
  std::vector<float> product_;
  std::vector<double> totals_[2];
};

TEST(Pass, StoredAndFormedTablesGiveThePlainProductsSumsAndMaxima) {
  std::mt19937 random(7);
  for (size_t round = 0; round < 150 && !HasFatalFailure(); ++round)
    RandomPass(random).expect_right_answers();
}

// Blocks of 16 entries.
TEST(Pass, OfTinyBlocksGiveThem) {
  const test::KeptLimits kept;
  ASSERT_TRUE(test::set_limits("tiny"));
  std::mt19937 random(8);
  for (size_t round = 0; round < 40 && !HasFatalFailure(); ++round) RandomPass(random).expect_right_answers();
}

}  // namespace
