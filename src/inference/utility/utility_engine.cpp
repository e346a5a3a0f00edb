// Builds the utility engine of a tree: the lists that its cliques share, and memory for every message.

#include "inference/utility/utility_engine.h"

#include <algorithm>

#include "inference/engine.h"
#include "inference/utility/utility_view.h"

namespace tv {
namespace {

bool has_utilities(const JunctionTree& tree) noexcept {
  for (size_t c = 0; c < tree.clique_count(); ++c)
    for (const Node* node : tree.cliques[c]->potentials)
      if (node->category == tv_category_utility) return true;
  return false;
}

// The total length of each list over the cliques of a tree, and the most that one pass needs.
struct Sizes {
  size_t operands = 0, links = 0, homes = 0, indexes = 0, maps = 0, messages = 0, findings = 0, expected = 0;
  size_t pass_factors = 0, pass_terms = 0, pass_targets = 0, pass_moments = 0, totals = 0;
};

size_t states_of(const Node& node) noexcept {
  return node.category == tv_category_utility ? 2 : node.number_of_states;
}

void measure_clique(Sizes& sizes, const Clique& clique, size_t homes, size_t home_states) noexcept {
  const size_t members = clique.members().size(), tables = clique.potential_count();
  const size_t links = clique.links.size();
  sizes.operands += tables;
  sizes.links += links;
  sizes.homes += homes;
  sizes.findings += home_states;
  sizes.indexes += (2 + tables + links) * members;  // extents, dimensions; strides; positions
  sizes.maps += (tables + links + homes) * members;
  for (const Link& link : clique.links)
    sizes.messages = size_add(sizes.messages, size_multiply(link.separator->size, 2));
  sizes.pass_factors = std::max(sizes.pass_factors, tables + links + homes);
  sizes.pass_terms = std::max(sizes.pass_terms, tables + links);
  sizes.pass_targets = std::max(sizes.pass_targets, homes + 1);
  sizes.pass_moments = std::max(sizes.pass_moments, tables);
  sizes.totals = std::max(sizes.totals, 2 * home_states);
}

Sizes sizes_of(const JunctionTree& tree) noexcept {
  Sizes sizes;
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    const Clique& clique = *tree.cliques[c];
    size_t homes = 0, states = 0;
    for (const Node* member : clique.members())
      if (placement(*member).home == &clique) {
        ++homes;
        states += member->number_of_states;
      }
    measure_clique(sizes, clique, homes, states);
    for (const Node* node : clique.potentials)
      if (node->category == tv_category_utility) sizes.expected += states_of(*node);
  }
  for (const Node* node : tree.nodes) sizes.expected += states_of(*node);
  return sizes;
}

// Hands out consecutive parts of the lists.
struct Parts {
  UtilityOperand* operands;
  UtilityLink* links;
  UtilityMember* homes;
  size_t* indexes;
  size_t* steps;
  Dimension* nests;
  double* messages;
  int32_t* exponents;
  float* findings;

