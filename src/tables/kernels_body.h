// The loops behind kernels.h, compiled once per instruction set by kernels.cpp, after the rows. No includes
// and no library calls here: an inline function compiled for a newer instruction set must never become the
// copy that the linker keeps.
//
// A nest is run as: an odometer over its outer dimensions, and three inner dimensions in one
// function. Short innermost dimensions (2 to 8 states, the common case) have their count as a
// template argument, so that whole blocks of them fill vectors.

template <size_t N>
bool repeats(const Dimension& middle, size_t least) {
  return middle.stride2 == 0 && middle.stride == N && middle.count >= least;
}

template <size_t N, class Op>
inline void along_block(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y,
                        const Dimension& middle) {
  short_along<N>(op, x, y, middle.count, middle.stride, middle.stride2);
}
template <size_t N>
inline void along_block(const Sum& op, const float* x, double* y, const Dimension& middle) {
  if (repeats<N>(middle, kBlockRows)) return sum_columns<N>(x, y, middle.count);
  short_along<N>(op, x, y, middle.count, middle.stride, middle.stride2);
}
template <size_t N>
inline void along_block(const Multiply& op, float* x, const float* y, const Dimension& middle) {
  if (repeats<N>(middle, 2)) return repeat_row<N>(op, x, y, middle.count);
  short_along<N>(op, x, y, middle.count, middle.stride, middle.stride2);
}
template <size_t N>
inline void along_block(const Assign& op, float* x, const float* y, const Dimension& middle) {
  if (repeats<N>(middle, 2)) return repeat_row<N>(op, x, y, middle.count);
  short_along<N>(op, x, y, middle.count, middle.stride, middle.stride2);
}

template <size_t N, bool Along>
struct ShortRows {
  template <class Op>
  static void run(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y,
                  const Dimension& middle, const Dimension&) {
    if (Along)
      along_block<N>(op, x, y, middle);
    else
      short_spread<N>(op, x, y, middle.count, middle.stride, middle.stride2);
  }
};

struct VectorRows {
  template <class Op>
  static void run(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y,
                  const Dimension& middle, const Dimension& inner) {
    along(op, x, y, inner.count, middle.count, middle.stride, middle.stride2);
  }
};

struct ScalarRows {
  template <class Op>
  static void run(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y,
                  const Dimension& middle, const Dimension& inner) {
    spread(op, x, y, inner.count, middle.count, middle.stride, middle.stride2);
  }
};

struct StridedRows {
  template <class Op>
  static void run(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y,
                  const Dimension& middle, const Dimension& inner) {
    for (size_t i = 0; i < middle.count; ++i, x += middle.stride, y += middle.stride2)
      for (size_t j = 0; j < inner.count; ++j) op.one(x[j * inner.stride], y[j * inner.stride2]);
  }
};

constexpr size_t kMaxOdometer = 64;  // 64 dimensions of two states already exceed any memory

// Runs `Rows` for every combination of the outer dimensions.
template <class Rows, class Op>
void run_nest(const Op& op, const Dimension* nest, size_t count, typename Op::TableEntry* x,
              typename Op::OtherEntry* y) {
  constexpr Dimension single = {1, 0, 0};
  const Dimension inner = nest[count - 1];
  const Dimension middle = count > 1 ? nest[count - 2] : single;
  if (count < 3) return Rows::run(op, x, y, middle, inner);
  const Dimension third = nest[count - 3];
  const size_t outer = count - 3;
  size_t position[kMaxOdometer];
  for (size_t d = 0; d < outer; ++d) position[d] = 0;
  for (;;) {
    for (size_t i = 0; i < third.count; ++i)
      Rows::run(op, x + i * third.stride, y + i * third.stride2, middle, inner);
    size_t d = outer;
    for (;;) {
      if (d == 0) return;
      --d;
      x += nest[d].stride;
      y += nest[d].stride2;
      if (++position[d] < nest[d].count) break;
      x -= nest[d].count * nest[d].stride;
      y -= nest[d].count * nest[d].stride2;
      position[d] = 0;
    }
  }
}

template <bool Along, class Op>
void run_contiguous(const Op& op, const Dimension* nest, size_t count, typename Op::TableEntry* x,
                    typename Op::OtherEntry* y) {
  switch (nest[count - 1].count) {
    case 2:
      return run_nest<ShortRows<2, Along>>(op, nest, count, x, y);
    case 3:
      return run_nest<ShortRows<3, Along>>(op, nest, count, x, y);
    case 4:
      return run_nest<ShortRows<4, Along>>(op, nest, count, x, y);
    case 5:
      return run_nest<ShortRows<5, Along>>(op, nest, count, x, y);
    case 6:
      return run_nest<ShortRows<6, Along>>(op, nest, count, x, y);
    case 7:
      return run_nest<ShortRows<7, Along>>(op, nest, count, x, y);
    case 8:
      return run_nest<ShortRows<8, Along>>(op, nest, count, x, y);
  }
  if (Along) return run_nest<VectorRows>(op, nest, count, x, y);
  return run_nest<ScalarRows>(op, nest, count, x, y);
}

template <class Op>
void run(const Op& op, const Dimension* nest, size_t count, typename Op::TableEntry* x,
         typename Op::OtherEntry* y) {
  if (count == 0) return op.one(*x, *y);
  const Dimension& inner = nest[count - 1];
  if (inner.stride == 1 && inner.stride2 == 1) return run_contiguous<true>(op, nest, count, x, y);
  if (inner.stride == 1 && inner.stride2 == 0) return run_contiguous<false>(op, nest, count, x, y);
  run_nest<StridedRows>(op, nest, count, x, y);
}

