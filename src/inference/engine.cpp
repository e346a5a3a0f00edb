// Building the engines of a compiled domain: one block of numbers per tree, and room for every plan.

#include "inference/engine.h"

#include <algorithm>

#include "inference/materialize.h"
#include "inference/memory_need.h"
#include "inference/tape_cache.h"

namespace tv {
namespace {

void set_members(RestrictedTable& table, const NodeList& members, float*& numbers, size_t size) {
  table.members = &members;
  table.fixed.assign(members.size(), 2);  // neither fixed nor free: the first plan is always made
  table.dimension_of.assign(members.size(), kNone);
  table.counts.assign(members.size() + 1, 0);
  table.shape.counts = table.counts.data();
  table.numbers = numbers;
  numbers += size;
}

// Hands out the arrays of controls; with null arrays it only counts.
struct ControlRoom {
  size_t* steps = nullptr;
  Dimension* nests = nullptr;
  size_t used = 0;

  void give(Control& control, size_t dimensions) noexcept {
    if (steps) {
      control.steps = steps + used;
      control.inner = nests + used;
    }
    used += dimensions + 1;
  }
};

void give_controls(TreeEngine& engine, ControlRoom& room) noexcept {
  for (CliqueWork& work : engine.cliques) {
    const size_t members = work.table.members->size();
    room.give(work.scalar, members);
    for (PotentialPlan& plan : work.potentials) room.give(plan.control, members);
    for (LinkPlan& link : work.links) room.give(link.control, members);
    for (BeliefPlan& plan : work.beliefs) room.give(plan.control, members);
  }
  for (SeparatorWork& work : engine.separators)
    for (BeliefPlan& plan : work.beliefs) room.give(plan.control, work.old.members->size());
}

void add_links(TreeEngine& engine, CliqueWork& work) {
  const NodeList& members = *work.table.members;
  work.links.reserve(work.clique->links.size());
  for (const Link& link : work.clique->links) {
    LinkPlan plan;
    plan.member_of.reserve(members.size());
    plan.neighbor = link.neighbor->position;
    plan.separator = link.separator->child->position;
    for (const Node* member : members) {
      const size_t position = link.separator->members.position(member);
      plan.member_of.push_back(position == link.separator->members.size() ? kNone : position);
    }
    work.links.push_back(std::move(plan));
  }
  SeparatorWork& separator = engine.separators[work.clique->position];
  separator.separator = work.clique->parent_separator.get();
}

// Each end of a separator learns which link of the other clique leads back.
void join_links(TreeEngine& engine) {
  std::vector<size_t> in_parent(engine.cliques.size(), kNone), in_child(engine.cliques.size(), kNone);
  for (size_t c = 0; c < engine.cliques.size(); ++c)
    for (size_t l = 0; l < engine.cliques[c].links.size(); ++l) {
      const size_t separator = engine.cliques[c].links[l].separator;
      (separator == c ? in_child : in_parent)[separator] = l;
    }
  for (size_t c = 0; c < engine.cliques.size(); ++c)
    for (LinkPlan& link : engine.cliques[c].links)
      link.back = (link.separator == c ? in_parent : in_child)[link.separator];
}

void add_belief_plans(TreeEngine& engine) {
  for (Node* node : engine.tree->nodes) {
    const BeliefSource& source = compiled(*node).belief_source;
    if (source.separator) {
      SeparatorWork& work = engine.separators[source.separator->child->position];
      work.beliefs.push_back({node, source.separator->members.position(node), {}});
    } else {
      CliqueWork& work = engine.cliques[source.clique->position];
      work.beliefs.push_back({node, source.clique->members().position(node), {}});
    }
  }
}

void build_cliques(TreeEngine& engine) {
  const JunctionTree& tree = *engine.tree;
  engine.cliques.resize(tree.clique_count());
  engine.separators.resize(tree.clique_count());
  float* numbers = engine.numbers.data();
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    Clique& clique = *tree.cliques[c];
    CliqueWork& work = engine.cliques[c];
    work.clique = &clique;
    set_members(work.table, clique.members(), numbers, clique.table.size);
    work.potentials.reserve(clique.potentials.size());
    for (Node* node : clique.potentials) {
      if (node->category == tv_category_utility || is_real_valued_function(*node)) continue;
      PotentialPlan plan;
      plan.node = node;
      plan.members = &clique.members();
      plan.strides.assign(clique.members().size(), 0);
      work.potentials.push_back(std::move(plan));
    }
    work.findings.reserve(clique.members().size());
    work.beliefs.reserve(beliefs_read_from(clique));
    add_links(engine, work);
    clique.table.materialize = materialize_clique;
    clique.table.materialize_source = &clique;
    if (const Separator* separator = clique.parent_separator.get()) {
      set_members(engine.separators[c].old, separator->members, numbers, separator->size);
      engine.separators[c].beliefs.reserve(beliefs_read_from(*separator));
      engine.separators[c].ratio = numbers;
      numbers += separator->size;
    }
  }
}

void reserve_tape(TreeEngine& engine) {
  const TapeRoom room = room_for_tape(*engine.tree);
  engine.items.reserve(room.items);
  engine.steps.reserve(room.steps);
  engine.potential_steps.reserve(room.potential_steps);
  engine.finding_controls.reserve(room.findings);
  engine.finding_steps.resize(room.finding_dimensions);
  engine.finding_nests.resize(room.finding_dimensions);
}

void make_room(TreeEngine& engine) {
  size_t separator_size = 1, separator_sum = 1, belief_states = 1;
  for (const CliqueWork& work : engine.cliques) {
    size_t sum = 0, states = 0;
    for (const Link& link : work.clique->links) {
      separator_size = std::max(separator_size, link.separator->size);
      sum = size_add(sum, link.separator->size);
    }
    for (const BeliefPlan& plan : work.beliefs) states += plan.node->number_of_states;
    separator_sum = std::max(separator_sum, sum);
    belief_states = std::max(belief_states, states);
  }
  for (const SeparatorWork& work : engine.separators) {
    size_t states = 0;
    for (const BeliefPlan& plan : work.beliefs) states += plan.node->number_of_states;
    belief_states = std::max(belief_states, states);
  }
  engine.totals.allocate(std::max(separator_size, std::min(separator_sum, kSharedTotals)));
  engine.belief_totals.allocate(belief_states);
  reserve_tape(engine);
  engine.order.reserve(engine.cliques.size());
  engine.reached_by.resize(engine.cliques.size());
  engine.silent.assign(engine.cliques.size(), 0);
}

// Kept tapes may take an eighth of what the tables take, or this many bytes.
constexpr size_t kLeastTapeBudget = 1 << 20;

std::unique_ptr<TreeEngine> new_engine(JunctionTree& tree) {
  auto engine = std::make_unique<TreeEngine>();
  engine->tree = &tree;
  engine->domain = tree.domain;
  size_t ratios = 0;
  for (size_t c = 0; c < tree.clique_count(); ++c)
    if (tree.cliques[c]->parent_separator) ratios = size_add(ratios, tree.cliques[c]->parent_separator->size);
  engine->numbers.allocate_uninitialized(size_add(table_entries(tree), ratios));
  expect_large_block(engine->numbers.data(), engine->numbers.size() * sizeof(float));
  build_cliques(*engine);
  join_links(*engine);
  add_belief_plans(*engine);
  ControlRoom count;
  give_controls(*engine, count);
  engine->control_steps.resize(count.used);
  engine->control_nests.resize(count.used);
  ControlRoom room = {engine->control_steps.data(), engine->control_nests.data(), 0};
  give_controls(*engine, room);
  make_room(*engine);
  engine->pending.reserve(tree.nodes.size());
  engine->trail.reserve(4 * tree.nodes.size() + 2);
  engine->kept_tapes = std::make_unique<TapeCache>();
  engine->kept_tapes->prepare(tree.nodes.size(), std::max(kLeastTapeBudget, engine->numbers.size() / 2));
  apply_fixed_states(*engine);
  return engine;
}

// Beliefs, propagated findings and updates of all nodes, in one block.
Block<tv_number_t> node_numbers_for(const Forest& forest) {
  size_t states = 0;
  for (const JunctionTree& tree : forest.trees)
    for (const Node* node : tree.nodes) states = size_add(states, node->number_of_states);
  return Block<tv_number_t>(size_multiply(states, 3));
}

}  // namespace

