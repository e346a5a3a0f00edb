// Rows in 512-bit vectors: the last vector of a row is masked, and short rows are packed several to a vector.
// They add in the same order as the plain rows, and are found instead of them where the types match.

inline __mmask16 first_lanes(size_t n) { return static_cast<__mmask16>((1u << n) - 1); }

// Eight entries as doubles, those at n and beyond zero.
inline __m512d doubles(const float* x) { return _mm512_cvtps_pd(_mm256_loadu_ps(x)); }
inline __m512d doubles(const float* x, __mmask8 mask) {
  return _mm512_cvtps_pd(_mm256_maskz_loadu_ps(mask, x));
}
inline __mmask8 low_lanes(size_t n) { return static_cast<__mmask8>(n >= 8 ? 0xff : (1u << n) - 1); }
inline __mmask8 high_lanes(size_t n) { return static_cast<__mmask8>(n <= 8 ? 0 : (1u << (n - 8)) - 1); }

// ---- Multiplying and assigning ----

struct MultiplyVector {
  __m512 operator()(__m512 x, __m512 y) const { return _mm512_mul_ps(x, y); }
};
struct AssignVector {
  __m512 operator()(__m512, __m512 y) const { return y; }
};

template <class Vector>
inline void change_row(const Vector& vector, float* x, const float* y, size_t n) {
  size_t j = 0;
  for (; j + kLanes <= n; j += kLanes)
    _mm512_storeu_ps(x + j, vector(_mm512_loadu_ps(x + j), _mm512_loadu_ps(y + j)));
  if (j == n) return;
  const __mmask16 mask = first_lanes(n - j);
  _mm512_mask_storeu_ps(x + j, mask,
                        vector(_mm512_maskz_loadu_ps(mask, x + j), _mm512_maskz_loadu_ps(mask, y + j)));
}

template <class Vector>
inline void change_rows(const Vector& vector, float* x, const float* y, size_t n, size_t rows, size_t stride,
                        size_t stride2) {
  if (stride2 != 0 || rows < 2) {
    for (size_t i = 0; i < rows; ++i, x += stride, y += stride2) change_row(vector, x, y, n);
    return;
  }
  for (size_t j = 0; j < n; j += kLanes) {  // the other table's row stays in a register
    const __mmask16 mask = n - j < kLanes ? first_lanes(n - j) : 0xffff;
    const __m512 row = _mm512_maskz_loadu_ps(mask, y + j);
    float* place = x + j;
    for (size_t i = 0; i < rows; ++i, place += stride)
      _mm512_mask_storeu_ps(place, mask, vector(_mm512_maskz_loadu_ps(mask, place), row));
  }
}

template <class Vector>
inline void spread_rows(const Vector& vector, float* x, const float* y, size_t n, size_t rows, size_t stride,
                        size_t stride2) {
  const size_t whole = n / kLanes * kLanes;
  const __mmask16 mask = first_lanes(n - whole);
  for (size_t i = 0; i < rows; ++i, x += stride, y += stride2) {
    const __m512 entry = _mm512_set1_ps(*y);
    for (size_t j = 0; j < whole; j += kLanes) _mm512_storeu_ps(x + j, vector(_mm512_loadu_ps(x + j), entry));
    if (mask) _mm512_mask_storeu_ps(x + whole, mask, vector(_mm512_maskz_loadu_ps(mask, x + whole), entry));
  }
}

inline void along(const Multiply&, float* x, const float* y, size_t n, size_t rows, size_t stride,
                  size_t stride2) {
  change_rows(MultiplyVector{}, x, y, n, rows, stride, stride2);
}
inline void along(const Assign&, float* x, const float* y, size_t n, size_t rows, size_t stride,
                  size_t stride2) {
  change_rows(AssignVector{}, x, y, n, rows, stride, stride2);
}
inline void spread(const Multiply&, float* x, const float* y, size_t n, size_t rows, size_t stride,
                   size_t stride2) {
  spread_rows(MultiplyVector{}, x, y, n, rows, stride, stride2);
}
inline void spread(const Assign&, float* x, const float* y, size_t n, size_t rows, size_t stride,
                   size_t stride2) {
  spread_rows(AssignVector{}, x, y, n, rows, stride, stride2);
}

