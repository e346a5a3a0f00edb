// Learning from one observation after the other, against posteriors by enumeration and moments of mixtures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <string>

#include "support/builders.h"
#include "support/oracle.h"

namespace test {
namespace {

std::vector<float> numbers_of(tv_table_t* table) {
  return {tv_table_get_data(table), tv_table_get_data(table) + tv_table_get_size(table)};
}
std::vector<float> table_of(tv_node_t* node) { return numbers_of(tv_node_get_table(node)); }
std::vector<float> experience_of(tv_node_t* node) { return numbers_of(tv_node_get_experience_table(node)); }

void fill(tv_table_t* table, const std::vector<float>& numbers) {
  ASSERT_EQ(tv_table_get_size(table), numbers.size());
  std::copy(numbers.begin(), numbers.end(), tv_table_get_data(table));
}
void set_experience(tv_node_t* node, const std::vector<float>& numbers) {
  fill(tv_node_get_experience_table(node), numbers);
}
void set_fading(tv_node_t* node, const std::vector<float>& numbers) {
  fill(tv_node_get_fading_table(node), numbers);
}

tv_status_t propagate(const DomainOwner& domain) {
  return tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal);
}
void ready(const DomainOwner& domain) {
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_EQ(propagate(domain), tv_status_none) << tv_error_message();
}

// What changes and what must not: tables, experience, and whether there is anything to propagate.
std::string text_of(const DomainOwner& domain) {
  char* text = tv_domain_to_net_string(domain.get());
  std::string result = text ? text : tv_error_message();
  std::free(text);
  return result + std::to_string(tv_domain_tables_to_propagate(domain.get()));
}

// One configuration by the raw moments of the mixture: E[p] = a / t and E[p p] = a (a + 1) / (t (t + 1)) in
// each component with the count a among the total t.
struct Moments {
  Vector means;
  Real experience;
};
Moments mixture(const Vector& means, Real experience, const Vector& outcomes) {
  Moments result{Vector(means.size(), 0), 0};
  Real certainty = 0, numerator = 0, denominator = 0;
  for (const Real q : outcomes) certainty += q;
  for (size_t x = 0; x < means.size(); ++x) {
    const Real count = experience * means[x];
    const auto first = [](Real a, Real t) { return a / t; };
    const auto second = [](Real a, Real t) { return a * (a + 1) / (t * (t + 1)); };
    Real squares = (1 - certainty) * second(count, experience);
    result.means[x] = (1 - certainty) * first(count, experience);
    for (size_t y = 0; y < means.size(); ++y) {
      result.means[x] += outcomes[y] * first(count + (x == y), experience + 1);
      squares += outcomes[y] * second(count + (x == y), experience + 1);
    }
    const Real mean = result.means[x];
    numerator += mean * mean * (1 - mean);
    denominator += mean * (squares - mean * mean);
  }
  // All on one state that has been observed: nothing is left to vary.
  const bool is_certain = *std::max_element(result.means.begin(), result.means.end()) > 1 - 1e-15L;
  result.experience = is_certain ? experience + certainty : numerator / denominator - 1;
  return result;
}

// Positive experience for most configurations of most nodes, and fading for some.
void give_experience(Generator& random, const std::vector<tv_node_t*>& nodes, bool fading) {
  for (tv_node_t* node : nodes) {
    if (node != nodes.front() && random.chance(0.2)) continue;
    tv_table_t* experience = tv_node_get_experience_table(node);
    for (size_t i = 0; i < tv_table_get_size(experience); ++i)
      tv_table_get_data(experience)[i] = random.chance(0.2) ? -static_cast<float>(random.below(2))
                                                            : static_cast<float>(random.uniform() * 20);
    if (!fading || random.chance(0.3)) continue;
    tv_table_t* factors = tv_node_get_fading_table(node);
    for (size_t i = 0; i < tv_table_get_size(factors); ++i)
      tv_table_get_data(factors)[i] = static_cast<float>(0.05 + 0.95 * random.uniform());
  }
}

// By node the numbers and the experience that an adaptation should leave.
struct Expected {
  std::vector<Vector> numbers, experience;
};

Expected expected_after(const DomainOwner& domain) {
  const Oracle oracle(domain.get());
  const std::vector<tv_node_t*>& nodes = oracle.nodes();
  const Real constant = oracle.constant(oracle.entered(), tv_equilibrium_sum);
  Expected result;
  for (size_t v = 0; v < nodes.size(); ++v) {
    const std::vector<float> table = table_of(nodes[v]);
    result.numbers.emplace_back(table.begin(), table.end());
    result.experience.emplace_back();
    if (tv_node_has_experience_table(nodes[v]) != 1) continue;
    const std::vector<float> experience = experience_of(nodes[v]);
    result.experience.back().assign(experience.begin(), experience.end());
    std::vector<size_t> family;
    for (tv_node_t** p = tv_node_get_parents(nodes[v]); *p; ++p)
      family.push_back(static_cast<size_t>(std::find(nodes.begin(), nodes.end(), *p) - nodes.begin()));
    family.push_back(v);
    const Vector joint = oracle.marginal(family, oracle.entered(), tv_equilibrium_sum);
    const size_t states = tv_node_get_number_of_states(nodes[v]);
    for (size_t c = 0; c < experience.size(); ++c) {
      Vector means, outcomes;
      Real sum = 0, certainty = 0;
      for (size_t s = 0; s < states; ++s) sum += table[c * states + s];
      for (size_t s = 0; s < states; ++s) {
        means.push_back(table[c * states + s] / sum);
        outcomes.push_back(joint[c * states + s] / constant);
        certainty += outcomes.back();
      }
      if (!(experience[c] > 0) || !(certainty > 0)) continue;
      Real e = experience[c];
      if (tv_node_has_fading_table(nodes[v]) == 1)
        e *= 1 - certainty + certainty * numbers_of(tv_node_get_fading_table(nodes[v]))[c];
      const Moments after = mixture(means, e, outcomes);
      for (size_t s = 0; s < states; ++s) result.numbers[v][c * states + s] = after.means[s];
      result.experience[v][c] = after.experience;
    }
  }
  return result;
}

void expect_close(const std::vector<float>& found, const Vector& expected, const char* name) {
  ASSERT_EQ(found.size(), expected.size());
  for (size_t i = 0; i < found.size(); ++i)
    EXPECT_NEAR(found[i], static_cast<double>(expected[i]),
                1e-5 * (1.0 + std::abs(static_cast<double>(expected[i]))))
        << name << " " << i;
}

TEST(Adaptation, AgreesWithMixturesOverEnumeratedPosteriors) {
  Generator random(11);
  for (int round = 0; round < 300 && !testing::Test::HasFailure(); ++round) {
    const DomainOwner domain =
        random_network(random, round % 3 ? Values::positive : Values::zeros, {6, 500, 4, 3, 0.5});
    const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
    give_experience(random, nodes, round % 2);
    ready(domain);
    for (tv_node_t* node : nodes)
      if (random.chance(0.6)) change_evidence(random, node, round % 4 ? Findings::positive : Findings::hard);
    if (propagate(domain)) continue;  // impossible
    const Expected expected = expected_after(domain);
    ASSERT_EQ(tv_domain_adapt(domain.get()), tv_status_none) << tv_error_message();
    for (size_t v = 0; v < nodes.size(); ++v) {
      expect_close(table_of(nodes[v]), expected.numbers[v], tv_node_get_name(nodes[v]));
      if (tv_node_has_experience_table(nodes[v]) == 1)
        expect_close(experience_of(nodes[v]), expected.experience[v], tv_node_get_name(nodes[v]));
    }
  }
}

// The two beta distributions of p after one outcome or the other, and the one without, integrated over
// p = sin^2 t, which leaves no singular ends.
TEST(Adaptation, HasTheMeanAndVarianceOfTheIntegratedMixture) {
  const DomainOwner domain = new_domain();
  tv_node_t* parent = add_node(domain.get(), "parent", 2, {}, {0.5f, 0.5f});
  tv_node_t* child = add_node(domain.get(), "child", 2, {parent}, {0.25f, 0.75f, 0.5f, 0.5f});
  set_experience(child, {6.0f, 0.0f});
  ready(domain);
  enter_findings(parent, {0.75f, 0.25f});
  enter_findings(child, {1.0f, 0.5f});
  ASSERT_EQ(propagate(domain), tv_status_none);
  // 0.75 x 0.25, 0.75 x 0.75 x 0.5, 0.25 x 0.5 and 0.25 x 0.5 x 0.5, over their sum.
  const double sum = 0.1875 + 0.28125 + 0.125 + 0.0625;
  const double outcomes[] = {0.1875 / sum, 0.28125 / sum};
  double norms[3] = {}, means[3] = {}, squares[3] = {};
  for (int i = 0; i < 20000; ++i) {
    const double t = (i + 0.5) / 20000 * M_PI / 2, p = std::sin(t) * std::sin(t);
    for (int k = 0; k < 3; ++k) {
      const double a = 1.5 + (k == 0), b = 4.5 + (k == 1);
      const double density = std::pow(p, a - 0.5) * std::pow(1 - p, b - 0.5);
      norms[k] += density, means[k] += density * p, squares[k] += density * p * p;
    }
  }
  const double weights[] = {outcomes[0], outcomes[1], 1 - outcomes[0] - outcomes[1]};
  double mean = 0, square = 0;
  for (int k = 0; k < 3; ++k)
    mean += weights[k] * means[k] / norms[k], square += weights[k] * squares[k] / norms[k];
  ASSERT_EQ(tv_domain_adapt(domain.get()), tv_status_none);
  EXPECT_NEAR(table_of(child)[0], mean, 1e-6);
  EXPECT_NEAR(table_of(child)[1], 1 - mean, 1e-6);
  EXPECT_NEAR(experience_of(child)[0], mean * (1 - mean) / (square - mean * mean) - 1, 1e-5);
  EXPECT_EQ(table_of(child)[2], 0.5f);
  EXPECT_EQ(experience_of(child)[1], 0.0f);
}

TEST(Adaptation, CountsCompleteObservationsAndTakesThemBack) {
  Generator random(12);
  const DomainOwner domain = random_network(random, Values::positive, {6, 300, 3, 2, 0.7});
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  ready(domain);
  std::vector<std::vector<double>> counts;
  std::vector<std::vector<float>> first_tables, first_experience;
  for (tv_node_t* node : nodes) {
    fill(tv_node_get_experience_table(node),
         std::vector<float>(tv_table_get_size(tv_node_get_experience_table(node)), 2.5f));
    first_tables.push_back(table_of(node));
    first_experience.push_back(experience_of(node));
    counts.emplace_back();
    for (const float number : first_tables.back()) counts.back().push_back(2.5 * static_cast<double>(number));
  }
  const auto observe = [&](const std::vector<size_t>& states, tv_status_t (*learn)(tv_domain_t*)) {
    for (size_t v = 0; v < nodes.size(); ++v) tv_node_select_state(nodes[v], states[v]);
    ASSERT_EQ(propagate(domain), tv_status_none);
    ASSERT_EQ(learn(domain.get()), tv_status_none) << tv_error_message();
  };
  std::vector<std::vector<size_t>> rows(60);
  for (std::vector<size_t>& row : rows) {
    for (tv_node_t* node : nodes) row.push_back(random.below(tv_node_get_number_of_states(node)));
    observe(row, tv_domain_adapt);
    for (size_t v = 0; v < nodes.size(); ++v) {
      size_t c = 0;
      for (tv_node_t** p = tv_node_get_parents(nodes[v]); *p; ++p)
        c = c * tv_node_get_number_of_states(*p) +
            row[static_cast<size_t>(std::find(nodes.begin(), nodes.end(), *p) - nodes.begin())];
      ++counts[v][c * tv_node_get_number_of_states(nodes[v]) + row[v]];
    }
  }
  for (size_t v = 0; v < nodes.size(); ++v) {
    const size_t states = tv_node_get_number_of_states(nodes[v]);
    const std::vector<float> table = table_of(nodes[v]), experience = experience_of(nodes[v]);
    for (size_t i = 0; i < table.size(); ++i) {
      double sum = 0;
      for (size_t s = 0; s < states; ++s) sum += counts[v][i / states * states + s];
      EXPECT_NEAR(experience[i / states], sum, 1e-4);
      EXPECT_NEAR(table[i], counts[v][i] / sum, 1e-5);
    }
  }
  std::shuffle(rows.begin(), rows.end(), std::minstd_rand(1));
  for (const std::vector<size_t>& row : rows) observe(row, tv_domain_unlearn);
  for (size_t v = 0; v < nodes.size(); ++v) {
    for (size_t i = 0; i < first_tables[v].size(); ++i)
      EXPECT_NEAR(table_of(nodes[v])[i], first_tables[v][i], 2e-5);
    for (size_t c = 0; c < first_experience[v].size(); ++c)
      EXPECT_NEAR(experience_of(nodes[v])[c], first_experience[v][c], 1e-4);
  }
}

TEST(Adaptation, FadesOldExperienceAsFarAsItWasObserved) {
  const DomainOwner domain = new_domain();
  tv_node_t* coin = add_node(domain.get(), "coin", 2, {}, {0.5f, 0.5f});
  set_experience(coin, {4.0f});
  set_fading(coin, {0.5f});
  ready(domain);
  tv_node_select_state(coin, 0);
  ASSERT_EQ(propagate(domain), tv_status_none);
  ASSERT_EQ(tv_domain_adapt(domain.get()), tv_status_none);
  EXPECT_FLOAT_EQ(experience_of(coin)[0], 3.0f);  // 4 x 0.5 + 1
  EXPECT_FLOAT_EQ(table_of(coin)[0], 2.0f / 3.0f);
  // The weight of observations tends to 1 / (1 - 0.5); what has faded is not taken out twice.
  for (int i = 0; i < 60; ++i) {
    ASSERT_EQ(propagate(domain), tv_status_none);
    ASSERT_EQ(tv_domain_adapt(domain.get()), tv_status_none);
  }
  EXPECT_NEAR(experience_of(coin)[0], 2.0, 1e-5);
  EXPECT_NEAR(table_of(coin)[0], 1.0, 1e-6);
  ASSERT_EQ(propagate(domain), tv_status_none);
  ASSERT_EQ(tv_domain_unlearn(domain.get()), tv_status_none);
  EXPECT_NEAR(experience_of(coin)[0], 1.0, 1e-5);
}

// A node over the states of a parent that is known by halves, from these numbers.
struct Half {
  DomainOwner domain = new_domain();
  tv_node_t* parent = add_node(domain.get(), "parent", 2, {}, {0.5f, 0.5f});
  tv_node_t* node;