void assign(const Dimension* nest, size_t count, float* table, const float* other) {
  run(Assign{}, nest, count, table, other);
}
void multiply(const Dimension* nest, size_t count, float* table, const float* other) {
  run(Multiply{}, nest, count, table, other);
}
void sum(const Dimension* nest, size_t count, const float* table, double* other) {
  run(Sum{}, nest, count, table, other);
}
void weighted_sum(const Dimension* nest, size_t count, const float* table, double* other, double weight) {
  run(WeightedSum{weight}, nest, count, table, other);
}
void max(const Dimension* nest, size_t count, const float* table, double* other) {
  run(Max{}, nest, count, table, other);
}
void weighted_max(const Dimension* nest, size_t count, const float* table, double* other, double weight) {
  run(WeightedMax{weight}, nest, count, table, other);
}

// Sum and largest of the ratios, taken along while they are formed; `lost` is positive where an old positive
// entry met a new one that is not.
struct RatioSummary {
  double sum[kLanes];
  float largest[kLanes];
  float lost[kLanes];

  RatioSummary() {
    for (size_t l = 0; l < kLanes; ++l) sum[l] = 0.0, largest[l] = 0.0f, lost[l] = 0.0f;
  }
  void add(const float* ratio, size_t n) {
    for (size_t l = 0; l < n; ++l) sum[l] += static_cast<double>(ratio[l]);
    for (size_t l = 0; l < n; ++l) largest[l] = larger(largest[l], ratio[l]);
  }
  RatioResult result() {
    for (size_t width = kLanes / 2; width > 0; width /= 2)
      for (size_t l = 0; l < width; ++l) {
        sum[l] += sum[l + width];
        largest[l] = larger(largest[l], largest[l + width]);
        lost[l] = larger(lost[l], lost[l + width]);
      }
    return {sum[0], static_cast<double>(largest[0]), lost[0] > 0.0f};
  }
};

inline void divide_some(const double* __restrict fresh, float* __restrict old, float* __restrict ratio,
                        size_t n, RatioSummary& summary) {
  float after[kLanes];
  for (size_t l = 0; l < n; ++l) after[l] = static_cast<float>(fresh[l]);
  for (size_t l = 0; l < n; ++l) {
    const float before = old[l];
    const float quotient = after[l] / (before > 0.0f ? before : 1.0f);
    ratio[l] = before > 0.0f ? quotient : 0.0f;
    summary.lost[l] = larger(summary.lost[l], after[l] > 0.0f ? 0.0f : before);
    old[l] = after[l];
  }
  summary.add(ratio, n);
}

inline void take_some(const double* __restrict fresh, float* __restrict old, float* __restrict ratio,
                      size_t n, RatioSummary& summary) {
  for (size_t l = 0; l < n; ++l) ratio[l] = static_cast<float>(fresh[l]);
  for (size_t l = 0; l < n; ++l) old[l] = ratio[l];
  summary.add(ratio, n);
}

// The same for a few entries, one after the other.
RatioResult divide_few(const double* fresh, float* old, float* ratio, size_t size) {
  double total = 0.0;
  float largest = 0.0f;
  bool lost = false;
  for (size_t i = 0; i < size; ++i) {
    const float after = static_cast<float>(fresh[i]);
    const bool possible = old[i] > 0.0f;
    lost |= possible && !(after > 0.0f);
    ratio[i] = possible ? after / old[i] : 0.0f;
    old[i] = after;
    total += static_cast<double>(ratio[i]);
    largest = larger(largest, ratio[i]);
  }
  return {total, static_cast<double>(largest), lost};
}

RatioResult take_few(const double* fresh, float* old, float* ratio, size_t size) {
  double total = 0.0;
  float largest = 0.0f;
  for (size_t i = 0; i < size; ++i) {
    ratio[i] = old[i] = static_cast<float>(fresh[i]);
    total += static_cast<double>(ratio[i]);
    largest = larger(largest, ratio[i]);
  }
  return {total, static_cast<double>(largest), false};
}

RatioResult divide(const double* __restrict fresh, float* __restrict old, float* __restrict ratio,
                   size_t size) {
  if (size < kLanes) return divide_few(fresh, old, ratio, size);
  RatioSummary summary;
  size_t i = 0;
  for (; i + kLanes <= size; i += kLanes) divide_some(fresh + i, old + i, ratio + i, kLanes, summary);
  divide_some(fresh + i, old + i, ratio + i, size - i, summary);
  return summary.result();
}

RatioResult take(const double* __restrict fresh, float* __restrict old, float* __restrict ratio,
                 size_t size) {
  if (size < kLanes) return take_few(fresh, old, ratio, size);
  RatioSummary summary;
  size_t i = 0;
  for (; i + kLanes <= size; i += kLanes) take_some(fresh + i, old + i, ratio + i, kLanes, summary);
  take_some(fresh + i, old + i, ratio + i, size - i, summary);
  return summary.result();
}

void scale(float* values, size_t size, double factor) {
  for (size_t i = 0; i < size; ++i) values[i] = static_cast<float>(static_cast<double>(values[i]) * factor);
}
