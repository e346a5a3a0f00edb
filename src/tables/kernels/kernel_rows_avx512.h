// Rows in 512-bit vectors: the last vector of a row is masked, and short rows are packed several to a vector.
// They add in the same order as the plain rows, and overload them where the types match.

inline __mmask16 first_lanes(size_t n) { return static_cast<__mmask16>((1u << n) - 1); }

// Eight entries as doubles, those at n and beyond zero.
inline __m512d doubles(const float* x) { return _mm512_cvtps_pd(_mm256_loadu_ps(x)); }
inline __m512d doubles(const float* x, __mmask8 mask) {
  return _mm512_cvtps_pd(_mm256_maskz_loadu_ps(mask, x));
}
inline __m512d doubles(const double* x, __mmask8 mask) { return _mm512_maskz_loadu_pd(mask, x); }
inline __mmask8 low_lanes(size_t n) { return static_cast<__mmask8>(n >= 8 ? 0xff : (1u << n) - 1); }
inline __mmask8 high_lanes(size_t n) { return static_cast<__mmask8>(n <= 8 ? 0 : (1u << (n - 8)) - 1); }

// ---- Multiplying and assigning ----
// Masked stores are slow, and a load that follows one into the same 64 bytes waits for it even where the
// lanes are others. So the ends of rows are done in smaller vectors.

struct MultiplyVector {
  __m512 operator()(__m512 x, __m512 y) const { return _mm512_mul_ps(x, y); }
  __m256 operator()(__m256 x, __m256 y) const { return _mm256_mul_ps(x, y); }
  __m128 operator()(__m128 x, __m128 y) const { return _mm_mul_ps(x, y); }
  float operator()(float x, float y) const { return x * y; }
};
struct AssignVector {
  template <class Vector>
  Vector operator()(Vector, Vector y) const {
    return y;
  }
};

template <class Change>
inline void change_row(const Change& change, float* x, const float* y, size_t n) {
  for (; n >= kLanes; n -= kLanes, x += kLanes, y += kLanes)
    _mm512_storeu_ps(x, change(_mm512_loadu_ps(x), _mm512_loadu_ps(y)));
  if (n & 8) {
    _mm256_storeu_ps(x, change(_mm256_loadu_ps(x), _mm256_loadu_ps(y)));
    x += 8, y += 8;
  }
  if (n & 4) {
    _mm_storeu_ps(x, change(_mm_loadu_ps(x), _mm_loadu_ps(y)));
    x += 4, y += 4;
  }
  for (size_t j = 0; j < (n & 3); ++j) x[j] = change(x[j], y[j]);
}

template <class Change>
inline void spread_row(const Change& change, float* x, float entry, size_t n) {
  const __m512 vector = _mm512_set1_ps(entry);
  for (; n >= kLanes; n -= kLanes, x += kLanes) _mm512_storeu_ps(x, change(_mm512_loadu_ps(x), vector));
  if (n & 8) {
    _mm256_storeu_ps(x, change(_mm256_loadu_ps(x), _mm512_castps512_ps256(vector)));
    x += 8;
  }
  if (n & 4) {
    _mm_storeu_ps(x, change(_mm_loadu_ps(x), _mm512_castps512_ps128(vector)));
    x += 4;
  }
  for (size_t j = 0; j < (n & 3); ++j) x[j] = change(x[j], entry);
}

template <class Change>
inline void change_rows(const Change& change, float* x, const float* y, size_t n, size_t rows, size_t stride,
                        size_t stride2) {
  for (size_t i = 0; i < rows; ++i, x += stride, y += stride2) change_row(change, x, y, n);
}

template <class Change>
inline void spread_rows(const Change& change, float* x, const float* y, size_t n, size_t rows, size_t stride,
                        size_t stride2) {
  for (size_t i = 0; i < rows; ++i, x += stride, y += stride2) spread_row(change, x, *y, n);
}

