// Asking the same question again: propagations from a reset with a set of observed nodes that was seen before
// use kept plans. Their answers, and those of everything that follows them, are the ones of a fresh domain.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/builders.h"

namespace test {
namespace {

struct Finding {
  size_t node;
  std::vector<float> values;
};
using Question = std::vector<Finding>;

void ask(tv_domain_t* domain, const Question& question) {
  const std::vector<tv_node_t*> nodes = nodes_of(domain);
  tv_domain_retract_findings(domain);
  for (const Finding& finding : question) enter_findings(nodes[finding.node], finding.values);
}

// The same nodes with other states and other likelihoods.
Question varied(Generator& random, const Question& question, bool hard) {
  Question result = question;
  for (Finding& finding : result) {
    const size_t state = random.below(finding.values.size());
    for (size_t s = 0; s < finding.values.size(); ++s)
      finding.values[s] = hard ? s == state : static_cast<float>(0.1 + random.uniform());
  }
  return result;
}

// The constant, all beliefs, and a weighted sum of each clique table.
std::vector<double> answers(tv_domain_t* domain) {
  std::vector<double> list = {tv_domain_get_log_normalization_constant(domain)};
  for (tv_node_t* node : nodes_of(domain))
    for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s)
      list.push_back(static_cast<double>(tv_node_get_belief(node, s)));
  for (tv_clique_t* clique = tv_domain_get_first_clique(domain); clique;
       clique = tv_clique_get_next(clique)) {
    double sum = 0;
    tv_table_t* table = tv_clique_get_probability_table(clique);
    for (size_t i = 0; i < tv_table_get_size(table); ++i)
      sum += static_cast<double>(tv_table_get_data(table)[i]) * static_cast<double>(1 + i % 7);
    list.push_back(sum);
  }
  return list;
}

// Another way to the same answer rounds otherwise: by some units of single precision.
void expect_same(const std::vector<double>& found, const std::vector<double>& expected) {
  ASSERT_EQ(found.size(), expected.size());
  for (size_t i = 0; i < found.size(); ++i)
    EXPECT_NEAR(found[i], expected[i], 2e-6 * std::max(std::abs(expected[i]), 1e-4)) << "answer " << i;
}

DomainOwner fresh_copy(tv_domain_t* domain, tv_equilibrium_t equilibrium) {
  DomainOwner fresh(tv_domain_clone(domain));
  tv_domain_compile(fresh.get());
  tv_domain_reset_inference_engine(fresh.get());
  EXPECT_EQ(tv_domain_propagate(fresh.get(), equilibrium, tv_evidence_normal), tv_status_none);
  return fresh;
}

void expect_answers_of_a_fresh_domain(tv_domain_t* domain, tv_equilibrium_t equilibrium) {
  expect_same(answers(domain), answers(fresh_copy(domain, equilibrium).get()));
}

// The constant is that of the step alone.
void expect_beliefs_of_a_fresh_domain(tv_domain_t* domain, tv_equilibrium_t equilibrium) {
  const DomainOwner fresh = fresh_copy(domain, equilibrium);
  std::vector<double> found = answers(domain), expected = answers(fresh.get());
  found[0] = expected[0] = 0.0;
  expect_same(found, expected);
}

Question random_question(Generator& random, tv_domain_t* domain) {
  Question question;
  const std::vector<tv_node_t*> nodes = nodes_of(domain);
  for (size_t n = 0; n < nodes.size(); ++n)
    if (random.chance(0.4))
      question.push_back({n, std::vector<float>(tv_node_get_number_of_states(nodes[n]))});
  return question;
}

class Repeated : public testing::TestWithParam<NetworkShape> {};

TEST_P(Repeated, QuestionsAreAnsweredAsByAFreshDomain) {
  for (uint64_t seed = 0; seed < 25; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_network(random, Values::positive, GetParam());
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    const std::vector<Question> questions = {random_question(random, domain.get()),
                                             random_question(random, domain.get())};
    for (int round = 0; round < 12; ++round) {
      const Question question = varied(random, questions[random.below(2)], random.chance(0.7));
      const tv_equilibrium_t equilibrium = random.chance(0.2) ? tv_equilibrium_max : tv_equilibrium_sum;
      ask(domain.get(), question);
      tv_domain_reset_inference_engine(domain.get());
      ASSERT_EQ(tv_domain_propagate(domain.get(), equilibrium, tv_evidence_normal), tv_status_none);
      if (random.chance(0.5)) expect_answers_of_a_fresh_domain(domain.get(), equilibrium);
      if (random.chance(0.3)) {  // one more finding, taken in on top of a kept plan
        tv_node_t* node = random.pick(nodes_of(domain.get()));
        tv_node_select_state(node, random.below(tv_node_get_number_of_states(node)));
        ASSERT_EQ(tv_domain_propagate(domain.get(), equilibrium, tv_evidence_normal), tv_status_none);
        expect_beliefs_of_a_fresh_domain(domain.get(), equilibrium);
      }
    }
    // Another layout of a potential makes kept plans useless.
    tv_node_t* node = nodes_of(domain.get()).back();
    tv_table_t* table = tv_node_get_table(node);
    std::vector<tv_node_t*> order(tv_table_get_nodes(table),
                                  tv_table_get_nodes(table) + count_nodes(tv_table_get_nodes(table)));
    std::reverse(order.begin(), order.end() - 1);
    order.push_back(nullptr);
    ASSERT_EQ(tv_table_reorder_nodes(table, order.data()), tv_status_none);
    ask(domain.get(), varied(random, questions[0], true));
    tv_domain_reset_inference_engine(domain.get());
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    expect_answers_of_a_fresh_domain(domain.get(), tv_equilibrium_sum);
  }
}

// A list of what to do that is kept gives the very bits of the one that was made first.
TEST_P(Repeated, QuestionsGetTheSameBits) {
  for (uint64_t seed = 100; seed < 115; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_network(random, Values::positive, GetParam());
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    const Question question = varied(random, random_question(random, domain.get()), random.chance(0.7));
    std::vector<float> first;
    for (int round = 0; round < 4; ++round) {
      ask(domain.get(), question);
      tv_domain_reset_inference_engine(domain.get());
      ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
      std::vector<float> beliefs;
      for (tv_node_t* node : nodes_of(domain.get()))
        for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s)
          beliefs.push_back(tv_node_get_belief(node, s));
      if (round == 0) first = beliefs;
      EXPECT_EQ(beliefs, first) << "in round " << round;
    }
  }
}

