// The joint marginal of any set of nodes: where one clique or separator holds them all, a marginal of its
// table; otherwise messages over the subtree that connects them, in which the target nodes are never summed
// out. Nodes of different trees are independent given the evidence.

#include "inference/answers/joint_marginal.h"

#include <algorithm>
#include <map>

#include "api/boundary.h"
#include "api/float_environment.h"
#include "inference/answers/factor.h"
#include "inference/calibrate_tables.h"
#include "inference/compress/sparse_marginal.h"
#include "inference/gaussian/cg_answers.h"
#include "inference/schedule/subtree.h"
#include "tables/host_table.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

using Nodes = std::vector<const Node*>;

void add_missing(Nodes& nodes, const Node* node) {
  if (!holds(nodes, node)) nodes.push_back(node);
}

class TreeMarginal {
 public:
  TreeMarginal(TreeEngine& engine, const Nodes& targets) : engine_(engine), targets_(targets) {}

  Factor compute() {
    refresh_shapes(engine_);
    if (const SeparatorWork* separator = smallest_separator_with_all())
      return marginal_of_table(engine_, separator->old, targets_);
    if (const CliqueWork* clique = smallest_clique_with_all())
      return marginal_of_clique(engine_, *clique, targets_);
    clear_marks(engine_);
    for (const Node* node : targets_) mark_clique(engine_, placement(*node).home->position);
    const size_t root = _tv_identify_subtree(engine_, kNone);
    order_from(engine_, root);
    std::map<size_t, Factor> messages;  // by sending clique
    for (size_t i = engine_.order.size(); i-- > 0;) {
      const size_t clique = engine_.order[i];
      Factor message = message_from(clique, messages);
      messages[clique] = std::move(message);
    }
    return std::move(messages[root]);
  }

 private:
  bool holds_all(const NodeList& members) const noexcept {
    return std::all_of(targets_.begin(), targets_.end(),
                       [&](const Node* node) { return members.contains(node); });
  }

  // A separator that holds them is smaller than the smaller of its cliques.
  const SeparatorWork* smallest_separator_with_all() const noexcept {
    const SeparatorWork* best = nullptr;
    for (const SeparatorWork& work : engine_.separators)
      if (work.separator && (!best || work.old.shape.size < best->old.shape.size) &&
          holds_all(*work.old.members))
        best = &work;
    return best;
  }

  const CliqueWork* smallest_clique_with_all() const noexcept {
    const CliqueWork* best = nullptr;
    for (const CliqueWork& work : engine_.cliques)
      if ((!best || work.table.shape.size < best->table.shape.size) && holds_all(*work.table.members))
        best = &work;
    return best;
  }

  bool sends_here(const CliqueLink& link) const noexcept {
    return engine_.reached_by[link.neighbor] == link.back;
  }

  // The members that must remain until the incoming messages are multiplied in.
  Nodes needed_members(const CliqueWork& work, const Nodes& survivors,
                       const std::map<size_t, Factor>& messages) {
    Nodes needed;
    for (const Node* node : *work.table.members)
      if (holds(survivors, node)) needed.push_back(node);
    for (const CliqueLink& link : work.links)
      if (sends_here(link))
        for (const Node* node : messages.at(link.neighbor).nodes)
          if (work.clique->members().contains(node)) add_missing(needed, node);
    return needed;
  }

  // The message of a clique to the next one towards the root: a factor over their separator and the target
  // nodes behind it. The root's message is the answer.
  Factor message_from(size_t clique, std::map<size_t, Factor>& messages) {
    const CliqueWork& work = engine_.cliques[clique];
    const size_t via = engine_.reached_by[clique];
    std::vector<Factor> factors;
    Factor inverse;
    Nodes survivors = targets_;
    if (via != kNone) {
      const ReducedTable& separator = engine_.separators[work.links[via].separator].old;
      for (const Node* node : *separator.members) add_missing(survivors, node);
      inverse = inverse_of(separator);
    }
    factors.push_back(marginal_of_clique(engine_, work, needed_members(work, survivors, messages)));
    add_findings(factors, survivors);
    for (const CliqueLink& link : work.links)
      if (sends_here(link)) {
        factors.push_back(std::move(messages.at(link.neighbor)));
        messages.erase(link.neighbor);
      }
    if (via != kNone) factors.push_back(std::move(inverse));
    std::vector<const Factor*> operands;
    for (const Factor& factor : factors) operands.push_back(&factor);
    return marginal_of_product(operands, survivors, engine_.equilibrium, parallel_settings(*engine_.domain));
  }

  // Under fast retraction, the findings on nodes of the last factor that the message lacks.
  void add_findings(std::vector<Factor>& factors, const Nodes& survivors) const {
    if (engine_.mode != tv_evidence_fast_retraction) return;
    for (const Node* node : Nodes(factors.back().nodes))
      if (!holds(survivors, node) && engine_[*node].propagated_state != kNoEvidence)
        factors.push_back(finding_factor(engine_, *node));
  }

