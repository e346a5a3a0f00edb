// Rows with loops of their own, for instruction sets that bring no faster ones.

// Rows with the same destination are summed before they are added to it.
inline void along(const Sum& op, const float* x, double* y, size_t n, size_t rows, size_t stride,
                  size_t stride2) {
  if (stride2 != 0) {
    for (size_t i = 0; i < rows; ++i, x += stride, y += stride2) op.vector(x, y, n);
    return;
  }
  for (size_t j = 0; j < n; j += kLanes) {
    const size_t width = n - j < kLanes ? n - j : kLanes;
    double lane[kLanes];
    for (size_t l = 0; l < kLanes; ++l) lane[l] = 0.0;
    for (size_t i = 0; i < rows; ++i)
      for (size_t l = 0; l < width; ++l) lane[l] += static_cast<double>(x[i * stride + j + l]);
    for (size_t l = 0; l < width; ++l) y[j + l] += lane[l];
  }
}

// The sum of each short row.
template <size_t N>
inline void short_spread(const Sum&, const float* x, double* y, size_t rows, size_t stride, size_t stride2) {
  for (size_t i = 0; i < rows; ++i) {
    double total = static_cast<double>(x[i * stride]);
    for (size_t j = 1; j < N; ++j) total += static_cast<double>(x[i * stride + j]);
    y[i * stride2] += total;
  }
}

// One row repeated over many.
template <size_t N, class Op>
inline void repeat_row(const Op& op, float* x, const float* y, size_t rows) {
  float pattern[N * kBlockRows];
  for (size_t r = 0; r < kBlockRows; ++r)
    for (size_t j = 0; j < N; ++j) pattern[r * N + j] = y[j];
  for (; rows >= kBlockRows; rows -= kBlockRows, x += N * kBlockRows)
    for (size_t l = 0; l < N * kBlockRows; ++l) op.one(x[l], pattern[l]);
  for (size_t l = 0; l < rows * N; ++l) op.one(x[l], pattern[l]);
}

// Rows added into one: some are added side by side, so that the vectors are full however small N is.
template <size_t N, class Entry>
inline void sum_columns(const Entry* x, double* y, size_t rows) {
  constexpr size_t together = rows_side_by_side(N);
  double lane[N * together];
  for (size_t l = 0; l < N * together; ++l) lane[l] = 0.0;
  for (; rows >= together; rows -= together, x += N * together)
    for (size_t l = 0; l < N * together; ++l) lane[l] += static_cast<double>(x[l]);
  for (size_t l = 0; l < rows * N; ++l) lane[l] += static_cast<double>(x[l]);
  for (size_t width = together / 2; width > 0; width /= 2)
    for (size_t l = 0; l < N * width; ++l) lane[l] += lane[l + N * width];
  for (size_t j = 0; j < N; ++j) y[j] += lane[j];
}

// Forms at most kLanes ratios at a time and accumulates their sum and the largest; `lost` is positive where
// an old positive entry is divided into a new one that is not.
struct RatioLanes {
  double sum[kLanes];
  float largest[kLanes];
  float lost[kLanes];

  RatioLanes() {
    for (size_t l = 0; l < kLanes; ++l) sum[l] = 0.0, largest[l] = 0.0f, lost[l] = 0.0f;
  }

  void divide(const double* __restrict fresh, float* __restrict old, float* __restrict ratio, size_t n) {
    float after[kLanes];
    for (size_t l = 0; l < n; ++l) after[l] = static_cast<float>(fresh[l]);
    for (size_t l = 0; l < n; ++l) {
      const float before = old[l];
      const float quotient = after[l] / (before > 0.0f ? before : 1.0f);
      ratio[l] = before > 0.0f ? quotient : 0.0f;
      lost[l] = larger(lost[l], after[l] > 0.0f ? 0.0f : before);
      old[l] = after[l];
    }
    add(ratio, n);
  }

  void take(const double* __restrict fresh, float* __restrict old, float* __restrict ratio, size_t n) {
    for (size_t l = 0; l < n; ++l) ratio[l] = static_cast<float>(fresh[l]);
    for (size_t l = 0; l < n; ++l) old[l] = ratio[l];
    add(ratio, n);
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
