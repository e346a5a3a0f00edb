// Which changes of evidence can be multiplied into the tables and which need a reset. A host sees the
// difference in the conflict: a propagation that starts from reset tables reports 1, another one compares
// the new findings with what was propagated before.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>

#include "support/builders.h"
#include "support/oracle.h"

namespace test {
namespace {

struct Change {
  const char* name;
  std::vector<float> before, after;  // findings; empty is none
  bool reset;
};

const Change kChanges[] = {
    {"first finding", {}, {0, 1, 0}, false},
    {"first likelihood", {}, {0.5f, 1, 0}, false},
    {"state retracted", {0, 1, 0}, {}, true},
    {"state to another", {0, 1, 0}, {0, 0, 1}, true},
    {"state to likelihood", {0, 1, 0}, {0.2f, 1, 0.5f}, true},
    {"the same state", {0, 1, 0}, {0, 1, 0}, false},
    {"positive likelihood retracted", {0.2f, 1, 0.5f}, {}, false},
    {"likelihood with a zero retracted", {0, 1, 0.5f}, {}, true},
    {"likelihood below the normal floats retracted", {1e-40f, 1, 0.5f}, {}, true},
    {"positive likelihood to another", {0.2f, 1, 0.5f}, {0, 2, 1}, false},
    {"likelihood beyond any factor", {1e-30f, 1, 0.5f}, {1e10f, 1, 0.5f}, true},
    {"zero becomes possible", {0, 1, 0.5f}, {0.1f, 1, 0.5f}, true},
    {"zero stays", {0, 1, 0.5f}, {0, 0.5f, 2}, false},
    {"likelihood to a possible state", {0, 1, 0.5f}, {0, 0, 1}, false},
    {"likelihood to an impossible state", {0, 1, 0.5f}, {1, 0, 0}, true},
};

// The sum of the smallest clique table of a tree that holds a node.
double sum_of_clique_table_with(tv_junction_tree_t* jt, tv_node_t* node) {
  double smallest = 0;
  size_t least = SIZE_MAX;
  for (tv_clique_t** clique = tv_jt_get_cliques(jt); *clique; ++clique) {
    tv_node_t** members = tv_clique_get_members(*clique);
    tv_table_t* table = tv_clique_get_probability_table(*clique);
    const size_t size = tv_table_get_size(table);
    if (std::count(members, members + tv_clique_get_number_of_members(*clique), node) == 0 || size >= least)
      continue;
    least = size;
    const float* data = tv_table_get_data(table);
    smallest = std::accumulate(data, data + size, 0.0);
  }
  return smallest;
}

class ResetRules : public testing::Test {
 protected:
  void SetUp() override {
    domain = new_domain();
    cause = add_node(domain.get(), "cause", 3, {}, {0.2f, 0.3f, 0.5f});
    effect = add_node(domain.get(), "effect", 2, {cause}, {0.9f, 0.1f, 0.4f, 0.6f, 0.2f, 0.8f});
    late = add_node(domain.get(), "late", 2, {effect}, {0.7f, 0.3f, 0.1f, 0.9f});
    single = add_node(domain.get(), "single", 1, {late}, {1, 1});
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  }
  void enter(tv_node_t* node, const std::vector<float>& findings) {
    tv_node_retract_findings(node);
    enter_findings(node, findings);
  }
  void propagate(tv_equilibrium_t equilibrium = tv_equilibrium_sum,
                 tv_evidence_mode_t mode = tv_evidence_normal) {
    ASSERT_EQ(tv_domain_propagate(domain.get(), equilibrium, mode), tv_status_none);
    EXPECT_EQ(wrong_answer(domain.get(), equilibrium, mode, mode == tv_evidence_normal), "");
  }
  bool was_reset() { return tv_domain_get_conflict(domain.get()) == 1.0; }

