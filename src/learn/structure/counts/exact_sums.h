// Sums of logarithms in whole numbers. They do not depend on the order of their terms, so that statistics and
// scores are the same whatever the order of nodes, states and rows is.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

namespace tv {

class CountLogarithms {
 public:
  // For counts up to `total`.
  explicit CountLogarithms(double total, bool are_whole) : unit_(unit_for(total)), inverse_(1.0 / unit_) {
    if (!are_whole) return;
    table_.resize(static_cast<size_t>(total < kTableSize ? total : kTableSize) + 1);
    for (size_t n = 0; n < table_.size(); ++n) table_[n] = compute(static_cast<double>(n));
  }

  // n ln n, in units; 0 for 0.
  int64_t operator()(double n) const noexcept {
    return n < static_cast<double>(table_.size()) ? table_[static_cast<size_t>(n)] : compute(n);
  }
  int64_t in_units(double value) const noexcept { return std::llrint(value * inverse_); }
  double value(int64_t units) const noexcept { return static_cast<double>(units) * unit_; }

 private:
  static constexpr double kTableSize = 1 << 20;

  // So fine that many sums over all cases stay below 2^62.
  static double unit_for(double total) noexcept {
    const double most = 64.0 * (total + 2.0) * (std::log(total + 2.0) + 1.0);
    return std::ldexp(1.0, std::ilogb(most) + 1 - 61);
  }
  int64_t compute(double n) const noexcept { return n > 0 ? in_units(n * std::log(n)) : 0; }

  double unit_, inverse_;
  std::vector<int64_t> table_;  // by whole number; none where counts are not whole
};

}  // namespace tv
