#include "inference/kept_tables.h"

#include <algorithm>

#include "tables/table_operations.h"

namespace tv {

void KeptTables::keep(const Table& table, size_t place, size_t places) {
  copies.resize(places);
  if (!copies[place]) copies[place] = clone_table(table);
}

void KeptTables::clear() noexcept {
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
