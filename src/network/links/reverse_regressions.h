// Arc reversal between continuous nodes, in the numbers alone.
#pragma once

#include "tables/table.h"

namespace tv {

// From the tables of X and of its child Y to those of X given Y and of Y without X, both over the parents of
// the two together. The new tables have their nodes and memory; what is in them is replaced. `overflow` when
// a number leaves the range of doubles.
tv_status_t reverse_regression_tables(const Node& x, const Node& y, const Table& x_table,
                                      const Table& y_table, Table& x_given_y, Table& y_alone);

}  // namespace tv
