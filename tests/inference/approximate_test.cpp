// Approximation: which entries become zero, and that all answers are those of what is kept, also after
// compression and resets.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "support/builders.h"
#include "support/oracle.h"
#include "support/sparse.h"

namespace test {
namespace {

TEST(Approximate, WhatIsRefused) {
  const DomainOwner domain = gates(3);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(tv_domain_approximate(domain.get(), 0.1), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_not_compiled);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  for (const double epsilon : {0.0, -1.0, nan, std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(tv_domain_approximate(domain.get(), epsilon), -1.0);
    EXPECT_EQ(tv_error_code(), tv_status_usage);
  }
  tv_node_t* const node = nodes_of(domain.get())[1];
  ASSERT_EQ(tv_node_select_state(node, 1), tv_status_none);
  EXPECT_EQ(tv_domain_approximate(domain.get(), 0.1), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_max, kNormal), tv_status_none);
  EXPECT_EQ(tv_domain_approximate(domain.get(), 0.1), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  ASSERT_EQ(propagate(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_approximate(domain.get(), 3.0), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_inconsistency_or_underflow);
  EXPECT_EQ(tv_node_get_selected_state(node), 1);
  ASSERT_EQ(propagate(domain.get()), tv_status_none);
  EXPECT_EQ(wrong_answer(domain.get(), kSum, kNormal), "");
}

TEST(Approximate, HalvesTheThresholdUntilLittleEnoughIsLost) {
  const DomainOwner domain = new_domain();
  tv_node_t* const node = add_node(domain.get(), "a", 5, {}, {0.5f, 0.3f, 0.1f, 0.06f, 0.04f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  // Below 0.125 / 2 lie 0.06 and 0.04, whose sum is less than 0.125.
  EXPECT_NEAR(tv_domain_approximate(domain.get(), 0.125), 0.9, 1e-6);
  EXPECT_NEAR(tv_domain_get_normalization_constant(domain.get()), 0.9, 1e-6);
  EXPECT_NEAR(tv_node_get_belief(node, 0), 0.5 / 0.9, 1e-6);
  EXPECT_EQ(tv_node_get_belief(node, 3), 0.0f);
  // Below 0.15 / 2 and then 0.15 / 4 there is nothing left.
  EXPECT_NEAR(tv_domain_approximate(domain.get(), 0.15), 0.9, 1e-6);
  // Below 0.25 / 2 lies 0.1 / 0.9.
  EXPECT_NEAR(tv_domain_approximate(domain.get(), 0.25), 0.8, 1e-6);
  ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
  ASSERT_EQ(propagate(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_get_approximation_constant(domain.get()), 1.0);
  EXPECT_NEAR(tv_node_get_belief(node, 4), 0.04, 1e-7);
}

TEST(Approximate, CliquesWithManyNeighbours) {
  const DomainOwner domain = new_domain();
  tv_node_t* const center = add_node(domain.get(), "center", 3, {}, {0.6f, 0.399f, 0.001f});
  for (int i = 0; i < 40; ++i)
    add_node(domain.get(), nullptr, 2, {center}, {0.9f, 0.1f, 0.2f, 0.8f, 0.5f, 0.5f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_NEAR(tv_domain_approximate(domain.get(), 0.003), 0.999, 1e-5);
  EXPECT_NEAR(tv_node_get_belief(center, 0), 0.6 / 0.999, 1e-5);
  EXPECT_EQ(tv_node_get_belief(center, 2), 0.0f);
}

TEST(Approximate, IsNotMoreThanItsPropagation) {
  // Entries that sum to less than epsilon only below epsilon / 4.
  const DomainOwner domain = new_domain();
  tv_node_t* const node = add_node(domain.get(), "a", 5, {}, {0.6f, 0.12f, 0.11f, 0.1f, 0.07f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_NEAR(tv_domain_approximate(domain.get(), 0.3), 0.93, 1e-6);
  EXPECT_GT(tv_node_get_belief(node, 3), 0.1f);
}

// The joint distribution with every configuration left out that is zero in some clique table.
std::vector<Vector> beliefs_of_kept(tv_domain_t* domain, Real& kept) {
  struct View {
    std::vector<size_t> nodes;
    std::vector<float> numbers;
  };
  const Oracle oracle(domain);
  std::vector<View> views;
  for (tv_clique_t* clique = tv_domain_get_first_clique(domain); clique;
       clique = tv_clique_get_next(clique)) {
    View view;
    tv_table_t* const table = tv_clique_get_probability_table(clique);
    for (tv_node_t** node = tv_table_get_nodes(table); *node; ++node)
      view.nodes.push_back(static_cast<size_t>(
          std::find(oracle.nodes().begin(), oracle.nodes().end(), *node) - oracle.nodes().begin()));
    view.numbers = numbers_of(table);
    views.push_back(std::move(view));
  }
  std::vector<size_t> all(oracle.nodes().size()), states(all.size()), counts(all.size());
  for (size_t i = 0; i < all.size(); ++i) {
    all[i] = i;
    counts[i] = tv_node_get_number_of_states(oracle.nodes()[i]);
  }
  const Vector joint = oracle.marginal(all, oracle.entered(), kSum);
  std::vector<Vector> beliefs(all.size());
  for (size_t i = 0; i < all.size(); ++i) beliefs[i].assign(counts[i], 0);
  kept = 0;
  for (size_t c = 0; c < joint.size(); ++c) {
    size_t rest = c;
    for (size_t i = all.size(); i-- > 0; rest /= counts[i]) states[i] = rest % counts[i];
    const bool is_kept = std::all_of(views.begin(), views.end(), [&](const View& view) {
      size_t index = 0;
      for (const size_t node : view.nodes) index = index * counts[node] + states[node];
      return view.numbers[index] > 0;
    });
    if (!is_kept) continue;
    kept += joint[c];
    for (size_t i = 0; i < all.size(); ++i) beliefs[i][states[i]] += joint[c];
  }
  for (Vector& belief : beliefs)
    for (Real& number : belief) number /= kept;
  return beliefs;
}

// Selects a state that is possible, without propagating it.
std::vector<Vector> beliefs_of_kept_given_a_state(tv_domain_t* domain, Generator& random) {
  tv_node_t* const node = random.pick(nodes_of(domain));
  size_t state = 0;
  while (tv_node_get_belief(node, state) == 0) ++state;
  EXPECT_EQ(tv_node_select_state(node, state), tv_status_none);
  Real kept = 0;
  return beliefs_of_kept(domain, kept);
}

TEST(Approximate, UnderEvidenceLeavesAloneWhatTheEvidenceContradicts) {
  const AllSparse all;
  const DomainOwner domain = new_domain();
  tv_node_t* const a = add_node(domain.get(), "a", 3, {}, {0.5f, 0.3f, 0.2f});
  tv_node_t* const b = add_node(domain.get(), "b", 2, {a}, {0.99f, 0.01f, 0.5f, 0.5f, 0.1f, 0.9f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_EQ(tv_node_select_state(a, 0), tv_status_none);
  ASSERT_EQ(propagate(domain.get()), tv_status_none);
  EXPECT_NEAR(tv_domain_approximate(domain.get(), 0.03), 0.99, 1e-6);
  ASSERT_GT(tv_domain_compress(domain.get()), 0.0);
  ASSERT_EQ(tv_node_retract_findings(a), tv_status_none);
  ASSERT_EQ(propagate(domain.get()), tv_status_none);
  EXPECT_NEAR(tv_domain_get_approximation_constant(domain.get()), 0.995, 1e-6);
  EXPECT_NEAR(tv_node_get_belief(a, 2), 0.2 / 0.995, 1e-6);
  EXPECT_NEAR(tv_node_get_belief(b, 1), (0.15 + 0.18) / 0.995, 1e-6);
}

TEST(Approximate, AnswersAreThoseOfWhatIsKept) {
  const AllSparse all;
  size_t smaller = 0;
  for (uint64_t seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    tv::limits.sparse_cost =
        seed % 5 == 0 ? 4 : 0;  // what is left out stays so where full tables are shorter
    Generator random(seed);
    const DomainOwner domain = random_network(random, Values::zeros, {.max_nodes = 7, .max_joint = 500});
    if (seed % 2) {
      ASSERT_EQ(tv_domain_set_zero_compression(domain.get(), 1), tv_status_none);
    }
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
    if (seed % 3 == 0) change_evidence(random, random.pick(nodes), Findings::hard);
    if (propagate(domain.get())) continue;
    const Real whole = Oracle(domain.get()).constant(Oracle(domain.get()).entered(), kSum);
    const double constant = tv_domain_approximate(domain.get(), 0.2);
    if (constant < 0) continue;
    Real kept = 0;
    const std::vector<Vector> beliefs = beliefs_of_kept(domain.get(), kept);
    EXPECT_NEAR(constant, static_cast<double>(kept / whole), 1e-5);
    const auto expect_kept = [&] {
      for (size_t i = 0; i < nodes.size(); ++i)
        for (size_t s = 0; s < beliefs[i].size(); ++s)
          EXPECT_NEAR(tv_node_get_belief(nodes[i], s), static_cast<double>(beliefs[i][s]), 1e-5) << i;
    };
    expect_kept();
    smaller += constant < 0.999;
    ASSERT_GT(tv_domain_compress(domain.get()), 0.0);
    expect_kept();
    EXPECT_NEAR(tv_domain_get_approximation_constant(domain.get()), constant, 1e-5);
    if (seed % 3 == 0) continue;
    // A reset starts from what is kept.
    ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    expect_kept();
    EXPECT_NEAR(tv_domain_get_approximation_constant(domain.get()), constant, 1e-5);
    const std::vector<Vector> given = beliefs_of_kept_given_a_state(domain.get(), random);
    ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    for (size_t i = 0; i < nodes.size(); ++i)
      for (size_t s = 0; s < given[i].size(); ++s)
        EXPECT_NEAR(tv_node_get_belief(nodes[i], s), static_cast<double>(given[i][s]), 1e-5) << i;
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_GT(smaller, 20u);
}

}  // namespace
}  // namespace test
