// Cases in small trees, all served by one schedule: right answers, whatever is observed, and whatever
// follows.

#include <gtest/gtest.h>

#include <bit>

#include "inference/engine.h"
#include "support/builders.h"
#include "support/oracle.h"
#include "support/other_ways.h"

namespace test {
namespace {

// A case from the potentials, then changes from its equilibrium, each against enumeration.
void expect_cases_right(uint64_t seed) {
  SCOPED_TRACE(seed);
  Generator random(seed);
  const DomainOwner domain =
      random_network(random, seed % 2 ? Values::positive : Values::zeros, {.max_nodes = 9, .max_states = 3});
  const Oracle oracle(domain.get());
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  for (size_t step = 0; step < 10; ++step) {
    if (step % 3 == 0) {
      tv_domain_retract_findings(domain.get());
      tv_domain_reset_inference_engine(domain.get());
    }
    for (size_t i = random.below(4); i-- > 0;)
      change_evidence(random, random.pick(oracle.nodes()), Findings::any);
    const tv_equilibrium_t equilibrium = random.chance(0.7) ? tv_equilibrium_sum : tv_equilibrium_max;
    const tv_status_t status = tv_domain_propagate(domain.get(), equilibrium, tv_evidence_normal);
    if (oracle.constant(oracle.entered(), equilibrium) == 0) {
      ASSERT_EQ(status, tv_status_inconsistency_or_underflow);
      continue;
    }
    ASSERT_EQ(status, tv_status_none);
    ASSERT_EQ(wrong_answer(domain.get(), equilibrium, tv_evidence_normal), "") << "step " << step;
  }
}

TEST(FindingVectors, ServeEveryEvidence) {
  for (uint64_t seed = 0; seed < 80; ++seed) expect_cases_right(seed);
}

// A common cause of two nodes that meet in a third: the clique of the three is lazy.
TEST(FindingVectors, LeaveLazyCliquesToOthers) {
  const KeptLimits usual;
  tv::limits.lazy_clique = 8;
  Generator random(2);
  const DomainOwner domain = new_domain();
  tv_node_t* const cause = add_node(domain.get(), "cause", 10);
  tv_node_t* const left = add_node(domain.get(), "left", 10, {cause});
  tv_node_t* const right = add_node(domain.get(), "right", 10, {cause});
  tv_node_t* const both = add_node(domain.get(), "both", 2, {left, right});
  for (tv_node_t* node : nodes_of(domain.get())) set_random_table(random, node, Values::positive);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_TRUE(domain->forest->trees.first()->engine->has_lazy);
  for (tv_node_t* node : {cause, left, right, both, cause}) {
    tv_domain_retract_findings(domain.get());
    tv_node_select_state(node, 1);
    tv_domain_reset_inference_engine(domain.get());
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    ASSERT_EQ(wrong_answer(domain.get(), tv_equilibrium_sum, tv_evidence_normal), "");
  }
}

// The first time no schedule is cached yet.
TEST(FindingVectors, GiveTheSameBitsEveryTime) {
  Generator random(3);
  const DomainOwner domain = random_network(random, Values::positive, {.max_nodes = 12, .max_states = 3});
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const auto answers = [&] {
    tv_domain_retract_findings(domain.get());
    tv_domain_reset_inference_engine(domain.get());
    tv_node_select_state(nodes[1], 0);
    enter_findings(nodes[4], std::vector<float>(tv_node_get_number_of_states(nodes[4]), 0.3f));
    tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal);
    std::vector<uint64_t> bits = {
        std::bit_cast<uint64_t>(tv_domain_get_log_normalization_constant(domain.get()))};
    for (tv_node_t* node : nodes)
      for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s)
        bits.push_back(std::bit_cast<uint32_t>(tv_node_get_belief(node, s)));
    return bits;
  };
  const std::vector<uint64_t> first = answers();
  for (int again = 0; again < 4; ++again) {
    EXPECT_EQ(answers(), first) << again;
    tv_node_t* const other = nodes[static_cast<size_t>(again)];  // a case of other nodes in between
    tv_domain_retract_findings(domain.get());
    tv_node_select_state(other, 0);
    tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal);
  }
}

}  // namespace
}  // namespace test
