// Weights of evidence, Shapley values, trails and relevant explanations, against their definitions.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <numeric>
#include <set>

#include "analysis/evidence_world.h"
#include "support/cg_builders.h"

namespace test {
namespace {

using Explanation = Owner<tv_explanation_t, tv_explanation_delete>;
using Relevant = Owner<tv_relevant_explanations_t, tv_relevant_explanations_delete>;

double log_odds(const Vector& belief, size_t state) {
  Real rest = 0;
  for (size_t s = 0; s < belief.size(); ++s)
    if (s != state) rest += belief[s];
  return static_cast<double>(std::log(belief[state]) - std::log(rest));
}

void expect_weight(double found, const Vector& before, const Vector& after, size_t state) {
  const double from = log_odds(before, state), to = log_odds(after, state);
  if (std::isinf(from) && from == to) {
    EXPECT_EQ(found, 0);
  } else if (std::isinf(to - from)) {
    EXPECT_EQ(found, to - from);
  } else {
    EXPECT_NEAR(found, to - from, 1e-5);
  }
}

// By state: the mean over all orders of what the finding changes when it becomes known.
std::vector<double> shapley_by_definition(const Situation& situation, size_t node, size_t finding) {
  std::vector<size_t> order = situation.findings();
  std::map<std::vector<size_t>, Vector> known;
  const auto belief = [&](std::vector<size_t> group) -> const Vector& {
    std::sort(group.begin(), group.end());
    const auto [place, is_new] = known.try_emplace(group);
    if (is_new) place->second = situation.belief(node, situation.only(group));
    return place->second;
  };
  std::vector<double> sum(situation.states(node), 0);
  double orders = 0;
  do {
    const auto place = std::find(order.begin(), order.end(), finding);
    const Vector before = belief({order.begin(), place}), after = belief({order.begin(), place + 1});
    for (size_t s = 0; s < sum.size(); ++s) sum[s] += static_cast<double>(after[s] - before[s]);
    ++orders;
  } while (std::next_permutation(order.begin(), order.end()));
  for (double& value : sum) value /= orders;
  return sum;
}

TEST(Explanation, WeightsAndShapleyValuesAgreeWithTheirDefinitions) {
  size_t compared = 0;
  for_situations(1, 400, 0.4, [&](Situation& situation, Generator& random, size_t place) {
    const size_t state = random.below(situation.states(place));
    const std::vector<size_t> findings = situation.findings();
    const Vector none = situation.belief(place, situation.oracle.none());
    const Explanation explanation(tv_node_explain_belief(situation.oracle.nodes()[place], state, 0, 0));
    if (!situation.is_possible() || !(none[state] > 0)) {
      EXPECT_FALSE(explanation);
      EXPECT_EQ(tv_error_code(),
                situation.is_possible() ? tv_status_usage : tv_status_inconsistency_or_underflow);
      return;
    }
    ASSERT_TRUE(explanation) << tv_error_message();
    const Vector all = situation.belief(place, situation.evidence);
    ASSERT_EQ(tv_explanation_get_number_of_findings(explanation.get()), findings.size());
    std::vector<double> total(all.size(), 0);
    double last = 1;
    for (size_t f = 0; f < findings.size(); ++f) {
      const size_t i = situation.place(tv_explanation_get_finding(explanation.get(), f));
      Oracle::Evidence rest = situation.evidence;
      rest[i].assign(situation.states(i), 1);
      const Vector alone = situation.belief(place, situation.only({i})),
                   without = situation.belief(place, rest);
      const std::vector<double> shapley =
          findings.size() <= 5 ? shapley_by_definition(situation, place, i) : std::vector<double>();
      for (size_t s = 0; s < all.size(); ++s) {
        expect_weight(tv_explanation_get_weight_alone(explanation.get(), f, s), none, alone, s);
        expect_weight(tv_explanation_get_weight(explanation.get(), f, s), without, all, s);
        const double value = tv_explanation_get_shapley_value(explanation.get(), f, s);
        total[s] += value;
        EXPECT_EQ(tv_explanation_get_standard_error(explanation.get(), f, s), 0);
        if (shapley.empty()) continue;
        EXPECT_NEAR(value, shapley[s], 2e-6);
        ++compared;
      }
      const double size = std::fabs(tv_explanation_get_shapley_value(explanation.get(), f, state));
      EXPECT_LE(size, last);
      last = size;
    }
    for (size_t s = 0; s < all.size(); ++s) {
      EXPECT_NEAR(tv_explanation_get_prior(explanation.get(), s), static_cast<double>(none[s]), 1e-6);
      EXPECT_NEAR(tv_explanation_get_posterior(explanation.get(), s), static_cast<double>(all[s]), 1e-6);
      EXPECT_NEAR(total[s], static_cast<double>(all[s] - none[s]), 2e-6);
    }
  });
  EXPECT_GT(compared, 500u);
}

// One cause with many signs, whose Shapley values follow from products of likelihoods.
TEST(Explanation, SampledShapleyValuesLieWithinTheirErrors) {
  constexpr size_t kSigns = 18;
  Generator random(7);
  const DomainOwner domain = new_domain();
  tv_node_t* cause = add_node(domain.get(), "cause", 2, {}, {0.9f, 0.1f});
  std::vector<double> ratios;
  for (size_t i = 0; i < kSigns; ++i) {
    const auto yes = static_cast<float>(0.3 + 0.4 * random.uniform()),
               no = static_cast<float>(0.3 + 0.4 * random.uniform());
    tv_node_t* sign = add_node(domain.get(), nullptr, 2, {cause}, {1 - no, no, 1 - yes, yes});
    ratios.push_back(static_cast<double>(yes) / static_cast<double>(no));
    tv_node_select_state(sign, 1);
  }
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  std::vector<double> exact(kSigns, 0), posterior(size_t{1} << kSigns);
  for (size_t group = 0; group < posterior.size(); ++group) {
    double odds = 0.1 / 0.9;
    for (size_t i = 0; i < kSigns; ++i)
      if (group >> i & 1) odds *= ratios[i];
    posterior[group] = odds / (1 + odds);
  }
  for (size_t group = 0; group < posterior.size(); ++group)
    for (size_t i = 0; i < kSigns; ++i) {
      if (group >> i & 1) continue;
      const auto size = static_cast<double>(std::popcount(group));
      const double weight =
          std::exp(std::lgamma(size + 1) + std::lgamma(kSigns - size) - std::lgamma(kSigns + 1.0));
      exact[i] += weight * (posterior[group | size_t{1} << i] - posterior[group]);
    }
  const auto random_before = tv_domain_get_uniform_deviate(domain.get());
  tv_domain_seed_random(domain.get(), 310952);
  const Explanation explanation(tv_node_explain_belief(cause, 1, 400, 1));
  ASSERT_TRUE(explanation) << tv_error_message();
  EXPECT_EQ(tv_domain_get_uniform_deviate(domain.get()), random_before) << "the domain's generator was used";
  double total = 0;
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  for (size_t f = 0; f < kSigns; ++f) {
    const tv_node_t* sign = tv_explanation_get_finding(explanation.get(), f);
    const auto i = static_cast<size_t>(std::find(nodes.begin(), nodes.end(), sign) - nodes.begin()) - 1;
    const double value = tv_explanation_get_shapley_value(explanation.get(), f, 1),
                 error = tv_explanation_get_standard_error(explanation.get(), f, 1);
    EXPECT_LT(std::fabs(value - exact[i]), 4.5 * error) << i;
    EXPECT_LT(error, 0.01);
    EXPECT_GT(error, 1e-5);
    total += value;
  }
  EXPECT_NEAR(total, posterior.back() - 0.1, 1e-5);
  EXPECT_EQ(tv_node_explain_belief(cause, 1, 1, 1), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

// ---- Trails ----

bool is_link(const tv_node_t* parent, const tv_node_t* child) {
  for (tv_node_t** p = tv_node_get_parents(child); *p; ++p)
    if (*p == parent) return true;
  return false;
}

// All simple paths that no known node blocks and no silent collider, with the change at their weakest node.
class TrailsByDefinition {
 public:
  TrailsByDefinition(const Situation& situation, size_t from, size_t to)
      : s_(situation), from_(from), to_(to) {
    Oracle::Evidence rest = s_.evidence;
    rest[from].assign(s_.states(from), 1);
    for (size_t i = 0; i < s_.oracle.nodes().size(); ++i)
      change_.push_back(static_cast<double>(relative_entropy(s_.belief(i, s_.evidence), s_.belief(i, rest))));
    path_ = {from};
    walk();
  }

  std::map<std::vector<size_t>, double> trails;

 private:
  tv_node_t* node(size_t i) const { return s_.oracle.nodes()[i]; }

  bool is_known_below(size_t i) const {
    for (const size_t f : s_.findings())
      if (f != from_ && (f == i || is_ancestor(i, f))) return true;
    return false;
  }
  bool is_ancestor(size_t above, size_t below) const {
    for (size_t i = 0; i < s_.oracle.nodes().size(); ++i)
      if (is_link(node(above), node(i)) && (i == below || is_ancestor(i, below))) return true;
    return false;
  }

  bool is_active(size_t before, size_t at, size_t next) const {
    const bool is_collider = is_link(node(before), node(at)) && is_link(node(next), node(at));
    return is_collider ? is_known_below(at) : !s_.is_observed(at) || at == from_;
  }

  void walk() {
    const size_t last = path_.back();
    if (last == to_) {
      double strength = HUGE_VAL;
      for (size_t i = 1; i < path_.size(); ++i)
        if (!s_.is_observed(path_[i])) strength = std::min(strength, change_[path_[i]]);
      trails[path_] = strength;
      return;
    }
    for (size_t next = 0; next < s_.oracle.nodes().size(); ++next) {
      if (!is_link(node(next), node(last)) && !is_link(node(last), node(next))) continue;
      if (std::find(path_.begin(), path_.end(), next) != path_.end()) continue;
      if (path_.size() > 1 && !is_active(path_[path_.size() - 2], last, next)) continue;
      path_.push_back(next);
      walk();
      path_.pop_back();
    }
  }

  const Situation& s_;
  const size_t from_, to_;
  std::vector<double> change_;
  std::vector<size_t> path_;
};

TEST(Explanation, TrailsAreAllActivePathsByTheirWeakestNode) {
  size_t trails = 0, colliders = 0;
  for_situations(3000, 400, 0.4, [&](Situation& situation, Generator& random, size_t place) {
    const size_t state = random.below(situation.states(place)), most = random.chance(0.7) ? 1000 : 2;
    const Explanation explanation(tv_node_explain_belief(situation.oracle.nodes()[place], state, 0, most));
    if (!explanation) return;
    for (size_t f = 0; f < tv_explanation_get_number_of_findings(explanation.get()); ++f) {
      const size_t from = situation.place(tv_explanation_get_finding(explanation.get(), f));
      if (from == place) continue;
      TrailsByDefinition expected(situation, from, place);
      std::erase_if(expected.trails, [](const auto& trail) { return !(trail.second > 1e-8); });
      const size_t count = tv_explanation_get_number_of_trails(explanation.get(), f);
      double last = HUGE_VAL;
      size_t clear = 0;
      for (size_t t = 0; t < count; ++t) {
        size_t length = 0;
        tv_node_t* const* nodes = tv_explanation_get_trail(explanation.get(), f, t, &length);
        std::vector<size_t> path;
        for (size_t i = 0; i < length; ++i) path.push_back(situation.place(nodes[i]));
        const double strength = tv_explanation_get_trail_strength(explanation.get(), f, t);
        EXPECT_LE(strength, last);
        last = strength;
        const auto found = expected.trails.find(path);
        if (found == expected.trails.end()) {
          EXPECT_LT(strength, 2e-8) << "not active";
          continue;
        }
        EXPECT_NEAR(strength, found->second, 1e-5);
        ++clear;
        colliders += length > 2 && situation.is_observed(path[1]);
      }
      trails += clear;
      if (tv_explanation_has_all_trails(explanation.get(), f) == 1) {
        EXPECT_EQ(clear, expected.trails.size());
      } else {
        EXPECT_EQ(count, most);
      }
    }
  });
  EXPECT_GT(trails, 300u);
  EXPECT_GT(colliders, 10u);
}

// In a chain of normal distributions what leaving out a value changes has a closed form.
TEST(Explanation, TrailsThroughContinuousNodes) {
  const DomainOwner domain = new_domain();
  tv_node_t* kind = add_node(domain.get(), "kind", 2, {}, {0.5, 0.5});
  tv_node_t* x = add_continuous(domain.get(), "x", 0, 1, {}, {kind});
  set_regression(x, 0, 0, 1);
  set_regression(x, 1, 0, 1);
  tv_node_t* y = add_continuous(domain.get(), "y", 0, 1, {{x, 1}});
  set_regression(x, 1, 3, 1);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_enter_value(y, 3);
  const Explanation explanation(tv_node_explain_belief(kind, 1, 0, 5));
  ASSERT_TRUE(explanation) << tv_error_message();
  size_t length = 0;
  tv_node_t* const* nodes = tv_explanation_get_trail(explanation.get(), 0, 0, &length);
  ASSERT_EQ(length, 3u);
  EXPECT_EQ(nodes[0], y);
  EXPECT_EQ(nodes[1], x);
  EXPECT_EQ(nodes[2], kind);
  const double odds = std::exp(9.0 / 4), p = odds / (1 + odds);
  const double of_kind = p * std::log(2 * p) + (1 - p) * std::log(2 * (1 - p));
  const double mean = 1.5 + 1.5 * p, variance = 0.5 + 2.25 * p * (1 - p);
  const double ratio = variance / 3.25, step = mean - 1.5;
  const double of_x = (ratio + step * step / 3.25 - 1 - std::log(ratio)) / 2;
  EXPECT_NEAR(tv_explanation_get_trail_strength(explanation.get(), 0, 0), std::min(of_kind, of_x), 1e-6);
  EXPECT_EQ(tv_explanation_has_all_trails(explanation.get(), 0), 1);
}

// ---- Relevant explanations ----

struct Choice {
  std::vector<size_t> nodes, states;
  double factor = 0, probability = 0;
  bool holds(const Choice& part) const {
    if (part.nodes.size() >= nodes.size()) return false;
    for (size_t i = 0; i < part.nodes.size(); ++i) {
      const auto place = std::find(nodes.begin(), nodes.end(), part.nodes[i]);
      if (place == nodes.end() || states[static_cast<size_t>(place - nodes.begin())] != part.states[i])
        return false;
    }
    return true;
  }
};

std::vector<Choice> choices_by_definition(const Situation& situation, const std::vector<size_t>& targets) {
  std::vector<Choice> choices;
  const std::function<void(size_t, Choice)> extend = [&](size_t i, Choice choice) {
    if (i == targets.size()) {
      if (choice.nodes.empty()) return;
      const auto mass = [&](const Oracle::Evidence& evidence) {
        const Vector joint = situation.oracle.marginal(choice.nodes, evidence, tv_equilibrium_sum);
        size_t index = 0;
        for (size_t n = 0; n < choice.nodes.size(); ++n)
          index = index * situation.states(choice.nodes[n]) + choice.states[n];
        Real rest = 0;
        for (size_t k = 0; k < joint.size(); ++k)
          if (k != index) rest += joint[k];
        return std::pair<Real, Real>(joint[index], rest);
      };
      const auto [prior, other_prior] = mass(situation.oracle.none());
      const auto [posterior, other_posterior] = mass(situation.evidence);
      if (!(prior > 0) || !(other_prior > 1e-15L)) return;
      choice.factor = static_cast<double>(posterior / prior / (other_posterior / other_prior));
      choice.probability = static_cast<double>(posterior / (posterior + other_posterior));
      choices.push_back(choice);
      return;
    }
    extend(i + 1, choice);
    for (size_t s = 0; s < situation.states(targets[i]); ++s) {
      Choice longer = choice;
      longer.nodes.push_back(targets[i]);
      longer.states.push_back(s);
      extend(i + 1, longer);
    }
  };
  extend(0, {});
  return choices;
}

TEST(Explanation, RelevantExplanationsAgreeWithEnumeration) {
  size_t compared = 0, long_ones = 0;
  for_situations(7000, 400, 0.35, [&](Situation& situation, Generator& random, size_t) {
    std::vector<size_t> targets;
    for (size_t i = 0; i < situation.oracle.nodes().size(); ++i)
      if (!situation.is_observed(i) && targets.size() < 4 && random.chance(0.7)) targets.push_back(i);
    if (targets.empty()) return;
    std::vector<tv_node_t*> listed;
    for (const size_t i : targets) listed.push_back(situation.oracle.nodes()[i]);
    listed.push_back(nullptr);
    const Relevant found(tv_domain_find_relevant_explanations(situation.domain.get(), listed.data(), 1000));
    if (!situation.is_possible()) {
      EXPECT_FALSE(found);
      return;
    }
    ASSERT_TRUE(found) << tv_error_message();
    const std::vector<Choice> choices = choices_by_definition(situation, targets);
    std::map<std::pair<std::vector<size_t>, std::vector<size_t>>, const Choice*> preferred;
    size_t doubtful = 0;
    for (const Choice& choice : choices) {
      bool is_preferred = choice.factor > 1;
      doubtful += std::fabs(choice.factor - 1) < 1e-4;
      for (const Choice& other : choices) {
        const bool related = choice.holds(other) || other.holds(choice);
        doubtful += related && std::fabs(other.factor / choice.factor - 1) < 1e-4;
        is_preferred &= !(choice.holds(other) && other.factor >= choice.factor) &&
                        !(other.holds(choice) && other.factor > choice.factor);
      }
      if (is_preferred) preferred[{choice.nodes, choice.states}] = &choice;
    }
    const size_t count = tv_relevant_explanations_get_number(found.get());
    if (doubtful == 0) {
      EXPECT_EQ(count, preferred.size());
      ++compared;
    }
    double last = HUGE_VAL;
    for (size_t k = 0; k < count; ++k) {
      size_t length = 0, states_length = 0;
      tv_node_t* const* nodes = tv_relevant_explanations_get_nodes(found.get(), k, &length);
      const size_t* states = tv_relevant_explanations_get_states(found.get(), k, &states_length);
      ASSERT_EQ(length, states_length);
      std::vector<size_t> places;
      for (size_t i = 0; i < length; ++i) places.push_back(situation.place(nodes[i]));
      const auto choice = std::find_if(choices.begin(), choices.end(), [&](const Choice& each) {
        return each.nodes == places && each.states == std::vector<size_t>(states, states + length);
      });
      ASSERT_NE(choice, choices.end());
      const double factor = tv_relevant_explanations_get_factor(found.get(), k);
      if (std::isinf(choice->factor)) {
        EXPECT_EQ(factor, choice->factor);
      } else {
        EXPECT_NEAR(factor, choice->factor, 1e-5 * (1 + choice->factor));
      }
      EXPECT_NEAR(tv_relevant_explanations_get_probability(found.get(), k), choice->probability, 2e-6);
      EXPECT_LE(factor, last);
      last = factor;
      if (doubtful == 0) {
        EXPECT_EQ(preferred.count({places, choice->states}), 1u);
      }
      long_ones += length > 1;
    }
  });
  EXPECT_GT(compared, 60u);
  EXPECT_GT(long_ones, 20u);
}

// ---- The text, and what is refused ----

TEST(Explanation, Text) {
  const DomainOwner domain = new_domain();
  tv_node_t* rain = add_node(domain.get(), "rain", 2, {}, {0.8f, 0.2f});
  tv_node_t* wet = add_node(domain.get(), "wet", 2, {rain}, {0.9f, 0.1f, 0.2f, 0.8f});
  tv_node_t* moon = add_node(domain.get(), "moon", 2, {}, {0.5f, 0.5f});
  for (tv_node_t* node : {rain, wet, moon}) {
    tv_node_set_state_label(node, 0, "no");
    tv_node_set_state_label(node, 1, "yes");
  }
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const Explanation nothing(tv_node_explain_belief(rain, 1, 0, 1));
  EXPECT_STREQ(tv_explanation_get_text(nothing.get()),
               "Without any finding, rain = yes has the probability 20 %.\n");
  set_table(rain, {0.0002f, 0.9998f});
  tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal);
  const Explanation nearly(tv_node_explain_belief(rain, 1, 0, 1));
  EXPECT_STREQ(tv_explanation_get_text(nearly.get()),
               "Without any finding, rain = yes has the probability 99.98 %.\n");
  set_table(rain, {0.8f, 0.2f});
  tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal);
  tv_node_select_state(wet, 1);
  tv_node_select_state(moon, 0);
  const Explanation explanation(tv_node_explain_belief(rain, 1, 0, 1));
  EXPECT_STREQ(
      tv_explanation_get_text(explanation.get()),
      "2 findings raise the probability of rain = yes from 20 % to 66.7 %.\n"
      "  wet = yes speaks for it: +46.7 points; +9.03 decibans alone, +9.03 decibans beside the others.\n"
      "    It acts along wet <- rain.\n"
      "  moon = no makes hardly any difference; 0 decibans alone, 0 decibans beside the others.\n");
}

TEST(Explanation, Refusals) {
  const DomainOwner domain = new_domain(), other = new_domain();
  tv_domain_t* net = domain.get();
  tv_node_t* a = add_node(net, "a", 2, {}, {1, 0});
  tv_node_t* b = add_node(net, "b", 2, {a});
  tv_node_t* x = add_continuous(net, "x", 0, 1);
  tv_node_t* foreign = add_node(other.get(), "foreign", 2);
  std::vector<tv_node_t*> many = {b};
  for (size_t i = 0; i < 20; ++i) many.push_back(add_node(net, nullptr, 2));
  many.push_back(nullptr);
  const auto find = [&](std::vector<tv_node_t*> targets) {
    return [=]() mutable {
      targets.push_back(nullptr);
      return tv_domain_find_relevant_explanations(net, targets.data(), 1);
    };
  };
  expect_refusal(net, tv_status_not_compiled, "not compiled",
                 [&] { return tv_node_explain_belief(b, 0, 0, 1); });
  ASSERT_EQ(tv_domain_compile(net), tv_status_none);
  expect_refusal(net, tv_status_usage, "can never be", [&] { return tv_node_explain_belief(a, 1, 0, 1); });
  expect_refusal(net, tv_status_usage, "no state 2", [&] { return tv_node_explain_belief(a, 2, 0, 1); });
  expect_refusal(net, tv_status_usage, "continuous", [&] { return tv_node_explain_belief(x, 0, 0, 1); });
  expect_refusal(net, tv_status_usage, "no node", find({}));
  expect_refusal(net, tv_status_usage, "twice", find({b, b}));
  expect_refusal(net, tv_status_usage, "another network", find({foreign}));
  expect_refusal(net, tv_status_usage, "continuous", find({x}));
  expect_refusal(net, tv_status_usage, "choices",
                 [&] { return tv_domain_find_relevant_explanations(net, many.data(), 1); });
  tv_node_select_state(a, 1);
  expect_refusal(net, tv_status_usage, "known", find({a}));
  expect_refusal(net, tv_status_inconsistency_or_underflow, "", find({b}));
}

}  // namespace
}  // namespace test
