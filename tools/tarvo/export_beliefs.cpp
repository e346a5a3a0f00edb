// Beliefs for other programs: JSON and CSV.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "answers.h"

namespace program {
namespace {

// The figures of the whole network by their names, which are the same in both forms.
std::vector<std::pair<std::string, double>> figures_of(const BeliefsOptions& options,
                                                       const Answers& answers) {
  const std::string what = answers.is_density ? "density_of_evidence" : "probability_of_evidence";
  std::vector<std::pair<std::string, double>> figures = {{what, answers.probability},
                                                         {"log_" + what, answers.log_probability}};
  if (options.max) {
    figures.emplace_back("probability_of_most_probable_configuration", answers.max_probability);
    figures.emplace_back("log_probability_of_most_probable_configuration", answers.max_log_probability);
  }
  if (answers.conflict) figures.emplace_back("conflict", *answers.conflict);
  return figures;
}

std::string point_name(size_t i) { return shortest(kPercentPoints[i]); }

Json json_of(const Network& network, tv_node_t* node) {
  Json entry = {{"name", name_of(node)}};
  if (is_continuous(node)) {
    const Summary summary = summary_of(network, node);
    entry["mean"] = json_number(summary.mean);
    entry["standard_deviation"] = json_number(summary.deviation);
    for (size_t i = 0; i < 3; ++i) entry["quantiles"][point_name(i)] = json_number(summary.points[i]);
  } else if (is_real_valued_function(node)) {
    const std::optional<double> value = value_of(node);
    entry["value"] = value ? json_number(*value) : Json();
  } else {
    entry["states"] = state_names(node);
    for (const tv_number_t belief : beliefs_of(node)) entry["beliefs"].push_back(json_number(belief));
  }
  return entry;
}

void print_rows(const CsvWriter& csv, const Network& network, tv_node_t* node) {
  const std::string name = name_of(node);
  if (is_continuous(node)) {
    const Summary summary = summary_of(network, node);
    csv.row({name, "", "mean", shortest(summary.mean)});
    csv.row({name, "", "standard_deviation", shortest(summary.deviation)});
    for (size_t i = 0; i < 3; ++i)
      csv.row({name, "", "quantile_" + point_name(i), shortest(summary.points[i])});
  } else if (is_real_valued_function(node)) {
    const std::optional<double> value = value_of(node);
    csv.row({name, "", "value", value ? shortest(*value) : ""});
  } else {
    const std::vector<tv_number_t> beliefs = beliefs_of(node);
    for (size_t state = 0; state < beliefs.size(); ++state)
      csv.row({name, state_name(node, state), "belief", shortest(beliefs[state])});
  }
}

void print_rows(const CsvWriter& csv, const Entered& entered) {
  const std::string name = name_of(entered.node);
  if (entered.value) csv.row({name, "", "observed_value", shortest(*entered.value)});
  if (entered.state) csv.row({name, state_name(entered.node, *entered.state), "finding", "1"});
  for (size_t state = 0; state < entered.likelihood.size(); ++state)
    csv.row({name, state_name(entered.node, state), "finding", shortest(entered.likelihood[state])});
}

}  // namespace

void print_as_json(const Network& network, const BeliefsOptions& options, const Answers& answers) {
  Json document = {{"command", "beliefs"},
                   {"file", network.file()},
                   {"equilibrium", options.max ? "max" : "sum"},
                   {"evidence_mode", options.fast_retraction ? "fast_retraction" : "normal"}};
  if (answers.policies != Policies::kNoDecisions)
    document["policies"] = answers.policies == Policies::kUniform ? "uniform" : "as_in_the_file";
  add_evidence(document, answers.evidence);
  for (const auto& [name, figure] : figures_of(options, answers)) document[name] = json_number(figure);
  if (!answers.conflict) document["conflict"] = Json();
  document.update(json_of(answers.compression));
  document["nodes"] = Json::array();
  for (tv_node_t* node : answers.nodes) document["nodes"].push_back(json_of(network, node));
  print_json(document);
}

void print_as_csv(const Network& network, const BeliefsOptions& options, const Answers& answers) {
  const CsvWriter csv({"node", "state", "quantity", "value"});
  for (const Entered& entered : answers.evidence) print_rows(csv, entered);
  for (tv_node_t* node : answers.nodes) print_rows(csv, network, node);
  for (const auto& [name, figure] : figures_of(options, answers)) csv.row({"", "", name, shortest(figure)});
  print_rows(csv, answers.compression, 4);
}

}  // namespace program
