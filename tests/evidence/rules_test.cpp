// The rules that evidence must obey: free will of decisions, and required instantiations.
#include <gtest/gtest.h>

#include "inference/engine.h"
#include "inference/evidence/evidence.h"
#include "support/builders.h"

namespace {

using test::Generator;

tv_node_t* add_discrete(tv_domain_t* domain, tv_node_category_t category, size_t states) {
  tv_node_t* node = tv_domain_new_node(domain, category, tv_kind_discrete);
  EXPECT_EQ(tv_node_set_number_of_states(node, states), tv_status_none);
  return node;
}

// The state of a domain that is not compiled.
struct EnteredState : tv::InferenceState {
  explicit EnteredState(const test::DomainOwner& owner) {
    domain = owner.get();
    nodes.resize(owner->node_count);
    for (tv_node_t* node : test::nodes_of(owner.get())) (*this)[*node].entered = &node->entered;
  }
};

// All nodes in one tree, as if compiled.
bool evidence_is_valid(const test::DomainOwner& domain) {
  tv::JunctionTree tree;
  tree.domain = domain.get();
  tree.nodes = test::nodes_of(domain.get());
  EnteredState state(domain);
  tv::TreeEngine engine;
  engine.tree = &tree;
  engine.nodes = state.nodes.data();
  const bool valid = tv::_tv_jt_evidence_is_valid(engine);
  return valid;
}

bool observed_below(const tv_node_t* node) {
  for (const tv_node_t* child : node->children)
    if (child->category == tv_category_chance &&
        (tv_node_evidence_is_entered(child) || observed_below(child)))
      return true;
  return false;
}

bool follows_free_will(const test::DomainOwner& domain) {
  for (tv_node_t* node : test::nodes_of(domain.get())) {
    if (tv_node_get_category(node) != tv_category_decision) continue;
    if (tv_node_get_selected_state(node) == -2) return false;
    const bool decided = tv_node_evidence_is_entered(node) || tv_node_get_number_of_states(node) == 1;
    if (!decided && observed_below(node)) return false;
  }
  return true;
}

TEST(FreeWill, AgreesWithItsDefinitionOnRandomNetworks) {
  Generator random(3);
  int broken = 0;
  constexpr int rounds = 400;
  for (int round = 0; round < rounds; ++round) {
    const test::DomainOwner domain = test::new_domain();
    std::vector<tv_node_t*> nodes;
    for (int i = 0; i < 8; ++i) {
      const bool decision = random.chance(0.3), function = !decision && random.chance(0.15);
      const tv_node_category_t category = decision   ? tv_category_decision
                                          : function ? tv_category_function
                                                     : tv_category_chance;
      nodes.push_back(add_discrete(domain.get(), category, 1 + random.below(3)));
    }
    for (size_t i = 0; i < nodes.size(); ++i)
      for (size_t j = 0; j < i; ++j)
        if (random.chance(0.25)) tv_node_add_parent(nodes[i], nodes[j]);  // some are refused
    for (tv_node_t* node : nodes)
      if (random.chance(0.25)) test::change_evidence(random, node, test::Findings::any);
    const bool expected = follows_free_will(domain);
    broken += !expected;
    ASSERT_EQ(evidence_is_valid(domain), expected) << "round " << round;
  }
  EXPECT_GT(broken, rounds / 10);
  EXPECT_LT(broken, rounds * 9 / 10);
}

TEST(FreeWill, OnlyObservationsBelowAnOpenDecisionBreakIt) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* decision = add_discrete(domain.get(), tv_category_decision, 2);
  tv_node_t* before = add_discrete(domain.get(), tv_category_chance, 2);
  tv_node_t* between = add_discrete(domain.get(), tv_category_chance, 2);
  tv_node_t* after = add_discrete(domain.get(), tv_category_chance, 2);
  ASSERT_EQ(tv_node_add_parent(decision, before), tv_status_none);
  ASSERT_EQ(tv_node_add_parent(between, decision), tv_status_none);
  ASSERT_EQ(tv_node_add_parent(after, between), tv_status_none);

  tv_node_select_state(before, 0);
  EXPECT_TRUE(evidence_is_valid(domain));
  tv_node_enter_finding(after, 0, 0.5f);
  EXPECT_FALSE(evidence_is_valid(domain));
  tv_node_select_state(decision, 1);
  EXPECT_TRUE(evidence_is_valid(domain));
  tv_node_enter_finding(decision, 0, 0.5f);
  EXPECT_FALSE(evidence_is_valid(domain)) << "a likelihood on a decision";
}

TEST(FreeWill, AndRequiredStatesHoldForCompilationToo) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* decision = add_discrete(domain.get(), tv_category_decision, 2);
  tv_node_t* effect = test::add_node(domain.get(), "effect", 2, {decision}, {0.9f, 0.1f, 0.2f, 0.8f});
  tv_node_select_state(effect, 1);
  EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_invalid_evidence);
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 0);
  tv_node_t* required[] = {decision, nullptr};
  ASSERT_EQ(tv_domain_set_ijt_nodes(domain.get(), required), tv_status_none);
  tv_node_retract_findings(effect);
  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_fill_in_size), tv_status_none);
  EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_invalid_evidence);
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 1);
  EXPECT_EQ(tv_domain_is_compiled(domain.get()), 0);
  EXPECT_EQ(tv_node_get_selected_state(effect), -1);
  tv_node_select_state(decision, 1);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_NEAR(tv_node_get_belief(effect, 1), 0.8, 1e-6);
}

TEST(RequiredInstantiations, NeedSelectedStates) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* a = test::add_node(domain.get(), "A", 2);
  tv_node_t* b = test::add_node(domain.get(), "B", 2);
  EXPECT_TRUE(tv::_tv_domain_ijt_nodes_are_instantiated(EnteredState(domain)));
  domain->required_instantiations = {a, b};
  tv_node_select_state(a, 0);
  EXPECT_FALSE(tv::_tv_domain_ijt_nodes_are_instantiated(EnteredState(domain)));
  tv_node_enter_finding(b, 0, 0.5f);
  EXPECT_FALSE(tv::_tv_domain_ijt_nodes_are_instantiated(EnteredState(domain)));
  tv_node_select_state(b, 0);
  EXPECT_TRUE(tv::_tv_domain_ijt_nodes_are_instantiated(EnteredState(domain)));
}

}  // namespace
