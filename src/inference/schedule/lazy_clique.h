// Lazy propagation in large cliques. The potential of such a clique is not materialised but kept as its
// factors: potentials, received messages and findings. Each pass forms their product block by block in the
// nearest cache and sums it there. The factors are small, so that no memory traffic is spent on writing and
// reading the clique's table, at the price of multiplying twice.
#pragma once

#include "inference/engine.h"

namespace tv {

// Whether a clique is large and has few and small factors.
bool prefers_factors(const Clique& clique) noexcept;

// Whether the clique's table is sparse.
bool is_sparse(const Clique& clique) noexcept;

// The numbers of a sparse clique without evidence.
const float* initial_numbers(const TreeEngine& engine, const CliqueWork& work) noexcept;

// Whether the finding of a node multiplies tables, instead of reducing them.
inline bool has_finding_vector(const TreeEngine& engine, const NodeState& data) noexcept {
  return engine.tree->sparse ? data.propagated_state != kNoEvidence : data.propagated_state == kFindingVector;
}

// The place of a link in its clique's list.
inline size_t position_of(const CliqueWork& work, const CliqueLink& link) noexcept {
  return static_cast<size_t>(&link - work.links.data());
}

// Entries of the potential of `node` over the members of its clique.
size_t potential_entries(const NodeList& members, const Node& node) noexcept;

// Entries of the copies of potentials and of the messages that such a clique stores.
size_t factor_entries(const Clique& clique) noexcept;

// Calls visit(kind, map, buffer, numbers) for every factor of the clique: all potentials and findings, and
// the messages for which `holds(link)` is true; a sparse clique's table without evidence stands for its
// potentials. The first factor is assigned, the others multiply. `maps` makes their index maps by
// of_potential(plan), of_link(link), of_member(member), entries() and scalar().
template <class Holds, class IndexMaps, class Visit>
void for_each_factor(const TreeEngine& engine, const CliqueWork& work, Holds holds, IndexMaps maps,
                     Visit visit);

// Copies the entries of the potential that agree with the observed states, from the first one on.
void copy_potential(const TreeEngine& engine, const CliquePotential& plan, const float* entries) noexcept;

// The buffer in which a message is to be formed: the receiver's own where it is lazy and has none through
// this link yet, otherwise the separator's.
float* message_buffer(const CliqueWork& receiver, const CliqueLink& link,
                      const SeparatorWork& separator) noexcept;

// Absorbs the message that was formed there: it becomes a factor of its lazy receiver, or is multiplied into
// the one that came through the same link before.
void absorb_message(const CliqueWork& receiver, CliqueLink& link, const SeparatorWork& separator,
                    size_t size) noexcept;

// Reduces the clique's copies of potentials by the states that become observed.
void reduce_potentials(const TreeEngine& engine, const CliqueWork& work) noexcept;

// From now on the clique has a stored table. Its numbers, if it is initialised, are to be formed by the
// caller.
void store_table(TreeEngine& engine, CliqueWork& work);

// Materialises the tables of all lazy cliques of a tree.
void materialize_all_tables(TreeEngine& engine);

// Runs a pass over the product of the clique's factors: stores it in `numbers` if given, and carries out
// `last` on it if given. Shapes must be those of the present observed states.
void run_over_factors(const TreeEngine& engine, const CliqueWork& work, float* numbers, const Step* last);

template <class Holds, class IndexMaps, class Visit>
void for_each_factor(const TreeEngine& engine, const CliqueWork& work, Holds holds, IndexMaps maps,
                     Visit visit) {
  StepKind operation = StepKind::assign;
  bool has_array = work.sparse != nullptr;
  const auto add = [&](const auto& map, FactorBuffer buffer, const float* numbers) {
    visit(operation, map, buffer, numbers);
    operation = StepKind::multiply;
  };
  if (work.sparse) {
    add(maps.entries(), kInitialTables, initial_numbers(engine, work));
    add(maps.scalar(), kCliqueFactors, &engine.clique_factors[work.clique->position]);
  }
  for (const CliquePotential& plan : work.potentials) {
    if (work.sparse) break;  // its table without evidence holds them
    const bool has_table = plan.layout != kNone;
    if (has_table)
      add(maps.of_potential(plan), kTables, plan.copy);
    else
      add(maps.scalar(), kConstants, &plan.uniform);
    has_array |= has_table;
  }
  for (const CliqueLink& link : work.links) {
    if (!holds(link)) continue;
    add(maps.of_link(link), kTables, link.received);
    has_array = true;
  }
  if (!has_array) add(maps.scalar(), kCliqueFactors, &engine.clique_factors[work.clique->position]);
  for (size_t m = 0; m < work.table.members->size(); ++m) {
    const Node& node = *(*work.table.members)[m];
    const NodeState& data = engine[node];
    if (placement(node).home != work.clique || !has_finding_vector(engine, data)) continue;
    add(maps.of_member(m), kNodeNumbers, engine.propagated_finding(node));
  }
}

}  // namespace tv
