// Draws from networks of discrete nodes against the joint distribution by definition.

#include <tarvo.h>

#include "analysis/fit.h"
#include "support/builders.h"
#include "support/oracle.h"
#include "support/sparse.h"

namespace test {
namespace {

using Nodes = std::vector<tv_node_t*>;

// How often each configuration is among the cases, the last node fastest.
std::vector<double> counts_of(tv_domain_t* domain, const Nodes& nodes) {
  size_t configurations = 1;
  for (const tv_node_t* node : nodes) configurations *= tv_node_get_number_of_states(node);
  std::vector<double> counts(configurations, 0.0);
  for (size_t i = 0; i < tv_domain_get_number_of_cases(domain); ++i) {
    size_t configuration = 0;
    for (const tv_node_t* node : nodes)
      configuration = configuration * tv_node_get_number_of_states(node) + tv_node_get_case_state(node, i);
    ++counts[configuration];
  }
  return counts;
}

std::vector<double> drawn_counts(tv_domain_t* domain, const Nodes& nodes, size_t count) {
  tv_domain_set_number_of_cases(domain, 0);
  EXPECT_EQ(tv_domain_simulate_cases(domain, count, 0), tv_status_none) << tv_error_message();
  return counts_of(domain, nodes);
}

void expect_fit(tv_domain_t* domain, size_t count) {
  const Oracle oracle(domain);
  std::vector<size_t> all(oracle.nodes().size());
  std::iota(all.begin(), all.end(), size_t{0});
  const Vector joint = oracle.marginal(all, oracle.entered(), kSum);
  EXPECT_LT(chi_square_excess(drawn_counts(domain, oracle.nodes(), count),
                              std::vector<double>(joint.begin(), joint.end())),
            5.0);
}

// The states of so many configurations, drawn one by one.
std::vector<size_t> draw_states(tv_domain_t* domain, size_t count) {
  std::vector<size_t> states;
  for (size_t i = 0; i < count; ++i) {
    EXPECT_EQ(tv_domain_simulate(domain), tv_status_none) << tv_error_message();
    for (const tv_node_t* node : nodes_of(domain)) states.push_back(tv_node_get_sampled_state(node));
  }
  return states;
}

TEST(Simulation, CasesFollowTheJointDistributionGivenTheEvidence) {
  Generator random(11);
  int possible = 0;
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    const DomainOwner domain = random_network(random, round % 3 ? Values::zeros : Values::positive);
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    if (round % 4 == 1) tv_domain_compress(domain.get());
    for (tv_node_t* node : nodes_of(domain.get()))
      if (random.chance(0.5)) change_evidence(random, node, Findings::any);
    if (propagate(domain.get())) {
      EXPECT_EQ(tv_domain_simulate(domain.get()), tv_status_no_equilibrium);
      continue;
    }
    ++possible;
    expect_fit(domain.get(), 6000);
  }
  EXPECT_GT(possible, 130);
}

TEST(Simulation, NeedsNoCompilationWithoutEvidence) {
  Generator random(12);
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    const DomainOwner domain = random_network(random, Values::zeros);
    expect_fit(domain.get(), 4000);
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);  // normalises the tables
    tv_domain_seed_random(domain.get(), 3);
    const std::vector<size_t> compiled = draw_states(domain.get(), 20);
    tv_domain_uncompile(domain.get());
    tv_domain_seed_random(domain.get(), 3);
    EXPECT_EQ(draw_states(domain.get(), 20), compiled);
  }
}

