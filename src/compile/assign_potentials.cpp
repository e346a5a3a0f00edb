// What each node needs of the forest: the clique where its evidence is entered, the smallest table that
// holds it, and the clique that takes its potential. Cliques are looked at in the order of the domain's
// list, and of equally good ones the first is kept.
#include <algorithm>
#include <numeric>
#include <span>
#include <tuple>

#include "compile/junction_forest.h"
#include "network/links/chain_graph.h"
#include "network/node_operations.h"
#include "network/node_tables.h"

namespace tv {
namespace {

// How good a table is for one of its nodes: small, and the node early in its list.
struct Place {
  size_t size = kHugeSize;
  size_t cg_size = kHugeSize;
  double before = 0.0;  // product of the state counts of the members before the node
  bool taken = false;

  bool is_better_than(const Place& other) const noexcept {
    if (!other.taken) return true;
    return std::tie(size, cg_size, before) < std::tie(other.size, other.cg_size, other.before);
  }
};

template <class Visit>
void for_each_place(const NodeList& members, size_t size, size_t cg_size, Visit visit) {
  Place place{size, cg_size, 1.0, true};
  for (const Node* member : members) {
    visit(member->number - 1, place);
    if (is_discrete(*member)) place.before *= static_cast<double>(member->number_of_states);
  }
}

// The nodes that must share a clique for the node's potential to fit in.
NodeList family_of(Node& node) {
  NodeList family;
  family.reserve(node.parents.size() + 1);
  if (node.category != tv_category_function) {
    for (Node* parent : node.parents) {
      if (is_discrete_or_continuous(*parent)) family.push_back(parent);
    }
  }
  if (is_discrete_or_continuous(node)) family.push_back(&node);
  return family;
}

bool has_potential(const Node& node) noexcept {
  return is_discrete_or_continuous(node) || node.category == tv_category_utility;
}

class Assigner {
 public:
  explicit Assigner(const Forest& forest)
      : first_holder_(forest.nodes.size() + 1, 0), family_mark_(forest.nodes.size(), 0) {
    all_.reserve(forest.clique_count);
    for (Clique& clique : forest.cliques) {
      all_.push_back(&clique);
      for (const Node* member : clique.members()) ++first_holder_[member->number - 1];
    }
    std::partial_sum(first_holder_.begin(), first_holder_.end(), first_holder_.begin());
    holders_.resize(first_holder_.back());
    for (size_t i = all_.size(); i-- > 0;) {
      for (const Node* member : all_[i]->members()) holders_[--first_holder_[member->number - 1]] = all_[i];
    }
  }

  // The best clique that holds the whole family; null when there is none.
  Clique* select_clique(const NodeList& family) {
    if (family.empty()) {
      if (!smallest_) smallest_ = best_clique(all_, family);
      return smallest_;
    }
    ++mark_;
    for (const Node* member : family) family_mark_[member->number - 1] = mark_;
    const Node* rarest = *std::min_element(
        family.begin(), family.end(),
        [this](const Node* a, const Node* b) { return holders_of(*a).size() < holders_of(*b).size(); });
    return best_clique(holders_of(*rarest), family);
  }

 private:
  std::span<Clique* const> holders_of(const Node& node) const noexcept {
    const size_t first = first_holder_[node.number - 1];
    return {holders_.data() + first, first_holder_[node.number] - first};
  }

  Clique* best_clique(std::span<Clique* const> candidates, const NodeList& family) const {
    Clique* best = nullptr;
    for (Clique* candidate : candidates) {
      const NodeList& members = candidate->members();
      const auto in_family = std::count_if(members.begin(), members.end(), [this](const Node* member) {
        return mark_ > 0 && family_mark_[member->number - 1] == mark_;
      });
      if (!family.empty() && static_cast<size_t>(in_family) < family.size()) continue;
      if (!best || std::tie(candidate->table.size, candidate->table.cg_size) <
                       std::tie(best->table.size, best->table.cg_size)) {
        best = candidate;
      }
    }
    return best;
  }