  DomainOwner domain;
  tv_node_t *cause, *effect, *late, *single;
};

TEST_F(ResetRules, EachChangeOfEvidence) {
  for (const Change& change : kChanges) {
    SCOPED_TRACE(change.name);
    ASSERT_EQ(tv_domain_initialize(domain.get()), tv_status_none);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    enter(cause, change.before);
    propagate();
    enter(cause, change.after);
    tv_node_select_state(effect, 1);  // so that conflict has something to compare
    enter(late, {0.25f, 0.5f});
    propagate();
    EXPECT_EQ(was_reset(), change.reset);
  }
}

TEST_F(ResetRules, OneStateNodesNeverNeedOne) {
  tv_node_select_state(single, 0);
  propagate();
  tv_node_retract_findings(single);
  EXPECT_EQ(tv_node_evidence_to_propagate(single), 0);
  tv_node_select_state(effect, 1);
  tv_node_select_state(late, 0);
  propagate();
  EXPECT_FALSE(was_reset());
}

TEST_F(ResetRules, TablesAndModes) {
  tv_node_select_state(effect, 1);
  tv_node_select_state(late, 0);
  propagate();
  EXPECT_FALSE(was_reset());
  // Nothing new: nothing is done, and the last conflict stays.
  const double conflict = tv_domain_get_conflict(domain.get());
  propagate();
  EXPECT_EQ(tv_domain_get_conflict(domain.get()), conflict);
  set_table(cause, {0.5f, 0.25f, 0.25f});
  EXPECT_EQ(tv_domain_equilibrium_is(domain.get(), tv_equilibrium_sum), 1) << "touching keeps the state";
  EXPECT_EQ(tv_domain_tables_to_propagate(domain.get()), 1);
  propagate();
  EXPECT_EQ(tv_domain_tables_to_propagate(domain.get()), 0);
  EXPECT_TRUE(was_reset());

  propagate(tv_equilibrium_max);  // neither way needs a reset
  EXPECT_EQ(tv_domain_get_conflict(domain.get()), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  propagate(tv_equilibrium_sum);
  EXPECT_EQ(tv_domain_evidence_mode_is(domain.get(), tv_evidence_normal), 1);
  propagate(tv_equilibrium_sum, tv_evidence_fast_retraction);
  EXPECT_EQ(tv_domain_evidence_mode_is(domain.get(), tv_evidence_normal), 0);
  tv_node_retract_findings(effect);
  tv_node_select_state(cause, 2);
  propagate(tv_equilibrium_sum, tv_evidence_fast_retraction);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  EXPECT_EQ(wrong_answer(domain.get(), tv_equilibrium_sum, tv_evidence_normal, false), "");
}

TEST_F(ResetRules, ResetForgetsWhatWasPropagatedAndKeepsWhatWasEntered) {
  tv_node_select_state(effect, 1);
  enter(late, {0.25f, 0.5f});
  propagate();
  EXPECT_EQ(tv_node_get_propagated_state(effect), 1);
  EXPECT_EQ(tv_domain_likelihood_is_propagated(domain.get()), 1);
  ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_equilibrium_is(domain.get(), tv_equilibrium_none), 1);
  EXPECT_EQ(tv_node_get_belief(cause, 0), -1.0f);
  EXPECT_EQ(tv_error_code(), tv_status_no_equilibrium);
  EXPECT_EQ(tv_node_get_selected_state(effect), 1);
  propagate();
  EXPECT_TRUE(was_reset());
  // With a copy of the tables a reset ends in equilibrium, and conflict has a prior to compare with.
  ASSERT_EQ(tv_domain_save_to_memory(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_initialize(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_equilibrium_is(domain.get(), tv_equilibrium_sum), 1);
  EXPECT_EQ(wrong_answer(domain.get(), tv_equilibrium_sum, tv_evidence_normal), "");
}

TEST_F(ResetRules, RequiredStatesArePartOfTheTables) {
  tv_node_t* required[] = {cause, nullptr};
  ASSERT_EQ(tv_domain_set_ijt_nodes(domain.get(), required), tv_status_none);
  if (!tv_domain_is_compiled(domain.get())) {
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  }
  tv_node_select_state(late, 1);
  for (size_t state : {2, 0, 1}) {
    tv_node_select_state(cause, state);
    EXPECT_EQ(tv_domain_evidence_to_propagate(domain.get()), 1);
    propagate();
    EXPECT_TRUE(was_reset());
  }
  // The host finds them in the clique tables before the first propagation after a reset, too.
  tv_node_select_state(cause, 2);
  ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
  EXPECT_NEAR(sum_of_clique_table_with(tv_node_get_junction_tree(cause), cause), 0.5, 1e-6);
  for (const std::vector<float>& none : std::vector<std::vector<float>>{{}, {0.5f, 1, 1}}) {
    enter(cause, none);
    EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal),
              tv_status_invalid_evidence);
    EXPECT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_invalid_evidence);
    EXPECT_EQ(tv_node_get_selected_state(late), 1);
  }
  tv_node_select_state(cause, 0);
  propagate();
}

// However little probability the required states have together; only where they have none a reset that brings
// the tables to an equilibrium fails.
TEST(RequiredStates, MayBeImprobable) {
  for (const bool possible : {true, false}) {
    const DomainOwner domain = new_domain();
    tv_node_t* cause = add_node(domain.get(), "cause", 2, {}, {0.25f, 0.75f});
    std::vector<tv_node_t*> required;
    for (int i = 0; i < 12; ++i)
      required.push_back(add_node(domain.get(), nullptr, 2, {cause}, {1e-5f, 1, 2e-5f, 1}));
    if (!possible) set_table(required.back(), {0, 1, 0, 1});
    for (tv_node_t* node : required) tv_node_select_state(node, 1);
    std::vector<tv_node_t*> list = required;
    list.push_back(nullptr);
    ASSERT_EQ(tv_domain_set_ijt_nodes(domain.get(), list.data()), tv_status_none);
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    ASSERT_EQ(tv_domain_save_to_memory(domain.get()), tv_status_none);
    for (tv_node_t* node : required) tv_node_select_state(node, 0);
    const tv_status_t expected = possible ? tv_status_none : tv_status_inconsistency_or_underflow;
    EXPECT_EQ(tv_domain_reset_inference_engine(domain.get()), expected);
    EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), expected);
    if (!possible) continue;
    EXPECT_NEAR(tv_node_get_belief(cause, 0), 1 / (1 + 3 * 4096.0), 1e-6);
    EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_fast_retraction), expected);
    EXPECT_EQ(tv_node_get_belief(required[0], 0), 1) << "it is part of the tables";
    tv_node_select_state(cause, 1);
    for (int round = 0; round < 2; ++round) {
      ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
      EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain.get()),
                  std::log(0.75) + 12 * std::log(2e-5 / 1.00002), 1e-5);
      ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
    }
  }
}