inline void along(const Multiply&, float* x, const float* y, size_t n, size_t rows, size_t stride,
                  size_t stride2) {
  change_rows(MultiplyVector{}, x, y, n, rows, stride, stride2);
}
inline void along(const Assign&, float* x, const float* y, size_t n, size_t rows, size_t stride,
                  size_t stride2) {
  change_rows(AssignVector{}, x, y, n, rows, stride, stride2);
}
inline void broadcast(const Multiply&, float* x, const float* y, size_t n, size_t rows, size_t stride,
                      size_t stride2) {
  spread_rows(MultiplyVector{}, x, y, n, rows, stride, stride2);
}
inline void broadcast(const Assign&, float* x, const float* y, size_t n, size_t rows, size_t stride,
                      size_t stride2) {
  spread_rows(AssignVector{}, x, y, n, rows, stride, stride2);
}

// Sixteen consecutive rows of N entries fill N vectors. For entry i of these: its row, and its position in
// it.
template <size_t N>
struct PackedRows {
  alignas(64) int row[N * kLanes] = {};
  alignas(64) int entry[N * kLanes] = {};

  constexpr PackedRows() {
    for (size_t i = 0; i < N * kLanes; ++i) {
      row[i] = static_cast<int>(i / N);
      entry[i] = static_cast<int>(i % N);
    }
  }
};
template <size_t N>
constexpr PackedRows<N> kPacked;

// The first n lanes only.
template <class Change>
inline void change_part(const Change& change, float* x, __m512 other, size_t n) {
  __m256 half = _mm512_castps512_ps256(other);
  if (n & 8) {
    _mm256_storeu_ps(x, change(_mm256_loadu_ps(x), half));
    half = _mm512_extractf32x8_ps(other, 1);
    x += 8;
  }
  __m128 quarter = _mm256_castps256_ps128(half);
  if (n & 4) {
    _mm_storeu_ps(x, change(_mm_loadu_ps(x), quarter));
    quarter = _mm256_extractf128_ps(half, 1);
    x += 4;
  }
  if ((n & 3) == 0) return;
  float rest[4];
  _mm_storeu_ps(rest, quarter);
  for (size_t j = 0; j < (n & 3); ++j) x[j] = change(x[j], rest[j]);
}

// Consecutive rows combined with one entry each (`one_row` false), or all of them with the same row.
template <size_t N, bool one_row, class Change>
inline void change_packed(const Change& change, float* x, const float* y, size_t rows) {
  const int* index = one_row ? kPacked<N>.entry : kPacked<N>.row;
  while (rows > 0) {
    const size_t here = rows < kLanes ? rows : kLanes;
    const __m512 others = _mm512_maskz_loadu_ps(first_lanes(one_row ? N : here), y);
    size_t left = here * N;
    for (size_t v = 0; left > 0; ++v, x += kLanes) {
      const __m512 other = _mm512_permutexvar_ps(_mm512_load_si512(index + v * kLanes), others);
      if (left < kLanes) {
        change_part(change, x, other, left);
        x += left;
        break;
      }
      _mm512_storeu_ps(x, change(_mm512_loadu_ps(x), other));
      left -= kLanes;
    }
    rows -= here;
    if (!one_row) y += here;
  }
}

