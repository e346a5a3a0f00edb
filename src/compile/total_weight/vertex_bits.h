// A set of the vertices of a small graph as a row of bits: every operation on sets is a few instructions.
#pragma once

#include <array>
#include <bit>
#include <type_traits>
#include <vector>

#include "compile/triangulate/bit_count.h"
#include "compile/triangulate/vertex_graph.h"

namespace tv {

// W words of 64 vertices; kAnyWidth: as many as the graph needs, chosen when a set is made.
constexpr size_t kAnyWidth = 0;

template <size_t W>
class VertexBits {
 public:
  using Word = std::uint64_t;

  explicit VertexBits(size_t vertex_count) {
    if constexpr (W == kAnyWidth) words_.resize((vertex_count + kBits - 1) / kBits);
  }

  size_t bytes() const noexcept { return sizeof *this + (W == kAnyWidth ? words_.size() * sizeof(Word) : 0); }

  size_t capacity() const noexcept { return words_.size() * kBits; }  // vertices are below it

  bool has(Vertex v) const noexcept { return words_[v / kBits] >> v % kBits & 1; }
  void insert(Vertex v) noexcept { words_[v / kBits] |= Word{1} << v % kBits; }
  void erase(Vertex v) noexcept { words_[v / kBits] &= ~(Word{1} << v % kBits); }

  bool empty() const noexcept {
    Word any = 0;
    for (const Word word : words_) any |= word;
    return any == 0;
  }
  size_t count() const noexcept {
    size_t bits = 0;
    for (const Word word : words_) bits += bit_count(word);
    return bits;
  }
  Vertex first() const noexcept {  // of a set that is not empty
    size_t i = 0;
    while (words_[i] == 0) ++i;
    return static_cast<Vertex>(i * kBits) + static_cast<Vertex>(std::countr_zero(words_[i]));
  }
  bool meets(const VertexBits& other) const noexcept {
    Word common = 0;
    for (size_t i = 0; i < words_.size(); ++i) common |= words_[i] & other.words_[i];
    return common != 0;
  }
  bool contains(const VertexBits& other) const noexcept {
    Word lacking = 0;
    for (size_t i = 0; i < words_.size(); ++i) lacking |= other.words_[i] & ~words_[i];
    return lacking == 0;
  }

  VertexBits& operator|=(const VertexBits& other) noexcept {
    for (size_t i = 0; i < words_.size(); ++i) words_[i] |= other.words_[i];
    return *this;
  }
  VertexBits& operator&=(const VertexBits& other) noexcept {
    for (size_t i = 0; i < words_.size(); ++i) words_[i] &= other.words_[i];
    return *this;
  }
  VertexBits& operator-=(const VertexBits& other) noexcept {
    for (size_t i = 0; i < words_.size(); ++i) words_[i] &= ~other.words_[i];
    return *this;
  }
  friend VertexBits operator|(VertexBits a, const VertexBits& b) { return a |= b; }
  friend VertexBits operator&(VertexBits a, const VertexBits& b) { return a &= b; }
  friend VertexBits operator-(VertexBits a, const VertexBits& b) { return a -= b; }
  bool operator==(const VertexBits&) const = default;

  std::uint64_t hash() const noexcept {
    std::uint64_t hash = 0;
    for (const Word word : words_) {
      hash = (hash ^ word) * 0x9e3779b97f4a7c15;
      hash ^= hash >> 32;
    }
    return hash;
  }

  template <class Visit>  // in ascending order
  void for_each(Visit visit) const {
    for (size_t i = 0; i < words_.size(); ++i) {
      for (Word bits = words_[i]; bits != 0; bits &= bits - 1)
        visit(static_cast<Vertex>(i * kBits) + static_cast<Vertex>(std::countr_zero(bits)));
    }
  }

 private:
  static constexpr Vertex kBits = 64;
  std::conditional_t<W == kAnyWidth, std::vector<Word>, std::array<Word, W>> words_{};
};

}  // namespace tv
