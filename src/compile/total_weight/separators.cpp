// Enumerating minimal separators.
#include "compile/total_weight/separators.h"

#include "compile/total_weight/widths.h"

namespace tv {

template <size_t W>
void SeparatorCollection<W>::start(const BitGraph<W>& graph) noexcept {
  graph_ = &graph;
  budget_.release(bytes_);
  bytes_ = 0;
  is_full_ = is_exhaustive_ = false;
  separators_.clear();
  index_.clear();
  for (std::vector<std::uint32_t>& list : pending_) list.clear();
  least_pending_ = 0;
}

template <size_t W>
bool SeparatorCollection<W>::add(const Set& set) {
  const auto set_at = [this](std::uint32_t i) -> const Set& { return separators_[i].set; };
  index_.make_room(separators_.size(), set_at);
  std::uint32_t& number = index_.number_of(set, set_at);
  if (number != 0) return true;
  const size_t size = set.count();
  if (size >= pending_.size()) pending_.resize(size + 1);
  least_pending_ = std::min(least_pending_, size);
  pending_[size].push_back(static_cast<std::uint32_t>(separators_.size()));
  separators_.push_back({set, graph_->weight(set), static_cast<std::uint32_t>(size)});
  number = static_cast<std::uint32_t>(separators_.size());
  const size_t bytes = sizeof(MinimalSeparator<W>) - sizeof(Set) + set.bytes() + 3 * sizeof(std::uint32_t);
  bytes_ += bytes;
  is_full_ = !budget_.allocate(bytes);
  return !is_full_;
}

template <size_t W>
bool SeparatorCollection<W>::add_around(const Set& removed) {
  bool has_memory = true;
  graph_->for_each_component(graph_->all() - removed, [&](const Set&, const Set& separator) {
    if (has_memory && !separator.empty()) has_memory = add(separator);
  });
  return has_memory && !budget_.stop_requested(graph_->size());
}

template <size_t W>
Enumeration SeparatorCollection<W>::enumerate(size_t limit, size_t largest) {
  const auto ended = [&] { return is_full_ ? Enumeration::limited : Enumeration::stopped; };
  for (Vertex v = 0; v < graph_->size(); ++v) {
    if (!graph_->all().has(v)) continue;
    Set closed = graph_->neighbors(v);
    closed.insert(v);
    if (limit > 0 && separators_.size() > limit) return Enumeration::limited;
    if (!add_around(closed)) return ended();
  }
  while (least_pending_ < pending_.size() && (largest == 0 || least_pending_ <= largest)) {
    if (limit > 0 && separators_.size() > limit) return Enumeration::limited;
    std::vector<std::uint32_t>& list = pending_[least_pending_];
    if (list.empty()) {
      ++least_pending_;
      continue;
    }
    const Set separator = separators_[list.back()].set;
    list.pop_back();
    bool goes_on = true;
    separator.for_each([&](Vertex v) {
      if (goes_on) goes_on = add_around(separator | graph_->neighbors(v));
    });
    if (!goes_on) return ended();
  }
  while (least_pending_ < pending_.size() && pending_[least_pending_].empty()) ++least_pending_;
  is_exhaustive_ = least_pending_ == pending_.size();
  return limit > 0 && separators_.size() > limit ? Enumeration::limited : Enumeration::complete;
}

template <size_t W>
void SeparatorCollection<W>::keep_up_to(double weight) {
  std::erase_if(separators_, [weight](const MinimalSeparator<W>& s) { return s.weight > weight; });
  std::sort(separators_.begin(), separators_.end(),
            [](const MinimalSeparator<W>& a, const MinimalSeparator<W>& b) {
              return a.weight != b.weight ? a.weight < b.weight : a.size < b.size;
            });
}

#define TARVO_INSTANTIATE(W) template class SeparatorCollection<W>;
TARVO_FOR_ALL_WIDTHS(TARVO_INSTANTIATE)
#undef TARVO_INSTANTIATE

}  // namespace tv
