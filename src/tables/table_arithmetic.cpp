// Operations between two tables: multiply, extend, marginalise. Each is one pass over the larger table under
// an index map made for it; propagation has schedules with maps of their own.

#include <algorithm>

#include "network/domain.h"
#include "tables/kernels/index_map.h"
#include "tables/kernels/parallel.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

ParallelSettings settings_of(const Table& table) noexcept {
  return {table.domain->grain_size, usable_threads(table.domain->concurrency_level)};
}

// The counts of the table's dimensions.
std::vector<size_t> counts_of(const Table& table) {
  std::vector<size_t> counts;
  for (size_t i = 0; i < table.discrete_count; ++i)
    if (table.nodes[i]->number_of_states > 1) counts.push_back(table.nodes[i]->number_of_states);
  return counts;
}

// Maps each dimension of `table` onto its stride in `other`.
void map_onto(const Table& table, const Table& other, const Shape& shape, OwnIndexMap& map) {
  size_t dimension = 0;
  for (size_t i = 0; i < table.discrete_count; ++i) {
    const Node* node = table.nodes[i];
    if (node->number_of_states < 2) continue;
    size_t step = 0, stride = 1;
    for (size_t j = other.discrete_count; j-- > 0; stride *= other.nodes[j]->number_of_states)
      if (other.nodes[j] == node) step = stride;
    map.steps[dimension++] = step;
  }
  finish_index_map(map, shape);
}

tv_status_t run_one(Table& table, const Table& other, StepKind operation) {
  if (other.cg_size) return tv_status_error;
  const OwnShape shape(counts_of(table));
  OwnIndexMap map(table.discrete_count);
  map_onto(table, other, shape, map);
  const Step step = {operation, &map, other.data.data()};
  run_pass(shape, table.data.data(), &step, 1, settings_of(table));
  return tv_status_none;
}

}  // namespace

tv_status_t multiply_table(Table& destination, const Table& source) {
  return run_one(destination, source, StepKind::multiply);
}

tv_status_t extend_table(const Table& source, Table& destination) {
  return run_one(destination, source, StepKind::assign);
}

tv_status_t sum_marginalize_table(const Table& source, Table& destination) {
  if (source.cg_size || destination.cg_size) return tv_status_error;
  const OwnShape shape(counts_of(source));
  OwnIndexMap map(source.discrete_count);
  map_onto(source, destination, shape, map);
  Block<double> totals(destination.size);
  const Step step = {StepKind::sum, &map, nullptr, totals.data()};
  run_pass(shape, source.data.data(), &step, 1, settings_of(source));
  std::transform(totals.begin(), totals.end(), destination.data.begin(),
                 [](double total) { return static_cast<tv_number_t>(total); });
  return tv_status_none;
}

}  // namespace tv
