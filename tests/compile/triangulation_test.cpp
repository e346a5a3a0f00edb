// Every triangulation is chordal, holds every family, and is a minimal one; the forest over its cliques
// has the running intersection property, strong roots, and the orders that inference relies on.
#include <gtest/gtest.h>

#include "forest_world.h"

namespace {

using namespace world;

const tv_triangulation_method_t kMethods[] = {tv_method_clique_size,  tv_method_clique_weight,
                                              tv_method_fill_in_size, tv_method_fill_in_weight,
                                              tv_method_total_weight, tv_method_best_greedy};

void try_all_triangulations(std::mt19937& random, const Shape& shape) {
  DomainOwner domain = random_network(random, shape);
  double least = HUGE_VAL;
  for (const tv_triangulation_method_t method : kMethods) {
    ASSERT_EQ(tv_domain_triangulate(domain.get(), method), tv_status_none);
    expect_right_forest(domain.get());
    const double weight = total_weight(domain.get());
    EXPECT_TRUE(method != tv_method_best_greedy || weight <= least);
    least = std::min(least, weight);
    EXPECT_EQ(static_cast<double>(tv_domain_get_jt_cost(domain.get())), weight);
    tv_domain_uncompile(domain.get());
  }
  std::vector<tv_node_t*> order = random_order(random, domain.get());
  ASSERT_EQ(tv_domain_triangulate_with_order(domain.get(), order.data()), tv_status_none);
  expect_right_forest(domain.get());
}

TEST(Triangulation, IsRightOnRandomDiscreteNetworks) {
  std::mt19937 random(1);
  for (int round = 0; round < 60 && !HasFailure(); ++round) {
    try_all_triangulations(random, {2 + random() % 10, 0.05 * static_cast<double>(1 + random() % 10)});
  }
}

TEST(Triangulation, HasStrongRootsOnRandomMixedNetworks) {
  std::mt19937 random(2);
  for (int round = 0; round < 120 && !HasFailure(); ++round) {
    try_all_triangulations(random, {3 + random() % 9, 0.05 * static_cast<double>(2 + random() % 8), 0.5});
  }
}

TEST(Triangulation, UserOrderWithoutRedundantLinksKeepsExactlyItsFillIns) {
  DomainOwner domain(tv_new_domain());
  tv_node_t* a = add_node(domain.get(), "a", 2);
  tv_node_t* b = add_node(domain.get(), "b", 2, {a});
  tv_node_t* c = add_node(domain.get(), "c", 2, {b});
  tv_node_t* d = add_node(domain.get(), "d", 2, {c});
  tv_node_t* e = add_node(domain.get(), "e", 2, {d});
  add_node(domain.get(), "f", 2, {e, a});
  // Links a-b-c-d-e and, as parents of f, e-a: a ring that b, c and d cut down from one side.
  std::vector<tv_node_t*> order{b, c, d, e, a, tv_domain_get_first_node(domain.get()), nullptr};
  ASSERT_EQ(tv_domain_triangulate_with_order(domain.get(), order.data()), tv_status_none);
  const std::vector<tv_node_t*> nodes = vertices(domain.get());
  const auto set = [&](std::vector<tv_node_t*> members) {
    members.push_back(nullptr);
    return set_of(nodes, members.data());
  };
  const std::vector<Set> cliques = clique_sets(domain.get());
  EXPECT_EQ(std::set<Set>(cliques.begin(), cliques.end()),
            (std::set<Set>{set({a, b, c}), set({a, c, d}), set({a, d, e}), set({a, e, nodes.front()})}));
}

// Leimer's condition, clique by clique: seen from the root, what a clique adds is continuous or what it
// shares with its neighbour is discrete; and only links that share continuous nodes lead away for good.
void expect_strong_roots(const tv_domain_t* domain) {
  for (tv_junction_tree_t* jt = tv_domain_get_first_junction_tree(domain); jt; jt = tv_jt_get_next(jt)) {
    size_t cg_total = 0;
    struct Step {
      const tv_clique_t *clique, *towards_root;
    };
    std::vector<Step> path{{tv_jt_get_root(jt), nullptr}};
    while (!path.empty()) {
      const auto [clique, towards_root] = path.back();
      path.pop_back();
      const auto cg_entries = [](const std::vector<tv_node_t*>& members) {
        size_t configurations = 1, continuous = 0;
        for (const tv_node_t* member : members)
          tv_node_get_kind(member) == tv_kind_discrete
              ? configurations *= tv_node_get_number_of_states(member)
              : ++continuous;
        return configurations * (continuous * (continuous + 3) / 2);
      };
      const std::vector<tv_node_t*> members(clique->members().begin(), clique->members().end());
      cg_total += cg_entries(members);
      if (towards_root) {
        std::vector<tv_node_t*> own, shared;
        for (tv_node_t* member : members)
          (towards_root->members().contains(member) ? shared : own).push_back(member);
        cg_total += cg_entries(shared);
        EXPECT_TRUE(all_of_kind(own, tv_kind_continuous) || all_of_kind(shared, tv_kind_discrete));
        const bool leaves = !all_of_kind(shared, tv_kind_discrete) || towards_root->way_to_strong_root;
        EXPECT_EQ(clique->way_to_strong_root, leaves ? towards_root : nullptr);
      }
      for (const tv::Link& link : clique->links)
        if (link.neighbor != towards_root) path.push_back({link.neighbor, clique});
    }
    EXPECT_EQ(tv_jt_get_total_cg_size(jt), cg_total);
  }
}

TEST(Triangulation, HasStrongRootsOnThousandsOfMixedGraphs) {
  std::mt19937 random(9);
  for (int round = 0; round < 1500 && !HasFailure(); ++round) {
    const Shape shape{3 + random() % 12, 0.1 + 0.1 * static_cast<double>(random() % 5),
                      0.1 + 0.2 * static_cast<double>(random() % 5), 3};
    DomainOwner domain = random_network(random, shape);
    ASSERT_EQ(tv_domain_triangulate(domain.get(), kMethods[round % 5]), tv_status_none);
    expect_strong_roots(domain.get());
    tv_domain_uncompile(domain.get());
    std::vector<tv_node_t*> order = random_order(random, domain.get());
    ASSERT_EQ(tv_domain_triangulate_with_order(domain.get(), order.data()), tv_status_none);
    expect_strong_roots(domain.get());
  }
}

TEST(Triangulation, UnconnectedPartsGetTreesOfTheirOwn) {
  DomainOwner domain(tv_new_domain());
  tv_node_t* a = add_node(domain.get(), "a", 2);
  add_node(domain.get(), "b", 2, {a});
  tv_node_t* lone = add_node(domain.get(), "lone", 3);
  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_none);
  tv_junction_tree_t* first = tv_domain_get_first_junction_tree(domain.get());
  tv_junction_tree_t* second = tv_jt_get_next(first);
  ASSERT_TRUE(second);
  EXPECT_EQ(tv_jt_get_next(second), nullptr);
  EXPECT_NE(tv_node_get_junction_tree(a), tv_node_get_junction_tree(lone));
  // Both lists run from the newest to the oldest, but trees are made from the newest clique on.
  EXPECT_EQ(tv_jt_get_root(second), tv_domain_get_first_clique(domain.get()));
}

TEST(Triangulation, HoldsUpOnLongAndWideNetworks) {
  constexpr size_t kCount = 20000;
  DomainOwner domain(tv_new_domain());
  tv_node_t* hub = add_node(domain.get(), "hub", 2);
  tv_node_t* last = nullptr;
  for (size_t i = 0; i < kCount; ++i) {
    last = last ? add_node(domain.get(), "N" + std::to_string(i), 2, {last})
                : add_node(domain.get(), "N" + std::to_string(i), 2);
    if (i % 2) tv_node_add_parent(last, hub);
  }
  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_none);
  EXPECT_GE(tv_domain_get_number_of_cliques(domain.get()), kCount - 2);
}

}  // namespace
