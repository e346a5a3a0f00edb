// Short forms for building networks in the tests of this folder.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "network/domain.h"
#include "network/name_table.h"
#include "network/node.h"
#include "tarvo.h"

struct World {
  World() : domain(tv_new_domain(), tv_domain_delete) {}
  explicit World(tv_domain_t* present) : domain(present, tv_domain_delete) {}

  tv_node_t* node(tv_node_category_t category, tv_node_kind_t kind) {
    return tv_domain_new_node(domain.get(), category, kind);
  }
  tv_node_t* chance(size_t states = 2) { return with_states(tv_category_chance, states); }
  tv_node_t* decision(size_t states = 2) { return with_states(tv_category_decision, states); }
  tv_node_t* continuous() { return node(tv_category_chance, tv_kind_continuous); }
  tv_node_t* utility() { return node(tv_category_utility, tv_kind_other); }
  tv_node_t* function() { return node(tv_category_function, tv_kind_other); }
  tv_node_t* discrete_function() { return node(tv_category_function, tv_kind_discrete); }

  operator tv_domain_t*() const { return domain.get(); }

  std::unique_ptr<tv_domain_t, tv_status_t (*)(tv_domain_t*)> domain;

 private:
  tv_node_t* with_states(tv_node_category_t category, size_t states) {
    tv_node_t* made = node(category, tv_kind_discrete);
    if (made) tv_node_set_number_of_states(made, states);
    return made;
  }
};

using Nodes = std::vector<tv_node_t*>;

inline Nodes listed(tv_node_t* const* nodes) {
  Nodes result;
  while (nodes && *nodes) result.push_back(*nodes++);
  return result;
}

inline Nodes all_nodes(tv_domain_t* domain) {
  Nodes result;
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node))
    result.push_back(node);
  return result;
}

inline std::vector<float> numbers(tv_table_t* table) {
  const float* data = tv_table_get_data(table);
  return std::vector<float>(data, data + tv_table_get_size(table));
}

inline std::vector<float> table_of(tv_node_t* node) { return numbers(tv_node_get_table(node)); }

inline void set_table(tv_node_t* node, const std::vector<float>& values) {
  tv_table_t* table = tv_node_get_table(node);
  ASSERT_EQ(tv_table_get_size(table), values.size());
  std::copy(values.begin(), values.end(), tv_table_get_data(table));
}

// The last call failed with this code.
#define EXPECT_CODE(code, call)                \
  do {                                         \
    (void)(call);                              \
    EXPECT_EQ(tv_error_code(), code) << #call; \
  } while (false)
