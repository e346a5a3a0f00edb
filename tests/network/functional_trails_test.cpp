// What may depend on function nodes: no evaluation that waits for itself, and in decision models
// nothing that is optimised behind a computed value.
#include "network/links/links.h"
#include "network_world.h"

namespace {

TEST(FunctionalTrails, AValueMayNotFeedItsOwnRegion) {
  World world;
  tv_node_t* x = world.chance();
  tv_node_t* y = world.chance();
  tv_node_t* z = world.chance();
  tv_node_t* f = world.function();
  EXPECT_EQ(tv_node_add_parent(f, x), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(y, f), tv_status_none);  // x decides y through f: two regions, in this order
  EXPECT_EQ(tv_node_add_parent(z, y), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(z, x), tv_status_cyclic_functional_dependency);  // would join the regions
  EXPECT_EQ(tv_node_add_parent(y, x), tv_status_cyclic_functional_dependency);
  EXPECT_TRUE(listed(tv_node_get_parents(x)).empty());
  EXPECT_EQ(tv_node_add_parent(x, f), tv_status_cyclic_network);
  EXPECT_EQ(tv_node_remove_parent(f, x), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(z, x), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(f, z), tv_status_cyclic_network);
  EXPECT_EQ(tv_node_add_parent(f, x), tv_status_cyclic_functional_dependency);  // x and y are one region now
}

TEST(FunctionalTrails, DiscreteFunctionNodesBelongToTheRegionOfTheirChildren) {
  World world;
  tv_node_t* x = world.chance();
  tv_node_t* y = world.chance();
  tv_node_t* d = world.discrete_function();
  EXPECT_EQ(tv_node_add_parent(d, x), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(y, d), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(y, x), tv_status_cyclic_functional_dependency);

  World reverse;  // the same with the link out of the function node last
  x = reverse.chance();
  y = reverse.chance();
  d = reverse.discrete_function();
  EXPECT_EQ(tv_node_add_parent(y, x), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(d, x), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(y, d), tv_status_cyclic_functional_dependency);
}

TEST(FunctionalTrails, ResultsAndConstantsAreAlwaysAllowed) {
  World world;
  tv_node_t* x = world.chance();
  tv_node_t* y = world.chance();
  tv_node_t* u = world.utility();
  tv_node_t* constant = world.function();
  tv_node_t* derived = world.function();
  tv_node_t* sum = world.function();
  tv_node_t* result = world.discrete_function();
  EXPECT_EQ(tv_node_add_parent(derived, constant), tv_status_none);
  for (tv_node_t* child : {x, y, u}) EXPECT_EQ(tv_node_add_parent(child, derived), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(y, x), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(u, y), tv_status_none);
  for (tv_node_t* parent : {x, y, u, constant}) EXPECT_EQ(tv_node_add_parent(sum, parent), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(result, sum), tv_status_none);
  EXPECT_TRUE(tv::_tv_function_nodes_satisfy_limid_constraints(*world.domain));
}

TEST(FunctionalTrails, DecisionModelsRefuseComputedDependencies) {
  for (const int order : {0, 1}) {
    World world;
    tv_node_t* x = world.chance();
    tv_node_t* f = world.function();
    tv_node_t* g = world.function();
    tv_node_t* u = world.utility();
    world.decision();
    EXPECT_EQ(tv_node_add_parent(g, f), tv_status_none);
    if (order == 0) {
      EXPECT_EQ(tv_node_add_parent(f, x), tv_status_none);
      EXPECT_EQ(tv_node_add_parent(u, g), tv_status_functional_dependency);
    } else {
      EXPECT_EQ(tv_node_add_parent(u, g), tv_status_none);
      EXPECT_EQ(tv_node_add_parent(f, x), tv_status_functional_dependency);
    }
    EXPECT_TRUE(tv::_tv_function_nodes_satisfy_limid_constraints(*world.domain));
  }
}

TEST(FunctionalTrails, DecisionModelsTakePlainLinksOutOfDiscreteFunctions) {
  World world;
  tv_node_t* x = world.chance();
  tv_node_t* y = world.chance();
  tv_node_t* d = world.discrete_function();
  world.decision();
  EXPECT_EQ(tv_node_add_parent(y, d), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(d, x), tv_status_functional_dependency);
  EXPECT_EQ(tv_node_remove_parent(y, d), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(d, x), tv_status_none);
  EXPECT_EQ(tv_node_add_parent(y, d), tv_status_none);
  EXPECT_FALSE(tv::_tv_function_nodes_satisfy_limid_constraints(*world.domain));
}

TEST(FunctionalTrails, TheFirstDecisionChecksTheWholeDomain) {
  World world;
  tv_node_t* x = world.chance();
  tv_node_t* y = world.chance();
  tv_node_t* f = world.function();
  tv_node_add_parent(f, x);
  tv_node_add_parent(y, f);
  EXPECT_CODE(tv_status_cyclic_functional_dependency, world.utility());
  EXPECT_CODE(tv_status_cyclic_functional_dependency, world.node(tv_category_decision, tv_kind_discrete));
  EXPECT_CODE(tv_status_cyclic_functional_dependency, tv_node_set_category(x, tv_category_decision));
  EXPECT_EQ(tv_domain_get_number_of_nodes(world), 3u);
  tv_node_delete(x);
  EXPECT_CODE(tv_status_none, world.utility());
}

TEST(FunctionalTrails, SwitchingLooksAtTheGraphWithoutTheOldLink) {
  World world;
  tv_node_t* c = world.chance();
  tv_node_t* p = world.chance();
  tv_node_t* q = world.chance();
  tv_node_t* f = world.function();
  tv_node_add_parent(c, p);
  tv_node_add_parent(f, p);
  tv_node_add_parent(q, f);
  EXPECT_EQ(tv_node_add_parent(c, q), tv_status_cyclic_functional_dependency);
  EXPECT_EQ(tv_node_switch_parent(c, p, q),
            tv_status_none);  // once the link from p is gone, q may take its place
}

}  // namespace
