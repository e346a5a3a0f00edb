// Cached schedules over tables of a few entries. There setting up loop nests and kernels costs more than the
// arithmetic, so that a cached schedule lists for every entry the position of its partner in each factor, and
// short plain loops gather along these lists. Larger tables keep their operations; both kinds stand in one
// list.
//
// The results have the same bits as those of the operations: products are formed in the order of the steps,
// and small tables are summed entry by entry there, too.
#pragma once

#include "inference/engine.h"
#include "inference/schedule/run_schedule.h"

namespace tv {

enum class GatherKind : unsigned char {
  operation,  // an operation that is run as it stands
  form,       // multiplies a table
  collect,    // multiplies and sums it; the marginal becomes the message to the clique towards the root
  root,       // multiplies it and sums its mass
  send,       // sums it; the marginal becomes the message to a clique away from the root
  belief,     // sums it; the marginal becomes a node's belief
  observed    // the belief of an observed node
};

// One factor of a product: for each entry of the table, its position in the factor.
struct GatherFactor {
  static constexpr uint32_t kNoNode = UINT32_MAX;

  uint32_t buffer;
  uint32_t finding = kNoNode;  // of a finding: its node's number - 1
  size_t offset;
  const uint16_t* positions;
};

struct GatherOperation {
  GatherKind kind = GatherKind::operation;
  bool assigns = false;   // the first factor initialises the table
  bool has_past = false;  // send: the separator has an old marginal to divide by
  unsigned char entries = 0;
  unsigned char factor_count = 0;
  uint32_t first = 0;                      // its first factor; of a plain operation, its number
  uint32_t targets = 0;                    // entries of the marginal; states of a belief
  uint32_t each = 0;                       // entries of the table that are summed into each target
  uint32_t node = 0;                       // observed: its number - 1
  const unsigned char* sources = nullptr;  // positions of these entries, target by target
  // Offsets: of the tables in their buffer, of beliefs in that of the nodes.
  size_t table = 0;
  size_t result = 0;   // the separator's marginal, or the belief
  size_t message = 0;  // the update for the receiver
};

// Runs the gather operations from `next` on, up to the root or the next plain operation, or just one.
tv_status_t run_gather_operations(TreeEngine& engine, const GatherSchedule& schedule, size_t& next,
                                  bool only_one) noexcept;

// Brings the root up to date; its mass is stored in the engine.
tv_status_t collect_gathered_root(TreeEngine& engine, const GatherSchedule& schedule,
                                  const GatherOperation& operation) noexcept;

}  // namespace tv
