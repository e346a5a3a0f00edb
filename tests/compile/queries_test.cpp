// Statuses of the calls around triangulation, and what a call leaves behind when it fails.
#include <gtest/gtest.h>

#include <cerrno>

#include "compile/junction_forest.h"
#include "graph_world.h"

namespace {

using namespace world;

TEST(CompilationQueries, NullHandlesAreUsageErrors) {
  const auto expect_usage = [](bool failed) {
    EXPECT_TRUE(failed);
    EXPECT_EQ(tv_error_code(), tv_status_usage);
    tv_domain_delete(tv_new_domain());
  };
  expect_usage(tv_domain_is_compiled(nullptr) == -1);
  expect_usage(tv_domain_is_triangulated(nullptr) == -1);
  expect_usage(tv_domain_uncompile(nullptr) == tv_status_usage);
  expect_usage(tv_domain_triangulate(nullptr, tv_method_best_greedy) == tv_status_usage);
  expect_usage(tv_domain_triangulate_with_order(nullptr, nullptr) == tv_status_usage);
  expect_usage(tv_domain_set_initial_triangulation(nullptr, nullptr) == tv_status_usage);
  expect_usage(!tv_domain_get_elimination_order(nullptr));
  expect_usage(!tv_domain_get_first_clique(nullptr));
  expect_usage(!tv_clique_get_next(nullptr));
  expect_usage(!tv_clique_get_members(nullptr));
  expect_usage(!tv_clique_get_neighbors(nullptr));
  expect_usage(tv_clique_get_number_of_neighbors(nullptr) == static_cast<size_t>(-1));
  expect_usage(tv_domain_get_number_of_cliques(nullptr) == static_cast<size_t>(-1));
  expect_usage(tv_domain_get_jt_cost(nullptr) == static_cast<size_t>(-1));
  expect_usage(tv_jt_get_total_size(nullptr) == static_cast<size_t>(-1));
  expect_usage(!tv_jt_get_cliques(nullptr));
  expect_usage(!tv_node_get_junction_tree(nullptr));
  expect_usage(!tv_node_get_moral_neighbors(nullptr));
}

class Triangulated : public testing::Test {
 protected:
  Triangulated() : domain(tv_new_domain()) {
    a = add_node(domain.get(), "a", 2);
    b = add_node(domain.get(), "b", 3, {a});
    c = add_node(domain.get(), "c", 4, {a});
    d = add_node(domain.get(), "d", 5, {b, c});
  }
  DomainOwner domain;
  tv_node_t *a, *b, *c, *d;
};

TEST_F(Triangulated, AnswersOnlyWhileThereIsAForest) {
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 0);
  EXPECT_EQ(tv_domain_get_first_junction_tree(domain.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_domain_get_elimination_order(domain.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);

  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_clique_weight), tv_status_none);
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 1);
  EXPECT_EQ(tv_domain_is_compiled(domain.get()), 0);
  EXPECT_EQ(tv_domain_get_number_of_cliques(domain.get()), 2u);
  EXPECT_EQ(tv_domain_get_jt_cost(domain.get()), 2 * 3 * 4 + 3 * 4 * 5u);
  tv_clique_t* clique = tv_domain_get_first_clique(domain.get());
  EXPECT_EQ(tv_clique_get_number_of_members(clique), 3u);
  EXPECT_EQ(tv_clique_get_number_of_neighbors(clique), 1u);
  EXPECT_EQ(tv_clique_get_neighbors(clique)[0], tv_clique_get_next(clique));
  EXPECT_EQ(tv_clique_get_neighbors(clique)[1], nullptr);
  EXPECT_EQ(tv_clique_get_utility_table(clique), nullptr);
  tv_table_t* table = tv_clique_get_probability_table(clique);
  EXPECT_EQ(tv_table_get_nodes(table), tv_clique_get_members(clique));
  EXPECT_EQ(tv_table_reorder_nodes(table, tv_table_get_nodes(table)), tv_status_usage);
  EXPECT_EQ(tv_table_delete(table), tv_status_none);
  EXPECT_EQ(tv_clique_get_probability_table(clique), table);
  EXPECT_EQ(tv_jt_get_total_size(tv_clique_get_junction_tree(clique)), 24 + 60 + 12u);
  EXPECT_EQ(tv_jt_get_total_cg_size(tv_clique_get_junction_tree(clique)), 0u);

  EXPECT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_usage);
  tv_node_t* order[] = {a, b, c, d, nullptr};
  EXPECT_EQ(tv_domain_triangulate_with_order(domain.get(), order), tv_status_usage);
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 1);
  EXPECT_EQ(tv_domain_uncompile(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 0);
}

