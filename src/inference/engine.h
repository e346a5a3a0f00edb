// The numbers of a compiled junction tree and the plans over them.
//
// Clique and separator tables are held restricted to what the hard evidence allows: a node that is
// fixed to one state has no dimension, so that every pass costs time in proportion to the entries that
// are still possible. Fixing a further node cuts the tables down in place; a reset forgets them, and the
// next propagation builds them anew under its own evidence. The host sees full tables, made on request.
//
// Everything is allocated when the domain is compiled. A propagation allocates nothing but kept schedules and
// plans, what threads need, and once the table of a clique that can no longer do without one (lazy.h).
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "compile/forest.h"
#include "inference/extended/wide_number.h"
#include "inference/fixed_list.h"
#include "inference/kept_tables.h"
#include "inference/schedule/schedule.h"
#include "tables/kernels/index_map.h"

namespace tv {

class ScheduleCache;
struct CgEngine;       // inference/gaussian/cg_engine.h
struct UtilityEngine;  // inference/utility/utility_engine.h

// Positions among the members of a clique.
using MemberIndex = uint16_t;
inline constexpr MemberIndex kNoMember = UINT16_MAX;

// A clique's or a separator's table restricted to the states that are fixed.
struct ReducedTable {
  const NodeList* members = nullptr;
  float* numbers = nullptr;  // shape.size of them; room for the full table
  Shape shape;
  unsigned char* dimension_of = nullptr;  // per member: its dimension in `shape`, or why it has none

  static constexpr unsigned char kNoDimension = 255;  // it has a single state, or is continuous
  static constexpr unsigned char kObserved = 254;     // its state is fixed
  static constexpr unsigned char kUnplanned = 253;    // it is not known yet
  bool spans(size_t member) const noexcept { return dimension_of[member] < kUnplanned; }
  bool is_observed(size_t member) const noexcept { return dimension_of[member] == kObserved; }
};

// A potential that is multiplied into a clique.
struct PotentialPlan {
  union {
    Node* owner = nullptr;    // whose potential it is,
    const Table* free_table;  // or what it is where no node owns it
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

// The belief of a node read from a restricted table.
struct BeliefPlan {
  Node* node = nullptr;
  size_t member = 0;  // its position among the members
};

struct SeparatorWork {
  Separator* separator = nullptr;  // null for the root's place
  ReducedTable old;                // the marginal that both sides agree on
  float* ratio = nullptr;          // the update that the receiver still has to multiply in
  std::span<BeliefPlan> beliefs;   // nodes for which this is the smallest table
};

// One end of a separator as seen from a clique.
struct LinkPlan {
  uint32_t neighbor = 0;             // position of the other clique
  uint32_t back = 0;                 // the link of that clique that leads here
  uint32_t separator = 0;            // position of the child's clique
  bool holds = false;                // there has been a message through this link
  MemberIndex* member_of = nullptr;  // per clique member: its position in the separator, or kNoMember
  float* received = nullptr;         // for a lazy clique: the product of all these messages
};

// Members of a clique, each at most once, in room that was given to it.
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
  bool marked = false;       // takes part in the current propagation
  bool measured = false;     // its conflict may differ from one
  bool lazy = false;         // the table is formed from its factors in every pass
  bool initialized = false;  // the table holds at least the product of the potentials
  float constant = 1.0f;     // the only factor of a lazy clique that has no others
  ReducedTable table;        // without numbers where the clique is lazy
  size_t version = 0;        // grows with every change, so that the host's copy can be told stale
  size_t materialized = 0;   // the version that the host's copy shows
  std::span<PotentialPlan> potentials;
  std::span<LinkPlan> links;         // in the order of clique->links
  std::span<BeliefPlan> beliefs;     // nodes for which this is the smallest table
  MemberList findings;               // members whose update findings wait to be multiplied in
  double finding_probability = 1.0;  // of the findings of this step that were entered here, before it
};

struct TreeEngine {
  TreeEngine();
  ~TreeEngine();

  JunctionTree* tree = nullptr;
  Domain* domain = nullptr;
  // The lists lie in one block: small networks are made of small lists, which cost more to allocate than to
  // fill.
  std::unique_ptr<unsigned char[]> memory;
  FixedList<CliqueWork> cliques;        // by position in the tree
  FixedList<SeparatorWork> separators;  // by position of the child clique
  Block<float> numbers;                 // all tables and ratios
  FixedList<double> totals;             // marginals on their way into separators
  FixedList<double> belief_totals;
  FixedList<double> pass_totals;     // of the parts of a pass over a large table
  std::vector<Block<float>> stored;  // tables of cliques that were lazy once
  FixedList<PotentialPlan> potential_plans;
  FixedList<LinkPlan> link_plans;
  FixedList<BeliefPlan> belief_plans;
  FixedList<size_t> sizes;  // counts of shapes, strides
  FixedList<MemberIndex> members;
  FixedList<unsigned char> dimensions;  // of members

  // What there is little of is listed, so that a change of one finding need not walk over the tree.
  FixedList<uint32_t> evidence;  // positions in tree->nodes of all nodes with entered or propagated
                                 // evidence or a fixed state, and of some others
  FixedList<uint32_t> changed;   // of those whose entered evidence changed since it was last taken in
  FixedList<uint32_t> marked;    // cliques
  FixedList<uint32_t> measured;  // cliques
  FixedList<uint32_t> targets;   // positions in tree->nodes of nodes with `is_target`
  bool all_in_conflict = false;  // more nodes than the pending ones may be `in_conflict`
  size_t evidence_count = 0;     // nodes with propagated evidence, and with propagated likelihoods
  size_t likelihood_count = 0;
  bool has_lazy = false;  // some clique was built without a table

