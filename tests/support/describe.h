// Everything that a host can see of a domain, as text: two domains with the same description cannot be
// told apart. Numbers are written exactly.
#pragma once

#include <string>

#include "tarvo.h"

namespace test {

std::string describe(tv_domain_t* domain);
std::string describe(tv_table_t* table);
std::string describe_names(tv_node_t* const* list);

}  // namespace test
