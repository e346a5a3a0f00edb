// The forest of junction trees that compilation makes for a domain. The domain owns one, and uncompiling
// destroys it.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "api/owned_list.h"
#include "network/domain.h"
#include "network/node_list.h"
#include "tables/table.h"

namespace tv {

struct InferenceState;  // inference/state.h: what evidence has made of a forest
struct TreeEngine;      // inference/engine.h: of one of its trees
struct SparseTree;      // inference/compress/sparse_tree.h: its possible configurations

// What two neighbouring cliques share. Owned by the child.
struct Separator {
  NodeList members;    // in the child's order
  size_t size = 1;     // configurations of the discrete members; kHugeSize on overflow
  size_t cg_size = 0;  // CG entries per configuration
  Clique* parent = nullptr;
  Clique* child = nullptr;
};

// A list that is nearly always empty, and then small.
template <class T>
class RareList {
 public:
  void push_back(const T& element) {
    if (!elements_) elements_ = std::make_unique<std::vector<T>>();
    elements_->push_back(element);
  }
  size_t size() const noexcept { return elements_ ? elements_->size() : 0; }
  bool empty() const noexcept { return size() == 0; }
  const T* begin() const noexcept { return elements_ ? elements_->data() : nullptr; }
  const T* end() const noexcept { return begin() + size(); }

 private:
  std::unique_ptr<std::vector<T>> elements_;
};

struct Link {
  Clique* neighbor = nullptr;
  Separator* separator = nullptr;
};

}  // namespace tv

struct tv_clique_s {
  uint32_t index = 0;                        // 1, 2, 3 ... in order of creation
  uint32_t position = 0;                     // in tree->cliques
  tv::Table table;                           // over the members, in member order; data for the host only
  std::unique_ptr<tv::Table> utility_table;  // over the discrete members, in domains with utility nodes
  double weight = 0.0;
  tv::Clique* parent = nullptr;                     // null for a root
  std::unique_ptr<tv::Separator> parent_separator;  // null for a root
  std::span<tv::Link> links;                        // neighbours in the order in which they were linked
  std::unique_ptr<tv::Clique*[]> neighbor_array;    // null-terminated, built when first asked for
  tv::JunctionTree* tree = nullptr;
  tv::Clique* way_to_strong_root = nullptr;  // null inside the root's region
  std::span<tv::Node*> potentials;           // nodes whose potentials are assigned here, in domain order
  tv::RareList<const tv::Table*> more_potentials;  // assigned here and owned by no node (chain graphs)

  void* user_data = nullptr;
  void* back_pointer = nullptr;
  tv_clique_s* next = nullptr;  // in the domain's list, newest first

  tv::Domain& domain() const noexcept { return *table.domain; }
  const tv::NodeList& members() const noexcept { return table.nodes; }
  size_t potential_count() const noexcept { return potentials.size() + more_potentials.size(); }
  bool has_continuous() const noexcept { return table.continuous_count > 0; }
};

struct tv_junction_tree_s {
  tv::Domain* domain = nullptr;
  tv::Clique* root = nullptr;
  std::vector<tv::Clique*> cliques;  // in the order of the domain's list (root first), null-terminated
  std::vector<tv::Node*> nodes;      // the discrete and continuous nodes of the tree, in domain order
  bool has_continuous = false;
  bool has_chain_components = false;
  long potential_exponent = 0;       // the product of the potentials is to be multiplied by 2 to this power
  uint32_t position = 0;             // in the domain's list
  tv::TreeEngine* engine = nullptr;  // of the domain's own state; null until compiled
  std::shared_ptr<tv::SparseTree> sparse;  // null where all tables are full
  double possible_bytes = 0.0;  // of one table for each clique and separator, without what is impossible

  void* user_data = nullptr;
  void* back_pointer = nullptr;
  tv_junction_tree_s* next = nullptr;  // in the domain's list, newest first

  size_t clique_count() const noexcept { return cliques.empty() ? 0 : cliques.size() - 1; }
};

