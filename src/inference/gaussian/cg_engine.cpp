// Builds the conditional-Gaussian side of a tree: its components, the order of the nodes in each clique, and
// an arena for all blocks.

#include "inference/gaussian/cg_engine.h"

#include <algorithm>
#include <numeric>

namespace tv {
namespace {

bool is_joined_to_parent(const Clique& clique) noexcept {
  return clique.parent_separator && clique.parent_separator->cg_size > 0;
}

size_t discrete_members(const NodeList& nodes) noexcept {
  return static_cast<size_t>(
      std::count_if(nodes.begin(), nodes.end(), [](const Node* node) { return is_discrete(*node); }));
}

// Whether the members outside the parent are continuous, or the separator is discrete.
bool is_strongly_linked(const Clique& clique) noexcept {
  return !is_joined_to_parent(clique) ||
         discrete_members(clique.parent_separator->members) == clique.table.discrete_count;
}

bool holds_discrete_members(const Clique& clique, const Clique& other) noexcept {
  for (size_t d = 0; d < other.table.discrete_count; ++d)
    if (!clique.members().contains(other.members()[d])) return false;
  return true;
}

// The clique into which the densities of the component with this root are multiplied: cliques over the same
// discrete nodes, such as those of the features of one class, share one.
const Clique& accumulator_for(const Clique& root) noexcept {
  const Clique* clique = &root;
  while (clique->parent && clique->parent->table.size == root.table.size &&
         holds_discrete_members(*clique->parent, root))
    clique = clique->parent;
  return *clique;
}

bool takes_regression(const Node& node) noexcept { return is_continuous(node); }

size_t continuous_parents(const Node& node) noexcept {
  return node.parents.size() - discrete_members(node.parents);
}

// The total lengths of the lists of a tree, and its largest clique in several respects.
struct Extents {
  size_t cliques = 0, components = 0, nodes = 0, potentials = 0, terms = 0, indexes = 0;
  size_t numbers = 0, flags = 0, pooled = 0;
  size_t largest_size = 1, largest_block = 0, most_members = 0, most_discrete = 0, most_tables = 1;
};

Extents extents_of(const JunctionTree& tree) noexcept {
  Extents extents;
  for (const Node* node : tree.nodes) extents.nodes += is_continuous(*node);
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    const Clique& clique = *tree.cliques[c];
    extents.largest_size = std::max(extents.largest_size, clique.table.size);
    extents.most_discrete = std::max(extents.most_discrete, clique.table.discrete_count);
    if (!clique.has_continuous()) continue;
    ++extents.cliques;
    size_t tables = clique.links.size();
    for (const Node* node : clique.potentials) {
      if (!takes_regression(*node)) continue;
      ++extents.potentials;
      ++tables;
      extents.terms += continuous_parents(*node);
      extents.indexes += clique.table.discrete_count;
    }
    size_t shared_block = 0;
    if (is_joined_to_parent(clique)) {
      shared_block = clique.parent_separator->cg_size;
      extents.indexes += clique.parent_separator->members.size() + clique.parent->table.discrete_count;
    } else {
      ++extents.components;
      extents.indexes += accumulator_for(clique).table.discrete_count;
      extents.pooled = size_add(extents.pooled, clique.table.size);
    }
    extents.indexes += clique.table.continuous_count;
    extents.numbers = size_add(extents.numbers, size_multiply(clique.table.size, clique.table.cg_size));
    extents.numbers = size_add(extents.numbers, size_multiply(clique.table.size, shared_block + 1));
    extents.flags = size_add(extents.flags, size_multiply(clique.table.size, 2));
    extents.largest_block = std::max(extents.largest_block, clique.table.cg_size);
    extents.most_members = std::max(extents.most_members, clique.table.continuous_count);
    extents.most_tables = std::max(extents.most_tables, tables);
  }
  return extents;
}

// Positions of the continuous nodes of a tree in a topological order, by position in the engine's list.
class Ranks {
 public:
  explicit Ranks(const CgEngine& engine) : rank_(engine.nodes.size()) {
    for (size_t i = 0; i < engine.nodes.size(); ++i) positions_.push_back({engine.nodes[i].node->number, i});
    std::sort(positions_.begin(), positions_.end());
    std::vector<size_t> waiting, ready;
    for (const CgNode& node : engine.nodes) waiting.push_back(continuous_parents(*node.node));
    for (size_t i = waiting.size(); i-- > 0;)
      if (waiting[i] == 0) ready.push_back(i);
    for (size_t next = 0; next < ready.size(); ++next) {
      rank_[ready[next]] = next;
      for (const Node* child : engine.nodes[ready[next]].node->children)
        if (is_continuous(*child) && --waiting[place(*child)] == 0) ready.push_back(place(*child));
    }
  }

