// What is missing in a row of discrete observations falls apart into groups that no family joins. Each
// distinct group is listed once, with a schedule that sums it out.
#pragma once

#include <bit>
#include <cstdint>

#include "learn/group_schedule.h"

namespace tv {

// A set of columns, or of the families of their nodes, as the bits of some words.
using ColumnSet = std::vector<uint64_t>;

// Discrete observations row by row, and which of them are missing.
class ObservedRows {
 public:
  explicit ObservedRows(size_t columns) : columns_(columns), words_((columns + 63) / 64) {}

  void reset(size_t rows);  // to rows of which everything is missing
  void set(size_t row, size_t column, int16_t state) noexcept {
    states_[row * columns_ + column] = state;
    missing_[row * words_ + column / 64] &= ~(uint64_t{1} << column % 64);
  }

  const int16_t* states(size_t row) const noexcept { return states_.data() + row * columns_; }
  const uint64_t* missing(size_t row) const noexcept { return missing_.data() + row * words_; }

 private:
  size_t columns_, words_;
  std::vector<int16_t> states_;  // kMissingCase where there is none
  std::vector<uint64_t> missing_;
};

struct MissingGroup {
  GroupSchedule schedule;
  bool is_wide = false;  // it is not to be summed out like this
  // Empty where there are too many groups to keep them all.
  std::vector<GroupSchedule::StageMaps> maps = {};
};

class GroupFinder {
 public:
  explicit GroupFinder(const std::vector<Family>& families);

  const FamilyGraph& graph() const noexcept { return graph_; }
  const MissingGroup& group(uint32_t number) const noexcept { return groups_[number]; }
  size_t size() const noexcept { return groups_.size(); }

  // The number of the group that a missing node of a row belongs to. `missing` and `ignored` are sets of
  // columns; ignored are nodes whose families sum to one, whatever the others are. kWide where it holds too
  // many nodes. found() and found_families() tell of what it consists.
  static constexpr uint32_t kWide = static_cast<uint32_t>(-1);
  uint32_t find(uint32_t node, const uint64_t* missing, const uint64_t* ignored);
  const ColumnSet& found() const noexcept { return nodes_; }
  const ColumnSet& found_families() const noexcept { return families_; }

  // Where the observed states of a row begin in the tables of a group's families.
  void append_bases(const MissingGroup& group, const int16_t* states, std::vector<uint32_t>& bases) const;

  // Takes in the groups of another finder, and empties it; by its numbers those that they have here.
  std::vector<uint32_t> absorb(GroupFinder& other);

  size_t bytes() const noexcept;  // of all groups, about
  void clear();                   // them, so that they are found anew

 private:
  void gather(uint32_t node, const uint64_t* missing, const uint64_t* ignored);
  size_t slot(const uint64_t* key) const noexcept;
  void enlarge_table();
  uint32_t add(const uint64_t* key, size_t slot, MissingGroup group);

  const FamilyGraph graph_;
  const size_t words_;
  std::vector<uint64_t> families_of_;  // by node: the families that it is in, as a set
  std::vector<uint64_t> members_;      // by family: its members, as a set
  std::vector<MissingGroup> groups_;
  size_t kept_ = 0;              // places in maps
  std::vector<uint64_t> keys_;   // by group: the set of its nodes, then that of its families
  std::vector<uint32_t> table_;  // a hash table of groups, from 1 on
  // Of the group that is being found.
  ColumnSet nodes_, families_, frontier_, key_;
};

// Calls visit(column) for each one of a set.
template <class Visit>
void for_each_column(const uint64_t* set, size_t words, Visit visit) {
  for (size_t w = 0; w < words; ++w)
    for (uint64_t left = set[w]; left != 0; left &= left - 1)
      visit(static_cast<uint32_t>(64 * w + static_cast<size_t>(std::countr_zero(left))));
}

}  // namespace tv
