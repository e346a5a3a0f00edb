// Nodes are taken out of the graph from the last one in the order of the directed graph to the first. How
// well a node is suited depends on the nodes around it alone, and is found again when one of those has gone.
#include "learn/structure/graph/direct_links.h"

#include <utility>

#include "api/boundary.h"
#include "learn/structure/graph/links_by_kind.h"

namespace tv {
namespace {

class SinkElimination {
 public:
  explicit SinkElimination(PartialGraph& graph)
      : graph_(graph), links_(graph), is_left_(graph.size(), true), flaws_(graph.size()) {
    for (size_t v = 0; v < graph.size(); ++v) flaws_[v] = count_flaws(v);
  }

  void run() {
    for (size_t i = 0; i < graph_.size(); ++i) take_out(best_sink());
  }

 private:
  // Where directed links close no cycle, some node is always left that none of them leaves.
  size_t best_sink() const noexcept {
    size_t best = kNone, flaws = kNone;
    for (size_t v = 0; v < graph_.size() && flaws > 0; ++v)
      if (is_left_[v] && flaws_[v] < flaws) flaws = flaws_[best = v];
    return best;
  }

  // Twice the number of new colliders at the node if all its links led into it; kNone if they cannot.
  size_t count_flaws(size_t v) const noexcept {
    const uint64_t* const children = links_.children.row(v);
    for (size_t w = 0; w < links_.words(); ++w)
      if (children[w]) return kNone;
    size_t flaws = 0;
    for (size_t w = 0; w < links_.words(); ++w)
      for_each_bit(links_.undirected.row(v)[w], w, [&](size_t other) { flaws += flaws_with(v, other); });
    return flaws;
  }

  // A pair of undirected neighbours is met from both.
  size_t flaws_with(size_t v, size_t neighbor) const noexcept {
    size_t flaws = 0;
    for (size_t w = 0; w < links_.words(); ++w) {
      uint64_t apart = ~links_.adjacent.row(neighbor)[w];
      if (neighbor / 64 == w) apart &= ~bit_of(neighbor);
      flaws += 2 * static_cast<size_t>(std::popcount(links_.parents.row(v)[w] & apart)) +
               static_cast<size_t>(std::popcount(links_.undirected.row(v)[w] & apart));
    }
    return flaws;
  }

  void take_out(size_t v) noexcept {
    is_left_[v] = false;
    for_each_adjacent(v, [&](size_t other) {
      if (links_.undirected.has(v, other)) graph_.direct(other, v);
      for (BitMatrix* rows : {&links_.children, &links_.undirected, &links_.adjacent}) rows->clear(other, v);
    });
    for_each_adjacent(v, [&](size_t other) { flaws_[other] = count_flaws(other); });
  }

  template <class Visit>
  void for_each_adjacent(size_t v, Visit visit) const noexcept {
    for (size_t w = 0; w < links_.words(); ++w) for_each_bit(links_.adjacent.row(v)[w], w, visit);
  }

  PartialGraph& graph_;
  LinksByKind links_;  // between nodes that are left
  std::vector<bool> is_left_;
  std::vector<size_t> flaws_;
};

// Whether each undirected link has a direction that it may have.
bool direct_as_known(PartialGraph& graph, const Knowledge& knowledge) noexcept {
  if (knowledge.size() == 0) return true;
  for (size_t a = 0; a < graph.size(); ++a)
    for (size_t b = a + 1; b < graph.size(); ++b) {
      if (!graph.is_undirected(a, b)) continue;
      if (!knowledge.allows_any(a, b)) return false;
      if (!knowledge.allows(b, a)) graph.direct(a, b);
      if (!knowledge.allows(a, b)) graph.direct(b, a);
    }
  return true;
}

}  // namespace

bool direct_all(PartialGraph& graph, const Knowledge& knowledge) {
  PartialGraph directed = graph;
  if (!direct_as_known(directed, knowledge) || directed.has_directed_cycle()) return false;
  SinkElimination(directed).run();
  graph = std::move(directed);
  return true;
}

tv_status_t check_is_directed(const Structure& structure) {
  const PartialGraph& graph = structure.graph;
  for (size_t a = 0; a < graph.size(); ++a)
    for (size_t b = a + 1; b < graph.size(); ++b)
      if (graph.is_undirected(a, b))
        return refuse(tv_status_usage, "the link between \"%s\" and \"%s\" is undirected",
                      structure.nodes[a].name.c_str(), structure.nodes[b].name.c_str());
  if (graph.has_directed_cycle()) return refuse(tv_status_usage, "the links of the structure close a cycle");
  return tv_status_none;
}

}  // namespace tv

tv_status_t tv_structure_direct(tv_structure_t* structure) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(structure)) return tv_status_usage;
    if (tv::direct_all(structure->graph, structure->knowledge)) return tv_status_none;
    return tv::refuse(tv_status_usage,
                      "the undirected links of the structure cannot all be directed: directed "
                      "ones close a cycle, or constraints leave no way");
  });
}
