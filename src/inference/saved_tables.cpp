#include "inference/saved_tables.h"

#include <algorithm>

#include "tables/table_operations.h"

namespace tv {

void SavedTables::save(const Table& table, size_t position, size_t positions) {
  copies.resize(positions);
  if (!copies[position]) copies[position] = clone_table(table);
}

void SavedTables::clear() noexcept {
  copies.clear();
  are_lost = false;
}

void FormerNumbers::add(Table& present, Table& former) {
  const bool same_order = std::equal(present.nodes.begin(), present.nodes.end(), former.nodes.begin());
  if (!same_order) permute_table(former, present.nodes);
  pairs_.push_back({&present, &former});
}

void FormerNumbers::exchange() noexcept {
  for (const auto& [present, former] : pairs_) std::swap(present->data, former->data);
}

}  // namespace tv
