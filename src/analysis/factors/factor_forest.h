// The compiled forest as products of factors under the entered evidence: what sums and maxima of analyses
// run over, in doubles and without clique tables. It only reads the network.
#pragma once

#include <algorithm>
#include <deque>
#include <memory>
#include <vector>

#include "compile/forest.h"
#include "tables/kernels/index_map.h"

namespace tv {

// A potential, or the likelihood finding on a node. Its numbers are those of the whole table; what the
// observed states leave of them begins at `offset`.
struct ForestFactor {
  const Node* owner = nullptr;   // whose potential or finding it is; null for a table of a chain component
  const Table* table = nullptr;  // null for a finding, and for a potential that counts as uniform
  size_t first = 0;              // of its numbers among those of all factors
  size_t size = 1;
  size_t offset = 0;
  OwnIndexMap map;
  bool is_finding = false;

  explicit ForestFactor(size_t dimensions) : map(dimensions) {}
};

// Whether it is neither observed nor of a single state: a dimension wherever it occurs.
inline bool is_open(const Node& node) noexcept {
  return is_discrete(node) && node.number_of_states > 1 && node.entered.state < 0;
}

// What a clique receives from a neighbour that is further from the root.
struct FactorChild {
  uint32_t clique;  // its position in the forest
  OwnIndexMap map;
  FactorChild(uint32_t position, size_t dimensions) : clique(position), map(dimensions) {}
};

// Factors and messages over nodes that are all among those of one of them: their product is formed first,
// which is smaller than the clique.
struct OperandGroup {
  struct Member {
    size_t operand;  // of the factors, then of the children
    OwnIndexMap map;
    Member(size_t number, size_t dimensions) : operand(number), map(dimensions) {}
  };
  std::vector<size_t> dimensions;  // of the clique, ascending
  std::unique_ptr<OwnShape> shape;
  std::unique_ptr<OwnIndexMap> map;  // of the clique
  std::deque<Member> members;
};

// Observed nodes and those of one state have no dimension. Those of the separator towards the root stand
// first, so that the entries of one configuration of the separator, a *row*, are contiguous.
struct FactorClique {
  const Clique* clique = nullptr;  // null for the root of the forest, which connects the trees
  uint32_t parent = UINT32_MAX;
  size_t separator_nodes = 0;  // how many of `nodes` are in the separator
  size_t separator_size = 1;
  std::vector<const Node*> nodes;
  std::unique_ptr<OwnShape> shape;
  std::unique_ptr<OwnIndexMap> separator;  // onto the message to the parent
  std::deque<ForestFactor> factors;
  std::deque<FactorChild> children;
  std::vector<OperandGroup> groups;

  // Of an operand: a factor or what a child sends.
  size_t operand_count() const noexcept { return factors.size() + children.size(); }
  const IndexMap& operand_map(size_t operand) const noexcept {
    return operand < factors.size() ? factors[operand].map : children[operand - factors.size()].map;
  }
  size_t row_size() const noexcept { return shape->size / separator_size; }
};

class FactorForest {
 public:
  // All trees, each directed towards its own root. Among the nodes of a clique that are not in its separator,
  // those marked in `early` (by node number - 1; empty for none) stand first.
  explicit FactorForest(const Domain& domain, const std::vector<bool>& early = {});

  // The tree of `root` alone, directed towards it.
  FactorForest(const Domain& domain, const Clique& root);

  const Domain& domain() const noexcept { return domain_; }
  // The first is the root of the forest; each clique stands before its children.
  const std::vector<FactorClique>& cliques() const noexcept { return cliques_; }
  size_t position_of(const Clique& clique) const noexcept { return positions_[clique.index - 1]; }

  // The numbers of all factors; analyses may change theirs, such as to logarithms.
  std::vector<double>& numbers() noexcept { return numbers_; }
  const std::vector<double>& numbers() const noexcept { return numbers_; }
  const double* numbers_of(const ForestFactor& factor) const noexcept {
    return numbers_.data() + factor.first + factor.offset;
  }

 private:
  void add_tree(const Clique& root);
  void build_cliques(const std::vector<bool>& early);
  void list_nodes(FactorClique& clique, const std::vector<bool>& early) const;
  void build(FactorClique& clique);
  static void group_operands(FactorClique& clique);
  void add_potential(FactorClique& clique, const Node* owner, const Table* table);
  void add_finding(FactorClique& clique, const Node& node);

  const Domain& domain_;
  std::vector<FactorClique> cliques_;
  std::vector<uint32_t> positions_;                 // by index of the clique - 1
  std::vector<std::vector<const Node*>> findings_;  // by position
  std::vector<double> numbers_;
};

// Sets the strides of a table over these nodes along the dimensions of a clique, and finishes the map.
// Returns the offset to which the observed states lead.
size_t map_table(const FactorClique& clique, const NodeList& nodes, IndexMap& map) noexcept;

// A group without members over some dimensions of a clique.
OperandGroup group_over(const FactorClique& clique, const std::vector<size_t>& dimensions);

// The position of a node that is there.
inline size_t position_in(const std::vector<const Node*>& nodes, const Node* node) noexcept {
  return static_cast<size_t>(std::find(nodes.begin(), nodes.end(), node) - nodes.begin());
}

// The refusal, stored, where the domain is not compiled, its tables have changed since it was propagated, or
// what is entered may not be propagated.
tv_status_t check_for_factors(const Domain& domain);

// `inconsistency_or_underflow`, stored with a message.
tv_status_t refuse_impossible_evidence() noexcept;

}  // namespace tv
