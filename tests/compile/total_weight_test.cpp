// Triangulations of least total weight, against a search through all elimination orders, and the search for
// cheap ones, through the public functions.
#include <gtest/gtest.h>

#include <cmath>

#include "compile/total_weight/lower_bound.h"
#include "forest_world.h"
#include "tables/limits.h"

namespace {

using namespace world;

// What makes a clique of so many continuous members heavier.
double factor_of(size_t continuous) {
  const double n = static_cast<double>(continuous);
  return continuous == 0 ? 1.0 : 1.0 + n * (n + 3.0) / 2.0;
}

// The least sum of clique weights over all elimination orders that add no redundant fill-in, set by set of
// the vertices eliminated so far (Bellman 1962). A vertex with its neighbours is no clique of its own where a
// component of the eliminated vertices is next to all of them: the last of these had them in its clique. An
// order adds no redundant fill-in when all cliques of their own are potential maximal cliques; with one-state
// and continuous nodes a redundant one may lower the sum.
class AllOrders {
 public:
  AllOrders(const Matrix& graph, const std::vector<tv_node_t*>& nodes)
      : nodes_(nodes), near_(graph.size(), 0) {
    for (size_t a = 0; a < graph.size(); ++a)
      for (size_t b = 0; b < graph.size(); ++b)
        if (graph[a][b]) near_[a] |= 1u << b;
  }

  double least_cost() const {
    const size_t count = near_.size();
    std::vector<double> cost(size_t{1} << count, HUGE_VAL);
    cost[0] = 0.0;
    for (unsigned gone = 0; gone + 1 < cost.size(); ++gone) {
      const std::vector<unsigned> borders = borders_of(gone);
      for (size_t v = 0; v < count; ++v) {
        if (gone >> v & 1) continue;
        unsigned clique = near_[v] | 1u << v;
        for (const unsigned border : borders)
          if (border >> v & 1) clique |= border;
        clique &= ~gone;
        const bool is_covered = std::any_of(borders.begin(), borders.end(),
                                            [&](unsigned border) { return (border & clique) == clique; });
        if (!is_covered && !is_potential_maximal(clique)) continue;
        double& next = cost[gone | 1u << v];
        next = std::min(next, cost[gone] + (is_covered ? 0.0 : weight(clique)));
      }
    }
    return cost.back();
  }

 private:
  // No component of the other vertices is next to all of it, and two of its members are adjacent or next to
  // the same component.
  bool is_potential_maximal(unsigned clique) const {
    const std::vector<unsigned> borders = borders_of(~clique & ((1u << near_.size()) - 1));
    for (size_t a = 0; a < near_.size(); ++a) {
      if (!(clique >> a & 1)) continue;
      unsigned joined = near_[a] | 1u << a;
      for (const unsigned border : borders)
        if (border >> a & 1) joined |= border;
      if ((clique & ~joined) != 0) return false;
    }
    return std::find(borders.begin(), borders.end(), clique) == borders.end();
  }

  // The neighbours of each component of the set.
  std::vector<unsigned> borders_of(unsigned set) const {
    std::vector<unsigned> borders;
    while (set) {
      unsigned component = set & -set, before = 0, near = 0;
      while (component != before) {
        before = component;
        for (size_t v = 0; v < near_.size(); ++v)
          if (component >> v & 1) near |= near_[v];
        component |= near & set;
      }
      borders.push_back(near & ~component);
      set &= ~component;
    }
    return borders;
  }

  double weight(unsigned clique) const {
    double weight = 1.0;
    size_t continuous = 0;
    for (size_t v = 0; v < nodes_.size(); ++v) {
      if (!(clique >> v & 1)) continue;
      if (tv_node_get_kind(nodes_[v]) == tv_kind_continuous) {
        ++continuous;
      } else {
        weight *= static_cast<double>(tv_node_get_number_of_states(nodes_[v]));
      }
    }
    return weight * factor_of(continuous);
  }

