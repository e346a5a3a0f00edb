// Compressed domains: tables of possible entries alone give the answers of full ones, whatever comes before
// and after.

#include <gtest/gtest.h>

#include <cmath>

#include "inference/compress/sparse_tree.h"
#include "support/builders.h"
#include "support/oracle.h"
#include "support/sparse.h"

namespace test {
namespace {

constexpr size_t kHugeJoint = size_t{1} << 60;
// What a host sees of a propagated domain and its twin is the same.
void expect_same_results(tv_domain_t* one, tv_domain_t* other, Generator& random) {
  const std::vector<tv_node_t*> nodes = nodes_of(one), twins = nodes_of(other);
  for (size_t i = 0; i < nodes.size(); ++i) {
    for (size_t s = 0; s < tv_node_get_number_of_states(nodes[i]); ++s)
      EXPECT_TRUE(close(tv_node_get_belief(nodes[i], s), tv_node_get_belief(twins[i], s))) << i << " " << s;
    EXPECT_EQ(tv_node_evidence_to_propagate(nodes[i]), tv_node_evidence_to_propagate(twins[i]));
    EXPECT_EQ(tv_node_get_propagated_state(nodes[i]), tv_node_get_propagated_state(twins[i]));
  }
  EXPECT_NEAR(tv_domain_get_log_normalization_constant(one), tv_domain_get_log_normalization_constant(other),
              2e-5);
  const double conflict = tv_domain_get_conflict(one), twin = tv_domain_get_conflict(other);
  EXPECT_NEAR(conflict, twin, 2e-5 * std::fabs(twin));
  tv_clique_t* clique = tv_domain_get_first_clique(one);
  tv_clique_t* twin_clique = tv_domain_get_first_clique(other);
  for (; clique; clique = tv_clique_get_next(clique), twin_clique = tv_clique_get_next(twin_clique)) {
    const std::vector<float> table = numbers_of(tv_clique_get_probability_table(clique)),
                             full = numbers_of(tv_clique_get_probability_table(twin_clique));
    ASSERT_EQ(table.size(), full.size());
    for (size_t i = 0; i < table.size(); ++i) EXPECT_NEAR(table[i], full[i], 2e-6) << i;
  }
  std::vector<tv_node_t*> some, same;
  for (size_t i = 0; i < nodes.size() && some.size() < 3; ++i)
    if (random.chance(0.5)) {
      some.push_back(nodes[i]);
      same.push_back(twins[i]);
    }
  if (some.empty()) return;
  some.push_back(nullptr);
  same.push_back(nullptr);
  const TableOwner joint(tv_domain_get_marginal(one, some.data())),
      expected(tv_domain_get_marginal(other, same.data()));
  ASSERT_TRUE(joint && expected);
  const std::vector<float> found = numbers_of(joint.get()), wanted = numbers_of(expected.get());
  for (size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], wanted[i], 2e-6) << i;
}

std::vector<double> conflicts_of(tv_domain_t* domain) {
  std::vector<double> conflicts;
  for (tv_clique_t* clique = tv_domain_get_first_clique(domain); clique; clique = tv_clique_get_next(clique))
    conflicts.push_back(tv_clique_get_conflict(clique));
  return conflicts;
}

TEST(Compress, ShowsWhatAFullDomainShows) {
  const AllSparse all;
  size_t shown = 0;
  for (uint64_t seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    tv::limits.sparse_cost = seed % 4 == 0 ? 1 : 0;  // some cliques, or all
    if (seed % 4 == 0) tv::limits.finding_vectors = 0;
    Generator random(seed), choice(seed + 1000);
    const Values values = seed % 5 == 1 ? Values::extreme : Values::zeros;
    const DomainOwner full = random_network(random, values, {.max_nodes = 9, .max_joint = 4000});
    const DomainOwner sparse(tv_domain_clone(full.get()));
    const bool at_once = seed % 3 == 0;
    if (at_once) {
      ASSERT_EQ(tv_domain_set_zero_compression(sparse.get(), 1), tv_status_none);
    }
    ASSERT_EQ(tv_domain_compile(full.get()), tv_status_none);
    ASSERT_EQ(tv_domain_compile(sparse.get()), tv_status_none);
    EXPECT_EQ(tv_domain_is_compressed(sparse.get()), at_once);
    for (int step = 0; step < 12; ++step) {
      const size_t at = random.below(nodes_of(full.get()).size());
      Generator one = random, other = random;
      change_evidence(one, nodes_of(full.get())[at], Findings::any);
      change_evidence(other, nodes_of(sparse.get())[at], Findings::any);
      random = one;
      const tv_equilibrium_t equilibrium = choice.chance(0.8) ? kSum : tv_equilibrium_max;
      const tv_status_t status = tv_domain_propagate(full.get(), equilibrium, kNormal);
      ASSERT_EQ(tv_domain_propagate(sparse.get(), equilibrium, kNormal), status);
      if (status) {
        ASSERT_EQ(tv_domain_initialize(full.get()), tv_status_none);
        ASSERT_EQ(tv_domain_initialize(sparse.get()), tv_status_none);
        continue;
      }
      if (choice.chance(0.2)) {
        const std::vector<double> conflicts = conflicts_of(sparse.get());
        ASSERT_GT(tv_domain_compress(sparse.get()), 0.0);
        EXPECT_EQ(conflicts_of(sparse.get()), conflicts);
      }
      expect_same_results(sparse.get(), full.get(), choice);
      ++shown;
      if (testing::Test::HasFailure()) return;
    }
  }
  EXPECT_GT(shown, 200u);
}

TEST(Compress, StoresPossibleEntriesAlone) {
  const AllSparse all;
  const DomainOwner domain = gates(1);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  // 12 numbers of nodes and 8 of the clique, of which 4 are possible.
  EXPECT_DOUBLE_EQ(tv_domain_compress(domain.get()), 16.0 / 20.0);
  EXPECT_EQ(tv_domain_is_compressed(domain.get()), 1);
  EXPECT_EQ(tv::stored_size(*tv_domain_get_first_clique(domain.get())), 4u);
  EXPECT_DOUBLE_EQ(tv_domain_compress(domain.get()), 1.0);
  tv_table_t* table = tv_clique_get_probability_table(tv_domain_get_first_clique(domain.get()));
  ASSERT_EQ(tv_table_get_size(table), 8u);
  size_t positive = 0;
  for (const float number : numbers_of(table)) positive += number > 0;
  EXPECT_EQ(positive, 4u);
  ASSERT_EQ(tv_domain_uncompile(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_is_compressed(domain.get()), 0);
}

TEST(Compress, EvidenceLeavesNothingOut) {
  const AllSparse all;
  const DomainOwner domain = gates(6);
  tv_node_t* const last = nodes_of(domain.get()).back();
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const float before = tv_node_get_belief(last, 0);
  ASSERT_EQ(tv_node_select_state(last, 1), tv_status_none);
  ASSERT_EQ(propagate(domain.get()), tv_status_none);
  ASSERT_GT(tv_domain_compress(domain.get()), 0.0);
  EXPECT_EQ(tv_node_get_belief(last, 1), 1.0f);
  ASSERT_EQ(tv_node_retract_findings(last), tv_status_none);
  ASSERT_EQ(propagate(domain.get()), tv_status_none);
  EXPECT_TRUE(close(tv_node_get_belief(last, 0), before));
  EXPECT_EQ(tv_domain_get_approximation_constant(domain.get()), 1.0);
}

TEST(Compress, TablesThatAllowMoreAreTakenIn) {
  const AllSparse all;
  for (const bool retracts : {false, true}) {
    const DomainOwner domain = gates(4);
    const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
    ASSERT_EQ(tv_domain_set_zero_compression(domain.get(), 1), tv_status_none);
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    if (!retracts) {
      ASSERT_EQ(tv_node_select_state(nodes[5], 1), tv_status_none);
    }
    set_table(nodes[3], {0.9f, 0.1f, 0, 1, 0.2f, 0.8f, 1, 0});
    EXPECT_EQ(tv_domain_tables_to_propagate(domain.get()), 1);
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    EXPECT_EQ(wrong_answer(domain.get(), kSum, kNormal), "");
    set_table(nodes[3], {1, 0, 0, 1, 0, 1, 1, 0});
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    EXPECT_EQ(wrong_answer(domain.get(), kSum, kNormal), "");
  }
}

TEST(Compress, ChangedTablesThatWaitCountOnceTheyArePropagated) {
  const AllSparse all;
  const DomainOwner domain = gates(3);
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  set_table(nodes[0], {0.1f, 0.9f});
  ASSERT_GT(tv_domain_compress(domain.get()), 0.0);
  EXPECT_EQ(tv_domain_tables_to_propagate(domain.get()), 1);
  EXPECT_EQ(tv_node_get_belief(nodes[0], 0), 0.7f);
  tv_node_t* pair[] = {nodes[0], nodes[4], nullptr};
  EXPECT_EQ(tv_domain_get_marginal(domain.get(), pair), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_equilibrium);
  ASSERT_EQ(propagate(domain.get()), tv_status_none);
  EXPECT_EQ(wrong_answer(domain.get(), kSum, kNormal), "");
  EXPECT_TRUE(TableOwner(tv_domain_get_marginal(domain.get(), pair)));
}

TEST(Compress, EvidenceOfFastRetractionCountsAsNormal) {
  const AllSparse all;
  for (const tv_equilibrium_t equilibrium : {kSum, tv_equilibrium_max}) {
    const DomainOwner domain = new_domain();
    tv_node_t* const a = add_node(domain.get(), "a", 2, {}, {0.25f, 0.75f});
    tv_node_t* const b = add_node(domain.get(), "b", 3, {a}, {0.5f, 0.25f, 0.25f, 0.125f, 0.125f, 0.75f});
    add_node(domain.get(), "c", 2, {b}, {0.5f, 0.5f, 0.1f, 0.9f, 0.3f, 0.7f});
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    enter_findings(b, {0.5f, 0.25f, 1});
    enter_findings(a, {1, 0.5f});
    ASSERT_EQ(tv_domain_propagate(domain.get(), equilibrium, tv_evidence_fast_retraction), tv_status_none);
    EXPECT_NE(wrong_answer(domain.get(), equilibrium, kNormal), "");
    ASSERT_GT(tv_domain_compress(domain.get()), 0.0);
    EXPECT_EQ(wrong_answer(domain.get(), equilibrium, kNormal), "");
    EXPECT_EQ(tv_domain_evidence_mode_is(domain.get(), kNormal), 1);
  }
}

TEST(Compress, WhatIsRefused) {
  const AllSparse all;
  const DomainOwner domain = gates(3);
  EXPECT_EQ(tv_domain_is_compressed(domain.get()), 0);
  EXPECT_EQ(tv_domain_compress(domain.get()), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_not_compiled);
  EXPECT_EQ(tv_domain_get_approximation_constant(domain.get()), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_not_compiled);
  EXPECT_EQ(tv_domain_get_compressed_memory_need(domain.get()), static_cast<size_t>(-1));
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_compress(domain.get()), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_no_equilibrium);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_max, kNormal), tv_status_none);
  const size_t need = tv_domain_get_compressed_memory_need(domain.get());
  ASSERT_EQ(tv_domain_set_memory_limit(domain.get(), need - 1), tv_status_none);
  EXPECT_EQ(tv_domain_compress(domain.get()), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_no_memory);
  EXPECT_EQ(tv_domain_is_compressed(domain.get()), 0);
  EXPECT_EQ(wrong_answer(domain.get(), tv_equilibrium_max, kNormal), "");
  ASSERT_EQ(tv_domain_set_memory_limit(domain.get(), need), tv_status_none);
  EXPECT_GT(tv_domain_compress(domain.get()), 0.0);
  EXPECT_EQ(tv_domain_equilibrium_is(domain.get(), tv_equilibrium_max), 1);
  EXPECT_EQ(tv_domain_propagate(domain.get(), kSum, tv_evidence_fast_retraction), tv_status_compressed);
  EXPECT_EQ(
      tv_jt_propagate(tv_domain_get_first_junction_tree(domain.get()), kSum, tv_evidence_fast_retraction),
      tv_status_compressed);
  EXPECT_EQ(tv_domain_equilibrium_is(domain.get(), tv_equilibrium_max), 1);
  tv_node_t* nodes[] = {nodes_of(domain.get())[0], nullptr};
  EXPECT_EQ(tv_domain_set_ijt_nodes(domain.get(), nodes), tv_status_compressed);
  ASSERT_EQ(tv_domain_uncompile(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_set_ijt_nodes(domain.get(), nodes), tv_status_none);
  ASSERT_EQ(tv_domain_set_zero_compression(domain.get(), 1), tv_status_none);
  EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_usage);
  EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 0);
  EXPECT_EQ(tv_domain_set_zero_compression(nullptr, 1), tv_status_usage);
  EXPECT_EQ(tv_domain_get_zero_compression(domain.get()), 1);
}

