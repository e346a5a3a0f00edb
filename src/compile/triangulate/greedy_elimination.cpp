// Greedy elimination: the best vertex by the scores of the method goes next, its neighbours are made
// adjacent to each other, and the scores around it are adjusted, not counted anew.
//
// Ties are left to the heap. After an elimination the vertices whose scores changed are sifted again, the
// one met last first: the neighbours are met in vertex order, then the others in the order of the fill-ins
// that touch them. Other ways to settle ties are as good on the average; this one does well on the networks
// of the literature.
#include "compile/triangulate/greedy_elimination.h"

#include <limits>

#include "compile/triangulate/vertex_heap.h"
#include "network/node_operations.h"

namespace tv {
namespace {

bool is_weighted(tv_triangulation_method_t method) noexcept {
  return method == tv_method_clique_weight || method == tv_method_fill_in_weight;
}

class GreedyEliminator {
 public:
  GreedyEliminator(const VertexGraph& graph, const EliminationGraph& start, tv_triangulation_method_t method,
                   Trace& trace, Progress& progress, Elimination& result)
      : vertices_(graph),
        by_clique_(method == tv_method_clique_size || method == tv_method_clique_weight),
        trace_(trace),
        progress_(progress),
        result_(result),
        graph_(start, is_weighted(method)),
        heap_(first_scores(graph.size())) {}

  // Sweeps the graph: after a first vertex only those next to one that is eliminated follow, so that a long
  // graph is eliminated from one end to the other.
  void sweep_from(Vertex first) {
    is_reached_.assign(graph_.size(), false);
    is_reached_[first] = true;
    heap_ = VertexHeap(first_scores(graph_.size()));
  }

  tv_status_t run() {
    while (!heap_.empty()) {
      const Vertex v = heap_.best();
      VertexSet clique = graph_.clique_of(v);
      const size_t known = graph_.missing_links(v) > 0 ? kNoClique : result_.cliques.clique_over(clique);
      const bool is_new = known == kNoClique;
      if (is_new && clique.size() == heap_.size()) {
        eliminate_all(clique, v);
      } else {
        eliminate(v, is_new ? result_.cliques.size() : known);
        if (is_new) eliminate_inside(clique, v);
      }
      if (progress_.stop_requested(Progress::kVertex + clique.size())) return tv_status_error;
      if (is_new) result_.cliques.add(std::move(clique));
    }
    return tv_status_none;
  }

 private:
  static constexpr size_t kNoClique = CliqueSet::kNoClique;
  static constexpr double kNotYet = std::numeric_limits<double>::infinity();

  std::vector<VertexScore> first_scores(size_t count) const {
    std::vector<VertexScore> scores(count);
    for (Vertex v = 0; v < count; ++v) scores[v] = score_of(v);
    return scores;
  }

  // Vertices without missing links are better than all others and equal to each other.
  VertexScore score_of(Vertex v) const noexcept {
    if (graph_.missing_links(v) == 0) return {-1.0, -1.0};
    if (!is_reached_.empty() && !is_reached_[v]) return {kNotYet, kNotYet};
    const double clique = graph_.clique_score(v), fill_in = graph_.fill_in_score(v);
    return by_clique_ ? VertexScore{clique, fill_in} : VertexScore{fill_in, clique};
  }

  // Makes the neighbours of v, which the clique holds, adjacent to each other and takes v out. It leaves the
  // heap in between: what takes its place there is compared by the scores as they are then.
  void eliminate(Vertex v, size_t clique) {
    depart(v, clique);
    const std::span<const Vertex> neighbors = graph_.neighbors(v);
    changed_.assign(neighbors.begin(), neighbors.end());
    if (!is_reached_.empty())
      for (const Vertex u : neighbors) is_reached_[u] = true;
    add_fill_ins(v);
    graph_.link_neighbors(progress_, changed_);
    for (const Vertex u : changed_) heap_.set_score(u, score_of(u));
    heap_.remove(v);
    graph_.take_out(v);
    for (const Vertex u : graph_.neighbors(v)) heap_.set_score(u, score_of(u));
    for (size_t i = changed_.size(); i-- > 0;) heap_.update(changed_[i]);
  }

