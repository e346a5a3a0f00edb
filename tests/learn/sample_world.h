// Domains without links that hold cases, and what is learned from them, for tests of methods.
#pragma once

#include "structure_world.h"

namespace test {

// Discrete cells are states; -1 is missing.
using Cells = std::vector<std::vector<int>>;  // by case, then by node

inline DomainOwner domain_with_cases(const std::vector<std::string>& names, const std::vector<size_t>& states,
                                     const Cells& cells, const std::vector<double>& counts = {}) {
  DomainOwner domain = new_domain();
  tv_domain_set_number_of_cases(domain.get(), cells.size());
  for (size_t v = 0; v < names.size(); ++v) {
    tv_node_t* const node = add_node(domain.get(), names[v].c_str(), states[v]);
    for (size_t i = 0; i < cells.size(); ++i)
      if (cells[i][v] >= 0) tv_node_set_case_state(node, i, static_cast<size_t>(cells[i][v]));
  }
  for (size_t i = 0; i < counts.size(); ++i)
    tv_domain_set_case_count(domain.get(), i, static_cast<tv_number_t>(counts[i]));
  return domain;
}

inline StructureOwner learn(tv_domain_t* domain, tv_structure_method_t method, const char* target = nullptr) {
  const Learner learner;
  tv_structure_learner_set_method(learner.get(), method);
  tv_structure_learner_set_target(learner.get(), target);
  return learn(domain, learner);
}

// "a->b b->c", in the order of the names.
inline std::string links_of(const StructureOwner& structure) {
  std::string text;
  for (size_t i = 0; i < tv_structure_get_number_of_links(structure.get()); ++i) {
    size_t from = 0, to = 0;
    const bool is_directed =
        tv_structure_get_link(structure.get(), i, &from, &to) == tv_structure_link_directed;
    text += (i ? " " : "") + structure->nodes[from].name + (is_directed ? "->" : "--") +
            structure->nodes[to].name;
  }
  return text;
}

// Of the columns a and b in the cases that agree in those that are given, in log-likelihood over all of them.
inline double information(const Cells& cells, size_t a, size_t b, const std::vector<size_t>& given = {}) {
  std::map<std::vector<int>, double> all, with_a, with_b, with_both;
  for (const std::vector<int>& row : cells) {
    std::vector<int> key;
    for (const size_t v : given) key.push_back(row[v]);
    ++all[key];
    key.push_back(row[a]);
    ++with_a[key];
    key.push_back(row[b]);
    ++with_both[key];
    key.erase(key.end() - 2);
    ++with_b[key];
  }
  double sum = 0.0;
  const auto add = [&](const auto& counts, double sign) {
    for (const auto& [key, n] : counts) sum += sign * n * std::log(n);
  };
  add(with_both, 1);
  add(all, 1);
  add(with_a, -1);
  add(with_b, -1);
  return sum;
}

// By node its parent or SIZE_MAX: every forest whose links lead away from roots.
inline void for_each_branching(size_t size, const std::function<void(const std::vector<size_t>&)>& visit) {
  std::vector<size_t> parents(size, 0);
  for (;;) {
    bool is_forest = true;
    std::vector<size_t> chosen(size);
    for (size_t v = 0; v < size; ++v) chosen[v] = parents[v] == v ? SIZE_MAX : parents[v];
    for (size_t v = 0; v < size && is_forest; ++v) {
      size_t steps = 0, at = v;
      while (at != SIZE_MAX && steps <= size) at = chosen[at], ++steps;
      is_forest = at == SIZE_MAX;
    }
    if (is_forest) visit(chosen);
    size_t place = 0;
    while (place < size && ++parents[place] == size) parents[place++] = 0;
    if (place == size) return;
  }
}

}  // namespace test
