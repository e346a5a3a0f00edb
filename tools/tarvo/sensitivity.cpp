// tarvo sensitivity: load, compile, enter the evidence, and find out which parameters matter.
#include "sensitivity.h"

#include <algorithm>
#include <memory>

#include "evidence_value.h"
#include "progress.h"
#include "propagation.h"
#include "target.h"

namespace program {
namespace {

constexpr size_t kNoState = static_cast<size_t>(-1);

struct DeleteSensitivity {
  void operator()(tv_sensitivity_t* what) const { tv_sensitivity_delete(what); }
};
using Sensitivity = std::unique_ptr<tv_sensitivity_t, DeleteSensitivity>;

size_t find_other_state(const Network& network, const FoundSensitivity& found, const std::string& word) {
  if (word.empty()) return kNoState;
  const auto state = find_any_state(network, found.target, word);
  if (!state)
    throw Failure(kFailed, network.file() + ": \"" + name_of(found.target) +
                               "\": " + no_such_state(found.target, word));
  return *state;
}

ParameterRow row_of(const tv_sensitivity_t* all, size_t i, const FoundSensitivity& found) {
  ParameterRow row = {};
  row.node = tv_sensitivity_get_node(all, i);
  row.index = tv_sensitivity_get_table_index(all, i);
  row.value = tv_sensitivity_get_parameter(all, i);
  row.derivative = tv_sensitivity_get_derivative(all, i);
  tv_sensitivity_get_constants(all, i, row.constants);
  tv_sensitivity_get_range(all, i, &row.low, &row.high);
  row.stable_high = 1;
  if (found.target) tv_sensitivity_get_stable_interval(all, i, &row.stable_low, &row.stable_high);
  return row;
}

// Those with the largest derivatives. With a goal, those that reach it by the smallest change of their value.
void list_rows(const Network& network, const tv_sensitivity_t* all, const SensitivityOptions& options,
               const std::vector<const tv_node_t*>& nodes, FoundSensitivity& found) {
  const size_t other = options.goal ? find_other_state(network, found, options.over) : kNoState;
  const size_t count = tv_sensitivity_get_number_of_parameters(all);
  for (size_t i = 0; i < count; ++i) {
    const tv_node_t* const node = tv_sensitivity_get_node(all, i);
    if (!nodes.empty() && std::find(nodes.begin(), nodes.end(), node) == nodes.end()) continue;
    ++found.parameters;
    if (!options.goal && found.rows.size() == options.top) continue;
    double tuned = 0;
    if (options.goal) {
      const tv_status_t status = tv_sensitivity_tune_parameter(all, i, other, *options.goal, &tuned);
      if (status == tv_status_no_value) continue;
      if (status) fail_with_status(network.file());
    }
    found.rows.push_back(row_of(all, i, found));
    if (options.goal) found.rows.back().tuned = tuned;
  }
  if (!options.goal) return;
  const auto change = [](const ParameterRow& row) { return std::abs(*row.tuned - row.value); };
  std::stable_sort(found.rows.begin(), found.rows.end(),
                   [&](const ParameterRow& a, const ParameterRow& b) { return change(a) < change(b); });
  found.rows.resize(std::min(found.rows.size(), options.top));
}

}  // namespace

std::string shown_parameter(tv_node_t* node, size_t index) {
  tv_table_t* const table = tv_node_get_table(node);
  std::vector<size_t> states(tv_table_get_size(table));
  size_t count = 0;
  while (tv_table_get_nodes(table)[count]) ++count;
  states.resize(count);
  tv_table_get_configuration_from_index(table, states.data(), index);
  const auto shown = [&](size_t i) {
    tv_node_t* const member = tv_table_get_nodes(table)[i];
    return name_of(member) + "=" + shown_state(member, states[i]);
  };
  std::string text = "P(" + shown(count - 1);
  for (size_t i = 0; i + 1 < count; ++i) text += (i == 0 ? " | " : ", ") + shown(i);
  return text + ")";
}

ExitCode show_sensitivity(const SensitivityOptions& options) {
  const std::vector<Finding> findings = parse_findings(options.evidence);
  const Network network(options.source);
  FoundSensitivity found;
  std::vector<const tv_node_t*> nodes;
  for (const std::string& name : options.nodes) nodes.push_back(network.find(name));
  if (!options.target.empty()) found.target = find_target(network, options.target);
  found.has_goal = options.goal.has_value();
  compile(network, options.triangulation);
  enter_evidence(network, findings, options.evidence.case_file);
  found.evidence = entered_evidence(network);
  propagate(network);
  if (found.target) found.state = find_state(network, found.target, options.target);
  Sensitivity all;
  {
    const Activity analyzing("analyzing the parameters");
    all.reset(found.target ? tv_node_analyze_sensitivity(found.target, found.state)
                           : tv_domain_analyze_utility_sensitivity(network.domain()));
  }
  if (!all) fail_with_status(network.file());
  found.answer = tv_sensitivity_get_value(all.get());
  list_rows(network, all.get(), options, nodes, found);
  if (options.format == Format::kText) print_as_text(network, options, found);
  if (options.format == Format::kJson) print_as_json(network, options, found);
  if (options.format == Format::kCsv) print_as_csv(found);
  return kSuccess;
}

}  // namespace program
