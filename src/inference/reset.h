// Whether the tables of a tree still fit what they were initialised from.
#pragma once

#include "compile/forest.h"

namespace tv {

// Whether the selected states of required instantiations differ from those that the tables were built for.
bool _tv_jt_has_new_tables(const JunctionTree& tree);

}  // namespace tv
