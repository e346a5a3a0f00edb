// Products and sums of factors without a limit of range, in an order that depends on nothing else.
#pragma once

#include <cmath>

#include "inference/extended/wide_number.h"

namespace tv {

class WideProduct {
 public:
  void multiply(double factor) noexcept {
    mantissa_ *= factor;
    if (!(mantissa_ > kLow && mantissa_ < kHigh)) normalize();
  }
  void multiply(const WideNumber& factor) noexcept {
    exponent_ += factor.exponent;
    multiply(factor.mantissa);
  }
  double mantissa() const noexcept { return mantissa_; }
  int64_t exponent() const noexcept { return exponent_; }

 private:
  // Far enough from the ends of the range for one factor more.
  static constexpr double kLow = 0x1p-500, kHigh = 0x1p500;

  void normalize() noexcept {
    int shift = 0;
    mantissa_ = std::frexp(mantissa_, &shift);
    exponent_ = mantissa_ > 0.0 ? exponent_ + shift : 0;
  }

  double mantissa_ = 1.0;
  int64_t exponent_ = 0;
};

// The number times 2 to this power, which is not positive; what underflows is zero.
inline double scaled_down(double number, int64_t power) noexcept {
  if (power == 0) return number;
  return power < -4000 ? 0.0 : std::ldexp(number, static_cast<int>(power));
}

class WideSum {
 public:
  void add(const WideProduct& product) noexcept {
    if (!(product.mantissa() > 0.0)) return;
    if (!(mantissa_ > 0.0) || product.exponent() > exponent_) {
      mantissa_ = product.mantissa() + scaled_down(mantissa_, exponent_ - product.exponent());
      exponent_ = product.exponent();
    } else {
      mantissa_ += scaled_down(product.mantissa(), product.exponent() - exponent_);
    }
  }

  WideNumber value() const noexcept {
    WideNumber result = {mantissa_, exponent_};
    result.multiply(1.0);
    return result;
  }

 private:
  double mantissa_ = 0.0;
  int64_t exponent_ = 0;
};

}  // namespace tv