  size_t place(const Node& node) const noexcept {
    return std::lower_bound(positions_.begin(), positions_.end(), std::pair<size_t, size_t>{node.number, 0})
        ->second;
  }
  size_t rank(size_t place) const noexcept { return rank_[place]; }

 private:
  std::vector<std::pair<size_t, size_t>> positions_;  // node number and position
  std::vector<size_t> rank_;
};

class Builder {
 public:
  Builder(CgEngine& engine, const Extents& extents)
      : engine_(engine),
        tree_(*engine.tree),
        ranks_(engine),
        index_(engine.indexes.data()),
        number_(engine.numbers.data()),
        flag_(engine.flags.data()),
        potential_(engine.potentials.data()),
        term_(engine.terms.data()) {
    engine_.clique_at.assign(tree_.clique_count(), kNone);
    engine_.cliques.reserve(extents.cliques);
    engine_.accumulators.reserve(extents.components);
  }

  void build() {
    for (size_t c = 0; c < tree_.clique_count(); ++c)
      if (tree_.cliques[c]->has_continuous()) add_clique(*tree_.cliques[c]);
    for (CgNode& node : engine_.nodes) node.home = engine_.clique_at[placement(*node.node).home->position];
    for (size_t c = engine_.cliques.size(); c-- > 0;) {  // so that the children are in order
      CgClique& clique = engine_.cliques[c];
      if (clique.parent == kNone) continue;
      clique.next_sibling = engine_.cliques[clique.parent].first_child;
      engine_.cliques[clique.parent].first_child = c;
    }
    list_components();
    accumulator_components();
  }

 private:
  void add_clique(Clique& record) {
    engine_.clique_at[record.position] = engine_.cliques.size();
    CgClique clique;
    clique.clique = &record;
    clique.discrete = record.table.discrete_count;
    clique.count = record.table.continuous_count;
    clique.size = record.table.size;
    if (is_joined_to_parent(record)) {
      clique.parent = engine_.clique_at[record.parent->position];
      clique.component = engine_.cliques[clique.parent].component;
    } else {
      clique.component = engine_.components.size();
      engine_.components.emplace_back();
    }
    place_nodes(clique);
    add_potentials(clique);
    clique.regressions = take(number_, clique.size * record.table.cg_size);
    clique.densities = take(number_, clique.size);
    clique.factors = take(number_, clique.size * cg_size_for(clique.shared));
    clique.possible = take(flag_, clique.size);
    clique.collected = take(flag_, clique.size);
    engine_.cliques.push_back(clique);
  }

  template <class T>
  static T* take(T*& next, size_t count) noexcept {
    next += count;
    return next - count;
  }

  void place_nodes(CgClique& clique) {
    const NodeList& members = clique.clique->members();
    clique.nodes = take(index_, clique.count);
    size_t* next = clique.nodes;
    const auto add_those = [&](auto belongs) {
      size_t* first = next;
      for (const Node* member : members)
        if (is_continuous(*member) && belongs(member)) *next++ = ranks_.place(*member);
      std::sort(first, next, [&](size_t a, size_t b) { return ranks_.rank(a) < ranks_.rank(b); });
    };
    if (clique.parent == kNone) return add_those([](const Node*) { return true; });
    const NodeList& shared = clique.clique->parent_separator->members;
    add_those([&](const Node* member) { return shared.contains(member); });
    clique.shared = static_cast<size_t>(next - clique.nodes);
    add_those([&](const Node* member) { return !shared.contains(member); });
    const CgClique& parent = engine_.cliques[clique.parent];
    clique.in_parent = take(index_, clique.shared);
    for (size_t s = 0; s < clique.shared; ++s)
      clique.in_parent[s] = cg_position(engine_, parent, clique.nodes[s]);
    clique.parent_steps = steps_within(*parent.clique, *clique.clique);
  }

