// How explanations are shown: text, JSON and CSV.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <numbers>

#include "explain.h"
#include "terminal.h"

namespace program {
namespace {

constexpr double kLeastCost = 0.01, kDecisiveShare = 0.5;  // of the roles of findings
constexpr size_t kMostLines = 10;                          // of a list that may be long
constexpr size_t kBar = 20;

double decibans(double nats) { return nats * 10 / std::numbers::ln10; }

std::string claim(tv_node_t* node, size_t state) { return name_of(node) + " = " + shown_state(node, state); }

std::string known(const Explanation& explanation, tv_node_t* node) {
  const Entered* const entered = explanation.entered_on(node);
  return name_of(node) + (entered ? ": " + shown_value(*entered) : "");
}

tv_finding_role_t role_of(const Explanation& explanation, size_t finding) {
  return tv_findings_get_role(explanation.findings.get(), finding, kLeastCost, kDecisiveShare);
}

// The numbers of one finding of the explanation, from both results.
struct FindingNumbers {
  tv_node_t* node;
  size_t place;  // in the analysis of findings
  double alone, without, cost, shapley, error, weight, weight_alone;
  tv_finding_role_t role;
};

FindingNumbers numbers_of(const Explanation& explanation, size_t f) {
  const tv_explanation_t* const belief = explanation.belief.get();
  const tv_findings_t* const findings = explanation.findings.get();
  const size_t state = explanation.state;
  FindingNumbers numbers{};
  numbers.node = tv_explanation_get_finding(belief, f);
  numbers.place = explanation.place_of(numbers.node);
  numbers.alone = tv_findings_get_posterior_given(findings, numbers.place);
  numbers.without = tv_findings_get_posterior_without(findings, numbers.place);
  numbers.cost = tv_findings_get_cost_of_omission(findings, numbers.place);
  numbers.shapley = tv_explanation_get_shapley_value(belief, f, state);
  numbers.error = tv_explanation_get_standard_error(belief, f, state);
  numbers.weight = decibans(tv_explanation_get_weight(belief, f, state));
  numbers.weight_alone = decibans(tv_explanation_get_weight_alone(belief, f, state));
  numbers.role = role_of(explanation, numbers.place);
  return numbers;
}

std::vector<FindingNumbers> all_numbers(const Explanation& explanation) {
  std::vector<FindingNumbers> list;
  for (size_t f = 0; f < tv_explanation_get_number_of_findings(explanation.belief.get()); ++f)
    list.push_back(numbers_of(explanation, f));
  return list;
}

// What the target would be if a finding were in another state; -1 where that is impossible.
double posterior_if(const Explanation& explanation, const FindingNumbers& numbers, size_t state) {
  return tv_findings_get_posterior_if(explanation.findings.get(), numbers.place, state);
}

// ---- Text ----

void print_findings(const Explanation& explanation) {
  const std::vector<FindingNumbers> list = all_numbers(explanation);
  if (list.empty()) return;
  const Terminal terminal;
  TextTable table = {{"finding", "alone", "left out", "share", "role"}};
  const double most = std::max(std::fabs(list[0].shapley), 1e-12);
  for (const FindingNumbers& each : list) {
    table.push_back({known(explanation, each.node), rounded(each.alone), rounded(each.without),
                     rounded(each.shapley), role_name(each.role)});
    if (terminal.is_terminal)
      table.back().push_back((each.shapley < 0 ? "-" : "+") +
                             terminal.bar(std::fabs(each.shapley) / most, kBar));
  }
  std::printf("\nIts probability with each finding alone, and with each one left out\n");
  print_table(table);
}

void print_alternatives(const Explanation& explanation) {
  TextTable table = {{"if it were", "then"}};
  for (const FindingNumbers& each : all_numbers(explanation)) {
    if (!is_discrete(each.node)) continue;
    const Entered* const entered = explanation.entered_on(each.node);
    for (size_t state = 0; state < states_of(each.node); ++state) {
      if (entered && entered->state == state) continue;
      const double posterior = posterior_if(explanation, each, state);
      table.push_back({claim(each.node, state), posterior < 0 ? "impossible" : rounded(posterior)});
    }
  }
  if (table.size() == 1) return;
  std::printf("\nIts probability if one finding were different\n");
  print_table(table);
}

void print_groups(const Explanation& explanation) {
  const tv_findings_t* const findings = explanation.findings.get();
  const size_t count = tv_findings_get_number_of_groups(findings);
  if (count == 0) return;
  TextTable table = {{"given", "probability", "factor"}};
  for (size_t g = 0; g < std::min(count, kMostLines); ++g) {
    size_t size = 0;
    const size_t* const members = tv_findings_get_group(findings, g, &size);
    std::string text;
    for (size_t i = 0; i < size; ++i)
      text += (i ? ", " : "") + known(explanation, tv_findings_get_node(findings, members[i]));
    table.push_back({text, rounded(tv_findings_get_group_posterior(findings, g)),
                     rounded(tv_findings_get_normalized_likelihood(findings, g))});
  }
  std::printf("\nIts probability given groups of findings alone, and the factor by which they change it\n");
  print_table(table);
  if (count > kMostLines) std::printf("    and %zu more\n", count - kMostLines);
}

void print_conflict(const Explanation& explanation) {
  const tv_conflict_t* const conflict = explanation.conflict.get();
  if (!conflict) return;
  const double value = tv_conflict_get_value(conflict);
  std::printf("\nThe findings %s: their conflict is %s\n", value > 0 ? "disagree" : "agree",
              rounded(value).c_str());
  const size_t groups = tv_conflict_get_number_of_groups(conflict);
  for (size_t g = 0; g < std::min(groups, kMostLines); ++g) {
    size_t size = 0;
    tv_node_t* const* nodes = tv_conflict_get_group(conflict, g, &size);
    std::string text;
    for (size_t i = 0; i < size; ++i) text += (i ? ", " : "") + known(explanation, nodes[i]);
    std::printf("    %s between %s\n", rounded(tv_conflict_get_group_value(conflict, g)).c_str(),
                text.c_str());
  }
  const size_t resolutions = tv_conflict_get_number_of_resolutions(conflict);
  for (size_t r = 0; r < std::min(resolutions, kMostLines); ++r) {
    size_t state = 0;
    tv_node_t* const node = tv_conflict_get_resolution(conflict, r, &state);
    std::printf("    %s would resolve it\n", claim(node, state).c_str());
  }
}

std::string account_text(const tv_relevant_explanations_t* account, size_t k) {
  size_t size = 0;
  tv_node_t* const* nodes = tv_relevant_explanations_get_nodes(account, k, &size);
  const size_t* const states = tv_relevant_explanations_get_states(account, k, &size);
  std::string text;
  for (size_t i = 0; i < size; ++i) text += (i ? ", " : "") + claim(nodes[i], states[i]);
  return text;
}

void print_account(const Explanation& explanation) {
  const tv_relevant_explanations_t* const account = explanation.account.get();
  if (!account) return;
  TextTable table = {{"explanation", "factor", "probability"}};
  for (size_t k = 0; k < tv_relevant_explanations_get_number(account); ++k)
    table.push_back({account_text(account, k), rounded(tv_relevant_explanations_get_factor(account, k)),
                     rounded(tv_relevant_explanations_get_probability(account, k))});
  std::printf("\nWhat accounts for the evidence\n");
  print_table(table);
}

// ---- JSON ----

Json trails_of(const tv_explanation_t* belief, size_t f) {
  Json trails = Json::array();
  for (size_t t = 0; t < tv_explanation_get_number_of_trails(belief, f); ++t) {
    size_t size = 0;
    tv_node_t* const* nodes = tv_explanation_get_trail(belief, f, t, &size);
    Json names = Json::array();
    for (size_t i = 0; i < size; ++i) names.push_back(name_of(nodes[i]));
    trails.push_back(
        {{"nodes", names}, {"strength", json_number(tv_explanation_get_trail_strength(belief, f, t))}});
  }
  return trails;
}

Json json_of(const Explanation& explanation, size_t f) {
  const FindingNumbers numbers = numbers_of(explanation, f);
  Json different = Json::object();
  for (size_t state = 0; is_discrete(numbers.node) && state < states_of(numbers.node); ++state) {
    const double posterior = posterior_if(explanation, numbers, state);
    different[state_name(numbers.node, state)] = posterior < 0 ? Json() : json_number(posterior);
  }
  return {{"node", name_of(numbers.node)},
          {"role", role_name(numbers.role)},
          {"shapley_value", json_number(numbers.shapley)},
          {"standard_error", json_number(numbers.error)},
          {"weight_alone", json_number(numbers.weight_alone)},
          {"weight", json_number(numbers.weight)},
          {"probability_alone", json_number(numbers.alone)},
          {"probability_without", json_number(numbers.without)},
          {"cost_of_omission", json_number(numbers.cost)},
          {"probability_if", different},
          {"trails", trails_of(explanation.belief.get(), f)},
          {"has_all_trails", tv_explanation_has_all_trails(explanation.belief.get(), f) == 1}};
}

Json groups_of(const tv_findings_t* findings) {
  Json groups = Json::array();
  for (size_t g = 0; g < tv_findings_get_number_of_groups(findings); ++g) {
    size_t size = 0;
    const size_t* const members = tv_findings_get_group(findings, g, &size);
    Json names = Json::array();
    for (size_t i = 0; i < size; ++i) names.push_back(name_of(tv_findings_get_node(findings, members[i])));
    groups.push_back(
        {{"nodes", names},
         {"probability", json_number(tv_findings_get_group_posterior(findings, g))},
         {"normalized_likelihood", json_number(tv_findings_get_normalized_likelihood(findings, g))}});
  }
  return groups;
}

Json json_of(const tv_conflict_t* conflict) {
  if (!conflict) return {};
  Json groups = Json::array(), resolutions = Json::array();
  for (size_t g = 0; g < tv_conflict_get_number_of_groups(conflict); ++g) {
    size_t size = 0;
    tv_node_t* const* nodes = tv_conflict_get_group(conflict, g, &size);
    Json names = Json::array();
    for (size_t i = 0; i < size; ++i) names.push_back(name_of(nodes[i]));
    groups.push_back({{"nodes", names}, {"value", json_number(tv_conflict_get_group_value(conflict, g))}});
  }
  for (size_t r = 0; r < tv_conflict_get_number_of_resolutions(conflict); ++r) {
    size_t state = 0;
    tv_node_t* const node = tv_conflict_get_resolution(conflict, r, &state);
    resolutions.push_back({{"node", name_of(node)},
                           {"state", state_name(node, state)},
                           {"value", json_number(tv_conflict_get_resolution_value(conflict, r))}});
  }
  return {{"value", json_number(tv_conflict_get_value(conflict))},
          {"groups", groups},
          {"resolutions", resolutions}};
}

Json json_of(const tv_relevant_explanations_t* account) {
  Json list = Json::array();
  for (size_t k = 0; account && k < tv_relevant_explanations_get_number(account); ++k) {
    size_t size = 0;
    tv_node_t* const* nodes = tv_relevant_explanations_get_nodes(account, k, &size);
    const size_t* const states = tv_relevant_explanations_get_states(account, k, &size);
    Json stated = Json::object();
    for (size_t i = 0; i < size; ++i) stated[name_of(nodes[i])] = state_name(nodes[i], states[i]);
    list.push_back({{"states", stated},
                    {"factor", json_number(tv_relevant_explanations_get_factor(account, k))},
                    {"probability", json_number(tv_relevant_explanations_get_probability(account, k))}});
  }
  return list;
}

}  // namespace

void print_as_text(const Network& network, const Explanation& explanation) {
  std::printf("%s: %zu nodes, evidence on %zu\n\n", printable(network.file()).c_str(), network.nodes().size(),
              explanation.evidence.size());
  std::printf("%s", printable(tv_explanation_get_text(explanation.belief.get()), true).c_str());
  print_findings(explanation);
  print_alternatives(explanation);
  print_groups(explanation);
  print_conflict(explanation);
  print_account(explanation);
}

void print_as_json(const Network& network, const Explanation& explanation) {
  const tv_explanation_t* const belief = explanation.belief.get();
  Json document = {{"command", "explain"},
                   {"file", network.file()},
                   {"target", name_of(explanation.target)},
                   {"state", state_name(explanation.target, explanation.state)}};
  add_evidence(document, explanation.evidence);
  document["prior"] = json_number(tv_explanation_get_prior(belief, explanation.state));
  document["posterior"] = json_number(tv_explanation_get_posterior(belief, explanation.state));
  document["text"] = tv_explanation_get_text(belief);
  document["findings"] = Json::array();
  for (size_t f = 0; f < tv_explanation_get_number_of_findings(belief); ++f)
    document["findings"].push_back(json_of(explanation, f));
  document["groups"] = groups_of(explanation.findings.get());
  document["conflict"] = json_of(explanation.conflict.get());
  document["explanations"] = json_of(explanation.account.get());
  print_json(document);
}

void print_as_csv(const Explanation& explanation) {
  const CsvWriter csv({"node", "state", "quantity", "value"});
  for (const FindingNumbers& each : all_numbers(explanation)) {
    const std::string name = name_of(each.node);
    csv.row({name, "", "role", role_name(each.role)});
    csv.row({name, "", "shapley_value", shortest(each.shapley)});
    csv.row({name, "", "standard_error", shortest(each.error)});
    csv.row({name, "", "weight_alone", shortest(each.weight_alone)});
    csv.row({name, "", "weight", shortest(each.weight)});
    csv.row({name, "", "probability_alone", shortest(each.alone)});
    csv.row({name, "", "probability_without", shortest(each.without)});
    csv.row({name, "", "cost_of_omission", shortest(each.cost)});
    for (size_t state = 0; is_discrete(each.node) && state < states_of(each.node); ++state) {
      const double posterior = posterior_if(explanation, each, state);
      csv.row(
          {name, state_name(each.node, state), "probability_if", posterior < 0 ? "" : shortest(posterior)});
    }
  }
  const std::string target = name_of(explanation.target),
                    state = state_name(explanation.target, explanation.state);
  csv.row({target, state, "prior",
           shortest(tv_explanation_get_prior(explanation.belief.get(), explanation.state))});
  csv.row({target, state, "posterior",
           shortest(tv_explanation_get_posterior(explanation.belief.get(), explanation.state))});
  if (explanation.conflict)
    csv.row({"", "", "conflict", shortest(tv_conflict_get_value(explanation.conflict.get()))});
}

}  // namespace program