  std::vector<Clique*> all_;          // in the order of the domain's list
  std::vector<Clique*> holders_;      // of each node, in the same order, list behind list
  std::vector<size_t> first_holder_;  // by node
  std::vector<size_t> family_mark_;   // by node: `mark_` for the members of the present family
  size_t mark_ = 0;
  Clique* smallest_ = nullptr;
};

std::unique_ptr<Table> table_over(Domain& domain, const NodeList& nodes) {
  std::unique_ptr<Table> table = new_table(domain);
  set_table_nodes(*table, nodes);
  return table;
}

Clique* assign_table(Assigner& assigner, const Table& table) {
  Clique* clique = assigner.select_clique(table.nodes);
  if (clique) clique->more_potentials.push_back(&table);
  return clique;
}

// A component without parents has one number to divide by, and any clique of its tree will do.
Clique* assign_divisor(Assigner& assigner, const Forest& forest, const ChainComponent& component) {
  if (!component.parents.empty()) return assign_table(assigner, *component.divisor);
  Clique* clique = forest.nodes[component.members.front()->number - 1].home;
  if (clique) clique->more_potentials.push_back(component.divisor.get());
  return clique;
}

tv_status_t assign_component(Forest& forest, ChainComponent& component, Assigner& assigner, Trace& trace) {
  for (const ChainPotential& potential : forest.domain->chain_potentials) {
    if (!component.members.contains(potential.children.front())) continue;
    component.groups.push_back({potential.table.get(), table_over(*forest.domain, potential.table->nodes)});
    if (!assign_table(assigner, *component.groups.back().scaled)) return tv_status_error;
  }
  component.divisor = table_over(*forest.domain, component.parents);
  const Clique* clique = assign_divisor(assigner, forest, component);
  if (!clique) return tv_status_error;
  component.tree = clique->tree;
  component.tree->has_chain_components = true;
  if (!trace.enabled()) return tv_status_none;
  trace.text("    Chain graph component (");
  for (Node* member : component.members) {
    if (member != component.members.front()) trace.text(", ");
    trace.text(name_of(*member));
  }
  trace.print(":\n\tParents assigned to clique %zu\n", size_t{clique->index});
  return tv_status_none;
}

// The nodes that were assigned to each clique, in the order of the domain.
void list_potentials(Forest& forest) {
  std::vector<size_t> counts(forest.clique_count + 1, 0);
  size_t total = 0;
  for (const NodePlacement& record : forest.nodes) {
    if (!record.assigned) continue;
    ++counts[record.assigned->index];
    ++total;
  }
  forest.potentials.resize(total);
  Node** next = forest.potentials.data();
  for (Clique& clique : forest.cliques) {
    clique.potentials = {next, 0};
    next += counts[clique.index];
  }
  for (Node& node : forest.domain->nodes) {
    Clique* clique = forest.nodes[node.number - 1].assigned;
    if (!clique) continue;
    clique->potentials = {clique->potentials.data(), clique->potentials.size() + 1};
    clique->potentials.back() = &node;
  }
}

void report_missing_tables(const Domain& domain, Trace& trace) {
  if (!trace.enabled()) return;
  trace.text("\n\nChecking tables for all nodes:\n\n");
  for (Node& node : domain.nodes) {
    if (!has_potential(node) || own_table(node) || in_chain_component(node)) continue;
    trace.print("    Warning: Node `%s' has no table\n", name_of(node));
  }
}

}  // namespace

void create_node_data_structures(Forest& forest) {
  std::vector<Place> homes(forest.nodes.size()), sources(forest.nodes.size());
  for (Clique& clique : forest.cliques) {
    for_each_place(clique.members(), clique.table.size, clique.table.cg_size,
                   [&](size_t i, const Place& place) {
                     if (place.is_better_than(homes[i])) {
                       homes[i] = place;
                       forest.nodes[i].home = &clique;
                       forest.nodes[i].tree = clique.tree;
                     }
                     if (place.is_better_than(sources[i])) {
                       sources[i] = place;
                       forest.nodes[i].belief_clique = &clique;
                       forest.nodes[i].belief_in_separator = false;
                     }
                   });
    Separator* separator = clique.parent_separator.get();
    if (!separator) continue;
    for_each_place(separator->members, separator->size, separator->cg_size,
                   [&](size_t i, const Place& place) {
                     if (!place.is_better_than(sources[i])) return;
                     sources[i] = place;
                     forest.nodes[i].belief_clique = &clique;
                     forest.nodes[i].belief_in_separator = true;
                   });
  }
  for (Node& node : forest.domain->nodes) {
    NodePlacement& place = forest.nodes[node.number - 1];
    if (!place.tree) continue;
    place.position = static_cast<uint32_t>(place.tree->nodes.size());
    place.tree->nodes.push_back(&node);
  }
  uint32_t position = 0;
  for (JunctionTree& tree : forest.trees) {
    tree.position = position++;
    tree.nodes.shrink_to_fit();
  }
}

tv_status_t assign_potentials(Forest& forest, Trace& trace) {
  trace.text("\n\nAssignment of potentials to cliques:\n\n");
  Assigner assigner(forest);
  for (Node& node : forest.domain->nodes) {
    if (!has_potential(node)) continue;
    Clique* clique = assigner.select_clique(family_of(node));
    if (!clique) return tv_status_error;
    NodePlacement& record = forest.nodes[node.number - 1];
    record.assigned = clique;
    record.tree = clique->tree;
    if (trace.enabled()) {
      trace.print("    Node %s assigned to clique %zu\n", name_of(node), size_t{clique->index});
    }
  }
  list_potentials(forest);
  for (ChainComponent& component : forest.components) {
    if (tv_status_t status = assign_component(forest, component, assigner, trace)) return status;
  }
  report_missing_tables(*forest.domain, trace);
  return tv_status_none;
}

}  // namespace tv
