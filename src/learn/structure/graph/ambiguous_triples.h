// Triples a - c - b without a link between a and b of which tests do not tell whether they are colliders.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace tv {

class AmbiguousTriples {
 public:
  void add(size_t a, size_t c, size_t b) { triples_.push_back(key(a, c, b)); }
  void seal() { std::sort(triples_.begin(), triples_.end()); }  // after the last one
  bool contain(size_t a, size_t c, size_t b) const noexcept {
    return std::binary_search(triples_.begin(), triples_.end(), key(a, c, b));
  }

 private:
  using Key = std::array<size_t, 3>;
  static Key key(size_t a, size_t c, size_t b) noexcept { return {c, std::min(a, b), std::max(a, b)}; }
  std::vector<Key> triples_;
};

}  // namespace tv
