// Cases drawn from networks, and structures that are learned from them.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <map>
#include <set>

#include "graph_world.h"
#include "learn/structure/counts/case_columns.h"
#include "learner_world.h"
#include "network/progress.h"

namespace test {

struct DeleteStructure {
  void operator()(tv_structure_t* structure) const { tv_structure_delete(structure); }
};
using StructureOwner = std::unique_ptr<tv_structure_t, DeleteStructure>;

inline bool is_discrete_node(const tv_node_t* node) { return tv_node_get_kind(node) == tv_kind_discrete; }

// Parents before children.
inline std::vector<tv_node_t*> in_order(const tv_domain_t* domain) {
  std::vector<tv_node_t*> order;
  std::set<tv_node_t*> done;
  const std::function<void(tv_node_t*)> visit = [&](tv_node_t* node) {
    if (!done.insert(node).second) return;
    for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent) visit(*parent);
    order.push_back(node);
  };
  for (tv_node_t* node : nodes_of(domain)) visit(node);
  return order;
}

// Adds cases that are drawn from the network itself; each cell is missing with some probability.
inline void draw_cases(tv_domain_t* domain, Generator& random, size_t count, double missing = 0.0) {
  const std::vector<tv_node_t*> order = in_order(domain);
  const size_t first = tv_domain_get_number_of_cases(domain);
  ASSERT_EQ(tv_domain_set_number_of_cases(domain, first + count), tv_status_none);
  std::map<tv_node_t*, size_t> state;
  std::map<tv_node_t*, double> value;
  for (size_t row = first; row < first + count; ++row)
    for (tv_node_t* node : order) {
      size_t configuration = 0;
      tv_table_t* const table = tv_node_get_table(node);
      for (tv_node_t** in = tv_table_get_nodes(table); *in; ++in)
        if (*in != node && is_discrete_node(*in))
          configuration = configuration * tv_node_get_number_of_states(*in) + state[*in];
      if (is_discrete_node(node)) {
        const size_t states = tv_node_get_number_of_states(node);
        const float* const column = tv_table_get_data(table) + configuration * states;
        double total = 0.0;
        for (size_t s = 0; s < states; ++s) total += static_cast<double>(column[s]);
        double left = random.uniform() * total;
        size_t drawn = 0;
        while (drawn + 1 < states && left >= static_cast<double>(column[drawn]))
          left -= static_cast<double>(column[drawn++]);
        state[node] = drawn;
        if (!random.chance(missing)) tv_node_set_case_state(node, row, drawn);
      } else {
        double sum = tv_node_get_intercept(node, configuration);
        for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent)
          if (!is_discrete_node(*parent))
            sum += tv_node_get_coefficient(node, *parent, configuration) * value[*parent];
        const double radius = std::sqrt(-2.0 * std::log1p(-random.uniform()));
        const double deviate = radius * std::cos(2.0 * std::acos(-1.0) * random.uniform());
        value[node] = sum + std::sqrt(tv_node_get_conditional_variance(node, configuration)) * deviate;
        if (!random.chance(missing)) tv_node_set_case_value(node, row, value[node]);
      }
    }
}

// The nodes "a", "b" and so on with the links of the graph and strong dependencies.
inline DomainOwner strong_network(const PartialGraph& dag, Generator& random, size_t states = 2) {
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  for (size_t v = 0; v < dag.size(); ++v)
    nodes.push_back(add_node(domain.get(), std::string(1, static_cast<char>('a' + v)).c_str(), states));
  for (size_t v = 0; v < dag.size(); ++v)
    for (const size_t parent : dag.parents(v)) tv_node_add_parent(nodes[v], nodes[parent]);
  for (tv_node_t* node : nodes) {
    tv_table_t* const table = tv_node_get_table(node);
    for (size_t i = 0; i < tv_table_get_size(table); ++i)
      tv_table_get_data(table)[i] = static_cast<float>(0.1 + random.uniform());
    // In each configuration another state stands out, and by how much differs, too.
    for (size_t c = 0; c < tv_table_get_size(table) / states; ++c)
      tv_table_get_data(table)[c * states + random.below(states)] +=
          static_cast<float>(1.0 + 4.0 * random.uniform());
    tv_node_touch_table(node);
  }
  return domain;
}

// The rest of the structure's record is open to tests, which are linked with the library's objects.
inline StructureOwner learn(tv_domain_t* domain, const Learner& learner) {
  StructureOwner structure(tv_domain_learn_structure(domain, learner.get()));
  EXPECT_TRUE(structure) << tv_error_message();
  return structure;
}

inline PartialGraph graph_of(const StructureOwner& structure) { return structure->graph; }

// The columns that a learner sees.
struct Columns {
  Columns(tv_domain_t* domain, const Learner& learner) {
    EXPECT_EQ(tv::state_problem(*domain, *learner, {}, problem), tv_status_none) << tv_error_message();
    tv::ProgressMeter progress(*domain, "", 0);
    EXPECT_EQ(tv::read_case_columns(problem, progress, columns), tv_status_none);
  }
  tv::LearningProblem problem;
  tv::CaseColumns columns;
};

}  // namespace test
