// Sensitivity to evidence and conflicts, against enumeration.
#include <gtest/gtest.h>

#include <set>

#include "analysis/evidence_world.h"
#include "support/cg_builders.h"
#include "support/queries.h"

namespace test {
namespace {

using Findings = Owner<tv_findings_t, tv_findings_delete>;
using Conflict = Owner<tv_conflict_t, tv_conflict_delete>;

// All groups of one finding and more.
std::vector<std::vector<size_t>> groups_of(const std::vector<size_t>& findings, size_t max_size) {
  std::vector<std::vector<size_t>> groups;
  for (size_t bits = 1; bits < size_t{1} << findings.size(); ++bits) {
    std::vector<size_t> group;
    for (size_t i = 0; i < findings.size(); ++i)
      if (bits >> i & 1) group.push_back(findings[i]);
    if (group.size() <= max_size) groups.push_back(group);
  }
  return groups;
}

tv_finding_role_t role_by_definition(const Vector& none, const Vector& all, const Vector& alone,
                                     const Vector& without, size_t state, double least, double share) {
  if (relative_entropy(all, without) < least)
    return relative_entropy(alone, none) < least ? tv_finding_irrelevant : tv_finding_redundant;
  const Real step = all[state] - without[state], way = all[state] - none[state];
  if (step * way < 0) return tv_finding_contradictory;
  const auto best = [](const Vector& of) { return std::max_element(of.begin(), of.end()) - of.begin(); };
  return best(all) != best(without) || std::fabs(step) >= share * std::fabs(way) ? tv_finding_decisive
                                                                                 : tv_finding_supporting;
}

// Far enough from every bound that rounding does not decide the role.
bool is_clear_cut(const Vector& none, const Vector& all, const Vector& alone, const Vector& without,
                  size_t state) {
  const auto near = [](Real a, Real b) { return std::fabs(a - b) < 1e-4L; };
  const auto is_tied = [&](const Vector& of) {
    Vector sorted = of;
    std::sort(sorted.rbegin(), sorted.rend());
    return sorted.size() > 1 && near(sorted[0], sorted[1]);
  };
  const Real step = all[state] - without[state], way = all[state] - none[state];
  return !near(relative_entropy(all, without), 0.01L) && !near(relative_entropy(alone, none), 0.01L) &&
         !near(step, 0) && !near(way, 0) && !near(std::fabs(step), 0.5L * std::fabs(way)) && !is_tied(all) &&
         !is_tied(without);
}

void compare_groups(const Situation& situation, const Findings& found, size_t node, size_t state,
                    size_t max_size) {
  const std::vector<std::vector<size_t>> expected = groups_of(situation.findings(), max_size);
  ASSERT_EQ(tv_findings_get_number_of_groups(found.get()), expected.size());
  std::set<std::vector<size_t>> seen;
  size_t last_size = 0;
  double last_distance = 0;
  for (size_t g = 0; g < expected.size(); ++g) {
    size_t count = 0;
    const size_t* members = tv_findings_get_group(found.get(), g, &count);
    std::vector<size_t> group;
    for (size_t i = 0; i < count; ++i)
      group.push_back(situation.place(tv_findings_get_node(found.get(), members[i])));
    EXPECT_TRUE(std::is_sorted(members, members + count));
    std::sort(group.begin(), group.end());
    seen.insert(group);
    const double posterior = tv_findings_get_group_posterior(found.get(), g);
    const Vector belief = situation.belief(node, situation.only(group));
    EXPECT_NEAR(posterior, static_cast<double>(belief[state]), 2e-6);
    const Vector prior = situation.belief(node, situation.oracle.none());
    EXPECT_NEAR(tv_findings_get_normalized_likelihood(found.get(), g) * static_cast<double>(prior[state]),
                static_cast<double>(belief[state]), 2e-6);
    const double distance = std::fabs(posterior - tv_findings_get_posterior(found.get()));
    EXPECT_GE(count, last_size);
    EXPECT_TRUE(count > last_size || distance >= last_distance);
    last_size = count;
    last_distance = distance;
  }
  EXPECT_EQ(seen.size(), expected.size());
}

TEST(Findings, AgreeWithEnumeration) {
  size_t clear_cut = 0;
  std::set<tv_finding_role_t> roles;
  for_situations(1, 500, 0.5, [&](Situation& situation, Generator& random, size_t place) {
    const std::vector<size_t> findings = situation.findings();
    tv_node_t* node = situation.oracle.nodes()[place];
    const size_t state = random.below(situation.states(place)), max_size = random.below(4);
    const Findings found(tv_node_analyze_findings(node, state, max_size));
    const Vector none = situation.belief(place, situation.oracle.none());
    if (!situation.is_possible() || !(none[state] > 0)) {
      EXPECT_FALSE(found);
      EXPECT_EQ(tv_error_code(),
                situation.is_possible() ? tv_status_usage : tv_status_inconsistency_or_underflow);
      return;
    }
    ASSERT_TRUE(found) << tv_error_message();
    const Vector all = situation.belief(place, situation.evidence);
    EXPECT_NEAR(tv_findings_get_prior(found.get()), static_cast<double>(none[state]), 1e-6);
    EXPECT_NEAR(tv_findings_get_posterior(found.get()), static_cast<double>(all[state]), 1e-6);
    ASSERT_EQ(tv_findings_get_number(found.get()), findings.size());
    double last_cost = HUGE_VAL;
    for (size_t f = 0; f < findings.size(); ++f) {
      const size_t i = situation.place(tv_findings_get_node(found.get(), f));
      Oracle::Evidence rest = situation.evidence;
      rest[i].assign(situation.states(i), 1);
      const Vector alone = situation.belief(place, situation.only({i})),
                   without = situation.belief(place, rest);
      EXPECT_NEAR(tv_findings_get_posterior_given(found.get(), f), static_cast<double>(alone[state]), 2e-6);
      EXPECT_NEAR(tv_findings_get_posterior_without(found.get(), f), static_cast<double>(without[state]),
                  2e-6);
      const double cost = tv_findings_get_cost_of_omission(found.get(), f);
      EXPECT_NEAR(cost, static_cast<double>(relative_entropy(all, without)), 1e-5);
      EXPECT_LE(cost, last_cost);
      last_cost = cost;
      if (is_clear_cut(none, all, alone, without, state)) {
        const tv_finding_role_t role = tv_findings_get_role(found.get(), f, 0.01, 0.5);
        EXPECT_EQ(role, role_by_definition(none, all, alone, without, state, 0.01, 0.5));
        roles.insert(role);
        ++clear_cut;
      }
      for (size_t s = 0; s < situation.states(i); ++s) {
        Oracle::Evidence other = rest;
        other[i].assign(situation.states(i), 0);
        other[i][s] = 1;
        const Vector belief = situation.belief(place, other);
        const double posterior = tv_findings_get_posterior_if(found.get(), f, s);
        EXPECT_EQ(tv_error_code(), belief.empty() ? tv_status_inconsistency_or_underflow : tv_status_none);
        EXPECT_NEAR(posterior, belief.empty() ? -1 : static_cast<double>(belief[state]), 4e-6);
      }
    }
    compare_groups(situation, found, place, state, max_size);
  });
  EXPECT_GT(clear_cut, 100u);
  EXPECT_EQ(roles.size(), 5u);
}

// ---- Conflicts ----

Real conflict_of(const Situation& situation, const std::vector<size_t>& group) {
  Real sum = -std::log(situation.oracle.constant(situation.only(group), tv_equilibrium_sum));
  for (const size_t i : group)
    sum += std::log(situation.oracle.constant(situation.only({i}), tv_equilibrium_sum));
  return sum;
}

std::set<std::vector<size_t>> carriers_by_definition(const Situation& situation, size_t max_size,
                                                     Real least) {
  std::set<std::vector<size_t>> carriers;
  std::vector<std::vector<size_t>> groups = groups_of(situation.findings(), max_size);
  std::stable_sort(groups.begin(), groups.end(),
                   [](const auto& a, const auto& b) { return a.size() < b.size(); });
  for (const std::vector<size_t>& group : groups) {
    const bool is_minimal = std::none_of(carriers.begin(), carriers.end(), [&](const auto& carrier) {
      return std::includes(group.begin(), group.end(), carrier.begin(), carrier.end());
    });
    if (group.size() > 1 && is_minimal && conflict_of(situation, group) >= least) carriers.insert(group);
  }
  return carriers;
}

// Whether some group is so near to the bound that rounding decides.
bool has_doubtful_group(const Situation& situation, Real least) {
  for (const std::vector<size_t>& group : groups_of(situation.findings(), 8))
    if (group.size() < situation.findings().size() &&
        std::fabs(conflict_of(situation, group) - least) < 1e-4L)
      return true;
  return false;
}

void compare_resolutions(const Situation& situation, const Conflict& conflict) {
  size_t expected = 0, doubtful = 0;
  for (size_t i = 0; i < situation.oracle.nodes().size(); ++i) {
    if (situation.is_observed(i)) continue;
    const Vector before = situation.belief(i, situation.oracle.none()),
                 after = situation.belief(i, situation.evidence);
    for (size_t s = 0; s < before.size(); ++s) {
      if (!(after[s] > 0)) continue;
      const Real left = conflict_of(situation, situation.findings()) + std::log(before[s] / after[s]);
      expected += left <= 0;
      doubtful += std::fabs(left) < 1e-4L;
    }
  }
  const size_t count = tv_conflict_get_number_of_resolutions(conflict.get());
  if (doubtful == 0) {
    EXPECT_EQ(count, expected);
  }
  double last = -HUGE_VAL;
  for (size_t r = 0; r < count; ++r) {
    size_t state = 99;
    const size_t i = situation.place(tv_conflict_get_resolution(conflict.get(), r, &state));
    const Vector before = situation.belief(i, situation.oracle.none()),
                 after = situation.belief(i, situation.evidence);
    const double left = tv_conflict_get_resolution_value(conflict.get(), r);
    EXPECT_NEAR(left,
                static_cast<double>(conflict_of(situation, situation.findings()) +
                                    std::log(before[state] / after[state])),
                2e-5);
    EXPECT_GE(left, last);
    last = left;
  }
}

TEST(Conflict, AgreesWithEnumeration) {
  size_t conflicts = 0, groups = 0, resolutions = 0;
  for_situations(5000, 600, 0.5, [&](Situation& situation, Generator& random, size_t) {
    const double share = random.chance(0.2) ? 1 : 0.05 + 0.9 * random.uniform();
    const size_t max_size = random.below(6);
    const Conflict conflict(tv_domain_trace_conflict(situation.domain.get(), max_size, share));
    if (!situation.is_possible()) {
      EXPECT_FALSE(conflict);
      EXPECT_EQ(tv_error_code(), tv_status_inconsistency_or_underflow);
      return;
    }
    ASSERT_TRUE(conflict) << tv_error_message();
    const Real whole = conflict_of(situation, situation.findings());
    EXPECT_NEAR(tv_conflict_get_value(conflict.get()), static_cast<double>(whole), 2e-5);
    const size_t count = tv_conflict_get_number_of_groups(conflict.get());
    if (whole < 1e-4L) {
      EXPECT_TRUE(whole > 1e-7L ||
                  (count == 0 && tv_conflict_get_number_of_resolutions(conflict.get()) == 0));
      return;
    }
    ++conflicts;
    compare_resolutions(situation, conflict);
    resolutions += tv_conflict_get_number_of_resolutions(conflict.get());
    const Real least = static_cast<Real>(share) * whole;
    if (has_doubtful_group(situation, least)) return;
    std::set<std::vector<size_t>> found;
    for (size_t g = 0; g < count; ++g) {
      size_t size = 0;
      tv_node_t* const* nodes = tv_conflict_get_group(conflict.get(), g, &size);
      std::vector<size_t> group;
      for (size_t i = 0; i < size; ++i) group.push_back(situation.place(nodes[i]));
      std::sort(group.begin(), group.end());
      EXPECT_NEAR(tv_conflict_get_group_value(conflict.get(), g),
                  static_cast<double>(conflict_of(situation, group)), 2e-5);
      found.insert(group);
    }
    EXPECT_EQ(found, carriers_by_definition(situation, max_size, least));
    groups += count;
  });
  EXPECT_GT(conflicts, 50u);
  EXPECT_GT(groups, 40u);
  EXPECT_GT(resolutions, 40u);
}

// Values count with their densities: two of one normal distribution with a coefficient.
TEST(Conflict, OfValues) {
  const DomainOwner domain = new_domain();
  tv_node_t* x = add_continuous(domain.get(), "x", 0, 1);
  tv_node_t* y = add_continuous(domain.get(), "y", 0, 0.25, {{x, 1}});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_enter_value(x, 2);
  tv_node_enter_value(y, -1);
  const auto log_density = [](double z, double variance) {
    return -(z * z / variance + std::log(variance)) / 2;
  };
  const Conflict conflict(tv_domain_trace_conflict(domain.get(), 2, 1));
  ASSERT_TRUE(conflict) << tv_error_message();
  EXPECT_NEAR(tv_conflict_get_value(conflict.get()), log_density(-1, 1.25) - log_density(-3, 0.25), 1e-9);
  EXPECT_EQ(tv_conflict_get_number_of_groups(conflict.get()), 1u);
}

// Values, and states beside them, in random networks with continuous nodes.
TEST(Findings, ValuesAgreeWithQueries) {
  size_t compared = 0;
  for (uint64_t seed = 1; seed <= 150; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    CgShape shape;
    shape.zero_variance = random.chance(0.3) ? 0.15 : 0;
    const DomainOwner domain = random_cg_network(random, shape);
    if (tv_domain_compile(domain.get())) continue;
    const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
    const std::vector<double> drawn = draw_case(random, domain.get());
    tv_node_t* target = nullptr;
    for (size_t i = 0; i < nodes.size(); ++i) {
      const bool is_discrete = tv_node_get_kind(nodes[i]) == tv_kind_discrete;
      if (random.chance(0.5)) {
        is_discrete ? tv_node_select_state(nodes[i], static_cast<size_t>(drawn[i]))
                    : tv_node_enter_value(nodes[i], drawn[i]);
      } else if (is_discrete) {
        target = nodes[i];
      }
    }
    if (!target) continue;
    const std::string before = describe(domain.get());
    const Findings found(tv_node_analyze_findings(target, 0, 0));
    const Owner<tv_observations_t, tv_observations_delete> ranking(
        tv_node_rank_observations(target, nullptr, nullptr));
    EXPECT_EQ(describe(domain.get()), before);
    for (size_t i = 0; ranking && i < tv_observations_get_number(ranking.get()); ++i) {
      EXPECT_GE(tv_observations_get_information(ranking.get(), i), 0);
      EXPECT_LE(tv_observations_get_information(ranking.get(), i),
                tv_observations_get_entropy(ranking.get()) + 1e-7);
      EXPECT_LE(tv_observations_get_error_reduction(ranking.get(), i),
                tv_observations_get_error(ranking.get()) + 1e-7);
    }
    for (size_t f = 0; found && f < tv_findings_get_number(found.get()); ++f) {
      tv_node_t* node = tv_findings_get_node(found.get(), f);
      const QueryOwner alone = new_query(domain), without = new_query(domain);
      for (size_t i = 0; i < nodes.size(); ++i) {
        if (tv_node_evidence_is_entered(nodes[i]) != 1) continue;
        tv_query_t* const query = nodes[i] == node ? alone.get() : without.get();
        tv_node_get_kind(nodes[i]) == tv_kind_discrete
            ? tv_query_select_state(query, nodes[i], static_cast<size_t>(drawn[i]))
            : tv_query_enter_value(query, nodes[i], drawn[i]);
      }
      for (tv_query_t* query : {alone.get(), without.get()})
        ASSERT_EQ(tv_query_propagate(query, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
      const auto belief = [&](const QueryOwner& query) {
        return static_cast<double>(tv_query_get_belief(query.get(), target, 0));
      };
      EXPECT_NEAR(tv_findings_get_posterior_given(found.get(), f), belief(alone), 1e-5);
      EXPECT_NEAR(tv_findings_get_posterior_without(found.get(), f), belief(without), 1e-5);
      ++compared;
    }
  }
  EXPECT_GT(compared, 100u);
}

// ---- What is refused, and what is no finding ----

TEST(Findings, DecisionsThatAreMadeAndRequiredStatesHoldThroughout) {
  const DomainOwner domain = new_domain();
  tv_node_t* act = tv_domain_new_node(domain.get(), tv_category_decision, tv_kind_discrete);
  tv_node_set_number_of_states(act, 2);
  tv_node_t* mode = add_node(domain.get(), "mode", 2, {}, {0.5, 0.5});
  tv_node_t* cause =
      add_node(domain.get(), "cause", 2, {act, mode}, {0.9f, 0.1f, 0.8f, 0.2f, 0.3f, 0.7f, 0.4f, 0.6f});
  tv_node_t* sign = add_node(domain.get(), "sign", 2, {cause}, {0.9f, 0.1f, 0.2f, 0.8f});
  tv_node_t* required[] = {mode, nullptr};
  ASSERT_EQ(tv_domain_set_ijt_nodes(domain.get(), required), tv_status_none);
  tv_node_select_state(mode, 1);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_select_state(act, 1);
  tv_node_select_state(sign, 1);
  const Findings found(tv_node_analyze_findings(cause, 1, 1));
  ASSERT_TRUE(found) << tv_error_message();
  EXPECT_EQ(tv_findings_get_number(found.get()), 1u);
  EXPECT_EQ(tv_findings_get_node(found.get(), 0), sign);
  EXPECT_NEAR(tv_findings_get_prior(found.get()), 0.6, 1e-6);
  EXPECT_NEAR(tv_findings_get_posterior(found.get()), 0.48 / 0.52, 1e-6);
}

TEST(Findings, Refusals) {
  const DomainOwner domain = new_domain();
  tv_node_t* cause = add_node(domain.get(), "cause", 3, {}, {0.5, 0.5, 0});
  std::vector<tv_node_t*> signs;
  for (size_t i = 0; i < 20; ++i)
    signs.push_back(add_node(domain.get(), nullptr, 2, {cause}, {0.9f, 0.1f, 0.2f, 0.8f, 0.5f, 0.5f}));
  tv_node_t* x = add_continuous(domain.get(), "x", 0, 1);
  tv_domain_t* net = domain.get();
  const auto analyze = [](tv_node_t* node, size_t state, size_t size) {
    return [=] { return tv_node_analyze_findings(node, state, size); };
  };
  const auto trace = [=](size_t size, double share) {
    return [=] { return tv_domain_trace_conflict(net, size, share); };
  };
  expect_refusal(net, tv_status_not_compiled, "not compiled", analyze(cause, 0, 1));
  expect_refusal(net, tv_status_not_compiled, "not compiled", trace(1, 0.5));
  ASSERT_EQ(tv_domain_compile(net), tv_status_none);
  for (tv_node_t* sign : signs) tv_node_select_state(sign, 1);
  expect_refusal(net, tv_status_usage, "groups", analyze(cause, 0, 20));
  expect_refusal(net, tv_status_usage, "groups", trace(20, 0.5));
  expect_refusal(net, tv_status_usage, "can never be", analyze(cause, 2, 1));
  expect_refusal(net, tv_status_usage, "no state 3", analyze(cause, 3, 1));
  expect_refusal(net, tv_status_usage, "known", analyze(signs[0], 0, 1));
  expect_refusal(net, tv_status_usage, "continuous", analyze(x, 0, 1));
  for (const double share : {0.0, 1.5, std::nan("")})
    expect_refusal(net, tv_status_usage, "share", trace(1, share));
  const Findings found(tv_node_analyze_findings(cause, 0, 2));
  ASSERT_TRUE(found) << tv_error_message();
  EXPECT_EQ(tv_findings_get_number_of_groups(found.get()), 210u);
  EXPECT_EQ(tv_findings_get_role(found.get(), 0, -1, 0.5), tv_finding_error);
  EXPECT_EQ(tv_findings_get_role(found.get(), 20, 0.1, 0.5), tv_finding_error);
  EXPECT_EQ(tv_findings_get_posterior_if(found.get(), 0, 2), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

// What is counted on the way to a stop of the host must not change the domain either.
TEST(Findings, TheHostCanStopThem) {
  const DomainOwner domain = new_domain();
  tv_node_t* cause = add_node(domain.get(), "cause", 2, {}, {0.5, 0.5});
  tv_node_t* sign = add_node(domain.get(), "sign", 2, {cause}, {0.9f, 0.1f, 0.2f, 0.8f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_select_state(sign, 1);
  const auto stop = [](const char* task, double, void*) {
    const std::string name = task;
    return name == "findings" || name == "explanation" || name == "observations" ? 1 : 0;
  };
  tv_domain_set_progress_handler(domain.get(), stop, nullptr);
  tv_domain_t* net = domain.get();
  expect_refusal(net, tv_status_error, "", [&] { return tv_node_analyze_findings(cause, 0, 1); });
  expect_refusal(net, tv_status_error, "", [&] { return tv_domain_trace_conflict(net, 1, 0.5); });
  expect_refusal(net, tv_status_error, "", [&] { return tv_node_explain_belief(cause, 0, 0, 1); });
  expect_refusal(net, tv_status_error, "",
                 [&] { return tv_node_rank_observations(cause, nullptr, nullptr); });
}

}  // namespace
}  // namespace test
