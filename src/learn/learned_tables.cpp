#include "learn/learned_tables.h"

#include <algorithm>

namespace tv {

LearnedTables::LearnedTables(const std::vector<Family>& families) : families_(families) {
  for (const Family& family : families)
    former_.push_back(family.is_learned ? clone_table(*family.table) : nullptr);
}

LearnedTables::~LearnedTables() {
  if (keeps_) return;
  for (size_t f = 0; f < families_.size(); ++f) {
    if (!former_[f]) continue;
    Table& table = *families_[f].table;
    std::copy(former_[f]->data.data(), former_[f]->data.data() + table.size, table.data.data());
    if (table.cg_size)
      std::copy(former_[f]->cg_data.data(), former_[f]->cg_data.data() + table.size * table.cg_size,
                table.cg_data.data());
  }
}

}  // namespace tv
