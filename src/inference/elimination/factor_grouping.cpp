#include "inference/elimination/factor_grouping.h"

#include <bit>

namespace tv {
void FactorGroups::join(std::vector<uint32_t>& factors, std::span<const uint32_t> order,
                        size_t most_entries) {
  if (factors.size() < 3 || factors.size() > limits.grouped_factors) return;
  order_ = order;
  for (uint32_t m = 0; m < order.size(); ++m) position_of_[order[m]] = m;
  groups_.clear();
  group_of_.clear();
  for (const uint32_t f : factors) {
    uint64_t members = 0;
    for (const Axis& axis : factors_.axes(factors_[f])) members |= uint64_t{1} << position_of_[axis.rank];
    group_of_.push_back(groups_.size());
    groups_.push_back({members, factors_[f].size, 1});
  }
  size_t left = groups_.size();
  while (left > 2 && join_closest(most_entries)) --left;
  if (left < factors.size()) form_products(factors);
}

size_t FactorGroups::size_of_union(const Group& a, const Group& b) const noexcept {
  size_t size = a.size;
  for (uint64_t more = b.members & ~a.members; more; more &= more - 1)
    size *= graph_.nodes[order_[static_cast<size_t>(std::countr_zero(more))]]->number_of_states;
  return size;
}

bool FactorGroups::join_closest(size_t most_entries) noexcept {
  size_t best = most_entries + 1, first = 0, second = 0;
  for (size_t a = 0; a < groups_.size(); ++a)
    for (size_t b = a + 1; b < groups_.size(); ++b) {
      if (groups_[a].count == 0 || groups_[b].count == 0) continue;
      const size_t size = size_of_union(groups_[a], groups_[b]);
      if (size >= best) continue;
      best = size;
      first = a;
      second = b;
    }
  if (best > most_entries) return false;
  Group& group = groups_[first];
  group = {group.members | groups_[second].members, best, group.count + groups_[second].count};
  groups_[second].count = 0;
  std::replace(group_of_.begin(), group_of_.end(), second, first);
  return true;
}

// Where no memory is left for a product, its factors stay.
void FactorGroups::form_products(std::vector<uint32_t>& factors) {
  joined_.clear();
  for (size_t g = 0; g < groups_.size(); ++g) {
    const size_t numbers = groups_[g].count > 1 ? factors_.take_optional(groups_[g].size) : kNone;
    if (numbers != kNone) {
      joined_.push_back(form(g, factors, numbers));
      continue;
    }
    for (size_t i = 0; i < factors.size(); ++i)
      if (group_of_[i] == g) joined_.push_back(factors[i]);
  }
  std::swap(factors, joined_);
}

uint32_t FactorGroups::form(size_t group, const std::vector<uint32_t>& factors, size_t numbers) {
  ranks_.clear();
  for (size_t m = 0; m < order_.size(); ++m)
    if (groups_[group].members >> m & 1) ranks_.push_back(order_[m]);
  parts_.clear();
  for (size_t i = 0; i < factors.size(); ++i)
    if (group_of_[i] == group) parts_.push_back(factors[i]);
  pass_.start(ranks_);
  for (const uint32_t f : parts_) pass_.multiply(f);
  schedule_.products.push_back({pass_.close({}), numbers});
  const uint32_t product = factors_.add_dense(ranks_, {kTables, numbers});
  factors_.add_parts(product, parts_);
  return product;
}

}  // namespace tv