// One by one, in bulk, or on a domain of its own: a seed means the same configurations.
TEST(Simulation, ASeedMeansTheSameDraws) {
  Generator random(13);
  for (int round = 0; round < 20; ++round) {
    const DomainOwner domain = random_network(random, Values::positive);
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    const Nodes nodes = nodes_of(domain.get());
    for (tv_node_t* node : nodes)
      if (random.chance(0.3)) change_evidence(random, node, Findings::positive);
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    tv_domain_set_concurrency_level(domain.get(), round % 2 ? 4 : 1);
    tv_domain_seed_random(domain.get(), 99);
    const std::vector<size_t> singly = draw_states(domain.get(), 30);
    tv_domain_seed_random(domain.get(), 99);
    ASSERT_EQ(tv_domain_simulate_cases(domain.get(), 10, 0), tv_status_none);
    ASSERT_EQ(tv_domain_simulate_cases(domain.get(), 20, 0), tv_status_none);
    std::vector<size_t> in_bulk;
    for (size_t i = 0; i < 30; ++i)
      for (const tv_node_t* node : nodes) in_bulk.push_back(tv_node_get_case_state(node, i));
    EXPECT_EQ(in_bulk, singly);
  }
}

// The fixed sequence of a seed: what it is must never change.
TEST(Simulation, DrawsByTheCumulativeSumsInTheOrderOfTheStates) {
  const DomainOwner domain = new_domain(), deviates = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 3, {}, {0.2f, 0.0f, 0.8f});
  tv_node_t* b = add_node(domain.get(), "b", 2, {a}, {0.5f, 0.5f, 1, 0, 0.1f, 0.9f});
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(tv_domain_simulate(domain.get()), tv_status_none);
    const size_t state = tv_domain_get_uniform_deviate(deviates.get()) < 0.2 ? 0 : 2;
    ASSERT_EQ(tv_node_get_sampled_state(a), state);
    const double first = state == 0 ? 0.5 : 0.1;
    ASSERT_EQ(tv_node_get_sampled_state(b), tv_domain_get_uniform_deviate(deviates.get()) < first ? 0U : 1U);
  }
}

// The findings make both states of the cause about equally probable, each by a thousand steps beyond the
// range of doubles.
TEST(Simulation, SurvivesEvidenceBeyondTheRangeOfDoubles) {
  const DomainOwner domain = new_domain();
  tv_node_t* cause = add_node(domain.get(), "cause", 2, {}, {0.25f, 0.75f});
  for (int i = 0; i < 200; ++i) {
    const float rare = 1e-20f;
    tv_node_t* effect = i < 100 ? add_node(domain.get(), nullptr, 2, {cause}, {1, rare, 1, 1})
                                : add_node(domain.get(), nullptr, 2, {cause}, {1, 1, 1, rare});
    ASSERT_EQ(tv_node_select_state(effect, 1), tv_status_none);
  }
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none) << tv_error_message();
  const std::vector<double> counts = drawn_counts(domain.get(), {cause}, 20000);
  EXPECT_NEAR(counts[0] / 20000, tv_node_get_belief(cause, 0), 0.015);
  EXPECT_NEAR(counts[0] / 20000, 0.25, 0.015);
}

// Rows with many states are searched by halves, and tables with many rows are not kept.
TEST(Simulation, OfLargeTables) {
  constexpr size_t kStates = 300;
  const DomainOwner domain = new_domain();
  std::vector<float> weights(kStates), copies(kStates * kStates, 0.0f);
  Generator random(14);
  for (size_t s = 0; s < kStates; ++s) {
    weights[s] = s % 3 == 1 ? 0.0f : static_cast<float>(random.uniform());
    copies[s * kStates + (s + 1) % kStates] = 1.0f;
  }
  weights.back() = 0.0f;
  tv_node_t* first = add_node(domain.get(), "first", kStates, {}, weights);
  tv_node_t* next = add_node(domain.get(), "next", kStates, {first}, copies);
  EXPECT_LT(chi_square_excess(drawn_counts(domain.get(), {first}, 50000),
                              std::vector<double>(weights.begin(), weights.end())),
            5.0);
  for (size_t i = 0; i < 50000; ++i)
    ASSERT_EQ(tv_node_get_case_state(next, i), (tv_node_get_case_state(first, i) + 1) % kStates);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_select_state(next, 3);
  ASSERT_EQ(propagate(domain.get()), tv_status_none);
  EXPECT_EQ(drawn_counts(domain.get(), {first}, 100)[2], 100);
}

