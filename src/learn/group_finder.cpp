#include "learn/group_finder.h"

#include <algorithm>

#include "network/cases.h"
#include "tables/limits.h"

namespace tv {
namespace {

void include(uint64_t* set, uint32_t column) noexcept { set[column / 64] |= uint64_t{1} << column % 64; }

std::vector<uint32_t> listed(const uint64_t* set, size_t words) {
  std::vector<uint32_t> list;
  for_each_column(set, words, [&](uint32_t column) { list.push_back(column); });
  return list;
}

}  // namespace

void ObservedRows::reset(size_t rows) {
  states_.assign(rows * columns_, kMissingCase);
  missing_.assign(rows * words_, ~uint64_t{0});
  if (columns_ % 64 == 0) return;
  for (size_t row = 0; row < rows; ++row)  // beyond the last column there is nothing
    missing_[row * words_ + words_ - 1] = ~(~uint64_t{0} << columns_ % 64);
}

GroupFinder::GroupFinder(const std::vector<Family>& families)
    : graph_(families),
      words_((families.size() + 63) / 64),
      families_of_(families.size() * words_),
      members_(families.size() * words_),
      nodes_(words_),
      families_(words_),
      frontier_(words_) {
  for (uint32_t f = 0; f < families.size(); ++f)
    for (const uint32_t node : graph_.members[f]) {
      include(members_.data() + f * words_, node);
      include(families_of_.data() + node * words_, f);
    }
}

size_t GroupFinder::bytes() const noexcept {
  constexpr size_t kGroup = 2048;  // a schedule of a few stages, each with lists of its own
  return kept_ * sizeof(uint32_t) +
         groups_.size() * (kGroup + 2 * words_ * sizeof(uint64_t) + 2 * sizeof(uint32_t));
}

void GroupFinder::clear() {
  groups_.clear();
  keys_.clear();
  table_.clear();
  kept_ = 0;
}

// Missing nodes that a family joins are of one group.
void GroupFinder::gather(uint32_t node, const uint64_t* missing, const uint64_t* ignored) {
  std::fill(nodes_.begin(), nodes_.end(), 0);
  std::fill(families_.begin(), families_.end(), 0);
  include(nodes_.data(), node);
  const auto visit_family = [&](uint32_t family) {
    const uint64_t* const members = members_.data() + family * words_;
    for (size_t w = 0; w < words_; ++w) {
      const uint64_t reached = members[w] & missing[w] & ~nodes_[w];
      nodes_[w] |= reached;
      frontier_[w] |= reached;
    }
  };
  const auto visit_node = [&](uint32_t v) {
    const uint64_t* const around = families_of_.data() + v * words_;
    for (size_t w = 0; w < words_; ++w) {
      uint64_t fresh = around[w] & ~ignored[w] & ~families_[w];
      families_[w] |= fresh;
      for (; fresh != 0; fresh &= fresh - 1)
        visit_family(static_cast<uint32_t>(64 * w + static_cast<size_t>(std::countr_zero(fresh))));
    }
  };
  visit_node(node);
  for (size_t w = 0; w < words_;) {
    if (frontier_[w] == 0) {
      ++w;
      continue;
    }
    const auto bit = static_cast<size_t>(std::countr_zero(frontier_[w]));
    frontier_[w] &= frontier_[w] - 1;
    visit_node(static_cast<uint32_t>(64 * w + bit));
    w = 0;
  }
}

uint32_t GroupFinder::find(uint32_t node, const uint64_t* missing, const uint64_t* ignored) {
  gather(node, missing, ignored);
  size_t count = 0;
  for (const uint64_t word : nodes_) count += static_cast<size_t>(std::popcount(word));
  if (count > limits.group_nodes) return kWide;
  key_.assign(nodes_.begin(), nodes_.end());
  key_.insert(key_.end(), families_.begin(), families_.end());
  if (2 * groups_.size() >= table_.size()) enlarge_table();
  const size_t place = slot(key_.data());
  if (table_[place] != 0) return table_[place] - 1;
  MissingGroup group{GroupSchedule(graph_, listed(nodes_.data(), words_), listed(families_.data(), words_))};
  group.is_wide = group.schedule.most_joint() > static_cast<double>(limits.joint_states);
  if (!group.is_wide && kept_ + group.schedule.work() <= limits.kept_places)
    group.maps = group.schedule.maps(graph_);
  return add(key_.data(), place, std::move(group));
}

size_t GroupFinder::slot(const uint64_t* key) const noexcept {
  const size_t length = 2 * words_;
  uint64_t hash = length;
  for (size_t i = 0; i < length; ++i) hash = (hash ^ key[i]) * 0x9e3779b97f4a7c15, hash ^= hash >> 29;
  size_t slot = hash & (table_.size() - 1);
  while (table_[slot] != 0 && !std::equal(key, key + length, keys_.data() + (table_[slot] - 1) * length))
    slot = (slot + 1) & (table_.size() - 1);
  return slot;
}

void GroupFinder::enlarge_table() {
  table_.assign(std::max<size_t>(256, 2 * table_.size()), 0);
  for (uint32_t g = 0; g < groups_.size(); ++g) table_[slot(keys_.data() + g * 2 * words_)] = g + 1;
}

uint32_t GroupFinder::add(const uint64_t* key, size_t slot, MissingGroup group) {
  if (!group.maps.empty()) kept_ += group.schedule.work();
  groups_.push_back(std::move(group));
  keys_.insert(keys_.end(), key, key + 2 * words_);
  table_[slot] = static_cast<uint32_t>(groups_.size());
  return table_[slot] - 1;
}

std::vector<uint32_t> GroupFinder::absorb(GroupFinder& other) {
  std::vector<uint32_t> numbers;
  for (size_t g = 0; g < other.groups_.size(); ++g) {
    const uint64_t* const key = other.keys_.data() + g * 2 * words_;
    if (2 * groups_.size() >= table_.size()) enlarge_table();
    const size_t place = slot(key);
    if (table_[place] != 0) {
      numbers.push_back(table_[place] - 1);
      continue;
    }
    MissingGroup& group = other.groups_[g];
    if (kept_ + group.schedule.work() > limits.kept_places) group.maps.clear();
    numbers.push_back(add(key, place, std::move(group)));
  }
  other.clear();
  return numbers;
}

void GroupFinder::append_bases(const MissingGroup& group, const int16_t* states,
                               std::vector<uint32_t>& bases) const {
  for (const uint32_t f : group.schedule.families()) {
    const std::vector<uint32_t>& members = graph_.members[f];
    size_t base = 0;
    for (size_t i = 0; i < members.size(); ++i)
      if (const int16_t state = states[members[i]]; state != kMissingCase)
        base += static_cast<size_t>(state) * graph_.families[f].strides[i];
    bases.push_back(static_cast<uint32_t>(base));
  }
}

}  // namespace tv
