// How parameters and what they do are shown: text, JSON and CSV.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "sensitivity.h"
#include "terminal.h"

namespace program {
namespace {

constexpr size_t kBar = 16;

std::string interval(double low, double high) { return rounded(low) + " to " + rounded(high); }

// What the answer is.
std::string question(const FoundSensitivity& found) {
  if (!found.target) return "the expected utility";
  return "P(" + name_of(found.target) + "=" + shown_state(found.target, found.state) + ")";
}

std::string goal_of(const SensitivityOptions& options, const FoundSensitivity& found) {
  const std::string goal = rounded(*options.goal);
  if (options.over.empty()) return question(found) + " to " + goal + " or more";
  return question(found) + " above that of " + options.over + " by " + goal + " or more";
}

}  // namespace

void print_as_text(const Network& network, const SensitivityOptions& options, const FoundSensitivity& found) {
  const Terminal terminal;
  std::printf("%s: %zu nodes, evidence on %zu\n", printable(network.file()).c_str(), network.nodes().size(),
              found.evidence.size());
  std::printf("\n%s is %s", question(found).c_str(), significant(found.answer).c_str());
  if (found.has_goal && found.rows.empty()) {
    std::printf("\n    no change of a single parameter brings %s\n", goal_of(options, found).c_str());
    return;
  }
  std::printf("; %zu parameters\n", found.parameters);
  if (found.has_goal)
    std::printf("    the smallest changes that bring %s\n", goal_of(options, found).c_str());
  std::printf("\n");
  TextTable table = {{"parameter", "value", "derivative", "answer from 0 to 1"}};
  if (found.target) table[0].push_back("most probable stays");
  if (found.has_goal) table[0].push_back("change to");
  double most = 0;
  for (const ParameterRow& row : found.rows) most = std::max(most, std::abs(row.derivative));
  for (const ParameterRow& row : found.rows) {
    const double at_zero = row.derivative < 0 ? row.high : row.low,
                 at_one = row.derivative < 0 ? row.low : row.high;
    std::vector<std::string> cells = {shown_parameter(row.node, row.index), rounded(row.value),
                                      rounded(row.derivative), interval(at_zero, at_one)};
    if (found.target) cells.push_back(interval(row.stable_low, row.stable_high));
    if (found.has_goal) cells.push_back(rounded(*row.tuned));
    if (terminal.is_terminal && most > 0)
      cells.push_back(terminal.bar(std::abs(row.derivative) / most, kBar));
    table.push_back(cells);
  }
  print_table(table);
}

void print_as_json(const Network& network, const SensitivityOptions& options, const FoundSensitivity& found) {
  Json document = {{"command", "sensitivity"}, {"file", network.file()}};
  if (found.target) {
    document["target"] = name_of(found.target);
    document["state"] = state_name(found.target, found.state);
  }
  add_evidence(document, found.evidence);
  document["value"] = json_number(found.answer);
  document["number_of_parameters"] = found.parameters;
  if (found.has_goal) document["goal"] = json_number(*options.goal);
  Json list = Json::array();
  for (const ParameterRow& row : found.rows) {
    Json entry = {{"parameter", shown_parameter(row.node, row.index)},
                  {"node", name_of(row.node)},
                  {"index", row.index},
                  {"value", json_number(row.value)},
                  {"derivative", json_number(row.derivative)},
                  {"constants", Json::array()},
                  {"low", json_number(row.low)},
                  {"high", json_number(row.high)}};
    for (const double constant : row.constants) entry["constants"].push_back(json_number(constant));
    if (found.target) {
      entry["stable_low"] = json_number(row.stable_low);
      entry["stable_high"] = json_number(row.stable_high);
    }
    if (row.tuned) entry["tuned"] = json_number(*row.tuned);
    list.push_back(entry);
  }
  document["parameters"] = list;
  print_json(document);
}

void print_as_csv(const FoundSensitivity& found) {
  const CsvWriter csv({"parameter", "node", "index", "value", "derivative", "a", "b", "c", "d", "low", "high",
                       "stable_low", "stable_high", "tuned"});
  for (const ParameterRow& row : found.rows) {
    std::vector<std::string> cells = {shown_parameter(row.node, row.index), name_of(row.node),
                                      std::to_string(row.index), shortest(row.value),
                                      shortest(row.derivative)};
    for (const double constant : row.constants) cells.push_back(shortest(constant));
    cells.insert(cells.end(), {shortest(row.low), shortest(row.high)});
    cells.push_back(found.target ? shortest(row.stable_low) : "");
    cells.push_back(found.target ? shortest(row.stable_high) : "");
    cells.push_back(row.tuned ? shortest(*row.tuned) : "");
    csv.row(cells);
  }
}

}  // namespace program