// What was propagated counts; not what is entered meanwhile.
TEST(Simulation, FollowsTheLastPropagation) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2, {}, {0.5f, 0.5f});
  tv_node_t* other = add_node(domain.get(), "other", 3, {}, {0.2f, 0.3f, 0.5f});
  tv_node_t* b = add_node(domain.get(), "b", 2, {a, other}, {1, 0, 1, 0, 1, 0, 0, 1, 0, 1, 0, 1});
  tv_domain_compile(domain.get());
  const auto draws_of_a = [&] { return drawn_counts(domain.get(), {a}, 100); };
  tv_node_select_state(b, 1);
  EXPECT_GT(draws_of_a()[0], 20);
  propagate(domain.get());
  EXPECT_EQ(draws_of_a()[1], 100);
  tv_node_select_state(b, 0);
  EXPECT_EQ(draws_of_a()[1], 100);
  propagate(domain.get());
  EXPECT_EQ(draws_of_a()[0], 100);
  set_table(b, {0, 1, 0, 1, 0, 1, 1, 0, 1, 0, 1, 0});
  EXPECT_EQ(tv_domain_simulate(domain.get()), tv_status_no_equilibrium);
  propagate(domain.get());
  EXPECT_EQ(draws_of_a()[1], 100);
  tv_node_retract_findings(b);
  propagate(domain.get());
  EXPECT_GT(draws_of_a()[0], 20);

  // The layout of a table changes while few of its rows have been drawn from, not what it says.
  propagate(domain.get());
  tv_node_touch_table(b);
  propagate(domain.get());
  ASSERT_EQ(tv_domain_simulate(domain.get()), tv_status_none);
  tv_node_t* order[] = {other, a, b, nullptr};
  ASSERT_EQ(tv_table_reorder_nodes(tv_node_get_table(b), order), tv_status_none);
  const std::vector<double> both = drawn_counts(domain.get(), {a, b}, 100);
  EXPECT_EQ(both[0] + both[3], 0);
}

TEST(Simulation, OfChainGraphs) {
  const DomainOwner domain(tv_net_parse_domain(
      "net {} node P { states = (\"0\" \"1\"); } node A { states = (\"0\" \"1\"); } node B { states = (\"0\" "
      "\"1\" \"2\"); } node C { states = (\"0\" \"1\"); } potential (P) { data = (0.3 0.7); } potential (A B "
      "| "
      "P) { data = (((1 2 3) (4 0 6)) ((3 1 1) (1 5 2))); } potential (C | B) { data = ((0.9 0.1) (0.5 0.5) "
      "(0.2 0.8)); }",
      nullptr, nullptr));
  ASSERT_TRUE(domain) << tv_error_message();
  EXPECT_EQ(tv_domain_simulate(domain.get()), tv_status_not_compiled);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none) << tv_error_message();
  Nodes nodes;
  for (const char* name : {"P", "A", "B", "C"})
    nodes.push_back(tv_domain_get_node_by_name(domain.get(), name));
  const double cause[] = {0.3, 0.7}, joint[2][6] = {{1, 2, 3, 4, 0, 6}, {3, 1, 1, 1, 5, 2}}, sum[] = {16, 13},
               effect[3][2] = {{0.9, 0.1}, {0.5, 0.5}, {0.2, 0.8}};
  for (const bool is_known : {false, true}) {
    if (is_known) {
      tv_node_select_state(nodes[3], 1);
      ASSERT_EQ(propagate(domain.get()), tv_status_none);
    }
    std::vector<double> weights;
    for (size_t p = 0; p < 2; ++p)
      for (size_t ab = 0; ab < 6; ++ab)
        for (size_t c = 0; c < 2; ++c)
          weights.push_back(is_known && c == 0 ? 0 : cause[p] * joint[p][ab] / sum[p] * effect[ab % 3][c]);
    EXPECT_LT(chi_square_excess(drawn_counts(domain.get(), nodes, 20000), weights), 5.0);
  }
}