TEST_F(Triangulated, StructuralChangesDropTheForest) {
  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_none);
  tv_node_remove_parent(d, c);
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 0);
  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_none);
  tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 0);
}

TEST_F(Triangulated, KeepsWhatTheHostHangsOnCliquesAndTrees) {
  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_none);
  tv_clique_t* clique = tv_domain_get_first_clique(domain.get());
  tv_junction_tree_t* jt = tv_domain_get_first_junction_tree(domain.get());
  int data[4];
  tv_clique_set_user_data(clique, &data[0]);
  tv_clique_set_back_pointer(clique, &data[1]);
  tv_jt_set_user_data(jt, &data[2]);
  tv_jt_set_back_pointer(jt, &data[3]);
  EXPECT_EQ(tv_clique_get_user_data(clique), &data[0]);
  EXPECT_EQ(tv_clique_get_back_pointer(clique), &data[1]);
  EXPECT_EQ(tv_jt_get_user_data(jt), &data[2]);
  EXPECT_EQ(tv_jt_get_back_pointer(jt), &data[3]);
}

TEST(CompilationQueries, MethodsAndDomainsThatCannotBeTriangulated) {
  DomainOwner domain(tv_new_domain());
  EXPECT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_usage);
  tv_domain_new_node(domain.get(), tv_category_utility, tv_kind_other);
  tv_domain_new_node(domain.get(), tv_category_function, tv_kind_other);
  EXPECT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_usage);
  tv_node_t* a = add_node(domain.get(), "a", 2);
  EXPECT_EQ(tv_domain_triangulate(domain.get(), static_cast<tv_triangulation_method_t>(14)), tv_status_usage);
  EXPECT_EQ(tv_domain_triangulate(domain.get(), static_cast<tv_triangulation_method_t>(21)), tv_status_usage);
  EXPECT_EQ(tv_domain_triangulate_with_order(domain.get(), nullptr), tv_status_usage);

  tv_domain_set_max_separator_size(domain.get(), 3);
  EXPECT_EQ(tv_domain_triangulate(domain.get(), tv_method_total_weight), tv_status_usage);
  tv_node_t* order[] = {a, nullptr};
  EXPECT_EQ(tv_domain_set_initial_triangulation(domain.get(), order), tv_status_none);
  EXPECT_EQ(tv_domain_triangulate(domain.get(), tv_method_total_weight), tv_status_none);
  tv_domain_uncompile(domain.get());
  EXPECT_EQ(tv_domain_set_initial_triangulation(domain.get(), nullptr), tv_status_none);
  EXPECT_EQ(tv_domain_triangulate(domain.get(), tv_method_total_weight), tv_status_usage);
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 0);
}

TEST(CompilationQueries, InvalidEliminationOrders) {
  DomainOwner domain(tv_new_domain());
  tv_node_t* a = add_node(domain.get(), "a", 2);
  tv_node_t* b = add_node(domain.get(), "b", 2, {a});
  tv_node_t* x = add_node(domain.get(), "x", 0, {b});
  DomainOwner other(tv_new_domain());
  tv_node_t* stranger = add_node(other.get(), "stranger", 2);
  const std::vector<std::vector<tv_node_t*>> invalid = {{a, x, b},           {x, a, a},        {x, a},
                                                        {x, a, b, stranger}, {x, a, stranger}, {}};
  for (std::vector<tv_node_t*> order : invalid) {
    order.push_back(nullptr);
    EXPECT_EQ(tv_domain_triangulate_with_order(domain.get(), order.data()), tv_status_enumeration);
    EXPECT_EQ(tv_domain_set_initial_triangulation(domain.get(), order.data()), tv_status_enumeration);
    EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 0);
  }
  tv_node_t* valid[] = {x, b, a, nullptr};
  EXPECT_EQ(tv_domain_triangulate_with_order(domain.get(), valid), tv_status_none);
}

TEST(CompilationQueries, UtilityNodesAreNoVertices) {
  DomainOwner domain(tv_new_domain());
  tv_node_t* a = add_node(domain.get(), "a", 2);
  tv_node_t* b = add_node(domain.get(), "b", 3);
  tv_node_t* d = add_node(domain.get(), "d", 2, {}, tv_category_decision);
  tv_node_t* u = add_node(domain.get(), "u", 1, {a, d}, tv_category_utility);
  tv_node_t* free_utility = add_node(domain.get(), "free", 1, {}, tv_category_utility);
  tv_node_t* order[] = {a, b, d, u, nullptr};
  EXPECT_EQ(tv_domain_triangulate_with_order(domain.get(), order), tv_status_enumeration);
  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_none);
  EXPECT_EQ(tv_node_get_junction_tree(u), tv_node_get_junction_tree(a));
  EXPECT_EQ(tv_node_get_junction_tree(free_utility), tv_node_get_junction_tree(b));  // the smallest clique
  EXPECT_EQ(tv_node_get_moral_neighbors(u), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_node_get_moral_neighbors(a)[0], d);
  tv_clique_t* clique = tv::placement(*a).home;
  ASSERT_TRUE(tv_clique_get_utility_table(clique));
  EXPECT_EQ(tv_table_get_size(tv_clique_get_utility_table(clique)), 4u);
  EXPECT_EQ(tv_jt_get_total_size(clique->tree), 8u);
}

