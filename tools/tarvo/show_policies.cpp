// How policies are shown: text and JSON.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "policies.h"

namespace program {
namespace {

std::string significant(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", number);
  return text;
}

std::string heading(tv_node_t* node) {
  const std::string name = tv_node_get_name(node), label = tv_node_get_label(node);
  return label.empty() || label == name ? name : name + "  (" + label + ")";
}

// The chosen state; several where they are as good, with their shares when these differ.
std::string choice_text(const Policy& policy, const PolicyRow& row) {
  std::vector<size_t> chosen;
  for (size_t state = 0; state < row.shares.size(); ++state)
    if (row.shares[state] > 0) chosen.push_back(state);
  const bool equal = std::all_of(chosen.begin(), chosen.end(), [&](size_t state) {
    return std::abs(row.shares[state] - row.shares[chosen[0]]) < 1e-6f;
  });
  std::string text;
  for (size_t state : chosen) {
    if (!text.empty()) text += " or ";
    text += state_name(policy.decision, state);
    if (!equal) text += " (" + significant(static_cast<double>(row.shares[state])) + ")";
  }
  return text;
}

using TextTable = std::vector<std::vector<std::string>>;

void print_table(const TextTable& table) {
  std::vector<size_t> widths(table[0].size(), 0);
  for (const auto& row : table)
    for (size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], display_width(row[c]));
  for (const auto& row : table) {
    std::string line = "   ";
    for (size_t c = 0; c < row.size(); ++c) line += " " + padded(row[c], widths[c] + 1);
    line.erase(line.find_last_not_of(' ') + 1);
    std::printf("%s\n", line.c_str());
  }
}

void print_policy(const Policy& policy) {
  std::printf("\n%s\n", heading(policy.decision).c_str());
  if (policy.made) {
    std::printf("    made: %s\n", state_name(policy.decision, *policy.made).c_str());
    return;
  }
  TextTable table(1);
  bool any_without_effect = false;
  size_t left_out = 0;
  for (size_t p = 0; p < policy.parents.size(); ++p) {
    any_without_effect |= !policy.requisite[p];
    table[0].push_back(tv_node_get_name(policy.parents[p]) + std::string(policy.requisite[p] ? "" : "*"));
  }
  table[0].push_back("choice");
  if (!policy.parents.empty()) table[0].push_back("probability");
  for (const PolicyRow& row : policy.rows) {
    if (!(row.probability > 0)) {
      ++left_out;
      continue;
    }
    std::vector<std::string> cells;
    for (size_t p = 0; p < policy.parents.size(); ++p)
      cells.push_back(state_name(policy.parents[p], row.states[p]));
    cells.push_back(choice_text(policy, row));
    if (!policy.parents.empty()) cells.push_back(significant(row.probability));
    table.push_back(std::move(cells));
  }
  print_table(table);
  if (any_without_effect) std::printf("    * can make no difference\n");
  if (left_out > 0) std::printf("    %zu more that do not occur under these policies\n", left_out);
}

void print_text(const Network& network, const DecideOptions& options, const Plan& plan) {
  std::printf("%s: %zu nodes, %zu decision%s, evidence on %zu\n", network.file().c_str(),
              network.nodes().size(), plan.policies.size(), plan.policies.size() == 1 ? "" : "s",
              options.findings.size());
  for (const Policy& policy : plan.policies) print_policy(policy);
  if (plan.next) {
    std::printf("\nNext: %s\n", heading(plan.next->decision).c_str());
    TextTable table = {{"alternative", "expected utility"}};
    for (size_t state = 0; state < plan.next->utilities.size(); ++state)
      table.push_back({state_name(plan.next->decision, state), significant(plan.next->utilities[state])});
    print_table(table);
  }
  std::printf("\n%-34s %s\n", "Expected utility", significant(plan.expected_utility).c_str());
  if (!options.findings.empty())
    std::printf("%-34s %s\n", "Probability of the evidence", significant(plan.probability).c_str());
}

using Json = nlohmann::ordered_json;

Json json_of(const Policy& policy) {
  Json parents = Json::array(), rows = Json::array();
  for (size_t p = 0; p < policy.parents.size(); ++p)
    parents.push_back(
        {{"name", tv_node_get_name(policy.parents[p])}, {"requisite", bool(policy.requisite[p])}});
  for (const PolicyRow& row : policy.rows) {
    Json given = Json::object(), shares = Json::array();
    for (size_t p = 0; p < policy.parents.size(); ++p)
      given[tv_node_get_name(policy.parents[p])] = state_name(policy.parents[p], row.states[p]);
    for (tv_number_t share : row.shares) shares.push_back(share);
    rows.push_back({{"given", given}, {"probability", row.probability}, {"policy", shares}});
  }
  return {{"name", tv_node_get_name(policy.decision)},
          {"states", state_names(policy.decision)},
          {"made", policy.made ? Json(state_name(policy.decision, *policy.made)) : Json()},
          {"parents", parents},
          {"policy", rows}};
}

void print_json(const Network& network, const DecideOptions& options, const Plan& plan) {
  Json document = {{"file", network.file()},
                   {"evidence", Json::object()},
                   {"likelihood", Json::object()},
                   {"probability_of_evidence", plan.probability},
                   {"expected_utility", plan.expected_utility},
                   {"decisions", Json::array()},
                   {"next", Json()}};
  for (const Finding& finding : options.findings) {
    if (finding.likelihood.empty()) document["evidence"][finding.node] = finding.state;
    for (tv_number_t value : finding.likelihood) document["likelihood"][finding.node].push_back(value);
  }
  for (const Policy& policy : plan.policies) document["decisions"].push_back(json_of(policy));
  if (plan.next) {
    Json alternatives = Json::array();
    for (size_t state = 0; state < plan.next->utilities.size(); ++state)
      alternatives.push_back({{"state", state_name(plan.next->decision, state)},
                              {"expected_utility", plan.next->utilities[state]}});
    document["next"] = {{"decision", tv_node_get_name(plan.next->decision)}, {"alternatives", alternatives}};
  }
  std::printf("%s\n", document.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

}  // namespace

void print(const Network& network, const DecideOptions& options, const Plan& plan) {
  if (options.format == Format::kJson)
    print_json(network, options, plan);
  else
    print_text(network, options, plan);
}

}  // namespace program
