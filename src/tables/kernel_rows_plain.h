// The rows that deserve a way of their own, as plain loops for instruction sets that bring no others.

// Rows that go to the same place are added up before they are added to it.
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

// Many rows added into one: blocks of rows are added side by side, so that the vectors are full however small
// N is.
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
