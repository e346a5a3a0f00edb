// Allocates the engines of a compiled domain: one block of numbers and one arena of lists per tree.

#include "inference/engine.h"

#include <algorithm>

#include "inference/answers/clique_view.h"
#include "inference/compress/sparse_tree.h"
#include "inference/elimination/elimination_schedule.h"
#include "inference/evidence/evidence.h"
#include "inference/gaussian/cg_engine.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/schedule_cache.h"
#include "inference/utility/utility_engine.h"
#include "tables/kernels/parallel.h"

namespace tv {
namespace {

// The total length of each list over the cliques and separators of a tree.
struct ListSizes {
  size_t potentials = 0, links = 0, beliefs = 0, sizes = 0, members = 0, dimensions = 0;
  size_t totals = 1, belief_totals = 1, pass_totals = 0;
  ScheduleSize streamed;
};

bool takes_potential(const Node& node) noexcept {
  return is_discrete(node) && node.category != tv_category_utility;
}

// The sum of the states of all beliefs that are read from a table.
template <class Reads>
size_t states_of_beliefs(const NodeList& members, Reads reads) noexcept {
  size_t states = 0;
  for (const Node* node : members)
    if (reads(placement(*node).belief_source())) states = size_add(states, node->number_of_states);
  return states;
}

// Accumulators for the largest separator, or for as many together as pay; for all beliefs that are read from
// one table; for the parts of a pass over the largest clique.
void add_totals(ListSizes& sizes, const Clique& clique) noexcept {
  size_t around = 0;
  for (const Link& link : clique.links) {
    sizes.totals = std::max(sizes.totals, stored_size(*link.separator));
    around = size_add(around, stored_size(*link.separator));
  }
  sizes.totals = std::max(sizes.totals, std::min(around, limits.shared_totals));
  sizes.pass_totals = std::max(sizes.pass_totals, private_totals_for(stored_size(clique)));
  const size_t own = states_of_beliefs(clique.members(), [&](const BeliefSource& source) {
    return !source.separator && source.clique == &clique;
  });
  sizes.belief_totals = std::max(sizes.belief_totals, own);
  const Separator* separator = clique.parent_separator.get();
  if (!separator) return;
  const size_t between = states_of_beliefs(
      separator->members, [&](const BeliefSource& source) { return source.separator == separator; });
  sizes.belief_totals = std::max(sizes.belief_totals, between);
}

ListSizes list_sizes(const JunctionTree& tree) noexcept {
  ListSizes sizes;
  sizes.streamed = streamed_size(tree);
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    const Clique& clique = *tree.cliques[c];
    const size_t members = clique.members().size(), potentials = clique.potential_count();
    add_totals(sizes, clique);
    sizes.potentials += potentials;
    sizes.links += clique.links.size();
    sizes.sizes += (1 + potentials) * members;             // extents; strides of each potential
    sizes.members += (1 + clique.links.size()) * members;  // findings; positions for each link
    sizes.dimensions += members;
    if (!clique.parent_separator) continue;
    sizes.sizes += clique.parent_separator->members.size();
    sizes.dimensions += clique.parent_separator->members.size();
  }
  sizes.beliefs = tree.nodes.size();
  return sizes;
}

// Hands out consecutive parts of the lists of a tree.
struct Parts {
  CliquePotential* potentials;
  CliqueLink* links;
  BeliefMarginal* beliefs;
  size_t* sizes;
  MemberIndex* members;
  unsigned char* dimensions;
  float* numbers;