  std::vector<tv_node_t*> nodes_;
  std::vector<unsigned> near_;
};

// Any graph over discrete nodes: the parents of a utility node are joined, and it is no vertex itself.
DomainOwner network_over(const Matrix& graph, std::mt19937& random, size_t max_states) {
  DomainOwner domain(tv_new_domain());
  std::vector<tv_node_t*> nodes;
  for (size_t v = 0; v < graph.size(); ++v) {
    nodes.push_back(add_node(domain.get(), "N" + std::to_string(v), 1 + random() % max_states));
    for (size_t u = 0; u < v; ++u)
      if (graph[u][v])
        add_node(domain.get(), "U" + std::to_string(u) + "_" + std::to_string(v), 1, {nodes[u], nodes[v]},
                 tv_category_utility);
  }
  return domain;
}

DomainOwner random_world(std::mt19937& random, int round) {
  if (round % 3 == 0) return random_network(random, {6 + random() % 7, 0.2, 0.4, 1 + random() % 8});
  Matrix graph = no_links(8 + random() % 5);
  for (size_t a = 0; a < graph.size(); ++a)
    for (size_t b = 0; b < a; ++b)
      if (random() % 10 < 3 + static_cast<size_t>(round % 2)) join(graph, a, b);
  return network_over(graph, random, 1 + random() % 8);
}

double cost_of(tv_domain_t* domain) { return static_cast<double>(tv_domain_get_jt_cost(domain)); }

struct ComponentSums {
  double cost = 0.0, bound = 0.0;
};
ComponentSums sum_components(tv_domain_t* domain) {
  ComponentSums sums;
  for (size_t i = 0; i < tv_domain_get_number_of_prime_components(domain); ++i) {
    EXPECT_LE(tv_domain_get_prime_component_bound(domain, i), tv_domain_get_prime_component_cost(domain, i));
    sums.cost += tv_domain_get_prime_component_cost(domain, i);
    sums.bound += tv_domain_get_prime_component_bound(domain, i);
  }
  return sums;
}

void triangulate(tv_domain_t* domain, tv_triangulation_method_t method, size_t effort = 0, size_t limit = 0) {
  tv_domain_uncompile(domain);
  tv_domain_set_triangulation_effort(domain, effort);
  tv_domain_set_max_number_of_separators(domain, limit);
  ASSERT_EQ(tv_domain_triangulate(domain, method), tv_status_none);
}

TEST(TotalWeight, IsThatOfTheBestEliminationOrder) {
  std::mt19937 random(1);
  size_t better = 0;
  for (int round = 0; round < 2000 && !HasFailure(); ++round) {
    const DomainOwner domain = random_world(random, round);
    const double least = AllOrders(moral_graph(domain.get()), vertices(domain.get())).least_cost();
    triangulate(domain.get(), tv_method_best_greedy);
    better += cost_of(domain.get()) > least;
    const ComponentSums greedy = sum_components(domain.get());
    EXPECT_EQ(greedy.cost, cost_of(domain.get()));
    EXPECT_LE(greedy.bound, least);
    const tv::VertexGraph graph =
        tv::_tv_create_moral_graph(*domain->forest, tv::participating_nodes(*domain));
    EXPECT_LE(tv::least_heaviest_clique(graph), least);
    triangulate(domain.get(), tv_method_total_weight);
    EXPECT_EQ(cost_of(domain.get()), least);
    EXPECT_EQ(sum_components(domain.get()).bound, least);
    if (round % 3 == 0) expect_right_forest(domain.get());
    // A search of so small a component is exact, too, and says so.
    triangulate(domain.get(), tv_method_best_greedy, 1);
    EXPECT_EQ(cost_of(domain.get()), least);
    EXPECT_EQ(sum_components(domain.get()).bound, least);
  }
  EXPECT_GT(better, 200u);
}

TEST(TotalWeight, SplitComponentsStayTriangulated) {
  std::mt19937 random(2);
  for (int round = 0; round < 150 && !HasFailure(); ++round) {
    const DomainOwner domain =
        random_network(random, {6 + random() % 30, 0.05 + 0.1 * (round % 2), round % 3 ? 0.0 : 0.3});
    triangulate(domain.get(), tv_method_total_weight, 0, 1 + random() % 12);
    expect_right_forest(domain.get());
    const ComponentSums split = sum_components(domain.get());
    EXPECT_EQ(split.cost, cost_of(domain.get()));
    // What the search has found stays where the split is no cheaper.
    triangulate(domain.get(), tv_method_best_greedy, 1);
    const double searched = cost_of(domain.get());
    triangulate(domain.get(), tv_method_total_weight, 1, 1);
    expect_right_forest(domain.get());
    EXPECT_LE(cost_of(domain.get()), searched);
  }
}

TEST(TotalWeight, IsNeverAboveTheInitialTriangulation) {
  std::mt19937 random(3);
  for (int round = 0; round < 100 && !HasFailure(); ++round) {
    const DomainOwner domain = random_network(random, {5 + random() % 12, 0.25, round % 3 ? 0.0 : 0.4});
    std::vector<tv_node_t*> order = random_order(random, domain.get());
    ASSERT_EQ(tv_domain_triangulate_with_order(domain.get(), order.data()), tv_status_none);
    const double initial = cost_of(domain.get());
    triangulate(domain.get(), tv_method_total_weight);
    const double least = cost_of(domain.get());
    ASSERT_EQ(tv_domain_set_initial_triangulation(domain.get(), order.data()), tv_status_none);
    triangulate(domain.get(), tv_method_total_weight);
    EXPECT_EQ(cost_of(domain.get()), least);
    EXPECT_EQ(sum_components(domain.get()).bound, least);
    // Few separators are looked at, but those of the initial triangulation are among them.
    tv_domain_set_max_separator_size(domain.get(), 1);
    triangulate(domain.get(), tv_method_total_weight);
    expect_right_forest(domain.get());
    EXPECT_LE(cost_of(domain.get()), initial);
    tv_domain_set_max_separator_size(domain.get(), 0);
  }
}

// Rows of binary nodes, each with the one before it and the one above it as parents.
void add_grid(tv_domain_t* domain, const std::string& name, size_t height, size_t width) {
  std::vector<tv_node_t*> column(height, nullptr);
  for (size_t x = 0; x < width; ++x) {
    for (size_t y = 0; y < height; ++y) {
      tv_node_t* left = column[y];
      column[y] = add_node(domain, name + std::to_string(x) + "_" + std::to_string(y), 2);
      if (left) tv_node_add_parent(column[y], left);
      if (y > 0) tv_node_add_parent(column[y], column[y - 1]);
    }
  }
}

DomainOwner grid(size_t height, size_t width) {
  DomainOwner domain(tv_new_domain());
  add_grid(domain.get(), "c", height, width);
  return domain;
}

// The initial triangulation numbers the components in another order than the domain. The smaller grid has too
// many separators to be solved again for the bound, and few enough to be solved once.
TEST(TotalWeight, ProofsBelongToTheirComponents) {
  const DomainOwner domain(tv_new_domain());
  add_grid(domain.get(), "old", 7, 7);
  add_grid(domain.get(), "new", 9, 9);
  std::vector<tv_node_t*> order = vertices(domain.get());
  std::reverse(order.begin(), order.end());
  order.push_back(nullptr);
  ASSERT_EQ(tv_domain_set_initial_triangulation(domain.get(), order.data()), tv_status_none);
  triangulate(domain.get(), tv_method_total_weight, 0, 32000);
  size_t proven = 0, open = 0;
  for (size_t i = 0; i < tv_domain_get_number_of_prime_components(domain.get()); ++i) {
    tv_node_t** members = tv_domain_get_prime_component(domain.get(), i);
    const double cost = tv_domain_get_prime_component_cost(domain.get(), i);
    const bool is_proven = tv_domain_get_prime_component_bound(domain.get(), i) == cost;
    size_t size = 0;
    while (members[size]) ++size;
    if (size < 10) continue;
    EXPECT_EQ(is_proven, std::string(tv_node_get_name(members[0])).rfind("old", 0) == 0);
    ++(is_proven ? proven : open);
  }
  EXPECT_EQ(proven, 1u);
  EXPECT_EQ(open, 1u);
}

TEST(TriangulationSearch, ImprovesAndStaysTheSame) {
  std::mt19937 random(4);
  for (int round = 0; round < 12 && !HasFailure(); ++round) {
    const DomainOwner domain =
        round == 0 ? grid(6, 20) : random_network(random, {60 + random() % 60, 0.025, round % 3 ? 0.0 : 0.3});
    triangulate(domain.get(), tv_method_best_greedy);
    const double greedy = cost_of(domain.get());
    double last = greedy;
    for (const size_t effort : {1, 4}) {
      triangulate(domain.get(), tv_method_best_greedy, effort);
      expect_right_forest(domain.get());
      EXPECT_LE(cost_of(domain.get()), last);
      last = cost_of(domain.get());
    }
    EXPECT_TRUE(round != 0 || last < greedy);
    const std::vector<Set> cliques = clique_sets(domain.get());
    tv_domain_set_concurrency_level(domain.get(), 4);
    triangulate(domain.get(), tv_method_best_greedy, 4);
    EXPECT_EQ(clique_sets(domain.get()), cliques);
  }
}

// Greedy methods cut a long grid in pieces, whose borders are then twice as wide. The search begins with a
// sweep from one end to the other, whose cliques hold a column and one node more.
TEST(TriangulationSearch, LongGridsAreSwept) {
  const size_t height = 8, width = 120;
  const DomainOwner domain = grid(height, width);
  const double by_columns = static_cast<double>(height * (width - 1)) * std::exp2(height + 1);
  triangulate(domain.get(), tv_method_best_greedy);
  EXPECT_GT(cost_of(domain.get()), 1.5 * by_columns);
  triangulate(domain.get(), tv_method_best_greedy, TV_EFFORT_AUTO);
  EXPECT_LE(cost_of(domain.get()), by_columns);
}

TEST(TriangulationSearch, IsLeftOutWhereAPropagationIsFaster) {
  const DomainOwner domain = grid(4, 40);
  int calls = 0;
  tv_domain_set_progress_handler(
      domain.get(),
      [](const char* task, double, void* data) {
        return *static_cast<int*>(data) += std::string(task) != "triangulation", 0;
      },
      &calls);
  triangulate(domain.get(), tv_method_best_greedy, TV_EFFORT_AUTO);
  EXPECT_EQ(calls, 0);
  triangulate(domain.get(), tv_method_best_greedy, 10);
  EXPECT_GT(calls, 0);
}

int stop_the_search(const char* task, double, void*) { return std::string(task) == "triangulation search"; }

TEST(TriangulationSearch, EndsWhenTheHostAsksAndKeepsWhatItHas) {
  const DomainOwner domain = grid(7, 40);
  triangulate(domain.get(), tv_method_best_greedy);
  const double greedy = cost_of(domain.get());
  tv_domain_set_progress_handler(domain.get(), stop_the_search, nullptr);
  for (const tv_triangulation_method_t method : {tv_method_best_greedy, tv_method_total_weight}) {
    triangulate(domain.get(), method, static_cast<size_t>(-3));
    expect_right_forest(domain.get());
    EXPECT_LE(cost_of(domain.get()), greedy);
  }
  triangulate(domain.get(), tv_method_total_weight);
  EXPECT_EQ(cost_of(domain.get()), greedy);
  tv_domain_uncompile(domain.get());
  tv_domain_set_progress_handler(
      domain.get(), [](const char*, double, void*) { return 1; }, nullptr);
  EXPECT_EQ(tv_domain_triangulate(domain.get(), tv_method_total_weight), tv_status_error);
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 0);
}

