// An index map relates the index space of a table to that of another one: for each dimension of the table,
// the stride in the other's data. A pass over a table runs several steps, each with its map, block by block:
// all of them are applied to a block while it is in the nearest cache, so that the table travels through
// memory once per pass.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "tables/kernels/kernels.h"
#include "tables/limits.h"

namespace tv {

// The dimensions over which a pass runs, outermost first. Nodes with a single possible state have none, so
// every count is at least 2. A shape may have fewer dimensions than the table has nodes; the table's entries
// are contiguous all the same. The counts are stored elsewhere.
struct Shape {
  size_t* counts = nullptr;
  size_t size = 1;
  uint16_t dimensions = 0;
  uint16_t outer = 0;  // dimensions outside a block; the others, of at most limits.block entries, lie within
  uint32_t part = 1;   // how many indices of the first dimension within go into one block

  // One dimension, of the entries that are stored (tables/kernels/sparse_pass.h).
  bool is_sparse() const noexcept { return outer == kSparse; }
  void set_sparse() noexcept { outer = kSparse; }
  static constexpr uint16_t kSparse = UINT16_MAX;
};

// Sets all of it from the counts. The second form has blocks of whole dimensions, none of which is cut.
void measure_shape(Shape& shape) noexcept;
void measure_whole_blocks(Shape& shape) noexcept;

// A shape with counts of its own.
struct OwnShape : Shape {
  explicit OwnShape(std::vector<size_t> list) : count_array(std::move(list)) {
    counts = count_array.data();
    dimensions = static_cast<uint16_t>(count_array.size());
    measure_shape(*this);
  }
  OwnShape(const OwnShape&) = delete;
  OwnShape& operator=(const OwnShape&) = delete;
  std::vector<size_t> count_array;
};

// Where the stored entries of a sparse table are in another table: a list of positions, or a field of the
// bits in which the configuration of each entry is packed.
struct PositionList {
  enum class Form : unsigned char {
    runs,     // 32-bit numbers, one more than the other table has entries: where the run of each one begins
    shorts,   // a 16-bit position for each entry
    words,    // a 32-bit position for each entry
    field32,  // 32-bit keys: the position is (key >> shift) & mask
    field64,  // the same of 64-bit keys, `stride` apart
  };
  Form form = Form::words;
  unsigned char shift = 0;
  uint32_t stride = 1;
  uint64_t mask = 0;
  const void* data = nullptr;
  size_t other_size = 1;  // entries of the other table
};

// Strides and merged inner nest lie in arrays that outlive the map. A map of a sparse table has neither: it
// has a list of positions or, without one, maps every entry onto the same number or onto its own position.
struct IndexMap {
  union {
    size_t* steps = nullptr;   // stride in the other table along each dimension of the shape
    const PositionList* list;  // of a sparse shape
  };
  Dimension* inner = nullptr;  // the merged nest of one block
  size_t inner_count = 0;
  size_t other_size = 1;  // entries of the other table that are mapped onto
};

// Fills `inner` from `steps`, merging neighbours. Both arrays must have the capacity for every dimension of
// the shape.
void finish_index_map(IndexMap& map, const Shape& shape) noexcept;

// The map of a table over one dimension of the shape; beyond the last one, of a single number.
void map_dimension(IndexMap& map, const Shape& shape, size_t dimension) noexcept;

// A map with arrays of its own, for operations that are not repeated.
struct OwnIndexMap : IndexMap {
  explicit OwnIndexMap(size_t dimensions) : step_array(dimensions + 1), inner_array(dimensions + 1) {
    steps = step_array.data();
    inner = inner_array.data();
  }
  OwnIndexMap(const OwnIndexMap&) = delete;
  OwnIndexMap& operator=(const OwnIndexMap&) = delete;
  std::vector<size_t> step_array;
  std::vector<Dimension> inner_array;
};

inline constexpr size_t kMaxFusedSteps = 160;

enum class StepKind { assign, multiply, sum, max };

struct Step {
  StepKind operation;
  const IndexMap* map;
  const float* operand = nullptr;  // of assign and multiply
  double* target = nullptr;        // of the sums and maxima, which are accumulated into it
};

class Workers;        // tables/kernels/parallel.h
class ProgressMeter;  // network/progress.h

struct ParallelSettings {
  size_t grain_size = 10000;
  size_t concurrency_level = 1;
  Workers* workers = nullptr;  // threads that wait for work; without them they are started for each pass
  double* scratch = nullptr;   // of the running thread, for private accumulators of the parts of a pass
  size_t scratch_size = 0;
  ProgressMeter* progress = nullptr;  // reported to on the calling thread during a long pass
};

// The scratch size that a pass over a table of so many entries needs.
inline size_t private_totals_for(size_t table_size) noexcept {
  const size_t targets = table_size / 8 < limits.most_totals ? table_size / 8 : limits.most_totals;
  return targets <= limits.local_totals ? 0 : targets;
}

// Runs `steps` in order over a table, on several threads where that pays. Without a table every block is
// formed in a buffer, the first step assigning it, and dropped: at most kMaxFusedSteps steps.
void run_pass(const Shape& shape, float* table, const Step* steps, size_t count,
              const ParallelSettings& settings);

}  // namespace tv