template <size_t N, class Change>
inline void spread_short_rows(const Change& change, float* x, const float* y, size_t rows, size_t stride,
                              size_t stride2) {
  if (stride == N && stride2 == 1 && rows > 1) return change_packed<N, false>(change, x, y, rows);
  for (size_t i = 0; i < rows; ++i, x += stride, y += stride2)
    for (size_t j = 0; j < N; ++j) x[j] = change(x[j], *y);
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
  change_packed<N, true>(MultiplyVector{}, x, y, rows);
}
template <size_t N>
inline void repeat_row(const Assign&, float* x, const float* y, size_t rows) {
  change_packed<N, true>(AssignVector{}, x, y, rows);
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

// The eight lanes of a row that fills so many vectors, the last one as far as the mask goes.
template <size_t vectors>
inline __m512d few_lanes_of(const float* x, __mmask8 last) {
  __m512d lanes = doubles(x);
  for (size_t v = 1; v + 1 < vectors; ++v) lanes = _mm512_add_pd(lanes, doubles(x + 8 * v));
  return _mm512_add_pd(lanes, doubles(x + 8 * (vectors - 1), last));
}

inline void add_four(double* y, __m256d totals, size_t stride2) {
  if (stride2 == 1) return _mm256_storeu_pd(y, _mm256_add_pd(_mm256_loadu_pd(y), totals));
  double each[4];
  _mm256_storeu_pd(each, totals);
  for (size_t r = 0; r < 4; ++r) y[r * stride2] += each[r];
}

template <class Lanes>
inline void spread_in_lanes(const float* x, double* y, size_t rows, size_t stride, size_t stride2,
                            Lanes lanes) {
  size_t i = 0;
  for (; i + 4 <= rows; i += 4, x += 4 * stride, y += 4 * stride2)
    add_four(y, totals_of(lanes(x), lanes(x + stride), lanes(x + 2 * stride), lanes(x + 3 * stride)),
             stride2);
  for (; i < rows; ++i, x += stride, y += stride2) *y += total_of(lanes(x));
}

inline void broadcast(const Sum&, const float* x, double* y, size_t n, size_t rows, size_t stride,
                      size_t stride2) {
  const __mmask8 last = low_lanes(n % 8 ? n % 8 : 8);
  switch ((n + 7) / 8) {
    case 2:
      return spread_in_lanes(x, y, rows, stride, stride2,
                             [last](const float* row) { return few_lanes_of<2>(row, last); });
    case 3:
      return spread_in_lanes(x, y, rows, stride, stride2,
                             [last](const float* row) { return few_lanes_of<3>(row, last); });
    case 4:
      return spread_in_lanes(x, y, rows, stride, stride2,
                             [last](const float* row) { return few_lanes_of<4>(row, last); });
  }
  spread_in_lanes(x, y, rows, stride, stride2, [n](const float* row) { return lanes_of(row, n); });
}

inline void add_row(const float* x, double* y, size_t n) {
  for (; n >= 8; n -= 8, x += 8, y += 8) _mm512_storeu_pd(y, _mm512_add_pd(_mm512_loadu_pd(y), doubles(x)));
  if (n & 4) {
    _mm256_storeu_pd(y, _mm256_add_pd(_mm256_loadu_pd(y), _mm256_cvtps_pd(_mm_loadu_ps(x))));
    x += 4, y += 4;
  }
  for (size_t j = 0; j < (n & 3); ++j) y[j] += static_cast<double>(x[j]);
}

// y += the first n lanes.
inline void add_lanes(double* y, __m512d lanes, size_t n) {
  if (n >= 8) return _mm512_storeu_pd(y, _mm512_add_pd(_mm512_loadu_pd(y), lanes));
  double each[8];
  _mm512_storeu_pd(each, lanes);
  for (size_t j = 0; j < n; ++j) y[j] += each[j];
}

inline void along(const Sum&, const float* x, double* y, size_t n, size_t rows, size_t stride,
                  size_t stride2) {
  if (stride2 != 0 || rows < 2) {
    for (size_t i = 0; i < rows; ++i, x += stride, y += stride2) add_row(x, y, n);
    return;
  }
  size_t j = 0;
  for (; j + 8 < n; j += kLanes) {
    const __mmask8 mask = high_lanes(n - j < kLanes ? n - j : kLanes);
    __m512d low = _mm512_setzero_pd(), high = low;
    const float* row = x + j;
    for (size_t i = 0; i < rows; ++i, row += stride) {
      low = _mm512_add_pd(low, doubles(row));
      high = _mm512_add_pd(high, doubles(row + 8, mask));
    }
    add_lanes(y + j, low, 8);
    add_lanes(y + j + 8, high, n - j - 8);
  }
  if (j >= n) return;
  const __mmask8 mask = low_lanes(n - j);
  __m512d last = _mm512_setzero_pd();
  const float* row = x + j;
  for (size_t i = 0; i < rows; ++i, row += stride) last = _mm512_add_pd(last, doubles(row, mask));
  add_lanes(y + j, last, n - j);
}

// y += the first N lanes.
template <size_t N>
inline void add_first(double* y, __m512d lanes) {
  if (N == 8) return _mm512_storeu_pd(y, _mm512_add_pd(_mm512_loadu_pd(y), lanes));
  const __m256d upper = _mm512_extractf64x4_pd(lanes, 1), lower = _mm512_castpd512_pd256(lanes);
  if (N & 4) {
    _mm256_storeu_pd(y, _mm256_add_pd(_mm256_loadu_pd(y), lower));
    y += 4;
  }
  const __m256d rest = N & 4 ? upper : lower;
  const __m128d pair = _mm256_castpd256_pd128(rest);
  if (N & 2) {
    _mm_storeu_pd(y, _mm_add_pd(_mm_loadu_pd(y), pair));
    y += 2;
  }
  if (N & 1) *y += _mm_cvtsd_f64(N & 2 ? _mm256_extractf128_pd(rest, 1) : pair);
}

template <size_t N, class Entry>
inline void sum_columns(const Entry* x, double* y, size_t rows) {
  constexpr size_t half = N * (rows_side_by_side(N) / 2);  // entries in one of the two vectors
  constexpr __mmask8 all = static_cast<__mmask8>((1u << half) - 1);
  __m512d low = _mm512_setzero_pd(), high = low;
  size_t left = rows * N;
  for (; left >= 2 * half; left -= 2 * half, x += 2 * half) {
    low = _mm512_add_pd(low, doubles(x, all));
    high = _mm512_add_pd(high, doubles(x + half, all));
  }
  if (left > 0) {
    low = _mm512_add_pd(low, doubles(x, low_lanes(left < half ? left : half)));
    if (left > half) high = _mm512_add_pd(high, doubles(x + half, low_lanes(left - half)));
  }
  __m512d sums = _mm512_add_pd(low, high);
  const auto fold_at = [&](__m512i from) { sums = _mm512_add_pd(sums, _mm512_castsi512_pd(from)); };
  if (N == 2) fold_at(_mm512_alignr_epi64(_mm512_castpd_si512(sums), _mm512_castpd_si512(sums), 4));
  if (N <= 4)
    fold_at(_mm512_alignr_epi64(_mm512_castpd_si512(sums), _mm512_castpd_si512(sums), N <= 4 ? N : 0));
  add_first<N>(y, sums);
}

// The sums of consecutive short rows: entry j of many rows is picked from two vectors.
template <size_t N>
inline __m512 column_of(__m512 front, __m512 back, size_t j) {
  const __m512i first =
      _mm512_mullo_epi32(_mm512_set_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0),
                         _mm512_set1_epi32(static_cast<int>(N)));
  return _mm512_permutex2var_ps(front, _mm512_add_epi32(first, _mm512_set1_epi32(static_cast<int>(j))), back);
}

