// Graphs over numbered nodes with directed and undirected links, at most one between two nodes, as rows of
// bits: what structures are while they are learned.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "tarvo.h"

namespace tv {

// A square of bits.
class BitMatrix {
 public:
  BitMatrix() = default;
  explicit BitMatrix(size_t size, bool value = false)
      : size_(size), words_((size + 63) / 64), bits_(size * words_, value ? ~uint64_t{0} : 0) {}

  size_t size() const noexcept { return size_; }
  size_t words() const noexcept { return words_; }  // of a row
  const uint64_t* row(size_t i) const noexcept { return bits_.data() + i * words_; }
  uint64_t* row(size_t i) noexcept { return bits_.data() + i * words_; }

  bool has(size_t i, size_t j) const noexcept { return (row(i)[j / 64] >> (j % 64)) & 1; }
  void set(size_t i, size_t j) noexcept { row(i)[j / 64] |= uint64_t{1} << (j % 64); }
  void clear(size_t i, size_t j) noexcept { row(i)[j / 64] &= ~(uint64_t{1} << (j % 64)); }

  bool operator==(const BitMatrix&) const = default;

 private:
  size_t size_ = 0, words_ = 0;
  std::vector<uint64_t> bits_;
};

class PartialGraph {
 public:
  PartialGraph() = default;
  explicit PartialGraph(size_t size) : ends_(size) {}

  size_t size() const noexcept { return ends_.size(); }

  bool are_adjacent(size_t a, size_t b) const noexcept { return ends_.has(a, b) || ends_.has(b, a); }
  bool is_directed(size_t from, size_t to) const noexcept {
    return ends_.has(from, to) && !ends_.has(to, from);
  }
  bool is_undirected(size_t a, size_t b) const noexcept { return ends_.has(a, b) && ends_.has(b, a); }
  tv_structure_link_t link(size_t a, size_t b) const noexcept {
    if (ends_.has(a, b)) return ends_.has(b, a) ? tv_structure_link_undirected : tv_structure_link_directed;
    return ends_.has(b, a) ? tv_structure_link_reversed : tv_structure_link_none;
  }

  // Whatever was between the two before.
  void join(size_t a, size_t b) noexcept {
    ends_.set(a, b);
    ends_.set(b, a);
  }
  void direct(size_t from, size_t to) noexcept {
    ends_.set(from, to);
    ends_.clear(to, from);
  }
  void separate(size_t a, size_t b) noexcept {
    ends_.clear(a, b);
    ends_.clear(b, a);
  }

  // In ascending order.
  std::vector<size_t> parents(size_t v) const { return collect(v, &PartialGraph::is_parent); }
  std::vector<size_t> children(size_t v) const { return collect(v, &PartialGraph::is_child); }
  std::vector<size_t> undirected_neighbors(size_t v) const {
    return collect(v, &PartialGraph::is_undirected);
  }
  std::vector<size_t> adjacent(size_t v) const { return collect(v, &PartialGraph::are_adjacent); }

  size_t number_of_links() const noexcept;
  bool has_undirected_links() const noexcept;

  // The link of this index where links are in the order of their first and then of their second nodes:
  // directed ones as they lead, others from the lower number to the higher. The size, twice, where there is
  // none.
  std::pair<size_t, size_t> find_link(size_t index) const noexcept;

  // The nodes so that each directed link leads to a later one, the lowest numbers first where there is a
  // choice; empty where directed links close a cycle, and where there are no nodes.
  std::vector<size_t> topological_order() const;
  bool has_directed_cycle() const { return size() > 0 && topological_order().empty(); }

  bool operator==(const PartialGraph&) const = default;

 private:
  bool is_parent(size_t v, size_t other) const noexcept { return is_directed(other, v); }
  bool is_child(size_t v, size_t other) const noexcept { return is_directed(v, other); }
  std::vector<size_t> collect(size_t v, bool (PartialGraph::*belongs)(size_t, size_t) const noexcept) const;

  BitMatrix ends_;  // [a][b]: a link between the two may lead from a to b
};

}  // namespace tv
