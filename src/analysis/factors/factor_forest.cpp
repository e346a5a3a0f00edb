// Laying the forest out as factors.
#include "analysis/factors/factor_forest.h"

#include <new>
#include <numeric>

#include "inference/answers/queries.h"
#include "inference/evidence/evidence.h"
#include "inference/query.h"
#include "network/node_tables.h"

namespace tv {
namespace {

const Separator& separator_towards(const Clique& clique, const Clique& neighbor) noexcept {
  return clique.parent == &neighbor ? *clique.parent_separator : *neighbor.parent_separator;
}

}  // namespace

FactorForest::FactorForest(const Domain& domain, const std::vector<bool>& early) : domain_(domain) {
  positions_.resize(domain.forest->clique_count, UINT32_MAX);
  cliques_.reserve(domain.forest->clique_count + 1);
  cliques_.emplace_back();  // the root of the forest
  for (const JunctionTree& tree : domain.forest->trees) add_tree(*tree.root);
  build_cliques(early);
}

FactorForest::FactorForest(const Domain& domain, const Clique& root) : domain_(domain) {
  positions_.resize(domain.forest->clique_count, UINT32_MAX);
  cliques_.reserve(root.tree->clique_count() + 1);
  cliques_.emplace_back();
  add_tree(root);
  build_cliques({});
}

void FactorForest::build_cliques(const std::vector<bool>& early) {
  findings_.resize(cliques_.size());
  for (const FactorClique& first : cliques_) {
    if (!first.clique || first.parent != 0) continue;  // the root of a tree
    for (const Node* node : first.clique->tree->nodes)
      if (is_discrete(*node) && node->entered.state == kFindingVector)
        findings_[position_of(*placement(*node).home)].push_back(node);
  }
  for (FactorClique& clique : cliques_) {
    if (clique.clique) list_nodes(clique, early);
    build(clique);
  }
  for (FactorClique& clique : cliques_) group_operands(clique);
}

// The cliques of a tree, each before those that it is nearer to the root than.
void FactorForest::add_tree(const Clique& root) {
  size_t next = cliques_.size();
  const auto add = [&](const Clique& clique, size_t parent) {
    positions_[clique.index - 1] = static_cast<uint32_t>(cliques_.size());
    FactorClique& added = cliques_.emplace_back();
    added.clique = &clique;
    added.parent = static_cast<uint32_t>(parent);
  };
  for (add(root, 0); next < cliques_.size(); ++next) {
    const Clique& clique = *cliques_[next].clique;
    const Clique* const parent = cliques_[cliques_[next].parent].clique;
    for (const Link& link : clique.links)
      if (link.neighbor != parent) add(*link.neighbor, next);
  }
}

void FactorForest::list_nodes(FactorClique& clique, const std::vector<bool>& early) const {
  std::vector<const Node*>& nodes = clique.nodes;
  if (const Clique* const parent = cliques_[clique.parent].clique)
    for (const Node* node : separator_towards(*clique.clique, *parent).members)
      if (is_open(*node)) nodes.push_back(node);
  clique.separator_nodes = nodes.size();
  for (const Node* node : nodes) clique.separator_size *= node->number_of_states;
  const auto is_early = [&](const Node* node) { return !early.empty() && early[node->number - 1]; };
  for (const bool in_front : {true, false})
    for (const Node* node : clique.clique->members())
      if (is_open(*node) && is_early(node) == in_front && position_in(nodes, node) == nodes.size())
        nodes.push_back(node);
}

void FactorForest::build(FactorClique& clique) {
  std::vector<size_t> counts;
  for (const Node* node : clique.nodes) counts.push_back(node->number_of_states);
  clique.shape = std::make_unique<OwnShape>(std::move(counts));
  clique.separator = std::make_unique<OwnIndexMap>(clique.nodes.size());
  size_t stride = 1;
  for (size_t d = clique.separator_nodes; d-- > 0; stride *= clique.nodes[d]->number_of_states)
    clique.separator->steps[d] = stride;
  finish_index_map(*clique.separator, *clique.shape);

  // The parent stands before, so its dimensions are known.
  const auto position = static_cast<uint32_t>(&clique - cliques_.data());
  if (position > 0) {
    FactorClique& receiver = cliques_[clique.parent];
    FactorChild& child = receiver.children.emplace_back(position, receiver.nodes.size());
    for (size_t d = 0; d < clique.separator_nodes; ++d)
      child.map.steps[position_in(receiver.nodes, clique.nodes[d])] = clique.separator->steps[d];
    finish_index_map(child.map, *receiver.shape);
  }
  if (!clique.clique) return;
  for (const Node* node : clique.clique->potentials)
    if (node->category != tv_category_utility && !decision_is_made(*node, node->entered))
      add_potential(clique, node, node->table.get());
  for (const Table* table : clique.clique->more_potentials) add_potential(clique, nullptr, table);
  for (const Node* node : findings_[position]) add_finding(clique, *node);
}

OperandGroup group_over(const FactorClique& clique, const std::vector<size_t>& dimensions) {
  OperandGroup group;
  group.dimensions = dimensions;
  std::vector<size_t> counts;
  for (const size_t d : dimensions) counts.push_back(clique.nodes[d]->number_of_states);
  group.shape = std::make_unique<OwnShape>(std::move(counts));
  group.map = std::make_unique<OwnIndexMap>(clique.nodes.size());
  size_t stride = 1;
  for (size_t i = dimensions.size(); i-- > 0; stride *= clique.nodes[dimensions[i]]->number_of_states)
    group.map->steps[dimensions[i]] = stride;
  finish_index_map(*group.map, *clique.shape);
  return group;
}

// The largest ones first, so that each finds the group that it fits into.
void FactorForest::group_operands(FactorClique& clique) {
  const size_t count = clique.operand_count();
  std::vector<std::vector<size_t>> dimensions(count);
  for (size_t i = 0; i < count; ++i)
    for (size_t d = 0; d < clique.nodes.size(); ++d)
      if (clique.operand_map(i).steps[d]) dimensions[i].push_back(d);
  std::vector<size_t> order(count);
  std::iota(order.begin(), order.end(), size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return dimensions[a].size() > dimensions[b].size(); });
  for (const size_t i : order) {
    const auto fits = [&](const OperandGroup& group) {
      return std::includes(group.dimensions.begin(), group.dimensions.end(), dimensions[i].begin(),
                           dimensions[i].end());
    };
    auto group = std::find_if(clique.groups.begin(), clique.groups.end(), fits);
    if (group == clique.groups.end()) {
      clique.groups.push_back(group_over(clique, dimensions[i]));
      group = clique.groups.end() - 1;
    }
    OperandGroup::Member& member = group->members.emplace_back(i, group->dimensions.size());
    for (size_t d = 0; d < group->dimensions.size(); ++d)
      member.map.steps[d] = clique.operand_map(i).steps[group->dimensions[d]];
    finish_index_map(member.map, *group->shape);
  }
}

