// Merging the sums of blocks.
#include "learn/block_sums.h"

#include <algorithm>
#include <iterator>

namespace tv {

void BlockSums::add(const BlockSums& other) noexcept {
  cases += other.cases;
  incomplete += other.incomplete;
  weight += other.weight;
  log_likelihood += other.log_likelihood;
  add_counts(counts, other.counts);
}

// The last node and those before it, as long as they are siblings.
void BlockTree::merge_last() noexcept {
  while (nodes_.size() > 1) {
    BlockSums& left = nodes_[nodes_.size() - 2];
    const BlockSums& right = nodes_.back();
    if (left.level != right.level || left.end() != right.first || left.first >> left.level & 1) return;
    left.add(right);
    ++left.level;
    nodes_.pop_back();
  }
}

void BlockTree::append(BlockSums&& sums) {
  nodes_.push_back(std::move(sums));
  merge_last();
}

bool BlockTree::add(const BlockTree& other) {
  std::vector<BlockSums> all(other.nodes_);
  all.reserve(nodes_.size() + all.size());
  const auto is_before = [](const BlockSums& a, const BlockSums& b) { return a.first < b.first; };
  for (const BlockSums& node : nodes_) {
    const auto next = std::upper_bound(all.begin(), all.end(), node, is_before);
    if ((next != all.end() && node.end() > next->first) ||
        (next != all.begin() && std::prev(next)->end() > node.first))
      return false;
  }
  nodes_.reserve(all.capacity());  // from here on nothing can fail
  std::move(nodes_.begin(), nodes_.end(), std::back_inserter(all));
  std::sort(all.begin(), all.end(), is_before);
  nodes_.clear();
  for (BlockSums& node : all) append(std::move(node));
  return true;
}

BlockSums BlockTree::total() && {
  if (nodes_.empty()) return {};
  for (size_t i = 1; i < nodes_.size(); ++i) nodes_[0].add(nodes_[i]);
  return std::move(nodes_[0]);
}

BlockSums BlockTree::total() const& {
  if (nodes_.empty()) return {};
  BlockSums sums(nodes_[0]);
  for (size_t i = 1; i < nodes_.size(); ++i) sums.add(nodes_[i]);
  return sums;
}

}  // namespace tv
