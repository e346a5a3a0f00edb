// The numeric part of a compiled junction tree: tables, messages, and the strides by which they are combined.
//
// Clique and separator tables are reduced by the hard evidence: an observed node has no dimension, so that
// every pass costs time in proportion to the entries that are still possible. Observing a further node
// reduces the tables in place; a reset forgets them, and the next propagation builds them anew under its own
// evidence. The host sees full tables, made on request.
//
// Everything is allocated when the domain is compiled. A propagation allocates nothing but cached schedules,
// workspaces of threads, and the table of a clique that can no longer be lazy (schedule/lazy_clique.h).
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "inference/arena_list.h"
#include "inference/extended/wide_number.h"
#include "inference/saved_tables.h"
#include "inference/schedule/schedule.h"
#include "inference/state.h"
#include "tables/kernels/index_map.h"

namespace tv {

class ScheduleCache;
struct EliminationMemory;  // inference/elimination/elimination_schedule.h
struct CgEngine;           // inference/gaussian/cg_engine.h
struct UtilityEngine;      // inference/utility/utility_engine.h
class SparseTable;         // inference/compress/sparse_tree.h
struct SparseClique;

// Positions among the members of a clique.
using MemberIndex = uint16_t;
inline constexpr MemberIndex kNoMember = UINT16_MAX;

// A clique's or a separator's table reduced by the observed states.
struct ReducedTable {
  const NodeList* members = nullptr;
  float* numbers = nullptr;  // shape.size of them; the capacity is the full table
  Shape shape;
  unsigned char* dimension_of = nullptr;  // per member: its dimension in `shape`, or why it has none
  const SparseTable* sparse = nullptr;    // where only possible entries are stored; no member has a dimension

  static constexpr unsigned char kNoDimension = 255;  // it has a single state, or is continuous
  static constexpr unsigned char kObserved = 254;     // it is observed
  static constexpr unsigned char kUnplanned = 253;    // not determined yet
  bool spans(size_t member) const noexcept { return dimension_of[member] < kUnplanned; }
  bool is_observed(size_t member) const noexcept { return dimension_of[member] == kObserved; }
};

// A potential that is multiplied into a clique.
struct CliquePotential {
  union {
    Node* owner = nullptr;    // whose potential it is,
    const Table* free_table;  // or its table where no node owns it
  };
  const NodeList* members = nullptr;  // of the clique
  size_t layout = kNone;              // of the table that `strides` were taken from; kNone: no table
  size_t* strides = nullptr;          // per clique member, 0 where the potential lacks it
  float uniform = 1.0f;               // every entry of a node without a table
  bool has_owner = true;
  float* copy = nullptr;  // for a lazy clique: the entries that are possible

  Node* node() const noexcept { return has_owner ? owner : nullptr; }
  const Table* table() const noexcept { return has_owner ? owner->table.get() : free_table; }
};

// The belief of a node that is read from a reduced table.
struct BeliefMarginal {
  Node* node = nullptr;
  size_t member = 0;  // its position among the members
};

struct SeparatorWork {
  Separator* separator = nullptr;     // null at the position of the root
  ReducedTable old;                   // the latest marginal, on which both cliques agree
  float* ratio = nullptr;             // the update that the receiver still has to absorb
  std::span<BeliefMarginal> beliefs;  // nodes for which this is the smallest table
};

// One end of a separator as seen from a clique.
struct CliqueLink {
  uint32_t neighbor = 0;             // position of the other clique
  uint32_t back = 0;                 // the link of that clique that leads here
  uint32_t separator = 0;            // position of the child's clique
  bool holds = false;                // there has been a message through this link
  MemberIndex* member_of = nullptr;  // per clique member: its position in the separator, or kNoMember
  float* received = nullptr;         // for a lazy clique: the product of all these messages
};

// Members of a clique, each at most once, in memory that the engine owns.
struct MemberList {
  MemberIndex* members = nullptr;
  size_t count = 0;

  void push_back(size_t member) noexcept { members[count++] = static_cast<MemberIndex>(member); }
  void clear() noexcept { count = 0; }
  bool empty() const noexcept { return count == 0; }
  const MemberIndex* begin() const noexcept { return members; }
  const MemberIndex* end() const noexcept { return members + count; }
};

struct CliqueWork {
  Clique* clique = nullptr;
  bool marked = false;                   // takes part in the current propagation
  bool measured = false;                 // its conflict may differ from one
  bool lazy = false;                     // the table is formed from its factors in every pass
  bool initialized = false;              // the table holds at least the product of the potentials
  ReducedTable table;                    // without numbers where the clique is lazy
  const SparseClique* sparse = nullptr;  // where its table is
  size_t version = 0;       // grows with every change, so that a stale copy of the host can be recognised
  size_t materialized = 0;  // the version that the host's copy shows
  std::span<CliquePotential> potentials;
  std::span<CliqueLink> links;        // in the order of clique->links
  std::span<BeliefMarginal> beliefs;  // nodes for which this is the smallest table
  MemberList findings;                // members whose likelihood ratios are still to be absorbed
  double finding_probability = 1.0;   // of the findings of this step that were entered here, before it
  double conflict = 1.0;
};

struct TreeEngine {
  TreeEngine();
  ~TreeEngine();
  TreeEngine(TreeEngine&&) noexcept;
  TreeEngine& operator=(TreeEngine&&) noexcept;