  Half(const std::vector<float>& distribution, float experience) {
    std::vector<float> table = distribution;
    table.insert(table.end(), distribution.begin(), distribution.end());
    node = add_node(domain.get(), "node", distribution.size(), {parent}, table);
    set_experience(node, {experience, 0.0f});
    ready(domain);
  }
  double experience_after(const std::vector<float>& findings) {
    enter_findings(node, findings);
    EXPECT_EQ(propagate(domain), tv_status_none) << tv_error_message();
    EXPECT_EQ(tv_domain_adapt(domain.get()), tv_status_none) << tv_error_message();
    return static_cast<double>(experience_of(node)[0]);
  }
};

TEST(Adaptation, KeepsDegenerateDistributionsFinite) {
  EXPECT_FLOAT_EQ(Half({1.0f}, 3.0f).experience_after({1.0f}), 3.5f);
  Half certain({0.0f, 1.0f, 0.0f}, 3.0f);
  EXPECT_FLOAT_EQ(certain.experience_after({0.5f, 0.5f, 1.0f}), 3.5f);
  EXPECT_EQ(tv_domain_tables_to_propagate(certain.domain.get()), 0);
  EXPECT_EQ(table_of(certain.node), (std::vector<float>{0, 1, 0, 0, 1, 0}));
  Half nearly({1.0f, 1e-30f}, 3.0f);
  const double grown = nearly.experience_after({1.0f, 0.5f});
  EXPECT_GT(grown, 3.0);
  EXPECT_LE(grown, 4.0);
  EXPECT_NEAR(table_of(nearly.node)[1] / 1e-30, 0.9375, 1e-4);  // (0.5 x 3 + 0.25) / 4 + 0.5
  Half surprised({1.0f, 1e-12f}, 3.0f);
  EXPECT_GT(surprised.experience_after({0.0f, 1.0f}), 0.0);
  EXPECT_NEAR(table_of(surprised.node)[1], 0.125, 1e-6);  // half of one observation in four
  // No more than floats hold, and never nothing.
  EXPECT_EQ(Half({0.5f, 0.5f}, FLT_MAX).experience_after({1.0f, 0.0f}), static_cast<double>(FLT_MAX));
  EXPECT_NEAR(Half({0.5f, 0.5f}, 1e20f).experience_after({1.0f, 0.5f}), 1e20, 1e14);
  Half faint({0.5f, 0.5f}, 1e-40f);
  set_fading(faint.node, {1e-40f, 1.0f});
  tv_node_select_state(faint.parent, 0);
  EXPECT_GT(faint.experience_after({1.0f, 1.0f}), 0.0);
  EXPECT_EQ(table_of(faint.node)[0], 0.5f);
}

TEST(Adaptation, FollowsTheOrderOfParentsInEachTable) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2);
  tv_node_t* b = add_node(domain.get(), "b", 3);
  tv_node_t* c = add_node(domain.get(), "c", 2, {a, b}, std::vector<float>(12, 0.5f));
  set_experience(c, {1, 2, 3, 4, 5, 6});
  set_fading(c, {1, 1, 1, 1, 1, 0.5f});
  tv_node_t* swapped[] = {b, a, nullptr};
  ASSERT_EQ(tv_table_reorder_nodes(tv_node_get_experience_table(c), swapped), tv_status_none);
  ready(domain);
  tv_node_select_state(a, 1);
  tv_node_select_state(b, 2);
  tv_node_select_state(c, 0);
  ASSERT_EQ(propagate(domain), tv_status_none);
  ASSERT_EQ(tv_domain_adapt(domain.get()), tv_status_none);
  EXPECT_EQ(experience_of(c), (std::vector<float>{1, 4, 2, 5, 3, 4}));  // 6 x 0.5 + 1
  tv_node_select_state(b, 0);
  ASSERT_EQ(tv_table_reorder_nodes(tv_node_get_fading_table(c), swapped), tv_status_none);
  ASSERT_EQ(propagate(domain), tv_status_none);
  ASSERT_EQ(tv_domain_adapt(domain.get()), tv_status_none);
  EXPECT_EQ(experience_of(c), (std::vector<float>{1, 5, 2, 5, 3, 4}));
  EXPECT_FLOAT_EQ(table_of(c)[6], 0.6f);  // (4 x 0.5 + 1) / 5
}

