// tarvo beliefs: load, compile, enter the evidence, propagate.
#include <cstdio>

#include "commands.h"
#include "memory.h"

namespace program {
namespace {

// Closes the trace after the domain that writes to it has gone or has been told to forget it.
struct Trace {
  explicit Trace(const std::string& name) : stream(name.empty() ? nullptr : std::fopen(name.c_str(), "w")) {
    if (!name.empty() && !stream) throw Failure(kFailed, name + ": cannot be opened for writing");
  }
  ~Trace() {
    if (stream) std::fclose(stream);
  }
  Trace(const Trace&) = delete;
  Trace& operator=(const Trace&) = delete;
  std::FILE* stream;
};

void compile(const Network& network, const BeliefsOptions& options) {
  tv_domain_t* domain = network.domain();
  expect(tv_domain_set_concurrency_level(domain, options.threads), network.file());
  expect(tv_domain_triangulate(domain, method_by_name(options.method)), network.file());
  const size_t limit = options.memory_limit ? *options.memory_limit : four_fifths_of_physical_memory();
  if (const tv_status_t status = compile_within_limit(network, limit))
    fail_to_compile(network, status, options.method);
}

// Continuous nodes know sum and normal evidence alone.
void check_options(const Network& network, const BeliefsOptions& options) {
  if (!options.max && !options.fast_retraction) return;
  for (const tv_node_t* node : network.nodes())
    if (is_continuous(node))
      throw Failure(kFailed, network.file() + ": " + (options.max ? "--max" : "--fast-retraction") +
                                 " is not possible in a network with continuous nodes");
}

// The probability of the evidence and the conflict are those of a sum propagation with normal evidence, so
// that propagation comes first, whatever kind of beliefs is asked for.
Answers propagate(const Network& network, const BeliefsOptions& options) {
  tv_domain_t* domain = network.domain();
  if (!options.case_file.empty()) enter_case_file(network, options.case_file);
  for (const Finding& finding : options.findings) enter(network, finding);
  expect(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal), network.file());
  Answers answers;
  answers.probability = tv_domain_get_normalization_constant(domain);
  answers.log_probability = tv_domain_get_log_normalization_constant(domain);
  const double conflict = tv_domain_get_conflict(domain);
  if (tv_error_code() == tv_status_none) answers.conflict = conflict;

  const auto equilibrium = options.max ? tv_equilibrium_max : tv_equilibrium_sum;
  const auto mode = options.fast_retraction ? tv_evidence_fast_retraction : tv_evidence_normal;
  if (options.max) {
    expect(tv_domain_propagate(domain, tv_equilibrium_max, tv_evidence_normal), network.file());
    answers.max_probability = tv_domain_get_normalization_constant(domain);
    answers.max_log_probability = tv_domain_get_log_normalization_constant(domain);
  }
  if (options.fast_retraction) expect(tv_domain_propagate(domain, equilibrium, mode), network.file());
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
      throw Failure(kFailed, network.file() + ": node \"" + name + "\" has no states");
  }
  if (names.empty())
    for (tv_node_t* node : network.nodes())
      if (has_answer(node)) nodes.push_back(node);
  return nodes;
}

}  // namespace

tv_triangulation_method_t method_by_name(const std::string& name) {
  for (const auto& [known, method] : kMethods)
    if (known == name) return method;
  throw Failure(kWrongUsage, "there is no method \"" + name + "\"");
}

ExitCode show_beliefs(const BeliefsOptions& options) {
  const Trace trace(options.trace);  // outlives the network
  const Network network(options.file);
  if (trace.stream) expect(tv_domain_set_log_file(network.domain(), trace.stream), network.file());
  const std::vector<tv_node_t*> nodes = nodes_to_show(network, options.nodes);
  check_options(network, options);
  compile(network, options);
  Answers answers = propagate(network, options);
  answers.nodes = nodes;
  print(network, options, answers);
  return kSuccess;
}

}  // namespace program