TEST(Compress, ContinuousNodesAndDecisionsKeepFullTables) {
  const DomainOwner domain = new_domain();
  tv_node_t* const a = add_node(domain.get(), "a", 2, {}, {0.99f, 0.01f});
  tv_node_t* const b = add_node(domain.get(), "b", 2, {a}, {1, 0, 0, 1});
  tv_node_t* const x = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  ASSERT_EQ(tv_node_add_parent(x, b), tv_status_none);
  for (size_t i = 0; i < 2; ++i) {
    tv_node_set_intercept(x, i, 10.0 * static_cast<double>(i));
    tv_node_set_conditional_variance(x, i, 1.0);
  }
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const double ratio = tv_domain_compress(domain.get());
  EXPECT_GT(ratio, 0.0);
  EXPECT_LT(ratio, 1.0);
  EXPECT_EQ(tv_domain_is_compressed(domain.get()), 1);
  EXPECT_NEAR(tv_node_get_mean(x), 0.1, 1e-6);
  ASSERT_EQ(tv_node_enter_value(x, 9.0), tv_status_none);
  ASSERT_EQ(propagate(domain.get()), tv_status_none);
  EXPECT_NEAR(tv_node_get_belief(a, 1), 1.0, 1e-6);
  ASSERT_EQ(tv_domain_initialize(domain.get()), tv_status_none);
  ASSERT_EQ(propagate(domain.get()), tv_status_none);
  EXPECT_NEAR(tv_domain_approximate(domain.get(), 0.03), 0.99, 1e-6);
  EXPECT_EQ(tv_node_get_belief(b, 1), 0.0f);
  EXPECT_NEAR(tv_node_get_mean(x), 0.0, 1e-9);
  EXPECT_NEAR(tv_node_get_variance(x), 1.0, 1e-9);

  const DomainOwner deciding = new_domain();
  tv_node_t* const state = add_node(deciding.get(), "state", 2, {}, {0.25f, 0.75f});
  tv_node_t* const sign = add_node(deciding.get(), "sign", 2, {state}, {1, 0, 0, 1});
  tv_node_t* const act = tv_domain_new_node(deciding.get(), tv_category_decision, tv_kind_discrete);
  tv_node_t* const gain = tv_domain_new_node(deciding.get(), tv_category_utility, tv_kind_other);
  ASSERT_EQ(tv_node_set_number_of_states(act, 2), tv_status_none);
  ASSERT_EQ(tv_node_add_parent(act, sign), tv_status_none);
  ASSERT_EQ(tv_node_add_parent(gain, act), tv_status_none);
  ASSERT_EQ(tv_node_add_parent(gain, state), tv_status_none);
  set_table(gain, {8, 0, 0, 4});
  ASSERT_EQ(tv_domain_set_zero_compression(deciding.get(), 1), tv_status_none);
  ASSERT_EQ(tv_domain_compile(deciding.get()), tv_status_none);
  EXPECT_EQ(tv_domain_is_compressed(deciding.get()), 1);
  ASSERT_EQ(tv_domain_update_policies(deciding.get()), tv_status_none);
  ASSERT_EQ(propagate(deciding.get()), tv_status_none);
  EXPECT_NEAR(tv_domain_get_expected_utility(deciding.get()), 5.0, 1e-6);
  EXPECT_EQ(tv_domain_approximate(deciding.get(), 0.1), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

TEST(Compress, AnswersAreTheSameBitsOnAllThreadsAndInQueries) {
  const AllSparse all;
  tv::limits.grains_for_threads = tv::limits.cliques_in_grain = 1;
  for (uint64_t seed = 0; seed < 10; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner first =
        random_network(random, Values::zeros, {.max_nodes = 40, .max_joint = kHugeJoint});
    ASSERT_EQ(tv_domain_set_grain_size(first.get(), 1), tv_status_none);
    ASSERT_EQ(tv_domain_set_zero_compression(first.get(), 1), tv_status_none);
    std::vector<float> expected;
    for (const size_t threads : {size_t{1}, size_t{2}, size_t{3}}) {
      const DomainOwner domain(tv_domain_clone(first.get()));
      ASSERT_EQ(tv_domain_set_concurrency_level(domain.get(), threads), tv_status_none);
      ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
      const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
      std::vector<float> found;
      Generator choice(seed);
      tv_query_t* const query = tv_domain_new_query(domain.get());
      ASSERT_TRUE(query);
      for (int step = 0; step < 5; ++step) {
        tv_node_t* const node = choice.pick(nodes);
        size_t state = 0;
        while (tv_node_get_belief(node, state) == 0) ++state;
        ASSERT_EQ(tv_node_select_state(node, state), tv_status_none);
        ASSERT_EQ(propagate(domain.get()), tv_status_none);
        ASSERT_EQ(tv_query_select_state(query, node, state), tv_status_none);
        ASSERT_EQ(tv_query_propagate(query, kSum, kNormal), tv_status_none);
        for (const tv_node_t* each : nodes)
          for (size_t s = 0; s < tv_node_get_number_of_states(each); ++s) {
            found.push_back(tv_node_get_belief(each, s));
            EXPECT_TRUE(close(tv_query_get_belief(query, each, s), found.back()));
          }
      }
      tv_query_delete(query);
      if (expected.empty()) expected = found;
      EXPECT_EQ(found, expected) << threads;
    }
  }
}

// ---- Too large for full tables ----

// Many gates over few inputs, each with any two nodes before it: large cliques that follow from the inputs.
DomainOwner wide_circuit(size_t inputs, size_t gates, Generator& random) {
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < inputs; ++i) {
    const auto p = static_cast<float>(0.1 + 0.8 * random.uniform());
    nodes.push_back(add_node(domain.get(), nullptr, 2, {}, {p, 1 - p}));
  }
  const std::vector<float> kinds[] = {
      {1, 0, 0, 1, 0, 1, 1, 0}, {1, 0, 1, 0, 1, 0, 0, 1}, {1, 0, 0, 1, 0, 1, 0, 1}};
  for (size_t g = 0; g < gates; ++g) {
    const size_t one = random.below(nodes.size()),
                 other = (one + 1 + random.below(nodes.size() - 1)) % nodes.size();
    nodes.push_back(add_node(domain.get(), nullptr, 2, {nodes[one], nodes[other]}, kinds[random.below(3)]));
  }
  return domain;
}

TEST(Compress, NetworksCompileWhoseFullTablesNoMachineHolds) {
  Generator random(5);
  const size_t inputs = 8;
  const DomainOwner domain = wide_circuit(inputs, 200, random);
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  const size_t limit = size_t{8} << 20;
  ASSERT_EQ(tv_domain_set_memory_limit(domain.get(), limit), tv_status_none);
  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_none);
  const size_t full = tv_domain_get_memory_need(domain.get());
  EXPECT_GT(full, 100 * limit);
  const size_t need = tv_domain_get_compressed_memory_need(domain.get());
  EXPECT_LT(need, limit);
  EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_no_memory);
  ASSERT_EQ(tv_domain_set_memory_limit(domain.get(), 1000), tv_status_none);
  EXPECT_EQ(tv_domain_get_compressed_memory_need(domain.get()), static_cast<size_t>(-1));
  EXPECT_STREQ(tv_error_message(), "finding what is possible needs more than the limit, 1000 bytes");
  ASSERT_EQ(tv_domain_set_memory_limit(domain.get(), limit), tv_status_none);
  ASSERT_EQ(tv_domain_set_zero_compression(domain.get(), 1), tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none) << tv_error_message();
  // Elimination over positive entries: each configuration of the inputs determines everything.
  const auto expect_right = [&](const std::vector<std::pair<size_t, size_t>>& evidence) {
    std::vector<double> one(nodes.size(), 0.0);
    double total = 0.0;
    for (size_t c = 0; c < size_t{1} << inputs; ++c) {
      std::vector<size_t> states(nodes.size());
      double weight = 1.0;
      for (size_t i = 0; i < nodes.size(); ++i) {
        tv_table_t* const table = tv_node_get_table(nodes[i]);
        const tv_number_t* data = tv_table_get_data(table);
        if (i < inputs) {
          states[i] = c >> i & 1;
          weight *= data[states[i]];
          continue;
        }
        size_t index = 0;
        for (tv_node_t** parent = tv_node_get_parents(nodes[i]); *parent; ++parent)
          index = 2 * index +
                  states[static_cast<size_t>(std::find(nodes.begin(), nodes.end(), *parent) - nodes.begin())];
        states[i] = data[2 * index + 1] > 0;
      }
      for (const auto& [node, state] : evidence) weight *= states[node] == state;
      total += weight;
      for (size_t i = 0; i < nodes.size(); ++i) one[i] += weight * static_cast<double>(states[i]);
    }
    EXPECT_NEAR(tv_domain_get_normalization_constant(domain.get()), total, 1e-5 * total);
    for (size_t i = 0; i < nodes.size(); ++i)
      EXPECT_NEAR(tv_node_get_belief(nodes[i], 1), one[i] / total, 2e-6) << i;
  };
  expect_right({});
  const size_t output = nodes.size() - 1, middle = nodes.size() / 2;
  const auto likely = [&](size_t node) -> size_t { return tv_node_get_belief(nodes[node], 1) > 0.5f; };
  std::vector<std::pair<size_t, size_t>> evidence;
  for (const size_t node : {output, middle}) {
    evidence.push_back({node, likely(node)});
    ASSERT_EQ(tv_node_select_state(nodes[node], evidence.back().second), tv_status_none);
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    expect_right(evidence);
  }
  tv_node_t* pair[] = {nodes[0], nodes[output - 1], nullptr};
  const TableOwner joint(tv_domain_get_marginal(domain.get(), pair));
  ASSERT_TRUE(joint);
  const std::vector<float> numbers = numbers_of(joint.get());
  EXPECT_NEAR(numbers[2] + numbers[3], tv_node_get_belief(nodes[0], 1), 2e-6);
  EXPECT_NEAR(numbers[1] + numbers[3], tv_node_get_belief(nodes[output - 1], 1), 2e-6);
}

}  // namespace
}  // namespace test
