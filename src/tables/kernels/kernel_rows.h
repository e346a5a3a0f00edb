// Operations on pairs of entries and on rows of them, as plain loops. Like kernels_body.h it is compiled once
// for each instruction set; an instruction set may bring faster rows of its own, with the same bits.

constexpr size_t kLanes = 16;     // accumulators of a long sum
constexpr size_t kFewLanes = 8;   // and of one over at most four times as many entries
constexpr size_t kBlockRows = 8;  // rows of short inner dimensions assigned or multiplied side by side

// How many rows of n entries are summed side by side: those that fill two vectors of eight.
constexpr size_t rows_side_by_side(size_t n) { return n <= 2 ? 8 : n <= 4 ? 4 : 2; }

// Entry j belongs to lane j modulo their number; the lanes are added in pairs, each time half as many.
template <size_t Lanes>
inline double sum_in_lanes(const float* x, size_t n) {
  double lane[Lanes];
  for (size_t l = 0; l < Lanes; ++l) lane[l] = 0.0;
  for (; n >= Lanes; n -= Lanes, x += Lanes)
    for (size_t l = 0; l < Lanes; ++l) lane[l] += static_cast<double>(x[l]);
  for (size_t l = 0; l < n; ++l) lane[l] += static_cast<double>(x[l]);
  for (size_t width = Lanes / 2; width > 0; width /= 2)
    for (size_t l = 0; l < width; ++l) lane[l] += lane[l + width];
  return lane[0];
}
inline double sum_of(const float* x, size_t n) {
  return n <= 4 * kFewLanes ? sum_in_lanes<kFewLanes>(x, n) : sum_in_lanes<kLanes>(x, n);
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

// An operation defines what is done with one pair of entries and with rows: `vector` rows are contiguous in
// both tables, `scalar` rows are combined with one entry of the other table.
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

// Sums of partial sums.
struct SumAgain {
  using TableEntry = const double;
  using OtherEntry = double;
  void one(const double& x, double& y) const { y += x; }
  void vector(const double* x, double* y, size_t n) const {
    for (size_t j = 0; j < n; ++j) y[j] += x[j];
  }
  void scalar(const double* x, double& y, size_t n) const {
    double total = x[0];
    for (size_t j = 1; j < n; ++j) total += x[j];
    y += total;
  }
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

// ---- Rows ----
// `rows` rows of n contiguous entries each, `stride` apart. Along: a row of the table is combined with a row
// of the other one; broadcast: with one entry of it. The rows and entries of the other table are `stride2`
// apart.

template <class Op>
inline void along(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y, size_t n, size_t rows,
                  size_t stride, size_t stride2) {
  for (size_t i = 0; i < rows; ++i, x += stride, y += stride2) op.vector(x, y, n);
}

template <class Op>
inline void broadcast(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y, size_t n,
                      size_t rows, size_t stride, size_t stride2) {
  for (size_t i = 0; i < rows; ++i, x += stride, y += stride2) op.scalar(x, *y, n);
}

// ---- Rows of N entries ----

template <size_t N, class Op>
inline void short_along(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y, size_t rows,
                        size_t stride, size_t stride2) {
  for (size_t i = 0; i < rows; ++i, x += stride, y += stride2)
    for (size_t j = 0; j < N; ++j) op.one(x[j], y[j]);
}

template <size_t N, class Op>
inline void short_spread(const Op& op, typename Op::TableEntry* x, typename Op::OtherEntry* y, size_t rows,
                         size_t stride, size_t stride2) {
  for (size_t i = 0; i < rows; ++i, x += stride, y += stride2)
    for (size_t j = 0; j < N; ++j) op.one(x[j], *y);
}
