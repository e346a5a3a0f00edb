#include "inference/extended/wide_array.h"

#include <algorithm>
#include <climits>
#include <numbers>

namespace tv {
namespace {

constexpr int kLargestExponent = 1000;  // of numbers that are held as doubles, and of their inverses

// Doubles hold it and the products of it with ordinary factors.
bool is_ordinary(double mantissa, int32_t exponent) noexcept {
  if (mantissa == 0.0) return true;
  const int whole = std::ilogb(mantissa) + exponent;
  return whole > -kLargestExponent && whole < kLargestExponent;
}

void make_plain(WideArray& array) noexcept {
  for (size_t i = 0; i < array.size(); ++i)
    array.mantissas[i] = std::ldexp(array.mantissas[i], array.exponents[i]);
  array.exponents.clear();
}

// Its numbers are zero or so far from the ends of the range that a power of two may be taken out.
bool is_moderate(const WideArray& array) noexcept {
  constexpr double kLeast = 0x1p-400, kMost = 0x1p400;
  bool moderate = true;
  for (const double number : array.mantissas)
    moderate &= number == 0.0 || (number > kLeast && number < kMost);
  return moderate;
}

int64_t normalize_plain(WideArray& array) noexcept {
  double largest = 0.0;
  for (const double number : array.mantissas) largest = std::max(largest, number);
  if (largest == 0.0) return 0;
  const int exponent = std::ilogb(largest) + 1;
  const double scale = std::ldexp(1.0, -exponent);
  for (double& number : array.mantissas) number *= scale;
  return exponent;
}

bool fits_doubles(const WideArray& array) noexcept {
  for (size_t i = 0; i < array.size(); ++i)
    if (!is_ordinary(array.mantissas[i], array.exponents[i])) return false;
  return true;
}

}  // namespace

double WideNumber::logarithm() const noexcept {
  return std::log(mantissa) + static_cast<double>(exponent) * std::numbers::ln2;
}

double WideNumber::value() const noexcept {
  return std::ldexp(mantissa, static_cast<int>(std::clamp<int64_t>(exponent, -100000, 100000)));
}

void make_wide(WideArray& array) {
  if (array.is_plain()) array.exponents.assign(array.size(), 0);
  for (size_t i = 0; i < array.size(); ++i) {
    int shift = 0;
    array.mantissas[i] = std::frexp(array.mantissas[i], &shift);
    array.exponents[i] = array.mantissas[i] > 0.0 ? array.exponents[i] + shift : 0;
  }
}

int64_t normalize(WideArray& array) {
  if (array.is_plain() && is_moderate(array)) return normalize_plain(array);
  make_wide(array);
  int32_t largest = INT32_MIN;
  for (size_t i = 0; i < array.size(); ++i)
    if (array.mantissas[i] > 0.0) largest = std::max(largest, array.exponents[i]);
  if (largest == INT32_MIN) largest = 0;
  for (size_t i = 0; i < array.size(); ++i)
    if (array.mantissas[i] > 0.0) array.exponents[i] -= largest;
  if (fits_doubles(array)) make_plain(array);
  return largest;
}

bool copy_plain(const WideArray& array, std::vector<double>& values) {
  values = array.mantissas;
  if (array.is_plain()) return true;
  if (!fits_doubles(array)) return false;
  for (size_t i = 0; i < array.size(); ++i) values[i] = std::ldexp(values[i], array.exponents[i]);
  return true;
}

void divide(WideArray& array, const WideArray& divisor) {
  make_wide(array);
  for (size_t i = 0; i < array.size(); ++i) {
    const WideNumber below = entry(divisor, i);
    if (below.mantissa > 0.0) {
      array.mantissas[i] /= below.mantissa;
      array.exponents[i] -= static_cast<int32_t>(below.exponent);
    } else {
      array.mantissas[i] = 0.0;
      array.exponents[i] = 0;
    }
  }
}

WideNumber entry(const WideArray& array, size_t i) noexcept {
  int shift = 0;
  const double mantissa = std::frexp(array.mantissas[i], &shift);
  if (mantissa == 0.0) return {};
  return {mantissa, shift + (array.is_plain() ? 0 : int64_t{array.exponents[i]})};
}

}  // namespace tv
