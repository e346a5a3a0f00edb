// Memory that runs out while several trees are reset or propagated: all of them are taken back, whichever of
// them met the fault.

#include <gtest/gtest.h>

#include "faults/injection.h"
#include "support/builders.h"
#include "support/cg_builders.h"

namespace test {
namespace {

// Three trees, one of them with a continuous node, whose initial tables are kept, with evidence in all.
struct Trees {
  DomainOwner domain = new_domain();
  tv_node_t* observed[3];

  Trees() {
    for (size_t tree = 0; tree < 3; ++tree) {
      tv_node_t* cause = add_node(domain.get(), nullptr, 2, {}, {0.25f, 0.75f});
      observed[tree] = add_node(domain.get(), nullptr, 2, {cause}, {0.1f, 0.9f, 0.6f, 0.4f});
      if (tree == 1) add_continuous(domain.get(), nullptr, 0, 1, {}, {observed[tree]});
    }
    EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    EXPECT_EQ(tv_domain_save_to_memory(domain.get()), tv_status_none);
  }

  void propagate() {
    for (tv_node_t* node : observed) tv_node_select_state(node, 1);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  }
  void touch() {
    for (tv_node_t* node : observed) tv_node_touch_table(node);
  }
};

// Lets each allocation fail in turn.
template <class Call>
void expect_all_trees_taken_back(Call call) {
  bool struck = true;
  for (long n = 0; struck; ++n) {
    SCOPED_TRACE(n);
    Trees trees;
    trees.propagate();
    trees.touch();
    arm(Fault::allocation, n, false);
    const tv_status_t status = call(trees.domain.get());
    disarm();
    struck = fault_struck();
    if (status == tv_status_none) continue;
    EXPECT_EQ(status, tv_status_no_memory);
    EXPECT_EQ(tv_domain_evidence_is_propagated(trees.domain.get()), 0);
    trees.propagate();
    EXPECT_NEAR(tv_domain_get_normalization_constant(trees.domain.get()), 0.525 * 0.525 * 0.525, 1e-6);
  }
}

TEST(ResetFaults, AResetReachesAllTrees) { expect_all_trees_taken_back(tv_domain_reset_inference_engine); }

TEST(ResetFaults, AFailedPropagationTakesAllTreesBack) {
  expect_all_trees_taken_back([](tv_domain_t* domain) {
    return tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal);
  });
}

}  // namespace
}  // namespace test