namespace tv {

// The smallest table that holds a node: a separator, or a clique when `separator` is null.
struct BeliefSource {
  Clique* clique = nullptr;  // for a separator: its child
  Separator* separator = nullptr;
};

// Where a node stands in the forest.
struct NodePlacement {
  JunctionTree* tree = nullptr;
  Clique* home = nullptr;           // where evidence on the node is entered
  Clique* assigned = nullptr;       // where its potential is multiplied in
  Clique* belief_clique = nullptr;  // of the belief source, together with `belief_in_separator`
  bool belief_in_separator = false;
  bool participates = false;         // a vertex of the moral graph
  uint32_t position = 0;             // in tree->nodes
  uint32_t elimination_rank = 0;     // 1 to N; the highest is eliminated first
  Node** moral_neighbors = nullptr;  // null-terminated
  size_t component = kNone;          // in the forest's chain components

  BeliefSource belief_source() const noexcept {
    return {belief_clique, belief_in_separator ? belief_clique->parent_separator.get() : nullptr};
  }
};

// Nodes joined by undirected links. What the potentials of the members sum to, given the parents, is divided
// out by one more potential, over the parents. The numbers of both kinds of tables come with a reset.
struct ChainComponent {
  NodeList members;  // in the domain's order
  NodeList parents;  // of all members, those that take part
  struct Group {
    const Table* table = nullptr;   // of the chain potential
    std::unique_ptr<Table> scaled;  // the same with its largest entry between one and two
  };
  std::vector<Group> groups;
  std::unique_ptr<Table> divisor;  // over the parents: what to multiply with
  JunctionTree* tree = nullptr;
  long exponent = 0;  // the product of these tables is to be multiplied by 2 to this power
};

// What hosts ask about a prime component of the moral graph.
struct PrimeComponentReport {
  NodeList members;    // in the domain's node order
  double cost = 0.0;   // of its triangulation
  double bound = 0.0;  // which no triangulation goes below
};

// Symbolic: not written once it is built, but for what hosts attach to trees and cliques, and the numbers of
// chain components.
struct Forest {
  Domain* domain = nullptr;
  OwnedList<Clique> cliques;  // newest first: every parent before its children
  size_t clique_count = 0;
  OwnedList<JunctionTree> trees;  // newest first
  size_t tree_count = 0;
  std::vector<NodePlacement> nodes;  // by node number - 1
  std::vector<ChainComponent> components;
  size_t participants = 0;     // how many nodes take part
  NodeList elimination_order;  // highest rank first; made when first asked for
  std::vector<bool> optimal;   // by prime component that is not complete: proven to be of least cost
  std::vector<PrimeComponentReport> prime_components;  // made when first asked for
  // What cliques and nodes have lists of lies here, one list behind the other.
  std::vector<Link> links;
  std::vector<Node*> potentials;
  std::vector<Node*> moral_neighbors;

  std::shared_ptr<void> learning;  // what learning keeps of the stored cases, see learn/em_cases.h

  std::unique_ptr<InferenceState, void (*)(InferenceState*)> state{nullptr, [](InferenceState*) {}};

  // True as long as the queries over this forest may be used, for which its potentials must not change; null
  // until there is one.
  std::shared_ptr<std::atomic<bool>> open_queries;

  Forest() = default;
  ~Forest() { end_queries(); }
  Forest(const Forest&) = delete;
  Forest& operator=(const Forest&) = delete;
  void end_queries() noexcept {
    if (open_queries) open_queries->store(false, std::memory_order_release);
    open_queries.reset();
  }
};

inline NodePlacement& placement(const Node& node) noexcept {
  return node.domain->forest->nodes[node.number - 1];
}

inline bool is_triangulated(const Domain& domain) noexcept { return domain.forest != nullptr; }
inline bool is_compiled(const Domain& domain) noexcept { return domain.compiled; }

// The tree that answers for a node: that of the linked node where there is one; null without a forest.
JunctionTree* tree_of(const Node& node) noexcept;

// The internal form of tv_domain_triangulate: leaves a forest in the domain or leaves it untouched.
tv_status_t triangulate_as_asked(Domain& domain, tv_triangulation_method_t method);

}  // namespace tv