  size_t* take_sizes(size_t count) noexcept {
    sizes += count;
    return sizes - count;
  }
  MemberIndex* take_members(size_t count) noexcept {
    std::fill_n(members, count, kNoMember);
    members += count;
    return members - count;
  }
  float* take_numbers(size_t count) noexcept {
    numbers += count;
    return numbers - count;
  }
  unsigned char* take_dimensions(size_t count) noexcept {
    std::fill_n(dimensions, count, ReducedTable::kUnplanned);
    dimensions += count;
    return dimensions - count;
  }
};

void set_members(ReducedTable& table, const NodeList& members, Parts& parts, size_t size) noexcept {
  table.members = &members;
  table.dimension_of = parts.take_dimensions(members.size());
  table.shape.counts = parts.take_sizes(members.size());
  if (size) table.numbers = parts.take_numbers(size);
}

void add_potentials(CliqueWork& work, Parts& parts) noexcept {
  const NodeList& members = work.clique->members();
  CliquePotential* const first = parts.potentials;
  const auto add_plan = [&]() -> CliquePotential& {
    CliquePotential& plan = *parts.potentials++;
    plan.members = &members;
    plan.strides = parts.take_sizes(members.size());
    return plan;
  };
  for (Node* node : work.clique->potentials) {
    if (!takes_potential(*node)) continue;
    CliquePotential& plan = add_plan();
    plan.owner = node;
    refresh_potential(plan);
    if (work.lazy && !work.sparse) plan.copy = parts.take_numbers(potential_entries(members, *node));
  }
  for (const Table* table : work.clique->more_potentials) {
    CliquePotential& plan = add_plan();
    plan.has_owner = false;
    plan.free_table = table;
    refresh_potential(plan);
  }
  work.potentials = {first, parts.potentials};
}

void add_links(CliqueWork& work, Parts& parts) noexcept {
  const NodeList& members = work.clique->members();
  work.links = {parts.links, work.clique->links.size()};
  parts.links += work.links.size();
  for (size_t l = 0; l < work.links.size(); ++l) {
    const Link& link = work.clique->links[l];
    CliqueLink& plan = work.links[l];
    plan.neighbor = static_cast<uint32_t>(link.neighbor->position);
    plan.separator = static_cast<uint32_t>(link.separator->child->position);
    plan.member_of = parts.take_members(members.size());
    for (size_t s = 0; s < link.separator->members.size(); ++s)
      plan.member_of[members.position(link.separator->members[s])] = static_cast<MemberIndex>(s);
    if (work.lazy) plan.received = parts.take_numbers(stored_size(*link.separator));
  }
}

// The members of a table whose belief is read from it.
template <class Reads>
std::span<BeliefMarginal> add_beliefs(const NodeList& members, Parts& parts, Reads reads) noexcept {
  BeliefMarginal* const first = parts.beliefs;
  for (size_t m = 0; m < members.size(); ++m)
    if (is_discrete(*members[m]) && reads(placement(*members[m]).belief_source())) {
      parts.beliefs->node = members[m];
      parts.beliefs->member = m;
      ++parts.beliefs;
    }
  return {first, parts.beliefs};
}

// Sets for each end of a separator the link of the other clique that leads back.
void join_links(TreeEngine& engine) {
  std::vector<size_t> in_parent(engine.cliques.size(), kNone), in_child(engine.cliques.size(), kNone);
  for (size_t c = 0; c < engine.cliques.size(); ++c)
    for (size_t l = 0; l < engine.cliques[c].links.size(); ++l) {
      const size_t separator = engine.cliques[c].links[l].separator;
      (separator == c ? in_child : in_parent)[separator] = l;
    }
  for (size_t c = 0; c < engine.cliques.size(); ++c)
    for (CliqueLink& link : engine.cliques[c].links)
      link.back = static_cast<uint32_t>((link.separator == c ? in_parent : in_child)[link.separator]);
}

void build_clique(TreeEngine& engine, size_t position, Parts& parts) noexcept {
  Clique& clique = *engine.tree->cliques[position];
  CliqueWork& work = engine.cliques[position];
  work.clique = &clique;
  work.lazy = prefers_factors(clique);
  if (const SparseTree* const sparse = engine.tree->sparse.get())
    work.sparse = sparse->cliques[position].get();
  if (work.sparse) work.table.sparse = &work.sparse->table;
  engine.has_lazy |= work.lazy;
  set_members(work.table, clique.members(), parts, work.lazy ? 0 : stored_size(clique));
  work.findings.members = parts.take_members(clique.members().size());
  add_potentials(work, parts);
  add_links(work, parts);
  work.beliefs = add_beliefs(clique.members(), parts, [&](const BeliefSource& source) {
    return !source.separator && source.clique == &clique;
  });
  const Separator* separator = clique.parent_separator.get();
  if (!separator) return;
  SeparatorWork& between = engine.separators[position];
  between.separator = clique.parent_separator.get();
  if (const SparseTree* const sparse = engine.tree->sparse.get())
    between.old.sparse = sparse->separators[position].get();
  set_members(between.old, separator->members, parts, stored_size(*separator));
  between.beliefs = add_beliefs(separator->members, parts,
                                [&](const BeliefSource& source) { return source.separator == separator; });
  between.ratio = parts.take_numbers(stored_size(*separator));
}

// Calls visit(list, size) for every list of an engine, those of larger alignment first.
template <class Visit>
void for_each_list(TreeEngine& engine, const JunctionTree& tree, const ListSizes& sizes, Visit visit) {
  const size_t cliques = tree.clique_count(), nodes = tree.nodes.size();
  visit(engine.cliques, cliques);
  visit(engine.separators, cliques);
  visit(engine.clique_potentials, sizes.potentials);
  visit(engine.clique_links, sizes.links);
  visit(engine.belief_marginals, sizes.beliefs);
  visit(engine.sizes, sizes.sizes);
  visit(engine.totals, sizes.totals);
  visit(engine.belief_totals, sizes.belief_totals);
  visit(engine.pass_totals, sizes.pass_totals);
  engine.streamed.for_each_list(sizes.streamed, visit);
  visit(engine.buffers, kFirstPotential + std::max(sizes.potentials, nodes));
  visit(engine.bound_steps, sizes.streamed.steps);
  visit(engine.order, cliques);
  visit(engine.reached_by, cliques);
  visit(engine.pending, nodes);
  visit(engine.former_states, nodes);
  visit(engine.evidence, nodes);
  visit(engine.changed, nodes);
  visit(engine.targets, nodes);
  visit(engine.trail, 2 * nodes);
  visit(engine.clique_factors, cliques);
  visit(engine.marked, cliques);
  visit(engine.measured, cliques);
  visit(engine.members, sizes.members);
  visit(engine.dimensions, sizes.dimensions);
  visit(engine.barren, cliques);
  visit(engine.has_sent, cliques);
}

size_t list_bytes(const JunctionTree& tree, const ListSizes& sizes) noexcept {
  TreeEngine none;
  size_t bytes = 0;
  for_each_list(none, tree, sizes, [&](auto& list, size_t length) {
    bytes = size_add(bytes, size_multiply(length, sizeof(*list.data())));
  });
  return bytes;
}

void make_lists(TreeEngine& engine, const ListSizes& sizes) {
  engine.memory.reset(new unsigned char[list_bytes(*engine.tree, sizes)]);
  unsigned char* next = engine.memory.get();
  for_each_list(engine, *engine.tree, sizes, [&](auto& list, size_t length) {
    list.start(next);
    next += length * sizeof(*list.data());
  });
  const size_t cliques = engine.tree->clique_count();
  engine.cliques.fill(cliques);
  engine.separators.fill(cliques);
  engine.clique_potentials.fill(sizes.potentials);
  engine.clique_links.fill(sizes.links);
  engine.belief_marginals.fill(sizes.beliefs);
  engine.sizes.fill(sizes.sizes);
  engine.totals.take(sizes.totals);
  engine.belief_totals.take(sizes.belief_totals);
  engine.pass_totals.take(sizes.pass_totals);
  engine.reached_by.fill(cliques, kNone);
  engine.clique_factors.fill(cliques, 1.0f);
  engine.barren.fill(cliques);
  engine.has_sent.fill(cliques);
}

void build_cliques(TreeEngine& engine) {
  make_lists(engine, list_sizes(*engine.tree));
  Parts parts = {engine.clique_potentials.data(),
                 engine.clique_links.data(),
                 engine.belief_marginals.data(),
                 engine.sizes.data(),
                 engine.members.data(),
                 engine.dimensions.data(),
                 engine.numbers.data()};
  for (size_t c = 0; c < engine.cliques.size(); ++c) build_clique(engine, c, parts);
  // Tables of utilities are no potentials here.
  engine.clique_potentials.shrink(static_cast<size_t>(parts.potentials - engine.clique_potentials.data()));
}

// Cached schedules may take a quarter of the memory of full tables, or a minimum for all trees together.
size_t schedule_budget(const JunctionTree& tree) noexcept {
  const double share =
      static_cast<double>(tree.nodes.size()) / static_cast<double>(tree.domain->forest->participants);
  const auto least = static_cast<size_t>(share * static_cast<double>(limits.least_cache_bytes));
  return std::max(least, table_entries(tree) * sizeof(float) / 4);
}

// Beliefs, propagated findings and likelihood ratios of all nodes, in one block.
Block<tv_number_t> node_numbers_for(const Forest& forest) {
  size_t states = 0;
  for (const JunctionTree& tree : forest.trees)
    for (const Node* node : tree.nodes) states = size_add(states, node->number_of_states);
  return Block<tv_number_t>(size_multiply(states, 3));
}

}  // namespace