TEST(TotalWeight, MemoryEndsTheSearchOfAComponent) {
  const DomainOwner domain = grid(6, 12);
  for (const size_t limit : {1, 10000, 1000000}) {
    tv_domain_set_memory_limit(domain.get(), limit);
    triangulate(domain.get(), tv_method_total_weight);
    expect_right_forest(domain.get());
    EXPECT_LT(sum_components(domain.get()).bound, cost_of(domain.get()));
  }
}

// A propagation of tables that no machine holds would take for ever.
TEST(TriangulationSearch, HasAnEndWhateverThePropagationTakes) {
  std::mt19937 random(8);
  const DomainOwner domain = random_network(random, {150, 0.05, 0.0});
  const size_t usual = std::exchange(tv::limits.automatic_effort, 2);
  int calls = 0;
  tv_domain_set_progress_handler(
      domain.get(),
      [](const char*, double, void* data) { return static_cast<int>(++*static_cast<int*>(data) > 999); },
      &calls);
  triangulate(domain.get(), tv_method_best_greedy, TV_EFFORT_AUTO);
  EXPECT_GT(cost_of(domain.get()), 1e10);
  EXPECT_LT(calls, 999);
  tv::limits.automatic_effort = usual;
}

// What a region has taken is given back before the next one.
TEST(TriangulationSearch, NeedsMemoryForOneRegionAtATime) {
  const DomainOwner domain = grid(7, 20);
  triangulate(domain.get(), tv_method_best_greedy, 20);
  const double cost = cost_of(domain.get());
  tv_domain_set_memory_limit(domain.get(), 1 << 20);
  triangulate(domain.get(), tv_method_best_greedy, 20);
  EXPECT_EQ(cost_of(domain.get()), cost);
}