// What goes in comes from values of continuous nodes as well.
TEST(Adaptation, LearnsClassesFromMeasurements) {
  const DomainOwner domain = new_domain();
  tv_node_t* kind = add_node(domain.get(), "kind", 2, {}, {0.5f, 0.5f});
  tv_node_t* x = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  ASSERT_EQ(tv_node_add_parent(x, kind), tv_status_none);
  tv_node_set_intercept(x, 1, 2.0);
  set_experience(kind, {8.0f});
  tv_node_get_experience_table(x);  // continuous: not this way
  ready(domain);
  ASSERT_EQ(tv_node_enter_value(x, 2.5), tv_status_none);
  ASSERT_EQ(propagate(domain), tv_status_none);
  const double belief = tv_node_get_belief(kind, 1);
  ASSERT_EQ(tv_domain_adapt(domain.get()), tv_status_none) << tv_error_message();
  EXPECT_GT(belief, 0.9);
  EXPECT_NEAR(table_of(kind)[1], (8 * 0.5 + belief) / 9, 1e-6);
  EXPECT_EQ(experience_of(x)[0], 0.0f);
  EXPECT_EQ(tv_node_get_entered_value(x), 2.5);
  EXPECT_EQ(tv_domain_tables_to_propagate(domain.get()), 1);
}

