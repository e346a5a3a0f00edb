// Products and marginals of factors, each a single pass under an index map of its own.

#include "inference/factor.h"

#include <algorithm>

#include "inference/evidence/findings_marginal.h"
#include "inference/schedule/lazy_clique.h"

namespace tv {
namespace {

std::vector<size_t> counts_of(const std::vector<const Node*>& nodes) {
  std::vector<size_t> counts;
  for (const Node* node : nodes) counts.push_back(node->number_of_states);
  return counts;
}

void meet(const std::vector<const Node*>& nodes, const std::vector<const Node*>& others, const Shape& shape,
          OwnIndexMap& map) {
  for (size_t d = 0; d < nodes.size(); ++d) {
    size_t step = 0, stride = 1;
    for (size_t i = others.size(); i-- > 0; stride *= others[i]->number_of_states)
      if (others[i] == nodes[d]) step = stride;
    map.steps[d] = step;
  }
  finish_index_map(map, shape);
}

Factor from_totals(std::vector<const Node*> nodes, const Block<double>& totals) {
  Factor factor = ones_over(std::move(nodes));
  std::transform(totals.begin(), totals.end(), factor.numbers.begin(),
                 [](double total) { return static_cast<float>(total); });
  return factor;
}

size_t size_over(const std::vector<const Node*>& nodes) {
  size_t size = 1;
  for (const Node* node : nodes) size = size_multiply(size, node->number_of_states);
  return size;
}

// The members among `targets`, and the index map from the table onto the factor over them.
std::vector<const Node*> members_among(const ReducedTable& table, const std::vector<const Node*>& targets,
                                       OwnIndexMap& map) {
  std::vector<const Node*> nodes;
  size_t stride = 1;
  for (size_t m = table.members->size(); m-- > 0;) {
    const Node* node = (*table.members)[m];
    if (!table.spans(m) || !holds(targets, node)) continue;
    map.steps[table.dimension_of[m]] = stride;
    stride *= node->number_of_states;
    nodes.insert(nodes.begin(), node);
  }
  finish_index_map(map, table.shape);
  return nodes;
}

}  // namespace

bool holds(const std::vector<const Node*>& nodes, const Node* node) noexcept {
  return std::find(nodes.begin(), nodes.end(), node) != nodes.end();
}

Factor ones_over(std::vector<const Node*> nodes) {
  Factor factor;
  factor.size = size_over(nodes);
  factor.numbers.allocate_uninitialized(factor.size);
  std::fill(factor.numbers.begin(), factor.numbers.end(), 1.0f);
  factor.nodes = std::move(nodes);
  return factor;
}

void multiply_factor(Factor& target, const Factor& other, const ParallelSettings& settings) {
  const OwnShape shape(counts_of(target.nodes));
  OwnIndexMap map(target.nodes.size());
  meet(target.nodes, other.nodes, shape, map);
  const Step step = {StepKind::multiply, &map, other.numbers.data()};
  run_pass(shape, target.numbers.data(), &step, 1, settings);
}

Factor marginal_of_factor(const Factor& factor, const std::vector<const Node*>& targets,
                          tv_equilibrium_t equilibrium, const ParallelSettings& settings) {
  std::vector<const Node*> nodes;
  for (const Node* node : factor.nodes)
    if (holds(targets, node)) nodes.push_back(node);
  const OwnShape shape(counts_of(factor.nodes));
  OwnIndexMap map(factor.nodes.size());
  meet(factor.nodes, nodes, shape, map);
  Block<double> totals(size_over(nodes));
  const StepKind operation = equilibrium == tv_equilibrium_max ? StepKind::max : StepKind::sum;
  const Step step = {operation, &map, nullptr, totals.data()};
  run_pass(shape, factor.numbers.data(), &step, 1, settings);
  return from_totals(std::move(nodes), totals);
}

Factor marginal_of_table(const ReducedTable& table, const std::vector<const Node*>& targets,
                         tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
  OwnIndexMap map(table.shape.dimensions);
  std::vector<const Node*> nodes = members_among(table, targets, map);
  Block<double> totals(map.other_size);
  const bool weighs = mode == tv_evidence_fast_retraction;
  marginalize_with_findings(
      table, [&](size_t member) { return !weighs || holds(targets, (*table.members)[member]); }, map.steps,
      equilibrium, totals.data());
  return from_totals(std::move(nodes), totals);
}

Factor marginal_of_clique(const CliqueWork& work, const std::vector<const Node*>& targets,
                          tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
  if (!work.lazy) return marginal_of_table(work.table, targets, equilibrium, mode);
  OwnIndexMap map(work.table.shape.dimensions);
  std::vector<const Node*> nodes = members_among(work.table, targets, map);
  Block<double> totals(map.other_size);
  const StepKind operation = equilibrium == tv_equilibrium_max ? StepKind::max : StepKind::sum;
  const Step sum = {operation, &map, nullptr, totals.data()};
  run_over_factors(work, nullptr, &sum);
  return from_totals(std::move(nodes), totals);
}

}  // namespace tv
