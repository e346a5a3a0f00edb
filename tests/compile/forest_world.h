// What is true of every forest: its cliques are those of a minimal triangulation of the moral graph, its
// trees have the running intersection property and strong roots, and nodes have the places that inference
// relies on.
#pragma once

#include <gtest/gtest.h>

#include <numeric>

#include "graph_world.h"

namespace world {

inline double total_weight(const tv_domain_t* domain) {
  double total = 0;
  for (tv_clique_t* clique = tv_domain_get_first_clique(domain); clique;
       clique = tv_clique_get_next(clique)) {
    double weight = 1;
    size_t continuous = 0;
    for (tv_node_t** member = tv_clique_get_members(clique); *member; ++member) {
      if (tv_node_get_kind(*member) == tv_kind_discrete) {
        weight *= static_cast<double>(tv_node_get_number_of_states(*member));
      } else {
        ++continuous;
      }
    }
    weight *= static_cast<double>(1 + continuous * (continuous + 3) / 2);
    EXPECT_EQ(weight, clique->weight);
    total += weight;
  }
  return total;
}

inline void expect_moral_neighbors(const tv_domain_t* domain) {
  const std::vector<tv_node_t*> nodes = vertices(domain);
  const Matrix moral = moral_graph(domain);
  for (size_t v = 0; v < nodes.size(); ++v) {
    const Set neighbors = set_of(nodes, tv_node_get_moral_neighbors(nodes[v]));
    Set expected;
    for (size_t u = 0; u < nodes.size(); ++u)
      if (moral[v][u]) expected.push_back(u);
    EXPECT_EQ(neighbors, expected);
  }
}

inline void expect_minimal_triangulation(const tv_domain_t* domain) {
  const size_t count = vertices(domain).size();
  const Matrix moral = moral_graph(domain);
  const std::vector<Set> cliques = clique_sets(domain);
  const Matrix filled = filled_graph(count, cliques);
  EXPECT_TRUE(is_chordal(filled));
  EXPECT_EQ(std::set<Set>(cliques.begin(), cliques.end()), maximal_cliques(filled));
  EXPECT_EQ(cliques.size(), maximal_cliques(filled).size());
  for (size_t a = 0; a < count; ++a) {
    for (size_t b = 0; b < a; ++b) {
      EXPECT_TRUE(!moral[a][b] || filled[a][b]);
      const bool is_fill_in = !moral[a][b] && filled[a][b];
      EXPECT_FALSE(is_fill_in && is_complete(filled, common_neighbors(filled, a, b)));
    }
  }
}

// Eliminating in the order of the ranks adds nothing to the filled graph, and continuous nodes come first.
inline void expect_perfect_order(tv_domain_t* domain) {
  const std::vector<tv_node_t*> nodes = vertices(domain);
  const Matrix filled = filled_graph(nodes.size(), clique_sets(domain));
  tv_node_t** order = tv_domain_get_elimination_order(domain);
  std::vector<size_t> position(nodes.size());
  for (size_t i = 0; i < nodes.size(); ++i) {
    position[index_of(nodes, order[i])] = i;
    EXPECT_EQ(tv::placement(*order[i]).elimination_rank, nodes.size() - i);
    EXPECT_GE(tv_node_get_kind(order[i > 0 ? i - 1 : 0]), tv_node_get_kind(order[i]));
  }
  EXPECT_EQ(order[nodes.size()], nullptr);
  for (size_t v = 0; v < nodes.size(); ++v) {
    Set later;
    for (size_t u : common_neighbors(filled, v, v))
      if (position[u] > position[v]) later.push_back(u);
    EXPECT_TRUE(is_complete(filled, later));
  }
}

inline bool all_of_kind(const std::vector<tv_node_t*>& nodes, tv_node_kind_t kind) {
  return std::all_of(nodes.begin(), nodes.end(),
                     [&](tv_node_t* node) { return tv_node_get_kind(node) == kind; });
}

inline void expect_junction_tree(tv_junction_tree_t* jt) {
  tv_clique_t** cliques = tv_jt_get_cliques(jt);
  EXPECT_EQ(cliques[0], tv_jt_get_root(jt));
  EXPECT_EQ(cliques[0]->parent, nullptr);
  std::set<tv_node_t*> seen(cliques[0]->members().begin(), cliques[0]->members().end());
  size_t total = cliques[0]->table.size;
  for (size_t i = 1; cliques[i]; ++i) {
    const tv_clique_t& clique = *cliques[i];
    EXPECT_EQ(cliques[i - 1]->next, &clique);
    EXPECT_EQ(clique.tree, jt);
    ASSERT_TRUE(clique.parent && clique.parent_separator);
    EXPECT_EQ(std::count(cliques, cliques + i, clique.parent), 1);
    EXPECT_EQ(clique.links.front().neighbor, clique.parent);
    std::vector<tv_node_t*> shared, own;
    for (tv_node_t* member : clique.members()) {
      (seen.insert(member).second ? own : shared).push_back(member);
    }
    const tv::NodeList& separator = clique.parent_separator->members;
    EXPECT_TRUE(std::equal(shared.begin(), shared.end(), separator.begin(), separator.end()));
    for (tv_node_t* member : shared) EXPECT_TRUE(clique.parent->members().contains(member));
    EXPECT_TRUE(all_of_kind(own, tv_kind_continuous) || all_of_kind(shared, tv_kind_discrete));
    const bool beyond = !all_of_kind(shared, tv_kind_discrete) || clique.parent->way_to_strong_root;
    EXPECT_EQ(clique.way_to_strong_root, beyond ? clique.parent : nullptr);
    total += clique.table.size + clique.parent_separator->size;
  }
  EXPECT_EQ(tv_jt_get_total_size(jt), total);
  EXPECT_EQ(std::set<tv_node_t*>(jt->nodes.begin(), jt->nodes.end()), seen);
}

inline void expect_node_data(const tv_domain_t* domain) {
  for (tv_node_t* node : vertices(domain)) {
    const tv::NodePlacement& record = tv::placement(*node);
    size_t smallest = tv::kHugeSize, smallest_clique = tv::kHugeSize, smallest_with_family = tv::kHugeSize;
    for (const tv_clique_t& clique : domain->forest->cliques) {
      if (!clique.members().contains(node)) continue;
      smallest_clique = std::min(smallest_clique, clique.table.size);
      const tv::Separator* separator = clique.parent_separator.get();
      if (separator && separator->members.contains(node)) smallest = std::min(smallest, separator->size);
      if (std::all_of(node->parents.begin(), node->parents.end(),
                      [&](tv_node_t* parent) { return clique.members().contains(parent); })) {
        smallest_with_family = std::min(smallest_with_family, clique.table.size);
      }
    }
    ASSERT_TRUE(record.home && record.assigned && record.belief_clique);
    EXPECT_TRUE(record.home->members().contains(node));
    EXPECT_EQ(record.home->table.size, smallest_clique);
    EXPECT_EQ(record.assigned->table.size, smallest_with_family);
    EXPECT_EQ(std::count(record.assigned->potentials.begin(), record.assigned->potentials.end(), node), 1);
    const tv::BeliefSource source = record.belief_source();
    EXPECT_EQ(source.separator ? source.separator->size : source.clique->table.size,
              std::min(smallest, smallest_clique));
    EXPECT_TRUE((source.separator ? source.separator->members : source.clique->members()).contains(node));
    EXPECT_EQ(tv_node_get_junction_tree(node), record.home->tree);
  }
}

inline void expect_right_forest(tv_domain_t* domain) {
  expect_moral_neighbors(domain);
  expect_minimal_triangulation(domain);
  expect_perfect_order(domain);
  size_t cliques = 0;
  for (tv_junction_tree_t* jt = tv_domain_get_first_junction_tree(domain); jt; jt = tv_jt_get_next(jt)) {
    expect_junction_tree(jt);
    cliques += jt->clique_count();
  }
  EXPECT_EQ(tv_domain_get_number_of_cliques(domain), cliques);
  EXPECT_EQ(tv_domain_get_first_clique(domain)->index, cliques);
  expect_node_data(domain);
}

inline std::vector<tv_node_t*> random_order(std::mt19937& random, const tv_domain_t* domain) {
  std::vector<tv_node_t*> order = vertices(domain);
  std::shuffle(order.begin(), order.end(), random);
  std::stable_partition(order.begin(), order.end(),
                        [](tv_node_t* node) { return tv_node_get_kind(node) == tv_kind_continuous; });
  order.push_back(nullptr);
  return order;
}

}  // namespace world
