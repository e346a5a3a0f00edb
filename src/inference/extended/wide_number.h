// A non-negative number of any size.
#pragma once

#include <cmath>
#include <cstdint>

namespace tv {

// Its mantissa is zero or lies in [1/2, 1).
struct WideNumber {
  double mantissa = 0.0;
  int64_t exponent = 0;

  void multiply(double factor) noexcept {
    int shift = 0;
    mantissa = std::frexp(mantissa * factor, &shift);
    exponent = mantissa > 0.0 ? exponent + shift : 0;
  }
  double logarithm() const noexcept;  // the natural one
  double value() const noexcept;      // zero or infinite where no double can hold it
};

}  // namespace tv
