#include "inference/compress/initial_tables.h"

#include <algorithm>
#include <limits>

#include "api/float_environment.h"
#include "inference/compress/sparse_engine.h"
#include "inference/compress/sparse_tree.h"
#include "inference/extended/propagate_extended.h"
#include "inference/range.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/run_schedule.h"
#include "inference/schedule/subtree.h"
#include "tables/kernels/sparse_pass.h"

namespace tv {
namespace {

// Cliques that were lazy are so again.
void drop_stored_tables(TreeEngine& engine) noexcept {
  for (CliqueWork& work : engine.cliques) {
    if (work.lazy || !prefers_factors(*work.clique)) continue;
    work.lazy = true;
    work.table.numbers = nullptr;
  }
  engine.stored.clear();
}

// Where a block of entries is in the table of a potential.
void find_in_potential(const SparseTable& table, const CliquePotential& plan, size_t first, size_t count,
                       size_t* places) noexcept {
  uint32_t states[kCapacity.block];
  std::fill_n(places, count, 0);
  for (size_t m = 0; m < plan.members->size(); ++m) {
    if (plan.strides[m] == 0) continue;
    read_positions(table.states(m), first, count, states);
    for (size_t i = 0; i < count; ++i) places[i] += plan.strides[m] * states[i];
  }
}

// The product of the potentials for the stored configurations of a clique.
void multiply_potentials(const CliqueWork& work, float* numbers) noexcept {
  const SparseTable& table = work.sparse->table;
  size_t places[kCapacity.block];
  double products[kCapacity.block];
  for (size_t first = 0; first < table.size(); first += kCapacity.block) {
    const size_t count = std::min(kCapacity.block, table.size() - first);
    std::fill_n(products, count, 1.0);
    for (const CliquePotential& plan : work.potentials) {
      const Table* const potential = plan.table();
      if (potential) find_in_potential(table, plan, first, count, places);
      for (size_t i = 0; i < count; ++i)
        products[i] *= static_cast<double>(potential ? potential->data[places[i]] : plan.uniform);
    }
    for (size_t i = 0; i < count; ++i) numbers[first + i] = static_cast<float>(products[i]);
  }
}

void start_from_potentials(TreeEngine& engine) {
  SparseTree& sparse = *engine.tree->sparse;
  sparse.initial.numbers.allocate_uninitialized(sparse.entries);
  engine.buffers[kInitialTables] = sparse.initial.numbers.data();
  for (CliquePotential& plan : engine.clique_potentials) refresh_potential(plan);
  for (CliqueWork& work : engine.cliques) {
    if (!work.sparse) continue;
    multiply_potentials(work, sparse.initial.numbers.data() + work.sparse->first);
    work.initialized = true;
  }
}

// The calibrated tables of sparse cliques take the place of the products of their potentials.
void absorb_messages(TreeEngine& engine) {
  float* const numbers = engine.tree->sparse->initial.numbers.data();
  for (CliqueWork& work : engine.cliques) {
    if (!work.sparse) continue;
    if (work.lazy)
      run_over_factors(engine, work, numbers + work.sparse->first, nullptr);
    else
      std::copy_n(work.table.numbers, work.sparse->table.size(), numbers + work.sparse->first);
    for (CliqueLink& link : work.links) link.holds = false;
    engine.clique_factors[work.clique->position] = 1.0f;
  }
  drop_stored_tables(engine);
}

// Calls visit(numbers, size) for what the tables without evidence are made of beside those of sparse cliques:
// full tables or their factors, and the tables of separators.
template <class Visit>
void for_each_part(TreeEngine& engine, Visit visit) {
  for (const SeparatorWork& between : engine.separators)
    if (between.separator) visit(between.old.numbers, stored_size(*between.separator));
  for (const CliqueWork& work : engine.cliques) {
    if (work.sparse) continue;
    if (!work.lazy) {
      visit(work.table.numbers, stored_size(*work.clique));
      continue;
    }
    for (const CliquePotential& plan : work.potentials)
      if (plan.copy && plan.node()) visit(plan.copy, potential_entries(work.clique->members(), *plan.node()));
    for (const CliqueLink& link : work.links)
      visit(link.received, stored_size(*engine.separators[link.separator].separator));
  }
}

void save_initial_tables(TreeEngine& engine) {
  InitialTables& initial = engine.tree->sparse->initial;
  size_t size = 0;
  for_each_part(engine, [&](const float*, size_t entries) { size += entries; });
  initial.other_numbers.allocate_uninitialized(size);
  float* place = initial.other_numbers.data();
  for_each_part(engine,
                [&](const float* numbers, size_t entries) { place = std::copy_n(numbers, entries, place); });
  initial.beliefs.clear();
  for (const Node* node : engine.tree->nodes)
    initial.beliefs.insert(initial.beliefs.end(), engine[*node].belief,
                           engine[*node].belief + node->number_of_states);
  initial.clique_factors.assign(engine.clique_factors.begin(), engine.clique_factors.end());
  initial.holds.clear();
  for (const CliqueLink& link : engine.clique_links) initial.holds.push_back(link.holds);
}

// Where single precision does not suffice, every propagation will start from the potentials, and these tables
// serve only to show what is possible.
tv_status_t calibrate(TreeEngine& engine) {
  InitialTables& initial = engine.tree->sparse->initial;
  const FloatEnvironment environment;
  start_from_potentials(engine);
  mark_all_cliques(engine);
  target_all_beliefs(engine);
  const PropagationRequest request = {engine, tv_equilibrium_sum, tv_evidence_normal, true};
  tv_status_t status =
      range_flags() ? kOutOfRange : _tv_jt_global_propagate(request, _tv_identify_subtree(engine, kNone));
  const bool is_out_of_range = status == kOutOfRange;
  if (is_out_of_range) status = initialize_extended(engine);
  if (status) return status;
  initial.lost_share = is_out_of_range ? std::numeric_limits<double>::infinity()
                       : range_flags() ? lost_share_of(engine)
                                       : -std::numeric_limits<double>::infinity();
  initial.mass = engine.constant;
  absorb_messages(engine);
  save_initial_tables(engine);
  return tv_status_none;
}

}  // namespace

bool has_initial_tables(const TreeEngine& engine) noexcept {
  return engine.tree->sparse && engine.tree->sparse->initial.are_formed && !engine.tables_touched;
}

tv_status_t form_initial_tables(TreeEngine& engine) {
  if (tv_status_t status = renew_sparse_tree(engine)) return status;
  InitialTables& initial = engine.tree->sparse->initial;
  initial.are_formed = false;
  engine.awaits_initial_numbers = false;
  forget_tables(engine);
  if (tv_status_t status = calibrate(engine)) return status;
  initial.are_formed = true;
  return tv_status_none;
}

void load_initial_numbers(TreeEngine& engine) noexcept {
  const InitialTables& initial = engine.tree->sparse->initial;
  drop_stored_tables(engine);
  engine.buffers[kInitialTables] = initial.numbers.data();
  const float* place = initial.other_numbers.data();
  for_each_part(engine, [&](float* numbers, size_t entries) {
    std::copy_n(place, entries, numbers);
    place += entries;
  });
  std::copy(initial.clique_factors.begin(), initial.clique_factors.end(), engine.clique_factors.begin());
  for (size_t l = 0; l < engine.clique_links.size(); ++l) engine.clique_links[l].holds = initial.holds[l];
  for (CliqueWork& work : engine.cliques) {
    work.initialized = true;
    ++work.version;
  }
  engine.lost_share = initial.lost_share;
  engine.awaits_initial_numbers = false;
}

void load_awaited_numbers(TreeEngine& engine) noexcept {
  if (engine.awaits_initial_numbers) load_initial_numbers(engine);
}

void load_initial_tables(TreeEngine& engine) noexcept {
  const InitialTables& initial = engine.tree->sparse->initial;
  drop_stored_tables(engine);
  forget_tables(engine);
  engine.awaits_initial_numbers = true;
  engine.lost_share = initial.lost_share;
  const float* beliefs = initial.beliefs.data();
  for (const Node* node : engine.tree->nodes) {
    std::copy_n(beliefs, node->number_of_states, engine[*node].belief);
    beliefs += node->number_of_states;
  }
  engine.constant = engine.step_constant = 1.0;
  engine.log_constant = engine.step_log_constant = 0.0;
  engine.approximation_constant = constant_of_stored_entries(engine);
  engine.equilibrium = tv_equilibrium_none;
}

double constant_of_stored_entries(const TreeEngine& engine) noexcept {
  const SparseTree* const sparse = engine.tree->sparse.get();
  return sparse && sparse->is_cut ? sparse->initial.mass : 1.0;
}

bool is_calibrated(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept {
  if (engine.equilibrium == equilibrium) return true;
  return engine.tree->sparse && engine.equilibrium == tv_equilibrium_none &&
         equilibrium == tv_equilibrium_sum;
}

}  // namespace tv
