// Tables exist without their numbers until somebody asks for them, so that a network with an enormous table
// can be described and mended.
#include "tables/table_numbers.h"

#include <algorithm>

#include "network/domain.h"
#include "network/node.h"

namespace tv {
namespace {

// Below this many bytes the memory of the domain is not added up: that would cost more than the numbers.
constexpr size_t kSmall = size_t{1} << 16;

size_t bytes_held(const Table* table) noexcept {
  return table ? table->data.size() * sizeof(tv_number_t) + table->cg_data.size() * sizeof(double) : 0;
}

size_t bytes_held(const Domain& domain) noexcept {
  size_t bytes = domain.compiled ? domain.compiled_bytes : 0;
  for (const Node& node : domain.nodes)
    for (const Table* table : {node.table.get(), node.experience_table.get(), node.fading_table.get()})
      bytes = size_add(bytes, bytes_held(table));
  for (const ChainPotential& potential : domain.chain_potentials)
    bytes = size_add(bytes, bytes_held(potential.table.get()));
  for (const Table* table : domain.host_tables) bytes = size_add(bytes, bytes_held(table));
  return bytes;
}

}  // namespace

tv_number_t default_number(const Table& table) noexcept {
  switch (table.kind) {
    case TableKind::fading:
    case TableKind::chain:
      return 1;
    case TableKind::node:
      if (table.owner->category == tv_category_utility) return 0;
      return is_discrete(*table.owner)
                 ? static_cast<tv_number_t>(1.0 / static_cast<double>(table.owner->number_of_states))
                 : 1;
    default:
      return 0;
  }
}

std::vector<double> default_block(const Table& table) {
  std::vector<double> block(table.cg_size, 0.0);
  if (table.kind == TableKind::node)
    for (size_t i = 0; i < table.continuous_count; ++i)
      if (!table.tail_marks[i]) block[cg_covariance_index(i, i)] = 1.0;
  return block;
}

void fill_with_default_blocks(const Table& table, Block<double>& cg_data) {
  const std::vector<double> block = default_block(table);
  for (double* place = cg_data.begin(); place != cg_data.end(); place += block.size())
    std::copy(block.begin(), block.end(), place);
}

size_t bytes_of_numbers(const Table& table) noexcept {
  const size_t cg_count = size_multiply(table.size, table.cg_size);
  return size_add(size_multiply(table.size, sizeof(tv_number_t)), size_multiply(cg_count, sizeof(double)));
}

bool is_within_memory_limit(const Domain& domain, size_t bytes) noexcept {
  if (bytes == kHugeSize) return false;
  if (domain.memory_limit == 0) return true;
  if (bytes > kSmall) bytes = size_add(bytes, bytes_held(domain));
  return bytes <= domain.memory_limit;
}

tv_status_t allocate_table_data(Table& table) {
  if (has_data(table)) return tv_status_none;
  if (!is_within_memory_limit(*table.domain, bytes_of_numbers(table)))
    return store_status(tv_status_no_memory);
  Block<tv_number_t> data;
  Block<double> cg_data;
  data.allocate_uninitialized(table.size);
  if (table.cg_size) cg_data.allocate_uninitialized(table.size * table.cg_size);
  fill_with_default_blocks(table, cg_data);
  std::fill(data.begin(), data.end(), default_number(table));
  table.data = std::move(data);
  table.cg_data = std::move(cg_data);
  if (!table.owner || table.owner->blank_table.get() != &table) return tv_status_none;
  table.owner->table = std::move(table.owner->blank_table);
  note_new_layout(table);
  return tv_status_none;
}

}  // namespace tv