  // In topological order, so that a node comes after its parents.
  void add_potentials(CgClique& clique) {
    CgPotential* const first = potential_;
    for (const Node* node : clique.clique->potentials) {
      if (!takes_regression(*node)) continue;
      CgPotential& potential = *potential_++;
      potential.node = ranks_.place(*node);
      potential.position = cg_position(engine_, clique, potential.node);
      potential.steps = take(index_, clique.discrete);
      CgPotential::Term* const first_term = term_;
      for (const Node* parent : node->parents) {
        if (!is_continuous(*parent)) continue;
        term_->node = ranks_.place(*parent);
        term_->position = cg_position(engine_, clique, term_->node);
        ++term_;
      }
      potential.terms = {first_term, term_};
      engine_.nodes[potential.node].assigned = engine_.cliques.size();
    }
    clique.potentials = {first, potential_};
    std::sort(first, potential_, [&](const CgPotential& a, const CgPotential& b) {
      return ranks_.rank(a.node) < ranks_.rank(b.node);
    });
  }

  void list_components() {
    std::vector<size_t> first(engine_.components.size() + 1, 0);
    for (const CgClique& clique : engine_.cliques) ++first[clique.component + 1];
    std::partial_sum(first.begin(), first.end(), first.begin());
    for (size_t c = 0; c < engine_.components.size(); ++c) {
      size_t* const list = engine_.component_cliques.data();
      engine_.components[c].cliques = {list + first[c], list + first[c + 1]};
    }
    for (size_t c = 0; c < engine_.cliques.size(); ++c)
      engine_.component_cliques[first[engine_.cliques[c].component]++] = c;
  }

  void accumulator_components() {
    std::vector<size_t> accumulator_at(tree_.clique_count(), kNone);
    size_t pooled = 0;
    for (size_t c = 0; c < engine_.components.size(); ++c) {
      const Clique& root = *engine_.cliques[engine_.components[c].cliques.front()].clique;
      const Clique& target = accumulator_for(root);
      size_t& accumulator = accumulator_at[target.position];
      if (accumulator == kNone) {
        accumulator = engine_.accumulators.size();
        engine_.accumulators.push_back({tree_.cliques[target.position], {}});
        pooled += target.table.size;
      }
      engine_.accumulators[accumulator].components.push_back(c);
      engine_.components[c].accumulator_steps = steps_within(target, root);
    }
    engine_.applied.allocate_uninitialized(pooled);
    double* applied = engine_.applied.data();
    for (CgAccumulator& accumulator : engine_.accumulators)
      accumulator.applied = take(applied, accumulator.clique->table.size);
  }

  // For each discrete member of `outer`, its stride among the configurations of `inner`, which holds it.
  size_t* steps_within(const Clique& outer, const Clique& inner) {
    size_t* steps = take(index_, outer.table.discrete_count);
    std::fill_n(steps, outer.table.discrete_count, 0);
    size_t step = 1;
    for (size_t d = inner.table.discrete_count; d-- > 0; step *= inner.members()[d]->number_of_states)
      steps[outer.members().position(inner.members()[d])] = step;
    return steps;
  }

  CgEngine& engine_;
  const JunctionTree& tree_;
  Ranks ranks_;
  size_t* index_;
  double* number_;
  unsigned char* flag_;
  CgPotential* potential_;
  CgPotential::Term* term_;
};

void allocate_blocks(CgEngine& engine, const Extents& extents) {
  engine.component_cliques.resize(extents.cliques);
  engine.components.reserve(extents.components);
  engine.potentials.resize(extents.potentials);
  engine.terms.resize(extents.terms);
  engine.indexes.resize(extents.indexes);
  engine.numbers.allocate_uninitialized(extents.numbers);
  engine.flags.allocate(extents.flags);
  engine.weights.allocate_uninitialized(extents.largest_size);
  engine.totals.allocate_uninitialized(extents.largest_size);
  engine.block.allocate(extents.largest_block);
  engine.coefficients.allocate(extents.most_members);
  engine.path.resize(extents.cliques);
  engine.positions.resize(extents.most_discrete);
  engine.walk_steps.resize(extents.most_tables);
  engine.walk_offsets.resize(extents.most_tables);
}

}  // namespace

