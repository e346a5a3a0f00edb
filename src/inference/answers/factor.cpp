// Products and marginals of factors.

#include "inference/answers/factor.h"

#include <algorithm>
#include <deque>
#include <utility>

#include "api/float_environment.h"
#include "inference/evidence/findings_marginal.h"
#include "inference/extended/wide_pass.h"
#include "inference/schedule/lazy_clique.h"
#include "tables/kernels/number_bounds.h"

namespace tv {
namespace {

using Nodes = std::vector<const Node*>;

size_t size_over(const Nodes& nodes) noexcept {
  size_t size = 1;
  for (const Node* node : nodes) size = size_multiply(size, node->number_of_states);
  return size;
}

std::vector<size_t> counts_of(const Nodes& nodes) {
  std::vector<size_t> counts;
  for (const Node* node : nodes) counts.push_back(node->number_of_states);
  return counts;
}

// For each of `nodes`, its stride in an array over `others`; 0 where the array lacks it.
std::vector<size_t> strides_along(const Nodes& nodes, const Nodes& others) {
  std::vector<size_t> strides(nodes.size(), 0);
  size_t stride = 1;
  for (size_t i = others.size(); i-- > 0; stride *= others[i]->number_of_states) {
    const auto found = std::find(nodes.begin(), nodes.end(), others[i]);
    if (found != nodes.end()) strides[static_cast<size_t>(found - nodes.begin())] = stride;
  }
  return strides;
}

// The nodes that are dimensions of a table.
Nodes nodes_of(const ReducedTable& table) {
  Nodes nodes;
  for (size_t m = 0; m < table.members->size(); ++m)
    if (table.spans(m)) nodes.push_back((*table.members)[m]);
  return nodes;
}

// A factor of zeros over the members among `targets`, and the index map from the table onto it.
Factor marginal_over(const ReducedTable& table, const Nodes& targets, OwnIndexMap& map) {
  Nodes nodes;
  size_t stride = 1;
  for (size_t m = table.members->size(); m-- > 0;) {
    const Node* node = (*table.members)[m];
    if (!table.spans(m) || !holds(targets, node)) continue;
    map.steps[table.dimension_of[m]] = stride;
    stride *= node->number_of_states;
    nodes.insert(nodes.begin(), node);
  }
  finish_index_map(map, table.shape);
  return zeros_over(std::move(nodes));
}

OwnIndexMap& add_map(std::deque<OwnIndexMap>& maps, const Shape& shape, const Nodes& all,
                     const Nodes& nodes) {
  OwnIndexMap& map = maps.emplace_back(all.size());
  const std::vector<size_t> strides = strides_along(all, nodes);
  std::copy(strides.begin(), strides.end(), map.steps);
  finish_index_map(map, shape);
  return map;
}

// False where some number is too small or too large for that.
bool multiply_in_single_precision(std::span<const Factor* const> factors, const Nodes& all, Factor& marginal,
                                  tv_equilibrium_t equilibrium, const ParallelSettings& settings) {
  if (factors.size() >= kMaxFusedSteps) return false;
  clear_range_flags();
  const OwnShape shape(counts_of(all));
  std::vector<std::vector<float>> operands;
  std::deque<OwnIndexMap> maps;
  std::vector<Step> steps;
  for (const Factor* factor : factors) {
    if (!factor->numbers.is_plain()) return false;
    const std::vector<double>& numbers = factor->numbers.mantissas;
    std::vector<float>& operand = operands.emplace_back(numbers.size());
    std::transform(numbers.begin(), numbers.end(), operand.begin(),
                   [](double number) { return static_cast<float>(number); });
    const OwnIndexMap& map = add_map(maps, shape, all, factor->nodes);
    steps.push_back({steps.empty() ? StepKind::assign : StepKind::multiply, &map, operand.data()});
  }
  const OwnIndexMap& map = add_map(maps, shape, all, marginal.nodes);
  const StepKind last = equilibrium == tv_equilibrium_max ? StepKind::max : StepKind::sum;
  steps.push_back({last, &map, nullptr, marginal.numbers.mantissas.data()});
  run_pass(shape, nullptr, steps.data(), steps.size(), settings);
  return !range_flags();
}

void multiply_in_wide_numbers(std::span<const Factor* const> factors, const Nodes& all, Factor& marginal,
                              tv_equilibrium_t equilibrium) {
  const std::vector<size_t> counts = counts_of(all);
  std::vector<WideOperand> operands;
  for (const Factor* factor : factors)
    operands.push_back({&factor->numbers, strides_along(all, factor->nodes)});
  const WideTarget target = {&marginal.numbers, strides_along(all, marginal.nodes)};
  run_wide_pass(counts, operands, {&target, 1}, equilibrium == tv_equilibrium_max);
}

// Findings so improbable together that no double holds their product are multiplied one by one.
Factor marginal_with_wide_findings(const TreeEngine& engine, const ReducedTable& table,
                                   const Nodes& targets) {
  std::vector<Factor> factors(1, zeros_over(nodes_of(table)));
  std::copy_n(table.numbers, table.shape.size, factors.front().numbers.mantissas.begin());
  for (const Node* node : factors.front().nodes)
    if (!holds(targets, node) && engine[*node].propagated_state != kNoEvidence)
      factors.push_back(finding_factor(engine, *node));
  std::vector<const Factor*> operands;
  for (const Factor& factor : factors) operands.push_back(&factor);
  return marginal_of_product(operands, targets, engine.equilibrium, parallel_settings(*engine.domain));
}

}  // namespace

bool holds(const Nodes& nodes, const Node* node) noexcept {
  return std::find(nodes.begin(), nodes.end(), node) != nodes.end();
}

Factor zeros_over(Nodes nodes) {
  const size_t size = size_over(nodes);
  if (size == kHugeSize) throw std::bad_alloc();
  return {std::move(nodes), {std::vector<double>(size, 0.0), {}}};
}

Factor finding_factor(const TreeEngine& engine, const Node& node) {
  const ptrdiff_t state = engine[node].propagated_state;
  Factor finding = zeros_over({&node});
  for (size_t s = 0; s < node.number_of_states; ++s)
    finding.numbers.mantissas[s] = state == kFindingVector
                                       ? static_cast<double>(engine.propagated_finding(node)[s])
                                   : static_cast<size_t>(state) == s ? 1.0
                                                                     : 0.0;
  return finding;
}

Factor inverse_of(const ReducedTable& separator) {
  Factor inverse = zeros_over(nodes_of(separator));
  for (size_t i = 0; i < inverse.numbers.size(); ++i)
    if (separator.numbers[i] >= kSmallestNormalFloat)
      inverse.numbers.mantissas[i] = 1.0 / static_cast<double>(separator.numbers[i]);
  return inverse;
}

Factor marginal_of_product(std::span<const Factor* const> factors, const Nodes& targets,
                           tv_equilibrium_t equilibrium, const ParallelSettings& settings) {
  Nodes all, left;
  for (const Factor* factor : factors)
    for (const Node* node : factor->nodes)
      if (!holds(all, node)) all.push_back(node);
  std::copy_if(all.begin(), all.end(), std::back_inserter(left),
               [&](const Node* node) { return holds(targets, node); });
  Factor marginal = zeros_over(std::move(left));
  if (!multiply_in_single_precision(factors, all, marginal, equilibrium, settings))
    multiply_in_wide_numbers(factors, all, marginal, equilibrium);
  normalize(marginal.numbers);
  return marginal;
}

Factor marginal_of_table(const TreeEngine& engine, const ReducedTable& table, const Nodes& targets) {
  OwnIndexMap map(table.shape.dimensions);
  Factor marginal = marginal_over(table, targets, map);
  const bool weighs = engine.mode == tv_evidence_fast_retraction;
  clear_range_flags();
  marginalize_with_findings(
      engine, table, [&](size_t member) { return !weighs || holds(targets, (*table.members)[member]); },
      map.steps, engine.equilibrium, marginal.numbers.mantissas.data());
  return range_flags() ? marginal_with_wide_findings(engine, table, targets) : std::move(marginal);
}

Factor marginal_of_clique(const TreeEngine& engine, const CliqueWork& work, const Nodes& targets) {
  if (!work.lazy) return marginal_of_table(engine, work.table, targets);
  OwnIndexMap map(work.table.shape.dimensions);
  Factor marginal = marginal_over(work.table, targets, map);
  const StepKind operation = engine.equilibrium == tv_equilibrium_max ? StepKind::max : StepKind::sum;
  const Step sum = {operation, &map, nullptr, marginal.numbers.mantissas.data()};
  run_over_factors(engine, work, nullptr, &sum);
  return marginal;
}

}  // namespace tv
