// Finding the most probable configurations, and what hosts ask of them.
#include <cmath>
#include <memory>

#include "analysis/configurations/best_configurations.h"
#include "analysis/configurations/configurations.h"
#include "analysis/configurations/subset_search.h"
#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "network/refusals.h"

namespace tv {
namespace {

using ConfigurationsOwner = std::unique_ptr<Configurations>;

// The state that the evidence leaves to a node which is not open.
uint32_t settled_state(const Node& node) noexcept {
  return node.entered.state > 0 ? static_cast<uint32_t>(node.entered.state) : 0;
}

void add_columns(const std::vector<const Node*>& nodes, Configurations& result) {
  for (size_t i = 0; i < nodes.size(); ++i) result.columns.emplace(nodes[i], i);
}

// ---- All discrete nodes ----

// The logarithm of the probability of what is entered: of the last propagation where nothing has changed
// since.
double find_log_constant(const Domain& domain, const FactorForest& forest) {
  const InferenceState& state = own_state(domain);
  const bool is_propagated = std::all_of(state.trees.begin(), state.trees.end(), [](const auto& engine) {
    return holds_marginals(*engine) && engine->mode == tv_evidence_normal &&
           engine->evidence_to_propagate == 0 && engine->approximation_constant == 1.0;
  });
  double sum = 0.0;
  if (is_propagated) {
    for (const auto& engine : state.trees)
      sum += engine->log_constant - static_cast<double>(engine->tree->potential_exponent) * std::log(2.0);
    return sum;
  }
  FactorMessages messages;
  return collect_sums(forest, messages);
}

ConfigurationsOwner best_of_all(const Domain& domain, const std::vector<const Node*>& nodes, size_t most) {
  FactorForest forest(domain);
  const double log_constant = find_log_constant(domain, forest);
  FactorMessages messages;
  take_logarithms(forest.numbers());
  const double log_best = collect_maxima(forest, messages);
  if (!(log_best > -std::numeric_limits<double>::infinity()) || !std::isfinite(log_constant))
    return refuse_impossible_evidence(), nullptr;

  auto result = std::make_unique<Configurations>();
  add_columns(nodes, *result);
  ProgressMeter progress(domain, "finding configurations", 0);
  BestConfigurations best(forest, messages, most);
  std::vector<uint32_t> states(domain.node_count);
  while (result->size() < most && best.next()) {
    if (tv_status_t status = progress.advance()) return store_status(status), nullptr;
    best.read(states);
    result->log_probabilities.push_back(std::min(best.log_weight() - log_constant, 0.0));
    for (const Node* node : nodes)
      result->states.push_back(is_open(*node) ? states[node->number - 1] : settled_state(*node));
  }
  if (result->size() == most) result->bound = std::exp(result->log_probabilities.back());
  return result;
}

// ---- Some of them ----

// States by depth become states by column.
void spread_states(const ConfigurationBounds& bounds, const std::vector<const Node*>& nodes,
                   Configurations& result) {
  const std::vector<uint32_t> by_depth = std::move(result.states);
  const size_t depths = bounds.nodes().size();
  std::vector<size_t> depth_of(nodes.size(), kNone);
  for (size_t d = 0; d < depths; ++d) depth_of[result.columns.at(bounds.nodes()[d])] = d;
  result.states.clear();
  for (size_t i = 0; i < result.size(); ++i)
    for (size_t c = 0; c < nodes.size(); ++c)
      result.states.push_back(depth_of[c] == kNone ? settled_state(*nodes[c])
                                                   : by_depth[i * depths + depth_of[c]]);
}

ConfigurationsOwner best_of_some(Domain& domain, const std::vector<const Node*>& nodes,
                                 const SubsetRequest& request) {
  std::vector<const Node*> open;
  for (const Node* node : nodes)
    if (is_open(*node)) open.push_back(node);
  const std::unique_ptr<ConfigurationBounds> bounds =
      domain.counters.continuous > 0 ? make_query_bounds(domain, open) : make_tree_bounds(domain, open);
  if (!bounds) return nullptr;
  auto result = std::make_unique<Configurations>();
  add_columns(nodes, *result);
  ProgressMeter progress(domain, "finding configurations", 0);
  if (search_subset(*bounds, request, progress, *result)) return nullptr;
  spread_states(*bounds, nodes, *result);
  return result;
}

// ---- Checks ----

// Refuses what is no list of different discrete nodes of the domain, and without evidence that can be used.
tv_status_t list_nodes(const Domain& domain, tv_node_t* const* nodes, std::vector<const Node*>& list) {
  for (; *nodes; ++nodes) {
    if ((*nodes)->domain != &domain) return refuse(tv_status_usage, "a node is of another network");
    if (!is_discrete(**nodes)) return refuse_for_kind(*nodes, "a discrete one");
    if (std::find(list.begin(), list.end(), *nodes) != list.end())
      return refuse(tv_status_twice, "%s stands twice in the list", shown_name(**nodes));
    list.push_back(*nodes);
  }
  return list.empty() ? refuse(tv_status_usage, "no nodes are given") : tv_status_none;
}

tv_status_t check_request(const SubsetRequest& request) noexcept {
  if (request.most == 0) return refuse(tv_status_usage, "no configurations are asked for");
  const double least = request.least_probability;
  return least >= 0.0 && least <= 1.0
             ? tv_status_none
             : refuse(tv_status_usage, "a probability lies between 0 and 1, not at %g", least);
}

const Configurations* checked(const Configurations* configurations, size_t index) noexcept {
  if (!check(configurations)) return nullptr;
  if (index < configurations->size()) return configurations;
  return refuse(tv_status_usage, "there are %zu configurations", configurations->size()), nullptr;
}

}  // namespace
}  // namespace tv