inline void add_totals(double* y, __m512d totals, size_t stride2) {
  if (stride2 == 1) return _mm512_storeu_pd(y, _mm512_add_pd(_mm512_loadu_pd(y), totals));
  double each[8];
  _mm512_storeu_pd(each, totals);
  for (size_t r = 0; r < 8; ++r) y[r * stride2] += each[r];
}

template <size_t N>
inline void short_spread(const Sum&, const float* x, double* y, size_t rows, size_t stride, size_t stride2) {
  constexpr size_t at_once = N <= 4 ? 8 : 4;  // they fit into two vectors, and their sums into one
  constexpr __mmask16 rest = static_cast<__mmask16>((1u << (at_once * N - kLanes)) - 1);
  size_t i = 0;
  if (stride == N)
    for (; i + at_once <= rows; i += at_once, x += at_once * N, y += at_once * stride2) {
      const __m512 front = _mm512_loadu_ps(x), back = _mm512_maskz_loadu_ps(rest, x + kLanes);
      if (N <= 4) {
        __m512d totals = _mm512_cvtps_pd(_mm512_castps512_ps256(column_of<N>(front, back, 0)));
        for (size_t j = 1; j < N; ++j)
          totals =
              _mm512_add_pd(totals, _mm512_cvtps_pd(_mm512_castps512_ps256(column_of<N>(front, back, j))));
        add_totals(y, totals, stride2);
      } else {
        __m256d totals = _mm256_cvtps_pd(_mm512_castps512_ps128(column_of<N>(front, back, 0)));
        for (size_t j = 1; j < N; ++j)
          totals =
              _mm256_add_pd(totals, _mm256_cvtps_pd(_mm512_castps512_ps128(column_of<N>(front, back, j))));
        add_four(y, totals, stride2);
      }
    }
  for (; i < rows; ++i, x += stride, y += stride2) {
    double total = static_cast<double>(x[0]);
    for (size_t j = 1; j < N; ++j) total += static_cast<double>(x[j]);
    *y += total;
  }
}