// A cause, its effect, and what both together determine.
struct Lamp {
  DomainOwner domain = new_domain();
  tv_node_t* power = add_node(domain.get(), "power", 2, {}, {0.25f, 0.75f});
  tv_node_t* bulb = add_node(domain.get(), "bulb", 2, {}, {0.5f, 0.5f});
  tv_node_t* light = add_node(domain.get(), "light", 2, {power, bulb}, {1, 0, 1, 0, 1, 0, 0, 1});

  Lamp() {
    set_experience(power, {4.0f});
    set_experience(light, {4, 4, 4, 4});
    ready(domain);
  }
  // The call is refused with this part of a message, and nothing has changed.
  void expect_refusal(tv_status_t (*learn)(tv_domain_t*), const std::string& part,
                      tv_status_t status = tv_status_usage) {
    const std::string before = text_of(domain);
    EXPECT_EQ(learn(domain.get()), status) << part;
    EXPECT_NE(std::string(tv_error_message()).find(part), std::string::npos) << tv_error_message();
    EXPECT_EQ(text_of(domain), before) << part;
  }
};

TEST(Adaptation, RefusesStatesThatSayNothing) {
  EXPECT_EQ(tv_domain_adapt(nullptr), tv_status_usage);
  EXPECT_EQ(tv_domain_unlearn(nullptr), tv_status_usage);
  for (const auto learn : {tv_domain_adapt, tv_domain_unlearn}) {
    Lamp lamp;
    tv_node_select_state(lamp.power, 1);
    lamp.expect_refusal(learn, "when it is propagated");  // the evidence waits
    for (tv_equilibrium_t equilibrium : {tv_equilibrium_max, tv_equilibrium_sum}) {
      const bool is_max = equilibrium == tv_equilibrium_max;
      ASSERT_EQ(tv_domain_propagate(lamp.domain.get(), equilibrium,
                                    is_max ? tv_evidence_normal : tv_evidence_fast_retraction),
                tv_status_none);
      lamp.expect_refusal(learn, "when it is propagated");
    }
    ASSERT_EQ(propagate(lamp.domain), tv_status_none);
    tv_node_touch_table(lamp.bulb);
    lamp.expect_refusal(learn, "when it is propagated");  // tables wait
    ASSERT_EQ(propagate(lamp.domain), tv_status_none);
    for (tv_node_t* node : {lamp.power, lamp.light}) tv_table_delete(tv_node_get_experience_table(node));
    lamp.expect_refusal(learn, "no discrete chance node");
    tv_domain_uncompile(lamp.domain.get());
    lamp.expect_refusal(learn, "not compiled", tv_status_not_compiled);
  }
}