  TreeEngine& engine_;
  const Nodes& targets_;
};

// The table over `nodes` with the product of the factors where the observed states agree, zero elsewhere.
std::unique_ptr<Table> scatter(const InferenceState& state, const NodeList& nodes,
                               const std::vector<Factor>& factors) {
  Domain& domain = *state.domain;
  std::unique_ptr<Table> table = new_table(domain);
  set_table_nodes(*table, nodes);
  if (tv_status_t status = allocate_table_data(*table)) {
    store_status(status);
    return nullptr;
  }
  Nodes free;
  size_t offset = 0, stride = 1;
  std::vector<size_t> strides(domain.node_count, 0);
  for (size_t i = nodes.size(); i-- > 0; stride *= nodes[i]->number_of_states) {
    const ptrdiff_t observed = state[*nodes[i]].observed_state;
    strides[nodes[i]->number - 1] = stride;
    if (observed >= 0)
      offset += static_cast<size_t>(observed) * stride;
    else if (nodes[i]->number_of_states > 1)
      free.push_back(nodes[i]);
  }
  std::vector<const Factor*> operands;
  for (const Factor& factor : factors) operands.push_back(&factor);
  const Factor one = {{}, {{1.0}, {}}};
  operands.push_back(&one);
  const Factor joint = marginal_of_product(operands, free, tv_equilibrium_sum, parallel_settings(domain));
  std::vector<float> numbers(joint.numbers.size());
  for (size_t i = 0; i < numbers.size(); ++i)
    numbers[i] = static_cast<float>(joint.numbers.is_plain() ? joint.numbers.mantissas[i]
                                                             : entry(joint.numbers, i).value());
  std::vector<Dimension> nest(joint.nodes.size());
  stride = 1;
  for (size_t d = nest.size(); d-- > 0; stride *= nest[d].count)
    nest[d] = {joint.nodes[d]->number_of_states, strides[joint.nodes[d]->number - 1], stride};
  kernels().assign(nest.data(), nest.size(), table->data.data() + offset, numbers.data());
  return table;
}

bool are_distinct_nodes_of(const Domain& domain, tv_node_t** nodes) {
  if (!nodes || !*nodes) return false;
  std::vector<bool> seen(domain.node_count, false);
  for (; *nodes; ++nodes) {
    const Node& node = **nodes;
    if (node.domain != &domain || !is_discrete_or_continuous(node) || seen[node.number - 1]) return false;
    seen[node.number - 1] = true;
  }
  return true;
}

}  // namespace

std::unique_ptr<Table> joint_marginal(InferenceState& state, const NodeList& nodes) {
  if (!std::all_of(nodes.begin(), nodes.end(), [](const Node* node) { return is_discrete(*node); }))
    return cg_marginal(state, nodes);
  const FloatEnvironment environment;
  std::vector<Factor> factors;
  bool largest_entry = false;
  for (const auto& engine : state.trees) {
    Nodes targets;
    for (const Node* node : nodes) {
      if (placement(*node).tree != engine->tree) continue;
      largest_entry |= engine->equilibrium == tv_equilibrium_max;
      if (state[*node].observed_state < 0 && node->number_of_states > 1) targets.push_back(node);
    }
    if (targets.empty()) continue;
    if (tv_status_t status = calibrate_tables(*engine)) {
      store_status(status);
      return nullptr;
    }
    factors.push_back(engine->tree->sparse ? sparse_joint_marginal(*engine, targets)
                                           : TreeMarginal(*engine, targets).compute());
  }
  std::unique_ptr<Table> table = scatter(state, nodes, factors);
  if (!table) return nullptr;
  if (tv_status_t status = _tv_normalize_table(*table, largest_entry ? Normalizer::max : Normalizer::sum)) {
    store_status(status);
    return nullptr;
  }
  return table;
}

}  // namespace tv

tv_table_t* tv_domain_get_marginal(tv_domain_t* domain, tv_node_t** nodes) {
  return tv::guarded<tv_table_t*>(nullptr, [&]() -> tv_table_t* {
    if (!tv::check(domain && tv::are_distinct_nodes_of(*domain, nodes))) return nullptr;
    if (!tv::require(tv::is_compiled(*domain), tv_status_not_compiled)) return nullptr;
    tv::NodeList list;
    for (tv_node_t** node = nodes; *node; ++node) {
      if (!tv::require(tv::placement(**node).tree->engine->equilibrium != tv_equilibrium_none,
                       tv_status_no_equilibrium))
        return nullptr;
      list.push_back(*node);
    }
    std::unique_ptr<tv::Table> marginal = tv::joint_marginal(tv::own_state(*domain), list);
    return marginal ? tv::hand_over(std::move(marginal)) : nullptr;
  });
}