  // The schedule of one propagation: marked cliques from the root outwards.
  FixedList<size_t> order;
  FixedList<size_t> reached_by;       // by clique: its link towards the root; kNone for the root and
                                      // for cliques that take no part
  FixedList<unsigned char> barren;    // by clique: its message towards the root would be all ones
  FixedList<unsigned char> has_sent;  // by clique: it has sent one in this propagation
  ScheduleLists portion;              // what one clique does, written just before it is done

  // While a schedule runs: the product of the factors is mantissa times 2 to the power exponent; the sum of a
  // table (for max), the mass of the root and its inverse.
  double factor_mantissa = 1.0;
  long factor_exponent = 0;
  double table_sum = 0.0;
  double mass = 0.0;
  float inverse = 1.0f;

  std::unique_ptr<CgEngine> cg;  // of a tree with continuous nodes: they have no dimensions here

  std::unique_ptr<ScheduleCache> schedules;
  bool plans_are_stale = false;  // a kept schedule was run: shapes and maps are those of an earlier
                                 // propagation

  // Elimination plans: how many new patterns are passed by, since one was not worth a plan, and whether the
  // equilibrium came from a plan, so that there are no tables yet.
  double entries = 0.0;  // of all clique tables
  uint32_t patterns_to_pass = 0;
  bool marginals_only = false;
  KeptTables kept_potentials;  // then, by position of the node: what may have changed since

  // Single precision did not suffice: the tables show what is possible, but only answers count, and further
  // evidence is propagated from the potentials again.
  bool is_extended = false;
  // The binary logarithm of the greatest share of a table's mass that entries may hold which became too small
  // while messages were distributed.
  double lost_share = -std::numeric_limits<double>::infinity();
  // What such a propagation needs to know of the step: the probability that its findings had before it, and
  // what was known of the pending nodes until then, with the finding vectors one behind the other.
  WideNumber finding_probability;
  FixedList<int32_t> former_states;
  std::vector<tv_number_t> former_findings;
  bool knows_constants = false;  // those of the step are right, whatever becomes of the beliefs
  static constexpr uint32_t kNoConflictRoot = UINT32_MAX;
  static constexpr uint32_t kLostConflicts = UINT32_MAX - 1;  // potentials changed without notice
  uint32_t conflict_root = kNoConflictRoot;  // from which the conflicts of cliques are still to be found,
  tv_equilibrium_t former_equilibrium = tv_equilibrium_none;  // and the equilibrium before this step

  FixedList<Node*> pending;   // nodes whose evidence the current propagation takes in
  FixedList<uint32_t> trail;  // positions of nodes that the d-connection search still has to visit

  // The copy of the initial tables that the domain keeps when asked to.
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

// The numbers that are kept for them: tables, factors and ratios.
size_t kept_entries(const JunctionTree& tree) noexcept;

// Room for the longest schedule: every clique collects and distributes, every belief is read, every node has
// a finding; and for the longest portion of one, in which one clique does one of these.
ScheduleSize schedule_size(const JunctionTree& tree) noexcept;
ScheduleSize streamed_size(const JunctionTree& tree) noexcept;

// Allocates room for the longest schedule; false when there is no memory for it.
bool reserve_schedule(const JunctionTree& tree, ScheduleLists& lists) noexcept;

// Bytes of the block with the lists of an engine.
size_t list_bytes(const JunctionTree& tree) noexcept;

// Allocates the numbers and plans of every tree and the belief arrays of the nodes.
tv_status_t create_engines(Domain& domain);
void destroy_engines(Domain& domain) noexcept;

// Restricts the tables to the nodes' `next_observed_state`: makes plans for cliques whose fixed members
// changed, and cuts initialised tables down (these can only gain fixed members). Without `everywhere` only
// cliques with such members are looked at.
void apply_observed_states(TreeEngine& engine, bool everywhere = true) noexcept;

// Makes shapes and maps those of the states that are fixed now, where a kept schedule has left them behind.
void refresh_plans(TreeEngine& engine) noexcept;

// Calls visit(node) for each node that has evidence, entered or propagated.
// Some that are met have none any more.
template <class Visit>
void for_each_with_evidence(const TreeEngine& engine, Visit visit) {
  for (const uint32_t position : engine.evidence) visit(*engine.tree->nodes[position]);
}

// Forgets all numbers; the next propagation starts from the potentials.
void forget_tables(TreeEngine& engine) noexcept;

// The steps that a potential, the separator of a link, and a single member take along each dimension of a
// restricted table.
void step_in_potential(const ReducedTable& table, const PotentialPlan& plan, size_t* steps) noexcept;
void step_in_separator(const ReducedTable& table, const LinkPlan& link, const ReducedTable& separator,
                       size_t* steps) noexcept;
void step_in_member(const ReducedTable& table, size_t member, size_t* steps) noexcept;

// Offset of the states that are fixed now within a potential.
size_t observed_offset(const PotentialPlan& plan) noexcept;

// Takes the strides of a potential from its node's present table; whether they were not those in the plan.
bool refresh_potential(PotentialPlan& plan) noexcept;

}  // namespace tv
