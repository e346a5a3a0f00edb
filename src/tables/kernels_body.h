// The loops behind kernels.h, compiled once per instruction set by kernels.cpp. No includes and no
// library calls here: an inline function compiled for a newer instruction set must never become the
// copy that the linker keeps.
//
// A nest is run as: an odometer over its outer dimensions, and three inner dimensions in one
// function. Short innermost dimensions (2 to 8 states, the common case) have their count as a
// template argument, so that the compiler turns whole blocks into vector code.

constexpr size_t kLanes = 16;     // accumulators of a long sum
constexpr size_t kBlockRows = 8;  // rows of short inner dimensions summed side by side

inline double sum_of(const float* x, size_t n) {
  double total = 0.0;
  if (n >= 2 * kLanes) {
    double lane[kLanes];
    for (size_t l = 0; l < kLanes; ++l) lane[l] = 0.0;
    for (; n >= kLanes; n -= kLanes, x += kLanes)
      for (size_t l = 0; l < kLanes; ++l) lane[l] += static_cast<double>(x[l]);
    for (size_t width = kLanes / 2; width > 0; width /= 2)
      for (size_t l = 0; l < width; ++l) lane[l] += lane[l + width];
    total = lane[0];
  }
  for (size_t j = 0; j < n; ++j) total += static_cast<double>(x[j]);
  return total;
}

inline float larger(float a, float b) { return a < b ? b : a; }

inline float max_of(const float* x, size_t n) {
  if (n < kLanes) {
    float found = x[0];
    for (size_t l = 1; l < n; ++l) found = larger(found, x[l]);
    return found;
  }
  float lane[kLanes];
  for (size_t l = 0; l < kLanes; ++l) lane[l] = x[0];
  for (; n >= kLanes; n -= kLanes, x += kLanes)
    for (size_t l = 0; l < kLanes; ++l) lane[l] = larger(lane[l], x[l]);
  for (size_t l = 0; l < n; ++l) lane[l] = larger(lane[l], x[l]);
  for (size_t width = kLanes / 2; width > 0; width /= 2)
    for (size_t l = 0; l < width; ++l) lane[l] = larger(lane[l], lane[l + width]);
  return lane[0];
}

// An operation says what happens to one pair of entries and what to do with rows: `vector` rows run
// along both tables, `scalar` rows meet one entry of the other table.
struct Assign {
  using TableEntry = float;
  using OtherEntry = const float;
  void one(float& x, const float& y) const { x = y; }
  void vector(float* x, const float* y, size_t n) const {
    for (size_t j = 0; j < n; ++j) x[j] = y[j];
  }
  void scalar(float* x, const float& y, size_t n) const {
    const float v = y;
    for (size_t j = 0; j < n; ++j) x[j] = v;
  }
};

struct Multiply {
  using TableEntry = float;
  using OtherEntry = const float;
  void one(float& x, const float& y) const { x *= y; }
  void vector(float* x, const float* y, size_t n) const {
    for (size_t j = 0; j < n; ++j) x[j] *= y[j];
  }
  void scalar(float* x, const float& y, size_t n) const {
    const float v = y;
    for (size_t j = 0; j < n; ++j) x[j] *= v;
  }
};

struct Sum {
  using TableEntry = const float;
  using OtherEntry = double;
  void one(const float& x, double& y) const { y += static_cast<double>(x); }
  void vector(const float* x, double* y, size_t n) const {
    for (size_t j = 0; j < n; ++j) y[j] += static_cast<double>(x[j]);
  }
  void scalar(const float* x, double& y, size_t n) const { y += sum_of(x, n); }
};

struct WeightedSum {
  using TableEntry = const float;
  using OtherEntry = double;
  double weight;
  void one(const float& x, double& y) const { y += weight * static_cast<double>(x); }
  void vector(const float* x, double* y, size_t n) const {
    for (size_t j = 0; j < n; ++j) y[j] += weight * static_cast<double>(x[j]);
  }
  void scalar(const float* x, double& y, size_t n) const { y += weight * sum_of(x, n); }
};

struct Max {
  using TableEntry = const float;
  using OtherEntry = double;
  static double larger_of(double a, double b) { return a < b ? b : a; }
  void one(const float& x, double& y) const { y = larger_of(y, static_cast<double>(x)); }
  void vector(const float* x, double* y, size_t n) const {
    for (size_t j = 0; j < n; ++j) one(x[j], y[j]);
  }
  void scalar(const float* x, double& y, size_t n) const { one(max_of(x, n), y); }
};