// A kept copy holds for one list of required nodes and one choice of their states, also of nodes that have
// no table of their own.
TEST_F(ResetRules, CopiesFollowTheRequiredStates) {
  tv_node_t* bare = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
  ASSERT_EQ(tv_node_set_number_of_states(bare, 3), tv_status_none);
  tv_node_t* child = add_node(domain.get(), "child", 2, {bare}, {0.9f, 0.1f, 0.4f, 0.6f, 0.2f, 0.8f});
  ASSERT_EQ(tv_node_add_parent(bare, late), tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_save_to_memory(domain.get()), tv_status_none);
  tv_node_t* both[] = {bare, cause, nullptr};
  tv_node_t* one[] = {cause, nullptr};
  Generator random(31);
  for (tv_node_t** list : {both, one, static_cast<tv_node_t**>(nullptr), one, both}) {
    ASSERT_EQ(tv_domain_set_ijt_nodes(domain.get(), list), tv_status_none);
    for (int round = 0; round < 6; ++round) {
      for (tv_node_t* node : {bare, cause}) tv_node_select_state(node, random.below(3));
      if (random.chance(0.5))
        tv_node_retract_findings(child);
      else
        tv_node_select_state(child, random.below(2));
      if (!list && random.chance(0.5)) {
        ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
      }
      propagate();
      EXPECT_EQ(tv_domain_evidence_is_propagated(domain.get()), 1);
    }
  }
}

