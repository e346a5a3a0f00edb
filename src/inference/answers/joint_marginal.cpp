// The joint marginal of any set of nodes: where one clique or separator holds them all, a marginal of its
// table; otherwise messages over the subtree that connects them, in which the target nodes are never summed
// out. Nodes of different trees are independent given the evidence.

#include "inference/answers/joint_marginal.h"

#include <algorithm>
#include <map>

#include "api/boundary.h"
#include "inference/calibrate_tables.h"
#include "inference/factor.h"
#include "inference/gaussian/cg_answers.h"
#include "inference/schedule/subtree.h"
#include "tables/host_table.h"
#include "tables/kernels/number_bounds.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

using Nodes = std::vector<const Node*>;

void add_missing(Nodes& nodes, const Node* node) {
  if (!holds(nodes, node)) nodes.push_back(node);
}

class TreeMarginal {
 public:
  TreeMarginal(JunctionTree& tree, const Nodes& targets)
      : tree_(tree),
        engine_(engine_of(tree)),
        settings_(parallel_settings(*tree.domain)),
        targets_(targets) {}

  Factor compute() {
    refresh_plans(engine_);
    if (const SeparatorWork* separator = smallest_separator_with_all())
      return marginal_of_table(separator->old, targets_, tree_.equilibrium, tree_.mode);
    if (const CliqueWork* clique = smallest_clique_with_all())
      return marginal_of_clique(*clique, targets_, tree_.equilibrium, tree_.mode);
    clear_marks(engine_);
    for (const Node* node : targets_) mark_clique(engine_, compiled(*node).home->position);
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

  bool sends_here(const LinkPlan& link) const noexcept {
    return engine_.reached_by[link.neighbor] == link.back;
  }

  // The members that must remain until the incoming messages are multiplied in.
  Nodes needed_members(const CliqueWork& work, const Nodes& survivors,
                       const std::map<size_t, Factor>& messages) {
    Nodes needed;
    for (const Node* node : *work.table.members)
      if (holds(survivors, node)) needed.push_back(node);
    for (const LinkPlan& link : work.links)
      if (sends_here(link))
        for (const Node* node : messages.at(link.neighbor).nodes)
          if (work.clique->members().contains(node)) add_missing(needed, node);
    return needed;
  }

  void apply_findings(Factor& factor, const Nodes& survivors) {
    if (tree_.mode != tv_evidence_fast_retraction) return;
    for (const Node* node : Nodes(factor.nodes)) {
      const CompiledNode& data = compiled(*node);
      if (holds(survivors, node) || data.propagated_state == kNoEvidence) continue;
      Factor finding = ones_over({node});
      for (size_t s = 0; s < node->number_of_states; ++s)
        finding.numbers[s] = data.propagated_state == kFindingVector           ? propagated_finding(*node)[s]
                             : static_cast<size_t>(data.propagated_state) == s ? 1.0f
                                                                               : 0.0f;
      multiply_factor(factor, finding, settings_);
    }
  }

  static void divide_by_separator(Factor& factor, const ReducedTable& separator,
                                  const ParallelSettings& settings) {
    Factor inverse;
    for (size_t m = 0; m < separator.members->size(); ++m)
      if (separator.spans(m)) inverse.nodes.push_back((*separator.members)[m]);
    inverse = ones_over(std::move(inverse.nodes));
    for (size_t i = 0; i < inverse.size; ++i)
      inverse.numbers[i] = separator.numbers[i] >= kSmallestNormalFloat ? 1.0f / separator.numbers[i] : 0.0f;
    multiply_factor(factor, inverse, settings);
  }

  // The message of a clique to the next one towards the root: a factor over their separator and the target
  // nodes behind it. The root's message is the answer.
  Factor message_from(size_t clique, std::map<size_t, Factor>& messages) {
    const CliqueWork& work = engine_.cliques[clique];
    const size_t via = engine_.reached_by[clique];
    Nodes survivors = targets_;
    if (via != kNone)
      for (const Node* node : *engine_.separators[work.links[via].separator].old.members)
        add_missing(survivors, node);

    const Factor own =
        marginal_of_clique(work, needed_members(work, survivors, messages), tree_.equilibrium, tree_.mode);
    Nodes all = own.nodes;
    for (const LinkPlan& link : work.links)
      if (sends_here(link))
        for (const Node* node : messages.at(link.neighbor).nodes) add_missing(all, node);
    Factor product = ones_over(std::move(all));
    multiply_factor(product, own, settings_);
    for (const LinkPlan& link : work.links)
      if (sends_here(link)) {
        multiply_factor(product, messages.at(link.neighbor), settings_);
        messages.erase(link.neighbor);
      }
    apply_findings(product, survivors);
    Factor message = marginal_of_factor(product, survivors, tree_.equilibrium, settings_);
    if (via != kNone)
      divide_by_separator(message, engine_.separators[work.links[via].separator].old, settings_);
    return message;
  }

  JunctionTree& tree_;
  TreeEngine& engine_;
  ParallelSettings settings_;
  const Nodes& targets_;
};

// The table over `nodes` with the product of the factors where the observed states agree, zero elsewhere.
std::unique_ptr<Table> scatter(Domain& domain, const NodeList& nodes, const std::vector<Factor>& factors) {
  std::unique_ptr<Table> table = new_table(domain);
  set_table_nodes(*table, nodes);
  if (tv_status_t status = allocate_table_data(*table)) {
    store_status(status);
    return nullptr;
  }
  Nodes free;
  size_t offset = 0, stride = 1;
  std::vector<size_t> strides;
  for (size_t i = nodes.size(); i-- > 0; stride *= nodes[i]->number_of_states) {
    const ptrdiff_t state = compiled(*nodes[i]).observed_state;
    if (state >= 0)
      offset += static_cast<size_t>(state) * stride;
    else if (nodes[i]->number_of_states > 1) {
      free.insert(free.begin(), nodes[i]);
      strides.insert(strides.begin(), stride);
    }
  }
  Factor joint = ones_over(free);
  for (const Factor& factor : factors) multiply_factor(joint, factor, parallel_settings(domain));
  std::vector<Dimension> nest(free.size());
  stride = 1;
  for (size_t d = free.size(); d-- > 0; stride *= free[d]->number_of_states)
    nest[d] = {free[d]->number_of_states, strides[d], stride};
  kernels().assign(nest.data(), nest.size(), table->data.data() + offset, joint.numbers.data());
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

std::unique_ptr<Table> _tv_domain_marginal(Domain& domain, const NodeList& nodes) {
  if (!std::all_of(nodes.begin(), nodes.end(), [](const Node* node) { return is_discrete(*node); }))
    return cg_marginal(domain, nodes);
  std::vector<Factor> factors;
  bool largest_entry = false;
  for (JunctionTree& tree : domain.forest->trees) {
    Nodes targets;
    for (const Node* node : nodes) {
      if (compiled(*node).tree != &tree) continue;
      largest_entry |= tree.equilibrium == tv_equilibrium_max;
      if (compiled(*node).observed_state < 0 && node->number_of_states > 1) targets.push_back(node);
    }
    if (targets.empty()) continue;
    if (tv_status_t status = calibrate_tables(tree)) {
      store_status(status);
      return nullptr;
    }
    factors.push_back(TreeMarginal(tree, targets).compute());
  }
  std::unique_ptr<Table> table = scatter(domain, nodes, factors);
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
      if (!tv::require(tv::compiled(**node).tree->equilibrium != tv_equilibrium_none,
                       tv_status_no_equilibrium))
        return nullptr;
      list.push_back(*node);
    }
    std::unique_ptr<tv::Table> marginal = tv::_tv_domain_marginal(*domain, list);
    return marginal ? tv::hand_over(std::move(marginal)) : nullptr;
  });
}
