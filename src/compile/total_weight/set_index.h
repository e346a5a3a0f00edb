// Finds sets of vertices among those of a list: a hash table of their numbers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace tv {

// The list is its owner's; set_at(i) is its i-th set.
class SetIndex {
 public:
  // Room for one set more than the `count` of the list.
  template <class SetAt>
  void make_room(size_t count, SetAt set_at) {
    if (2 * count < slots_.size()) return;
    slots_.assign(std::max<size_t>(256, 2 * slots_.size()), 0);
    for (std::uint32_t i = 0; i < count; ++i) slots_[slot_of(set_at(i), set_at)] = i + 1;
  }

  // The number of a set, from 1 on, to be written where it is 0: the set is not in the list.
  template <class Set, class SetAt>
  std::uint32_t& number_of(const Set& set, SetAt set_at) noexcept {
    return slots_[slot_of(set, set_at)];
  }
  template <class Set, class SetAt>
  std::uint32_t number_of(const Set& set, SetAt set_at) const noexcept {
    return slots_.empty() ? 0 : slots_[slot_of(set, set_at)];
  }

  void clear() noexcept { std::fill(slots_.begin(), slots_.end(), 0); }

 private:
  template <class Set, class SetAt>
  size_t slot_of(const Set& set, SetAt set_at) const noexcept {
    size_t slot = set.hash() & (slots_.size() - 1);
    while (slots_[slot] != 0 && !(set_at(slots_[slot] - 1) == set)) slot = (slot + 1) & (slots_.size() - 1);
    return slot;
  }

  std::vector<std::uint32_t> slots_;  // a power of two of them
};

}  // namespace tv
