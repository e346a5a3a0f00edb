// Passes over a table that is a product of other tables and is never stored. Block by block the product of
// the factors (a probability) and the sum of the terms (a utility) are formed in double precision and summed
// into the targets, so that a large table costs time but no memory. Where doubles do not suffice, the pass is
// run again with an exponent beside every probability.
#pragma once

#include <vector>

#include "tables/block.h"
#include "tables/kernels/index_map.h"

namespace tv {

// A table that is multiplied into the probability or added to the utility: of floats, or of doubles, which
// may be times two to the power of the exponents.
struct PassOperand {
  const IndexMap* map;
  const float* single = nullptr;
  const double* real = nullptr;
  const int32_t* exponents = nullptr;
  size_t offset = 0;  // while a pass runs
};

// Where probability, and probability times utility (if asked for), are summed. Where the pass is wide, both
// sums are times two to the power of the exponents.
struct PassTarget {
  const IndexMap* map;
  double* probability;
  double* utility;
  int32_t* exponents;
  size_t offset = 0;
};

// Sums of the value, of (value - shift) and of its square, weighted with the probability.
struct PassMoments {
  const IndexMap* map;
  const float* values = nullptr;
  double shift = 0.0;
  double total = 0.0, first = 0.0, second = 0.0;
  size_t offset = 0;
};

// Runs over shapes that were measured in whole blocks, under maps that were finished for them.
class ProductPass {
 public:
  // Reserves memory for so many of each, so that a pass allocates nothing.
  void reserve(size_t factors, size_t terms, size_t targets, size_t moments);
  static size_t bytes(size_t factors, size_t terms, size_t targets, size_t moments) noexcept;

  void clear() noexcept;
  void run(const Shape& shape) noexcept;

  std::vector<PassOperand> factors, terms;
  std::vector<PassTarget> targets;
  std::vector<PassMoments> moments;
  double mass = 0.0;     // the sum of the probability, in the unit of the moments
  bool is_wide = false;  // doubles did not suffice: the targets have exponents

 private:
  void run_blocks(const Shape& shape, void (ProductPass::*run_one)(size_t)) noexcept;
  void start(const Shape& shape) noexcept;
  bool next_block(const Shape& shape) noexcept;
  void run_block(size_t size) noexcept;
  void run_wide_block(size_t size) noexcept;
  void clear_targets(size_t size) noexcept;
  void multiply_wide(const PassOperand& factor, size_t size) noexcept;
  void add_wide(const PassTarget& target, size_t size) noexcept;
  void add_terms(size_t size) noexcept;
  void share_exponent(size_t size) noexcept;
  void add_moments(size_t size) noexcept;

  Block<double> probability_, utility_, product_;  // of one block
  Block<int32_t> exponents_;                       // of its probabilities
  Block<const double*> places_;                    // of its entries in an operand or a target
  int32_t mass_exponent_ = 0;
  size_t position_[64] = {};
};

}  // namespace tv
