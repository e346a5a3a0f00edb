// Elimination orders of the host: checking them, triangulating by them, keeping one for later, and the
// order of the present triangulation.
#include <algorithm>

#include "api/boundary.h"
#include "compile/compile_qualitatively.h"
#include "compile/triangulate/ordered_elimination.h"
#include "compile/triangulate/triangulate.h"
#include "network/node_operations.h"

namespace tv {
namespace {

NodeList list_of(Node* const* nodes) {
  NodeList list;
  for (; *nodes; ++nodes) list.push_back(*nodes);
  return list;
}

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
  return triangulate_in_vertex_order(result.graph, trace, progress, result.cliques);
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
