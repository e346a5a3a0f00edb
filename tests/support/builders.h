// Short ways to make networks for tests: nodes with their tables in one line, and random networks
// from a generator of the tests' own, so that a seed means the same network for ever.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <vector>

#include "tarvo.h"

namespace test {

struct DeleteDomain {
  void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
};
using DomainOwner = std::unique_ptr<tv_domain_t, DeleteDomain>;

struct DeleteTable {
  void operator()(tv_table_t* table) const { tv_table_delete(table); }
};
using TableOwner = std::unique_ptr<tv_table_t, DeleteTable>;

DomainOwner new_domain();

// A discrete chance node. The first parent is the slowest dimension of the table; no data means uniform.
tv_node_t* add_node(tv_domain_t* domain, const char* name, size_t states,
                    std::initializer_list<tv_node_t*> parents = {}, const std::vector<float>& data = {});

// Writes the node's table and tells the library.
void set_table(tv_node_t* node, const std::vector<float>& data);

// The nodes of a domain, the oldest first.
std::vector<tv_node_t*> nodes_of(const tv_domain_t* domain);
size_t count_nodes(tv_node_t* const* list);

// splitmix64 (Steele, Lea and Flood 2014).
class Generator {
 public:
  explicit Generator(uint64_t seed) : state_(seed) {}
  uint64_t next();
  size_t below(size_t bound) { return static_cast<size_t>(next() % bound); }
  double uniform() { return static_cast<double>(next() >> 11) * 0x1p-53; }
  bool chance(double probability) { return uniform() < probability; }
  template <class T>
  const T& pick(const std::vector<T>& from) {
    return from[below(from.size())];
  }

 private:
  uint64_t state_;
};

// What values the tables of a random network take. All columns are left unnormalised.
enum class Values {
  positive,  // between 0.05 and 1
  zeros,     // also 0, 1, 1/2, 0.1
  extreme    // also 1e-30
};

struct NetworkShape {
  size_t max_nodes = 8;
  size_t max_joint = 2000;  // configurations of all nodes together
  size_t max_states = 4;
  size_t max_parents = 3;
  double link_chance = 0.5;
};

// One to `max_nodes` nodes, of one state and more, often in several parts.
DomainOwner random_network(Generator& random, Values values, const NetworkShape& shape = {});
void set_random_table(Generator& random, tv_node_t* node, Values values);

enum class Findings {
  positive,  // likelihoods without zeros
  hard,      // selected states
  any        // these, several states at once, zeros among likelihoods, now and then all zero
};

// One random change to the evidence of a node, sometimes a retraction.
void change_evidence(Generator& random, tv_node_t* node, Findings findings);
void enter_findings(tv_node_t* node, const std::vector<float>& findings);

}  // namespace test