InferenceState::InferenceState() = default;
InferenceState::~InferenceState() = default;
TreeEngine::TreeEngine() = default;
TreeEngine::~TreeEngine() = default;
TreeEngine::TreeEngine(TreeEngine&&) noexcept = default;
TreeEngine& TreeEngine::operator=(TreeEngine&&) noexcept = default;

ParallelSettings parallel_settings(const Domain& domain) noexcept {
  return {domain.grain_size, usable_threads(domain.concurrency_level)};
}

size_t table_entries(const JunctionTree& tree) noexcept {
  size_t entries = 0;
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    const Clique& clique = *tree.cliques[c];
    if (clique.members().size() >= kNoMember) return kHugeSize;
    entries = size_add(entries, stored_size(clique));
    if (clique.parent_separator) entries = size_add(entries, stored_size(*clique.parent_separator));
  }
  return entries;
}

size_t stored_entries(const JunctionTree& tree) noexcept {
  size_t entries = 0;
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    const Clique& clique = *tree.cliques[c];
    entries = size_add(entries, prefers_factors(clique) ? factor_entries(clique) : stored_size(clique));
    if (clique.parent_separator)
      entries = size_add(entries, size_multiply(stored_size(*clique.parent_separator), 2));
  }
  return entries;
}

size_t list_bytes(const JunctionTree& tree) noexcept { return list_bytes(tree, list_sizes(tree)); }

