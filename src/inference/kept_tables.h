// Tables of nodes as they were when a tree came to its equilibrium, kept from when a host gets at their
// numbers: what it changes counts only once it is propagated, and until then questions rest on the former
// ones.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "tables/table.h"

namespace tv {

struct KeptTables {
  std::vector<std::unique_ptr<Table>> copies;  // by place; empty, or null: the table has not changed
  bool are_lost = false;                       // one has changed without notice, or there was no memory

  // Keeps a table for the first of `places` times that it is about to change.
  void keep(const Table& table, size_t place, size_t places);
  bool holds(size_t place) const noexcept { return place < copies.size() && copies[place]; }
  bool are_untouched() const noexcept { return copies.empty() && !are_lost; }
  void clear() noexcept;
};

// Puts the former numbers back into the tables, in the order that these have now, for its lifetime.
class FormerNumbers {
 public:
  // table_at(place) is the table that was kept there.
  template <class TableAt>
  FormerNumbers(const KeptTables& kept, TableAt table_at) {
    for (size_t place = 0; place < kept.copies.size(); ++place)
      if (kept.copies[place]) add(*table_at(place), *kept.copies[place]);
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