// ---- Ratios ----

// Equivalent to the lanes of the plain rows.
struct RatioLanes {
  __m512d low, high;
  __m512 largest;
  __mmask16 lost;

  RatioLanes() : low(_mm512_setzero_pd()), high(low), largest(_mm512_setzero_ps()), lost(0) {}

  static __m512 as_floats(const double* fresh, size_t n) {
    const __m256 front = _mm512_cvtpd_ps(_mm512_maskz_loadu_pd(low_lanes(n), fresh));
    const __m256 back = _mm512_cvtpd_ps(_mm512_maskz_loadu_pd(high_lanes(n), fresh + 8));
    return _mm512_insertf32x8(_mm512_castps256_ps512(front), back, 1);
  }

  static void store(float* to, __m512 values, size_t n) {
    if (n == kLanes) return _mm512_storeu_ps(to, values);
    float each[kLanes];
    _mm512_storeu_ps(each, values);
    for (size_t l = 0; l < n; ++l) to[l] = each[l];
  }

  void divide(const double* fresh, float* old, float* ratio, size_t n) {
    const __m512 after = as_floats(fresh, n), none = _mm512_setzero_ps();
    const __m512 before = n == kLanes ? _mm512_loadu_ps(old) : _mm512_maskz_loadu_ps(first_lanes(n), old);
    const __mmask16 possible = _mm512_cmp_ps_mask(before, none, _CMP_GT_OQ);
    lost = static_cast<__mmask16>(lost | (possible & _mm512_cmp_ps_mask(after, none, _CMP_NGT_UQ)));
    const __m512 quotients = _mm512_maskz_div_ps(possible, after, before);
    store(ratio, quotients, n);
    store(old, after, n);
    add(quotients);
  }

  void take(const double* fresh, float* old, float* ratio, size_t n) {
    const __m512 values = as_floats(fresh, n);
    store(ratio, values, n);
    store(old, values, n);
    add(values);
  }

  void add(__m512 ratio) {
    low = _mm512_add_pd(low, _mm512_cvtps_pd(_mm512_castps512_ps256(ratio)));
    high = _mm512_add_pd(high, _mm512_cvtps_pd(_mm512_extractf32x8_ps(ratio, 1)));
    largest = _mm512_max_ps(ratio, largest);
  }

  RatioResult result() {
    float found[kLanes];
    _mm512_storeu_ps(found, largest);
    for (size_t width = kLanes / 2; width > 0; width /= 2)
      for (size_t l = 0; l < width; ++l) found[l] = larger(found[l], found[l + width]);
    return {total_of(_mm512_add_pd(low, high)), static_cast<double>(found[0]), lost != 0};
  }
};