TEST_F(ResetRules, FailuresInOneTreeLeaveTheOthersUsable) {
  tv_node_t* alone = add_node(domain.get(), "alone", 2, {}, {0.25f, 0.75f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_save_to_memory(domain.get()), tv_status_none);
  // After a failed propagation copies of the initial tables answer, without evidence.
  tv_node_select_state(late, 1);
  enter(alone, {0, 0});
  EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal),
            tv_status_inconsistency_or_underflow);
  EXPECT_EQ(tv_domain_evidence_is_propagated(domain.get()), 0);
  EXPECT_FLOAT_EQ(tv_node_get_belief(alone, 1), 0.75f);
  EXPECT_EQ(tv_node_get_selected_state(late), 1);
  // A reset reaches all trees, whichever of them fails.
  tv_node_retract_findings(alone);
  for (const auto& [bad, good] : {std::pair{alone, cause}, std::pair{cause, alone}}) {
    propagate();
    tv_node_t* observed = good == cause ? late : alone;
    tv_node_select_state(observed, 1);
    propagate();
    set_table(bad, std::vector<float>(tv_node_get_number_of_states(bad), 0));
    EXPECT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_invalid_probability_potential);
    EXPECT_EQ(tv_jt_evidence_is_propagated(tv_node_get_junction_tree(good)), 0);
    EXPECT_EQ(tv_jt_equilibrium_is(tv_node_get_junction_tree(bad), tv_equilibrium_none), 1);
    set_table(bad, std::vector<float>(tv_node_get_number_of_states(bad), 1));
  }
  propagate();
}

TEST_F(ResetRules, InvalidTablesAreRefusedAndRepaired) {
  for (const std::vector<float>& data :
       std::vector<std::vector<float>>{{0, 0, 0},
                                       {-0.1f, 0.6f, 0.5f},
                                       {1, std::numeric_limits<float>::quiet_NaN(), 1},
                                       {3.4e38f, 3.4e38f, 0}}) {
    set_table(cause, data);
    EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal),
              tv_status_invalid_probability_potential);
    EXPECT_NE(tv_domain_equilibrium_is(domain.get(), tv_equilibrium_sum), 1);
  }
  set_table(cause, {2, 3, 5});
  propagate();
  EXPECT_FLOAT_EQ(tv_table_get_data(tv_node_get_table(cause))[2], 0.5f) << "shown normalised after use";
}

// Asks to stop when it is called for the n-th time.
struct Stop {
  int calls_left;
  static int ask(const char*, double, void* data) { return static_cast<Stop*>(data)->calls_left-- == 0; }
};

// Wherever the host stops a propagation, the whole domain is as before any: no tree answers with evidence
// that others lack.
TEST(Stops, TakeAllTreesBack) {
  size_t stops = 0;
  for (uint64_t seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain =
        random_network(random, Values::positive, {.max_joint = 300, .link_chance = 0.2});
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    for (int n = 0, stopped = 1; stopped; ++n) {
      for (tv_node_t* node : nodes_of(domain.get()))
        if (random.chance(0.5)) change_evidence(random, node, Findings::positive);
      if (random.chance(0.1)) tv_domain_save_to_memory(domain.get());
      const auto mode = random.chance(0.5) ? tv_evidence_normal : tv_evidence_fast_retraction;
      const Oracle::Evidence entered = Oracle(domain.get()).entered();
      Stop stop = {n};
      tv_domain_set_progress_handler(domain.get(), Stop::ask, &stop);
      const tv_status_t status = tv_domain_propagate(domain.get(), tv_equilibrium_sum, mode);
      tv_domain_set_progress_handler(domain.get(), nullptr, nullptr);
      stopped = status != tv_status_none;
      if (!stopped) break;
      ++stops;
      EXPECT_EQ(status, tv_status_error);
      EXPECT_EQ(tv_domain_evidence_is_propagated(domain.get()), 0);
      EXPECT_EQ(Oracle(domain.get()).entered(), entered);
      if (random.chance(0.3)) continue;
      ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, mode), tv_status_none);
      EXPECT_EQ(wrong_answer(domain.get(), tv_equilibrium_sum, mode, mode == tv_evidence_normal), "");
    }
  }
  EXPECT_GT(stops, 300u);
}

TEST(Sizes, ATableBeyondTheAddressSpaceStopsCompilation) {
  const DomainOwner domain = new_domain();
  tv_node_t* child = add_node(domain.get(), "child", 2);
  for (int i = 0; i < 70; ++i)
    ASSERT_EQ(tv_node_add_parent(child, add_node(domain.get(), nullptr, 2)), tv_status_none);
  const tv_status_t status = tv_domain_compile(domain.get());
  EXPECT_TRUE(status == tv_status_size_too_large || status == tv_status_no_memory) << tv_error_name(status);
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 0);
}

}  // namespace
}  // namespace test