// ---- Functions, utilities and decisions ----

struct Model {
  Model() : domain(new_domain()) {
    size = add_node(domain.get(), "size", 3, {}, {0.2f, 0.3f, 0.5f});
    tv_node_set_subtype(size, tv_subtype_number);
    for (size_t s = 0; s < 3; ++s) tv_node_set_state_value(size, s, 10.0 * static_cast<double>(s));
    choice = tv_domain_new_node(domain.get(), tv_category_decision, tv_kind_discrete);
    tv_node_set_name(choice, "choice");
    tv_node_set_number_of_states(choice, 2);
    tv_node_add_parent(choice, size);
    set_table(choice, {1, 0, 0.5f, 0.5f, 0, 1});
    gain = tv_domain_new_node(domain.get(), tv_category_utility, tv_kind_other);
    tv_node_set_name(gain, "gain");
    tv_node_add_parent(gain, choice);
    tv_node_add_parent(gain, size);  // comes to the front
    set_table(gain, {1, 2, 3, 4, 5, 6});
    root = add_function("root", "sqrt (size - 5) + gain", {size, gain});
    twice = add_function("twice", "2 * root", {root});
  }

  tv_node_t* add_function(const char* name, const char* text, std::initializer_list<tv_node_t*> parents) {
    tv_node_t* node = tv_domain_new_node(domain.get(), tv_category_function, tv_kind_other);
    tv_node_set_name(node, name);
    for (tv_node_t* parent : parents) tv_node_add_parent(node, parent);
    tv_node_t* const none = nullptr;
    tv_model_t* model = tv_node_new_model(node, const_cast<tv_node_t**>(&none));
    tv_model_set_expression(model, 0, tv_string_to_expression(text, domain.get(), nullptr, nullptr));
    return node;
  }

  void check_draw() const {
    ASSERT_EQ(tv_domain_simulate(domain.get()), tv_status_none) << tv_error_message();
    const size_t state = tv_node_get_sampled_state(size), chosen = tv_node_get_sampled_state(choice);
    EXPECT_EQ(tv_node_get_sampled_value(size), 10.0 * static_cast<double>(state));
    const double utility = static_cast<double>(1 + 2 * state + chosen);
    EXPECT_EQ(tv_node_get_sampled_utility(gain), utility);
    if (state == 0) {  // the root of a negative number
      for (const tv_node_t* node : {root, twice}) {
        EXPECT_EQ(tv_node_get_sampled_value(node), -1.0);
        EXPECT_EQ(tv_error_code(), tv_status_no_value);
      }
      return;
    }
    const double value = std::sqrt(10.0 * static_cast<double>(state) - 5) + utility;
    EXPECT_DOUBLE_EQ(tv_node_get_sampled_value(root), value);
    EXPECT_DOUBLE_EQ(tv_node_get_sampled_value(twice), 2 * value);
  }

  DomainOwner domain;
  tv_node_t *size, *choice, *gain, *root, *twice;
};

TEST(Simulation, GivesFunctionsAndUtilitiesTheirValues) {
  const Model model;
  for (int i = 0; i < 50; ++i) model.check_draw();
  ASSERT_EQ(tv_domain_compile(model.domain.get()), tv_status_none) << tv_error_message();
  for (int i = 0; i < 50; ++i) {
    model.check_draw();
    const size_t state = tv_node_get_sampled_state(model.size);
    if (state != 1) {
      EXPECT_EQ(tv_node_get_sampled_state(model.choice), state / 2) << "not the policy";
    }
  }
  // A decision that is made tells nothing about its parents.
  tv_node_select_state(model.choice, 0);
  ASSERT_EQ(propagate(model.domain.get()), tv_status_none);
  EXPECT_LT(chi_square_excess(drawn_counts(model.domain.get(), {model.size, model.choice}, 10000),
                              {0.2, 0, 0.3, 0, 0.5, 0}),
            5.0);
}

