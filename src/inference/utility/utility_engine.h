// Expected utilities of a tree. Beside the probabilities, whose tables live in TreeEngine, every separator
// has two messages, one in each direction: the probability of its configurations given the evidence behind
// it, and the utility that is expected there given each of them (Lauritzen and Nilsson 2001). As in
// Shafer-Shenoy propagation nothing is divided, and no clique table is stored: a clique's table is the
// product of its potentials and of the messages that it has received, formed anew, in double precision,
// whenever it is summed over. A message stays valid until something behind its separator changes, whether
// that is evidence or a policy.
//
// Everything is allocated when the domain is compiled.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "inference/engine.h"
#include "inference/saved_tables.h"
#include "tables/kernels/product_pass.h"

namespace tv {

// A table (potential, policy or utilities) along the dimensions of the clique to which it is assigned.
struct UtilityOperand {
  Node* node = nullptr;               // whose table it is, or null
  const Table* free_table = nullptr;  // one that no node owns
  size_t layout = kNone;              // of the table that `strides` were taken from; kNone: none yet
  size_t* strides = nullptr;          // per clique member, 0 where the table lacks it
  IndexMap map;

  const Table* table() const noexcept { return free_table ? free_table : node->table.get(); }
  bool is_utility() const noexcept { return node && node->category == tv_category_utility; }
};

// One end of a separator, and the message that the clique receives through it.
struct UtilityLink {
  size_t neighbor = 0;  // position of the other clique
  size_t back = 0;      // the link of that clique that leads here
  const NodeList* members = nullptr;
  size_t* member_of = nullptr;  // per clique member: its position in the separator, or kNone
  IndexMap map;
  double* probability = nullptr;  // up to a factor
  double* utility = nullptr;      // 0 where the probability is
  int32_t* exponents = nullptr;   // of the probabilities, as powers of two, where `is_wide`
  size_t capacity = 0;            // configurations without evidence, the capacity of the lists
  bool valid = false;
  bool is_wide = false;      // doubles do not hold all probabilities
  bool has_utility = false;  // false: all zero, because there are no utilities behind the separator
};

// A node whose home is the clique: its findings are multiplied in, its expected utilities are read here.
struct UtilityMember {
  Node* node = nullptr;
  size_t member = 0;
  IndexMap map;
  float* finding = nullptr;  // one per state; read where the finding does not reduce the shapes
};

struct UtilityClique {
  const Clique* clique = nullptr;
  Shape shape;                     // of the unobserved members
  size_t* dimension_of = nullptr;  // per member: its dimension, or kNone
  std::span<UtilityOperand> operands;
  std::span<UtilityLink> links;
  std::span<UtilityMember> homes;
  bool dirty = false;           // while changes are absorbed
  size_t materialized = kNone;  // the version that the host's copy of the utility table shows
};

struct UtilityEngine {
  const JunctionTree* tree = nullptr;
  TreeEngine* probabilities = nullptr;  // of the same tree: it holds the evidence, too

  NodeState& operator[](const Node& node) const noexcept { return (*probabilities)[node]; }

  std::vector<UtilityClique> cliques;  // by position in the tree
  std::vector<UtilityOperand> operands;
  std::vector<UtilityLink> links;
  std::vector<UtilityMember> homes;
  std::vector<size_t> indexes;
  std::vector<size_t> map_steps;
  std::vector<Dimension> map_nests;
  Block<double> messages;
  Block<int32_t> message_exponents;
  Block<float> findings;
  Block<double> expected;  // of the nodes' states; of utility nodes the expectation and the variance
  Block<double> totals;    // of the states of the nodes that are read together: probability, then utility
  Block<int32_t> total_exponents;
  ProductPass pass;
  struct Hop {
    size_t clique, link;
  };
  std::vector<Hop> path;  // of a traversal of the tree
  tv_evidence_mode_t mode = tv_evidence_normal;
  SavedTables saved_tables;  // by operand: those that may have changed since they were propagated
  bool stale = true;         // messages and results do not belong to the present tables
  size_t version = 0;        // grows with every change of results, for the host's copies
  double scale = 0.0;        // bound of the sum of all utilities
};

// Null for a tree without utility nodes.
std::unique_ptr<UtilityEngine> new_utility_engine(TreeEngine& probabilities);
size_t utility_engine_bytes(const JunctionTree& tree) noexcept;

// The clique utility tables show the results of the domain's own state, or nothing.
void attach_utilities(const JunctionTree& tree) noexcept;
void detach_utilities(const JunctionTree& tree) noexcept;

// Invalidates all messages: the tables of the tree have changed, or its evidence as a whole.
void forget_utilities(TreeEngine& probabilities) noexcept;

// Brings the expected utilities in line with the evidence that was propagated. `changed` lists the nodes
// whose evidence differs from that of the last time.
void update_expected_utilities(TreeEngine& probabilities, std::span<Node* const> changed) noexcept;

// Sets shapes and strides to those of the observed states where these have changed, and marks such cliques as
// dirty. Whether a state is observed depends on the tree's evidence mode.
void shape_utilities(UtilityEngine& engine) noexcept;

// Takes the strides of an operand from its node's present table.
void refresh_operand(const UtilityClique& work, UtilityOperand& operand) noexcept;

// Offset of the observed states within an operand's table.
size_t known_offset(const UtilityEngine& engine, const UtilityClique& work,
                    const UtilityOperand& operand) noexcept;

// Whether the operand is a factor: the policy of a decision with evidence is none, nor is a node without a
// table.
bool counts(const UtilityEngine& engine, const UtilityOperand& operand) noexcept;

// The position of a node's table among the operands; kNone where it is none of them.
size_t operand_of(const UtilityEngine& engine, const Node& node) noexcept;

// Makes all messages to a clique valid.
void collect_utilities(UtilityEngine& engine, size_t clique) noexcept;

// Invalidates the messages that leave the clique, and all that depend on them.
void invalidate_messages(UtilityEngine& engine, size_t clique) noexcept;

// Fills `pass` with the factors and terms of a clique whose messages are valid, all but the message of one
// link (kNone: none), the findings of one node and the table of another.
struct Omissions {
  size_t link = kNone;
  const Node* finding = nullptr;
  const Node* table = nullptr;
};
void prepare_pass(UtilityEngine& engine, size_t clique, const Omissions& omitted) noexcept;

// For each entry of a decision's table: the probability of the configuration up to a common factor, times the
// utility expected there under all policies but the decision's own. `masses` gets the probabilities. Both
// arrays have the size of the table and hold zeros; entries that evidence rules out stay zero. The factor is
// common to the states of the decision only; `exponents` has to hold as many numbers.
void sum_over_family(UtilityEngine& engine, const Node& decision, double* utilities, double* masses,
                     int32_t* exponents) noexcept;

}  // namespace tv
