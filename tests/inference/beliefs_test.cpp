// Beliefs, constants, joint marginals and conflict of random networks against enumeration, for every
// kind of evidence, triangulation method, equilibrium and evidence mode.

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "support/builders.h"
#include "support/oracle.h"

namespace test {
namespace {

const std::vector<tv_triangulation_method_t> kMethods{tv_method_clique_size, tv_method_clique_weight,
                                                      tv_method_fill_in_size, tv_method_fill_in_weight,
                                                      tv_method_best_greedy};

void compile(Generator& random, tv_domain_t* domain) {
  ASSERT_EQ(tv_domain_triangulate(domain, random.pick(kMethods)), tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain), tv_status_none);
}

struct Network {
  Network(uint64_t seed, Values values) : random(seed), domain(random_network(random, values)) {
    compile(random, domain.get());
  }
  void enter(Findings findings) {
    for (tv_node_t* node : nodes_of(domain.get()))
      if (random.chance(0.5)) change_evidence(random, node, findings);
  }
  Generator random;
  DomainOwner domain;
};

// After a failed propagation nothing is propagated, everything entered is kept, and taking the
// evidence away makes the domain answer again.
void expect_recovery(tv_domain_t* domain, const Oracle::Evidence& entered) {
  EXPECT_EQ(tv_domain_evidence_is_propagated(domain), 0);
  EXPECT_EQ(Oracle(domain).entered(), entered);
  EXPECT_EQ(tv_domain_evidence_to_propagate(domain), 1);
  ASSERT_EQ(tv_domain_retract_findings(domain), tv_status_none);
  ASSERT_EQ(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  EXPECT_EQ(wrong_answer(domain, tv_equilibrium_sum, tv_evidence_normal), "");
}

TEST(Beliefs, PriorsOfRandomNetworks) {
  for (uint64_t seed = 0; seed < 150; ++seed) {
    SCOPED_TRACE(seed);
    Network net(seed, static_cast<Values>(seed % 3));
    EXPECT_EQ(wrong_answer(net.domain.get(), tv_equilibrium_sum, tv_evidence_normal), "");
    EXPECT_NEAR(tv_domain_get_normalization_constant(net.domain.get()), 1.0, 1e-5);
    EXPECT_EQ(tv_domain_get_conflict(net.domain.get()), 1.0);
  }
}

TEST(Beliefs, NormalModeEqualsEnumeration) {
  size_t impossible = 0;
  for (uint64_t seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE(seed);
    Network net(seed, static_cast<Values>(seed % 3));
    net.enter(Findings::any);
    tv_domain_t* domain = net.domain.get();
    const tv_equilibrium_t equilibrium = net.random.chance(0.6) ? tv_equilibrium_sum : tv_equilibrium_max;
    if (net.random.chance(0.2)) tv_domain_reset_inference_engine(domain);
    const Oracle oracle(domain);
    const Oracle::Evidence entered = oracle.entered();
    const Real constant = oracle.constant(entered, equilibrium);
    const tv_status_t status = tv_domain_propagate(domain, equilibrium, tv_evidence_normal);
    if (constant == 0) {
      ++impossible;
      ASSERT_EQ(status, tv_status_inconsistency_or_underflow);
      expect_recovery(domain, entered);
    } else if (constant > 0) {
      ASSERT_EQ(status, tv_status_none);
      EXPECT_EQ(wrong_answer(domain, equilibrium, tv_evidence_normal), "");
      EXPECT_EQ(tv_domain_equilibrium_is(domain, equilibrium), 1);
      EXPECT_EQ(tv_domain_evidence_to_propagate(domain), 0);
    }
  }
  EXPECT_GT(impossible, 20u);
}

TEST(Beliefs, FastRetractionLeavesOutTheNodesOwnEvidence) {
  size_t answered = 0;
  for (uint64_t seed = 1000; seed < 1400; ++seed) {
    SCOPED_TRACE(seed);
    const bool positive = seed % 2;
    Network net(seed, positive ? Values::positive : Values::zeros);
    net.enter(positive ? (net.random.chance(0.5) ? Findings::hard : Findings::positive) : Findings::any);
    tv_domain_t* domain = net.domain.get();
    const tv_equilibrium_t equilibrium = net.random.chance(0.7) ? tv_equilibrium_sum : tv_equilibrium_max;
    const Oracle oracle(domain);
    const Oracle::Evidence entered = oracle.entered();
    const tv_status_t status = tv_domain_propagate(domain, equilibrium, tv_evidence_fast_retraction);
    if (status != tv_status_none) {
      ASSERT_FALSE(positive) << tv_error_name(status);
      ASSERT_TRUE(status == tv_status_fast_retraction || status == tv_status_inconsistency_or_underflow ||
                  status == tv_status_normalization)
          << tv_error_name(status);
      expect_recovery(domain, entered);
      continue;
    }
    if (oracle.least_constant(entered, equilibrium, tv_evidence_fast_retraction) == 0) continue;
    ++answered;
    EXPECT_EQ(wrong_answer(domain, equilibrium, tv_evidence_fast_retraction, false), "");
    // The way back to normal mode needs nothing but propagation.
    if (oracle.constant(entered, tv_equilibrium_sum) == 0) continue;
    ASSERT_EQ(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    EXPECT_EQ(wrong_answer(domain, tv_equilibrium_sum, tv_evidence_normal, false), "");
  }
  EXPECT_GT(answered, 200u);
}

TEST(Beliefs, EveryCliqueServesAsRoot) {
  for (uint64_t seed = 2000; seed < 2100; ++seed) {
    SCOPED_TRACE(seed);
    Network net(seed, Values::positive);
    tv_domain_t* domain = net.domain.get();
    net.enter(Findings::hard);
    const Oracle oracle(domain);
    for (tv_clique_t* root = tv_domain_get_first_clique(domain); root; root = tv_clique_get_next(root))
      for (tv_evidence_mode_t mode : {tv_evidence_normal, tv_evidence_fast_retraction}) {
        ASSERT_EQ(tv_domain_reset_inference_engine(domain), tv_status_none);
        ASSERT_EQ(tv_clique_propagate(root, tv_equilibrium_sum, mode), tv_status_none);
        Oracle::Evidence outside = oracle.entered();
        const std::vector<Vector> expected = oracle.beliefs(outside, tv_equilibrium_sum, mode);
        double constant = 1;
        for (tv_junction_tree_t* jt = tv_domain_get_first_junction_tree(domain); jt; jt = tv_jt_get_next(jt))
          if (jt != tv_clique_get_junction_tree(root)) {
            EXPECT_EQ(tv_jt_equilibrium_is(jt, tv_equilibrium_none), 1);
            ASSERT_EQ(tv_jt_propagate(jt, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
          }
        for (size_t i = 0; i < expected.size(); ++i) {
          if (tv_node_get_junction_tree(oracle.nodes()[i]) != tv_clique_get_junction_tree(root)) continue;
          for (size_t s = 0; s < expected[i].size(); ++s)
            EXPECT_TRUE(close(tv_node_get_belief(oracle.nodes()[i], s), expected[i][s]));
        }
        // Fast retraction keeps the findings of the root clique's members out of the constant.
        for (size_t i = 0; i < outside.size(); ++i)
          for (tv_node_t** member = tv_clique_get_members(root); *member; ++member)
            if (mode == tv_evidence_fast_retraction && *member == oracle.nodes()[i])
              outside[i].assign(outside[i].size(), 1);
        constant = static_cast<double>(oracle.constant(outside, tv_equilibrium_sum));
        EXPECT_NEAR(tv_domain_get_normalization_constant(domain), constant, 1e-4 * constant);
      }
  }
}

TEST(Beliefs, JointMarginalsOfAnyNodes) {
  for (uint64_t seed = 3000; seed < 3300; ++seed) {
    SCOPED_TRACE(seed);
    Network net(seed, static_cast<Values>(seed % 2));
    tv_domain_t* domain = net.domain.get();
    net.enter(Findings::any);
    const Oracle oracle(domain);
    const Oracle::Evidence evidence = oracle.entered();
    const Real constant = oracle.constant(evidence, tv_equilibrium_sum);
    if (constant == 0) continue;
    ASSERT_EQ(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    std::vector<size_t> wanted(oracle.nodes().size());
    for (size_t i = 0; i < wanted.size(); ++i) wanted[i] = i;
    while (wanted.size() > 4 || (wanted.size() > 1 && net.random.chance(0.5)))
      wanted.erase(wanted.begin() + static_cast<ptrdiff_t>(net.random.below(wanted.size())));
    std::vector<tv_node_t*> list;
    for (size_t i : wanted) list.push_back(oracle.nodes()[i]);
    list.push_back(nullptr);
    const TableOwner table(tv_domain_get_marginal(domain, list.data()));
    ASSERT_TRUE(table) << tv_error_name(tv_error_code());
    std::vector<size_t> order;
    for (tv_node_t** node = tv_table_get_nodes(table.get()); *node; ++node)
      for (size_t i : wanted)
        if (oracle.nodes()[i] == *node) order.push_back(i);
    ASSERT_EQ(order.size(), wanted.size());
    const Vector expected = oracle.marginal(order, evidence, tv_equilibrium_sum);
    ASSERT_EQ(tv_table_get_size(table.get()), expected.size());
    for (size_t i = 0; i < expected.size(); ++i)
      EXPECT_TRUE(close(tv_table_get_data(table.get())[i], expected[i] / constant)) << i;
    EXPECT_EQ(wrong_answer(domain, tv_equilibrium_sum, tv_evidence_normal), "")
        << "the query disturbed the answers";
  }
}

TEST(Beliefs, EntropyAndMutualInformation) {
  for (uint64_t seed = 4000; seed < 4100; ++seed) {
    SCOPED_TRACE(seed);
    Network net(seed, Values::zeros);
    tv_domain_t* domain = net.domain.get();
    net.enter(Findings::hard);
    const Oracle oracle(domain);
    const Oracle::Evidence evidence = oracle.entered();
    const Real constant = oracle.constant(evidence, tv_equilibrium_sum);
    if (constant == 0) continue;
    ASSERT_EQ(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    const auto entropy = [&](const std::vector<size_t>& nodes) {
      Real sum = 0;
      for (Real p : oracle.marginal(nodes, evidence, tv_equilibrium_sum))
        if (p > 0) sum -= p / constant * std::log(p / constant);
      return sum;
    };
    for (size_t a = 0; a < oracle.nodes().size(); ++a)
      for (size_t b = 0; b < oracle.nodes().size(); ++b) {
        const double found = tv_node_get_mutual_information(oracle.nodes()[a], oracle.nodes()[b]);
        const Real expected = a == b ? entropy({a}) : entropy({a}) + entropy({b}) - entropy({a, b});
        EXPECT_NEAR(found, static_cast<double>(expected), 2e-5) << a << " " << b;
        EXPECT_GE(found, 0.0);
        EXPECT_TRUE(a != b || found == tv_node_get_entropy(oracle.nodes()[a]));
      }
  }
}

// The product of the probabilities of the single findings over that of all of them: given what was
// already propagated, for findings that come later.
TEST(Beliefs, ConflictIsTheRatioOfProbabilities) {
  for (uint64_t seed = 5000; seed < 5150; ++seed) {
    SCOPED_TRACE(seed);
    Network net(seed, Values::positive);
    tv_domain_t* domain = net.domain.get();
    const std::vector<tv_node_t*> nodes = nodes_of(domain);
    const Oracle oracle(domain);
    Oracle::Evidence before = oracle.none();
    for (int round = 0; round < 2; ++round) {
      for (size_t i = static_cast<size_t>(round); i < nodes.size(); i += 2)
        if (net.random.chance(0.7)) {
          const size_t states = tv_node_get_number_of_states(nodes[i]);
          std::vector<float> likelihood(states, 0.5f);
          likelihood[net.random.below(states)] = 2.0f;
          if (net.random.chance(0.5))
            enter_findings(nodes[i], likelihood);
          else
            ASSERT_EQ(tv_node_select_state(nodes[i], net.random.below(states)), tv_status_none);
        }
      const Oracle::Evidence now = oracle.entered();
      ASSERT_EQ(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
      for (tv_junction_tree_t* jt = tv_domain_get_first_junction_tree(domain); jt; jt = tv_jt_get_next(jt)) {
        Real product = 1;
        Oracle::Evidence tree = before;
        size_t news = 0;
        const Real past = oracle.constant(before, tv_equilibrium_sum);
        for (size_t i = 0; i < nodes.size(); ++i) {
          if (tv_node_get_junction_tree(nodes[i]) != jt || now[i] == before[i]) continue;
          Oracle::Evidence single = before;
          single[i] = tree[i] = now[i];
          product *= oracle.constant(single, tv_equilibrium_sum) / past;
          ++news;
        }
        if (!news) continue;
        const double expected =
            static_cast<double>(product * past / oracle.constant(tree, tv_equilibrium_sum));
        EXPECT_NEAR(tv_jt_get_conflict(jt), expected, 1e-4 * expected) << "round " << round;
      }
      before = now;
    }
  }
}

// A clique's conflict compares its findings with the mass of its message, which is taken relative to what the
// separator held; in fast retraction the findings of the root are compared too, though the constant leaves
// them out.
TEST(Beliefs, ConflictOfCliques) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2, {}, {0.3f, 0.7f});
  tv_node_t* b = add_node(domain.get(), "b", 2, {a}, {0.9f, 0.1f, 0.4f, 0.6f});
  tv_node_t* c = add_node(domain.get(), "c", 2, {a, b}, {0.2f, 0.8f, 0.5f, 0.5f, 0.6f, 0.4f, 0.7f, 0.3f});
  tv_node_t* d = add_node(domain.get(), "d", 2, {c}, {0.1f, 0.9f, 0.6f, 0.4f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_clique_t* root = tv_domain_get_first_clique(domain.get());
  tv_clique_t* leaf = tv_clique_get_next(root);
  if (tv_clique_get_number_of_members(root) == 3) std::swap(root, leaf);
  const double p_a = 0.3, p_b = 0.3 * 0.1 + 0.7 * 0.6, p_ab = 0.3 * 0.1,
               p_abd = p_ab * (0.5 * 0.9 + 0.5 * 0.4);
  const double p_c = tv_node_get_belief(c, 0), p_d = tv_node_get_belief(d, 1);
  for (tv_evidence_mode_t mode : {tv_evidence_normal, tv_evidence_fast_retraction}) {
    ASSERT_EQ(tv_domain_initialize(domain.get()), tv_status_none);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    tv_node_select_state(a, 0);
    tv_node_select_state(b, 1);
    tv_node_select_state(d, 1);
    ASSERT_EQ(tv_clique_propagate(root, tv_equilibrium_sum, mode), tv_status_none);
    EXPECT_EQ(tv_node_get_conflict_clique(a), mode == tv_evidence_normal ? leaf : nullptr);
    const double message = p_ab * (0.5 / p_c + 0.5 / (1 - p_c));
    EXPECT_NEAR(tv_clique_get_conflict(leaf), p_a * p_b / message, 1e-4);
    const double constant = mode == tv_evidence_normal ? p_abd : p_ab;
    EXPECT_NEAR(tv_domain_get_normalization_constant(domain.get()), constant, 1e-6);
    EXPECT_NEAR(tv_clique_get_conflict(root), p_a * p_b * p_d / constant, 1e-4);
    EXPECT_EQ(tv_clique_get_conflict(root), tv_domain_get_conflict(domain.get()));
    EXPECT_EQ(wrong_answer(domain.get(), tv_equilibrium_sum, mode, mode == tv_evidence_normal), "");
  }
}

// Domains are independent: threads that each use their own get the right answers at once.
TEST(Beliefs, DomainsOfDifferentThreads) {
  std::vector<std::string> problems(4);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < problems.size(); ++t)
    threads.emplace_back([t, &problems] {
      for (uint64_t seed = 0; seed < 20 && problems[t].empty(); ++seed) {
        Generator random(6000 + 100 * t + seed);
        const DomainOwner domain = random_network(random, Values::positive);
        tv_domain_set_concurrency_level(domain.get(), 1 + seed % 3);
        tv_domain_set_grain_size(domain.get(), 1);
        for (tv_node_t* node : nodes_of(domain.get()))
          if (random.chance(0.5)) change_evidence(random, node, Findings::hard);
        if (tv_domain_compile(domain.get()) != tv_status_none ||
            tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal) != tv_status_none)
          problems[t] = tv_error_name(tv_error_code());
        else
          problems[t] = wrong_answer(domain.get(), tv_equilibrium_sum, tv_evidence_normal);
      }
    });
  for (std::thread& thread : threads) thread.join();
  for (const std::string& problem : problems) EXPECT_EQ(problem, "");
}

}  // namespace
}  // namespace test
