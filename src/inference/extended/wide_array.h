// Non-negative numbers of any size: each is a mantissa times two to the power of an exponent of its own, so
// that products of a hundred thousand factors neither vanish nor grow too large.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "inference/extended/wide_number.h"

namespace tv {

struct WideArray {
  std::vector<double> mantissas;
  std::vector<int32_t> exponents;  // empty: all are zero, and the mantissas are the numbers themselves

  size_t size() const noexcept { return mantissas.size(); }
  bool is_plain() const noexcept { return exponents.empty(); }
};

// Every number gets a mantissa of zero or in [1/2, 1), and an exponent.
void make_wide(WideArray& array);

// Scales the largest number to a mantissa in [1/2, 1) and the exponent zero; returns the power of two that
// was taken out. Numbers that all fit a double become plain. An array of zeros stays.
int64_t normalize(WideArray& array);

// The numbers as doubles; false where one of them, not zero, is too small or too large.
bool copy_plain(const WideArray& array, std::vector<double>& values);

// array[i] /= divisor[i]; where the divisor is zero, the result is, too.
void divide(WideArray& array, const WideArray& divisor);

// Entry i as a single number.
WideNumber entry(const WideArray& array, size_t i) noexcept;

}  // namespace tv