std::unique_ptr<TreeEngine> make_engine(InferenceState& state, const JunctionTree& tree) {
  auto engine = std::make_unique<TreeEngine>();
  engine->tree = &tree;
  engine->domain = tree.domain;
  engine->state = &state;
  engine->nodes = state.nodes.data();
  engine->numbers.allocate_uninitialized(stored_entries(tree));
  expect_large_block(engine->numbers.data(), engine->numbers.size() * sizeof(float));
  build_cliques(*engine);
  join_links(*engine);
  engine->buffers.fill(kFirstPotential);
  engine->buffers[kTables] = engine->numbers.data();
  engine->buffers[kNodeNumbers] = state.numbers.data();
  engine->buffers[kCliqueFactors] = engine->clique_factors.data();
  engine->buffers[kInverseOfMass] = &engine->inverse;
  if (tree.sparse) engine->buffers[kInitialTables] = tree.sparse->initial.numbers.data();
  for (size_t c = 0; c < tree.clique_count(); ++c)
    engine->entries += static_cast<double>(stored_size(*tree.cliques[c]));
  engine->schedules = std::make_unique<ScheduleCache>();
  engine->schedules->prepare(
      tree.nodes.size(), schedule_budget(tree),
      state.is_own() ? std::make_shared<SharedSchedules>() : engine_of(tree).schedules->shared());
  apply_observed_states(*engine);
  engine->utilities = new_utility_engine(*engine);
  return engine;
}

tv_status_t create_engines(InferenceState& state) {
  Domain& domain = *state.domain;
  Forest& forest = *domain.forest;
  for (const JunctionTree& tree : forest.trees)
    if (table_entries(tree) == kHugeSize) return tv_status_no_memory;
  state.nodes.resize(forest.nodes.size());
  for (Node& node : domain.nodes)
    state[node].entered = state.is_own() ? &node.entered : &state.entered[node.number - 1];
  state.trees.reserve(forest.tree_count);
  state.numbers = node_numbers_for(forest);
  tv_number_t* next = state.numbers.data();
  for (const JunctionTree& tree : forest.trees) {
    for (Node* node : tree.nodes) {
      state[*node].belief = next;
      next += 3 * node->number_of_states;
    }
    state.trees.push_back(make_engine(state, tree));
    TreeEngine& engine = *state.trees.back();
    for (Node* node : tree.nodes)
      if (evidence_is_entered(*node, engine.entered(*node))) list_evidence(engine, *node);
    if (!tree.has_continuous) continue;
    if (tv_status_t status = create_cg_engine(engine)) return status;
  }
  return tv_status_none;
}

tv_status_t create_engines(Domain& domain) {
  Forest& forest = *domain.forest;
  std::unique_ptr<InferenceState> state = std::make_unique<InferenceState>();
  state->domain = &domain;
  if (tv_status_t status = create_engines(*state)) return status;
  forest.state = {state.release(), [](InferenceState* own) { delete own; }};
  for (JunctionTree& tree : forest.trees) {
    tree.engine = forest.state->trees[tree.position].get();
    for (size_t c = 0; c < tree.clique_count(); ++c) {
      tree.cliques[c]->table.materialize = materialize_clique;
      tree.cliques[c]->table.materialize_source = tree.cliques[c];
    }
    if (tree.engine->utilities) attach_utilities(tree);
  }
  return tv_status_none;
}

void destroy_engines(Domain& domain) noexcept {
  Forest& forest = *domain.forest;
  for (JunctionTree& tree : forest.trees) {
    tree.engine = nullptr;
    detach_utilities(tree);
    for (size_t c = 0; c < tree.clique_count(); ++c) {
      tree.cliques[c]->table.materialize = nullptr;
      tree.cliques[c]->table.data.reset();
      tree.cliques[c]->table.cg_data.reset();
    }
  }
  forest.state.reset();
}

}  // namespace tv
