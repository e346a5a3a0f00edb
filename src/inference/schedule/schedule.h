// A propagation is compiled into a schedule: a list of passes over tables and of messages between them. A
// schedule depends on which nodes are observed, not on their states, so that a cached one serves every later
// propagation with the same nodes observed.
#pragma once

#include <cstdint>
#include <memory>

#include "inference/arena_list.h"
#include "network/types.h"
#include "tables/kernels/index_map.h"

namespace tv {

struct BeliefMarginal;
struct Subtrees;
struct CliquePotential;
struct ReducedTable;

enum class OperationKind : unsigned char {
  collect,         // a clique absorbs its incoming messages and sends one towards the root
  root,            // the same for the root, whose mass is the constant of the propagation
  pass,            // steps over a clique's table
  separator_pass,  // steps over a separator's table
  message,         // a marginal formed in a pass becomes the message to a clique away from the root
  belief           // a marginal formed in a pass becomes a node's belief
};

struct Operation {
  OperationKind kind;
  bool has_past = true;      // message: the separator has an old marginal to divide by
  bool starts_anew = false;  // collect, root: the first step initialises the table, whatever it held before
  bool repeats = false;      // pass: an earlier pass has brought the table up to date
  uint32_t clique = 0;       // position of the clique that is passed over or sends
  uint32_t link = 0;         // collect, message: the link through which the message is sent
  uint32_t updates = 0;      // collect, root: how many of the steps change the table
  uint32_t formed = 0;       // how many of the steps form the product of a lazy clique
  uint32_t step_count = 0;
  size_t first_step = 0;
  size_t size = 0;          // collect, message: entries of the separator
  size_t totals = 0;        // collect, message, belief: offset of the marginal in the accumulators
  size_t clear_totals = 0;  // pass: how many accumulators of messages and of beliefs it sets to zero
  size_t clear_beliefs = 0;
  Shape shape;  // of the table that is passed over
  float* numbers = nullptr;
  const ReducedTable* table = nullptr;  // of a belief
  const BeliefMarginal* belief = nullptr;
};

// A step whose operand is a potential: the offset of the observed states in it is found in each run. Without
// a step, a potential that is copied.
struct PotentialStep {
  size_t step;
  CliquePotential* plan;
};

struct GatherSchedule;  // inference/schedule/gather_schedule.h

struct Schedule {
  Operation* operations = nullptr;
  size_t operation_count = 0;
  Step* steps = nullptr;
  PotentialStep* potentials = nullptr;
  size_t potential_count = 0;
  Subtrees* subtrees = nullptr;  // of a cached schedule: found when it is first run on threads
  const GatherSchedule* gather =
      nullptr;  // of a cached schedule: its gather lists, with `operations` in between
};

// The number of entries in each list of a schedule.
struct ScheduleSize {
  size_t operations = 0, steps = 0, potential_steps = 0, maps = 0;
  size_t dimensions = 0;  // of all maps

  size_t bytes() const noexcept;
};

// The lists of a schedule under construction, in one arena.
struct ScheduleLists {
  std::unique_ptr<unsigned char[]> memory;
  ArenaList<Operation> operations;
  ArenaList<Step> steps;
  ArenaList<PotentialStep> potential_steps;
  ArenaList<IndexMap> maps;
  ArenaList<size_t> map_steps;
  ArenaList<Dimension> map_nests;

  // Divides a block of `size.bytes()` into the lists and owns it from then on.
  void set_memory(std::unique_ptr<unsigned char[]> block, const ScheduleSize& size) noexcept;
  void clear() noexcept;

  // Adds an index map. `make(map)` sets its strides and finishes it.
  template <class Make>
  const IndexMap& make_index_map(const Shape& shape, Make make) noexcept {
    IndexMap map;
    map.steps = map_steps.take(shape.dimensions);
    map.inner = map_nests.end();
    make(map);
    map_nests.take(map.inner_count);
    return maps.push_back(map);
  }
  Schedule schedule() const noexcept;
};

}  // namespace tv
