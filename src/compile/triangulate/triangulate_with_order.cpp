// Elimination orders of the host: checking them, triangulating by them, keeping one for later, and the
// order of the present triangulation.
#include <algorithm>

#include "api/boundary.h"
#include "compile/compile_qualitatively.h"
#include "compile/triangulate/triangulate.h"
#include "network/node_operations.h"

namespace tv {
namespace {

NodeList list_of(Node* const* nodes) {
  NodeList list;
  for (; *nodes; ++nodes) list.push_back(*nodes);
  return list;
}

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

namespace {

NodeList order_of_elimination(const Forest& forest) {
  std::vector<Node*> by_rank(forest.participants);
  for (Node& node : forest.domain->nodes)
    if (const uint32_t rank = placement(node).elimination_rank) by_rank[forest.participants - rank] = &node;
  NodeList order;
  order.reserve(by_rank.size());
  for (Node* node : by_rank) order.push_back(node);
  return order;
}

}  // namespace

tv_status_t _tv_check_elimination_order(const Domain& domain, Node* const* order) {
  std::vector<bool> seen(domain.node_count, false);
  size_t count = 0;
  bool discrete_seen = false;
  for (; *order; ++order) {
    const Node& node = **order;
    if (node.domain != &domain || !is_discrete_or_continuous(node) || seen[node.number - 1]) {
      return tv_status_enumeration;
    }
    if (discrete_seen && is_continuous(node)) return tv_status_enumeration;
    discrete_seen = is_discrete(node);
    seen[node.number - 1] = true;
    ++count;
  }
  return count == domain.counters.discrete + domain.counters.continuous ? tv_status_none
                                                                        : tv_status_enumeration;
}

tv_status_t build_cliques_from_order(const Forest& forest, const NodeList& order, Trace& trace,
                                     Progress& progress, Triangulation& result) {
  trace.text("\n\nUser specified triangulation -- Fill-in links and node numbering:\n\n");
  result.graph = _tv_create_moral_graph(forest, order);
  Elimination elimination(result.graph.size());
  if (tv_status_t status = _tv_generate_cliques_from_order(result.graph, trace, progress, elimination))
    return status;
  if (tv_status_t status = _tv_remove_redundant_fill_ins(result.graph, elimination, trace, progress))
    return status;
  result.cliques = elimination.cliques.take();
  return tv_status_none;
}

}  // namespace tv

tv_status_t tv_domain_triangulate_with_order(tv_domain_t* domain, tv_node_t** order) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && order && tv::has_participating_node(*domain) && !tv::is_triangulated(*domain))) {
      return tv_status_usage;
    }
    if (tv_status_t status = tv::_tv_check_elimination_order(*domain, order)) return status;
    tv::QualitativeCompilation compilation(*domain);
    compilation.moralize();
    tv::Triangulation triangulation;
    if (tv_status_t status =
            tv::build_cliques_from_order(compilation.forest(), tv::list_of(order), compilation.trace(),
                                         compilation.progress(), triangulation))
      return status;
    if (tv_status_t status = tv::order_cliques(triangulation, compilation.progress())) return status;
    return compilation.finish(triangulation);
  });
}

tv_status_t tv_domain_set_initial_triangulation(tv_domain_t* domain, tv_node_t** order) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain)) return tv_status_usage;
    tv::NodeList kept;
    if (order) {
      if (tv_status_t status = tv::_tv_check_elimination_order(*domain, order)) return status;
      kept = tv::list_of(order);
    }
    domain->initial_triangulation = std::move(kept);
    return tv_status_none;
  });
}

tv_node_t** tv_domain_get_elimination_order(tv_domain_t* domain) {
  return tv::guarded(static_cast<tv_node_t**>(nullptr), [&]() -> tv_node_t** {
    if (!tv::check(domain && tv::is_triangulated(*domain))) return nullptr;
    tv::NodeList& order = domain->forest->elimination_order;
    if (order.empty()) order = tv::order_of_elimination(*domain->forest);
    return order.terminated();
  });
}
