// The compiled forest as the host sees it: whether there is one, its trees and cliques, their members,
// sizes and neighbours, and how it goes away again. Everything here reads what compilation built.
#include "compile/forest.h"

#include "api/boundary.h"

namespace tv {

JunctionTree* tree_of(const Node& node) noexcept {
  const Node& answering = node.linked_node ? *node.linked_node : node;
  if (!answering.domain || !answering.domain->forest) return nullptr;
  return placement(answering).tree;
}

namespace {

bool has_forest(const Domain* domain) noexcept { return domain && is_triangulated(*domain); }

// The sum of `measure(size, cg_size)` over all cliques and separators of a tree.
template <class Measure>
size_t total_over_tables(const JunctionTree& tree, Measure measure) noexcept {
  size_t total = 0;
  for (size_t i = 0; i < tree.clique_count(); ++i) {
    const Clique& clique = *tree.cliques[i];
    total = size_add(total, measure(clique.table.size, clique.table.cg_size));
    if (const Separator* separator = clique.parent_separator.get()) {
      total = size_add(total, measure(separator->size, separator->cg_size));
    }
  }
  return total;
}

size_t size_or_failure(size_t size) noexcept {
  require(size != kHugeSize, tv_status_size_too_large);
  return size;
}

}  // namespace
}  // namespace tv

tv_status_t tv_domain_uncompile(tv_domain_t* domain) {
  if (!tv::check(domain)) return tv_status_usage;
  tv::_tv_uncompile_domain_safely(*domain);
  return tv_status_none;
}

int tv_domain_is_compiled(const tv_domain_t* domain) {
  return tv::check(domain) ? tv::is_compiled(*domain) : -1;
}

int tv_domain_is_triangulated(const tv_domain_t* domain) {
  return tv::check(domain) ? tv::is_triangulated(*domain) : -1;
}

tv_clique_t* tv_domain_get_first_clique(const tv_domain_t* domain) {
  return tv::check(tv::has_forest(domain)) ? domain->forest->cliques.first() : nullptr;
}

tv_clique_t* tv_clique_get_next(const tv_clique_t* clique) {
  return tv::check(clique) ? clique->next : nullptr;
}

size_t tv_domain_get_number_of_cliques(const tv_domain_t* domain) {
  return tv::check(tv::has_forest(domain)) ? domain->forest->clique_count : tv::kNone;
}

tv_node_t** tv_clique_get_members(tv_clique_t* clique) {
  return tv::check(clique) ? clique->members().terminated() : nullptr;
}

size_t tv_clique_get_number_of_members(const tv_clique_t* clique) {
  return tv::check(clique) ? clique->members().size() : tv::kNone;
}

tv_clique_t** tv_clique_get_neighbors(tv_clique_t* clique) {
  return tv::guarded(static_cast<tv_clique_t**>(nullptr), [&]() -> tv_clique_t** {
    if (!tv::check(clique)) return nullptr;
    if (!clique->neighbor_array) {
      clique->neighbor_array = std::make_unique<tv::Clique*[]>(clique->links.size() + 1);
      tv::Clique** next = clique->neighbor_array.get();
      for (const tv::Link& link : clique->links) *next++ = link.neighbor;
    }
    return clique->neighbor_array.get();
  });
}

size_t tv_clique_get_number_of_neighbors(tv_clique_t* clique) {
  return tv::check(clique) ? clique->links.size() : tv::kNone;
}

tv_junction_tree_t* tv_clique_get_junction_tree(const tv_clique_t* clique) {
  return tv::check(clique) ? clique->tree : nullptr;
}

tv_table_t* tv_clique_get_probability_table(const tv_clique_t* clique) {
  return tv::check(clique) ? const_cast<tv_table_t*>(&clique->table) : nullptr;
}

tv_table_t* tv_clique_get_utility_table(const tv_clique_t* clique) {
  return tv::check(clique) ? clique->utility_table.get() : nullptr;
}

