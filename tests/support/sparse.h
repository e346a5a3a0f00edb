// What tests of compressed domains have in common.
#pragma once

#include <vector>

#include "support/builders.h"
#include "support/other_ways.h"

namespace test {

inline constexpr auto kSum = tv_equilibrium_sum;
inline constexpr auto kNormal = tv_evidence_normal;

// Every clique of the trees made while it lives is sparse.
struct AllSparse : KeptLimits {
  AllSparse() { tv::limits.sparse_cost = 0; }
};

inline tv_status_t propagate(tv_domain_t* domain) { return tv_domain_propagate(domain, kSum, kNormal); }

inline std::vector<float> numbers_of(tv_table_t* table) {
  const tv_number_t* data = tv_table_get_data(table);
  return {data, data + tv_table_get_size(table)};
}

// A chain of gates: each is the exclusive or of the two before it.
inline DomainOwner gates(size_t count) {
  DomainOwner domain = new_domain();
  tv_node_t* first = add_node(domain.get(), "a", 2, {}, {0.7f, 0.3f});
  tv_node_t* second = add_node(domain.get(), "b", 2, {}, {0.4f, 0.6f});
  for (size_t i = 0; i < count; ++i) {
    tv_node_t* gate = add_node(domain.get(), nullptr, 2, {first, second}, {1, 0, 0, 1, 0, 1, 1, 0});
    first = second;
    second = gate;
  }
  return domain;
}

}  // namespace test
