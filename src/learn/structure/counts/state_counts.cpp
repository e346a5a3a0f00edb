// Sets of rows are intersected node by node, so that a count is the number of bits that are left. Where few
// rows are left, or where states are many, they are counted one by one.
#include "learn/structure/counts/state_counts.h"

#include <algorithm>

namespace tv {
namespace {

// Beyond so many cells for each row, configurations are numbered as they occur.
constexpr size_t kCellsOfRow = 2;
constexpr size_t kLeastManyCells = 4096;

// What counting takes in processor cycles, roughly: the call of a kernel, a word of which rows are looked
// for, a row that is found, and each of its codes.
constexpr double kCyclesOfCall = 25.0, kCyclesOfWordOfRows = 0.7, kCyclesOfRow = 4.0, kCyclesOfCode = 1.5;

}  // namespace

StateCounts StateCounter::count(std::span<const uint32_t> given, std::span<const uint32_t> counted) {
  nodes_.assign(given.begin(), given.end());
  nodes_.insert(nodes_.end(), counted.begin(), counted.end());
  sizes_.clear();
  double cells = 1.0;
  size_t slice = 1;
  for (const uint32_t node : nodes_) {
    sizes_.push_back(columns_.occurring(node));
    cells *= static_cast<double>(sizes_.back());
  }
  for (const uint32_t node : counted) slice *= columns_.occurring(node);
  const double most = static_cast<double>(std::max(columns_.rows() * kCellsOfRow, kLeastManyCells)) +
                      static_cast<double>(slice);
  if (cells > most) {
    size_t configurations = 0;
    number_configurations(given, configurations);
    nodes_.assign(counted.begin(), counted.end());
    cells_.assign(configurations * slice, 0.0);
    for (size_t row = 0; row < columns_.rows(); ++row) {
      if (numbers_[row] == kNoConfiguration) continue;
      size_t cell = numbers_[row];
      bool is_known = true;
      for (const uint32_t node : counted) {
        const size_t code = columns_[node].discrete.codes[row];
        is_known = is_known && code < columns_.occurring(node);
        cell = cell * columns_.occurring(node) + code;
      }
      if (is_known) cells_[cell] += columns_.weight(row);
    }
    return {cells_, slice};
  }
  cells_.assign(static_cast<size_t>(cells), 0.0);
  if (cells_.empty()) return {cells_, 1};
  codes_.clear();
  for (const uint32_t node : nodes_) codes_.push_back(columns_[node].discrete.codes.data());
  strides_.assign(nodes_.size(), 1);
  for (size_t i = nodes_.size(); i-- > 1;) strides_[i - 1] = strides_[i] * sizes_[i];
  if (columns_.is_weighted()) {
    count_all_rows();
  } else {
    start_mask();
  }
  return {cells_, slice};
}

// Begins with the rows that lack none of the nodes.
void StateCounter::start_mask() {
  const size_t words = columns_.words();
  if (masks_.size() < (nodes_.size() + 1) * words) masks_.allocate((nodes_.size() + 1) * words);
  bit_costs_.assign(nodes_.size() + 1, 0.0);
  for (size_t i = nodes_.size(); i-- > 0;)
    bit_costs_[i] = static_cast<double>(sizes_[i]) * (bit_costs_[i + 1] + kCyclesOfCall +
                                                      kernels_.cycles_of_word * static_cast<double>(words));
  const uint64_t* mask = nullptr;
  size_t rows = columns_.rows();
  for (const uint32_t node : nodes_) {
    const LearnedColumn& column = columns_[node];
    if (!column.has_missing) continue;
    const uint64_t* const known = column.known.data();
    rows = kernels_.intersect(mask ? mask : known, known, masks_.data(), words);
    mask = masks_.data();
  }
  const bool has_bits =
      std::all_of(nodes_.begin(), nodes_.end(), [&](uint32_t node) { return columns_.has_bits(node); });
  if (!mask && (!has_bits || is_cheaper_by_rows(0, rows))) return count_all_rows();
  if (!has_bits) return count_rows(0, mask, 0);
  count_bits(0, mask, rows, 0);
}

bool StateCounter::is_cheaper_by_rows(size_t depth, size_t rows_left) const noexcept {
  const double of_row = kCyclesOfRow + kCyclesOfCode * static_cast<double>(nodes_.size() - depth);
  return bit_costs_[depth] > of_row * static_cast<double>(rows_left) +
                                 kCyclesOfWordOfRows * static_cast<double>(columns_.words());
}

// A null mask has all rows.
void StateCounter::count_bits(size_t depth, const uint64_t* mask, size_t rows_left, size_t first_cell) {
  const size_t words = columns_.words(), size = sizes_[depth];
  if (mask && is_cheaper_by_rows(depth, rows_left)) return count_rows(depth, mask, first_cell);
  const uint32_t node = nodes_[depth];
  const bool is_last = depth + 1 == nodes_.size();
  uint64_t* const next = masks_.data() + (depth + 1) * words;
  size_t left = rows_left;  // for the states that are still to come
  for (size_t code = 0; code < size && left > 0; ++code) {
    const uint64_t* const bits = columns_.bits(node, code);
    const size_t cell = first_cell + code * strides_[depth];
    const bool is_last_code = code + 1 == size;
    if (is_last) {
      const size_t rows = is_last_code ? left : kernels_.count_common(mask ? mask : bits, bits, words);
      cells_[cell] = static_cast<double>(rows);
      left -= rows;
    } else {
      const size_t rows =
          mask ? kernels_.intersect(mask, bits, next, words) : kernels_.count_common(bits, bits, words);
      if (rows > 0) count_bits(depth + 1, mask ? next : bits, rows, cell);
      left -= rows;
    }
  }
}

void StateCounter::count_rows(size_t depth, const uint64_t* mask, size_t first_cell) {
  const size_t count = nodes_.size() - depth, words = columns_.words();
  const uint16_t* const* const codes = codes_.data() + depth;
  const size_t* const strides = strides_.data() + depth;
  double* const cells = cells_.data() + first_cell;
  for (size_t w = 0; w < words; ++w) {
    for (uint64_t bits = mask[w]; bits; bits &= bits - 1) {
      const size_t row = w * 64 + static_cast<size_t>(__builtin_ctzll(bits));
      size_t cell = 0;
      for (size_t i = 0; i < count; ++i) cell += codes[i][row] * strides[i];
      cells[cell] += 1.0;
    }
  }
}

void StateCounter::count_all_rows() {
  numbers_.assign(columns_.rows(), 0);
  bool may_be_missing = false;
  for (size_t i = 0; i < nodes_.size(); ++i) {
    const LearnedColumn& column = columns_[nodes_[i]];
    const uint16_t* const codes = column.discrete.codes.data();
    const uint32_t stride = static_cast<uint32_t>(strides_[i]);
    for (size_t row = 0; row < columns_.rows(); ++row) numbers_[row] += codes[row] * stride;
    may_be_missing = may_be_missing || column.has_missing;
  }
  for (size_t row = 0; row < columns_.rows(); ++row) {
    if (may_be_missing && !std::all_of(nodes_.begin(), nodes_.end(),
                                       [&](uint32_t node) { return columns_.is_known(node, row); }))
      continue;
    cells_[numbers_[row]] += columns_.weight(row);
  }
}

std::span<const uint32_t> StateCounter::number_configurations(std::span<const uint32_t> nodes,
                                                              size_t& count) {
  numbers_.assign(columns_.rows(), 0);
  count = 1;
  for (const uint32_t node : nodes) {
    const size_t size = columns_.occurring(node);
    map_.assign(count * size, kNoConfiguration);
    count = 0;
    const uint16_t* const codes = columns_[node].discrete.codes.data();
    for (size_t row = 0; row < columns_.rows(); ++row) {
      uint32_t& number = numbers_[row];
      if (number == kNoConfiguration) continue;
      if (codes[row] >= size) {
        number = kNoConfiguration;
        continue;
      }
      uint32_t& mapped = map_[number * size + codes[row]];
      if (mapped == kNoConfiguration) mapped = static_cast<uint32_t>(count++);
      number = mapped;
    }
  }
  return numbers_;
}

}  // namespace tv
