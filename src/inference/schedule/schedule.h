// A propagation is compiled into a schedule: a list of passes over tables and of messages between them. A
// schedule depends on which nodes are observed, not on their states, so that a cached one serves every later
// propagation with the same nodes observed, in every state of the forest.
#pragma once

#include <cstdint>
#include <memory>

#include "inference/arena_list.h"
#include "network/types.h"
#include "tables/kernels/index_map.h"

namespace tv {

// Where a schedule reads and writes: in buffers of the state that runs it, at an offset.
struct Place {
  uint32_t buffer = 0;
  size_t offset = 0;
};

// Buffers of factors. Of each potential, the entries that agree with the observed states are a buffer of
// their own.
enum FactorBuffer : uint32_t {
  kTables,          // clique and separator tables, messages, copies of potentials
  kNodeNumbers,     // findings and likelihood ratios
  kCliqueFactors,   // by clique: the only factor of a lazy one
  kInverseOfMass,   // of the root
  kInitialTables,   // of sparse cliques, without evidence
  kConstants,       // of the schedule
  kTransposed,      // of the running thread: a message before it is transposed
  kFirstPotential,  // and so on
};

// Buffers of sums and maxima.
enum TotalsBuffer : uint32_t { kMessageTotals, kBeliefTotals, kRootMass, kTableSum };
inline constexpr size_t kTotalsBuffers = 4;

// A step of a pass before its place and its map, which are positions here, are found.
struct ScheduleStep {
  StepKind operation;
  uint32_t map;  // in the list of maps
  Place place;   // of a factor; of sums and maxima, where they are accumulated

  bool is_factor() const noexcept { return operation == StepKind::assign || operation == StepKind::multiply; }
};

enum class OperationKind : unsigned char {
  collect,         // a clique absorbs its incoming messages and sends one towards the root
  root,            // the same for the root, whose mass is the constant of the propagation
  pass,            // steps over a clique's table
  separator_pass,  // steps over a separator's table
  message,         // a marginal formed in a pass becomes the message to a clique away from the root
  belief           // a marginal formed in a pass becomes a node's belief
};

struct Operation {
  static constexpr uint32_t kNoLink = UINT32_MAX;

  OperationKind kind;
  bool has_past = true;      // message: the separator has an old marginal to divide by
  bool starts_anew = false;  // collect, root: the first step initialises the table, whatever it held before
  bool repeats = false;      // pass: an earlier pass has brought the table up to date
  uint32_t clique = 0;       // position of the clique that is passed over or sends
  uint32_t link = kNoLink;   // collect, message: through which the message is sent; pass: through which the
                             // latest one came; separator pass, belief: of the separator, if any
  uint32_t belief = 0;       // of a belief: its position among all of the tree
  uint32_t updates = 0;      // collect, root: how many of the steps change the table
  uint32_t formed = 0;       // how many of the steps form the product of a lazy clique
  uint32_t step_count = 0;
  size_t first_step = 0;
  size_t size = 0;          // collect, message: entries of the separator
  size_t totals = 0;        // collect, message, belief: offset of the marginal in the accumulators
  size_t clear_totals = 0;  // pass: how many accumulators of messages and of beliefs it sets to zero
  size_t clear_beliefs = 0;
  Shape shape;  // of the table that is passed over
};

// A member that is observed, and its stride in a potential.
struct ObservedMember {
  uint32_t node;  // its number - 1
  size_t stride;
};

// A potential that is multiplied into a clique: where its possible entries begin depends on the observed
// states.
struct SchedulePotential {
  uint32_t position = 0;   // among all of the tree
  bool is_copied = false;  // before the schedule runs
  uint32_t first_observed = 0, observed_count = 0;
};

struct GatherOperation;  // inference/schedule/gather_schedule.h
struct GatherFactor;

// Operations over small tables as lists of positions, with others in between. Without any there are none.
struct GatherSchedule {
  const GatherOperation* operations = nullptr;
  size_t operation_count = 0;
  const GatherFactor* factors = nullptr;
};

struct Schedule {
  const Operation* operations = nullptr;
  size_t operation_count = 0;
  const ScheduleStep* steps = nullptr;
  const IndexMap* maps = nullptr;
  const SchedulePotential* potentials = nullptr;
  size_t potential_count = 0;
  const ObservedMember* observed = nullptr;
  const float* constants = nullptr;
  GatherSchedule gather;  // of a cached schedule, with `operations` in between
};

// The number of entries in each list of a schedule.
struct ScheduleSize {
  size_t operations = 0, steps = 0, maps = 0, potentials = 0, observed = 0;
  size_t map_steps = 0, map_nests = 0, counts = 0;  // of all maps, and of all shapes
  size_t constants = 0;

  size_t bytes() const noexcept;
};

// The lists of a schedule under construction, in one arena. They point into it alone.
struct ScheduleLists {
  std::unique_ptr<unsigned char[]> memory;
  ArenaList<Operation> operations;
  ArenaList<ScheduleStep> steps;
  ArenaList<IndexMap> maps;
  ArenaList<SchedulePotential> potentials;
  ArenaList<ObservedMember> observed;
  ArenaList<size_t> map_steps;
  ArenaList<Dimension> map_nests;
  ArenaList<size_t> counts;
  ArenaList<float> constants;

  // Calls visit(list, size) for each list.
  template <class Visit>
  void for_each_list(const ScheduleSize& size, Visit visit) {
    visit(operations, size.operations);
    visit(steps, size.steps);
    visit(maps, size.maps);
    visit(potentials, size.potentials);
    visit(observed, size.observed);
    visit(map_steps, size.map_steps);
    visit(map_nests, size.map_nests);
    visit(counts, size.counts);
    visit(constants, (size.constants + 1) / 2 * 2);  // what follows may need the alignment of doubles
  }

  // Divides a block of `size.bytes()` into the lists and owns it from then on.
  void set_memory(std::unique_ptr<unsigned char[]> block, const ScheduleSize& size) noexcept;
  void clear() noexcept;

  // Adds an index map and returns its position. `make(map)` sets its strides and finishes it.
  template <class Make>
  uint32_t make_index_map(const Shape& shape, Make make) noexcept {
    IndexMap map;
    map.steps = map_steps.take(shape.dimensions);
    map.inner = map_nests.end();
    make(map);
    map_nests.take(map.inner_count);
    return add_index_map(map);
  }
  uint32_t add_index_map(const IndexMap& map) noexcept {
    maps.push_back(map);
    return static_cast<uint32_t>(maps.size() - 1);
  }
  Shape copy_shape(const Shape& shape) noexcept;
  Schedule schedule() const noexcept;
};

}  // namespace tv
