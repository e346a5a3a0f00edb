// How policies are shown: text, JSON and CSV.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "policies.h"

namespace program {
namespace {

// The chosen state; several where they are as good, with their shares when these differ.
std::string choice_text(const Policy& policy, const PolicyRow& row) {
  std::vector<size_t> chosen;
  for (size_t state = 0; state < states_of(policy.decision); ++state)
    if (row.shares[state] > 0) chosen.push_back(state);
  const bool equal = std::all_of(chosen.begin(), chosen.end(), [&](size_t state) {
    return std::abs(row.shares[state] - row.shares[chosen[0]]) < 1e-6f;
  });
  std::string text;
  for (const size_t state : chosen) {
    if (!text.empty()) text += " or ";
    text += shown_state(policy.decision, state);
    if (!equal) text += " (" + significant(static_cast<double>(row.shares[state])) + ")";
  }
  return text;
}

// The cells of a row: the states of the parents, the choice, and the probability where there are parents.
std::vector<std::string> cells_of(const Policy& policy, const PolicyRow& row) {
  std::vector<std::string> cells;
  for (size_t p = 0; p < policy.parents.size(); ++p)
    cells.push_back(shown_state(policy.parents[p], row.states[p]));
  cells.push_back(choice_text(policy, row));
  if (!policy.parents.empty()) cells.push_back(significant(static_cast<double>(row.probability)));
  return cells;
}

void print_line(const std::vector<std::string>& cells, const std::vector<size_t>& widths) {
  std::string line = "    ";
  for (size_t c = 0; c < cells.size(); ++c) line += padded(cells[c], widths[c] + 2);
  line.erase(line.find_last_not_of(' ') + 1);
  std::printf("%s\n", line.c_str());
}

// Passes over the rows twice rather than keeping them.
void print_rows(const Policy& policy) {
  std::vector<std::string> header;
  for (size_t p = 0; p < policy.parents.size(); ++p)
    header.push_back(name_of(policy.parents[p]) + std::string(policy.requisite[p] ? "" : "*"));
  header.push_back("choice");
  if (!policy.parents.empty()) header.push_back("probability");
  std::vector<size_t> widths;
  for (const std::string& cell : header) widths.push_back(display_width(cell));
  size_t left_out = 0;
  for_each_row(policy, [&](const PolicyRow& row) {
    if (!(row.probability > 0)) return void(++left_out);
    const std::vector<std::string> cells = cells_of(policy, row);
    for (size_t c = 0; c < cells.size(); ++c) widths[c] = std::max(widths[c], display_width(cells[c]));
  });
  print_line(header, widths);
  for_each_row(policy, [&](const PolicyRow& row) {
    if (row.probability > 0) print_line(cells_of(policy, row), widths);
  });
  if (std::find(policy.requisite.begin(), policy.requisite.end(), false) != policy.requisite.end())
    std::printf("    * can make no difference\n");
  if (left_out > 0) std::printf("    %zu more that do not occur under these policies\n", left_out);
}

void print_policy(const Policy& policy) {
  std::printf("\n%s%s\n", heading_of(policy.decision).c_str(), policy.made ? "  [made]" : "");
  if (policy.made) {
    std::printf("    choice\n    %s\n", shown_state(policy.decision, *policy.made).c_str());
    return;
  }
  if (policy.has_open_parent())
    std::printf("    what to choose in each case that may then be known, and how probable the case is\n");
  print_rows(policy);
}

Json json_of(const Policy& policy, const PolicyRow& row) {
  Json given = Json::object(), shares = Json::array();
  for (size_t p = 0; p < policy.parents.size(); ++p)
    given[name_of(policy.parents[p])] = state_name(policy.parents[p], row.states[p]);
  for (size_t state = 0; state < states_of(policy.decision); ++state)
    shares.push_back(json_number(row.shares[state]));
  return {{"given", given}, {"probability", json_number(row.probability)}, {"policy", shares}};
}

Json header_of(const Network& network, const Plan& plan) {
  Json document = {{"command", "decide"}, {"file", network.file()}};
  add_evidence(document, plan.evidence);
  document["probability_of_evidence"] = json_number(plan.probability);
  document["expected_utility"] = json_number(plan.expected_utility);
  document.update(json_of(plan.compression));
  document["next"] = Json();
  if (plan.next) {
    Json alternatives = Json::array();
    for (size_t state = 0; state < plan.next->utilities.size(); ++state)
      alternatives.push_back({{"state", state_name(plan.next->decision, state)},
                              {"expected_utility", json_number(plan.next->utilities[state])}});
    document["next"] = {{"decision", name_of(plan.next->decision)}, {"alternatives", alternatives}};
  }
  return document;
}

Json header_of(const Policy& policy) {
  Json parents = Json::array();
  for (size_t p = 0; p < policy.parents.size(); ++p)
    parents.push_back({{"name", name_of(policy.parents[p])}, {"requisite", bool(policy.requisite[p])}});
  return {{"name", name_of(policy.decision)},
          {"states", state_names(policy.decision)},
          {"made", policy.made ? Json(state_name(policy.decision, *policy.made)) : Json()},
          {"parents", parents}};
}

// "sounding=open; test=yes"
std::string given_text(const Policy& policy, const PolicyRow& row) {
  std::string text;
  for (size_t p = 0; p < policy.parents.size(); ++p)
    text += (p ? "; " : "") + name_of(policy.parents[p]) + "=" + state_name(policy.parents[p], row.states[p]);
  return text;
}

}  // namespace

void print_as_text(const Network& network, const Plan& plan) {
  std::printf("%s: %zu nodes, %zu decision%s, evidence on %zu\n", printable(network.file()).c_str(),
              network.nodes().size(), plan.policies.size(), plan.policies.size() == 1 ? "" : "s",
              plan.evidence.size());
  for (const Entered& entered : plan.evidence)
    if (!is_decision(entered.node))
      std::printf("  known: %s: %s\n", name_of(entered.node).c_str(), shown_value(entered).c_str());
  for (const Policy& policy : plan.policies) print_policy(policy);
  if (plan.next) {
    std::printf("\nNext: %s\n", heading_of(plan.next->decision).c_str());
    TextTable table = {{"alternative", "expected utility"}};
    for (size_t state = 0; state < plan.next->utilities.size(); ++state)
      table.push_back({shown_state(plan.next->decision, state), significant(plan.next->utilities[state])});
    print_table(table);
  }
  std::printf("\n%-34s %s\n", "Expected utility", significant(plan.expected_utility).c_str());
  if (!plan.evidence.empty())
    std::printf("%-34s %s\n", "Probability of the evidence", significant(plan.probability).c_str());
  print_lines(plan.compression);
}

void print_as_json(const Network& network, const Plan& plan) {
  JsonList decisions(header_of(network, plan), "decisions");
  for (const Policy& policy : plan.policies) {
    JsonList rows(decisions, header_of(policy), "policy");
    if (!policy.made) for_each_row(policy, [&](const PolicyRow& row) { rows.add(json_of(policy, row)); });
    rows.end();
  }
  decisions.end();
}

void print_as_csv(const Plan& plan) {
  const CsvWriter csv({"node", "given", "state", "quantity", "value"});
  for (const Policy& policy : plan.policies) {
    const std::string name = name_of(policy.decision);
    if (policy.made) {
      csv.row({name, "", state_name(policy.decision, *policy.made), "made", "1"});
      continue;
    }
    for_each_row(policy, [&](const PolicyRow& row) {
      const std::string given = given_text(policy, row);
      csv.row({name, given, "", "probability", shortest(row.probability)});
      for (size_t state = 0; state < states_of(policy.decision); ++state)
        csv.row({name, given, state_name(policy.decision, state), "policy", shortest(row.shares[state])});
    });
  }
  if (plan.next)
    for (size_t state = 0; state < plan.next->utilities.size(); ++state)
      csv.row({name_of(plan.next->decision), "", state_name(plan.next->decision, state), "expected_utility",
               shortest(plan.next->utilities[state])});
  csv.row({"", "", "", "probability_of_evidence", shortest(plan.probability)});
  csv.row({"", "", "", "expected_utility", shortest(plan.expected_utility)});
  print_rows(csv, plan.compression, 5);
}

}  // namespace program
