// The tables of nodes as they were when a tree came to its equilibrium, saved when a host gets access to
// their numbers: changed numbers count only once they are propagated, and until then answers rest on the
// former ones.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "tables/table.h"

namespace tv {

struct SavedTables {
  std::vector<std::unique_ptr<Table>> copies;  // by position; empty, or null: the table has not changed
  bool are_lost = false;                       // one has changed without notice, or there was no memory

  // Saves a table the first time that it is about to change. There are `positions` tables in all.
  void save(const Table& table, size_t position, size_t positions);
  bool holds(size_t position) const noexcept { return position < copies.size() && copies[position]; }
  bool are_untouched() const noexcept { return copies.empty() && !are_lost; }
  void clear() noexcept;
};

// For its lifetime, puts the former numbers back into the tables, in the layout that these have now.
class FormerNumbers {
 public:
  // table_at(position) is the table that was saved there.
  template <class TableAt>
  FormerNumbers(const SavedTables& saved, TableAt table_at) {
    for (size_t position = 0; position < saved.copies.size(); ++position)
      if (saved.copies[position]) add(*table_at(position), *saved.copies[position]);
    exchange();
  }
  ~FormerNumbers() { exchange(); }
  FormerNumbers(const FormerNumbers&) = delete;
  FormerNumbers& operator=(const FormerNumbers&) = delete;

 private:
  void add(Table& present, Table& former);
  void exchange() noexcept;

  std::vector<std::pair<Table*, Table*>> pairs_;
};

}  // namespace tv