struct WeightedMax {
  using TableEntry = const float;
  using OtherEntry = double;
  double weight;
  void one(const float& x, double& y) const { y = Max::larger_of(y, weight * static_cast<double>(x)); }
  void vector(const float* x, double* y, size_t n) const {
    for (size_t j = 0; j < n; ++j) one(x[j], y[j]);
  }
  void scalar(const float* x, double& y, size_t n) const { one(max_of(x, n), y); }
};

// Rows of N contiguous entries that meet N contiguous entries of the other table (Along) or one.
template <size_t N, bool Along, class Op>
inline void short_rows(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y, size_t n,
                       size_t stride, size_t stride2) {
  for (size_t i = 0; i < n; ++i, x += stride, y += stride2)
    for (size_t j = 0; j < N; ++j) op.one(x[j], y[Along ? j : 0]);
}

// Summing N short columns down many contiguous rows: blocks of rows are added side by side, so that
// the vectors are full however small N is.
template <size_t N>
inline void sum_columns(const float* x, double* y, size_t rows) {
  double lane[N * kBlockRows];
  for (size_t l = 0; l < N * kBlockRows; ++l) lane[l] = 0.0;
  for (; rows >= kBlockRows; rows -= kBlockRows, x += N * kBlockRows)
    for (size_t l = 0; l < N * kBlockRows; ++l) lane[l] += static_cast<double>(x[l]);
  for (size_t l = 0; l < rows * N; ++l) lane[l] += static_cast<double>(x[l]);
  for (size_t width = kBlockRows / 2; width > 0; width /= 2)
    for (size_t l = 0; l < N * width; ++l) lane[l] += lane[l + N * width];
  for (size_t j = 0; j < N; ++j) y[j] += lane[j];
}

// The sum of each short contiguous row, rows one behind the other.
template <size_t N>
inline void sum_short_rows(const float* x, double* y, size_t n, size_t stride2) {
  for (size_t i = 0; i < n; ++i) {
    double total = static_cast<double>(x[i * N]);
    for (size_t j = 1; j < N; ++j) total += static_cast<double>(x[i * N + j]);
    y[i * stride2] += total;
  }
}

// One short vector repeated over many contiguous rows.
template <size_t N, class Op>
inline void repeat_vector(const Op& op, float* x, const float* y, size_t rows) {
  float pattern[N * kBlockRows];
  for (size_t r = 0; r < kBlockRows; ++r)
    for (size_t j = 0; j < N; ++j) pattern[r * N + j] = y[j];
  for (; rows >= kBlockRows; rows -= kBlockRows, x += N * kBlockRows)
    for (size_t l = 0; l < N * kBlockRows; ++l) op.one(x[l], pattern[l]);
  for (size_t l = 0; l < rows * N; ++l) op.one(x[l], pattern[l]);
}

template <size_t N, bool Along, class Op>
inline void block(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y, size_t n,
                  size_t stride, size_t stride2) {
  short_rows<N, Along>(op, x, y, n, stride, stride2);
}
template <size_t N, bool Along>
inline void block(const Sum& op, const float* x, double* y, size_t n, size_t stride, size_t stride2) {
  if (Along && stride2 == 0 && stride == N && n >= kBlockRows) return sum_columns<N>(x, y, n);
  if (!Along && stride == N) return sum_short_rows<N>(x, y, n, stride2);
  short_rows<N, Along>(op, x, y, n, stride, stride2);
}
template <size_t N, bool Along>
inline void block(const Multiply& op, float* x, const float* y, size_t n, size_t stride, size_t stride2) {
  if (Along && stride2 == 0 && stride == N && n >= kBlockRows) return repeat_vector<N>(op, x, y, n);
  short_rows<N, Along>(op, x, y, n, stride, stride2);
}

template <size_t N, bool Along>
struct ShortRows {
  template <class Op>
  static void run(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y,
                  const Dimension& middle, const Dimension&) {
    block<N, Along>(op, x, y, middle.count, middle.stride, middle.stride2);
  }
};

struct VectorRows {
  template <class Op>
  static void run(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y,
                  const Dimension& middle, const Dimension& inner) {
    for (size_t i = 0; i < middle.count; ++i, x += middle.stride, y += middle.stride2)
      op.vector(x, y, inner.count);
  }
};

struct ScalarRows {
  template <class Op>
  static void run(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y,
                  const Dimension& middle, const Dimension& inner) {
    for (size_t i = 0; i < middle.count; ++i, x += middle.stride, y += middle.stride2)
      op.scalar(x, *y, inner.count);
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