tv_status_t tv_clique_set_user_data(tv_clique_t* clique, void* data) {
  if (!tv::check(clique)) return tv_status_usage;
  clique->user_data = data;
  return tv_status_none;
}

void* tv_clique_get_user_data(const tv_clique_t* clique) {
  return tv::check(clique) ? clique->user_data : nullptr;
}

tv_status_t tv_clique_set_back_pointer(tv_clique_t* clique, void* pointer) {
  if (!tv::check(clique)) return tv_status_usage;
  clique->back_pointer = pointer;
  return tv_status_none;
}

void* tv_clique_get_back_pointer(const tv_clique_t* clique) {
  return tv::check(clique) ? clique->back_pointer : nullptr;
}

tv_junction_tree_t* tv_domain_get_first_junction_tree(const tv_domain_t* domain) {
  return tv::check(tv::has_forest(domain)) ? domain->forest->trees.first() : nullptr;
}

tv_junction_tree_t* tv_jt_get_next(const tv_junction_tree_t* jt) {
  return tv::check(jt) ? jt->next : nullptr;
}

tv_clique_t* tv_jt_get_root(const tv_junction_tree_t* jt) { return tv::check(jt) ? jt->root : nullptr; }

tv_clique_t** tv_jt_get_cliques(tv_junction_tree_t* jt) {
  return tv::check(jt) ? jt->cliques.data() : nullptr;
}

size_t tv_jt_get_total_size(tv_junction_tree_t* jt) {
  if (!tv::check(jt)) return tv::kNone;
  const size_t total = tv::total_over_tables(*jt, [](size_t size, size_t) { return size; });
  return tv::size_or_failure(jt->root->utility_table ? tv::size_add(total, total) : total);
}

size_t tv_jt_get_total_cg_size(tv_junction_tree_t* jt) {
  if (!tv::check(jt)) return tv::kNone;
  return tv::size_or_failure(tv::total_over_tables(*jt, tv::size_multiply));
}

tv_status_t tv_jt_set_user_data(tv_junction_tree_t* jt, void* data) {
  if (!tv::check(jt)) return tv_status_usage;
  jt->user_data = data;
  return tv_status_none;
}

void* tv_jt_get_user_data(const tv_junction_tree_t* jt) { return tv::check(jt) ? jt->user_data : nullptr; }

tv_status_t tv_jt_set_back_pointer(tv_junction_tree_t* jt, void* pointer) {
  if (!tv::check(jt)) return tv_status_usage;
  jt->back_pointer = pointer;
  return tv_status_none;
}

void* tv_jt_get_back_pointer(const tv_junction_tree_t* jt) {
  return tv::check(jt) ? jt->back_pointer : nullptr;
}

tv_junction_tree_t* tv_node_get_junction_tree(const tv_node_t* node) {
  const bool has_tree =
      node && (tv::is_discrete_or_continuous(*node) || node->category == tv_category_utility);
  return tv::check(has_tree && tv::has_forest(node->domain)) ? tv::tree_of(*node) : nullptr;
}

tv_node_t** tv_node_get_moral_neighbors(const tv_node_t* node) {
  const bool is_vertex = node && tv::is_discrete_or_continuous(*node);
  if (!tv::check(is_vertex && tv::has_forest(node->domain))) return nullptr;
  return tv::placement(*node).moral_neighbors;
}

size_t tv_domain_get_jt_cost(tv_domain_t* domain) {
  if (!tv::check(tv::has_forest(domain) && !domain->forest->cliques.empty())) return tv::kNone;
  size_t cost = 0;
  for (const tv::Clique& clique : domain->forest->cliques) {
    const size_t size = clique.table.size;
    cost = tv::size_add(cost, tv::size_add(size, tv::size_multiply(size, clique.table.cg_size)));
  }
  return tv::size_or_failure(cost);
}
