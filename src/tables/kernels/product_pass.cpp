#include "tables/kernels/product_pass.h"

#include <algorithm>
#include <cmath>

#include "api/float_environment.h"
#include "tables/kernels/double_loops.h"

namespace tv {
namespace {

// The addresses in another table onto which the entries of a block map.
struct Locate {
  using Entry = const double*;
  using Other = const double;
  static void one(const double*& x, const double& y) noexcept { x = &y; }
  static void row(const double** x, const double& y, size_t n) noexcept { std::fill_n(x, n, &y); }
};

struct Clear {
  using Entry = const double;
  using Other = double;
  static void one(const double& x, double& y) noexcept { y = x; }
  static void row(const double* x, double& y, size_t) noexcept { y = x[0]; }
};

template <template <class> class Op>
void run_operand(const PassOperand& operand, double* block) noexcept {
  if (operand.single)
    run_loops<Op<float>>(*operand.map, block, operand.single + operand.offset);
  else
    run_loops<Op<double>>(*operand.map, block, operand.real + operand.offset);
}

template <class Records>
void clear_offsets(Records& records) noexcept {
  for (auto& record : records) record.offset = 0;
}

template <class Records>
void advance(Records& records, size_t dimension, bool wraps, size_t count) noexcept {
  for (auto& record : records) {
    const size_t step = record.map->steps[dimension];
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
  exponents_.allocate(kCapacity.block);
  places_.allocate(kCapacity.block);
}

size_t ProductPass::bytes(size_t factor_count, size_t term_count, size_t target_count,
                          size_t moment_count) noexcept {
  return (factor_count + term_count) * sizeof(PassOperand) + target_count * sizeof(PassTarget) +
         moment_count * sizeof(PassMoments) +
         kCapacity.block * (3 * sizeof(double) + sizeof(int32_t) + sizeof(const double*));
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
  mass = 0.0;
  mass_exponent_ = INT32_MIN;
  for (PassMoments& moment : moments) moment.total = moment.first = moment.second = 0.0;
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

void ProductPass::add_terms(size_t size) noexcept {
  double* const u = utility_.data();
  std::fill_n(u, size, 0.0);
  for (const PassOperand& term : terms) run_operand<Add>(term, u);
}

void ProductPass::run_block(size_t size) noexcept {
  double* p = probability_.data();
  double* w = product_.data();
  std::fill_n(p, size, 1.0);
  for (const PassOperand& factor : factors) run_operand<Multiply>(factor, p);
  if (!terms.empty()) {
    add_terms(size);
    for (size_t i = 0; i < size; ++i) w[i] = p[i] * utility_[i];
  }
  for (const PassTarget& target : targets) {
    run_loops<Sum>(*target.map, p, target.probability + target.offset);
    if (target.utility && !terms.empty()) run_loops<Sum>(*target.map, w, target.utility + target.offset);
  }
  add_moments(size);
}

void ProductPass::add_moments(size_t size) noexcept {
  const double* p = probability_.data();
  double* u = utility_.data();
  double* w = product_.data();
  mass += sum_of(p, size);
  for (PassMoments& moment : moments) {
    std::fill_n(u, size, 0.0);
    run_loops<Add<float>>(*moment.map, u, moment.values + moment.offset);
    for (size_t i = 0; i < size; ++i) w[i] = p[i] * u[i];
    moment.total += sum_of(w, size);
    for (size_t i = 0; i < size; ++i) u[i] -= moment.shift;
    for (size_t i = 0; i < size; ++i) w[i] = p[i] * u[i];
    moment.first += sum_of(w, size);
    for (size_t i = 0; i < size; ++i) w[i] *= u[i];
    moment.second += sum_of(w, size);
  }
}

// ---- Wide passes ----

void ProductPass::clear_targets(size_t size) noexcept {
  std::fill_n(probability_.data(), size, 0.0);
  for (const PassTarget& target : targets) {
    run_loops<Clear>(*target.map, probability_.data(), target.probability + target.offset);
    if (target.utility) run_loops<Clear>(*target.map, probability_.data(), target.utility + target.offset);
  }
}

// All mantissas lie between one half and one then, or are zero.
void ProductPass::multiply_wide(const PassOperand& factor, size_t size) noexcept {
  run_operand<Multiply>(factor, probability_.data());
  if (factor.exponents) {
    run_loops<Locate>(*factor.map, places_.data(), factor.real + factor.offset);
    for (size_t i = 0; i < size; ++i) exponents_[i] += factor.exponents[places_[i] - factor.real];
  }
  for (size_t i = 0; i < size; ++i) {
    int shift = 0;
    probability_[i] = std::frexp(probability_[i], &shift);
    exponents_[i] += shift;
  }
}

void ProductPass::add_wide(const PassTarget& target, size_t size) noexcept {
  run_loops<Locate>(*target.map, places_.data(), target.probability + target.offset);
  for (size_t i = 0; i < size; ++i) {
    double added = probability_[i];
    if (!(added > 0.0)) continue;
    const ptrdiff_t place = places_[i] - target.probability;
    double& total = target.probability[place];
    int32_t& exponent = target.exponents[place];
    if (!(total > 0.0)) {
      exponent = exponents_[i];
    } else if (exponents_[i] > exponent) {
      const double scale = std::ldexp(1.0, exponent - exponents_[i]);
      total *= scale;
      if (target.utility) target.utility[place] *= scale;
      exponent = exponents_[i];
    } else {
      added = std::ldexp(added, exponents_[i] - exponent);
    }
    total += added;
    if (target.utility && !terms.empty()) target.utility[place] += added * utility_[i];
  }
}

// Gives all probabilities of the block the exponent of the moments, which grows where it is too small.
void ProductPass::share_exponent(size_t size) noexcept {
  int32_t largest = mass_exponent_;
  for (size_t i = 0; i < size; ++i)
    if (probability_[i] > 0.0) largest = std::max(largest, exponents_[i]);
  if (mass > 0.0 && largest > mass_exponent_) {
    const double scale = std::ldexp(1.0, mass_exponent_ - largest);
    mass *= scale;
    for (PassMoments& moment : moments) {
      moment.total *= scale;
      moment.first *= scale;
      moment.second *= scale;
    }
  }
  mass_exponent_ = largest;
  for (size_t i = 0; i < size; ++i)
    if (probability_[i] > 0.0) probability_[i] = std::ldexp(probability_[i], exponents_[i] - largest);
}

void ProductPass::run_wide_block(size_t size) noexcept {
  std::fill_n(probability_.data(), size, 1.0);
  std::fill_n(exponents_.data(), size, 0);
  for (const PassOperand& factor : factors) multiply_wide(factor, size);
  add_terms(size);
  for (const PassTarget& target : targets) add_wide(target, size);
  share_exponent(size);
  add_moments(size);
}

// ---- Running ----

void ProductPass::run_blocks(const Shape& shape, void (ProductPass::*run_one)(size_t)) noexcept {
  start(shape);
  size_t size = 1;
  for (size_t d = shape.outer; d < shape.dimensions; ++d) size *= shape.counts[d];
  do (this->*run_one)(size);
  while (next_block(shape));
}

void ProductPass::run(const Shape& shape) noexcept {
  const FloatEnvironment environment;
  is_wide = std::any_of(factors.begin(), factors.end(), [](const PassOperand& f) { return f.exponents; });
  if (!is_wide) run_blocks(shape, &ProductPass::run_block);
  is_wide |= range_flags() != 0;
  if (!is_wide) return;
  run_blocks(shape, &ProductPass::clear_targets);
  run_blocks(shape, &ProductPass::run_wide_block);
}

}  // namespace tv
