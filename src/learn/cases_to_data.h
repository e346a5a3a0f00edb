// The cases of a domain as a data set.
#pragma once

#include "data/data_set.h"
#include "network/cases.h"

namespace tv {

// Adds the column of a node with so many rows. A node without a name gets one.
void add_case_column(DataSet& data, Node& node, const CaseColumn& cells, size_t rows);

}  // namespace tv
