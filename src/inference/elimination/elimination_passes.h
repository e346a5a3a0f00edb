// The factors of an elimination schedule, and passes over their products.
#pragma once

#include <algorithm>

#include "inference/elimination/elimination_schedule.h"

namespace tv {

// A variable of a factor, by rank, and its stride there.
struct Axis {
  uint32_t rank;
  size_t stride;
};

// Something that is multiplied into a clique: a potential, a message, a finding or a product of these.
struct EliminationFactor {
  uint32_t first_axis = 0, axis_count = 0;  // in the list of all axes; ascending ranks
  Place place;
  uint32_t potential = EliminationTree::kNoClique;  // the potential that it stands for, unless that is copied
  uint32_t child = EliminationTree::kNoClique;      // rank of the node whose conditional distribution it is
  uint32_t next = EliminationTree::kNoClique;       // in the list of the same clique
  size_t size = 1;
  uint32_t first_part = 0, part_count = 0;  // of a product: where its factors are listed
  bool is_collected = true;                 // takes part in collecting
  uint32_t map = 0;                         // of the last pass that multiplied it,
  const size_t* counts = nullptr;           // over this shape
};

// All factors of a schedule, listed by the cliques where their first variables are eliminated.
class EliminationFactors {
 public:
  EliminationFactors(TreeEngine& engine, const EliminationTree& graph, EliminationSchedule& schedule);

  EliminationFactor& operator[](uint32_t f) noexcept { return factors_[f]; }
  std::span<const Axis> axes(const EliminationFactor& factor) const noexcept {
    return {axes_.data() + factor.first_axis, factor.axis_count};
  }
  uint32_t first_of(uint32_t clique) const noexcept { return first_[clique]; }
  void clear_clique(uint32_t clique) noexcept { first_[clique] = EliminationTree::kNoClique; }

  // Adds the potential of a node; adds a finding on it.
  void add_potential(const Node& node);
  void add_finding(const Node& node);

  // Adds a dense factor over some ranks, the last one varying fastest; returns its number.
  uint32_t add_dense(std::span<const uint32_t> ranks, Place place);

  // Records of which factors it is the product.
  void add_parts(uint32_t f, std::span<const uint32_t> parts);
  std::span<const uint32_t> parts(const EliminationFactor& factor) const noexcept {
    return {parts_.data() + factor.first_part, factor.part_count};
  }

  // Gives a dense factor its place and another order of the same ranks.
  void lay_out(uint32_t f, std::span<const uint32_t> ranks, Place place) noexcept;

  // Adds it to the list of the clique.
  void assign(uint32_t f, uint32_t clique) noexcept {
    factors_[f].next = first_[clique];
    first_[clique] = f;
  }

  // Copies the potentials that are small beside their clique, in the order of its dimensions.
  void copy_small_potentials(uint32_t clique, std::span<const uint32_t> members);

  // Allocate parts of the memory of the tables: offsets, or kNone when too little is left. Optional parts
  // leave untouched what is reserved.
  size_t take_numbers(size_t count) noexcept;
  size_t take_optional(size_t count) noexcept;
  void reserve_numbers(size_t count) noexcept { reserved_ += count; }
  bool fits() const noexcept { return fits_; }

 private:
  EliminationFactor new_factor() const noexcept;
  void add_axis(EliminationFactor& factor, uint32_t rank, size_t stride);
  void add_uniform(const Node& node, EliminationFactor factor);
  void add(const EliminationFactor& factor);
  void copy_potential(EliminationFactor& factor, std::span<const uint32_t> members);

  TreeEngine& engine_;
  const EliminationTree& graph_;
  EliminationSchedule& schedule_;
  std::vector<uint32_t> rank_of_;  // by node number
  std::vector<EliminationFactor> factors_;
  std::vector<Axis> axes_;
  std::vector<uint32_t> parts_;  // of products
  std::vector<uint32_t> first_;  // by clique
  std::vector<ObservedMember> observed_;
  size_t used_ = 0, reserved_ = 0;
  bool fits_ = true;
};

// Builds passes, one after the other.
class PassWriter {
 public:
  PassWriter(const EliminationTree& graph, EliminationFactors& factors, EliminationSchedule& schedule)
      : graph_(graph),
        factors_(factors),
        schedule_(schedule),
        dimension_of_(graph.nodes.size(), 0),
        shared_maps_(256) {}

  // Starts a pass over these ranks, outermost first.
  void start(std::span<const uint32_t> ranks);
  // Starts a pass over the ranks of an earlier one.
  void start(std::span<const uint32_t> ranks, const Shape& shape) noexcept;
  const Shape& shape() const noexcept { return shape_; }

  // The first factor is assigned, the others multiply.
  void multiply(uint32_t f);
  // Sums the pass onto some of the ranks, the last one varying fastest in `target`.
  void marginalize(std::span<const uint32_t> ranks, Place target);
  // The strides of a factor along the dimensions of the pass: a position in the schedule's list.
  uint32_t index_map_of(uint32_t f) { return map(factors_.axes(factors_[f])); }

  // The steps so far are repeated at the start of another pass over the same ranks.
  void remember() { remembered_ = steps_; }
  void repeat() { steps_ = remembered_; }

  // Ends the pass. `factors` are those that it multiplies: where some are products, an exact pass is built as
  // well.
  EliminationSchedule::Pass close(std::span<const uint32_t> factors);
  bool fits() const noexcept { return fits_; }

 private:
  struct SharedMap {
    uint32_t map = EliminationSchedule::kNoMap;
    size_t outer = 0;  // dimensions whose strides it has
  };

  void multiply_parts(uint32_t f);
  std::span<const ScheduleStep> take_steps();
  const EliminationSchedule::Pass* exact_pass(std::span<const uint32_t> factors,
                                              std::span<const ScheduleStep> steps);
  uint32_t map(std::span<const Axis> axes);
  uint32_t shared(const IndexMap& map, size_t outer);
  static size_t hash(const IndexMap& map) noexcept;
  void rehash();

  const EliminationTree& graph_;
  EliminationFactors& factors_;
  EliminationSchedule& schedule_;
  Shape shape_;
  std::vector<uint32_t> dimension_of_;  // by rank
  std::vector<Axis> axes_;
  std::vector<SharedMap> shared_maps_;  // a hash table
  std::vector<ScheduleStep> steps_, remembered_;
  bool fits_ = true;
};

}  // namespace tv
