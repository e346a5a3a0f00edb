// tarvo configurations: load, compile, enter the evidence, and find the most probable configurations.
#include "configurations.h"

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "progress.h"
#include "propagation.h"
#include "terminal.h"

namespace program {
namespace {

struct DeleteConfigurations {
  void operator()(tv_configurations_t* what) const { tv_configurations_delete(what); }
};
using Configurations = std::unique_ptr<tv_configurations_t, DeleteConfigurations>;

Configurations find(const Network& network, const ConfigurationsOptions& options,
                    std::vector<tv_node_t*> nodes) {
  const Activity finding("finding configurations");
  bool is_special = !options.nodes.empty() || options.least_probability > 0 || options.max_steps > 0;
  for (const tv_node_t* node : network.nodes()) is_special |= is_continuous(node);
  if (!is_special) return Configurations(tv_domain_find_configurations(network.domain(), options.count));
  nodes.push_back(nullptr);
  return Configurations(tv_domain_find_configurations_of(network.domain(), nodes.data(), options.count,
                                                         options.least_probability, options.max_steps));
}

// Those asked for, or all that have states.
std::vector<tv_node_t*> columns(const Network& network, const std::vector<std::string>& names) {
  std::vector<tv_node_t*> nodes;
  for (const std::string& name : names) nodes.push_back(network.find(name));
  if (names.empty())
    for (tv_node_t* node : network.nodes())
      if (is_discrete(node)) nodes.push_back(node);
  return nodes;
}

// A configuration after the first one is told by what differs from it.
void print_states(const FoundConfigurations& found, size_t index) {
  TextTable table;
  for (size_t c = 0; c < found.nodes.size(); ++c) {
    const size_t state = found.list[index].states[c];
    if (index > 0 && state == found.list[0].states[c]) continue;
    table.push_back({name_of(found.nodes[c]), shown_state(found.nodes[c], state)});
  }
  print_table(table);
}

}  // namespace

void print_as_text(const Network& network, const FoundConfigurations& found) {
  const Terminal terminal;
  std::printf("%s: %zu nodes, evidence on %zu\n", printable(network.file()).c_str(), network.nodes().size(),
              found.evidence.size());
  for (size_t i = 0; i < found.list.size(); ++i) {
    const double probability = found.list[i].probability;
    std::printf("\n%zu. probability %s%s", i + 1, rounded(probability).c_str(), i > 0 ? ", as 1. but" : "");
    if (terminal.is_terminal) std::printf("  %s", terminal.bar(probability, 20).c_str());
    std::printf("\n");
    print_states(found, i);
  }
  if (found.list.empty()) std::printf("\nNo configuration is as probable as that.\n");
  std::printf("\nThe probability of all others together is %s", rounded(found.remaining).c_str());
  if (!found.is_complete)
    std::printf("; the search was ended, and some may have up to %s", rounded(found.bound).c_str());
  std::printf(".\n");
}

void print_as_json(const Network& network, const FoundConfigurations& found) {
  Json document = {{"command", "configurations"}, {"file", network.file()}};
  add_evidence(document, found.evidence);
  Json list = Json::array();
  for (const Configuration& each : found.list) {
    Json states = Json::object();
    for (size_t c = 0; c < found.nodes.size(); ++c)
      states[name_of(found.nodes[c])] = state_name(found.nodes[c], each.states[c]);
    list.push_back({{"probability", json_number(each.probability)},
                    {"log_probability", json_number(each.log_probability)},
                    {"states", states}});
  }
  document["configurations"] = list;
  document["remaining_probability"] = json_number(found.remaining);
  document["bound"] = json_number(found.bound);
  document["is_complete"] = found.is_complete;
  print_json(document);
}

void print_as_csv(const FoundConfigurations& found) {
  std::vector<std::string> titles = {"rank", "probability", "log_probability"};
  for (tv_node_t* node : found.nodes) titles.push_back(name_of(node));
  const CsvWriter csv(titles);
  for (size_t i = 0; i < found.list.size(); ++i) {
    std::vector<std::string> row = {std::to_string(i + 1), shortest(found.list[i].probability),
                                    shortest(found.list[i].log_probability)};
    for (size_t c = 0; c < found.nodes.size(); ++c)
      row.push_back(state_name(found.nodes[c], found.list[i].states[c]));
    csv.row(row);
  }
}

ExitCode show_configurations(const ConfigurationsOptions& options) {
  const std::vector<Finding> findings = parse_findings(options.evidence);
  const Network network(options.source);
  FoundConfigurations found;
  found.nodes = columns(network, options.nodes);
  compile(network, options.triangulation);
  enter_evidence(network, findings, options.evidence.case_file);
  found.evidence = entered_evidence(network);
  propagate(network);
  const Configurations list = find(network, options, found.nodes);
  if (!list) fail_with_status(network.file());
  for (size_t i = 0; i < tv_configurations_get_number(list.get()); ++i) {
    Configuration& each = found.list.emplace_back();
    each.probability = tv_configurations_get_probability(list.get(), i);
    each.log_probability = tv_configurations_get_log_probability(list.get(), i);
    for (const tv_node_t* node : found.nodes)
      each.states.push_back(static_cast<size_t>(tv_configurations_get_state(list.get(), i, node)));
  }
  found.remaining = tv_configurations_get_remaining_probability(list.get());
  found.bound = tv_configurations_get_bound(list.get());
  found.is_complete = tv_configurations_is_complete(list.get()) == 1;
  if (options.format == Format::kText) print_as_text(network, found);
  if (options.format == Format::kJson) print_as_json(network, found);
  if (options.format == Format::kCsv) print_as_csv(found);
  return kSuccess;
}

}  // namespace program
