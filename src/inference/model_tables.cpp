#include "inference/model_tables.h"

#include "api/boundary.h"
#include "expr/table_generator.h"
#include "network/refusals.h"

namespace tv {
namespace {

// Calls work(node) for each node with a model whose potential is assigned to the tree, until one fails.
template <class Work>
tv_status_t for_each_model(const JunctionTree& tree, Work work) {
  if (tree.domain->model_count == 0) return tv_status_none;
  for (size_t c = 0; c < tree.clique_count(); ++c)
    for (Node* node : tree.cliques[c]->potentials) {
      if (!node->model) continue;
      if (tv_status_t status = work(*node)) return status;
    }
  return tv_status_none;
}

}  // namespace

tv_status_t refresh_model_tables(const JunctionTree& tree) {
  return for_each_model(tree, [](Node& node) { return refresh_table(node); });
}

tv_status_t refresh_own_model_tables(const JunctionTree& tree) {
  return for_each_model(
      tree, [](Node& node) { return depends_on_results(node) ? tv_status_none : refresh_table(node); });
}

tv_status_t check_for_tables_of_results(const Domain& domain) noexcept {
  for (const Node& node : domain.nodes)
    if (node.model && placement(node).assigned && depends_on_results(node))
      return refuse(tv_status_usage,
                    "the table of node \"%s\" depends on results, which are those of the network alone",
                    shown_name(node));
  return tv_status_none;
}

}  // namespace tv
