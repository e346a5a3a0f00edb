// Spreading a restricted clique table over the full one.

#include "inference/materialize.h"

#include <algorithm>

#include "inference/engine.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

void spread(const RestrictedTable& table, const Block<tv_number_t>& full) noexcept {
  Dimension nest[64];
  size_t count = 0, offset = 0, stride = 1, restricted_stride = 1;
  for (size_t m = table.members->size(); m-- > 0;) {
    const Node& node = *(*table.members)[m];
    if (table.fixed[m]) offset += static_cast<size_t>(compiled(node).fixed_state) * stride;
    if (table.dimension_of[m] != kNone) {
      nest[count++] = {node.number_of_states, stride, restricted_stride};
      restricted_stride *= node.number_of_states;
    }
    stride *= node.number_of_states;
  }
  std::reverse(nest, nest + count);
  std::fill(full.begin(), full.end(), 0.0f);
  kernels().assign(nest, count, full.data() + offset, table.numbers);
}

// Clears the entries that contradict a known state.
void instantiate(const Block<tv_number_t>& full, size_t stride, size_t states, size_t known) noexcept {
  for (size_t start = 0; start < full.size(); start += stride * states)
    for (size_t state = 0; state < states; ++state)
      if (state != known) std::fill_n(full.begin() + start + state * stride, stride, 0.0f);
}

// The states of required instantiations are part of the tables from the start.
void instantiate_known_members(const NodeList& members, const Block<tv_number_t>& full) noexcept {
  size_t stride = 1;
  for (size_t m = members.size(); m-- > 0; stride *= members[m]->number_of_states)
    if (const ptrdiff_t state = compiled(*members[m]).propagated_state; state >= 0)
      instantiate(full, stride, members[m]->number_of_states, static_cast<size_t>(state));
}

tv_status_t multiply_potentials(const CliqueWork& work, Table& full) {
  std::fill(full.data.begin(), full.data.end(), 1.0f);
  for (const PotentialPlan& plan : work.potentials) {
    if (const Table* table = plan.table()) {
      if (tv_status_t status = multiply_table(full, *table)) return status;
    } else {
      kernels().scale(full.data.data(), full.size, static_cast<double>(plan.uniform));
    }
  }
  instantiate_known_members(*work.table.members, full.data);
  return tv_status_none;
}

}  // namespace

tv_status_t materialize_clique(Table& table) {
  const Clique& clique = *static_cast<const Clique*>(table.materialize_source);
  refresh_plans(engine_of(*clique.tree));
  CliqueWork& work = work_of(clique);
  if (has_data(table) && work.materialized == work.version) return tv_status_none;
  if (!has_data(table)) table.data.allocate_uninitialized(table.size);
  if (work.initialized)
    spread(work.table, table.data);
  else if (tv_status_t status = multiply_potentials(work, table))
    return status;
  work.materialized = work.version;
  return tv_status_none;
}

}  // namespace tv