void FactorForest::add_potential(FactorClique& clique, const Node* owner, const Table* table) {
  ForestFactor& factor = clique.factors.emplace_back(clique.nodes.size());
  factor.owner = owner;
  factor.first = numbers_.size();
  if (table && has_data(*table)) {
    factor.table = table;
    factor.size = table->size;
    numbers_.insert(numbers_.end(), table->data.begin(), table->data.begin() + table->size);
    factor.offset = map_table(clique, table->nodes, factor.map);
  } else {  // it counts as uniform
    Node& node = const_cast<Node&>(*owner);
    const NodeList nodes = node_table_nodes(node, node.parents);
    for (const Node* member : nodes) factor.size = size_multiply(factor.size, member->number_of_states);
    if (factor.size == kHugeSize) throw std::bad_alloc();
    numbers_.resize(numbers_.size() + factor.size, 1.0 / static_cast<double>(node.number_of_states));
    factor.offset = map_table(clique, nodes, factor.map);
  }
}

void FactorForest::add_finding(FactorClique& clique, const Node& node) {
  ForestFactor& factor = clique.factors.emplace_back(clique.nodes.size());
  factor.owner = &node;
  factor.is_finding = true;
  factor.first = numbers_.size();
  factor.size = node.number_of_states;
  numbers_.insert(numbers_.end(), node.entered.finding.begin(), node.entered.finding.end());
  NodeList nodes;
  nodes.push_back(const_cast<Node*>(&node));
  factor.offset = map_table(clique, nodes, factor.map);
}

size_t map_table(const FactorClique& clique, const NodeList& nodes, IndexMap& map) noexcept {
  size_t stride = 1, offset = 0;
  for (size_t i = nodes.size(); i-- > 0; stride *= nodes[i]->number_of_states) {
    if (is_open(*nodes[i]))
      map.steps[position_in(clique.nodes, nodes[i])] = stride;
    else if (nodes[i]->entered.state > 0)
      offset += static_cast<size_t>(nodes[i]->entered.state) * stride;
  }
  finish_index_map(map, *clique.shape);
  return offset;
}

tv_status_t check_for_factors(const Domain& domain) {
  if (!require_compiled(domain)) return tv_status_not_compiled;
  if (tv_status_t status = check_tables_for_queries(domain)) return status;
  const InferenceState& state = own_state(domain);
  const bool may_propagate =
      _tv_domain_evidence_is_valid(state) && _tv_domain_ijt_nodes_are_instantiated(state);
  return may_propagate ? tv_status_none : current_status();
}

tv_status_t refuse_impossible_evidence() noexcept {
  return refuse(tv_status_inconsistency_or_underflow,
                "the evidence is impossible, or its probability too small for this analysis");
}

}  // namespace tv
