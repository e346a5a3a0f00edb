// Nodes and tables made directly from the records, and the simplest possible reading of a table: one
// entry at a time, from the states of all nodes.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "inference/domain_hooks.h"
#include "network/domain.h"
#include "network/node.h"
#include "tables/table.h"
#include "tables/table_operations.h"

namespace test {

using Assignment = std::map<const tv::Node*, size_t>;

class TableWorld {
 public:
  explicit TableWorld(unsigned seed = 1) : random_(seed) {}

  tv::Domain domain{tv::kDomainHooks};

  tv::Node* discrete(size_t states) {
    tv::Node* node = add(tv_kind_discrete);
    node->number_of_states = states;
    return node;
  }
  tv::Node* continuous() { return add(tv_kind_continuous); }
  size_t below(size_t bound) { return random_() % bound; }

  std::unique_ptr<tv::Table> table(const tv::NodeList& nodes, tv::TableKind kind = tv::TableKind::free,
                                   tv::Node* owner = nullptr) {
    auto result = tv::new_table(domain, kind, owner);
    tv::set_table_nodes(*result, nodes);
    return result;
  }

  // Up to four discrete and three continuous nodes, random numbers, tails behind the first continuous node.
  std::unique_ptr<tv::Table> random_table(size_t max_discrete = 4, size_t max_continuous = 3) {
    tv::NodeList nodes;
    for (size_t i = below(max_discrete + 1); i > 0; --i) nodes.push_back(discrete(1 + below(4)));
    for (size_t i = below(max_continuous + 1); i > 0; --i) nodes.push_back(continuous());
    auto result = table(nodes);
    for (size_t i = 1; i < result->continuous_count; ++i)
      result->tail_marks[i] = static_cast<unsigned char>(below(2));
    tv::allocate_table_data(*result);
    for (tv_number_t& value : result->data) value = static_cast<tv_number_t>(below(1000)) / 999.0f;
    for (double& value : result->cg_data) value = static_cast<double>(below(100000)) / 7.0;
    return result;
  }

  tv::NodeList shuffled(const tv::Table& table) {
    std::vector<tv::Node*> order(table.nodes.begin(), table.nodes.end());
    const auto middle = order.begin() + static_cast<ptrdiff_t>(table.discrete_count);
    std::shuffle(order.begin(), middle, random_);
    std::shuffle(middle, order.end(), random_);
    tv::NodeList result;
    for (tv::Node* node : order) result.push_back(node);
    return result;
  }
  std::vector<size_t> shuffled_states(size_t count) {
    std::vector<size_t> order(count);
    for (size_t i = 0; i < count; ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), random_);
    return order;
  }

 private:
  tv::Node* add(tv_node_kind_t kind) {
    tv::Node& node = nodes_.emplace_back();
    node.domain = &domain;
    node.kind = kind;
    node.number = nodes_.size();
    return &node;
  }

  std::deque<tv::Node> nodes_;
  std::mt19937 random_;
};

// Calls visit for every configuration of the discrete nodes of a table, in no particular order.
inline void for_each_assignment(const tv::Table& table, const std::function<void(Assignment&)>& visit) {
  Assignment assignment;
  std::function<void(size_t)> descend = [&](size_t i) {
    if (i == table.discrete_count) return visit(assignment);
    for (size_t state = 0; state < table.nodes[i]->number_of_states; ++state) {
      assignment[table.nodes[i]] = state;
      descend(i + 1);
    }
  };
  descend(0);
}

// What the states of the nodes mean for a table: nodes that it lacks do not matter.
inline size_t index_of(const tv::Table& table, const Assignment& assignment) {
  size_t index = 0;
  for (size_t i = 0; i < table.discrete_count; ++i)
    index = index * table.nodes[i]->number_of_states + assignment.at(table.nodes[i]);
  return index;
}
inline tv_number_t entry(const tv::Table& table, const Assignment& assignment) {
  return table.data[index_of(table, assignment)];
}
inline double mean(const tv::Table& table, const Assignment& assignment, const tv::Node* node) {
  const size_t i = table.nodes.position(node) - table.discrete_count;
  return table.cg_data[index_of(table, assignment) * table.cg_size + i * (i + 3) / 2];
}
inline double covariance(const tv::Table& table, const Assignment& assignment, const tv::Node* node1,
                         const tv::Node* node2) {
  const size_t a = table.nodes.position(node1) - table.discrete_count;
  const size_t b = table.nodes.position(node2) - table.discrete_count;
  const size_t i = std::max(a, b), j = std::min(a, b);
  return table.cg_data[index_of(table, assignment) * table.cg_size + i * (i + 3) / 2 + j + 1];
}
inline bool is_tail(const tv::Table& table, const tv::Node* node) {
  return table.tail_marks[table.nodes.position(node) - table.discrete_count] == 1;
}
inline std::vector<tv::Node*> continuous_nodes(const tv::Table& table) {
  return {table.nodes.begin() + table.discrete_count, table.nodes.end()};
}

}  // namespace test
