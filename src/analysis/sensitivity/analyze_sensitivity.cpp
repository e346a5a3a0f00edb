// Finding the derivatives behind the three kinds of sensitivity.
#include <algorithm>
#include <cmath>
#include <numeric>

#include "analysis/sensitivity/derivative_pass.h"
#include "analysis/sensitivity/sensitivity.h"
#include "inference/answers/queries.h"

namespace tv {
namespace {

using SensitivityOwner = std::unique_ptr<Sensitivity>;

// The derivatives are with respect to numbers of a table whose distributions add up to one but for rounding;
// here they do exactly.
ParameterTable& table_for(Sensitivity& result, const ForestFactor& factor) {
  ParameterTable& table = result.tables.emplace_back();
  table.node = const_cast<Node*>(factor.owner);
  table.states = factor.owner->number_of_states;
  if (factor.table)
    table.values.assign(factor.table->data.begin(), factor.table->data.begin() + factor.size);
  else
    table.values.assign(factor.size, 1.0 / static_cast<double>(table.states));
  return table;
}

void normalize(ParameterTable& table, size_t lanes) {
  for (size_t first = 0; first < table.size(); first += table.states) {
    double sum = 0.0;
    for (size_t s = 0; s < table.states; ++s) sum += table.values[first + s];
    if (!(sum > 0.0)) continue;
    for (size_t s = 0; s < table.states; ++s) {
      table.values[first + s] /= sum;
      for (size_t lane = 0; lane < lanes; ++lane) table.derivatives[lane * table.size() + first + s] *= sum;
    }
  }
}

void replace(FactorForest& forest, const Replacement& replacement) {
  for (const FactorClique& clique : forest.cliques())
    for (const ForestFactor& factor : clique.factors) {
      if (factor.owner != replacement.node || factor.is_finding) continue;
      const size_t states = replacement.node->number_of_states, x = replacement.entry % states;
      double* const numbers = forest.numbers().data() + factor.first + (replacement.entry - x);
      const std::vector<double> former(numbers, numbers + states);
      covary(former.data(), states, x, replacement.value, numbers);
    }
}

// A finding by which a lane selects a state of the hypothesis.
struct StateLanes {
  StateLanes(const FactorClique& clique, const Node& node)
      : map(clique.nodes.size()), findings(node.number_of_states * node.number_of_states) {
    map.steps[position_in(clique.nodes, &node)] = 1;
    finish_index_map(map, *clique.shape);
    for (size_t s = 0; s < node.number_of_states; ++s) {
      findings[s * node.number_of_states + s] = 1.0;
      lanes.push_back({findings.data() + s * node.number_of_states, &map});
    }
  }
  OwnIndexMap map;
  std::vector<double> findings;
  std::vector<Operand> lanes;
};

// A single lane of ones.
struct PlainLane {
  explicit PlainLane(const FactorClique& clique) : map(clique.nodes.size()) {
    finish_index_map(map, *clique.shape);
  }
  OwnIndexMap map;
  double one = 1.0;
};

// Refuses evidence that is impossible in another tree than the one that is analyzed, which may be null.
tv_status_t check_other_trees(const Domain& domain, const JunctionTree* analyzed) {
  const auto has_evidence = [](const Node* node) { return node->entered.state != kNoEvidence; };
  for (const JunctionTree& tree : domain.forest->trees) {
    if (&tree == analyzed || std::none_of(tree.nodes.begin(), tree.nodes.end(), has_evidence)) continue;
    const FactorForest forest(domain, *tree.root);
    FactorMessages messages;
    if (!std::isfinite(collect_sums(forest, messages))) return refuse_impossible_evidence();
  }
  return tv_status_none;
}

// ---- Utilities ----

// The utilities as an operand over a clique that holds the parents; what is observed of them is in the
// offset.
struct UtilityLane {
  UtilityLane(const FactorClique& clique, const Table& table)
      : map(clique.nodes.size()),
        numbers(table.data.begin(), table.data.begin() + table.size),
        offset(map_table(clique, table.nodes, map)) {}
  Operand operand() const noexcept { return {numbers.data() + offset, &map}; }
  OwnIndexMap map;
  std::vector<double> numbers;
  size_t offset;
};

// Adds what one utility node makes of the derivatives of its tree, with the clique that holds its parents as
// the root, and its expectation to `sum`.
tv_status_t add_utility(const Domain& domain, const Node& utility, Sensitivity& result, double& sum) {
  const Clique* const home = placement(utility).assigned;
  if (!home) {
    sum += static_cast<double>(utility.table->data[0]);
    return tv_status_none;
  }
  DerivativePass pass(domain, *home);
  if (tv_status_t status = pass.collect()) return status;
  const FactorClique& root = pass.forest().cliques()[pass.root()];
  const PlainLane plain(root);
  const UtilityLane weights(root, *utility.table);
  pass.distribute({{&plain.one, &plain.map}, weights.operand()}, DerivativePass::Total::first_lane,
                  [&](const ForestFactor& factor, const std::vector<double>& derivatives) {
                    ParameterTable* table = const_cast<ParameterTable*>(result.find(*factor.owner));
                    const bool is_new = !table;
                    if (is_new) table = &table_for(result, factor);
                    if (is_new)
                      table->derivatives = derivatives;
                    else
                      for (size_t i = factor.size; i < derivatives.size(); ++i)
                        table->derivatives[i] += derivatives[i];
                  });
  sum += pass.lane_sums()[1];
  return tv_status_none;
}

// The position of the tree to which a utility contributes; one behind the last for none.
size_t tree_position(const Domain& domain, const Node& node) noexcept {
  const JunctionTree* const tree = tree_with_potential(node);
  return tree ? tree->position : domain.forest->tree_count;
}

}  // namespace

SensitivityOwner analyze_hypothesis(Domain& domain, Node& node, size_t state) {
  return analyze_hypothesis(domain, node, state, {});
}

SensitivityOwner analyze_hypothesis(Domain& domain, Node& node, size_t state,
                                    const Replacement& replacement) {
  if (check_other_trees(domain, placement(node).tree)) return nullptr;
  DerivativePass pass(domain, *placement(node).home);
  if (replacement.node) replace(pass.forest(), replacement);
  if (pass.collect()) return nullptr;
  auto result = std::make_unique<Sensitivity>();
  result->kind = Sensitivity::Kind::hypothesis;
  result->state = state;
  const StateLanes lanes(pass.forest().cliques()[pass.root()], node);
  pass.distribute(lanes.lanes, DerivativePass::Total::all_lanes,
                  [&](const ForestFactor& factor, const std::vector<double>& derivatives) {
                    ParameterTable& table = table_for(*result, factor);
                    table.derivatives = derivatives;
                  });
  result->lanes = pass.lane_sums();
  for (ParameterTable& table : result->tables) normalize(table, result->lanes.size());
  return result;
}

SensitivityOwner analyze_utility(Domain& domain) {
  auto result = std::make_unique<Sensitivity>();
  result->kind = Sensitivity::Kind::utility;
  if (check_other_trees(domain, nullptr)) return nullptr;
  std::vector<double> sums(domain.forest->tree_count + 1);
  for (const Node& node : domain.nodes)
    if (node.category == tv_category_utility && node.table && has_data(*node.table) &&
        add_utility(domain, node, *result, sums[tree_position(domain, node)]))
      return nullptr;
  const double total = std::accumulate(sums.begin(), sums.end(), 0.0);
  result->lanes = {1.0, total};
  for (ParameterTable& table : result->tables) {
    // What other trees contribute is multiplied by the probability of the evidence.
    const double elsewhere = total - sums[tree_position(domain, *table.node)];
    for (size_t i = 0; i < table.size(); ++i)
      table.derivatives[table.size() + i] += elsewhere * table.derivatives[i];
    normalize(table, 2);
  }
  return result;
}

SensitivityOwner analyze_evidence(Domain& domain) {
  auto result = std::make_unique<Sensitivity>();
  result->lanes = {1.0};
  for (const JunctionTree& tree : domain.forest->trees) {
    DerivativePass pass(domain, *tree.root);
    if (pass.collect()) return nullptr;
    const PlainLane plain(pass.forest().cliques()[pass.root()]);
    pass.distribute({{&plain.one, &plain.map}}, DerivativePass::Total::first_lane,
                    [&](const ForestFactor& factor, const std::vector<double>& derivatives) {
                      ParameterTable& table = table_for(*result, factor);
                      table.derivatives = derivatives;
                    });
  }
  for (ParameterTable& table : result->tables) normalize(table, 1);
  return result;
}

}  // namespace tv