TreeEngine::TreeEngine() = default;
TreeEngine::~TreeEngine() = default;

ParallelSettings parallel_settings(const Domain& domain) noexcept {
  return {domain.grain_size, domain.concurrency_level};
}

size_t table_entries(const JunctionTree& tree) noexcept {
  size_t entries = 0;
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    const Clique& clique = *tree.cliques[c];
    entries = size_add(entries, clique.table.size);
    if (clique.parent_separator) entries = size_add(entries, clique.parent_separator->size);
  }
  return entries;
}

TapeRoom room_for_tape(const JunctionTree& tree) noexcept {
  const size_t cliques = tree.clique_count(), nodes = tree.nodes.size();
  size_t potentials = 0, links = 0;
  for (size_t c = 0; c < cliques; ++c) {
    potentials += tree.cliques[c]->potentials.size() + 1;
    links += tree.cliques[c]->links.size();
  }
  TapeRoom room;
  room.items = 5 * cliques + links + nodes + 1;
  room.steps = 2 * potentials + 2 * links + 4 * cliques + 2 * nodes;
  room.potential_steps = 2 * potentials;
  room.findings = nodes;
  for (const Node* node : tree.nodes) room.finding_dimensions += compiled(*node).home->members().size();
  return room;
}

tv_status_t create_engines(Domain& domain) {
  Forest& forest = *domain.forest;
  for (const JunctionTree& tree : forest.trees)  // their arithmetic is not there yet
    if (tree.has_continuous) return tv_status_error;
  for (const JunctionTree& tree : forest.trees)
    if (table_entries(tree) == kHugeSize) return tv_status_no_memory;
  std::vector<std::unique_ptr<TreeEngine>> engines;
  for (JunctionTree& tree : forest.trees) engines.push_back(new_engine(tree));
  forest.node_numbers = node_numbers_for(forest);

  tv_number_t* next = forest.node_numbers.data();
  size_t t = 0;
  for (JunctionTree& tree : forest.trees) {
    for (Node* node : tree.nodes) {
      CompiledNode& data = compiled(*node);
      data.belief = next;
      data.propagated_finding = next + node->number_of_states;
      data.update = next + 2 * node->number_of_states;
      next += 3 * node->number_of_states;
    }
    tree.engine = {engines[t++].release(), [](TreeEngine* engine) { delete engine; }};
  }
  return tv_status_none;
}

void destroy_engines(Domain& domain) noexcept {
  Forest& forest = *domain.forest;
  for (JunctionTree& tree : forest.trees) {
    tree.engine.reset();
    for (size_t c = 0; c < tree.clique_count(); ++c) {
      tree.cliques[c]->table.materialize = nullptr;
      tree.cliques[c]->table.data.reset();
    }
  }
  for (CompiledNode& data : forest.nodes) data.belief = data.propagated_finding = data.update = nullptr;
  forest.node_numbers.reset();
}

}  // namespace tv