size_t cg_memory_needed(const JunctionTree& tree) noexcept {
  const Extents extents = extents_of(tree);
  size_t bytes = 0;
  const auto add = [&](size_t count, size_t size) { bytes = size_add(bytes, size_multiply(count, size)); };
  add(1, sizeof(CgEngine));
  add(extents.cliques, sizeof(CgClique) + 2 * sizeof(size_t));
  add(extents.components, sizeof(CgComponent) + sizeof(CgAccumulator) + sizeof(size_t));
  add(extents.nodes, sizeof(CgNode));
  add(tree.clique_count(), sizeof(size_t));
  add(extents.potentials, sizeof(CgPotential));
  add(extents.terms, sizeof(CgPotential::Term));
  add(extents.indexes + extents.most_discrete + 2 * extents.most_tables, sizeof(size_t));
  add(size_add(extents.numbers, extents.pooled), sizeof(double));
  add(extents.flags, 1);
  add(extents.largest_size, sizeof(float) + sizeof(double));
  add(extents.largest_block + extents.most_members, sizeof(double));
  return bytes;
}

tv_status_t create_cg_engine(TreeEngine& engine) {
  const JunctionTree& tree = *engine.tree;
  for (size_t c = 0; c < tree.clique_count(); ++c)
    if (!is_strongly_linked(*tree.cliques[c])) return tv_status_error;
  const Extents extents = extents_of(tree);
  if (size_multiply(extents.numbers, sizeof(double)) == kHugeSize) return tv_status_no_memory;
  auto cg = std::make_unique<CgEngine>();
  cg->tree = engine.tree;
  cg->discrete = &engine;
  cg->nodes.reserve(extents.nodes);
  for (Node* node : tree.nodes)
    if (is_continuous(*node)) cg->nodes.push_back({node});
  allocate_blocks(*cg, extents);
  Builder(*cg, extents).build();
  engine.cg = std::move(cg);
  return tv_status_none;
}

void refresh_cg_potentials(CgEngine& engine, CgClique& clique) noexcept {
  for (CgPotential& potential : clique.potentials) {
    const Node& node = *engine.nodes[potential.node].node;
    const Table* table = node.table.get();
    const size_t layout = table ? table->layout : kNone;
    if (layout == potential.layout) continue;
    potential.layout = layout;
    std::fill_n(potential.steps, clique.discrete, 0);
    if (!table) continue;
    size_t step = 1;
    for (size_t i = table->discrete_count; i-- > 0; step *= table->nodes[i]->number_of_states)
      potential.steps[clique.clique->members().position(table->nodes[i])] = step;
    const auto place = [&](const Node* member) {
      return table->nodes.position(member) - table->discrete_count;
    };
    const size_t own = place(&node);
    potential.intercept = cg_mean_index(own);
    potential.variance = cg_covariance_index(own, own);
    for (CgPotential::Term& term : potential.terms)
      term.slot = cg_covariance_index(own, place(engine.nodes[term.node].node));
  }
}

size_t cg_position(const CgEngine&, const CgClique& clique, size_t node) noexcept {
  const size_t* place = std::find(clique.nodes, clique.nodes + clique.count, node);
  return place == clique.nodes + clique.count ? kNone : static_cast<size_t>(place - clique.nodes);
}

CgWalk::CgWalk(CgEngine& engine, const Clique& clique, size_t tables) noexcept
    : clique_(clique),
      position_(engine.positions.data()),
      offsets_(engine.walk_offsets.data()),
      steps_(engine.walk_steps.data()),
      tables_(tables) {
  std::fill_n(position_, clique.table.discrete_count, 0);
  std::fill_n(offsets_, tables, 0);
}

void CgWalk::next() noexcept {
  ++index_;
  for (size_t d = clique_.table.discrete_count; d-- > 0;) {
    const size_t count = clique_.members()[d]->number_of_states;
    const bool wraps = ++position_[d] == count;
    for (size_t t = 0; t < tables_; ++t)
      offsets_[t] += wraps ? steps_[t][d] - count * steps_[t][d] : steps_[t][d];
    if (!wraps) return;
    position_[d] = 0;
  }
}

}  // namespace tv