  // Eliminates the neighbours of v that have all their neighbours inside the new clique.
  void eliminate_inside(const VertexSet& clique, Vertex v) {
    size_t remaining = clique.size() - 1;
    for (const Vertex u : clique) {
      if (u == v || graph_.degree(u) + 1 != remaining) continue;
      eliminate(u, result_.cliques.size());
      --remaining;
    }
  }

  // The same where nothing but the clique is left: nobody will ask for a score again.
  void eliminate_all(const VertexSet& clique, Vertex v) {
    depart(v, result_.cliques.size());
    add_fill_ins(v);
    for (const Vertex u : clique) {
      if (u != v) depart(u, result_.cliques.size());
    }
    heap_.clear();
  }

  void depart(Vertex v, size_t clique) {
    result_.depart(v, clique);
    if (trace_.enabled()) trace_.print("\tEliminating %s\n", name_of(*vertices_.nodes[v]));
  }

  void add_fill_ins(Vertex v) {
    const size_t old_count = result_.fill_ins.size();
    graph_.find_fill_ins(v, progress_, result_);
    if (!trace_.enabled()) return;
    for (size_t i = old_count; i < result_.fill_ins.size(); ++i)
      trace_fill_in(trace_, "Creating", vertices_, result_.fill_ins[i].a, result_.fill_ins[i].b);
  }

  const VertexGraph& vertices_;
  bool by_clique_;
  Trace& trace_;
  Progress& progress_;
  Elimination& result_;
  EliminationGraph graph_;
  std::vector<bool> is_reached_;  // by vertex: a sweep may eliminate it; empty without a sweep
  VertexHeap heap_;
  VertexSet changed_;  // vertices whose scores the present elimination changes
};

// One of the vertices that are farthest from `start`.
Vertex farthest_from(const VertexGraph& graph, Vertex start) {
  std::vector<bool> is_seen(graph.size(), false);
  VertexSet reached{start};
  is_seen[start] = true;
  for (size_t i = 0; i < reached.size(); ++i) {
    for (const Vertex u : graph.neighbors(reached[i])) {
      if (is_seen[u]) continue;
      is_seen[u] = true;
      reached.push_back(u);
    }
  }
  return reached.back();
}

tv_status_t finish(const VertexGraph& graph, GreedyEliminator& eliminator, Elimination& elimination,
                   Trace& trace, Progress& progress, std::vector<VertexSet>& cliques) {
  if (tv_status_t status = eliminator.run()) return status;
  if (tv_status_t status = _tv_remove_redundant_fill_ins(graph, elimination, trace, progress)) return status;
  cliques = elimination.cliques.take();
  return tv_status_none;
}

}  // namespace

const char* method_name(tv_triangulation_method_t method) noexcept {
  switch (method) {
    case tv_method_clique_size:
      return "clique size";
    case tv_method_clique_weight:
      return "clique weight";
    case tv_method_fill_in_size:
      return "fill-in size";
    case tv_method_fill_in_weight:
      return "fill-in weight";
    case tv_method_total_weight:
      return "total weight";
    case tv_method_best_greedy:
      return "best greedy";
  }
  return "";
}

tv_status_t triangulate_greedily(const VertexGraph& graph, const EliminationGraph& start,
                                 tv_triangulation_method_t method, Trace& trace, Progress& progress,
                                 std::vector<VertexSet>& cliques) {
  Elimination elimination(graph.size());
  GreedyEliminator eliminator(graph, start, method, trace, progress, elimination);
  return finish(graph, eliminator, elimination, trace, progress, cliques);
}

tv_status_t triangulate_by_sweep(const VertexGraph& graph, Progress& progress,
                                 std::vector<VertexSet>& cliques) {
  Trace silent(nullptr);
  Elimination elimination(graph.size());
  GreedyEliminator eliminator(graph, EliminationGraph(graph), tv_method_clique_weight, silent, progress,
                              elimination);
  eliminator.sweep_from(farthest_from(graph, farthest_from(graph, 0)));
  return finish(graph, eliminator, elimination, silent, progress, cliques);
}

}  // namespace tv
