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
  if (repeats<N>(middle, 2)) return sum_columns<N>(x, y, middle.count);
  short_along<N>(op, x, y, middle.count, middle.stride, middle.stride2);
}
template <size_t N>
inline void along_block(const SumAgain& op, const double* x, double* y, const Dimension& middle) {
  if (repeats<N>(middle, 2)) return sum_columns<N>(x, y, middle.count);
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
    broadcast(op, x, y, inner.count, middle.count, middle.stride, middle.stride2);
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

// Transposition. A few rows of the other table are read side by side along the dimensions where its entries
// are neighbours, so that each cache line is used up while it is near: however far apart the rows are, they
// do not evict each other.
constexpr size_t kRowsAtOnce = 8;
constexpr size_t kLine = 16;
constexpr size_t kLeastTurned = 1024;

// Not where entries move to the front of their own table, which is safe in their order alone.
inline bool is_transposition(const Dimension* nest, size_t count, const float* table, const float* other) {
  if (count < 2) return false;
  const Dimension& inner = nest[count - 1];
  if (inner.stride != 1 || inner.stride2 < kLine || inner.count < kRowsAtOnce) return false;
  size_t size = 1, last = 0, other_last = 0;
  for (size_t d = 0; d < count; ++d) {
    size *= nest[d].count;
    last += (nest[d].count - 1) * nest[d].stride;
    other_last += (nest[d].count - 1) * nest[d].stride2;
  }
  return size >= kLeastTurned && (table + last < other || other + other_last < table);
}

struct TurnedRows {
  static void run(const Assign&, float* x, const float* y, const Dimension& middle, const Dimension& inner) {
    for (size_t i = 0; i < middle.count; ++i, x += middle.stride, y += middle.stride2)
      for (size_t j = 0; j < kRowsAtOnce; ++j) x[j] = y[j * inner.stride2];
  }
};

void assign(const Dimension* nest, size_t count, float* table, const float* other) {
  if (!is_transposition(nest, count, table, other)) return run(Assign{}, nest, count, table, other);
  const Dimension& inner = nest[count - 1];
  Dimension order[kMaxOdometer];
  size_t used = 0;
  const auto list = [&](bool neighbours) {
    for (size_t d = 0; d + 1 < count; ++d)
      if ((nest[d].stride2 != 0 && nest[d].stride2 < kLine) == neighbours) order[used++] = nest[d];
  };
  list(false);
  list(true);
  for (size_t j = 0; j < inner.count; j += kRowsAtOnce) {
    const size_t left = inner.count - j, rows = left < kRowsAtOnce ? left : kRowsAtOnce;
    order[used] = {rows, 1, inner.stride2};
    if (rows == kRowsAtOnce)
      run_nest<TurnedRows>(Assign{}, order, used + 1, table + j, other + j * inner.stride2);
    else
      run_nest<StridedRows>(Assign{}, order, used + 1, table + j, other + j * inner.stride2);
  }
}
void multiply(const Dimension* nest, size_t count, float* table, const float* other) {
  run(Multiply{}, nest, count, table, other);
}
// Where the inner rows are short and a dimension far outside is summed out, that is done first, over long
// rows, since the result is smaller.
constexpr size_t kLeastLongRow = 16;
constexpr size_t kMostAfterwards = 2048;

// The outermost such dimension, or `count`.
inline size_t dimension_to_sum_first(const Dimension* nest, size_t count) {
  if (count < 3 || nest[count - 1].stride2 == 0 || nest[count - 1].count > 7) return count;
  size_t stride = 1, found = count;
  for (size_t d = count; d-- > 0; stride *= nest[d].count) {
    if (nest[d].stride != stride) return count;
    if (d + 2 < count && nest[d].stride2 == 0 && stride >= kLeastLongRow) found = d;
  }
  return found < count && stride / nest[found].count <= kMostAfterwards ? found : count;
}

inline void sum_in_two_stages(const Dimension* nest, size_t count, size_t first, const float* table,
                              double* other) {
  const size_t times = nest[first].count, row = nest[first].stride;
  double sums[kMostAfterwards];
  Dimension rest[kMaxOdometer];
  size_t rows = 1;
  for (size_t d = 0; d + 1 < count; ++d) {
    rest[d] = nest[d < first ? d : d + 1];
    if (d >= first) continue;
    rest[d].stride /= times;
    rows *= rest[d].count;
  }
  for (size_t i = 0; i < rows * row; ++i) sums[i] = 0.0;
  for (size_t i = 0; i < rows; ++i) along(Sum{}, table + i * times * row, sums + i * row, row, times, row, 0);
  run(SumAgain{}, rest, count - 1, sums, other);
}

void sum(const Dimension* nest, size_t count, const float* table, double* other) {
  const size_t first = dimension_to_sum_first(nest, count);
  if (first < count) return sum_in_two_stages(nest, count, first, table, other);
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

// Ratios of a few entries, one after the other; more are formed in lanes.
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

RatioResult divide(const double* fresh, float* old, float* ratio, size_t size) {
  if (size < kLanes) return divide_few(fresh, old, ratio, size);
  RatioLanes lanes;
  size_t i = 0;
  for (; i + kLanes <= size; i += kLanes) lanes.divide(fresh + i, old + i, ratio + i, kLanes);
  if (i < size) lanes.divide(fresh + i, old + i, ratio + i, size - i);
  return lanes.result();
}

RatioResult take(const double* fresh, float* old, float* ratio, size_t size) {
  if (size < kLanes) return take_few(fresh, old, ratio, size);
  RatioLanes lanes;
  size_t i = 0;
  for (; i + kLanes <= size; i += kLanes) lanes.take(fresh + i, old + i, ratio + i, kLanes);
  if (i < size) lanes.take(fresh + i, old + i, ratio + i, size - i);
  return lanes.result();
}

void scale(float* values, size_t size, double factor) {
  for (size_t i = 0; i < size; ++i) values[i] = static_cast<float>(static_cast<double>(values[i]) * factor);
}

// ---- Lists of positions ----

template <class Position>
void multiply_positions(size_t count, float* __restrict table, const float* __restrict other,
                        const Position position) {
  for (size_t i = 0; i < count; ++i) table[i] *= other[position(i)];
}

void multiply_at(const PositionList& list, size_t first, size_t count, float* table, const float* other) {
  switch (list.form) {
    case PositionList::Form::runs:
      return;
    case PositionList::Form::shorts: {
      const unsigned short* const at = static_cast<const unsigned short*>(list.data) + first;
      return multiply_positions(count, table, other, [at](size_t i) { return static_cast<int>(at[i]); });
    }
    case PositionList::Form::words: {
      const unsigned* const at = static_cast<const unsigned*>(list.data) + first;
      return multiply_positions(count, table, other, [at](size_t i) { return static_cast<int>(at[i]); });
    }
    case PositionList::Form::field32: {
      const unsigned* const key = static_cast<const unsigned*>(list.data) + first;
      const unsigned shift = list.shift, mask = static_cast<unsigned>(list.mask);
      return multiply_positions(count, table, other,
                                [=](size_t i) { return static_cast<int>(key[i] >> shift & mask); });
    }
    case PositionList::Form::field64: {
      const size_t stride = list.stride;
      const unsigned long* const key = static_cast<const unsigned long*>(list.data) + first * stride;
      const unsigned long mask = list.mask;
      const unsigned shift = list.shift;
      return multiply_positions(count, table, other,
                                [=](size_t i) { return static_cast<long>(key[i * stride] >> shift & mask); });
    }
  }
}
