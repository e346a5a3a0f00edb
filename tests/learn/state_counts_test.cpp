// Joint states counted by sets of bits, row by row, and over numbered configurations, against a plain map.
#include "learn/structure/counts/state_counts.h"

#include "structure_world.h"

namespace test {
namespace {

struct CountedWorld {
  CountedWorld(uint64_t seed, size_t rows, double missing, bool is_weighted) : random(seed) {
    domain = new_domain();
    const size_t states[] = {2, 3, 1, 4, 70, 2};
    for (size_t i = 0; i < 6; ++i)
      add_node(domain.get(), std::string(1, static_cast<char>('a' + i)).c_str(), states[i]);
    tv_domain_set_number_of_cases(domain.get(), rows);
    for (tv_node_t* node : nodes_of(domain.get()))
      for (size_t row = 0; row < rows; ++row) {
        const size_t count = tv_node_get_number_of_states(node);
        // Unequal, so that few rows are left in some branches and many in others.
        const size_t state = static_cast<size_t>(static_cast<double>(count) * std::pow(random.uniform(), 4));
        if (row == 0 || !random.chance(missing)) tv_node_set_case_state(node, row, state);
      }
    for (size_t row = 0; is_weighted && row < rows; ++row)
      tv_domain_set_case_count(domain.get(), row, static_cast<float>(random.below(4)) / 2.0f);
  }
  Generator random;
  DomainOwner domain;
};

// Nonzero counts of the counted nodes by configuration of the given ones, without their names.
using Slices = std::multiset<std::vector<double>>;

Slices plain_counts(const tv::CaseColumns& columns, const std::vector<uint32_t>& given,
                    const std::vector<uint32_t>& counted) {
  std::map<std::vector<size_t>, std::vector<double>> slices;
  size_t slice = 1;
  for (const uint32_t node : counted) slice *= columns.occurring(node);
  for (size_t row = 0; row < columns.rows(); ++row) {
    std::vector<size_t> key;
    size_t cell = 0;
    bool is_known = true;
    for (const uint32_t node : given) key.push_back(columns[node].discrete.codes[row]);
    for (const uint32_t node : counted)
      cell = cell * columns.occurring(node) + columns[node].discrete.codes[row];
    for (const uint32_t node : given) is_known &= columns.is_known(node, row);
    for (const uint32_t node : counted) is_known &= columns.is_known(node, row);
    if (!is_known) continue;
    slices[key].resize(slice);
    slices[key][cell] += columns.weight(row);
  }
  Slices result;
  for (const auto& [key, cells] : slices) result.insert(cells);
  return result;
}

TEST(StateCounts, AreThoseOfAPlainMap) {
  for (uint64_t seed = 0; seed < 12; ++seed) {
    CountedWorld world(seed, seed < 6 ? 1500 : 40, seed % 3 == 1 ? 0.1 : 0.0, seed % 4 == 3);
    const Learner learner;
    const Columns read(world.domain.get(), learner);
    for (const tv::BitKernels* const* kernels = tv::available_bit_kernels(); *kernels; ++kernels) {
      tv::StateCounter counter(read.columns, **kernels);
      for (size_t trial = 0; trial < 60; ++trial) {
        std::vector<uint32_t> given, counted;
        for (uint32_t node = 0; node < 6; ++node) {
          if (world.random.chance(0.4))
            given.push_back(node);
          else if (counted.size() < 2 && world.random.chance(0.5))
            counted.push_back(node);
        }
        if (counted.empty()) continue;
        const tv::StateCounts counts = counter.count(given, counted);
        Slices found;
        for (size_t c = 0; c < counts.configurations(); ++c) {
          const std::vector<double> cells(counts.configuration(c).begin(), counts.configuration(c).end());
          if (std::any_of(cells.begin(), cells.end(), [](double n) { return n > 0; })) found.insert(cells);
        }
        EXPECT_EQ(found, plain_counts(read.columns, given, counted))
            << "seed " << seed << ", trial " << trial << ", " << (*kernels)->name;
      }
    }
  }
}

// Without a configuration of the given nodes in between, counts have the order of the states.
TEST(StateCounts, HaveTheOrderOfStates) {
  CountedWorld world(99, 800, 0.05, false);
  const Learner learner;
  const Columns read(world.domain.get(), learner);
  tv::StateCounter counter(read.columns);
  const uint32_t counted[] = {1, 3};
  const tv::StateCounts counts = counter.count({}, counted);
  ASSERT_EQ(counts.cells.size(), 12u);
  std::vector<double> expected(12);
  for (size_t row = 0; row < read.columns.rows(); ++row)
    if (read.columns.is_known(1, row) && read.columns.is_known(3, row))
      ++expected[read.columns[1].discrete.codes[row] * 4u + read.columns[3].discrete.codes[row]];
  EXPECT_EQ(std::vector<double>(counts.cells.begin(), counts.cells.end()), expected);
}

TEST(CaseColumns, SamplesRepeatRows) {
  CountedWorld world(7, 200, 0.2, true);
  const Learner learner;
  const Columns read(world.domain.get(), learner);
  const std::vector<uint32_t> rows{5, 5, 0, static_cast<uint32_t>(read.columns.rows() - 1)};
  const tv::CaseColumns sample = read.columns.sample(rows);
  ASSERT_EQ(sample.rows(), 4u);
  for (uint32_t node = 0; node < 6; ++node)
    for (size_t i = 0; i < rows.size(); ++i) {
      EXPECT_EQ(sample[node].discrete.codes[i], read.columns[node].discrete.codes[rows[i]]);
      EXPECT_EQ(sample.is_known(node, i), read.columns.is_known(node, rows[i]));
      EXPECT_EQ(sample.weight(i), read.columns.weight(rows[i]));
    }
}

}  // namespace
}  // namespace test
