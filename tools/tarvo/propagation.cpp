#include "propagation.h"

#include <algorithm>

#include "evidence.h"
#include "lower_bound.h"
#include "memory.h"
#include "progress.h"

namespace program {
namespace {

using Evidence = std::vector<Entered>;

void enter(const Entered& entered) {
  if (entered.value)
    tv_node_enter_value(entered.node, *entered.value);
  else if (entered.state)
    tv_node_select_state(entered.node, *entered.state);
  for (size_t state = 0; state < entered.likelihood.size(); ++state)
    tv_node_enter_finding(entered.node, state, entered.likelihood[state]);
}

// Looks for the findings that are impossible together by leaving out half of what may be needless at a time
// (Junker 2004), which takes few propagations where the group is small.
class Search {
 public:
  explicit Search(const Network& network) : network_(network) {
    for (Entered& entered : entered_evidence(network))
      (is_decision(entered.node) ? decisions_ : candidates_).push_back(std::move(entered));
  }

  Evidence run() {
    Evidence group;
    if (!candidates_.empty() && !is_impossible({})) group = reduce({}, false, candidates_);
    tv_domain_retract_findings(network_.domain());
    for (const Evidence* evidence : {&decisions_, &candidates_})
      for (const Entered& entered : *evidence) enter(entered);
    return group;
  }

 private:
  bool is_impossible(const Evidence& evidence) const {
    tv_domain_retract_findings(network_.domain());
    for (const Entered& entered : decisions_) enter(entered);
    for (const Entered& entered : evidence) enter(entered);
    return tv_domain_propagate(network_.domain(), tv_equilibrium_sum, tv_evidence_normal) ==
           tv_status_inconsistency_or_underflow;
  }

  // What of the candidates is needed beside the background; `grew` if that has changed since it was found
  // possible.
  Evidence reduce(const Evidence& background, bool grew, const Evidence& candidates) const {
    if (grew && is_impossible(background)) return {};
    if (candidates.size() == 1) return candidates;
    const auto middle = candidates.begin() + static_cast<ptrdiff_t>(candidates.size() / 2);
    const Evidence first(candidates.begin(), middle), second(middle, candidates.end());
    const Evidence of_second = reduce(joined(background, first), true, second);
    return joined(reduce(joined(background, of_second), !of_second.empty(), first), of_second);
  }

  static Evidence joined(Evidence a, const Evidence& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
  }

  const Network& network_;
  Evidence decisions_, candidates_;
};

[[noreturn]] void fail_for_impossible_evidence(const Network& network) {
  const Activity searching("looking for the findings that do not go together");
  const std::vector<tv_node_t*> group = smallest_impossible_group(network);
  const bool is_approximated = tv_domain_get_approximation_constant(network.domain()) < 1;
  std::string text = network.file() + ": the evidence is impossible";
  if (group.empty()) throw Failure(kFailed, text + ", and so is the network without it");
  if (is_approximated) text += " in what --approximate has left";
  text += group.size() == 1 ? "; this cannot be true:" : "; these findings cannot be true together:";
  for (const Entered& entered : entered_evidence(network))
    if (std::find(group.begin(), group.end(), entered.node) != group.end())
      text += "\n  " + name_of(entered.node) + ": " + shown_value(entered);
  throw Failure(kFailed, text);
}

}  // namespace

std::vector<tv_node_t*> smallest_impossible_group(const Network& network) {
  std::vector<tv_node_t*> nodes;
  for (const Entered& entered : Search(network).run()) nodes.push_back(entered.node);
  return nodes;
}

CompressionFigures compile(const Network& network, const TriangulationOptions& options,
                           const CompressionOptions& compression) {
  const Activity compiling("compiling " + network.file());
  expect_possible(network, compression);
  expect_to_fit(network, network.nodes());
  // Cliques that are too large for any table may still have few possible configurations.
  const size_t treewidth = compression.compress ? 0 : hopeless_treewidth(network);
  if (treewidth > 0)
    throw Failure(kFailed, network.file() + ": too large to compile: " + explain_hopeless(treewidth));
  expect(triangulate(network, options), network.file());
  return compile_triangulated(network, options.decider(), compression);
}

CompressionFigures compile_triangulated(const Network& network, const std::string& method,
                                        const CompressionOptions& compression) {
  tv_domain_t* domain = network.domain();
  CompressionFigures figures;
  if (compression.compress) figures.memory = {tv_domain_get_memory_need(domain), 0};
  expect(tv_domain_set_zero_compression(domain, compression.compress), network.file());
  const tv_status_t status = tv_domain_compile(domain);
  if (status == tv_status_inconsistency_or_underflow) fail_for_impossible_evidence(network);
  if (status != tv_status_none) fail_to_compile(network, status, method);
  if (!compression.compress) return figures;
  if (compression.approximates()) {
    figures.kept = approximate(network, compression);
    if (tv_domain_compress(domain) < 0) fail_with_status(network.file());
  }
  figures.memory->compressed = tv_domain_get_memory_need(domain);
  return figures;
}

void propagate(const Network& network, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
  const Activity propagating("propagating the evidence");
  const tv_status_t status = tv_domain_propagate(network.domain(), equilibrium, mode);
  if (status == tv_status_inconsistency_or_underflow) fail_for_impossible_evidence(network);
  expect(status, network.file());
}

}  // namespace program
