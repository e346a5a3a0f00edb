// Which of the neighbours of a vertex are adjacent to what: a row of bits, one bit for each of these
// neighbours, for every vertex near them. What linking all of them changes is counted from such rows, many
// neighbours at a time.
#pragma once

#include <bit>
#include <span>

#include "compile/triangulate/bit_count.h"
#include "compile/triangulate/vertex_graph.h"

namespace tv {

using BitRow = const std::uint64_t*;

class LinkRows {
 public:
  static constexpr size_t kBits = 64;

  explicit LinkRows(size_t vertex_count) : places_(vertex_count) {}

  // Starts anew with the neighbours of the next vertex, the members, which get the rows 0, 1, 2 ...
  void start(Vertex v, std::span<const Vertex> members);

  // Tells of the neighbours of a member; those that are gone are passed over.
  void see(size_t member, std::span<const Vertex> neighbors);

  // When all have been told of: finds the members that are not adjacent to each other.
  void find_missing();

  void forget(Vertex v) noexcept { places_[v].round = kGone; }
  bool is_gone(Vertex v) const noexcept { return places_[v].round == kGone; }

  size_t members() const noexcept { return members_; }
  size_t rows() const noexcept { return vertices_.size(); }  // of the members, then of the others
  Vertex vertex(size_t row) const noexcept { return vertices_[row]; }
  size_t words() const noexcept { return words_; }
  BitRow row(size_t i) const noexcept { return rows_.data() + i * words_; }

  // The members that a member is not adjacent to, and those that lack some link.
  BitRow missing(size_t member) const noexcept { return missing_.data() + member * words_; }
  BitRow incomplete() const noexcept { return incomplete_.data(); }

  size_t count_common(BitRow a, BitRow b) const noexcept {
    size_t count = 0;
    for (size_t word = 0; word < words_; ++word) {
      if (const std::uint64_t common = a[word] & b[word]) count += bit_count(common);
    }
    return count;
  }

  template <class Visit>  // of each bit that both rows have, in ascending order
  void for_each_common(BitRow a, BitRow b, Visit visit) const {
    for (size_t word = 0; word < words_; ++word) {
      for (std::uint64_t bits = a[word] & b[word]; bits != 0; bits &= bits - 1)
        visit(word * kBits + static_cast<size_t>(std::countr_zero(bits)));
    }
  }

  template <class Visit>
  void for_each(BitRow row, Visit visit) const {
    for_each_common(row, row, visit);
  }

 private:
  static constexpr std::uint32_t kGone = static_cast<std::uint32_t>(-1);

  struct Place {
    std::uint32_t round = 0;  // in which the vertex got its row; kGone once it is forgotten
    std::uint32_t row = 0;
  };

  std::uint64_t bit(size_t member) const noexcept { return std::uint64_t{1} << member % kBits; }

  std::vector<Place> places_;  // by vertex
  std::uint32_t round_ = 0;
  size_t members_ = 0, words_ = 0;
  VertexSet vertices_;  // by row
  std::vector<std::uint64_t> rows_, missing_, incomplete_;
};

}  // namespace tv
