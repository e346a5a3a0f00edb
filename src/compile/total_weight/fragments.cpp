// Triangulating fragments. A clique that holds a vertex v of the separator is known once it is known what
// lies behind it next to v: its members are then the separator, the neighbours of v that are left, and the
// neighbourhoods of these smaller fragments. Each neighbour of v in the interior is therefore either made a
// member or covered by a smaller fragment, and whatever weighs more than the best clique so far is cut off.
#include "compile/total_weight/fragments.h"

#include <numeric>

#include "compile/total_weight/widths.h"

namespace tv {

template <size_t W>
const typename FragmentCollection<W>::Fragment* FragmentCollection<W>::find(
    const Set& interior) const noexcept {
  const std::uint32_t number =
      index_.number_of(interior, [this](std::uint32_t i) -> const Set& { return fragments_[i].interior; });
  return number == 0 ? nullptr : &fragments_[number - 1];
}

template <size_t W>
bool FragmentCollection<W>::add(const Set& interior, std::uint32_t separator, std::uint32_t size) {
  const auto interior_at = [this](std::uint32_t i) -> const Set& { return fragments_[i].interior; };
  index_.make_room(fragments_.size(), interior_at);
  fragments_.push_back({interior, graph_->none(), kUnknown, separator, size});
  index_.number_of(interior, interior_at) = static_cast<std::uint32_t>(fragments_.size());
  const size_t list_entries = (*separators_)[separator].size;
  const size_t bytes = sizeof(Fragment) + 2 * (interior.bytes() - sizeof interior) +
                       4 * sizeof(std::uint32_t) +
                       list_entries * (sizeof(Candidate) + 2 * (interior.bytes() - sizeof interior));
  bytes_ += bytes;
  return budget_.allocate(bytes);
}

template <size_t W>
bool FragmentCollection<W>::split(const BitGraph<W>& graph, const SeparatorCollection<W>& separators) {
  graph_ = &graph;
  separators_ = &separators;
  budget_.release(bytes_);
  bytes_ = 0;
  fragments_.clear();
  index_.clear();
  for (std::uint32_t i = 0; i < separators.size(); ++i) {
    const MinimalSeparator<W>& separator = separators[i];
    bool has_memory = true;
    graph.for_each_component(graph.all() - separator.set, [&](const Set& interior, const Set& near) {
      if (!has_memory || !(near == separator.set)) return;
      has_memory = add(interior, i, static_cast<std::uint32_t>(separator.size + interior.count()));
    });
    if (!has_memory || budget_.stop_requested(graph.size())) return false;
  }
  return true;
}

template <size_t W>
double FragmentCollection<W>::triangulate(double bound) {
  at_vertex_.resize(graph_->size());
  for (std::vector<Candidate>& list : at_vertex_) list.clear();
  order_.resize(fragments_.size());
  std::iota(order_.begin(), order_.end(), 0);
  std::stable_sort(order_.begin(), order_.end(), [this](std::uint32_t a, std::uint32_t b) {
    return fragments_[a].size < fragments_[b].size;
  });
  const double least_factor = graph_->least_factor();
  for (const std::uint32_t i : order_) {
    Fragment& fragment = fragments_[i];
    const MinimalSeparator<W>& separator = (*separators_)[fragment.separator];
    // On the other side of the separator lies a clique, too.
    triangulate_fragment(fragment, bound - least_factor * separator.weight);
    if (stopped_) return kUnknown;
    if (fragment.cost == kHopeless) continue;
    separator.set.for_each([&](Vertex v) {
      at_vertex_[v].push_back({fragment.interior, separator.set, fragment.cost});
    });
  }
  double best = bound;
  for (size_t i = 0; i < separators_->size(); ++i) {
    const double cost = cost_of_split((*separators_)[i].set, best);
    if (cost >= best) continue;
    best = cost;
    best_separator_ = i;
  }
  return best < bound ? best : kHopeless;
}

// Of all that the separator leaves; the bound where that is not below it.
template <size_t W>
double FragmentCollection<W>::cost_of_split(const Set& separator, double bound) const {
  double cost = 0.0;
  graph_->for_each_component(graph_->all() - separator, [&](const Set& interior, const Set&) {
    if (cost >= bound) return;
    const Fragment* fragment = find(interior);
    cost = fragment && fragment->cost >= 0.0 ? cost + fragment->cost : bound;
  });
  return std::min(cost, bound);
}

template <size_t W>
void FragmentCollection<W>::triangulate_fragment(Fragment& fragment, double bound) {
  const Set& separator = (*separators_)[fragment.separator].set;
  best_ = bound;
  if (is_clique(fragment, separator)) {
    fragment.clique = fragment.interior | separator;
    best_ = std::min(best_, graph_->weight(fragment.clique));
  } else {
    const Vertex pivot = pivot_of(fragment, separator);
    collect_candidates(fragment, pivot);
    search_for_pmc(fragment, {separator, graph_->none(), 0.0}, graph_->neighbors(pivot) & fragment.interior);
  }
  fragment.cost = best_ < bound ? best_ : kHopeless;
}

// The interior is complete and all of it is adjacent to all of the separator.
template <size_t W>
bool FragmentCollection<W>::is_clique(const Fragment& fragment, const Set& separator) const {
  const Set all = fragment.interior | separator;
  bool complete = true;
  fragment.interior.for_each([&](Vertex v) {
    if (!complete) return;
    Set closed = graph_->neighbors(v);
    closed.insert(v);
    complete = closed.contains(all);
  });
  return complete;
}

// The vertex of the separator with the fewest neighbours in the interior: the least to decide.
template <size_t W>
Vertex FragmentCollection<W>::pivot_of(const Fragment& fragment, const Set& separator) const {
  Vertex pivot = 0;
  size_t fewest = static_cast<size_t>(-1);
  separator.for_each([&](Vertex v) {
    const size_t inside = (graph_->neighbors(v) & fragment.interior).count();
    if (inside >= fewest) return;
    fewest = inside;
    pivot = v;
  });
  return pivot;
}

template <size_t W>
void FragmentCollection<W>::collect_candidates(const Fragment& fragment, Vertex pivot) {
  candidates_.clear();
  const std::vector<Candidate>& list = at_vertex_[pivot];
  for (const Candidate& candidate : list) {
    if (candidate.cost < best_ && fragment.interior.contains(candidate.interior))
      candidates_.push_back(candidate);
  }
  stopped_ = stopped_ || budget_.stop_requested(list.size() + 1);
}

template <size_t W>
void FragmentCollection<W>::search_for_pmc(Fragment& fragment, const Partial& partial, Set undecided) {
  undecided -= partial.members;
  undecided -= partial.behind;
  if (stopped_ || partial.cost + graph_->weight(partial.members) >= best_) return;
  if (undecided.empty()) return finish_pmc(fragment, partial);
  const Vertex v = undecided.first();
  for (const Candidate& candidate : candidates_) {
    // Next to what is behind already lie only members.
    if (!candidate.interior.has(v) || candidate.interior.meets(partial.members)) continue;
    search_for_pmc(fragment,
                   {partial.members | candidate.separator, partial.behind | candidate.interior,
                    partial.cost + candidate.cost},
                   undecided);
  }
  stopped_ = stopped_ || budget_.stop_requested(candidates_.size() + 1);
  Partial with_member = partial;
  with_member.members.insert(v);
  search_for_pmc(fragment, with_member, undecided);
}

// All that lies behind the clique must have been triangulated, and the clique must be one.
template <size_t W>
void FragmentCollection<W>::finish_pmc(Fragment& fragment, const Partial& partial) {
  const Set& members = partial.members;
  double cost = partial.cost + graph_->weight(members);
  behind_.clear();
  graph_->for_each_component(partial.behind, [&](const Set&, const Set& near) { behind_.push_back(near); });
  graph_->for_each_component((fragment.interior - members) - partial.behind,
                             [&](const Set& interior, const Set& near) {
                               if (cost >= best_) return;
                               behind_.push_back(near);
                               const Fragment* smaller = find(interior);
                               cost = smaller && smaller->cost >= 0.0 ? cost + smaller->cost : best_;
                             });
  if (cost >= best_ || !is_pmc(members, (*separators_)[fragment.separator].set)) return;
  best_ = cost;
  fragment.clique = members;
}

// Two members that are not adjacent are next to a component in common, or belong to the separator. Where a
// component is next to all members, too, they lie in a larger clique, and without theirs all is cheaper.
template <size_t W>
bool FragmentCollection<W>::is_pmc(const Set& members, const Set& separator) const {
  bool covered = true;
  members.for_each([&](Vertex v) {
    if (!covered) return;
    Set missing = members - graph_->neighbors(v);
    missing.erase(v);
    if (separator.has(v)) missing -= separator;
    for (size_t i = 0; i < behind_.size() && !missing.empty(); ++i)
      if (behind_[i].has(v)) missing -= behind_[i];
    covered = missing.empty();
  });
  return covered;
}

template <size_t W>
std::vector<VertexBits<W>> FragmentCollection<W>::identify_cliques() const {
  std::vector<Set> cliques, interiors;
  const auto add_rest = [&](const Set& rest) {
    graph_->for_each_component(rest, [&](const Set& interior, const Set&) { interiors.push_back(interior); });
  };
  add_rest(graph_->all() - (*separators_)[best_separator_].set);
  while (!interiors.empty()) {
    const Fragment& fragment = *find(interiors.back());
    interiors.pop_back();
    cliques.push_back(fragment.clique);
    add_rest(fragment.interior - fragment.clique);
  }
  return cliques;
}

#define TARVO_INSTANTIATE(W) template class FragmentCollection<W>;
TARVO_FOR_ALL_WIDTHS(TARVO_INSTANTIATE)
#undef TARVO_INSTANTIATE

}  // namespace tv