  size_t* take_indexes(size_t count, size_t value) noexcept {
    std::fill_n(indexes, count, value);
    indexes += count;
    return indexes - count;
  }
  void give(IndexMap& map, size_t dimensions) noexcept {
    map.steps = steps;
    map.inner = nests;
    steps += dimensions;
    nests += dimensions;
  }
};

void add_operands(UtilityClique& work, Parts& parts) noexcept {
  const size_t members = work.clique->members().size();
  UtilityOperand* const first = parts.operands;
  const auto add_operand = [&]() -> UtilityOperand& {
    UtilityOperand& operand = *parts.operands++;
    operand.strides = parts.take_indexes(members, 0);
    parts.give(operand.map, members);
    return operand;
  };
  for (Node* node : work.clique->potentials) add_operand().node = node;
  for (const Table* table : work.clique->more_potentials) add_operand().free_table = table;
  work.operands = {first, parts.operands};
}

void add_links(UtilityClique& work, Parts& parts) noexcept {
  const NodeList& members = work.clique->members();
  UtilityLink* const first = parts.links;
  for (const Link& link : work.clique->links) {
    UtilityLink& plan = *parts.links++;
    plan.neighbor = link.neighbor->position;
    plan.members = &link.separator->members;
    plan.member_of = parts.take_indexes(members.size(), kNone);
    for (size_t s = 0; s < plan.members->size(); ++s)
      plan.member_of[members.position((*plan.members)[s])] = s;
    parts.give(plan.map, members.size());
    plan.capacity = link.separator->size;
    plan.probability = parts.messages;
    plan.utility = parts.messages + plan.capacity;
    plan.exponents = parts.exponents;
    parts.messages += 2 * plan.capacity;
    parts.exponents += plan.capacity;
  }
  work.links = {first, parts.links};
}

// Sets for each end of a separator the link of the other clique that leads back.
void join_links(UtilityEngine& engine) {
  std::vector<size_t> in_parent(engine.cliques.size(), kNone), in_child(engine.cliques.size(), kNone);
  const auto is_child = [&](size_t c, size_t l) {
    return engine.cliques[c].clique->links[l].separator == engine.cliques[c].clique->parent_separator.get();
  };
  const auto child_of = [&](size_t c, size_t l) {
    return is_child(c, l) ? c : engine.cliques[c].links[l].neighbor;
  };
  for (size_t c = 0; c < engine.cliques.size(); ++c)
    for (size_t l = 0; l < engine.cliques[c].links.size(); ++l)
      (is_child(c, l) ? in_child : in_parent)[child_of(c, l)] = l;
  for (size_t c = 0; c < engine.cliques.size(); ++c)
    for (size_t l = 0; l < engine.cliques[c].links.size(); ++l)
      engine.cliques[c].links[l].back = (is_child(c, l) ? in_parent : in_child)[child_of(c, l)];
}

void add_homes(UtilityClique& work, Parts& parts) noexcept {
  const NodeList& members = work.clique->members();
  UtilityMember* const first = parts.homes;
  for (size_t m = 0; m < members.size(); ++m) {
    if (placement(*members[m]).home != work.clique) continue;
    UtilityMember& home = *parts.homes++;
    home.node = members[m];
    home.member = m;
    home.finding = parts.findings;
    parts.findings += members[m]->number_of_states;
    parts.give(home.map, members.size());
  }
  work.homes = {first, parts.homes};
}

void build_cliques(UtilityEngine& engine) noexcept {
  Parts parts = {engine.operands.data(),  engine.links.data(),
                 engine.homes.data(),     engine.indexes.data(),
                 engine.map_steps.data(), engine.map_nests.data(),
                 engine.messages.data(),  engine.message_exponents.data(),
                 engine.findings.data()};
  for (size_t c = 0; c < engine.cliques.size(); ++c) {
    UtilityClique& work = engine.cliques[c];
    work.clique = engine.tree->cliques[c];
    const size_t members = work.clique->members().size();
    work.shape.counts = parts.take_indexes(members, 0);
    work.dimension_of = parts.take_indexes(members, kNone);
    add_operands(work, parts);
    add_links(work, parts);
    add_homes(work, parts);
  }
}

void place_results(UtilityEngine& engine) noexcept {
  double* next = engine.expected.data();
  const auto give = [&](Node& node) {
    engine[node].expected_utility = next;
    next += states_of(node);
  };
  for (Node* node : engine.tree->nodes)
    if (node->category != tv_category_utility) give(*node);
  for (const UtilityOperand& operand : engine.operands)
    if (operand.is_utility()) give(*operand.node);
}

}  // namespace

std::unique_ptr<UtilityEngine> new_utility_engine(TreeEngine& probabilities) {
  const JunctionTree& tree = *probabilities.tree;
  if (!has_utilities(tree)) return nullptr;
  const Sizes sizes = sizes_of(tree);
  auto engine = std::make_unique<UtilityEngine>();
  engine->tree = &tree;
  engine->probabilities = &probabilities;
  engine->cliques.resize(tree.clique_count());
  engine->operands.resize(sizes.operands);
  engine->links.resize(sizes.links);
  engine->homes.resize(sizes.homes);
  engine->indexes.resize(sizes.indexes);
  engine->map_steps.resize(sizes.maps);
  engine->map_nests.resize(sizes.maps);
  engine->messages.allocate_uninitialized(sizes.messages);
  engine->message_exponents.allocate_uninitialized(sizes.messages / 2);
  engine->findings.allocate(sizes.findings);
  engine->expected.allocate(sizes.expected);
  engine->totals.allocate(sizes.totals);
  engine->total_exponents.allocate(sizes.totals);
  engine->pass.reserve(sizes.pass_factors, sizes.pass_terms, sizes.pass_targets, sizes.pass_moments);
  engine->path.reserve(tree.clique_count());
  build_cliques(*engine);
  join_links(*engine);
  place_results(*engine);
  return engine;
}

size_t utility_engine_bytes(const JunctionTree& tree) noexcept {
  if (!has_utilities(tree)) return 0;
  const Sizes sizes = sizes_of(tree);
  const size_t plans =
      sizeof(UtilityEngine) + tree.clique_count() * (sizeof(UtilityClique) + sizeof(size_t) * 2) +
      sizes.operands * sizeof(UtilityOperand) + sizes.links * sizeof(UtilityLink) +
      sizes.homes * sizeof(UtilityMember) + sizes.indexes * sizeof(size_t) +
      sizes.maps * (sizeof(size_t) + sizeof(Dimension)) +
      ProductPass::bytes(sizes.pass_factors, sizes.pass_terms, sizes.pass_targets, sizes.pass_moments);
  const size_t numbers = size_add(sizes.messages, sizes.expected + sizes.totals);
  const size_t exponents = size_add(sizes.messages / 2, sizes.totals);
  return size_add(
      plans + sizes.findings * sizeof(float),
      size_add(size_multiply(numbers, sizeof(double)), size_multiply(exponents, sizeof(int32_t))));
}

void attach_utilities(const JunctionTree& tree) noexcept {
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    Clique& clique = *tree.cliques[c];
    clique.utility_table->materialize = materialize_utilities;
    clique.utility_table->materialize_source = &clique;
  }
}

void detach_utilities(const JunctionTree& tree) noexcept {
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    Clique& clique = *tree.cliques[c];
    if (!clique.utility_table) continue;
    clique.utility_table->materialize = nullptr;
    clique.utility_table->data.reset();
  }
}

}  // namespace tv