// ---- Cases and data sets ----

TEST(Simulation, CasesComeBehindThoseThatAreThereWithCellsLeftOut) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2, {}, {0.5f, 0.5f});
  tv_node_t* b = add_node(domain.get(), "b", 2);
  tv_node_t* x = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  tv_domain_new_case(domain.get());
  tv_domain_new_case(domain.get());
  tv_domain_set_case_count(domain.get(), 1, 7);
  tv_node_set_case_state(b, 0, 1);
  tv_node_set_case_value(x, 1, 12.5);
  constexpr size_t kCount = 20000;
  ASSERT_EQ(tv_domain_simulate_cases(domain.get(), kCount, 0.25), tv_status_none);
  ASSERT_EQ(tv_domain_get_number_of_cases(domain.get()), kCount + 2);
  EXPECT_EQ(tv_domain_get_case_count(domain.get(), 1), 7);
  EXPECT_EQ(tv_domain_get_case_count(domain.get(), 2), 1);
  EXPECT_EQ(tv_node_get_case_state(b, 0), 1U);
  EXPECT_EQ(tv_node_get_case_value(x, 1), 12.5);
  for (tv_node_t* node : {a, x}) EXPECT_FALSE(tv_node_case_is_set(node, 0));
  for (tv_node_t* node : {a, b, x}) {
    double known = 0;
    for (size_t i = 2; i < kCount + 2; ++i) known += tv_node_case_is_set(node, i);
    EXPECT_NEAR(known / kCount, 0.75, 0.015);
  }
  ASSERT_EQ(tv_domain_simulate_cases(domain.get(), 10, 1), tv_status_none);
  EXPECT_FALSE(tv_node_case_is_set(a, kCount + 5));
  EXPECT_EQ(tv_node_get_sampled_state(a), static_cast<size_t>(-1)) << "bulk draws are not read singly";
  EXPECT_EQ(tv_error_code(), tv_status_no_value);
}

TEST(Simulation, DataSetsHoldWhatCasesWould) {
  Generator random(15);
  for (int round = 0; round < 10; ++round) {
    const DomainOwner domain = random_network(random, Values::zeros);
    tv_node_t* x = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
    tv_node_set_name(x, "x");
    const auto text_of = [](tv_data_set_t* data) {
      char* text = tv_data_set_to_csv_string(data, ',');
      const std::string copy = text ? text : "";
      std::free(text);
      tv_data_set_delete(data);
      return copy;
    };
    tv_domain_seed_random(domain.get(), 5);
    const std::string direct = text_of(tv_domain_simulate_data_set(domain.get(), 40, 0.2));
    EXPECT_EQ(tv_domain_get_number_of_cases(domain.get()), 0U);
    tv_domain_seed_random(domain.get(), 5);
    ASSERT_EQ(tv_domain_simulate_cases(domain.get(), 40, 0.2), tv_status_none);
    EXPECT_EQ(direct, text_of(tv_domain_cases_to_data_set(domain.get())));
    EXPECT_GT(direct.size(), 40U);
  }
}

// ---- Refusals ----

