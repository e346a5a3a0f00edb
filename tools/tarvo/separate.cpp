// tarvo separate: d-separation, and what matters for a node.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>

#include "analysis_commands.h"

namespace program {
namespace {

using Nodes = std::vector<tv_node_t*>;

struct Question {
  Nodes nodes, others, known, likelihood;  // lists for the library, with a null pointer at the end

  size_t evidence() const { return known.size() + likelihood.size() - 2; }
};

struct Separation {
  bool is_asked = false;  // about another node
  bool is_separated = false;
  std::optional<std::vector<std::string>> separator;
  std::vector<std::string> connected, blanket, tables, findings, barren;
};

Nodes nodes_named(const Network& network, const std::vector<std::string>& names) {
  Nodes nodes;
  for (const std::string& name : names) nodes.push_back(network.find(name));
  nodes.push_back(nullptr);
  return nodes;
}

// In the order of the file. Frees the list.
std::vector<std::string> names_of(const Network& network, tv_node_t** list) {
  if (!list) fail_with_status(network.file());
  Nodes members;
  for (tv_node_t* node : each(list)) members.push_back(node);
  std::free(list);
  std::sort(members.begin(), members.end());
  std::vector<std::string> names;
  for (tv_node_t* node : network.nodes())
    if (std::binary_search(members.begin(), members.end(), node)) names.push_back(name_of(node));
  return names;
}

Separation separation_of(const Network& network, const Question& question) {
  tv_domain_t* const domain = network.domain();
  tv_node_t *const *const nodes = question.nodes.data(), *const *const others = question.others.data();
  tv_node_t *const *const known = question.known.data(), *const *const likelihood =
                                                             question.likelihood.data();
  Separation answer;
  answer.connected = names_of(network, tv_domain_get_d_connected_nodes(domain, nodes, known, likelihood));
  answer.blanket = names_of(network, tv_node_get_markov_blanket(question.nodes.front()));
  answer.tables = names_of(network, tv_domain_get_requisite_nodes(domain, nodes, known, likelihood));
  answer.findings = names_of(network, tv_domain_get_requisite_findings(domain, nodes, known, likelihood));
  answer.barren = names_of(network, tv_domain_get_barren_nodes(domain, nodes, known, likelihood));
  answer.is_asked = question.others.size() > 1;
  if (!answer.is_asked) return answer;
  answer.is_separated = tv_domain_are_d_separated(domain, nodes, others, known, likelihood) == 1;
  tv_node_t** separator = tv_domain_get_minimal_separator(domain, nodes, others, known, likelihood, nullptr);
  if (separator || tv_error_code()) answer.separator = names_of(network, separator);
  return answer;
}

// ---- Text ----

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + printable(name);
  return text.empty() ? "none" : text;
}

std::string verdict_on(const SeparateOptions& options, const Separation& answer) {
  const std::string both = printable(options.node) + " and " + printable(options.other) + " are ";
  if (answer.is_separated) return both + "d-separated";
  if (!answer.separator) return both + "d-connected, whatever else is observed";
  return both + "d-connected until these are observed: " + joined(*answer.separator);
}

void print_text(const Network& network, const SeparateOptions& options, const Question& question,
                const Separation& answer) {
  std::printf("%s: %zu nodes, evidence on %zu\n", printable(network.file()).c_str(), network.nodes().size(),
              question.evidence());
  if (answer.is_asked) std::printf("\n%s\n", verdict_on(options, answer).c_str());
  std::printf("\n%s\n", printable(options.node).c_str());
  print_table({{"d-connected to", joined(answer.connected)},
               {"Markov blanket", joined(answer.blanket)},
               {"tables that matter", joined(answer.tables)},
               {"evidence that matters", joined(answer.findings)},
               {"barren nodes", joined(answer.barren)}});
}

// ---- JSON and CSV ----

Json json_of(const Network& network, const SeparateOptions& options, const Separation& answer) {
  Json document = {{"command", "separate"},
                   {"file", network.file()},
                   {"node", options.node},
                   {"given", options.known},
                   {"likelihood", options.likelihoods}};
  if (answer.is_asked) {
    document["other"] = options.other;
    document["separated"] = answer.is_separated;
    document["separator"] = answer.separator ? Json(*answer.separator) : Json();
  }
  document["connected"] = answer.connected;
  document["markov_blanket"] = answer.blanket;
  document["requisite_nodes"] = answer.tables;
  document["requisite_findings"] = answer.findings;
  document["barren_nodes"] = answer.barren;
  return document;
}

// The same as in JSON: a row for each node of a list.
void print_csv(const Json& document) {
  const CsvWriter csv({"quantity", "value"});
  for (const auto& [quantity, entry] : document.items()) {
    if (entry.is_boolean()) csv.row({quantity, entry.get<bool>() ? "yes" : "no"});
    if (entry.is_null()) csv.row({quantity, ""});
    if (!entry.is_array()) continue;
    for (const Json& name : entry) csv.row({quantity, name.get<std::string>()});
  }
}

}  // namespace

ExitCode separate(const SeparateOptions& options) {
  const Network network(options.source);
  const std::vector<std::string> others =
      options.other.empty() ? std::vector<std::string>{} : std::vector{options.other};
  const Question question = {nodes_named(network, {options.node}), nodes_named(network, others),
                             nodes_named(network, options.known), nodes_named(network, options.likelihoods)};
  const Separation answer = separation_of(network, question);
  if (options.format == Format::kText) print_text(network, options, question, answer);
  if (options.format == Format::kJson) print_json(json_of(network, options, answer));
  if (options.format == Format::kCsv) print_csv(json_of(network, options, answer));
  return kSuccess;
}

}  // namespace program
