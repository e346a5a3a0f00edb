// Scatters the expected utilities of a clique over its full table.

#include "inference/utility/utility_view.h"

#include <algorithm>

#include "inference/engine.h"
#include "inference/utility/utility_engine.h"

namespace tv {
namespace {

// Calls `visit` with the position of each entry of the clique's present shape in the full table, in order.
template <class Visit>
void for_each_entry(const UtilityEngine& engine, const UtilityClique& work, Visit visit) {
  const NodeList& members = work.clique->members();
  std::vector<size_t> strides(work.shape.dimensions);
  size_t stride = 1, place = 0;
  for (size_t m = members.size(); m-- > 0; stride *= members[m]->number_of_states) {
    if (work.dimension_of[m] != kNone) strides[work.dimension_of[m]] = stride;
    if (const ptrdiff_t known = engine[*members[m]].known_state; known > 0)
      place += stride * static_cast<size_t>(known);
  }
  std::vector<size_t> position(work.shape.dimensions, 0);
  for (size_t i = 0; i < work.shape.size; ++i) {
    visit(place);
    for (size_t d = work.shape.dimensions; d-- > 0;) {
      place += strides[d];
      if (++position[d] < work.shape.counts[d]) break;
      place -= strides[d] * work.shape.counts[d];
      position[d] = 0;
    }
  }
}

// The operand's entry for a configuration of the full table.
size_t entry_of(const UtilityClique& work, const UtilityOperand& operand, size_t configuration) noexcept {
  const NodeList& members = work.clique->members();
  size_t entry = 0;
  for (size_t m = members.size(); m-- > 0; configuration /= members[m]->number_of_states)
    entry += operand.strides[m] * (configuration % members[m]->number_of_states);
  return entry;
}

void add_own_utilities(const UtilityEngine& engine, UtilityClique& work, Table& full) noexcept {
  for (UtilityOperand& operand : work.operands) {
    if (!operand.is_utility() || !counts(engine, operand)) continue;
    refresh_operand(work, operand);
    for (size_t i = 0; i < full.size; ++i) full.data[i] += operand.table()->data[entry_of(work, operand, i)];
  }
}

void scatter_utilities(UtilityEngine& engine, size_t clique, Table& full) {
  UtilityClique& work = engine.cliques[clique];
  OwnIndexMap whole(work.shape.dimensions);
  size_t stride = 1;
  for (size_t d = work.shape.dimensions; d-- > 0; stride *= work.shape.counts[d]) whole.steps[d] = stride;
  finish_index_map(whole, work.shape);
  Block<double> masses(work.shape.size), utilities(work.shape.size);
  Block<int32_t> exponents(work.shape.size);
  prepare_pass(engine, clique, {});
  engine.pass.targets.push_back({&whole, masses.data(), utilities.data(), exponents.data()});
  engine.pass.run(work.shape);
  size_t i = 0;
  for_each_entry(engine, work, [&](size_t place) {
    if (masses[i] > 0.0) full.data[place] = static_cast<tv_number_t>(utilities[i] / masses[i]);
    ++i;
  });
}

}  // namespace

tv_status_t materialize_utilities(Table& table) {
  const Clique& clique = *static_cast<const Clique*>(table.materialize_source);
  UtilityEngine& engine = *clique.tree->engine->utilities;
  UtilityClique& work = engine.cliques[clique.position];
  if (has_data(table) && work.materialized == engine.version) return tv_status_none;
  if (engine.saved_tables.are_lost) return tv_status_no_equilibrium;
  if (!has_data(table)) table.data.allocate_uninitialized(table.size);
  std::fill(table.data.begin(), table.data.end(), 0.0f);
  work.materialized = kNone;  // should memory run out on the way
  if (engine.stale) {
    add_own_utilities(engine, work, table);
  } else {
    const FormerNumbers numbers(engine.saved_tables,
                                [&](size_t place) { return engine.operands[place].node->table.get(); });
    scatter_utilities(engine, clique.position, table);
  }
  work.materialized = engine.version;
  return tv_status_none;
}

}  // namespace tv