// Lane l of a vector of packed rows of N entries belongs to row l / N and to entry l % N.
template <size_t N>
struct Packed {
  static constexpr size_t kRows = kLanes / N;

  static __m512i lanes(bool row) {
    alignas(64) int index[kLanes];
    for (size_t l = 0; l < kLanes; ++l) index[l] = static_cast<int>(row ? l / N : l % N);
    return _mm512_load_si512(index);
  }
};

// Rows one behind the other that meet one entry each, or all the same row.
template <size_t N, class Vector>
inline void change_packed(const Vector& vector, float* x, const float* y, size_t rows, bool row_for_all) {
  constexpr size_t at_once = Packed<N>::kRows;
  const __m512i lanes = Packed<N>::lanes(!row_for_all);
  __m512 other = _mm512_setzero_ps();
  if (row_for_all) other = _mm512_permutexvar_ps(lanes, _mm512_maskz_loadu_ps(first_lanes(N), y));
  for (; rows > 0; rows -= rows < at_once ? rows : at_once, x += at_once * N, y += at_once) {
    const size_t here = rows < at_once ? rows : at_once;
    const __mmask16 mask = here * N == kLanes ? static_cast<__mmask16>(0xffff) : first_lanes(here * N);
    if (!row_for_all) other = _mm512_permutexvar_ps(lanes, _mm512_maskz_loadu_ps(first_lanes(here), y));
    _mm512_mask_storeu_ps(x, mask, vector(_mm512_maskz_loadu_ps(mask, x), other));
  }
}

template <size_t N, class Vector>
inline void spread_short_rows(const Vector& vector, float* x, const float* y, size_t rows, size_t stride,
                              size_t stride2) {
  if (stride == N && stride2 == 1) return change_packed<N>(vector, x, y, rows, false);
  const __mmask16 mask = first_lanes(N);
  for (size_t i = 0; i < rows; ++i, x += stride, y += stride2)
    _mm512_mask_storeu_ps(x, mask, vector(_mm512_maskz_loadu_ps(mask, x), _mm512_set1_ps(*y)));
}

template <size_t N>
inline void short_spread(const Multiply&, float* x, const float* y, size_t rows, size_t stride,
                         size_t stride2) {
  spread_short_rows<N>(MultiplyVector{}, x, y, rows, stride, stride2);
}
template <size_t N>
inline void short_spread(const Assign&, float* x, const float* y, size_t rows, size_t stride,
                         size_t stride2) {
  spread_short_rows<N>(AssignVector{}, x, y, rows, stride, stride2);
}
template <size_t N>
inline void repeat_row(const Multiply&, float* x, const float* y, size_t rows) {
  change_packed<N>(MultiplyVector{}, x, y, rows, true);
}

// ---- Sums ----

inline __m256d fold(__m512d x) {
  return _mm256_add_pd(_mm512_castpd512_pd256(x), _mm512_extractf64x4_pd(x, 1));
}

// The sixteen lanes of a row, folded to eight.
inline __m512d lanes_of(const float* x, size_t n) {
  __m512d low = _mm512_setzero_pd(), high = low;
  for (; n >= kLanes; n -= kLanes, x += kLanes) {
    low = _mm512_add_pd(low, doubles(x));
    high = _mm512_add_pd(high, doubles(x + 8));
  }
  if (n > 0) {
    low = _mm512_add_pd(low, doubles(x, low_lanes(n)));
    high = _mm512_add_pd(high, doubles(x + 8, high_lanes(n)));
  }
  return _mm512_add_pd(low, high);
}

