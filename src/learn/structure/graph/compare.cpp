// The structural Hamming distance counts links, the structural intervention distance effects.
//
// The parents Z that a node i has in the guess identify its effect on j in the truth, unless j is one of
// them, if no member of Z descends from a node on a directed path from i to j, and Z blocks all other paths
// between the two. A search from i finds at once to which j an open path leads that is not directed all the
// way. It walks, so that it may come by a node again. Such a walk need not be an open path where it follows a
// directed path from i, turns at a node from which a member of Z descends, and comes back; but the nodes on
// that path are then those from which no member of Z may descend.
#include "learn/structure/graph/compare.h"

#include <algorithm>
#include <utility>

#include "api/boundary.h"
#include "learn/structure/graph/direct_links.h"
#include "learn/structure/graph/links_by_kind.h"

namespace tv {
namespace {

// By node of the one structure: the node of that name in the other, or kNone.
std::vector<size_t> nodes_by_name(const Structure& from, const Structure& to) {
  std::vector<size_t> found(from.nodes.size(), kNone);
  for (size_t i = 0, j = 0; i < from.nodes.size() && j < to.nodes.size();) {
    const int order = from.nodes[i].name.compare(to.nodes[j].name);
    if (order == 0) found[i] = j;
    i += order <= 0;
    j += order >= 0;
  }
  return found;
}

class EffectSearch {
 public:
  EffectSearch(const PartialGraph& truth, const PartialGraph& guess)
      : truth_(truth), guess_(guess), descendants_(truth_) {}

  size_t count_wrong_effects() {
    size_t wrong = 0;
    for (size_t from = 0; from < truth_.size(); ++from) wrong += count_wrong_effects_of(from);
    return wrong;
  }

 private:
  enum Arrival : unsigned char {
    along = 1,
    straight = 2,
    against = 4
  };  // straight: along links from the start

  size_t count_wrong_effects_of(size_t from) {
    start_at(from);
    size_t wrong = 0;
    for (size_t to = 0; to < truth_.size(); ++to) {
      if (to == from) continue;
      if (guess_.parents.has(from, to))
        wrong += descendants_.leads(from, to);
      else
        wrong += meets_adjusted_[to] || (arrivals_[to] & (along | against)) != 0;
    }
    return wrong;
  }

  void start_at(size_t from) {
    start_ = from;
    adjusted_ = guess_.parents.row(from);
    arrivals_.assign(truth_.size(), 0);
    waiting_.clear();
    find_ancestors_of_adjusted();
    find_effects_through_them();
    visit(truth_.parents, from, [&](size_t parent) { arrive(parent, against); });
    visit(truth_.children, from, [&](size_t child) { arrive(child, straight); });
    for (size_t i = 0; i < waiting_.size(); ++i) go_on(waiting_[i].first, waiting_[i].second);
  }

  void find_ancestors_of_adjusted() {
    leads_to_adjusted_.assign(truth_.size(), false);
    for (size_t v = 0; v < truth_.size(); ++v)
      for (size_t w = 0; w < truth_.words() && !leads_to_adjusted_[v]; ++w)
        leads_to_adjusted_[v] = (descendants_.rows().row(v)[w] & adjusted_[w]) != 0;
  }

  // The nodes to which a directed path leads with a node on it from which a member of Z descends.
  void find_effects_through_them() {
    meets_adjusted_.assign(truth_.size(), false);
    visit(descendants_.rows(), start_, [&](size_t between) {
      if (between == start_ || !leads_to_adjusted_[between] || meets_adjusted_[between]) return;
      visit(descendants_.rows(), between, [&](size_t to) { meets_adjusted_[to] = true; });
    });
  }

  void go_on(size_t v, Arrival arrival) {
    const bool is_adjusted = (adjusted_[v / 64] & bit_of(v)) != 0;
    if (!is_adjusted) {
      const Arrival next = arrival == straight ? straight : along;
      visit(truth_.children, v, [&](size_t child) { arrive(child, next); });
    }
    if (arrival == against ? !is_adjusted : leads_to_adjusted_[v])
      visit(truth_.parents, v, [&](size_t parent) { arrive(parent, against); });
  }

  void arrive(size_t v, Arrival arrival) {
    if (v == start_ || (arrivals_[v] & arrival)) return;
    arrivals_[v] |= arrival;
    waiting_.emplace_back(v, arrival);
  }

  template <class Visit>
  void visit(const BitMatrix& rows, size_t v, Visit found) {
    for (size_t w = 0; w < rows.words(); ++w) for_each_bit(rows.row(v)[w], w, found);
  }

  LinksByKind truth_, guess_;
  Reachability descendants_;
  size_t start_ = 0;
  const uint64_t* adjusted_ = nullptr;
  std::vector<bool> leads_to_adjusted_, meets_adjusted_;
  std::vector<unsigned char> arrivals_;
  std::vector<std::pair<size_t, Arrival>> waiting_;
};

tv_status_t check_names(const Structure& truth, const Structure& guess) noexcept {
  const size_t count = std::min(truth.nodes.size(), guess.nodes.size());
  for (size_t i = 0; i < count; ++i)
    if (truth.nodes[i].name != guess.nodes[i].name)
      return refuse(tv_status_usage,
                    "the structures have other nodes: one has \"%s\" where the other has \"%s\"",
                    truth.nodes[i].name.c_str(), guess.nodes[i].name.c_str());
  if (truth.nodes.size() == guess.nodes.size()) return tv_status_none;
  const Structure& larger = truth.nodes.size() > count ? truth : guess;
  return refuse(tv_status_usage, "only one of the structures has a node \"%s\"",
                larger.nodes[count].name.c_str());
}

}  // namespace

size_t hamming_distance(const Structure& a, const Structure& b) {
  const std::vector<size_t> in_b = nodes_by_name(a, b), in_a = nodes_by_name(b, a);
  size_t distance = 0;
  for (size_t i = 0; i < in_b.size(); ++i)
    for (size_t j = i + 1; j < in_b.size(); ++j) {
      const bool are_known = in_b[i] != kNone && in_b[j] != kNone;
      distance += a.graph.link(i, j) != (are_known ? b.graph.link(in_b[i], in_b[j]) : tv_structure_link_none);
    }
  for (size_t i = 0; i < in_a.size(); ++i)
    for (size_t j = i + 1; j < in_a.size(); ++j)
      distance += (in_a[i] == kNone || in_a[j] == kNone) && b.graph.are_adjacent(i, j);
  return distance;
}

size_t intervention_distance(const PartialGraph& truth, const PartialGraph& guess) {
  return EffectSearch(truth, guess).count_wrong_effects();
}

}  // namespace tv

size_t tv_structure_get_hamming_distance(const tv_structure_t* a, const tv_structure_t* b) {
  return tv::guarded(tv::kNone, [&]() -> size_t {
    if (!tv::check(a && b)) return tv::kNone;
    return tv::hamming_distance(*a, *b);
  });
}

size_t tv_structure_get_intervention_distance(const tv_structure_t* truth, const tv_structure_t* guess) {
  return tv::guarded(tv::kNone, [&]() -> size_t {
    if (!tv::check(truth && guess)) return tv::kNone;
    if (tv::check_names(*truth, *guess)) return tv::kNone;
    if (tv::check_is_directed(*truth) || tv::check_is_directed(*guess)) return tv::kNone;
    return tv::intervention_distance(truth->graph, guess->graph);
  });
}
