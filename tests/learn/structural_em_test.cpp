// Structures from cases with missing cells, and how sure structures are.
#include "learn/structure/complete_cases_at_random.h"
#include "structure_world.h"

namespace test {
namespace {

// Three binary nodes in a chain, the middle one missing in all cases but some: what is drawn for it follows
// its distribution given both ends.
TEST(StructuralEm, CompletesFromTheJointDistribution) {
  const DomainOwner domain = new_domain();
  tv_node_t* const a = add_node(domain.get(), "a", 2, {}, {0.5f, 0.5f});
  tv_node_t* const b = add_node(domain.get(), "b", 2, {a}, {0.9f, 0.1f, 0.3f, 0.7f});
  tv_node_t* const c = add_node(domain.get(), "c", 2, {b}, {0.8f, 0.2f, 0.1f, 0.9f});
  constexpr size_t kCases = 20000;
  ASSERT_EQ(tv_domain_set_number_of_cases(domain.get(), kCases), tv_status_none);
  for (size_t row = 0; row < kCases; ++row) tv_node_set_case_state(a, row, row % 2);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv::ProgressMeter progress(*domain, "", 0);
  const DomainOwner twin(tv_domain_clone(domain.get()));
  ASSERT_EQ(tv_domain_compile(twin.get()), tv_status_none);
  ASSERT_EQ(tv::complete_cases_at_random(*domain, 5, 1, progress), tv_status_none);
  ASSERT_EQ(tv::complete_cases_at_random(*twin, 5, 3, progress), tv_status_none);
  double counts[2][2][2] = {};
  for (size_t row = 0; row < kCases; ++row) {
    ++counts[row % 2][tv_node_get_case_state(b, row)][tv_node_get_case_state(c, row)];
    EXPECT_EQ(tv_node_get_case_state(c, row),
              tv_node_get_case_state(tv_domain_get_node_by_name(twin.get(), "c"), row));
  }
  const double of_b[2][2] = {{0.9, 0.1}, {0.3, 0.7}}, of_c[2][2] = {{0.8, 0.2}, {0.1, 0.9}};
  for (size_t i = 0; i < 2; ++i)
    for (size_t j = 0; j < 2; ++j)
      for (size_t k = 0; k < 2; ++k) {
        const double expected = of_b[i][j] * of_c[j][k];
        EXPECT_NEAR(counts[i][j][k] / (kCases / 2), expected, 5 * std::sqrt(expected / (kCases / 2)));
      }
}

TEST(StructuralEm, FindsMoreThanCompleteCasesDo) {
  Generator random(19);
  const PartialGraph dag = random_dag(random, 7, 0.4);
  const DomainOwner domain = strong_network(dag, random);
  draw_cases(domain.get(), random, 600, 0.25);
  const Learner learner;
  tv_structure_learner_set_method(learner.get(), tv_structure_method_greedy);
  // The observed cells under what is learned from complete families alone.
  const StructureOwner available = learn(domain.get(), learner);
  const auto score = [&](const tv_structure_t* structure) {
    const DomainOwner copy(tv_domain_clone(domain.get()));
    EXPECT_EQ(tv_domain_set_structure(copy.get(), structure), tv_status_none);
    for (tv_node_t* node : nodes_of(copy.get())) EXPECT_TRUE(tv_node_get_experience_table(node));
    EXPECT_EQ(tv_domain_compile(copy.get()), tv_status_none);
    EXPECT_EQ(tv_domain_learn_tables(copy.get()), tv_status_none);
    return tv_domain_get_BIC(copy.get());
  };
  tv_structure_learner_set_max_completions(learner.get(), 5);
  const StructureOwner completed = learn(domain.get(), learner);
  const double best = tv_structure_get_score(completed.get());
  EXPECT_NEAR(best, score(completed.get()), 1e-6 * std::abs(best));
  EXPECT_GE(best, score(available.get()) - 1e-6 * std::abs(best));
  tv_structure_learner_set_concurrency_level(learner.get(), 2);
  const StructureOwner again = learn(domain.get(), learner);
  EXPECT_EQ(again->graph, completed->graph);
  EXPECT_EQ(again->score, completed->score);
}

// A round that explains the known cells worse is not kept.
TEST(StructuralEm, MoreRoundsAreNeverWorse) {
  Generator random(37);
  for (size_t i = 0; i < 6; ++i) {
    const DomainOwner domain = strong_network(random_dag(random, 6, 0.5), random);
    draw_cases(domain.get(), random, 120, 0.3);
    const Learner learner;
    tv_structure_learner_set_method(learner.get(), tv_structure_method_greedy);
    double last = -HUGE_VAL;
    for (size_t rounds = 1; rounds < 5; ++rounds) {
      tv_structure_learner_set_max_completions(learner.get(), rounds);
      const double score = tv_structure_get_score(learn(domain.get(), learner).get());
      EXPECT_GE(score, last) << i << ", " << rounds;
      last = score;
    }
  }
}

TEST(Bootstrap, CountsHowOftenLinksAreFound) {
  Generator random(28);
  PartialGraph dag(4);  // a -> c <- b, and d alone
  dag.direct(0, 2);
  dag.direct(1, 2);
  const DomainOwner domain = strong_network(dag, random, 3);
  draw_cases(domain.get(), random, 400);
  for (const tv_structure_method_t method : {tv_structure_method_tests, tv_structure_method_greedy}) {
    const Learner learner;
    tv_structure_learner_set_method(learner.get(), method);
    const std::unique_ptr<tv_bootstrap_t, decltype(&tv_bootstrap_delete)> bootstrap(
        tv_domain_bootstrap_structure(domain.get(), learner.get(), 40), tv_bootstrap_delete);
    ASSERT_TRUE(bootstrap) << tv_error_message();
    EXPECT_EQ(tv_bootstrap_get_number_of_samples(bootstrap.get()), 40u);
    const auto share = [&](size_t a, size_t b, tv_structure_link_t link) {
      return tv_bootstrap_get_frequency(bootstrap.get(), a, b, link);
    };
    for (size_t a = 0; a < 4; ++a)
      for (size_t b = 0; b < 4; ++b) {
        if (a == b) continue;
        double sum = 0.0;
        for (int link = tv_structure_link_none; link <= tv_structure_link_undirected; ++link)
          sum += share(a, b, static_cast<tv_structure_link_t>(link));
        EXPECT_NEAR(sum, 1.0, 1e-12);
        EXPECT_EQ(share(a, b, tv_structure_link_directed), share(b, a, tv_structure_link_reversed));
      }
    EXPECT_GT(share(0, 2, tv_structure_link_directed), 0.4);
    EXPECT_LT(share(2, 0, tv_structure_link_directed), 0.2);
    EXPECT_GT(share(0, 3, tv_structure_link_none), 0.6);
    const StructureOwner average(tv_bootstrap_new_structure(bootstrap.get(), 0.5));
    EXPECT_EQ(shown(graph_of(average)), "0->2 1->2 ");
    EXPECT_EQ(tv_bootstrap_get_frequency(bootstrap.get(), 1, 1, tv_structure_link_none), -1.0);
    EXPECT_FALSE(tv_bootstrap_new_structure(bootstrap.get(), 1.5));
  }
}

TEST(Bootstrap, RefusesWhatCannotBeCompared) {
  Generator random(1);
  const DomainOwner domain = strong_network(random_dag(random, 3, 0.5), random);
  draw_cases(domain.get(), random, 50);
  const Learner learner;
  EXPECT_FALSE(tv_domain_bootstrap_structure(domain.get(), learner.get(), 0));
  tv_structure_learner_set_max_completions(learner.get(), 1);
  EXPECT_FALSE(tv_domain_bootstrap_structure(domain.get(), learner.get(), 3));
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

}  // namespace
}  // namespace test
