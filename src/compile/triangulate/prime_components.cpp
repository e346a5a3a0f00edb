// Prime components. A vertex whose neighbours are all adjacent to each other makes a component with them, and
// the others are those of the graph without it; once such vertices are gone, often one component is all that
// is left. It is looked for in a junction tree of a minimal triangulation: two neighbouring cliques belong to
// the same component exactly when their separator is not complete in the graph itself (Leimer 1993; Olesen
// and Madsen 2002). Any minimal triangulation will do; that by fewest fill-ins is one which a whole component
// needs anyway.
#include "compile/triangulate/prime_components.h"

#include <algorithm>

#include "compile/hypergraph_mcs.h"
#include "compile/triangulate/greedy_elimination.h"

namespace tv {
namespace {

class PrimeComponentFinder {
 public:
  PrimeComponentFinder(const VertexGraph& graph, Progress& progress, std::vector<PrimeComponent>& components)
      : graph_(graph),
        progress_(progress),
        components_(components),
        induce_(graph),
        complete_(graph.size()),
        is_found_(graph.size(), false) {}

  tv_status_t run() {
    if (tv_status_t status = peel()) return status;
    for (Vertex v = 0; v < graph_.size(); ++v) {
      if (is_found_[v]) continue;
      if (tv_status_t status = split(connected_rest(v))) return status;
    }
    sort_components();
    return tv_status_none;
  }

 private:
  // Takes out one vertex after the other whose neighbours are all adjacent to each other.
  tv_status_t peel() {
    EliminationGraph rest(graph_);
    VertexSet pending;
    for (Vertex v = 0; v < graph_.size(); ++v) {
      if (rest.missing_links(v) == 0) pending.push_back(v);
    }
    while (!pending.empty()) {
      const Vertex v = pending.back();
      pending.pop_back();
      if (is_found_[v]) continue;
      is_found_[v] = true;
      VertexSet clique = rest.clique_of(v);
      if (progress_.stop_requested(Progress::kVertex + clique.size())) return tv_status_error;
      rest.take_out(v);
      for (const Vertex u : clique) {
        if (u != v && rest.missing_links(u) == 0) pending.push_back(u);
      }
      add_unless_covered(std::move(clique));
    }
    return tv_status_none;
  }

  void add_unless_covered(VertexSet set) {
    if (complete_.clique_over(set) != CliqueSet::kNoClique) return;
    complete_.add(set);
    components_.push_back({std::move(set), {}, true});
  }

  // What can be reached from v without the vertices that have been found.
  VertexSet connected_rest(Vertex v) {
    VertexSet rest{v};
    is_found_[v] = true;
    for (size_t i = 0; i < rest.size(); ++i) {
      for (const Vertex u : graph_.neighbors(rest[i])) {
        if (is_found_[u]) continue;
        is_found_[u] = true;
        rest.push_back(u);
      }
    }
    std::sort(rest.begin(), rest.end());
    return rest;
  }

  tv_status_t split(VertexSet rest) {
    const VertexGraph induced = induce_(rest);
    std::vector<VertexSet> cliques, parts;
    Trace silent(nullptr);
    if (tv_status_t status = triangulate_greedily(induced, EliminationGraph(induced), tv_method_fill_in_size,
                                                  silent, progress_, cliques)) {
      return status;
    }
    if (tv_status_t status = find_parts(induced, cliques, parts)) return status;
    if (parts.size() == 1) {
      components_.push_back({std::move(rest), std::move(cliques), false});
      return tv_status_none;
    }
    for (VertexSet& part : parts) {
      std::sort(part.begin(), part.end());
      part.erase(std::unique(part.begin(), part.end()), part.end());
      for (Vertex& v : part) v = rest[v];
      if (graph_.is_complete(part)) {
        add_unless_covered(std::move(part));
      } else {
        components_.push_back({std::move(part), {}, false});
      }
    }
    return tv_status_none;
  }

  // A clique joins the part of its parent unless a complete separator lies between them.
  tv_status_t find_parts(const VertexGraph& graph, const std::vector<VertexSet>& cliques,
                         std::vector<VertexSet>& parts) {
    CliqueOrder search;
    if (tv_status_t status = _tv_perform_hypergraph_mcs(graph, cliques, progress_, search)) return status;
    std::vector<size_t> part_of(cliques.size());
    for (const size_t clique : search.order) {
      VertexSet separator;
      for (const Vertex v : cliques[clique]) {
        if (search.visited_by[v] != clique) separator.push_back(v);
      }
      if (separator.empty() || graph.is_complete(separator)) {
        part_of[clique] = parts.size();
        parts.push_back(cliques[clique]);
        continue;
      }
      part_of[clique] = part_of[search.parent[clique]];
      VertexSet& part = parts[part_of[clique]];
      part.insert(part.end(), cliques[clique].begin(), cliques[clique].end());
    }
    return tv_status_none;
  }

  // Components are larger than what nearly always tells them apart.
  void sort_components() {
    std::vector<std::pair<Vertex, size_t>> order;
    order.reserve(components_.size());
    for (size_t i = 0; i < components_.size(); ++i) order.emplace_back(components_[i].vertices.front(), i);
    std::sort(order.begin(), order.end(), [this](const auto& a, const auto& b) {
      return a.first != b.first ? a.first < b.first
                                : components_[a.second].vertices < components_[b.second].vertices;
    });
    std::vector<PrimeComponent> sorted;
    sorted.reserve(components_.size());
    for (const auto& [vertex, i] : order) sorted.push_back(std::move(components_[i]));
    components_ = std::move(sorted);
  }

  const VertexGraph& graph_;
  Progress& progress_;
  std::vector<PrimeComponent>& components_;
  InducedGraphs induce_;
  CliqueSet complete_;          // the complete components found so far
  std::vector<bool> is_found_;  // by vertex: it is in a component, or in the part that is being split
};

}  // namespace

tv_status_t find_prime_components(const VertexGraph& graph, Progress& progress,
                                  std::vector<PrimeComponent>& components) {
  return PrimeComponentFinder(graph, progress, components).run();
}

}  // namespace tv
