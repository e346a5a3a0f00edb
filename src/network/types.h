// The names of the records inside the library. The public handles are the records themselves,
// so no cast stands between a handle and what it means.
#pragma once

#include "tarvo.h"

namespace tv {

using Domain = tv_domain_s;
using Node = tv_node_s;
using Attribute = tv_attribute_s;
using Table = tv_table_s;
using Clique = tv_clique_s;
using JunctionTree = tv_junction_tree_s;
using Expression = tv_expression_s;
using Model = tv_model_s;

}  // namespace tv
