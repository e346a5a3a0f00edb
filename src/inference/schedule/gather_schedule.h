// Kept schedules for tables of a few entries. There the maps, the kernels and what surrounds them cost more
// than the arithmetic, so that a kept schedule lists for every entry where its partner stands, and a short
// plain loop follows the list. Larger tables keep their operations; both kinds follow each other in one list.
//
// The numbers are those of the operations, bit for bit: products are formed in the order of the steps, and
// short tables are summed entry by entry there, too.
#pragma once

#include "inference/engine.h"
#include "inference/schedule/run_schedule.h"

namespace tv {

enum class GatherKind : unsigned char {
  operation,  // an operation as it was written
  form,       // a table is multiplied
  collect,    // it is multiplied and summed; the marginal becomes the update of the clique towards the root
  root,       // it is multiplied, and its mass found
  send,       // it is summed; the marginal becomes the update of a clique further out
  belief,     // it is summed; the marginal becomes a node's belief
  known       // the belief of a node with a known state
};

// Where the entries of another table are met: one position for each entry of the table.
struct GatherFactor {
  const float* operand;
  const uint16_t* positions;
};

struct GatherOperation {
  GatherKind kind = GatherKind::operation;
  bool assigns = false;   // the first factor forms the table
  bool has_past = false;  // send: the separator has an old marginal to divide by
  unsigned char entries = 0;
  unsigned char factor_count = 0;
  uint32_t first = 0;    // its first factor; of an operation: which one it is
  uint32_t targets = 0;  // entries of the marginal; states of a belief
  uint32_t each = 0;     // entries of the table that are summed into each of them
  float* table = nullptr;
  const unsigned char* sources = nullptr;  // which ones, target by target
  float* result = nullptr;                 // the separator's marginal, or the belief
  float* message = nullptr;                // where the update goes
  const ptrdiff_t* state = nullptr;        // the known one
};

// A factor that is a potential: what it begins with depends on the states that are fixed.
struct GatherPotential {
  const PotentialPlan* plan;
  uint32_t factor;
  uint32_t first_known, known_count;
};

struct KnownMember {
  const ptrdiff_t* state;
  size_t stride;
};

struct GatherSchedule {
  GatherOperation* operations = nullptr;
  size_t operation_count = 0;
  GatherFactor* factors = nullptr;
  GatherPotential* potentials = nullptr;
  size_t potential_count = 0;
  KnownMember* known = nullptr;
};

// Finds where the potentials begin under the states that are fixed now.
void find_short_potentials(const GatherSchedule& schedule) noexcept;

// Runs the short operations from `next` on, up to one that is not short or to the root, or a single one.
tv_status_t run_gather_operations(TreeEngine& engine, const GatherSchedule& schedule, size_t& next,
                                  bool only_one) noexcept;

// Brings the root up to date; its mass is left in the engine.
tv_status_t collect_short_root(TreeEngine& engine, const GatherSchedule& schedule,
                               const GatherOperation& operation) noexcept;

}  // namespace tv
