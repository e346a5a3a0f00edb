// Eliminating vertices in their own order.
#include "compile/triangulate/ordered_elimination.h"

#include "network/node_operations.h"

namespace tv {
namespace {

// Vertices are eliminated in their own order, so that the remaining neighbours of a vertex are those
// with higher numbers.
tv_status_t _tv_generate_cliques_from_order(const VertexGraph& graph, Trace& trace, Progress& progress,
                                            Elimination& result) {
  std::vector<VertexSet> later(graph.size());
  for (Vertex v = 0; v < graph.size(); ++v) {
    const std::span<const Vertex> all = graph.neighbors(v);
    later[v].assign(std::upper_bound(all.begin(), all.end(), v), all.end());
  }
  VertexSet joined;
  for (Vertex v = 0; v < graph.size(); ++v) {
    if (trace.enabled()) trace.print("%5zu %s\n", graph.size() - v, name_of(*graph.nodes[v]));
    const VertexSet& remaining = later[v];
    for (size_t i = 0; i < remaining.size(); ++i) {
      VertexSet& list = later[remaining[i]];
      if (progress.stop_requested(remaining.size() - i + list.size())) return tv_status_error;
      const auto rest = remaining.begin() + static_cast<ptrdiff_t>(i) + 1;
      const size_t old_size = list.size();
      for (auto b = rest; b != remaining.end(); ++b) {
        if (std::binary_search(list.begin(), list.begin() + static_cast<ptrdiff_t>(old_size), *b)) continue;
        trace_fill_in(trace, "Creating", graph, remaining[i], *b);
        result.fill_ins.push_back({remaining[i], *b, static_cast<std::uint32_t>(result.cliques.size())});
        list.push_back(*b);
      }
      std::inplace_merge(list.begin(), list.begin() + static_cast<ptrdiff_t>(old_size), list.end());
    }
    if (progress.stop_requested(Progress::kVertex)) return tv_status_error;
    VertexSet clique{v};
    clique.insert(clique.end(), remaining.begin(), remaining.end());
    const size_t known = result.cliques.clique_over(clique);
    const bool is_new = known == CliqueSet::kNoClique;
    result.depart(v, is_new ? result.cliques.size() : known);
    if (is_new) result.cliques.add(std::move(clique));
  }
  return tv_status_none;
}

}  // namespace

tv_status_t triangulate_in_vertex_order(const VertexGraph& graph, Trace& trace, Progress& progress,
                                        std::vector<VertexSet>& cliques) {
  Elimination elimination(graph.size());
  if (tv_status_t status = _tv_generate_cliques_from_order(graph, trace, progress, elimination))
    return status;
  if (tv_status_t status = _tv_remove_redundant_fill_ins(graph, elimination, trace, progress)) return status;
  cliques = elimination.cliques.take();
  return tv_status_none;
}

}  // namespace tv