tv_configurations_t* tv_domain_find_configurations(tv_domain_t* domain, size_t count) {
  return tv::guarded<tv_configurations_t*>(nullptr, [&]() -> tv_configurations_t* {
    if (!tv::check(domain) || tv::check_request({.most = count})) return nullptr;
    if (domain->counters.continuous > 0) {
      tv::refuse(tv_status_usage, "a configuration has no continuous nodes: name the discrete ones");
      return nullptr;
    }
    if (tv::check_for_factors(*domain)) return nullptr;
    std::vector<const tv::Node*> nodes;
    for (const tv::Node& node : domain->nodes)
      if (tv::is_discrete(node)) nodes.push_back(&node);
    return tv::best_of_all(*domain, nodes, count).release();
  });
}

tv_configurations_t* tv_domain_find_configurations_of(tv_domain_t* domain, tv_node_t* const* nodes,
                                                      size_t count, double min_probability,
                                                      size_t max_steps) {
  return tv::guarded<tv_configurations_t*>(nullptr, [&]() -> tv_configurations_t* {
    const tv::SubsetRequest request = {count, min_probability, max_steps};
    std::vector<const tv::Node*> list;
    if (!tv::check(domain && nodes) || tv::check_request(request)) return nullptr;
    if (tv::list_nodes(*domain, nodes, list) || tv::check_for_factors(*domain)) return nullptr;
    return tv::best_of_some(*domain, list, request).release();
  });
}

tv_status_t tv_configurations_delete(tv_configurations_t* configurations) {
  if (!tv::check(configurations)) return tv_status_usage;
  delete configurations;
  return tv_status_none;
}

size_t tv_configurations_get_number(const tv_configurations_t* configurations) {
  return tv::check(configurations) ? configurations->size() : tv::kNone;
}

ptrdiff_t tv_configurations_get_state(const tv_configurations_t* configurations, size_t index,
                                      const tv_node_t* node) {
  if (!tv::checked(configurations, index) || !tv::check(node)) return -1;
  const auto column = configurations->columns.find(node);
  if (column == configurations->columns.end())
    return tv::refuse(tv_status_usage, "the configurations are not of this node"), -1;
  const size_t columns = configurations->columns.size();
  return static_cast<ptrdiff_t>(configurations->states[index * columns + column->second]);
}

double tv_configurations_get_probability(const tv_configurations_t* configurations, size_t index) {
  return tv::checked(configurations, index) ? std::exp(configurations->log_probabilities[index]) : -1;
}

double tv_configurations_get_log_probability(const tv_configurations_t* configurations, size_t index) {
  return tv::checked(configurations, index) ? configurations->log_probabilities[index] : -1;
}

double tv_configurations_get_remaining_probability(const tv_configurations_t* configurations) {
  if (!tv::check(configurations)) return -1;
  double rest = 1.0;
  for (const double log_probability : configurations->log_probabilities) rest -= std::exp(log_probability);
  return std::max(rest, 0.0);
}

double tv_configurations_get_bound(const tv_configurations_t* configurations) {
  return tv::check(configurations) ? configurations->bound : -1;
}

int tv_configurations_is_complete(const tv_configurations_t* configurations) {
  return tv::check(configurations) ? configurations->is_complete : -1;
}