  const JunctionTree* tree = nullptr;
  Domain* domain = nullptr;
  InferenceState* state = nullptr;  // to which it belongs
  NodeState* nodes = nullptr;       // of that state

  NodeState& operator[](const Node& node) const noexcept { return nodes[node.number - 1]; }
  const EnteredEvidence& entered(const Node& node) const noexcept { return *nodes[node.number - 1].entered; }
  // The propagated finding of a discrete node, one number per state, read under kFindingVector; and the
  // finding on its way into the home clique.
  tv_number_t* propagated_finding(const Node& node) const noexcept {
    return nodes[node.number - 1].belief + node.number_of_states;
  }
  tv_number_t* likelihood_ratio(const Node& node) const noexcept {
    return nodes[node.number - 1].belief + 2 * node.number_of_states;
  }
  // Its offset in the numbers of all nodes.
  size_t offset_of(const tv_number_t* node_numbers) const noexcept {
    return static_cast<size_t>(node_numbers - state->numbers.data());
  }

  tv_equilibrium_t equilibrium = tv_equilibrium_none;
  tv_evidence_mode_t mode = tv_evidence_normal;  // of the last propagation
  bool tables_touched = true;        // some potential changed since the tables were last initialised
  bool has_required = false;         // some table holds a required instantiation, see table_configuration
  size_t evidence_to_propagate = 0;  // nodes whose entered evidence differs from the propagated one
  bool evidence_propagated = false;
  bool likelihood_propagated = false;
  bool cg_evidence_propagated = false;
  double step_constant = 1.0, step_log_constant = 0.0;  // of the current propagation
  double constant = 1.0, log_constant = 0.0;            // since the last reset
  double conflict = 1.0;
  double approximation_constant = 1.0;

  // One arena for all lists: small networks are made of small lists, which cost more to allocate than to
  // fill.
  std::unique_ptr<unsigned char[]> memory;
  ArenaList<CliqueWork> cliques;        // by position in the tree
  ArenaList<SeparatorWork> separators;  // by position of the child clique
  Block<float> numbers;                 // all tables and ratios
  ArenaList<double> totals;             // accumulators of the marginals for separators
  ArenaList<double> belief_totals;
  ArenaList<double> pass_totals;     // private accumulators of the parts of a pass over a large table
  std::vector<Block<float>> stored;  // tables of cliques that were lazy once
  ArenaList<CliquePotential> clique_potentials;
  ArenaList<CliqueLink> clique_links;
  ArenaList<BeliefMarginal> belief_marginals;
  ArenaList<size_t> sizes;  // extents of shapes, strides
  ArenaList<MemberIndex> members;
  ArenaList<unsigned char> dimensions;  // of members

  // Short lists, so that a change of one finding need not traverse the tree.
  ArenaList<uint32_t> evidence;  // positions in tree->nodes of all nodes with entered or propagated evidence
                                 // or an observed state, and of some others
  ArenaList<uint32_t> changed;   // of those whose entered evidence changed since it was last absorbed
  ArenaList<uint32_t> marked;    // cliques
  ArenaList<uint32_t> measured;  // cliques
  ArenaList<uint32_t> targets;   // positions in tree->nodes of nodes with `is_target`
  bool all_in_conflict = false;  // more nodes than the pending ones may be `in_conflict`
  size_t evidence_count = 0;     // nodes with propagated evidence, and with propagated likelihoods
  size_t likelihood_count = 0;
  bool has_lazy = false;  // some clique was built without a table

  // The order of one propagation: marked cliques from the root outwards.
  ArenaList<size_t> order;
  ArenaList<size_t> reached_by;  // by clique: its link towards the root; kNone for the root and for cliques
                                 // that take no part
  ArenaList<unsigned char> barren;    // by clique: its message towards the root would be all ones
  ArenaList<unsigned char> has_sent;  // by clique: it has sent one in this propagation
  ScheduleLists streamed;             // the operations of one clique at a time

  // What a schedule works with while it runs here: its buffers of factors, and the steps of a pass.
  ArenaList<const float*> buffers;
  ArenaList<Step> bound_steps;
  ArenaList<float> clique_factors;  // by clique: the only factor of a lazy one that has no others
  std::unique_ptr<EliminationMemory> elimination;  // null until the first elimination

  // While a schedule runs: the product of the scaling factors is mantissa times 2 to the power exponent; the
  // sum of a table (for max), the mass of the root and its inverse.
  double factor_mantissa = 1.0;
  long factor_exponent = 0;
  double table_sum = 0.0;
  double mass = 0.0;
  float inverse = 1.0f;

  std::unique_ptr<CgEngine> cg;  // of a tree with continuous nodes: they have no dimensions here

  std::unique_ptr<ScheduleCache> schedules;
  bool shapes_are_stale = false;  // shapes are older than the last run of a cached schedule

