#include "tables/product_pass.h"

#include <algorithm>

#include "tables/double_loops.h"

namespace tv {
namespace {

template <template <class> class Op>
void run_operand(const PassOperand& operand, double* block) noexcept {
  if (operand.single)
    run_operation<Op<float>>(*operand.control, block, operand.single + operand.offset);
  else
    run_operation<Op<double>>(*operand.control, block, operand.real + operand.offset);
}

template <class Records>
void clear_offsets(Records& records) noexcept {
  for (auto& record : records) record.offset = 0;
}

template <class Records>
void advance(Records& records, size_t dimension, bool wraps, size_t count) noexcept {
  for (auto& record : records) {
    const size_t step = record.control->steps[dimension];
    record.offset += wraps ? step - count * step : step;
  }
}

}  // namespace

void ProductPass::reserve(size_t factor_count, size_t term_count, size_t target_count, size_t moment_count) {
  factors.reserve(factor_count);
  terms.reserve(term_count);
  targets.reserve(target_count);
  moments.reserve(moment_count);
  probability_.allocate(kCapacity.block);
  utility_.allocate(kCapacity.block);
  product_.allocate(kCapacity.block);
}

size_t ProductPass::bytes(size_t factor_count, size_t term_count, size_t target_count,
                          size_t moment_count) noexcept {
  return (factor_count + term_count) * sizeof(PassOperand) + target_count * sizeof(PassTarget) +
         moment_count * sizeof(PassMoments) + 3 * kCapacity.block * sizeof(double);
}

void ProductPass::clear() noexcept {
  factors.clear();
  terms.clear();
  targets.clear();
  moments.clear();
}

void ProductPass::start(const Shape& shape) noexcept {
  std::fill_n(position_, shape.outer, 0);
  clear_offsets(factors);
  clear_offsets(terms);
  clear_offsets(targets);
  clear_offsets(moments);
  mass = utility_mass = 0.0;
}

// Moves on to the next block; false behind the last.
bool ProductPass::next_block(const Shape& shape) noexcept {
  for (size_t d = shape.outer; d-- > 0;) {
    const size_t count = shape.counts[d];
    const bool wraps = ++position_[d] == count;
    advance(factors, d, wraps, count);
    advance(terms, d, wraps, count);
    advance(targets, d, wraps, count);
    advance(moments, d, wraps, count);
    if (!wraps) return true;
    position_[d] = 0;
  }
  return false;
}

void ProductPass::run_block(size_t size) noexcept {
  double* p = probability_.data();
  double* u = utility_.data();
  double* w = product_.data();
  std::fill_n(p, size, 1.0);
  for (const PassOperand& factor : factors) run_operand<Multiply>(factor, p);
  mass += sum_of(p, size);
  if (!terms.empty()) {
    std::fill_n(u, size, 0.0);
    for (const PassOperand& term : terms) run_operand<Add>(term, u);
    for (size_t i = 0; i < size; ++i) w[i] = p[i] * u[i];
    utility_mass += sum_of(w, size);
  }
  for (const PassTarget& target : targets) {
    if (target.probability) run_operation<Sum>(*target.control, p, target.probability + target.offset);
    if (target.utility && !terms.empty())
      run_operation<Sum>(*target.control, w, target.utility + target.offset);
  }
  for (PassMoments& moment : moments) {
    std::fill_n(u, size, 0.0);
    run_operation<Add<float>>(*moment.control, u, moment.values + moment.offset);
    for (size_t i = 0; i < size; ++i) w[i] = p[i] * u[i];
    moment.total += sum_of(w, size);
    for (size_t i = 0; i < size; ++i) u[i] -= moment.shift;
    for (size_t i = 0; i < size; ++i) w[i] = p[i] * u[i];
    moment.first += sum_of(w, size);
    for (size_t i = 0; i < size; ++i) w[i] *= u[i];
    moment.second += sum_of(w, size);
  }
}

void ProductPass::run(const Shape& shape) noexcept {
  start(shape);
  size_t size = 1;
  for (size_t d = shape.outer; d < shape.dimensions; ++d) size *= shape.counts[d];
  do run_block(size);
  while (next_block(shape));
}

}  // namespace tv
