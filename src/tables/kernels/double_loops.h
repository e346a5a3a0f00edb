// Loop nests over a block of doubles and one operand, along their merged dimensions: three inner dimensions
// in one function, short innermost ones unrolled.
#pragma once

#include "tables/kernels/index_map.h"

namespace tv {

inline constexpr size_t kLanes = 8;

inline double sum_of(const double* x, size_t n) noexcept {
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

// The operation on a pair of entries, and on a row of the block that is combined with a single entry.
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
struct Assign {
  using Entry = double;
  using Other = const T;
  static void one(double& x, const T& y) noexcept { x = static_cast<double>(y); }
  static void row(double* x, const T& y, size_t n) noexcept {
    for (size_t j = 0; j < n; ++j) one(x[j], y);
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

struct Maximum {
  using Entry = const double;
  using Other = double;
  static void one(const double& x, double& y) noexcept { y = y < x ? x : y; }
  static void row(const double* x, double& y, size_t n) noexcept {
    for (size_t j = 0; j < n; ++j) one(x[j], y);
  }
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

inline constexpr Dimension kSingle = {1, 0, 0};

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
void run_loops(const IndexMap& map, typename Op::Entry* x, typename Op::Other* y) noexcept {
  const Dimension* nest = map.inner;
  const size_t count = map.inner_count;
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

}  // namespace tv