  // Elimination schedules: how many new patterns are skipped after one that was not worth a schedule, and
  // whether the equilibrium came from one, so that the tables are not calibrated yet.
  double entries = 0.0;  // of all clique tables
  uint32_t patterns_to_pass = 0;
  bool elimination_pays = true;  // of a query, whose choices depend on the evidence alone
  bool marginals_only = false;
  bool awaits_initial_numbers = false;  // a sparse tree that was reset: they are loaded when they are needed
  SavedTables saved_potentials;  // by position of the node: former numbers of tables that may have changed
                                 // since the equilibrium

  // Single precision did not suffice: the tables show what is possible, but only answers count, and further
  // evidence is propagated from the potentials again.
  bool is_extended = false;
  // The binary logarithm of the greatest share of a table's mass that entries may have had which underflowed
  // while messages were distributed.
  double lost_share = -std::numeric_limits<double>::infinity();
  // The state before the last step of an extended propagation: the probability that its findings had then,
  // and the evidence of the pending nodes until then, with the finding vectors one behind the other.
  WideNumber finding_probability;
  ArenaList<int32_t> former_states;
  std::vector<tv_number_t> former_findings;
  bool knows_constants = false;  // those of the step are right, whatever becomes of the beliefs
  static constexpr uint32_t kNoConflictRoot = UINT32_MAX;
  static constexpr uint32_t kLostConflicts = UINT32_MAX - 1;  // potentials changed without notice
  uint32_t conflict_root = kNoConflictRoot;  // from which the conflicts of cliques are still to be measured,
  tv_equilibrium_t former_equilibrium = tv_equilibrium_none;  // and the equilibrium before this step

  ArenaList<Node*> pending;   // nodes whose evidence the current propagation absorbs
  ArenaList<uint32_t> trail;  // positions of nodes that the d-connection search still has to visit

  // The copy of the initial tables that a domain has when asked to.
  bool keep_copy = false;
  Block<float> copy;
  std::vector<float> copied_beliefs;
  double copied_log_constant = 0.0;  // of the required instantiations

  std::unique_ptr<UtilityEngine> utilities;  // null for a tree without utility nodes
};

inline TreeEngine& engine_of(const JunctionTree& tree) noexcept { return *tree.engine; }
inline CliqueWork& work_of(const Clique& clique) noexcept {
  return engine_of(*clique.tree).cliques[clique.position];
}
ParallelSettings parallel_settings(const Domain& domain) noexcept;

// Entries of all clique and separator tables of a tree; kHugeSize when that does not fit, or their members
// are too many to be counted.
size_t table_entries(const JunctionTree& tree) noexcept;

// The numbers that are stored for them: tables, factors and ratios.
size_t stored_entries(const JunctionTree& tree) noexcept;

// The size of the longest schedule: every clique collects and distributes, every belief is read, every node
// has a finding; and of the largest part of a streamed one, in which a single clique collects or distributes.
ScheduleSize schedule_size(const JunctionTree& tree) noexcept;
ScheduleSize streamed_size(const JunctionTree& tree) noexcept;

// Allocates lists for the longest schedule; false when there is no memory for them.
bool reserve_schedule(const JunctionTree& tree, ScheduleLists& lists) noexcept;

// Bytes of the arena with the lists of an engine.
size_t list_bytes(const JunctionTree& tree) noexcept;

// Allocates the engine of a tree of a state.
std::unique_ptr<TreeEngine> make_engine(InferenceState& state, const JunctionTree& tree);

// Allocates the numbers and lists of every tree and the belief arrays of the nodes of a state.
tv_status_t create_engines(InferenceState& state);

// The domain's own state, which is connected with what the host sees of trees and cliques.
tv_status_t create_engines(Domain& domain);
void destroy_engines(Domain& domain) noexcept;

// Reduces the tables by the nodes' `next_observed_state`: sets the shapes of cliques whose observed members
// changed, and reduces initialised tables (these can only gain observed members). Without `everywhere` only
// cliques with such members are looked at.
void apply_observed_states(TreeEngine& engine, bool everywhere = true) noexcept;

// Sets shapes and strides to those of the present observed states, where a cached schedule has left stale
// ones.
void refresh_shapes(TreeEngine& engine) noexcept;

// Calls visit(node) for each node that has evidence, entered or propagated, and for some that had.
template <class Visit>
void for_each_with_evidence(const TreeEngine& engine, Visit visit) {
  for (const uint32_t position : engine.evidence) visit(*engine.tree->nodes[position]);
}

// Forgets all numbers; the next propagation starts from the potentials.
void forget_tables(TreeEngine& engine) noexcept;

// The strides of a potential, of the separator of a link, and of a single member along each dimension of a
// reduced table.
void step_in_potential(const ReducedTable& table, const CliquePotential& plan, size_t* steps) noexcept;
void step_in_separator(const ReducedTable& table, const CliqueLink& link, const ReducedTable& separator,
                       size_t* steps) noexcept;
void step_in_member(const ReducedTable& table, size_t member, size_t* steps) noexcept;

// Takes the strides of a potential from its node's present table; whether its layout was another one.
bool refresh_potential(CliquePotential& plan) noexcept;

}  // namespace tv
