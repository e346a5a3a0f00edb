#include "inference/compress/packed_rows.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "api/memory.h"

namespace tv {
namespace {

constexpr unsigned kWordBits = 64;
constexpr size_t kDigit = 8, kDigits = size_t{1} << kDigit;  // of the radix sort

unsigned bits_of(const Node& node) noexcept {
  return node.number_of_states < 2 ? 0 : static_cast<unsigned>(std::bit_width(node.number_of_states - 1));
}

unsigned bits_of(const PackedRows::Field& field) noexcept {
  return static_cast<unsigned>(std::bit_width(field.mask));
}

bool is_sorted(const PackedRows& rows) noexcept {
  const size_t w = rows.words;
  for (size_t index = 1; index < rows.size(); ++index)
    if (!std::lexicographical_compare(rows.row(index - 1), rows.row(index - 1) + w, rows.row(index),
                                      rows.row(index) + w))
      return false;
  return true;
}

// One pass of a radix sort, stable; false, and nothing done, where all rows have the same digit.
bool sort_by_digit(const PackedRows& rows, size_t word, size_t shift, std::vector<uint64_t>& sorted) {
  size_t starts[kDigits + 1] = {};
  const auto digit = [&](size_t index) { return rows.row(index)[word] >> shift & (kDigits - 1); };
  const size_t count = rows.size();
  for (size_t index = 0; index < count; ++index) ++starts[digit(index) + 1];
  if (starts[digit(0) + 1] == count) return false;
  for (size_t d = 0; d < kDigits; ++d) starts[d + 1] += starts[d];
  sorted.resize(rows.keys.size());
  for (size_t index = 0; index < count; ++index)
    std::copy_n(rows.row(index), rows.words, sorted.data() + starts[digit(index)]++ * rows.words);
  return true;
}

}  // namespace

PackedRows lay_out_rows(std::vector<const Node*> nodes) {
  PackedRows rows;
  rows.nodes = std::move(nodes);
  rows.fields.resize(rows.nodes.size());
  uint32_t word = 0;
  for (size_t first = 0; first < rows.nodes.size(); ++word) {
    unsigned used = 0;
    size_t end = first;
    for (; end < rows.nodes.size() && used + bits_of(*rows.nodes[end]) <= kWordBits; ++end)
      used += bits_of(*rows.nodes[end]);
    for (; first < end; ++first) {
      const unsigned bits = bits_of(*rows.nodes[first]);
      used -= bits;
      if (bits) rows.fields[first] = {word, used, ~uint64_t{0} >> (kWordBits - bits)};
    }
  }
  rows.words = std::max<size_t>(word, 1);
  return rows;
}

size_t full_size(const std::vector<const Node*>& nodes) noexcept {
  size_t size = 1;
  for (const Node* node : nodes) size = size_multiply(size, node->number_of_states);
  return size;
}

void sort_rows(PackedRows& rows) {
  if (is_sorted(rows)) return;
  std::vector<uint64_t> sorted;
  for (size_t word = rows.words; word-- > 0;)
    for (size_t shift = 0; shift < kWordBits; shift += kDigit)
      if (sort_by_digit(rows, word, shift, sorted)) rows.keys.swap(sorted);
}

void keep_distinct_rows(PackedRows& rows) {
  sort_rows(rows);
  filter_rows(rows, [&](size_t index) {
    return index == 0 || !std::equal(rows.row(index), rows.row(index) + rows.words, rows.row(index - 1));
  });
}

void trim_rows(PackedRows& rows) {
  if (rows.keys.capacity() - rows.keys.size() > rows.keys.size() / 8) rows.keys.shrink_to_fit();
}

RowProjection::RowProjection(const PackedRows& from, const PackedRows& to)
    : words_(to.words), masks_(from.words, 0) {
  for (size_t i = 0; i < to.nodes.size(); ++i) {
    const PackedRows::Field& target = to.fields[i];
    if (!target.mask) continue;
    const auto place = std::find(from.nodes.begin(), from.nodes.end(), to.nodes[i]) - from.nodes.begin();
    const PackedRows::Field& source = from.fields[static_cast<size_t>(place)];
    masks_[source.word] |= source.mask << source.shift;
    const unsigned bits = bits_of(target);
    if (!moves_.empty()) {
      Move& last = moves_.back();
      if (last.from_word == source.word && last.to_word == target.word &&
          last.from_shift == source.shift + bits) {
        last = {source.word, source.shift, target.word, target.shift, last.mask << bits | target.mask};
        continue;
      }
    }
    moves_.push_back({source.word, source.shift, target.word, target.shift, target.mask});
  }
}

PackedRows leading_rows(const PackedRows& rows, size_t count) {
  PackedRows leading = lay_out_rows({rows.nodes.begin(), rows.nodes.begin() + static_cast<ptrdiff_t>(count)});
  const RowProjection projection(rows, leading);
  std::vector<uint64_t> key(leading.words);
  for (size_t index = 0; index < rows.size(); ++index) {
    if (index > 0 && projection.agree(rows.row(index - 1), rows.row(index))) continue;
    projection.project(rows.row(index), key.data());
    leading.keys.insert(leading.keys.end(), key.begin(), key.end());
  }
  trim_rows(leading);
  return leading;
}

std::vector<uint32_t> positions_in(const PackedRows& clique, const PackedRows& separator) {
  std::vector<uint32_t> positions(clique.size());
  const RowProjection projection(clique, separator);
  const RowIndex index(separator);
  std::vector<uint64_t> key(separator.words);
  for (size_t row = 0; row < positions.size(); ++row) {
    if (row > 0 && projection.agree(clique.row(row - 1), clique.row(row))) {
      positions[row] = positions[row - 1];
      continue;
    }
    projection.project(clique.row(row), key.data());
    positions[row] = index.find(key.data());
  }
  return positions;
}

RowIndex::RowIndex(const PackedRows& rows) : rows_(rows) {
  const size_t count = rows.size();
  const uint64_t largest = rows.words == 1 && count ? rows.keys.back() : 0;
  direct_ = rows.words == 1 && largest / 16 <= count;
  const size_t size = direct_ ? static_cast<size_t>(largest) + 1 : std::bit_ceil(2 * count + 2);
  shift_ = kWordBits - static_cast<unsigned>(std::bit_width(size - 1));
  slots_.assign(size, kAbsent);
  for (size_t index = 0; index < count; ++index) {
    size_t slot = slot_of(rows.row(index));
    while (slots_[slot] != kAbsent) slot = (slot + 1) & (size - 1);
    slots_[slot] = static_cast<uint32_t>(index);
  }
}

size_t RowIndex::slot_of(const uint64_t* key) const noexcept {
  if (direct_) return static_cast<size_t>(*key);
  uint64_t hash = 0;
  for (size_t w = 0; w < rows_.words; ++w) {
    hash = (hash ^ key[w]) * 0x9e3779b97f4a7c15u;
    hash ^= hash >> 32;
  }
  return static_cast<size_t>(hash * 0x9e3779b97f4a7c15u >> shift_);
}

uint32_t RowIndex::find_hashed(const uint64_t* key) const noexcept {
  for (size_t slot = slot_of(key); slots_[slot] != kAbsent; slot = (slot + 1) & (slots_.size() - 1))
    if (std::equal(key, key + rows_.words, rows_.row(slots_[slot]))) return slots_[slot];
  return kAbsent;
}

}  // namespace tv