TEST(Adaptation, RefusesCountsAndFactorsThatMakeNoSense) {
  for (const float factor : {0.0f, -0.5f, 1.5f, NAN}) {
    Lamp lamp;
    set_fading(lamp.light, {1, 1, factor, 1});
    lamp.expect_refusal(tv_domain_adapt, "the fading factor of node \"light\" in configuration 2");
    tv_node_select_state(lamp.power, 0);  // out of reach
    ASSERT_EQ(propagate(lamp.domain), tv_status_none);
    EXPECT_EQ(tv_domain_adapt(lamp.domain.get()), tv_status_none) << tv_error_message();
  }
  Lamp lamp;
  set_experience(lamp.light, {4, INFINITY, 4, 4});
  lamp.expect_refusal(tv_domain_adapt, "the experience of node \"light\" in configuration 1");
}

TEST(Adaptation, TakesBackOnlyWhatIsCertainAndWasThere) {
  Lamp lamp;
  tv_node_select_state(lamp.bulb, 1);
  ASSERT_EQ(propagate(lamp.domain), tv_status_none);
  lamp.expect_refusal(tv_domain_unlearn, "which states node \"light\"");
  tv_node_select_state(lamp.power, 1);  // and the light follows from that
  ASSERT_EQ(propagate(lamp.domain), tv_status_none);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(tv_domain_unlearn(lamp.domain.get()), tv_status_none) << tv_error_message();
    ASSERT_EQ(propagate(lamp.domain), tv_status_none);
  }
  EXPECT_EQ(experience_of(lamp.power)[0], 2.0f);
  EXPECT_FLOAT_EQ(table_of(lamp.power)[1], 0.5f);  // (4 x 0.75 - 2) / 2
  EXPECT_EQ(experience_of(lamp.light), (std::vector<float>{4, 4, 4, 2}));
  set_experience(lamp.power, {1.5f});
  lamp.expect_refusal(tv_domain_unlearn, "the distribution of node \"power\"");
  set_experience(lamp.power, {2.0f});
  set_experience(lamp.light, {4, 4, 4, 1});
  lamp.expect_refusal(tv_domain_unlearn, "node \"light\" has no experience left");
  set_experience(lamp.light, {4, 4, 4, -1});  // left alone
  ASSERT_EQ(tv_domain_unlearn(lamp.domain.get()), tv_status_none);
  EXPECT_EQ(experience_of(lamp.light)[3], -1.0f);
  // What rounding leaves below nothing is nothing.
  set_table(lamp.power, {0.75f, 0.25f});
  set_experience(lamp.power, {3.99999f});
  ASSERT_EQ(propagate(lamp.domain), tv_status_none);
  ASSERT_EQ(tv_domain_unlearn(lamp.domain.get()), tv_status_none) << tv_error_message();
  EXPECT_EQ(table_of(lamp.power), (std::vector<float>{1, 0}));
}

