// The conditional-Gaussian side of a tree with continuous nodes.
//
// In a strong junction tree the cliques fall into components, each joined by separators with continuous
// members; on the way out of a component's root no further discrete node appears. So, whatever is observed of
// its continuous nodes, the message of a component to the discrete nodes is a single number for each
// configuration of the root's discrete members: the density of those observations. The discrete tables of all
// cliques therefore form an ordinary discrete engine (inference/engine.h), into which those densities are
// multiplied; and given its probabilities the components answer for the continuous nodes.
//
// A component collects regressions, configuration by configuration: each clique combines its potentials with
// what its children send about the shared nodes, stores the regressions of the nodes that end there and
// passes on the others. Evidence is put in where potentials are read, so that nothing is ever conditioned on
// later. Means and variances travel outwards, mixed where a child knows fewer discrete nodes (the weak
// marginals of Lauritzen 1992). Both passes are made when an answer needs them; only what new evidence has
// changed is done again.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "inference/engine.h"
#include "network/progress.h"
#include "tables/cg_block.h"

namespace tv {

// A continuous node and the value under which the components have collected.
struct CgNode {
  Node* node = nullptr;
  size_t home = kNone;      // the CG clique from which its results are read
  size_t assigned = kNone;  // the one to which its potential is assigned
  bool observed = false;
  double value = 0.0;
};

// A continuous node's own regression, read from its table.
struct CgPotential {
  struct Term {
    size_t node = 0;      // among the continuous nodes of the tree
    size_t position = 0;  // in the clique
    size_t slot = 0;      // of its coefficient in a block of the table
  };
  size_t node = 0;
  size_t position = 0;
  size_t layout = kNone;  // of the table from which slots and strides were taken
  size_t intercept = 0, variance = 0;
  size_t* steps = nullptr;  // per discrete member of the clique: its stride in the table
  std::span<Term> terms;    // the continuous parents
};

struct CgClique {
  Clique* clique = nullptr;
  size_t component = 0;
  size_t parent = kNone;  // of the same component; kNone: its root
  size_t first_child = kNone, next_sibling = kNone;
  size_t count = 0;                // continuous members
  size_t shared = 0;               // those shared with the parent, which stand first
  size_t* nodes = nullptr;         // the members, among the continuous nodes of the tree
  size_t* in_parent = nullptr;     // per shared member: its position in the parent
  size_t* parent_steps = nullptr;  // per discrete member of the parent: its stride here
  size_t discrete = 0;             // discrete members, which stand first in the clique's table
  size_t size = 1;                 // their configurations
  std::span<CgPotential> potentials;
  double* regressions = nullptr;       // a block per configuration
  double* densities = nullptr;         // the logarithm of the density of the evidence from here outwards
  double* factors = nullptr;           // a block of the shared members per configuration
  unsigned char* possible = nullptr;   // per configuration: it has positive probability
  unsigned char* collected = nullptr;  // per configuration: flags below
  size_t distributed = 0;              // the round in which the factors were made
  bool stale = false;                  // the evidence behind its regressions has changed
};

enum CgFlags : unsigned char { kCgCollected = 1, kCgVanishing = 2, kCgLow = 4 };

struct CgComponent {
  std::span<size_t> cliques;            // its root first, every parent before its children
  size_t* accumulator_steps = nullptr;  // per discrete member of its accumulator: its stride in the root
  size_t collected = 0;                 // the round in which it was last brought up to date
  size_t resets = 0;                    // the engine's count when its possible configurations were last found
  bool changed = true;                  // the accumulator holds older densities
};

// A clique that absorbs the densities of one or more components over the same discrete nodes. Summed as
// logarithms before they reach a table of single precision, they cannot underflow on the way.
struct CgAccumulator {
  Clique* clique = nullptr;
  std::vector<size_t> components;
  double* applied = nullptr;  // per configuration: the logarithm of the density that its table holds
};

struct CgEngine {
  const JunctionTree* tree = nullptr;
  TreeEngine* discrete = nullptr;  // of the same tree: it holds the discrete nodes, and the evidence
  std::vector<CgClique> cliques;   // in the order of the tree
  std::vector<CgComponent> components;
  std::vector<CgAccumulator> accumulators;
  std::vector<CgNode> nodes;      // in the order of the tree
  std::vector<size_t> clique_at;  // by position in the tree; kNone for discrete cliques
  std::vector<size_t> component_cliques;
  std::vector<CgPotential> potentials;
  std::vector<CgPotential::Term> terms;
  std::vector<size_t> indexes;
  Block<double> numbers;
  Block<double> applied;
  Block<unsigned char> flags;