// A node without a table counts as uniform, also in a kept plan; then it gets one. A layout that changed is
// noticed too when another question or fast retraction comes in between.
TEST(RepeatedQuestions, PlansFollowTablesAndLayouts) {
  const DomainOwner domain = new_domain();
  tv_node_t* bare = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
  ASSERT_EQ(tv_node_set_number_of_states(bare, 2), tv_status_none);
  tv_node_t* other = add_node(domain.get(), "other", 3, {}, {0.2f, 0.3f, 0.5f});
  tv_node_t* effect = add_node(domain.get(), "effect", 2, {bare, other},
                               {0.9f, 0.1f, 0.4f, 0.6f, 0.2f, 0.8f, 0.3f, 0.7f, 0.6f, 0.4f, 0.1f, 0.9f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const auto compare = [&](tv_evidence_mode_t mode) {
    ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, mode), tv_status_none);
    if (mode == tv_evidence_normal) expect_answers_of_a_fresh_domain(domain.get(), tv_equilibrium_sum);
  };
  for (int round = 0; round < 4; ++round) compare(tv_evidence_normal);
  set_table(bare, {0.1f, 0.9f});
  for (int round = 0; round < 4; ++round) compare(tv_evidence_normal);
  tv_table_t* table = tv_node_get_table(effect);
  for (bool asks_otherwise : {false, true}) {
    tv_node_t* order[] = {tv_table_get_nodes(table)[1], tv_table_get_nodes(table)[0], effect, nullptr};
    ASSERT_EQ(tv_table_reorder_nodes(table, order), tv_status_none);
    if (asks_otherwise) tv_node_select_state(effect, 1);
    compare(asks_otherwise ? tv_evidence_normal : tv_evidence_fast_retraction);
    tv_node_retract_findings(effect);
    for (int round = 0; round < 3; ++round) compare(tv_evidence_normal);
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, Repeated,
                         testing::Values(NetworkShape{}, NetworkShape{.max_nodes = 9,
                                                                      .max_joint = 120000,
                                                                      .max_states = 7,
                                                                      .max_parents = 6,
                                                                      .link_chance = 0.9}));

}  // namespace
}  // namespace test
