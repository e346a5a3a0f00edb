// The factors of an elimination plan, and passes over their products.
#pragma once

#include <algorithm>

#include "inference/elimination/elimination_schedule.h"

namespace tv {

// Potentials are copied where their clique is so many times as large.
inline constexpr size_t kCopyShare = 4;

// A variable of a factor, by rank, and its stride there.
struct Axis {
  uint32_t rank;
  size_t stride;
};

// Something that is multiplied into a clique: a node's table, a message, a finding or a product of these.
struct EliminationFactor {
  uint32_t first_axis = 0, axis_count = 0;  // in the list of all axes; ascending ranks
  const float* numbers = nullptr;
  uint32_t potential = EliminationTree::kNoClique;  // without numbers: whose present entries they are
  uint32_t child = EliminationTree::kNoClique;      // rank of the node of which it is the distribution
  uint32_t next = EliminationTree::kNoClique;       // of the same clique
  size_t size = 1;
  uint32_t first_part = 0, part_count = 0;  // of a product: where its factors are listed
  bool is_collected = true;                 // takes part in collecting
  const IndexMap* map = nullptr;            // of the last pass that took it in,
  const size_t* counts = nullptr;           // over this shape
};

// All factors of a plan, by the cliques where their first variables are eliminated.
class EliminationFactors {
 public:
  EliminationFactors(TreeEngine& engine, const EliminationTree& graph, EliminationSchedule& plan);

  EliminationFactor& operator[](uint32_t f) noexcept { return factors_[f]; }
  std::span<const Axis> axes(const EliminationFactor& factor) const noexcept {
    return {axes_.data() + factor.first_axis, factor.axis_count};
  }
  uint32_t first_of(uint32_t clique) const noexcept { return first_[clique]; }
  void clear_clique(uint32_t clique) noexcept { first_[clique] = EliminationTree::kNoClique; }

  // The table of a node, a finding on it.
  void add_potential(const Node& node);
  void add_finding(const Node& node);

  // A factor over some ranks, the last one fastest.
  uint32_t add_dense(std::span<const uint32_t> ranks, const float* numbers);

  // Says of which factors it is the product.
  void add_parts(uint32_t f, std::span<const uint32_t> parts);
  std::span<const uint32_t> parts(const EliminationFactor& factor) const noexcept {
    return {parts_.data() + factor.first_part, factor.part_count};
  }

  // Gives such a factor its numbers and another order of the same ranks.
  void lay_out(uint32_t f, std::span<const uint32_t> ranks, const float* numbers) noexcept;

  // Lists it with the clique.
  void assign(uint32_t f, uint32_t clique) noexcept {
    factors_[f].next = first_[clique];
    first_[clique] = f;
  }

  // Potentials that are small beside their cliques are copied in the order of the clique.
  void copy_small_potentials(uint32_t clique, std::span<const uint32_t> members);

  // Parts of the engine's numbers; null when there are not so many, or for what is optional when they might
  // be needed otherwise.
  float* take_numbers(size_t count) noexcept;
  float* take_optional(size_t count) noexcept;
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
  EliminationSchedule& plan_;
  std::vector<uint32_t> rank_of_;  // by node number
  std::vector<EliminationFactor> factors_;
  std::vector<Axis> axes_;
  std::vector<uint32_t> parts_;  // of products
  std::vector<uint32_t> first_;  // by clique
  std::vector<EliminationSchedule::Potential::Fixed> fixed_;
  size_t used_ = 0, reserved_ = 0;
  bool fits_ = true;
};

// Writes one pass after the other.
class PassWriter {
 public:
  PassWriter(const EliminationTree& graph, EliminationFactors& factors, EliminationSchedule& plan)
      : graph_(graph), factors_(factors), plan_(plan), dimension_of_(graph.nodes.size(), 0), kept_(256) {}

  // Starts a pass over these ranks, outermost first.
  void start(std::span<const uint32_t> ranks);
  // Goes on over ranks of an earlier pass.
  void start(std::span<const uint32_t> ranks, const Shape& shape) noexcept;
  const Shape& shape() const noexcept { return shape_; }

  // The first one is assigned, the others multiply.
  void multiply(uint32_t f);
  // The marginal over some of the ranks goes into `target`, the last one fastest.
  void marginalize(std::span<const uint32_t> ranks, double* target);
  // Where a factor over some of the ranks lies.
  const IndexMap* index_map_of(uint32_t f) { return map(factors_.axes(factors_[f])); }

  // Steps so far, to be repeated at the start of another pass over the same ranks.
  void remember() { remembered_ = steps_, remembered_uses_ = uses_; }
  void repeat() { steps_ = remembered_, uses_ = remembered_uses_; }

  // Ends the pass. `factors` are those that it multiplies: where some are products, there is an exact pass.
  EliminationSchedule::Pass close(std::span<const uint32_t> factors);
  bool fits() const noexcept { return fits_; }

 private:
  struct Use {
    uint32_t step, potential;
  };
  struct Kept {
    const IndexMap* map = nullptr;
    size_t outer = 0;  // dimensions whose steps it has
  };

  void multiply_parts(uint32_t f);
  std::span<Step> take_steps();
  const EliminationSchedule::Pass* exact_pass(std::span<const uint32_t> factors, std::span<const Step> steps);
  const IndexMap* map(std::span<const Axis> axes);
  const IndexMap* kept(const IndexMap& map, size_t outer);
  static size_t hash(const IndexMap& map) noexcept;
  void rehash();

  const EliminationTree& graph_;
  EliminationFactors& factors_;
  EliminationSchedule& plan_;
  Shape shape_;
  std::vector<uint32_t> dimension_of_;  // by rank
  std::vector<Axis> axes_;
  std::vector<Kept> kept_;  // by hash
  size_t kept_count_ = 0;
  std::vector<Step> steps_, remembered_;
  std::vector<Use> uses_, remembered_uses_;
  bool fits_ = true;
};

}  // namespace tv