TEST(CompilationQueries, DecisionsComeInAncestralOrder) {
  DomainOwner domain(tv_new_domain());
  tv_node_t* last = add_node(domain.get(), "last", 2, {}, tv_category_decision);
  tv_node_t* middle = add_node(domain.get(), "middle", 2, {}, tv_category_decision);
  tv_node_t* seen = add_node(domain.get(), "seen", 2, {middle});
  tv_node_add_parent(last, seen);
  tv_node_t* free_one = add_node(domain.get(), "free", 2, {}, tv_category_decision);
  EXPECT_EQ(tv::_tv_domain_create_decision_order(*domain), (tv::NodeList{middle, last, free_one}));
}

TEST(CompilationQueries, SizesThatDoNotFit) {
  DomainOwner domain(tv_new_domain());
  std::vector<tv_node_t*> nodes;
  for (int i = 0; i < 70; ++i) nodes.push_back(add_node(domain.get(), "N" + std::to_string(i), 2));
  tv_node_t* utility = add_node(domain.get(), "u", 1, {}, tv_category_utility);
  for (tv_node_t* node : nodes) ASSERT_EQ(tv_node_add_parent(utility, node), tv_status_none);
  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_none);
  EXPECT_EQ(tv_domain_get_jt_cost(domain.get()), static_cast<size_t>(-1));
  EXPECT_EQ(tv_error_code(), tv_status_size_too_large);
  EXPECT_EQ(tv_jt_get_total_size(tv_domain_get_first_junction_tree(domain.get())), static_cast<size_t>(-1));
  EXPECT_EQ(tv_error_code(), tv_status_size_too_large);
}

TEST(CompilationQueries, TheHostCanStopATriangulation) {
  std::mt19937 random(5);
  DomainOwner domain = random_network(random, {600, 0.005});
  const size_t tables = domain->table_count;
  int calls = 0;
  const auto stop_at_third = [](const char* task, double fraction, void* data) {
    EXPECT_STREQ(task, "triangulation");
    EXPECT_LE(fraction, 1.0);
    return ++*static_cast<int*>(data) == 3 ? 1 : 0;
  };
  tv_domain_set_progress_handler(domain.get(), stop_at_third, &calls);
  EXPECT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_error);
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 0);
  EXPECT_EQ(domain->table_count, tables);
  tv_domain_set_progress_handler(domain.get(), nullptr, nullptr);
  EXPECT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_none);
}

// A stream that takes `room` bytes and refuses the rest.
ssize_t write_limited(void* cookie, const char*, size_t size) {
  size_t& room = *static_cast<size_t*>(cookie);
  const size_t taken = std::min(size, room);
  room -= taken;
  if (taken < size) errno = ENOSPC;
  return static_cast<ssize_t>(taken);
}

TEST(CompilationQueries, AFullLogLeavesTheDomainUncompiled) {
  std::mt19937 random(6);
  DomainOwner domain = random_network(random, {9, 0.3});
  tv_domain_set_max_number_of_separators(domain.get(), 2);
  for (const auto& [method, buffered] :
       {std::pair{tv_method_fill_in_weight, false}, std::pair{tv_method_fill_in_weight, true},
        std::pair{tv_method_total_weight, false}}) {
    tv_status_t status = tv_status_io;
    for (size_t size = 0; status == tv_status_io && size < 20000; size += 1 + size / 40) {
      size_t room = size;
      FILE* log = fopencookie(&room, "w", {nullptr, write_limited, nullptr, nullptr});
      if (!buffered) std::setvbuf(log, nullptr, _IONBF, 0);
      tv_domain_set_log_file(domain.get(), log);
      status = tv_domain_triangulate(domain.get(), method);
      EXPECT_TRUE(status == tv_status_io || status == tv_status_none);
      EXPECT_EQ(tv_domain_is_triangulated(domain.get()), status == tv_status_none);
      tv_domain_set_log_file(domain.get(), nullptr);
      std::fclose(log);
    }
    EXPECT_EQ(status, tv_status_none);
    tv_domain_uncompile(domain.get());
  }
}

}  // namespace