// A table that results of propagation decide is made anew from them, whatever has been learned.
TEST(Adaptation, RefusesTablesThatDependOnResults) {
  Lamp lamp;
  tv_node_set_subtype(lamp.bulb, tv_subtype_number);
  for (size_t s = 0; s < 2; ++s) tv_node_set_state_value(lamp.bulb, s, static_cast<double>(s));
  tv_node_t* f = tv_domain_new_node(lamp.domain.get(), tv_category_function, tv_kind_other);
  tv_node_set_name(f, "f");
  tv_node_add_parent(f, lamp.bulb);
  tv_node_t* none = nullptr;
  tv_model_set_expression(tv_node_new_model(f, &none), 0,
                          tv_string_to_expression("bulb", lamp.domain.get(), nullptr, nullptr));
  tv_node_t* follower = add_node(lamp.domain.get(), "follower", 2);
  ASSERT_EQ(tv_node_add_parent(follower, f), tv_status_none) << tv_error_message();
  tv_model_set_expression(
      tv_node_new_model(follower, &none), 0,
      tv_string_to_expression("Distribution (1, 1 + f)", lamp.domain.get(), nullptr, nullptr));
  ready(lamp.domain);
  EXPECT_EQ(tv_domain_adapt(lamp.domain.get()), tv_status_none) << tv_error_message();
  set_experience(follower, {1.0f});
  ASSERT_EQ(propagate(lamp.domain), tv_status_none);
  lamp.expect_refusal(tv_domain_adapt, "the table of node \"follower\" depends on results");
}

}  // namespace
}  // namespace test