inline double total_of(__m512d lanes) {
  const __m256d four = fold(lanes);
  const __m128d two = _mm_add_pd(_mm256_castpd256_pd128(four), _mm256_extractf128_pd(four, 1));
  return _mm_cvtsd_f64(two) + _mm_cvtsd_f64(_mm_unpackhi_pd(two, two));
}

// The totals of four rows at once.
inline __m256d totals_of(__m512d a, __m512d b, __m512d c, __m512d d) {
  const __m256d a4 = fold(a), b4 = fold(b), c4 = fold(c), d4 = fold(d);
  const __m256d ab =
      _mm256_add_pd(_mm256_permute2f128_pd(a4, b4, 0x20), _mm256_permute2f128_pd(a4, b4, 0x31));
  const __m256d cd =
      _mm256_add_pd(_mm256_permute2f128_pd(c4, d4, 0x20), _mm256_permute2f128_pd(c4, d4, 0x31));
  // Lanes a0 a1 b0 b1 and c0 c1 d0 d1 become a c b d.
  const __m256d sums = _mm256_add_pd(_mm256_unpacklo_pd(ab, cd), _mm256_unpackhi_pd(ab, cd));
  return _mm256_permute4x64_pd(sums, 0xd8);
}

inline void spread(const Sum&, const float* x, double* y, size_t n, size_t rows, size_t stride,
                   size_t stride2) {
  size_t i = 0;
  for (; i + 4 <= rows; i += 4, x += 4 * stride, y += 4 * stride2) {
    const __m256d totals = totals_of(lanes_of(x, n), lanes_of(x + stride, n), lanes_of(x + 2 * stride, n),
                                     lanes_of(x + 3 * stride, n));
    if (stride2 == 1) {
      _mm256_storeu_pd(y, _mm256_add_pd(_mm256_loadu_pd(y), totals));
    } else {
      double each[4];
      _mm256_storeu_pd(each, totals);
      for (size_t r = 0; r < 4; ++r) y[r * stride2] += each[r];
    }
  }
  for (; i < rows; ++i, x += stride, y += stride2) *y += total_of(lanes_of(x, n));
}

inline void add_row(const float* x, double* y, size_t n) {
  for (; n >= 8; n -= 8, x += 8, y += 8) _mm512_storeu_pd(y, _mm512_add_pd(_mm512_loadu_pd(y), doubles(x)));
  if (n == 0) return;
  const __mmask8 mask = low_lanes(n);
  _mm512_mask_storeu_pd(y, mask, _mm512_add_pd(_mm512_maskz_loadu_pd(mask, y), doubles(x, mask)));
}

inline void along(const Sum&, const float* x, double* y, size_t n, size_t rows, size_t stride,
                  size_t stride2) {
  if (stride2 != 0 || rows < 2) {
    for (size_t i = 0; i < rows; ++i, x += stride, y += stride2) add_row(x, y, n);
    return;
  }
  for (size_t j = 0; j < n; j += kLanes) {
    const __mmask8 low_mask = low_lanes(n - j), high_mask = high_lanes(n - j < kLanes ? n - j : kLanes);
    __m512d low = _mm512_setzero_pd(), high = low;
    const float* row = x + j;
    for (size_t i = 0; i < rows; ++i, row += stride) {
      low = _mm512_add_pd(low, doubles(row, low_mask));
      high = _mm512_add_pd(high, doubles(row + 8, high_mask));
    }
    double* place = y + j;
    _mm512_mask_storeu_pd(place, low_mask, _mm512_add_pd(_mm512_maskz_loadu_pd(low_mask, place), low));
    _mm512_mask_storeu_pd(place + 8, high_mask,
                          _mm512_add_pd(_mm512_maskz_loadu_pd(high_mask, place + 8), high));
  }
}

