// tarvo explain: load, compile, enter the evidence, and ask why a node has its probabilities.
#include "explain.h"

#include <algorithm>

#include "progress.h"
#include "propagation.h"
#include "target.h"

namespace program {
namespace {

constexpr double kShareOfConflict = 0.8;  // that a group carries at least
constexpr size_t kAccounts = 5;           // explanations of the evidence to show

template <class Result>
void take(std::unique_ptr<Result, DeleteResult>& result, Result* found, const Network& network) {
  if (!found) fail_with_status(network.file());
  result.reset(found);
}

// As large as leaves at most some tens of thousands of groups to look at.
size_t size_of_groups(size_t findings) { return findings <= 60 ? 3 : findings <= 300 ? 2 : 0; }

void account_for_evidence(const Network& network, const std::vector<std::string>& names,
                          Explanation& explanation) {
  if (names.empty()) return;
  std::vector<tv_node_t*> causes;
  for (const std::string& name : names) causes.push_back(network.find(name));
  causes.push_back(nullptr);
  take(explanation.account, tv_domain_find_relevant_explanations(network.domain(), causes.data(), kAccounts),
       network);
}

void find_out(const Network& network, const ExplainOptions& options, Explanation& explanation) {
  const Activity explaining("explaining " + name_of(explanation.target));
  tv_node_t* const target = explanation.target;
  take(explanation.belief, tv_node_explain_belief(target, explanation.state, options.orders, options.trails),
       network);
  take(explanation.findings, tv_node_analyze_findings(target, explanation.state, options.groups), network);
  const size_t count = tv_findings_get_number(explanation.findings.get());
  if (count > 1)
    take(explanation.conflict,
         tv_domain_trace_conflict(network.domain(), size_of_groups(count), kShareOfConflict), network);
  account_for_evidence(network, options.causes, explanation);
}

}  // namespace

size_t Explanation::place_of(const tv_node_t* node) const {
  size_t place = 0;
  while (tv_findings_get_node(findings.get(), place) != node) ++place;
  return place;
}

const Entered* Explanation::entered_on(const tv_node_t* node) const {
  const auto found =
      std::find_if(evidence.begin(), evidence.end(), [&](const Entered& each) { return each.node == node; });
  return found == evidence.end() ? nullptr : &*found;
}

const char* role_name(tv_finding_role_t role) {
  switch (role) {
    case tv_finding_irrelevant:
      return "irrelevant";
    case tv_finding_redundant:
      return "redundant";
    case tv_finding_supporting:
      return "supporting";
    case tv_finding_decisive:
      return "decisive";
    case tv_finding_contradictory:
      return "contradictory";
    default:
      return "";
  }
}

ExitCode explain(const ExplainOptions& options) {
  const std::vector<Finding> findings = parse_findings(options.evidence);
  const Network network(options.source);
  Explanation explanation;
  explanation.target = find_target(network, options.target);
  compile(network, options.triangulation);
  enter_evidence(network, findings, options.evidence.case_file);
  explanation.evidence = entered_evidence(network);
  propagate(network);
  explanation.state = find_state(network, explanation.target, options.target);
  find_out(network, options, explanation);
  if (options.format == Format::kText) print_as_text(network, explanation);
  if (options.format == Format::kJson) print_as_json(network, explanation);
  if (options.format == Format::kCsv) print_as_csv(explanation);
  return kSuccess;
}

}  // namespace program
