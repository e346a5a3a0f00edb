// Scatters a reduced clique table over the full one.

#include "inference/answers/clique_view.h"

#include <algorithm>

#include "inference/calibrate_tables.h"
#include "inference/compress/sparse_tree.h"
#include "inference/engine.h"
#include "inference/evidence/evidence.h"
#include "inference/gaussian/cg_answers.h"
#include "inference/schedule/lazy_clique.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

// The dimensions of a reduced table, with their strides in the full one first.
struct FullNest {
  FullNest(const TreeEngine& engine, const ReducedTable& table) noexcept {
    size_t stride = 1, restricted_stride = 1;
    for (size_t m = table.members->size(); m-- > 0;) {
      const Node& node = *(*table.members)[m];
      if (!is_discrete(node)) continue;
      if (table.is_observed(m)) offset += static_cast<size_t>(engine[node].observed_state) * stride;
      if (table.spans(m)) {
        dimensions[count++] = {node.number_of_states, stride, restricted_stride};
        restricted_stride *= node.number_of_states;
      }
      stride *= node.number_of_states;
    }
    std::reverse(dimensions, dimensions + count);
  }

  Dimension dimensions[64];
  size_t count = 0, offset = 0;
};

void scatter_sparse(const ReducedTable& table, const float* numbers, float* full) {
  const NodeList& members = *table.members;
  std::vector<size_t> strides(members.size());
  size_t stride = 1;
  for (size_t m = members.size(); m-- > 0; stride *= members[m]->number_of_states) strides[m] = stride;
  for (size_t i = 0; i < table.sparse->size(); ++i) full[table.sparse->index(i, strides)] = numbers[i];
}

void scatter(const TreeEngine& engine, const ReducedTable& table, const float* numbers, float* full,
             size_t size) {
  if (table.sparse) {
    std::fill_n(full, size, 0.0f);
    return scatter_sparse(table, numbers, full);
  }
  const FullNest nest(engine, table);
  std::fill_n(full, size, 0.0f);
  kernels().assign(nest.dimensions, nest.count, full + nest.offset, numbers);
}

void scatter_factors(const TreeEngine& engine, const CliqueWork& work, float* full, size_t size) {
  Block<float> numbers;
  numbers.allocate_uninitialized(work.table.shape.size);
  run_over_factors(engine, work, numbers.data(), nullptr);
  scatter(engine, work.table, numbers.data(), full, size);
}

// Clears the entries that contradict an observed state.
void instantiate(const Block<tv_number_t>& full, size_t stride, size_t states, size_t known) noexcept {
  for (size_t start = 0; start < full.size(); start += stride * states)
    for (size_t state = 0; state < states; ++state)
      if (state != known) std::fill_n(full.begin() + start + state * stride, stride, 0.0f);
}

// The states of required instantiations are part of the tables from the start.
void instantiate_known_members(const TreeEngine& engine, const NodeList& members, size_t discrete,
                               const Block<tv_number_t>& full) noexcept {
  size_t stride = 1;
  for (size_t m = discrete; m-- > 0; stride *= members[m]->number_of_states)
    if (const ptrdiff_t state = engine[*members[m]].propagated_state; state >= 0)
      instantiate(full, stride, members[m]->number_of_states, static_cast<size_t>(state));
}

tv_status_t multiply_potentials(const TreeEngine& engine, const CliqueWork& work, Table& full) {
  std::fill(full.data.begin(), full.data.end(), 1.0f);
  for (const CliquePotential& plan : work.potentials) {
    if (plan.node() && engine[*plan.node()].policy_left_out) continue;
    if (const Table* table = plan.table()) {
      if (tv_status_t status = multiply_table(full, *table)) return status;
    } else {
      kernels().scale(full.data.data(), full.size, static_cast<double>(plan.uniform));
    }
  }
  instantiate_known_members(engine, *work.table.members, full.discrete_count, full.data);
  return tv_status_none;
}

}  // namespace

void read_table(TreeEngine& engine, const Clique& clique, float* full) {
  refresh_shapes(engine);
  const ReducedTable& table = engine.cliques[clique.position].table;
  scatter(engine, table, table.numbers, full, clique.table.size);
}

void read_allowed(TreeEngine& engine, const Clique& clique, float* full) noexcept {
  refresh_shapes(engine);
  const ReducedTable& table = engine.cliques[clique.position].table;
  FullNest nest(engine, table);
  for (size_t d = 0; d < nest.count; ++d) nest.dimensions[d].stride2 = 0;
  const float one = 1.0f;
  std::fill_n(full, clique.table.size, 0.0f);
  kernels().assign(nest.dimensions, nest.count, full + nest.offset, &one);
}

void write_table(TreeEngine& engine, const Clique& clique, const float* full) noexcept {
  CliqueWork& work = engine.cliques[clique.position];
  FullNest nest(engine, work.table);
  for (size_t d = 0; d < nest.count; ++d) std::swap(nest.dimensions[d].stride, nest.dimensions[d].stride2);
  kernels().assign(nest.dimensions, nest.count, work.table.numbers, full + nest.offset);
  ++work.version;
}

tv_status_t materialize_clique(Table& table) {
  const Clique& clique = *static_cast<const Clique*>(table.materialize_source);
  TreeEngine& engine = engine_of(*clique.tree);
  if (tv_status_t status = calibrate_tables(engine)) return status;
  refresh_shapes(engine);
  CliqueWork& work = work_of(clique);
  if (has_data(table) && work.materialized == work.version) return tv_status_none;
  if (tv_status_t status = allocate_table_data(table)) return status;
  if (work.initialized && table.cg_size)
    cg_materialize(clique, table.cg_data.data());
  else
    std::fill(table.cg_data.begin(), table.cg_data.end(), 0.0);
  if (work.initialized && work.lazy)
    scatter_factors(engine, work, table.data.data(), table.size);
  else if (work.initialized)
    scatter(engine, work.table, work.table.numbers, table.data.data(), table.size);
  else if (tv_status_t status = multiply_potentials(engine, work, table))
    return status;
  work.materialized = work.version;
  return tv_status_none;
}

}  // namespace tv
