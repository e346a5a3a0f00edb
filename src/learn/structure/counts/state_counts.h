// Counting the joint states of some discrete nodes over the cases that lack none of them.
#pragma once

#include "learn/structure/counts/bit_kernels.h"
#include "learn/structure/counts/case_columns.h"

namespace tv {

// Counts by configuration of the given nodes and, within each, by state of the counted nodes, of which the
// last one varies fastest. Codes stand for states; configurations that no case has may be left out.
struct StateCounts {
  std::span<const double> cells;
  size_t slice = 1;  // cells of one configuration

  size_t configurations() const noexcept { return cells.size() / slice; }
  std::span<const double> configuration(size_t i) const noexcept { return cells.subspan(i * slice, slice); }
};

// What one thread counts with.
class StateCounter {
 public:
  explicit StateCounter(const CaseColumns& columns, const BitKernels& kernels = bit_kernels())
      : columns_(columns), kernels_(kernels) {}

  const CaseColumns& columns() const noexcept { return columns_; }

  // Valid until the next call. The joint states of the counted nodes are some millions at most.
  StateCounts count(std::span<const uint32_t> given, std::span<const uint32_t> counted);

  // By row, which configuration of the nodes it has, numbered from 0 as they occur; kNoConfiguration where a
  // row lacks one of them. Valid until the next call.
  static constexpr uint32_t kNoConfiguration = static_cast<uint32_t>(-1);
  std::span<const uint32_t> number_configurations(std::span<const uint32_t> nodes, size_t& count);

 private:
  void start_mask();
  void count_bits(size_t depth, const uint64_t* mask, size_t rows_left, size_t first_cell);
  void count_rows(size_t depth, const uint64_t* mask, size_t first_cell);
  void count_all_rows();
  bool is_cheaper_by_rows(size_t depth, size_t rows_left) const noexcept;

  const CaseColumns& columns_;
  const BitKernels& kernels_;
  std::vector<uint32_t> nodes_;          // given, then counted
  std::vector<size_t> sizes_, strides_;  // by place among them
  std::vector<const uint16_t*> codes_;   // the same
  std::vector<double> bit_costs_;        // of what is left to count by bits from each place on
  std::vector<double> cells_;
  Block<uint64_t> masks_;  // one for each place
  std::vector<uint32_t> numbers_, map_;
};

}  // namespace tv