TEST(PrimeComponents, AreReportedInTheOrderOfTheLog) {
  DomainOwner domain(tv_new_domain());
  tv_node_t* a = add_node(domain.get(), "a", 2);
  tv_node_t* b = add_node(domain.get(), "b", 3, {a});
  tv_node_t* c = add_node(domain.get(), "c", 2, {b});
  add_node(domain.get(), "d", 5, {c});
  EXPECT_EQ(tv_domain_get_number_of_prime_components(domain.get()), static_cast<size_t>(-1));
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  triangulate(domain.get(), tv_method_best_greedy);
  ASSERT_EQ(tv_domain_get_number_of_prime_components(domain.get()), 3u);
  const std::vector<double> costs{10, 6, 6};  // newest nodes first
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(tv_domain_get_prime_component_cost(domain.get(), i), costs[i]);
    EXPECT_EQ(tv_domain_get_prime_component_bound(domain.get(), i), costs[i]);
  }
  EXPECT_EQ(set_of({a, b, c}, tv_domain_get_prime_component(domain.get(), 2)), Set({0, 1}));
  EXPECT_EQ(tv_domain_get_prime_component(domain.get(), 3), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_domain_get_prime_component_cost(domain.get(), 3), -1.0);
  EXPECT_EQ(tv_domain_get_prime_component_bound(nullptr, 0), -1.0);
}

}  // namespace
