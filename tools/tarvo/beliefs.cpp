// tarvo beliefs: load, compile, enter the evidence, propagate.
#include <algorithm>
#include <cmath>

#include "answers.h"
#include "files.h"
#include "propagation.h"

namespace program {
namespace {

// Continuous nodes know sum and normal evidence alone.
void check_options(const Network& network, const BeliefsOptions& options) {
  if (!options.max && !options.fast_retraction) return;
  for (const tv_node_t* node : network.nodes())
    if (is_continuous(node))
      throw Failure(kFailed, network.file() + ": " + (options.max ? "--max" : "--fast-retraction") +
                                 " is not possible in a network with continuous nodes");
}

bool has_uniform_policy(tv_node_t* decision) {
  const size_t states = states_of(decision);
  tv_table_t* table = tv_node_get_table(decision);
  const tv_number_t* numbers = table ? tv_table_get_data(table) : nullptr;
  if (!numbers) fail_with_status(name_of(decision));
  const size_t size = tv_table_get_size(table);
  for (size_t i = 0; i < size; ++i)
    if (numbers[i] != numbers[i / states * states]) return false;
  return true;
}

// Of the decisions that are still to be made.
Policies policies_of(const Network& network) {
  Policies policies = Policies::kNoDecisions;
  for (tv_node_t* node : network.nodes()) {
    if (!is_decision(node) || tv_node_get_selected_state(node) >= 0) continue;
    if (!has_uniform_policy(node)) return Policies::kAsInTheFile;
    policies = Policies::kUniform;
  }
  return policies;
}

// The probability of the evidence and the conflict are those of a sum propagation with normal evidence, so
// that propagation comes first, whatever kind of beliefs is asked for. Full tables are approximated last, as
// the propagation of what is entered would forget it: the figures of the evidence stay exact.
Answers propagate_all(const Network& network, const BeliefsOptions& options) {
  const tv_domain_t* domain = network.domain();
  propagate(network);
  Answers answers;
  answers.probability = tv_domain_get_normalization_constant(domain);
  answers.log_probability = tv_domain_get_log_normalization_constant(domain);
  const double conflict = tv_domain_get_conflict(domain);
  if (tv_error_code() == tv_status_none) answers.conflict = conflict;
  answers.evidence = entered_evidence(network);
  answers.is_density = std::any_of(answers.evidence.begin(), answers.evidence.end(),
                                   [](const Entered& entered) { return entered.value.has_value(); });
  answers.policies = policies_of(network);

  if (options.compression.approximates() && !options.compression.compress)
    answers.compression.kept = approximate(network, options.compression);
  if (options.max) {
    propagate(network, tv_equilibrium_max);
    answers.max_probability = tv_domain_get_normalization_constant(domain);
    answers.max_log_probability = tv_domain_get_log_normalization_constant(domain);
  }
  if (options.fast_retraction)
    propagate(network, options.max ? tv_equilibrium_max : tv_equilibrium_sum, tv_evidence_fast_retraction);
  return answers;
}

bool has_answer(const tv_node_t* node) {
  return is_discrete(node) || is_continuous(node) || is_real_valued_function(node);
}

std::vector<tv_node_t*> nodes_to_show(const Network& network, const std::vector<std::string>& names) {
  std::vector<tv_node_t*> nodes;
  for (const std::string& name : names) {
    nodes.push_back(network.find(name));
    if (!has_answer(nodes.back()))
      throw Failure(kFailed, network.file() + ": node \"" + name + "\" has no beliefs: it is a utility");
  }
  if (names.empty())
    std::copy_if(network.nodes().begin(), network.nodes().end(), std::back_inserter(nodes), has_answer);
  return nodes;
}

}  // namespace

Summary summary_of(const Network& network, tv_node_t* node) {
  Summary summary{tv_node_get_mean(node), std::sqrt(tv_node_get_variance(node)), {}};
  for (size_t i = 0; i < 3; ++i) {
    summary.points[i] = tv_node_get_quantile(node, kPercentPoints[i]);
    expect(tv_error_code(), network.file() + ": " + name_of(node));
  }
  return summary;
}

std::vector<tv_number_t> beliefs_of(const tv_node_t* node) {
  std::vector<tv_number_t> beliefs;
  for (size_t state = 0; state < states_of(node); ++state) beliefs.push_back(tv_node_get_belief(node, state));
  return beliefs;
}

std::optional<double> value_of(tv_node_t* node) {
  const double value = tv_node_get_value(node);
  return tv_error_code() == tv_status_none ? std::optional(value) : std::nullopt;
}

ExitCode show_beliefs(const BeliefsOptions& options) {
  const std::vector<Finding> findings = parse_findings(options.evidence);
  std::optional<FileWriter> trace;  // outlives the network
  if (!options.trace.empty()) trace.emplace(options.trace);
  const Network network(options.source);
  const std::vector<tv_node_t*> nodes = nodes_to_show(network, options.nodes);
  check_options(network, options);
  tv_domain_t* domain = network.domain();
  if (trace) expect(tv_domain_set_log_file(domain, trace->stream()), network.file());
  expect(tv_domain_set_concurrency_level(domain, options.threads), network.file());
  const CompressionFigures compression = compile(network, options.triangulation, options.compression);
  enter_evidence(network, findings, options.evidence.case_file);
  Answers answers = propagate_all(network, options);
  answers.nodes = nodes;
  if (options.compression.compress) answers.compression = compression;
  if (trace) {
    expect(tv_domain_set_log_file(domain, nullptr), network.file());
    trace->commit();
  }
  if (options.format == Format::kText) print_as_text(network, options, answers);
  if (options.format == Format::kJson) print_as_json(network, options, answers);
  if (options.format == Format::kCsv) print_as_csv(network, options, answers);
  return kSuccess;
}

}  // namespace program