  // Workspace, for the largest clique.
  Block<float> weights;        // the discrete table of a clique
  Block<double> totals;        // weights mixed in per configuration
  Block<double> block;         // one block of factors
  Block<double> coefficients;  // one number per continuous member
  std::vector<size_t> path;    // cliques still to be distributed to
  std::vector<size_t> positions;
  std::vector<const size_t*> walk_steps;
  std::vector<size_t> walk_offsets;

  size_t round = 1;              // grows with every propagation
  size_t resets = 1;             // how often the discrete tables have been forgotten
  bool holds_densities = false;  // the discrete tables hold the densities of the evidence
  double growth = 0.0;           // since they first did: the logarithm of the factor by which an entry that
                                 // underflowed then could have grown
  size_t observed = 0;           // how many nodes are observed
};

// Bytes of an engine and everything that it holds; kHugeSize when that does not fit.
size_t cg_memory_needed(const JunctionTree& tree) noexcept;

// `error` when the root of the tree is not a strong one.
tv_status_t create_cg_engine(TreeEngine& engine);

// Takes slots and strides from the tables of the nodes where these have changed their layout.
void refresh_cg_potentials(CgEngine& engine, CgClique& clique) noexcept;

// The position of a node in a clique; kNone where it is no member.
size_t cg_position(const CgEngine& engine, const CgClique& clique, size_t node) noexcept;

// Finds the record of a continuous node of the tree.
CgNode& cg_node(CgEngine& engine, const Node& node) noexcept;

// Whether a node of the component is observed.
bool holds_evidence(const CgEngine& engine, const CgComponent& component) noexcept;

// Visits the configurations of a clique in order and tracks, for several other tables, the index of the
// configuration there.
class CgWalk {
 public:
  // The strides of table t are `engine.walk_steps[t]`, one per discrete member.
  CgWalk(CgEngine& engine, const Clique& clique, size_t tables) noexcept;
  size_t index() const noexcept { return index_; }
  size_t offset(size_t table) const noexcept { return offsets_[table]; }
  bool done() const noexcept { return index_ == clique_.table.size; }
  void next() noexcept;

 private:
  const Clique& clique_;
  size_t* position_;
  size_t* offsets_;
  const size_t* const* steps_;
  size_t tables_;
  size_t index_ = 0;
};

// ---- The two passes ----

// The evidence of a node was replaced in its record: the cliques that read it are stale.
void mark_stale(CgEngine& engine, const CgNode& node) noexcept;

// Forgets the regressions of stale cliques and of all that depend on their messages.
void forget_stale_regressions(CgEngine& engine) noexcept;
void forget_all_regressions(CgEngine& engine) noexcept;

// Brings the regressions of a component up to date for every configuration that is possible now.
// Stops, with `error`, only where the host asks for it through `progress`.
tv_status_t collect_component(CgEngine& engine, size_t component, ProgressMeter* progress = nullptr) noexcept;

// Completes `engine.block` by the factors of configuration `index`, up to the first `count` members. The
// factors of the shared members have been made.
void complete_factors(CgEngine& engine, const CgClique& clique, size_t index, size_t count) noexcept;

// Makes the factors of the clique's shared members, and of all cliques on the way to it.
void distribute_to(CgEngine& engine, size_t clique) noexcept;

// ---- Propagation ----

// Records the entered values of the tree's continuous nodes, which then count as propagated.
void record_values(CgEngine& engine) noexcept;

// Withdraws all values, so that the components answer as if nothing had been observed.
void drop_values(CgEngine& engine) noexcept;

struct CgAbsorption {
  bool any = false;     // some table has changed, and its clique is marked
  double shift = 0.0;   // the logarithm of the factor that was left out of the tables
  double growth = 0.0;  // of the factor by which an entry can have grown more than the most probable one
};

// Multiplies the densities of the evidence into the discrete tables of the accumulators.
tv_status_t absorb_densities(CgEngine& engine, CgAbsorption& result) noexcept;

// The same where the tables are made from the densities: calls take(accumulator, logarithms) for each
// accumulator with evidence, with a number for each configuration of its clique. Until then, tables hold no
// densities.
template <class Take>
tv_status_t collect_densities(CgEngine& engine, Take take);
tv_status_t add_all_densities(CgEngine& engine, const CgAccumulator& accumulator, bool& any) noexcept;

// And afterwards.
void note_densities(CgEngine& engine) noexcept;

template <class Take>
tv_status_t collect_densities(CgEngine& engine, Take take) {
  for (const CgAccumulator& accumulator : engine.accumulators) {
    bool any = false;
    if (tv_status_t status = add_all_densities(engine, accumulator, any)) return status;
    if (any) take(accumulator, std::span<const double>(accumulator.applied, accumulator.clique->table.size));
  }
  return tv_status_none;
}

}  // namespace tv
