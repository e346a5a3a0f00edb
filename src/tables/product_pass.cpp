// The loops of a product pass: each operand meets a block under its merged nest, three inner dimensions in
// one function, short innermost ones unrolled.

#include "tables/product_pass.h"

#include <algorithm>

namespace tv {
namespace {

constexpr size_t kLanes = 8;

double sum_of(const double* x, size_t n) noexcept {
  double total = 0.0;
  if (n >= 2 * kLanes) {
    double lane[kLanes] = {};
    for (; n >= kLanes; n -= kLanes, x += kLanes)
      for (size_t l = 0; l < kLanes; ++l) lane[l] += x[l];
    for (size_t width = kLanes / 2; width > 0; width /= 2)
      for (size_t l = 0; l < width; ++l) lane[l] += lane[l + width];
    total = lane[0];
  }
  for (size_t j = 0; j < n; ++j) total += x[j];
  return total;
}

// What happens to a pair of entries, and to a row of the block that meets a single entry.
template <class T>
struct Multiply {
  using Entry = double;
  using Other = const T;
  static void one(double& x, const T& y) noexcept { x *= static_cast<double>(y); }
  static void row(double* x, const T& y, size_t n) noexcept {
    const double factor = static_cast<double>(y);
    for (size_t j = 0; j < n; ++j) x[j] *= factor;
  }
};

template <class T>
struct Add {
  using Entry = double;
  using Other = const T;
  static void one(double& x, const T& y) noexcept { x += static_cast<double>(y); }
  static void row(double* x, const T& y, size_t n) noexcept {
    const double term = static_cast<double>(y);
    for (size_t j = 0; j < n; ++j) x[j] += term;
  }
};

struct Sum {
  using Entry = const double;
  using Other = double;
  static void one(const double& x, double& y) noexcept { y += x; }
  static void row(const double* x, double& y, size_t n) noexcept { y += sum_of(x, n); }
};

// One row of the block, whose entries are contiguous; N is its length where that is known.
template <class Op, size_t N>
void run_row(typename Op::Entry* __restrict x, typename Op::Other* __restrict y,
             const Dimension& inner) noexcept {
  const size_t n = N ? N : inner.count;
  if (inner.stride2 == 1) {
    for (size_t j = 0; j < n; ++j) Op::one(x[j], y[j]);
  } else if (inner.stride2 == 0) {
    if (N)
      for (size_t j = 0; j < n; ++j) Op::one(x[j], y[0]);
    else
      Op::row(x, y[0], n);
  } else {
    for (size_t j = 0; j < n; ++j) Op::one(x[j], y[j * inner.stride2]);
  }
}

constexpr Dimension kSingle = {1, 0, 0};

template <class Op, size_t N>
void run_nest(const Dimension* nest, size_t count, typename Op::Entry* x, typename Op::Other* y) noexcept {
  if (count > 3) {
    for (size_t i = 0; i < nest[0].count; ++i)
      run_nest<Op, N>(nest + 1, count - 1, x + i * nest[0].stride, y + i * nest[0].stride2);
    return;
  }
  const Dimension outer = count > 2 ? nest[count - 3] : kSingle;
  const Dimension middle = count > 1 ? nest[count - 2] : kSingle;
  const Dimension inner = nest[count - 1];
  for (size_t i = 0; i < outer.count; ++i)
    for (size_t j = 0; j < middle.count; ++j)
      run_row<Op, N>(x + i * outer.stride + j * middle.stride, y + i * outer.stride2 + j * middle.stride2,
                     inner);
}

template <class Op>
void run_operation(const Control& control, typename Op::Entry* x, typename Op::Other* y) noexcept {
  const Dimension* nest = control.inner;
  const size_t count = control.inner_count;
  if (count == 0) return Op::one(*x, *y);
  switch (nest[count - 1].count) {
    case 2:
      return run_nest<Op, 2>(nest, count, x, y);
    case 3:
      return run_nest<Op, 3>(nest, count, x, y);
    case 4:
      return run_nest<Op, 4>(nest, count, x, y);
  }
  run_nest<Op, 0>(nest, count, x, y);
}

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