template <size_t N>
inline void short_along(const Sum&, const float* x, double* y, size_t rows, size_t stride, size_t stride2) {
  const __mmask8 mask = low_lanes(N);
  for (size_t i = 0; i < rows; ++i, x += stride, y += stride2)
    _mm512_mask_storeu_pd(y, mask, _mm512_add_pd(_mm512_maskz_loadu_pd(mask, y), doubles(x, mask)));
}

template <size_t N>
inline void sum_columns(const float* x, double* y, size_t rows) {
  __m512d lane[N];
  for (size_t v = 0; v < N; ++v) lane[v] = _mm512_setzero_pd();
  for (; rows >= kBlockRows; rows -= kBlockRows, x += N * kBlockRows)
    for (size_t v = 0; v < N; ++v) lane[v] = _mm512_add_pd(lane[v], doubles(x + 8 * v));
  for (size_t v = 0; v < N; ++v) {
    const size_t rest = rows * N > 8 * v ? rows * N - 8 * v : 0;
    lane[v] = _mm512_add_pd(lane[v], doubles(x + 8 * v, low_lanes(rest)));
  }
  double sums[N * kBlockRows];
  for (size_t v = 0; v < N; ++v) _mm512_storeu_pd(sums + 8 * v, lane[v]);
  for (size_t width = kBlockRows / 2; width > 0; width /= 2)
    for (size_t l = 0; l < N * width; ++l) sums[l] += sums[l + N * width];
  for (size_t j = 0; j < N; ++j) y[j] += sums[j];
}

// The sums of short rows one behind the other: entry j of many rows is gathered from two vectors.
template <size_t N>
inline void short_spread(const Sum&, const float* x, double* y, size_t rows, size_t stride, size_t stride2) {
  constexpr size_t at_once = 2 * kLanes / N < kLanes ? 2 * kLanes / N : kLanes;
  const __m512i first = _mm512_mullo_epi32(
      _mm512_set_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0), _mm512_set1_epi32(N));
  size_t i = 0;
  if (stride == N)
    for (; i + at_once <= rows; i += at_once, x += at_once * N, y += at_once * stride2) {
      const __m512 front = _mm512_loadu_ps(x);
      const __m512 back = _mm512_maskz_loadu_ps(first_lanes(at_once * N - kLanes), x + kLanes);
      __m512d low = _mm512_setzero_pd(), high = low;
      for (size_t j = 0; j < N; ++j) {
        const __m512 column = _mm512_permutex2var_ps(
            front, _mm512_add_epi32(first, _mm512_set1_epi32(static_cast<int>(j))), back);
        const __m512d column_low = _mm512_cvtps_pd(_mm512_castps512_ps256(column));
        low = j == 0 ? column_low : _mm512_add_pd(low, column_low);
        if (at_once > 8) {
          const __m512d column_high = _mm512_cvtps_pd(_mm512_extractf32x8_ps(column, 1));
          high = j == 0 ? column_high : _mm512_add_pd(high, column_high);
        }
      }
      if (stride2 == 1) {
        const __mmask8 low_mask = low_lanes(at_once), high_mask = high_lanes(at_once);
        _mm512_mask_storeu_pd(y, low_mask, _mm512_add_pd(_mm512_maskz_loadu_pd(low_mask, y), low));
        if (at_once > 8)
          _mm512_mask_storeu_pd(y + 8, high_mask,
                                _mm512_add_pd(_mm512_maskz_loadu_pd(high_mask, y + 8), high));
      } else {
        double totals[kLanes];
        _mm512_storeu_pd(totals, low);
        if (at_once > 8) _mm512_storeu_pd(totals + 8, high);
        for (size_t r = 0; r < at_once; ++r) y[r * stride2] += totals[r];
      }
    }
  for (; i < rows; ++i, x += stride, y += stride2) {
    double total = static_cast<double>(x[0]);
    for (size_t j = 1; j < N; ++j) total += static_cast<double>(x[j]);
    *y += total;
  }
}
