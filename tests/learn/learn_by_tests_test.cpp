// Structures by tests: with a graph that answers instead of cases, and with cases that are drawn from one.
#include "learn/structure/independence/learn_by_tests.h"

#include "learn/structure/graph/equivalence_class.h"
#include "learn/structure/independence/colliders.h"
#include "structure_world.h"

namespace test {
namespace {

using tv::Knowledge;

// Whether nodes are separated in the moral graph of the ancestors of all of them (Lauritzen et al. 1990).
bool are_separated(const PartialGraph& dag, size_t a, size_t b, std::span<const uint32_t> given) {
  std::vector<bool> is_ancestor(dag.size()), is_given(dag.size());
  for (const uint32_t node : given) is_given[node] = true;
  for (size_t v = 0; v < dag.size(); ++v) {
    const std::vector<bool> below = descendants(dag, v);
    is_ancestor[v] = below[a] || below[b];
    for (const uint32_t node : given) is_ancestor[v] = is_ancestor[v] || below[node];
  }
  const auto are_joined = [&](size_t u, size_t v) {
    if (dag.are_adjacent(u, v)) return true;
    for (size_t child = 0; child < dag.size(); ++child)
      if (is_ancestor[child] && dag.is_directed(u, child) && dag.is_directed(v, child)) return true;
    return false;
  };
  std::vector<size_t> open{a};
  std::vector<bool> is_reached(dag.size());
  is_reached[a] = true;
  while (!open.empty()) {
    const size_t v = open.back();
    open.pop_back();
    if (v == b) return false;
    for (size_t next = 0; next < dag.size(); ++next)
      if (is_ancestor[next] && !is_given[next] && !is_reached[next] && are_joined(v, next)) {
        is_reached[next] = true;
        open.push_back(next);
      }
  }
  return true;
}

tv::TestResult ask(void* dag, size_t, size_t a, size_t b, std::span<const uint32_t> given) {
  tv::TestResult result;
  result.p_value = are_separated(*static_cast<PartialGraph*>(dag), a, b, given) ? 1.0 : 0.0;
  return result;
}

struct Oracle {
  explicit Oracle(const PartialGraph& truth) : dag(truth), domain(new_domain()) {
    problem.domain = domain.get();
    problem.learner = learner.get();
    problem.nodes.resize(dag.size());
    problem.knowledge = Knowledge(dag.size());
  }
  PartialGraph learned(size_t threads = 1) {
    const tv::IndependenceTest test{ask, &dag};
    const tv::SkeletonSearch search{problem, test, std::vector<bool>(dag.size(), true), threads};
    tv::Structure structure;
    structure.graph = PartialGraph(dag.size());
    tv::ProgressMeter progress(*domain, "", 0);
    EXPECT_EQ(tv::learn_by_tests(search, progress, structure), tv_status_none);
    return structure.graph;
  }
  PartialGraph dag;
  DomainOwner domain;
  Learner learner;
  tv::LearningProblem problem;
};

// What somebody may know of a graph: some of its links, some that it does not have, or tiers.
Knowledge true_knowledge(Generator& random, const PartialGraph& dag) {
  Knowledge knowledge(dag.size());
  for (size_t a = 0; a < dag.size(); ++a)
    for (size_t b = 0; b < dag.size(); ++b) {
      if (a == b || dag.is_directed(a, b) || !random.chance(0.2)) continue;
      knowledge.forbid(a, b);
      if (dag.is_directed(b, a) && random.chance(0.5)) knowledge.require_any(a, b);
      if (!dag.are_adjacent(a, b)) knowledge.forbid(b, a);
    }
  if (!random.chance(0.3)) return knowledge;
  const std::vector<size_t> order = dag.topological_order();
  knowledge.tiers.assign(dag.size(), tv::kNone);
  size_t tier = 0;
  for (const size_t v : order) {
    tier += random.chance(0.3);
    if (random.chance(0.7)) knowledge.tiers[v] = tier;
  }
  for (size_t a = 0; a < dag.size(); ++a)
    for (size_t b = 0; b < dag.size(); ++b)
      if (knowledge.tiers[a] != tv::kNone && knowledge.tiers[b] != tv::kNone &&
          knowledge.tiers[a] > knowledge.tiers[b])
        knowledge.forbid(a, b);
  return knowledge;
}

TEST(LearnByTests, FindsTheClassOfAGraphThatAnswers) {
  Generator random(4711);
  for (size_t i = 0; i < 500; ++i) {
    const PartialGraph dag = random_dag(random, 2 + random.below(7), 0.15 + 0.4 * random.uniform());
    Oracle oracle(dag);
    tv_structure_learner_set_collider_rule(oracle.learner.get(),
                                           static_cast<tv_collider_rule_t>(random.below(3)));
    ASSERT_EQ(oracle.learned(), tv::class_of(dag))
        << i << ": " << shown(dag) << " as " << shown(oracle.learned());
    oracle.problem.knowledge = true_knowledge(random, dag);
    ASSERT_EQ(oracle.learned(1 + i % 2), tv::class_of(dag, oracle.problem.knowledge))
        << i << ": " << shown(dag) << " as " << shown(oracle.learned());
  }
}

TEST(LearnByTests, FindsTheClassFromCases) {
  Generator random(8);
  for (size_t i = 0; i < 6; ++i) {
    const PartialGraph dag = random_dag(random, 7, 0.3);
    const DomainOwner domain = strong_network(dag, random, 2 + i % 2);
    draw_cases(domain.get(), random, 100000);
    const Learner learner;
    tv_structure_learner_set_significance(learner.get(), 1e-4);
    const StructureOwner structure = learn(domain.get(), learner);
    EXPECT_EQ(shown(graph_of(structure)), shown(tv::class_of(dag))) << shown(dag);
  }
}

// The same nodes and cases in another order, and the names of links in both.
struct Reordered {
  Reordered(const DomainOwner& domain, const std::vector<size_t>& order) : other(new_domain()) {
    const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
    tv_domain_set_number_of_cases(other.get(), tv_domain_get_number_of_cases(domain.get()));
    for (const size_t i : order) {
      tv_node_t* const copy =
          add_node(other.get(), tv_node_get_name(nodes[i]), tv_node_get_number_of_states(nodes[i]));
      for (size_t row = 0; row < tv_domain_get_number_of_cases(domain.get()); ++row)
        if (tv_node_case_is_set(nodes[i], row))
          tv_node_set_case_state(copy, row, tv_node_get_case_state(nodes[i], row));
    }
  }
  DomainOwner other;
};

TEST(LearnByTests, OrderOfNodesAndThreadsMakeNoDifference) {
  Generator random(31);
  const PartialGraph dag = random_dag(random, 9, 0.35);
  const DomainOwner domain = strong_network(dag, random, 3);
  draw_cases(domain.get(), random, 800, 0.02);
  const Reordered reordered(domain, {4, 2, 8, 0, 1, 7, 6, 5, 3});
  for (const tv_structure_method_t method :
       {tv_structure_method_tests, tv_structure_method_greedy, tv_structure_method_exact}) {
    const Learner learner;
    tv_structure_learner_set_method(learner.get(), method);
    tv_structure_learner_set_restarts(learner.get(), 2);
    const StructureOwner first = learn(domain.get(), learner);
    const StructureOwner second = learn(reordered.other.get(), learner);
    tv_structure_learner_set_concurrency_level(learner.get(), 3);
    const StructureOwner third = learn(reordered.other.get(), learner);
    for (const StructureOwner* other : {&second, &third}) {
      EXPECT_EQ(first->graph, (*other)->graph);
      EXPECT_EQ(first->score, (*other)->score);
      EXPECT_EQ(first->findings.p_values, (*other)->findings.p_values);
      EXPECT_EQ(first->findings.separators, (*other)->findings.separators);
      EXPECT_EQ(first->findings.tests, (*other)->findings.tests);
    }
  }
}

// A chain a -> b -> c, by what a host is told.
TEST(LearnByTests, TellsWhatSeparates) {
  Generator random(3);
  PartialGraph chain(3);
  chain.direct(0, 1);
  chain.direct(1, 2);
  const DomainOwner domain = strong_network(chain, random, 3);
  draw_cases(domain.get(), random, 5000);
  const Learner learner;
  const StructureOwner structure = learn(domain.get(), learner);
  size_t count = 0;
  const size_t* const separator = tv_structure_get_separating_set(structure.get(), 2, 0, &count);
  ASSERT_TRUE(separator);
  ASSERT_EQ(count, 1u);
  EXPECT_EQ(separator[0], 1u);
  EXPECT_GT(tv_structure_get_p_value(structure.get(), 0, 2), 0.05);
  EXPECT_LE(tv_structure_get_p_value(structure.get(), 0, 1), 0.05);
  EXPECT_EQ(tv_structure_get_number_of_tests(structure.get()), 6u);  // three pairs, then each given the third
  tv_structure_learner_set_max_conditioning_size(learner.get(), 0);
  const StructureOwner dense = learn(domain.get(), learner);
  EXPECT_EQ(tv_structure_get_number_of_links(dense.get()), 3u);
  EXPECT_EQ(tv_structure_get_number_of_tests(dense.get()), 3u);
  tv_structure_learner_set_cases_per_degree(learner.get(), 5000);
  const StructureOwner refused = learn(domain.get(), learner);
  EXPECT_EQ(tv_structure_get_number_of_refused_tests(refused.get()), 3u);
  EXPECT_EQ(tv_structure_get_number_of_links(refused.get()), 3u);
}

// A neighbour with many states can be in no set that separates; where it is the only one that could, the link
// stays. Others are tested as if it were not there.
TEST(LearnByTests, LeavesOutNeighborsWithTooManyStates) {
  Generator random(6);
  PartialGraph fork(3);  // a <- b -> c
  fork.direct(1, 0);
  fork.direct(1, 2);
  const DomainOwner domain = strong_network(fork, random, 4);
  draw_cases(domain.get(), random, 1000);
  const Learner learner;
  tv_structure_learner_set_cases_per_degree(learner.get(), 1000.0 / (3 * 3 * 4));
  EXPECT_EQ(shown(graph_of(learn(domain.get(), learner))), "0-1 1-2 ");
  tv_structure_learner_set_cases_per_degree(learner.get(), 1000.0 / (3 * 3 * 4) + 1);
  const StructureOwner structure = learn(domain.get(), learner);
  EXPECT_EQ(shown(graph_of(structure)), "0-1 0-2 1-2 ");
  EXPECT_EQ(tv_structure_get_number_of_tests(structure.get()), 3u);
  EXPECT_EQ(tv_structure_get_number_of_refused_tests(structure.get()), 6u);  // of each pair, on both sides
}

TEST(LearnByTests, ConstantColumnsHaveNoLinks) {
  Generator random(4);
  const DomainOwner domain = strong_network(random_dag(random, 4, 0.8), random);
  tv_node_t* const constant = add_node(domain.get(), "constant", 3);
  draw_cases(domain.get(), random, 500);
  for (size_t row = 0; row < 500; ++row) tv_node_set_case_state(constant, row, 1);
  for (const tv_structure_method_t method :
       {tv_structure_method_tests, tv_structure_method_greedy, tv_structure_method_exact}) {
    const Learner learner;
    tv_structure_learner_set_method(learner.get(), method);
    const StructureOwner structure = learn(domain.get(), learner);
    EXPECT_TRUE(
        structure->graph.adjacent(tv_structure_get_node_by_name(structure.get(), "constant")).empty());
  }
}

int stop_at(const char* task, double, void* left) {
  EXPECT_STREQ(task, "learning the structure");
  return (*static_cast<int*>(left))-- <= 0;
}

TEST(LearnByTests, StopsWhenAsked) {
  Generator random(5);
  const DomainOwner domain = strong_network(random_dag(random, 8, 0.5), random);
  draw_cases(domain.get(), random, 300);
  size_t finished = 0;
  for (const tv_structure_method_t method : {tv_structure_method_tests, tv_structure_method_exact})
    for (int steps = 0; steps < 200; steps += 20) {
      int left = steps;
      tv_domain_set_progress_handler(domain.get(), stop_at, &left);
      const Learner learner;
      tv_structure_learner_set_method(learner.get(), method);
      const StructureOwner structure(tv_domain_learn_structure(domain.get(), learner.get()));
      if (structure)
        ++finished;
      else
        EXPECT_EQ(tv_error_code(), tv_status_error);
    }
  EXPECT_LT(finished, 20u);
}

// A triple whose one end has forty neighbors: the tests given all sets of these would never end.
struct Hub {
  static constexpr size_t kSize = 43;  // a hub, what it has in common with the last node, and forty others
  Hub() : oracle(PartialGraph(kSize)) {
    structure.graph = PartialGraph(kSize);
    for (size_t node = 1; node + 1 < kSize; ++node) structure.graph.join(0, node);
    structure.graph.join(1, kSize - 1);
    const size_t pairs = kSize * (kSize - 1) / 2;
    structure.findings.p_values.assign(pairs, 0.0);
    structure.findings.separators.assign(pairs, {});
    structure.findings.is_separated.assign(pairs, false);
    structure.findings.is_separated[tv::PairFindings::place(0, kSize - 1)] = true;
    tv_structure_learner_set_collider_rule(oracle.learner.get(), tv_collider_rule_majority);
  }
  tv_status_t direct(const tv::SkeletonSearch& search) {
    tv::ProgressMeter progress(*oracle.domain, "learning the structure", 0);
    tv::AmbiguousTriples ambiguous;
    return tv::direct_colliders(search, progress, structure, ambiguous);
  }
  Oracle oracle;
  tv::Structure structure;
};

tv::TestResult depend(void*, size_t, size_t, size_t, std::span<const uint32_t>) { return {}; }

TEST(LearnByTests, StopsAmongTheNeighborsOfAHub) {
  Hub hub;
  const tv::IndependenceTest test{depend, nullptr};
  const tv::SkeletonSearch search{hub.oracle.problem, test, std::vector<bool>(Hub::kSize, true)};
  int left = 100;
  tv_domain_set_progress_handler(hub.oracle.domain.get(), stop_at, &left);
  EXPECT_EQ(hub.direct(search), tv_status_error);
}

TEST(LearnByTests, EndsWhereNoTestOfASizeIsPossible) {
  Hub hub;
  const tv::IndependenceTest test{depend, nullptr};
  const tv::SkeletonSearch search{hub.oracle.problem,
                                  test,
                                  std::vector<bool>(Hub::kSize, true),
                                  1,
                                  5.0,
                                  std::vector<size_t>(Hub::kSize, 2)};
  EXPECT_EQ(hub.direct(search), tv_status_none);
  EXPECT_LT(hub.structure.findings.tests, 1000u);  // given two nodes with two states each at most
}

}  // namespace
}  // namespace test
