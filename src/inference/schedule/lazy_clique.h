// Large cliques without a table. The table of such a clique is the product of its potentials, of the messages
// that it has received and of its findings; each pass forms that product anew, block by block in the nearest
// cache, and sums it there. The factors are small, so that neither writing nor reading the clique costs any
// memory, at the price of multiplying twice.
#pragma once

#include "inference/engine.h"

namespace tv {

// Whether a clique is large and has few and small factors.
bool prefers_factors(const Clique& clique) noexcept;

// Entries of the potential of `node` over the members of its clique.
size_t potential_entries(const NodeList& members, const Node& node) noexcept;

// Entries of the copies of potentials and of the messages that such a clique keeps.
size_t factor_entries(const Clique& clique) noexcept;

// Calls visit(step) for every factor of the clique, those for which `holds(link)` is true among the messages.
// The first one is assigned, the others multiply. Their maps are made by `maps`, an object with the
// functions of_potential(plan), of_link(link), of_member(member) and scalar().
template <class Holds, class IndexMaps, class Visit>
void for_each_factor(const CliqueWork& work, Holds holds, IndexMaps maps, Visit visit);

// Copies the entries of the potential that agree with the states that are fixed now.
void copy_potential(const PotentialPlan& plan) noexcept;

// Where a message is to be formed: with the receiver where that needs nothing else, or in the separator.
float* place_of_message(const CliqueWork& receiver, const LinkPlan& link,
                        const SeparatorWork& separator) noexcept;

// The message that was formed there becomes a factor of its receiver, or of the factor that came through the
// same link before.
void keep_message(const CliqueWork& receiver, LinkPlan& link, const SeparatorWork& separator,
                  size_t size) noexcept;

// Cuts the clique's copies of potentials down to the states that become fixed.
void reduce_potentials(const CliqueWork& work) noexcept;

// From now on the clique's table is stored. Its numbers, if it has any, are to be formed by the caller.
void store_table(CliqueWork& work);

// The same for all cliques of a tree; those that have numbers keep them.
void materialize_all_tables(TreeEngine& engine);

// Runs a pass over the clique's table as its factors make it: forms the table in `numbers` where given, and
// carries `last` out on it where given. The plans are those of the states that are fixed now.
void run_over_factors(const CliqueWork& work, float* numbers, const Step* last);

template <class Holds, class IndexMaps, class Visit>
void for_each_factor(const CliqueWork& work, Holds holds, IndexMaps maps, Visit visit) {
  StepKind operation = StepKind::assign;
  bool has_array = false;
  const auto add = [&](const IndexMap& map, const float* operand) {
    visit(Step{operation, &map, operand});
    operation = StepKind::multiply;
  };
  for (const PotentialPlan& plan : work.potentials) {
    const bool has_table = plan.layout != kNone;
    add(has_table ? maps.of_potential(plan) : maps.scalar(), has_table ? plan.copy : &plan.uniform);
    has_array |= has_table;
  }
  for (const LinkPlan& link : work.links) {
    if (!holds(link)) continue;
    add(maps.of_link(link), link.received);
    has_array = true;
  }
  if (!has_array) add(maps.scalar(), &work.constant);
  for (size_t m = 0; m < work.table.members->size(); ++m) {
    const Node& node = *(*work.table.members)[m];
    const CompiledNode& data = compiled(node);
    if (data.home != work.clique || data.propagated_state != kFindingVector) continue;
    add(maps.of_member(m), propagated_finding(node));
  }
}

}  // namespace tv