TEST(Simulation, ARefusedCallLeavesEverythingAsItWas) {
  const DomainOwner domain = new_domain();
  tv_domain_t* const net = domain.get();
  tv_node_t* a = add_node(net, "a", 2, {}, {0.5f, 0.5f});
  tv_node_t* b = add_node(net, "b", 2, {a}, {0.5f, 0.5f, 0.25f, 0.75f});
  EXPECT_EQ(tv_node_get_sampled_state(a), static_cast<size_t>(-1));
  EXPECT_EQ(tv_error_code(), tv_status_no_value);
  ASSERT_EQ(tv_domain_simulate(net), tv_status_none);
  const size_t state = tv_node_get_sampled_state(a);
  const DomainOwner other = new_domain();  // with the same deviates
  for (size_t i = 0; i < 2; ++i) tv_domain_get_uniform_deviate(other.get());
  const auto expect_refusal = [&](tv_status_t status) {
    EXPECT_EQ(tv_domain_simulate(net), status);
    EXPECT_EQ(tv_domain_simulate_cases(net, 3, 0.5), status);
    EXPECT_EQ(tv_domain_simulate_data_set(net, 3, 0.5), nullptr);
    EXPECT_EQ(tv_error_code(), status);
    EXPECT_EQ(tv_domain_get_number_of_cases(net), 0U);
    EXPECT_EQ(tv_node_get_sampled_state(a), state);
    EXPECT_EQ(tv_domain_get_uniform_deviate(net), tv_domain_get_uniform_deviate(other.get()));
  };
  tv_node_select_state(b, 1);
  expect_refusal(tv_status_not_compiled);
  tv_node_retract_findings(b);
  set_table(b, {0, 0, 1, 1});
  expect_refusal(tv_status_invalid_probability_potential);
  set_table(b, {0.5f, 0.5f, 0.25f, 0.75f});
  tv_domain_compile(net);
  tv_domain_propagate(net, tv_equilibrium_max, kNormal);
  expect_refusal(tv_status_usage);
  tv_node_select_state(b, 1);
  tv_domain_propagate(net, kSum, tv_evidence_fast_retraction);
  expect_refusal(tv_status_usage);
  propagate(net);
  tv_node_touch_table(a);
  expect_refusal(tv_status_no_equilibrium);
  propagate(net);
  tv_domain_set_memory_limit(net, 1);
  expect_refusal(tv_status_no_memory);
  tv_domain_set_memory_limit(net, 0);
  const auto stop = [](const char* task, double, void*) { return int(std::string(task) == "simulation"); };
  tv_domain_set_progress_handler(net, stop, nullptr);
  expect_refusal(tv_status_error);
  const auto stop_later = [](const char*, double fraction, void*) { return int(fraction > 0.5); };
  tv_domain_set_progress_handler(net, stop_later, nullptr);
  EXPECT_EQ(tv_domain_simulate_cases(net, 300, 0.5), tv_status_error);
  EXPECT_EQ(tv_domain_simulate_data_set(net, 300, 0.5), nullptr);
  EXPECT_EQ(tv_domain_get_number_of_cases(net), 0U);
  tv_domain_set_progress_handler(net, nullptr, nullptr);
  EXPECT_EQ(tv_domain_get_uniform_deviate(net), tv_domain_get_uniform_deviate(other.get()));
  for (const double share : {-0.1, 1.1, std::nan("")}) {
    EXPECT_EQ(tv_domain_simulate_cases(net, 3, share), tv_status_usage);
    EXPECT_EQ(tv_domain_simulate_data_set(net, 3, share), nullptr);
  }
  EXPECT_EQ(tv_domain_simulate_cases(net, static_cast<size_t>(-1), 0), tv_status_no_memory);
  EXPECT_EQ(tv_domain_simulate_cases(net, 0, 0), tv_status_none);

  EXPECT_EQ(tv_node_get_sampled_value(a), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_usage) << "labels are no numbers";
  EXPECT_EQ(tv_node_get_sampled_utility(a), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  tv_node_set_number_of_states(a, 3);
  EXPECT_EQ(tv_node_get_sampled_state(b), static_cast<size_t>(-1)) << "the structure has changed";
  tv_node_retract_findings(b);
  tv_node_set_number_of_states(a, 40000);
  EXPECT_EQ(tv_domain_simulate_cases(net, 1, 0), tv_status_case_state_too_large);
  EXPECT_EQ(tv_domain_simulate(net), tv_status_none);
}

}  // namespace
}  // namespace test
