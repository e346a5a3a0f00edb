#include "inference/compress/table_bytes.h"

namespace tv {
namespace {

double full_size(const NodeList& members) noexcept {
  double size = 1.0;
  for (const Node* node : members)
    if (is_discrete(*node)) size *= static_cast<double>(node->number_of_states);
  return size;
}

double bytes_of_entries(double entries, size_t cg_size) noexcept {
  return entries * (sizeof(tv_number_t) + static_cast<double>(cg_size) * sizeof(double));
}

}  // namespace

double bytes_of_node_tables(const Domain& domain) noexcept {
  double bytes = 0.0;
  for (const Node& node : domain.nodes) {
    const size_t cg_size = node.table ? node.table->cg_size : 0;
    const double own = is_discrete(node) ? static_cast<double>(node.number_of_states) : 1.0;
    bytes += bytes_of_entries(own * full_size(node.parents), cg_size);
  }
  return bytes;
}

double bytes_of_full_tables(const Domain& domain) noexcept {
  double bytes = bytes_of_node_tables(domain);
  for (const Clique& clique : domain.forest->cliques) {
    bytes += bytes_of_entries(full_size(clique.members()), clique.table.cg_size);
    if (const Separator* separator = clique.parent_separator.get())
      bytes += bytes_of_entries(full_size(separator->members), separator->cg_size);
  }
  return bytes;
}

double bytes_of_rows(const JunctionTree& tree, const TreeSupport& support) noexcept {
  double bytes = 0.0;
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    bytes += bytes_of_entries(static_cast<double>(support.cliques[c].size()), tree.cliques[c]->table.cg_size);
    if (const Separator* separator = tree.cliques[c]->parent_separator.get())
      bytes += bytes_of_entries(static_cast<double>(support.separators[c].size()), separator->cg_size);
  }
  return bytes;
}

}  // namespace tv
